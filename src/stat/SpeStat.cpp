#include "stat/SpeStat.h"

#include <algorithm>
#include <cstring>

#include "kernel/Cpu.h"
#include "kernel/MissingReal.h"

/// The update of one block by a tile of radiances. The plain loops are compiled twice, for any processor and
/// for wide registers; each column sees the same operations in the same order either way.
struct CSpeStat::SKernel {
  SBlock& block;
  SHighBlock* pHigh;
  double* pTile;  // changed where values are missing
  int nRows;
  double arNumber[LANES];

  static constexpr int VECTOR = 4;
  using TVector [[gnu::vector_size(VECTOR * sizeof(double))]] = double;

  /// A column without values so far takes its first one as origin.
  void Seed() {
    for (int j = 0; j < LANES; ++j) {
      if (block.arCount[j] > 0) continue;
      for (int i = nRows - 1; i >= 0; --i)
        if (pTile[i * LANES + j] != MISSING_REAL) block.arOrigin[j] = pTile[i * LANES + j];
    }
  }

  /// Puts the origin in place of missing values, which then add nothing, and takes them off the number.
  void LeaveOutMissing() {
    for (int i = 0; i < nRows; ++i) {
      for (int j = 0; j < LANES; ++j) {
        double& fValue = pTile[i * LANES + j];
        if (fValue != MISSING_REAL) continue;
        fValue = block.arOrigin[j];
        --arNumber[j];
      }
    }
  }

  [[gnu::always_inline]] static void Load(const double* p, TVector& vector) {
    std::memcpy(&vector, p, sizeof vector);
  }

  template <bool FOUR>
  struct SPowers {
    TVector s1 = {}, s2 = {}, s3 = {}, s4 = {};

    [[gnu::always_inline]] void Add(const double* pValues, const TVector& origin) {
      TVector deviation;
      Load(pValues, deviation);
      deviation -= origin;
      const TVector square = deviation * deviation;
      s1 += deviation;
      s2 += square;
      if constexpr (FOUR) {
        s3 += square * deviation;
        s4 += square * square;
      }
    }

    [[gnu::always_inline]] void Store(double (*pSums)[LANES], int nFirst) const {
      std::memcpy(pSums[0] + nFirst, &s1, sizeof s1);
      std::memcpy(pSums[1] + nFirst, &s2, sizeof s2);
      if constexpr (FOUR) {
        std::memcpy(pSums[2] + nFirst, &s3, sizeof s3);
        std::memcpy(pSums[3] + nFirst, &s4, sizeof s4);
      }
    }
  };

  /// Sums of powers of the deviations of neighbouring columns, kept in registers over all rows.
  template <bool FOUR>
  [[gnu::always_inline]] void SumGroup(int nFirst, double (&arSums)[FOUR ? 4 : 2][LANES]) const {
    TVector origin, other;
    Load(block.arOrigin + nFirst, origin);
    Load(block.arOrigin + nFirst + VECTOR, other);
    SPowers<FOUR> sums, otherSums;
    const double* pRow = pTile + nFirst;
    for (int i = 0; i < nRows; ++i, pRow += LANES) {
      sums.Add(pRow, origin);
      otherSums.Add(pRow + VECTOR, other);
    }
    sums.Store(arSums, nFirst);
    otherSums.Store(arSums, nFirst + VECTOR);
  }

  template <bool FOUR>
  [[gnu::always_inline]] void AddTile() {
    double arSums[FOUR ? 4 : 2][LANES];
    for (int j = 0; j < LANES; j += 2 * VECTOR) SumGroup<FOUR>(j, arSums);
    for (int j = 0; j < LANES; ++j) {
      SMoments m{{block.arCount[j], block.arOrigin[j], block.arRest[j]}, block.arM2[j], block.arM2Low[j]};
      if constexpr (FOUR) {
        m.fM3 = pHigh->arM3[j];
        m.fM4 = pHigh->arM4[j];
        m.AddOriginSums<true>(arNumber[j], arSums[0][j], arSums[1][j], arSums[2][j], arSums[3][j]);
        pHigh->arM3[j] = m.fM3;
        pHigh->arM4[j] = m.fM4;
      } else {
        m.AddOriginSums<false>(arNumber[j], arSums[0][j], arSums[1][j], 0, 0);
      }
      block.arCount[j] = m.fCount;
      block.arOrigin[j] = m.fOrigin;
      block.arRest[j] = m.fRest;
      block.arM2[j] = m.fM2;
      block.arM2Low[j] = m.fM2Low;
    }
  }

  [[gnu::always_inline]] void AddAny() { pHigh ? AddTile<true>() : AddTile<false>(); }
  void AddPortable() { AddAny(); }
#if defined(VEX_AVX2)
  VEX_TARGET_AVX2 void AddWide() { AddAny(); }
#else
  void AddWide() { AddAny(); }
#endif
};

CSpeStat::CSpeStat(int nColumns, bool bFour)
    : m_nColumns(nColumns),
      m_arBlocks((nColumns + LANES - 1) / LANES),
      m_arHigh(bFour ? m_arBlocks.size() : 0) {}

void CSpeStat::Add(const CRowBatch& batch) {
  double arTile[CRowBatch::ROWS * LANES];
  for (int i = 0; i < batch.Blocks() && batch.Rows() > 0; ++i) {
    SKernel kernel = {m_arBlocks[i], m_arHigh.empty() ? nullptr : &m_arHigh[i], arTile, batch.Rows(), {}};
    const bool bMissing = batch.Block(i, arTile);
    std::fill_n(kernel.arNumber, LANES, static_cast<double>(batch.Rows()));
    const auto& arCount = m_arBlocks[i].arCount;
    if (std::find(arCount, arCount + LANES, 0.0) != arCount + LANES) kernel.Seed();
    if (bMissing) kernel.LeaveOutMissing();
    WideKernels() ? kernel.AddWide() : kernel.AddPortable();
  }
}

SMoments CSpeStat::Lane(int nBlock, int nLane) const {
  const SBlock& block = m_arBlocks[nBlock];
  SMoments m{{block.arCount[nLane], block.arOrigin[nLane], block.arRest[nLane]},
             block.arM2[nLane],
             block.arM2Low[nLane]};
  if (!m_arHigh.empty()) {
    m.fM3 = m_arHigh[nBlock].arM3[nLane];
    m.fM4 = m_arHigh[nBlock].arM4[nLane];
  }
  return m;
}

void CSpeStat::SetLane(int nBlock, int nLane, const SMoments& moments) {
  SBlock& block = m_arBlocks[nBlock];
  block.arCount[nLane] = moments.fCount;
  block.arOrigin[nLane] = moments.fOrigin;
  block.arRest[nLane] = moments.fRest;
  block.arM2[nLane] = moments.fM2;
  block.arM2Low[nLane] = moments.fM2Low;
  if (m_arHigh.empty()) return;
  m_arHigh[nBlock].arM3[nLane] = moments.fM3;
  m_arHigh[nBlock].arM4[nLane] = moments.fM4;
}

void CSpeStat::Merge(const CSpeStat& other) {
  for (int i = 0; i < m_nColumns; ++i) {
    SMoments moments = Moments(i);
    moments.Merge(other.Moments(i));
    SetLane(i / LANES, i % LANES, moments);
  }
}
