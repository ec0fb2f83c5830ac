#include "sample/FieldSources.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <span>

#include "sample/Scene.h"
#include "sample/SpectrumModel.h"
#include "sample/Template.h"

namespace {

constexpr int ANY = 1 << 20;
constexpr double NOTHING = std::numeric_limits<double>::quiet_NaN();

template <int N>
double Always(const SAsk&) {
  return N;
}

double Random(const SAsk& ask, uint64_t nWhat) {
  return SampleRandom(ask.pixel.nHash, nWhat * 4096 + static_cast<uint64_t>(ask.nIndex));
}

double Percent(double fFraction) { return std::floor(100 * fFraction + 0.5); }

// ---- L1C

// Quality flags are raised for one view in two hundred.
double QualityFlag(const SAsk& ask) { return Random(ask, 1) < 0.005 ? 1 : 0; }

constexpr int arQualityBands[3][2] = {{1, 1997}, {1998, 5116}, {5117, 8461}};
double QualityBandStart(const SAsk& ask) { return arQualityBands[ask.nIndex][0]; }
double QualityBandEnd(const SAsk& ask) { return arQualityBands[ask.nIndex][1]; }

template <int CSpectrumModel::SBand::*pMember>
double Band(const SAsk& ask) {
  if (ask.nIndex >= static_cast<int>(std::size(CSpectrumModel::BANDS_USED))) return NOTHING;
  return CSpectrumModel::BANDS_USED[ask.nIndex].*pMember;
}

// Seven clusters of imager pixels, of which the first few are used; the others hold zeros. Of the six imager
// channels the fourth is switched off.
int ClustersOf(const SSamplePixel& pixel) { return 1 + static_cast<int>(pixel.nHash % 5); }
bool IsUsed(const SAsk& ask, int nCluster) { return nCluster < ClustersOf(ask.pixel); }

double ClusterAngle(const SAsk& ask) { return IsUsed(ask, ask.nIndex) ? 1.6 * Random(ask, 2) - 0.8 : 0; }
double ClusterFraction(const SAsk& ask) {
  if (!IsUsed(ask, ask.nIndex)) return 0;
  const int nShare = 100 / ClustersOf(ask.pixel);
  return ask.nIndex == 0 ? 100 - nShare * (ClustersOf(ask.pixel) - 1) : nShare;
}
double ImagerChannel(const SAsk& ask) { return ask.nIndex % 6 + 1; }

struct SImager {
  int nMeanExponent, nDeviationExponent;
  double fReflected, fWavenumber;  // scaled mean of a white scene; else a Planck curve
};
constexpr SImager arImager[6] = {{8, 9, 1.9e9, 0}, {8, 9, 2.1e9, 0}, {9, 10, 1.6e9, 0},
                                 {0, 0, 0, 0},     {12, 14, 0, 926}, {12, 14, 0, 834}};

// Two exponents a channel: of the mean and of the deviation.
double ImagerExponent(const SAsk& ask) {
  const SImager& imager = arImager[ask.nIndex % 12 / 2];
  if (!IsUsed(ask, ask.nIndex / 12)) return 0;
  return ask.nIndex % 2 == 0 ? imager.nMeanExponent : imager.nDeviationExponent;
}
double ImagerMean(const SAsk& ask) {
  const SImager& imager = arImager[ask.nIndex % 6];
  if (!IsUsed(ask, ask.nIndex / 6)) return 0;
  const double fMix = SampleRandom(ask.pixel.nHash, static_cast<uint64_t>(ask.nIndex / 6));
  const double fCloud = std::clamp(ask.pixel.fCloud + 0.6 * (fMix - 0.5), 0.0, 1.0);
  const double fTemperature = ask.pixel.fSkin + (ask.pixel.fCloudTemperature - ask.pixel.fSkin) * fCloud;
  if (imager.fWavenumber > 0) {
    return std::floor(SamplePlanck(imager.fWavenumber, fTemperature) * std::pow(10, imager.nMeanExponent));
  }
  const double fSun = std::max(0.0, std::cos(ask.pixel.fSolarZenith * 0.017453292519943295));
  return std::floor(imager.fReflected * fSun * (0.06 + 0.7 * fCloud + 0.2 * fMix));
}
double ImagerDeviation(const SAsk& ask) {
  const SImager& imager = arImager[ask.nIndex % 6];
  const double fFactor = std::pow(10, imager.nDeviationExponent - imager.nMeanExponent);
  return std::floor(ImagerMean(ask) * fFactor * (0.001 + 0.01 * Random(ask, 3)));
}

double IisMean(const SAsk& ask) {
  const SSamplePixel& p = ask.pixel;
  return SamplePlanck(869.5, p.fSkin + (p.fCloudTemperature - p.fSkin) * p.fCloud);
}
double IisVariance(const SAsk& ask) { return 1e-5 + 4e-5 * Random(ask, 4); }

// ---- L2

double LandSea(const SAsk& ask) { return ask.pixel.fLand > 0.9 ? 0 : ask.pixel.fLand < 0.1 ? 1 : 2; }
double DayNight(const SAsk& ask) {
  return ask.pixel.fSolarZenith < 80 ? 0 : ask.pixel.fSolarZenith > 100 ? 1 : 2;
}

// Pressure in Pa of level fLevel (from 0) of nLevels, the first at the top of the atmosphere.
double LevelPressure(double fLevel, int nLevels) {
  return 2 + 104998 * std::pow(fLevel / (nLevels - 1), 3.5);
}
double AirTemperature(const SSamplePixel& pixel, double fPressure) {
  const double fSigma = fPressure / pixel.fSurfacePressure;
  const double fTroposphere = pixel.fSkin * std::pow(fSigma, 0.19);
  const double fAbove = pixel.fStratosphere + std::clamp(9 * std::log(3000 / fPressure), 0.0, 45.0);
  return std::max(fTroposphere, fAbove);
}

int OzoneLayers(int nLayout) { return LayoutCounts(EKind::OZO, nLayout)[0]; }
// The top and the bottom of each layer in turn.
double OzonePressure(const SAsk& ask) {
  const int nLayers = OzoneLayers(ask.nLayout);
  return LevelPressure(ask.nIndex / 2 + ask.nIndex % 2, nLayers + 1);
}
double OzoneDensity(const SAsk& ask) {
  const double fPeak = (ask.nIndex + 0.5) / OzoneLayers(ask.nLayout) - 0.35;
  return ask.pixel.fOzone * (0.1 + 2 * std::exp(-fPeak * fPeak * 20)) / OzoneLayers(ask.nLayout);
}
double OzoneCovariance(const SAsk& ask) { return 8 * Random(ask, 5) - 4; }

template <int nMean, int nSpread>  // column in 1e-6 kg/m2
double Gas(const SAsk& ask) {
  return 1e-6 * (nMean + nSpread * (Random(ask, 6) - 0.5)) * ask.pixel.fSurfacePressure / 101300;
}

int CloudLayers(const SSamplePixel& pixel) {
  return pixel.fCloud <= 0 ? 0 : 1 + static_cast<int>(pixel.nHash / 7 % 3);
}
bool HasLayer(const SAsk& ask) { return ask.nIndex < CloudLayers(ask.pixel); }
double CloudPressure(const SAsk& ask) {
  return HasLayer(ask) ? std::floor(ask.pixel.fCloudPressure * (1 + 0.15 * ask.nIndex)) : NOTHING;
}
double CloudTemperature(const SAsk& ask) {
  return HasLayer(ask) ? ask.pixel.fCloudTemperature + 6 * ask.nIndex : NOTHING;
}
double CloudAmount(const SAsk& ask) {
  return HasLayer(ask) ? 100 * ask.pixel.fCloud / CloudLayers(ask.pixel) : NOTHING;
}
double CloudPhase(const SAsk& ask) {
  if (!HasLayer(ask)) return NOTHING;
  const double fTemperature = CloudTemperature(ask);
  return fTemperature > 268 ? 0 : fTemperature < 243 ? 1 : 2;
}

int Levels(int nLayout) { return LayoutCounts(EKind::TWT, nLayout)[0]; }
double ProfilePressure(const SAsk& ask) {
  return LevelPressure(ask.nIndex % Levels(ask.nLayout), Levels(ask.nLayout));
}
double ProfileTemperature(const SAsk& ask) {
  return AirTemperature(ask.pixel, LevelPressure(ask.nIndex, Levels(ask.nLayout)));
}
double ProfileMixingRatio(const SAsk& ask) {
  const double fSigma = LevelPressure(ask.nIndex, Levels(ask.nLayout)) / ask.pixel.fSurfacePressure;
  return std::max(3e-6, ask.pixel.fHumidity * std::pow(fSigma, 3));
}

double PointWavenumber(int nIndex) { return 700 + 170.0 * nIndex; }
double PointFrequency(const SAsk& ask) { return 2.99792458e10 * PointWavenumber(ask.nIndex); }
double PointEmissivity(const SAsk& ask) {
  return 98.6 - 12 * ask.pixel.fLand * std::exp(-std::pow((PointWavenumber(ask.nIndex) - 1100) / 200, 2)) +
         0.8 * (Random(ask, 7) - 0.5);
}

// ---- Tables

constexpr SFieldSource arCommon[] = {
    {1007, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nSatellite; }},
    {1031, 1, ANY, false, Always<254>},
    {2019, 1, 1, false, Always<221>},
    {2020, 1, ANY, false, Always<61>},
    {4001, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nYear; }},
    {4002, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nMonth; }},
    {4003, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nDay; }},
    {4004, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nHour; }},
    {4005, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nMinute; }},
    {5001, 1, ANY, false, [](const SAsk& a) { return a.pixel.fLatitude; }},
    {5021, 1, ANY, true, [](const SAsk& a) { return a.pixel.fBearing; }},
    {5022, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSolarAzimuth; }},
    {5040, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nOrbit; }},
    {5041, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nScanLine; }},
    {6001, 1, ANY, false, [](const SAsk& a) { return a.pixel.fLongitude; }},
    {7001, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSatelliteHeight; }},
    {7024, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSatelliteZenith; }},
    {7025, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSolarZenith; }},
};

