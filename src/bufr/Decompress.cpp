// Compressed elements of section 4: the members of CBUFRReader that decode them.

#include "bufr/Decompress.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bufr/BUFRReader.h"
#include "kernel/BitRun.h"
#include "kernel/PowerOfTen.h"

/// What stands before the increments of an element.
struct CBUFRReader::SHeader {
  int64_t nReferenceValue;  // R0
  bool bMissing;            // R0 has all its bits set
  int nIncrementWidth;
  bool bIncrements;  // values may be decoded; false: the element ends here with nStatus
  int nStatus;
};

/// False when the field does not lie inside the data; the cursor moves on all the same.
bool CBUFRReader::ReadField(int64_t& bitPos, int nBits, uint64_t& nValue) const {
  const bool bInside = Inside(bitPos, nBits);
  constexpr int LOAD_MAX = 57;
  nValue = bInside ? LoadBits(pData.get(), bitPos, std::min(nBits, LOAD_MAX)) : 0;
  if (nBits > LOAD_MAX && bInside)
    nValue = nValue << (nBits - LOAD_MAX) | LoadBits(pData.get(), bitPos + LOAD_MAX, nBits - LOAD_MAX);
  bitPos += nBits;
  return bInside;
}

/// Reads R0 and the increment width and makes the checks that stand before any value. Returns 0 when the
/// element cannot be decoded at all.
int CBUFRReader::ReadHeader(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth,
                            SHeader& header) const {
  uint64_t nReferenceValue, nIncrementWidth;
  ReadField(bitPos, static_cast<int>(nWidth), nReferenceValue);
  if (!ReadField(bitPos, 6, nIncrementWidth)) {
    std::fputs(variant.szUnreadable, stdout);
    return 0;
  }
  header = {static_cast<int64_t>(nReferenceValue), false, static_cast<int>(nIncrementWidth), false, 1};
  const long nIncrements = static_cast<long>(nIncrementWidth), nLimit = nDataSizeMax;
  if (nIncrements > nWidth) {
    std::printf(variant.szSuspicious, nIncrements, static_cast<long>(nWidth));
    header.nStatus = variant.nSuspiciousStatus;
  }
  if (nIncrements > nLimit) {
    std::printf(variant.szIncrementWidth, nIncrements, nLimit);
    return 0;
  }
  if (nIncrements > 0) return 1;
  if (nWidth > nLimit) {
    std::printf(variant.szElementWidth, static_cast<long>(nWidth), nLimit);
    return 0;
  }
  header.bMissing = header.nReferenceValue == arnMissing[nWidth];
  return 1;
}

/// The values of an element that has increments. Those that lie beyond the data stay as they are, and make
/// the status 0.
template <class TValue, class TConvert>
int CBUFRReader::ReadIncrements(int64_t& bitPos, const SHeader& header, TValue* pOut, uint64_t nFlag,
                                TValue missing, TValue undecoded, TConvert convert) {
  constexpr int BLOCK = 256;
  const int nWidth = header.nIncrementWidth;
  const int64_t nAvailable = std::max<int64_t>(0, int64_t{nDataSize} * 8 - bitPos) / nWidth;
  const int nReadable = static_cast<int>(std::min<int64_t>(nAvailable, nSubsets));
  bool bMissing = false;
  for (int nFirst = 0; nFirst < nReadable; nFirst += BLOCK) {
    const int nCount = std::min(BLOCK, nReadable - nFirst);
    const int64_t nPos = bitPos + int64_t{nFirst} * nWidth;
    TValue* pBlock = pOut + nFirst;
    if (nWidth == nDataSizeMax) {
      for (int i = 0; i < nCount; ++i) {
        const auto nIncrement =
            static_cast<int64_t>(LoadBits(pData.get(), nPos + int64_t{i} * nWidth, nWidth));
        const bool bThis = nIncrement == arnMissing[nWidth];
        pBlock[i] = bThis ? missing : convert(nIncrement);
        bMissing |= bThis;
      }
      continue;
    }
    uint32_t arnIncrements[BLOCK];
    const auto nAllOnes = static_cast<uint32_t>(arnMissing[nWidth]);
    const bool bAny = UnpackRun(pData.get(), nPos, nWidth, nCount, arnIncrements);
    for (int i = 0; i < nCount; ++i) pBlock[i] = convert(int64_t{arnIncrements[i]});
    for (int i = 0; bAny && i < nCount; ++i)
      if (arnIncrements[i] == nAllOnes) pBlock[i] = missing;
    bMissing |= bAny;
  }
  if (bMissing) nMissingFlags |= nFlag;
  if (bBlankUndecoded) std::fill(pOut + nReadable, pOut + nSubsets, undecoded);
  bitPos += int64_t{nSubsets} * nWidth;
  return nReadable == nSubsets ? header.nStatus : 0;
}

