// The L1C decoder: every row of both layouts there and back, the spectrum against a decoder that goes bit by
// bit, cut and poor messages.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "DecoderSupport.h"
#include "bufr/BUFRReaderL1C.h"
#include "kernel/Cpu.h"
#include "kernel/Reporter.h"
#include "prod/ProdL1C.h"

namespace {

constexpr int SAMPLES = 8700;
constexpr int64_t MISSING = CBUFREncoder::MISSING;

class L1CDecoderTest : public CLayoutTest {
 protected:
  static constexpr int ROOM = 40;

  L1CDecoderTest() : CLayoutTest({2, 1}) { m_prod.InitFirstL1(ROOM, SAMPLES); }
  ~L1CDecoderTest() override { SetWideKernels(true); }

  CBUFRReader& Reader() override { return m_reader; }
  CProd& Record() override { return m_prod; }

  /// All channels in their order, in five bands with exponents 5 to 9.
  TRows Rows(int nLayout, int nPixels) const override {
    const CProdL1C& p = m_prod;
    constexpr uint64_t QUALITY = 512, SPECTRUM = 2048, AVHRR = 4096, FRACTIONS = 8192;
    TPlaces places = CommonPlaces(p);
    places[2019].push_back(Int(p.AvhrrInstrument, AVHRR));
    for (int i = 0; i < 3; ++i) {
      if (nLayout == 2) places[25140].push_back(Int(p.StartChannel[i], QUALITY));
      if (nLayout == 2) places[25141].push_back(Int(p.EndChannel[i], QUALITY));
      places[33060].push_back(Int(p.GqisQualFlag[i], QUALITY));
    }
    places[20081] = {Int(p.CloudFraction, FRACTIONS)};
    places[20083] = {Int(p.LandFraction, FRACTIONS)};
    places[40018] = {Real(p.AverageIIS, 0)};
    places[40019] = {Real(p.VarianceIIS, 0)};
    places[40021] = {Int(p.SnowFraction, FRACTIONS)};
    places[25051] = {Int(p.AvhrrChannelCombination, AVHRR)};
    places[5060] = Reals<KeptRealColumn>({p.AvhrrYAP}, AVHRR);
    places[5061] = Reals<KeptRealColumn>({p.AvhrrZAP}, AVHRR);
    for (const KeptIntColumn& column : p.AvhrrCPF) places[25085].push_back(Int(column, AVHRR));
    places[5042].resize(SAMPLES);
    places[25142].resize(CProdL1C::BANDS);
    for (int k = 0; k < CProdL1C::CLUSTER_CHANNELS; ++k) {
      places[5042].push_back(Int(p.AvhrrChannel[k], AVHRR));
      places[25142].push_back(Work(p.AvhrrMeanExponent[k], AVHRR, -1));
      places[14047].push_back(Work(p.AvhrrMeanScaled[k], AVHRR, -1));
      places[25142].push_back(Work(p.AvhrrStdDevExponent[k], AVHRR, -700));
      places[14048].push_back(Work(p.AvhrrStdDevScaled[k], AVHRR, -700));
    }

    TRows rows = LayoutRows(EKind::L1C, nLayout, places, nPixels);
    if (nLayout == 2) rows.pop_back();  // which nothing follows and nobody reads
    int nBandElements = 0;
    for (SLayoutRow& row : rows) {
      const auto [nFXY, n] = std::pair(row.field.nFXY, row.field.nOccurrence);
      if (nFXY == 5042 && !row.Column()) row.arRaw.assign(nPixels, n);
      if (nFXY == 14046) {
        row.pSpectrum = &p.Spectrum;
        row.bKept = true;
        row.nFlag = SPECTRUM;
        row.field.nScale = 5 + (n - 1) / 1740;
      }
      if (nFXY >= 25140 && nFXY <= 25142 && !row.Column()) {
        const int nBand = nBandElements / 3;
        const int arBand[] = {1 + nBand * 1740, 1740 + nBand * 1740, 5 + nBand};
        row.arRaw.assign(nPixels, nBand < 5 ? arBand[nBandElements % 3] : MISSING);
        ++nBandElements;
      }
    }
    return rows;
  }

  bool DecodeAll(int nPixels) override {
    m_reader.GoToNextMessage();
    m_prod.InitFirstL1(nPixels, SAMPLES);
    Keep(nPixels);
    const int nFirst = m_reader.InterpretFirstLevel(&m_prod);
    const int nAvhrr = m_reader.UpdateL1Avhrr(&m_prod);
    return m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data()) && nFirst && nAvhrr;
  }

