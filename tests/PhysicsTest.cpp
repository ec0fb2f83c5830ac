#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "kernel/Cpu.h"
#include "prod/BrightnessTemperature.h"
#include "prod/Physics.h"

namespace {
constexpr double fInf = std::numeric_limits<double>::infinity();
constexpr double fNan = std::numeric_limits<double>::quiet_NaN();

double Planck(double fWn, double fTemperature) {
  return CPhysics::fC1DivF100000 * fWn * fWn * fWn / std::expm1(CPhysics::fC2 * fWn / fTemperature);
}

// The factors as they follow from the fundamental constants, of which they are roundings.
TEST(Physics, Constants) {
  EXPECT_NEAR(2 * CPhysics::h * CPhysics::c * CPhysics::c * 1e11 / CPhysics::fC1, 1.0, 1e-4);
  EXPECT_NEAR(CPhysics::h * CPhysics::c / CPhysics::k * 100 / CPhysics::fC2, 1.0, 1e-4);
  EXPECT_NEAR(CPhysics::fC1 / CPhysics::f100000 / CPhysics::fC1DivF100000, 1.0, 1e-15);
}

// Frozen: worked out with 40 digits.
TEST(Physics, FrozenTemperatures) {
  EXPECT_EQ(CPhysics::WaveNumber(1), 645.0);
  EXPECT_EQ(CPhysics::WaveNumber(8461), 2760.0);
  EXPECT_NEAR(CPhysics::BrightnessTemperature(645.0, 5e-4), 222.38402447058994, 1e-11);
  EXPECT_NEAR(CPhysics::BrightnessTemperature(2500.0, 7.5e-6), 289.57943000005260, 1e-11);
  EXPECT_NEAR(CPhysics::ImagerTemperature(9e-4), 279.42419649335008, 1e-11);
  EXPECT_NEAR(CPhysics::TemperatureDeviation(900.0, 1e-5, 280.0), 0.69722812532665992, 1e-13);
}

TEST(Physics, BrightnessTemperatureInvertsPlanck) {
  for (int nChannel : {1, 899, 4000, 8461})
    for (double fTemperature : {180.0, 280.0, 330.0}) {
      const double fWn = CPhysics::WaveNumber(nChannel);
      EXPECT_NEAR(CPhysics::BrightnessTemperature(fWn, Planck(fWn, fTemperature)), fTemperature, 1e-11);
    }
  for (double fRadiance : {0.0, -0.0, -777.0, -1e-300, -fInf, fNan}) {
    EXPECT_EQ(CPhysics::BrightnessTemperature(645.0, fRadiance), 0.0) << fRadiance;
    EXPECT_EQ(CPhysics::ImagerTemperature(fRadiance), 0.0) << fRadiance;
  }
  EXPECT_EQ(CPhysics::BrightnessTemperature(645.0, fInf), fInf);
  EXPECT_NEAR(CPhysics::ImagerTemperature(Planck(869.5, 280.0)), 280.0, 1e-11);
}

TEST(Physics, TemperatureDeviationIsRadianceDeviationOverSlope) {
  for (double fWn : {645.0, 869.5, 2760.0})
    for (double fTemperature : {200.0, 280.0, 320.0}) {
      const double fSlope = (Planck(fWn, fTemperature + 0.01) - Planck(fWn, fTemperature - 0.01)) / 0.02;
      EXPECT_NEAR(CPhysics::TemperatureDeviation(fWn, 0.5 * fSlope, fTemperature), 0.5, 1e-7);
    }
  for (double fTemperature : {0.0, -777.0, fNan})
    EXPECT_EQ(CPhysics::TemperatureDeviation(645.0, 1e-4, fTemperature), 0.0);
  // The exponential, its square, and the slope out of range.
  for (double fTemperature : {1e-300, 1e-30, 1.0, 5.0, 10.0, fInf})
    for (double fDeviation : {0.0, 1e-4})
      EXPECT_EQ(CPhysics::TemperatureDeviation(2760.0, fDeviation, fTemperature), -777.0) << fTemperature;
  for (double fTemperature : {12.0, 1e30})
    EXPECT_GE(CPhysics::TemperatureDeviation(2760.0, 1e-4, fTemperature), 0.0) << fTemperature;
}

using TRadiance = std::function<double(int nChannel)>;

/// Converts nCount channels with each kernel and compares them, and the float after them, with the plain
/// formula. Returns how many values the plain formula had to settle.
int ExpectPlain(int nFirst, int nCount, const TRadiance& radiance) {
  std::vector<double> arRadiance(nCount);
  for (int i = 0; i < nCount; ++i) arRadiance[i] = radiance(nFirst + i);
  int arnSettled[2], nDifferent = 0;
  for (const bool bWide : {false, true}) {
    std::vector<float> arOut(nCount + 1, -1.0f);
    SetWideKernels(bWide);
    arnSettled[bWide] = BrightnessTemperatures(nFirst, arRadiance.data(), nCount, arOut.data());
    EXPECT_EQ(arOut[nCount], -1.0f);
    for (int i = 0; i < nCount; ++i) {
      const double fWn = CPhysics::WaveNumber(nFirst + i);
      const auto fPlain = static_cast<float>(CPhysics::BrightnessTemperature(fWn, arRadiance[i]));
      if (std::bit_cast<uint32_t>(arOut[i]) == std::bit_cast<uint32_t>(fPlain)) continue;
      if (nDifferent++ == 0) ADD_FAILURE() << nFirst + i << ": " << arOut[i] << " for " << arRadiance[i];
    }
  }
  EXPECT_EQ(nDifferent, 0);
  EXPECT_EQ(arnSettled[false], arnSettled[true]);
  return arnSettled[true];
}

class BrightnessTemperatureKernels : public testing::Test {
 protected:
  std::mt19937_64 random{20240229};
  double Uniform(double fLow, double fHigh) {
    return std::uniform_real_distribution<double>(fLow, fHigh)(random);
  }
};

TEST_F(BrightnessTemperatureKernels, AgreesOnSpectra) {
  int nSettled = 0;
  for (int nSpectrum = 0; nSpectrum < 100; ++nSpectrum) {
    const double fUnit = std::pow(10.0, -5 - nSpectrum % 5);
    nSettled += ExpectPlain(1, 8461, [&](int) { return std::round(Uniform(-500, 20000)) * fUnit; });
    nSettled += ExpectPlain(
        1, 8461, [&](int nChannel) { return Planck(CPhysics::WaveNumber(nChannel), Uniform(150, 350)); });
  }
  // Some are always in doubt, one channel is left over in each spectrum: more means that the kernel has lost
  // its precision, and its speed with it.
  EXPECT_GT(nSettled, 200);
  EXPECT_LT(nSettled, 200 + 100);
}

TEST_F(BrightnessTemperatureKernels, AgreesOnAnyDouble) {
  const double arSpecial[] = {0.0,    -0.0,   -777.0,   fInf,    -fInf,  fNan,   -fNan,
                              5e-324, 1e-310, 2.3e-308, 1e-300,  1e-150, 1e-148, 1e-147,
                              1e-30,  1e300,  1.79e308, -5e-324, 170.0,  2.0};
  for (int i = 0; i < 60; ++i) {
    ExpectPlain(1, 8461, [&](int) { return std::bit_cast<double>(random()); });
    ExpectPlain(1, 8461, [&](int) { return std::exp(Uniform(-20, 8)); });
    ExpectPlain(1, 8461, [&](int) { return std::exp(Uniform(-720, 20)); });
    ExpectPlain(1, 8461, [&](int) { return arSpecial[random() % std::size(arSpecial)]; });
  }
}

// Where rounding is most delicate: just beside the middle of two floats, on either side of the kernel's own
// bound, and in the middle, which only the plain formula can settle.
TEST_F(BrightnessTemperatureKernels, AgreesHalfwayBetweenFloats) {
  const auto settled = [&](double fOffset) {
    return ExpectPlain(1, 8460, [&](int nChannel) {
      const auto fBelow = static_cast<float>(Uniform(150, 350));
      const double fHalfway = 0.5 * (fBelow + static_cast<double>(std::nextafter(fBelow, 400.0f)));
      return Planck(CPhysics::WaveNumber(nChannel), fHalfway * (1.0 + fOffset));
    });
  };
  EXPECT_EQ(settled(0.0), 8460);
  for (double fOffset = 0x1p-42; fOffset < 0x1p-40; fOffset *= 1.05) {
    settled(fOffset);
    settled(-fOffset);
  }
  EXPECT_EQ(settled(0x1p-40), 0);
}

TEST_F(BrightnessTemperatureKernels, AgreesForEveryCountAndFirstChannel) {
  for (int nCount : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 63, 65, 127, 128, 129, 131, 132, 255, 257})
    for (int nFirst : {-3000, -300, -3, 0, 1, 2, 8204, 8461, 8571, 8572, 8690, 8699, 8700, 100000})
      ExpectPlain(nFirst, nCount, [&](int) { return Uniform(-1e-5, 2e-3); });
}

}  // namespace
