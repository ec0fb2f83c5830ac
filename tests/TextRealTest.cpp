#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "output/TextReal.h"

namespace {

/// Counts the values compared and reports the first few whose text is not that of the C library, or that
/// write beyond the room promised.
class CComparer {
 public:
  void Check(float fValue) {
    char szExpected[64], szText[TEXT_REAL_MAX + 4];
    std::memset(szText, '#', sizeof(szText));
    const int nExpected = std::snprintf(szExpected, sizeof(szExpected), "%g", static_cast<double>(fValue));
    const int nLength = FormatReal4(fValue, szText);
    ++m_nCompared;
    if (nLength == nExpected && std::memcmp(szText, szExpected, nLength) == 0 &&
        std::memcmp(szText + TEXT_REAL_MAX, "####", 4) == 0)
      return;
    if (++m_nDifferent <= 10)
      ADD_FAILURE() << std::hex << std::bit_cast<uint32_t>(fValue) << ": "
                    << std::string(szText, sizeof(szText)) << " instead of " << szExpected;
  }
  void CheckBits(uint32_t nBits) { Check(std::bit_cast<float>(nBits)); }
  /// The value, its nearest neighbours and their negatives.
  void CheckAround(float fValue) {
    const uint32_t nBits = std::bit_cast<uint32_t>(fValue) & 0x7FFFFFFF;
    for (uint32_t n = nBits == 0 ? 0 : nBits - 1; n <= nBits + 1; ++n)
      CheckBits(n), CheckBits(n | 0x80000000);
  }
  long long Compared() const { return m_nCompared; }

 private:
  long long m_nCompared = 0, m_nDifferent = 0;
};

TEST(TextReal, SpecialValues) {
  const float fInf = std::numeric_limits<float>::infinity(), fNan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    float fValue;
    const char* szText;
  } arCases[] = {{0, "0"},
                 {-0.0F, "-0"},
                 {fInf, "inf"},
                 {-fInf, "-inf"},
                 {std::copysign(fNan, 1.0F), "nan"},
                 {std::copysign(fNan, -1.0F), "-nan"},
                 {-777, "-777"},
                 {100000, "100000"},
                 {999999, "999999"},
                 {1e6F, "1e+06"},
                 {1e-4F, "0.0001"},
                 {9.9999995e-5F, "0.0001"},
                 {9.99999e-5F, "9.99999e-05"},
                 {-0.000123457F, "-0.000123457"},
                 {-std::numeric_limits<float>::max(), "-3.40282e+38"},
                 {std::numeric_limits<float>::denorm_min(), "1.4013e-45"}};
  for (const auto& row : arCases) {
    char szText[TEXT_REAL_MAX];
    EXPECT_EQ(std::string(szText, FormatReal4(row.fValue, szText)), row.szText);
  }
}

TEST(TextReal, EveryExponentAtTheEdgesOfItsMantissas) {
  CComparer comparer;
  for (uint32_t nHigh = 0; nHigh < 512; ++nHigh) {
    for (uint32_t nBit = 0; nBit <= 23; ++nBit) {
      const uint32_t nEdge = (1U << nBit) & 0x7FFFFF;
      for (uint32_t nMantissa : {nEdge, nEdge - 1, nEdge + 1, ~nEdge, 0x7FFFFF - nEdge / 2})
        comparer.CheckBits(nHigh << 23 | (nMantissa & 0x7FFFFF));
    }
  }
  for (int nExponent = -46; nExponent <= 38; ++nExponent) {
    const double fPower = std::pow(10.0, nExponent);
    for (double fFactor : {1.0, 9.999995, 9.99999, 9.99998, 1.000005, 1.00001, 5.0})
      comparer.CheckAround(static_cast<float>(fFactor * fPower));
  }
  EXPECT_GT(comparer.Compared(), 60000);
}

