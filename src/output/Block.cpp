#include "output/Block.h"

#include "prod/ChannelSelection.h"
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
constexpr SSource GIVEN = {};

constexpr SValid Within(double fMin, double fMax) { return {fMin, fMax}; }
constexpr SValid ANY = {}, TO_90 = {0, 90}, TO_100 = {0, 100}, TO_180 = {0, 180}, TO_360 = {0, 360},
                 CHANNELS = {1, CChannelSelection::SPECTRUM};
// What the elements of messages can hold, where nothing narrower is known.
constexpr SValid BITS_8 = {0, 254}, BITS_16 = {0, 65534}, LEVEL_PRESSURES = {0, 167772.14},
                 TEMPERATURES = {0, 655.34}, ANGULAR_POSITIONS = {-8, 8.777214};

/// A quantity, a number, or flags and codes whose meaning is the archive's.
constexpr SAbout About(const char* szVariable, const char* szMeaning, const char* szUnit = "",
                       SValid valid = ANY, const char* szStandardName = "") {
  return {szVariable, szMeaning, szUnit, valid, szStandardName};
}
/// One of the codes of a table. With a range the others of it are reserved, and may stand in messages.
constexpr SAbout Codes(const char* szVariable, const char* szCodes, const char* szMeaning,
                       const char* szStandardName = "", SValid valid = ANY) {
  return {szVariable, szMeaning, "", valid, szStandardName, szCodes};
}

constexpr char RADIANCE[] = "W m-2 sr-1 m", COLUMN[] = "kg m-2";
// From the code tables of BUFR, 0 08 003, 0 20 056 and 0 40 043.
constexpr char SIGNIFICANCES[] =
    "0 surface, 1 base of satellite sounding, 2 cloud top, 3 tropopause, 4 precipitable water, "
    "5 sounding radiances, 6 mean temperatures, 7 ozone, 8 low cloud, 9 medium cloud, 10 high cloud";
constexpr char PHASES[] = "0 unknown, 1 water, 2 ice, 3 mixed, 4 clear, 5 supercooled liquid water";
constexpr char MANOEUVRES[] = "0 no manoeuvre, 1 manoeuvre, 2 manoeuvre without processing";

using A = CProd;

constexpr SField COMMON[] = {
    // name, source, binary, text, missing in binary, missing in text,
    // About(variable, meaning, unit, valid range, standard name) or Codes(variable, codes, meaning)
    {"SatelliteIdentifier", From<&A::SatelliteIdentifier>(), NONE, INT, M1, M1,
     Codes("satellite", SATELLITES, "satellite identifier")},
    {"Tb", GIVEN, NONE, INT, M1, M1, About("tb", "1 with -tb 1, else 0; -1 in a run without L1C")},
    {"Year", From<&A::Year>(), INT2, INT, M1, M1, About("year", "year, UTC", "", Within(0, 4094))},
    {"Month", From<&A::Month>(), INT1, INT, M1, M1, About("month", "month", "", Within(1, 12))},
    {"Day", From<&A::Day>(), INT1, INT, M1, M1, About("day", "day of the month", "", Within(1, 31))},
    {"Hour", From<&A::Hour>(), INT1, INT, M1, M1, About("hour", "hour", "", Within(0, 23))},
    {"Minute", From<&A::Minute>(), INT1, INT, M1, M1, About("minute", "minute", "", Within(0, 59))},
    {"Milliseconds", From<&A::Milliseconds>(), INT4, INT, M1, M1,
     About("milliseconds", "milliseconds of the minute; whole seconds when from L2", "ms", Within(0, 59999))},
    {"Latitude", From<&A::Latitude>(), REAL4, REAL, M777, M777,
     About("latitude", "latitude, north is positive", "degrees_north", Within(-90, 90), "latitude")},
    {"Longitude", From<&A::Longitude>(), REAL4, REAL, M777, M777,
     About("longitude", "longitude, east is positive", "degrees_east", Within(-180, 180), "longitude")},
    {"SatelliteZenithAngle", From<&A::SatelliteZenithAngle>(), REAL4, REAL, M777, M777,
     About("satellite_zenith_angle", "satellite's zenith angle", "degree", TO_90, "sensor_zenith_angle")},
    {"Bearing", From<&A::Bearing>(), REAL4, REAL, M777, M777,
     About("satellite_azimuth_angle", "azimuth of the satellite", "degree", TO_360, "sensor_azimuth_angle")},
    {"SolarZenithAngle", From<&A::SolarZenithAngle>(), REAL4, REAL, M777, M777,
     About("solar_zenith_angle", "zenith angle of the sun", "degree", TO_180, "solar_zenith_angle")},
    {"SolarAzimuth", From<&A::SolarAzimuth>(), REAL4, REAL, M777, M777,
     About("solar_azimuth_angle", "azimuth of the sun", "degree", TO_360, "solar_azimuth_angle")},
    {"FieldOfViewNumber", From<&A::FieldOfViewNumber>(), INT4, INT, M1, M1,
     About("field_of_view_number", "field of view in the scan line; from 1 on when from L2", "",
           Within(0, 120))},
    {"OrbitNumber", From<&A::OrbitNumber>(), INT4, INT, M1, M1,
     About("orbit_number", "number of the orbit", "", Within(0, 16777214))},
    {"ScanLineNumber", From<&A::ScanLineNumber>(), INT4, INT, M1, M1,
     About("scan_line_number", "number of the scan line", "", Within(0, 8190))},
    {"HeightOfStation", From<&A::HeightOfStation>(), REAL4, REAL, M777, M777,
     About("satellite_height", "height of the satellite; in metres when from L2", "km", Within(-40, 3236.6)),
     1000},
};