int CBUFRReader::DecompressInt(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth,
                               int64_t nReference, int64_t* pOut, uint64_t nFlag, int64_t nMissing,
                               int64_t nUndecoded, int64_t* pConstant, bool* pbConstant) {
  const int64_t nOffset = &variant == &L2_FOV ? -1 : 0;
  const int64_t nFactor = &variant == &L2_INT_X1000 ? 1000 : 1;
  SHeader header;
  if (!ReadHeader(variant, bitPos, nWidth, header)) {
    if (bBlankUndecoded && pOut) std::fill_n(pOut, nSubsets, nUndecoded);
    return 0;
  }
  const int64_t nBase = header.nReferenceValue + nReference;
  if (header.nIncrementWidth > 0 && !pOut) {
    bitPos += int64_t{nSubsets} * header.nIncrementWidth;
    return header.nStatus;
  }
  if (header.nIncrementWidth > 0) {
    if (pbConstant) *pbConstant = false;
    return ReadIncrements(bitPos, header, pOut, nFlag, nMissing, nUndecoded,
                          [=](int64_t nIncrement) { return (nBase + nIncrement + nOffset) * nFactor; });
  }
  // A constant is handed out as the 32-bit sum, before the conversion of the variant.
  const int64_t nSum = static_cast<int32_t>(nBase);
  if (header.bMissing) nMissingFlags |= nFlag;
  if (pConstant && pbConstant) {
    *pbConstant = true;
    *pConstant = header.bMissing ? nMissing : nSum;
  } else if (pOut) {
    const int64_t nValue = nFactor == 1 ? nSum + nOffset : nBase * nFactor;
    std::fill_n(pOut, nSubsets, header.bMissing ? nMissing : nValue);
  }
  return header.nStatus;
}

int CBUFRReader::DecompressFloat(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth,
                                 int64_t nReference, int nScale, double* pOut, uint64_t nFlag,
                                 double fMissing) {
  SHeader header;
  if (!ReadHeader(variant, bitPos, nWidth, header)) {
    if (bBlankUndecoded && pOut) std::fill_n(pOut, nSubsets, fMissing);
    return 0;
  }
  if (!pOut) {
    bitPos += int64_t{nSubsets} * header.nIncrementWidth;
    return header.nStatus;
  }
  const int64_t nBase = header.nReferenceValue + nReference;
  const double fDivisor = PowerOfTen(nScale);
  const double fFactor = &variant == &L2_FLOAT_X1000 ? 1000.0 : 1.0;
  const auto convert = [=](int64_t nIncrement) {
    return static_cast<double>(nBase + nIncrement) / fDivisor * fFactor;
  };
  if (header.nIncrementWidth > 0)
    return ReadIncrements(bitPos, header, pOut, nFlag, fMissing, fMissing, convert);
  if (header.bMissing) nMissingFlags |= nFlag;
  std::fill_n(pOut, nSubsets, header.bMissing ? fMissing : convert(0));
  return header.nStatus;
}

int CBUFRReader::BUFRDecompressInt(int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut,
                                   uint64_t nFlag, int64_t nMissing, int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(PLAIN_INT, bitPos, nWidth, nReference, pOut, nFlag, nMissing, nMissing, pConstant,
                       pbConstant);
}

