#pragma once

#include <cmath>
#include <vector>

inline constexpr double MISSING = -777.0;

/// What a set of values amounts to; -777 without values.
struct SReference {
  long double fCount = 0, fAverage = -777, fStdDev = -777, fSkewness = -777, fKurtosis = -777;
};

/// Two passes in long double, over deviations from the first value, which are exact.
inline SReference Reference(std::vector<double> arValues) {
  SReference r;
  std::erase(arValues, MISSING);
  if (arValues.empty()) return r;
  r.fCount = static_cast<long double>(arValues.size());
  const long double fFirst = arValues[0];
  long double fMean = 0, f2 = 0, f3 = 0, f4 = 0;
  for (const double f : arValues) fMean += f - fFirst;
  fMean /= r.fCount;
  for (const double f : arValues) {
    const long double d = f - fFirst - fMean;
    f2 += d * d;
    f3 += d * d * d;
    f4 += d * d * d * d;
  }
  const long double m2 = f2 / r.fCount;
  r.fAverage = fFirst + fMean;
  r.fStdDev = r.fCount < 2 ? 0 : std::sqrt(f2 / (r.fCount - 1));
  r.fSkewness = m2 > 0 ? f3 / r.fCount / (m2 * std::sqrt(m2)) : 0;
  r.fKurtosis = m2 > 0 ? f4 / r.fCount / (m2 * m2) - 3 : 0;
  return r;
}

/// Equal classes, which are searched one after the other.
struct SReferenceClasses {
  double fMin = 0, fMax = 0;
  int nClasses = 0;

  double Edge(int i) const { return i == nClasses ? fMax : fMin + (fMax - fMin) * i / nClasses; }
  /// -1 below the classes and nClasses above them.
  int Find(double fValue) const {
    if (fValue > fMax) return nClasses;
    int nClass = nClasses - 1;
    while (nClass >= 0 && fValue < Edge(nClass)) --nClass;
    return nClass;
  }
};
