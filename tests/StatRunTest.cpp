#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>

#include "StatReference.h"
#include "TestArchive.h"
#include "prod/Physics.h"

// The files of statistics runs against what the same run in text format gives pixel by pixel. Radiances are
// counts of at most five digits over a power of ten, which the text holds without loss.

namespace {

constexpr double MISSING = -777.0;

/// A pixel by the column names of the text file, and what only the product has.
using TPixel = std::map<std::string, double>;
using TBelongs = std::function<bool(const TPixel&)>;

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
  /// Two scan lines of each kind, far apart, with missing values; one pixel has the sun on the horizon.
  static void SetUpTestSuite() {
    s_pTree = std::make_unique<CTestTree>();
    s_pTree->Write("grid", SampleGrid());
    for (const int nLine : {1200, 5000}) {
      auto arPixels = TestPixels(120, nLine);
      arPixels[7].fSolarZenith = 90;
      for (const EKind eKind : arKinds) {
        const STestMessage message = TestMessage(eKind, arPixels, -1, WithMissing());
        const std::string szName = std::to_string(nLine);
        s_pTree->Add(eKind, message.szBytes, szName);
        if (eKind == EKind::L1C) s_arMessages.push_back(message);
      }
    }
  }
  static void TearDownTestSuite() {
    s_pTree.reset();
    s_arMessages.clear();
  }

  /// The pixels that a run with these options hands over.
  static std::vector<TPixel> Pixels(const TOptions& arOptions) {
    s_pTree->Run(TOptions{"-of", "txt"} + arOptions);
    const auto arLines = ReadTextFile(s_pTree->Output());
    std::vector<TPixel> arPixels;
    for (size_t i = 1; i < arLines.size(); ++i) {
      TPixel& pixel = arPixels.emplace_back();
      for (size_t j = 0; j < std::min(arLines[i].size(), arLines[0].size()); ++j)
        pixel[arLines[0][j]] = arLines[i][j].empty() ? -1 : std::stod(arLines[i][j]);
      const STestMessage& message = s_arMessages[pixel["ScanLineNumber"] != s_arMessages[0].Sent(5041, 1, 0)];
      const auto sent = [&](const char* szName, int nFXY) {
        const double f = message.Sent(nFXY, 1, static_cast<size_t>(pixel["FieldOfViewNumber"]));
        pixel[szName] = std::isnan(f) ? MISSING : f;
      };
      sent("LandFraction", 20083);
      sent("SnowFraction", 40021);
      sent("AverageIIS", 40018);
      sent("VarianceIIS", 40019);
      sent("Latitude", 5001);
      if (pixel["CloudFraction"] == -1) pixel["CloudFraction"] = MISSING;
    }
    return arPixels;
  }

  static STreeRun RunStat(const TOptions& arOptions, bool bSuccess = true) {
    const STreeRun run = s_pTree->Run(TOptions{"-of", "txtstat"} + arOptions);
    ExpectSays(run, bSuccess ? "Extraction succeeded in " : "Error: extraction failed!");
    return run;
  }

  static STable Table(const std::string& szSuffix) {
    SCOPED_TRACE(szSuffix);
    return ReadTable(s_pTree->Output("out" + szSuffix));
  }

  static inline std::unique_ptr<CTestTree> s_pTree;
  static inline std::vector<STestMessage> s_arMessages;
};

void ExpectNear(double fGot, long double fWanted, const char* szWhat) {
  EXPECT_LE(std::fabs(fGot - fWanted), 2e-8L * std::fabs(fWanted) + 1e-300L)
      << szWhat << " " << fGot << " for " << fWanted;
}

