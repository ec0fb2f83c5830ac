#include "output/Writer.h"

#include <algorithm>
#include <vector>

#include "kernel/RadianceText.h"
#include "kernel/SpectrumKernels.h"
#include "kernel/TextReal.h"
#include "output/BlockPlan.h"
#include "prod/BrightnessTemperature.h"

namespace {

constexpr int CHUNK = 2048;  // spectrum values converted at a time

/// Takes the texts of a block's fields, at most 412 of them.
class CTextBlock {
 public:
  static constexpr int ROOM = 412 * (TEXT_REAL_MAX + 1);

  explicit CTextBlock(char* pText) : m_pEnd(pText) {}
  void Tab() { *m_pEnd++ = '\t'; }
  void Put(int nValue) { m_pEnd += FormatInt(nValue, m_pEnd); }
  void Put(float fValue) { m_pEnd += FormatReal4(fValue, m_pEnd); }
  void Put(const char* szText) {
    const size_t nLength = std::strlen(szText);
    std::memcpy(m_pEnd, szText, nLength);
    m_pEnd += nLength;
  }
  const char* End() const { return m_pEnd; }

 private:
  char* m_pEnd;
};

int Low32(int64_t nValue) { return static_cast<int>(static_cast<uint32_t>(nValue)); }

/// Whether a pixel's ozone and temperature products have 101 layers and levels: from 2014-09-30 07:23 on.
bool IsRecent(const CProd& prod, int p) {
  const int64_t nDate = prod.Year[p] * 10000 + prod.Month[p] * 100 + prod.Day[p];
  const int64_t nTime = prod.Hour[p] * 10000 + prod.Minute[p] * 100 + prod.Milliseconds[p] / 1000;
  return nDate >= 20140930 && !(nDate == 20140930 && nTime < 72260);
}

bool IsDayOne(TBlock block, const CProd& prod) {
  return block.data() == L1C_BLOCK.data() && static_cast<const CProdL1C&>(prod).DayVersion < 2;
}

/// The text of radiances by their divisor. A few scales are in use; what else a damaged message may hold is
/// formatted value by value.
CRadianceText* RadianceText(double fDivisor) {
  constexpr size_t TABLES = 8;
  struct STable {
    double fDivisor;
    CRadianceText text;
  };
  static std::vector<STable> arTables;
  for (STable& table : arTables)
    if (table.fDivisor == fDivisor) return &table.text;
  if (arTables.size() == TABLES) return nullptr;
  arTables.reserve(TABLES);
  arTables.push_back({fDivisor, CRadianceText(fDivisor)});
  return &arTables.back().text;
}

}  // namespace

int64_t CWriter::ChannelTotal(const CConfigParam* pConfig) {
  int64_t nTotal = 0;
  for (int i = 0; i < pConfig->arChannels.Count(); ++i) {
    const CValueRange& range = *pConfig->arChannels[i];
    if (range.nMin <= range.nMax) nTotal += int64_t{range.nMax} - range.nMin + 1;
  }
  return nTotal;
}

void CWriter::PutBin(TBlock block, const CProd& prod, int nPixel, int nRow) {
  const CBlockPlan& plan = CBlockPlan::Of(block, prod, IsRecent(prod, nPixel), IsDayOne(block, prod));
  char* pOut = Reserve(plan.BinarySize());
  if (!pOut) return;
  plan.PutBinary(prod, nRow < 0 ? nPixel : nRow, Reverses(), pOut);
  Commit(plan.BinarySize());
}

void CWriter::PutBinMissing(TBlock block) {
  const CBlockPlan& plan = CBlockPlan::Missing(block);
  char* pOut = Reserve(plan.BinarySize());
  if (!pOut) return;
  static const CProd nothing;
  plan.PutBinary(nothing, 0, Reverses(), pOut);
  Commit(plan.BinarySize());
}

void CWriter::PutText(TBlock block, const CProd& prod, int nPixel, int nRow, int nGiven) {
  const bool bFirst = block.data() == COMMON_BLOCK.data();  // the line begins without a tab
  const int nElement = nRow < 0 ? nPixel : nRow;
  char* pText = Reserve(CTextBlock::ROOM);
  if (!pText) return;
  CTextBlock out(pText);
  const CBlockPlan& plan = CBlockPlan::Of(block, prod, IsRecent(prod, nPixel), IsDayOne(block, prod));
  for (const CBlockPlan::SStep& step : plan.Steps()) {
    if (!bFirst || &step != plan.Steps().data()) out.Tab();
    if (step.eForm == EForm::REALS)
      out.Put(static_cast<float>(CBlockPlan::Real(step, prod, nElement)));
    else if (step.eForm == EForm::FIXED)
      out.Put(step.pField->dayOne.szText);
    else
      out.Put(step.eForm == EForm::NONE ? nGiven : Low32(CBlockPlan::Int(step, prod, nElement)));
  }
  Commit(static_cast<int>(out.End() - pText));
}

