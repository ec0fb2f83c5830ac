#include "archive/DatedTree.h"

#include <sys/stat.h>

#include <cstdlib>
#include <vector>

#include "app/ConfigParam.h"
#include "app/DirManager.h"
#include "archive/FolderWalk.h"
#include "kernel/FileSystem.h"

namespace {

constexpr const char* LEVELS[] = {"L1C", "L2"};

const char* LevelName(EProduct eProduct) { return LEVELS[eProduct >= FIRST_L2]; }

const CStrArray& Endings(EProduct eProduct) {
  static const CConfigParam s_defaults;
  return eProduct < FIRST_L2 ? s_defaults.arL1CExtensions : s_defaults.arL2Extensions;
}

std::vector<std::string> Parts(const std::string& szPath) {
  std::vector<std::string> arParts(1);
  for (const char c : szPath) {
    if (c == '/')
      arParts.emplace_back();
    else
      arParts.back() += c;
  }
  return arParts;
}

/// The day of the folders YYYY, MM and DD.
CInstant DayOf(const std::string* pFolders) {
  constexpr size_t LENGTHS[] = {4, 2, 2};
  for (int i = 0; i < 3; ++i) {
    const bool bDigits = pFolders[i].find_first_not_of("0123456789") == std::string::npos;
    if (pFolders[i].size() != LENGTHS[i] || !bDigits) return {};
  }
  return {std::atoi(pFolders[0].c_str()), std::atoi(pFolders[1].c_str()), std::atoi(pFolders[2].c_str())};
}

bool IsFolder(const std::string& szPath) {
  struct stat status;
  return CFileSystem::Current().Stat(szPath.c_str(), status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string CDatedTree::Level(EProduct eProduct) const { return m_szRoot + "/" + LevelName(eProduct); }

std::string CDatedTree::Folder(const SPlace& place) const {
  const std::string szDay = Level(place.eProduct) + "/" + place.day.DayText('/');
  return place.eProduct < FIRST_L2 ? szDay : szDay + "/" + PRODUCT_KINDS[place.eProduct].szName;
}

SPlace CDatedTree::PlaceOf(const std::string& szPath) const {
  const std::vector<std::string> arParts = Parts(szPath.substr(m_szRoot.size() + 1));
  for (const SProductKind& kind : PRODUCT_KINDS) {
    const bool bL2 = kind.eProduct >= FIRST_L2;
    const size_t nParts = bL2 ? 6 : 5;  // level, year, month, day, kind, name
    if (arParts.size() != nParts || arParts[0] != LevelName(kind.eProduct)) continue;
    if (bL2 && arParts[4] != kind.szName) continue;
    const CInstant day = DayOf(&arParts[1]);
    return {day.IsKnown() ? kind.eProduct : PRODUCTS, day};
  }
  return {};
}

bool CDatedTree::IsThere() const {
  return IsFolder(Level(PRODUCT_L1C)) || IsFolder(Level(EProduct{FIRST_L2}));
}

void CDatedTree::Walk(CFolderWalk& walk) const {
  for (const EProduct eProduct : {PRODUCT_L1C, EProduct{FIRST_L2}})
    if (IsFolder(Level(eProduct))) walk.Walk(Level(eProduct));
}

bool CDatedTree::IsTaken(EProduct eProduct, const std::string& szName) {
  return CDirManager::MatchExtensions(szName.c_str(), &Endings(eProduct));
}

std::string CDatedTree::NameFor(EProduct eProduct, const std::string& szName) {
  return IsTaken(eProduct, szName) ? szName : szName + "." + Endings(eProduct).GetStringAt(0);
}
