#include "stat/StatFilters.h"

#include <cstdio>

#include "app/ConfigParam.h"
#include "kernel/TextReal.h"

namespace {

using C = CConfigParam;

std::string Real(float fValue) {
  char szText[TEXT_REAL_MAX];
  return std::string(szText, FormatReal4(fValue, szText));
}

// Each gives the value of an option, or nothing when it does not filter.

template <float C::*FIELD>
std::string Bound(const C& config) {
  const float fValue = config.*FIELD;
  return fValue == C().*FIELD ? "" : Real(fValue);
}

template <int C::*FIELD>
std::string Number(const C& config) {
  return config.*FIELD == C().*FIELD ? "" : std::to_string(config.*FIELD);
}

template <SRealFilter C::*FIELD>
std::string RealRange(const C& config) {
  const SRealFilter& filter = config.*FIELD;
  return filter.bOn ? Real(filter.fMin) + "-" + Real(filter.fMax) : "";
}

template <TObjArray<CValueRange> C::*FIELD>
std::string Ranges(const C& config) {
  std::string szText;
  for (int i = 0; i < (config.*FIELD).Count(); ++i) {
    const CValueRange& range = *(config.*FIELD)[i];
    if (i) szText += ',';
    szText += std::to_string(range.nMin);
    if (range.nMax != range.nMin) szText.append("-").append(std::to_string(range.nMax));
  }
  return szText;
}

std::string Times(const C& config) {
  std::string szText;
  for (int i = 0; i < config.arTimePeriods.Count(); ++i) {
    const CTimeRange& r = *config.arTimePeriods[i];
    char szRange[160];
    std::snprintf(szRange, sizeof szRange, "%s%02dh%02dm%02ds-%02dh%02dm%02ds", i ? "," : "", r.nStartHour,
                  r.nStartMinute, r.nStartSecond, r.nEndHour, r.nEndMinute, r.nEndSecond);
    szText += szRange;
  }
  return szText;
}

std::string Join(const CStrArray& arStrings, char cSeparator) {
  std::string szText;
  for (int i = 0; i < arStrings.Count(); ++i) {
    if (i) szText += cSeparator;
    szText += arStrings.GetStringAt(i);
  }
  return szText;
}

template <CStrArray C::*FIELD>
std::string Extensions(const C& config) {
  const std::string szText = Join(config.*FIELD, '|');
  return szText == Join(C().*FIELD, '|') ? "" : szText;
}

template <CStrArray C::*FIELD>
std::string Motifs(const C& config) {
  return Join(config.*FIELD, ',');
}

std::string Period(const C& config) {
  return config.nPeriod == C::PERIOD_DAY ? "day" : config.nPeriod ? "night" : "";
}
std::string Surface(const C& config) {
  return config.nSurface == C::SURFACE_SEA ? "sea" : config.nSurface ? "land" : "";
}

std::string Quality(const C& config) {
  std::string szText;
  for (const bool bOn : config.arbQuality) szText += bOn ? 'y' : 'n';
  return szText == "nnn" ? "" : szText;
}

constexpr struct {
  const char* szOption;
  std::string (*pValue)(const C&);
} FILTERS[] = {
    {"-ef", Extensions<&C::arL1CExtensions>},
    {"-ef2", Extensions<&C::arL2Extensions>},
    {"-mf", Motifs<&C::arL1CMotifs>},
    {"-mf2", Motifs<&C::arL2Motifs>},
    {"-mila", Bound<&C::fMinLatitude>},
    {"-mala", Bound<&C::fMaxLatitude>},
    {"-milo", Bound<&C::fMinLongitude>},
    {"-malo", Bound<&C::fMaxLongitude>},
    {"-on", Ranges<&C::arOrbits>},
    {"-sln", Ranges<&C::arScanLines>},
    {"-fov", Ranges<&C::arFieldsOfView>},
    {"-va", RealRange<&C::viewingAngle>},
    {"-tr", Times},
    {"-tp", Period},
    {"-st", Surface},
    {"-qlt", Quality},
    {"-mca", Number<&C::nMaxCloudAmount>},
    {"-lca", Number<&C::nMinCloudAmount>},
    {"-lf", RealRange<&C::landFraction>},
    {"-sf", RealRange<&C::snowFraction>},
    {"-avg", RealRange<&C::averageIIS>},
    {"-var", RealRange<&C::varianceIIS>},
    {"-skip", Number<&C::nSkip>},
    {"-maxres", Number<&C::nMaxResults>},
};

}  // namespace

std::vector<std::string> FiltersInForce(const CConfigParam& config) {
  std::vector<std::string> arFilters;
  for (const auto& filter : FILTERS) {
    // What a text from outside holds must not end the line it is shown on.
    std::string szValue = filter.pValue(config);
    for (char& c : szValue)
      if (c == '\n' || c == '\r') c = ' ';
    if (!szValue.empty()) arFilters.push_back(std::string(filter.szOption) + " " + szValue);
  }
  return arFilters;
}
