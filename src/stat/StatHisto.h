#pragma once

#include <cstdint>
#include <vector>

#include "stat/Moments.h"

class CClasses;

/// Histogram of one set of pixels: count, mean and deviation of the values in each class, and how many fell
/// outside.
class CStatHisto {
 public:
  explicit CStatHisto(int nClasses) : m_arClasses(nClasses) {}
  virtual ~CStatHisto() = default;

  /// One value, -777 when it is missing.
  void Add(const CClasses& classes, double fValue);

  const SMoments& Class(int i) const { return m_arClasses[i]; }
  int64_t Below() const { return m_nBelow; }
  int64_t Above() const { return m_nAbove; }
  int64_t Missing() const { return m_nMissing; }

 private:
  std::vector<SMoments> m_arClasses;
  int64_t m_nBelow = 0, m_nAbove = 0, m_nMissing = 0;
};
