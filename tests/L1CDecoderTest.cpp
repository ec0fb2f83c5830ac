// The L1C decoder: every row of both layouts there and back, the spectrum against a decoder that goes bit by
// bit, cut and poor messages.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "DecoderSupport.h"
#include "bufr/BUFRReaderL1C.h"
#include "bufr/Cpu.h"

namespace {

constexpr int SAMPLES = 8700;
constexpr int64_t MISSING = CBUFREncoder::MISSING;

TRows HeaderRows(const CProdL1C& p, int nLayout) {
  TRows rows;
  const auto add = [&](const TRows& more) { rows.insert(rows.end(), more.begin(), more.end()); };
  add({Int(10, p.SatelliteIdentifier, 1), Skipped(16), Int(11, p.SatelliteInstruments, 1), Skipped(9)});
  add({Int(12, p.Year, 2), Int(4, p.Month, 2), Int(6, p.Day, 2), Int(5, p.Hour, 2), Int(6, p.Minute, 2)});
  add({Int(16, p.Milliseconds, 2), Real(25, -9000000, 5, p.Latitude, 4),
       Real(26, -18000000, 5, p.Longitude, 8)});
  add({Real(15, -9000, 2, p.SatelliteZenithAngle, 16), Real(16, 0, 2, p.Bearing, 16)});
  add({Real(15, -9000, 2, p.SolarZenithAngle, 32), Real(16, 0, 2, p.SolarAzimuth, 32)});
  add({Int(8, p.FieldOfViewNumber, 64), Int(24, p.OrbitNumber, 64), Int(13, p.ScanLineNumber, 64)});
  add({Skipped(8), Real(15, -400, -2, p.HeightOfStation, 256)});
  if (nLayout == 1) rows.push_back(Int(2, p.GqisQualFlag[0], 512));
  for (int i = 0; nLayout == 2 && i < 3; ++i) {
    rows.push_back(Int(14, p.StartChannel[i], 512));
    rows.push_back(Int(14, p.EndChannel[i], 512));
    rows.push_back(Int(2, p.GqisQualFlag[i], 512));
  }
  for (const int nWidth : {7, 7, 7, 7, 24}) rows.push_back(Skipped(nWidth));
  if (nLayout == 2) rows.push_back(Skipped(17));
  return rows;
}

TRows FractionRows(const CProdL1C& p) {
  return {Int(7, p.CloudFraction, 8192),   Skipped(8),
          Int(7, p.LandFraction, 8192),    Skipped(8),
          Real(24, 0, 6, p.AverageIIS, 0), Real(24, 0, 6, p.VarianceIIS, 0),
          Int(7, p.SnowFraction, 8192)};
}

TRows AvhrrRows(const CProdL1C& p) {
  constexpr uint64_t FLAG = 4096;
  TRows rows = {Int(11, p.AvhrrInstrument, FLAG), Int(7, p.AvhrrChannelCombination, FLAG)};
  for (int j = 0; j < 7; ++j) {
    rows.push_back(Real(24, -8000000, 6, p.AvhrrYAP[j], FLAG));
    rows.push_back(Real(24, -8000000, 6, p.AvhrrZAP[j], FLAG));
    rows.push_back(Int(7, p.AvhrrCPF[j], FLAG));
    for (int k = 6 * j; k < 6 * j + 6; ++k) {
      rows.push_back(Int(6, p.AvhrrChannel[k], FLAG));
      rows.push_back(Int(6, p.AvhrrMeanExponent[k], FLAG));
      rows.push_back(Int(31, p.AvhrrMeanScaled[k], FLAG));
      rows.push_back(Int(6, p.AvhrrStdDevExponent[k], FLAG, -700));
      rows.push_back(Int(31, p.AvhrrStdDevScaled[k], FLAG, -700));
    }
  }
  return rows;
}

void EncodeBand(CBUFREncoder& encoder, const std::vector<int64_t>& arStart, const std::vector<int64_t>& arEnd,
                const std::vector<int64_t>& arExponent) {
  encoder.Values(14, arStart);
  encoder.Values(14, arEnd);
  encoder.Values(6, arExponent);
}

/// A spectrum of one constant a channel (raw value the channel number) in five bands with exponents 5 to 9.
void EncodePlainSpectrum(CBUFREncoder& encoder) {
  for (int b = 0; b < 10; ++b) {
    encoder.Constant(14, b < 5 ? 1 + b * 1740 : MISSING);
    encoder.Constant(14, b < 5 ? 1740 + b * 1740 : MISSING);
    encoder.Constant(6, b < 5 ? 5 + b : MISSING);
  }
  for (int i = 1; i <= SAMPLES; ++i) {
    encoder.Constant(14, i);
    encoder.Constant(16, i + 5000);
  }
}

class L1CDecoderTest : public testing::Test {
 protected:
  static constexpr int ROOM = 40;

