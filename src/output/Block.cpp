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

constexpr SValid Within(double fMin, double fMax) { return {fMin, fMax}; }
constexpr SValid ANY = {};

/// A quantity, number or text.
constexpr SAbout About(const char* szVariable, const char* szMeaning = "", const char* szUnit = "",
                       SValid valid = ANY, const char* szStandardName = "") {
  return {szVariable, szMeaning, szUnit, valid, szStandardName};
}
/// One of the codes of a table.
constexpr SAbout Codes(const char* szVariable, const char* szCodes, const char* szMeaning = "",
                       const char* szStandardName = "") {
  return {szVariable, szMeaning, "", ANY, szStandardName, szCodes};
}

// What several rows have in common. The names of satellites are those of WMO code table 0 01 007, the
// vertical significances those of 0 08 003.
constexpr SValid CHANNELS = {0, 8461};
constexpr char RADIANCE[] = "W m-2 sr-1 m";
constexpr char SATELLITES[] = "3 MetOp-B, 4 MetOp-A, 5 MetOp-C";
constexpr char QUALITIES[] = "0 good, 1 bad";
constexpr char SIGNIFICANCES[] =
    "0 surface, 1 base of satellite sounding, 2 cloud top, 3 tropopause, 4 precipitable water, "
    "5 sounding radiances, 6 mean temperatures, 7 ozone, 8 low cloud, 9 medium cloud, 10 high cloud";

using A = CProd;

constexpr SField COMMON[] = {
    // name, source, binary, text, missing in binary, missing in text,
    // About(variable, meaning, unit, valid range, standard name)
    {"SatelliteIdentifier", From<&A::SatelliteIdentifier>(), NONE, INT, M1, M1,
     Codes("satellite", SATELLITES, "WMO code table 0 01 007")},
    {"Tb", {}, NONE, INT, M1, M1, About("tb", "1 or 0 as `-tb`; -1 in a run without L1C")},
    {"Year", From<&A::Year>(), INT2, INT, M1, M1, About("year", "UTC")},
    {"Month", From<&A::Month>(), INT1, INT, M1, M1, About("month", "", "", Within(1, 12))},
    {"Day", From<&A::Day>(), INT1, INT, M1, M1, About("day", "", "", Within(1, 31))},
    {"Hour", From<&A::Hour>(), INT1, INT, M1, M1, About("hour", "", "", Within(0, 23))},
    {"Minute", From<&A::Minute>(), INT1, INT, M1, M1, About("minute", "", "", Within(0, 59))},
    {"Milliseconds", From<&A::Milliseconds>(), INT4, INT, M1, M1,
     About("milliseconds", "within the minute; whole seconds when from L2", "ms", Within(0, 59999))},
    {"Latitude", From<&A::Latitude>(), REAL4, REAL, M777, M777,
     About("latitude", "north is positive", "degrees_north", Within(-90, 90), "latitude")},
    {"Longitude", From<&A::Longitude>(), REAL4, REAL, M777, M777,
     About("longitude", "east is positive", "degrees_east", Within(-180, 180), "longitude")},
    {"SatelliteZenithAngle", From<&A::SatelliteZenithAngle>(), REAL4, REAL, M777, M777,
     About("satellite_zenith_angle", "of the satellite, seen from the pixel", "degree", Within(0, 90),
           "sensor_zenith_angle")},
    {"Bearing", From<&A::Bearing>(), REAL4, REAL, M777, M777,
     About("satellite_azimuth_angle", "azimuth of the satellite", "degree", Within(0, 360),
           "sensor_azimuth_angle")},
    {"SolarZenithAngle", From<&A::SolarZenithAngle>(), REAL4, REAL, M777, M777,
     About("solar_zenith_angle", "above 90: the sun is below the horizon", "degree", Within(0, 180),
           "solar_zenith_angle")},
    {"SolarAzimuth", From<&A::SolarAzimuth>(), REAL4, REAL, M777, M777,
     About("solar_azimuth_angle", "azimuth of the sun", "degree", Within(0, 360), "solar_azimuth_angle")},
    {"FieldOfViewNumber", From<&A::FieldOfViewNumber>(), INT4, INT, M1, M1,
     About("field_of_view_number", "along the scan line, counted from 0", "", Within(0, 119))},
    {"OrbitNumber", From<&A::OrbitNumber>(), INT4, INT, M1, M1, About("orbit_number")},
    {"ScanLineNumber", From<&A::ScanLineNumber>(), INT4, INT, M1, M1, About("scan_line_number")},
    {"HeightOfStation", From<&A::HeightOfStation>(), REAL4, REAL, M777, M777,
     About("satellite_height", "height of the satellite", "km"), 1000},  // kilometres
};