std::vector<double> Values(const std::vector<TPixel>& arPixels, const std::string& szName,
                           const TBelongs& belongs) {
  std::vector<double> arValues;
  for (const TPixel& pixel : arPixels)
    if (belongs(pixel) && pixel.at(szName) != MISSING) arValues.push_back(pixel.at(szName));
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

bool All(const TPixel&) { return true; }
bool IsClear(const TPixel& pixel) { return pixel.at("CloudFraction") == 0; }
bool IsCloudy(const TPixel& pixel) { return pixel.at("CloudFraction") >= 95; }
bool IsAt(const TPixel& pixel, int nPosition) {
  return nPosition == 0 || static_cast<int>(pixel.at("FieldOfViewNumber")) % 4 + 1 == nPosition;
}

const std::map<std::string, TBelongs> SKIES = {{"All", All}, {"Clear", IsClear}, {"Cloudy", IsCloudy}};

void ExpectSpectra(const STable& table, const std::vector<TPixel>& arPixels,
                   const std::vector<int>& arChannels, const TBelongs& belongs) {
  ASSERT_EQ(table.arRows.size(), arChannels.size());
  for (size_t i = 0; i < arChannels.size(); ++i) {
    const auto& row = table.arRows[i];
    const std::string szChannel = std::to_string(arChannels[i]);
    EXPECT_EQ(row.at("Channel"), arChannels[i]);
    EXPECT_EQ(row.at("WaveNumber"), 644.75 + 0.25 * arChannels[i]);
    for (const auto& [szSky, isSky] : SKIES) {
      const auto both = [&, &isHere = isSky](const TPixel& pixel) { return belongs(pixel) && isHere(pixel); };
      SCOPED_TRACE(szSky + " " + szChannel);
      ExpectGroup(row, szSky, Values(arPixels, szChannel, both));
    }
  }
}

const TOptions CHANNELS = {"-c", "3-5,1,4,2800,8461"};
const std::vector<int> SELECTED = {1, 3, 4, 5, 2800, 8461};

}  // namespace

TEST_F(StatRun, SpectraAreThoseOfTheTextRunUnderEveryFilter) {
  const TOptions arFilters[] = {{},
                                {"-fov", "3-60"},
                                {"-tp", "day"},
                                {"-mca", "94", "-lca", "1"},
                                {"-skip", "5", "-maxres", "9"},
                                {"-mila", "89"},
                                {"-st", "land"}};
  for (const TOptions& arFilter : arFilters) {
    SCOPED_TRACE(arFilter.empty() ? "no filter" : arFilter[0]);
    const auto arPixels = Pixels(CHANNELS + arFilter);
    RunStat(CHANNELS + arFilter + TOptions{"-sk", "1"});
    const STable table = Table("");
    ExpectSpectra(table, arPixels, SELECTED, All);
    for (size_t i = 0; i < arFilter.size(); i += 2)
      EXPECT_TRUE(table.HasComment("Filter: " + arFilter[i] + " " + arFilter[i + 1]));
    EXPECT_EQ(table.HasComment("Filters: none"), arFilter.empty());
    EXPECT_TRUE(table.HasComment("Dates: 2013-04-20 to 2013-04-20"));
    EXPECT_TRUE(table.HasComment(arPixels.empty() ? "Satellite: unknown" : "Satellite: 4") ||
                !arPixels.empty());
    const auto count = [&](const TBelongs& is) {
      return std::to_string(std::count_if(arPixels.begin(), arPixels.end(), is));
    };
    EXPECT_TRUE(table.HasComment("Pixels: " + count(All) + " all, " + count(IsClear) + " clear, " +
                                 count(IsCloudy) + " cloudy"));
  }
}

