#pragma once

#include <cmath>
#include <cstdint>

#include "kernel/MissingReal.h"

/// Running count and mean of values.
///
/// The mean is the unevaluated sum fOrigin + fRest, fRest at most half a unit in the last place of fOrigin,
/// and deviations are taken from fOrigin, so that equal values give exactly their value as mean.
struct SMean {
  double fCount = 0;  // exact up to 2^53
  double fOrigin = 0;
  double fRest = 0;

  void Add(double fValue) {
    if (fCount == 0) fOrigin = fValue;
    Shift(1, (fValue - fOrigin) - fRest);
  }

  bool Empty() const { return fCount == 0; }
  int64_t Count() const { return static_cast<int64_t>(fCount); }
  /// -777 without values.
  double Average() const { return Empty() ? MISSING_REAL : fOrigin + fRest; }

  /// Adds values by their number and the sum of their deviations from the mean. Returns by how much the mean
  /// moves.
  double Shift(double fNumber, double fSum) {
    fCount += fNumber;
    // The addend changes no count but 0, where nothing was added.
    const double fShift = fSum / (fCount + 1e-300);
    // The mean moves without loss.
    const double fNewRest = fRest + fShift, fMean = fOrigin + fNewRest, fBack = fMean - fOrigin;
    fRest = (fOrigin - (fMean - fBack)) + (fNewRest - fBack);
    fOrigin = fMean;
    return fShift;
  }
};

/// Running count, mean and central moments of values that come one by one or in sets, and their union with
/// those of other values. Equal values give moments of exactly 0.
///
/// The caller of AddSums and AddOriginSums keeps to two rules, as Add and Merge do by themselves:
/// - before the first set is added, one of its values is put into fOrigin;
/// - a set has few values (up to CRowBatch::ROWS), or no more than are counted already.
/// The sums of a set are about the mean before it. A set that outweighs what is there by far moves the mean
/// far, so that most of its sum of squares is distance to the old mean; that part is subtracted again, and
/// the digits of the deviations themselves would go with it.
struct SMoments : SMean {
  double fM2 = 0;     // sum of squared deviations from the mean
  double fM2Low = 0;  // what rounding has put into fM2 beyond its terms
  double fM3 = 0;     // the same of the third and fourth power; of no meaning where values came without
  double fM4 = 0;

  /// Adds values by their number and their sums of powers of deviations from the mean.
  template <bool FOUR>
  void AddSums(double fNumber, double fT1, double fT2, double fT3, double fT4) {
    const double fShift = Shift(fNumber, fT1);
    if constexpr (FOUR) {
      const double fA2 = fM2 + fT2, fA3 = fM3 + fT3, fA4 = fM4 + fT4;
      const double fShift2 = fShift * fShift;
      fM3 = fA3 - 3 * fShift * fA2 + 2 * fCount * fShift2 * fShift;
      fM4 = fA4 - 4 * fShift * fA3 + 6 * fShift2 * fA2 - 3 * fCount * fShift2 * fShift2;
    }
    const double fTerm = (fT2 - fT1 * fShift) - fM2Low;
    const double fNewM2 = fM2 + fTerm;
    fM2Low = (fNewM2 - fM2) - fTerm;
    fM2 = fNewM2;
  }

  /// The same for sums of deviations from fOrigin.
  template <bool FOUR>
  void AddOriginSums(double fNumber, double fS1, double fS2, double fS3, double fS4) {
    const double fT1 = fS1 - fNumber * fRest;
    const double fT2 = fS2 - fRest * (fS1 + fT1);
    // Further terms in fRest are below the rounding of these powers.
    AddSums<FOUR>(fNumber, fT1, fT2, FOUR ? fS3 - 3 * fRest * fS2 : 0, FOUR ? fS4 - 4 * fRest * fS3 : 0);
  }

  /// One value; no third and fourth moment.
  void Add(double fValue) {
    if (fCount == 0) fOrigin = fValue;
    const double fDeviation = fValue - fOrigin;
    AddOriginSums<false>(1, fDeviation, fDeviation * fDeviation, 0, 0);
  }

  void Merge(const SMoments& other) {
    if (other.fCount > fCount) {
      const SMoments smaller = *this;
      *this = other;
      MergeSmaller(smaller);
    } else {
      MergeSmaller(other);
    }
  }

  // Without values these are -777.
  /// Divides by the count less 1; 0 for one value.
  double StdDev() const { return Empty() ? MISSING_REAL : fCount < 2 ? 0 : std::sqrt(fM2 / (fCount - 1)); }
  /// m3 / m2^1.5 of the population moments, 0 where m2 is 0.
  double Skewness() const {
    if (Empty() || !(fM2 > 0)) return Empty() ? MISSING_REAL : 0;
    const double fVariance = fM2 / fCount;
    return fM3 / fCount / fVariance / std::sqrt(fVariance);
  }
  /// m4 / m2^2 - 3 of the population moments, 0 where m2 is 0.
  double Kurtosis() const {
    if (Empty() || !(fM2 > 0)) return Empty() ? MISSING_REAL : 0;
    const double fVariance = fM2 / fCount;
    return fM4 / fCount / fVariance / fVariance - 3;
  }

 private:
  void MergeSmaller(const SMoments& other) {
    const double n = other.fCount;
    if (n == 0) return;
    const double fApart = (other.fOrigin - fOrigin) + (other.fRest - fRest), fApart2 = fApart * fApart;
    AddSums<true>(n, n * fApart, other.fM2 - other.fM2Low + n * fApart2,
                  other.fM3 + 3 * fApart * other.fM2 + n * fApart2 * fApart,
                  other.fM4 + 4 * fApart * other.fM3 + 6 * fApart2 * other.fM2 + n * fApart2 * fApart2);
  }
};
