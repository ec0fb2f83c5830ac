#include "stat/HistoMultiPix.h"

#include <algorithm>
#include <cstdint>

#include "app/ConfigParam.h"
#include "kernel/MissingReal.h"
#include "stat/MultiPixStat.h"

CHistoMultiPix::CHistoMultiPix(const SHistoParam& param, int nColumns, bool bPositions)
    : m_classes(param.fMin, param.fMax, param.nClasses),
      m_arLeaves(bPositions ? 1 + SPosition::COUNT : 1,
                 SLeaf{CRowBatch(nColumns), CCounts(nColumns, param.nClasses)}) {}

double CHistoMultiPix::Size(const SHistoParam& param, int nColumns, bool bPositions) {
  return CClasses::Size(param.nClasses) +
         sizeof(int64_t) * (param.nClasses + 3.0) * nColumns * (bPositions ? 1 + SPosition::COUNT : 1);
}

std::string CHistoMultiPix::Suffix(int nPosition) {
  return ".HistoPix" + (nPosition ? ".pix" + std::to_string(nPosition) : std::string()) + ".txt";
}

void CHistoMultiPix::Add(const SSpectrumRow& row, int64_t nFieldOfView) {
  SLeaf& leaf = m_arLeaves[m_arLeaves.size() > 1 ? SPosition::Of(nFieldOfView) : 0];
  if (leaf.batch.Add(row)) return;
  Flush(leaf);
  leaf.batch.Add(row);
}

void CHistoMultiPix::Flush(SLeaf& leaf) {
  leaf.counts.Add(leaf.batch, m_classes);
  leaf.batch.Clear();
}

/// Column by column, so that the counters at hand stay near.
void CHistoMultiPix::CCounts::Add(const CRowBatch& batch, const CClasses& classes) {
  constexpr int BLOCK = CRowBatch::BLOCK;
  m_nPixels += batch.Rows();
  double arTile[CRowBatch::ROWS * BLOCK];
  for (int i = 0; i < batch.Blocks(); ++i) {
    batch.Block(i, arTile);
    for (int j = 0; j < std::min(BLOCK, m_nColumns - i * BLOCK); ++j) {
      int64_t* pCounts = &m_arCounts[Slot(i * BLOCK + j, 0)];
      for (int k = 0; k < batch.Rows(); ++k) {
        const double fValue = arTile[k * BLOCK + j];
        ++pCounts[fValue == MISSING_REAL ? m_nClasses + 1 : classes.Find(fValue)];
      }
    }
  }
}

int64_t CHistoMultiPix::CCounts::Total(int nClass) const {
  int64_t nTotal = 0;
  for (int i = 0; i < m_nColumns; ++i) nTotal += Class(i, nClass);
  return nTotal;
}

void CHistoMultiPix::CCounts::Merge(const CCounts& other) {
  m_nPixels += other.m_nPixels;
  for (size_t i = 0; i < m_arCounts.size(); ++i) m_arCounts[i] += other.m_arCounts[i];
}

void CHistoMultiPix::Close() {
  for (SLeaf& leaf : m_arLeaves) {
    Flush(leaf);
    if (&leaf != &m_arLeaves[0]) m_arLeaves[0].counts.Merge(leaf.counts);
  }
}
