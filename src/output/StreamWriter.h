#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "kernel/File.h"

/// The one way in which files are written: a buffered byte stream, with binary values in either byte order.
/// Operations return the bytes accepted. Once the system has refused bytes, every operation on the file
/// returns 0 and nothing more is written to it.
class CStreamWriter {
 public:
  CStreamWriter();
  CStreamWriter(const CStreamWriter&) = delete;
  CStreamWriter& operator=(const CStreamWriter&) = delete;
  virtual ~CStreamWriter();

  /// Opens (and truncates) a file; false when that is not possible.
  bool Open(const char* szPath, bool bBigEndianOrder);
  /// Writes what is buffered and closes. False when bytes were lost, now or earlier on this file.
  bool Close();
  bool IsOpen() const { return m_file.IsOpen(); }

  int Write(int nBytes, const char* pBytes) {
    if (nBufferUsed + int64_t{nBytes} < nBufferSize && IsOpen() && !m_bFailed) [[likely]] {
      std::memcpy(pBuffer.get() + nBufferUsed, pBytes, nBytes);
      nBufferUsed += nBytes;
      return nBytes;
    }
    return WriteThrough(nBytes, pBytes);
  }

  /// Room for a block that is made in place, at most BLOCK_MAX bytes, behind what was written so far; null
  /// when the file takes nothing more. Commit then takes the first nBytes of it; nothing else may be written
  /// in between.
  char* Reserve(int nBytes);
  void Commit(int nBytes);
  static constexpr int BLOCK_MAX = 64 * 1024;

  int WriteText(const char* szText) { return Write(static_cast<int>(std::strlen(szText)), szText); }
  /// "%d"
  int WriteTextInt(int nValue);
  /// "%g"
  int WriteTextReal4(float fValue);
  /// "%g" of the value rounded to single precision
  void WriteTextReal4(double fValue) { WriteTextReal4(static_cast<float>(fValue)); }

  int WriteBinInt4(int nValue) { return WriteBin(nValue); }
  int WriteBinReal4(float fValue) { return WriteBin(fValue); }
  int WriteBinInt2(short nValue) { return WriteBin(nValue); }
  int WriteBinInt1(unsigned char nValue) { return Write(1, reinterpret_cast<const char*>(&nValue)); }

  /// True when binary values are byte-reversed on output.
  bool Reverses() const { return bBigEndian && !bNativeBigEndian; }

 private:
  int WriteThrough(int nBytes, const char* pBytes);
  int Put(int nBytes, const char* pBytes);
  bool FlushBuffer();
  bool WriteToSystem(int nBytes);

  template <class T>
  int WriteBin(T value) {
    char arBytes[sizeof(T)];
    std::memcpy(arBytes, &value, sizeof(T));
    for (size_t i = 0; Reverses() && i < sizeof(T) / 2; ++i)
      std::swap(arBytes[i], arBytes[sizeof(T) - 1 - i]);
    return Write(sizeof(T), arBytes);
  }

  std::unique_ptr<char[]> pBuffer;
  int nBufferSize;
  int nBufferUsed = 0;
  bool bNativeBigEndian = false;  // values are laid out for a little-endian host
  bool bBigEndian = false;
  bool m_bFailed = false;
  CFile m_file;
  std::unique_ptr<char[]> m_pSystemBuffer;  // large blocks to the system
  int m_nSystemUsed = 0;
};
