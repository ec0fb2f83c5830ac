#include "tests/differential/PlainSpectrum.h"

#include <utility>

#include "tests/differential/LayoutRows.h"

namespace {
constexpr int64_t MISSING_RADIANCE = -100000000, MISSING_EXPONENT = -700;
constexpr uint64_t SPECTRUM = 2048;
}  // namespace

CPlainSpectrum::CPlainSpectrum(const CPlainDecoder& plain, SSpectrumAsked asked)
    : m_plain(plain),
      m_asked(std::move(asked)),
      m_arRadiance(m_asked.nPixels, std::vector<double>(m_asked.nChannels, -777.0)) {
  m_answer.bitPos = m_asked.bitPos;
  for (auto& band : m_arBands) DecodeBand(band);
  for (int i = 0; i < SAMPLES; ++i) DecodeSample();
  nFlags = m_answer.nFlags;
  szText = m_answer.szText;
}

/// False when not even the header of the element is there.
bool CPlainSpectrum::Decode(int nWidth, int64_t nReference, uint64_t nFlag, int64_t nMissing,
                            EOutput eOutput) {
  m_answer.arInts.assign(m_asked.nPixels, nMissing);
  m_answer.bConstant = false;
  const int64_t nStart = m_answer.bitPos;
  m_plain.Decode({EVariant::INT, eOutput, nWidth, nReference, 0, nFlag, nMissing}, m_answer);
  nStatus &= m_answer.nStatus;
  return m_answer.nStatus || m_answer.bitPos > nStart + nWidth + 6;
}

void CPlainSpectrum::DecodeBand(std::vector<SBand>& band) {
  band.assign(m_asked.nPixels, {});
  Decode(14, 0, 0, -1, EOutput::ARRAY);
  for (int i = 0; i < m_asked.nPixels; ++i) band[i].nStart = m_answer.arInts[i];
  Decode(14, 0, 0, -1, EOutput::ARRAY);
  const bool bBand = m_answer.arInts[0] >= 0;
  for (int i = 0; i < m_asked.nPixels; ++i) band[i].nEnd = m_answer.arInts[i];
  Decode(6, 0, 0, MISSING_EXPONENT, EOutput::ARRAY);
  for (int i = 0; i < m_asked.nPixels; ++i) {
    band[i].fFactor = Power(m_answer.arInts[i]);
    if (!bBand || m_answer.arInts[i] == MISSING_EXPONENT) band[i].nStart = band[i].nEnd = -1;
  }
}

void CPlainSpectrum::DecodeSample() {
  if (!Decode(14, 0, SPECTRUM, -1, EOutput::CONSTANT)) return;
  const bool bOne = m_answer.bConstant;
  const int64_t nOne = m_answer.nConstant;
  std::vector<int64_t> arChannels = m_answer.arInts;
  if (bOne) {
    // The radiance is not consumed then: what follows is read from there.
    if (m_asked.arSelection.empty() || nOne < 1 || nOne > m_asked.nChannels) {
      nStatus = 0;
      return;
    }
    arChannels.assign(m_asked.nPixels, nOne);
    if (!m_asked.arSelection[nOne - 1]) {
      Decode(16, 0, 0, -1, EOutput::NONE);
      return;
    }
  }
  const uint64_t nBefore = m_answer.nFlags;
  if (Decode(16, -5000, SPECTRUM, MISSING_RADIANCE, EOutput::CONSTANT)) {
    const bool bConstant = m_answer.bConstant;
    const bool bAll = bConstant && (m_answer.nConstant == 0 || m_answer.nConstant == MISSING_RADIANCE);
    for (int i = 0; i < m_asked.nPixels; ++i)
      if (bAll || m_asked.pKeep[i])
        Store(i, arChannels[i], bConstant ? m_answer.nConstant : m_answer.arInts[i], bAll);
  }
  if (bOne && m_answer.nFlags != nBefore) nLastMissingChannel = nOne;
}

void CPlainSpectrum::Store(int nPixel, int64_t nChannel, int64_t nRaw, bool bAll) {
  if (nChannel < 1 || nChannel > m_asked.nChannels) {
    nStatus = 0;
    return;
  }
  double& fValue = m_arRadiance[nPixel][nChannel - 1];
  if (nRaw == MISSING_RADIANCE || bAll) {
    fValue = nRaw == 0 ? 0.0 : -777.0;
    return;
  }
  // Bands may overlap: the one found last is tried first, then those behind it, then all.
  for (int n = m_nLastBand; n < 20; ++n) {
    const SBand& band = m_arBands[n % 10][nPixel];
    if (nChannel < band.nStart || nChannel > band.nEnd) continue;
    m_nLastBand = n % 10;
    fValue = static_cast<double>(nRaw) / band.fFactor;
    return;
  }
  nStatus = 0;
}
