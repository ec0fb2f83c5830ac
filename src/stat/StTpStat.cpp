#include "stat/StTpStat.h"

#include "app/ConfigParam.h"
#include "kernel/MissingReal.h"
#include "stat/MultiPixStat.h"

void CStTpStat::Add(const SSpectrumRow& row, int64_t nCloudFraction, int64_t nFieldOfView,
                    int64_t nSurfaceType, double fSolarZenithAngle) {
  const int nSurface = nSurfaceType < 0    ? CConfigParam::SURFACE_ALL
                       : nSurfaceType == 0 ? CConfigParam::SURFACE_SEA
                                           : CConfigParam::SURFACE_LAND;
  const bool bAngle = fSolarZenithAngle != MISSING_REAL;
  const int nPeriod =
      bAngle ? (fSolarZenithAngle > 90.0 ? 0 : DAY) | (fSolarZenithAngle < 90.0 ? 0 : NIGHT) : 0;
  auto& pCell = m_arpCells[nSurface][nPeriod];
  if (!pCell) pCell = std::make_unique<CMultiPixStat>(m_nColumns, m_bFour);
  pCell->Add(row, nCloudFraction, nFieldOfView);
}

CSpeMultiStat CStTpStat::Union(int nSurface, int nPeriod) {
  constexpr int BITS[] = {0, DAY, NIGHT};  // by EPeriod
  CSpeMultiStat sum(m_nColumns, m_bFour, 1);
  for (int i = 0; i < SURFACES; ++i)
    for (int j = 0; j < PERIODS; ++j)
      if (m_arpCells[i][j] && (nSurface == CConfigParam::SURFACE_ALL || nSurface == i) &&
          (nPeriod == CConfigParam::PERIOD_ALL || (j & BITS[nPeriod])))
        m_arpCells[i][j]->AddTo(sum, 0);
  return sum;
}

CSpeMultiStat CStTpStat::Position(int nPosition) {
  CSpeMultiStat sum(m_nColumns, m_bFour, 1);
  for (auto& arpPeriods : m_arpCells)
    for (auto& pCell : arpPeriods)
      if (pCell) pCell->AddTo(sum, nPosition);
  return sum;
}
