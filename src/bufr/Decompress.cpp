// Compressed elements of section 4: the members of CLayoutEngine that decode them.

#include "bufr/Decompress.h"

#include <algorithm>

#include "bufr/BitCursor.h"
#include "bufr/LayoutEngine.h"
#include "kernel/BitRun.h"
#include "kernel/PowerOfTen.h"
#include "kernel/Reporter.h"

/// What stands before the increments of an element.
struct CLayoutEngine::SHeader {
  int64_t nReferenceValue = 0;
  bool bMissing = false;  // the reference value has all its bits set, and there are no increments
  int nIncrementWidth = 0;
  bool bSound = false;  // the result of an element all of whose values are there
};

namespace {

/// Increments of up to 32 bits as values. True when one is missing.
template <class T, class TConvert>
bool ConvertRun(const CBitCursor& data, int nWidth, int nCount, T* pOut, T missing, TConvert convert) {
  constexpr int BLOCK = 256;
  uint32_t arnIncrements[BLOCK];
  const auto nAllOnes = static_cast<uint32_t>(ALL_ONES[nWidth]);
  bool bMissing = false;
  for (int nFirst = 0; nFirst < nCount; nFirst += BLOCK, pOut += BLOCK) {
    const int nBlock = std::min(BLOCK, nCount - nFirst);
    const int64_t nPosition = data.Position() + int64_t{nFirst} * nWidth;
    const bool bAny = UnpackRun(data.Bytes(), nPosition, nWidth, nBlock, arnIncrements);
    for (int i = 0; i < nBlock; ++i) pOut[i] = convert(int64_t{arnIncrements[i]});
    for (int i = 0; bAny && i < nBlock; ++i)
      if (arnIncrements[i] == nAllOnes) pOut[i] = missing;
    bMissing |= bAny;
  }
  return bMissing;
}

/// The same for those that are wider than a word.
template <class T, class TConvert>
bool ConvertWide(CBitCursor data, int nWidth, int nCount, T* pOut, T missing, TConvert convert) {
  bool bMissing = false;
  for (int i = 0; i < nCount; ++i, data.Skip(nWidth)) {
    const auto nIncrement = static_cast<int64_t>(data.Peek(nWidth));
    const bool bThis = nIncrement == ALL_ONES[nWidth];
    pOut[i] = bThis ? missing : convert(nIncrement);
    bMissing |= bThis;
  }
  return bMissing;
}

/// What increments and constants become.
template <class T>
class TConverter;

template <>
class TConverter<int64_t> {
 public:
  TConverter(const TAsked<int64_t>& asked, int64_t nBase) : m_variant(asked.Variant()), m_nBase(nBase) {}
  int64_t operator()(int64_t nIncrement) const { return (m_nBase + nIncrement + m_nOffset) * m_nFactor; }
  int64_t Constant() const { return m_variant.Constant(m_nBase); }

 private:
  const SDecompressVariant& m_variant;
  int64_t m_nBase;
  int m_nOffset = m_variant.nOffset, m_nFactor = m_variant.nFactor;
};

template <>
class TConverter<double> {
 public:
  TConverter(const TAsked<double>& asked, int64_t nBase)
      : m_nBase(nBase), m_fDivisor(PowerOfTen(asked.nScale)), m_fFactor(asked.Variant().nFactor) {}
  double operator()(int64_t nIncrement) const {
    return static_cast<double>(m_nBase + nIncrement) / m_fDivisor * m_fFactor;
  }
  double Constant() const { return (*this)(0); }

 private:
  int64_t m_nBase;
  double m_fDivisor, m_fFactor;
};

/// An array with one element for each subset, or none.
template <class T>
class TArrayValues final : public TValues<T> {
 public:
  TArrayValues(T* pOut, int nSubsets, int64_t* pConstant = nullptr, bool* pbConstant = nullptr)
      : m_pOut(pOut),
        m_nSubsets(nSubsets),
        m_pConstant(pbConstant ? pConstant : nullptr),
        m_pbConstant(pbConstant) {}

  void SetAll(T value) override {
    if (m_pOut) std::fill_n(m_pOut, m_nSubsets, value);
  }
  void SetConstant(T value, int64_t nConstant) override {
    if (!m_pConstant) return SetAll(value);
    *m_pbConstant = true;
    *m_pConstant = nConstant;
  }
  T* Each() override {
    if (m_pOut && m_pbConstant) *m_pbConstant = false;
    return m_pOut;
  }

 private:
  T* m_pOut;
  int m_nSubsets;
  int64_t* m_pConstant;
  bool* m_pbConstant;
};

}  // namespace

