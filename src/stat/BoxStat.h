#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "prod/ProductKind.h"
#include "stat/Classes.h"
#include "stat/Moments.h"

class CProd;
struct SGridColumn;

/// Counts and means of what the pixels of each product hold, on a regular grid of the whole globe.
class CBoxStat {
 public:
  static constexpr const char* SUFFIX = ".boxstat";  // of the file

  /// A grid count below 1 is its default, cells of 2 degrees. arbActive: the products that have columns.
  CBoxStat(int nLatitudes, int nLongitudes, const bool (&arbActive)[PRODUCTS]);
  virtual ~CBoxStat() = default;

  /// Bytes that it takes, at least those of one column.
  static double Size(int nLatitudes, int nLongitudes, const bool (&arbActive)[PRODUCTS]);

  /// One pixel of an active product. L1C pixels of a day 1 archive are not counted.
  void Add(int nProduct, const CProd& prod, int nPixel);

  bool IsActive(int nProduct) const { return m_arbActive[nProduct]; }
  const CClasses& Latitudes() const { return m_latitudes; }
  const CClasses& Longitudes() const { return m_longitudes; }
  const std::vector<const SGridColumn*>& Columns() const { return m_arpColumns; }
  /// One for each column.
  const SMean* Cell(int nLatitude, int nLongitude) const {
    return m_arCells.data() + Index(nLatitude, nLongitude);
  }
  /// Pixels of a product that were counted in a cell, and those whose position is in none.
  int64_t Inside(int nProduct) const { return m_arnInside[nProduct]; }
  int64_t Outside(int nProduct) const { return m_arnOutside[nProduct]; }

 private:
  size_t Index(int nLatitude, int nLongitude) const {
    return (static_cast<size_t>(nLatitude) * m_longitudes.Count() + nLongitude) * m_arpColumns.size();
  }

  CClasses m_latitudes;
  CClasses m_longitudes;
  bool m_arbActive[PRODUCTS];
  std::vector<const SGridColumn*> m_arpColumns;
  std::vector<SMean> m_arCells;
  int64_t m_arnInside[PRODUCTS] = {};
  int64_t m_arnOutside[PRODUCTS] = {};
};
