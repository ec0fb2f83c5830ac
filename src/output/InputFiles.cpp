#include "output/InputFiles.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "app/StrArray.h"
#include "kernel/FileSystem.h"

namespace {

/// 0, or the reason why nothing is known of the path.
int Look(const char* szPath, struct stat& status) {
  const auto look = [&] { return CFileSystem::Current().Stat(szPath, status); };
  return Uninterrupted(look) == 0 ? 0 : errno;
}

}  // namespace

void CInputFiles::Add(const CStrArray& arPaths) { m_arpLists.push_back(&arPaths); }

void CInputFiles::Add(const char* szPath) {
  if (szPath) m_arPaths.push_back(szPath);
}

void CInputFiles::Identify(const char* szPath) {
  struct stat status;
  if (Look(szPath, status) == 0) m_arFiles.emplace_back(status.st_dev, status.st_ino);
}

void CInputFiles::Identify() {
  for (const char* szPath : m_arPaths) Identify(szPath);
  for (const CStrArray* pList : m_arpLists)
    for (int i = 0; i < pList->Count(); ++i) Identify(pList->GetStringAt(i));
  std::ranges::sort(m_arFiles);
  m_bIdentified = true;
}

bool CInputFiles::Holds(const char* szPath) {
  struct stat status;
  if (const int nReason = Look(szPath, status)) return nReason != ENOENT;
  if (!S_ISREG(status.st_mode)) return false;
  if (!m_bIdentified) Identify();
  return std::ranges::binary_search(m_arFiles, TIdentity(status.st_dev, status.st_ino));
}
