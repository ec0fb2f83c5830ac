// Compares BrightnessTemperatures, wide and portable, with the plain formula, bit for bit, on radiances as
// they are decoded: raw / 10^e.
//
//   temperature_sweep [first raw [last raw [first exponent [last exponent]]]]
//
// takes every channel from 1 to 8461 with every raw integer (by default -5000 to 65535) and every exponent e
// (by default 5 to 9). Prints the number of pairs compared, of those that the plain formula had to settle,
// and of those that differ (the first few of these in full); the exit status is 1 when any does.

#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "kernel/Cpu.h"
#include "prod/BrightnessTemperature.h"
#include "prod/Physics.h"

namespace {
constexpr int nChannels = 8461;

struct SSweep {
  uint64_t nPairs = 0, nSettled[2] = {}, nDifferent = 0;
  std::vector<double> arRadiance = std::vector<double>(nChannels);
  std::vector<float> arPlain = std::vector<float>(nChannels), arOut = std::vector<float>(nChannels);

  void CompareKernel(bool bWide) {
    SetWideKernels(bWide);
    nSettled[bWide] += BrightnessTemperatures(1, arRadiance.data(), nChannels, arOut.data());
    for (int i = 0; i < nChannels; ++i)
      if (std::bit_cast<uint32_t>(arOut[i]) != std::bit_cast<uint32_t>(arPlain[i]) && nDifferent++ < 20)
        std::printf("channel %d, radiance %a: %a instead of %a\n", i + 1, arRadiance[i],
                    static_cast<double>(arOut[i]), static_cast<double>(arPlain[i]));
  }

  /// One pair for each channel. The raw integers of neighbours differ, so that a block holds a mixture.
  void CompareAll(int nRaw, int nFirst, int nLast, double fDivisor) {
    const int nRange = nLast - nFirst + 1;
    for (int i = 0; i < nChannels; ++i) {
      arRadiance[i] = (nFirst + static_cast<int>((nRaw - nFirst + 7919LL * i) % nRange)) / fDivisor;
      arPlain[i] =
          static_cast<float>(CPhysics::BrightnessTemperature(CPhysics::WaveNumber(i + 1), arRadiance[i]));
    }
    CompareKernel(false);
    CompareKernel(true);
    nPairs += nChannels;
  }
};
}  // namespace

int main(int argc, char** argv) {
  int arRange[] = {-5000, 65535, 5, 9};
  for (int i = 1; i < argc && i <= 4; ++i) arRange[i - 1] = std::atoi(argv[i]);
  SSweep sweep;
  for (int nExponent = arRange[2]; nExponent <= arRange[3]; ++nExponent)
    for (int nRaw = arRange[0]; nRaw <= arRange[1]; ++nRaw)
      sweep.CompareAll(nRaw, arRange[0], arRange[1], std::pow(10.0, nExponent));
  std::printf("%" PRIu64 " pairs, plain formula in %" PRIu64 " (portable) and %" PRIu64 " (wide), %" PRIu64
              " differences\n",
              sweep.nPairs, sweep.nSettled[0], sweep.nSettled[1], sweep.nDifferent);
  return sweep.nDifferent != 0;
}
