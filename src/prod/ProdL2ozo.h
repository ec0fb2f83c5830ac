#pragma once

#include "prod/Column.h"
#include "prod/ProdL2.h"

/// Ozone columns: 4 layers a pixel, 101 in the messages of layout versions 3 and 4.
class CProdL2ozo : public CProdL2 {
 public:
  static constexpr int LAYERS = 101;    // room
  static constexpr int FEW_LAYERS = 4;  // layers of the other layout versions

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2ozo(int nSize) { InitFirstL2(nSize); }

  int LayerCount = FEW_LAYERS;  // of the message's layout version
  IntColumn SelectionOfBackgroundState{*this};
  TFamily<KeptRealColumn, LAYERS> LayerTopPressure{*this};     // Pa
  TFamily<KeptRealColumn, LAYERS> LayerBottomPressure{*this};  // Pa
  TFamily<KeptRealColumn, LAYERS> IntegratedO3Density{*this};  // kg/m2
};
