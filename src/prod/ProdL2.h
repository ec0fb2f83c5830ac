#pragma once

#include "prod/Prod.h"

/// Fields that the five L2 products share.
class CProdL2 : public CProd {
 public:
  void SetNull() override;
  /// Sizes the record for nSize pixels; the arrays only grow.
  void InitFirstL2(int nSize);

  IntColumn SuperadiabaticIndicator, LandSeaQualifier, DayNightQualifier;
  IntColumn SatelliteDataProcessingTechniqueUsed, SunGlintIndicator, CloudFormationAndHeightAssignment;
  IntColumn InstrumentDetectingClouds, ValidationFlagForIasiLevel1, QualityAndCompletenessOfRetrieval;
  IntColumn RetrievalChoiceIndicator, SatelliteManoeuvreIndicator;

 protected:
  void DeleteContents();

 private:
  template <class TVisit>
  void EachColumn(TVisit visit);
};

/// The part that the five kinds would otherwise repeat: a kind lists its columns once, in EachColumn, and
/// gets its sizing and its release from here.
template <class TKind>
class TProdL2 : public CProdL2 {
 public:
  void SetNull() override {
    Kind().EachColumn([](auto& column) { column.Release(); });
    CProdL2::SetNull();
  }

 protected:
  void InitKind(int nSize) {
    const bool bGrow = PixelCapacity < nSize;
    if (bGrow) Kind().EachColumn([](auto& column) { column.Release(); });
    InitFirstL2(nSize);
    if (bGrow) Kind().EachColumn([this](auto& column) { column.Allocate(PixelCapacity); });
  }

 private:
  TKind& Kind() { return static_cast<TKind&>(*this); }
};
