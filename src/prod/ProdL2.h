#pragma once

#include <cstdint>

#include "prod/Prod.h"

/// The last minute in which ozone and temperature products have few layers and levels: yyyymmdd and hhmm. A
/// message of any of its seconds, were it 99, is laid out so; a pixel only of those below 60.
inline constexpr int64_t FEW_LEVELS_DATE = 20140930, FEW_LEVELS_MINUTE = 722;

/// Fields that the five L2 products share.
class CProdL2 : public CProd {
 public:
  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2(int nSize) { InitFirstAll(nSize); }

  IntColumn SuperadiabaticIndicator{*this}, LandSeaQualifier{*this}, DayNightQualifier{*this};
  IntColumn SatelliteDataProcessingTechniqueUsed{*this}, SunGlintIndicator{*this};
  IntColumn CloudFormationAndHeightAssignment{*this}, InstrumentDetectingClouds{*this};
  IntColumn ValidationFlagForIasiLevel1{*this}, QualityAndCompletenessOfRetrieval{*this};
  IntColumn RetrievalChoiceIndicator{*this}, SatelliteManoeuvreIndicator{*this};
};
