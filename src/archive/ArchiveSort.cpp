#include "archive/ArchiveSort.h"

#include <cstdio>
#include <iterator>
#include <numeric>

#include "archive/ArchiveReport.h"
#include "archive/FolderWalk.h"

bool CArchiveSort::Run(const std::vector<std::string>& arFolders) {
  CFolderWalk walk(
      [this](const std::string& szPath) { Take(szPath); },
      [this](const std::string& szPath, const std::string& szReason) { Leave(szPath, szReason); });
  walk.IgnoreHidden();
  for (const EProduct eProduct : {PRODUCT_L1C, EProduct{FIRST_L2}}) walk.Exclude(m_tree.Level(eProduct));
  for (const std::string& szFolder : arFolders) walk.Walk(szFolder);
  PrintCounts();
  return m_nLeft == 0;
}

void CArchiveSort::Take(const std::string& szPath) {
  const SFileFacts facts = m_scan.First(szPath);
  const std::string szRefusal = CFileScan::Refusal(facts);
  if (!szRefusal.empty()) return Leave(szPath, szRefusal);
  const std::string szFolder = m_tree.Folder({facts.eProduct, facts.first.time});
  const std::string szName = CDatedTree::NameFor(facts.eProduct, szPath.substr(szPath.rfind('/') + 1));
  switch (m_placer.Place(szPath, szFolder, szName)) {
    case EPlaced::NEW:
      ++m_arnNew[facts.eProduct];
      break;
    case EPlaced::PRESENT:
      ++m_nPresent;
      break;
    case EPlaced::FAILED:
      Leave(szPath, m_placer.Reason());
  }
}

void CArchiveSort::Leave(const std::string& szPath, const std::string& szReason) {
  ++m_nLeft;
  CArchiveReport::Error(szPath, szReason);
}

void CArchiveSort::PrintCounts() const {
  const int64_t nNew = std::accumulate(std::begin(m_arnNew), std::end(m_arnNew), int64_t{0});
  std::string szKinds;
  for (const SProductKind& kind : PRODUCT_KINDS) {
    if (const int64_t nFiles = m_arnNew[kind.eProduct])
      szKinds += (szKinds.empty() ? "" : ", ") + (kind.szName + (" " + std::to_string(nFiles)));
  }
  if (!szKinds.empty()) szKinds = " (" + szKinds + ")";
  std::printf("%s sorted%s, %lld already there, %lld left\n",
              CArchiveReport::Count(nNew, "file", "files").c_str(), szKinds.c_str(),
              static_cast<long long>(m_nPresent), static_cast<long long>(m_nLeft));
}
