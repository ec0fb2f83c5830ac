#include "DecoderSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "bufr/BitRun.h"

void LoadData(CBUFRReader& reader, const std::vector<uint8_t>& arBytes, int nSubsets, int nVersion) {
  reader.pData = std::make_unique<uint8_t[]>(arBytes.size() + UNPACK_PADDING);
  std::memset(reader.pData.get(), 0xFF, arBytes.size() + UNPACK_PADDING);
  std::copy(arBytes.begin(), arBytes.end(), reader.pData.get());
  reader.nDataSize = reader.nDataCapacity = static_cast<int>(arBytes.size());
  reader.nSubsets = nSubsets;
  reader.nDataVersion = nVersion;
}

bool CPlainDecoder::Read(int64_t& bitPos, int nBits, uint64_t& nValue) const {
  bool bInside = true;
  nValue = 0;
  for (int i = 0; i < nBits; ++i, ++bitPos) {
    const auto nByte = static_cast<size_t>(bitPos / 8);
    bInside = bInside && nByte < m_arBytes.size();
    nValue = nValue << 1 | (bInside ? m_arBytes[nByte] >> (7 - bitPos % 8) & 1 : 0);
  }
  return bInside;
}

void CPlainDecoder::Store(const SAsked& asked, SAnswer& answer, int i, int64_t nSum, bool bMissing) const {
  const bool bReal = asked.eVariant == EVariant::FLOAT || asked.eVariant == EVariant::FLOAT_TIMES_1000;
  if (bMissing && bReal) answer.arReals[i] = static_cast<double>(asked.nMissing);
  if (bMissing && !bReal) answer.arInts[i] = asked.nMissing;
  if (bMissing) return;
  const double fReal = static_cast<double>(nSum) / std::pow(10.0, asked.nScale);
  switch (asked.eVariant) {
    case EVariant::INT:
      answer.arInts[i] = nSum;
      break;
    case EVariant::FIELD_OF_VIEW:
      answer.arInts[i] = nSum - 1;
      break;
    case EVariant::INT_TIMES_1000:
      answer.arInts[i] = nSum * 1000;
      break;
    case EVariant::FLOAT:
      answer.arReals[i] = fReal;
      break;
    case EVariant::FLOAT_TIMES_1000:
      answer.arReals[i] = fReal * 1000.0;
      break;
  }
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

double SLayoutRow::Stored(int nPixel) const {
  return pInts ? static_cast<double>((*pInts)[nPixel]) : (*pReals)[nPixel];
}

double SLayoutRow::Expected(int nPixel) const {
  if (arRaw[nPixel] == CBUFREncoder::MISSING) return Missing();
  const double fValue = static_cast<double>(arRaw[nPixel] + nReference + nOffset);
  return fValue / std::pow(10.0, nScale) * fFactor;
}

SLayoutRow Int(int nWidth, const IntColumn& column, uint64_t nFlag, int64_t nMissing) {
  SLayoutRow row{nWidth, &column};
  row.nFlag = nFlag;
  row.nMissing = nMissing;
  return row;
}

SLayoutRow Real(int nWidth, int64_t nReference, int nScale, const RealColumn& column, uint64_t nFlag) {
  return {nWidth, nullptr, &column, nFlag, nReference, nScale};
}

SLayoutRow Skipped(int nWidth) { return {nWidth}; }

void EncodeRows(CBUFREncoder& encoder, TRows& rows, int nTurn, bool bMissing, std::mt19937& random) {
  const auto below = [&](int64_t n) { return static_cast<int64_t>(random() % static_cast<uint64_t>(n)); };
  for (size_t r = 0; r < rows.size(); ++r) {
    SLayoutRow& row = rows[r];
    const int nIncrement = (nTurn + static_cast<int>(r)) % (row.nWidth + 1);
    const int64_t nLimit = (int64_t{1} << row.nWidth) - 1, nSpan = (int64_t{1} << nIncrement) - 1;
    const bool bGiven = !row.arRaw.empty();
    if (!bGiven) {
      const int64_t nBase = below(nLimit - std::max<int64_t>(nSpan - 1, 0));
      for (int i = 0; i < encoder.Subsets(); ++i)
        row.arRaw.push_back(nSpan > 0 && bMissing && below(5) == 0 ? CBUFREncoder::MISSING
                                                                   : nBase + (nSpan > 0 ? below(nSpan) : 0));
      if (nIncrement == 0 && bMissing && below(2) == 0)
        row.arRaw.assign(encoder.Subsets(), CBUFREncoder::MISSING);
    }
    if (bGiven || nIncrement == 0)
      encoder.Values(row.nWidth, row.arRaw);
    else
      encoder.Values(row.nWidth, row.arRaw, nIncrement);
  }
}

std::string CompareRows(const TRows& rows, int nPixels, bool bMayMiss) {
  for (size_t r = 0; r < rows.size(); ++r) {
    const SLayoutRow& row = rows[r];
    for (int i = 0; row.IsKept() && i < nPixels; ++i) {
      const double f = row.Stored(i), fExpected = row.Expected(i);
      if (f == fExpected || (bMayMiss && f == row.Missing())) continue;
      return "row " + std::to_string(r) + " pixel " + std::to_string(i) + ": " + std::to_string(f) +
             " instead of " + std::to_string(fExpected);
    }
  }
  return "";
}

uint64_t FlagsOf(const TRows& rows) {
  uint64_t nFlags = 0;
  for (const SLayoutRow& row : rows)
    if (std::count(row.arRaw.begin(), row.arRaw.end(), CBUFREncoder::MISSING) > 0) nFlags |= row.nFlag;
  return nFlags;
}
