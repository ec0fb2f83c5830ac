#pragma once

/// How a decompression variant reports and survives what it meets. Formats take two long arguments.
struct SDecompressVariant {
  const char* szSuspicious;      // increment wider than the element: increment width, element width
  int nSuspiciousStatus;         // 0: the result becomes 0; decoding goes on in both cases
  const char* szIncrementWidth;  // increment too wide for the missing-value test: its width, the limit
  const char* szElementWidth;    // constant too wide for it: its width, the limit
  const char* szUnreadable;      // header of the element beyond the data
};

inline constexpr SDecompressVariant PLAIN_INT = {
    "\nERROR: Suspicious compression ok  %ld > %ld\n", 0,
    "\nERROR: Data width too high for missing value control %ld > %ld\n",
    "\nERROR: Data width too high for missing value control", ""};

inline constexpr SDecompressVariant PLAIN_FLOAT = {
    "\nERROR: Suspicious compression", 0, "\nERROR: Data width too high for missing value control",
    "\nERROR: Data width too high for missing value control", ""};

inline constexpr SDecompressVariant L2_FOV = {
    "\nERROR: Suspicious compression %ld > %ld\n", 1,
    "ERROR: Data width too high for missing value control (%ld) >  (%ld)",
    "ERROR: Data width too high for missing value control ((%ld)(%ld)",
    "\nERROR: unable to interpret input file"};

inline constexpr SDecompressVariant L2_INT_X1000 = {
    "\nERROR: Suspicious compression %ld > %ld\n", 1,
    "ERROR: Data width too high for missing value control (%ld)",
    "ERROR: Data width too high for missing value control (%ld)", "\nERROR: unable to interpret input file"};

inline constexpr SDecompressVariant L2_FLOAT_X1000 = {
    "\nERROR: Suspicious compression ok  %ld > %ld\n", 0,
    "\nERROR: Data width too high for missing value control",
    "\nERROR: Data width too high for missing value control", ""};
