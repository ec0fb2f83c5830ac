// The five L2 decoders: every row of every layout there and back, cut messages.

#include <gtest/gtest.h>

#include "DecoderSupport.h"
#include "bufr/BUFRReaderL2clp.h"
#include "bufr/BUFRReaderL2ems.h"
#include "bufr/BUFRReaderL2ozo.h"
#include "bufr/BUFRReaderL2trg.h"
#include "bufr/BUFRReaderL2twt.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"

namespace {

constexpr uint64_t OZONE = 32768, GASES = 65536, CLOUDS = 131072, PROFILES = 262144, SURFACE = 524288;

/// What all kinds have in their header. Many of the elements are kept in some kinds and versions only.
TPlaces HeaderPlaces(EKind eKind, int nVersion, const CProdL2& p) {
  TPlaces places = CommonPlaces(p);
  places[4006][0].fFactor = 1000;  // of seconds
  places[5043][0].nOffset = -1;
  places[7001][0].fFactor = 1000;
  const auto qualifiers = [&](std::initializer_list<std::pair<int, const IntColumn*>> columns) {
    for (const auto& [nFXY, pColumn] : columns) places[nFXY] = {Int(*pColumn, 16384)};
  };
  qualifiers({{13038, &p.SuperadiabaticIndicator},
              {8012, &p.LandSeaQualifier},
              {8013, &p.DayNightQualifier},
              {2022, &p.SatelliteDataProcessingTechniqueUsed},
              {8065, &p.SunGlintIndicator},
              {40192, &p.CloudFormationAndHeightAssignment},
              {40193, &p.InstrumentDetectingClouds},
              {40194, &p.ValidationFlagForIasiLevel1},
              {40195, &p.QualityAndCompletenessOfRetrieval},
              {40196, &p.RetrievalChoiceIndicator},
              {40197, &p.SatelliteManoeuvreIndicator},
              {40043, &p.SatelliteManoeuvreIndicator}});
  if (eKind == EKind::CLP)
    qualifiers({{40056, &p.SatelliteDataProcessingTechniqueUsed},
                {40045, &p.CloudFormationAndHeightAssignment},
                {40046, &p.InstrumentDetectingClouds},
                {40049, &p.ValidationFlagForIasiLevel1},
                {40047, &p.QualityAndCompletenessOfRetrieval}});
  if (eKind == EKind::TWT && nVersion == 8)
    qualifiers({{40052, &p.SuperadiabaticIndicator},
                {40056, &p.SatelliteDataProcessingTechniqueUsed},
                {2151, &p.CloudFormationAndHeightAssignment},
                {40047, &p.InstrumentDetectingClouds},
                {40048, &p.ValidationFlagForIasiLevel1},
                {40050, &p.QualityAndCompletenessOfRetrieval},
                {40051, &p.RetrievalChoiceIndicator}});
  return places;
}

void AddProduct(TPlaces& places, const CProdL2ems& p) {
  places[2153] = Reals<KeptRealColumn>({p.Frequency}, SURFACE);
  places[14050] = Reals<KeptRealColumn>({p.Emissivity}, SURFACE);
}

void AddProduct(TPlaces& places, const CProdL2trg& p) {
  places[40199] = {Real(p.IntegratedN2ODensity, GASES)};
  places[40200] = {Real(p.IntegratedCODensity, GASES)};
  places[40201] = {Real(p.IntegratedCH4Density, GASES)};
  places[40202] = {Real(p.IntegratedCO2Density, GASES)};
}

void AddProduct(TPlaces& places, const CProdL2ozo& p) {
  places[7004] = Reals<KeptRealColumn>({p.LayerTopPressure, p.LayerBottomPressure}, OZONE);
  places[15020] = Reals<KeptRealColumn>({p.IntegratedO3Density}, OZONE);
}

void AddProduct(TPlaces& places, const CProdL2clp& p) {
  places[8003] = {Int(p.VerticalSignificance, CLOUDS)};
  places[7004] = Reals<KeptRealColumn>({p.Pressure}, CLOUDS);
  places[12101] = Reals<KeptRealColumn>({p.Temperature}, CLOUDS);
  places[20081] = Reals<KeptRealColumn>({p.CloudAmountInSegment}, CLOUDS);
  for (const KeptIntColumn& column : p.CloudPhase) places[20056].push_back(Int(column, CLOUDS));
}

void AddProduct(TPlaces& places, const CProdL2twt& p, size_t nLevels) {
  places[8003] = {Int(p.VerticalSignificance1, PROFILES), Int(p.VerticalSignificance2, PROFILES)};
  places[10004] = {Real(p.Pressure, PROFILES)};
  places[8022] = {Int(p.NumberOfObservations1, PROFILES), Int(p.NumberOfObservations2, PROFILES)};
  places[12061] = {Real(p.SkinTemperature, PROFILES)};
  places[31001] = {Int(p.PTCount, PROFILES), Int(p.PMRCount, PROFILES)};
  places[7004] = Reals<KeptRealColumn>({std::span(p.PTPressure).first(nLevels)}, PROFILES);
  for (const KeptRealColumn& column : p.PMRPressure) places[7004].push_back(Real(column, PROFILES));
  places[12101] = Reals<KeptRealColumn>({p.PTTemperature}, PROFILES);
  places[13002] = Reals<KeptRealColumn>({p.PMRMixingRatio}, PROFILES);
}

template <EKind eKind, class TRecord, class TReader, void (TRecord::*pInit)(int)>
struct SKind {
  static constexpr EKind KIND = eKind;
  static constexpr auto Init = pInit;
  using Record = TRecord;
  using Reader = TReader;
};

template <class TKind>
class L2DecoderTest : public CLayoutTest {
 protected:
  L2DecoderTest() : CLayoutTest({8, 0, 3, 5, 4, 1, 6, 2, 7}) {  // each after one with other fields
    (m_prod.*TKind::Init)(PIXELS);
  }