TEST_F(StatRun, ColumnsStandInTheirOrder) {
  RunStat(CHANNELS + TOptions{"-histlat", "-90-90,3", "-histavg", "0-1,2", "-histpix", "0-1,2"});
  EXPECT_EQ(Table("").arNames,
            (std::vector<std::string>{"Channel", "WaveNumber", "AllCount", "AllAverage", "AllStdDev",
                                      "ClearCount", "ClearAverage", "ClearStdDev", "CloudyCount",
                                      "CloudyAverage", "CloudyStdDev"}));
  std::vector<std::string> arLatitude = {"ClassMin", "ClassMax"}, arAverage = arLatitude;
  for (const std::string szPrefix : {"", "Pix1", "Pix2", "Pix3", "Pix4"}) {
    for (const char* szName : {"Count", "Average", "StdDev"}) arLatitude.push_back(szPrefix + szName);
    for (const char* szName : {"Count", "Average", "Temperature", "StdDev"})
      arAverage.push_back(szPrefix + szName);
  }
  EXPECT_EQ(Table(".HistoLatitude.txt").arNames, arLatitude);
  EXPECT_EQ(Table(".HistoAvg.txt").arNames, arAverage);
  EXPECT_EQ(Table(".HistoPix.txt").arNames,
            (std::vector<std::string>{"ClassMin", "ClassMax", "1", "3", "4", "5", "2800", "8461"}));
}

TEST_F(StatRun, TemperaturesComeFromTheMeanRadiance) {
  const auto arPixels = Pixels(CHANNELS);
  for (const char* szReference : {"0", "280"}) {
    RunStat(CHANNELS + TOptions{"-tb", "1", "-tbref", szReference, "-c", "8700"});
    const STable table = Table("");
    ASSERT_EQ(table.arRows.size(), SELECTED.size() + 1);
    for (const auto& row : table.arRows) {
      const int nChannel = static_cast<int>(row.at("Channel"));
      const SReference plain = Reference(nChannel < 8700 ? Values(arPixels, std::to_string(nChannel), All)
                                                         : std::vector<double>());
      const double fWaveNumber = row.at("WaveNumber"),
                   fMean = CPhysics::BrightnessTemperature(fWaveNumber, static_cast<double>(plain.fAverage));
      ExpectNear(row.at("AllAverage"), plain.fCount == 0 ? 0 : fMean, "temperature");
      ExpectNear(row.at("AllStdDev"),
                 plain.fCount == 0
                     ? 0
                     : CPhysics::TemperatureDeviation(fWaveNumber, static_cast<double>(plain.fStdDev),
                                                      szReference[0] == '0' ? fMean : 280),
                 "deviation");
    }
  }
}

TEST_F(StatRun, SurfacesPeriodsAndPositionsHaveTheirFiles) {
  const auto arPixels = Pixels(CHANNELS);
  std::filesystem::remove(s_pTree->Path("out"));
  const STreeRun run = RunStat(CHANNELS + TOptions{"-stsext", "1", "-sk", "1"});
  EXPECT_FALSE(std::filesystem::exists(s_pTree->Path("out")));
  EXPECT_LT(run.nMegabytes, 400);
  std::string szFiles;
  const auto check = [&](const std::string& szSuffix, const TBelongs& belongs) {
    szFiles += "\nOutput file " + s_pTree->Path("out") + szSuffix + " written";
    SCOPED_TRACE(szSuffix);
    ExpectSpectra(Table(szSuffix), arPixels, SELECTED, belongs);
  };
  const std::string SURFACES[] = {"all", "sea", "land"}, PERIODS[] = {"all", "day", "night"};
  for (int s = 0; s < 3; ++s)
    for (int t = 0; t < 3; ++t)
      check(s + t == 0 ? ".txtstat.txt" : "." + SURFACES[s] + "." + PERIODS[t] + ".txtstat.txt",
            [=](const TPixel& pixel) {
              const double fSun = pixel.at("SolarZenithAngle");
              return (s == 0 || pixel.at("SurfaceType") == s - 1) &&
                     (t == 0 || (fSun != MISSING && (t == 1 ? fSun <= 90 : fSun >= 90)));
            });
  for (int i = 1; i <= 4; ++i)
    check(std::string(".pix") + std::to_string(i) + ".txtstat.txt",
          [=](const TPixel& pixel) { return IsAt(pixel, i); });
  ExpectSays(run, szFiles + "\n");
}

