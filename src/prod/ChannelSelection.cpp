#include "prod/ChannelSelection.h"

#include <algorithm>
#include <utility>

CChannelSelection::CChannelSelection(std::vector<SRange> arRanges, int nLimit)
    : m_arRanges(std::move(arRanges)), m_nLimit(nLimit), m_bGiven(!m_arRanges.empty()) {
  if (!m_bGiven) return;
  m_arMask.resize(nLimit);
  for (const auto [nFirst, nLast] : m_arRanges) {
    if (nFirst <= nLast) m_nHeaderCount += int64_t{nLast} - nFirst + 1;
    const int nBegin = std::max(nFirst, 1), nEnd = std::min(nLast, nLimit);
    if (nBegin <= nEnd) std::fill_n(m_arMask.begin() + (nBegin - 1), nEnd - nBegin + 1, char{1});
  }
  FindColumns();
}

CChannelSelection::CChannelSelection(const char* pMask, int nLimit)
    : m_nLimit(nLimit), m_bGiven(true), m_arMask(pMask, pMask + nLimit) {
  FindColumns();
}

void CChannelSelection::FindColumns() {
  m_arColumnOf.resize(m_nLimit);
  m_arChannels.resize(m_nLimit);
  int nColumns = 0;
  for (int i = 0; i < m_nLimit; ++i) {
    m_arChannels[nColumns] = i + 1;
    m_arColumnOf[i] = m_arMask[i] ? nColumns++ : -1;
  }
  m_arChannels.resize(nColumns);
}

std::vector<CChannelSelection::SStretch> CChannelSelection::Stretches(int nMost, bool bChannels) const {
  std::vector<SStretch> arStretches;
  for (const SRange& range : m_arRanges) {
    if (range.nFirst < 1 || range.nFirst > m_nLimit) continue;
    const int nLast = std::min(range.nLast, m_nLimit);
    for (int nFirst = range.nFirst; nFirst <= nLast; nFirst += nMost) {
      const int nColumn = Column(nFirst), nCount = std::min(nMost, nLast - nFirst + 1);
      const bool bBehind = !bChannels && !arStretches.empty() &&
                           nColumn == arStretches.back().nFirst + arStretches.back().nCount &&
                           arStretches.back().nCount + nCount <= nMost;
      if (bBehind)
        arStretches.back().nCount += nCount;
      else
        arStretches.push_back({nColumn, nCount});
    }
  }
  return arStretches;
}
