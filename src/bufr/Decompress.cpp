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

/// False when the element ends with its header, or nobody wants its increments.
template <class T>
bool CLayoutEngine::Begin(CBitCursor& data, const TAsked<T>& asked, T* pOut, SHeader& header) {
  if (!ReadHeader(data, asked.Variant(), asked.nWidth, header)) {
    if (m_bBlankUndecoded && pOut) std::fill_n(pOut, m_nSubsets, asked.undecoded);
    return false;
  }
  if (header.nIncrementWidth == 0 || pOut) return true;
  data.Skip(int64_t{m_nSubsets} * header.nIncrementWidth);
  return false;
}

/// Those that lie beyond the data are undecoded.
template <class T, class TConvert>
bool CLayoutEngine::ReadIncrements(CBitCursor& data, const SHeader& header, const TAsked<T>& asked, T* pOut,
                                   TConvert convert) {
  const int nWidth = header.nIncrementWidth;
  const int64_t nThere = std::max<int64_t>(0, data.Remaining()) / nWidth;
  const int nReadable = static_cast<int>(std::min<int64_t>(nThere, m_nSubsets));
  const bool bMissing = nWidth < MISSING_WIDTH_MAX
                            ? ConvertRun(data, nWidth, nReadable, pOut, asked.missing, convert)
                            : ConvertWide(data, nWidth, nReadable, pOut, asked.missing, convert);
  if (bMissing) m_nMissingFlags |= asked.nFlag;
  if (m_bBlankUndecoded) std::fill(pOut + nReadable, pOut + m_nSubsets, asked.undecoded);
  data.Skip(int64_t{m_nSubsets} * nWidth);
  return nReadable == m_nSubsets && header.bSound;
}

bool CLayoutEngine::DecompressInt(CBitCursor& data, const TAsked<int64_t>& asked, int64_t* pOut,
                                  int64_t* pConstant, bool* pbConstant) {
  SHeader header;
  if (!Begin(data, asked, pOut, header)) return header.bSound;
  const SDecompressVariant& variant = asked.Variant();
  const int64_t nBase = header.nReferenceValue + asked.nReference;
  if (header.nIncrementWidth > 0) {
    if (pbConstant) *pbConstant = false;
    return ReadIncrements(data, header, asked, pOut,
                          [nBase, nOffset = variant.nOffset, nFactor = variant.nFactor](int64_t n) {
                            return (nBase + n + nOffset) * nFactor;
                          });
  }
  if (header.bMissing) m_nMissingFlags |= asked.nFlag;
  if (pConstant && pbConstant) {
    *pbConstant = true;
    *pConstant = header.bMissing ? asked.missing : static_cast<int32_t>(nBase);
  } else if (pOut) {
    std::fill_n(pOut, m_nSubsets, header.bMissing ? asked.missing : variant.Constant(nBase));
  }
  return header.bSound;
}

bool CLayoutEngine::DecompressReal(CBitCursor& data, const TAsked<double>& asked, double* pOut) {
  SHeader header;
  if (!Begin(data, asked, pOut, header) || !pOut) return header.bSound;
  const int64_t nBase = header.nReferenceValue + asked.nReference;
  const double fDivisor = PowerOfTen(asked.nScale), fFactor = asked.Variant().nFactor;
  const auto convert = [=](int64_t nIncrement) {
    return static_cast<double>(nBase + nIncrement) / fDivisor * fFactor;
  };
  if (header.nIncrementWidth > 0) return ReadIncrements(data, header, asked, pOut, convert);
  if (header.bMissing) m_nMissingFlags |= asked.nFlag;
  std::fill_n(pOut, m_nSubsets, header.bMissing ? asked.missing : convert(0));
  return header.bSound;
}

bool CLayoutEngine::SkipSlowly(CBitCursor& data, int nWidth, ECall eCall) {
  SHeader header;
  Begin<int64_t>(data, {eCall, nWidth, 0, 0, 0, 0, 0}, nullptr, header);
  return header.bSound;
}