TEST_F(StatRun, HistogramsHoldTheValuesOfTheirClasses) {
  const struct {
    const char *szOption, *szRange, *szSuffix, *szValue;
  } arHistos[] = {{"-histlat", "-60-60,7", ".HistoLatitude.txt", "Latitude"},
                  {"-histcloud", "0-100,10", ".HistoCloud.txt", "CloudFraction"},
                  {"-histland", "1-100,3", ".HistoLand.txt", "LandFraction"},
                  {"-histsnow", "0-50,5", ".HistoSnow.txt", "SnowFraction"},
                  {"-histavg", "0.0004-0.0009,6", ".HistoAvg.txt", "AverageIIS"},
                  {"-histvar", "0-0.0001,4", ".HistoVar.txt", "VarianceIIS"}};
  const auto arPixels = Pixels(CHANNELS);
  TOptions arOptions = CHANNELS;
  for (const auto& histo : arHistos) arOptions = arOptions + TOptions{histo.szOption, histo.szRange};
  RunStat(arOptions);
  for (const auto& histo : arHistos) {
    SCOPED_TRACE(histo.szSuffix);
    const STable table = Table(histo.szSuffix);
    float fMin = 0, fMax = 0;
    int nClasses = 0;
    ASSERT_EQ(std::sscanf(histo.szRange, "%g-%g,%d", &fMin, &fMax, &nClasses), 3);
    ASSERT_EQ(static_cast<int>(table.arRows.size()), nClasses);
    const auto edge = [&](int i) {
      return i == nClasses ? double{fMax} : fMin + (double{fMax} - fMin) * i / nClasses;
    };
    for (int nPosition = 0; nPosition <= 4; ++nPosition) {
      const auto count = [&](auto is) {
        return std::to_string(std::count_if(arPixels.begin(), arPixels.end(), [&](const TPixel& pixel) {
          return IsAt(pixel, nPosition) && is(pixel.at(histo.szValue));
        }));
      };
      const std::string szPrefix = nPosition ? std::string("Pix") + std::to_string(nPosition) : "";
      EXPECT_TRUE(table.HasComment((nPosition ? szPrefix : "All pixels") + ": " +
                                   count([&](double f) { return f >= fMin && f <= fMax; }) + " counted, " +
                                   count([&](double f) { return f < fMin && f != MISSING; }) + " below, " +
                                   count([&](double f) { return f > fMax; }) + " above, " +
                                   count([](double f) { return f == MISSING; }) + " missing"));
      for (int i = 0; i < nClasses; ++i) {
        ExpectNear(table.arRows[i].at("ClassMin"), edge(i), "ClassMin");
        ExpectNear(table.arRows[i].at("ClassMax"), edge(i + 1), "ClassMax");
        const auto inside = [&](const TPixel& pixel) {
          const double f = pixel.at(histo.szValue);
          return IsAt(pixel, nPosition) && edge(i) <= f && (i + 1 < nClasses ? f < edge(i + 1) : f <= fMax);
        };
        const auto arValues = Values(arPixels, histo.szValue, inside);
        ExpectGroup(table.arRows[i], szPrefix, arValues);
        if (table.arRows[i].count(szPrefix + "Temperature"))
          ExpectNear(
              table.arRows[i].at(szPrefix + "Temperature"),
              CPhysics::BrightnessTemperature(869.5, static_cast<double>(Reference(arValues).fAverage)),
              "Temperature");
      }
    }
  }
}

