// The five L2 decoders: every row of every layout there and back, wrong counts, cut messages.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "DecoderSupport.h"
#include "bufr/BUFRReaderL2clp.h"
#include "bufr/BUFRReaderL2ems.h"
#include "bufr/BUFRReaderL2ozo.h"
#include "bufr/BUFRReaderL2trg.h"
#include "bufr/BUFRReaderL2twt.h"

namespace {

enum EKind { EMS, TRG, OZO, CLP, TWT };
constexpr uint64_t QUALIFIER = 16384;

SLayoutRow Times1000(SLayoutRow row) {
  row.fFactor = 1000;
  return row;
}

SLayoutRow Height(const CProd& p) { return Times1000(Real(15, -400, -2, p.HeightOfStation, 256)); }

/// The header as the format's description has it: what all kinds have and, kind by kind, what changes.
TRows HeaderRows(EKind eKind, int v, const CProdL2& p, const IntColumn* pBackground) {
  const bool b34 = v == 3 || v == 4, b37 = v >= 3 && v <= 7, b8 = v == 8;
  TRows rows = {Int(10, p.SatelliteIdentifier, 1), Skipped(16)};
  const auto add = [&](TRows more) { rows.insert(rows.end(), more.begin(), more.end()); };
  if (v == 4 || (v > 4 && (eKind == CLP || eKind == TWT))) add({Skipped(14)});
  add({Int(11, p.SatelliteInstruments, 1), Skipped(9), Int(12, p.Year, 2), Int(4, p.Month, 2),
       Int(6, p.Day, 2), Int(5, p.Hour, 2), Int(6, p.Minute, 2), Times1000(Int(6, p.Milliseconds, 2)),
       Int(24, p.OrbitNumber, 64), Int(13, p.ScanLineNumber, 64), Real(25, -9000000, 5, p.Latitude, 4),
       Real(26, -18000000, 5, p.Longitude, 8)});
  SLayoutRow fov = Int(8, p.FieldOfViewNumber, 64);
  fov.nOffset = -1;
  add({fov});
  const auto qualifier = [&](int nWidth, const IntColumn& column) { add({Int(nWidth, column, QUALIFIER)}); };
  const auto oldQuality = [&] {
    qualifier(16, p.CloudFormationAndHeightAssignment);
    qualifier(16, p.InstrumentDetectingClouds);
    qualifier(16, p.ValidationFlagForIasiLevel1);
    qualifier(4, p.QualityAndCompletenessOfRetrieval);
    qualifier(8, p.RetrievalChoiceIndicator);
  };

  if (eKind == TWT && b37)
    add({Skipped(8)});
  else if (eKind == TWT || eKind == OZO || v == 0)
    qualifier(eKind == TWT && b8 ? 8 : 2, p.SuperadiabaticIndicator);
  qualifier(2, p.LandSeaQualifier);
  qualifier(2, p.DayNightQualifier);
  if (eKind == CLP)
    qualifier(v >= 3 ? 3 : 8, p.SatelliteDataProcessingTechniqueUsed);
  else if (eKind == TWT ? b37 : b34)
    add({Skipped(3)});
  else
    qualifier(eKind == TWT && b8 ? 3 : 8, p.SatelliteDataProcessingTechniqueUsed);
  qualifier(2, p.SunGlintIndicator);

  if (eKind == CLP && v >= 3) {
    qualifier(5, p.CloudFormationAndHeightAssignment);
    qualifier(3, p.InstrumentDetectingClouds);
    qualifier(16, p.ValidationFlagForIasiLevel1);
    if (b37) qualifier(3, p.QualityAndCompletenessOfRetrieval);
    if (b8) add({Skipped(6), Skipped(4), Skipped(8)});
  } else if (eKind == TWT && b8) {
    add({Skipped(6), Skipped(4)});
    qualifier(11, p.CloudFormationAndHeightAssignment);
    qualifier(3, p.InstrumentDetectingClouds);
    qualifier(3, p.ValidationFlagForIasiLevel1);
    qualifier(8, p.QualityAndCompletenessOfRetrieval);
    qualifier(3, p.RetrievalChoiceIndicator);
  } else if ((eKind == TWT && b37) || (eKind == OZO && b34)) {
    add({Skipped(3), Skipped(3), Skipped(3), Skipped(8), Skipped(3)});
  } else if (eKind != CLP && eKind != TWT && b34) {
    add({Skipped(5), Skipped(3)});
  } else if (eKind != CLP || v == 0) {
    oldQuality();
  }
  qualifier(3, p.SatelliteManoeuvreIndicator);

  if (eKind == TWT && v >= 3) add({Skipped(8), Skipped(8), Skipped(8), Skipped(8)});
  if (eKind == OZO && b34) add({Skipped(8), Skipped(8)});
  if (eKind == CLP && v >= 6) add({Skipped(8)});
  if ((eKind == TWT && v < 3) || (eKind == OZO && !b34) || ((eKind == EMS || eKind == TRG) && v == 0))
    qualifier(3, *pBackground);
  add({Real(15, -9000, 2, p.SatelliteZenithAngle, 16), Real(16, 0, 2, p.Bearing, 16),
       Real(15, -9000, 2, p.SolarZenithAngle, 32), Real(16, 0, 2, p.SolarAzimuth, 32)});
  if (eKind != TWT) add({Height(p)});
  return rows;
}

/// Only the first pixel's count is looked at.
SLayoutRow Count(SLayoutRow row, int nPixels, int nCount) {
  row.arRaw.assign(nPixels, 7);
  row.arRaw[0] = nCount;
  return row;
}

/// One kind: its classes and its product block.
struct SEms {
  using Record = CProdL2ems;
  using Reader = CBUFRReaderL2ems;
  static constexpr EKind KIND = EMS;
  static const IntColumn* Background(const Record& p) { return &p.SelectionOfBackgroundState; }
  static void Init(Record& p, int n) { p.InitFirstL2ems(n); }
  static TRows Product(const Record& p, int, int nPixels) {
    TRows rows = {Count(Skipped(8), nPixels, 12)};
    for (int k = 0; k < 12; ++k) {
      rows.push_back(Real(26, 0, -8, p.Frequency[k], 524288));
      rows.push_back(Real(10, 0, 1, p.Emissivity[k], 524288));
    }
    return rows;
  }
};

struct STrg {
  using Record = CProdL2trg;
  using Reader = CBUFRReaderL2trg;
  static constexpr EKind KIND = TRG;
  static const IntColumn* Background(const Record& p) { return &p.SelectionOfBackgroundState; }
  static void Init(Record& p, int n) { p.InitFirstL2trg(n); }
  static TRows Product(const Record& p, int, int) {
    return {Real(16, 0, 6, p.IntegratedN2ODensity, 65536), Real(16, 0, 7, p.IntegratedCODensity, 65536),
            Real(16, 0, 6, p.IntegratedCH4Density, 65536), Real(16, 0, 3, p.IntegratedCO2Density, 65536)};
  }
};

struct SOzo {
  using Record = CProdL2ozo;
  using Reader = CBUFRReaderL2ozo;
  static constexpr EKind KIND = OZO;
  static const IntColumn* Background(const Record& p) { return &p.SelectionOfBackgroundState; }
  static void Init(Record& p, int n) { p.InitFirstL2ozo(n); }
  static TRows Product(const Record& p, int v, int nPixels) {
    const int nLayers = v == 3 || v == 4 ? 101 : 4;
    TRows rows = {Count(Skipped(8), nPixels, nLayers)};
    for (int k = 0; k < nLayers; ++k) {
      rows.push_back(Real(24, 0, 2, p.LayerTopPressure[k], 32768));
      rows.push_back(Real(24, 0, 2, p.LayerBottomPressure[k], 32768));
      rows.push_back(Real(21, 0, 8, p.IntegratedO3Density[k], 32768));
    }
    for (int k = 0; k < 55 && nLayers == 101; ++k) rows.push_back(Skipped(21));
    return rows;
  }
};

struct SClp {
  using Record = CProdL2clp;
  using Reader = CBUFRReaderL2clp;
  static constexpr EKind KIND = CLP;
  static const IntColumn* Background(const Record&) { return nullptr; }
  static void Init(Record& p, int n) { p.InitFirstL2clp(n); }
  static TRows Product(const Record& p, int, int) {
    TRows rows = {Int(6, p.VerticalSignificance, 131072)};
    for (int k = 0; k < 3; ++k) {
      rows.push_back(Real(17, 0, 0, p.Pressure[k], 131072));
      rows.push_back(Real(16, 0, 2, p.Temperature[k], 131072));
      rows.push_back(Real(14, 0, 2, p.CloudAmountInSegment[k], 131072));
      rows.push_back(Int(3, p.CloudPhase[k], 131072));
    }
    return rows;
  }
};

struct STwt {
  using Record = CProdL2twt;
  using Reader = CBUFRReaderL2twt;
  static constexpr EKind KIND = TWT;
  static const IntColumn* Background(const Record& p) { return &p.SelectionOfBackgroundState; }
  static void Init(Record& p, int n) { p.InitFirstL2twt(n); }
  static TRows Product(const Record& p, int v, int nPixels) {
    const int nLevels = v >= 3 ? 101 : 90;
    constexpr uint64_t FLAG = 262144;
    TRows rows = {
        Int(6, p.VerticalSignificance1, FLAG), Real(v == 8 ? 20 : v >= 3 ? 30 : 14, 0, -1, p.Pressure, FLAG),
        Int(8, p.NumberOfObservations1, FLAG), Real(12, 0, 1, p.SkinTemperature, FLAG),
        Int(8, p.NumberOfObservations2, FLAG), Height(p),
        Int(6, p.VerticalSignificance2, FLAG)};
    const auto profile = [&](const IntColumn& count, const RealColumn* pPressure, SLayoutRow value,
                             const RealColumn* pValue) {
      rows.push_back(Count(Int(8, count, FLAG), nPixels, nLevels));
      for (int k = 0; k < nLevels; ++k) {
        rows.push_back(Real(24, 0, 2, pPressure[k], FLAG));
        value.pReals = &pValue[k];
        rows.push_back(value);
      }
    };
    profile(p.PTCount, p.PTPressure, Real(16, 0, 2, p.PTTemperature[0], FLAG), p.PTTemperature);
    profile(p.PMRCount, p.PMRPressure, Real(v >= 3 ? 30 : 20, 0, v >= 3 ? 7 : 6, p.PMRMixingRatio[0], FLAG),
            p.PMRMixingRatio);
    return rows;
  }
};

/// A decoder and its record, which stay from message to message.
template <class TKind>
class L2DecoderTest : public testing::Test {
 protected:
  using Record = typename TKind::Record;