void CWriter::PutTextMissing(TBlock block) {
  EachField(block, false, [&](const SField& field, int) {
    WriteText("\t");
    WriteTextInt(field.nMissingText);
  });
}

void CWriter::WriteOutputBinAll(const CProd* pProd, int nPixel, bool* pbWritten) {
  if (!*pbWritten) PutBin(COMMON_BLOCK, *pProd, nPixel);
  *pbWritten = true;
}

void CWriter::WriteOutputBinL2(const CProdL2* pProd, int nPixel, bool* pbWritten) {
  if (!*pbWritten) PutBin(L2_BLOCK, *pProd, nPixel);
  *pbWritten = true;
}

void CWriter::WriteOutputBinL2Missing() { PutBinMissing(L2_BLOCK); }

void CWriter::WriteOutputBinL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  PutBin(L1C_BLOCK, *pProd, nPixel);
  PutBinSpectrum(pConfig, *pProd, nPixel);
  if (pConfig->bAvhrr) PutBin(AVHRR_BLOCK, *pProd, nPixel, pProd->KeptRow(nPixel));
}

void CWriter::WriteOutputBinL1Missing(const CConfigParam* pConfig) {
  PutBinMissing(L1C_BLOCK);
  const float fMissing =
      pConfig->bBrightnessTemperature ? 0.0F : static_cast<float>(CProd::DEFAULT_VALUE_M777);
  for (int64_t i = ChannelTotal(pConfig); i > 0; --i) WriteBinReal4(fMissing);
  if (pConfig->bAvhrr) PutBinMissing(AVHRR_BLOCK);
}

/// Calls put(column, count) for stretches of at most CHUNK neighbouring columns, range by range; those of
/// temperatures are of neighbouring channels too. A range that begins outside of the archive's channels is
/// left out, one that ends outside is cut there.
template <class TPut>
void CWriter::EachSpectrumRun(const CConfigParam* pConfig, const CProdL1C& prod, TPut put) {
  int nBegin = 0, nCount = 0;
  for (int i = 0; i < pConfig->arChannels.Count(); ++i) {
    const CValueRange& range = *pConfig->arChannels[i];
    if (range.nMin < 1 || range.nMin > prod.ChannelCount) continue;
    const int nLast = std::min(range.nMax, prod.ChannelCount);
    for (int nFirst = range.nMin; nFirst <= nLast; nFirst += CHUNK) {
      const int nColumn = prod.Spectrum.Column(nFirst), nPiece = std::min(CHUNK, nLast - nFirst + 1);
      const bool bBehind = nColumn == nBegin + nCount && nCount + nPiece <= CHUNK;
      if (!bBehind || pConfig->bBrightnessTemperature) {
        if (nCount > 0) put(nBegin, nCount);
        nBegin = nColumn;
        nCount = 0;
      }
      nCount += nPiece;
    }
  }
  if (nCount > 0) put(nBegin, nCount);
}

/// Brightness temperatures of one pixel for neighbouring columns.
static void Temperatures(const CSpectrum& spectrum, int nRow, int nFirst, int nCount, float* pOut) {
  double arfRadiances[CHUNK];
  spectrum.Row(nRow, nFirst, nCount, arfRadiances);
  BrightnessTemperatures(spectrum.Channel(nFirst), arfRadiances, nCount, pOut);
}

void CWriter::PutBinSpectrum(const CConfigParam* pConfig, const CProdL1C& prod, int nPixel) {
  const int nRow = prod.KeptRow(nPixel);
  EachSpectrumRun(pConfig, prod, [&](int nFirst, int nCount) {
    constexpr int SIZE = sizeof(float);
    char* pOut = Reserve(nCount * SIZE);
    if (!pOut) return;
    if (pConfig->bBrightnessTemperature) {
      float arfValues[CHUNK];
      Temperatures(prod.Spectrum, nRow, nFirst, nCount, arfValues);
      std::memcpy(pOut, arfValues, nCount * sizeof(float));
    } else {
      prod.Spectrum.RowReal4(nRow, nFirst, nCount, pOut);
    }
    if (Reverses()) ReverseBytes4(pOut, nCount);
    Commit(nCount * SIZE);
  });
}