using L = CProdL1C;

/// The day 1 archive has no band split: the whole spectrum is one band, the two others are empty.
constexpr SDayOne Whole(int nBin, const char* szText) { return {true, nBin, szText}; }
constexpr SDayOne Empty(int nBin) { return {true, nBin, ""}; }

constexpr SField L1C[] = {
    {"DayVersion", From<&L::DayVersion>(), INT2, INT, M1, M1,
     Codes("day_version", "1 day 1, 2 later",
           "layout of the archive; day 1 has one quality flag and no cloud fraction")},
    {"StartChannel1", From<&L::StartChannel, 0>(), INT4, INT, 0, M1,
     About("start_channel_1", "first channel of spectral band 1; 0: none", "", CHANNELS), 1, Whole(1, "1")},
    {"EndChannel1", From<&L::EndChannel, 0>(), INT4, INT, 0, M1,
     About("end_channel_1", "last channel of the band", "", CHANNELS), 1, Whole(8461, "8461")},
    {"GqisQualFlag1", From<&L::GqisQualFlag, 0>(), INT4, INT, M1, M1,
     Codes("quality_flag_1", QUALITIES, "quality of band 1")},
    {"StartChannel2", From<&L::StartChannel, 1>(), INT4, INT, 0, M1,
     About("start_channel_2", "first channel of spectral band 2; 0: none", "", CHANNELS), 1, Empty(0)},
    {"EndChannel2", From<&L::EndChannel, 1>(), INT4, INT, 0, M1,
     About("end_channel_2", "last channel of the band", "", CHANNELS), 1, Empty(0)},
    {"GqisQualFlag2", From<&L::GqisQualFlag, 1>(), INT4, INT, M1, M1,
     Codes("quality_flag_2", QUALITIES, "quality of band 2"), 1, Empty(-1)},
    {"StartChannel3", From<&L::StartChannel, 2>(), INT4, INT, 0, M1,
     About("start_channel_3", "first channel of spectral band 3; 0: none", "", CHANNELS), 1, Empty(0)},
    {"EndChannel3", From<&L::EndChannel, 2>(), INT4, INT, 0, M1,
     About("end_channel_3", "last channel of the band", "", CHANNELS), 1, Empty(0)},
    {"GqisQualFlag3", From<&L::GqisQualFlag, 2>(), INT4, INT, M1, M1,
     Codes("quality_flag_3", QUALITIES, "quality of band 3"), 1, Empty(-1)},
    {"CloudFraction", From<&L::CloudFraction>(), INT4, INT, M1, M1,
     About("cloud_fraction", "of the pixel", "percent", Within(0, 100), "cloud_area_fraction"), 1, Empty(-1)},
    {"SurfaceType", From<&L::SurfaceType>(), INT1, INT, M1, M1,
     Codes("surface_type", "0 sea, 1 land", "from the altitude grid; -1 without one", "land_binary_mask")},
};

constexpr SField AVHRR[] = {
    {"AvhrrInstrument", From<&L::AvhrrInstrument>(), INT4, INT, M1, M1,
     About("instrument", "WMO code table 0 02 019: 591 is AVHRR/3")},
    {"AvhrrChannelCombination", From<&L::AvhrrChannelCombination>(), INT4, INT, M1, M1,
     About("channel_combination", "flags")},
};

constexpr SField CLUSTER[] = {
    {"AvhrrYAP", From<&L::AvhrrYAP>(), REAL4, REAL, M777, M777,
     About("y_angular_position", "angular position of the cluster's centre", "degree")},
    {"AvhrrZAP", From<&L::AvhrrZAP>(), REAL4, REAL, M777, M777,
     About("z_angular_position", "the same, across", "degree")},
    {"AvhrrCPF", From<&L::AvhrrCPF>(), REAL4, INT, M1, M1,
     About("cluster_fraction", "share of the cluster. A real in binary, an integer in text", "percent",
           Within(0, 100))},  // a real in binary, an integer in text
};