TEST_F(StatRun, RadiancesAreCountedChannelByChannel) {
  const auto arPixels = Pixels(CHANNELS);
  for (const bool bPositions : {false, true}) {
    RunStat(CHANNELS + TOptions{"-histpix", "0.0003-0.0009,20", "-stsext", bPositions ? "1" : "0"});
    for (int nPosition = 0; nPosition <= (bPositions ? 4 : 0); ++nPosition) {
      const STable table =
          Table(".HistoPix" + (nPosition ? std::string(".pix") + std::to_string(nPosition) : "") + ".txt");
      const double fMin = 0.0003f, fMax = 0.0009f;
      std::map<std::string, int> outside;
      for (const int nChannel : SELECTED) {
        std::vector<int> arWanted(20), arGot;
        for (const TPixel& pixel : arPixels) {
          if (!IsAt(pixel, nPosition)) continue;
          const double f = pixel.at(std::to_string(nChannel));
          int nClass = 19;
          while (nClass > 0 && fMin + (fMax - fMin) * nClass / 20 > f) --nClass;
          if (f == MISSING || f < fMin || f > fMax)
            ++outside[f == MISSING ? "missing" : f < fMin ? "below" : "above"];
          else
            ++arWanted[nClass];
        }
        for (const auto& row : table.arRows)
          arGot.push_back(static_cast<int>(row.at(std::to_string(nChannel))));
        EXPECT_EQ(arGot, arWanted) << nChannel;
      }
      EXPECT_TRUE(table.HasComment("Radiances of all channels: " + std::to_string(outside["below"]) +
                                   " below, " + std::to_string(outside["above"]) + " above, " +
                                   std::to_string(outside["missing"]) + " missing"));
    }
  }
}

TEST_F(StatRun, CellsHoldTheirPixels) {
  const auto arPixels = Pixels(CHANNELS);
  RunStat(CHANNELS + TOptions{"-boxstat", "9-18"});
  const STable table = Table(".boxstat");
  ASSERT_EQ(table.arRows.size(), 9u * 18);
  double fPixels = 0;
  for (int i = 0; i < 9 * 18; ++i) {
    const auto& row = table.arRows[i];
    const int nLatitude = -90 + 20 * (i / 18), nLongitude = -180 + 20 * (i % 18);
    EXPECT_EQ(row.at("LatMin"), nLatitude);
    EXPECT_EQ(row.at("LatMax"), nLatitude + 20);
    EXPECT_EQ(row.at("LonMin"), nLongitude);
    EXPECT_EQ(row.at("LonMax"), nLongitude + 20);
    const auto inside = [&](const TPixel& pixel) {
      const double fLat = pixel.at("Latitude"), fLon = pixel.at("Longitude");
      return fLat >= nLatitude && fLat < nLatitude + 20 && fLon >= nLongitude && fLon < nLongitude + 20;
    };
    fPixels += row.at("L1CCount");
    const std::map<std::string, TBelongs> counts = {
        {"L1CCount", All}, {"L1CClearCount", IsClear}, {"L1CCloudyCount", IsCloudy}};
    for (const auto& [szName, belongs] : counts)
      EXPECT_EQ(row.at(szName),
                std::count_if(arPixels.begin(), arPixels.end(),
                              [&, &is = belongs](const TPixel& p) { return inside(p) && is(p); }));
    ExpectNear(row.at("L1CCloudFraction"), Reference(Values(arPixels, "CloudFraction", inside)).fAverage,
               "cloud");
    ExpectNear(row.at("L1CAverageIIS"), Reference(Values(arPixels, "AverageIIS", inside)).fAverage, "imager");
  }
  EXPECT_GT(fPixels, 200);
  RunStat(CHANNELS + TOptions{"-boxstat", "1"});
  EXPECT_EQ(Table(".boxstat").arRows.size(), 90u * 180);
}

