#include "bufr/StreamReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "kernel/FileSystem.h"
#include "kernel/ScanInt.h"

bool CStreamReader::IsFileOrDirectory(const char* szPath) {
  struct stat info;
  return CFileSystem::Current().Stat(szPath, info) != 0 || S_ISREG(info.st_mode) || S_ISDIR(info.st_mode);
}

bool CStreamReader::Open(const char* szPath) {
  Close();
  if (!szPath) return false;
  const bool bOpen = m_file.OpenToRead(szPath);
  m_nError = m_file.Error();
  return bOpen;
}

void CStreamReader::Close() {
  m_file.Close();
  m_nError = 0;
  Forget(0);
}

/// Empties the buffer, with m_file at the given offset.
void CStreamReader::Forget(int64_t nNewPosition) {
  m_nNext = m_nEnd = 0;
  m_nFilePosition = nNewPosition;
}

/// Has at least nWanted bytes in the buffer, as far as the file holds them. Returns how many there are.
int CStreamReader::Fill(int nWanted) {
  const int nRest = m_nEnd - m_nNext;
  if (nRest >= nWanted || !m_file.IsOpen()) return nRest;
  if (!m_pBuffer) m_pBuffer = std::make_unique_for_overwrite<char[]>(BUFFER_SIZE);
  std::memmove(m_pBuffer.get(), m_pBuffer.get() + m_nNext, static_cast<size_t>(nRest));
  const int64_t nGot = m_file.Read(m_pBuffer.get() + nRest, BUFFER_SIZE - nRest);
  m_nNext = 0;
  m_nEnd = nRest + static_cast<int>(nGot);
  m_nFilePosition += nGot;
  if (m_nEnd < nWanted) m_nError = m_file.Error();
  return m_nEnd;
}

/// The reads that the buffer does not hold: short ones refill it, long ones go past it.
int CStreamReader::ReadMore(int n, char* pOut) {
  constexpr int LONG_READ = BUFFER_SIZE / 4;
  if (!m_file.IsOpen() || n < 1) return 0;
  int nDone = m_nEnd - m_nNext;
  if (n <= BUFFER_SIZE && n - nDone < LONG_READ) {
    nDone = Peek(n, pOut);
    m_nNext += nDone;
    return nDone;
  }
  if (nDone > 0) std::memcpy(pOut, m_pBuffer.get() + m_nNext, static_cast<size_t>(nDone));
  const int64_t nGot = m_file.Read(pOut + nDone, n - nDone);
  m_nError = m_file.Error();
  Forget(m_nFilePosition + nGot);
  return nDone + static_cast<int>(nGot);
}

int CStreamReader::Peek(int n, char* pOut) {
  if (n > BUFFER_SIZE) {
    const int nGot = Read(n, pOut);
    Skip(-nGot);
    return nGot;
  }
  const int nGot = std::min(n, Fill(n));
  if (nGot < 1) return 0;
  std::memcpy(pOut, m_pBuffer.get() + m_nNext, static_cast<size_t>(nGot));
  return nGot;
}

int CStreamReader::Skip(int nOffset) {
  if (!m_file.IsOpen()) return 0;
  if (nOffset >= -m_nNext && nOffset <= m_nEnd - m_nNext) {
    m_nNext += nOffset;
    return nOffset;
  }
  const int64_t nTarget = Position() + nOffset;
  const bool bMoved = m_file.Seek(nTarget);
  m_nError = m_file.Error();
  if (!bMoved) return 0;
  Forget(nTarget);
  return nOffset;
}

bool CStreamReader::SkipTo(const char* szMarker4) {
  constexpr int MARKER = 4;
  while (Fill(MARKER) >= MARKER) {
    const std::string_view bytes(m_pBuffer.get() + m_nNext, static_cast<size_t>(m_nEnd - m_nNext));
    const size_t nFound = bytes.find(szMarker4, 0, MARKER);
    if (nFound != std::string_view::npos) {
      m_nNext += static_cast<int>(nFound);
      return true;
    }
    m_nNext = m_nEnd - (MARKER - 1);  // a marker may begin in the last three bytes
  }
  m_nNext = m_nEnd;
  return false;
}

int64_t CStreamReader::Remaining() {
  const int64_t nSize = m_file.Size();
  m_nError = m_file.Error();
  return std::max<int64_t>(nSize - Position(), 0);
}

int CStreamReader::Gets(int n, char* pOut) {
  int nLength = 0;
  bool bEnd = false;
  while (!bEnd && nLength < n - 1 && Fill(1) > 0) {
    const char* pLine = m_pBuffer.get() + m_nNext;
    size_t nPiece = static_cast<size_t>(std::min(n - 1 - nLength, m_nEnd - m_nNext));
    if (const void* pNewLine = std::memchr(pLine, '\n', nPiece)) {
      nPiece = static_cast<size_t>(static_cast<const char*>(pNewLine) - pLine) + 1;
      bEnd = true;
    }
    std::memcpy(pOut + nLength, pLine, nPiece);
    nLength += static_cast<int>(nPiece);
    m_nNext += static_cast<int>(nPiece);
  }
  if (nLength == 0) return 0;
  pOut[nLength] = pOut[n - 1] = 0;
  return static_cast<int>(std::strlen(pOut));
}

void CStreamReader::ReadBinInt4(int* pValue) {
  uint8_t arn[4] = {};
  if (!m_file.IsOpen()) return;
  Read(4, reinterpret_cast<char*>(arn));
  *pValue =
      static_cast<int>(uint32_t{arn[0]} << 24 | uint32_t{arn[1]} << 16 | uint32_t{arn[2]} << 8 | arn[3]);
}

void CStreamReader::ReadBinInt2(int* pValue) {
  uint8_t arn[2] = {};
  if (!m_file.IsOpen()) return;
  Read(2, reinterpret_cast<char*>(arn));
  *pValue = static_cast<int16_t>(arn[0] << 8 | arn[1]);
}

int CStreamReader::ReadUint(unsigned* pValue) {
  if (!m_file.IsOpen()) return 0;
  uint8_t nByte = 0;
  unsigned nValue = 0;
  for (int i = 0; i < 4; ++i) {
    Read(1, reinterpret_cast<char*>(&nByte));
    nValue = nValue << 8 | nByte;
  }
  *pValue = nValue;
  return 4;
}

int CStreamReader::ReadPlain(int n, char* pOut) {
  if (!m_file.IsOpen() || n < 1) return 0;
  int nCount = 0;
  bool bEnd = false;
  while (!bEnd && nCount < n - 1) {
    bEnd = Read(1, pOut + nCount) == 0;
    const bool bBlank = !bEnd && std::memchr("\r \n\t", pOut[nCount], 4);
    if (bBlank && nCount == 0) continue;
    if (bBlank) {
      pOut[nCount] = ' ';
      bEnd = true;
    }
    ++nCount;
  }
  pOut[nCount] = 0;
  return nCount + 1;
}

namespace {
constexpr int TOKEN_SIZE = 200;
}

int CStreamReader::ReadTextInt(int* pValue) {
  char szToken[TOKEN_SIZE] = {};
  const int nCount = ReadPlain(TOKEN_SIZE, szToken);
  const char* szText = szToken;
  if (nCount >= 1) ScanInt(szText, *pValue);
  return nCount;
}

int CStreamReader::ReadTextReal4(float* pValue) {
  char szToken[TOKEN_SIZE] = {};
  const int nCount = ReadPlain(TOKEN_SIZE, szToken);
  if (nCount >= 1) std::sscanf(szToken, "%g", pValue);
  return nCount;
}
