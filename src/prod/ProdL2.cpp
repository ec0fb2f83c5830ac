#include "prod/ProdL2.h"

template <class TVisit>
void CProdL2::EachColumn(TVisit visit) {
  for (auto* p :
       {&SuperadiabaticIndicator, &LandSeaQualifier, &DayNightQualifier,
        &SatelliteDataProcessingTechniqueUsed, &SunGlintIndicator, &CloudFormationAndHeightAssignment,
        &InstrumentDetectingClouds, &ValidationFlagForIasiLevel1, &QualityAndCompletenessOfRetrieval,
        &RetrievalChoiceIndicator, &SatelliteManoeuvreIndicator})
    visit(*p);
}

void CProdL2::SetNull() {
  DeleteContents();
  CProd::SetNull();
}

void CProdL2::DeleteContents() {
  EachColumn([](auto& column) { column.Release(); });
}

void CProdL2::InitFirstL2(int nSize) {
  const bool bGrow = PixelCapacity < nSize;
  if (bGrow) DeleteContents();
  InitFirstAll(nSize);
  if (bGrow) EachColumn([this](auto& column) { column.Allocate(PixelCapacity); });
}