int CBUFRReader::BUFRDecompressFloat(int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale,
                                     double* pOut, uint64_t nFlag, double fMissing) {
  return DecompressFloat(PLAIN_FLOAT, bitPos, nWidth, nReference, nScale, pOut, nFlag, fMissing);
}

int CBUFRReader::Decode(const SElement& element, int nWidth, int64_t& bitPos, int64_t* pInts,
                        double* pReals) {
  const uint64_t nFlag = pInts || pReals ? element.nFlag : 0;
  const bool bReal = element.eCall == ECall::FLOAT || element.eCall == ECall::FLOAT_X1000;
  if (bReal)
    return DecompressFloat(element.eCall == ECall::FLOAT ? PLAIN_FLOAT : L2_FLOAT_X1000, bitPos, nWidth,
                           element.nReference, element.nScale, pReals, nFlag, CProd::DEFAULT_VALUE_REAL);
  const SDecompressVariant& variant = element.eCall == ECall::INT   ? PLAIN_INT
                                      : element.eCall == ECall::FOV ? L2_FOV
                                                                    : L2_INT_X1000;
  return DecompressInt(variant, bitPos, nWidth, element.nReference, pInts, nFlag, element.nMissing,
                       element.nUndecoded, nullptr, nullptr);
}

int CBUFRReader::DecodeInto(const SElement& element, int nWidth, CProd& prod, int64_t& bitPos, int nIndex) {
  const auto& arKept = prod.Kept();
  const size_t nSize = nSubsets;
  const bool bGather = element.target.bKept && arKept.size() < nSize;
  const auto into = [&]<class T>(TColumn<T>& column, std::vector<T>& arScratch, const T*& pLast) {
    T* const pColumn = column.Write();
    T* const pOut =
        bGather ? (arScratch.resize(std::max(arScratch.size(), nSize)), arScratch.data()) : pColumn;
    for (size_t i = 0; bGather && !bBlankUndecoded && i < arKept.size(); ++i) pOut[arKept[i]] = pColumn[i];
    int nStatus;
    if constexpr (std::is_integral_v<T>)
      nStatus = Decode(element, nWidth, bitPos, pOut, nullptr);
    else
      nStatus = Decode(element, nWidth, bitPos, nullptr, pOut);
    for (size_t i = 0; bGather && i < arKept.size(); ++i) pColumn[i] = pOut[arKept[i]];
    pLast = pOut;
    return nStatus;
  };
  if (element.target.pInts) return into(*element.target.pInts(prod, nIndex), m_arScratchInts, m_pLastInts);
  return into(*element.target.pReals(prod, nIndex), m_arScratchReals, m_pLastReals);
}

int CBUFRReader::DecodeLayout(TLayout layout, CProd& prod, int64_t& bitPos, int nIndex) {
  int nStatus = 1;
  for (const SElement& element : layout) {
    const int nWidth = element.widths.arn[nDataVersion];
    const bool bTarget = element.target.pInts || element.target.pReals;
    if (nWidth > 0 && bTarget) {
      nStatus &= DecodeInto(element, nWidth, prod, bitPos, nIndex);
      continue;
    }
    if (nWidth != 0) nStatus &= Decode(element, std::abs(nWidth), bitPos, nullptr, nullptr);
    BlankLayout({&element, 1}, prod, nIndex, nIndex + 1);
  }
  return nStatus;
}

int CBUFRReader::DecodeRepeated(TLayout layout, int nCount, CProd& prod, int64_t& bitPos) {
  int nStatus = 1;
  for (int i = 0; i < nCount; ++i) nStatus &= DecodeLayout(layout, prod, bitPos, i);
  return nStatus;
}

void CBUFRReader::BlankLayout(TLayout layout, CProd& prod, int nFrom, int nTo) const {
  if (!bBlankUndecoded) return;
  for (const SElement& element : layout) {
    for (int i = nFrom; i < nTo; ++i) {
      if (element.target.pInts) element.target.pInts(prod, i)->SetMissing(element.nUndecoded);
      if (element.target.pReals) element.target.pReals(prod, i)->SetMissing(CProd::DEFAULT_VALUE_REAL);
    }
  }
}
