#include "app/ConfigParam.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/Format.h"
#include "app/Option.h"
#include "bufr/StreamReader.h"
#include "kernel/Reporter.h"
#include "kernel/ScanInt.h"

namespace {

using EResult = CConfigParam::EResult;

EResult Accepted(bool bValid) { return bValid ? CConfigParam::ACCEPTED : CConfigParam::INVALID_VALUE; }

struct SWord {
  const char* szWord;
  const char* szHelp;
  int nValue;
  const char* szEcho;  // printf format of the value
};

constexpr SWord PERIODS[] = {{"day", "day", CConfigParam::PERIOD_DAY, "-tp day (%d)\n"},
                             {"night", "night", CConfigParam::PERIOD_NIGHT, "-tp night (%d)\n"},
                             {"all", "all", CConfigParam::PERIOD_ALL, "-tp all (%d)\n"}};
constexpr SWord SURFACES[] = {{"sea", "sea", CConfigParam::SURFACE_SEA, "-st %d\n"},
                              {"land", "earth", CConfigParam::SURFACE_LAND, "-st %d\n"},
                              {"all", "all", CConfigParam::SURFACE_ALL, "-st %d\n"}};
template <size_t nWords>
const SWord* FindWord(const SWord (&arWords)[nWords], const char* szText) {
  const auto* pWord = std::find_if(std::begin(arWords), std::end(arWords),
                                   [=](const SWord& word) { return std::strcmp(word.szWord, szText) == 0; });
  return pWord == std::end(arWords) ? nullptr : pWord;
}

/// "%d-%d": returns the count of numbers read.
int ScanInts(const char* szText, int& nFirst, int& nSecond) {
  if (!ScanInt(szText, nFirst)) return 0;
  return *szText == '-' && ScanInt(++szText, nSecond) ? 2 : 1;
}

// The ways of reading and echoing a value, named by the tables of options.

template <TOwnedString CConfigParam::*pMember>
EResult Path(CConfigParam& config, const char* szName, const char* szValue) {
  config.*pMember = CConfigParam::DuplicateString(szValue);
  CReporter::Print("-%s %s\n", szName, szValue);
  return CConfigParam::ACCEPTED;
}

template <CStrArray CConfigParam::*pMember, char cSeparator>
EResult List(CConfigParam& config, const char* szName, const char* szValue) {
  CStrArray& arList = config.*pMember;
  arList.DeleteContents();
  arList.SplitAdd(szValue, cSeparator, true);
  CReporter::Print("-%s ", szName);
  for (int i = 0; i < arList.Count(); ++i) CReporter::Print(i == 0 ? "%s" : "|%s", arList.GetStringAt(i));
  CReporter::Text("\n");
  return CConfigParam::ACCEPTED;
}

template <int CConfigParam::*pMember>
EResult Int(CConfigParam& config, const char* szName, const char* szValue) {
  if (!ScanInt(szValue, config.*pMember)) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s %d\n", szName, config.*pMember);
  return CConfigParam::ACCEPTED;
}

template <float CConfigParam::*pMember>
EResult Real(CConfigParam& config, const char* szName, const char* szValue) {
  if (std::sscanf(szValue, "%g", &(config.*pMember)) != 1) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s %g\n", szName, config.*pMember);
  return CConfigParam::ACCEPTED;
}

/// "1" or "0", nothing else.
template <bool CConfigParam::*pMember>
EResult Switch(CConfigParam& config, const char* szName, const char* szValue) {
  const bool bOn = std::strcmp(szValue, "1") == 0;
  if (!bOn && std::strcmp(szValue, "0") != 0) return CConfigParam::INVALID_VALUE;
  config.*pMember = bOn;
  CReporter::Print("-%s %d\n", szName, bOn);
  return CConfigParam::ACCEPTED;
}

/// Any number: all but 0 switch on.
template <bool CConfigParam::*pMember>
EResult NumericSwitch(CConfigParam& config, const char* szName, const char* szValue) {
  int nValue = 0;
  if (!ScanInt(szValue, nValue)) return CConfigParam::INVALID_VALUE;
  config.*pMember = nValue != 0;
  CReporter::Print("-%s %d\n", szName, config.*pMember);
  return CConfigParam::ACCEPTED;
}

template <int CConfigParam::*pMember, const auto& arWords>
EResult Word(CConfigParam& config, const char*, const char* szValue) {
  const SWord* pWord = FindWord(arWords, szValue);
  if (!pWord) return CConfigParam::INVALID_VALUE;
  config.*pMember = pWord->nValue;
  CReporter::Print(pWord->szEcho, pWord->nValue);
  return CConfigParam::ACCEPTED;
}

EResult Format(CConfigParam& config, const char* szName, const char* szValue) {
  for (const SFormat& format : Formats()) {
    if (std::strcmp(format.szWord, szValue) != 0) continue;
    config.nFormat = format.nNumber;
    CReporter::Print("-%s %d\n", szName, config.nFormat);
    return CConfigParam::ACCEPTED;
  }
  CReporter::Print("Unable to interpret parameter value %s\n", szValue);
  return CConfigParam::INVALID_VALUE;
}

/// yyyy-mm-dd. Month and day are not checked.
template <SDate CConfigParam::*pMember>
EResult Date(CConfigParam& config, const char* szName, const char* szValue) {
  SDate& date = config.*pMember;
  if (std::sscanf(szValue, "%4d-%2d-%2d", &date.nYear, &date.nMonth, &date.nDay) != 3) {
    return CConfigParam::INVALID_VALUE;
  }
  CReporter::Print("-%s %04d-%02d-%02d\n", szName, date.nYear, date.nMonth, date.nDay);
  return CConfigParam::ACCEPTED;
}

/// min-max; where bSingle allows it, one number is both.
template <SRealFilter CConfigParam::*pMember, bool bSingle = false>
EResult RealRange(CConfigParam& config, const char* szName, const char* szValue) {
  SRealFilter& filter = config.*pMember;
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

constexpr char CHANNEL[] = "channel", ORBIT[] = "orbit", SCAN_LINE[] = "scan line",
               FIELD_OF_VIEW[] = "field of view";

/// n or n-n, separated by commas, added to the ranges at hand.
template <TObjArray<CValueRange> CConfigParam::*pMember, const auto& szLabel>
EResult RangeList(CConfigParam& config, const char* szName, const char* szValue) {
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
    (config.*pMember).Add(new CValueRange(nMin, nRead == 2 ? nMax : nMin));
    CReporter::Print(nRead == 2 ? "-%s %d-%d\n" : "-%s %d\n", szName, nMin, nMax);
  }
  return Accepted(bValid);
}

/// Adds one period, "xxhxxmxxs-xxhxxmxxs" or a single time.
bool AddTimePeriod(CConfigParam& config, const char* szName, const char* szText) {
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
  config.arTimePeriods.Add(pRange.release());
  return true;
}

EResult TimePeriods(CConfigParam& config, const char* szName, const char* szValue) {
  CStrArray arElements;
  arElements.SplitAdd(szValue, ',', true);
  bool bValid = true;
  for (int i = 0; i < arElements.Count(); ++i) {
    if (AddTimePeriod(config, szName, arElements.GetStringAt(i))) continue;
    CReporter::Print("Unable to decode parameter time period %s\n", arElements.GetStringAt(i));
    bValid = false;
  }
  return Accepted(bValid);
}

/// The L2 product of a word, null for one that is none.
bool* FindL2(CConfigParam& config, const char* szWord) {
  for (int i = FIRST_L2; i < PRODUCTS; ++i)
    if (std::strcmp(PRODUCT_KINDS[i].szName, szWord) == 0) return &config.arbL2[i];
  return nullptr;
}

/// Kinds separated by commas. Lenient: an unknown one is an error only as long as no kind is requested.
EResult L2Kinds(CConfigParam& config, const char* szName, const char* szValue) {
  CStrArray arElements;
  arElements.SplitAdd(szValue, ',', true);
  bool bValid = true;
  for (int i = 0; i < arElements.Count(); ++i) {
    const char* szElement = arElements.GetStringAt(i);
    if (bool* pbKind = FindL2(config, szElement)) {
      *pbKind = true;
      CReporter::Print("-%s %s\n", szName, szElement);
    }
    if (config.L2Requested()) continue;
    CReporter::Print("Unable to decode L2 type of product %s\n", szElement);
    bValid = false;
  }
  return Accepted(bValid);
}

/// One character per flag, 'y' for on. All flags are off when the value is missing or of another length.
EResult Quality(CConfigParam& config, const char* szName, const char* szValue) {
  std::fill(std::begin(config.arbQuality), std::end(config.arbQuality), false);
  if (!szValue) return CConfigParam::MISSING_VALUE;
  if (std::strlen(szValue) != std::size(config.arbQuality)) return CConfigParam::INVALID_VALUE;
  CReporter::Print("-%s ", szName);
  for (bool& bFlag : config.arbQuality) {
    bFlag = *szValue++ == 'y';
    CReporter::Text(bFlag ? "y" : "n");
  }
  CReporter::Text("\n");
  return CConfigParam::ACCEPTED;
}

/// A switch, or the mesh that it switches on: latitude boxes-longitude boxes.
EResult BoxStat(CConfigParam& config, const char* szName, const char* szValue) {
  if (Switch<&CConfigParam::bBoxStat>(config, szName, szValue) == CConfigParam::ACCEPTED) {
    return CConfigParam::ACCEPTED;
  }
  if (ScanInts(szValue, config.nBoxStatLatitudes, config.nBoxStatLongitudes) != 2) {
    return CConfigParam::INVALID_VALUE;
  }
  config.bBoxStat = true;
  CReporter::Print("-%s %d-%d\n", szName, config.nBoxStatLatitudes, config.nBoxStatLongitudes);
  return CConfigParam::ACCEPTED;
}

/// min-max,classes.
template <EHisto nHisto>
EResult Histo(CConfigParam& config, const char* szName, const char* szValue) {
  SHistoParam& histo = config.arHistos[nHisto];
  int nClassesAt = 0;  // stays 0 unless the comma was reached
  std::sscanf(szValue, "%g-%g,%n", &histo.fMin, &histo.fMax, &nClassesAt);
  szValue += nClassesAt;
  if (nClassesAt == 0 || !ScanInt(szValue, histo.nClasses)) return CConfigParam::INVALID_VALUE;
  if (histo.nClasses < 1 || !(histo.fMax > histo.fMin)) return CConfigParam::INVALID_VALUE;
  histo.bOn = true;
  CReporter::Print("-%s %g-%g,%d\n", szName, histo.fMin, histo.fMax, histo.nClasses);
  return CConfigParam::ACCEPTED;
}

/// latitude-latitude,longitude-longitude,name. The name ends at white space or after 200 characters.
EResult Box(CConfigParam& config, const char* szName, const char* szValue) {
  float arf[4];
  char szBox[201];
  if (std::sscanf(szValue, "%g - %g,%g - %g, %200s", &arf[0], &arf[1], &arf[2], &arf[3], szBox) != 5) {
    return CConfigParam::INVALID_VALUE;
  }
  config.arBoxes.Add(new CGeoBox(arf[0], arf[1], arf[2], arf[3], szBox));
  CReporter::Print("-%s %d: %g-%g, %g-%g, %s\n", szName, config.arBoxes.Count(), arf[0], arf[1], arf[2],
                   arf[3], szBox);
  return CConfigParam::ACCEPTED;
}

// The degree signs are single bytes of ISO 8859-1, whatever the locale.
constexpr SChoice MESHES[] = {{"1", "default 2\260*2\260 mesh"},
                              {"180-360", "180 boxes in latitude, 360 in longitude"}};

template <class TRows>
std::vector<SChoice> Choices(const TRows& arRows) {
  std::vector<SChoice> arChoices;
  for (const auto& row : arRows) arChoices.push_back({row.szWord, row.szHelp});
  return arChoices;
}
template <const auto& arWords>
std::vector<SChoice> Words() {
  return Choices(arWords);
}
std::vector<SChoice> FormatWords() { return Choices(Formats()); }
std::vector<SChoice> L2Words() {
  std::vector<SChoice> arChoices;
  for (int i = FIRST_L2; i < PRODUCTS; ++i) arChoices.push_back({PRODUCT_KINDS[i].szName, ""});
  return arChoices;
}

EResult Help(CConfigParam& config, const char*, const char*) {
  config.bHelp = true;
  return CConfigParam::ACCEPTED;
}

std::string Shown(const TOwnedString& szText) { return szText ? szText.get() : ""; }
std::string Shown(int nNumber) { return std::to_string(nNumber); }
std::string Shown(float fNumber) {
  char szNumber[32];
  std::snprintf(szNumber, sizeof szNumber, "%g", fNumber);
  return szNumber;
}
std::string Shown(bool bOn) { return bOn ? "1" : "0"; }
template <auto pMember>
std::string Show(const CConfigParam& config) {
  return Shown(config.*pMember);
}

template <CStrArray CConfigParam::*pMember, char cSeparator>
std::string ShowList(const CConfigParam& config) {
  std::string szList;
  for (int i = 0; i < (config.*pMember).Count(); ++i)
    szList.append(i == 0 ? 0 : 1, cSeparator).append((config.*pMember).GetStringAt(i));
  return szList;
}

template <int CConfigParam::*pMember, const auto& arWords>
std::string ShowWord(const CConfigParam& config) {
  for (const SWord& word : arWords)
    if (word.nValue == config.*pMember) return word.szWord;
  return "";
}

std::string ShowFormat(const CConfigParam& config) {
  for (const SFormat& format : Formats())
    if (format.nNumber == config.nFormat) return format.szWord;
  return "";
}

using C = CConfigParam;

constexpr SWay HELP = {.pApply = Help, .eValue = EValue::NONE, .szForm = "", .bNullAllowed = true};
template <TOwnedString C::*pMember>
constexpr SWay FILE_PATH = {
    .pApply = Path<pMember>, .eValue = EValue::PATH, .szForm = "FILE", .pShow = Show<pMember>};
template <TOwnedString C::*pMember>
constexpr SWay FOLDER = {
    .pApply = Path<pMember>, .eValue = EValue::FOLDER, .szForm = "FOLDER", .pShow = Show<pMember>};
template <CStrArray C::*pMember>
constexpr SWay ENDINGS = {.pApply = List<pMember, '|'>,
                          .eValue = EValue::TEXT,
                          .szForm = "ENDING|...",
                          .pShow = ShowList<pMember, '|'>};
template <CStrArray C::*pMember>
constexpr SWay MOTIFS = {.pApply = List<pMember, ','>,
                         .eValue = EValue::TEXT,
                         .szForm = "TEXT,...",
                         .pShow = ShowList<pMember, ','>};
template <int C::*pMember>
constexpr SWay INT = {.pApply = Int<pMember>, .eValue = EValue::TEXT, .szForm = "N", .pShow = Show<pMember>};
template <float C::*pMember>
constexpr SWay REAL = {
    .pApply = Real<pMember>, .eValue = EValue::TEXT, .szForm = "X", .pShow = Show<pMember>};
template <bool C::*pMember>
constexpr SWay SWITCH = {
    .pApply = Switch<pMember>, .eValue = EValue::SWITCH, .szForm = "1|0", .pShow = Show<pMember>};
template <bool C::*pMember>
constexpr SWay NUMERIC_SWITCH = {
    .pApply = NumericSwitch<pMember>, .eValue = EValue::SWITCH, .szForm = "1|0", .pShow = Show<pMember>};
template <int C::*pMember, const auto& arWords>
constexpr SWay WORD = {.pApply = Word<pMember, arWords>,
                       .eValue = EValue::WORD,
                       .szForm = "",
                       .pChoices = Words<arWords>,
                       .pShow = ShowWord<pMember, arWords>};
constexpr SWay FORMAT = {
    .pApply = Format, .eValue = EValue::WORD, .szForm = "", .pChoices = FormatWords, .pShow = ShowFormat};
template <SDate C::*pMember>
constexpr SWay DATE = {.pApply = Date<pMember>, .eValue = EValue::TEXT, .szForm = "YYYY-MM-DD"};
template <SRealFilter C::*pMember>
constexpr SWay REAL_RANGE = {.pApply = RealRange<pMember>, .eValue = EValue::TEXT, .szForm = "MIN-MAX"};
constexpr SWay ANGLES = {
    .pApply = RealRange<&C::viewingAngle, true>, .eValue = EValue::TEXT, .szForm = "X|MIN-MAX"};
template <TObjArray<CValueRange> C::*pMember, const auto& szLabel>
constexpr SWay RANGES = {
    .pApply = RangeList<pMember, szLabel>, .eValue = EValue::TEXT, .szForm = "N|N-N,...", .bAdds = true};
constexpr SWay TIMES = {
    .pApply = TimePeriods, .eValue = EValue::TEXT, .szForm = "HHhMMmSSs-HHhMMmSSs,...", .bAdds = true};
constexpr SWay L2_KINDS = {
    .pApply = L2Kinds, .eValue = EValue::WORDS, .szForm = "KIND,...", .pChoices = L2Words, .bAdds = true};
constexpr SWay QUALITY = {.pApply = Quality, .eValue = EValue::TEXT, .szForm = "yyy", .bNullAllowed = true};
constexpr SWay MESH = {.pApply = BoxStat,
                       .eValue = EValue::WORD,
                       .szForm = "1|0|N-N",
                       .pChoices = Words<MESHES>,
                       .pShow = Show<&C::bBoxStat>};
template <EHisto nHisto>
constexpr SWay HISTO = {.pApply = Histo<nHisto>, .eValue = EValue::TEXT, .szForm = "MIN-MAX,N"};
constexpr SWay BOX = {.pApply = Box, .eValue = EValue::TEXT, .szForm = "LAT-LAT,LON-LON,NAME", .bAdds = true};

constexpr SOption GENERAL[] = {
    {"h", HELP, "", "show help", "Print the options with a line each. What is asked for besides is done."},
    {"cfg", FILE_PATH<&C::szConfigPath>, "cfg_file_path", "specify a path for the configuration file",
     "Read more options from this file, after those of the command line."},
    {"d", FOLDER<&C::szL1CDir>, "input_dir_path", "specify a path for the input directory",
     "The archive of L1C: its files lie in YYYY/MM/DD of this folder. Needed for L1C."},
    {"d2", FOLDER<&C::szL2Dir>, "L2_input_dir_path", "specify a path for the L2 input directory",
     "The archive of L2: its files lie in YYYY/MM/DD/KIND of this folder. L2 needs this one or that of "
     "-myd2."},
    {"myd2", FOLDER<&C::szIndepL2Dir>, "Indep_L2_input_dir_path",
     "specify a path for Indep L2 input directory",
     "An archive of L2 without dates: all files in KIND of this folder are read, whatever -fd and -ld "
     "say, behind those of -d2."},
    {"out", FILE_PATH<&C::szOutputPath>, "output_file_path", "specify a path for the output file",
     "The output file, or what the names of several begin with. Files of these names are replaced; a "
     "file that is among the inputs is never written to. Needed."},
    {"of", FORMAT, "output_format", "specify a format for the output file", "What is written."},
    {"fd", DATE<&C::firstDate>, "first_date", "first date to take into account yyyy-mm-dd",
     "The first day, by the folders of the archive. Needed."},
    {"ld", DATE<&C::lastDate>, "last_date", "last date to take into account yyyy-mm-dd",
     "The last day. Needed."},
    {"c", RANGES<&C::arChannels, CHANNEL>, "channel_number", "L1C channel ranges to extract cccc,cccc-cccc",
     "The channels of the spectra, from 1 to 8461. Asks for L1C."},
    {"avhrr", SWITCH<&C::bAvhrr>, "1", "extracts L1C avhrr data",
     "Add the clusters of the imager AVHRR to each L1C record. Asks for L1C."},
    {"t2", L2_KINDS, "", "specify the L2 product types to extract",
     "The L2 products. An unknown one behind a known one is left out without a word."},
    {"tb", SWITCH<&C::bBrightnessTemperature>, "1", "convert to brightness temperature",
     "Give spectra as brightness temperatures (K) in place of radiances. In statistics, means and "
     "standard deviations of spectra are given so."},
    {"tbref", REAL<&C::fReferenceTemperature>, "280",
     "reference temperature used for expression of standard deviations in brightness temperature",
     "With -tb 1 in statistics: the temperature (K) for which standard deviations are given; with 0 it "
     "is the mean of each channel."},
    {"maxres", INT<&C::nMaxResults>, "max_spectrum", "maximum data count to extract",
     "End when there are N records; of statistics, when each product has N pixels. It is looked at "
     "before a message is read: pixels of the messages at hand are still written. Below 0 there is no "
     "limit."},
    {"skip", INT<&C::nSkip>, "skip_spectrum", "spectrum count to skip",
     "Leave out the first N pixels of each product that pass the filters up to -st, also those that a "
     "later filter would drop.",
     true},
    {"bi", NUMERIC_SWITCH<&C::bBigEndian>, "1", "write data in big  endian byte order",
     "Write binary records big-endian, not little-endian. Any number but 0 is 1."},
    {"box", BOX, "43-44,1-2,Marevill", "extraction in geographical boxes. 1 file created per box",
     "Keep pixels in this box (degrees; both ends belong to it), in a file of its own. The name ends "
     "at a blank. Refused with -of txtstat."},
};

constexpr SOption FILTERING[] = {
    {"mila", REAL<&C::fMinLatitude>, "min_latitude", "minimum latitude to take into account",
     "The least latitude, degrees."},
    {"mala", REAL<&C::fMaxLatitude>, "max_latitude", "maximum latitude to take into account",
     "The greatest latitude, degrees."},
    {"milo", REAL<&C::fMinLongitude>, "min_longitude", "minimum longitude to take into account",
     "The least longitude, degrees. Above that of -malo, no longitude is filtered: a window across the "
     "date line takes two boxes."},
    {"malo", REAL<&C::fMaxLongitude>, "max_longitude", "maximum longitude to take into account",
     "The greatest longitude, degrees."},
    {"on", RANGES<&C::arOrbits, ORBIT>, "orbit_number", "orbit range to extract o-o",
     "The numbers of the orbits."},
    {"sln", RANGES<&C::arScanLines, SCAN_LINE>, "scan_line_number", "scan line range s-s",
     "The numbers of the scan lines."},
    {"fov", RANGES<&C::arFieldsOfView, FIELD_OF_VIEW>, "field_of_view_number", "field of view range s-s",
     "The numbers of the fields of view, from 0 to 119."},
    {"va", ANGLES, "viewing_angle", "viewing angle range v-v",
     "The satellite zenith angle, degrees. One number is both ends."},
    {"tr", TIMES, "time_period", "filtering time periods xxhxxmxxs-xxhxxmxxs,xxhxxmxxs-xxhxxmxxs",
     "Times of the day (UTC); one time is both ends. A period across midnight keeps nothing: give two."},
    {"tp", WORD<&C::nPeriod, PERIODS>, "time_period", "specify the requested time period",
     "The time of day: with a solar zenith angle of at most (day) or at least (night) 90 degrees."},
    {"st", WORD<&C::nSurface, SURFACES>, "surface type", "specify the requested surface type",
     "The surface, by the grid of -alt. A pixel whose surface is unknown is kept."},
    {"alt", FILE_PATH<&C::szAltitudePath>, "altitude_database_path",
     "specify a path for the altitude database file",
     "The grid of land and sea. Where it cannot be read, the surface of all pixels is unknown (-1)."},
    {"qlt", QUALITY, "xxx", "L1C level 1 quality flags",
     "L1C: y for each of the three bands whose quality flag must be good, another character for the "
     "others. Where archives have one flag, it stands for all."},
    {"mca", INT<&C::nMaxCloudAmount>, "max_cloud_amount", "L1C cloud amount maximum value",
     "L1C: the greatest cloud fraction, percent. 100 does not filter."},
    {"lca", INT<&C::nMinCloudAmount>, "min_cloud_amount", "L1C cloud amount minimum value",
     "L1C: the least cloud fraction, percent. 0 does not filter."},
    {"sf", REAL_RANGE<&C::snowFraction>, "snow_fraction", "snow fraction range s-s",
     "L1C: the snow fraction, percent."},
    {"lf", REAL_RANGE<&C::landFraction>, "land_fraction", "land fraction range l-l",
     "L1C: the land fraction, percent."},
    {"avg", REAL_RANGE<&C::averageIIS>, "averageIIS_range", "averageIIS range s-s",
     "L1C: the average of the imager, W/(m2 sr m-1)."},
    {"var", REAL_RANGE<&C::varianceIIS>, "varianceIIS_range", "varianceIIS range s-s",
     "L1C: the variance of the imager, in the unit of the archive."},
    {"ef", ENDINGS<&C::arL1CExtensions>, "extension_filter", "specify an extension filter (l1_bufr)",
     "How the names of L1C files end."},
    {"ef2", ENDINGS<&C::arL2Extensions>, "L2_extension_filter", "specify an extension filter (l2_bufr)",
     "How the names of L2 files end."},
    {"mf", MOTIFS<&C::arL1CMotifs>, "motif_filter", "specify a generic motif filter for L1c products",
     "Read only L1C files whose names contain one of these texts."},
    {"mf2", MOTIFS<&C::arL2Motifs>, "L2_motif_filter", "specify a generic motif filter for L2 products",
     "Read only L2 files whose names contain one of these texts."},
};

constexpr SOption STAT[] = {
    {"sk", SWITCH<&C::bSkewnessKurtosis>, "1", "Adds skewness and kurtosis to txtstat",
     "Add skewness and kurtosis."},
    {"stsext", SWITCH<&C::bSurfacePeriodStat>, "1", "pixel stats and precise end of file names",
     "Write files by surface and time of day, and by the position of the pixel among 2 x 2."},
    {"boxstat", MESH, "1", "statistics on pixel geographical repartition",
     "Write means on a grid of the globe: 1 has cells of 2 by 2 degrees, 180-360 has 180 cells in "
     "latitude by 360 in longitude."},
    {"histlat", HISTO<HISTO_LAT>, "-90-90,180",
     "histogram with latitude classes: range and number of classes",
     "Write a histogram of latitudes (degrees): the range and the number of classes."},
    {"histpix", HISTO<HISTO_PIX>, "0.0001-0.001,100",
     "histogram with radiance classes: range and number of classes",
     "Write a histogram of radiances for each channel, W/(m2 sr m-1)."},
    {"histcloud", HISTO<HISTO_CLOUD>, "0-100,10",
     "histogram with cloud fraction classes: range and number of classes",
     "Write a histogram of cloud fractions, percent."},
    {"histland", HISTO<HISTO_LAND>, "0-100,10",
     "histogram with land fraction classes: range and number of classes",
     "Write a histogram of land fractions, percent."},
    {"histsnow", HISTO<HISTO_SNOW>, "0-100,10",
     "histogram with snow fraction classes: range and number of classes",
     "Write a histogram of snow fractions, percent."},
    {"histavg", HISTO<HISTO_AVG>, "0-0.002,100",
     "histogram with averageIIS classes: range and number of classes",
     "Write a histogram of the averages of the imager, W/(m2 sr m-1)."},
    {"histvar", HISTO<HISTO_VAR>, "0-0.001,100",
     "histogram with varianceIIS classes: range and number of classes",
     "Write a histogram of the variances of the imager, in the unit of the archive."},
};

constexpr SOptionSection SECTIONS[] = {{"GENERAL", GENERAL}, {"FILTERING", FILTERING}, {"STAT", STAT}};

}  // namespace