  L2DecoderTest() {
    m_reader.bBlankUndecoded = true;
    TKind::Init(m_prod, PIXELS);
    std::set<const void*> seen;
    for (int v = 0; v <= 8; ++v)
      for (const SLayoutRow& row : Rows(v, 1))
        if (row.IsKept() && seen.insert(Column(row)).second) m_arColumns.push_back(row);
  }

  static constexpr int PIXELS = 9;

  TRows Rows(int v, int nPixels) const {
    TRows rows = HeaderRows(TKind::KIND, v, m_prod, TKind::Background(m_prod));
    const TRows product = TKind::Product(m_prod, v, nPixels);
    rows.insert(rows.end(), product.begin(), product.end());
    return rows;
  }
  static const void* Column(const SLayoutRow& row) {
    return row.pInts ? static_cast<const void*>(row.pInts) : row.pReals;
  }

  std::vector<uint8_t> Encode(TRows& rows, int nPixels, int nTurn, bool bMissing) {
    CBUFREncoder encoder(nPixels);
    EncodeRows(encoder, rows, nTurn, bMissing, m_random);
    return encoder.SectionData();
  }

  /// Decodes and returns both results, first level and product.
  std::pair<int, int> Decode(const std::vector<uint8_t>& arBytes, int nPixels, int v) {
    LoadData(m_reader, arBytes, nPixels, v);
    TKind::Init(m_prod, nPixels);
    m_reader.nMissingFlags = 0;
    testing::internal::CaptureStdout();
    const int nFirst = m_reader.InterpretFirstLevel(&m_prod);
    const int nSecond = m_reader.UpdateL2(&m_prod);
    m_szText = testing::internal::GetCapturedStdout();
    return {nFirst, nSecond};
  }

