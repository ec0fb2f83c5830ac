#pragma once

#include "prod/ProdL2.h"

/// Surface description and profiles of temperature and water vapour, 90 or 101 levels each.
class CProdL2twt : public TProdL2<CProdL2twt> {
 public:
  static constexpr int LEVELS = 101;     // room
  static constexpr int FEW_LEVELS = 90;  // levels of the oldest layout

  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2twt(int nSize) { InitKind(nSize); }

  IntColumn SelectionOfBackgroundState;
  IntColumn VerticalSignificance1, NumberOfObservations1, NumberOfObservations2, VerticalSignificance2;
  RealColumn Pressure;         // surface, Pa
  RealColumn SkinTemperature;  // K
  IntColumn PTCount, PMRCount;
  RealColumn PTPressure[LEVELS];      // Pa
  RealColumn PTTemperature[LEVELS];   // K
  RealColumn PMRPressure[LEVELS];     // Pa
  RealColumn PMRMixingRatio[LEVELS];  // kg/kg

  template <class TVisit>
  void EachColumn(TVisit visit) {
    for (auto* p : {&SelectionOfBackgroundState, &VerticalSignificance1, &NumberOfObservations1,
                    &NumberOfObservations2, &VerticalSignificance2, &PTCount, &PMRCount})
      visit(*p);
    visit(Pressure);
    visit(SkinTemperature);
    for (auto* p : {&PTPressure, &PTTemperature, &PMRPressure, &PMRMixingRatio})
      for (RealColumn& column : *p) visit(column);
  }
};
