#include "app/AltitudeMap.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "bufr/StreamReader.h"

static_assert(std::endian::native == std::endian::little, "pairs and cells are taken as little-endian words");

namespace {

/// Index, from 0, of a row or column number, from 1, that may lie anywhere or be NaN. Limited before it is
/// converted, for decoded positions can be absurd.
long GridIndex(double fNumber, long nCount) {
  if (!(fNumber >= 1)) return 0;
  return static_cast<long>(std::min(fNumber, static_cast<double>(nCount))) - 1;
}

constexpr int PAIR_SIZE = 4;

/// Sets the cells (1 land, 0 sea) of one row from its pairs; the last pair of a column counts.
void FillRow(const uint8_t* pPairs, int nPairs, uint8_t* pCells, long nColumns) {
  const auto nLimit = static_cast<uint32_t>(std::min<long>(nColumns, INT16_MAX));
  for (const uint8_t* p = pPairs; nPairs > 0; --nPairs, p += PAIR_SIZE) {
    uint32_t nWord;
    std::memcpy(&nWord, p, PAIR_SIZE);
    nWord = __builtin_bswap32(nWord);
    const uint32_t nIndex = (nWord >> 16) - 1;  // beyond every limit for columns below 1
    if (nIndex < nLimit) pCells[nIndex] = ~nWord >> 15 & 1;
  }
}

/// Eight cells to the bits of a byte, the first one lowest: the product has cell i at bit 56 + i.
uint8_t PackEight(const uint8_t* pCells) {
  uint64_t nCells;
  std::memcpy(&nCells, pCells, sizeof nCells);
  return static_cast<uint8_t>(nCells * 0x0102040810204080 >> 56);
}

}  // namespace

void CAltitudeMap::Init(long nNewRows, long nNewColumns) {
  m_arLand.clear();
  if (nNewRows < 1 || nNewColumns < 1) return;
  m_nRows = nNewRows;
  m_nColumns = nNewColumns;
  m_nRowBytes = (m_nColumns + 7) / 8;
  m_arLand.assign(static_cast<size_t>(m_nRows) * static_cast<size_t>(m_nRowBytes), 0);
}

void CAltitudeMap::Read(CStreamReader& stream) {
  std::vector<uint8_t> arPairs(PAIR_SIZE * INT16_MAX), arCells;
  for (long nRow = 0; !m_arLand.empty() && nRow < m_nRows; ++nRow) {
    int nMarker = 0, nPairs = 0;
    stream.ReadBinInt4(&nMarker);
    stream.ReadBinInt2(&nPairs);
    nPairs = stream.Read(PAIR_SIZE * nPairs, reinterpret_cast<char*>(arPairs.data())) / PAIR_SIZE;
    arCells.assign(static_cast<size_t>(m_nRowBytes) * 8, 0);
    FillRow(arPairs.data(), nPairs, arCells.data(), m_nColumns);
    uint8_t* pRow = m_arLand.data() + nRow * m_nRowBytes;
    for (long i = 0; i < m_nRowBytes; ++i) pRow[i] = PackEight(arCells.data() + 8 * i);
    stream.ReadBinInt4(&nMarker);
  }
}

int CAltitudeMap::GetSurfaceType(double fLatitude, double fLongitude) const {
  constexpr double NORTH_EDGE = 90.08333333333333;
  if (m_arLand.empty()) return -1;
  const double fEast = fLongitude >= 0 ? 6.0 * fLongitude : (360.0 + fLongitude) * 6.0;
  const long nColumn = GridIndex(fEast + 0.5, m_nColumns);
  const long nRow = GridIndex((NORTH_EDGE - fLatitude) * 6.0 + 0.5, m_nRows);
  return m_arLand[nRow * m_nRowBytes + nColumn / 8] >> (nColumn % 8) & 1;
}
