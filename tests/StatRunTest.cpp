#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>

#include "StatReference.h"
#include "TestArchive.h"

// The files of statistics runs against what the same run in text format gives pixel by pixel. Radiances are
// counts of at most five digits over a power of ten, which the text holds without loss. Histograms, grids and
// temperatures are held against pixels by the tests of the Python package.

namespace {

/// A pixel by the column names of the text file.
using TPixel = std::map<std::string, double>;
using TPixels = std::vector<TPixel>;

struct STable {
  std::vector<std::string> arComments, arNames;
  std::vector<std::map<std::string, double>> arRows;

  bool HasComment(const std::string& szText) const {
    return std::find(arComments.begin(), arComments.end(), "# " + szText) != arComments.end();
  }
};

/// Comments on top, one line of names, rows of as many numbers.
STable ReadTable(const std::string& szText) {
  STable table;
  EXPECT_TRUE(szText.ends_with("\n"));
  EXPECT_EQ(CountOf(szText, "\t\n"), 0);
  for (const auto& arParts : ReadTextFile(szText)) {
    if (table.arNames.empty() && arParts[0].starts_with("#")) {
      table.arComments.push_back(arParts[0]);
    } else if (table.arNames.empty()) {
      table.arNames = arParts;
    } else {
      EXPECT_EQ(arParts.size(), table.arNames.size());
      auto& row = table.arRows.emplace_back();
      for (size_t i = 0; i < arParts.size(); ++i) row[table.arNames[i]] = std::stod(arParts[i]);
    }
  }
  return table;
}

class StatRun : public testing::Test {
 protected:
  /// Two scan lines of each kind, far apart, with missing values and pixels on every edge.
  static void SetUpTestSuite() {
    s_pTree = std::make_unique<CTestTree>();
    s_pTree->Write("grid", SampleGrid());
    for (const int nLine : {1200, 5000}) {
      auto arPixels = TestPixels(120, nLine);
      arPixels[7].fSolarZenith = 90;
      arPixels[8].fSolarZenith = NAN;
      arPixels[9].fLatitude = 90;
      arPixels[9].fLongitude = 180;
      arPixels[10].fLatitude = NAN;
      arPixels[13].fCloud = 0.94;
      arPixels[14].fCloud = 0.95;
      for (const EKind eKind : arKinds) {
        if (eKind == EKind::L1C) arPixels[11].nFieldOfView = -1;
        s_pTree->Add(eKind, TestMessage(eKind, arPixels, -1, {.bMissing = true}).szBytes,
                     std::to_string(nLine));
      }
    }
  }
  static void TearDownTestSuite() { s_pTree.reset(); }

  /// The pixels that a run with these options hands over.
  static TPixels Pixels(const TOptions& arOptions) {
    s_pTree->Run(TOptions{"-of", "txt"} + arOptions);
    const auto arLines = ReadTextFile(s_pTree->Output());
    TPixels arPixels;
    for (size_t i = 1; i < arLines.size(); ++i) {
      TPixel& pixel = arPixels.emplace_back();
      for (size_t j = 0; j < std::min(arLines[i].size(), arLines[0].size()); ++j)
        pixel[arLines[0][j]] = arLines[i][j].empty() ? -1 : std::stod(arLines[i][j]);
      if (pixel["CloudFraction"] == -1) pixel["CloudFraction"] = MISSING;
    }
    return arPixels;
  }

  static SRun RunStat(const TOptions& arOptions, bool bSuccess = true) {
    const SRun run = s_pTree->Run(TOptions{"-of", "txtstat"} + arOptions);
    ExpectSays(run, bSuccess ? "Extraction succeeded in " : "Error: extraction failed!");
    return run;
  }

  static STable Table(const std::string& szSuffix) { return ReadTable(s_pTree->Output("out" + szSuffix)); }

