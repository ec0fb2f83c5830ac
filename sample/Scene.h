#pragma once

#include <cstdint>

/// What one field of view saw: the common ground from which all six products are made.
struct SSamplePixel {
  int nSatellite = 4;
  int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0;
  int nMilliseconds = 0;                             // within the minute
  double fLatitude = 0, fLongitude = 0;              // degrees, -180..180
  double fSatelliteZenith = 0, fBearing = 0;         // degrees; bearing of the satellite from north
  double fSolarZenith = 0, fSolarAzimuth = 0;        // degrees
  int nFieldOfView = 0;                              // 0..119
  int nOrbit = 0;                                    // 1 or more
  int nScanLine = 0;                                 // 1..761, counted in the orbit
  double fSatelliteHeight = 0;                       // metres
  double fElevation = 0;                             // of the ground, metres, negative over sea
  double fLand = 0, fCloud = 0, fSnow = 0;           // fractions 0..1
  double fSkin = 0, fMiddle = 0, fStratosphere = 0;  // temperatures, K
  double fCloudPressure = 0, fCloudTemperature = 0;  // of the top, Pa and K
  double fSurfacePressure = 0;                       // Pa
  double fHumidity = 0;                              // surface mixing ratio, kg/kg
  double fOzone = 0;                                 // column, kg/m2
  uint64_t nHash = 0;                                // differs from pixel to pixel
};

/// A sun-synchronous orbit (inclination 98.7 degrees, 101.36 minutes, equator crossed southwards at 09:30
/// local time) over an invented planet: a scan line every 8 s, 30 steps of 2 x 2 fields of view a line.
class CScene {
 public:
  static constexpr int PIXELS_PER_LINE = 120;
  static constexpr int LINES_PER_DAY = 10800;

  /// 2006-10-19 in days since 1970-01-01: the orbits are counted from there, no scene may start before.
  static constexpr int FIRST_DAY = 13440;

  /// nFirstDay: days since 1970-01-01 of line 0, FIRST_DAY or later.
  CScene(uint64_t nSeed, int nSatellite, int nFirstDay);

  /// nLine counts from midnight of the first day, nFieldOfView 0..119. The same arguments give the same
  /// pixel, whatever was asked before.
  SSamplePixel Pixel(int64_t nLine, int nFieldOfView) const;

  /// Metres; negative over sea. The same for all seeds, so that one grid file serves all archives.
  static double Elevation(double fLatitude, double fLongitude);

 private:
  void Place(SSamplePixel& pixel, double fSeconds, int nFieldOfView) const;
  void Sun(SSamplePixel& pixel, double fSeconds) const;
  void Weather(SSamplePixel& pixel, double fSeconds) const;
  double Cloudiness(double fLatitude, double fLongitude, double fSeconds) const;

  uint64_t m_nSeed;
  int m_nSatellite;
  int m_nFirstDay;
};

/// A well mixed 64-bit hash of two numbers.
uint64_t SampleHash(uint64_t nA, uint64_t nB);
/// The same as a real in 0..1, 1 excluded.
double SampleRandom(uint64_t nA, uint64_t nB);
