#pragma once

/// Physical constants and the conversions between radiance and brightness temperature.
///
/// Radiances are spectral radiances per wavenumber in W/(m2 sr m-1), wavenumbers are in cm-1 and
/// temperatures in kelvin. Everything is computed in double precision, in one fixed order, so that
/// every place of use gets the same bits; nothing is rounded to single precision before it is written.
class CPhysics {
 public:
  static constexpr double f0 = 0.0;  // lower bound of valid radiances and temperatures
  static constexpr double f1 = 1.0;
  static constexpr double f100000 = 100000.0;             // W/(m2 sr m-1) to mW/(m2 sr cm-1)
  static constexpr double c = 299792458.0;                // speed of light, m/s
  static constexpr double h = 6.626e-34;                  // Planck constant, J s
  static constexpr double k = 1.38066e-23;                // Boltzmann constant, J/K
  static constexpr double fWnStep = 0.25;                 // channel spacing, cm-1
  static constexpr double fWnStart = 644.75;              // wavenumber of the channel before the first, cm-1
  static constexpr double fC1 = 1.1910659e-05;            // 2hc2, mW/(m2 sr cm-4)
  static constexpr double fC2 = 1.438833;                 // hc/k, cm K
  static constexpr double fC1DivF100000 = 1.1910659e-10;  // fC1 for radiances in W/(m2 sr m-1)
  static constexpr double fWaveLengthTemperatureIIS = 1.15e-05;  // where imager radiances are converted, m

  CPhysics() = default;
  virtual ~CPhysics() = default;

  /// Wavenumber of a channel, numbered from 1: 645.00 for channel 1, 2760.00 for channel 8461.
  static double WaveNumber(int nChannel) { return fWnStart + fWnStep * nChannel; }

  /// Inverse Planck function. 0.0, which is no missing value, when the radiance is not above 0: that
  /// takes in missing radiances (-777.0) and nan.
  static double BrightnessTemperature(double fWaveNumber, double fRadiance);

  /// Standard deviation in kelvin that a standard deviation of radiances amounts to at a temperature:
  /// the deviation over the slope of the Planck function. 0.0 when the temperature is not above 0; -777.0
  /// when it is so small (below 11 K at 2760 cm-1) or so large that there is no such number.
  static double TemperatureDeviation(double fWaveNumber, double fRadianceDeviation, double fTemperature);

  /// Brightness temperature of an imager radiance, at the wavenumber of the imager band lowered to
  /// the channel grid (869.5 cm-1).
  static double ImagerTemperature(double fRadiance);
};