using L = CProdL1C;

/// The day 1 archive has no band split: the whole spectrum is one band, the two others are empty.
constexpr SDayOne Whole(int nBin, const char* szText) { return {true, nBin, szText}; }
constexpr SDayOne Empty(int nBin) { return {true, nBin, ""}; }

constexpr SField L1C[] = {
    {"DayVersion", From<&L::DayVersion>(), INT2, INT, M1, M1,
     Codes("day_version", "1 day 1, 2 later", "layout of the archive")},
    {"StartChannel1", From<&L::StartChannel, 0>(), INT4, INT, 0, M1,
     About("start_channel_1", "first channel of band 1; 0: no such band", "", CHANNELS), 1, Whole(1, "1")},
    {"EndChannel1", From<&L::EndChannel, 0>(), INT4, INT, 0, M1,
     About("end_channel_1", "last channel of band 1; 0: no such band", "", CHANNELS), 1, Whole(8461, "8461")},
    {"GqisQualFlag1", From<&L::GqisQualFlag, 0>(), INT4, INT, M1, M1,
     Codes("quality_flag_1", "0 good, 1 bad", "quality of band 1")},
    {"StartChannel2", From<&L::StartChannel, 1>(), INT4, INT, 0, M1,
     About("start_channel_2", "first channel of band 2; 0: no such band", "", CHANNELS), 1, Empty(0)},
    {"EndChannel2", From<&L::EndChannel, 1>(), INT4, INT, 0, M1,
     About("end_channel_2", "last channel of band 2; 0: no such band", "", CHANNELS), 1, Empty(0)},
    {"GqisQualFlag2", From<&L::GqisQualFlag, 1>(), INT4, INT, M1, M1,
     Codes("quality_flag_2", "0 good, 1 bad", "quality of band 2"), 1, Empty(-1)},
    {"StartChannel3", From<&L::StartChannel, 2>(), INT4, INT, 0, M1,
     About("start_channel_3", "first channel of band 3; 0: no such band", "", CHANNELS), 1, Empty(0)},
    {"EndChannel3", From<&L::EndChannel, 2>(), INT4, INT, 0, M1,
     About("end_channel_3", "last channel of band 3; 0: no such band", "", CHANNELS), 1, Empty(0)},
    {"GqisQualFlag3", From<&L::GqisQualFlag, 2>(), INT4, INT, M1, M1,
     Codes("quality_flag_3", "0 good, 1 bad", "quality of band 3"), 1, Empty(-1)},
    {"CloudFraction", From<&L::CloudFraction>(), INT4, INT, M1, M1,
     About("cloud_fraction", "cloud cover", "percent", TO_100, "cloud_area_fraction"), 1, Empty(-1)},
    {"SurfaceType", From<&L::SurfaceType>(), INT1, INT, M1, M1,
     Codes("surface_type", "0 sea, 1 land", "surface; -1 without an altitude grid", "land_binary_mask")},
};

