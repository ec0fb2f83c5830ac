#include "app/DirManager.h"

#include <dirent.h>

#include <cstring>
#include <memory>

#include "app/StrArray.h"

bool CDirManager::MatchMotif(const char* szPath, const char* szMotif) {
  if (!szMotif) return true;
  const char* pSlash = std::strrchr(szPath, '/');
  return std::strstr(pSlash ? pSlash + 1 : szPath, szMotif) != nullptr;
}

bool CDirManager::MatchMotifs(const char* szPath, const CStrArray* pMotifs) {
  if (!pMotifs || pMotifs->Count() == 0) return true;
  for (int i = 0; i < pMotifs->Count(); ++i) {
    if (MatchMotif(szPath, pMotifs->GetStringAt(i))) return true;
  }
  return false;
}

bool CDirManager::MatchExtension(const char* szName, const char* szExtension) {
  if (!szExtension) return true;
  const size_t nName = std::strlen(szName), nExtension = std::strlen(szExtension);
  return nExtension < nName && std::strcmp(szName + nName - nExtension, szExtension) == 0;
}

bool CDirManager::MatchExtensions(const char* szName, const CStrArray* pExtensions) {
  if (!pExtensions) return true;
  for (int i = 0; i < pExtensions->Count(); ++i) {
    if (MatchExtension(szName, pExtensions->GetStringAt(i))) return true;
  }
  return false;
}

void CDirManager::ConcatenatePath(const char* szDirectory, const char* szName, char* szResult, int nSize) {
  size_t nDirectory = std::strlen(szDirectory);
  const size_t nName = std::strlen(szName);
  szResult[0] = 0;
  if (nDirectory + nName + 2 >= static_cast<size_t>(nSize)) return;
  std::memcpy(szResult, szDirectory, nDirectory);
  if (nDirectory > 0 && szDirectory[nDirectory - 1] != '/') szResult[nDirectory++] = '/';
  std::memcpy(szResult + nDirectory, szName, nName + 1);
}

int CDirManager::ListDir(const char* szDirectory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                         CStrArray& arResult) {
  const std::unique_ptr<DIR, int (*)(DIR*)> pDir(opendir(szDirectory), [](DIR* p) { return closedir(p); });
  if (!pDir) return 1;
  while (const dirent* pEntry = readdir(pDir.get())) {
    const char* szName = pEntry->d_name;
    if (std::strcmp(szName, ".") == 0 || std::strcmp(szName, "..") == 0) continue;
    if (!MatchExtensions(szName, pExtensions) || !MatchMotifs(szName, pMotifs)) continue;
    arResult.AddString(szName, false);
  }
  return 1;
}
