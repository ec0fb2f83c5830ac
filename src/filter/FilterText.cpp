#include "filter/FilterText.h"

#include <cstdio>

#include "app/ConfigParam.h"
#include "kernel/TextReal.h"

std::string FilterText(float fValue) {
  char szText[TEXT_REAL_MAX];
  return std::string(szText, FormatReal4(fValue, szText));
}

std::string FilterText(const SRealFilter& filter) {
  return filter.bOn ? FilterText(filter.fMin) + "-" + FilterText(filter.fMax) : "";
}

std::string FilterText(const TObjArray<CValueRange>& arRanges) {
  std::string szText;
  for (int i = 0; i < arRanges.Count(); ++i) {
    const CValueRange& range = *arRanges[i];
    if (i) szText += ',';
    szText += std::to_string(range.nMin);
    if (range.nMax != range.nMin) szText.append("-").append(std::to_string(range.nMax));
  }
  return szText;
}

std::string FilterText(const TObjArray<CTimeRange>& arPeriods) {
  std::string szText;
  for (int i = 0; i < arPeriods.Count(); ++i) {
    const CTimeRange& r = *arPeriods[i];
    char szRange[160];
    std::snprintf(szRange, sizeof szRange, "%s%02dh%02dm%02ds-%02dh%02dm%02ds", i ? "," : "", r.nStartHour,
                  r.nStartMinute, r.nStartSecond, r.nEndHour, r.nEndMinute, r.nEndSecond);
    szText += szRange;
  }
  return szText;
}

std::string FilterText(const bool (&arbQuality)[3]) {
  std::string szText;
  for (const bool bOn : arbQuality) szText += bOn ? 'y' : 'n';
  return szText == "nnn" ? "" : szText;
}

std::string FilterText(const CStrArray& arStrings, char cSeparator) {
  std::string szText;
  for (int i = 0; i < arStrings.Count(); ++i) {
    if (i) szText += cSeparator;
    szText += arStrings.GetStringAt(i);
  }
  return szText;
}