constexpr SField CLUSTER_CHANNEL[] = {
    {"AvhrrChannel", From<&L::AvhrrChannel>(), INT4, INT, M1, M1,
     About("channel", "number of the imager's channel")},
    {"AvhrrMeanRadiance", From<&L::AvhrrMeanRadiance>(), REAL4, REAL, M777, M777,
     About("mean_radiance", "mean of the cluster", RADIANCE)},
    {"AvhrrStdDevRadiance", From<&L::AvhrrStdDevRadiance>(), REAL4, REAL, M777, M777,
     About("radiance_standard_deviation", "standard deviation in the cluster", RADIANCE)},
};

using Q = CProdL2;

constexpr SField L2[] = {
    {"SuperadiabaticIndicator", From<&Q::SuperadiabaticIndicator>(), INT1, INT, M1, M1,
     Codes("superadiabatic_indicator", "0 not superadiabatic, 1 superadiabatic")},
    {"LandSeaQualifier", From<&Q::LandSeaQualifier>(), INT1, INT, M1, M1,
     Codes("land_sea_qualifier", "0 land, 1 sea, 2 coast")},
    {"DayNightQualifier", From<&Q::DayNightQualifier>(), INT1, INT, M1, M1,
     Codes("day_night_qualifier", "0 night, 1 day, 2 twilight")},
    {"SatelliteDataProcessingTechniqueUsed", From<&Q::SatelliteDataProcessingTechniqueUsed>(), INT4, INT, M1,
     M1, About("satellite_data_processing_technique", "flags")},
    {"SunGlintIndicator", From<&Q::SunGlintIndicator>(), INT1, INT, M1, M1,
     Codes("sun_glint_indicator", "0 no sun-glint, 1 sun-glint")},
    {"CloudFormationAndHeightAssignment", From<&Q::CloudFormationAndHeightAssignment>(), INT4, INT, M1, M1,
     About("cloud_formation_and_height_assignment", "flags")},
    {"InstrumentDetectingClouds", From<&Q::InstrumentDetectingClouds>(), INT4, INT, M1, M1,
     About("instrument_detecting_clouds", "flags")},
    {"ValidationFlagForIasiLevel1", From<&Q::ValidationFlagForIasiLevel1>(), INT4, INT, M1, M1,
     About("validation_flag_for_level_1", "flags")},
    {"QualityAndCompletenessOfRetrieval", From<&Q::QualityAndCompletenessOfRetrieval>(), INT4, INT, M1, M1,
     About("quality_and_completeness_of_retrieval", "code")},
    {"RetrievalChoiceIndicator", From<&Q::RetrievalChoiceIndicator>(), INT4, INT, M1, M1,
     About("retrieval_choice_indicator", "code")},
    {"SatelliteManoeuvreIndicator", From<&Q::SatelliteManoeuvreIndicator>(), INT4, INT, M1, M1,
     Codes("satellite_manoeuvre_indicator", "0 no manoeuvre, 1 manoeuvre, 2 manoeuvre without processing")},
};

template <class TRecord>
constexpr SField BACKGROUND[] = {{"SelectionOfBackgroundState", From<&TRecord::SelectionOfBackgroundState>(),
                                  INT4, INT, M1, M1, About("background_state", "code")}};

using O = CProdL2ozo;

constexpr SField OZO_LAYER[] = {
    {"Pressure#1", From<&O::LayerTopPressure>(), REAL4, REAL, M777, M777,
     About("pressure_top", "top of the layer", "Pa", ANY, "air_pressure")},
    {"Pressure#2", From<&O::LayerBottomPressure>(), REAL4, REAL, M777, M777,
     About("pressure_bottom", "bottom of the layer", "Pa", ANY, "air_pressure")},
    {"IntegratedO3Density#", From<&O::IntegratedO3Density>(), REAL4, REAL, M777, M777,
     About("integrated_o3_density", "ozone of the layer", "kg m-2")},
};

