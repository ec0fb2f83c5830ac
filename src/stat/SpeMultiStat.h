#pragma once

#include <cstdint>
#include <memory>

#include "stat/RowBatch.h"
#include "stat/SpeStat.h"

/// Spectral statistics of all, of clear and of cloudy pixels. A pixel is accumulated once, under the one sky
/// it has; the statistics of all pixels are put together when they are asked for.
class CSpeMultiStat {
 public:
  enum ESet { ALL, CLEAR, CLOUDY, SETS };
  static constexpr int64_t CLOUDY_FROM = 95;  // percent; clear is 0

  /// bFour: with the third and fourth moment. nBatchRows: pixels accumulated at a time.
  CSpeMultiStat(int nColumns, bool bFour, int nBatchRows = CRowBatch::ROWS);
  CSpeMultiStat(CSpeMultiStat&&) = default;
  virtual ~CSpeMultiStat() = default;

  static ESet Sky(int64_t nCloudFraction) {
    return nCloudFraction == 0 ? CLEAR : nCloudFraction >= CLOUDY_FROM ? CLOUDY : ALL;
  }

  /// nCloudFraction in percent, -1 for none.
  void Add(const SSpectrumRow& row, int64_t nCloudFraction);
  void Merge(CSpeMultiStat& other);

  CSpeStat Set(ESet eSet);
  int64_t Pixels(ESet eSet) const;

 private:
  /// The pixels of one sky; those under ALL are neither clear nor cloudy. Made for the first pixel.
  struct SLeaf {
    SLeaf(int nColumns, bool bFour, int nBatchRows) : batch(nColumns, nBatchRows), stat(nColumns, bFour) {}
    void Flush();
    CRowBatch batch;
    CSpeStat stat;
    int64_t nPixels = 0;
  };
  SLeaf& Leaf(int nSet);

  int m_nColumns;
  bool m_bFour;
  int m_nBatchRows;
  std::unique_ptr<SLeaf> m_arpLeaves[SETS];
};
