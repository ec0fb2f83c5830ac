#pragma once

#include <vector>

#include "stat/Classes.h"
#include "stat/StatHisto.h"

class CProd;
struct SHistoKind;
struct SHistoParam;

/// Histogram of one value a pixel, for all pixels and for each pixel position.
class CHisto {
 public:
  CHisto(const SHistoKind& kind, const SHistoParam& param);
  virtual ~CHisto() = default;

  /// Bytes that it takes.
  static double Size(const SHistoParam& param);

  void Add(const CProd& prod, int nPixel);

  const SHistoKind& Kind() const { return *m_pKind; }
  const CClasses& Classes() const { return m_classes; }
  /// 0 for all pixels, 1 to 4 for a position.
  const CStatHisto& Position(int i) const { return m_arPositions[i]; }

 private:
  const SHistoKind* m_pKind;
  CClasses m_classes;
  std::vector<CStatHisto> m_arPositions;
};
