#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "kernel/BitRun.h"
#include "kernel/RadianceText.h"
#include "kernel/TextReal.h"

namespace {

/// Compares a value's text with the C library's, and what is written with the room promised.
void Check(float fValue) {
  if (testing::Test::HasFailure()) return;  // one is enough of perhaps a million
  char szExpected[64], szText[TEXT_REAL_MAX + 4];
  std::memset(szText, '#', sizeof(szText));
  std::snprintf(szExpected, sizeof(szExpected), "%g", static_cast<double>(fValue));
  const int nLength = FormatReal4(fValue, szText);
  EXPECT_EQ(std::string(szText, nLength), szExpected);
  EXPECT_EQ(std::memcmp(szText + TEXT_REAL_MAX, "####", 4), 0) << szExpected;
}

void CheckBits(uint32_t nBits) { Check(std::bit_cast<float>(nBits)); }

/// The value, its nearest neighbours and their negatives.
void CheckAround(float fValue) {
  const uint32_t nBits = std::bit_cast<uint32_t>(fValue) & 0x7FFFFFFF;
  for (uint32_t n = nBits == 0 ? 0 : nBits - 1; n <= nBits + 1; ++n) CheckBits(n), CheckBits(n | 0x80000000);
}

TEST(TextReal, EveryExponentAtTheEdgesOfItsMantissas) {
  for (uint32_t nHigh = 0; nHigh < 512; ++nHigh) {
    for (uint32_t nBit = 0; nBit <= 23; ++nBit) {
      const uint32_t nEdge = (1U << nBit) & 0x7FFFFF;
      for (uint32_t nMantissa : {nEdge, nEdge - 1, nEdge + 1, ~nEdge, 0x7FFFFF - nEdge / 2})
        CheckBits(nHigh << 23 | (nMantissa & 0x7FFFFF));
    }
  }
  for (int nExponent = -46; nExponent <= 38; ++nExponent) {
    const double fPower = std::pow(10.0, nExponent);
    for (double fFactor : {1.0, 9.999995, 9.99999, 9.99998, 1.000005, 1.00001, 5.0})
      CheckAround(static_cast<float>(fFactor * fPower));
  }
}

// The halves between two numbers of six digits are n * 10^e / 2 for odd n of 200001 to 1999999. Single
// precision holds them for e = -9 (one value: 5^9 must divide n) to e = 2 (n * 25 must stay below 2^24).
TEST(TextReal, ExactHalvesOfTheSixthDigit) {
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
      CheckAround(static_cast<float>(fHalf));
    }
    EXPECT_GT(nHalves, 0) << nExponent;
    if (nFives > 1) nFives /= 5;
  }
}

TEST(TextReal, RandomPatterns) {
  std::mt19937 random(20070619);
  for (int n = 0; n < 500000; ++n) CheckBits(static_cast<uint32_t>(random()));
  for (int n = 0; n < 20000; ++n) CheckBits(static_cast<uint32_t>(random()) & 0x807FFFFF);
  std::uniform_real_distribution<float> temperature(180, 320);
  for (int n = 0; n < 300000; ++n) Check(temperature(random));
}

TEST(TextReal, Integers) {
  for (const int nValue : {INT_MIN, INT_MAX, -1000, -999, -1, 0, 9, 10}) {
    char szText[TEXT_REAL_MAX];
    EXPECT_EQ(std::string(szText, FormatInt(nValue, szText)), std::to_string(nValue));
  }
}

// One line of values in and out of the table of digits, by scales that are fast and others.
TEST(RadianceText, AppendsTheTextOfTheQuotient) {
  std::vector<int32_t> arRaw = {65536, -5001, 1 << 20, INT_MIN + 1, INT_MAX};
  for (int32_t nRaw = -5003; nRaw <= 65539; ++nRaw) arRaw.push_back(nRaw);
  std::vector<double> arDivisors = {7, 0.1, -777, 1e-300, 1e60};
  for (int nPower = 0; nPower <= 40; ++nPower) arDivisors.push_back(std::pow(10.0, nPower));
  for (double fDivisor : arDivisors) {
    std::vector<char> arLine(arRaw.size() * CRadianceText::ROOM);
    std::string szExpected;
    for (int32_t nRaw : arRaw) {
      char szText[32];
      const double fValue = static_cast<float>(nRaw / fDivisor);
      szExpected.append(szText, std::snprintf(szText, sizeof(szText), "\t%g", fValue));
    }
    const char* pEnd =
        CRadianceText(fDivisor).Append(arLine.data(), arRaw.data(), static_cast<int>(arRaw.size()));
    ASSERT_EQ(std::string(arLine.data(), pEnd - arLine.data()), szExpected) << fDivisor;
  }
  char szMissing[CRadianceText::ROOM] = {};
  const char* pEnd = CRadianceText(1e7).Append(szMissing, &RAW_MISSING, 1);
  EXPECT_EQ(std::string(szMissing, pEnd - szMissing), "\t-777");
}

}  // namespace