  L1CDecoderTest() {
    m_reader.bBlankUndecoded = true;
    m_prod.InitFirstL1(ROOM, SAMPLES);
  }
  ~L1CDecoderTest() override { SetWideKernels(true); }

  int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }

  void Keep(int nPixels, bool bAll) {
    m_prod.InitFirstL1(nPixels, SAMPLES);
    for (int i = 0; i < nPixels; ++i) m_prod.KeepPixel.Write()[i] = bAll || Below(2);
    m_prod.KeepPixel.Write()[nPixels - 1] = 1;
    m_prod.InitKept(true);
  }

  struct SMessageRows {
    TRows header, avhrr, fractions;
  };
  SMessageRows Rows(int nLayout) const {
    return {HeaderRows(m_prod, nLayout), AvhrrRows(m_prod), nLayout == 2 ? FractionRows(m_prod) : TRows()};
  }
  std::vector<uint8_t> Encode(SMessageRows& rows, int nPixels, int nTurn, bool bMissing) {
    CBUFREncoder encoder(nPixels);
    EncodeRows(encoder, rows.header, nTurn, bMissing, m_random);
    EncodePlainSpectrum(encoder);
    EncodeRows(encoder, rows.avhrr, nTurn, bMissing, m_random);
    EncodeRows(encoder, rows.fractions, nTurn, bMissing, m_random);
    return encoder.SectionData();
  }
  /// The kept pixels of a column of which only those are held.
  TRows OfKept(TRows rows) const {
    for (SLayoutRow& row : rows) {
      const std::vector<int64_t> arAll = std::move(row.arRaw);
      row.arRaw.clear();
      for (const int nPixel : m_prod.Kept()) row.arRaw.push_back(arAll[nPixel]);
    }
    return rows;
  }
  int KeptCount() const { return static_cast<int>(m_prod.Kept().size()); }

  struct SStatuses {
    int nFirst, nAvhrr, nSpectrum;
  };
  SStatuses Decode(const std::vector<uint8_t>& arBytes, int nPixels, int nLayout) {
    m_reader.GoToNextMessage();
    LoadData(m_reader, arBytes, nPixels, nLayout);
    m_reader.nMissingFlags = 0;
    testing::internal::CaptureStdout();
    SStatuses s = {m_reader.InterpretFirstLevel(&m_prod), 0, 0};
    s.nAvhrr = m_reader.UpdateL1Avhrr(&m_prod);
    s.nSpectrum = m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data());
    m_szText = testing::internal::GetCapturedStdout();
    return s;
  }
  double Radiance(int nPixel, int nChannel) const {
    return m_prod.Spectrum.At(m_prod.KeptRow(nPixel), m_prod.Spectrum.Column(nChannel));
  }

  /// A record's spectrum alone, as the bytes have it.
  int DecodeSpectrum(const CBUFREncoder& encoder, int nPixels) {
    LoadData(m_reader, encoder.SectionData(), nPixels, 2);
    m_reader.nSpectrumBitPos = 1;
    m_reader.nMissingFlags = 0;
    return m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data());
  }

  CProdL1C m_prod;
  CBUFRReaderL1C m_reader;
  std::vector<char> m_arSelection = std::vector<char>(SAMPLES, 1);
  std::mt19937 m_random{5};
  std::string m_szText;
};

