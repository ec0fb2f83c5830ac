#include "filter/Filter.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <tuple>
#include <type_traits>

#include "app/ConfigParam.h"
#include "filter/FilterText.h"
#include "prod/Member.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"

namespace {

using C = CConfigParam;
using P = CProd;
using L = CProdL1C;
using enum EStage;

// Tests from columns.

/// A column of a record: a member, or one of a family.
template <auto MEMBER, int INDEX = 0>
struct SOf {
  static constexpr bool L1C_ONLY = std::is_same_v<typename SMember<decltype(MEMBER)>::Record, L>;
  static const auto& Column(const CProd& prod) { return *MemberAt<MEMBER, INDEX>(prod, 0); }
};

/// TEST takes the parameters and the values of the columns.
template <auto TEST, class... TOf>
bool Keeps(const C& config, const CProd& prod, int nPixel) {
  return TEST(config, TOf::Column(prod)[nPixel]...);
}
template <class... TOf>
bool AreUniform(const CProd& prod) {
  return (TOf::Column(prod).IsUniform() && ...);
}
template <auto TEST, class... TOf>
constexpr SPixelTest TESTED = {Keeps<TEST, TOf...>, AreUniform<TOf...>, (TOf::L1C_ONLY || ...)};

// Rows of filters that share a form.

template <auto MEMBER>
std::string Text(const C& config) {
  return FilterText(config.*MEMBER);
}
template <auto MEMBER>
std::string TextUnlessDefault(const C& config) {
  return config.*MEMBER == C().*MEMBER ? "" : FilterText(config.*MEMBER);
}
template <bool (C::*CONDITION)() const>
bool Asks(const C& config) {
  return (config.*CONDITION)();
}
template <auto LIST>
bool HasSome(const C& config) {
  return (config.*LIST).Count() > 0;
}

/// A range of reals. Integers are compared in single precision, which the bounds have.
template <SRealFilter C::*RANGE, auto COLUMN>
constexpr SFilter InRange(EStage eStage, const char* szOption) {
  constexpr auto HOLDS = [](const C& config, auto value) {
    if constexpr (std::is_integral_v<decltype(value)>)
      return (config.*RANGE).Holds(static_cast<float>(value));
    else
      return (config.*RANGE).Holds(value);
  };
  return {eStage, szOption, Text<RANGE>, [](const C& config) { return (config.*RANGE).bOn; },
          TESTED<HOLDS, SOf<COLUMN>>};
}

/// Ranges of integers, one of which must hold the value.
template <TObjArray<CValueRange> C::*RANGES, auto COLUMN>
constexpr SFilter InRanges(EStage eStage, const char* szOption) {
  constexpr auto HOLD = [](const C& config, int64_t nValue) {
    const TObjArray<CValueRange>& ranges = config.*RANGES;
    for (int i = 0; i < ranges.Count(); ++i)
      if (ranges[i]->nMin <= nValue && nValue <= ranges[i]->nMax) return true;
    return false;
  };
  return {eStage, szOption, Text<RANGES>, HasSome<RANGES>, TESTED<HOLD, SOf<COLUMN>>};
}

// Tests.

bool IsNorth(const C& config, double fLatitude) { return fLatitude >= config.fMinLatitude; }
bool IsSouth(const C& config, double fLatitude) { return fLatitude <= config.fMaxLatitude; }

/// With the bounds the wrong way round no longitude is filtered out.
bool TakesAnyLongitude(const C& config) { return config.fMaxLongitude < config.fMinLongitude; }
bool IsEast(const C& config, double fLongitude) {
  return TakesAnyLongitude(config) || !(fLongitude < config.fMinLongitude);
}
bool IsWest(const C& config, double fLongitude) {
  return TakesAnyLongitude(config) || !(fLongitude > config.fMaxLongitude);
}

/// A range that crosses midnight holds nothing.
bool IsInTime(const C& config, int64_t nHour, int64_t nMinute, int64_t nMilliseconds) {
  using Time = std::tuple<int64_t, int64_t, int64_t>;
  const Time time(nHour, nMinute, nMilliseconds / 1000);
  for (int i = 0; i < config.arTimePeriods.Count(); ++i) {
    const CTimeRange& r = *config.arTimePeriods[i];
    if (Time(r.nStartHour, r.nStartMinute, r.nStartSecond) <= time &&
        time <= Time(r.nEndHour, r.nEndMinute, r.nEndSecond))
      return true;
  }
  return false;
}

bool IsInPeriod(const C& config, double fSolarZenithAngle) {
  return config.nPeriod == C::PERIOD_DAY ? !(fSolarZenithAngle > 90.0) : !(fSolarZenithAngle < 90.0);
}

/// An unknown surface (-1) passes all.
bool IsOnSurface(const C& config, int64_t nSurface) {
  return config.nSurface == C::SURFACE_SEA ? nSurface < 1 : nSurface != 0;
}

bool IsGood(const C& config, int64_t nFlag1, int64_t nFlag2, int64_t nFlag3) {
  const int64_t arnFlags[] = {nFlag1, nFlag2, nFlag3};
  for (int i = 0; i < 3; ++i)
    if (config.arbQuality[i] && arnFlags[i] != 0) return false;
  return true;
}
/// One flag stands for all bands.
bool IsGoodDayOne(const C&, int64_t nFlag) { return nFlag == 0; }

bool IsBelowMaxCloud(const C& config, int64_t nCloud) { return nCloud <= config.nMaxCloudAmount; }
bool IsAboveMinCloud(const C& config, int64_t nCloud) { return nCloud >= config.nMinCloudAmount; }

// The table.

constexpr SStage STAGES[] = {
    {INPUT, "By the folder of the file (-fd, -ld) and by its name:"},
    {PRODUCT, "Of every product:"},
    {SURFACE, "Of every product, by the surface under the pixel:"},
    {COUNT, "By the number of pixels that passed so far:"},
    {L1C, "Of L1C:"},
};

std::string Period(const C& config) {
  return config.nPeriod == C::PERIOD_DAY ? "day" : config.nPeriod ? "night" : "";
}
std::string Surface(const C& config) {
  return config.nSurface == C::SURFACE_SEA ? "sea" : config.nSurface ? "land" : "";
}
template <CStrArray C::*LIST>
std::string Endings(const C& config) {
  const std::string szText = FilterText(config.*LIST, '|');
  return szText == FilterText(C().*LIST, '|') ? "" : szText;
}
template <CStrArray C::*LIST>
std::string Motifs(const C& config) {
  return FilterText(config.*LIST, ',');
}
template <int BAND>
using Flag = SOf<&L::GqisQualFlag, BAND>;

constexpr SFilter FILTERS[] = {
    {INPUT, "ef", Endings<&C::arL1CExtensions>},
    {INPUT, "ef2", Endings<&C::arL2Extensions>},
    {INPUT, "mf", Motifs<&C::arL1CMotifs>},
    {INPUT, "mf2", Motifs<&C::arL2Motifs>},
    {PRODUCT, "mila", TextUnlessDefault<&C::fMinLatitude>, nullptr, TESTED<IsNorth, SOf<&P::Latitude>>},
    {PRODUCT, "mala", TextUnlessDefault<&C::fMaxLatitude>, nullptr, TESTED<IsSouth, SOf<&P::Latitude>>},
    {PRODUCT, "milo", TextUnlessDefault<&C::fMinLongitude>, nullptr, TESTED<IsEast, SOf<&P::Longitude>>},
    {PRODUCT, "malo", TextUnlessDefault<&C::fMaxLongitude>, nullptr, TESTED<IsWest, SOf<&P::Longitude>>},
    InRanges<&C::arOrbits, &P::OrbitNumber>(PRODUCT, "on"),
    InRanges<&C::arScanLines, &P::ScanLineNumber>(PRODUCT, "sln"),
    InRanges<&C::arFieldsOfView, &P::FieldOfViewNumber>(PRODUCT, "fov"),
    InRange<&C::viewingAngle, &P::SatelliteZenithAngle>(PRODUCT, "va"),
    {PRODUCT, "tr", Text<&C::arTimePeriods>, HasSome<&C::arTimePeriods>,
     TESTED<IsInTime, SOf<&P::Hour>, SOf<&P::Minute>, SOf<&P::Milliseconds>>},
    {PRODUCT, "tp", Period, [](const C& config) { return config.nPeriod != C::PERIOD_ALL; },
     TESTED<IsInPeriod, SOf<&P::SolarZenithAngle>>},
    {SURFACE,
     "st",
     Surface,
     [](const C& config) { return config.nSurface != C::SURFACE_ALL; },
     // The surface is computed from the position.
     {Keeps<IsOnSurface, SOf<&P::SurfaceType>>, AreUniform<SOf<&P::Latitude>, SOf<&P::Longitude>>}},
    {L1C, "qlt", Text<&C::arbQuality>,
     [](const C& config) { return std::ranges::count(config.arbQuality, true) > 0; },
     TESTED<IsGood, Flag<0>, Flag<1>, Flag<2>>, TESTED<IsGoodDayOne, Flag<0>>},
    {L1C, "mca", TextUnlessDefault<&C::nMaxCloudAmount>, Asks<&C::FiltersMaxCloud>,
     TESTED<IsBelowMaxCloud, SOf<&L::CloudFraction>>},
    {L1C, "lca", TextUnlessDefault<&C::nMinCloudAmount>, Asks<&C::FiltersMinCloud>,
     TESTED<IsAboveMinCloud, SOf<&L::CloudFraction>>},
    InRange<&C::landFraction, &L::LandFraction>(L1C, "lf"),
    InRange<&C::snowFraction, &L::SnowFraction>(L1C, "sf"),
    InRange<&C::averageIIS, &L::AverageIIS>(L1C, "avg"),
    InRange<&C::varianceIIS, &L::VarianceIIS>(L1C, "var"),
    {COUNT, "skip", TextUnlessDefault<&C::nSkip>},
    {COUNT, "maxres", TextUnlessDefault<&C::nMaxResults>},
};

static_assert(std::size(FILTERS) <= MAX_FILTERS);
static_assert(std::ranges::none_of(FILTERS, [](const SFilter& f) { return f.test.bL1C && f.eStage != L1C; }),
              "a filter of all products has a column of L1C");

bool KeepsNone(const C&, const CProd&, int) { return false; }

}  // namespace

