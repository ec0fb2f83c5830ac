#include "stat/BoxStat.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kernel/MissingReal.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "stat/SpeMultiStat.h"
#include "stat/StatText.h"

namespace {

double CountPixel(const CProd&, int, int) { return 0; }

template <CSpeMultiStat::ESet SKY>
double CountSky(const CProd& prod, int nPixel, int) {
  return CSpeMultiStat::Sky(static_cast<const CProdL1C&>(prod).CloudFraction[nPixel]) == SKY ? 0
                                                                                             : MISSING_REAL;
}

/// The density of the layer that encloses all the others, else the sum over the layers. None when a layer
/// lacks its density or a pressure.
double OzoneColumn(const CProd& record, int nPixel, int) {
  const auto& prod = static_cast<const CProdL2ozo&>(record);
  const int nLayers = prod.LayerCount;
  const SKeptRow row = prod.KeptRow(nPixel);
  double fTop = INFINITY, fBottom = -INFINITY, fSum = 0;
  for (int i = 0; i < nLayers; ++i) {
    const double fDensity = prod.IntegratedO3Density[i][row], fLayerTop = prod.LayerTopPressure[i][row],
                 fLayerBottom = prod.LayerBottomPressure[i][row];
    if (fDensity == MISSING_REAL || fLayerTop == MISSING_REAL || fLayerBottom == MISSING_REAL)
      return MISSING_REAL;
    fTop = std::min(fTop, fLayerTop);
    fBottom = std::max(fBottom, fLayerBottom);
    fSum += fDensity;
  }
  for (int i = 0; i < nLayers; ++i)
    if (prod.LayerTopPressure[i][row] == fTop && prod.LayerBottomPressure[i][row] == fBottom)
      return prod.IntegratedO3Density[i][row];
  return fSum;
}

using CL1C = CProdL1C;
using CTrg = CProdL2trg;
using CClp = CProdL2clp;
using CTwt = CProdL2twt;
using CEms = CProdL2ems;

constexpr const char* DENSITY = "kg/m2";

/// What stands behind the count of the pixels, which every product has.
constexpr CBoxStat::SColumn COLUMNS[] = {
    {"ClearCount", nullptr, PRODUCT_L1C, CountSky<CSpeMultiStat::CLEAR>},
    {"CloudyCount", nullptr, PRODUCT_L1C, CountSky<CSpeMultiStat::CLOUDY>},
    {"CloudFraction", "percent", PRODUCT_L1C, PixelValue<&CL1C::CloudFraction>},
    {"AverageIIS", RADIANCE_UNIT, PRODUCT_L1C, PixelValue<&CL1C::AverageIIS>},
    {"TotalColumn", DENSITY, PRODUCT_OZO, OzoneColumn},
    {"IntegratedN2ODensity", DENSITY, PRODUCT_TRG, PixelValue<&CTrg::IntegratedN2ODensity>},
    {"IntegratedCODensity", DENSITY, PRODUCT_TRG, PixelValue<&CTrg::IntegratedCODensity>},
    {"IntegratedCH4Density", DENSITY, PRODUCT_TRG, PixelValue<&CTrg::IntegratedCH4Density>},
    {"IntegratedCO2Density", DENSITY, PRODUCT_TRG, PixelValue<&CTrg::IntegratedCO2Density>},
    // of the first cloud layer
    {"CloudAmountInSegment", "percent", PRODUCT_CLP, PixelValue<&CClp::CloudAmountInSegment>},
    {"Pressure", "Pa", PRODUCT_CLP, PixelValue<&CClp::Pressure>},
    {"Temperature", "K", PRODUCT_CLP, PixelValue<&CClp::Temperature>},
    {"SkinTemperature", "K", PRODUCT_TWT, PixelValue<&CTwt::SkinTemperature>},
    {"Emissivity", "percent", PRODUCT_EMS, PixelValue<&CEms::Emissivity>, CEms::POINTS},
};

constexpr auto COUNTS = [] {
  std::array<CBoxStat::SColumn, PRODUCTS> arCounts{};
  for (int i = 0; i < PRODUCTS; ++i) arCounts[i] = {"Count", nullptr, static_cast<EProduct>(i), CountPixel};
  return arCounts;
}();

/// The columns of the active products.
std::vector<const CBoxStat::SColumn*> ColumnsOf(const bool (&arbActive)[PRODUCTS]) {
  std::vector<const CBoxStat::SColumn*> arpColumns;
  for (const CBoxStat::SColumn& count : COUNTS) {
    if (!arbActive[count.eProduct]) continue;
    arpColumns.push_back(&count);
    for (const CBoxStat::SColumn& column : COLUMNS)
      if (column.eProduct == count.eProduct) arpColumns.push_back(&column);
  }
  return arpColumns;
}

/// Adds what one pixel has.
void AddPixel(SMean& mean, const CBoxStat::SColumn& column, const CProd& prod, int nPixel) {
  for (int i = 0; i < column.nValues; ++i) {
    const double fValue = column.pValue(prod, nPixel, i);
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
