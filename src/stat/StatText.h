#pragma once

#include <cstdint>
#include <string>

/// What several kinds of statistics files say in the same words.

inline constexpr const char* RADIANCE_UNIT = "W/(m2 sr m-1)";
inline constexpr const char* POSITION_RULE = "FieldOfViewNumber mod 4 + 1";
inline constexpr const char* SKY_RULE = "Clear: CloudFraction 0; cloudy: CloudFraction 95 or more";
inline constexpr const char* CLASS_RULE =
    "A class holds ClassMin and what lies between it and ClassMax, the last class also its ClassMax";
inline constexpr const char* DEVIATION_RULE = "StdDev divides by Count - 1 and is 0 for one value";

/// A number and what it counts.
inline std::string CountText(int64_t nCount, const char* szWhat) {
  return std::to_string(nCount) + " " + szWhat;
}

/// How many values of a histogram are in none of its classes.
inline std::string OutsideText(const auto& counts) {
  return CountText(counts.Below(), "below, ") + CountText(counts.Above(), "above, ") +
         CountText(counts.Missing(), "missing");
}

/// A set of pixels: those of one pixel position (1 to 4) or all (0).
inline std::string PositionText(int nPosition) {
  return nPosition == 0 ? "all pixels"
                        : "pixel position " + std::to_string(nPosition) + " (" + POSITION_RULE + ")";
}
