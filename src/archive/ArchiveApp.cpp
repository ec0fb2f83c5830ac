#include "archive/ArchiveApp.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <new>
#include <span>
#include <string_view>
#include <system_error>

#include "archive/ArchiveCheck.h"
#include "archive/ArchiveList.h"
#include "archive/ArchiveSort.h"
#include "archive/DatedTree.h"

namespace {

using SOptions = CArchiveApp::SOptions;

// Options

/// False when a value cannot be used.
using TApply = bool (*)(SOptions&, std::string_view szValue);

struct SOptionRow {
  const char* szName;
  const char* szValue;  // how the help calls it; empty: there is none
  const char* szHelp;
  TApply pApply;
};

template <EPlaceWay WAY>
bool SetWay(SOptions& options, std::string_view) {
  options.eWay = WAY;
  return true;
}

bool SetJson(SOptions& options, std::string_view) { return options.bJson = true; }

bool SetGap(SOptions& options, std::string_view szValue) {
  constexpr int64_t LONGEST = 1440;
  const char* pEnd = szValue.data() + szValue.size();
  const auto result = std::from_chars(szValue.data(), pEnd, options.nGapMinutes);
  return result.ec == std::errc{} && result.ptr == pEnd && options.nGapMinutes >= 0 &&
         options.nGapMinutes <= LONGEST;
}

constexpr SOptionRow SORT_OPTIONS[] = {
    {"--copy", "", "copy the files; without it the tree has symbolic links to them", SetWay<EPlaceWay::COPY>},
    {"--move", "", "move the files", SetWay<EPlaceWay::MOVE>},
};
constexpr SOptionRow LIST_OPTIONS[] = {
    {"--json", "", "print the list in JSON, each gap with its times", SetJson},
    {"--gap", "MINUTES", "print what is longer than this between two files as a gap (10)", SetGap},
};

// Commands

bool Sort(const SOptions& options) {
  std::vector<std::string> arFolders = options.arPaths;
  arFolders.pop_back();
  return CArchiveSort(options.arPaths.back(), options.eWay).Run(arFolders);
}

bool List(const SOptions& options) {
  return CArchiveList(options.arPaths[0], options.nGapMinutes, options.bJson).Run();
}

bool Check(const SOptions& options) { return CArchiveCheck(options.arPaths[0]).Run(); }

struct SCommand {
  const char* szName;
  const char* szForm;  // what it takes
  const char* szAbout;
  std::span<const SOptionRow> options;
  size_t nLeast, nMost;  // paths
  bool bTree;            // the root must hold a tree already
  bool (*pRun)(const SOptions&);
};

constexpr SCommand COMMANDS[] = {
    {"sort", "FOLDER... ROOT",
     "make the dated tree ROOT out of the files in FOLDER and all folders below: L1C\n"
     "  files into ROOT/L1C/YYYY/MM/DD, L2 files into ROOT/L2/YYYY/MM/DD/KIND",
     SORT_OPTIONS, 2, SIZE_MAX, false, Sort},
    {"list", "ROOT",
     "list the days and products of the tree: files, messages, pixels, bytes, first\n"
     "  and last time, gaps",
     LIST_OPTIONS, 1, 1, true, List},
    {"check",
     "ROOT",
     "look for files that are cut short, foreign, doubled, or in the folder of another\n"
     "  day or product",
     {},
     1,
     1,
     true,
     Check},
};

void PrintHelp() {
  std::puts("Usage: vex-archive COMMAND ...\n\nSorts, lists and checks archives of BUFR files for vex.\n");
  for (const SCommand& command : COMMANDS) {
    std::printf("vex-archive %s %s%s\n  %s\n", command.szName, command.options.empty() ? "" : "[options] ",
                command.szForm, command.szAbout);
    for (const SOptionRow& option : command.options) {
      const std::string szName = option.szName + (*option.szValue ? std::string(" ") + option.szValue : "");
      std::printf("  %-15s %s\n", szName.c_str(), option.szHelp);
    }
    std::puts("");
  }
  std::puts(
      "  -h, --help      print this help\n\n"
      "exit status:\n"
      "  0  all files are sorted or listed, or no problem was found\n"
      "  1  files were left, files could not be read, or problems were found\n"
      "  2  the command line is wrong, or ROOT holds no archive");
}

int Refuse(const std::string& szWhat) {
  std::fprintf(stderr, "vex-archive: %s (see vex-archive --help)\n", szWhat.c_str());
  return CArchiveApp::WRONG_USE;
}

/// Takes the option at an argument, and its value, behind '=' or the next argument. Returns what is wrong.
std::string TakeOption(const SCommand& command, int argc, char** argv, int& nAt, SOptions& options) {
  const std::string_view szArgument = argv[nAt];
  const std::string szName(szArgument.substr(0, szArgument.find('=')));
  for (const SOptionRow& row : command.options) {
    if (szName != row.szName) continue;
    const bool bJoined = szName.size() < szArgument.size();
    if (!*row.szValue) return bJoined || !row.pApply(options, {}) ? szName + " takes no value" : "";
    if (!bJoined && ++nAt >= argc) return szName + " needs a value";
    const std::string_view szValue = bJoined ? szArgument.substr(szName.size() + 1) : argv[nAt];
    return row.pApply(options, szValue) ? "" : "cannot use '" + std::string(szValue) + "' for " + szName;
  }
  return "unknown option " + szName;
}

/// Returns what is wrong with the arguments behind the command.
std::string TakeArguments(const SCommand& command, int argc, char** argv, SOptions& options) {
  bool bOptions = true;
  for (int i = 2; i < argc; ++i) {
    const std::string_view szArgument = argv[i];
    if (bOptions && szArgument == "--") {
      bOptions = false;
    } else if (bOptions && szArgument.size() > 1 && szArgument[0] == '-') {
      std::string szWrong = TakeOption(command, argc, argv, i, options);
      if (!szWrong.empty()) return szWrong;
    } else {
      options.arPaths.emplace_back(szArgument);
    }
  }
  const size_t nPaths = options.arPaths.size();
  const bool bCount = nPaths >= command.nLeast && nPaths <= command.nMost;
  return bCount ? "" : std::string(command.szName) + " takes " + command.szForm;
}

int RunCommand(const SCommand& command, int argc, char** argv) {
  SOptions options;
  const std::string szWrong = TakeArguments(command, argc, argv, options);
  if (!szWrong.empty()) return Refuse(szWrong);
  std::string& szRoot = options.arPaths.back();
  while (szRoot.size() > 1 && szRoot.ends_with('/')) szRoot.pop_back();
  if (szRoot.empty()) return Refuse("ROOT is empty");
  if (command.bTree && !CDatedTree(szRoot).IsThere()) return Refuse("no folder L1C or L2 in " + szRoot);
  return command.pRun(options) ? CArchiveApp::COMPLETE : CArchiveApp::FOUND;
}

int Interpret(int argc, char** argv) {
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    if (std::string_view(argv[i]) != "-h" && std::string_view(argv[i]) != "--help") continue;
    PrintHelp();
    return CArchiveApp::COMPLETE;
  }
  if (argc < 2) return Refuse("no command");
  for (const SCommand& command : COMMANDS)
    if (command.szName == std::string_view(argv[1])) return RunCommand(command, argc, argv);
  return Refuse("unknown command " + std::string(argv[1]));
}

}  // namespace

int CArchiveApp::Start(int argc, char** argv) {
  int nStatus = FOUND;
  try {
    nStatus = Interpret(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("vex-archive: not enough memory\n", stderr);
  }
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return nStatus;
  std::fputs("vex-archive: standard output cannot be written\n", stderr);
  return nStatus == COMPLETE ? FOUND : nStatus;
}
