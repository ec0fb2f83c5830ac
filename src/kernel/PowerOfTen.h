#pragma once

#include <array>
#include <cmath>
#include <cstdint>

/// 10^nExponent as std::pow has it, without its cost for the exponents that six bits can hold.
inline double PowerOfTen(int64_t nExponent) {
  constexpr int64_t LIMIT = 64;
  static const auto arPowers = [] {
    std::array<double, 2 * LIMIT> arMade;
    for (int64_t i = 0; i < 2 * LIMIT; ++i) arMade[i] = std::pow(10.0, static_cast<double>(i - LIMIT));
    return arMade;
  }();
  return nExponent >= -LIMIT && nExponent < LIMIT ? arPowers[nExponent + LIMIT]
                                                  : std::pow(10.0, static_cast<double>(nExponent));
}
