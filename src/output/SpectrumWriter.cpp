#include "output/SpectrumWriter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernel/SpectrumKernels.h"
#include "kernel/TextReal.h"
#include "output/Block.h"
#include "output/StreamWriter.h"
#include "prod/BrightnessTemperature.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"

namespace {
constexpr int CHUNK = 2048;   // most values that are converted at a time
constexpr size_t SCALES = 8;  // a few are in use; what else a damaged message may hold gets no table
}  // namespace

CSpectrumWriter::CSpectrumWriter(const CChannelSelection& selection, bool bTemperatures, char cSeparator)
    : m_selection(selection),
      m_bTemperatures(bTemperatures),
      m_cSeparator(cSeparator),
      // The kernel of temperatures works on neighbouring channels.
      m_arStretches(selection.Stretches(CHUNK, bTemperatures)) {
  m_arTexts.reserve(SCALES);
}

void CSpectrumWriter::Temperatures(const CSpectrum& spectrum, int nRow, CChannelSelection::SStretch stretch,
                                   float* pOut) const {
  double arfRadiances[CHUNK];
  spectrum.Row(nRow, stretch.nFirst, stretch.nCount, arfRadiances);
  BrightnessTemperatures(spectrum.Channel(stretch.nFirst), arfRadiances, stretch.nCount, pOut);
}

void CSpectrumWriter::WriteBinary(CStreamWriter& writer, const CProdL1C& prod, int nPixel) {
  constexpr int SIZE = sizeof(float);
  const int nRow = prod.KeptRow(nPixel).nRow;
  if (!prod.Spectrum.Holds(nRow, m_selection)) return WriteBinaryMissing(writer);
  for (const auto stretch : m_arStretches) {
    char* pOut = writer.Reserve(stretch.nCount * SIZE);
    if (!pOut) return;
    if (m_bTemperatures) {
      float arfValues[CHUNK];
      Temperatures(prod.Spectrum, nRow, stretch, arfValues);
      std::memcpy(pOut, arfValues, stretch.nCount * sizeof(float));
    } else {
      prod.Spectrum.RowReal4(nRow, stretch.nFirst, stretch.nCount, pOut);
    }
    if (writer.Reverses()) ReverseBytes4(pOut, stretch.nCount);
    writer.Commit(stretch.nCount * SIZE);
  }
}

float CSpectrumWriter::Missing() const {
  return static_cast<float>(SPECTRUM_FIELDS[m_bTemperatures].nMissingBin);
}

void CSpectrumWriter::WriteBinaryMissing(CStreamWriter& writer) const {
  for (int64_t i = m_selection.HeaderCount(); i > 0; --i) writer.WriteBinReal4(Missing());
}

void CSpectrumWriter::WriteText(CStreamWriter& writer, const CProdL1C& prod, int nPixel) {
  const int nRow = prod.KeptRow(nPixel).nRow;
  if (!prod.Spectrum.Holds(nRow, m_selection)) return WriteTextMissing(writer);
  for (const auto stretch : m_arStretches) {
    if (!m_bTemperatures) {
      WriteRadianceTexts(writer, prod.Spectrum, nRow, stretch);
      continue;
    }
    float arfValues[CHUNK];
    Temperatures(prod.Spectrum, nRow, stretch, arfValues);
    WriteReals(writer, arfValues, stretch.nCount);
  }
}

void CSpectrumWriter::WriteRadianceTexts(CStreamWriter& writer, const CSpectrum& spectrum, int nRow,
                                         CChannelSelection::SStretch stretch) {
  const int nEnd = stretch.nFirst + stretch.nCount;
  for (const CSpectrum::SRun& run : spectrum.Runs()) {
    const int nBegin = std::max(stretch.nFirst, run.nFirst), nStop = std::min(nEnd, run.nFirst + run.nCount);
    if (nBegin < nStop) WriteRunTexts(writer, spectrum, nRow, {nBegin, nStop - nBegin, run.fDivisor});
  }
}

/// Radiances that share a scale come from a table of texts by raw integer.
void CSpectrumWriter::WriteRunTexts(CStreamWriter& writer, const CSpectrum& spectrum, int nRow,
                                    const CSpectrum::SRun& run) {
  CRadianceText* pTexts = run.fDivisor != 0 ? Texts(run.fDivisor) : nullptr;
  if (!pTexts) {
    float arfValues[CHUNK];
    spectrum.RowReal4(nRow, run.nFirst, run.nCount, arfValues);
    WriteReals(writer, arfValues, run.nCount);
    return;
  }
  char* pText = writer.Reserve(CHUNK * CRadianceText::ROOM);
  if (!pText) return;
  const char* pEnd = pTexts->Append(pText, spectrum.Raw(nRow) + run.nFirst, run.nCount);
  writer.Commit(static_cast<int>(pEnd - pText));
}

void CSpectrumWriter::WriteReals(CStreamWriter& writer, const float* pValues, int nCount) const {
  char* pText = writer.Reserve(CHUNK * (TEXT_REAL_MAX + 1));
  if (!pText) return;
  char* pEnd = pText;
  for (int i = 0; i < nCount; ++i) {
    *pEnd++ = m_cSeparator;
    pEnd += FormatReal4(pValues[i], pEnd);
  }
  writer.Commit(static_cast<int>(pEnd - pText));
}

/// Null when there are tables enough.
CRadianceText* CSpectrumWriter::Texts(double fDivisor) {
  for (STexts& made : m_arTexts)
    if (made.fDivisor == fDivisor) return &made.texts;
  if (m_arTexts.size() == SCALES) return nullptr;
  m_arTexts.push_back({fDivisor, CRadianceText(fDivisor, m_cSeparator)});
  return &m_arTexts.back().texts;
}

void CSpectrumWriter::WriteTextMissing(CStreamWriter& writer) const {
  char szMissing[1 + TEXT_REAL_MAX] = {m_cSeparator};
  const int nLength = 1 + FormatReal4(Missing(), szMissing + 1);
  for (int64_t i = m_selection.HeaderCount(); i > 0; --i) writer.Write(nLength, szMissing);
}

void CSpectrumWriter::WriteTextNames(CStreamWriter& writer) const {
  m_selection.EachHeaderChannel(true, [&](int64_t nChannel) {
    writer.Write(1, &m_cSeparator);
    writer.WriteTextInt(static_cast<int>(nChannel));
  });
}
