#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <random>
#include <tuple>

#include "StatReference.h"
#include "TestSupport.h"
#include "app/ConfigParam.h"
#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "kernel/Reporter.h"
#include "output/InputFiles.h"
#include "output/Record.h"
#include "output/RunResult.h"
#include "prod/ProdL2ozo.h"
#include "stat/BoxStat.h"
#include "stat/SpeMultiStat.h"
#include "stat/SpeStat.h"
#include "stat/StatSink.h"
#include "stat/StatTable.h"

namespace {

double Random(std::mt19937& random) { return static_cast<double>(random()) / 4294967296.0; }

void ExpectMoments(const SMoments& m, const std::vector<double>& arValues) {
  const SReference r = Reference(arValues);
  const auto near = [](const char* szWhat, double fGot, long double fWanted, long double fBound) {
    EXPECT_LE(std::fabs(fGot - fWanted), fBound) << szWhat << ": " << fGot << " for " << fWanted;
  };
  EXPECT_EQ(m.Count(), static_cast<int64_t>(r.fCount));
  // Equal values give just their value.
  near("Average", m.Average(), r.fAverage, r.fStdDev > 0 ? 1e-14L * std::fabs(r.fAverage) : 0);
  near("StdDev", m.StdDev(), r.fStdDev, 1e-12L * std::fabs(r.fStdDev));
  near("Skewness", m.Skewness(), r.fSkewness, 1e-9L * std::max(1.0L, std::fabs(r.fSkewness)));
  near("Kurtosis", m.Kurtosis(), r.fKurtosis, 1e-9L * std::max(1.0L, std::fabs(r.fKurtosis)));
}

/// Values of one channel by the index of the pixel.
struct SCase {
  const char* szName;
  int nCount;
  std::function<double(int, std::mt19937&)> value;
};

const SCase CASES[] = {
    {"none", 0, {}},
    {"one", 1, [](int, auto&) { return 1.2345e-3; }},
    {"two", 2, [](int i, auto&) { return i ? 5e-3 : 5.0000001e-3; }},
    {"near 1e-3, deviations of 1e-6", 2000, [](int, auto& r) { return 1e-3 + 1e-6 * Random(r); }},
    {"one count at 6e-3", 3000, [](int, auto& r) { return (60000 + static_cast<int>(r() % 2)) / 1e7; }},
    {"equal", 777, [](int, auto&) { return 60001 / 1e7; }},
    {"equal but one", 500, [](int i, auto&) { return i == 250 ? 59999 / 1e7 : 60001 / 1e7; }},
    {"first one far off", 1500, [](int i, auto& r) { return i ? 6e-3 + 1e-7 * Random(r) : 1e3; }},
    {"two heaps", 3000, [](int i, auto& r) { return (i < 16 ? 1e-3 : 6e-3) + 1e-7 * Random(r); }},
    {"heaps of equal values", 1000, [](int i, auto&) { return i % 100 < 50 ? 0.001 : 0.0060001; }},
    {"around zero", 999, [](int, auto& r) { return 1e-4 * (Random(r) - 0.5); }},
    {"rising", 2000, [](int i, auto&) { return 5e-3 + 1e-7 * i; }},
    {"some missing", 1200, [](int, auto& r) { return r() % 7 ? 2e-3 + 1e-5 * Random(r) : MISSING; }},
    {"missing first", 200, [](int i, auto& r) { return i < 100 ? MISSING : 2e-3 + 1e-5 * Random(r); }},
    {"all missing", 50, [](int, auto&) { return MISSING; }},
};
constexpr int COLUMNS = 150, PIXELS = 3000;

const SCase& CaseOf(int nColumn) { return CASES[nColumn % std::size(CASES)]; }

/// Rows of PIXELS pixels with the cases over and over as columns; the pixels behind a case's count are
/// missing.
std::vector<std::vector<double>> CaseRows() {
  std::vector<std::vector<double>> arRows(PIXELS, std::vector<double>(COLUMNS, MISSING));
  for (int j = 0; j < COLUMNS; ++j) {
    std::mt19937 random(5 + j);
    for (int i = 0; i < CaseOf(j).nCount; ++i) arRows[i][j] = CaseOf(j).value(i, random);
  }
  return arRows;
}

CSpeStat Accumulate(const std::vector<std::vector<double>>& arRows, int nBatch, bool bFour) {
  CSpeStat stat(COLUMNS, bFour);
  CRowBatch batch(COLUMNS, nBatch);
  for (const auto& values : arRows) {
    const SSpectrumRow row{nullptr, nullptr, values.data()};
    if (batch.Add(row)) continue;
    stat.Add(batch);
    batch.Clear();
    batch.Add(row);
  }
  stat.Add(batch);
  return stat;
}

}  // namespace

