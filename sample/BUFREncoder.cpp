#include "sample/BUFREncoder.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace {

uint64_t AllOnes(int nBits) { return nBits >= 64 ? ~uint64_t{0} : (uint64_t{1} << nBits) - 1; }

void AppendInt(std::string& szBytes, int64_t nValue, int nBytes) {
  for (int n = nBytes - 1; n >= 0; --n) szBytes.push_back(static_cast<char>((nValue >> (8 * n)) & 0xFF));
}

int Either(int nForced, size_t nTrue) { return nForced >= 0 ? nForced : static_cast<int>(nTrue); }

struct SSpread {
  int64_t nMin = 0;
  int nWidth = 0;  // of the narrowest increments, 0 when one constant stands for all
  bool bAnyValue = false;
};

SSpread Measure(const std::vector<int64_t>& arRaw) {
  int64_t nMin = INT64_MAX, nMax = INT64_MIN;
  bool bMissing = false;
  for (const int64_t nRaw : arRaw) {
    bMissing |= nRaw == CBUFREncoder::MISSING;
    nMin = std::min(nMin, nRaw == CBUFREncoder::MISSING ? INT64_MAX : nRaw);
    nMax = std::max(nMax, nRaw);
  }
  if (nMax == CBUFREncoder::MISSING) return {};
  const uint64_t nRange = static_cast<uint64_t>(nMax) - static_cast<uint64_t>(nMin);
  // All ones is kept free, so a range of r needs the width of r + 1.
  return {nMin, nRange == 0 && !bMissing ? 0 : static_cast<int>(std::bit_width(nRange + 1)), true};
}

}  // namespace

CBUFREncoder::CBUFREncoder(int nSubsets) : m_nSubsets(nSubsets) {}

void CBUFREncoder::Descriptor(int nF, int nX, int nY) { m_arDescriptors.push_back(nF << 14 | nX << 8 | nY); }

void CBUFREncoder::Values(int nWidth, const std::vector<int64_t>& arRaw) {
  const SSpread spread = Measure(arRaw);
  if (!spread.bAnyValue) return Constant(nWidth, MISSING);
  if (spread.nWidth == 0) return Constant(nWidth, spread.nMin);
  Values(nWidth, arRaw, spread.nWidth);
}

void CBUFREncoder::Values(int nWidth, const std::vector<int64_t>& arRaw, int nIncrementWidth) {
  const SSpread spread = Measure(arRaw);
  const int nBits = std::max(nIncrementWidth, spread.nWidth);
  Bits(static_cast<uint64_t>(spread.nMin), nWidth);
  Bits(static_cast<uint64_t>(nBits), 6);
  for (const int64_t nRaw : arRaw) {
    Bits(nRaw == MISSING ? AllOnes(nBits) : static_cast<uint64_t>(nRaw - spread.nMin), nBits);
  }
}

void CBUFREncoder::Constant(int nWidth, int64_t nRaw) {
  Bits(nRaw == MISSING ? AllOnes(nWidth) : static_cast<uint64_t>(nRaw), nWidth);
  Bits(0, 6);
}

void CBUFREncoder::Element(int nWidth, uint64_t nR0, int nIncrementWidth,
                           const std::vector<uint64_t>& arIncrements) {
  Bits(nR0, nWidth);
  Bits(static_cast<uint64_t>(nIncrementWidth), 6);
  for (const uint64_t nIncrement : arIncrements) Bits(nIncrement, nIncrementWidth);
}

void CBUFREncoder::Bits(uint64_t nValue, int nBits) {
  if (nBits <= 0) return;
  nValue &= AllOnes(nBits);
  if (m_nPending + nBits < 64) {
    m_nAccumulator = m_nAccumulator << nBits | nValue;
    m_nPending += nBits;
    return;
  }
  const int nLeft = m_nPending + nBits - 64;  // 0..63 bits that do not fit into the word
  const uint64_t nHead = m_nPending == 0 ? 0 : m_nAccumulator << (64 - m_nPending);
  const uint64_t nWord = nHead | nValue >> nLeft;
  uint8_t arWord[8];
  for (int n = 0; n < 8; ++n) arWord[n] = static_cast<uint8_t>(nWord >> (56 - 8 * n));
  m_arBytes.insert(m_arBytes.end(), arWord, arWord + 8);
  m_nAccumulator = nValue & AllOnes(nLeft);
  m_nPending = nLeft;
}