constexpr SFieldSource arL1C[] = {
    {4006, 1, ANY, false, [](const SAsk& a) { return a.pixel.nMilliseconds / 1000.0; }},
    {5043, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nFieldOfView; }},
    {25070, 1, ANY, false, [](const SAsk&) { return NOTHING; }},
    {33060, 1, ANY, false, QualityFlag},
    {33061, 1, ANY, false, Always<100>},
    {33062, 1, ANY, false, Always<2>},
    {33063, 1, ANY, false, Always<100>},
    {33064, 1, ANY, false, Always<100>},
    {33065, 1, ANY, false, Always<1>},
    {40020, 1, ANY, false, Always<0>},
    {25142, 1, 10, false, Band<&CSpectrumModel::SBand::nExponent>},
    {2019, 2, 2, false, Always<591>},
    {25051, 1, ANY, false, Always<63>},
    {5060, 1, ANY, true, ClusterAngle},
    {5061, 1, ANY, true, ClusterAngle},
    {25085, 1, ANY, true, ClusterFraction},
    {5042, CSpectrumModel::PACKED_CHANNELS + 1, ANY, false, ImagerChannel},
    {25142, 11, ANY, false, ImagerExponent},
    {14047, 1, ANY, true, ImagerMean},
    {14048, 1, ANY, true, ImagerDeviation},
    {20081, 1, ANY, true, [](const SAsk& a) { return Percent(a.pixel.fCloud); }},
    {8029, 1, 1, false, Always<1>},                            // land is what the next element is about,
    {8029, 2, 2, false, [](const SAsk&) { return NOTHING; }},  // and no more from here on
    {20083, 1, ANY, true, [](const SAsk& a) { return Percent(a.pixel.fLand); }},
    {40018, 1, ANY, true, IisMean},
    {40019, 1, ANY, true, IisVariance},
    {40021, 1, ANY, true, [](const SAsk& a) { return Percent(a.pixel.fSnow); }},
    {40022, 1, ANY, false, Always<0>},
};
constexpr SFieldSource arLayout1[] = {
    {25140, 1, 10, false, Band<&CSpectrumModel::SBand::nFirst>},
    {25141, 1, 10, false, Band<&CSpectrumModel::SBand::nLast>},
};
constexpr SFieldSource arLayout2[] = {
    {25140, 1, 3, false, QualityBandStart},
    {25141, 1, 3, false, QualityBandEnd},
    {25140, 4, 13, false, Band<&CSpectrumModel::SBand::nFirst>},
    {25141, 4, 13, false, Band<&CSpectrumModel::SBand::nLast>},
};

