#include "output/Block.h"

#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "prod/ProductKind.h"

namespace {

using enum EBin;
constexpr EText INT = EText::INT, REAL = EText::REAL;
constexpr int M1 = -1, M777 = -777;

using A = CProd;

constexpr SField COMMON[] = {
    // name, source, binary, text, missing in binary, missing in text
    {"SatelliteIdentifier", From<&A::SatelliteIdentifier>(), NONE, INT, M1, M1},
    {"Tb", {}, NONE, INT, M1, M1},
    {"Year", From<&A::Year>(), INT2, INT, M1, M1},
    {"Month", From<&A::Month>(), INT1, INT, M1, M1},
    {"Day", From<&A::Day>(), INT1, INT, M1, M1},
    {"Hour", From<&A::Hour>(), INT1, INT, M1, M1},
    {"Minute", From<&A::Minute>(), INT1, INT, M1, M1},
    {"Milliseconds", From<&A::Milliseconds>(), INT4, INT, M1, M1},
    {"Latitude", From<&A::Latitude>(), REAL4, REAL, M777, M777},
    {"Longitude", From<&A::Longitude>(), REAL4, REAL, M777, M777},
    {"SatelliteZenithAngle", From<&A::SatelliteZenithAngle>(), REAL4, REAL, M777, M777},
    {"Bearing", From<&A::Bearing>(), REAL4, REAL, M777, M777},
    {"SolarZenithAngle", From<&A::SolarZenithAngle>(), REAL4, REAL, M777, M777},
    {"SolarAzimuth", From<&A::SolarAzimuth>(), REAL4, REAL, M777, M777},
    {"FieldOfViewNumber", From<&A::FieldOfViewNumber>(), INT4, INT, M1, M1},
    {"OrbitNumber", From<&A::OrbitNumber>(), INT4, INT, M1, M1},
    {"ScanLineNumber", From<&A::ScanLineNumber>(), INT4, INT, M1, M1},
    {"HeightOfStation", From<&A::HeightOfStation>(), REAL4, REAL, M777, M777, 1000},  // kilometres
};

using L = CProdL1C;

/// The day 1 archive has no band split: the whole spectrum is one band, the two others are empty.
constexpr SDayOne Empty(int nBin) { return {true, nBin, ""}; }

constexpr SField L1C[] = {
    {"DayVersion", From<&L::DayVersion>(), INT2, INT, M1, M1},
    {"StartChannel1", From<&L::StartChannel, 0>(), INT4, INT, 0, M1, 1, {true, 1, "1"}},
    {"EndChannel1", From<&L::EndChannel, 0>(), INT4, INT, 0, M1, 1, {true, 8461, "8461"}},
    {"GqisQualFlag1", From<&L::GqisQualFlag, 0>(), INT4, INT, M1, M1},
    {"StartChannel2", From<&L::StartChannel, 1>(), INT4, INT, 0, M1, 1, Empty(0)},
    {"EndChannel2", From<&L::EndChannel, 1>(), INT4, INT, 0, M1, 1, Empty(0)},
    {"GqisQualFlag2", From<&L::GqisQualFlag, 1>(), INT4, INT, M1, M1, 1, Empty(-1)},
    {"StartChannel3", From<&L::StartChannel, 2>(), INT4, INT, 0, M1, 1, Empty(0)},
    {"EndChannel3", From<&L::EndChannel, 2>(), INT4, INT, 0, M1, 1, Empty(0)},
    {"GqisQualFlag3", From<&L::GqisQualFlag, 2>(), INT4, INT, M1, M1, 1, Empty(-1)},
    {"CloudFraction", From<&L::CloudFraction>(), INT4, INT, M1, M1, 1, Empty(-1)},
    {"SurfaceType", From<&L::SurfaceType>(), INT1, INT, M1, M1},
};

constexpr SField AVHRR[] = {
    {"AvhrrInstrument", From<&L::AvhrrInstrument>(), INT4, INT, M1, M1},
    {"AvhrrChannelCombination", From<&L::AvhrrChannelCombination>(), INT4, INT, M1, M1},
};

constexpr SField CLUSTER[] = {
    {"AvhrrYAP", From<&L::AvhrrYAP>(), REAL4, REAL, M777, M777},
    {"AvhrrZAP", From<&L::AvhrrZAP>(), REAL4, REAL, M777, M777},
    {"AvhrrCPF", From<&L::AvhrrCPF>(), REAL4, INT, M1, M1},  // a real in binary, an integer in text
};

constexpr SField CLUSTER_CHANNEL[] = {
    {"AvhrrChannel", From<&L::AvhrrChannel>(), INT4, INT, M1, M1},
    {"AvhrrMeanRadiance", From<&L::AvhrrMeanRadiance>(), REAL4, REAL, M777, M777},
    {"AvhrrStdDevRadiance", From<&L::AvhrrStdDevRadiance>(), REAL4, REAL, M777, M777},
};

using Q = CProdL2;

constexpr SField L2[] = {
    {"SuperadiabaticIndicator", From<&Q::SuperadiabaticIndicator>(), INT1, INT, M1, M1},
    {"LandSeaQualifier", From<&Q::LandSeaQualifier>(), INT1, INT, M1, M1},
    {"DayNightQualifier", From<&Q::DayNightQualifier>(), INT1, INT, M1, M1},
    {"SatelliteDataProcessingTechniqueUsed", From<&Q::SatelliteDataProcessingTechniqueUsed>(), INT4, INT, M1,
     M1},
    {"SunGlintIndicator", From<&Q::SunGlintIndicator>(), INT1, INT, M1, M1},
    {"CloudFormationAndHeightAssignment", From<&Q::CloudFormationAndHeightAssignment>(), INT4, INT, M1, M1},
    {"InstrumentDetectingClouds", From<&Q::InstrumentDetectingClouds>(), INT4, INT, M1, M1},
    {"ValidationFlagForIasiLevel1", From<&Q::ValidationFlagForIasiLevel1>(), INT4, INT, M1, M1},
    {"QualityAndCompletenessOfRetrieval", From<&Q::QualityAndCompletenessOfRetrieval>(), INT4, INT, M1, M1},
    {"RetrievalChoiceIndicator", From<&Q::RetrievalChoiceIndicator>(), INT4, INT, M1, M1},
    {"SatelliteManoeuvreIndicator", From<&Q::SatelliteManoeuvreIndicator>(), INT4, INT, M1, M1},
};

template <class TRecord>
constexpr SField BACKGROUND[] = {
    {"SelectionOfBackgroundState", From<&TRecord::SelectionOfBackgroundState>(), INT4, INT, M1, M1}};

using O = CProdL2ozo;

constexpr SField OZO_LAYER[] = {
    {"Pressure#1", From<&O::LayerTopPressure>(), REAL4, REAL, M777, M777},
    {"Pressure#2", From<&O::LayerBottomPressure>(), REAL4, REAL, M777, M777},
    {"IntegratedO3Density#", From<&O::IntegratedO3Density>(), REAL4, REAL, M777, M777},
};

using T = CProdL2trg;

constexpr SField TRG[] = {
    {"IntegratedN2ODensity", From<&T::IntegratedN2ODensity>(), REAL4, REAL, M777, M777},
    {"IntegratedCODensity", From<&T::IntegratedCODensity>(), REAL4, REAL, M777, M777},
    {"IntegratedCH4Density", From<&T::IntegratedCH4Density>(), REAL4, REAL, M777, M777},
    {"IntegratedCO2Density", From<&T::IntegratedCO2Density>(), REAL4, REAL, M777, M777},
};

using C = CProdL2clp;

constexpr SField CLP[] = {{"VerticalSignificance", From<&C::VerticalSignificance>(), INT4, INT, M1, M1}};

constexpr SField CLP_LAYER[] = {
    {"Pressure#", From<&C::Pressure>(), REAL4, REAL, M777, M777},
    {"Temperature/dry-bulbTemperature#", From<&C::Temperature>(), REAL4, REAL, M777, M777},
    {"CloudAmountInSegment#", From<&C::CloudAmountInSegment>(), REAL4, REAL, M777, M777},
    {"CloudPhase#", From<&C::CloudPhase>(), INT4, INT, M1, M1},
};

using W = CProdL2twt;

constexpr SField TWT[] = {
    {"VerticalSignificance1", From<&W::VerticalSignificance1>(), INT4, INT, M1, M1},
    {"Pressure", From<&W::Pressure>(), REAL4, REAL, M777, M777},
    {"NumberOfObservations1", From<&W::NumberOfObservations1>(), INT4, INT, M1, M1},
    {"SkinTemperature", From<&W::SkinTemperature>(), REAL4, REAL, M777, M777},
    {"NumberOfObservations2", From<&W::NumberOfObservations2>(), INT4, INT, M1, M1},
    {"VerticalSignificance2", From<&W::VerticalSignificance2>(), INT4, INT, M1, M1},
    {"PTCount", From<&W::PTCount>(), INT4, INT, M1, M1},
};

constexpr SField PT_LEVEL[] = {
    {"Pressure#", From<&W::PTPressure>(), REAL4, REAL, M777, M777},
    {"Temperature/dry-bulbTemperature#", From<&W::PTTemperature>(), REAL4, REAL, M777, M777},
};

constexpr SField PMR_COUNT[] = {{"PMRCount", From<&W::PMRCount>(), INT4, INT, M1, M1}};

constexpr SField PMR_LEVEL[] = {
    {"Pressure#", From<&W::PMRPressure>(), REAL4, REAL, M777, M777},
    {"MixingRatio#", From<&W::PMRMixingRatio>(), REAL4, REAL, M777, M777},
};

using E = CProdL2ems;

constexpr SField EMS_POINT[] = {
    {"Frequency#", From<&E::Frequency>(), REAL4, REAL, M777, M777},
    {"Emissivity#", From<&E::Emissivity>(), REAL4, REAL, M1, M777},  // the two missing forms differ
};

constexpr SGroup Once(std::span<const SField> fields) { return {fields}; }

constexpr SGroup COMMON_GROUPS[] = {Once(COMMON)};
constexpr SGroup L1C_GROUPS[] = {Once(L1C)};
constexpr SGroup AVHRR_GROUPS[] = {Once(AVHRR),
                                   {CLUSTER, L::CLUSTERS, L::CLUSTERS, CLUSTER_CHANNEL, L::AVHRR_CHANNELS}};
constexpr SGroup L2_GROUPS[] = {Once(L2)};
constexpr SGroup OZO_GROUPS[] = {Once(BACKGROUND<O>), {OZO_LAYER, O::FEW_LAYERS, O::LAYERS}};
constexpr SGroup TRG_GROUPS[] = {Once(BACKGROUND<T>), Once(TRG)};
constexpr SGroup CLP_GROUPS[] = {Once(CLP), {CLP_LAYER, C::LAYERS, C::LAYERS}};
constexpr SGroup TWT_GROUPS[] = {
    Once(TWT), {PT_LEVEL, W::FEW_LEVELS, W::LEVELS}, Once(PMR_COUNT), {PMR_LEVEL, W::FEW_LEVELS, W::LEVELS}};
constexpr SGroup EMS_GROUPS[] = {Once(BACKGROUND<E>), {EMS_POINT, E::POINTS, E::POINTS}};

struct SKindBlock {
  EProduct eProduct;
  SBlock block;
};

constexpr SKindBlock KIND_BLOCKS[] = {
    {PRODUCT_L1C, {}},  // its blocks have names of their own
    {PRODUCT_OZO, {"ozo", OZO_GROUPS}},
    {PRODUCT_TRG, {"trg", TRG_GROUPS}},
    {PRODUCT_CLP, {"clp", CLP_GROUPS}},
    {PRODUCT_TWT, {"twt", TWT_GROUPS}},
    {PRODUCT_EMS, {"ems", EMS_GROUPS}},
};
static_assert(HasAllProducts(KIND_BLOCKS), "a product has no block, or not in its place");

/// From this instant on, ozone and temperature products have 101 layers and levels. The time of day is none:
/// it is what the writers of the format compare with.
constexpr int64_t RECENT_DATE = 20140930, RECENT_TIME = 72260;

}  // namespace

const SBlock COMMON_BLOCK = {"Common", COMMON_GROUPS, true};
const SBlock L1C_BLOCK = {"L1C", L1C_GROUPS};
const SBlock SPECTRUM_BLOCK = {"Spectrum", {}, false, true};
const SBlock AVHRR_BLOCK = {"AVHRR", AVHRR_GROUPS};
const SBlock L2_BLOCK = {"L2 common", L2_GROUPS};

const SBlock& KindBlock(int nProduct) { return KIND_BLOCKS[nProduct].block; }

bool IsRecent(const CProd& prod, int nPixel) {
  const int p = nPixel;
  const int64_t nDate = prod.Year[p] * 10000 + prod.Month[p] * 100 + prod.Day[p];
  const int64_t nTime = prod.Hour[p] * 10000 + prod.Minute[p] * 100 + prod.Milliseconds[p] / 1000;
  return nDate >= RECENT_DATE && !(nDate == RECENT_DATE && nTime < RECENT_TIME);
}

int BinarySize(const SBlock& block) {
  int nSize = 0;
  EachField(block, false, [&](const SField& field, int) { nSize += BinarySizeOf(field.eBin); });
  return nSize;
}
