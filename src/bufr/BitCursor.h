#pragma once

#include <cstdint>

#include "kernel/BitRun.h"

/// A place among the bits of a section 4. Bit 0 is the most significant one of the first byte; UNPACK_PADDING
/// bytes can be read behind the last one.
class CBitCursor {
 public:
  CBitCursor(const uint8_t* pBytes, int nBytes, int64_t nPosition)
      : m_pBytes(pBytes), m_nBits(int64_t{nBytes} * 8), m_nPosition(nPosition) {}

  const uint8_t* Bytes() const { return m_pBytes; }
  int64_t Position() const { return m_nPosition; }
  /// Bits from the position on; below 0 behind the end.
  int64_t Remaining() const { return m_nBits - m_nPosition; }

  void MoveTo(int64_t nPosition) { m_nPosition = nPosition; }
  void Skip(int64_t nBits) { m_nPosition += nBits; }

  /// The next nBits bits (0 to 57), all of which remain.
  uint64_t Peek(int nBits) const { return LoadBits(m_pBytes, m_nPosition, nBits); }
  /// Moves past nBits bits. The value is theirs, or 0 and the result false when not all of them remain.
  bool Read(int nBits, uint64_t& nValue);

 private:
  const uint8_t* m_pBytes;
  int64_t m_nBits;
  int64_t m_nPosition;
};
