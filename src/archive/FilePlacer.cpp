#include "archive/FilePlacer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kernel/File.h"
#include "kernel/FileSystem.h"

namespace {

constexpr int64_t BLOCK = 256 * 1024;

/// Empty when there is no such file.
std::string RealPath(const std::string& szPath) {
  const std::unique_ptr<char, void (*)(void*)> pReal(realpath(szPath.c_str(), nullptr), std::free);
  return pReal ? pReal.get() : "";
}

bool IsOneFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool IsLink(const std::string& szPath) {
  struct stat status;
  return CFileSystem::Current().LinkStat(szPath.c_str(), status) == 0 && S_ISLNK(status.st_mode);
}

/// Of link(): the file system has no second names, and not that the file cannot have one here.
bool HasNoLinks(int nError) {
  return nError == EPERM || nError == EOPNOTSUPP || nError == ENOSYS || nError == EMLINK;
}

}  // namespace

bool CFilePlacer::Fail(const std::string& szWhat) {
  m_nError = errno;
  m_szReason = szWhat + ": " + std::strerror(m_nError);
  return false;
}

bool CFilePlacer::IsSameContent(const std::string& szOne, const std::string& szOther) {
  CFileSystem& system = CFileSystem::Current();
  struct stat oneStatus, otherStatus;
  if (system.Stat(szOne.c_str(), oneStatus) != 0 || system.Stat(szOther.c_str(), otherStatus) != 0)
    return false;
  if (IsOneFile(oneStatus, otherStatus)) return true;
  CFile one, other;
  if (!one.OpenToRead(szOne.c_str()) || !other.OpenToRead(szOther.c_str())) return false;
  if (one.Size() != other.Size()) return false;
  const auto pOne = std::make_unique_for_overwrite<char[]>(BLOCK);
  const auto pOther = std::make_unique_for_overwrite<char[]>(BLOCK);
  int64_t nGot = BLOCK;
  while (nGot == BLOCK) {
    nGot = one.Read(pOne.get(), BLOCK);
    if (other.Read(pOther.get(), BLOCK) != nGot) return false;
    if (std::memcmp(pOne.get(), pOther.get(), static_cast<size_t>(nGot)) != 0) return false;
  }
  return one.Error() == 0 && other.Error() == 0;
}

EPlaced CFilePlacer::Place(const std::string& szSource, const std::string& szFolder,
                           const std::string& szName) {
  m_szReason.clear();
  m_szFolder = szFolder;
  m_szTarget = szFolder + "/" + szName;
  struct stat status;
  if (CFileSystem::Current().LinkStat(m_szTarget.c_str(), status) == 0) return Meet(szSource);
  if (!MakeFolders(szFolder)) return EPlaced::FAILED;
  const bool bPlaced = m_eWay == EPlaceWay::LINK   ? Link(szSource)
                       : m_eWay == EPlaceWay::COPY ? Copy(szSource)
                                                   : Move(szSource);
  return bPlaced ? EPlaced::NEW : EPlaced::FAILED;
}

/// The name is there. A move that was stopped between its two names is ended.
EPlaced CFilePlacer::Meet(const std::string& szSource) {
  struct stat source, target;
  CFileSystem& system = CFileSystem::Current();
  if (system.Stat(szSource.c_str(), source) != 0) return Fail("cannot be read"), EPlaced::FAILED;
  if (system.Stat(m_szTarget.c_str(), target) != 0) return Fail(m_szTarget), EPlaced::FAILED;
  const bool bOneFile = IsOneFile(source, target);
  if (!IsSameContent(szSource, m_szTarget)) {
    m_szReason = "another file has its name: " + m_szTarget;
    return EPlaced::FAILED;
  }
  const bool bTwoNames = RealPath(szSource) != RealPath(m_szTarget) && (!bOneFile || source.st_nlink > 1);
  if (m_eWay == EPlaceWay::MOVE && bTwoNames && !IsLink(m_szTarget) && !Remove(szSource))
    return EPlaced::FAILED;
  return EPlaced::PRESENT;
}

bool CFilePlacer::MakeFolders(const std::string& szFolder) {
  CFileSystem& system = CFileSystem::Current();
  for (size_t nEnd = szFolder.find('/', 1);; nEnd = szFolder.find('/', nEnd + 1)) {
    const std::string szPart = szFolder.substr(0, nEnd);
    struct stat status;
    const bool bThere =
        system.MakeFolder(szPart.c_str()) == 0 || errno == EEXIST || system.Stat(szPart.c_str(), status) == 0;
    if (!bThere) return Fail(szPart);
    if (nEnd == std::string::npos) return true;
  }
}

/// To the real path of the file: neither the folder of the link nor how the file was found matters.
bool CFilePlacer::Link(const std::string& szSource) {
  const std::string szReal = RealPath(szSource);
  if (szReal.empty()) return Fail("cannot be found");
  return CFileSystem::Current().MakeSymbolicLink(szReal.c_str(), m_szTarget.c_str()) == 0 || Fail(m_szTarget);
}

bool CFilePlacer::Copy(const std::string& szSource) {
  const std::string szPart = m_szFolder + "/" + PART + std::to_string(getpid());
  const bool bCopied = CopyBytes(szSource, szPart) && Publish(szPart);
  CFileSystem::Current().Remove(szPart.c_str());
  return bCopied;
}

bool CFilePlacer::CopyBytes(const std::string& szSource, const std::string& szPart) {
  CFile in, out;
  if (!in.OpenToRead(szSource.c_str())) return Fail("cannot be read");
  if (!out.OpenToWrite(szPart.c_str())) return Fail(szPart);
  const auto pBlock = std::make_unique_for_overwrite<char[]>(BLOCK);
  const int64_t nSize = in.Size();
  int64_t nDone = 0;
  for (int64_t nGot = BLOCK; nGot == BLOCK; nDone += nGot) {
    nGot = in.Read(pBlock.get(), BLOCK);
    if (!out.Write(pBlock.get(), nGot)) return Fail(szPart);
  }
  errno = in.Error();
  if (errno != 0) return Fail("cannot be read");
  if (nDone != nSize) {
    m_szReason = "changed while it was copied";
    return false;
  }
  return (out.Sync() && out.Close()) || Fail(szPart);
}

/// Gives a file its name in the tree, unless another one has got it since. The old name may stay.
bool CFilePlacer::Publish(const std::string& szPath) {
  CFileSystem& system = CFileSystem::Current();
  if (system.MakeLink(szPath.c_str(), m_szTarget.c_str()) == 0) return true;
  if (!HasNoLinks(errno)) return Fail(m_szTarget);
  struct stat status;
  if (system.LinkStat(m_szTarget.c_str(), status) == 0) {
    errno = EEXIST;
    return Fail(m_szTarget);
  }
  return system.Rename(szPath.c_str(), m_szTarget.c_str()) == 0 || Fail(m_szTarget);
}

/// Of a link its target is linked, and the link removed.
bool CFilePlacer::Move(const std::string& szSource) {
  if (IsLink(szSource)) return Link(szSource) && Remove(szSource);
  if (!Publish(szSource) && (m_nError != EXDEV || !Copy(szSource))) return false;
  return Remove(szSource);
}

bool CFilePlacer::Remove(const std::string& szPath) {
  const bool bGone = CFileSystem::Current().Remove(szPath.c_str()) == 0 || errno == ENOENT;
  return bGone || Fail(szPath + " cannot be removed");
}
