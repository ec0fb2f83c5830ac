#include "options/OptionValue.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>

#include "extract/Format.h"
#include "kernel/Reporter.h"
#include "kernel/ScanInt.h"

namespace {

EResult Accepted(bool bValid) { return bValid ? CConfigParam::ACCEPTED : CConfigParam::INVALID_VALUE; }

/// "%d-%d": returns the count of numbers read.
int ScanInts(const char* szText, int& nFirst, int& nSecond) {
  if (!ScanInt(szText, nFirst)) return 0;
  return *szText == '-' && ScanInt(++szText, nSecond) ? 2 : 1;
}

EResult ReadRange(SRealFilter& filter, const char* szName, const char* szValue, bool bSingle) {
  const int nRead = std::sscanf(szValue, "%g-%g", &filter.fMin, &filter.fMax);
  if (bSingle && nRead == 1) {
    filter.fMax = filter.fMin;
  } else if (nRead != 2) {
    return CConfigParam::INVALID_VALUE;
  }
  filter.bOn = true;
  CReporter::Print("-%s %g-%g\n", szName, filter.fMin, filter.fMax);
  return CConfigParam::ACCEPTED;
}

/// Adds one period, "xxhxxmxxs-xxhxxmxxs" or a single time.
bool AddTimePeriod(TObjArray<CTimeRange>& arPeriods, const char* szName, const char* szText) {
  auto pRange = std::make_unique<CTimeRange>();
  CTimeRange& r = *pRange;
  const int nRead = std::sscanf(szText, "%2dh%2dm%2ds-%2dh%2dm%2ds", &r.nStartHour, &r.nStartMinute,
                                &r.nStartSecond, &r.nEndHour, &r.nEndMinute, &r.nEndSecond);
  if (nRead != 3 && nRead != 6) return false;
  CReporter::Print("-%s %02dh%02dm%02ds", szName, r.nStartHour, r.nStartMinute, r.nStartSecond);
  if (nRead == 3) {
    r.nEndHour = r.nStartHour;
    r.nEndMinute = r.nStartMinute;
    r.nEndSecond = r.nStartSecond;
  } else {
    CReporter::Print("-%02dh%02dm%02ds", r.nEndHour, r.nEndMinute, r.nEndSecond);
  }
  CReporter::Text("\n");
  arPeriods.Add(pRange.release());
  return true;
}

/// The flag of an L2 product, null for a word that is none.
bool* FindL2(bool (&arbL2)[PRODUCTS], const char* szWord) {
  for (int i = FIRST_L2; i < PRODUCTS; ++i)
    if (std::strcmp(PRODUCT_KINDS[i].szName, szWord) == 0) return &arbL2[i];
  return nullptr;
}

}  // namespace

EResult ReadText(TOwnedString& szTarget, const char* szName, const char* szValue) {
  szTarget = CConfigParam::DuplicateString(szValue);
  CReporter::Print("-%s %s\n", szName, szValue);
  return CConfigParam::ACCEPTED;
}

EResult ReadList(CStrArray& arList, const char* szName, const char* szValue, char cSeparator) {
  arList.DeleteContents();
  arList.SplitAdd(szValue, cSeparator, true);
  CReporter::Print("-%s ", szName);
  for (int i = 0; i < arList.Count(); ++i) CReporter::Print(i == 0 ? "%s" : "|%s", arList.GetStringAt(i));
  CReporter::Text("\n");
  return CConfigParam::ACCEPTED;
}

EResult ReadInt(int& nTarget, const char* szName, const char* szValue) {
  if (!ScanInt(szValue, nTarget)) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s %d\n", szName, nTarget);
  return CConfigParam::ACCEPTED;
}

EResult ReadReal(float& fTarget, const char* szName, const char* szValue) {
  if (std::sscanf(szValue, "%g", &fTarget) != 1) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s %g\n", szName, fTarget);
  return CConfigParam::ACCEPTED;
}

