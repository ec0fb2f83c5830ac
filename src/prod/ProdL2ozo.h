#pragma once

#include "prod/ProdL2.h"

/// Ozone columns: 4 layers a pixel, 101 in the messages of layout versions 3 and 4.
class CProdL2ozo : public TProdL2<CProdL2ozo> {
 public:
  static constexpr int LAYERS = 101;    // room
  static constexpr int FEW_LAYERS = 4;  // layers of the other layout versions

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2ozo(int nSize) { InitKind(nSize); }

  IntColumn SelectionOfBackgroundState;
  RealColumn LayerTopPressure[LAYERS];     // Pa
  RealColumn LayerBottomPressure[LAYERS];  // Pa
  RealColumn IntegratedO3Density[LAYERS];  // kg/m2

  template <class TVisit>
  void EachColumn(TVisit visit) {
    visit(SelectionOfBackgroundState);
    for (auto* p : {&LayerTopPressure, &LayerBottomPressure, &IntegratedO3Density})
      for (RealColumn& column : *p) visit(column);
  }
};
