#pragma once

#include <span>
#include <string>

#include "app/ConfigParam.h"
#include "prod/ProductKind.h"

/// How the text of a value is read into its target. Each function takes the target, the name of the option
/// and its text, and echoes what it accepts. A text that is not accepted may have changed part of the target.

using EResult = CConfigParam::EResult;

/// A word that stands for a number.
struct SWord {
  const char* szWord;
  const char* szHelp;
  int nValue = 0;
  const char* szEcho = "";  // printf format of the value
};

EResult ReadText(TOwnedString& szTarget, const char* szName, const char* szValue);
/// Replaces the list.
EResult ReadList(CStrArray& arList, const char* szName, const char* szValue, char cSeparator);
EResult ReadInt(int& nTarget, const char* szName, const char* szValue);
EResult ReadReal(float& fTarget, const char* szName, const char* szValue);
/// "1" or "0", nothing else.
EResult ReadSwitch(bool& bTarget, const char* szName, const char* szValue);
/// Any number: all but 0 switch on.
EResult ReadNumericSwitch(bool& bTarget, const char* szName, const char* szValue);
EResult ReadWord(int& nTarget, const char* szValue, std::span<const SWord> words);
/// The word of an output format.
EResult ReadFormat(int& nFormat, const char* szName, const char* szValue);
/// yyyy-mm-dd. Month and day are not checked.
EResult ReadDate(SDate& date, const char* szName, const char* szValue);
/// min-max.
EResult ReadRange(SRealFilter& filter, const char* szName, const char* szValue);
/// min-max, or one number that is both.
EResult ReadRangeOrNumber(SRealFilter& filter, const char* szName, const char* szValue);
/// n or n-n, separated by commas, added to the ranges that are there. szLabel: what messages call one.
EResult ReadRanges(TObjArray<CValueRange>& arRanges, const char* szName, const char* szValue,
                   const char* szLabel);
/// xxhxxmxxs-xxhxxmxxs or a single time, separated by commas, added to the periods that are there.
EResult ReadTimes(TObjArray<CTimeRange>& arPeriods, const char* szName, const char* szValue);
/// Kinds separated by commas. Lenient: an unknown one is an error only as long as no kind is requested.
EResult ReadL2Kinds(bool (&arbL2)[PRODUCTS], const char* szName, const char* szValue);
/// One character per flag, 'y' for on. All flags are off when the value is missing (null) or of another
/// length.
EResult ReadQuality(bool (&arbQuality)[3], const char* szName, const char* szValue);
/// A switch, or the mesh that it switches on: latitude boxes-longitude boxes.
EResult ReadMesh(CConfigParam& config, const char* szName, const char* szValue);
/// min-max,classes.
EResult ReadHisto(SHistoParam& histo, const char* szName, const char* szValue);
/// latitude-latitude,longitude-longitude,name. The name ends at white space or after 200 characters.
EResult ReadBox(TObjArray<CGeoBox>& arBoxes, const char* szName, const char* szValue);

// Values as they would be given.

std::string ShowValue(const TOwnedString& szText);
std::string ShowValue(int nNumber);
std::string ShowValue(float fNumber);
std::string ShowValue(bool bOn);
std::string ShowList(const CStrArray& arList, char cSeparator);
std::string ShowWord(int nValue, std::span<const SWord> words);
std::string ShowFormat(int nFormat);
