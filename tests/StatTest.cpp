#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "StatReference.h"
#include "TestSupport.h"
#include "bufr/BitRun.h"
#include "bufr/Cpu.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "stat/BoxStat.h"
#include "stat/Histo.h"
#include "stat/HistoMultiPix.h"
#include "stat/StTpStat.h"
#include "stat/StatTable.h"

namespace {

constexpr double MISSING = -777.0;

double Random(std::mt19937& random) { return static_cast<double>(random()) / 4294967296.0; }

void ExpectMoments(const SMoments& m, const std::vector<double>& arValues, bool bFour = true) {
  const SReference r = Reference(arValues);
  const auto near = [](const char* szWhat, double fGot, long double fWanted, long double fBound) {
    EXPECT_LE(std::fabs(fGot - fWanted), fBound) << szWhat << ": " << fGot << " for " << fWanted;
  };
  EXPECT_EQ(m.Count(), static_cast<int64_t>(r.fCount));
  near("Average", m.Average(), r.fAverage, 1e-12L * std::fabs(r.fAverage));
  near("StdDev", m.StdDev(), r.fStdDev, 1e-12L * std::fabs(r.fStdDev));
  if (!bFour) return;
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
constexpr int COLUMNS = static_cast<int>(std::size(CASES)), PIXELS = 3000;

/// Rows of PIXELS pixels with one case a column; the pixels behind its count are missing.
std::vector<std::vector<double>> CaseRows() {
  std::vector<std::vector<double>> arRows(PIXELS, std::vector<double>(COLUMNS, MISSING));
  for (int j = 0; j < COLUMNS; ++j) {
    std::mt19937 random(5 + j);
    for (int i = 0; i < CASES[j].nCount; ++i) arRows[i][j] = CASES[j].value(i, random);
  }
  return arRows;
}

std::vector<double> Column(const std::vector<std::vector<double>>& arRows, int nColumn) {
  std::vector<double> arValues;
  for (const auto& row : arRows) arValues.push_back(row[nColumn]);
  return arValues;
}

void AddRow(CSpeStat& stat, CRowBatch& batch, const SSpectrumRow* pRow) {
  if (pRow && batch.Add(*pRow)) return;
  stat.Add(batch);
  batch.Clear();
  if (pRow) batch.Add(*pRow);
}

CSpeStat Accumulate(const std::vector<std::vector<double>>& arRows, int nBatch, bool bFour = true) {
  const int nColumns = static_cast<int>(arRows[0].size());
  CSpeStat stat(nColumns, bFour);
  CRowBatch batch(nColumns, nBatch);
  for (const auto& row : arRows) {
    const SSpectrumRow spectrum{nullptr, nullptr, row.data()};
    AddRow(stat, batch, &spectrum);
  }
  AddRow(stat, batch, nullptr);
  return stat;
}

/// Fills a spectrum of all channels 1..nColumns; rows of raw values over one divisor a column.
void Fill(CSpectrum& spectrum, const std::vector<std::vector<int32_t>>& arRaw,
          const std::vector<double>& arDivisors) {
  const int nColumns = static_cast<int>(arDivisors.size()), nRows = static_cast<int>(arRaw.size());
  spectrum.Select(std::string(nColumns, 1).c_str(), nColumns);
  spectrum.Begin(nRows);
  for (int j = 0; j < nColumns; ++j) {
    for (int i = 0; i < nRows; ++i) spectrum.Tile(0)[i] = arRaw[i][j];
    spectrum.StoreTile(j, 1, &arDivisors[j]);
  }
  spectrum.End();
}

}  // namespace

TEST(SpeStat, AgreesWithTwoPassesWhateverTheBatchesAndTheOrder) {
  auto arRows = CaseRows();
  for (const bool bReversed : {false, true}) {
    if (bReversed) std::reverse(arRows.begin(), arRows.end());
    for (const int nBatch : {1, 3, 16}) {
      const CSpeStat stat = Accumulate(arRows, nBatch);
      for (int j = 0; j < COLUMNS; ++j) {
        SCOPED_TRACE(std::string(CASES[j].szName) + " by " + std::to_string(nBatch) +
                     (bReversed ? " reversed" : ""));
        ExpectMoments(stat.Moments(j), Column(arRows, j));
      }
    }
  }
}

TEST(SpeStat, IsPutTogetherFromPartsOfAnySize) {
  const auto arRows = CaseRows();
  for (const int nFirst : {1, 40, 1500, 2999}) {
    CSpeStat sum(COLUMNS, true);
    sum.Merge(Accumulate({arRows.begin(), arRows.begin() + nFirst}, 16));
    sum.Merge(CSpeStat(COLUMNS, true));
    sum.Merge(Accumulate({arRows.begin() + nFirst, arRows.end()}, 16));
    for (int j = 0; j < COLUMNS; ++j) {
      SCOPED_TRACE(std::string(CASES[j].szName) + " after " + std::to_string(nFirst));
      ExpectMoments(sum.Moments(j), Column(arRows, j));
    }
  }
}

TEST(SpeStat, KeepsWhatASumOfSquaresLoses) {
  const auto arValues = Column(CaseRows(), 4);
  const SReference reference = Reference(arValues);
  double fSum = 0, fSquares = 0;
  for (const double f : arValues) fSum += f, fSquares += f * f;
  const double fVariance = (fSquares - fSum * fSum / PIXELS) / (PIXELS - 1);
  EXPECT_GT(std::fabs(fVariance - reference.fStdDev * reference.fStdDev),
            1e-4L * reference.fStdDev * reference.fStdDev);
}

// A running sum of squares must be compensated to keep its digits over so many merges.
TEST(SpeStat, KeepsItsDigitsOverAMillionPixels) {
  CSpeStat sum(1, false);
  for (int i = 0; i < 1000; ++i) {
    std::vector<std::vector<double>> arRows;
    for (int j = 0; j < 1000; ++j) arRows.push_back({(60000 + j % 5) / 1e7});
    sum.Merge(Accumulate(arRows, 1));
  }
  EXPECT_NEAR(sum.Moments(0).StdDev() * 1e7, std::sqrt(2.0 * 1e6 / (1e6 - 1)), 1e-9);
}

// A raw value that comes out as the missing radiance is one, as in a record.
TEST(RowBatch, TakesMinus777AsMissing) {
  constexpr int WIDTH = 64;
  CSpectrum spectrum;
  std::vector<std::vector<int32_t>> arRaw(1, std::vector<int32_t>(WIDTH, 20));
  arRaw[0][5] = -777;
  Fill(spectrum, arRaw, std::vector<double>(WIDTH, 1.0));
  CRowSource source(WIDTH);
  CRowBatch batch(WIDTH);
  batch.Add(source.Row(spectrum, 0));
  double arTile[WIDTH * 16];
  EXPECT_TRUE(batch.Block(0, arTile));
}

TEST(SpeStat, EqualValuesGiveTheirValueAndZeroMoments) {
  std::vector<double> row;
  for (int j = 0; j < 200; ++j) row.push_back((j - 20) / 1e7 * 311);
  CSpeStat sum(200, true);
  for (const int nCount : {1, 16, 1003}) sum.Merge(Accumulate(std::vector(nCount, row), 16));
  for (int j = 0; j < 200; ++j) {
    const SMoments m = sum.Moments(j);
    EXPECT_EQ(m.Average(), row[j]);
    EXPECT_EQ(m.StdDev(), 0);
    EXPECT_EQ(m.Skewness(), 0);
    EXPECT_EQ(m.Kurtosis(), 0);
  }
}

TEST(SpeStat, RawRowsRealRowsAndBothKernelsGiveTheSameBits) {
  constexpr int WIDTH = 150, ROWS = 40;
  std::mt19937 random(3);
  std::vector<double> arDivisors;
  for (int j = 0; j < WIDTH; ++j) arDivisors.push_back(std::pow(10.0, j / 10));
  std::vector<std::vector<int32_t>> arRaw(ROWS, std::vector<int32_t>(WIDTH));
  for (auto& row : arRaw)
    for (int32_t& n : row) n = random() % 50 ? static_cast<int32_t>(random() % 65536) - 5000 : RAW_MISSING;
  for (const int nExact : {-1, 77}) {  // a column with exact reals makes the whole row real
    CSpectrum spectrum;
    Fill(spectrum, arRaw, arDivisors);
    if (nExact >= 0) spectrum.Set(2, nExact, 1 / 3.0), spectrum.End();
    std::vector<std::vector<double>> arRows(ROWS, std::vector<double>(WIDTH));
    for (int i = 0; i < ROWS; ++i) spectrum.Row(i, 0, WIDTH, arRows[i].data());
    const CSpeStat real = Accumulate(arRows, 16);
    for (const bool bWide : {false, true}) {
      SetWideKernels(bWide);
      CRowSource source(WIDTH);
      CRowBatch batch(WIDTH);
      CSpeStat stat(WIDTH, true);
      for (int i = 0; i < ROWS; ++i) {
        const SSpectrumRow row = source.Row(spectrum, i);
        EXPECT_EQ(row.pRaw != nullptr, nExact < 0);
        AddRow(stat, batch, &row);
      }
      AddRow(stat, batch, nullptr);
      for (int j = 0; j < WIDTH; ++j) {
        const SMoments a = real.Moments(j), b = stat.Moments(j);
        EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << j << (bWide ? " wide" : " portable");
      }
    }
  }
  SetWideKernels(true);
}

TEST(RowBatch, DividesExactly) {
  constexpr int WIDTH = 64, ROWS = 16;
  std::mt19937 random(11);
  for (int nPower = 0; nPower <= 22; ++nPower) {
    const std::vector<double> arDivisors(WIDTH, std::pow(10.0, nPower));
    for (int nRound = 0; nRound < 60; ++nRound) {
      std::vector<std::vector<int32_t>> arRaw(ROWS, std::vector<int32_t>(WIDTH));
      for (auto& row : arRaw)
        for (int32_t& n : row)
          n = static_cast<int32_t>(static_cast<uint32_t>(random()) >> (random() % 32)) | 1;
      arRaw[1][1] = INT32_MAX;
      arRaw[1][2] = INT32_MIN + 1;
      CSpectrum spectrum;
      Fill(spectrum, arRaw, arDivisors);
      CRowSource source(WIDTH);
      CRowBatch batch(WIDTH);
      for (int i = 0; i < ROWS; ++i) EXPECT_TRUE(batch.Add(source.Row(spectrum, i)));
      double arTile[WIDTH * ROWS];
      EXPECT_FALSE(batch.Block(0, arTile));
      for (int i = 0; i < ROWS * WIDTH; ++i)
        ASSERT_EQ(arTile[i], arRaw[i / WIDTH][i % WIDTH] / arDivisors[0]) << arRaw[i / WIDTH][i % WIDTH];
    }
  }
}

TEST(Classes, FollowTheirEdgesWithoutTolerance) {
  const struct {
    float fMin, fMax;
    int nClasses;
  } arCases[] = {{-90, 90, 180}, {0, 0.1f, 10},      {0.0001f, 0.001f, 100},
                 {-3, 7, 1},     {1, 1.0000001f, 3}, {0, 100, 7}};
  std::mt19937 random(2);
  for (const auto& c : arCases) {
    const double fMin = c.fMin, fMax = c.fMax;
    const CClasses classes(fMin, fMax, c.nClasses);
    const auto edge = [&](int i) { return i == c.nClasses ? fMax : fMin + (fMax - fMin) * i / c.nClasses; };
    const auto check = [&](double f) {
      int nWanted = f > fMax ? c.nClasses : CClasses::BELOW;
      for (int i = 0; i < c.nClasses && f <= fMax; ++i)
        if (edge(i) <= f) nWanted = i;
      EXPECT_EQ(classes.Find(f), nWanted) << f;
    };
    for (int i = 0; i <= c.nClasses; ++i) {
      EXPECT_EQ(classes.Edge(i), edge(i));
      for (const double f : {edge(i), std::nextafter(edge(i), -1e9), std::nextafter(edge(i), 1e9)}) check(f);
    }
    for (int i = 0; i < 500; ++i) check(fMin + (fMax - fMin) * (Random(random) * 1.2 - 0.1));
    for (const double f : {-1e300, 1e300, MISSING}) check(f);
  }
}

TEST(StTpStat, PutsEverySetTogetherFromItsPixels) {
  struct SPixel {
    int nCloud, nFieldOfView, nSurface;
    double fSun, fValue;
  };
  std::vector<SPixel> arPixels;
  std::mt19937 random(4);
  const double arSuns[] = {MISSING, 20, 89.99, 90, 90.01, 150};
  const int arClouds[] = {-1, 0, 1, 94, 95, 100};
  for (int i = 0; i < 3000; ++i)
    arPixels.push_back({arClouds[random() % 6], static_cast<int>(random() % 121) - 1,
                        static_cast<int>(random() % 3) - 1, arSuns[random() % 6],
                        1e-3 + 1e-5 * Random(random)});
  CStTpStat stat(1, true);
  for (const SPixel& p : arPixels)
    stat.Add({nullptr, nullptr, &p.fValue}, p.nCloud, p.nFieldOfView, p.nSurface, p.fSun);
  const auto check = [&](CSpeMultiStat set, auto belongs) {
    for (int i = 0; i < CSpeMultiStat::SETS; ++i) {
      std::vector<double> arValues;
      for (const SPixel& p : arPixels)
        if (belongs(p) && (i == 0 || (i == 1 ? p.nCloud == 0 : p.nCloud >= 95))) arValues.push_back(p.fValue);
      EXPECT_EQ(set.Pixels(CSpeMultiStat::ESet(i)), static_cast<int64_t>(arValues.size()));
      ExpectMoments(set.Set(CSpeMultiStat::ESet(i)).Moments(0), arValues);
    }
  };
  for (int s = 0; s < 3; ++s)
    for (int t = 0; t < 3; ++t)
      check(stat.Union(s, t), [=](const SPixel& p) {
        return (s == 0 || p.nSurface == s - 1) &&
               (t == 0 || (p.fSun != MISSING && (t == 1 ? p.fSun <= 90 : p.fSun >= 90)));
      });
  for (int i = 1; i <= 4; ++i)
    check(stat.Position(i),
          [=](const SPixel& p) { return p.nFieldOfView >= 0 && p.nFieldOfView % 4 + 1 == i; });
}

namespace {

/// A record of nPixels at one position with its fields missing.
template <class TRecord>
void MakeRecord(TRecord& prod, int nPixels, double fLatitude, double fLongitude) {
  std::fill_n(prod.Latitude.Write(), nPixels, fLatitude);
  std::fill_n(prod.Longitude.Write(), nPixels, fLongitude);
  if constexpr (requires { prod.EachColumn([](auto&) {}); }) {
    prod.EachColumn([](auto& column) { column.SetMissing(-1); });
    prod.EachColumn([](auto& column) {
      if constexpr (std::is_same_v<decltype(+column[0]), double>)
        std::fill_n(column.Write(), column.Capacity(), MISSING);
    });
  }
}

}  // namespace

TEST(BoxStat, FindsTheCellOfAPosition) {
  constexpr bool ACTIVE[] = {false, false, false, false, false, true};
  const struct {
    double fLatitude, fLongitude;
    int nLatitude, nLongitude;  // -1: in no cell
  } arCases[] = {{-90, -180, 0, 0}, {90, 180, 89, 179},  {0, 0, 45, 90},      {-0.001, -0.001, 44, 89},
                 {2, 179, 46, 179}, {MISSING, 0, -1, 0}, {0, MISSING, -1, 0}, {90.01, 0, -1, 0}};
  for (const auto& c : arCases) {
    CBoxStat boxes(0, -3, ACTIVE);
    CProdL2ems prod;
    prod.InitFirstL2ems(1);
    MakeRecord(prod, 1, c.fLatitude, c.fLongitude);
    prod.Emissivity[0].Write()[0] = 97;
    prod.Emissivity[11].Write()[0] = 98;
    boxes.Add(5, prod, 0);
    EXPECT_EQ(boxes.Outside(5), c.nLatitude < 0);
    if (c.nLatitude < 0) continue;
    EXPECT_EQ(boxes.Cell(c.nLatitude, c.nLongitude, 0).Count(), 1) << c.fLatitude << " " << c.fLongitude;
    EXPECT_EQ(boxes.Cell(c.nLatitude, c.nLongitude, 1).Average(), 97.5);
  }
}

TEST(BoxStat, TakesTheOzoneColumnOfNestedAndOfStackedLayers) {
  constexpr bool ACTIVE[] = {false, true, false, false, false, false};
  struct SLayer {
    double fTop, fBottom, fDensity;
  };
  std::vector<SLayer> arMany;
  for (int i = 0; i < 101; ++i) arMany.push_back({100.0 * i, 100.0 * (i + 1), 1});
  std::vector<SLayer> arShort = arMany;
  arShort[60].fDensity = MISSING;
  const struct {
    std::vector<SLayer> arLayers;
    double fWanted;
  } arCases[] = {{{{0, 100, 1}, {0, 200, 2}, {0, 300, 3}, {0, 400, 4}}, 4},    // the last encloses the others
                 {{{0, 400, 7}, {0, 200, 2}, {100, 300, 3}, {5, 400, 4}}, 7},  // the first does
                 {{{0, 100, 1}, {100, 200, 2}, {200, 300, 3}, {300, 400, 4}}, 10},
                 {{{0, 100, 1}, {0, 200, MISSING}, {0, 300, 3}, {0, 400, 4}}, MISSING},
                 {{{0, 100, 1}, {0, 200, 2}, {0, MISSING, 3}, {0, 400, 4}}, MISSING},
                 {arMany, 101},
                 {arShort, MISSING}};
  for (const auto& c : arCases) {
    CProdL2ozo prod;
    prod.InitFirstL2ozo(2);
    MakeRecord(prod, 2, 1, 1);
    for (size_t i = 0; i < c.arLayers.size(); ++i) {
      prod.LayerTopPressure[i].Write()[1] = c.arLayers[i].fTop;
      prod.LayerBottomPressure[i].Write()[1] = c.arLayers[i].fBottom;
      prod.IntegratedO3Density[i].Write()[1] = c.arLayers[i].fDensity;
    }
    CBoxStat boxes(1, 1, ACTIVE);
    boxes.Add(1, prod, 0);  // nothing but a position
    boxes.Add(1, prod, 1);
    EXPECT_EQ(boxes.Cell(0, 0, 0).Count(), 2);
    EXPECT_EQ(boxes.Cell(0, 0, 1).Average(), c.fWanted);
  }
}

TEST(StatTable, WritesNumbersAsPrintfDoes) {
  CTempDir dir;
  CStreamWriter writer;
  ASSERT_TRUE(writer.Open(dir.Path("t").c_str(), false));
  CStatTable table(writer);
  std::string szWanted = "# words\n";
  table.Comment("words");
  std::mt19937_64 random(6);
  for (int i = 0; i < 3000; ++i) {
    char szNumber[64];
    double f = i == 0 ? -777 : i == 1 ? 0 : i == 2 ? 645.25 : i == 3 ? 0.1 + 0.2 : i == 4 ? 123456789.5 : 0;
    const uint64_t nBits = random();
    if (i > 4) std::memcpy(&f, &nBits, sizeof f);
    if (std::isnan(f)) continue;
    table.Real(f);
    table.Int(static_cast<int64_t>(nBits));
    table.EndRow();
    std::snprintf(szNumber, sizeof szNumber, "%.9g\t%lld\n", f, static_cast<long long>(nBits));
    szWanted += szNumber;
  }
  ASSERT_TRUE(writer.Close());
  EXPECT_EQ(ReadWholeFile(dir.Path("t")), szWanted);
}