constexpr SField AVHRR[] = {
    {"AvhrrInstrument", From<&L::AvhrrInstrument>(), INT4, INT, M1, M1,
     About("instrument", "imager; 591 is AVHRR/3 in WMO code table 0 02 019", "", Within(0, 2046))},
    {"AvhrrChannelCombination", From<&L::AvhrrChannelCombination>(), INT4, INT, M1, M1,
     About("channel_combination", "flags of the imager channels", "", Within(0, 126))},
};

constexpr SField CLUSTER[] = {
    {"AvhrrYAP", From<&L::AvhrrYAP>(), REAL4, REAL, M777, M777,
     About("y_angular_position", "Y angular position of the cluster's centre of gravity", "degree",
           ANGULAR_POSITIONS)},
    {"AvhrrZAP", From<&L::AvhrrZAP>(), REAL4, REAL, M777, M777,
     About("z_angular_position", "Z angular position of the cluster's centre of gravity", "degree",
           ANGULAR_POSITIONS)},
    // A real in binary, an integer in text.
    {"AvhrrCPF", From<&L::AvhrrCPF>(), REAL4, INT, M1, M1,
     About("cluster_fraction", "share of the pixel that the cluster covers", "percent", TO_100)},
};

constexpr SField CLUSTER_CHANNEL[] = {
    {"AvhrrChannel", From<&L::AvhrrChannel>(), INT4, INT, M1, M1,
     About("channel", "number of the imager channel", "", Within(1, 6))},
    {"AvhrrMeanRadiance", From<&L::AvhrrMeanRadiance>(), REAL4, REAL, M777, M777,
     About("mean_radiance", "mean radiance of the cluster", RADIANCE)},
    {"AvhrrStdDevRadiance", From<&L::AvhrrStdDevRadiance>(), REAL4, REAL, M777, M777,
     About("radiance_standard_deviation", "standard deviation of the cluster's radiance", RADIANCE)},
};

using Q = CProdL2;

constexpr SField L2[] = {
    {"SuperadiabaticIndicator", From<&Q::SuperadiabaticIndicator>(), INT1, INT, M1, M1,
     About("superadiabatic_indicator", "superadiabatic if 1; in twt flags since 2019-05-14", "", BITS_8)},
    {"LandSeaQualifier", From<&Q::LandSeaQualifier>(), INT1, INT, M1, M1,
     Codes("land_sea_qualifier", "0 land, 1 sea, 2 coast", "surface")},
    {"DayNightQualifier", From<&Q::DayNightQualifier>(), INT1, INT, M1, M1,
     Codes("day_night_qualifier", "0 night, 1 day, 2 twilight", "daylight")},
    {"SatelliteDataProcessingTechniqueUsed", From<&Q::SatelliteDataProcessingTechniqueUsed>(), INT4, INT, M1,
     M1, About("data_processing_technique", "flags: processing technique", "", BITS_8)},
    {"SunGlintIndicator", From<&Q::SunGlintIndicator>(), INT1, INT, M1, M1,
     Codes("sun_glint_indicator", "0 no, 1 yes", "sun-glint", "", Within(0, 2))},
    {"CloudFormationAndHeightAssignment", From<&Q::CloudFormationAndHeightAssignment>(), INT4, INT, M1, M1,
     About("cloud_formation_and_height_assignment", "flags: cloud formation and height", "", BITS_16)},
    {"InstrumentDetectingClouds", From<&Q::InstrumentDetectingClouds>(), INT4, INT, M1, M1,
     About("instrument_detecting_clouds", "flags: instruments that detect clouds", "", BITS_16)},
    {"ValidationFlagForIasiLevel1", From<&Q::ValidationFlagForIasiLevel1>(), INT4, INT, M1, M1,
     About("validation_of_level_1", "flags: validation of the level 1 product", "", BITS_16)},
    {"QualityAndCompletenessOfRetrieval", From<&Q::QualityAndCompletenessOfRetrieval>(), INT4, INT, M1, M1,
     About("quality_and_completeness_of_retrieval", "code: quality of the retrieval", "", BITS_8)},
    {"RetrievalChoiceIndicator", From<&Q::RetrievalChoiceIndicator>(), INT4, INT, M1, M1,
     About("retrieval_choice_indicator", "flags: choice of the retrieval", "", BITS_8)},
    {"SatelliteManoeuvreIndicator", From<&Q::SatelliteManoeuvreIndicator>(), INT4, INT, M1, M1,
     Codes("satellite_manoeuvre_indicator", MANOEUVRES, "manoeuvre of the satellite", "", Within(0, 6))},
};