  CProdL1C m_prod;
  CBUFRReaderL1C m_reader;
  std::vector<char> m_arSelection = std::vector<char>(SAMPLES, 1);
};

TEST_F(L1CDecoderTest, EveryRowOfBothLayoutsComesBack) { ExpectEveryRowComesBack(); }

TEST_F(L1CDecoderTest, CutMessagesShowNothingOfTheOneBefore) { ExpectCutMessagesShowNothingOfTheOneBefore(); }

TEST_F(L1CDecoderTest, OtherLayoutsFailWithTheirHeaderDecoded) {
  TRows rows = Rows(1, 3);
  std::erase_if(rows, [](const SLayoutRow& row) { return row.bKept || row.field.nFXY == 33060; });
  const auto arBytes = Encode(rows, 3, 9, true);
  for (const int nLayout : {0, 3, 8}) {
    Decode(arBytes, 3, nLayout);
    EXPECT_EQ(m_reader.InterpretFirstLevel(&m_prod), 0);
    for (const SLayoutRow& row : rows) EXPECT_EQ(row.Compare(m_prod, 3, false), "");
    EXPECT_EQ(m_prod.DayVersion, nLayout);
  }
  LoadData(m_reader, std::vector<uint8_t>(4000), 3, 2);
  EXPECT_EQ(m_reader.UpdateL1Avhrr(&m_prod), 0);  // no layout with such a block was met
  m_reader.GoToNextMessage();
  EXPECT_EQ(m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data()), 1);  // none is known of
}

/// The spectrum as the rules have it, one pixel after the other in doubles.
struct SPlainSpectrum {
  int nStatus = 1;
  uint64_t nFlags = 0;
  int64_t nLastMissingChannel = 0;
  std::string szText;
  std::vector<std::vector<double>> arRadiance;  // [pixel][channel - 1]

  SPlainSpectrum(const std::vector<uint8_t>& arBytes, int64_t nSpectrum, int nPixels, const FlagColumn& keep,
                 const std::vector<char>& arSelection, int nChannels)
      : arRadiance(nPixels, std::vector<double>(nChannels, -777.0)), plain(arBytes, nPixels, true) {
    answer.bitPos = nSpectrum;
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
    m_bKeepAll = nTrial % 5 < 2;
    Keep(nPixels);
    m_arSelection.assign(SAMPLES, 0);
    for (char& c : m_arSelection) c = nTrial % 3 != 1 || Below(10) == 0;
    const auto values = [&](int nMin, int nSpan, int nMissing) {
      std::vector<int64_t> ar(nPixels);
      for (auto& n : ar) n = Below(100) < nMissing ? MISSING : nMin + Below(nSpan);
      return ar;
    };

    // In one trial of three the places of the samples are not known from the first level.
    const bool bFirstLevel = nTrial % 3 > 0;
    CBUFREncoder encoder(nPixels);
    for (const SLayoutRow& row : LayoutRows(EKind::L1C, 2, {}, nPixels)) {
      if (row.field.nFXY == 25140 && row.field.nOccurrence > 3) break;
      encoder.Constant(row.field.nWidth, 0);
    }
    const int64_t nSpectrum = encoder.BitCount();
    for (int b = 0; b < 10; ++b) {  // overlapping ones, gaps and missing ones
      const int nStart = 1 + b * 900 - Below(300), nSpan = bUniform ? 1 : 400;
      const auto missing = [&](int nPercent) {
        if (bUniform) return bStrange && Below(60) == 0 ? 100 : 0;
        return bStrange && Below(8) == 0 ? nPercent : 0;
      };
      encoder.Values(14, values(std::max(nStart, 0), nSpan, missing(20)));
      encoder.Values(14, values(nStart + 1100 - Below(bStrange ? 300 : 1), nSpan, missing(20)));
      encoder.Values(6, values(b, bUniform ? 1 : 4, missing(30)));
    }
    // First only the order of the channels is disturbed. What disturbs that of the fields comes late, or
    // nothing that follows would be tried.
    for (int i = 1; i <= SAMPLES; ++i) {
      const int nKinds = i < 60 ? 1 : i <= 8000 || nTrial % 8 > 3 ? 5 : 9;
      const int nStrange = bStrange && Below(i < 60 ? 10 : 40) == 0 ? Below(nKinds) : -1;
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
    const CReportCapture first;
    m_reader.GoToNextMessage();
    if (bFirstLevel) m_reader.InterpretFirstLevel(&m_prod);
    m_reader.nSpectrumBitPos = nSpectrum;
    m_reader.nLastMissingChannel = m_reader.nMissingFlags = 0;
    const CReportCapture said;
    const int nStatus = m_reader.UpdateL1Spectrum(&m_prod, m_arSelection.data());
    const std::string szText = said.Text();

    const SPlainSpectrum expected(arBytes, nSpectrum, nPixels, m_prod.KeepPixel, m_arSelection, nChannels);
    ASSERT_EQ(nStatus, expected.nStatus) << "trial " << nTrial;
    ASSERT_EQ(szText, expected.szText) << "trial " << nTrial;
    ASSERT_EQ(m_reader.nMissingFlags, expected.nFlags) << "trial " << nTrial;
    ASSERT_EQ(m_reader.nLastMissingChannel, expected.nLastMissingChannel) << "trial " << nTrial;
    std::vector<double> arRow(m_prod.Spectrum.Columns());
    for (const int nPixel : m_prod.Kept()) {
      m_prod.Spectrum.Row(m_prod.KeptRow(nPixel).nRow, 0, m_prod.Spectrum.Columns(), arRow.data());
      for (int i = 0; i < m_prod.Spectrum.Columns(); ++i) {
        const double fExpected = expected.arRadiance[nPixel][m_prod.Spectrum.Channel(i) - 1];
        ASSERT_EQ(arRow[i], fExpected) << "trial " << nTrial << " pixel " << nPixel << " column " << i;
      }
    }
  }
}

TEST_F(L1CDecoderTest, AvhrrRadiancesKeepTheArchivesOddities) {
  m_bKeepAll = true;
  TRows rows = Rows(2, 4);
  for (SLayoutRow& row : rows) {
    if (row.pInts == &m_prod.AvhrrMeanExponent[0] || row.pInts == &m_prod.AvhrrStdDevExponent[0])
      row.arRaw = {2, 2, MISSING, MISSING};
    if (row.pInts == &m_prod.AvhrrMeanScaled[0] || row.pInts == &m_prod.AvhrrStdDevScaled[0])
      row.arRaw = {50, MISSING, 50, MISSING};
  }
  ASSERT_TRUE(Decode(Encode(rows, 4, 3, false), 4, 2));
  const double arMean[] = {0.5, -777.0, 50 / std::pow(10.0, -1.0),
                           -777.0};                          // a missing exponent passes for -1
  const double arDeviation[] = {0.5, -7.0, -777.0, -777.0};  // a missing deviation for -700
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(m_prod.AvhrrMeanRadiance[0][SKeptRow(i)], arMean[i]);
    EXPECT_EQ(m_prod.AvhrrStdDevRadiance[0][SKeptRow(i)], arDeviation[i]);
  }
}