EResult ReadSwitch(bool& bTarget, const char* szName, const char* szValue) {
  const bool bOn = std::strcmp(szValue, "1") == 0;
  if (!bOn && std::strcmp(szValue, "0") != 0) return CConfigParam::INVALID_VALUE;
  bTarget = bOn;
  CReporter::Print("-%s %d\n", szName, bOn);
  return CConfigParam::ACCEPTED;
}

EResult ReadNumericSwitch(bool& bTarget, const char* szName, const char* szValue) {
  int nValue = 0;
  if (!ScanInt(szValue, nValue)) return CConfigParam::INVALID_VALUE;
  bTarget = nValue != 0;
  CReporter::Print("-%s %d\n", szName, bTarget);
  return CConfigParam::ACCEPTED;
}

EResult ReadWord(int& nTarget, const char* szValue, std::span<const SWord> words) {
  const auto word = std::ranges::find_if(
      words, [=](const SWord& candidate) { return std::strcmp(candidate.szWord, szValue) == 0; });
  if (word == words.end()) return CConfigParam::INVALID_VALUE;
  nTarget = word->nValue;
  CReporter::Print(word->szEcho, word->nValue);
  return CConfigParam::ACCEPTED;
}

EResult ReadFormat(int& nFormat, const char* szName, const char* szValue) {
  for (const SFormat& format : Formats()) {
    if (std::strcmp(format.szWord, szValue) != 0) continue;
    nFormat = format.nNumber;
    CReporter::Print("-%s %d\n", szName, nFormat);
    return CConfigParam::ACCEPTED;
  }
  CReporter::Print("Unable to interpret parameter value %s\n", szValue);
  return CConfigParam::INVALID_VALUE;
}

EResult ReadDate(SDate& date, const char* szName, const char* szValue) {
  if (std::sscanf(szValue, "%4d-%2d-%2d", &date.nYear, &date.nMonth, &date.nDay) != 3) {
    return CConfigParam::INVALID_VALUE;
  }
  CReporter::Print("-%s %04d-%02d-%02d\n", szName, date.nYear, date.nMonth, date.nDay);
  return CConfigParam::ACCEPTED;
}

EResult ReadRange(SRealFilter& filter, const char* szName, const char* szValue) {
  return ReadRange(filter, szName, szValue, false);
}

EResult ReadRangeOrNumber(SRealFilter& filter, const char* szName, const char* szValue) {
  return ReadRange(filter, szName, szValue, true);
}

EResult ReadRanges(TObjArray<CValueRange>& arRanges, const char* szName, const char* szValue,
                   const char* szLabel) {
  CStrArray arElements;
  arElements.SplitAdd(szValue, ',', true);
  bool bValid = true;
  for (int i = 0; i < arElements.Count(); ++i) {
    int nMin = 0, nMax = 0;
    const int nRead = ScanInts(arElements.GetStringAt(i), nMin, nMax);
    if (nRead == 0) {
      CReporter::Print("Unable to decode parameter %s %s\n", szLabel, arElements.GetStringAt(i));
      bValid = false;
      continue;
    }
    arRanges.Add(new CValueRange(nMin, nRead == 2 ? nMax : nMin));
    CReporter::Print(nRead == 2 ? "-%s %d-%d\n" : "-%s %d\n", szName, nMin, nMax);
  }
  return Accepted(bValid);
}

EResult ReadTimes(TObjArray<CTimeRange>& arPeriods, const char* szName, const char* szValue) {
  CStrArray arElements;
  arElements.SplitAdd(szValue, ',', true);
  bool bValid = true;
  for (int i = 0; i < arElements.Count(); ++i) {
    if (AddTimePeriod(arPeriods, szName, arElements.GetStringAt(i))) continue;
    CReporter::Print("Unable to decode parameter time period %s\n", arElements.GetStringAt(i));
    bValid = false;
  }
  return Accepted(bValid);
}