template <class TRecord>
constexpr SField BACKGROUND[] = {
    {"SelectionOfBackgroundState", From<&TRecord::SelectionOfBackgroundState>(), INT4, INT, M1, M1,
     About("background_state", "code: background state", "", BITS_8)},
};

using O = CProdL2ozo;

constexpr SField OZO_LAYER[] = {
    {"Pressure#1", From<&O::LayerTopPressure>(), REAL4, REAL, M777, M777,
     About("pressure_top", "pressure at the top of the layer", "Pa", LEVEL_PRESSURES, "air_pressure")},
    {"Pressure#2", From<&O::LayerBottomPressure>(), REAL4, REAL, M777, M777,
     About("pressure_bottom", "pressure at the bottom of the layer", "Pa", LEVEL_PRESSURES, "air_pressure")},
    {"IntegratedO3Density#", From<&O::IntegratedO3Density>(), REAL4, REAL, M777, M777,
     About("integrated_o3_density", "ozone of the layer", COLUMN, Within(0, 0.0209715))},
};

using T = CProdL2trg;

constexpr SField TRG[] = {
    {"IntegratedN2ODensity", From<&T::IntegratedN2ODensity>(), REAL4, REAL, M777, M777,
     About("integrated_n2o_density", "N2O column", COLUMN, Within(0, 0.065534),
           "atmosphere_mass_content_of_nitrous_oxide")},
    {"IntegratedCODensity", From<&T::IntegratedCODensity>(), REAL4, REAL, M777, M777,
     About("integrated_co_density", "CO column", COLUMN, Within(0, 0.0065534),
           "atmosphere_mass_content_of_carbon_monoxide")},
    {"IntegratedCH4Density", From<&T::IntegratedCH4Density>(), REAL4, REAL, M777, M777,
     About("integrated_ch4_density", "CH4 column", COLUMN, Within(0, 0.065534),
           "atmosphere_mass_content_of_methane")},
    {"IntegratedCO2Density", From<&T::IntegratedCO2Density>(), REAL4, REAL, M777, M777,
     About("integrated_co2_density", "CO2 column", COLUMN, Within(0, 65.534),
           "atmosphere_mass_content_of_carbon_dioxide")},
};

using C = CProdL2clp;

constexpr SField CLP[] = {
    {"VerticalSignificance", From<&C::VerticalSignificance>(), INT4, INT, M1, M1,
     Codes("vertical_significance", SIGNIFICANCES, "vertical significance", "", Within(0, 62))},
};

constexpr SField CLP_LAYER[] = {
    {"Pressure#", From<&C::Pressure>(), REAL4, REAL, M777, M777,
     About("cloud_top_pressure", "pressure at cloud top", "Pa", Within(0, 131070),
           "air_pressure_at_cloud_top")},
    {"Temperature/dry-bulbTemperature#", From<&C::Temperature>(), REAL4, REAL, M777, M777,
     About("cloud_top_temperature", "temperature at cloud top", "K", TEMPERATURES,
           "air_temperature_at_cloud_top")},
    {"CloudAmountInSegment#", From<&C::CloudAmountInSegment>(), REAL4, REAL, M777, M777,
     About("cloud_amount", "share of the pixel under clouds", "percent", TO_100, "cloud_area_fraction")},
    {"CloudPhase#", From<&C::CloudPhase>(), INT4, INT, M1, M1,
     Codes("cloud_phase", PHASES, "phase of the cloud", "", Within(0, 6))},
};