  static inline std::unique_ptr<CTestTree> s_pTree;
};

void ExpectNear(double fGot, long double fWanted, const char* szWhat) {
  EXPECT_LE(std::fabs(fGot - fWanted), 2e-8L * std::fabs(fWanted) + 1e-300L)
      << szWhat << " " << fGot << " for " << fWanted;
}

TPixels Where(const TPixels& arPixels, const std::function<bool(const TPixel&)>& belongs) {
  TPixels arThose;
  std::copy_if(arPixels.begin(), arPixels.end(), std::back_inserter(arThose), belongs);
  return arThose;
}

std::vector<double> Values(const TPixels& arPixels, const std::string& szName) {
  std::vector<double> arValues;
  for (const TPixel& pixel : arPixels) arValues.push_back(pixel.at(szName));
  return arValues;
}

/// One group of columns of a row (`prefix`Count, ...) against the values it stands for.
void ExpectGroup(const std::map<std::string, double>& row, const std::string& szPrefix,
                 const std::vector<double>& arValues) {
  const SReference wanted = Reference(arValues);
  ASSERT_EQ(row.at(szPrefix + "Count"), static_cast<double>(wanted.fCount)) << szPrefix;
  ExpectNear(row.at(szPrefix + "Average"), wanted.fAverage, "Average");
  ExpectNear(row.at(szPrefix + "StdDev"), wanted.fStdDev, "StdDev");
  if (!row.count(szPrefix + "Skewness")) return;
  EXPECT_NEAR(row.at(szPrefix + "Skewness"), static_cast<double>(wanted.fSkewness), 1e-6);
  EXPECT_NEAR(row.at(szPrefix + "Kurtosis"), static_cast<double>(wanted.fKurtosis), 1e-6);
}

bool IsClear(const TPixel& pixel) { return pixel.at("CloudFraction") == 0; }
bool IsCloudy(const TPixel& pixel) { return pixel.at("CloudFraction") >= 95; }

const TOptions CHANNELS = {"-c", "3-5,1,4,2800,8461"};
const TOptions SELECTED = {"1", "3", "4", "5", "2800", "8461"};

void ExpectSpectra(const STable& table, const TPixels& arPixels) {
  const TPixels arClear = Where(arPixels, IsClear), arCloudy = Where(arPixels, IsCloudy);
  EXPECT_TRUE(table.HasComment("Pixels: " + std::to_string(arPixels.size()) + " all, " +
                               std::to_string(arClear.size()) + " clear, " + std::to_string(arCloudy.size()) +
                               " cloudy"));
  ASSERT_EQ(table.arRows.size(), SELECTED.size());
  for (size_t i = 0; i < SELECTED.size(); ++i) {
    const auto& row = table.arRows[i];
    const std::string& szChannel = SELECTED[i];
    SCOPED_TRACE(szChannel);
    EXPECT_EQ(row.at("Channel"), std::stoi(szChannel));
    EXPECT_EQ(row.at("WaveNumber"), 644.75 + 0.25 * std::stoi(szChannel));
    ExpectGroup(row, "All", Values(arPixels, szChannel));
    ExpectGroup(row, "Clear", Values(arClear, szChannel));
    ExpectGroup(row, "Cloudy", Values(arCloudy, szChannel));
  }
}

}  // namespace

TEST_F(StatRun, SpectraAreThoseOfTheTextRunUnderEveryFilter) {
  const TOptions arFilters[] = {{},
                                {"-fov", "3-60"},
                                {"-tp", "day"},
                                {"-mca", "94", "-lca", "1"},
                                {"-skip", "5", "-maxres", "9"},
                                {"-mila", "91"},
                                {"-st", "land"}};
  for (const TOptions& arFilter : arFilters) {
    SCOPED_TRACE(arFilter.empty() ? "no filter" : arFilter[0]);
    const auto arPixels = Pixels(CHANNELS + arFilter);
    RunStat(CHANNELS + arFilter + TOptions{"-sk", "1"});
    const STable table = Table("");
    ExpectSpectra(table, arPixels);
    for (size_t i = 0; i < arFilter.size(); i += 2)
      EXPECT_TRUE(table.HasComment("Filter: " + arFilter[i] + " " + arFilter[i + 1]));
    EXPECT_EQ(table.HasComment("Filters: none"), arFilter.empty());
    EXPECT_TRUE(table.HasComment("Dates: 2013-04-20 to 2013-04-20"));
    EXPECT_EQ(table.HasComment("Satellite: unknown"), arPixels.empty());
  }
}