TEST(SpeStat, AgreesWithTwoPassesWhateverTheBatchesPartsAndOrder) {
  // Rows in a batch, and pixels in the first of two parts.
  const std::pair<int, int> arWays[] = {{1, 40}, {3, 1500}, {16, 0}, {16, 1}, {16, 2999}};
  auto arRows = CaseRows();
  for (const bool bReversed : {false, true}) {
    if (bReversed) std::reverse(arRows.begin(), arRows.end());
    for (const auto& [nBatch, nFirst] : arWays) {
      // Two moments by both kernels, then four.
      std::vector<CSpeStat> arSums;
      for (const bool bFour : {false, true}) {
        for (const bool bWide : {false, true}) {
          SetWideKernels(bWide);
          CSpeStat& sum = arSums.emplace_back(COLUMNS, bFour);
          sum.Merge(Accumulate({arRows.begin(), arRows.begin() + nFirst}, nBatch, bFour));
          sum.Merge(CSpeStat(COLUMNS, bFour));
          sum.Merge(Accumulate({arRows.begin() + nFirst, arRows.end()}, nBatch, bFour));
        }
      }
      for (int j = 0; j < COLUMNS; ++j) {
        SCOPED_TRACE(std::string(CaseOf(j).szName) + " by " + std::to_string(nBatch) + " after " +
                     std::to_string(nFirst) + (bReversed ? " reversed" : ""));
        std::vector<double> arValues;
        for (const auto& row : arRows) arValues.push_back(row[j]);
        const SMoments wide = arSums[3].Moments(j);
        for (int i = 0; i < 3; ++i) {
          SMoments other = arSums[i].Moments(j);
          if (i < 2) std::tie(other.fM3, other.fM4) = std::tie(wide.fM3, wide.fM4);
          EXPECT_EQ(std::memcmp(&other, &wide, sizeof wide), 0);
        }
        ExpectMoments(wide, arValues);
      }
    }
  }
}

// A running sum of squares must be compensated to keep its digits over so many updates.
TEST(SpeStat, KeepsItsDigitsOverAMillionPixels) {
  constexpr int MANY = 1'000'000;
  const double arValues[] = {60000 / 1e7, 60001 / 1e7};
  CSpeStat stat(1, false);
  CRowBatch batch(1);
  for (int i = 0; i < MANY; i += 2) {
    for (const double& fValue : arValues) batch.Add({nullptr, nullptr, &fValue});
    stat.Add(batch);
    batch.Clear();
  }
  const double fWanted = (arValues[1] - arValues[0]) / 2 * std::sqrt(MANY / (MANY - 1.0));
  EXPECT_NEAR(stat.Moments(0).StdDev() / fWanted, 1, 1e-12);
}

