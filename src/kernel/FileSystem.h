#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cerrno>

/// The one door to the files of the system. Each function is a POSIX call, with its results and errno,
/// interruptions and short counts included. A CFileSystemScope puts another door in its place.
class CFileSystem {
 public:
  CFileSystem() = default;
  CFileSystem(const CFileSystem&) = delete;
  CFileSystem& operator=(const CFileSystem&) = delete;
  virtual ~CFileSystem() = default;

  /// A file that is made gets all permissions that the umask leaves.
  virtual int Open(const char* szPath, int nFlags);
  virtual ssize_t Read(int nFile, char* pOut, size_t nBytes);
  virtual ssize_t Write(int nFile, const char* pBytes, size_t nBytes);
  /// To an offset from the start.
  virtual off_t Seek(int nFile, off_t nOffset);
  virtual int Close(int nFile);
  virtual int Stat(const char* szPath, struct stat& status);
  virtual int Stat(int nFile, struct stat& status);
  /// Of a symbolic link itself.
  virtual int LinkStat(const char* szPath, struct stat& status);
  virtual int Sync(int nFile);
  virtual int MakeFolder(const char* szPath);
  /// Symbolic, and another name of a file: both fail where the new name is there.
  virtual int MakeSymbolicLink(const char* szTarget, const char* szPath);
  virtual int MakeLink(const char* szOldPath, const char* szPath);
  virtual int Rename(const char* szOldPath, const char* szPath);
  virtual int Remove(const char* szPath);
  virtual DIR* OpenFolder(const char* szPath);
  virtual const dirent* ReadFolder(DIR* pFolder);
  virtual int CloseFolder(DIR* pFolder);

  static CFileSystem& Current();

 private:
  friend class CFileSystemScope;
  static CFileSystem* s_pCurrent;  // null: the system's own
};

/// Has another file system in place during its life. For tests.
class CFileSystemScope {
 public:
  explicit CFileSystemScope(CFileSystem& fileSystem);
  CFileSystemScope(const CFileSystemScope&) = delete;
  CFileSystemScope& operator=(const CFileSystemScope&) = delete;
  ~CFileSystemScope();

 private:
  CFileSystem* m_pOuter;
};

/// Makes a call until it is not interrupted, as calls on network file systems may be. One that is interrupted
/// this many times in a row fails. failed(result) tells a failure, whose reason is in errno.
constexpr int INTERRUPTIONS_MAX = 1000;
template <class TCall, class TFailed>
auto Uninterrupted(TCall call, TFailed failed) {
  for (int i = 0;; ++i) {
    errno = 0;
    const auto result = call();
    if (!failed(result) || errno != EINTR || i == INTERRUPTIONS_MAX) return result;
  }
}
/// The same for the calls that fail with -1.
template <class TCall>
auto Uninterrupted(TCall call) {
  return Uninterrupted(call, [](auto nResult) { return nResult < 0; });
}
