#pragma once

#include "app/ConfigParam.h"
#include "stat/MultiPixStat.h"
#include "stat/StatHisto.h"

/// Histogram of one value a pixel, for all pixels and for each pixel position.
class CHisto {
 public:
  explicit CHisto(const SHistoParam& param);
  virtual ~CHisto() = default;

  /// Bytes that it takes.
  static double Size(const SHistoParam& param);

  /// fValue is -777 when it is missing.
  void Add(double fValue, int64_t nFieldOfView);

  const CClasses& Classes() const { return m_classes; }
  /// 0 for all pixels, 1 to 4 for a position.
  const CStatHisto& Position(int i) const { return m_arPositions[i]; }

 private:
  CClasses m_classes;
  std::vector<CStatHisto> m_arPositions;
};