void CWriter::WriteOutputTextAll(const CConfigParam* pConfig, const CProd* pProd, int nPixel,
                                 bool* pbWritten) {
  const int nTb = pConfig->L1CRequested() ? pConfig->bBrightnessTemperature : -1;
  if (!*pbWritten) PutText(COMMON_BLOCK, *pProd, nPixel, -1, nTb);
  *pbWritten = true;
}

void CWriter::WriteOutputTextL2(const CProdL2* pProd, int nPixel, bool* pbWritten) {
  if (!*pbWritten) PutText(L2_BLOCK, *pProd, nPixel);
  *pbWritten = true;
}

void CWriter::WriteOutputTextL2Missing() { PutTextMissing(L2_BLOCK); }

void CWriter::WriteOutputTextL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  PutText(L1C_BLOCK, *pProd, nPixel);
  PutTextSpectrum(pConfig, *pProd, nPixel);
  if (pConfig->bAvhrr) PutText(AVHRR_BLOCK, *pProd, nPixel, pProd->KeptRow(nPixel));
}

void CWriter::WriteOutputTextL1Missing(const CConfigParam* pConfig) {
  PutTextMissing(L1C_BLOCK);
  const char* szMissing = pConfig->bBrightnessTemperature ? "\t0" : "\t-777";
  for (int64_t i = ChannelTotal(pConfig); i > 0; --i) WriteText(szMissing);
  if (pConfig->bAvhrr) PutTextMissing(AVHRR_BLOCK);
}

void CWriter::PutTextSpectrum(const CConfigParam* pConfig, const CProdL1C& prod, int nPixel) {
  const int nRow = prod.KeptRow(nPixel);
  EachSpectrumRun(pConfig, prod, [&](int nFirst, int nCount) {
    if (!pConfig->bBrightnessTemperature) {
      PutTextRadiances(prod.Spectrum, nRow, nFirst, nCount);
      return;
    }
    float arfValues[CHUNK];
    Temperatures(prod.Spectrum, nRow, nFirst, nCount, arfValues);
    PutTextReals(arfValues, nCount);
  });
}

/// Radiances that share a scale come from a table of texts by raw integer.
void CWriter::PutTextRadiances(const CSpectrum& spectrum, int nRow, int nFirst, int nCount) {
  const int nEnd = nFirst + nCount;
  for (const CSpectrum::SRun& run : spectrum.Runs()) {
    const int nBegin = std::max(nFirst, run.nFirst), nStop = std::min(nEnd, run.nFirst + run.nCount);
    if (nBegin >= nStop) continue;
    CRadianceText* pTexts = run.fDivisor != 0 ? RadianceText(run.fDivisor) : nullptr;
    if (!pTexts) {
      float arfValues[CHUNK];
      spectrum.RowReal4(nRow, nBegin, nStop - nBegin, arfValues);
      PutTextReals(arfValues, nStop - nBegin);
      continue;
    }
    char* pText = Reserve(CHUNK * CRadianceText::ROOM);
    if (!pText) return;
    const char* pEnd = pTexts->Append(pText, spectrum.Raw(nRow) + nBegin, nStop - nBegin);
    Commit(static_cast<int>(pEnd - pText));
  }
}

void CWriter::PutTextReals(const float* pValues, int nCount) {
  char* pText = Reserve(CHUNK * (TEXT_REAL_MAX + 1));
  if (!pText) return;
  char* pEnd = pText;
  for (int i = 0; i < nCount; ++i) {
    *pEnd++ = '\t';
    pEnd += FormatReal4(pValues[i], pEnd);
  }
  Commit(static_cast<int>(pEnd - pText));
}

void CWriter::WriteTextNames(TBlock block) {
  bool bTab = block.data() != COMMON_BLOCK.data();
  EachField(block, false, [&](const SField& field, int nIndex) {
    if (std::exchange(bTab, true)) WriteText("\t");
    const char* pNumber = std::strchr(field.szName, '#');
    if (!pNumber) {
      WriteText(field.szName);
      return;
    }
    Write(static_cast<int>(pNumber - field.szName), field.szName);
    WriteTextInt(nIndex + 1);
    WriteText(pNumber + 1);
  });
}

void CWriter::WriteTextChannels(const CConfigParam* pConfig) {
  for (int i = 0; i < pConfig->arChannels.Count(); ++i) {
    const CValueRange& range = *pConfig->arChannels[i];
    if (range.nMin < 0) continue;
    for (int64_t nChannel = range.nMin; nChannel <= range.nMax; ++nChannel) {
      WriteText("\t");
      WriteTextInt(static_cast<int>(nChannel));
    }
  }
}
