#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

/// Equal classes over [min, max]. Edge i is min + (max - min) * i / n, the last one max. A value belongs to
/// the last class whose lower edge is not above it, max to the last class; there is no tolerance.
class CClasses {
 public:
  static constexpr int BELOW = -1;

  /// nClasses at least 1, fMin < fMax.
  CClasses(double fMin, double fMax, int nClasses)
      : m_nClasses(nClasses), m_fScale(nClasses / (fMax - fMin)), m_arBounds(nClasses + 2LL) {
    for (int i = 0; i < nClasses; ++i) m_arBounds[i + 1LL] = fMin + (fMax - fMin) * i / nClasses;
    m_fMax = fMax;
    m_arBounds.front() = -INFINITY;
    m_arBounds.back() = std::nextafter(fMax, INFINITY);
  }

  /// Bytes that nClasses classes take.
  static double Size(int nClasses) { return sizeof(double) * (nClasses + 2.0); }

  int Count() const { return m_nClasses; }
  /// 0 to Count().
  double Edge(int i) const { return i == m_nClasses ? m_fMax : m_arBounds[i + 1LL]; }

  /// Class of a value: 0 to Count() - 1, BELOW or Count() outside.
  int Find(double fValue) const {
    const double fGuess = (fValue - m_arBounds[1]) * m_fScale + 1;
    auto nSlot = fGuess > 0 ? static_cast<int64_t>(std::min(fGuess, m_nClasses + 1.0)) : 0;
    while (fValue < m_arBounds[nSlot]) --nSlot;
    while (nSlot <= m_nClasses && fValue >= m_arBounds[nSlot + 1]) ++nSlot;
    return static_cast<int>(nSlot) - 1;
  }

 private:
  int m_nClasses;
  double m_fScale;
  double m_fMax;
  std::vector<double> m_arBounds;  // lower bounds of what is below, of the classes and of what is above
};
