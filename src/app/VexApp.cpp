#include "app/VexApp.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bufr/StreamReader.h"
#include "extract/Extractor.h"
#include "kernel/Reporter.h"
#include "options/Option.h"

namespace {

constexpr char EXAMPLES[] =
    "Examples:\n"
    " vex -h\n"
    " vex -d /korvat/IASI/L1C -out result.bin -fd 2011-03-15 -ld 2011-03-15 -c 1-8461\n"
    " vex -d2 /korvat/IASI/L2 -out 20130420trg.bin -fd 2013-04-20 -ld 2013-04-20 -t2 trg\n"
    " vex -d /korvat/IASI/L1C -d2 /korvat/IASI/L2 -out 20120510L1L2.bin -fd 2012-05-10 -ld 2012-05-10 -c 1-5 "
    "-t2 ozo\n";

/// Words without a text of their own: " (a, b or c)".
std::string ListOf(const std::vector<SChoice>& arChoices) {
  std::string szList;
  for (size_t i = 0; i < arChoices.size() && !*arChoices[i].szHelp; ++i)
    szList.append(i == 0 ? " (" : i + 1 < arChoices.size() ? ", " : " or ").append(arChoices[i].szWord);
  return szList.empty() ? "" : szList + ")";
}

void ShowOption(const SOption& option) {
  const auto arChoices = option.way.pChoices ? option.way.pChoices() : std::vector<SChoice>();
  CReporter::Print(" -%s%s%s : %s%s\n", option.szName, *option.szArgument ? " " : "", option.szArgument,
                   option.szHelp, ListOf(arChoices).c_str());
  for (const SChoice& choice : arChoices)
    if (*choice.szHelp) CReporter::Print("   %s : %s\n", choice.szWord, choice.szHelp);
}

/// What the consistency checks look at.
struct SRequest {
  const CConfigParam& config;
  bool bL1C = config.L1CRequested();
  bool bL2 = config.L2Requested();
  bool bL2Dir = config.szL2Dir || config.szIndepL2Dir;
  bool bTxtStat = config.nFormat == CConfigParam::FORMAT_TXTSTAT;
  bool bBoxes = config.arBoxes.Count() > 0;
  bool bQuality = AnyOf(config.arbQuality, [](bool b) { return b; });
  bool bHisto = AnyOf(config.arHistos, [](const SHistoParam& histo) { return histo.bOn; });
  double fFirstDay = Days(config.firstDate);
  double fLastDay = Days(config.lastDate);