// Raw integers of any size, and -777 as it may come out of one. Exact reals and divisors beyond those of the
// kernels make rows real.
TEST(RowBatch, HoldsTheQuotientsOfItsRows) {
  constexpr int WIDTH = 150, ROWS = CRowBatch::ROWS, BLOCK = CRowBatch::BLOCK, POWER_MAX = 20;
  std::mt19937 random(11);
  CRowSource source(WIDTH);
  for (int nRound = 0; nRound < 360; ++nRound) {
    SetWideKernels(nRound % 2);
    const int nPower = nRound % 9, nExact = nRound % 5 == 0 ? 77 : -1;
    std::vector<double> arDivisors;
    for (int j = 0; j < WIDTH; ++j) arDivisors.push_back(std::pow(10.0, nPower + j / 10));
    int32_t arRaw[ROWS][WIDTH];
    for (auto& row : arRaw)
      for (int32_t& n : row) n = static_cast<int32_t>(static_cast<uint32_t>(random()) >> random() % 32) | 1;
    arRaw[1][1] = INT32_MAX;
    arRaw[1][2] = INT32_MIN + 1;
    arRaw[nRound % ROWS][70] = RAW_MISSING;
    if (nPower < 7) arRaw[nRound % ROWS][5] = static_cast<int32_t>(MISSING * arDivisors[5]);
    CSpectrum spectrum;
    const CChannelSelection selection({{1, WIDTH}});
    spectrum.Select(selection);
    spectrum.Begin(ROWS);
    for (int j = 0; j < WIDTH; ++j) {
      for (int i = 0; i < ROWS; ++i) spectrum.Tile(0)[i] = arRaw[i][j];
      spectrum.StoreTile(j, 1, &arDivisors[j]);
    }
    if (nExact >= 0) spectrum.Set(2, nExact, 1 / 3.0);
    spectrum.End();
    CRowBatch batch(WIDTH);
    for (int i = 0; i < ROWS; ++i) {
      const SSpectrumRow row = source.Row(spectrum, i);
      EXPECT_EQ(row.pRaw != nullptr, nExact < 0 && nPower + (WIDTH - 1) / 10 <= POWER_MAX);
      EXPECT_TRUE(batch.Add(row));
    }
    for (int nBlock = 0; nBlock < batch.Blocks(); ++nBlock) {
      double arTile[ROWS * BLOCK];
      const bool bMissing = batch.Block(nBlock, arTile);
      EXPECT_EQ(bMissing, nBlock == 1 || (nBlock == 0 && nPower < 7)) << nRound;
      for (int i = 0; i < ROWS; ++i)
        for (int j = nBlock * BLOCK; j < std::min(WIDTH, (nBlock + 1) * BLOCK); ++j) {
          const double fQuotient = arRaw[i][j] == RAW_MISSING ? MISSING : arRaw[i][j] / arDivisors[j];
          ASSERT_EQ(arTile[i * BLOCK + j % BLOCK], i == 2 && j == nExact ? 1 / 3.0 : fQuotient)
              << arRaw[i][j];
        }
    }
  }
  SetWideKernels(true);
}

// Rows of two scales, and of widths around those of the blocks, mixed as they come.
TEST(RowBatch, RowsOfTwoScalesNeverMix) {
  constexpr int ROWS = 4, ADDED = 41;
  std::mt19937 random(3);
  for (const int nWidth : {1, 63, 64, 65, 128}) {
    const CChannelSelection selection({{1, nWidth}});
    CSpectrum spectra[2];
    std::vector<double> arWanted[2][ROWS];
    for (const int nScale : {0, 1}) {
      CSpectrum& spectrum = spectra[nScale];
      const double fDivisor = nScale ? 1e7 : 1e5;
      spectrum.Select(selection);
      spectrum.Begin(ROWS);
      for (int j = 0; j < nWidth; ++j) {
        for (int i = 0; i < ROWS; ++i) {
          spectrum.Tile(0)[i] = static_cast<int32_t>(random() % 60000);
          arWanted[nScale][i].push_back(spectrum.Tile(0)[i] / fDivisor);
        }
        spectrum.StoreTile(j, 1, &fDivisor);
      }
      spectrum.End();
    }
    CRowSource source(nWidth);
    CSpeMultiStat stat(nWidth, true);
    std::vector<std::vector<double>> arColumns(nWidth);
    for (int i = 0; i < ADDED; ++i) {
      const int nScale = i / 3 % 2;
      stat.Add(source.Row(spectra[nScale], i % ROWS), 0);
      for (int j = 0; j < nWidth; ++j) arColumns[j].push_back(arWanted[nScale][i % ROWS][j]);
    }
    const CSpeStat sum = stat.Set(CSpeMultiStat::ALL);
    for (int j = 0; j < nWidth; ++j) {
      SCOPED_TRACE(std::to_string(j) + " of " + std::to_string(nWidth));
      ExpectMoments(sum.Moments(j), arColumns[j]);
    }
  }
}

