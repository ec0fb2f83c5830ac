#include "stat/BoxStat.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "stat/SpeMultiStat.h"

namespace {

constexpr double MISSING = SMean::MISSING;
constexpr int DAY_ONE = 1;

template <class TRecord>
const TRecord& As(const CProd& prod) {
  return static_cast<const TRecord&>(prod);
}

void AddReal(SMean& mean, double fValue) {
  if (fValue != MISSING) mean.Add(fValue);
}

void AddPixel(SMean& mean, const CProd&, int) { mean.Add(0); }

template <CSpeMultiStat::ESet SKY>
void AddSky(SMean& mean, const CProd& prod, int nPixel) {
  if (CSpeMultiStat::Sky(As<CProdL1C>(prod).CloudFraction[nPixel]) == SKY) mean.Add(0);
}

void AddCloudFraction(SMean& mean, const CProd& prod, int nPixel) {
  const int64_t nFraction = As<CProdL1C>(prod).CloudFraction[nPixel];
  if (nFraction != CProd::DEFAULT_VALUE_M1) mean.Add(static_cast<double>(nFraction));
}

template <class TRecord, auto FIELD>
void AddField(SMean& mean, const CProd& prod, int nPixel) {
  AddReal(mean, prod.At(As<TRecord>(prod).*FIELD, nPixel));
}

template <auto FIELD>
void AddFirstLayer(SMean& mean, const CProd& prod, int nPixel) {
  AddReal(mean, prod.At((As<CProdL2clp>(prod).*FIELD)[0], nPixel));
}

void AddEmissivities(SMean& mean, const CProd& prod, int nPixel) {
  for (const RealColumn& column : As<CProdL2ems>(prod).Emissivity) AddReal(mean, column[nPixel]);
}

/// The layers that the message carries: all that there is room for when a pixel has anything behind the few.
int OzoneLayers(const CProdL2ozo& prod) {
  constexpr int FEW = CProdL2ozo::FEW_LAYERS;
  for (const auto* p :
       {&prod.LayerTopPressure[FEW], &prod.LayerBottomPressure[FEW], &prod.IntegratedO3Density[FEW]})
    for (int i = 0; i < prod.PixelCount; ++i)
      if ((*p)[i] != MISSING) return CProdL2ozo::LAYERS;
  return FEW;
}

/// The density of the layer that encloses all the others, else the sum over the layers. None when a layer
/// lacks its density or a pressure.
void AddOzoneColumn(SMean& mean, const CProd& record, int nPixel) {
  const auto& prod = As<CProdL2ozo>(record);
  const int nLayers = OzoneLayers(prod);
  double fTop = INFINITY, fBottom = -INFINITY, fSum = 0;
  for (int i = 0; i < nLayers; ++i) {
    const double fDensity = prod.IntegratedO3Density[i][nPixel], fLayerTop = prod.LayerTopPressure[i][nPixel],
                 fLayerBottom = prod.LayerBottomPressure[i][nPixel];
    if (fDensity == MISSING || fLayerTop == MISSING || fLayerBottom == MISSING) return;
    fTop = std::min(fTop, fLayerTop);
    fBottom = std::max(fBottom, fLayerBottom);
    fSum += fDensity;
  }
  for (int i = 0; i < nLayers; ++i)
    if (prod.LayerTopPressure[i][nPixel] == fTop && prod.LayerBottomPressure[i][nPixel] == fBottom)
      return mean.Add(prod.IntegratedO3Density[i][nPixel]);
  mean.Add(fSum);
}

using CL1C = CProdL1C;
using CClp = CProdL2clp;
using CTrg = CProdL2trg;
using CTwt = CProdL2twt;

constexpr const char* DENSITY = "kg/m2";

constexpr CBoxStat::SColumn COLUMNS[] = {
    {"L1CCount", nullptr, 0, AddPixel},
    {"L1CClearCount", nullptr, 0, AddSky<CSpeMultiStat::CLEAR>},
    {"L1CCloudyCount", nullptr, 0, AddSky<CSpeMultiStat::CLOUDY>},
    {"L1CCloudFraction", "percent", 0, AddCloudFraction},
    {"L1CAverageIIS", "W/(m2 sr m-1)", 0, AddField<CL1C, &CL1C::AverageIIS>},
    {"ozoCount", nullptr, 1, AddPixel},
    {"ozoTotalColumn", DENSITY, 1, AddOzoneColumn},
    {"trgCount", nullptr, 2, AddPixel},
    {"trgIntegratedN2ODensity", DENSITY, 2, AddField<CTrg, &CTrg::IntegratedN2ODensity>},
    {"trgIntegratedCODensity", DENSITY, 2, AddField<CTrg, &CTrg::IntegratedCODensity>},
    {"trgIntegratedCH4Density", DENSITY, 2, AddField<CTrg, &CTrg::IntegratedCH4Density>},
    {"trgIntegratedCO2Density", DENSITY, 2, AddField<CTrg, &CTrg::IntegratedCO2Density>},
    {"clpCount", nullptr, 3, AddPixel},
    {"clpCloudAmountInSegment", "percent", 3, AddFirstLayer<&CClp::CloudAmountInSegment>},
    {"clpPressure", "Pa", 3, AddFirstLayer<&CClp::Pressure>},
    {"clpTemperature", "K", 3, AddFirstLayer<&CClp::Temperature>},
    {"twtCount", nullptr, 4, AddPixel},
    {"twtSkinTemperature", "K", 4, AddField<CTwt, &CTwt::SkinTemperature>},
    {"emsCount", nullptr, 5, AddPixel},
    {"emsEmissivity", "percent", 5, AddEmissivities},
};

int LatitudeCount(int nCount) { return nCount < 1 ? 90 : nCount; }
int LongitudeCount(int nCount) { return nCount < 1 ? 180 : nCount; }

}  // namespace

