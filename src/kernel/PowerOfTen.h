#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The double nearest to 10^nExponent. std::pow is not always that (for 10^23, say), and gives other bits
/// where the compiler works it out itself or the processor multiplies and adds at once.
inline double NearestPowerOfTen(int64_t nExponent) {
  constexpr int64_t BEYOND = 400;  // of the range of doubles
  char sz[8];
  std::snprintf(sz, sizeof sz, "1e%d", static_cast<int>(std::clamp(nExponent, -BEYOND, BEYOND)));
  return std::strtod(sz, nullptr);
}

/// The same without its cost for the exponents that six bits can hold.
inline double PowerOfTen(int64_t nExponent) {
  constexpr int64_t LIMIT = 64;
  static const auto arPowers = [] {
    std::array<double, 2 * LIMIT> arMade;
    for (int64_t i = 0; i < 2 * LIMIT; ++i) arMade[i] = NearestPowerOfTen(i - LIMIT);
    return arMade;
  }();
  return nExponent >= -LIMIT && nExponent < LIMIT ? arPowers[nExponent + LIMIT]
                                                  : NearestPowerOfTen(nExponent);
}