// What was decoded counts, whatever becomes of other elements: in the first channel the increments of the
// channel numbers are too wide, in the last one the deviation is cut off in front of the last pixel.
TEST_F(L1CDecoderTest, AvhrrRadiancesOfElementsThatAreThere) {
  constexpr int LAST = CProdL1C::CLUSTER_CHANNELS - 1;
  m_bKeepAll = true;
  TRows rows = Rows(1, 3);
  for (const int k : {0, LAST})
    for (SLayoutRow& row : rows) {
      if (row.pInts == &m_prod.AvhrrChannel[0]) row.arRaw = {1, 2, 3}, row.nIncrement = 7;
      if (row.pInts == &m_prod.AvhrrMeanExponent[k]) row.arRaw = {4, MISSING, 5};
      if (row.pInts == &m_prod.AvhrrMeanScaled[k]) row.arRaw = {100000, 100000, MISSING};
      if (row.pInts == &m_prod.AvhrrStdDevExponent[k]) row.arRaw = {8, 8, 8};
      if (row.pInts == &m_prod.AvhrrStdDevScaled[k]) row.arRaw = {MISSING, 50, 60}, row.nIncrement = 31;
    }
  auto arBytes = Encode(rows, 3, 3, false);
  arBytes.pop_back();
  EXPECT_FALSE(Decode(arBytes, 3, 1));
  for (const int k : {0, LAST}) {
    const double arMean[] = {10, 1e6, -777}, arDeviation[] = {-7e-6, 5e-7, k == 0 ? 6e-7 : -777};
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(m_prod.AvhrrMeanRadiance[k][SKeptRow(i)], arMean[i]) << k << " pixel " << i;
      EXPECT_EQ(m_prod.AvhrrStdDevRadiance[k][SKeptRow(i)], arDeviation[i]) << k << " pixel " << i;
    }
  }
}

}  // namespace
