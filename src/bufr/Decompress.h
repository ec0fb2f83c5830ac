#pragma once

#include <array>
#include <cstdint>

#include "bufr/Element.h"

/// Largest width for which a missing value can be recognised.
inline constexpr int MISSING_WIDTH_MAX = 33;

/// All bits set, by width: the missing value.
inline constexpr std::array<int64_t, MISSING_WIDTH_MAX + 1> ALL_ONES = [] {
  std::array<int64_t, MISSING_WIDTH_MAX + 1> arn{};
  for (int i = 0; i <= MISSING_WIDTH_MAX; ++i) arn[i] = (int64_t{1} << i) - 1;
  return arn;
}();

/// What a variant of decompression makes of the sum of reference value, reference and increment, and how it
/// reports and survives what it meets. Formats take two long arguments.
struct SDecompressVariant {
  int nOffset;  // the value is (sum + offset) * factor, of reals sum / 10^scale * factor
  int nFactor;
  bool bConstant32;              // the sum of a constant is cut to 32 bits first
  bool bSuspiciousFails;         // whether an increment wider than its element is a failure; it is decoded
  const char* szSuspicious;      // what is said of it: increment width, element width
  const char* szIncrementWidth;  // increment too wide for the missing-value test: its width, the limit
  const char* szElementWidth;    // constant too wide for it: its width, the limit
  const char* szUnreadable;      // header of the element beyond the data

  /// What an integer that is the same for all subsets becomes.
  int64_t Constant(int64_t nSum) const {
    return ((bConstant32 ? static_cast<int32_t>(nSum) : nSum) + nOffset) * nFactor;
  }
};

/// The variants by ECall. Whatever the variant, the constant output of integers is the 32-bit sum alone.
inline constexpr SDecompressVariant VARIANTS[] = {
    {0, 1, true, true,  // INT
     "\nERROR: Suspicious compression ok  %ld > %ld\n",
     "\nERROR: Data width too high for missing value control %ld > %ld\n",
     "\nERROR: Data width too high for missing value control", ""},
    {0, 1, false, true,  // FLOAT
     "\nERROR: Suspicious compression", "\nERROR: Data width too high for missing value control",
     "\nERROR: Data width too high for missing value control", ""},
    {-1, 1, true, false,  // FOV
     "\nERROR: Suspicious compression %ld > %ld\n",
     "ERROR: Data width too high for missing value control (%ld) >  (%ld)",
     "ERROR: Data width too high for missing value control ((%ld)(%ld)",
     "\nERROR: unable to interpret input file"},
    {0, 1000, false, false,  // INT_X1000
     "\nERROR: Suspicious compression %ld > %ld\n",
     "ERROR: Data width too high for missing value control (%ld)",
     "ERROR: Data width too high for missing value control (%ld)", "\nERROR: unable to interpret input file"},
    {0, 1000, false, true,  // FLOAT_X1000
     "\nERROR: Suspicious compression ok  %ld > %ld\n",
     "\nERROR: Data width too high for missing value control",
     "\nERROR: Data width too high for missing value control", ""},
};

/// One element as it is asked for. T is the type of its values, int64_t or double.
template <class T>
struct TAsked {
  ECall eCall;
  int64_t nWidth;
  int64_t nReference;
  int nScale;  // of reals
  uint64_t nFlag;
  T missing;
  T undecoded;  // put in place of what could not be decoded, where that is asked for

  const SDecompressVariant& Variant() const { return VARIANTS[static_cast<int>(eCall)]; }
};

/// Where the values of one element go.
template <class T>
class TValues {
 public:
  virtual ~TValues() = default;

  /// All subsets have this value.
  virtual void SetAll(T value) = 0;
  /// The same for the element whose value it is; nConstant is the constant output of integers.
  virtual void SetConstant(T value, int64_t /*nConstant*/) { SetAll(value); }
  /// Where one value for each subset goes, which follow; null: nobody wants them.
  virtual T* Each() = 0;
};
