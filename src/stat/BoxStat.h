#pragma once

#include <cstdint>
#include <vector>

#include "prod/Prod.h"
#include "stat/Classes.h"
#include "stat/Moments.h"

/// Counts and means of what the pixels of each stream hold, on a regular grid of the whole globe.
class CBoxStat {
 public:
  static constexpr int STREAMS = 6;  // L1C, then the L2 kinds

  struct SColumn {
    const char* szName;
    const char* szUnit;  // null for a count of pixels
    int nStream;
    /// Adds what one pixel has; a count adds any value.
    void (*pAdd)(SMean& mean, const CProd& prod, int nPixel);
  };

  /// A grid count below 1 is its default, cells of 2 degrees. parbActive: the streams that have columns.
  CBoxStat(int nLatitudes, int nLongitudes, const bool* parbActive);
  virtual ~CBoxStat() = default;

  /// Bytes that it takes.
  static double Size(int nLatitudes, int nLongitudes, const bool* parbActive);

  /// One pixel of an active stream. L1C pixels of a day 1 archive are not counted.
  void Add(int nStream, const CProd& prod, int nPixel);

  const CClasses& Latitudes() const { return m_latitudes; }
  const CClasses& Longitudes() const { return m_longitudes; }
  const std::vector<const SColumn*>& Columns() const { return m_arpColumns; }
  const SMean& Cell(int nLatitude, int nLongitude, int nColumn) const {
    return m_arCells[Index(nLatitude, nLongitude) + nColumn];
  }
  /// Pixels of a stream that were counted in a cell, and those whose position is in none.
  int64_t Inside(int nStream) const { return m_arnInside[nStream]; }
  int64_t Outside(int nStream) const { return m_arnOutside[nStream]; }

 private:
  size_t Index(int nLatitude, int nLongitude) const {
    return (static_cast<size_t>(nLatitude) * m_longitudes.Count() + nLongitude) * m_arpColumns.size();
  }

  CClasses m_latitudes;
  CClasses m_longitudes;
  std::vector<const SColumn*> m_arpColumns;
  std::vector<SMean> m_arCells;
  int64_t m_arnInside[STREAMS] = {};
  int64_t m_arnOutside[STREAMS] = {};
};
