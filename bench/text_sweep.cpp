// Compares FormatReal4 with the C library's "%g" over the bit patterns of single precision.
//
//   text_sweep [stride [first [count]]]
//
// takes the patterns first, first + stride, ... modulo 2^32, by default each of the 2^32 once. Prints the
// number compared and the number that differ (the first few of these in full); the exit status is 1 when any
// does.

#include <bit>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kernel/TextReal.h"

static bool Differs(uint32_t nBits, bool bShow) {
  const float fValue = std::bit_cast<float>(nBits);
  char szExpected[64], szText[TEXT_REAL_MAX + 1];
  const int nExpected = std::snprintf(szExpected, sizeof(szExpected), "%g", static_cast<double>(fValue));
  const int nLength = FormatReal4(fValue, szText);
  if (nLength == nExpected && std::memcmp(szText, szExpected, nLength) == 0) return false;
  if (bShow) std::printf("%08" PRIx32 ": %.*s instead of %s\n", nBits, nLength, szText, szExpected);
  return true;
}

int main(int argc, char** argv) {
  const uint64_t nAll = uint64_t{1} << 32;
  const uint64_t nStride = argc > 1 ? std::strtoull(argv[1], nullptr, 0) : 1;
  const uint64_t nFirst = argc > 2 ? std::strtoull(argv[2], nullptr, 0) : 0;
  if (nStride == 0) {
    std::puts("The stride must not be 0.");
    return 2;
  }
  const uint64_t nCount = argc > 3 ? std::strtoull(argv[3], nullptr, 0) : (nAll + nStride - 1) / nStride;
  uint64_t nDifferent = 0;
  for (uint64_t n = 0; n < nCount; ++n)
    nDifferent += Differs(static_cast<uint32_t>(nFirst + n * nStride), nDifferent < 20);
  std::printf("%" PRIu64 " patterns, %" PRIu64 " differences\n", nCount, nDifferent);
  return nDifferent != 0;
}
