#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include "kernel/FileSystem.h"

enum class ECallOf { OPEN, READ, WRITE, SEEK, CLOSE, STAT, OPEN_FOLDER, READ_FOLDER };

/// The system's files, one call of which fails, or all of its kind from then on.
class CFaultFiles : public CFileSystem {
 public:
  // In place of an errno: a part of the bytes is read or written, or none.
  static constexpr int SHORT = -1, NOTHING = -2;

  /// nCall: from 1. Interruptions come in twos.
  CFaultFiles(ECallOf eCall, int nError, int nCall, bool bFromThenOn)
      : m_eCall(eCall), m_nError(nError), m_nCall(nCall), m_bFromThenOn(bFromThenOn) {}

  /// False when the run was over before the call came.
  bool Happened() const { return m_nCalls >= m_nCall; }

  int Open(const char* szPath, int nFlags) override {
    return Fails(ECallOf::OPEN) ? -1 : CFileSystem::Open(szPath, nFlags);
  }
  ssize_t Read(int nFile, char* pOut, size_t nBytes) override {
    return Fails(ECallOf::READ) && !Shorten(nBytes) ? -1 : CFileSystem::Read(nFile, pOut, nBytes);
  }
  ssize_t Write(int nFile, const char* pBytes, size_t nBytes) override {
    return Fails(ECallOf::WRITE) && !Shorten(nBytes) ? -1 : CFileSystem::Write(nFile, pBytes, nBytes);
  }
  off_t Seek(int nFile, off_t nOffset) override {
    return Fails(ECallOf::SEEK) ? -1 : CFileSystem::Seek(nFile, nOffset);
  }
  int Close(int nFile) override {
    const bool bFails = Fails(ECallOf::CLOSE);
    struct stat status;
    // What was written has not arrived as a whole.
    if (bFails && fstat(nFile, &status) == 0 && ftruncate(nFile, status.st_size / 2) != 0) errno = 0;
    const int nResult = CFileSystem::Close(nFile);
    if (bFails) errno = m_nError;
    return bFails ? -1 : nResult;
  }
  int Stat(const char* szPath, struct stat& status) override {
    return Fails(ECallOf::STAT) ? -1 : CFileSystem::Stat(szPath, status);
  }
  int Stat(int nFile, struct stat& status) override {
    return Fails(ECallOf::STAT) ? -1 : CFileSystem::Stat(nFile, status);
  }
  DIR* OpenFolder(const char* szPath) override {
    return Fails(ECallOf::OPEN_FOLDER) ? nullptr : CFileSystem::OpenFolder(szPath);
  }
  const dirent* ReadFolder(DIR* pFolder) override {
    return Fails(ECallOf::READ_FOLDER) ? nullptr : CFileSystem::ReadFolder(pFolder);
  }

 private:
  bool Fails(ECallOf eCall) {
    if (eCall != m_eCall) return false;
    ++m_nCalls;
    const bool bAgain = m_bFromThenOn || (m_nError == EINTR && m_nCalls == m_nCall + 1);
    const bool bFails = m_nCalls == m_nCall || (bAgain && m_nCalls > m_nCall);
    if (bFails) errno = m_nError;
    return bFails;
  }
  bool Shorten(size_t& nBytes) const {
    nBytes = m_nError == NOTHING ? 0 : (nBytes + 2) / 3;
    return m_nError < 0;
  }

  ECallOf m_eCall;
  int m_nError;
  int m_nCall;
  bool m_bFromThenOn;
  int m_nCalls = 0;
};
