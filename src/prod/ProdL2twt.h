#pragma once

#include "prod/Column.h"
#include "prod/ProdL2.h"

/// Surface description and profiles of temperature and water vapour, 90 or 101 levels each.
class CProdL2twt : public CProdL2 {
 public:
  static constexpr int LEVELS = 101;     // room
  static constexpr int FEW_LEVELS = 90;  // levels of the oldest layout

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2twt(int nSize) { InitFirstL2(nSize); }

  IntColumn SelectionOfBackgroundState{*this};
  KeptIntColumn VerticalSignificance1{*this}, NumberOfObservations1{*this}, NumberOfObservations2{*this},
      VerticalSignificance2{*this};
  KeptRealColumn Pressure{*this};         // surface, Pa
  KeptRealColumn SkinTemperature{*this};  // K
  KeptIntColumn PTCount{*this}, PMRCount{*this};
  TFamily<KeptRealColumn, LEVELS> PTPressure{*this};      // Pa
  TFamily<KeptRealColumn, LEVELS> PTTemperature{*this};   // K
  TFamily<KeptRealColumn, LEVELS> PMRPressure{*this};     // Pa
  TFamily<KeptRealColumn, LEVELS> PMRMixingRatio{*this};  // kg/kg
};
