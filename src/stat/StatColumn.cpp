#include "stat/StatColumn.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "app/ConfigParam.h"
#include "kernel/MissingReal.h"
#include "prod/Physics.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "stat/SpeMultiStat.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

namespace {

constexpr EStat INT = EStat::INT, REAL = EStat::REAL;

double Channel(const SStatRow& row, int) { return row.nChannel; }
double WaveNumber(const SStatRow& row, int) { return CPhysics::WaveNumber(row.nChannel); }
template <int EDGE>
double Edge(const SStatRow& row, int) {
  return row.arfEdges[EDGE];
}

double Count(const SStatRow& row, int i) { return row.arMoments[i].fCount; }
double Average(const SStatRow& row, int i) { return row.arMoments[i].Average(); }
double StdDev(const SStatRow& row, int i) { return row.arMoments[i].StdDev(); }
double Skewness(const SStatRow& row, int i) { return row.arMoments[i].Skewness(); }
double Kurtosis(const SStatRow& row, int i) { return row.arMoments[i].Kurtosis(); }
double ImagerTemperature(const SStatRow& row, int i) { return CPhysics::ImagerTemperature(Average(row, i)); }

/// In kelvin with -tb 1.
double ChannelAverage(const SStatRow& row, int i) {
  const double fAverage = Average(row, i);
  if (!row.pConfig->bBrightnessTemperature) return fAverage;
  return CPhysics::BrightnessTemperature(CPhysics::WaveNumber(row.nChannel), fAverage);
}
double ChannelStdDev(const SStatRow& row, int i) {
  const double fStdDev = StdDev(row, i), fReference = row.pConfig->fReferenceTemperature;
  if (!row.pConfig->bBrightnessTemperature) return fStdDev;
  if (row.arMoments[i].Empty()) return 0;
  return CPhysics::TemperatureDeviation(CPhysics::WaveNumber(row.nChannel), fStdDev,
                                        fReference > 0 ? fReference : ChannelAverage(row, i));
}

double ClassCount(const SStatRow& row, int nColumn) {
  return static_cast<double>(row.pCounts->Class(nColumn, row.nClass));
}

double CellCount(const SStatRow& row, int nColumn) { return row.pMeans[nColumn].fCount; }
double CellMean(const SStatRow& row, int nColumn) { return row.pMeans[nColumn].Average(); }

constexpr const char NO_VALUE[] = "-777", NO_RADIANCE[] = "-777; 0 with -tb 1", NO_TEMPERATURE[] = "0",
                     NO_PIXEL[] = "0", OBSERVATIONS[] = "number_of_observations";
/// Files of one kind show different values, each in its unit.
constexpr const char OF_VALUE[] = "that of the value";

// name, form, source, meaning, unit, unit with -tb 1, without any value, option, standard name

constexpr SStatColumn CHANNEL[] = {
    {"Channel", INT, Channel, "number of the channel"},
    {"WaveNumber", REAL, WaveNumber, "wavenumber of the channel", "cm-1"},
};

constexpr SStatColumn CHANNEL_MOMENTS[] = {
    {"Count", INT, Count, "number of radiances, those of 0 or below included", "", "", NO_PIXEL},
    {"Average", REAL, ChannelAverage, "mean radiance; with -tb 1 its brightness temperature", RADIANCE_UNIT,
     "K", NO_RADIANCE},
    {"StdDev", REAL, ChannelStdDev, "standard deviation of the radiance; 0 for one value", RADIANCE_UNIT, "K",
     NO_RADIANCE},
    {"Skewness", REAL, Skewness, "skewness of the radiance: m3 / m2^1.5, 0 where m2 is 0", "", "", NO_VALUE,
     "-sk 1"},
    {"Kurtosis", REAL, Kurtosis, "excess kurtosis of the radiance: m4 / m2^2 - 3, 0 where m2 is 0", "", "",
     NO_VALUE, "-sk 1"},
};

constexpr SStatColumn CLASS[] = {
    {"ClassMin", REAL, Edge<0>, "lower edge of the class, which is in it", OF_VALUE},
    {"ClassMax", REAL, Edge<1>, "upper edge of the class, which is in the last class only", OF_VALUE},
};

constexpr SStatColumn CLASS_MOMENTS[] = {
    {"Count", INT, Count, "number of pixels with a value in the class", "", "", NO_PIXEL},
    {"Average", REAL, Average, "mean of the values in the class", OF_VALUE, "", NO_VALUE},
    {"Temperature", REAL, ImagerTemperature, "brightness temperature of the mean at 869.5 cm-1", "K", "",
     NO_TEMPERATURE, "-histavg"},
    {"StdDev", REAL, StdDev, "standard deviation of the values in the class; 0 for one value", OF_VALUE, "",
     NO_VALUE},
};

constexpr SStatColumn CLASS_COUNT[] = {
    {"#", INT, ClassCount, "number of radiances of this channel in the class", "", "", NO_PIXEL},
};

constexpr SStatColumn CELL[] = {
    {"LatMin", REAL, Edge<0>, "southern edge of the cell, which is in it", "degrees"},
    {"LatMax", REAL, Edge<1>, "northern edge of the cell, which is in the northernmost cells only",
     "degrees"},
    {"LonMin", REAL, Edge<2>, "western edge of the cell, which is in it", "degrees"},
    {"LonMax", REAL, Edge<3>, "eastern edge of the cell, which is in the easternmost cells only", "degrees"},
};

constexpr SStatSet SKIES[] = {
    {"All", "all pixels of the file"},
    {"Clear", "pixels with a CloudFraction of 0"},
    {"Cloudy", "pixels with a CloudFraction of 95 or more"},
};
static_assert(std::size(SKIES) == CSpeMultiStat::SETS);

constexpr SStatSet POSITIONS[] = {
    {"", "all pixels"},
    {"Pix1", "pixels of position 1"},
    {"Pix2", "pixels of position 2"},
    {"Pix3", "pixels of position 3"},
    {"Pix4", "pixels of position 4"},
};
static_assert(std::size(POSITIONS) == 1 + SPosition::COUNT);

constexpr SStatGroup SPECTRAL_GROUPS[] = {{CHANNEL}, {CHANNEL_MOMENTS, SKIES}};
constexpr SStatGroup HISTOGRAM_GROUPS[] = {{CLASS}, {CLASS_MOMENTS, POSITIONS}};
constexpr SStatGroup RADIANCE_GROUPS[] = {{CLASS}, {CLASS_COUNT, {}, true}};
constexpr SStatGroup GRID_GROUPS[] = {{CELL}};

// What the pixels of a product give to the grid.

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

constexpr SStatColumn Pixels(const char* szName, const char* szMeaning) {
  return {szName, INT, CellCount, szMeaning, "", "", NO_PIXEL, "", OBSERVATIONS};
}
constexpr SStatColumn Mean(const char* szName, const char* szUnit, const char* szMeaning,
                           const char* szStandardName = "") {
  return {szName, REAL, CellMean, szMeaning, szUnit, "", NO_VALUE, "", szStandardName};
}

constexpr const char* DENSITY = "kg/m2";

/// What follows the count of the pixels, which every product has. Meanings stand behind "number of" or
/// "mean".
constexpr SGridColumn GRID_COLUMNS[] = {
    {Pixels("ClearCount", "clear pixels, of a cloud fraction of 0"), PRODUCT_L1C,
     CountSky<CSpeMultiStat::CLEAR>},
    {Pixels("CloudyCount", "cloudy pixels, of a cloud fraction of 95 percent or more"), PRODUCT_L1C,
     CountSky<CSpeMultiStat::CLOUDY>},
    {Mean("CloudFraction", "percent", "cloud fraction", "cloud_area_fraction"), PRODUCT_L1C,
     PixelValue<&CL1C::CloudFraction>},
    {Mean("AverageIIS", RADIANCE_UNIT, "imager radiance"), PRODUCT_L1C, PixelValue<&CL1C::AverageIIS>},
    {Mean("TotalColumn", DENSITY, "ozone column", "atmosphere_mass_content_of_ozone"), PRODUCT_OZO,
     OzoneColumn},
    {Mean("IntegratedN2ODensity", DENSITY, "N2O column", "atmosphere_mass_content_of_nitrous_oxide"),
     PRODUCT_TRG, PixelValue<&CTrg::IntegratedN2ODensity>},
    {Mean("IntegratedCODensity", DENSITY, "CO column", "atmosphere_mass_content_of_carbon_monoxide"),
     PRODUCT_TRG, PixelValue<&CTrg::IntegratedCODensity>},
    {Mean("IntegratedCH4Density", DENSITY, "CH4 column", "atmosphere_mass_content_of_methane"), PRODUCT_TRG,
     PixelValue<&CTrg::IntegratedCH4Density>},
    {Mean("IntegratedCO2Density", DENSITY, "CO2 column", "atmosphere_mass_content_of_carbon_dioxide"),
     PRODUCT_TRG, PixelValue<&CTrg::IntegratedCO2Density>},
    {Mean("CloudAmountInSegment", "percent", "cloud amount of the first cloud layer"), PRODUCT_CLP,
     PixelValue<&CClp::CloudAmountInSegment>},
    {Mean("Pressure", "Pa", "cloud-top pressure of the first cloud layer", "air_pressure_at_cloud_top"),
     PRODUCT_CLP, PixelValue<&CClp::Pressure>},
    {Mean("Temperature", "K", "cloud-top temperature of the first cloud layer",
          "air_temperature_at_cloud_top"),
     PRODUCT_CLP, PixelValue<&CClp::Temperature>},
    {Mean("SkinTemperature", "K", "skin temperature", "surface_temperature"), PRODUCT_TWT,
     PixelValue<&CTwt::SkinTemperature>},
    {Mean("Emissivity", "percent", "surface emissivity, of all points of the spectrum"), PRODUCT_EMS,
     PixelValue<&CEms::Emissivity>, CEms::POINTS},
};

constexpr auto GRID_COUNTS = [] {
  std::array<SGridColumn, PRODUCTS> arCounts{};
  for (int i = 0; i < PRODUCTS; ++i)
    arCounts[i] = {Pixels("Count", "pixels"), static_cast<EProduct>(i), CountPixel};
  return arCounts;
}();

}  // namespace

