#pragma once

#include "prod/ProdL2.h"

/// Trace-gas columns.
class CProdL2trg : public TProdL2<CProdL2trg> {
 public:
  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2trg(int nSize) { InitKind(nSize); }

  IntColumn SelectionOfBackgroundState;
  RealColumn IntegratedN2ODensity, IntegratedCODensity, IntegratedCH4Density, IntegratedCO2Density;  // kg/m2

  template <class TVisit>
  void EachColumn(TVisit visit) {
    visit(SelectionOfBackgroundState);
    for (auto* p :
         {&IntegratedN2ODensity, &IntegratedCODensity, &IntegratedCH4Density, &IntegratedCO2Density})
      visit(*p);
  }
};
