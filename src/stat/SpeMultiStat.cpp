#include "stat/SpeMultiStat.h"

CSpeMultiStat::CSpeMultiStat(int nColumns, bool bFour, int nBatchRows)
    : m_nColumns(nColumns), m_bFour(bFour), m_nBatchRows(nBatchRows) {}

void CSpeMultiStat::SLeaf::Flush() {
  stat.Add(batch);
  batch.Clear();
}

CSpeMultiStat::SLeaf& CSpeMultiStat::Leaf(int nSet) {
  auto& pLeaf = m_arpLeaves[nSet];
  if (!pLeaf) pLeaf = std::make_unique<SLeaf>(m_nColumns, m_bFour, m_nBatchRows);
  return *pLeaf;
}

void CSpeMultiStat::Add(const SSpectrumRow& row, int64_t nCloudFraction) {
  SLeaf& leaf = Leaf(Sky(nCloudFraction));
  ++leaf.nPixels;
  if (leaf.batch.Add(row)) return;
  leaf.Flush();
  leaf.batch.Add(row);
}

void CSpeMultiStat::Merge(CSpeMultiStat& other) {
  for (int i = 0; i < SETS; ++i) {
    if (!other.m_arpLeaves[i]) continue;
    SLeaf& from = *other.m_arpLeaves[i];
    from.Flush();
    SLeaf& leaf = Leaf(i);
    leaf.stat.Merge(from.stat);
    leaf.nPixels += from.nPixels;
  }
}

CSpeStat CSpeMultiStat::Set(ESet eSet) {
  CSpeStat sum(m_nColumns, m_bFour);
  for (int i = 0; i < SETS; ++i) {
    if (!m_arpLeaves[i] || (eSet != ALL && eSet != i)) continue;
    m_arpLeaves[i]->Flush();
    sum.Merge(m_arpLeaves[i]->stat);
  }
  return sum;
}

int64_t CSpeMultiStat::Pixels(ESet eSet) const {
  int64_t nPixels = 0;
  for (int i = 0; i < SETS; ++i)
    if (m_arpLeaves[i] && (eSet == ALL || eSet == i)) nPixels += m_arpLeaves[i]->nPixels;
  return nPixels;
}
