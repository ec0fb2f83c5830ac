#pragma once

#include "prod/ProdL2.h"

/// Surface description and profiles of temperature and water vapour, 90 or 101 levels each.
class CProdL2twt : public CProdL2 {
 public:
  static constexpr int LEVELS = 101;     // room
  static constexpr int FEW_LEVELS = 90;  // levels of the oldest layout

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2twt(int nSize) { InitFirstL2(nSize); }

  IntColumn SelectionOfBackgroundState{*this};
  IntColumn VerticalSignificance1{*this}, NumberOfObservations1{*this}, NumberOfObservations2{*this},
      VerticalSignificance2{*this};
  RealColumn Pressure{*this};         // surface, Pa
  RealColumn SkinTemperature{*this};  // K
  IntColumn PTCount{*this}, PMRCount{*this};
  TFamily<RealColumn, LEVELS> PTPressure{*this};      // Pa
  TFamily<RealColumn, LEVELS> PTTemperature{*this};   // K
  TFamily<RealColumn, LEVELS> PMRPressure{*this};     // Pa
  TFamily<RealColumn, LEVELS> PMRMixingRatio{*this};  // kg/kg
};
