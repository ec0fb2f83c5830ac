#include "tests/differential/LayoutRows.h"

#include <initializer_list>
#include <map>
#include <span>

#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"

namespace {

/// Where elements go: for a descriptor its occurrences in order.
using TPlaces = std::map<int, TRows>;

TRows LayoutRows(EKind eKind, int nLayout, const TPlaces& places) {
  TRows rows;
  const CTemplate layout(LayoutDescriptors(eKind, nLayout), LayoutCounts(eKind, nLayout));
  for (const STemplateField& field : layout.Fields()) {
    const auto found = places.find(field.nFXY);
    const size_t n = field.nOccurrence;
    rows.push_back(found != places.end() && n <= found->second.size() ? found->second[n - 1] : SLayoutRow());
    rows.back().field = field;
  }
  return rows;
}

template <class TIndex>
SLayoutRow Int(const TIndexedColumn<int64_t, TIndex>& column, uint64_t nFlag, int64_t nMissing = -1) {
  SLayoutRow row = {&column, nullptr, nFlag, nMissing};
  row.bKept = column.KEPT;
  return row;
}
/// A work column, which tells what was not decoded from what was missing.
SLayoutRow Work(const KeptIntColumn& column, uint64_t nFlag, int64_t nMissing) {
  SLayoutRow row = Int(column, nFlag, nMissing);
  row.nUndecoded = INT64_MIN;
  return row;
}
template <class TIndex>
SLayoutRow Real(const TIndexedColumn<double, TIndex>& column, uint64_t nFlag) {
  SLayoutRow row = {nullptr, &column, nFlag};
  row.bKept = column.KEPT;
  return row;
}
/// The columns of families in turn: the first of each, the second of each and so on.
template <class TColumnType>
TRows Reals(std::initializer_list<std::span<const TColumnType>> families, uint64_t nFlag) {
  TRows rows;
  for (size_t i = 0; i < families.begin()->size(); ++i)
    for (const auto& family : families) rows.push_back(Real(family[i], nFlag));
  return rows;
}

/// Those that all products share.
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

template <class TRecord>
TPlaces L2Places(EKind eKind, int nVersion, const CProd& record) {
  const auto& prod = static_cast<const TRecord&>(record);
  TPlaces places = HeaderPlaces(eKind, nVersion, prod);
  if constexpr (requires { prod.SelectionOfBackgroundState; })
    places[40198] = {Int(prod.SelectionOfBackgroundState, 16384)};
  if constexpr (requires { prod.PTCount; })
    AddProduct(places, prod, nVersion < 3 ? 90 : 101);
  else
    AddProduct(places, prod);
  return places;
}

}  // namespace

TRows L2Rows(EKind eKind, int nVersion, const CProd& record) {
  constexpr decltype(&L2Places<CProdL2clp>) PLACES[] = {nullptr,
                                                        L2Places<CProdL2ozo>,
                                                        L2Places<CProdL2trg>,
                                                        L2Places<CProdL2clp>,
                                                        L2Places<CProdL2twt>,
                                                        L2Places<CProdL2ems>};
  const bool bNone = nVersion == 1 || nVersion == 2;
  const int nOther = eKind == EKind::EMS || eKind == EKind::TRG ? 5 : 0;
  const TPlaces places = PLACES[static_cast<int>(eKind)](eKind, nVersion, record);
  TRows rows = LayoutRows(eKind, bNone ? nOther : nVersion, places);
  if (bNone && eKind == EKind::CLP)
    std::erase_if(rows, [](const SLayoutRow& row) {
      return row.field.nFXY == 13038 || (row.field.nFXY >= 40192 && row.field.nFXY <= 40196);
    });
  return rows;
}

TRows L1CRows(int nLayout, const CProdL1C& p) {
  constexpr uint64_t QUALITY = 512, AVHRR = 4096, FRACTIONS = 8192;
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

  TRows rows = LayoutRows(EKind::L1C, nLayout, places);
  if (nLayout == 2) rows.pop_back();  // which nothing follows and nobody reads
  return rows;
}
