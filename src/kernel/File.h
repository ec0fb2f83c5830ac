#pragma once

#include <cstdint>

/// One open file. Interrupted calls are taken up again and short counts completed. Operations on a closed
/// file fail.
class CFile {
 public:
  CFile() = default;
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;
  virtual ~CFile() { Close(); }

  /// A directory opens, and fails when it is read.
  bool OpenToRead(const char* szPath);
  /// Made, or emptied.
  bool OpenToWrite(const char* szPath);
  bool IsOpen() const { return m_nFile >= 0; }
  /// False when the system says that bytes were lost.
  bool Close();

  /// Returns how many bytes there were: less than asked for at the end of the file, or when it fails.
  int64_t Read(char* pOut, int64_t nBytes);
  /// False when not all bytes were taken.
  bool Write(const char* pBytes, int64_t nBytes);
  /// Has the bytes on the disk. False when the system says that they are not.
  bool Sync();
  /// Moves to an offset from the start, also beyond the end. False in front of the start, and for what has no
  /// places to move to.
  bool Seek(int64_t nOffset);
  /// Bytes of a regular file, 0 for anything else.
  int64_t Size();

  /// Why the system did not give what is asked for: the errno of the last open, or of a read or a look at the
  /// file since; 0 when none failed. Nothing is read from then on.
  int Error() const { return m_nError; }

 private:
  bool Open(const char* szPath, int nFlags);

  int m_nFile = -1;
  int m_nError = 0;
};
