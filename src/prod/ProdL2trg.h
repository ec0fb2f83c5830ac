#pragma once

#include "prod/Column.h"
#include "prod/ProdL2.h"

/// Trace-gas columns.
class CProdL2trg : public CProdL2 {
 public:
  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2trg(int nSize) { InitFirstL2(nSize); }

  IntColumn SelectionOfBackgroundState{*this};
  KeptRealColumn IntegratedN2ODensity{*this}, IntegratedCODensity{*this}, IntegratedCH4Density{*this},
      IntegratedCO2Density{*this};  // kg/m2
};