EResult ReadL2Kinds(bool (&arbL2)[PRODUCTS], const char* szName, const char* szValue) {
  CStrArray arElements;
  arElements.SplitAdd(szValue, ',', true);
  bool bValid = true;
  for (int i = 0; i < arElements.Count(); ++i) {
    const char* szElement = arElements.GetStringAt(i);
    if (bool* pbKind = FindL2(arbL2, szElement)) {
      *pbKind = true;
      CReporter::Print("-%s %s\n", szName, szElement);
    }
    if (std::ranges::count(arbL2, true)) continue;
    CReporter::Print("Unable to decode L2 type of product %s\n", szElement);
    bValid = false;
  }
  return Accepted(bValid);
}

EResult ReadQuality(bool (&arbQuality)[3], const char* szName, const char* szValue) {
  std::fill(std::begin(arbQuality), std::end(arbQuality), false);
  if (!szValue) return CConfigParam::MISSING_VALUE;
  if (std::strlen(szValue) != std::size(arbQuality)) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s ", szName);
  for (bool& bFlag : arbQuality) {
    bFlag = *szValue++ == 'y';
    CReporter::Text(bFlag ? "y" : "n");
  }
  CReporter::Text("\n");
  return CConfigParam::ACCEPTED;
}

EResult ReadMesh(CConfigParam& config, const char* szName, const char* szValue) {
  if (ReadSwitch(config.bBoxStat, szName, szValue) == CConfigParam::ACCEPTED) return CConfigParam::ACCEPTED;
  if (ScanInts(szValue, config.nBoxStatLatitudes, config.nBoxStatLongitudes) != 2) {
    return CConfigParam::INVALID_VALUE;
  }
  config.bBoxStat = true;
  CReporter::Print("-%s %d-%d\n", szName, config.nBoxStatLatitudes, config.nBoxStatLongitudes);
  return CConfigParam::ACCEPTED;
}

EResult ReadHisto(SHistoParam& histo, const char* szName, const char* szValue) {
  int nClassesAt = 0;  // stays 0 unless the comma was reached
  std::sscanf(szValue, "%g-%g,%n", &histo.fMin, &histo.fMax, &nClassesAt);
  szValue += nClassesAt;
  if (nClassesAt == 0 || !ScanInt(szValue, histo.nClasses)) return CConfigParam::INVALID_VALUE;
  if (histo.nClasses < 1 || !(histo.fMax > histo.fMin)) return CConfigParam::INVALID_VALUE;
  histo.bOn = true;
  CReporter::Print("-%s %g-%g,%d\n", szName, histo.fMin, histo.fMax, histo.nClasses);
  return CConfigParam::ACCEPTED;
}

EResult ReadBox(TObjArray<CGeoBox>& arBoxes, const char* szName, const char* szValue) {
  float arf[4];
  char szBox[201];
  if (std::sscanf(szValue, "%g - %g,%g - %g, %200s", &arf[0], &arf[1], &arf[2], &arf[3], szBox) != 5) {
    return CConfigParam::INVALID_VALUE;
  }
  arBoxes.Add(new CGeoBox(arf[0], arf[1], arf[2], arf[3], szBox));
  CReporter::Print("-%s %d: %g-%g, %g-%g, %s\n", szName, arBoxes.Count(), arf[0], arf[1], arf[2], arf[3],
                   szBox);
  return CConfigParam::ACCEPTED;
}

std::string ShowValue(const TOwnedString& szText) { return szText ? szText.get() : ""; }
std::string ShowValue(int nNumber) { return std::to_string(nNumber); }
std::string ShowValue(float fNumber) {
  char szNumber[32];
  std::snprintf(szNumber, sizeof szNumber, "%g", fNumber);
  return szNumber;
}
std::string ShowValue(bool bOn) { return bOn ? "1" : "0"; }

std::string ShowList(const CStrArray& arList, char cSeparator) {
  std::string szList;
  for (int i = 0; i < arList.Count(); ++i)
    szList.append(i == 0 ? 0 : 1, cSeparator).append(arList.GetStringAt(i));
  return szList;
}

std::string ShowWord(int nValue, std::span<const SWord> words) {
  for (const SWord& word : words)
    if (word.nValue == nValue) return word.szWord;
  return "";
}

std::string ShowFormat(int nFormat) {
  for (const SFormat& format : Formats())
    if (format.nNumber == nFormat) return format.szWord;
  return "";
}
