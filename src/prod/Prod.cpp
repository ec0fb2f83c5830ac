#include "prod/Prod.h"

#include <numeric>

void CProd::SetNull() {
  for (CColumn* pColumn : m_arpColumns) pColumn->Release();
  m_bKeptKnown = false;
  PixelCount = PixelCapacity = m_nKept = 0;
}

void CProd::InitFirstAll(int nSize) {
  m_bKeptKnown = false;
  m_nKept = 0;
  PixelCount = nSize;
  if (PixelCapacity >= nSize) return;
  for (CColumn* pColumn : m_arpColumns) pColumn->Release();
  PixelCapacity = nSize;
  for (CColumn* pColumn : m_arpColumns) pColumn->Fit();
}

void CProd::FillWithMissingValues() {
  InitFirstAll(1);
  for (size_t i = 0; i < m_nCommon; ++i) m_arpColumns[i]->SetMissing();
  KeepPixel.SetAll(DEFAULT_VALUE_0);
}

void CProd::InitKept() {
  m_arKept.clear();
  m_arKeptRow.resize(PixelCount);
  for (int i = 0; i < PixelCount; ++i) {
    m_arKeptRow[i] = static_cast<int>(m_arKept.size());
    if (KeepPixel[i]) m_arKept.push_back(i);
  }
  m_nKept = static_cast<int>(m_arKept.size());
  m_bKeptKnown = true;
}

/// Columns of kept pixels have an element for each pixel then: of old contents as far as there are enough.
void CProd::KeepAll() const {
  m_arKept.resize(PixelCount);
  std::iota(m_arKept.begin(), m_arKept.end(), 0);
  m_arKeptRow = m_arKept;
  m_nKept = PixelCount;
  m_bKeptKnown = true;
  for (CColumn* pColumn : m_arpColumns) pColumn->Complete();
}
