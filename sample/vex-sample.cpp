#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

#include "sample/Layouts.h"
#include "sample/SampleArchive.h"
#include "sample/Scene.h"

namespace {

bool ReadInt(std::string_view szValue, int& nResult) {
  const auto result = std::from_chars(szValue.data(), szValue.data() + szValue.size(), nResult);
  return result.ec == std::errc{} && result.ptr == szValue.data() + szValue.size();
}

template <int SSampleOptions::*pMember>
bool Number(SSampleOptions& options, std::string_view szValue) {
  return ReadInt(szValue, options.*pMember);
}

template <bool SSampleOptions::*pMember>
bool On(SSampleOptions& options, std::string_view) {
  return options.*pMember = true;
}

bool Seed(SSampleOptions& options, std::string_view szValue) {
  const auto result = std::from_chars(szValue.data(), szValue.data() + szValue.size(), options.nSeed);
  return result.ec == std::errc{} && result.ptr == szValue.data() + szValue.size();
}

bool Date(SSampleOptions& options, std::string_view szValue) {
  return szValue.size() == 10 && szValue[4] == '-' && szValue[7] == '-' &&
         ReadInt(szValue.substr(0, 4), options.nYear) && ReadInt(szValue.substr(5, 2), options.nMonth) &&
         ReadInt(szValue.substr(8, 2), options.nDay);
}

bool Start(SSampleOptions& options, std::string_view szValue) {
  int nHour = 0, nMinute = 0;
  if (szValue.size() != 5 || szValue[2] != ':' || !ReadInt(szValue.substr(0, 2), nHour) ||
      !ReadInt(szValue.substr(3, 2), nMinute) || nHour < 0 || nHour > 23 || nMinute < 0 || nMinute > 59)
    return false;
  options.nFirstLine = (nHour * 60 + nMinute) * CScene::LINES_PER_DAY / (24 * 60);
  return true;
}

bool Grid(SSampleOptions& options, std::string_view szValue) {
  options.bGrid = szValue == "on";
  return szValue == "on" || szValue == "off";
}

bool Kinds(SSampleOptions& options, std::string_view szValue) {
  options.arKinds = {};
  while (!szValue.empty()) {
    const std::string_view szName = szValue.substr(0, szValue.find(','));
    szValue.remove_prefix(std::min(szValue.size(), szName.size() + 1));
    bool bKnown = false;
    for (const EKind eKind : arKinds) {
      if (szName != KindName(eKind)) continue;
      options.arKinds[static_cast<size_t>(eKind)] = bKnown = true;
    }
    if (!bKnown) return false;
  }
  return true;
}

struct SOption {
  const char* szName;
  const char* szValue;  // how the help calls the value, empty for an option without one
  const char* szHelp;
  bool (*pApply)(SSampleOptions&, std::string_view);
};

constexpr SOption arOptions[] = {
    {"--first-date", "YYYY-MM-DD", "first day, 2006-10-19 or later (2013-04-20)", Date},
    {"--days", "N", "days in a row (1)", Number<&SSampleOptions::nDays>},
    {"--messages", "N", "messages a day and kind (24)", Number<&SSampleOptions::nMessages>},
    {"--messages-per-file", "N",
     "messages of one file, consecutive in time; the files are spread\n"
     "                              over the day (12)",
     Number<&SSampleOptions::nMessagesPerFile>},
    {"--start", "HH:MM",
     "time of the first scan line of the first file (one with land, sea\n"
     "                              and snow in a small archive)",
     Start},
    {"--pixels", "N", "pixels of a message, 120 to a scan line (120)", Number<&SSampleOptions::nPixels>},
    {"--seed", "N",
     "seed of weather and noise; the same options and seed give the\n"
     "                              same bytes (1)",
     Seed},
    {"--satellite", "N", "satellite identifier: 3, 4 or 5 for MetOp-B, A or C (4)",
     Number<&SSampleOptions::nSatellite>},
    {"--kinds", "LIST", "of l1c,ozo,trg,clp,twt,ems (all)", Kinds},
    {"--layout", "1|2", "archive layout of L1C: 3-40-001 or 3-40-007 (2)", Number<&SSampleOptions::nLayout>},
    {"--l2-version", "V",
     "layout version of L2, 0 or 3 to 8, by a fitting date in section 1\n"
     "                              (that of the date and time)",
     Number<&SSampleOptions::nL2Version>},
    {"--edition", "3|4", "BUFR edition; L2 of edition 3 is of version 0 (4)",
     Number<&SSampleOptions::nEdition>},
    {"--gaps", "", "leave out some messages and pixels, others in each kind", On<&SSampleOptions::bGaps>},
    {"--missing", "", "sprinkle missing values", On<&SSampleOptions::bMissing>},
    {"--indep", "", "write L2 to DIR/L2indep/KIND as well", On<&SSampleOptions::bIndep>},
    {"--grid", "on|off", "write DIR/land_sea_alti_map.dat (on)", Grid},
};

void PrintHelp() {
  std::puts(
      "Usage: vex-sample DIR [options]\n\n"
      "Writes a made-up archive of BUFR products of an infrared sounder: L1C spectra in\n"
      "DIR/L1C/YYYY/MM/DD, five L2 products in DIR/L2/YYYY/MM/DD/KIND and a grid of\n"
      "land, sea and altitude. All kinds hold the same orbits, scan lines and fields of view.\n");
  for (const SOption& option : arOptions) {
    const std::string szName =
        std::string(option.szName) + (*option.szValue == '\0' ? "" : " ") + option.szValue;
    std::printf("  %-27s %s\n", szName.c_str(), option.szHelp);
  }
  std::puts("  -h, --help                  this text");
}

int Complain(const std::string& szWhat) {
  std::fprintf(stderr, "vex-sample: %s\n", szWhat.c_str());
  return 1;
}

// Takes one option and, where it has one, its value ("--name value" or "--name=value"); empty when all is
// well.
std::string Interpret(SSampleOptions& options, int argc, char** argv, int& nAt) {
  const std::string_view szArgument = argv[nAt];
  const std::string szName(szArgument.substr(0, szArgument.find('=')));
  for (const SOption& option : arOptions) {
    if (szName != option.szName) continue;
    std::string_view szValue;
    const bool bJoined = szName.size() < szArgument.size();
    if (bJoined) szValue = szArgument.substr(szName.size() + 1);
    if (*option.szValue == '\0' && bJoined) return szName + " takes no value";
    if (*option.szValue != '\0' && !bJoined) {
      if (++nAt >= argc) return szName + " needs a value";
      szValue = argv[nAt];
    }
    if (!option.pApply(options, szValue)) return "cannot use '" + std::string(szValue) + "' for " + szName;
    return {};
  }
  return "unknown option " + szName + " (try --help)";
}

}  // namespace

int main(int argc, char** argv) {
  SSampleOptions options;
  std::string szPath;
  for (int n = 1; n < argc; ++n) {
    if (std::strcmp(argv[n], "--help") == 0 || std::strcmp(argv[n], "-h") == 0) {
      PrintHelp();
      return 0;
    }
    if (argv[n][0] != '-' && szPath.empty()) {
      szPath = argv[n];
      continue;
    }
    const std::string szWrong = Interpret(options, argc, argv, n);
    if (!szWrong.empty()) return Complain(szWrong);
  }
  if (szPath.empty()) return Complain("no folder to write to (try --help)");
  std::string szError;
  return WriteSampleArchive(szPath, options, szError) ? 0 : Complain(szError);
}