  CBUFRReader& Reader() override { return m_reader; }
  CProd& Record() override { return m_prod; }

  TRows Rows(int nVersion, int nPixels) const override {
    constexpr EKind KIND = TKind::KIND;
    TPlaces places = HeaderPlaces(KIND, nVersion, m_prod);
    if constexpr (requires { m_prod.SelectionOfBackgroundState; })
      places[40198] = {Int(m_prod.SelectionOfBackgroundState, 16384)};
    if constexpr (KIND == EKind::TWT)
      AddProduct(places, m_prod, nVersion < 3 ? 90 : 101);
    else
      AddProduct(places, m_prod);
    // The archive has no versions 1 and 2. They are laid out as another one, in clp without a few elements.
    const bool bNone = nVersion == 1 || nVersion == 2;
    const int nOther = KIND == EKind::EMS || KIND == EKind::TRG ? 5 : 0;
    TRows rows = LayoutRows(KIND, bNone ? nOther : nVersion, places, nPixels);
    if (bNone && KIND == EKind::CLP)
      std::erase_if(rows, [](const SLayoutRow& row) {
        return row.field.nFXY == 13038 || (row.field.nFXY >= 40192 && row.field.nFXY <= 40196);
      });
    return rows;
  }

  bool DecodeAll(int nPixels) override {
    (m_prod.*TKind::Init)(nPixels);
    Keep(nPixels);
    const int nFirst = m_reader.InterpretFirstLevel(&m_prod);
    return m_reader.UpdateL2(&m_prod) && nFirst;
  }

  typename TKind::Record m_prod;
  typename TKind::Reader m_reader;
};

using AllKinds = testing::Types<SKind<EKind::EMS, CProdL2ems, CBUFRReaderL2ems, &CProdL2ems::InitFirstL2ems>,
                                SKind<EKind::TRG, CProdL2trg, CBUFRReaderL2trg, &CProdL2trg::InitFirstL2trg>,
                                SKind<EKind::OZO, CProdL2ozo, CBUFRReaderL2ozo, &CProdL2ozo::InitFirstL2ozo>,
                                SKind<EKind::CLP, CProdL2clp, CBUFRReaderL2clp, &CProdL2clp::InitFirstL2clp>,
                                SKind<EKind::TWT, CProdL2twt, CBUFRReaderL2twt, &CProdL2twt::InitFirstL2twt>>;
TYPED_TEST_SUITE(L2DecoderTest, AllKinds);

TYPED_TEST(L2DecoderTest, EveryRowOfEveryVersionComesBack) { this->ExpectEveryRowComesBack(); }

TYPED_TEST(L2DecoderTest, CutMessagesShowNothingOfTheOneBefore) {
  this->ExpectCutMessagesShowNothingOfTheOneBefore();
}

TYPED_TEST(L2DecoderTest, NoProductBlockBeforeAHeader) {
  LoadData(this->m_reader, std::vector<uint8_t>(4000), 3, 5);
  EXPECT_EQ(this->m_reader.UpdateL2(&this->m_prod), 0);
}

}  // namespace
