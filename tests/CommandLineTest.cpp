#include <gtest/gtest.h>

#include <cerrno>
#include <iterator>
#include <set>
#include <sstream>

#include "TestSupport.h"
#include "app/ConfigParam.h"
#include "app/VexApp.h"
#include "filter/Filter.h"
#include "kernel/Reporter.h"
#include "options/Option.h"

namespace {

const std::string BANNER =
    "vex application version 4.0.000 alpha -> lecteur L1 et TWT/L2  disponible 2019/11\n";

using TArguments = std::vector<std::string>;

/// One option given to config: the result code followed by what is printed.
std::string Interpret(CConfigParam& config, const char* szName, const char* szValue) {
  const CReportCapture said;
  const int nResult = config.InterpretParam(szName, szValue);
  return std::to_string(nResult) + " " + said.Text();
}

TArguments Words(const std::string& szText) {
  std::istringstream words(szText);
  return {std::istream_iterator<std::string>(words), {}};
}

/// What a run prints behind the banner, the help text as "HELP\n". The exit status is always 0.
std::string Output(const TArguments& arArguments) {
  static const std::string HELP = RunVex({"-h"}).szOutput.substr(BANNER.size());
  const SRun run = RunVex(arArguments);
  EXPECT_EQ(run.nStatus, 0);
  EXPECT_EQ(run.szErrors, "");
  EXPECT_EQ(run.szOutput.substr(0, BANNER.size()), BANNER);
  std::string szOutput = run.szOutput.substr(BANNER.size());
  const size_t nHelp = szOutput.find(HELP);
  return nHelp == std::string::npos ? szOutput : szOutput.replace(nHelp, HELP.size(), "HELP\n");
}

}  // namespace

TEST(Options, EchoAndResult) {
  const std::string NAME_200(200, 'n'), LONG_BOX = "1-2,3-4," + NAME_200 + "nn",
                                        LONG_ECHO = "1 -box 3: 1-2, 3-4, " + NAME_200 + "\n";
  const struct {
    const char *szName, *szValue, *szWanted;
  } arCases[] = {
      {"H", nullptr, "0 "},
      {"cfg", "a%sb", "1 -cfg a%sb\n"},
      {"ef", " \r a\t|\n b |", "1 -ef a|b|\n"},
      {"ef2", "c", "1 -ef2 c\n"},
      {"mf", "a, b", "1 -mf a|b\n"},
      {"mf2", "c,d", "1 -mf2 c|d\n"},
      {"of", "bin", "1 -of 1\n"},
      {"of", "txt", "1 -of 2\n"},
      {"of", "txtstat", "1 -of 3\n"},
      {"of", "text", "3 Unable to interpret parameter value text\n"},
      {"fd", "2011-03-155", "1 -fd 2011-03-15\n"},
      {"ld", "20110-03-15", "3 "},
      {"bi", "-7", "1 -bi 1\n"},
      {"t2", "foo,ozo", "3 Unable to decode L2 type of product foo\n-t2 ozo\n"},
      {"t2", "twt, foo,ems", "1 -t2 twt\n-t2 ems\n"},
      {"mila", "-45.50", "1 -mila -45.5\n"},
      {"c", "1-5,10,abc, 7-x,-3-2,5--1",
       "3 -c 1-5\n-c 10\nUnable to decode parameter channel abc\n-c 7\n-c -3-2\n-c 5--1\n"},
      {"on", "x,99999999999", "3 Unable to decode parameter orbit x\n-on 2147483647\n"},
      {"sln", "1 - 5,x%d", "3 -sln 1\nUnable to decode parameter scan line x%d\n"},
      {"fov", "4-1,y", "3 -fov 4-1\nUnable to decode parameter field of view y\n"},
      {"mca", "50.9", "1 -mca 50\n"},
      {"maxres", "-99999999999999999999999", "1 -maxres -2147483648\n"},
      {"lf", "10-20.25", "1 -lf 10-20.25\n"},
      {"va", "50", "1 -va 50-50\n"},
      {"tb", "01", "3 "},
      {"tp", "day", "1 -tp day (1)\n"},
      {"tp", "night", "1 -tp night (2)\n"},
      {"tp", "all", "1 -tp all (0)\n"},
      {"st", "sea", "1 -st 1\n"},
      {"st", "land", "1 -st 2\n"},
      {"st", "all", "1 -st 0\n"},
      {"qlt", "yYx", "1 -qlt ynn\n"},
      {"tr", "06h00m00s,1h2m3s-22h30m59s,1h2m3s-4h,x",
       "3 -tr 06h00m00s\n-tr 01h02m03s-22h30m59s\nUnable to decode parameter time period 1h2m3s-4h\n"
       "Unable to decode parameter time period x\n"},
      {"boxstat", "5", "3 "},
      {"boxstat", "90-180", "1 -boxstat 90-180\n"},
      {"histpix", "0.0001-0.001,100", "1 -histpix 0.0001-0.001,100\n"},
      {"histlat", "0-1,0", "3 "},
      {"histlat", "0-1,1", "1 -histlat 0-1,1\n"},
      {"histsnow", "10-10,5", "3 "},
      {"box", "43-44,1-2,Marevill", "1 -box 1: 43-44, 1-2, Marevill\n"},
      {"box", "-10 - -5.5,-1-2,\tb\xFF% c", "1 -box 2: -10--5.5, -1-2, b\xFF%\n"},
      {"box", LONG_BOX.c_str(), LONG_ECHO.c_str()},
  };
  CConfigParam config;
  for (const auto& c : arCases) {
    EXPECT_EQ(Interpret(config, c.szName, c.szValue), c.szWanted)
        << c.szName << " " << (c.szValue ? c.szValue : "");
  }
}