// Values are converted a stretch at a time, into a place of as many.
TEST(ChannelSelection, StretchesCoverTheRangesAndNeverGrowTooLong) {
  const CChannelSelection selection({{5, 9}, {1, 100}, {3, 3}, {4, 8}, {-3, 2}, {90, 9000}, {9, 7}}, 120);
  std::vector<int> arChannels;
  for (const auto& [nFirst, nLast] : {std::pair(5, 9), {1, 100}, {3, 3}, {4, 8}, {90, 120}})
    for (int i = nFirst; i <= nLast; ++i) arChannels.push_back(i);
  for (const int nMost : {1, 2, 7, 31, 100, 1000}) {
    for (const bool bChannels : {false, true}) {
      std::vector<int> arFound;
      const auto arStretches = selection.Stretches(nMost, bChannels);
      for (const auto& stretch : arStretches) {
        EXPECT_LE(stretch.nCount, nMost);
        for (int i = 0; i < stretch.nCount; ++i) arFound.push_back(selection.Channel(stretch.nFirst + i));
      }
      EXPECT_EQ(arFound, arChannels);
      // Neighbours are taken together, but for the temperatures not beyond a range.
      if (nMost == 1000) {
        EXPECT_EQ(arStretches.size(), bChannels ? 5U : 4U);
      }
    }
  }
}

TEST(Classes, FollowTheirEdgesWithoutTolerance) {
  const SReferenceClasses arCases[] = {{-90, 90, 180}, {0, 0.1f, 10},      {0.0001f, 0.001f, 100},
                                       {-3, 7, 1},     {1, 1.0000001f, 3}, {0, 100, 7}};
  std::mt19937 random(2);
  for (const SReferenceClasses& c : arCases) {
    const CClasses classes(c.fMin, c.fMax, c.nClasses);
    std::vector<double> arValues = {-1e300, 1e300, MISSING};
    for (int i = 0; i <= c.nClasses; ++i) {
      const double fEdge = c.Edge(i);
      EXPECT_EQ(classes.Edge(i), fEdge);
      arValues.insert(arValues.end(), {fEdge, std::nextafter(fEdge, -1e9), std::nextafter(fEdge, 1e9)});
    }
    for (int i = 0; i < 500; ++i)
      arValues.push_back(c.fMin + (c.fMax - c.fMin) * (Random(random) * 1.2 - 0.1));
    for (const double f : arValues) EXPECT_EQ(classes.Find(f), c.Find(f)) << f;
  }
}

/// Two pixels with nothing but a position.
void MakePixels(CProdL2ozo& prod) {
  prod.InitFirstL2ozo(2);
  std::fill_n(prod.KeepPixel.Write(), 2, uint8_t{1});
  prod.InitKept();
  for (auto* p : {&prod.LayerTopPressure, &prod.LayerBottomPressure, &prod.IntegratedO3Density})
    for (auto& column : *p) column.SetMissing();
  for (RealColumn* pColumn : {&prod.Latitude, &prod.Longitude}) std::fill_n(pColumn->Write(), 2, 1.0);
}

