#pragma once

#include <span>
#include <string>
#include <vector>

#include "app/ConfigParam.h"
#include "extract/Format.h"
#include "options/Option.h"
#include "options/OptionValue.h"
#include "prod/ProductKind.h"

/// The ways of reading a value that rows of the table of options name, each for the parameter that it fills.

/// Reads into a parameter.
template <auto MEMBER, auto READ, auto... HOW>
EResult Apply(CConfigParam& config, const char* szName, const char* szValue) {
  return READ(config.*MEMBER, szName, szValue, HOW...);
}
template <auto MEMBER>
std::string Show(const CConfigParam& config) {
  return ShowValue(config.*MEMBER);
}

/// The words of a table, as choices of an option.
template <class TRows>
std::vector<SChoice> Choices(const TRows& rows) {
  std::vector<SChoice> arChoices;
  for (const auto& row : rows) arChoices.push_back({row.szWord, row.szHelp});
  return arChoices;
}

template <TOwnedString CConfigParam::*MEMBER>
constexpr SWay FILE_PATH = {
    .pApply = Apply<MEMBER, ReadText>, .eValue = EValue::PATH, .szForm = "FILE", .pShow = Show<MEMBER>};

template <TOwnedString CConfigParam::*MEMBER>
constexpr SWay FOLDER = {
    .pApply = Apply<MEMBER, ReadText>, .eValue = EValue::FOLDER, .szForm = "FOLDER", .pShow = Show<MEMBER>};

template <CStrArray CConfigParam::*MEMBER>
constexpr SWay ENDINGS = {.pApply = Apply<MEMBER, ReadList, '|'>,
                          .eValue = EValue::TEXT,
                          .szForm = "ENDING|...",
                          .pShow = [](const CConfigParam& config) { return ShowList(config.*MEMBER, '|'); }};

template <CStrArray CConfigParam::*MEMBER>
constexpr SWay MOTIFS = {.pApply = Apply<MEMBER, ReadList, ','>,
                         .eValue = EValue::TEXT,
                         .szForm = "TEXT,...",
                         .pShow = [](const CConfigParam& config) { return ShowList(config.*MEMBER, ','); }};

template <int CConfigParam::*MEMBER>
constexpr SWay INT = {
    .pApply = Apply<MEMBER, ReadInt>, .eValue = EValue::TEXT, .szForm = "N", .pShow = Show<MEMBER>};

template <float CConfigParam::*MEMBER>
constexpr SWay REAL = {
    .pApply = Apply<MEMBER, ReadReal>, .eValue = EValue::TEXT, .szForm = "X", .pShow = Show<MEMBER>};

template <bool CConfigParam::*MEMBER>
constexpr SWay SWITCH = {
    .pApply = Apply<MEMBER, ReadSwitch>, .eValue = EValue::SWITCH, .szForm = "1|0", .pShow = Show<MEMBER>};

template <bool CConfigParam::*MEMBER>
constexpr SWay NUMERIC_SWITCH = {.pApply = Apply<MEMBER, ReadNumericSwitch>,
                                 .eValue = EValue::SWITCH,
                                 .szForm = "1|0",
                                 .pShow = Show<MEMBER>};

template <int CConfigParam::*MEMBER, const auto& WORDS>
constexpr SWay WORD = {.pApply = [](CConfigParam& config, const char*,
                                    const char* szValue) { return ReadWord(config.*MEMBER, szValue, WORDS); },
                       .eValue = EValue::WORD,
                       .szForm = "",
                       .pChoices = [] { return Choices(WORDS); },
                       .pShow = [](const CConfigParam& config) { return ShowWord(config.*MEMBER, WORDS); }};

template <SDate CConfigParam::*MEMBER>
constexpr SWay DATE = {.pApply = Apply<MEMBER, ReadDate>, .eValue = EValue::TEXT, .szForm = "YYYY-MM-DD"};

template <SRealFilter CConfigParam::*MEMBER>
constexpr SWay REAL_RANGE = {.pApply = Apply<MEMBER, ReadRange>, .eValue = EValue::TEXT, .szForm = "MIN-MAX"};

template <SRealFilter CConfigParam::*MEMBER>
constexpr SWay REAL_RANGE_OR_NUMBER = {
    .pApply = Apply<MEMBER, ReadRangeOrNumber>, .eValue = EValue::TEXT, .szForm = "X|MIN-MAX"};

template <TObjArray<CValueRange> CConfigParam::*MEMBER, const auto& LABEL>
constexpr SWay RANGES = {
    .pApply = [](CConfigParam& config, const char* szName,
                 const char* szValue) { return ReadRanges(config.*MEMBER, szName, szValue, LABEL); },
    .eValue = EValue::TEXT,
    .szForm = "N|N-N,...",
    .bAdds = true};

template <EHisto HISTOGRAM>
constexpr SWay HISTO = {
    .pApply = [](CConfigParam& config, const char* szName,
                 const char* szValue) { return ReadHisto(config.arHistos[HISTOGRAM], szName, szValue); },
    .eValue = EValue::TEXT,
    .szForm = "MIN-MAX,N"};

// Those of one option.

inline constexpr SWay HELP = {.pApply =
                                  [](CConfigParam& config, const char*, const char*) {
                                    config.bHelp = true;
                                    return CConfigParam::ACCEPTED;
                                  },
                              .eValue = EValue::NONE,
                              .szForm = "",
                              .bNullAllowed = true};

inline constexpr SWay FORMAT = {
    .pApply = Apply<&CConfigParam::nFormat, ReadFormat>,
    .eValue = EValue::WORD,
    .szForm = "",
    .pChoices = [] { return Choices(Formats()); },
    .pShow = [](const CConfigParam& config) { return ShowFormat(config.nFormat); }};

inline constexpr SWay TIMES = {.pApply = Apply<&CConfigParam::arTimePeriods, ReadTimes>,
                               .eValue = EValue::TEXT,
                               .szForm = "HHhMMmSSs-HHhMMmSSs,...",
                               .bAdds = true};

inline constexpr SWay L2_KINDS = {.pApply = Apply<&CConfigParam::arbL2, ReadL2Kinds>,
                                  .eValue = EValue::WORDS,
                                  .szForm = "KIND,...",
                                  .pChoices =
                                      [] {
                                        std::vector<SChoice> arChoices;
                                        for (int i = FIRST_L2; i < PRODUCTS; ++i)
                                          arChoices.push_back({PRODUCT_KINDS[i].szName, ""});
                                        return arChoices;
                                      },
                                  .bAdds = true};

inline constexpr SWay QUALITY = {.pApply = Apply<&CConfigParam::arbQuality, ReadQuality>,
                                 .eValue = EValue::TEXT,
                                 .szForm = "yyy",
                                 .bNullAllowed = true};

// The degree signs are single bytes of ISO 8859-1, whatever the locale.
inline constexpr SChoice MESHES[] = {{"1", "default 2\260*2\260 mesh"},
                                     {"180-360", "180 boxes in latitude, 360 in longitude"}};
inline constexpr SWay MESH = {.pApply = ReadMesh,
                              .eValue = EValue::WORD,
                              .szForm = "1|0|N-N",
                              .pChoices = [] { return Choices(MESHES); },
                              .pShow = Show<&CConfigParam::bBoxStat>};

inline constexpr SWay BOX = {.pApply = Apply<&CConfigParam::arBoxes, ReadBox>,
                             .eValue = EValue::TEXT,
                             .szForm = "LAT-LAT,LON-LON,NAME",
                             .bAdds = true};
