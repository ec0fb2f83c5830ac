#include "output/Writer.h"

#include <algorithm>
#include <vector>

#include "output/TextReal.h"
#include "prod/BrightnessTemperature.h"
#include "prod/SpectrumKernels.h"

namespace {

constexpr int CHUNK = 2048;  // spectrum values converted at a time

/// Assembles a block in memory; blocks are at most a few kilobytes (1648 bytes in binary, 412 columns in
/// text).
class CBinBlock {
 public:
  void Put(EBin eBin, double fReal, int64_t nInt, bool bReal) {
    const float fValue = static_cast<float>(bReal ? fReal : static_cast<double>(nInt));
    const auto nValue = static_cast<uint64_t>(nInt);
    switch (eBin) {
      case EBin::NONE:
        break;
      case EBin::INT1:
        Append(static_cast<uint8_t>(nValue));
        break;
      case EBin::INT2:
        Append(static_cast<uint16_t>(nValue));
        break;
      case EBin::INT4:
        Append(static_cast<uint32_t>(nValue));
        break;
      case EBin::REAL4:
        Append(fValue);
        break;
    }
  }
  explicit CBinBlock(bool bReverse) : m_bReverse(bReverse) {}
  const char* Bytes() const { return m_arBytes; }
  int Size() const { return m_nSize; }

 private:
  template <class T>
  void Append(T value) {
    char* pOut = m_arBytes + m_nSize;
    std::memcpy(pOut, &value, sizeof(T));
    if (m_bReverse) std::reverse(pOut, pOut + sizeof(T));
    m_nSize += static_cast<int>(sizeof(T));
  }

  bool m_bReverse;
  int m_nSize = 0;
  char m_arBytes[2048];
};

class CTextBlock {
 public:
  void Tab() { m_arText[m_nSize++] = '\t'; }
  void Put(int nValue) { m_nSize += FormatInt(nValue, m_arText + m_nSize); }
  void Put(float fValue) { m_nSize += FormatReal4(fValue, m_arText + m_nSize); }
  void Put(const char* szText) {
    const size_t nLength = std::strlen(szText);
    std::memcpy(m_arText + m_nSize, szText, nLength);
    m_nSize += static_cast<int>(nLength);
  }
  const char* Bytes() const { return m_arText; }
  int Size() const { return m_nSize; }

 private:
  int m_nSize = 0;
  char m_arText[412 * (TEXT_REAL_MAX + 1)];
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
  CBinBlock out(Reverses());
  const bool bDayOne = IsDayOne(block, prod);
  const int nElement = nRow < 0 ? nPixel : nRow;
  EachField(block, IsRecent(prod, nPixel), [&](const SField& field, int nIndex) {
    if (bDayOne && field.dayOne.bFixed)
      out.Put(field.eBin, 0, field.dayOne.nBin, false);
    else if (field.source.pReal)
      out.Put(field.eBin, field.source.pReal(prod, nElement, nIndex) / field.fDivisor, 0, true);
    else if (field.source.pInt)
      out.Put(field.eBin, 0, field.source.pInt(prod, nElement, nIndex), false);
  });
  Write(out.Size(), out.Bytes());
}

void CWriter::PutBinMissing(TBlock block) {
  CBinBlock out(Reverses());
  EachField(block, false, [&](const SField& field, int) {
    out.Put(field.eBin, field.fMissingBin, static_cast<int64_t>(field.fMissingBin), true);
  });
  Write(out.Size(), out.Bytes());
}

void CWriter::PutText(TBlock block, const CProd& prod, int nPixel, int nRow, int nGiven) {
  CTextBlock out;
  const bool bDayOne = IsDayOne(block, prod);
  const int nElement = nRow < 0 ? nPixel : nRow;
  EachField(block, IsRecent(prod, nPixel), [&](const SField& field, int nIndex) {
    out.Tab();
    if (bDayOne && field.dayOne.bFixed)
      out.Put(field.dayOne.szText);
    else if (field.source.pReal)
      out.Put(static_cast<float>(field.source.pReal(prod, nElement, nIndex) / field.fDivisor));
    else
      out.Put(field.source.pInt ? Low32(field.source.pInt(prod, nElement, nIndex)) : nGiven);
  });
  const int nTab = block.data() == COMMON_BLOCK.data() ? 1 : 0;  // the line begins without one
  Write(out.Size() - nTab, out.Bytes() + nTab);
}

void CWriter::PutTextMissing(TBlock block) {
  CTextBlock out;
  EachField(block, false, [&](const SField& field, int) {
    out.Tab();
    out.Put(static_cast<float>(field.fMissingText));
  });
  Write(out.Size(), out.Bytes());
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

/// Calls put(column, count) for stretches of at most CHUNK neighbouring channels, range by range. A range
/// that begins outside of the archive's channels is left out, one that ends outside is cut there.
template <class TPut>
void CWriter::EachSpectrumRun(const CConfigParam* pConfig, const CProdL1C& prod, TPut put) {
  for (int i = 0; i < pConfig->arChannels.Count(); ++i) {
    const CValueRange& range = *pConfig->arChannels[i];
    if (range.nMin < 1 || range.nMin > prod.ChannelCount) continue;
    const int nLast = std::min(range.nMax, prod.ChannelCount);
    for (int nFirst = range.nMin; nFirst <= nLast; nFirst += CHUNK)
      put(prod.Spectrum.Column(nFirst), std::min(CHUNK, nLast - nFirst + 1));
  }
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
    float arfValues[CHUNK];
    if (pConfig->bBrightnessTemperature)
      Temperatures(prod.Spectrum, nRow, nFirst, nCount, arfValues);
    else
      prod.Spectrum.Row(nRow, nFirst, nCount, arfValues);
    if (Reverses()) ReverseBytes4(arfValues, nCount);
    Write(nCount * static_cast<int>(sizeof(float)), reinterpret_cast<const char*>(arfValues));
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
      spectrum.Row(nRow, nBegin, nStop - nBegin, arfValues);
      PutTextReals(arfValues, nStop - nBegin);
      continue;
    }
    char szText[CHUNK * (TEXT_REAL_MAX + 1)];
    char* pEnd = szText;
    const int32_t* pRaw = spectrum.Raw(nRow);
    for (int i = nBegin; i < nStop; ++i) {
      *pEnd++ = '\t';
      if (pRaw[i] == RAW_MISSING) {
        std::memcpy(pEnd, "-777", 4);
        pEnd += 4;
      } else {
        pEnd = pTexts->Append(pEnd, pRaw[i]);
      }
    }
    Write(static_cast<int>(pEnd - szText), szText);
  }
}

void CWriter::PutTextReals(const float* pValues, int nCount) {
  char szText[CHUNK * (TEXT_REAL_MAX + 1)];
  char* pEnd = szText;
  for (int i = 0; i < nCount; ++i) {
    *pEnd++ = '\t';
    pEnd += FormatReal4(pValues[i], pEnd);
  }
  Write(static_cast<int>(pEnd - szText), szText);
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