TEST(Options, KeepReplaceOrPartlyChange) {
  CConfigParam config;
  Interpret(config, "sf", "7-x");  // not accepted, but read up to there
  EXPECT_TRUE(config.snowFraction.fMin == 7 && config.snowFraction.fMax == -1 && !config.snowFraction.bOn);
  for (const char* szValue : {"yn", "yyyy", static_cast<const char*>(nullptr)}) {
    Interpret(config, "qlt", "nyy");
    Interpret(config, "qlt", szValue);
    EXPECT_FALSE(config.arbQuality[1] || config.arbQuality[2]);
  }
  Interpret(config, "boxstat", "90-180");
  Interpret(config, "boxstat", "0");
  EXPECT_TRUE(!config.bBoxStat && config.nBoxStatLatitudes == 90 && config.nBoxStatLongitudes == 180);
}

// Each option that filters has a row among the filters, and the header of statistics has it with its value.
TEST(CommandLine, StatisticsNameEveryFilter) {
  std::set<std::string> named = {"alt"};
  for (const std::string szFilter : {"-ef bin|x",    "-ef2 y",
                                     "-mf a,b",      "-mf2 c",
                                     "-mila -45.5",  "-mala 45",
                                     "-milo -0.5",   "-malo 12",
                                     "-on 5-7,9",    "-sln 8-9",
                                     "-fov 1,3-4",   "-va 10-20",
                                     "-tp night",    "-tp day",
                                     "-st land",     "-st sea",
                                     "-qlt nyn",     "-mca 99",
                                     "-lca 1",       "-lf 0.5-50",
                                     "-sf 3-4",      "-avg 0-0.001",
                                     "-var 0-0.002", "-skip 6",
                                     "-maxres 7",    "-tr 01h02m03s-04h05m06s,07h08m09s-07h08m09s"}) {
    CConfigParam config;
    const size_t nBlank = szFilter.find(' ');
    const std::string szName = szFilter.substr(1, nBlank - 1);
    EXPECT_EQ(Interpret(config, szName.c_str(), &szFilter[nBlank + 1])[0], '1');
    EXPECT_EQ(FiltersInForce(config), TArguments{szFilter});
    named.insert(szName);
  }
  for (const SFilter& filter : Filters()) EXPECT_TRUE(named.count(filter.szOption)) << filter.szOption;
  for (const SOption& option : OptionSections()[1].options)
    EXPECT_TRUE(named.count(option.szName)) << option.szName;
  CConfigParam config;
  Interpret(config, "mf", "a\nb\rc");
  Interpret(config, "tr", "01h02m03s");
  EXPECT_EQ(FiltersInForce(config), (TArguments{"-mf a b c", "-tr 01h02m03s-01h02m03s"}));
}

TEST(CommandLine, HelpText) {
  EXPECT_EQ(RunVex({"-h"}).szOutput, BANNER + ReadWholeFile(GOLDEN_FOLDER "/help.txt"));
}

