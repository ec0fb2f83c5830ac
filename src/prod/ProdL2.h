#pragma once

#include "prod/Prod.h"

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