// The halves between two numbers of six digits are n * 10^e / 2 for odd n of 200001 to 1999999. Single
// precision holds them for e = -9 (one value: 5^9 must divide n) to e = 2 (n * 25 must stay below 2^24).
TEST(TextReal, ExactHalvesOfTheSixthDigit) {
  CComparer comparer;
  int64_t nFives = 1953125;
  for (int nExponent = -9; nExponent <= 2; ++nExponent) {
    const int64_t nSkip = 2 * (1 + 20 / nFives);  // of the exponents with very many, one in twenty
    int nHalves = 0;
    int64_t nOdd = 200001 / nFives | 1;
    for (int64_t n = nOdd * nFives; n < 2000000; nOdd += nSkip, n = nOdd * nFives) {
      const double fPower = std::pow(10.0, std::abs(nExponent));
      const double fHalf =
          0.5 * static_cast<double>(n) * (nExponent > 0 ? fPower : 1) / (nExponent < 0 ? fPower : 1);
      if (n < 200001 || static_cast<double>(static_cast<float>(fHalf)) != fHalf) continue;
      ++nHalves;
      comparer.CheckAround(static_cast<float>(fHalf));
    }
    EXPECT_GT(nHalves, 0) << nExponent;
    if (nFives > 1) nFives /= 5;
  }
  EXPECT_GT(comparer.Compared(), 1000000);
}

TEST(TextReal, RandomPatterns) {
  std::mt19937 random(20070619);
  CComparer comparer;
  for (int n = 0; n < 500000; ++n) comparer.CheckBits(static_cast<uint32_t>(random()));
  for (int n = 0; n < 20000; ++n) comparer.CheckBits(static_cast<uint32_t>(random()) & 0x807FFFFF);
  std::uniform_real_distribution<float> temperature(180, 320);
  for (int n = 0; n < 300000; ++n) comparer.Check(temperature(random));
}

TEST(TextReal, DecimalRadiances) {
  CComparer comparer;
  double fDivisor = 1;
  for (int nExponent = 0; nExponent <= 10; ++nExponent, fDivisor *= 10)
    for (int nRaw = -5000; nRaw <= 65535; nRaw += nExponent % 2 + 1)
      comparer.Check(static_cast<float>(nRaw / fDivisor));
}

TEST(TextReal, Integers) {
  std::vector<int> arValues = {INT_MIN, INT_MIN + 1, INT_MAX, -1, 0};
  for (long long nPower = 1; nPower <= INT_MAX; nPower *= 10)
    for (int nChange : {-1, 0, 1}) arValues.push_back(static_cast<int>(nPower) + nChange);
  for (int nValue : std::vector<int>(arValues)) arValues.push_back(-(nValue == INT_MIN ? 7 : nValue));
  for (int nValue : arValues) {
    char szText[TEXT_REAL_MAX];
    EXPECT_EQ(std::string(szText, FormatInt(nValue, szText)), std::to_string(nValue));
  }
}

// One line of values in and out of the table, twice: the first pass makes the rows, the second copies them.
TEST(RadianceText, AppendsTheTextOfTheQuotient) {
  for (double fDivisor : {1.0, 1e5, 1e7, 1e10}) {
    CRadianceText text(fDivisor);
    for (int nPass = 0; nPass < 2; ++nPass) {
      std::vector<char> arLine(80000 * TEXT_REAL_MAX);
      char* pEnd = arLine.data();
      std::string szExpected;
      const auto Append = [&](int32_t nRaw) {
        char szText[32];
        const float fValue = static_cast<float>(nRaw / fDivisor);
        szExpected.append(szText, std::snprintf(szText, sizeof(szText), "%g\t", static_cast<double>(fValue)));
        pEnd = text.Append(pEnd, nRaw);
        *pEnd++ = '\t';
      };
      for (int32_t nRaw : {65536, -5001, 1 << 20, INT_MIN, INT_MAX}) Append(nRaw);
      for (int32_t nRaw = -5003; nRaw <= 65539; ++nRaw) Append(nRaw);
      ASSERT_EQ(std::string(arLine.data(), pEnd), szExpected) << fDivisor << " pass " << nPass;
    }
  }
}

}  // namespace
