#include "prod/Physics.h"

#include <cmath>

#include "kernel/MissingReal.h"

double CPhysics::BrightnessTemperature(double fWaveNumber, double fRadiance) {
  if (!(fRadiance > f0)) return 0.0;
  return fC2 * fWaveNumber /
         std::log(fC1DivF100000 * fWaveNumber * fWaveNumber * fWaveNumber / fRadiance + f1);
}

double CPhysics::TemperatureDeviation(double fWaveNumber, double fRadianceDeviation, double fTemperature) {
  if (!(fTemperature > f0)) return 0.0;
  const double fExp = std::exp(fC2 * fWaveNumber / fTemperature);
  const double fSlope = fC1DivF100000 * fWaveNumber * fWaveNumber * fWaveNumber * fC2 * fWaveNumber * fExp /
                        (fTemperature * fTemperature);
  const double fDeviation = fRadianceDeviation * ((fExp - f1) * (fExp - f1)) / fSlope;
  return std::isfinite(fDeviation) ? fDeviation : MISSING_REAL;
}

double CPhysics::ImagerTemperature(double fRadiance) {
  constexpr double BAND = 1.0 / (fWaveLengthTemperatureIIS * 100);
  constexpr int CHANNEL = static_cast<int>((BAND - fWnStart) / fWnStep);
  return BrightnessTemperature(WaveNumber(CHANNEL), fRadiance);
}
