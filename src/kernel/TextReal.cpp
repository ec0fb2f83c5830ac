#include "kernel/TextReal.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "texts are composed in little-endian words");

namespace {

__extension__ typedef unsigned __int128 Uint128;

// A normal float is m * 2^q with 2^23 <= m < 2^24 and q = field - 150. Its six digits are the integer nearest
// to m * 2^q * 10^s, where s brings the value into [10^5, 10^6). A factor of two crosses at most one power of
// ten, so an exponent field needs one s or two. Their factors 2^q * 10^s are kept in units of 2^-64: the
// product with m then has the digits in its upper word and the fraction in its lower one.
//
// A factor is rounded down by less than one unit, hence the product by less than 2^24. A fraction that close
// to one half, exact halves among them, is left to the exact formatter; every other one rounds as the true
// value does.

constexpr int SIGNIFICANT = 6;
constexpr int FIELDS = 255;  // exponent fields of finite values; field 0 has no row of use
constexpr uint64_t HALF = uint64_t{1} << 63;
constexpr uint64_t DOUBT = uint64_t{1} << 24;
constexpr int EXPONENT_MIN = -38, EXPONENT_MAX = 38;  // decimal exponents of normal floats

struct SScale {
  uint64_t nFactor;  // for the smaller values of the field: 2^q * 10^s in units of 2^-64, rounded down
  uint64_t nChange;  // exclusive or of that and the factor for the larger values, whose s is one less
  uint32_t nLarger;  // the first m of the larger values
  uint32_t nLayout;  // decimal exponent of the smaller values - EXPONENT_MIN
};

constexpr Uint128 PowerOfFive(int n) {
  Uint128 nPower = 1;
  while (n-- > 0) nPower *= 5;
  return nPower;
}

// 2^nShift / nDivisor rounded down, for a quotient below 2^64 and a divisor below 2^127.
constexpr uint64_t DividePowerOfTwo(int nShift, Uint128 nDivisor) {
  uint64_t nQuotient = 0;
  Uint128 nRest = 1;
  for (int n = 0; n < nShift; ++n) {
    nRest <<= 1;
    nQuotient <<= 1;
    if (nRest >= nDivisor) {
      nRest -= nDivisor;
      nQuotient |= 1;
    }
  }
  return nQuotient;
}

constexpr uint64_t MakeFactor(int nField, int nExponent10) {
  const int nPower = SIGNIFICANT - 1 - nExponent10;
  const int nShift = 64 + (nField - 150) + nPower;
  if (nPower < 0) return DividePowerOfTwo(nShift, PowerOfFive(-nPower));
  return static_cast<uint64_t>(nShift < 0 ? PowerOfFive(nPower) >> -nShift : PowerOfFive(nPower) << nShift);
}

constexpr SScale MakeScale(int nField) {
  const int nExponent10 = ((nField - 127) * 78913) >> 18;  // floor(log10(2^(field - 127)))
  const uint64_t nFactor = MakeFactor(nField, nExponent10);
  SScale scale{nFactor, 0, UINT32_MAX, static_cast<uint32_t>(nExponent10 - EXPONENT_MIN)};
  // 999999.5 is the first value to round up to seven digits; as 99999.95 it becomes 100000. Where the rounded
  // factor puts this limit one m too high, the m left out is in doubt.
  const Uint128 nLimit = (Uint128{999999} << 64) + HALF;
  const Uint128 nLarger = (nLimit + nFactor - 1) / nFactor;
  if (nLarger < (1U << 24)) {
    scale.nLarger = static_cast<uint32_t>(nLarger);
    scale.nChange = nFactor ^ MakeFactor(nField, nExponent10 + 1);
  }
  return scale;
}

constexpr auto MakeScales() {
  std::array<SScale, FIELDS> arScales{};
  for (int n = 1; n < FIELDS; ++n) arScales[n] = MakeScale(n);
  return arScales;
}

// How the digits of one decimal exponent are laid out: an optional prefix "0.000", the digits with or without
// a point among them, an optional suffix "e-05".
struct alignas(64) SLayout {
  uint64_t nPrefix;       // text before the digits
  uint64_t nHeadMask;     // bytes of the digits that stand before the point
  uint64_t nPoint;        // the point at its place among the digits, or 0
  uint32_t nSuffix;       // text of the exponent, or 0
  uint8_t nDigitsAt;      // length of the prefix
  uint8_t nSuffixLength;  // 4 or 0
  uint8_t arEnd[16];      // end of the digits without their final zeros, by the key of the two triples
};

constexpr uint64_t Word(const char* szText) {
  uint64_t nWord = 0;
  for (int n = 0; szText[n] != '\0'; ++n) nWord |= uint64_t(static_cast<unsigned char>(szText[n])) << (8 * n);
  return nWord;
}

constexpr int KeptDigits(int nKey) { return nKey >> 2 != 0 ? 3 + (nKey >> 2) : nKey; }

constexpr SLayout MakeLayout(int nExponent10) {
  SLayout layout{};
  const bool bSmall = nExponent10 >= -4 && nExponent10 < 0;
  const bool bFixed = nExponent10 >= 0 && nExponent10 < SIGNIFICANT;
  const int nHead = bFixed ? nExponent10 + 1 : bSmall ? SIGNIFICANT : 1;  // digits before the point's place
  layout.nHeadMask = (uint64_t{1} << (8 * nHead)) - 1;
  if (bSmall) {
    layout.nPrefix = Word("0.000");
    layout.nDigitsAt = static_cast<uint8_t>(1 - nExponent10);
  } else {
    layout.nPoint = uint64_t{'.'} << (8 * nHead);
  }
  for (int nKey = 0; nKey < 16; ++nKey) {
    const int nKept = KeptDigits(nKey);
    const int nLength = bSmall ? nKept : nKept > nHead ? nKept + 1 : nHead;
    layout.arEnd[nKey] = static_cast<uint8_t>(layout.nDigitsAt + nLength);
  }
  if (!bSmall && !bFixed) {
    const int nAbsolute = nExponent10 < 0 ? -nExponent10 : nExponent10;
    const char szSuffix[] = {'e', nExponent10 < 0 ? '-' : '+', static_cast<char>('0' + nAbsolute / 10),
                             static_cast<char>('0' + nAbsolute % 10), '\0'};
    layout.nSuffix = static_cast<uint32_t>(Word(szSuffix));
    layout.nSuffixLength = 4;
  }
  return layout;
}

constexpr auto MakeLayouts() {
  std::array<SLayout, EXPONENT_MAX - EXPONENT_MIN + 1> arLayouts{};
  for (int n = EXPONENT_MIN; n <= EXPONENT_MAX; ++n) arLayouts[n - EXPONENT_MIN] = MakeLayout(n);
  return arLayouts;
}

// "000" to "999" for the upper or the lower three of the six digits, each at its place in the word. The top
// byte has the number of digits kept without the final zeros, 0 to 3, in bits 0-1 (upper) or 2-3 (lower): the
// bitwise or of two words is the text of all six and the key of its length.
constexpr auto MakeTriples(int nTextShift, int nKeyShift) {
  std::array<uint64_t, 1000> arTriples{};
  for (uint64_t n = 0; n < 1000; ++n) {
    const uint64_t nKept = n % 10 != 0 ? 3 : n % 100 != 0 ? 2 : n != 0 ? 1 : 0;
    const uint64_t nText = ('0' + n / 100) | ('0' + n / 10 % 10) << 8 | ('0' + n % 10) << 16;
    arTriples[n] = nText << nTextShift | nKept << (56 + nKeyShift);
  }
  return arTriples;
}

constexpr auto SCALES = MakeScales();
constexpr auto LAYOUTS = MakeLayouts();
constexpr auto UPPER_TRIPLES = MakeTriples(0, 0), LOWER_TRIPLES = MakeTriples(24, 2);

[[gnu::noinline, gnu::cold]] int FormatExactly(float fValue, char* pOut) {
  const auto result = std::to_chars(pOut, pOut + TEXT_REAL_MAX, static_cast<double>(fValue),
                                    std::chars_format::general, SIGNIFICANT);
  return static_cast<int>(result.ptr - pOut);
}

// Zeros, subnormals, infinities and NaNs.
[[gnu::noinline, gnu::cold]] int FormatSpecial(float fValue, char* pOut) {
  const uint32_t nBits = std::bit_cast<uint32_t>(fValue), nMagnitude = nBits & 0x7FFFFFFF;
  const int nSign = static_cast<int>(nBits >> 31);
  if (nMagnitude != 0 && nMagnitude < 0x7F800000) return FormatExactly(fValue, pOut);
  pOut[0] = '-';
  if (nMagnitude == 0) {
    pOut[nSign] = '0';
    return nSign + 1;
  }
  std::memcpy(pOut + nSign, nMagnitude == 0x7F800000 ? "inf" : "nan", 3);
  return nSign + 3;
}

// Lays out six digits, the first of them not 0.
inline int FormatDigits(uint32_t nDigits, const SLayout& layout, uint32_t nSign, char* pOut) {
  const uint64_t nText = UPPER_TRIPLES[nDigits / 1000] | LOWER_TRIPLES[nDigits % 1000];
  const uint64_t nHead = nText & layout.nHeadMask;
  const uint64_t nPlaced = nHead | layout.nPoint | (nText ^ nHead) << 8;
  pOut[0] = '-';
  pOut += nSign;
  const uint32_t nEnd = layout.arEnd[nText >> 56];
  std::memcpy(pOut, &layout.nPrefix, 8);
  std::memcpy(pOut + layout.nDigitsAt, &nPlaced, 8);
  std::memcpy(pOut + nEnd, &layout.nSuffix, 4);
  return static_cast<int>(nSign + nEnd + layout.nSuffixLength);
}

}  // namespace

