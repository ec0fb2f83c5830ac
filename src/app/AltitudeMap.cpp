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

constexpr int PAIR_SIZE = 4;

/// Whether each of the pairs stands for the column behind that of the one before it, as in a file that gives
/// every cell.
bool AreInSequence(const uint8_t* pPairs, int nPairs) {
  const int nFirst = BigEndian2(pPairs);
  int nDifferences = 0;
  for (int i = 0; i < nPairs; ++i) nDifferences |= BigEndian2(pPairs + PAIR_SIZE * i) ^ (nFirst + i);
  return nDifferences == 0;
}

/// Sets the cells (1 land, 0 sea) of one row from its pairs; the last pair of a column counts.
void FillRow(const uint8_t* pPairs, int nPairs, std::vector<uint8_t>& arCells) {
  const int nColumns = static_cast<int>(arCells.size());
  const int nFirst = nPairs > 0 ? BigEndian2(pPairs) : 0;
  if (nFirst >= 1 && nFirst - 1 + nPairs <= nColumns && AreInSequence(pPairs, nPairs)) {
    uint8_t* pCells = arCells.data() + nFirst - 1;
    for (int i = 0; i < nPairs; ++i) pCells[i] = static_cast<uint8_t>((pPairs[PAIR_SIZE * i + 2] >> 7) ^ 1);
    return;
  }
  for (const uint8_t* p = pPairs; nPairs > 0; --nPairs, p += PAIR_SIZE) {
    const int nColumn = BigEndian2(p);
    if (nColumn >= 1 && nColumn <= nColumns) arCells[nColumn - 1] = BigEndian2(p + 2) >= 0;
  }
}

/// Eight cells to the bits of a byte, the first one lowest.
uint8_t PackEight(const uint8_t* pCells) {
  unsigned nBits = 0;
  for (int i = 0; i < 8; ++i) nBits |= static_cast<unsigned>(pCells[i]) << i;
  return static_cast<uint8_t>(nBits);
}

}  // namespace

void CAltitudeMap::Init(long nNewRows, long nNewColumns) {
  arLand.clear();
  if (nNewRows < 1 || nNewColumns < 1) return;
  nRows = nNewRows;
  nColumns = nNewColumns;
  nRowBytes = (nColumns + 7) / 8;
  arLand.assign(static_cast<size_t>(nRows) * static_cast<size_t>(nRowBytes), 0);
}

void CAltitudeMap::Read(CStreamReader& stream) {
  std::vector<uint8_t> arPairs(PAIR_SIZE * INT16_MAX), arCells;
  for (long nRow = 0; !arLand.empty() && nRow < nRows; ++nRow) {
    int nMarker = 0, nPairs = 0;
    stream.ReadBinInt4(&nMarker);
    stream.ReadBinInt2(&nPairs);
    nPairs = stream.Read(PAIR_SIZE * nPairs, reinterpret_cast<char*>(arPairs.data())) / PAIR_SIZE;
    arCells.assign(static_cast<size_t>(nRowBytes) * 8, 0);
    FillRow(arPairs.data(), nPairs, arCells);
    uint8_t* pRow = arLand.data() + nRow * nRowBytes;
    for (long i = 0; i < nRowBytes; ++i) pRow[i] = PackEight(arCells.data() + 8 * i);
    stream.ReadBinInt4(&nMarker);
  }
}

int CAltitudeMap::GetSurfaceType(double fLatitude, double fLongitude) const {
  constexpr double NORTH_EDGE = 90.08333333333333;
  if (arLand.empty()) return -1;
  const double fEast = fLongitude >= 0 ? 6.0 * fLongitude : (360.0 + fLongitude) * 6.0;
  const long nColumn = GridIndex(fEast + 0.5, nColumns);
  const long nRow = GridIndex((NORTH_EDGE - fLatitude) * 6.0 + 0.5, nRows);
  return arLand[nRow * nRowBytes + nColumn / 8] >> (nColumn % 8) & 1;
}
