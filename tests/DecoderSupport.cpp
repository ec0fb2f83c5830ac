#include "DecoderSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>

#include "kernel/BitRun.h"
#include "kernel/Reporter.h"

void LoadData(CBUFRReader& reader, const std::vector<uint8_t>& arBytes, int nSubsets, int nVersion) {
  reader.pData = std::make_unique<uint8_t[]>(arBytes.size() + UNPACK_PADDING);
  std::memset(reader.pData.get(), 0xFF, arBytes.size() + UNPACK_PADDING);
  std::copy(arBytes.begin(), arBytes.end(), reader.pData.get());
  reader.nDataSize = reader.nDataCapacity = static_cast<int>(arBytes.size());
  reader.nSubsets = nSubsets;
  reader.nDataVersion = nVersion;
  reader.nMissingFlags = 0;
  reader.bBlankUndecoded = true;
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

double SLayoutRow::Stored(int nRow) const {
  if (pSpectrum) return pSpectrum->At(nRow, pSpectrum->Column(field.nOccurrence));
  return pInts ? static_cast<double>(pInts->Values()[nRow]) : pReals->Values()[nRow];
}

double SLayoutRow::Expected(int nPixel, double fMissing) const {
  if (arRaw.empty() || arRaw[nPixel] == CBUFREncoder::MISSING) return fMissing;
  const double fValue = static_cast<double>(arRaw[nPixel] + field.nReference + nOffset);
  return fValue / std::pow(10.0, pInts ? 0 : field.nScale) * fFactor;
}

std::string SLayoutRow::Compare(const CProd& prod, int nPixels, bool bMayMiss) const {
  const auto& arKept = prod.Kept();
  const int nRows = !Column() && !pSpectrum ? 0 : bKept ? static_cast<int>(arKept.size()) : nPixels;
  const double fMissing = pInts ? static_cast<double>(nMissing) : -777.0;
  const double fUndecoded = pInts ? static_cast<double>(nUndecoded) : fMissing;
  for (int i = 0; i < nRows; ++i) {
    const double f = Stored(i), fExpected = Expected(bKept ? arKept[i] : i, fMissing);
    if (f == fExpected || (bMayMiss && (f == fMissing || f == fUndecoded))) continue;
    return std::string(field.szName) + " " + std::to_string(field.nOccurrence) + " pixel " +
           std::to_string(i) + ": " + std::to_string(f) + " instead of " + std::to_string(fExpected);
  }
  return "";
}

SLayoutRow Work(const KeptIntColumn& column, uint64_t nFlag, int64_t nMissing) {
  SLayoutRow row = Int(column, nFlag, nMissing);
  row.nUndecoded = INT64_MIN;
  return row;
}

TPlaces CommonPlaces(const CProd& p) {
  return {{1007, {Int(p.SatelliteIdentifier, 1)}},
          {2019, {Int(p.SatelliteInstruments, 1)}},
          {4001, {Int(p.Year, 2)}},
          {4002, {Int(p.Month, 2)}},
          {4003, {Int(p.Day, 2)}},
          {4004, {Int(p.Hour, 2)}},
          {4005, {Int(p.Minute, 2)}},
          {4006, {Int(p.Milliseconds, 2)}},
          {5001, {Real(p.Latitude, 4)}},
          {5021, {Real(p.Bearing, 16)}},
          {5022, {Real(p.SolarAzimuth, 32)}},
          {5040, {Int(p.OrbitNumber, 64)}},
          {5041, {Int(p.ScanLineNumber, 64)}},
          {5043, {Int(p.FieldOfViewNumber, 64)}},
          {6001, {Real(p.Longitude, 8)}},
          {7001, {Real(p.HeightOfStation, 256)}},
          {7024, {Real(p.SatelliteZenithAngle, 16)}},
          {7025, {Real(p.SolarZenithAngle, 32)}}};
}

TRows LayoutRows(EKind eKind, int nLayout, const TPlaces& places, int nPixels) {
  constexpr int WRONG_COUNT = 7;
  TRows rows;
  const CTemplate layout(LayoutDescriptors(eKind, nLayout), LayoutCounts(eKind, nLayout));
  for (const STemplateField& field : layout.Fields()) {
    const auto found = places.find(field.nFXY);
    const size_t n = field.nOccurrence;
    rows.push_back(found != places.end() && n <= found->second.size() ? found->second[n - 1] : SLayoutRow());
    rows.back().field = field;
    if (field.nCount < 0) continue;
    rows.back().arRaw.assign(nPixels, WRONG_COUNT);
    rows.back().arRaw[0] = field.nCount;
  }
  return rows;
}

std::vector<uint8_t> CLayoutTest::Encode(TRows& rows, int nPixels, int nTurn, bool bMissing) {
  const auto below = [&](int64_t n) { return static_cast<int64_t>(m_random() % static_cast<uint64_t>(n)); };
  CBUFREncoder encoder(nPixels);
  for (size_t r = 0; r < rows.size(); ++r) {
    const int nWidth = rows[r].field.nWidth;
    std::vector<int64_t>& arRaw = rows[r].arRaw;
    const int nIncrement = (nTurn + static_cast<int>(r)) % (nWidth + 1);
    const int64_t nLimit = (int64_t{1} << nWidth) - 1, nSpan = (int64_t{1} << nIncrement) - 1;
    const bool bGiven = !arRaw.empty(), bMisses = bMissing && below(4) == 0;
    if (!bGiven) {
      const int64_t nBase = below(nLimit - std::max<int64_t>(nSpan - 1, 0));
      for (int i = 0; i < nPixels; ++i)
        arRaw.push_back(bMisses && below(2) == 0 ? CBUFREncoder::MISSING
                                                 : nBase + (nSpan > 0 ? below(nSpan) : 0));
      if (nIncrement == 0 && bMisses) arRaw.assign(nPixels, CBUFREncoder::MISSING);
    }
    const int nGiven = bGiven ? rows[r].nIncrement : nIncrement;
    if (nGiven == 0)
      encoder.Values(nWidth, arRaw);
    else
      encoder.Values(nWidth, arRaw, nGiven);
  }
  return encoder.SectionData();
}

void CLayoutTest::Keep(int nPixels) {
  const bool bAll = m_bKeepAll || Below(3) == 0;
  uint8_t* pKeep = Record().KeepPixel.Write();
  for (int i = 0; i < nPixels; ++i) pKeep[i] = bAll || i == nPixels - 1 || Below(2);
  Record().InitKept();
}

bool CLayoutTest::Decode(const std::vector<uint8_t>& arBytes, int nPixels, int nVersion) {
  LoadData(Reader(), arBytes, nPixels, nVersion);
  const CReportCapture said;
  const bool bWhole = DecodeAll(nPixels);
  m_szText = said.Text();
  return bWhole;
}

std::string CLayoutTest::Compare(const TRows& rows, int nPixels, bool bMayMiss) {
  std::string szWrong;
  std::set<const void*> filled;
  for (const SLayoutRow& row : rows) {
    filled.insert(row.Column());
    if (szWrong.empty()) szWrong = row.Compare(Record(), nPixels, bMayMiss);
  }
  for (size_t i = 0; m_arAllVersions.size() < m_arVersions.size(); ++i)
    m_arAllVersions.push_back(Rows(m_arVersions[i], 1));
  for (const TRows& others : m_arAllVersions)
    for (const SLayoutRow& row : others)
      if (szWrong.empty() && filled.count(row.Column()) == 0) szWrong = row.Compare(Record(), nPixels, false);
  return szWrong;
}

void CLayoutTest::ExpectEveryRowComesBack() {
  for (int nTurn = 0; nTurn <= 31; ++nTurn)
    for (const int nVersion : m_arVersions) {
      SCOPED_TRACE(testing::Message() << "version " << nVersion << " turn " << nTurn);
      const int nPixels = 1 + (nTurn + nVersion) % PIXELS;
      TRows rows = Rows(nVersion, nPixels);
      ASSERT_TRUE(Decode(Encode(rows, nPixels, nTurn, nTurn % 2), nPixels, nVersion));
      ASSERT_EQ(Compare(rows, nPixels), "");
      ASSERT_EQ(m_szText, "");
      uint64_t nFlags = 0;
      for (const SLayoutRow& row : rows)
        if (std::count(row.arRaw.begin(), row.arRaw.end(), CBUFREncoder::MISSING) > 0) nFlags |= row.nFlag;
      ASSERT_EQ(Reader().nMissingFlags, nFlags);
    }
}

void CLayoutTest::ExpectCutMessagesShowNothingOfTheOneBefore() {
  constexpr int FEW = 3;
  for (const int nVersion : m_arVersions) {
    TRows before = Rows(nVersion, FEW), rows = Rows(nVersion, FEW);
    // Values that are skipped are not missed: the last byte is to hold something else.
    if (!rows.back().Column()) rows.back().arRaw.assign(FEW, 0);
    const auto arBefore = Encode(before, FEW, 8, false), arWhole = Encode(rows, FEW, 6, true);
    const size_t nEnd = arWhole.size();
    for (size_t nCut = 1; nCut <= nEnd; nCut += nEnd - nCut < 150 ? 1 : nCut < 2500 ? 17 : nEnd / 30) {
      Decode(arBefore, FEW, nVersion);
      ASSERT_FALSE(Decode({arWhole.begin(), arWhole.end() - nCut}, FEW, nVersion));
      ASSERT_EQ(Compare(rows, FEW, true), "") << "version " << nVersion << " without " << nCut;
    }
  }
}