  /// Columns that these rows do not fill are missing, whatever was decoded before.
  bool OthersAreMissing(const TRows& rows, int nPixels) const {
    std::set<const void*> filled;
    for (const SLayoutRow& row : rows) filled.insert(Column(row));
    return std::all_of(m_arColumns.begin(), m_arColumns.end(), [&](const SLayoutRow& row) {
      bool bMissing = true;
      for (int i = 0; i < nPixels; ++i) bMissing &= row.Stored(i) == row.Missing();
      return filled.count(Column(row)) > 0 || bMissing;
    });
  }

  Record m_prod;
  typename TKind::Reader m_reader;
  TRows m_arColumns;  // of all versions
  std::mt19937 m_random{3};
  std::string m_szText;
};

using AllKinds = testing::Types<SEms, STrg, SOzo, SClp, STwt>;
TYPED_TEST_SUITE(L2DecoderTest, AllKinds);

TYPED_TEST(L2DecoderTest, EveryRowOfEveryVersionComesBack) {
  for (int nTurn = 0; nTurn <= 31; ++nTurn) {
    for (const int v : {8, 0, 3, 5, 4, 1, 6, 2, 7}) {  // each after one with other fields
      const int nPixels = 1 + (nTurn + v) % this->PIXELS;
      TRows rows = this->Rows(v, nPixels);
      const auto arBytes = this->Encode(rows, nPixels, nTurn, nTurn % 2);
      ASSERT_EQ(this->Decode(arBytes, nPixels, v), std::pair(1, 1)) << "version " << v << " turn " << nTurn;
      ASSERT_EQ(CompareRows(rows, nPixels), "") << "version " << v << " turn " << nTurn;
      ASSERT_TRUE(this->OthersAreMissing(rows, nPixels)) << "version " << v << " turn " << nTurn;
      ASSERT_EQ(this->m_reader.nMissingFlags, FlagsOf(rows));
      ASSERT_EQ(this->m_szText, "");
    }
  }
}

TYPED_TEST(L2DecoderTest, CutMessagesShowNothingOfTheOneBefore) {
  constexpr int FEW = 3;
  for (const int v : {0, 3, 5, 8}) {
    TRows before = this->Rows(v, FEW), rows = this->Rows(v, FEW);
    const auto arBefore = this->Encode(before, FEW, 8, false), arWhole = this->Encode(rows, FEW, 7, true);
    const size_t nStep = arWhole.size() / 300 + 1;
    for (size_t nBytes = 0; nBytes < arWhole.size(); nBytes += nStep) {
      this->Decode(arBefore, FEW, v);
      const auto [nFirst, nSecond] = this->Decode({arWhole.begin(), arWhole.begin() + nBytes}, FEW, v);
      ASSERT_FALSE(nFirst && nSecond) << "version " << v << " cut at " << nBytes;
      ASSERT_EQ(CompareRows(rows, FEW, true), "") << "version " << v << " cut at " << nBytes;
      ASSERT_TRUE(this->OthersAreMissing(rows, FEW)) << "version " << v << " cut at " << nBytes;
    }
  }
}

TYPED_TEST(L2DecoderTest, NoProductBlockBeforeAHeader) {
  LoadData(this->m_reader, std::vector<uint8_t>(4000), 3, 5);
  EXPECT_EQ(this->m_reader.UpdateL2(&this->m_prod), 0);
}

}  // namespace
