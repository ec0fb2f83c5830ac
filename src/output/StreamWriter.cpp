#include "output/StreamWriter.h"

#include <algorithm>
#include <utility>

#include "kernel/TextReal.h"

namespace {
constexpr int BUFFER_SIZE = 4000;
/// Bytes that go to the system at a time, always at multiples of that: file systems take whole pages more
/// readily than pieces that begin and end inside of one.
constexpr int SYSTEM_BLOCK = 256 * 1024;
}  // namespace

CStreamWriter::CStreamWriter() : pBuffer(std::make_unique<char[]>(BUFFER_SIZE)), nBufferSize(BUFFER_SIZE) {}

CStreamWriter::~CStreamWriter() {
  Close();
  nBufferSize = 0;
}

bool CStreamWriter::Open(const char* szPath, bool bBigEndianOrder) {
  Close();
  if (!szPath) return false;
  bBigEndian = bBigEndianOrder;
  if (!m_file.OpenToWrite(szPath)) return false;
  if (!m_pSystemBuffer) m_pSystemBuffer = std::make_unique_for_overwrite<char[]>(SYSTEM_BLOCK + BLOCK_MAX);
  nBufferUsed = m_nSystemUsed = 0;
  m_bFailed = false;
  return true;
}

bool CStreamWriter::Close() {
  if (!IsOpen()) return true;
  if (FlushBuffer()) WriteToSystem(m_nSystemUsed);
  nBufferUsed = m_nSystemUsed = 0;
  if (!m_file.Close()) m_bFailed = true;
  return !m_bFailed;
}

/// Hands what is buffered to the system's buffer. False for a failed stream.
bool CStreamWriter::FlushBuffer() {
  const int nBytes = std::exchange(nBufferUsed, 0);
  return nBytes > 0 ? Put(nBytes, pBuffer.get()) > 0 : !m_bFailed;
}

/// Hands the first bytes of the system buffer to the system. False for a failed stream.
bool CStreamWriter::WriteToSystem(int nBytes) {
  if (nBytes > 0 && !m_bFailed) m_bFailed = !m_file.Write(m_pSystemBuffer.get(), nBytes);
  m_nSystemUsed -= nBytes;
  std::memmove(m_pSystemBuffer.get(), m_pSystemBuffer.get() + nBytes, m_nSystemUsed);
  return !m_bFailed;
}

/// Takes bytes for the system's next block; 0 and a failed stream when they cannot be written.
int CStreamWriter::Put(int nBytes, const char* pBytes) {
  for (int nDone = 0; nDone < nBytes && !m_bFailed;) {
    const int nPiece = std::min(nBytes - nDone, BLOCK_MAX);
    std::memcpy(Reserve(nPiece), pBytes + nDone, nPiece);
    Commit(nPiece);
    nDone += nPiece;
  }
  return m_bFailed ? 0 : nBytes;
}

/// A write that the buffer has no room for: what is buffered goes out, then the block itself if it is as
/// large as the buffer.
int CStreamWriter::WriteThrough(int nBytes, const char* pBytes) {
  if (!IsOpen()) return 0;
  const int nFlushed = nBufferUsed;
  if (!FlushBuffer()) return 0;
  if (nBytes >= nBufferSize) {
    const int nPut = Put(nBytes, pBytes);
    return m_bFailed ? 0 : nFlushed + nPut;
  }
  std::memcpy(pBuffer.get(), pBytes, nBytes);
  nBufferUsed = nBytes;
  return nFlushed + nBytes;
}

char* CStreamWriter::Reserve(int nBytes) {
  if (!IsOpen() || nBytes > BLOCK_MAX || !FlushBuffer()) return nullptr;
  return m_pSystemBuffer.get() + m_nSystemUsed;
}

void CStreamWriter::Commit(int nBytes) {
  m_nSystemUsed += nBytes;
  if (m_nSystemUsed >= SYSTEM_BLOCK) WriteToSystem(SYSTEM_BLOCK);
}

int CStreamWriter::WriteTextInt(int nValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatInt(nValue, szText), szText);
}

int CStreamWriter::WriteTextReal4(float fValue) {
  char szText[TEXT_REAL_MAX];
  return Write(FormatReal4(fValue, szText), szText);
}