  template <class T, size_t n, class F>
  static bool AnyOf(const T (&ar)[n], F condition) {
    return std::any_of(std::begin(ar), std::end(ar), condition);
  }
  /// Every month of the same length: enough to tell which date is later.
  static double Days(const SDate& date) {
    return date.nYear * 365.25 + date.nMonth * 365.25 / 12 + date.nDay;
  }
};

struct SMessage {
  bool (*pApplies)(const SRequest&);
  const char* szText;
};

constexpr SMessage WARNINGS[] = {
    {[](const SRequest& r) { return r.config.FiltersMaxCloud() && !r.bL1C; },
     "Warning: mca filter not applied in L2 extraction"},
    {[](const SRequest& r) { return r.bQuality && !r.bL1C; },
     "Warning: qlt filter not applied in L2 extraction"},
    {[](const SRequest& r) { return r.config.szL1CDir && !r.bL1C; },
     "Warning: L1c input directory specified but no L1c extraction requested"},
    {[](const SRequest& r) { return r.bL2Dir && !r.bL2; },
     "Warning: L2 input directory specified but no L2 extraction requested"},
    {[](const SRequest& r) { return r.config.bBrightnessTemperature && !r.bL1C; },
     "Warning: conversion to brightness temperature available only in L1c extraction or statistics"},
    {[](const SRequest& r) { return r.bTxtStat && r.bL2 && !r.config.bBoxStat; },
     "Warning: statistics on L2 products only in boxstat mode"},
    {[](const SRequest& r) { return r.bHisto && r.bL2; }, "Warning: histograms only for L1c spectrums"},
    {[](const SRequest& r) { return r.bHisto && !r.bTxtStat; }, "Warning: histograms only in txtstat mode"},
    {[](const SRequest& r) { return r.config.bBoxStat && !r.bTxtStat; },
     "Warning: boxstat only in txtstat mode"},
    {[](const SRequest& r) { return r.config.bSurfacePeriodStat && !r.bTxtStat; },
     "Warning: st/tp stat only in txtstat mode"},
};

// These explain why a run is not usable; whether it is, Usable() decides. The two differ: with -d2 a missing
// date stops the run without a word.
constexpr SMessage ERRORS[] = {
    {[](const SRequest& r) { return r.bL1C && !r.config.szL1CDir; },
     "Error: input directory path for L1c data is missing"},
    {[](const SRequest& r) { return r.bL2 && !r.bL2Dir; },
     "Error: input directory path for L2 data is missing"},
    {[](const SRequest& r) { return !r.config.szOutputPath; }, "Error: output file path is missing"},
    {[](const SRequest& r) { return !r.bL1C && !r.bL2; },
     "Error: you must at least request -h, -c, -avhrr or -t2"},
    {[](const SRequest& r) {
       return (r.config.firstDate.nYear == 0 || r.config.lastDate.nYear == 0) && !r.config.szL2Dir;
     },
     "Error: time period must be specified with -fd and -ld"},
    {[](const SRequest& r) { return r.fFirstDay > r.fLastDay; }, "Error: last date must be after first date"},
    {[](const SRequest& r) { return r.bBoxes && r.bTxtStat; },
     "Error: box definition only in extraction mode (of=bin or of=txt)"},
};

bool Usable(const SRequest& r) {
  return r.config.szOutputPath && ((r.bL1C && r.config.szL1CDir) || (r.bL2 && r.bL2Dir)) &&
         r.config.firstDate.nYear >= 1 && r.config.lastDate.nYear >= 1 && r.fLastDay >= r.fFirstDay &&
         !(r.bBoxes && r.bTxtStat);
}

template <size_t nMessages>
void Report(const SMessage (&arMessages)[nMessages], const SRequest& request) {
  for (const SMessage& message : arMessages) {
    if (message.pApplies(request)) CReporter::Line(message.szText);
  }
}

void ReportNoMemory() {
  CReporter::FreshLine();
  CReporter::Line("Error: extraction failed!");
}

/// False when there is so little memory that not even an exception can tell of it.
bool HasLeastMemory() {
  constexpr size_t LEAST = 256 * 1024;
  void* volatile pLeast = std::malloc(LEAST);  // or compilers may do without the call
  const bool bThere = pLeast != nullptr;
  std::free(pLeast);
  return bThere;
}

}  // namespace

int CVexApp::Start(int nArguments, char** arArguments) noexcept {
  if (!HasLeastMemory()) {
    ReportNoMemory();
    return 0;
  }
  try {
    return CVexApp().Main(nArguments, arArguments);
  } catch (...) {  // not even for the parameters
    ReportNoMemory();
  }
  return 0;
}

int CVexApp::Main(int nArguments, char** arArguments) noexcept {
  try {
    Run(nArguments, arArguments);
  } catch (...) {  // out of memory
    ReportNoMemory();
  }
  return 0;
}

void CVexApp::Run(int nArguments, char** arArguments) {
  CReporter::Line("vex application version 4.0.000 alpha -> lecteur L1 et TWT/L2  disponible 2019/11");
  const bool bInterpreted = InterpretParams(nArguments, arArguments);
  if (m_config.bHelp || !bInterpreted) ShowHelp();
  if (!bInterpreted) return;
  const SRequest request{m_config};
  if (Usable(request)) {
    Report(WARNINGS, request);
    ExtractL1L2();
  } else if (!m_config.bHelp) {
    Report(ERRORS, request);
  }
}