TEST_F(L1CDecoderTest, EveryRowOfBothLayoutsComesBack) {
  for (int nTurn = 0; nTurn <= 31; ++nTurn) {
    for (const int nLayout : {2, 1}) {
      const int nPixels = 1 + (nTurn + nLayout) % 7;
      Keep(nPixels, nTurn % 3 == 0);
      SMessageRows rows = Rows(nLayout);
      const auto arBytes = Encode(rows, nPixels, nTurn, nTurn % 2);
      const SStatuses s = Decode(arBytes, nPixels, nLayout);
      ASSERT_TRUE(s.nFirst && s.nAvhrr && s.nSpectrum) << "layout " << nLayout << " turn " << nTurn;
      ASSERT_EQ(CompareRows(rows.header, nPixels), "") << "layout " << nLayout << " turn " << nTurn;
      ASSERT_EQ(CompareRows(rows.fractions, nPixels), "") << "turn " << nTurn;
      ASSERT_EQ(CompareRows(OfKept(rows.avhrr), KeptCount()), "")
          << "layout " << nLayout << " turn " << nTurn;
      ASSERT_EQ(m_reader.nMissingFlags, FlagsOf(rows.header) | FlagsOf(rows.fractions) | FlagsOf(rows.avhrr));
      ASSERT_EQ(m_prod.DayVersion, nLayout);
      for (const int nPixel : m_prod.Kept())
        for (const int nChannel : {1, 1740, 1741, 8461, 8700})
          ASSERT_EQ(Radiance(nPixel, nChannel), nChannel / std::pow(10.0, 5 + (nChannel - 1) / 1740));
      if (nLayout == 2) continue;
      for (int i = 0; i < nPixels; ++i)  // nothing of the message before
        ASSERT_TRUE(m_prod.CloudFraction[i] == -1 && m_prod.SnowFraction[i] == -1 &&
                    m_prod.LandFraction[i] == -1 && m_prod.AverageIIS[i] == -777.0 &&
                    m_prod.VarianceIIS[i] == -777.0 && m_prod.StartChannel[0][i] == -1 &&
                    m_prod.EndChannel[2][i] == -1 && m_prod.GqisQualFlag[1][i] == -1 &&
                    m_prod.GqisQualFlag[2][i] == -1);
    }
  }
}

TEST_F(L1CDecoderTest, OtherLayoutsFailWithTheirHeaderDecoded) {
  Keep(3, true);
  SMessageRows rows = Rows(0);  // neither quality flags nor the element behind
  for (const int nLayout : {0, 3, 8}) {
    const auto arBytes = Encode(rows, 3, 9, true);
    EXPECT_EQ(Decode(arBytes, 3, nLayout).nFirst, 0);
    EXPECT_EQ(CompareRows(rows.header, 3), "");
    EXPECT_EQ(m_prod.DayVersion, nLayout);
  }
  EXPECT_EQ(m_reader.UpdateL1Avhrr(&m_prod), 0);  // no layout with such a block was met
}

TEST_F(L1CDecoderTest, CutMessagesShowNothingOfTheOneBefore) {
  constexpr int PIXELS = 3;
  Keep(PIXELS, true);
  for (const int nLayout : {1, 2}) {
    SMessageRows before = Rows(nLayout), rows = Rows(nLayout);
    const auto arBefore = Encode(before, PIXELS, 8, false), arWhole = Encode(rows, PIXELS, 7, true);
    const size_t nEnd = arWhole.size();
    for (size_t nBytes = 0; nBytes < nEnd; nBytes += nBytes < 150 || nBytes + 2500 > nEnd ? 29 : 3001) {
      ASSERT_TRUE(Decode(arBefore, PIXELS, nLayout).nFirst);
      const SStatuses s = Decode({arWhole.begin(), arWhole.begin() + nBytes}, PIXELS, nLayout);
      ASSERT_FALSE(s.nFirst && s.nAvhrr && s.nSpectrum) << "layout " << nLayout << " cut at " << nBytes;
      ASSERT_EQ(CompareRows(rows.header, PIXELS, true), "") << nBytes;
      ASSERT_EQ(CompareRows(rows.fractions, PIXELS, true), "") << nBytes;
      ASSERT_EQ(CompareRows(rows.avhrr, PIXELS, true), "") << nBytes;
      for (int i = 0; i < 8700 * PIXELS; i += 11) {
        const int nChannel = 1 + i / PIXELS;
        const double f = Radiance(i % PIXELS, nChannel);
        ASSERT_TRUE(f == -777.0 || f == nChannel / std::pow(10.0, 5 + (nChannel - 1) / 1740)) << nBytes;
      }
    }
  }
}

