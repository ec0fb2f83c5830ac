#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "TestSupport.h"
#include "app/ConfigParam.h"
#include "bufr/StreamReader.h"
#include "kernel/Reporter.h"

namespace {

std::string Int2(int n) { return {static_cast<char>(n >> 8), static_cast<char>(n)}; }

/// One record of the file, whose markers are of no account.
std::string Row(const std::vector<std::pair<int, int>>& arPairs) {
  std::string szPairs;
  for (const auto& [nColumn, nValue] : arPairs) szPairs += Int2(nColumn) + Int2(nValue);
  return "mark" + Int2(static_cast<int>(arPairs.size())) + szPairs + "mark";
}

bool Load(CConfigParam& config, const std::string& szPath) {
  config.szAltitudePath = CConfigParam::DuplicateString(szPath.c_str());
  return config.InitAltitudeMap();
}

}  // namespace

TEST(AltitudeMap, LookupFindsTheCell) {
  CTempDir dir;
  std::string szFile;
  for (int nRow = 1; nRow <= 1080; ++nRow) {
    // Land in the first row's first and last cell, in one cell of row 541 and in the last row's first cell.
    szFile += nRow == 1      ? Row({{0, 5}, {1, 0}, {2160, 3}, {2161, 5}, {-1, 5}})
              : nRow == 541  ? Row({{0, 5}, {2, 100}, {3, -30000}, {61, 20000}})
              : nRow == 1080 ? Row({{1, 1}})
                             : Row({});
  }
  CConfigParam config;
  EXPECT_EQ(config.altitudeMap.GetSurfaceType(0, 0), -1);
  ASSERT_TRUE(Load(config, dir.Write("grid", szFile)));
  const double fNaN = std::numeric_limits<double>::quiet_NaN(), fInfinite = INFINITY;
  const struct {
    double fLatitude, fLongitude;
    int nWanted;
  } arCases[] = {
      {0.1, 359.99, 0},  {90, 0, 1},      {90, 0.24, 1}, {90, 0.26, 0},      {90, 359.99, 1},
      {90, -0.01, 1},    {90, -0.1, 0},   {89.84, 0, 1}, {89.82, 0, 0},      {0, 0.3, 1},
      {0, 0.5, 0},       {0, 10.1, 1},    {0, 10.3, 0},  {-90, 0, 1},        {-89.84, 0, 1},
      {-89.82, 0, 0},    {-777, -777, 1}, {1e9, 1e9, 1}, {1e300, 0, 1},      {-1e300, -1e300, 1},
      {fNaN, fNaN, 1},   {0, fNaN, 0},    {fNaN, 1, 0},  {90, fInfinite, 1}, {-fInfinite, 0, 1},
      {fInfinite, 1, 0},
  };
  for (const auto& c : arCases)
    EXPECT_EQ(config.altitudeMap.GetSurfaceType(c.fLatitude, c.fLongitude), c.nWanted)
        << c.fLatitude << " " << c.fLongitude;
  config.altitudeMap.Init(0, 5);
  EXPECT_EQ(config.altitudeMap.GetSurfaceType(0, 0), -1);
}

// However short the file: the values that it holds whole are there, everything behind them is sea.
TEST(AltitudeMap, FileCutAnywhere) {
  CTempDir dir;
  const std::string szFile = Row({{1, 5}, {3, 5}}) + Row({}) + Row({{2, 0x0101}});
  const size_t arnEnds[] = {10, 14, 38};  // of the three values
  const double arPlaces[][2] = {{90, 0}, {90, 0.5}, {89.6, 0.3}};
  for (size_t nLength = 0; nLength <= szFile.size(); ++nLength) {
    CStreamReader stream;
    ASSERT_TRUE(stream.Open(dir.Write("grid", szFile.substr(0, nLength)).c_str()));
    CAltitudeMap map;
    map.Init(3, 3);
    map.Read(stream);
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(map.GetSurfaceType(arPlaces[i][0], arPlaces[i][1]), nLength >= arnEnds[i])
          << nLength << " " << i;
  }
}

TEST(AltitudeMap, FilesThatAreNone) {
  CTempDir dir;
  CConfigParam config;
  const CReportCapture said;
  EXPECT_FALSE(Load(config, dir.Path("none")));
  config.szAltitudePath.reset();
  EXPECT_FALSE(config.InitAltitudeMap());
  EXPECT_EQ(said.Text(),
            "ERROR: Unable to open file " + dir.Path("none") + "\nERROR: no altitude file defined\n");
  EXPECT_EQ(said.Losses(), "");
  EXPECT_EQ(config.altitudeMap.GetSurfaceType(0, 0), -1);
  for (const std::string& szPath : {dir.Path(), dir.Write("random", std::string(100'000, '\x7F'))}) {
    EXPECT_TRUE(Load(config, szPath));  // no rows: all sea
    EXPECT_EQ(config.altitudeMap.GetSurfaceType(0, 0), 0);
  }
}
