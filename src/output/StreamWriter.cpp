#include "output/StreamWriter.h"

#include <algorithm>

#include "output/TextReal.h"

namespace {
constexpr int BUFFER_SIZE = 4000;
constexpr int SYSTEM_BUFFER_SIZE = 256 * 1024;
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
  std::setvbuf(pFile, nullptr, _IONBF, 0);
  nBufferUsed = nSystemUsed = 0;
  bFailed = false;
  return true;
}

bool CStreamWriter::Close() {
  if (!pFile) return true;
  if (FlushBuffer()) FlushSystemBuffer();
  nBufferUsed = nSystemUsed = 0;
  if (std::fclose(pFile) != 0) bFailed = true;
  pFile = nullptr;
  return !bFailed;
}

/// The buffers' contents go one level down. False for a failed stream.
bool CStreamWriter::FlushBuffer() {
  if (nBufferUsed > 0) Put(nBufferUsed, pBuffer.get());
  nBufferUsed = 0;
  return !bFailed;
}

bool CStreamWriter::FlushSystemBuffer() {
  const size_t nBytes = nSystemUsed;
  if (nBytes > 0 && !bFailed) bFailed = std::fwrite(pSystemBuffer.get(), 1, nBytes, pFile) != nBytes;
  nSystemUsed = 0;
  return !bFailed;
}

/// Hands bytes to the system's buffering; 0 and a failed stream when not all of them are taken.
int CStreamWriter::Put(int nBytes, const char* pBytes) {
  if (bFailed) return 0;
  for (int nDone = 0; nDone < nBytes;) {
    const int nPiece = std::min(nBytes - nDone, SYSTEM_BUFFER_SIZE - nSystemUsed);
    std::memcpy(pSystemBuffer.get() + nSystemUsed, pBytes + nDone, nPiece);
    nSystemUsed += nPiece;
    nDone += nPiece;
    if (nSystemUsed == SYSTEM_BUFFER_SIZE && !FlushSystemBuffer()) return 0;
  }
  return nBytes;
}

/// A write that the buffer has no room for: what is buffered goes out, then the block itself if it is as
/// large as the buffer.
int CStreamWriter::WriteThrough(int nBytes, const char* pBytes) {
  if (!pFile) return 0;
  const int nFlushed = nBufferUsed;
  if (!FlushBuffer()) return 0;
  if (nBytes >= nBufferSize) {
    const int nPut = Put(nBytes, pBytes);
    return bFailed ? 0 : nFlushed + nPut;
  }
  std::memcpy(pBuffer.get(), pBytes, nBytes);
  nBufferUsed = nBytes;
  return nFlushed + nBytes;
}

char* CStreamWriter::Reserve(int nBytes) {
  if (!pFile || !FlushBuffer() || nBytes > BLOCK_MAX) return nullptr;
  if (nBytes > SYSTEM_BUFFER_SIZE - nSystemUsed && !FlushSystemBuffer()) return nullptr;
  return pSystemBuffer.get() + nSystemUsed;
}

int CStreamWriter::Commit(int nBytes) {
  nSystemUsed += nBytes;
  return nBytes;
}

int CStreamWriter::WriteTextInt(int nValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatInt(nValue, szText), szText);
}

int CStreamWriter::WriteTextReal4(float fValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatReal4(fValue, szText), szText);
}
