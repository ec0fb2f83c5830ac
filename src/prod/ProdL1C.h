#pragma once

#include <cstdint>

#include "prod/Prod.h"
#include "prod/Spectrum.h"

/// Pixels of one IASI L1C message: quality flags, fractions, imager statistics for every pixel; spectra,
/// scale-factor bands and AVHRR clusters for the kept pixels only.
class CProdL1C : public CProd {
 public:
  static constexpr int BANDS = 10;          // scale-factor bands
  static constexpr int CLUSTERS = 7;        // AVHRR radiance clusters
  static constexpr int AVHRR_CHANNELS = 6;  // channels of a cluster
  static constexpr int CLUSTER_CHANNELS =
      CLUSTERS * AVHRR_CHANNELS;  // index: cluster * AVHRR_CHANNELS + channel

  void SetNull() override;

  /// Sizes the record for nSize pixels. The channel count is fixed by the call that grew the record.
  void InitFirstL1(int nSize, int nChannels);

  int ChannelCount = 0;
  int64_t DayVersion = 0;              // archive version (layout version of the message): DAY_1 or DAY_2
  static constexpr int64_t DAY_1 = 1;  // no cloud, land, snow or IIS data, one band
  static constexpr int64_t DAY_2 = 2;
  /// True for a record that lacks what day 1 lacks.
  bool IsDayOne() const { return DayVersion < DAY_2; }

  IntColumn SampleChannel{*this}, SampleScaledRadiance{*this};  // work arrays of the spectrum decoding
  TFamily<IntColumn, 3> StartChannel{*this}, EndChannel{*this}, GqisQualFlag{*this};
  IntColumn CloudFraction{*this}, LandFraction{*this}, SnowFraction{*this};  // percent
  RealColumn AverageIIS{*this}, VarianceIIS{*this};                          // W/(m2 sr m-1)

  TFamily<KeptIntColumn, BANDS> ScaleBandStartChannel{*this}, ScaleBandEndChannel{*this};
  TFamily<KeptIntColumn, BANDS> ScaleBandExponent{*this};  // -700 missing
  TFamily<KeptRealColumn, BANDS> ScaleBandFactor{*this};   // 10^exponent
  CSpectrum Spectrum;                                      // by kept row
  KeptIntColumn AvhrrInstrument{*this}, AvhrrChannelCombination{*this};
  TFamily<KeptRealColumn, CLUSTERS> AvhrrYAP{*this}, AvhrrZAP{*this};  // degrees
  TFamily<KeptIntColumn, CLUSTERS> AvhrrCPF{*this};                    // percent
  TFamily<KeptIntColumn, CLUSTER_CHANNELS> AvhrrChannel{*this};
  TFamily<KeptIntColumn, CLUSTER_CHANNELS> AvhrrMeanExponent{*this}, AvhrrMeanScaled{*this};
  TFamily<KeptRealColumn, CLUSTER_CHANNELS> AvhrrMeanRadiance{*this};
  TFamily<KeptIntColumn, CLUSTER_CHANNELS> AvhrrStdDevExponent{*this}, AvhrrStdDevScaled{*this};
  TFamily<KeptRealColumn, CLUSTER_CHANNELS> AvhrrStdDevRadiance{*this};
};