std::span<const SStage> Stages() { return STAGES; }

std::span<const SFilter> Filters() { return FILTERS; }

std::vector<std::string> FiltersInForce(const CConfigParam& config) {
  std::vector<std::string> arFilters;
  for (const SFilter& filter : FILTERS) {
    // What a text from outside holds must not end the line it is shown on.
    std::string szValue = filter.pShow(config);
    for (char& c : szValue)
      if (c == '\n' || c == '\r') c = ' ';
    if (!szValue.empty()) arFilters.push_back("-" + (filter.szOption + (" " + szValue)));
  }
  return arFilters;
}

CPixelFilter::CPixelFilter(const CConfigParam& config, EStage eStage, bool bDayOne) : m_config(config) {
  SPixelTest::TKeeps* arpAlways[MAX_FILTERS];
  int nAlways = 0;
  for (const SFilter& filter : FILTERS) {
    if (filter.eStage != eStage || !filter.test.pKeeps || (filter.pIsOn && !filter.pIsOn(config))) continue;
    SPixelTest::TKeeps* pKeeps = bDayOne ? filter.dayOne.pKeeps : filter.test.pKeeps;
    if (!pKeeps && config.nFormat != C::FORMAT_TXTSTAT) continue;
    if (!pKeeps) pKeeps = KeepsNone;
    (filter.pIsOn ? m_arpTests[m_nTests++] : arpAlways[nAlways++]) = pKeeps;
  }
  std::copy_n(arpAlways, nAlways, m_arpTests + m_nTests);
  m_nTests += nAlways;
}
