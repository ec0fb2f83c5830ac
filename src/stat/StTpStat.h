#pragma once

#include <cstdint>
#include <memory>

#include "stat/MultiPixStat.h"  // IWYU pragma: keep
#include "stat/SpeMultiStat.h"

struct SSpectrumRow;

/// Spectral statistics by surface and time of day, and by pixel position. Every pixel is accumulated once, in
/// the cell of its surface, period, position and sky; what a file shows is put together from the cells.
class CStTpStat {
 public:
  CStTpStat(int nColumns, bool bFour) : m_nColumns(nColumns), m_bFour(bFour) {}
  virtual ~CStTpStat() = default;

  /// nSurfaceType: 0 sea, 1 land, -1 unknown. fSolarZenithAngle in degrees, -777 for none; an angle of 90
  /// counts by day and by night.
  void Add(const SSpectrumRow& row, int64_t nCloudFraction, int64_t nFieldOfView, int64_t nSurfaceType,
           double fSolarZenithAngle);

  /// The pixels of a surface (CConfigParam::ESurface) and a period (CConfigParam::EPeriod).
  CSpeMultiStat Union(int nSurface, int nPeriod);
  /// The pixels of a position, 1 to 4.
  CSpeMultiStat Position(int nPosition);

 private:
  static constexpr int SURFACES = 3;  // unknown, sea, land
  enum { DAY = 1, NIGHT = 2 };        // bits; the period of a cell is none, one or both
  static constexpr int PERIODS = 4;

  int m_nColumns;
  bool m_bFour;
  std::unique_ptr<CMultiPixStat> m_arpCells[SURFACES][PERIODS];  // made for the first pixel
};
