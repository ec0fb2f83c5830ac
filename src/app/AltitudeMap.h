#pragma once

#include <cstdint>
#include <vector>

class CStreamReader;

/// Global grid of land and sea. Row 0 is the northernmost band, columns run eastward from longitude 0, a cell
/// is 1/6 degree on a side. The file gives altitudes: cells of 0 or more are land, negative ones and those
/// that it does not give are sea. Only that is kept, a bit a cell.
class CAltitudeMap {
 public:
  CAltitudeMap() = default;
  CAltitudeMap(const CAltitudeMap&) = delete;
  CAltitudeMap& operator=(const CAltitudeMap&) = delete;
  virtual ~CAltitudeMap() = default;

  /// Makes a grid of sea, or none when a count is below 1.
  void Init(long nNewRows, long nNewColumns);

  /// Fills the grid row by row from big-endian Fortran records: pair count, then pairs of a column number
  /// from 1 and a value, all of 16 bits. Columns outside the grid are dropped. Behind the end of the
  /// stream all cells are sea.
  void Read(CStreamReader& stream);

  /// 1 for land, 0 for sea, -1 while there is no grid. Degrees; a position off the globe, or none (NaN),
  /// takes the nearest edge of the grid, NaN the first row or column.
  int GetSurfaceType(double fLatitude, double fLongitude) const;

  long Rows() const { return m_nRows; }
  long Columns() const { return m_nColumns; }

 private:
  long m_nRows = 0;
  long m_nColumns = 0;
  long m_nRowBytes = 0;
  std::vector<uint8_t> m_arLand;  // rows of m_nRowBytes, the first of eight columns in the lowest bit
};