std::vector<uint8_t> CBUFREncoder::SectionData() const {
  std::vector<uint8_t> arData = m_arBytes;
  for (int nLeft = m_nPending; nLeft > 0; nLeft -= 8) {
    arData.push_back(
        static_cast<uint8_t>(nLeft >= 8 ? m_nAccumulator >> (nLeft - 8) : m_nAccumulator << (8 - nLeft)));
  }
  if (header.nEdition < 4 && arData.size() % 2 != 0) arData.push_back(0);
  return arData;
}

std::string CBUFREncoder::Section1() const {
  const SMessageHeader& h = header;
  const bool bShort = h.nSection1Length <= 21;
  std::string szBytes;
  AppendInt(szBytes, Either(nForceSection1Length, static_cast<size_t>(h.nSection1Length)), 3);
  AppendInt(szBytes, h.nMasterTable, 1);
  if (bShort) {
    AppendInt(szBytes, h.nSubCentre, 1);
    AppendInt(szBytes, h.nCentre, 1);
  } else {
    AppendInt(szBytes, h.nCentre, 2);
    AppendInt(szBytes, h.nSubCentre, 2);
  }
  AppendInt(szBytes, h.nUpdateSequence, 1);
  AppendInt(szBytes, h.arSection2.empty() ? 0 : 0x80, 1);
  AppendInt(szBytes, h.nCategory, 1);
  AppendInt(szBytes, h.nSubCategory, 1);
  if (!bShort) AppendInt(szBytes, h.nLocalSubCategory, 1);
  AppendInt(szBytes, h.nMasterTableVersion, 1);
  AppendInt(szBytes, h.nLocalTableVersion, 1);
  // The short form counts the years of a century from 1 to 100.
  AppendInt(szBytes, bShort ? (h.nYear + 99) % 100 + 1 : h.nYear, bShort ? 1 : 2);
  for (const int nField : {h.nMonth, h.nDay, h.nHour, h.nMinute}) AppendInt(szBytes, nField, 1);
  if (!bShort) AppendInt(szBytes, h.nSecond, 1);
  if (szBytes.size() < static_cast<size_t>(h.nSection1Length)) {
    szBytes.resize(static_cast<size_t>(h.nSection1Length), '\0');
  }
  return szBytes;
}

std::string CBUFREncoder::Section2() const {
  if (header.arSection2.empty()) return {};
  std::string szBody(header.arSection2.begin(), header.arSection2.end());
  if (header.nEdition < 4 && szBody.size() % 2 != 0) szBody.push_back('\0');
  std::string szBytes;
  AppendInt(szBytes, Either(nForceSection2Length, szBody.size() + 4), 3);
  AppendInt(szBytes, 0, 1);
  return szBytes + szBody;
}

std::string CBUFREncoder::Section3() const {
  std::string szBody;
  AppendInt(szBody, 0, 1);
  AppendInt(szBody, Either(nForceSubsets, static_cast<size_t>(m_nSubsets)), 2);
  AppendInt(szBody, (header.bObserved ? 128 : 0) | (header.bCompressed ? 64 : 0), 1);
  for (const int nDescriptor : m_arDescriptors) AppendInt(szBody, nDescriptor, 2);
  if (header.nEdition < 4) AppendInt(szBody, 0, 1);  // an even length
  std::string szBytes;
  AppendInt(szBytes, Either(nForceSection3Length, szBody.size() + 3), 3);
  return szBytes + szBody;
}

std::string CBUFREncoder::Message() const {
  const std::vector<uint8_t> arData = SectionData();
  std::string szBytes = Section1() + Section2() + Section3();
  szBytes.reserve(szBytes.size() + arData.size() + 32);
  AppendInt(szBytes, Either(nForceSection4Length, arData.size() + 4), 3);
  AppendInt(szBytes, 0, 1);
  szBytes.append(arData.begin(), arData.end());
  szBytes += szEndMarker;
  std::string szSection0 = "BUFR";
  AppendInt(szSection0, Either(nForceTotalLength, szBytes.size() + 8), 3);
  AppendInt(szSection0, header.nEdition, 1);
  return szSection0 + szBytes;
}
