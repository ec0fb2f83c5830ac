#include "bufr/LayoutEngine.h"

#include <cstdlib>
#include <type_traits>

#include "prod/Prod.h"

/// pKept: the pixels whose values the column takes; null for all.
template <class T>
bool CLayoutEngine::DecodeInto(const TAsked<T>& asked, const std::vector<int>* pKept, CBitCursor& data,
                               TColumn<T>& column, std::vector<T>& arScratch, const T*& pLast) {
  T* const pColumn = column.Write();
  T* pOut = pColumn;
  const size_t nKept = pKept ? pKept->size() : 0, nSubsets = m_nSubsets;
  if (pKept) {
    if (arScratch.size() < nSubsets) arScratch.resize(nSubsets);
    pOut = arScratch.data();
    for (size_t i = 0; !m_bBlankUndecoded && i < nKept; ++i) pOut[(*pKept)[i]] = pColumn[i];
  }
  bool bAll;
  if constexpr (std::is_integral_v<T>)
    bAll = DecompressInt(data, asked, pOut);
  else
    bAll = DecompressReal(data, asked, pOut);
  for (size_t i = 0; i < nKept; ++i) pColumn[i] = pOut[(*pKept)[i]];
  pLast = pOut;
  return bAll;
}

bool CLayoutEngine::DecodeElement(const SElement& element, int nWidth, CProd& prod, CBitCursor& data,
                                  int nIndex) {
  const auto& [pInts, pReals, bKept] = element.target;
  const auto& arKept = prod.Kept();
  const bool bGather = bKept && arKept.size() < static_cast<size_t>(m_nSubsets);
  const std::vector<int>* pKept = bGather ? &arKept : nullptr;
  if (pInts)
    return DecodeInto<int64_t>(
        {element.eCall, nWidth, element.nReference, 0, element.nFlag, element.nMissing, element.nUndecoded},
        pKept, data, *pInts(prod, nIndex), m_arScratchInts, m_pLastInts);
  return DecodeInto<double>({element.eCall, nWidth, element.nReference, element.nScale, element.nFlag,
                             CProd::DEFAULT_VALUE_REAL, CProd::DEFAULT_VALUE_REAL},
                            pKept, data, *pReals(prod, nIndex), m_arScratchReals, m_pLastReals);
}

bool CLayoutEngine::Decode(TLayout layout, CProd& prod, CBitCursor& data, int nIndex) {
  bool bAll = true;
  for (const SElement& element : layout) {
    const int nWidth = element.widths.arn[m_nVersion];
    if (nWidth > 0 && !element.target.IsNone()) {
      bAll &= DecodeElement(element, nWidth, prod, data, nIndex);
      continue;
    }
    if (nWidth != 0) bAll &= Skip(data, std::abs(nWidth), element.eCall);
    Blank({&element, 1}, prod, nIndex, nIndex + 1);
  }
  return bAll;
}

bool CLayoutEngine::DecodeRepeated(TLayout layout, int nCount, CProd& prod, CBitCursor& data) {
  bool bAll = true;
  for (int i = 0; i < nCount; ++i) bAll &= Decode(layout, prod, data, i);
  return bAll;
}

void CLayoutEngine::Blank(TLayout layout, CProd& prod, int nFrom, int nTo) const {
  if (!m_bBlankUndecoded) return;
  for (const SElement& element : layout)
    for (int i = nFrom; i < nTo; ++i) {
      if (element.target.pInts) element.target.pInts(prod, i)->SetMissing(element.nUndecoded);
      if (element.target.pReals) element.target.pReals(prod, i)->SetMissing(CProd::DEFAULT_VALUE_REAL);
    }
}