using T = CProdL2trg;

constexpr SField TRG[] = {
    {"IntegratedN2ODensity", From<&T::IntegratedN2ODensity>(), REAL4, REAL, M777, M777,
     About("integrated_n2o_density", "column of nitrous oxide", "kg m-2", ANY,
           "atmosphere_mass_content_of_nitrous_oxide")},
    {"IntegratedCODensity", From<&T::IntegratedCODensity>(), REAL4, REAL, M777, M777,
     About("integrated_co_density", "column of carbon monoxide", "kg m-2", ANY,
           "atmosphere_mass_content_of_carbon_monoxide")},
    {"IntegratedCH4Density", From<&T::IntegratedCH4Density>(), REAL4, REAL, M777, M777,
     About("integrated_ch4_density", "column of methane", "kg m-2", ANY,
           "atmosphere_mass_content_of_methane")},
    {"IntegratedCO2Density", From<&T::IntegratedCO2Density>(), REAL4, REAL, M777, M777,
     About("integrated_co2_density", "column of carbon dioxide", "kg m-2", ANY,
           "atmosphere_mass_content_of_carbon_dioxide")},
};

using C = CProdL2clp;

constexpr SField CLP[] = {{"VerticalSignificance", From<&C::VerticalSignificance>(), INT4, INT, M1, M1,
                           Codes("vertical_significance", SIGNIFICANCES)}};

constexpr SField CLP_LAYER[] = {
    {"Pressure#", From<&C::Pressure>(), REAL4, REAL, M777, M777,
     About("cloud_top_pressure", "cloud top", "Pa", ANY, "air_pressure_at_cloud_top")},
    {"Temperature/dry-bulbTemperature#", From<&C::Temperature>(), REAL4, REAL, M777, M777,
     About("cloud_top_temperature", "cloud top", "K", ANY, "air_temperature_at_cloud_top")},
    {"CloudAmountInSegment#", From<&C::CloudAmountInSegment>(), REAL4, REAL, M777, M777,
     About("cloud_amount", "share of the pixel", "percent", Within(0, 100), "cloud_area_fraction")},
    {"CloudPhase#", From<&C::CloudPhase>(), INT4, INT, M1, M1,
     Codes("cloud_phase", "0 unknown, 1 water, 2 ice, 3 mixed, 4 clear, 5 supercooled liquid water")},
};

using W = CProdL2twt;

constexpr SField TWT[] = {
    {"VerticalSignificance1", From<&W::VerticalSignificance1>(), INT4, INT, M1, M1,
     Codes("vertical_significance_1", SIGNIFICANCES)},
    {"Pressure", From<&W::Pressure>(), REAL4, REAL, M777, M777,
     About("surface_pressure", "at the surface", "Pa", ANY, "surface_air_pressure")},
    {"NumberOfObservations1", From<&W::NumberOfObservations1>(), INT4, INT, M1, M1,
     About("number_of_observations_1")},
    {"SkinTemperature", From<&W::SkinTemperature>(), REAL4, REAL, M777, M777,
     About("skin_temperature", "of the surface", "K", ANY, "surface_temperature")},
    {"NumberOfObservations2", From<&W::NumberOfObservations2>(), INT4, INT, M1, M1,
     About("number_of_observations_2")},
    {"VerticalSignificance2", From<&W::VerticalSignificance2>(), INT4, INT, M1, M1,
     Codes("vertical_significance_2", SIGNIFICANCES)},
    {"PTCount", From<&W::PTCount>(), INT4, INT, M1, M1,
     About("temperature_level_count", "levels of the temperature profile")},
};

constexpr SField PT_LEVEL[] = {
    {"Pressure#", From<&W::PTPressure>(), REAL4, REAL, M777, M777,
     About("temperature_pressure", "of the level", "Pa", ANY, "air_pressure")},
    {"Temperature/dry-bulbTemperature#", From<&W::PTTemperature>(), REAL4, REAL, M777, M777,
     About("temperature", "of the air", "K", ANY, "air_temperature")},
};

constexpr SField PMR_COUNT[] = {{"PMRCount", From<&W::PMRCount>(), INT4, INT, M1, M1,
                                 About("humidity_level_count", "levels of the water-vapour profile")}};

