#pragma once

#include "prod/ProdL2.h"

/// Surface emissivity at twelve frequencies.
class CProdL2ems : public TProdL2<CProdL2ems> {
 public:
  static constexpr int POINTS = 12;

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2ems(int nSize) { InitKind(nSize); }

  IntColumn SelectionOfBackgroundState;
  RealColumn Frequency[POINTS];   // Hz
  RealColumn Emissivity[POINTS];  // percent

  template <class TVisit>
  void EachColumn(TVisit visit) {
    visit(SelectionOfBackgroundState);
    for (auto* p : {&Frequency, &Emissivity})
      for (RealColumn& column : *p) visit(column);
  }
};
