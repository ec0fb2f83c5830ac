#include "MemoryFiles.h"

#include <fcntl.h>

#include <cstddef>
#if defined(VEX_FUZZ_MEMORY)
#include <sanitizer/msan_interface.h>
#endif

#include <algorithm>
#include <cstring>

namespace {

constexpr int NONE = -1, FOLDER = -2;
constexpr int FIRST_DESCRIPTOR = 100;  // far from those of the process

int Fail(int nReason) {
  errno = nReason;
  return -1;
}

}  // namespace

int CMemoryFiles::Find(const std::string& szPath) const {
  for (size_t i = 0; i < m_nFiles; ++i)
    if (m_arFiles[i].szPath == szPath) return static_cast<int>(i);
  return NONE;
}

bool CMemoryFiles::IsFolder(const std::string& szPath) const {
  const std::string szPrefix = szPath + "/";
  return std::any_of(m_arFiles.begin(), m_arFiles.begin() + static_cast<std::ptrdiff_t>(m_nFiles),
                     [&](const SFile& file) { return file.szPath.starts_with(szPrefix); });
}

std::string& CMemoryFiles::File(const std::string& szPath) {
  if (const int nFile = Find(szPath); nFile >= 0) return m_arFiles[nFile].szBytes;
  if (m_nFiles == m_arFiles.size()) m_arFiles.emplace_back();
  SFile& file = m_arFiles[m_nFiles++];
  file.szPath = szPath;
  file.szBytes.clear();
  return file.szBytes;
}

int CMemoryFiles::Open(const char* szPath, int nFlags) {
  int nFile = Find(szPath);
  if (nFile < 0 && IsFolder(szPath)) {
    if (nFlags & O_WRONLY) return Fail(EISDIR);
    nFile = FOLDER;
  } else if (nFile < 0) {
    if (!(nFlags & O_CREAT)) return Fail(ENOENT);
    File(szPath);
    nFile = Find(szPath);
  }
  if (nFlags & O_TRUNC) m_arFiles[nFile].szBytes.clear();
  auto place = std::find_if(m_arOpen.begin(), m_arOpen.end(), [](const SOpen& o) { return o.nFile == NONE; });
  if (place == m_arOpen.end()) place = m_arOpen.insert(place, SOpen{});
  *place = {nFile, 0};
  return FIRST_DESCRIPTOR + static_cast<int>(place - m_arOpen.begin());
}

ssize_t CMemoryFiles::Read(int nFile, char* pOut, size_t nBytes) {
  auto& [nOpen, nPosition] = m_arOpen.at(nFile - FIRST_DESCRIPTOR);
  if (nOpen == FOLDER) return Fail(EISDIR);
  const std::string& szBytes = m_arFiles.at(nOpen).szBytes;
  const size_t nThere = std::min(nBytes, szBytes.size() - std::min(nPosition, szBytes.size()));
  if (nThere > 0) std::memcpy(pOut, szBytes.data() + nPosition, nThere);
  nPosition += nThere;
  return static_cast<ssize_t>(nThere);
}

ssize_t CMemoryFiles::Write(int nFile, const char* pBytes, size_t nBytes) {
#if defined(VEX_FUZZ_MEMORY)
  __msan_check_mem_is_initialized(pBytes, nBytes);  // as the system's own call is watched
#endif
  m_arFiles.at(m_arOpen.at(nFile - FIRST_DESCRIPTOR).nFile).szBytes.append(pBytes, nBytes);
  return static_cast<ssize_t>(nBytes);
}

off_t CMemoryFiles::Seek(int nFile, off_t nOffset) {
  m_arOpen.at(nFile - FIRST_DESCRIPTOR).nPosition = static_cast<size_t>(nOffset);
  return nOffset;
}

int CMemoryFiles::Close(int nFile) {
  m_arOpen.at(nFile - FIRST_DESCRIPTOR) = {};
  return 0;
}

int CMemoryFiles::Status(int nFile, struct stat& status) const {
  status = {};
  status.st_dev = 1;
  status.st_ino = static_cast<ino_t>(nFile + 3);
  status.st_mode = nFile == FOLDER ? S_IFDIR : S_IFREG;
  if (nFile >= 0) status.st_size = static_cast<off_t>(m_arFiles.at(nFile).szBytes.size());
  return 0;
}

int CMemoryFiles::Stat(const char* szPath, struct stat& status) {
  const int nFile = Find(szPath);
  if (nFile < 0 && !IsFolder(szPath)) return Fail(ENOENT);
  return Status(nFile < 0 ? FOLDER : nFile, status);
}

int CMemoryFiles::Stat(int nFile, struct stat& status) {
  return Status(m_arOpen.at(nFile - FIRST_DESCRIPTOR).nFile, status);
}

DIR* CMemoryFiles::OpenFolder(const char* szPath) {
  const std::string szFolder(szPath);
  if (!IsFolder(szFolder)) return Fail(Find(szFolder) < 0 ? ENOENT : ENOTDIR), nullptr;
  auto* pFolder = new SFolder{};
  for (size_t i = 0; i < m_nFiles; ++i) {
    const std::string& szFile = m_arFiles[i].szPath;
    if (!szFile.starts_with(szFolder + "/")) continue;
    const std::string szName = szFile.substr(szFolder.size() + 1);
    pFolder->arNames.push_back(szName.substr(0, szName.find('/')));
  }
  auto& arNames = pFolder->arNames;
  std::sort(arNames.begin(), arNames.end());
  arNames.erase(std::unique(arNames.begin(), arNames.end()), arNames.end());
  return reinterpret_cast<DIR*>(pFolder);
}

const dirent* CMemoryFiles::ReadFolder(DIR* pFolder) {
  auto& folder = *reinterpret_cast<SFolder*>(pFolder);
  if (folder.nNext == folder.arNames.size()) return nullptr;
  const std::string& szName = folder.arNames[folder.nNext++];
  std::memcpy(folder.entry.d_name, szName.c_str(), szName.size() + 1);
  return &folder.entry;
}

int CMemoryFiles::CloseFolder(DIR* pFolder) {
  delete reinterpret_cast<SFolder*>(pFolder);
  return 0;
}

CMemoryFiles& EmptyFiles() {
  static CMemoryFiles files;
  static const CFileSystemScope scope(files);
  files.Clear();
  return files;
}

std::vector<char*> Arguments(std::vector<std::string>& arTexts) {
  std::vector<char*> arArguments;
  for (std::string& szText : arTexts) arArguments.push_back(szText.data());
  arArguments.push_back(nullptr);
  return arArguments;
}
