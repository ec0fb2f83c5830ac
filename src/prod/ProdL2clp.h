#pragma once

#include "prod/Column.h"
#include "prod/ProdL2.h"

/// Cloud parameters: three cloud layers a pixel.
class CProdL2clp : public CProdL2 {
 public:
  static constexpr int LAYERS = 3;

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2clp(int nSize) { InitFirstL2(nSize); }

  KeptIntColumn VerticalSignificance{*this};
  TFamily<KeptRealColumn, LAYERS> Pressure{*this};              // Pa
  TFamily<KeptRealColumn, LAYERS> Temperature{*this};           // K
  TFamily<KeptRealColumn, LAYERS> CloudAmountInSegment{*this};  // percent
  TFamily<KeptIntColumn, LAYERS> CloudPhase{*this};
};