std::span<const SOptionSection> OptionSections() { return SECTIONS; }

CConfigParam::CConfigParam() : szAltitudePath(DuplicateString("/korvat/IASI/LSM/land_sea_alti_map.dat")) {
  arL1CExtensions.SplitAdd("l1_bufr|bin", '|', true);
  arL2Extensions.SplitAdd("l2_bufr|bin", '|', true);
}

CConfigParam::~CConfigParam() = default;

TOwnedString CConfigParam::DuplicateString(const char* pszText) {
  if (!pszText) return nullptr;
  const size_t nSize = std::strlen(pszText) + 1;
  TOwnedString szCopy = std::make_unique_for_overwrite<char[]>(nSize);
  std::memcpy(szCopy.get(), pszText, nSize);
  return szCopy;
}

int CConfigParam::InterpretParam(const char* szName, const char* szValue) {
  for (const SOptionSection& section : SECTIONS) {
    for (const SOption& option : section.options) {
      if (std::strcmp(option.szName, szName) != 0) continue;
      if (!szValue && !option.way.bNullAllowed) return MISSING_VALUE;
      return option.way.pApply(*this, szName, szValue);
    }
  }
  return UNKNOWN;
}

bool CConfigParam::InitAltitudeMap() {
  if (!szAltitudePath) {
    CReporter::Line("ERROR: no altitude file defined");
    return false;
  }
  CStreamReader stream;
  const bool bOpen = stream.Open(szAltitudePath.get());
  if (bOpen) {
    altitudeMap.Init(1080, 2160);
    altitudeMap.Read(stream);
  } else {
    CReporter::Print("ERROR: Unable to open file %s\n", szAltitudePath.get());
  }
  CReporter::LostIfThere(szAltitudePath.get(), stream.Error());
  return bOpen;
}

bool CConfigParam::L2Requested() const {
  return std::find(std::begin(arbL2), std::end(arbL2), true) != std::end(arbL2);
}

CChannelSelection CConfigParam::Channels(int nLimit) const {
  std::vector<CChannelSelection::SRange> arRanges;
  arRanges.reserve(arChannels.Count());
  for (int i = 0; i < arChannels.Count(); ++i) arRanges.push_back({arChannels[i]->nMin, arChannels[i]->nMax});
  return CChannelSelection(std::move(arRanges), nLimit);
}