/// The spectrum as the rules have it, one pixel after the other in doubles.
struct SPlainSpectrum {
  int nStatus = 1;
  uint64_t nFlags = 0;
  int64_t nLastMissingChannel = 0;
  std::string szText;
  std::vector<std::vector<double>> arRadiance;  // [pixel][channel - 1]

  SPlainSpectrum(const std::vector<uint8_t>& arBytes, int nPixels, const TColumn<uint8_t>& keep,
                 const std::vector<char>& arSelection, int nChannels)
      : arRadiance(nPixels, std::vector<double>(nChannels, -777.0)), plain(arBytes, nPixels, true) {
    answer.bitPos = 1;
    const auto decode = [&](int nWidth, int64_t nReference, uint64_t nFlag, int64_t nMissing,
                            EOutput eOutput) {
      answer.arInts.assign(nPixels, 0);
      answer.bConstant = false;
      const int64_t nStart = answer.bitPos;
      plain.Decode({EVariant::INT, eOutput, nWidth, nReference, 0, nFlag, nMissing}, answer);
      nStatus &= answer.nStatus;
      return answer.nStatus || answer.bitPos > nStart + nWidth + 6;  // false: not even its header
    };
    for (auto& band : arBands) {
      band.assign(nPixels, {});
      decode(14, 0, 0, -1, EOutput::ARRAY);
      for (int i = 0; i < nPixels; ++i) band[i].nStart = answer.arInts[i];
      decode(14, 0, 0, -1, EOutput::ARRAY);
      const bool bBand = answer.arInts[0] >= 0;
      for (int i = 0; i < nPixels; ++i) band[i].nEnd = answer.arInts[i];
      decode(6, 0, 0, -700, EOutput::ARRAY);
      for (int i = 0; i < nPixels; ++i) {
        band[i].fFactor = std::pow(10.0, static_cast<double>(answer.arInts[i]));
        if (!bBand || answer.arInts[i] == -700) band[i].nStart = band[i].nEnd = -1;
      }
    }
    for (int nSample = 0; nSample < SAMPLES; ++nSample) {
      if (!decode(14, 0, 2048, -1, EOutput::CONSTANT)) continue;
      const bool bOne = answer.bConstant;
      std::vector<int64_t> arChannels = answer.arInts;
      if (bOne) arChannels.assign(nPixels, answer.nConstant);
      if (bOne && (answer.nConstant < 1 || answer.nConstant > nChannels)) {
        nStatus = 0;
        continue;
      }
      if (bOne && !arSelection[arChannels[0] - 1]) {
        decode(16, 0, 0, -1, EOutput::NONE);
        continue;
      }
      const uint64_t nBefore = answer.nFlags;
      if (decode(16, -5000, 2048, -100000000, EOutput::CONSTANT)) {
        const bool bConstant = answer.bConstant;
        const bool bAll = bConstant && (answer.nConstant == 0 || answer.nConstant == -100000000);
        for (int i = 0; i < nPixels; ++i)
          if (bAll || keep[i])
            Store(i, arChannels[i], bConstant ? answer.nConstant : answer.arInts[i], bAll, nChannels);
      }
      if (bOne && answer.nFlags != nBefore) nLastMissingChannel = arChannels[0];
    }
    nFlags = answer.nFlags;
    szText = answer.szText;
  }

 private:
  struct SBand {
    int64_t nStart, nEnd;
    double fFactor;
  };

  void Store(int nPixel, int64_t nChannel, int64_t nRaw, bool bAll, int nChannels) {
    if (nChannel < 1 || nChannel > nChannels) {
      nStatus = 0;
      return;
    }
    double& fValue = arRadiance[nPixel][nChannel - 1];
    if (nRaw == -100000000 || bAll) {
      fValue = nRaw == 0 ? 0.0 : -777.0;
      return;
    }
    for (int n = 0; n < 20 - nLastBand; ++n) {
      const int b = nLastBand + n < 10 ? nLastBand + n : nLastBand + n - 10;
      const SBand& band = arBands[b][nPixel];
      if (nChannel < band.nStart || nChannel > band.nEnd) continue;
      nLastBand = b;
      fValue = static_cast<double>(nRaw) / band.fFactor;
      return;
    }
    nStatus = 0;
  }