TEST_F(StatRun, CommentsAndNamesSayWhatTheFilesHold) {
  const struct {
    TOptions arOptions, arSuffixes;
  } arRuns[] = {
      {{"-sk",        "1",
        "-fov",       "1-50",
        "-histlat",   "-90-90,2",
        "-histcloud", "0-50,2",
        "-histland",  "0-50,2",
        "-histsnow",  "0-50,2",
        "-histavg",   "0-1,2",
        "-histvar",   "0-1,2",
        "-histpix",   "0-1,2",
        "-boxstat",   "1-1",
        "-t2",        "ozo,trg,clp,twt,ems"},
       {"", ".HistoLatitude.txt", ".HistoCloud.txt", ".HistoLand.txt", ".HistoSnow.txt", ".HistoAvg.txt",
        ".HistoVar.txt", ".HistoPix.txt", ".boxstat"}},
      {{"-tb", "1"}, {""}},
      {{"-tb", "1", "-tbref", "280", "-stsext", "1", "-histpix", "0-1,2"},
       {".txtstat.txt", ".sea.night.txtstat.txt", ".pix3.txtstat.txt", ".HistoPix.pix2.txt"}},
  };
  std::string szTops;
  for (const auto& [arOptions, arSuffixes] : arRuns) {
    RunStat(CHANNELS + arOptions);
    for (const std::string& szSuffix : arSuffixes) {
      const std::string szText = s_pTree->Output("out" + szSuffix);
      const size_t nNames = szText.find('\n', szText.rfind("\n#") + 1) + 1;
      szTops += "out" + szSuffix + "\n" + szText.substr(0, szText.find('\n', nNames) + 1);
    }
  }
  EXPECT_EQ(szTops, ReadWholeFile(GOLDEN_FOLDER "/statistics.txt"));
}

TEST_F(StatRun, SurfacesPeriodsAndPositionsHaveTheirFiles) {
  for (const std::string szGrid : {"grid", "none"}) {
    const TOptions arOptions = CHANNELS + TOptions{"-alt", s_pTree->Path(szGrid)};
    const auto arPixels = Pixels(arOptions);
    std::filesystem::remove(s_pTree->Path("out"));
    const SRun run = RunStat(arOptions + TOptions{"-stsext", "1", "-sk", "1"});
    EXPECT_FALSE(std::filesystem::exists(s_pTree->Path("out")));
    EXPECT_LT(run.nMegabytes, 400);
    std::string szFiles;
    const auto check = [&](const std::string& szSuffix, const TPixels& arThose) {
      szFiles += "\nOutput file " + s_pTree->Path("out") + szSuffix + " written";
      SCOPED_TRACE(szSuffix);
      ExpectSpectra(Table(szSuffix), arThose);
    };
    const std::string SURFACES[] = {"all", "sea", "land"}, PERIODS[] = {"all", "day", "night"};
    for (int s = 0; s < 3; ++s)
      for (int t = 0; t < 3; ++t)
        check(s + t == 0 ? ".txtstat.txt" : "." + SURFACES[s] + "." + PERIODS[t] + ".txtstat.txt",
              Where(arPixels, [=](const TPixel& pixel) {
                const double fSun = pixel.at("SolarZenithAngle");
                return (s == 0 || pixel.at("SurfaceType") == s - 1) &&
                       (t == 0 || (fSun != MISSING && (t == 1 ? fSun <= 90 : fSun >= 90)));
              }));
    for (int i = 1; i <= 4; ++i)
      check(".pix" + std::to_string(i) + ".txtstat.txt", Where(arPixels, [=](const TPixel& pixel) {
              const int nFieldOfView = static_cast<int>(pixel.at("FieldOfViewNumber"));
              return nFieldOfView >= 0 && nFieldOfView % 4 + 1 == i;
            }));
    ExpectSays(run, szFiles + "\n");
  }
}

// A column needs all the layers that the layout of its message has.
TEST_F(StatRun, AnOzoneColumnLacksWhatALayerLacks) {
  constexpr int DENSITY = 15020;
  for (const auto& [nVersion, nLayers] : {std::pair(0, 4), {3, 101}, {4, 101}, {5, 4}})
    for (const int nLayer : {0, 4, 5})
      for (const bool bCut : {false, true}) {
        const auto arPixels = TestPixels(2);
        CBUFREncoder encoder = EmptyEncoder(EKind::OZO, arPixels, nVersion);
        for (const auto& [field, arRaw] : TestMessage(EKind::OZO, arPixels, nVersion).arFields) {
          const bool bLacks = field.nFXY == DENSITY && field.nOccurrence == nLayer;
          if (bLacks && bCut) break;
          encoder.Values(field.nWidth, bLacks ? std::vector(2, CBUFREncoder::MISSING) : arRaw);
        }
        const CTestTree tree;
        tree.Add(EKind::OZO, encoder.Message());
        ExpectGood(tree.Run({"-of", "txtstat", "-t2", "ozo", "-boxstat", "1-1"}));
        const auto row = ReadTable(tree.Output("out.boxstat")).arRows.at(0);
        EXPECT_EQ(row.at("ozoCount"), 2);
        EXPECT_EQ(row.at("ozoTotalColumn") == MISSING, nLayer > 0 && nLayer <= nLayers)
            << nVersion << " " << nLayer << " " << bCut;
      }
}