int FormatReal4(float fValue, char* pOut) {
  const uint32_t nBits = std::bit_cast<uint32_t>(fValue), nSign = nBits >> 31;
  const uint32_t nField = nBits >> 23 & 0xFF;
  if (nField - 1 >= FIELDS - 1) [[unlikely]]
    return FormatSpecial(fValue, pOut);

  const SScale& scale = SCALES[nField];
  const uint32_t nMantissa = (nBits & 0x7FFFFF) | 0x800000;
  const uint32_t nLarger = nMantissa >= scale.nLarger;
  const uint64_t nFactor = scale.nFactor ^ (scale.nChange & (0 - uint64_t{nLarger}));
  const Uint128 nProduct = Uint128{nMantissa} * nFactor + HALF;
  const uint64_t nRest = static_cast<uint64_t>(nProduct);
  const uint32_t nDigits = static_cast<uint32_t>(nProduct >> 64);
  if (nRest + DOUBT <= 2 * DOUBT) [[unlikely]]
    return FormatExactly(fValue, pOut);
  return FormatDigits(nDigits, LAYOUTS[scale.nLayout + nLarger], nSign, pOut);
}

int FormatInt(int nValue, char* pOut) {
  return static_cast<int>(std::to_chars(pOut, pOut + 11, nValue).ptr - pOut);
}