TEST(CommandLine, EndsBeforeExtraction) {
  const struct {
    const char *szArguments, *szWanted;
  } arCases[] = {
      {"",
       "Error: output file path is missing\nError: you must at least request -h, -c, -avhrr or -t2\n"
       "Error: time period must be specified with -fd and -ld\n"},
      {"-c", "Missing value for parameter:c\nHELP\n"},
      {"-", "HELP\n"},
      {"-x -mila -45 - --help", "Unknown parameter:x\n-mila -45\nUnknown parameter:-help\nHELP\n"},
      {"-h -mila -0.5 -mala -9", "-mila -0.5\n-mala -9\nHELP\n"},
      {"-h -qlt yn", "Invalid parameter:qlt with value:yn\nHELP\n"},
      {"-h -out o", "-out o\nHELP\n"},
      {"-d i -c 1 -fd 2011-03-15 -ld 2011-03-15",
       "-d i\n-c 1\n-fd 2011-03-15\n-ld 2011-03-15\nError: output file path is missing\n"},
      {"-cfg /nonexistent/c",
       "-cfg /nonexistent/c\nERROR: unable to open configuration file (/nonexistent/c)!\nHELP\n"},
      {"-cfg /nonexistent/c -x",
       "-cfg /nonexistent/c\nUnknown parameter:x\nERROR: unable to open configuration file "
       "(/nonexistent/c)!\nHELP\n"},
      {"-out o -d i -c 1 -fd 2011-03-15 -ld 2011-03-15 -of txtstat -box 1-2,3-4,b",
       "-out o\n-d i\n-c 1\n-fd 2011-03-15\n-ld 2011-03-15\n-of 3\n-box 1: 1-2, 3-4, b\n"
       "Error: box definition only in extraction mode (of=bin or of=txt)\n"},
  };
  for (const auto& c : arCases) EXPECT_EQ(Output(Words(c.szArguments)), c.szWanted) << c.szArguments;
}

