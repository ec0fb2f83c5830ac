#include "kernel/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "kernel/FileSystem.h"

bool CFile::Open(const char* szPath, int nFlags) {
  Close();
  m_nFile = Uninterrupted([=] { return CFileSystem::Current().Open(szPath, nFlags); });
  m_nError = IsOpen() ? 0 : errno;
  return IsOpen();
}

bool CFile::OpenToRead(const char* szPath) { return Open(szPath, O_RDONLY); }
bool CFile::OpenToWrite(const char* szPath) { return Open(szPath, O_WRONLY | O_CREAT | O_TRUNC); }

/// An interrupted close is not taken up again, for the descriptor is gone; whether all bytes arrived is then
/// not known.
bool CFile::Close() {
  const int nFile = std::exchange(m_nFile, -1);
  m_nError = 0;
  return nFile < 0 || CFileSystem::Current().Close(nFile) == 0;
}

int64_t CFile::Read(char* pOut, int64_t nBytes) {
  int64_t nDone = 0;
  while (nDone < nBytes && IsOpen() && m_nError == 0) {
    const auto nWanted = static_cast<size_t>(nBytes - nDone);
    const ssize_t nGot =
        Uninterrupted([&] { return CFileSystem::Current().Read(m_nFile, pOut + nDone, nWanted); });
    if (nGot == 0) break;
    if (nGot < 0)
      m_nError = errno;
    else
      nDone += nGot;
  }
  return nDone;
}

bool CFile::Write(const char* pBytes, int64_t nBytes) {
  while (nBytes > 0 && IsOpen()) {
    const auto nSize = static_cast<size_t>(nBytes);
    const ssize_t nTaken =
        Uninterrupted([=, this] { return CFileSystem::Current().Write(m_nFile, pBytes, nSize); });
    if (nTaken < 1) return false;
    pBytes += nTaken;
    nBytes -= nTaken;
  }
  return IsOpen();
}

bool CFile::Sync() {
  return IsOpen() && Uninterrupted([this] { return CFileSystem::Current().Sync(m_nFile); }) == 0;
}

bool CFile::Seek(int64_t nOffset) {
  if (!IsOpen() || nOffset < 0) return false;
  if (Uninterrupted([=, this] { return CFileSystem::Current().Seek(m_nFile, nOffset); }) >= 0) return true;
  if (errno != EINVAL && errno != ESPIPE) m_nError = errno;
  return false;
}

int64_t CFile::Size() {
  struct stat status;
  if (!IsOpen()) return 0;
  if (Uninterrupted([&] { return CFileSystem::Current().Stat(m_nFile, status); }) != 0) {
    m_nError = errno;
    return 0;
  }
  return S_ISREG(status.st_mode) ? status.st_size : 0;
}
