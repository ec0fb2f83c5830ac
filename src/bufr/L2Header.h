#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "bufr/Element.h"
#include "prod/ProdL2.h"

/// The header of an L2 message, for all five kinds and all layout versions side by side.

enum class EL2Header { EMS_TRG, OZO, CLP, TWT };

namespace l2_header {

using enum ECall;

/// Widths by layout version: 0; 1 and 2 (L1C layouts, which no L2 message of the archive has); 3; 4; 5; 6; 7;
/// 8. As everywhere: 0 is not present, a negative width is read over.
constexpr SWidths V(int n0, int n12, int n3, int n4, int n5, int n6, int n7, int n8) {
  const auto w = [](int n) { return static_cast<int8_t>(n); };
  return {{w(n0), w(n12), w(n12), w(n3), w(n4), w(n5), w(n6), w(n7), w(n8)}};
}

constexpr SWidths NONE = All(0);

/// One row: the widths of the kinds, emissivity and trace gases together.
struct SRow {
  const char* szDescriptor;
  const char* szName;
  ECall eCall;
  SWidths arWidths[4];  // by EL2Header
  int64_t nReference;
  int nScale;
  uint64_t nFlag;
  STarget target;
};

constexpr SRow Same(const char* szDescriptor, const char* szName, ECall eCall, int nWidth, int64_t nReference,
                    int nScale, uint64_t nFlag, STarget target) {
  const SWidths w = All(nWidth);
  return {szDescriptor, szName, eCall, {w, w, w, w}, nReference, nScale, nFlag, target};
}

/// The cloud record has no background state.
template <class TRecord>
constexpr STarget BackgroundState() {
  if constexpr (requires(TRecord record) { record.SelectionOfBackgroundState; })
    return Into<&TRecord::SelectionOfBackgroundState>();
  else
    return NOT_KEPT;
}

using P = CProdL2;

// The columns of versions stay under one another.
// clang-format off
template <class TRecord>
inline constexpr SRow ROWS[] = {
    Same("0 01 007", "satellite identifier", INT, 10, 0, 0, MISSING_SATELLITE, Into<&P::SatelliteIdentifier>()),
    Same("0 01 031", "originating centre", INT, -16, 0, 0, 0, NOT_KEPT),
    {"0 25 060", "software identification", INT,
     //  0    1,2   3    4    5    6    7    8
     {V(0,    0,    0, -14,   0,   0,   0,   0),      // ems, trg
      V(0,    0,    0, -14,   0,   0,   0,   0),      // ozo
      V(0,    0,    0, -14, -14, -14, -14, -14),      // clp
      V(0,    0,    0, -14, -14, -14, -14, -14)},     // twt
     0, 0, 0, NOT_KEPT},
    Same("0 02 019", "satellite instruments", INT, 11, 0, 0, MISSING_SATELLITE, Into<&P::SatelliteInstruments>()),
    Same("0 02 020", "satellite classification", INT, -9, 0, 0, 0, NOT_KEPT),
    Same("0 04 001", "year", INT, 12, 0, 0, MISSING_TIME, Into<&P::Year>()),
    Same("0 04 002", "month", INT, 4, 0, 0, MISSING_TIME, Into<&P::Month>()),
    Same("0 04 003", "day", INT, 6, 0, 0, MISSING_TIME, Into<&P::Day>()),
    Same("0 04 004", "hour", INT, 5, 0, 0, MISSING_TIME, Into<&P::Hour>()),
    Same("0 04 005", "minute", INT, 6, 0, 0, MISSING_TIME, Into<&P::Minute>()),
    Same("0 04 006", "second", INT_X1000, 6, 0, 0, MISSING_TIME, Into<&P::Milliseconds>()),
    Same("0 05 040", "orbit number", INT, 24, 0, 0, MISSING_PIXEL_KEY, Into<&P::OrbitNumber>()),
    Same("0 05 041", "scan line number (2 01 133)", INT, 13, 0, 0, MISSING_PIXEL_KEY, Into<&P::ScanLineNumber>()),
    Same("0 05 001", "latitude", FLOAT, 25, -9000000, 5, MISSING_LATITUDE, Into<&P::Latitude>()),
    Same("0 06 001", "longitude", FLOAT, 26, -18000000, 5, MISSING_LONGITUDE, Into<&P::Longitude>()),
    Same("0 05 043", "field of view number", FOV, 8, 0, 0, MISSING_PIXEL_KEY, Into<&P::FieldOfViewNumber>()),
    {"0 13 038", "superadiabatic indicator", INT,
     {V(2,    0,    0,   0,   0,   0,   0,   0),
      V(2,    2,    2,   2,   2,   2,   2,   2),
      V(2,    0,    0,   0,   0,   0,   0,   0),
      V(2,    2,   -8,  -8,  -8,  -8,  -8,   8)},
     0, 0, MISSING_L2, Into<&P::SuperadiabaticIndicator>()},
    Same("0 08 012", "land/sea qualifier", INT, 2, 0, 0, MISSING_L2, Into<&P::LandSeaQualifier>()),
    Same("0 08 013", "day/night qualifier", INT, 2, 0, 0, MISSING_L2, Into<&P::DayNightQualifier>()),
    {"0 02 022", "satellite data-processing technique used", INT,
     {V(8,    8,   -3,  -3,   8,   8,   8,   8),
      V(8,    8,   -3,  -3,   8,   8,   8,   8),
      V(8,    8,    3,   3,   3,   3,   3,   3),
      V(8,    8,   -3,  -3,  -3,  -3,  -3,   3)},
     0, 0, MISSING_L2, Into<&P::SatelliteDataProcessingTechniqueUsed>()},
    Same("0 08 065", "sun-glint indicator", INT, 2, 0, 0, MISSING_L2, Into<&P::SunGlintIndicator>()),
    // The newer layouts carry other quality elements in the place of the four and of the retrieval choice.
    {"local", "quality indicators", INT,
     {V(0,    0,   -5,  -5,   0,   0,   0,   0),
      V(0,    0,   -3,  -3,   0,   0,   0,   0),
      V(0,    0,    0,   0,   0,   0,   0,   0),
      V(0,    0,   -3,  -3,  -3,  -3,  -3,  -6)},
     0, 0, 0, NOT_KEPT},
    {"local", "quality indicators", INT,
     {NONE,
      V(0,    0,   -3,  -3,   0,   0,   0,   0),
      NONE,
      V(0,    0,   -3,  -3,  -3,  -3,  -3,  -4)},
     0, 0, 0, NOT_KEPT},
    {"local", "quality indicators", INT,
     {NONE,
      V(0,    0,   -3,  -3,   0,   0,   0,   0),
      NONE,
      V(0,    0,   -3,  -3,  -3,  -3,  -3,   0)},
     0, 0, 0, NOT_KEPT},
    {"local", "quality indicators", INT,
     {NONE,
      V(0,    0,   -8,  -8,   0,   0,   0,   0),
      NONE,
      V(0,    0,   -8,  -8,  -8,  -8,  -8,   0)},
     0, 0, 0, NOT_KEPT},
    {"0 40 045", "cloud formation and height assignment", INT,
     {V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,   0,    5,   5,   5,   5,   5,   5),
      V(16,  16,    0,   0,   0,   0,   0,  11)},
     0, 0, MISSING_L2, Into<&P::CloudFormationAndHeightAssignment>()},
    {"local", "instrument detecting clouds", INT,
     {V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,   0,    3,   3,   3,   3,   3,   3),
      V(16,  16,    0,   0,   0,   0,   0,   3)},
     0, 0, MISSING_L2, Into<&P::InstrumentDetectingClouds>()},
    {"0 40 047", "validation flag for IASI level 1 product", INT,
     {V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,  16,    0,   0,  16,  16,  16,  16),
      V(16,   0,   16,  16,  16,  16,  16,  16),
      V(16,  16,    0,   0,   0,   0,   0,   3)},
     0, 0, MISSING_L2, Into<&P::ValidationFlagForIasiLevel1>()},
    {"local", "quality and completeness of retrieval", INT,
     {V(4,    4,    0,   0,   4,   4,   4,   4),
      V(4,    4,    0,   0,   4,   4,   4,   4),
      V(4,    0,    3,   3,   3,   3,   3,   0),
      V(4,    4,    0,   0,   0,   0,   0,   8)},
     0, 0, MISSING_L2, Into<&P::QualityAndCompletenessOfRetrieval>()},
    {"local", "quality indicators", INT,
     {NONE, NONE,
      V(0,    0,    0,   0,   0,   0,   0,  -6),
      NONE},
     0, 0, 0, NOT_KEPT},
    {"local", "quality indicators", INT,
     {NONE, NONE,
      V(0,    0,    0,   0,   0,   0,   0,  -4),
      NONE},
     0, 0, 0, NOT_KEPT},
    {"local", "quality indicators", INT,
     {NONE, NONE,
      V(0,    0,    0,   0,   0,   0,   0,  -8),
      NONE},
     0, 0, 0, NOT_KEPT},
    {"local", "retrieval choice indicator", INT,
     {V(8,    8,   -3,  -3,   8,   8,   8,   8),
      V(8,    8,   -3,  -3,   8,   8,   8,   8),
      V(8,    0,    0,   0,   0,   0,   0,   0),
      V(8,    8,   -3,  -3,  -3,  -3,  -3,   3)},
     0, 0, MISSING_L2, Into<&P::RetrievalChoiceIndicator>()},
    Same("0 40 043", "satellite manoeuvre indicator", INT, 3, 0, 0, MISSING_L2,
         Into<&P::SatelliteManoeuvreIndicator>()),
    {"local", "selection of background state", INT,
     {V(3,    0,    0,   0,   0,   0,   0,   0),
      V(3,    3,   -8,  -8,   3,   3,   3,   3),
      V(0,    0,    0,   0,   0,  -8,  -8,  -8),
      V(3,    3,   -8,  -8,  -8,  -8,  -8,  -8)},
     0, 0, MISSING_L2, BackgroundState<TRecord>()},
    {"local", "quality indicators", FLOAT,
     {NONE,
      V(0,    0,   -8,  -8,   0,   0,   0,   0),
      NONE,
      V(0,    0,   -8,  -8,  -8,  -8,  -8,  -8)},
     0, 1, 0, NOT_KEPT},
    {"local", "quality indicators", FLOAT,
     {NONE, NONE, NONE,
      V(0,    0,   -8,  -8,  -8,  -8,  -8,  -8)},
     0, 1, 0, NOT_KEPT},
    {"local", "quality indicators", FLOAT,
     {NONE, NONE, NONE,
      V(0,    0,   -8,  -8,  -8,  -8,  -8,  -8)},
     0, 1, 0, NOT_KEPT},
    Same("0 07 024", "satellite zenith angle", FLOAT, 15, -9000, 2, MISSING_SATELLITE_ANGLES,
         Into<&P::SatelliteZenithAngle>()),
    Same("0 05 021", "bearing or azimuth", FLOAT, 16, 0, 2, MISSING_SATELLITE_ANGLES, Into<&P::Bearing>()),
    Same("0 07 025", "solar zenith angle", FLOAT, 15, -9000, 2, MISSING_SOLAR_ANGLES, Into<&P::SolarZenithAngle>()),
    Same("0 05 022", "solar azimuth", FLOAT, 16, 0, 2, MISSING_SOLAR_ANGLES, Into<&P::SolarAzimuth>()),
    {"0 07 001", "height of station (2 02 126)", FLOAT_X1000,
     {All(15), All(15), All(15), NONE},  // twt carries it in the product block
     -400, -2, MISSING_HEIGHT, Into<&P::HeightOfStation>()},
};
// clang-format on

}  // namespace l2_header

/// The header rows of one kind.
template <class TRecord, EL2Header HEADER>
inline constexpr auto L2_HEADER = [] {
  constexpr auto& ROWS = l2_header::ROWS<TRecord>;
  std::array<SElement, std::size(ROWS)> ar{};
  for (size_t i = 0; i < ar.size(); ++i) {
    const auto& row = ROWS[i];
    ar[i] = {row.szDescriptor, row.szName, row.eCall, row.arWidths[static_cast<int>(HEADER)],
             row.nReference,   row.nScale, row.nFlag, row.target};
  }
  return ar;
}();
