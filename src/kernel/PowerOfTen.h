#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>

/// The double nearest to 10^nExponent. std::pow is not always that (for 10^23, say), and gives other bits
/// where the compiler works it out itself or the processor multiplies and adds at once.
inline double NearestPowerOfTen(int64_t nExponent) {
  constexpr int64_t BEYOND = 400;  // of the range of doubles
  char sz[8];
  std::snprintf(sz, sizeof sz, "1e%d", static_cast<int>(std::clamp(nExponent, -BEYOND, BEYOND)));
  return std::strtod(sz, nullptr);
}

/// The same without its cost for the scales of elements and the exponents that six bits can hold.
inline double PowerOfTen(int64_t nExponent) {
  constexpr int64_t LEAST = -8;
  static constexpr double POWERS[] = {1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1e0,  1e1,  1e2,  1e3,
                                      1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                      1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22, 1e23, 1e24, 1e25, 1e26, 1e27,
                                      1e28, 1e29, 1e30, 1e31, 1e32, 1e33, 1e34, 1e35, 1e36, 1e37, 1e38, 1e39,
                                      1e40, 1e41, 1e42, 1e43, 1e44, 1e45, 1e46, 1e47, 1e48, 1e49, 1e50, 1e51,
                                      1e52, 1e53, 1e54, 1e55, 1e56, 1e57, 1e58, 1e59, 1e60, 1e61, 1e62, 1e63};
  const int64_t i = nExponent - LEAST;
  return i >= 0 && i < std::ssize(POWERS) ? POWERS[i] : NearestPowerOfTen(nExponent);
}
