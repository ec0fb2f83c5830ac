#include "app/ConfigParam.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
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

using C = CConfigParam;

constexpr SOption GENERAL[] = {
    {"h", Help, "", "show help", nullptr, true},
    {"cfg", Path<&C::szConfigPath>, "cfg_file_path", "specify a path for the configuration file"},
    {"d", Path<&C::szL1CDir>, "input_dir_path", "specify a path for the input directory"},
    {"d2", Path<&C::szL2Dir>, "L2_input_dir_path", "specify a path for the L2 input directory"},
    {"myd2", Path<&C::szIndepL2Dir>, "Indep_L2_input_dir_path",
     "specify a path for Indep L2 input directory"},
    {"out", Path<&C::szOutputPath>, "output_file_path", "specify a path for the output file"},
    {"of", Format, "output_format", "specify a format for the output file", FormatWords},
    {"fd", Date<&C::firstDate>, "first_date", "first date to take into account yyyy-mm-dd"},
    {"ld", Date<&C::lastDate>, "last_date", "last date to take into account yyyy-mm-dd"},
    {"c", RangeList<&C::arChannels, CHANNEL>, "channel_number",
     "L1C channel ranges to extract cccc,cccc-cccc"},
    {"avhrr", Switch<&C::bAvhrr>, "1", "extracts L1C avhrr data"},
    {"t2", L2Kinds, "", "specify the L2 product types to extract", L2Words},
    {"tb", Switch<&C::bBrightnessTemperature>, "1", "convert to brightness temperature"},
    {"tbref", Real<&C::fReferenceTemperature>, "280",
     "reference temperature used for expression of standard deviations in brightness temperature"},
    {"maxres", Int<&C::nMaxResults>, "max_spectrum", "maximum data count to extract"},
    {"skip", Int<&C::nSkip>, "skip_spectrum", "spectrum count to skip", nullptr, false, true},
    {"bi", NumericSwitch<&C::bBigEndian>, "1", "write data in big  endian byte order"},
    {"box", Box, "43-44,1-2,Marevill", "extraction in geographical boxes. 1 file created per box"},
};

constexpr SOption FILTERING[] = {
    {"mila", Real<&C::fMinLatitude>, "min_latitude", "minimum latitude to take into account"},
    {"mala", Real<&C::fMaxLatitude>, "max_latitude", "maximum latitude to take into account"},
    {"milo", Real<&C::fMinLongitude>, "min_longitude", "minimum longitude to take into account"},
    {"malo", Real<&C::fMaxLongitude>, "max_longitude", "maximum longitude to take into account"},
    {"on", RangeList<&C::arOrbits, ORBIT>, "orbit_number", "orbit range to extract o-o"},
    {"sln", RangeList<&C::arScanLines, SCAN_LINE>, "scan_line_number", "scan line range s-s"},
    {"fov", RangeList<&C::arFieldsOfView, FIELD_OF_VIEW>, "field_of_view_number", "field of view range s-s"},
    {"va", RealRange<&C::viewingAngle, true>, "viewing_angle", "viewing angle range v-v"},
    {"tr", TimePeriods, "time_period", "filtering time periods xxhxxmxxs-xxhxxmxxs,xxhxxmxxs-xxhxxmxxs"},
    {"tp", Word<&C::nPeriod, PERIODS>, "time_period", "specify the requested time period", Words<PERIODS>},
    {"st", Word<&C::nSurface, SURFACES>, "surface type", "specify the requested surface type",
     Words<SURFACES>},
    {"alt", Path<&C::szAltitudePath>, "altitude_database_path",
     "specify a path for the altitude database file"},
    {"qlt", Quality, "xxx", "L1C level 1 quality flags", nullptr, true},
    {"mca", Int<&C::nMaxCloudAmount>, "max_cloud_amount", "L1C cloud amount maximum value"},
    {"lca", Int<&C::nMinCloudAmount>, "min_cloud_amount", "L1C cloud amount minimum value"},
    {"sf", RealRange<&C::snowFraction>, "snow_fraction", "snow fraction range s-s"},
    {"lf", RealRange<&C::landFraction>, "land_fraction", "land fraction range l-l"},
    {"avg", RealRange<&C::averageIIS>, "averageIIS_range", "averageIIS range s-s"},
    {"var", RealRange<&C::varianceIIS>, "varianceIIS_range", "varianceIIS range s-s"},
    {"ef", List<&C::arL1CExtensions, '|'>, "extension_filter", "specify an extension filter (l1_bufr)"},
    {"ef2", List<&C::arL2Extensions, '|'>, "L2_extension_filter", "specify an extension filter (l2_bufr)"},
    {"mf", List<&C::arL1CMotifs, ','>, "motif_filter", "specify a generic motif filter for L1c products"},
    {"mf2", List<&C::arL2Motifs, ','>, "L2_motif_filter", "specify a generic motif filter for L2 products"},
};

constexpr SOption STAT[] = {
    {"sk", Switch<&C::bSkewnessKurtosis>, "1", "Adds skewness and kurtosis to txtstat"},
    {"stsext", Switch<&C::bSurfacePeriodStat>, "1", "pixel stats and precise end of file names"},
    {"boxstat", BoxStat, "1", "statistics on pixel geographical repartition", Words<MESHES>},
    {"histlat", Histo<HISTO_LAT>, "-90-90,180",
     "histogram with latitude classes: range and number of classes"},
    {"histpix", Histo<HISTO_PIX>, "0.0001-0.001,100",
     "histogram with radiance classes: range and number of classes"},
    {"histcloud", Histo<HISTO_CLOUD>, "0-100,10",
     "histogram with cloud fraction classes: range and number of classes"},
    {"histland", Histo<HISTO_LAND>, "0-100,10",
     "histogram with land fraction classes: range and number of classes"},
    {"histsnow", Histo<HISTO_SNOW>, "0-100,10",
     "histogram with snow fraction classes: range and number of classes"},
    {"histavg", Histo<HISTO_AVG>, "0-0.002,100",
     "histogram with averageIIS classes: range and number of classes"},
    {"histvar", Histo<HISTO_VAR>, "0-0.001,100",
     "histogram with varianceIIS classes: range and number of classes"},
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
      if (!szValue && !option.bNullAllowed) return MISSING_VALUE;
      return option.pApply(*this, szName, szValue);
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
  bAltitudeFailed = stream.Failed();
  if (bAltitudeFailed) altitudeMap.Init(0, 0);
  return bOpen && !bAltitudeFailed;
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
