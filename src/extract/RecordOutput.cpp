// Headers and records of the output files, from the streams that take part.

#include <algorithm>
#include <cstdio>

#include "extract/Extractor.h"
#include "extract/Kind.h"

namespace {

int AsInt4(int64_t nValue) { return static_cast<int>(static_cast<uint32_t>(nValue)); }

/// The codes of the requested L2 kinds in ascending order.
std::vector<int> HeaderCodes(const CConfigParam* pConfig) {
  std::vector<int> arCodes;
  for (int i = FIRST_L2; i < PRODUCTS; ++i)
    if (pConfig->IsRequested(i)) arCodes.push_back(PRODUCT_KINDS[i].nHeaderCode);
  std::sort(arCodes.begin(), arCodes.end());
  return arCodes;
}

}  // namespace

int64_t CExtractor::RecordLength(const CConfigParam* pConfig) {
  int64_t nLength = BinarySize(COMMON_BLOCK);
  for (int i = 0; i < PRODUCTS; ++i)
    if (pConfig->IsRequested(i)) nLength += BinarySize(KIND_TABLE[i].block);
  if (pConfig->L2Requested()) nLength += BinarySize(L2_BLOCK);
  if (pConfig->L1CRequested()) nLength += 4 * CWriter::ChannelTotal(pConfig);
  if (pConfig->bAvhrr) nLength += BinarySize(AVHRR_BLOCK);
  return nLength;
}

bool CExtractor::WriteOutputHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite) {
  switch (pConfig->nFormat) {
    case CConfigParam::FORMAT_BIN:
      return WriteOutputBinHeader(pWriter, pConfig, nSatellite);
    case CConfigParam::FORMAT_TXT:
      return WriteOutputTextHeader(pWriter, pConfig);
    case CConfigParam::FORMAT_TXTSTAT:
      return true;
    default:
      return false;
  }
}

bool CExtractor::WriteOutputBinHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite) {
  const int64_t nChannels = CWriter::ChannelTotal(pConfig);
  const std::vector<int> arCodes = HeaderCodes(pConfig);
  const int nMarker = AsInt4(21 + 4 * nChannels + 4 * static_cast<int64_t>(arCodes.size()));
  pWriter->WriteBinInt4(nMarker);
  pWriter->WriteBinInt1(pConfig->bBigEndian);
  pWriter->WriteBinInt4(5);
  pWriter->WriteBinInt4(nSatellite);
  pWriter->WriteBinInt4(95);
  pWriter->WriteBinInt1(pConfig->bBrightnessTemperature);
  pWriter->WriteBinInt4(AsInt4(nChannels));
  for (int i = 0; i < pConfig->arChannels.Count(); ++i)
    for (int64_t n = pConfig->arChannels[i]->nMin; n <= pConfig->arChannels[i]->nMax; ++n)
      pWriter->WriteBinInt4(AsInt4(n));
  pWriter->WriteBinInt1(pConfig->bAvhrr);
  pWriter->WriteBinInt2(static_cast<short>(arCodes.size()));
  for (const int nCode : arCodes) pWriter->WriteBinInt4(nCode);
  if (pWriter->WriteBinInt4(nMarker) > 0) return true;
  std::puts("ERROR: Unable to write header on file!");
  return false;
}

bool CExtractor::WriteOutputTextHeader(CWriter* pWriter, const CConfigParam* pConfig) {
  pWriter->WriteTextNames(COMMON_BLOCK);
  if (pConfig->L1CRequested()) {
    pWriter->WriteTextNames(L1C_BLOCK);
    pWriter->WriteTextChannels(pConfig);
    if (pConfig->bAvhrr) pWriter->WriteTextNames(AVHRR_BLOCK);
  }
  if (pConfig->L2Requested()) pWriter->WriteTextNames(L2_BLOCK);
  for (int i = 1; i < PRODUCTS; ++i)
    if (pConfig->IsRequested(i)) pWriter->WriteTextNames(KIND_TABLE[i].block);
  if (pWriter->WriteText("\n") > 0) return true;
  std::puts("Error: Unable to write header on file!");
  return false;
}

