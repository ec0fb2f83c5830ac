#include "kernel/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

CFileSystem* CFileSystem::s_pCurrent = nullptr;

int CFileSystem::Open(const char* szPath, int nFlags) {
  constexpr mode_t READ_AND_WRITE = 0666;
  return open(szPath, nFlags | O_CLOEXEC, READ_AND_WRITE);
}
ssize_t CFileSystem::Read(int nFile, char* pOut, size_t nBytes) { return read(nFile, pOut, nBytes); }
ssize_t CFileSystem::Write(int nFile, const char* pBytes, size_t nBytes) {
  return write(nFile, pBytes, nBytes);
}
off_t CFileSystem::Seek(int nFile, off_t nOffset) { return lseek(nFile, nOffset, SEEK_SET); }
int CFileSystem::Close(int nFile) { return close(nFile); }
int CFileSystem::Stat(const char* szPath, struct stat& status) { return stat(szPath, &status); }
int CFileSystem::Stat(int nFile, struct stat& status) { return fstat(nFile, &status); }
int CFileSystem::LinkStat(const char* szPath, struct stat& status) { return lstat(szPath, &status); }
int CFileSystem::Sync(int nFile) { return fsync(nFile); }
int CFileSystem::MakeFolder(const char* szPath) {
  constexpr mode_t ALL = 0777;
  return mkdir(szPath, ALL);
}
int CFileSystem::MakeSymbolicLink(const char* szTarget, const char* szPath) {
  return symlink(szTarget, szPath);
}
int CFileSystem::MakeLink(const char* szOldPath, const char* szPath) { return link(szOldPath, szPath); }
int CFileSystem::Rename(const char* szOldPath, const char* szPath) { return rename(szOldPath, szPath); }
int CFileSystem::Remove(const char* szPath) { return unlink(szPath); }
DIR* CFileSystem::OpenFolder(const char* szPath) { return opendir(szPath); }
const dirent* CFileSystem::ReadFolder(DIR* pFolder) { return readdir(pFolder); }
int CFileSystem::CloseFolder(DIR* pFolder) { return closedir(pFolder); }

CFileSystem& CFileSystem::Current() {
  static CFileSystem system;
  return s_pCurrent ? *s_pCurrent : system;
}

CFileSystemScope::CFileSystemScope(CFileSystem& fileSystem)
    : m_pOuter(std::exchange(CFileSystem::s_pCurrent, &fileSystem)) {}

CFileSystemScope::~CFileSystemScope() { CFileSystem::s_pCurrent = m_pOuter; }