/// Reads reference value and increment width and makes the checks that stand before any value. False when
/// the element cannot be decoded at all.
bool CLayoutEngine::ReadHeader(CBitCursor& data, const SDecompressVariant& variant, int64_t nWidth,
                               SHeader& header) {
  uint64_t nReferenceValue, nIncrementWidth;
  data.Read(static_cast<int>(nWidth), nReferenceValue);
  if (!data.Read(INCREMENT_WIDTH, nIncrementWidth)) {
    CReporter::Text(variant.szUnreadable);
    return false;
  }
  const long nIncrements = static_cast<long>(nIncrementWidth), nLimit = MISSING_WIDTH_MAX;
  const bool bSuspicious = nIncrements > nWidth;
  if (bSuspicious) CReporter::Print(variant.szSuspicious, nIncrements, static_cast<long>(nWidth));
  if (nIncrements > nLimit) {
    CReporter::Print(variant.szIncrementWidth, nIncrements, nLimit);
    return false;
  }
  if (nIncrements == 0 && nWidth > nLimit) {
    CReporter::Print(variant.szElementWidth, static_cast<long>(nWidth), nLimit);
    return false;
  }
  header.nReferenceValue = static_cast<int64_t>(nReferenceValue);
  header.bMissing = nIncrements == 0 && header.nReferenceValue == ALL_ONES[nWidth];
  header.nIncrementWidth = static_cast<int>(nIncrements);
  header.bSound = !bSuspicious || !variant.bSuspiciousFails;
  return true;
}

/// Those that lie beyond the data are undecoded.
template <class T, class TConvert>
bool CLayoutEngine::ReadIncrements(CBitCursor& data, const SHeader& header, const TAsked<T>& asked,
                                   TValues<T>& values, TConvert convert) {
  const int nWidth = header.nIncrementWidth;
  const int64_t nThere = std::max<int64_t>(0, data.Remaining()) / nWidth;
  const int nReadable = static_cast<int>(std::min<int64_t>(nThere, m_nSubsets));
  T* const pOut = values.Each();
  const CBitCursor increments = data;
  data.Skip(int64_t{m_nSubsets} * nWidth);
  if (!pOut) return header.bSound;
  const bool bMissing = nWidth < MISSING_WIDTH_MAX
                            ? ConvertRun(increments, nWidth, nReadable, pOut, asked.missing, convert)
                            : ConvertWide(increments, nWidth, nReadable, pOut, asked.missing, convert);
  if (bMissing) m_nMissingFlags |= asked.nFlag;
  if (m_bBlankUndecoded && nReadable == 0)
    values.SetAll(asked.undecoded);
  else if (m_bBlankUndecoded)
    std::fill(pOut + nReadable, pOut + m_nSubsets, asked.undecoded);
  return nReadable == m_nSubsets && header.bSound;
}

template <class T>
bool CLayoutEngine::Decompress(CBitCursor& data, const TAsked<T>& asked, TValues<T>& values) {
  SHeader header;
  if (!ReadHeader(data, asked.Variant(), asked.nWidth, header)) {
    if (m_bBlankUndecoded) values.SetAll(asked.undecoded);
    return false;
  }
  const int64_t nBase = header.nReferenceValue + asked.nReference;
  const TConverter<T> convert(asked, nBase);
  if (header.nIncrementWidth > 0) return ReadIncrements(data, header, asked, values, convert);
  if (header.bMissing) {
    m_nMissingFlags |= asked.nFlag;
    values.SetConstant(asked.missing, static_cast<int64_t>(asked.missing));
  } else {
    values.SetConstant(convert.Constant(), static_cast<int32_t>(nBase));
  }
  return header.bSound;
}

template bool CLayoutEngine::Decompress(CBitCursor&, const TAsked<int64_t>&, TValues<int64_t>&);
template bool CLayoutEngine::Decompress(CBitCursor&, const TAsked<double>&, TValues<double>&);

bool CLayoutEngine::DecompressInt(CBitCursor& data, const TAsked<int64_t>& asked, int64_t* pOut,
                                  int64_t* pConstant, bool* pbConstant) {
  TArrayValues<int64_t> values(pOut, m_nSubsets, pConstant, pbConstant);
  return Decompress(data, asked, values);
}

/// A missing constant that nobody wants counts among integers only.
bool CLayoutEngine::DecompressReal(CBitCursor& data, const TAsked<double>& asked, double* pOut) {
  TArrayValues<double> values(pOut, m_nSubsets);
  TAsked<double> counted = asked;
  if (!pOut) counted.nFlag = 0;
  return Decompress(data, counted, values);
}

bool CLayoutEngine::SkipSlowly(CBitCursor& data, int nWidth, ECall eCall) {
  return DecompressInt(data, {eCall, nWidth, 0, 0, 0, 0, 0}, nullptr);
}
