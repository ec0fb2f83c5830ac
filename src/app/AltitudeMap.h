#pragma once

#include <cstdint>
#include <memory>

class CStreamReader;

/// Global grid of land, sea and altitude. Row 0 is the northernmost band, columns run eastward from
/// longitude 0, a cell is 1/6 degree on a side. Cells of 0 or more are land (their altitude), negative ones
/// sea.
class CAltitudeMap {
 public:
  /// Value of a cell that the file does not give.
  static constexpr int16_t NO_VALUE = -777;

  CAltitudeMap() = default;
  CAltitudeMap(const CAltitudeMap&) = delete;
  CAltitudeMap& operator=(const CAltitudeMap&) = delete;
  virtual ~CAltitudeMap() = default;

  /// Makes a grid of NO_VALUE, or none when a count is below 1.
  void Init(long nNewRows, long nNewColumns);

  /// Fills the grid row by row from big-endian Fortran records: pair count, then pairs of a column number
  /// from 1 and a value, all of 16 bits. Columns outside the grid are dropped. Where the stream ends early
  /// the cells keep their value.
  void Read(CStreamReader& stream);

  /// 1 for land, 0 for sea, -1 while there is no grid. Degrees; a position off the globe, or none (NaN),
  /// takes the nearest edge of the grid, NaN the first row or column.
  int GetSurfaceType(double fLatitude, double fLongitude) const;

  long Rows() const { return nRows; }
  long Columns() const { return nColumns; }

 private:
  long nRows = 0;
  long nColumns = 0;
  std::unique_ptr<int16_t[]> pCells;  // row after row
};