// L2 counts seconds in whole and fields of view from 1.
constexpr SFieldSource arL2[] = {
    {4006, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nMilliseconds / 1000; }},
    {5043, 1, ANY, false, [](const SAsk& a) -> double { return a.pixel.nFieldOfView + 1; }},
    {8012, 1, ANY, true, LandSea},
    {8013, 1, ANY, true, DayNight},
    {25060, 1, ANY, false, Always<605>},
};
constexpr SFieldSource arOzo[] = {
    {7004, 1, ANY, true, OzonePressure},
    {15020, 1, ANY, true, OzoneDensity},
    {40071, 1, ANY, true, OzoneCovariance},
};
constexpr SFieldSource arTrg[] = {
    {40199, 1, ANY, true, Gas<4900, 300>},
    {40200, 1, ANY, true, Gas<900, 500>},
    {40201, 1, ANY, true, Gas<9800, 600>},
    {40202, 1, ANY, true, Gas<6000000, 90000>},
};
constexpr SFieldSource arClp[] = {
    {7004, 1, ANY, true, CloudPressure},
    {12101, 1, ANY, true, CloudTemperature},
    {20081, 1, ANY, true, CloudAmount},
    {20056, 1, ANY, true, CloudPhase},
};
constexpr SFieldSource arTwt[] = {
    {10004, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSurfacePressure; }},
    {12061, 1, ANY, true, [](const SAsk& a) { return a.pixel.fSkin; }},
    {7004, 1, ANY, true, ProfilePressure},
    {12101, 1, ANY, true, ProfileTemperature},
    {13002, 1, ANY, true, ProfileMixingRatio},
};
constexpr SFieldSource arEms[] = {
    {2153, 1, ANY, true, PointFrequency},
    {14050, 1, ANY, true, PointEmissivity},
};

std::span<const SFieldSource> OwnSources(EKind eKind, int nLayout) {
  switch (eKind) {
    case EKind::L1C:
      return nLayout == 1 ? std::span<const SFieldSource>(arLayout1) : arLayout2;
    case EKind::OZO:
      return arOzo;
    case EKind::TRG:
      return arTrg;
    case EKind::CLP:
      return arClp;
    case EKind::TWT:
      return arTwt;
    case EKind::EMS:
      return arEms;
  }
  return {};
}

}  // namespace

const SFieldSource* FindSource(EKind eKind, int nLayout, const STemplateField& field) {
  const std::span<const SFieldSource> arLevel =
      eKind == EKind::L1C ? std::span<const SFieldSource>(arL1C) : arL2;
  for (const auto& arSources :
       {OwnSources(eKind, nLayout), arLevel, std::span<const SFieldSource>(arCommon)}) {
    for (const SFieldSource& source : arSources) {
      if (source.nFXY == field.nFXY && source.nFirst <= field.nOccurrence &&
          field.nOccurrence <= source.nLast) {
        return &source;
      }
    }
  }
  return nullptr;
}
