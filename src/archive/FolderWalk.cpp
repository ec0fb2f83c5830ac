#include "archive/FolderWalk.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "app/DirManager.h"
#include "kernel/FileSystem.h"

namespace {

bool IsSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

void CFolderWalk::Exclude(const std::string& szFolder) {
  struct stat status;
  if (CFileSystem::Current().Stat(szFolder.c_str(), status) == 0) m_arExcluded.push_back(status);
}

void CFolderWalk::Walk(const std::string& szPath) {
  struct stat status;
  if (CFileSystem::Current().Stat(szPath.c_str(), status) == 0 && S_ISDIR(status.st_mode))
    WalkFolder(szPath);
  else
    Visit(szPath);
}

void CFolderWalk::WalkFolder(const std::string& szFolder) {
  struct stat status;
  const bool bKnown = CFileSystem::Current().Stat(szFolder.c_str(), status) == 0;
  if (bKnown && std::ranges::any_of(m_arExcluded, [&](const auto& other) { return IsSame(status, other); }))
    return;
  std::vector<std::string> arNames;
  const int nError =
      CDirManager::EachEntry(szFolder.c_str(), [&](const char* szName) { arNames.emplace_back(szName); });
  if (nError != 0) m_refuse(szFolder, std::strerror(nError));
  std::ranges::sort(arNames);
  const std::string szStart = szFolder.ends_with('/') ? szFolder : szFolder + "/";
  for (const std::string& szName : arNames) {
    if (m_bHidden || szName[0] != '.') Visit(szStart + szName);
  }
}

void CFolderWalk::Visit(const std::string& szPath) {
  CFileSystem& system = CFileSystem::Current();
  struct stat link, status;
  if (system.LinkStat(szPath.c_str(), link) != 0 || system.Stat(szPath.c_str(), status) != 0)
    return m_refuse(szPath, std::strerror(errno));
  if (S_ISREG(status.st_mode)) return m_take(szPath);
  if (!S_ISDIR(status.st_mode)) return m_refuse(szPath, "not a regular file");
  if (S_ISLNK(link.st_mode)) return m_refuse(szPath, "a link to a folder, which is not followed");
  WalkFolder(szPath);
}