TEST(CommandLine, ConfigurationFile) {
  CTempDir dir;
  const std::string szLong(1'000'000, 'v');
  const std::string szPiece = szLong.substr(0, 299'999 - 4);  // of a line that is read in four
  const std::string szConfig =
      "#c=1\n\n out = result%n.bin \r\nh=1\nc\na=b=c\n =x\nmca=x\nd=\n c=1-2\n x = y z#\n" +
      ("alt=" + szLong + "=9\n") + "cfg=other\n" + std::string("tb=1\0=0\n", 8) + "lca=5" +
      std::string("\n\0mila=1\nmala=2\n", 16);
  const std::string szPath = dir.Write("run.cfg", szConfig);
  EXPECT_EQ(Output({"-cfg", szPath, "-c", "7", "-x"}),
            "-cfg " + szPath + "\n-c 7\nUnknown parameter:x\n-out result%n.bin\n" +
                "Unknown configuration parameter:\nInvalid configuration parameter:mca with value:x\n" +
                "-d \n-c 1-2\nUnknown configuration parameter:x\n-alt " + szPiece + "\n" +
                "Unknown configuration parameter:" + szLong.substr(0, 1'000'000 + 4 - 3 * 299'999) + "\n" +
                "-cfg other\n-tb 1\n-lca 5\nHELP\n");
}

// Options that are echoed as they are given; with bUsable all that is printed up to the altitude grid.
TEST(CommandLine, RequestsAreChecked) {
  const struct {
    const char *szArguments, *szMessages;
    bool bUsable = false;
  } arCases[] = {
      // Each error alone.
      {"-fd 2011-03-15 -ld 2011-03-15 -avhrr 1", "Error: input directory path for L1c data is missing\n"},
      {"-fd 2011-03-15 -ld 2011-03-15 -t2 clp", "Error: input directory path for L2 data is missing\n"},
      {"-fd 2011-03-15 -ld 2011-03-15 -d i -d2 i",
       "Error: you must at least request -h, -c, -avhrr or -t2\n"},
      {"-fd 2011-03-15 -d i -c 1",
       "Error: time period must be specified with -fd and -ld\nError: last date must be after first date\n"},
      {"-ld 2011-03-15 -d i -c 1", "Error: time period must be specified with -fd and -ld\n"},
      {"-fd 2011-03-15 -ld 2011-03-14 -d i -c 1", "Error: last date must be after first date\n"},
      {"-d2 i -t2 clp -ld 2011-03-15", ""},
      {"-myd2 i -t2 clp -ld 2011-03-15", "Error: time period must be specified with -fd and -ld\n"},
      {"-d2 i -t2 clp -fd 2011-03-15", "Error: last date must be after first date\n"},
      // Day 31 against the 1st of the next month: months count as 30.4375 days.
      {"-d i -c 1 -fd 2011-02-32 -ld 2011-03-01", "Error: last date must be after first date\n"},
      {"-d2 i -d i -t2 ems -mca 99 -qlt nny -tb 1 -histsnow 0-1,2 -boxstat 1 -stsext 1",
       "Warning: mca filter not applied in L2 extraction\n"
       "Warning: qlt filter not applied in L2 extraction\n"
       "Warning: L1c input directory specified but no L1c extraction requested\n"
       "Warning: conversion to brightness temperature available only in L1c extraction or statistics\n"
       "Warning: histograms only for L1c spectrums\nWarning: histograms only in txtstat mode\n"
       "Warning: boxstat only in txtstat mode\nWarning: st/tp stat only in txtstat mode\n",
       true},
      {"-of txtstat -t2 ozo -c 5 -d i -myd2 i", "Warning: statistics on L2 products only in boxstat mode\n",
       true},
      {"-mca 99 -qlt yyy -avhrr 1 -d i -myd2 i",
       "Warning: L2 input directory specified but no L2 extraction requested\n", true},
  };
  for (const auto& c : arCases) {
    const TArguments arWords = Words(std::string(c.bUsable ? "-fd 2011-03-15 -ld 2011-03-15 " : "") +
                                     c.szArguments + " -out /none/o -alt /none");
    std::string szEcho;
    for (size_t n = 0; n < arWords.size(); n += 2)
      szEcho += arWords[n] + " " + (arWords[n + 1] == "txtstat" ? "3" : arWords[n + 1]) + "\n";
    const std::string szOutput = Output(arWords);
    const size_t nGrid = szOutput.find("ERROR: Unable to open file /none\n");
    EXPECT_EQ(nGrid != std::string::npos, c.bUsable) << szOutput;
    EXPECT_EQ(szOutput.substr(0, nGrid), szEcho + c.szMessages);
  }
}

// No command line leads here. Nothing can be opened, and a run that has not begun has not failed.
TEST(CommandLine, ExtractsNothingWithoutAnOutput) {
  const struct {
    const char *szArguments, *szFiles;
  } arCases[] = {
      {"-c 1", "ERROR: ouverture fichier \n"},
      {"-c 1 -of txtstat -stsext 1", "ERROR: ouverture fichier \n"},
      {"-t2 ozo -box 0-1,0-1,a -box 0-1,0-1,b",
       "ERROR: ouverture fichier .a.txt\nERROR: ouverture fichier .b.txt\n"},
  };
  for (const auto& c : arCases) {
    TArguments arWords = Words(std::string("-alt /none ") + c.szArguments);
    std::vector<char*> arArguments;
    for (std::string& szWord : arWords) arArguments.push_back(szWord.data());
    CVexApp app;
    const CReportCapture said;
    ASSERT_TRUE(app.InterpretParams(static_cast<int>(arArguments.size()), arArguments.data()));
    EXPECT_TRUE(app.ExtractL1L2());
    EXPECT_TRUE(said.Text().ends_with(std::string("\nPrepare for reading...\n") + c.szFiles +
                                      "Extraction succeeded in 0s\n"))
        << said.Text();
  }
}

TEST(Reporter, KeepsLinesApart) {
  const auto Say = [] {
    CReporter::FreshLine();
    CReporter::Text("open");
    {
      const CReportCapture other;
      CReporter::Line("says elsewhere");
    }
    CReporter::FreshLine();
    CReporter::FreshLine();
    CReporter::Print("%s\n", std::string(5000, 'x').c_str());
    CReporter::FreshLine();
    CReporter::Print("%d", 7);
    CReporter::Text("");
    CReporter::Lost("a\nb", "%s %d", std::string(5000, 'y').c_str(), 7);
    CReporter::LostIfThere("c", EIO);
    for (const int nError : {0, ENOENT, ENOTDIR}) CReporter::LostIfThere("d", nError);
    CReporter::FreshLine();
  };
  const std::string szExpected = "open\n" + std::string(5000, 'x') + "\n7\n",
                    szLosses = "vex: a?b: " + std::string(5000, 'y') + " 7\nvex: c: Input/output error\n";
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  Say();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), szExpected);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), szLosses);
  const CReportCapture said;
  Say();
  EXPECT_EQ(said.Text(), szExpected);
  EXPECT_EQ(said.Losses(), szLosses);
}