const SStatFile SPECTRAL_FILE = {"spectral", "Statistics of the radiances of each channel", SPECTRAL_GROUPS};
const SStatFile HISTOGRAM_FILE = {"histogram", "Histogram of one value a pixel", HISTOGRAM_GROUPS};
const SStatFile RADIANCE_FILE = {"radiance_histogram", "Histogram of the radiances of each channel",
                                 RADIANCE_GROUPS};
const SStatFile GRID_FILE = {"grid", "Statistics of the pixels on a grid of latitude and longitude",
                             GRID_GROUPS};

std::vector<const SGridColumn*> GridColumns(int nProduct) {
  std::vector<const SGridColumn*> arpColumns = {&GRID_COUNTS[nProduct]};
  for (const SGridColumn& column : GRID_COLUMNS)
    if (column.eProduct == nProduct) arpColumns.push_back(&column);
  return arpColumns;
}

CStatColumns::CStatColumns(const SStatFile& file, bool bOptional, const std::vector<int>& arnChannels) {
  static constexpr SStatSet ONCE[] = {{"", ""}};
  for (const SStatGroup& group : file.groups) {
    const auto add = [&](const std::string& szPrefix, int nIndex) {
      for (const SStatColumn& column : group.columns)
        if (bOptional || !*column.szOption)
          Add(group.bChannels ? szPrefix : szPrefix + column.szName, column, nIndex);
    };
    int nIndex = 0;
    if (group.bChannels)
      for (const int nChannel : arnChannels) add(std::to_string(nChannel), nIndex++);
    else
      for (const SStatSet& set : group.sets.empty() ? ONCE : group.sets) add(set.szPrefix, nIndex++);
  }
}

void CStatColumns::Add(const std::string& szName, const SStatColumn& column, int nIndex) {
  m_arPlaces.push_back({szName, column.eForm, column.pValue, nIndex});
}

void CStatColumns::PrintNames(CStatTable& table) const {
  for (const SPlace& place : m_arPlaces) table.Text(place.szName);
  table.EndRow();
}

void CStatColumns::PrintRow(CStatTable& table, const SStatRow& row) const {
  for (const SPlace& place : m_arPlaces) {
    const double fValue = place.pValue(row, place.nIndex);
    place.eForm == EStat::INT ? table.Int(static_cast<int64_t>(fValue)) : table.Real(fValue);
  }
  table.EndRow();
}
