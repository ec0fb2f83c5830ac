#include "sample/Scene.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

namespace {

constexpr double RAD = std::numbers::pi / 180;
constexpr int64_t PERIOD_MILLISECONDS = 6081600;  // an orbit: 101.36 minutes
constexpr double PERIOD = 6081.6;
constexpr double INCLINATION = 98.7 * RAD;
constexpr double EARTH_RADIUS = 6371.0;  // km
constexpr double ASCENDING_HOUR = 21.5;  // local time at the northward equator crossing

double Wrap(double fLongitude) { return fLongitude - 360 * std::floor((fLongitude + 180) / 360); }

double Smooth(double fFrom, double fTo, double fX) {
  const double f = std::clamp((fX - fFrom) / (fTo - fFrom), 0.0, 1.0);
  return f * f * (3 - 2 * f);
}

// Value noise on a lattice of the sphere: smooth, 0..1, periodic in longitude.
double Noise(uint64_t nSeed, double fLatitude, double fLongitude, double fCell) {
  const int nColumns = static_cast<int>(std::lround(360 / fCell));
  const double fY = (fLatitude + 90) / fCell, fX = (fLongitude + 180) / fCell;
  const int nY = static_cast<int>(std::floor(fY)), nX = static_cast<int>(std::floor(fX));
  const double fV = Smooth(0, 1, fY - nY), fU = Smooth(0, 1, fX - nX);
  const auto corner = [&](int nDY, int nDX) {
    const uint64_t nCell = static_cast<uint64_t>((nY + nDY) * 4096 + (nX + nDX + nColumns) % nColumns);
    return SampleRandom(nSeed, nCell);
  };
  return (corner(0, 0) * (1 - fU) + corner(0, 1) * fU) * (1 - fV) +
         (corner(1, 0) * (1 - fU) + corner(1, 1) * fU) * fV;
}

}  // namespace

uint64_t SampleHash(uint64_t nA, uint64_t nB) {
  uint64_t n = nA * 0x9E3779B97F4A7C15ULL + nB + 0x632BE59BD9B4E019ULL;
  n = (n ^ (n >> 30)) * 0xBF58476D1CE4E5B9ULL;
  n = (n ^ (n >> 27)) * 0x94D049BB133111EBULL;
  return n ^ (n >> 31);
}

double SampleRandom(uint64_t nA, uint64_t nB) {
  return static_cast<double>(SampleHash(nA, nB) >> 11) * 0x1.0p-53;
}

CScene::CScene(uint64_t nSeed, int nSatellite, int nFirstDay)
    : m_nSeed(nSeed), m_nSatellite(nSatellite), m_nFirstDay(nFirstDay) {}

SSamplePixel CScene::Pixel(int64_t nLine, int nFieldOfView) const {
  SSamplePixel pixel;
  pixel.nSatellite = m_nSatellite;
  pixel.nFieldOfView = nFieldOfView;
  pixel.nHash =
      SampleHash(SampleHash(m_nSeed, static_cast<uint64_t>(nLine)), static_cast<uint64_t>(nFieldOfView));

  const int64_t nSinceLaunch = (m_nFirstDay - FIRST_DAY) * int64_t{86400000} + nLine * 8000;
  pixel.nOrbit = static_cast<int>(nSinceLaunch / PERIOD_MILLISECONDS) + 1;
  pixel.nScanLine = static_cast<int>(nSinceLaunch % PERIOD_MILLISECONDS / 8000) + 1;

  const int64_t nMilliseconds = nLine * 8000 + nFieldOfView / 4 * 216;  // the mirror steps 37 times in 8 s
  const std::chrono::sys_days day{
      std::chrono::days{m_nFirstDay + static_cast<int>(nMilliseconds / 86400000)}};
  const std::chrono::year_month_day date{day};
  pixel.nYear = static_cast<int>(date.year());
  pixel.nMonth = static_cast<int>(static_cast<unsigned>(date.month()));
  pixel.nDay = static_cast<int>(static_cast<unsigned>(date.day()));
  const int nInDay = static_cast<int>(nMilliseconds % 86400000);
  pixel.nHour = nInDay / 3600000;
  pixel.nMinute = nInDay / 60000 % 60;
  pixel.nMilliseconds = nInDay % 60000;

  Place(pixel, static_cast<double>(nMilliseconds) / 1000, nFieldOfView);
  Sun(pixel, static_cast<double>(nMilliseconds) / 1000);
  Weather(pixel, static_cast<double>(nMilliseconds) / 1000);
  return pixel;
}