bool CExtractor::WriteOutput(CWriter* pWriter, const CConfigParam* pConfig) {
  switch (pConfig->nFormat) {
    case CConfigParam::FORMAT_BIN:
      return WriteOutputBin(pWriter, pConfig);
    case CConfigParam::FORMAT_TXT:
      return WriteOutputText(pWriter, pConfig);
    case CConfigParam::FORMAT_TXTSTAT:
      return WriteOutputStat();
    default:
      return true;
  }
}

/// True when a stream takes part in the record; says so when none does.
bool CExtractor::HasSupplier() const {
  if (!Supplier()) std::puts("Probleme calcul synchronisation L1C-L2");
  return Supplier() != nullptr;
}

/// The blocks of a record in their order, through the functions of one format. False when no stream takes
/// part.
template <class TFormat>
bool CExtractor::WriteBlocks(CWriter& writer, const CConfigParam* pConfig) {
  if (!HasSupplier()) return false;
  ++m_nWritten;
  bool bCommon = false, bL2Common = false;
  for (const Stream& stream : m_arStreams)
    if (stream.bSynchronous) TFormat::Common(writer, pConfig, *stream.pProd, stream.nPixel, &bCommon);
  for (int i = 0; i < PRODUCTS; ++i) {
    if (i == 1 && pConfig->L2Requested()) {
      for (int j = 1; j < PRODUCTS; ++j)
        if (m_arStreams[j].bSynchronous)
          TFormat::L2(writer, static_cast<const CProdL2*>(m_arStreams[j].pProd.get()), m_arStreams[j].nPixel,
                      &bL2Common);
      if (!bL2Common) TFormat::L2Missing(writer);
    }
    const Stream& stream = m_arStreams[i];
    if (!stream.bRequested) continue;
    if (stream.bSynchronous)
      TFormat::Write (*stream.pKind)(writer, pConfig, *stream.pProd, stream.nPixel);
    else
      TFormat::WriteMissing (*stream.pKind)(writer, pConfig);
  }
  return true;
}

namespace {

struct SBinFormat {
  static void Common(CWriter& w, const CConfigParam*, const CProd& prod, int nPixel, bool* pb) {
    w.WriteOutputBinAll(&prod, nPixel, pb);
  }
  static void L2(CWriter& w, const CProdL2* pProd, int nPixel, bool* pb) {
    w.WriteOutputBinL2(pProd, nPixel, pb);
  }
  static void L2Missing(CWriter& w) { w.WriteOutputBinL2Missing(); }
  static auto Write(const SKind& kind) { return kind.pWriteBin; }
  static auto WriteMissing(const SKind& kind) { return kind.pWriteBinMissing; }
};

struct STextFormat {
  static void Common(CWriter& w, const CConfigParam* pConfig, const CProd& prod, int nPixel, bool* pb) {
    w.WriteOutputTextAll(pConfig, &prod, nPixel, pb);
  }
  static void L2(CWriter& w, const CProdL2* pProd, int nPixel, bool* pb) {
    w.WriteOutputTextL2(pProd, nPixel, pb);
  }
  static void L2Missing(CWriter& w) { w.WriteOutputTextL2Missing(); }
  static auto Write(const SKind& kind) { return kind.pWriteText; }
  static auto WriteMissing(const SKind& kind) { return kind.pWriteTextMissing; }
};

}  // namespace

/// Without a stream that takes part, the record is its two markers alone, which announce the full length.
bool CExtractor::WriteOutputBin(CWriter* pWriter, const CConfigParam* pConfig) {
  if (m_nRecordLength < 0) m_nRecordLength = RecordLength(pConfig);
  const int nMarker = AsInt4(m_nRecordLength);
  pWriter->WriteBinInt4(nMarker);
  WriteBlocks<SBinFormat>(*pWriter, pConfig);
  if (pWriter->WriteBinInt4(nMarker) > 0) return true;
  std::puts("ERROR: write failure on output file");
  return false;
}

bool CExtractor::WriteOutputText(CWriter* pWriter, const CConfigParam* pConfig) {
  WriteBlocks<STextFormat>(*pWriter, pConfig);
  return pWriter->WriteText("\n") > 0;
}

bool CExtractor::WriteOutputStat() {
  if (!HasSupplier()) return true;
  for (int i = 0; i < PRODUCTS; ++i) {
    Stream& stream = m_arStreams[i];
    if (stream.bSynchronous && m_pStat->Add(i, stream.pProd.get(), stream.nPixel)) ++stream.nStatPixels;
  }
  return true;
}