TEST_F(StatRun, EachStreamHasItsColumns) {
  const struct {
    const char* szKind;
    std::vector<std::pair<const char*, std::vector<std::string>>>
        arMeans;  // column, and columns of the text file
  } arKinds2[] = {
      {"trg",
       {{"trgIntegratedN2ODensity", {"IntegratedN2ODensity"}},
        {"trgIntegratedCODensity", {"IntegratedCODensity"}},
        {"trgIntegratedCH4Density", {"IntegratedCH4Density"}},
        {"trgIntegratedCO2Density", {"IntegratedCO2Density"}}}},
      {"clp",
       {{"clpCloudAmountInSegment", {"CloudAmountInSegment1"}},
        {"clpPressure", {"Pressure1"}},
        {"clpTemperature", {"Temperature/dry-bulbTemperature1"}}}},
      {"twt", {{"twtSkinTemperature", {"SkinTemperature"}}}},
      {"ems",
       {{"emsEmissivity",
         {"Emissivity1", "Emissivity2", "Emissivity3", "Emissivity4", "Emissivity5", "Emissivity6",
          "Emissivity7", "Emissivity8", "Emissivity9", "Emissivity10", "Emissivity11", "Emissivity12"}}}},
      {"ozo", {{"ozoTotalColumn", {}}}}};
  std::map<std::string, std::vector<double>> columns;
  for (const auto& kind : arKinds2) {
    SCOPED_TRACE(kind.szKind);
    const TOptions arOptions = {"-t2", kind.szKind, "-boxstat", "1-1"};
    const auto arPixels = Pixels(arOptions);
    RunStat(arOptions);
    EXPECT_TRUE(Table("").arRows.empty());
    const STable table = Table(".boxstat");
    ASSERT_EQ(table.arRows.size(), 1u);
    EXPECT_EQ(table.arNames.size(), 5 + kind.arMeans.size());
    EXPECT_EQ(table.arRows[0].at(std::string(kind.szKind) + "Count"), static_cast<double>(arPixels.size()));
    for (const auto& [szColumn, arFields] : kind.arMeans) {
      std::vector<double> arValues;
      for (const std::string& szField : arFields) {
        const auto arMore = Values(arPixels, szField, All);
        arValues.insert(arValues.end(), arMore.begin(), arMore.end());
      }
      for (const TPixel& pixel : arPixels) {
        double fColumn = 0;
        for (const char* szLayer : {"1", "2", "3", "4"}) {
          const auto at = [&](const std::string& szName) {
            return pixel.count(szName) ? pixel.at(szName) : MISSING;
          };
          const std::string szDensity = std::string("IntegratedO3Density") + szLayer,
                            szPressure = std::string("Pressure") + szLayer;
          const bool bLayer =
              at(szDensity) != MISSING && at(szPressure + "1") != MISSING && at(szPressure + "2") != MISSING;
          fColumn = bLayer && fColumn != MISSING ? fColumn + at(szDensity) : MISSING;
        }
        if (arFields.empty() && fColumn != MISSING) arValues.push_back(fColumn);
      }
      EXPECT_FALSE(arValues.empty());
      EXPECT_NEAR(table.arRows[0].at(szColumn) / static_cast<double>(Reference(arValues).fAverage), 1, 1e-5)
          << szColumn;  // the text has six digits
    }
    for (const std::string& szName : table.arNames) columns[szName].push_back(table.arRows[0].at(szName));
  }
  // All kinds in one run, paired with spectra: the same numbers, in the order of the streams.
  RunStat(CHANNELS + TOptions{"-t2", "ems,twt,clp,trg,ozo", "-boxstat", "1-1"});
  const STable all = Table(".boxstat");
  ASSERT_EQ(all.arNames.size(), 4u + 5 + 2 + 5 + 4 + 2 + 2);
  for (const auto& [szName, nAt] : std::map<std::string, size_t>{{"L1CCount", 4},
                                                                 {"ozoCount", 9},
                                                                 {"trgCount", 11},
                                                                 {"clpCount", 16},
                                                                 {"twtCount", 20},
                                                                 {"emsCount", 22}})
    EXPECT_EQ(all.arNames[nAt], szName);
  for (const auto& [szName, arValues] : columns) EXPECT_EQ(all.arRows[0].at(szName), arValues[0]) << szName;
  const STable spectra = Table("");
  ExpectSpectra(spectra, Pixels(CHANNELS), SELECTED, All);
}

TEST_F(StatRun, ADayOneArchiveIsInNoCell) {
  const CTestTree tree;
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(10), 1).szBytes);
  const STreeRun run = tree.Run({"-of", "txtstat", "-c", "1", "-boxstat", "1-1", "-histcloud", "0-100,2"});
  ExpectSays(run, "** on a day 1 archive, no record is being returned        **");
  EXPECT_EQ(ReadTable(tree.Output("out.boxstat")).arRows[0].at("L1CCount"), 0);
  EXPECT_EQ(ReadTable(tree.Output()).arRows[0].at("AllCount"), 10);
  EXPECT_TRUE(ReadTable(tree.Output("out.HistoCloud.txt"))
                  .HasComment("All pixels: 0 counted, 0 below, 0 above, 10 missing"));
}

