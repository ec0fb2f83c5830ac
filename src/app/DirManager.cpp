#include "app/DirManager.h"

#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "app/StrArray.h"
#include "kernel/FileSystem.h"
#include "kernel/Reporter.h"

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

namespace {

struct SCloseFolder {
  void operator()(DIR* pFolder) const { CFileSystem::Current().CloseFolder(pFolder); }
};

}  // namespace

int CDirManager::EachEntry(const char* szDirectory, const std::function<void(const char*)>& take) {
  CFileSystem& system = CFileSystem::Current();
  const auto isNull = [](const void* p) { return p == nullptr; };
  DIR* pOpened = Uninterrupted([&] { return system.OpenFolder(szDirectory); }, isNull);
  if (!pOpened) return errno;
  const std::unique_ptr<DIR, SCloseFolder> pFolder(pOpened);
  while (const dirent* pEntry = Uninterrupted([&] { return system.ReadFolder(pFolder.get()); }, isNull)) {
    if (std::strcmp(pEntry->d_name, ".") != 0 && std::strcmp(pEntry->d_name, "..") != 0) take(pEntry->d_name);
  }
  return errno;
}

void CDirManager::EachMatch(const char* szDirectory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                            const std::function<void(const char*)>& take) {
  const int nError = EachEntry(szDirectory, [&](const char* szName) {
    if (MatchExtensions(szName, pExtensions) && MatchMotifs(szName, pMotifs)) take(szName);
  });
  CReporter::LostIfThere(szDirectory, nError);
}

int CDirManager::ListDir(const char* szDirectory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                         CStrArray& arResult) {
  EachMatch(szDirectory, pExtensions, pMotifs,
            [&](const char* szName) { arResult.AddString(szName, false); });
  return 1;
}
