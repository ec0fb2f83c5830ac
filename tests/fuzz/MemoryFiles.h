#pragma once

#include <string>
#include <vector>

#include "kernel/FileSystem.h"

/// A file system in memory, empty at first. Folders are there as long as files lie in them; anything can be
/// written. What was made in it keeps its storage when it is cleared.
class CMemoryFiles : public CFileSystem {
 public:
  /// The bytes of a file, which is made if there is none.
  std::string& File(const std::string& szPath);
  void Clear() { m_nFiles = 0; }

  int Open(const char* szPath, int nFlags) override;
  ssize_t Read(int nFile, char* pOut, size_t nBytes) override;
  ssize_t Write(int nFile, const char* pBytes, size_t nBytes) override;
  off_t Seek(int nFile, off_t nOffset) override;
  int Close(int nFile) override;
  int Stat(const char* szPath, struct stat& status) override;
  int Stat(int nFile, struct stat& status) override;
  DIR* OpenFolder(const char* szPath) override;
  const dirent* ReadFolder(DIR* pFolder) override;
  int CloseFolder(DIR* pFolder) override;

 private:
  struct SFile {
    std::string szPath, szBytes;
  };
  struct SOpen {
    int nFile = -1;  // -1: free, -2: a folder
    size_t nPosition = 0;
  };
  struct SFolder {
    std::vector<std::string> arNames;
    size_t nNext = 0;
    dirent entry;
  };

  int Find(const std::string& szPath) const;
  bool IsFolder(const std::string& szPath) const;
  int Status(int nFile, struct stat& status) const;

  std::vector<SFile> m_arFiles;
  size_t m_nFiles = 0;  // those in use
  std::vector<SOpen> m_arOpen;
};

/// An empty one, which stands in for that of the system from the first call on.
CMemoryFiles& EmptyFiles();
/// What a main is given.
std::vector<char*> Arguments(std::vector<std::string>& arTexts);
