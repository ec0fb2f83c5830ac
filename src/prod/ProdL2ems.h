#pragma once

#include "prod/Column.h"
#include "prod/ProdL2.h"

/// Surface emissivity at twelve frequencies.
class CProdL2ems : public CProdL2 {
 public:
  static constexpr int POINTS = 12;

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2ems(int nSize) { InitFirstL2(nSize); }

  IntColumn SelectionOfBackgroundState{*this};
  TFamily<KeptRealColumn, POINTS> Frequency{*this};   // Hz
  TFamily<KeptRealColumn, POINTS> Emissivity{*this};  // percent
};