CBoxStat::CBoxStat(int nLatitudes, int nLongitudes, const bool* parbActive)
    : m_latitudes(-90, 90, LatitudeCount(nLatitudes)), m_longitudes(-180, 180, LongitudeCount(nLongitudes)) {
  for (const SColumn& column : COLUMNS)
    if (parbActive[column.nStream]) m_arpColumns.push_back(&column);
  m_arCells.resize(Index(m_latitudes.Count(), 0));
}

double CBoxStat::Size(int nLatitudes, int nLongitudes, const bool* parbActive) {
  const auto nColumns = std::count_if(std::begin(COLUMNS), std::end(COLUMNS),
                                      [=](const SColumn& column) { return parbActive[column.nStream]; });
  const double fLatitudes = LatitudeCount(nLatitudes), fLongitudes = LongitudeCount(nLongitudes);
  return sizeof(SMean) * fLatitudes * fLongitudes * static_cast<double>(nColumns) +
         CClasses::Size(LatitudeCount(nLatitudes)) + CClasses::Size(LongitudeCount(nLongitudes));
}

void CBoxStat::Add(int nStream, const CProd& prod, int nPixel) {
  if (nStream == 0 && As<CProdL1C>(prod).DayVersion == DAY_ONE) return;
  const int nLatitude = m_latitudes.Find(prod.Latitude[nPixel]);
  const int nLongitude = m_longitudes.Find(prod.Longitude[nPixel]);
  const auto inside = [](const CClasses& classes, int n) { return n >= 0 && n < classes.Count(); };
  if (!inside(m_latitudes, nLatitude) || !inside(m_longitudes, nLongitude)) {
    ++m_arnOutside[nStream];
    return;
  }
  ++m_arnInside[nStream];
  SMean* pCells = m_arCells.data() + Index(nLatitude, nLongitude);
  for (size_t i = 0; i < m_arpColumns.size(); ++i)
    if (m_arpColumns[i]->nStream == nStream) m_arpColumns[i]->pAdd(pCells[i], prod, nPixel);
}
