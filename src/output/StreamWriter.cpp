#include "output/StreamWriter.h"

#include "output/TextReal.h"

namespace {
constexpr int BUFFER_SIZE = 4000;
constexpr size_t SYSTEM_BUFFER_SIZE = 256 * 1024;
}  // namespace

CStreamWriter::CStreamWriter() : pBuffer(std::make_unique<char[]>(BUFFER_SIZE)), nBufferSize(BUFFER_SIZE) {}

CStreamWriter::~CStreamWriter() {
  Close();
  nBufferSize = 0;
}

bool CStreamWriter::Open(const char* szPath, bool bBigEndianOrder) {
  Close();
  if (!szPath) return false;
  pFile = std::fopen(szPath, "w");
  bBigEndian = bBigEndianOrder;
  if (!pFile) return false;
  if (!pSystemBuffer) pSystemBuffer = std::make_unique_for_overwrite<char[]>(SYSTEM_BUFFER_SIZE);
  std::setvbuf(pFile, pSystemBuffer.get(), _IOFBF, SYSTEM_BUFFER_SIZE);
  nBufferUsed = 0;
  bFailed = false;
  return true;
}

bool CStreamWriter::Close() {
  if (!pFile) return true;
  if (nBufferUsed > 0 && !bFailed) Put(nBufferUsed, pBuffer.get());
  nBufferUsed = 0;
  if (std::fclose(pFile) != 0) bFailed = true;
  pFile = nullptr;
  return !bFailed;
}

/// Hands bytes to the system's buffering; 0 and a failed stream when not all of them are taken.
int CStreamWriter::Put(int nBytes, const char* pBytes) {
  if (std::fwrite(pBytes, 1, nBytes, pFile) == static_cast<size_t>(nBytes)) return nBytes;
  bFailed = true;
  return 0;
}

/// A write that the buffer has no room for: what is buffered goes out, then the block itself if it is as
/// large as the buffer.
int CStreamWriter::WriteThrough(int nBytes, const char* pBytes) {
  if (!pFile || bFailed) return 0;
  const int nFlushed = nBufferUsed > 0 ? Put(nBufferUsed, pBuffer.get()) : 0;
  nBufferUsed = 0;
  if (bFailed) return 0;
  if (nBytes >= nBufferSize) {
    const int nPut = Put(nBytes, pBytes);
    return bFailed ? 0 : nFlushed + nPut;
  }
  std::memcpy(pBuffer.get(), pBytes, nBytes);
  nBufferUsed = nBytes;
  return nFlushed + nBytes;
}

int CStreamWriter::WriteTextInt(int nValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatInt(nValue, szText), szText);
}

int CStreamWriter::WriteTextReal4(float fValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatReal4(fValue, szText), szText);
}