void CScene::Place(SSamplePixel& pixel, double fSeconds, int nFieldOfView) const {
  const double fSinceLaunch = (m_nFirstDay - FIRST_DAY) * 86400.0 + fSeconds;
  const double fInOrbit = fSinceLaunch - std::floor(fSinceLaunch / PERIOD) * PERIOD;
  const double fNodeSeconds = fSeconds - fInOrbit;  // since midnight of the first day
  const double fNodeLongitude = (ASCENDING_HOUR - fNodeSeconds / 3600) * 15;
  // Along the track the four views of a step lie 2 x 2 around its centre.
  const double fArgument = fInOrbit / PERIOD * 360 + (nFieldOfView % 4 < 2 ? 0.08 : -0.08);
  const double fU = fArgument * RAD;
  const double fLatitude = std::asin(std::sin(INCLINATION) * std::sin(fU));
  const double fLongitude = fNodeLongitude * RAD +
                            std::atan2(std::cos(INCLINATION) * std::sin(fU), std::cos(fU)) -
                            fInOrbit / 240 * RAD;
  const double fHeading = std::atan2(std::cos(INCLINATION), std::sin(INCLINATION) * std::cos(fU));

  pixel.fSatelliteHeight = 817000 + 19000 * std::pow(std::sin(fLatitude), 2);
  const double fOffset = nFieldOfView % 4 == 0 || nFieldOfView % 4 == 3 ? -0.55 : 0.55;
  const double fScan = (-47.85 + 3.3 * (nFieldOfView / 4) + fOffset) * RAD;
  const double fRatio = 1 + pixel.fSatelliteHeight / 1000 / EARTH_RADIUS;
  const double fZenith = std::asin(fRatio * std::sin(std::abs(fScan)));
  const double fDistance = fZenith - std::abs(fScan);
  const double fAzimuth = fHeading + (fScan < 0 ? -90 : 90) * RAD;

  const double fSin = std::sin(fLatitude) * std::cos(fDistance) +
                      std::cos(fLatitude) * std::sin(fDistance) * std::cos(fAzimuth);
  const double fPixelLatitude = std::asin(std::clamp(fSin, -1.0, 1.0));
  const double fEast = std::atan2(std::sin(fAzimuth) * std::sin(fDistance) * std::cos(fLatitude),
                                  std::cos(fDistance) - std::sin(fLatitude) * fSin);
  const double fBack =
      std::atan2(-std::sin(fEast) * std::cos(fLatitude), std::cos(fPixelLatitude) * std::sin(fLatitude) -
                                                             fSin * std::cos(fLatitude) * std::cos(fEast));
  pixel.fLatitude = fPixelLatitude / RAD;
  pixel.fLongitude = Wrap((fLongitude + fEast) / RAD);
  pixel.fSatelliteZenith = fZenith / RAD;
  pixel.fBearing = Wrap(fBack / RAD - 180) + 180;
}

void CScene::Sun(SSamplePixel& pixel, double fSeconds) const {
  const double fDayOfYear = std::fmod(m_nFirstDay + fSeconds / 86400, 365.2425);
  const double fDeclination = -23.44 * RAD * std::cos((fDayOfYear + 10) / 365.2425 * 360 * RAD);
  const double fHourAngle = (fSeconds / 240 + pixel.fLongitude - 180) * RAD;
  const double fLatitude = pixel.fLatitude * RAD;
  const double fUp = std::sin(fLatitude) * std::sin(fDeclination) +
                     std::cos(fLatitude) * std::cos(fDeclination) * std::cos(fHourAngle);
  const double fEast = -std::cos(fDeclination) * std::sin(fHourAngle);
  const double fNorth = std::cos(fLatitude) * std::sin(fDeclination) -
                        std::sin(fLatitude) * std::cos(fDeclination) * std::cos(fHourAngle);
  pixel.fSolarZenith = std::acos(std::clamp(fUp, -1.0, 1.0)) / RAD;
  pixel.fSolarAzimuth = Wrap(std::atan2(fEast, fNorth) / RAD - 180) + 180;
}

double CScene::Cloudiness(double fLatitude, double fLongitude, double fSeconds) const {
  const double fDrift = Wrap(fLongitude - fSeconds / 86400 * 9);  // systems move about 9 degrees a day
  return 0.6 * Noise(m_nSeed, fLatitude, fDrift, 7.5) + 0.25 * Noise(m_nSeed + 1, fLatitude, fDrift, 1.8) +
         0.15 * Noise(m_nSeed + 2, fLatitude, fDrift, 0.4);
}

void CScene::Weather(SSamplePixel& pixel, double fSeconds) const {
  const double fLatitude = pixel.fLatitude, fLongitude = pixel.fLongitude;
  const double fCosine = std::cos(fLatitude * RAD);
  pixel.fElevation = Elevation(fLatitude, fLongitude);
  pixel.fLand = Smooth(-60, 60, pixel.fElevation);
  pixel.fCloud = Smooth(0.40, 0.70, Cloudiness(fLatitude, fLongitude, fSeconds));

  const double fMild = 4 * (Noise(m_nSeed + 3, fLatitude, fLongitude, 10) - 0.5);
  const double fDaily = pixel.fLand * 9 * std::max(-0.3, std::cos(pixel.fSolarZenith * RAD));
  const double fHeight = std::max(0.0, pixel.fElevation);
  pixel.fSkin = 246 + 54 * std::pow(fCosine, 1.4) + fMild + fDaily - 0.0065 * fHeight;
  pixel.fMiddle = 222 + 30 * std::pow(fCosine, 1.2) + fMild;
  pixel.fStratosphere = 222 + 12 * fCosine + fMild / 2;
  pixel.fSnow = pixel.fLand * Smooth(276, 262, pixel.fSkin);
  pixel.fSurfacePressure = 101300 * std::exp(-fHeight / 8000) + 250 * fMild;
  pixel.fHumidity = 0.018 * std::exp((pixel.fSkin - 300) / 16);
  const double fTop = Noise(m_nSeed + 4, fLatitude, fLongitude, 5);
  pixel.fCloudPressure = 15000 + fTop * 0.75 * pixel.fSurfacePressure;
  pixel.fCloudTemperature = pixel.fSkin - 46 * (1 - pixel.fCloudPressure / pixel.fSurfacePressure);
  pixel.fOzone = 0.0058 + 0.0024 * (1 - fCosine) + 0.0001 * fMild;
}

double CScene::Elevation(double fLatitude, double fLongitude) {
  constexpr uint64_t CONTINENTS = 20061019;
  const double fBroad = Noise(CONTINENTS, fLatitude, fLongitude, 36);
  const double fShape = Noise(CONTINENTS + 1, fLatitude, fLongitude, 12);
  const double fRough = Noise(CONTINENTS + 2, fLatitude, fLongitude, 3);
  return 6000 * (0.62 * fBroad + 0.28 * fShape + 0.10 * fRough - 0.55);
}
