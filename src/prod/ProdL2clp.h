#pragma once

#include "prod/ProdL2.h"

/// Cloud parameters: three cloud layers a pixel.
class CProdL2clp : public TProdL2<CProdL2clp> {
 public:
  static constexpr int LAYERS = 3;

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2clp(int nSize) { InitKind(nSize); }

  IntColumn VerticalSignificance;
  RealColumn Pressure[LAYERS];              // Pa
  RealColumn Temperature[LAYERS];           // K
  RealColumn CloudAmountInSegment[LAYERS];  // percent
  IntColumn CloudPhase[LAYERS];

  template <class TVisit>
  void EachColumn(TVisit visit) {
    visit(VerticalSignificance);
    for (auto* p : {&Pressure, &Temperature, &CloudAmountInSegment})
      for (RealColumn& column : *p) visit(column);
    for (IntColumn& column : CloudPhase) visit(column);
  }
};
