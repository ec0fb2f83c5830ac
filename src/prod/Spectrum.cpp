#include "prod/Spectrum.h"

#include <algorithm>
#include <cstring>

#include "kernel/BitRun.h"
#include "kernel/MissingReal.h"
#include "kernel/SpectrumKernels.h"

void CSpectrum::Select(const CChannelSelection& selection) {
  m_pSelection = &selection;
  if (m_nColumns == selection.Columns()) return;
  // The number last: without memory for the others it is still that of before.
  m_arDivisors.assign(selection.Columns(), 1.0);
  m_arExact.assign(selection.Columns(), {});
  m_nColumns = selection.Columns();
}

void CSpectrum::Begin(int nRows) {
  m_nRows = nRows;
  m_arState.assign(m_nColumns, EMPTY);
  const size_t nNeeded = static_cast<size_t>(nRows) * m_nColumns;
  if (nNeeded > m_nRawCapacity) {
    m_nRawCapacity = 0;
    m_pRaw.reset();
    m_pRaw = std::make_unique_for_overwrite<int32_t[]>(nNeeded);
    m_nRawCapacity = nNeeded;
  }
  if (static_cast<size_t>(nRows) > m_nTileStride) {
    const size_t nStride = static_cast<size_t>(nRows) + 16;
    m_pTile = std::make_unique_for_overwrite<int32_t[]>(TILE_CHANNELS * nStride);
    m_nTileStride = nStride;
  }
}

void CSpectrum::StoreTile(int nFirst, int nCount, const double* pDivisors) {
  TransposeTile(m_pTile.get(), m_nTileStride, nCount, m_nRows, m_pRaw.get() + nFirst, m_nColumns);
  std::copy_n(pDivisors, nCount, m_arDivisors.begin() + nFirst);
  std::fill_n(m_arState.begin() + nFirst, nCount, SCALED);
}

void CSpectrum::MakeExact(int nColumn) {
  if (m_arState[nColumn] == EXACT) return;
  auto& arValues = m_arExact[nColumn];
  arValues.assign(m_nRows, MISSING_REAL);
  for (int i = 0; m_arState[nColumn] == SCALED && i < m_nRows; ++i) arValues[i] = At(i, nColumn);
  m_arState[nColumn] = EXACT;
}

void CSpectrum::Set(int nRow, int nColumn, double fValue) {
  MakeExact(nColumn);
  m_arExact[nColumn][nRow] = fValue;
}

void CSpectrum::End() {
  m_arRuns.clear();
  for (int i = 0; i < m_nColumns; ++i) {
    if (m_arState[i] == EMPTY) {
      for (int j = 0; j < m_nRows; ++j) m_pRaw[static_cast<size_t>(j) * m_nColumns + i] = RAW_MISSING;
      m_arDivisors[i] = 1;
    }
    const double fDivisor = m_arState[i] == EXACT ? 0.0 : m_arDivisors[i];
    if (m_arRuns.empty() || m_arRuns.back().fDivisor != fDivisor) m_arRuns.push_back({i, 0, fDivisor});
    ++m_arRuns.back().nCount;
  }
}

double CSpectrum::At(int nRow, int nColumn) const {
  if (m_arState[nColumn] == EXACT) return m_arExact[nColumn][nRow];
  double fValue = MISSING_REAL;
  ScaleToReal8(Raw(nRow) + nColumn, 1, m_arDivisors[nColumn], &fValue);
  return fValue;
}

template <class T>
void CSpectrum::CopyRow(int nRow, int nFirst, int nCount, char* pOut) const {
  auto run = std::upper_bound(m_arRuns.begin(), m_arRuns.end(), nFirst,
                              [](int nColumn, const SRun& r) { return nColumn < r.nFirst; });
  const int nEnd = nFirst + nCount;
  for (--run; nFirst < nEnd; ++run) {
    const int nRunEnd = std::min(nEnd, run->nFirst + run->nCount);
    const int32_t* pRaw = Raw(nRow) + nFirst;
    if (run->fDivisor == 0) {
      for (; nFirst < nRunEnd; ++nFirst, pOut += sizeof(T)) {
        const T fValue = static_cast<T>(m_arExact[nFirst][nRow]);
        std::memcpy(pOut, &fValue, sizeof(T));
      }
      continue;
    }
    if constexpr (sizeof(T) == sizeof(float))
      ScaleToReal4(pRaw, nRunEnd - nFirst, run->fDivisor, pOut);
    else
      ScaleToReal8(pRaw, nRunEnd - nFirst, run->fDivisor, reinterpret_cast<T*>(pOut));
    pOut += sizeof(T) * (nRunEnd - nFirst);
    nFirst = nRunEnd;
  }
}

void CSpectrum::Row(int nRow, int nFirst, int nCount, double* pOut) const {
  if (nCount > 0) CopyRow<double>(nRow, nFirst, nCount, reinterpret_cast<char*>(pOut));
}

void CSpectrum::RowReal4(int nRow, int nFirst, int nCount, void* pOut) const {
  if (nCount > 0) CopyRow<float>(nRow, nFirst, nCount, static_cast<char*>(pOut));
}