  CPlainDecoder plain;
  SAnswer answer;
  std::vector<SBand> arBands[10];
  int nLastBand = 0;
};

TEST_F(L1CDecoderTest, SpectraAgreeWithTheBitByBitDecoder) {
  for (int nTrial = 0; nTrial < 120; ++nTrial) {
    const int nPixels = 1 + Below(ROOM), nChannels = nTrial % 3 == 0 ? 300 : SAMPLES;
    const bool bStrange = nTrial % 4 != 0, bUniform = nTrial % 2 == 0;
    m_prod.SetNull();
    m_prod.InitFirstL1(nPixels, nChannels);
    Keep(nPixels, nTrial % 5 < 2);
    m_arSelection.assign(SAMPLES, 0);
    for (char& c : m_arSelection) c = nTrial % 3 != 1 || Below(10) == 0;
    const auto values = [&](int nMin, int nSpan, int nMissing) {
      std::vector<int64_t> ar(nPixels);
      for (auto& n : ar) n = Below(100) < nMissing ? MISSING : nMin + Below(nSpan);
      return ar;
    };

    CBUFREncoder encoder(nPixels);
    encoder.Bits(0, 1);
    for (int b = 0; b < 10; ++b) {  // overlapping ones, gaps and missing ones
      const int nStart = 1 + b * 900 - Below(300), nSpan = bUniform ? 1 : 400;
      EncodeBand(encoder, values(std::max(nStart, 0), nSpan, bStrange && Below(8) == 0 ? 20 : 0),
                 values(nStart + 1100 - Below(bStrange ? 300 : 1), nSpan, bStrange && Below(8) == 0 ? 20 : 0),
                 values(b % 12, bUniform ? 1 : 4, bStrange && Below(8) == 0 ? 30 : 0));
    }
    // What disturbs the order of the fields comes late, or nothing that follows would be tried.
    for (int i = 1; i <= SAMPLES; ++i) {
      const int nStrange = bStrange && Below(40) == 0 ? Below(i > 8000 ? 9 : 5) : -1;
      int64_t nChannel = nChannels == SAMPLES ? i : 1 + i % nChannels;
      int nWidth = Below(17);
      if (nStrange == 0) nChannel = 1 + Below(nChannels);
      if (nStrange == 1) nWidth = 17 + Below(17);
      if (nStrange == 2)
        encoder.Values(14, values(std::max(i - 200, 0), 400, 10), 10);
      else if (nStrange == 8)
        encoder.Element(14, 1, 34 + Below(30), {});
      else
        encoder.Constant(14, nStrange == 6   ? 0
                             : nStrange == 7 ? nChannels + 1 + Below(90)
                             : nStrange == 5 ? MISSING
                                             : nChannel);
      if (nStrange == 3 || Below(30) == 0)
        encoder.Constant(16, Below(2) ? 5000 : MISSING);
      else if (nWidth == 0 || Below(4) == 0)
        encoder.Constant(16, Below(65535));
      else
        encoder.Values(16, values(Below(5000), 1 << std::min(nWidth - 1, 14), Below(4) == 0 ? 30 : 0),
                       nWidth);
    }
    std::vector<uint8_t> arBytes = encoder.SectionData();
    if (nTrial % 7 == 6) arBytes.resize(Below(static_cast<int>(arBytes.size())));
    SetWideKernels(Below(2));
    LoadData(m_reader, arBytes, nPixels, 2);
    m_reader.nSpectrumBitPos = 1;
    m_reader.nMissingFlags = 0;
    m_reader.nLastMissingChannel = 0;
    testing::internal::CaptureStdout();
    const int nStatus = m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data());
    const std::string szText = testing::internal::GetCapturedStdout();

    const SPlainSpectrum expected(arBytes, nPixels, m_prod.KeepPixel, m_arSelection, nChannels);
    ASSERT_EQ(nStatus, expected.nStatus) << "trial " << nTrial;
    ASSERT_EQ(szText, expected.szText) << "trial " << nTrial;
    ASSERT_EQ(m_reader.nMissingFlags, expected.nFlags) << "trial " << nTrial;
    ASSERT_EQ(m_reader.nLastMissingChannel, expected.nLastMissingChannel) << "trial " << nTrial;
    std::vector<double> arRow(m_prod.Spectrum.Columns());
    for (const int nPixel : m_prod.Kept()) {
      m_prod.Spectrum.Row(m_prod.KeptRow(nPixel), 0, m_prod.Spectrum.Columns(), arRow.data());
      for (int i = 0; i < m_prod.Spectrum.Columns(); ++i) {
        const double fExpected = expected.arRadiance[nPixel][m_prod.Spectrum.Channel(i) - 1];
        ASSERT_EQ(arRow[i], fExpected) << "trial " << nTrial << " pixel " << nPixel << " column " << i;
      }
    }
  }
}

