#include "stat/BoxStat.h"

#include <algorithm>

#include "kernel/MissingReal.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "stat/StatColumn.h"

namespace {

/// The columns of the active products.
std::vector<const SGridColumn*> ColumnsOf(const bool (&arbActive)[PRODUCTS]) {
  std::vector<const SGridColumn*> arpColumns;
  for (int i = 0; i < PRODUCTS; ++i) {
    if (!arbActive[i]) continue;
    const auto arpOfProduct = GridColumns(i);
    arpColumns.insert(arpColumns.end(), arpOfProduct.begin(), arpOfProduct.end());
  }
  return arpColumns;
}

/// Adds what one pixel has.
void AddPixel(SMean& mean, const SGridColumn& column, const CProd& prod, int nPixel) {
  for (int i = 0; i < column.nValues; ++i) {
    const double fValue = column.pPixel(prod, nPixel, i);
    if (fValue != MISSING_REAL) mean.Add(fValue);
  }
}

int LatitudeCount(int nCount) { return nCount < 1 ? 90 : nCount; }
int LongitudeCount(int nCount) { return nCount < 1 ? 180 : nCount; }

}  // namespace

CBoxStat::CBoxStat(int nLatitudes, int nLongitudes, const bool (&arbActive)[PRODUCTS])
    : m_latitudes(-90, 90, LatitudeCount(nLatitudes)),
      m_longitudes(-180, 180, LongitudeCount(nLongitudes)),
      m_arpColumns(ColumnsOf(arbActive)) {
  std::copy_n(arbActive, PRODUCTS, m_arbActive);
  m_arCells.resize(Index(m_latitudes.Count(), 0));
}

double CBoxStat::Size(int nLatitudes, int nLongitudes, const bool (&arbActive)[PRODUCTS]) {
  // Cells without columns take no memory, but each is a row of the file.
  const size_t nColumns = std::max<size_t>(ColumnsOf(arbActive).size(), 1);
  const double fLatitudes = LatitudeCount(nLatitudes), fLongitudes = LongitudeCount(nLongitudes);
  return sizeof(SMean) * fLatitudes * fLongitudes * static_cast<double>(nColumns) +
         CClasses::Size(LatitudeCount(nLatitudes)) + CClasses::Size(LongitudeCount(nLongitudes));
}

void CBoxStat::Add(int nProduct, const CProd& prod, int nPixel) {
  if (nProduct == PRODUCT_L1C && static_cast<const CProdL1C&>(prod).DayVersion == CProdL1C::DAY_1) return;
  const int nLatitude = m_latitudes.Find(prod.Latitude[nPixel]);
  const int nLongitude = m_longitudes.Find(prod.Longitude[nPixel]);
  const auto inside = [](const CClasses& classes, int n) { return n >= 0 && n < classes.Count(); };
  if (!inside(m_latitudes, nLatitude) || !inside(m_longitudes, nLongitude)) {
    ++m_arnOutside[nProduct];
    return;
  }
  ++m_arnInside[nProduct];
  SMean* pCells = m_arCells.data() + Index(nLatitude, nLongitude);
  for (size_t i = 0; i < m_arpColumns.size(); ++i)
    if (m_arpColumns[i]->eProduct == nProduct) AddPixel(pCells[i], *m_arpColumns[i], prod, nPixel);
}