using W = CProdL2twt;

constexpr SField TWT[] = {
    {"VerticalSignificance1", From<&W::VerticalSignificance1>(), INT4, INT, M1, M1,
     Codes("vertical_significance_1", SIGNIFICANCES, "vertical significance", "", Within(0, 62))},
    {"Pressure", From<&W::Pressure>(), REAL4, REAL, M777, M777,
     About("surface_pressure", "pressure at the surface", "Pa", Within(0, 163820), "surface_air_pressure")},
    {"NumberOfObservations1", From<&W::NumberOfObservations1>(), INT4, INT, M1, M1,
     About("number_of_observations_1", "number of observations", "", BITS_8)},
    {"SkinTemperature", From<&W::SkinTemperature>(), REAL4, REAL, M777, M777,
     About("skin_temperature", "temperature of the surface's skin", "K", Within(0, 409.4),
           "surface_temperature")},
    {"NumberOfObservations2", From<&W::NumberOfObservations2>(), INT4, INT, M1, M1,
     About("number_of_observations_2", "number of observations", "", BITS_8)},
    {"VerticalSignificance2", From<&W::VerticalSignificance2>(), INT4, INT, M1, M1,
     Codes("vertical_significance_2", SIGNIFICANCES, "vertical significance", "", Within(0, 62))},
    {"PTCount", From<&W::PTCount>(), INT4, INT, M1, M1,
     About("temperature_level_count", "levels of the temperature profile", "", BITS_8)},
};

constexpr SField PT_LEVEL[] = {
    {"Pressure#", From<&W::PTPressure>(), REAL4, REAL, M777, M777,
     About("temperature_pressure", "pressure of the level", "Pa", LEVEL_PRESSURES, "air_pressure")},
    {"Temperature/dry-bulbTemperature#", From<&W::PTTemperature>(), REAL4, REAL, M777, M777,
     About("temperature", "temperature of the air", "K", TEMPERATURES, "air_temperature")},
};

constexpr SField PMR_COUNT[] = {
    {"PMRCount", From<&W::PMRCount>(), INT4, INT, M1, M1,
     About("humidity_level_count", "levels of the water-vapour profile", "", BITS_8)},
};

constexpr SField PMR_LEVEL[] = {
    {"Pressure#", From<&W::PMRPressure>(), REAL4, REAL, M777, M777,
     About("humidity_pressure", "pressure of the level", "Pa", LEVEL_PRESSURES, "air_pressure")},
    {"MixingRatio#", From<&W::PMRMixingRatio>(), REAL4, REAL, M777, M777,
     About("mixing_ratio", "mixing ratio of water vapour", "kg kg-1", Within(0, 1), "humidity_mixing_ratio")},
};

using E = CProdL2ems;

constexpr SField EMS_POINT[] = {
    {"Frequency#", From<&E::Frequency>(), REAL4, REAL, M777, M777,
     About("frequency", "frequency of the point", "Hz", Within(0, 6.7108862e15), "radiation_frequency")},
    // The two missing forms differ.
    {"Emissivity#", From<&E::Emissivity>(), REAL4, REAL, M1, M777,
     About("emissivity", "emissivity of the surface", "percent", TO_100, "surface_longwave_emissivity")},
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
    {"channel", GIVEN, REAL4, REAL, M777, M777,
     About("radiance", "radiance", RADIANCE, ANY, "toa_outgoing_radiance_per_unit_wavenumber")},
    {"channel", GIVEN, REAL4, REAL, 0, 0,
     About("brightness_temperature", "brightness temperature", "K", ANY, "toa_brightness_temperature")},
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
