#include "archive/ArchiveCheck.h"

#include <cstdio>

#include "archive/ArchiveReport.h"
#include "archive/FilePlacer.h"
#include "archive/FolderWalk.h"
#include "archive/Instant.h"

namespace {

/// Files of an orbit pass midnight, and an orbit takes 101 minutes.
constexpr int64_t LONGEST_FILE = 3 * 3'600'000;

/// Pixels of several days that are more than a file which passes midnight.
bool HasSeveralDays(const SFileFacts& facts) {
  const int64_t nSpan = facts.last.Since(facts.first.time);
  return facts.last.Day() != facts.first.time.Day() && (nSpan < 0 || nSpan > LONGEST_FILE);
}

}  // namespace

bool CArchiveCheck::Run() {
  CFolderWalk walk(
      [this](const std::string& szPath) { Take(szPath); },
      [this](const std::string& szPath, const std::string& szReason) { Found(szPath, szReason); });
  m_tree.Walk(walk);
  std::printf(
      "%s checked, %s\n", CArchiveReport::Count(m_nFiles, "file", "files").c_str(),
      m_nFound == 0 ? "nothing found" : CArchiveReport::Count(m_nFound, "problem", "problems").c_str());
  return m_nFound == 0;
}

void CArchiveCheck::Found(const std::string& szPath, const std::string& szWhat) {
  ++m_nFound;
  CArchiveReport::Finding(szPath, szWhat);
}

void CArchiveCheck::Take(const std::string& szPath) {
  ++m_nFiles;
  const std::string szName = szPath.substr(szPath.rfind('/') + 1);
  if (szName.starts_with(CFilePlacer::PART)) return Found(szPath, "left by a copy that was stopped");
  const SFileFacts facts = m_scan.Whole(szPath);
  const std::string szRefusal = CFileScan::Refusal(facts);
  if (!szRefusal.empty()) return Found(szPath, szRefusal);
  CheckPlace(szPath, facts);
  CheckMessages(szPath, facts);
  CheckTwice(szPath, facts);
}

void CArchiveCheck::CheckPlace(const std::string& szPath, const SFileFacts& facts) {
  const std::string szFolder = m_tree.Folder({facts.eProduct, facts.first.time});
  const size_t nSlash = szPath.rfind('/');
  const SPlace place = m_tree.PlaceOf(szPath);
  if (szPath.substr(0, nSlash) != szFolder) {
    const char* szWhat = place.eProduct == PRODUCTS         ? "in no folder of a product and day"
                         : place.eProduct != facts.eProduct ? "in the folder of another product"
                                                            : "in the folder of another day";
    Found(szPath, std::string(szWhat) + "; belongs into " + szFolder);
  }
  if (!CDatedTree::IsTaken(facts.eProduct, szPath.substr(nSlash + 1)))
    Found(szPath, "vex ignores a name with this ending");
}

void CArchiveCheck::CheckMessages(const std::string& szPath, const SFileFacts& facts) {
  if (!facts.szDamage.empty()) Found(szPath, facts.szDamage);
  if (facts.nOtherMessages > 0)
    Found(szPath, "not only " + std::string(PRODUCT_KINDS[facts.eProduct].szName) + ": also " +
                      CArchiveReport::Count(facts.nOtherMessages, "message", "messages") +
                      " of other products");
  if (HasSeveralDays(facts))
    Found(szPath, "pixels of several days: from " + facts.first.time.Text() + " to " + facts.last.Text());
}

void CArchiveCheck::CheckTwice(const std::string& szPath, const SFileFacts& facts) {
  const auto [pRow, bNew] = m_firstPixels.try_emplace({facts.eProduct, facts.first}, szPath);
  if (bNew) return;
  const bool bSame = CFilePlacer::IsSameContent(szPath, pRow->second);
  Found(szPath, (bSame ? "same content as " : "starts with the same pixel as ") + pRow->second);
}
