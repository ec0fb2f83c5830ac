#include "tests/differential/PlainDecoder.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

double Power(int64_t nExponent) {
  if (nExponent < -400 || nExponent > 400) return nExponent < 0 ? 0 : HUGE_VAL;
  return std::strtod(("1e" + std::to_string(nExponent)).c_str(), nullptr);
}

bool CPlainDecoder::Read(int64_t& bitPos, int nBits, uint64_t& nValue) const {
  const int64_t nEnd = bitPos + nBits;
  const bool bInside = nBits == 0 || nEnd <= static_cast<int64_t>(m_arBytes.size()) * 8;
  nValue = 0;
  const uint8_t* pBytes = m_arBytes.data();
  for (; bInside && bitPos < nEnd; ++bitPos)
    nValue = nValue << 1 | (pBytes[bitPos / 8] >> (7 - bitPos % 8) & 1);
  bitPos = nEnd;
  return bInside;
}

void CPlainDecoder::Store(const SAsked& asked, SAnswer& answer, int i, int64_t nSum, bool bMissing) const {
  const bool bReal = asked.eVariant == EVariant::FLOAT || asked.eVariant == EVariant::FLOAT_TIMES_1000;
  const bool bThousand =
      asked.eVariant == EVariant::INT_TIMES_1000 || asked.eVariant == EVariant::FLOAT_TIMES_1000;
  const int nFactor = bThousand ? 1000 : 1, nOffset = asked.eVariant == EVariant::FIELD_OF_VIEW ? -1 : 0;
  if (bReal)
    answer.arReals[i] = bMissing ? static_cast<double>(asked.nMissing)
                                 : static_cast<double>(nSum) / std::pow(10.0, asked.nScale) * nFactor;
  else
    answer.arInts[i] = bMissing ? asked.nMissing : (nSum + nOffset) * nFactor;
}

void CPlainDecoder::Decode(const SAsked& asked, SAnswer& answer) const {
  constexpr int MAX_WIDTH = 33;
  const int W = asked.nWidth;
  const bool bInt = asked.eVariant == EVariant::INT, bFov = asked.eVariant == EVariant::FIELD_OF_VIEW;
  const bool bTimes = asked.eVariant == EVariant::INT_TIMES_1000;
  const bool bReal = !bInt && !bFov && !bTimes, bArray = asked.eOutput != EOutput::NONE;
  const bool bConstant = asked.eOutput == EOutput::CONSTANT && !bReal;
  const auto say = [&](const char* szFormat, long n1 = 0, long n2 = 0) {
    char sz[200];
    std::snprintf(sz, sizeof sz, szFormat, n1, n2);
    answer.szText += sz;
  };
  const auto fail = [&] {
    for (int i = 0; m_bBlank && bArray && i < m_nSubsets; ++i) Store(asked, answer, i, 0, true);
    answer.nStatus = 0;
  };

  uint64_t nR0, nBinc;
  Read(answer.bitPos, W, nR0);
  const bool bHeader = Read(answer.bitPos, 6, nBinc);
  const auto nIncrement = static_cast<int>(nBinc);
  if (!bHeader) {
    if (bFov || bTimes) say("\nERROR: unable to interpret input file");
    return fail();
  }
  answer.nStatus = 1;
  if (nIncrement > W) {
    if (bFov || bTimes) say("\nERROR: Suspicious compression %ld > %ld\n", nIncrement, W);
    if (asked.eVariant == EVariant::FLOAT) say("\nERROR: Suspicious compression");
    if (bInt || asked.eVariant == EVariant::FLOAT_TIMES_1000)
      say("\nERROR: Suspicious compression ok  %ld > %ld\n", nIncrement, W);
    answer.nStatus = bFov || bTimes;
  }
  if (nIncrement > MAX_WIDTH) {
    if (bInt)
      say("\nERROR: Data width too high for missing value control %ld > %ld\n", nIncrement, MAX_WIDTH);
    if (bReal) say("\nERROR: Data width too high for missing value control");
    if (bFov)
      say("ERROR: Data width too high for missing value control (%ld) >  (%ld)", nIncrement, MAX_WIDTH);
    if (bTimes) say("ERROR: Data width too high for missing value control (%ld)", nIncrement);
    return fail();
  }
  if (nIncrement == 0 && W > MAX_WIDTH) {
    if (bInt || bReal) say("\nERROR: Data width too high for missing value control");
    if (bFov) say("ERROR: Data width too high for missing value control ((%ld)(%ld)", W, MAX_WIDTH);
    if (bTimes) say("ERROR: Data width too high for missing value control (%ld)", W);
    return fail();
  }
  int64_t nSum = static_cast<int64_t>(nR0) + asked.nReference;
  if (nIncrement == 0) {
    const bool bMissing = nR0 == (uint64_t{1} << W) - 1;
    const auto nSum32 = static_cast<int32_t>(nSum);
    if (bInt || bFov) nSum = nSum32;
    if (bConstant) {
      answer.bConstant = true;
      answer.nConstant = bMissing ? asked.nMissing : nSum32;
    }
    for (int i = 0; bArray && !bConstant && i < m_nSubsets; ++i) Store(asked, answer, i, nSum, bMissing);
    if (bMissing && (bArray || !bReal)) answer.nFlags |= asked.nFlag;
    return;
  }
  if (!bArray) {
    answer.bitPos += int64_t{nIncrement} * m_nSubsets;
    return;
  }
  for (int i = 0; i < m_nSubsets; ++i) {
    uint64_t n;
    const bool bRead = Read(answer.bitPos, nIncrement, n);
    const bool bMissing = bRead && n == (uint64_t{1} << nIncrement) - 1;
    if (bMissing) answer.nFlags |= asked.nFlag;
    if (!bRead) answer.nStatus = 0;
    if (bRead || m_bBlank) Store(asked, answer, i, nSum + static_cast<int64_t>(n), bMissing || !bRead);
  }
  if (bConstant) answer.bConstant = false;
}
