#pragma once

#include <vector>

#include "prod/Prod.h"
#include "prod/Spectrum.h"

/// Pixels of one IASI L1C message: quality flags, fractions, imager statistics for every pixel; spectra,
/// scale-factor bands and AVHRR clusters for the kept pixels only, indexed by KeptRow(pixel), so that
/// memory follows what is kept and not what a message claims.
class CProdL1C : public CProd {
 public:
  static constexpr int BANDS = 10;          // scale-factor bands
  static constexpr int CLUSTERS = 7;        // AVHRR radiance clusters
  static constexpr int AVHRR_CHANNELS = 6;  // channels of a cluster

  void SetNull() override;

  /// Sizes the record for nSize pixels. The channel count is fixed by the call that grew the record.
  void InitFirstL1(int nSize, int nChannels);

  /// Takes the kept pixels from KeepPixel and sizes what is held for them only.
  void InitKept(bool bAvhrr);
  /// Kept pixels of the message in order.
  const std::vector<int>& Kept() const { return m_arKept; }
  /// Index of a kept pixel among the kept ones.
  int KeptRow(int nPixel) const { return m_arKeptRow[nPixel]; }

  int ChannelCount = 0;
  int64_t DayVersion = 0;              // archive version (layout version of the message): DAY_1 or DAY_2
  static constexpr int64_t DAY_1 = 1;  // no cloud, land, snow or IIS data, one band
  static constexpr int64_t DAY_2 = 2;
  /// True for a record that lacks what day 1 lacks.
  bool IsDayOne() const { return DayVersion < DAY_2; }

  IntColumn SampleChannel, SampleScaledRadiance;  // work arrays of the spectrum decoding
  IntColumn StartChannel[3], EndChannel[3], GqisQualFlag[3];
  IntColumn CloudFraction, LandFraction, SnowFraction;  // percent
  RealColumn AverageIIS, VarianceIIS;                   // W/(m2 sr m-1)

  // Per kept pixel:
  IntColumn ScaleBandStartChannel[BANDS], ScaleBandEndChannel[BANDS];
  IntColumn ScaleBandExponent[BANDS];  // -700 missing
  RealColumn ScaleBandFactor[BANDS];   // 10^exponent
  CSpectrum Spectrum;
  IntColumn AvhrrInstrument, AvhrrChannelCombination;
  RealColumn AvhrrYAP[CLUSTERS], AvhrrZAP[CLUSTERS];  // degrees
  IntColumn AvhrrCPF[CLUSTERS];                       // percent
  // [cluster * AVHRR_CHANNELS + channel]
  IntColumn AvhrrChannel[CLUSTERS * AVHRR_CHANNELS];
  IntColumn AvhrrMeanExponent[CLUSTERS * AVHRR_CHANNELS], AvhrrMeanScaled[CLUSTERS * AVHRR_CHANNELS];
  RealColumn AvhrrMeanRadiance[CLUSTERS * AVHRR_CHANNELS];
  IntColumn AvhrrStdDevExponent[CLUSTERS * AVHRR_CHANNELS], AvhrrStdDevScaled[CLUSTERS * AVHRR_CHANNELS];
  RealColumn AvhrrStdDevRadiance[CLUSTERS * AVHRR_CHANNELS];

 private:
  template <class TVisit>
  void EachPixelColumn(TVisit visit);
  template <class TVisit>
  void EachBandColumn(TVisit visit);
  template <class TVisit>
  void EachAvhrrColumn(TVisit visit);

  std::vector<int> m_arKept;
  std::vector<int> m_arKeptRow;
};
