#include "kernel/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