constexpr SField PMR_LEVEL[] = {
    {"Pressure#", From<&W::PMRPressure>(), REAL4, REAL, M777, M777,
     About("humidity_pressure", "of the level", "Pa", ANY, "air_pressure")},
    {"MixingRatio#", From<&W::PMRMixingRatio>(), REAL4, REAL, M777, M777,
     About("mixing_ratio", "water vapour", "kg kg-1", ANY, "humidity_mixing_ratio")},
};

using E = CProdL2ems;

constexpr SField EMS_POINT[] = {
    {"Frequency#", From<&E::Frequency>(), REAL4, REAL, M777, M777,
     About("frequency", "of the point", "Hz", ANY, "radiation_frequency")},
    {"Emissivity#", From<&E::Emissivity>(), REAL4, REAL, M1, M777,
     About("emissivity", "of the surface", "percent", Within(0, 100),
           "surface_longwave_emissivity")},  // the two missing forms differ
};

constexpr SGroup Once(std::span<const SField> fields) { return {fields}; }

constexpr SGroup COMMON_GROUPS[] = {Once(COMMON)};
constexpr SGroup L1C_GROUPS[] = {Once(L1C)};
constexpr SGroup AVHRR_GROUPS[] = {
    Once(AVHRR),
    {CLUSTER, L::CLUSTERS, L::CLUSTERS, "cluster", CLUSTER_CHANNEL, L::AVHRR_CHANNELS, "imager_channel"}};
constexpr SGroup L2_GROUPS[] = {Once(L2)};
constexpr SGroup OZO_GROUPS[] = {Once(BACKGROUND<O>), {OZO_LAYER, O::FEW_LAYERS, O::LAYERS, "ozo_layer"}};
constexpr SGroup TRG_GROUPS[] = {Once(BACKGROUND<T>), Once(TRG)};
constexpr SGroup CLP_GROUPS[] = {Once(CLP), {CLP_LAYER, C::LAYERS, C::LAYERS, "clp_layer"}};
constexpr SGroup TWT_GROUPS[] = {Once(TWT),
                                 {PT_LEVEL, W::FEW_LEVELS, W::LEVELS, "twt_level"},
                                 Once(PMR_COUNT),
                                 {PMR_LEVEL, W::FEW_LEVELS, W::LEVELS, "twt_level"}};
constexpr SGroup EMS_GROUPS[] = {Once(BACKGROUND<E>), {EMS_POINT, E::POINTS, E::POINTS, "ems_point"}};

struct SKindBlock {
  EProduct eProduct;
  SBlock block;
};

constexpr SKindBlock KIND_BLOCKS[] = {
    {PRODUCT_L1C, {}},  // its blocks have names of their own
    {PRODUCT_OZO, {"ozo", "ozo_", OZO_GROUPS}},
    {PRODUCT_TRG, {"trg", "trg_", TRG_GROUPS}},
    {PRODUCT_CLP, {"clp", "clp_", CLP_GROUPS}},
    {PRODUCT_TWT, {"twt", "twt_", TWT_GROUPS}},
    {PRODUCT_EMS, {"ems", "ems_", EMS_GROUPS}},
};
static_assert(HasAllProducts(KIND_BLOCKS), "a product has no block, or not in its place");

}  // namespace

const SBlock COMMON_BLOCK = {"Common", "", COMMON_GROUPS, true};
const SBlock L1C_BLOCK = {"L1C", "", L1C_GROUPS};
const SBlock SPECTRUM_BLOCK = {"Spectrum", "", {}, false, true};
const SField SPECTRUM_FIELDS[] = {
    {"channel",
     {},
     REAL4,
     REAL,
     M777,
     M777,
     About("radiance", "one value a channel", RADIANCE, ANY, "toa_outgoing_radiance_per_unit_wavenumber")},
    {"channel",
     {},
     REAL4,
     REAL,
     0,
     0,
     About("brightness_temperature", "one value a channel", "K", ANY, "toa_brightness_temperature")},
};
const SBlock AVHRR_BLOCK = {"AVHRR", "avhrr_", AVHRR_GROUPS};
const SBlock L2_BLOCK = {"L2 common", "l2_", L2_GROUPS};

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
