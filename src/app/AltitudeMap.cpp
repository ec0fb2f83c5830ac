#include "app/AltitudeMap.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "bufr/StreamReader.h"

namespace {

/// Index, from 0, of a row or column number, from 1, that may lie anywhere or be NaN. Limited before it is
/// converted, for decoded positions can be absurd.
long GridIndex(double fNumber, long nCount) {
  if (!(fNumber >= 1)) return 0;
  return static_cast<long>(std::min(fNumber, static_cast<double>(nCount))) - 1;
}

int BigEndian2(const uint8_t* p) { return static_cast<int16_t>(p[0] << 8 | p[1]); }

}  // namespace

void CAltitudeMap::Init(long nNewRows, long nNewColumns) {
  pCells.reset();
  if (nNewRows < 1 || nNewColumns < 1) return;
  nRows = nNewRows;
  nColumns = nNewColumns;
  const size_t nCells = static_cast<size_t>(nRows) * static_cast<size_t>(nColumns);
  pCells = std::make_unique_for_overwrite<int16_t[]>(nCells);
  std::fill_n(pCells.get(), nCells, NO_VALUE);
}

void CAltitudeMap::Read(CStreamReader& stream) {
  constexpr int PAIR_SIZE = 4;
  std::vector<uint8_t> arPairs(PAIR_SIZE * INT16_MAX);
  for (long nRow = 0; pCells && nRow < nRows; ++nRow) {
    int nMarker = 0, nPairs = 0;
    stream.ReadBinInt4(&nMarker);
    stream.ReadBinInt2(&nPairs);
    nPairs = stream.Read(PAIR_SIZE * nPairs, reinterpret_cast<char*>(arPairs.data())) / PAIR_SIZE;
    for (const uint8_t* p = arPairs.data(); nPairs > 0; --nPairs, p += PAIR_SIZE) {
      const int nColumn = BigEndian2(p);
      if (nColumn < 1 || nColumn > nColumns) continue;
      pCells[nRow * nColumns + nColumn - 1] = static_cast<int16_t>(BigEndian2(p + 2));
    }
    stream.ReadBinInt4(&nMarker);
  }
}

int CAltitudeMap::GetSurfaceType(double fLatitude, double fLongitude) const {
  constexpr double NORTH_EDGE = 90.08333333333333;
  if (!pCells) return -1;
  const double fEast = fLongitude >= 0 ? 6.0 * fLongitude : (360.0 + fLongitude) * 6.0;
  const long nColumn = GridIndex(fEast + 0.5, nColumns);
  const long nRow = GridIndex((NORTH_EDGE - fLatitude) * 6.0 + 0.5, nRows);
  return pCells[nRow * nColumns + nColumn] >= 0 ? 1 : 0;
}