TEST_F(StatRun, ADayOneArchiveIsInNoCell) {
  const CTestTree tree;
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(10), 1).szBytes);
  const SRun run = tree.Run({"-of", "txtstat", "-c", "1", "-boxstat", "1-1", "-histcloud", "0-100,2"});
  const std::string szFrame = std::string(60, '*') + "\n";
  ExpectSays(run, szFrame +
                      "** WARNING: boxstat requested                             **\n"
                      "** on a day 1 archive, no record is being returned        **\n" +
                      szFrame);
  EXPECT_EQ(ReadTable(tree.Output("out.boxstat")).arRows[0].at("L1CCount"), 0);
  EXPECT_EQ(ReadTable(tree.Output()).arRows[0].at("AllCount"), 10);
  EXPECT_TRUE(ReadTable(tree.Output("out.HistoCloud.txt"))
                  .HasComment("All pixels: 0 counted, 0 below, 0 above, 10 missing"));
}

TEST_F(StatRun, ARunWithoutFilesWritesItsTables) {
  const CTestTree tree;
  ExpectGood(tree.Run({"-of", "txtstat", "-c", "1", "-t2", "ozo", "-boxstat", "-3--3", "-histpix", "0-1,5"}));
  EXPECT_EQ(ReadTable(tree.Output()).arRows.size(), 1u);
  EXPECT_EQ(ReadTable(tree.Output("out.HistoPix.txt")).arRows.size(), 5u);
  const STable boxes = ReadTable(tree.Output("out.boxstat"));
  EXPECT_EQ(boxes.arRows.size(), 90u * 180);
  EXPECT_EQ(boxes.arNames.size(), 4u);  // no stream is active
  ExpectSays(tree.Run({"-of", "txtstat", "-c", "1", "-boxstat", "7000-7000"}),
             "ERROR: " + tree.Path("out.boxstat") + " would need more");
}

TEST_F(StatRun, FailuresAreSaidAndTheOtherFilesWritten) {
  const TOptions arOptions = CHANNELS + TOptions{"-histlat", "-90-90,2", "-histcloud", "0-100,2",
                                                 "-histvar", "0-1,2",    "-boxstat",   "1"};
  const std::string szBad = s_pTree->Path("bad"), szLarge = s_pTree->Path("large");
  std::filesystem::create_directory(szBad + ".HistoLatitude.txt");
  std::filesystem::create_symlink("/dev/full", szBad + ".HistoCloud.txt");
  std::filesystem::create_symlink("/dev/full", szBad + ".HistoVar.txt");
  const SRun bad = RunStat(arOptions + TOptions{"-out", szBad}, false);
  ExpectSays(bad, "\nOutput file " + szBad + " written\nERROR: ouverture fichier " + szBad +
                      ".HistoLatitude.txt\nERROR: Writing failure!\n\nOutput file " + szBad +
                      ".boxstat written\n");
  ExpectSays(bad, "ERROR: ", 2);
  EXPECT_EQ(ReadTable(s_pTree->Output("bad.boxstat")).arRows.size(), 90u * 180);

  // Each of the files alone makes a run that failed: one that cannot be opened, one that cannot be written,
  // one that is a little too large.
  for (const TOptions& arBad :
       {TOptions{"-histlat", "-90-90,2"}, TOptions{"-histvar", "0-1,2"}, TOptions{"-boxstat", "3100-3100"}})
    ExpectSays(RunStat(CHANNELS + arBad + TOptions{"-out", szBad}, false), "ERROR: ");

  const SRun large = RunStat(
      arOptions + TOptions{"-out", szLarge, "-boxstat", "30000-30000", "-histvar", "0-1,2000000000"}, false);
  for (const char* szSuffix : {".boxstat", ".HistoVar.txt"}) {
    ExpectSays(large, "ERROR: " + szLarge + szSuffix + " would need more");
    EXPECT_FALSE(std::filesystem::exists(szLarge + szSuffix));
  }
  EXPECT_EQ(ReadTable(s_pTree->Output("large.HistoCloud.txt")).arRows.size(), 2u);

  ExpectSays(s_pTree->Run({"-of", "txtstat", "-c", "1", "-out", szBad + "/none"}),
             "ERROR: ouverture fichier " + szBad + "/none\n");
}