TEST_F(StatRun, ARunWithoutPixelsWritesItsFiles) {
  const CTestTree tree;
  const STreeRun run = tree.Run({"-of", "txtstat", "-c", "1-2", "-t2", "ozo", "-sk", "1", "-boxstat", "2-2",
                                 "-histvar", "0-1,3", "-histpix", "0-1,2"});
  ExpectSays(run, "Extraction succeeded in ");
  const STable spectra = ReadTable(tree.Output());
  EXPECT_TRUE(spectra.HasComment("Satellite: unknown"));
  ASSERT_EQ(spectra.arRows.size(), 2u);
  for (const auto& [szName, f] : spectra.arRows[1])
    EXPECT_EQ(f, szName == "Channel"         ? 2
                 : szName == "WaveNumber"    ? 645.25
                 : szName.ends_with("Count") ? 0
                                             : MISSING)
        << szName;
  EXPECT_EQ(ReadTable(tree.Output("out.HistoVar.txt")).arRows.size(), 3u);
  EXPECT_EQ(ReadTable(tree.Output("out.HistoPix.txt")).arRows.size(), 2u);
  const STable boxes = ReadTable(tree.Output("out.boxstat"));  // no stream is active
  EXPECT_EQ(boxes.arNames, (std::vector<std::string>{"LatMin", "LatMax", "LonMin", "LonMax"}));
  EXPECT_EQ(boxes.arRows.size(), 4u);
}

TEST_F(StatRun, FailuresAreSaidAndTheOtherFilesWritten) {
  const TOptions arOptions = CHANNELS + TOptions{"-histlat", "-90-90,2", "-histcloud", "0-100,2",
                                                 "-histvar", "0-1,2",    "-boxstat",   "1"};
  const std::string szOut = s_pTree->Path("out");
  const auto clean = [&] {
    for (const char* szSuffix : {".HistoLatitude.txt", ".HistoCloud.txt", ".HistoVar.txt", ".boxstat"})
      std::filesystem::remove(szOut + szSuffix);
  };
  clean();
  std::filesystem::create_directory(szOut + ".HistoLatitude.txt");
  std::filesystem::create_symlink("/dev/full", szOut + ".HistoCloud.txt");
  std::filesystem::create_symlink("/dev/full", szOut + ".HistoVar.txt");
  const std::string szPrinted = RunStat(arOptions, false).szOutput;
  EXPECT_EQ(CountOf(szPrinted, "\nOutput file " + szOut + " written\nERROR: ouverture fichier " + szOut +
                                   ".HistoLatitude.txt\nERROR: Writing failure!\n\nOutput file " + szOut +
                                   ".boxstat written\n"),
            1)
      << szPrinted;
  EXPECT_EQ(CountOf(szPrinted, "ERROR: "), 2) << szPrinted;
  EXPECT_EQ(Table(".boxstat").arRows.size(), 16200u);
  clean();

  const std::string szLarge =
      RunStat(arOptions + TOptions{"-boxstat", "30000-30000", "-histvar", "0-1,2000000000"}, false).szOutput;
  for (const char* szSuffix : {".boxstat", ".HistoVar.txt"}) {
    EXPECT_EQ(CountOf(szLarge, "ERROR: " + szOut + szSuffix + " would need more"), 1) << szLarge;
    EXPECT_FALSE(std::filesystem::exists(szOut + szSuffix));
  }
  EXPECT_EQ(Table(".HistoCloud.txt").arRows.size(), 2u);
  clean();

  EXPECT_EQ(CountOf(s_pTree->Run({"-of", "txtstat", "-c", "1", "-out", szOut + "/none/out"}).szOutput,
                    "ERROR: ouverture fichier " + szOut + "/none/out\n"),
            1);
}
