#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Readable bytes that must stand behind the data given to the functions below: they load whole
/// words and vectors that may reach beyond the last field. The values of these bytes do not matter.
constexpr int UNPACK_PADDING = 64;

/// One unsigned field of nWidth bits (0 to 57), most significant bit first, from bit nBitPos of pData.
inline uint64_t LoadBits(const uint8_t* pData, int64_t nBitPos, int nWidth) {
  uint64_t nWord;
  std::memcpy(&nWord, pData + (nBitPos >> 3), sizeof nWord);
  if constexpr (std::endian::native == std::endian::little) nWord = __builtin_bswap64(nWord);
  // Two shifts, because a shift by 64 is undefined and a width of 0 needs it.
  return (nWord << (nBitPos & 7)) >> 1 >> (63 - nWidth);
}

/// Unpacks nCount unsigned fields of nWidth bits (1 to 32), most significant bit first, that follow
/// each other from bit nBitPos of pData, into pOut. All of them lie inside the data (the caller has
/// checked). Returns true when at least one field has all its bits set, the missing value of BUFR.
bool UnpackRun(const uint8_t* pData, int64_t nBitPos, int nWidth, int nCount, uint32_t* pOut);

/// Raw value of a field that was missing.
constexpr int32_t RAW_MISSING = INT32_MIN;

/// The same for the increments of one element: pOut[i] is nBase plus the field, or RAW_MISSING where
/// the field has all its bits set. The sums fit 32 bits (the caller has checked). Returns true when
/// at least one field was missing.
bool UnpackRaw(const uint8_t* pData, int64_t nBitPos, int nWidth, int nCount, int32_t nBase, int32_t* pOut);
