#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

#include "kernel/File.h"

/// The input file: bytes, lines, numbers and tokens, read through one buffer that is kept from file to file.
/// Every operation on a closed file returns 0 or false and leaves its output alone. Nothing is ever printed.
class CStreamReader {
 public:
  CStreamReader() = default;
  CStreamReader(const CStreamReader&) = delete;
  CStreamReader& operator=(const CStreamReader&) = delete;
  virtual ~CStreamReader() { Close(); }

  /// False for a path that names a pipe, a socket or a device, which might be waited for without end. True
  /// as well when nothing is known of the path: opening it then tells.
  static bool IsFileOrDirectory(const char* szPath);

  /// Closes the file at hand, whether or not the new one opens. A directory opens, and fails when it is read.
  bool Open(const char* szPath);
  void Close();
  /// Why the system did not give what was asked for, where the file did not just end: the errno of the last
  /// Open, or of an operation since; 0 when none failed.
  int Error() const { return m_nError; }
  bool Failed() const { return m_nError != 0; }

  /// Reads up to n bytes. Returns how many there were.
  int Read(int n, char* pOut) {
    if (n > m_nEnd - m_nNext || n < 1) [[unlikely]]
      return ReadMore(n, pOut);
    std::memcpy(pOut, m_pBuffer.get() + m_nNext, static_cast<size_t>(n));
    m_nNext += n;
    return n;
  }
  /// Reads up to n bytes and stays where it is.
  int Peek(int n, char* pOut);

  /// Moves by nOffset bytes, also beyond the end. Returns nOffset, or 0 when the move failed, as it does in
  /// front of the start; the position is then unchanged.
  int Skip(int nOffset);

  /// Moves forward to the next place that holds these 4 bytes. False at the end of the file, which is then
  /// the position.
  bool SkipTo(const char* szMarker4);

  /// Bytes from the start of the file to the position.
  int64_t Position() const { return m_nFilePosition - (m_nEnd - m_nNext); }
  /// Bytes that the file holds from the position on.
  int64_t Remaining();

  /// Reads a line with its newline, at most n - 1 bytes of it. The line ends at a null byte, whatever
  /// follows. Returns its length, 0 at the end of the file.
  int Gets(int n, char* pOut);

  /// Big-endian integers, the one of 2 bytes with its sign. Bytes behind the end of the file count as 0.
  void ReadBinInt4(int* pValue);
  void ReadBinInt2(int* pValue);
  /// The same by single bytes: a byte behind the end repeats the one before it. Returns 4.
  int ReadUint(unsigned* pValue);
  int ReadInt(int* pValue) { return ReadUint(reinterpret_cast<unsigned*>(pValue)); }

  /// Reads a token of at most n - 1 bytes: white space in front is dropped, the one behind is kept as one
  /// blank. The end of the file counts as one byte of the token, whose value is what pOut held. Returns the
  /// count plus one.
  int ReadPlain(int n, char* pOut);
  /// A token as a number, out of whose range comes the nearest one. Return the count of ReadPlain; the value
  /// is unchanged when the token is no number.
  int ReadTextInt(int* pValue);
  int ReadTextReal4(float* pValue);

 private:
  static constexpr int BUFFER_SIZE = 256 * 1024;

  int ReadMore(int n, char* pOut);
  int Fill(int nWanted);
  void Forget(int64_t nNewPosition);

  CFile m_file;
  int m_nError = 0;
  std::unique_ptr<char[]> m_pBuffer;
  int m_nNext = 0;              // next byte of the buffer to hand out
  int m_nEnd = 0;               // end of the bytes in the buffer
  int64_t m_nFilePosition = 0;  // where m_file stands: its offset of m_nEnd
};
