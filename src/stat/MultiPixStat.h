#pragma once

#include <cstdint>
#include <memory>

#include "stat/SpeMultiStat.h"  // IWYU pragma: keep

struct SSpectrumRow;

/// The four positions of a pixel in the 2 x 2 array of the sounder.
struct SPosition {
  static constexpr int COUNT = 4;
  /// 1 to 4, 0 for a pixel without field of view.
  static int Of(int64_t nFieldOfView) {
    return nFieldOfView < 0 ? 0 : static_cast<int>(nFieldOfView % COUNT) + 1;
  }
};

/// Spectral statistics of each pixel position. A pixel without one counts under all positions only.
class CMultiPixStat {
 public:
  CMultiPixStat(int nColumns, bool bFour) : m_nColumns(nColumns), m_bFour(bFour) {}
  virtual ~CMultiPixStat() = default;

  void Add(const SSpectrumRow& row, int64_t nCloudFraction, int64_t nFieldOfView);

  /// Adds the pixels of one position (1 to 4), or of all of them and those without one (0).
  void AddTo(CSpeMultiStat& sum, int nPosition);

 private:
  int m_nColumns;
  bool m_bFour;
  std::unique_ptr<CSpeMultiStat> m_arpPositions[1 + SPosition::COUNT];  // made for the first pixel
};
