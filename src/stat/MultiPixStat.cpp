#include "stat/MultiPixStat.h"

#include "stat/SpeMultiStat.h"

void CMultiPixStat::Add(const SSpectrumRow& row, int64_t nCloudFraction, int64_t nFieldOfView) {
  auto& pStat = m_arpPositions[SPosition::Of(nFieldOfView)];
  if (!pStat) pStat = std::make_unique<CSpeMultiStat>(m_nColumns, m_bFour);
  pStat->Add(row, nCloudFraction);
}

void CMultiPixStat::AddTo(CSpeMultiStat& sum, int nPosition) {
  for (int i = 0; i <= SPosition::COUNT; ++i)
    if (m_arpPositions[i] && (nPosition == 0 || nPosition == i)) sum.Merge(*m_arpPositions[i]);
}