TEST(BoxStat, TakesTheOzoneColumnOfNestedAndOfStackedLayers) {
  constexpr bool ACTIVE[PRODUCTS] = {false, true};
  struct SLayer {
    double fTop, fBottom, fDensity;
  };
  std::vector<SLayer> arMany;
  for (int i = 0; i < 101; ++i) arMany.push_back({100.0 * i, 100.0 * (i + 1), 1});
  std::vector<SLayer> arShort = arMany;
  arShort[60].fDensity = MISSING;
  const std::pair<std::vector<SLayer>, double> arCases[] = {
      {{{0, 100, 1}, {0, 200, 2}, {0, 300, 3}, {0, 400, 4}}, 4},    // the last encloses the others
      {{{0, 400, 7}, {0, 200, 2}, {100, 300, 3}, {5, 400, 4}}, 7},  // the first does
      {{{0, 100, 1}, {100, 200, 2}, {200, 300, 3}, {300, 400, 4}}, 10},
      {{{0, 100, 1}, {0, 200, MISSING}, {0, 300, 3}, {0, 400, 4}}, MISSING},
      {{{0, 100, 1}, {0, 200, 2}, {0, MISSING, 3}, {0, 400, 4}}, MISSING},
      {arMany, 101},
      {arShort, MISSING}};
  for (const auto& [arLayers, fWanted] : arCases) {
    CProdL2ozo prod;
    MakePixels(prod);
    prod.LayerCount = static_cast<int>(arLayers.size());
    for (size_t i = 0; i < arLayers.size(); ++i) {
      prod.LayerTopPressure[i].Write()[1] = arLayers[i].fTop;
      prod.LayerBottomPressure[i].Write()[1] = arLayers[i].fBottom;
      prod.IntegratedO3Density[i].Write()[1] = arLayers[i].fDensity;
    }
    CBoxStat boxes(1, 1, ACTIVE);
    boxes.Add(PRODUCT_OZO, prod, 0);  // nothing but a position
    boxes.Add(PRODUCT_OZO, prod, 1);
    EXPECT_EQ(boxes.Cell(0, 0)[0].Count(), 2);
    EXPECT_EQ(boxes.Cell(0, 0)[1].Average(), fWanted);
  }
}

// Pixels of level 2 are taken by the grid of boxes alone. A product without files never gives enough.
TEST(StatSink, HasTakenWhatEveryRequestedProductGave) {
  const CTempDir dir;
  const CReportCapture said;
  CProdL2ozo prod;
  MakePixels(prod);
  const CChannelSelection selection;
  for (const auto& [bBoxes, bSecond] : {std::pair(false, false), {true, false}, {true, true}}) {
    CConfigParam config;
    config.bBoxStat = bBoxes;
    config.arbL2[PRODUCT_OZO] = true;
    config.arbL2[PRODUCT_EMS] = bSecond;
    CStatSink sink(config, selection);
    EXPECT_TRUE(sink.Close());
    CInputFiles none;
    CRunResult result;
    ASSERT_TRUE(sink.Open(dir.Path("stat").c_str(), none, result));
    sink.Begin({false, true});
    SRecordView record;
    EXPECT_TRUE(sink.Write(0, record));
    EXPECT_TRUE(sink.HasTaken(0));
    EXPECT_FALSE(sink.HasTaken(1));
    record.arPixels[PRODUCT_OZO] = {&prod, 1};
    EXPECT_TRUE(sink.Write(0, record));
    EXPECT_EQ(sink.HasTaken(1), bBoxes && !bSecond);
    EXPECT_FALSE(sink.HasTaken(2));
    sink.End();
    EXPECT_TRUE(sink.Close() && !result.HasFailed());
  }
}

TEST(StatTable, WritesNumbersAsPrintfDoes) {
  CTempDir dir;
  CStreamWriter writer;
  ASSERT_TRUE(writer.Open(dir.Path("t").c_str(), false));
  CStatTable table(writer);
  std::string szWanted;
  std::mt19937_64 random(6);
  for (int i = 0; i < 3000; ++i) {
    const uint64_t nBits = random();
    const double f = i < 500 ? (i - 200) * 1234567.8125 : std::bit_cast<double>(nBits);
    if (std::isnan(f)) continue;
    table.Real(f);
    table.Int(static_cast<int64_t>(nBits));
    table.EndRow();
    char szRow[64];
    std::snprintf(szRow, sizeof szRow, "%.9g\t%lld\n", f, static_cast<long long>(nBits));
    szWanted += szRow;
  }
  ASSERT_TRUE(writer.Close());
  EXPECT_EQ(ReadWholeFile(dir.Path("t")), szWanted);
}