bool CVexApp::InterpretParams(int nArguments, char** arArguments) {
  const bool bCommandLine = InterpretCommandLine(nArguments, arArguments);
  if (!m_config.szConfigPath) return bCommandLine;
  // The file may replace the path that it was found by.
  m_config.szConfigFile = CConfigParam::DuplicateString(m_config.szConfigPath.get());
  return InterpretConfigFile(m_config.szConfigFile.get()) && bCommandLine;
}

/// An option does not use up the argument that is its value: that one comes up next, and is passed over
/// because it does not begin with a dash, or, like "-90", with a dash and a digit.
bool CVexApp::InterpretCommandLine(int nArguments, char** arArguments) {
  bool bResult = true;
  for (int i = 0; i < nArguments; ++i) {
    const char* szArgument = arArguments[i];
    if (szArgument[0] != '-') continue;
    const char cFirst = szArgument[1];
    if (cFirst >= '0' && cFirst <= '9') continue;
    const char* szValue = i + 1 < nArguments ? arArguments[i + 1] : nullptr;
    bResult &= cFirst != 0 && InterpretOption("", szArgument + 1, szValue);
  }
  return bResult;
}

bool CVexApp::InterpretConfigFile(const char* szPath) {
  constexpr int LINE_SIZE = 300000;
  CStreamReader stream;
  bool bResult = stream.Open(szPath);
  const auto szLine = std::make_unique<char[]>(LINE_SIZE);
  while (stream.Gets(LINE_SIZE, szLine.get()) >= 1) {
    if (szLine[0] == '#') continue;
    CStrArray arPieces;
    arPieces.SplitAdd(szLine.get(), '=', true);
    if (arPieces.Count() != 2) continue;
    bResult &= InterpretOption("configuration ", arPieces.GetStringAt(0), arPieces.GetStringAt(1));
  }
  // One that breaks off is as good as none: half of the options would make another run.
  if (stream.Failed()) CReporter::Print("ERROR: unable to open configuration file (%s)!\n", szPath);
  CReporter::LostIfThere(szPath, stream.Error());
  return bResult && !stream.Failed();
}

/// Passes one option on and tells why it was not accepted. szKind comes before "parameter" in the message.
bool CVexApp::InterpretOption(const char* szKind, const char* szName, const char* szValue) {
  const int nResult = m_config.InterpretParam(szName, szValue);
  switch (nResult) {
    case CConfigParam::UNKNOWN:
      CReporter::Print("Unknown %sparameter:%s\n", szKind, szName);
      break;
    case CConfigParam::MISSING_VALUE:
      CReporter::Print("Missing value for %sparameter:%s\n", szKind, szName);
      break;
    case CConfigParam::INVALID_VALUE:
      CReporter::Print("Invalid %sparameter:%s with value:%s\n", szKind, szName, szValue);
      break;
    default:
      break;
  }
  return nResult == CConfigParam::ACCEPTED;
}

void CVexApp::ShowHelp() {
  CReporter::Text("VEX application\nUsage:\n");
  for (const SOptionSection& section : OptionSections()) {
    CReporter::Print("********** %s OPTIONS **********\n", section.szTitle);
    for (const SOption& option : section.options)
      if (option.bShownFirst) ShowOption(option);
    for (const SOption& option : section.options) ShowOption(option);
  }
  CReporter::Text(EXAMPLES);
}

bool CVexApp::ExtractL1L2() {
  const auto pExtractor = std::make_unique<CExtractor>();
  const int64_t nStart = std::clock();
  const bool bSuccess = pExtractor->Extract(&m_config);
  if (bSuccess) {
    CReporter::Print("Extraction succeeded in %ds\n",
                     static_cast<int>((std::clock() - nStart) / CLOCKS_PER_SEC));
  } else {
    CReporter::Line("Error: extraction failed!");
  }
  return bSuccess;
}
