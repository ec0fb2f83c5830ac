#pragma once

#include <string>

class CStrArray;
class CTimeRange;
class CValueRange;
struct SRealFilter;
template <class T>
class TObjArray;

/// The values of filters as the headers of statistics show them; empty for filters that are off.

std::string FilterText(float fValue);
inline std::string FilterText(int nValue) { return std::to_string(nValue); }
/// "min-max".
std::string FilterText(const SRealFilter& filter);
/// "n,n-n".
std::string FilterText(const TObjArray<CValueRange>& arRanges);
std::string FilterText(const TObjArray<CTimeRange>& arPeriods);
/// One letter per band.
std::string FilterText(const bool (&arbQuality)[3]);
std::string FilterText(const CStrArray& arStrings, char cSeparator);