TEST_F(L1CDecoderTest, OverlappingBandsAreTriedFromTheOneFoundLast) {
  Keep(2, true);
  CBUFREncoder encoder(2);
  encoder.Bits(0, 1);
  EncodeBand(encoder, {1, 1}, {100, 100}, {1, 1});
  EncodeBand(encoder, {50, 50}, {200, 200}, {2, 2});
  EncodeBand(encoder, {300, 300}, {400, 400}, {MISSING, MISSING});
  for (int b = 3; b < 10; ++b) EncodeBand(encoder, {MISSING, MISSING}, {MISSING, MISSING}, {3, 3});
  const auto sample = [&](int nChannel, int nRaw) {
    encoder.Constant(14, nChannel);
    encoder.Constant(16, nRaw + 5000);
  };
  sample(60, 70);   // first band
  sample(150, 70);  // second band
  sample(70, 70);   // still the second one
  sample(20, 70);   // back to the first
  sample(80, 70);
  sample(5000, 0);  // a constant 0 needs no band
  encoder.Constant(14, 5001);
  encoder.Constant(16, MISSING);  // neither does a missing value
  for (int i = 7; i < SAMPLES; ++i) sample(20, 70);
  m_reader.nLastMissingChannel = 0;
  EXPECT_EQ(DecodeSpectrum(encoder, 2), 1);
  const std::pair<int, double> arExpected[] = {{60, 7.0}, {150, 0.7},  {70, 0.7},      {20, 7.0},
                                               {80, 7.0}, {5000, 0.0}, {5001, -777.0}, {1, -777.0}};
  for (const auto& [nChannel, fRadiance] : arExpected)
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Radiance(i, nChannel), fRadiance) << nChannel;
  EXPECT_EQ(m_reader.nLastMissingChannel, 5001);
  EXPECT_EQ(m_reader.nMissingFlags, 2048U);

  m_reader.nSpectrumBitPos = 0;
  EXPECT_EQ(m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data()), 1);
}

TEST_F(L1CDecoderTest, AvhrrRadiancesKeepTheArchivesOddities) {
  Keep(4, true);
  SMessageRows rows = Rows(2);
  constexpr size_t FIRST = 5;  // rows of a cluster's first channel, from its number on
  rows.avhrr[FIRST + 1].arRaw = {2, 2, MISSING, MISSING};
  rows.avhrr[FIRST + 2].arRaw = {50, MISSING, 50, MISSING};
  rows.avhrr[FIRST + 3].arRaw = {2, 2, MISSING, MISSING};
  rows.avhrr[FIRST + 4].arRaw = {50, MISSING, 50, MISSING};
  ASSERT_TRUE(Decode(Encode(rows, 4, 3, false), 4, 2).nAvhrr);
  const double arMean[] = {0.5, -777.0, 50 / std::pow(10.0, -1.0),
                           -777.0};                          // a missing exponent passes for -1
  const double arDeviation[] = {0.5, -7.0, -777.0, -777.0};  // a missing deviation for -700
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(m_prod.AvhrrMeanRadiance[0][i], arMean[i]);
    EXPECT_EQ(m_prod.AvhrrStdDevRadiance[0][i], arDeviation[i]);
  }
}

}  // namespace
