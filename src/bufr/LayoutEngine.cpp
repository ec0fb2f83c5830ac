#include "bufr/LayoutEngine.h"

#include <cstdlib>

#include "prod/Prod.h"

namespace {

/// A column, with values of all subsets or of the kept ones among them.
template <class T>
class TColumnValues final : public TValues<T> {
 public:
  /// pKept: the pixels whose values the column takes, from the scratch; null for all. bKeepOld: what is not
  /// decoded stays as it was.
  TColumnValues(TColumn<T>& column, const std::vector<int>* pKept, std::vector<T>& arScratch, size_t nSubsets,
                bool bKeepOld)
      : m_column(column),
        m_pKept(pKept),
        m_arScratch(arScratch),
        m_nSubsets(nSubsets),
        m_bKeepOld(bKeepOld) {}

  void SetAll(T value) override {
    m_column.SetAll(value);
    m_pEach = nullptr;
    m_first = value;
  }

  T* Each() override {
    m_pColumn = m_bKeepOld ? m_column.Write() : m_column.WriteAll();
    m_pEach = m_pColumn;
    if (!m_pKept) return m_pEach;
    if (m_arScratch.size() < m_nSubsets) m_arScratch.resize(m_nSubsets);
    m_pEach = m_arScratch.data();
    for (size_t i = 0; m_bKeepOld && i < m_pKept->size(); ++i) m_pEach[(*m_pKept)[i]] = m_pColumn[i];
    return m_pEach;
  }

  /// Takes the values of the kept pixels, if there is one for each subset. Returns that of the first subset.
  T Finish() {
    if (!m_pEach) return m_first;
    for (size_t i = 0; m_pKept && i < m_pKept->size(); ++i) m_pColumn[i] = m_pEach[(*m_pKept)[i]];
    return m_pEach[0];
  }

 private:
  TColumn<T>& m_column;
  const std::vector<int>* m_pKept;
  std::vector<T>& m_arScratch;
  size_t m_nSubsets;
  bool m_bKeepOld;
  T* m_pColumn = nullptr;
  T* m_pEach = nullptr;
  T m_first = {};
};

}  // namespace

/// pKept: the pixels whose values the column takes; null for all. Returns the value of the first subset.
template <class T>
T CLayoutEngine::DecodeInto(const TAsked<T>& asked, const std::vector<int>* pKept, CBitCursor& data,
                            TColumn<T>& column, std::vector<T>& arScratch, bool& bAll) {
  TColumnValues<T> values(column, pKept, arScratch, static_cast<size_t>(m_nSubsets), !m_bBlankUndecoded);
  bAll = Decompress(data, asked, values);
  return values.Finish();
}

bool CLayoutEngine::DecodeElement(const SElement& element, int nWidth, CProd& prod, CBitCursor& data,
                                  int nIndex) {
  const auto& [pInts, pReals, bKept] = element.target;
  const bool bGather = bKept && prod.Kept().size() < static_cast<size_t>(m_nSubsets);
  const std::vector<int>* pKept = bGather ? &prod.Kept() : nullptr;
  bool bAll;
  if (pInts)
    m_nFirstInt = DecodeInto<int64_t>(
        {element.eCall, nWidth, element.nReference, 0, element.nFlag, element.nMissing, element.nUndecoded},
        pKept, data, *pInts(prod, nIndex), m_arScratchInts, bAll);
  else
    DecodeInto<double>({element.eCall, nWidth, element.nReference, element.nScale, element.nFlag,
                        CProd::DEFAULT_VALUE_REAL, CProd::DEFAULT_VALUE_REAL},
                       pKept, data, *pReals(prod, nIndex), m_arScratchReals, bAll);
  return bAll;
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
      if (element.target.pInts) element.target.pInts(prod, i)->SetAll(element.nUndecoded);
      if (element.target.pReals) element.target.pReals(prod, i)->SetAll(CProd::DEFAULT_VALUE_REAL);
    }
}
