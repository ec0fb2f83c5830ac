#include "extract/Extractor.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

#include "bufr/BUFRReaderL1C.h"
#include "extract/Kind.h"

CExtractor::CExtractor() {
  for (int i = 0; i < PRODUCTS; ++i) {
    m_arStreams[i].pKind = &KIND_TABLE[i];
    m_arStreams[i].pProduct = &PRODUCT_KINDS[i];
    m_arStreams[i].pProd = KIND_TABLE[i].pMakeRecord();
  }
}

CExtractor::~CExtractor() = default;

bool CExtractor::Extract(CConfigParam* pConfig) {
  if (!pConfig->InitAltitudeMap()) std::puts("ERROR: Unable to initialize altitude database!");
  PrepareStreams(pConfig);
  std::puts("Prepare for reading...");
  SelectInput(pConfig);
  if (!OpenWriters(pConfig)) return m_bResult;
  for (Stream& stream : m_arStreams) stream.pReader = stream.pKind->pMakeReader();
  OpenStat(pConfig);
  MainLoop(pConfig);
  if (!m_bHeaderWritten) WriteHeaders(pConfig, -1);
  CloseOutput();
  ReportCounts(pConfig);
  if (!CloseWriters()) ReportWriteFailure();
  if (m_bDayOneSeen) ReportDayOne(pConfig);
  if (m_nMissingFlags != 0) DisplayMissingFlags(m_nMissingFlags);
  return m_bResult;
}

/// Resets the streams for the run and builds the channel mask.
void CExtractor::PrepareStreams(CConfigParam* pConfig) {
  for (int i = 0; i < PRODUCTS; ++i) {
    m_arStreams[i].bRequested = pConfig->IsRequested(i);
    m_arStreams[i].arnBoxPixels.assign(pConfig->arBoxes.Count(), 0);
  }
  if (pConfig->arChannels.Count() == 0) return;
  constexpr int CHANNELS = CBUFRReaderL1C::CHANNELS;
  m_arChannelMask.assign(CHANNELS, 0);
  for (int i = 0; i < pConfig->arChannels.Count(); ++i) {
    const CValueRange& range = *pConfig->arChannels[i];
    for (int n = std::max(range.nMin, 1); n <= std::min(range.nMax, CHANNELS); ++n)
      m_arChannelMask[n - 1] = 1;
  }
}

void CExtractor::ReportFiles(const Stream& stream) {
  const int nFiles = stream.arFiles.Count();
  if (nFiles > 0)
    std::printf("%d %s data files selected\n", nFiles, stream.pProduct->szName);
  else
    std::puts(stream.pProduct->szNoFiles);
}

void CExtractor::SelectInput(CConfigParam* pConfig) {
  const SDate &first = pConfig->firstDate, &last = pConfig->lastDate;
  const auto select = [&](const char* szRoot, int nKind) {
    const bool bL1C = nKind == 0;
    SelectFiles(szRoot, bL1C ? &pConfig->arL1CExtensions : &pConfig->arL2Extensions,
                bL1C ? &pConfig->arL1CMotifs : &pConfig->arL2Motifs, first.nYear, first.nMonth, first.nDay,
                last.nYear, last.nMonth, last.nDay, m_arStreams[nKind].arFiles, nKind);
    ReportFiles(m_arStreams[nKind]);
  };
  if (pConfig->szL1CDir && m_arStreams[0].bRequested) select(pConfig->szL1CDir.get(), 0);
  for (int i = 1; i < PRODUCTS && pConfig->szL2Dir; ++i)
    if (m_arStreams[i].bRequested) select(pConfig->szL2Dir.get(), i);
  for (int i = 1; i < PRODUCTS && pConfig->szIndepL2Dir; ++i) {
    if (!m_arStreams[i].bRequested) continue;
    SelectFilesIndepDir(pConfig->szIndepL2Dir.get(), &pConfig->arL2Extensions, &pConfig->arL2Motifs,
                        m_arStreams[i].arFiles, i);
    ReportFiles(m_arStreams[i]);
  }
  for (Stream& stream : m_arStreams) {
    stream.bActive = stream.bNeedsNext = stream.arFiles.Count() > 0;
    m_nActive += stream.bActive;
  }
}

bool CExtractor::OpenOutput(CStreamWriter& writer, const CConfigParam* pConfig) {
  if (pConfig->nFormat == CConfigParam::FORMAT_TXTSTAT && pConfig->bSurfacePeriodStat) return true;
  return writer.Open(pConfig->szOutputPath.get(), pConfig->bBigEndian);
}

/// The output file, or one file for each box. False when one of them cannot be opened.
bool CExtractor::OpenWriters(CConfigParam* pConfig) {
  const char* szOutput = pConfig->szOutputPath.get();
  bool bAll = true;
  const auto check = [&](bool bOpen, const char* szPath) {
    if (!bOpen) std::printf("ERROR: ouverture fichier %s\n", szPath);
    bAll &= bOpen;
  };
  const int nBoxes = pConfig->arBoxes.Count();
  for (int i = 0; i < std::max(nBoxes, 1); ++i) m_arWriters.push_back(std::make_unique<CWriter>());
  if (nBoxes == 0) check(OpenOutput(*m_arWriters[0], pConfig), szOutput);
  std::set<std::string> names;
  for (int i = 0; i < nBoxes; ++i) {
    const std::string szName = pConfig->arBoxes[i]->Name();
    const std::string szPath = std::string(szOutput) + "." + szName + ".txt";
    check(names.insert(szName).second && m_arWriters[i]->Open(szPath.c_str(), pConfig->bBigEndian),
          szPath.c_str());
  }
  if (!bAll) CloseWriters();
  return bAll;
}

/// False when bytes of a file were lost.
bool CExtractor::CloseWriters() {
  bool bWhole = true;
  for (const auto& pWriter : m_arWriters) bWhole &= pWriter->Close();
  return bWhole;
}

void CExtractor::ReportWriteFailure() {
  if (!m_bWriteFailed) std::puts("ERROR: Writing failure!");
  m_bWriteFailed = true;
  m_bResult = false;
}

void CExtractor::OpenStat(const CConfigParam* pConfig) {
  if (pConfig->nFormat != CConfigParam::FORMAT_TXTSTAT) return;
  bool arbActive[PRODUCTS];
  for (int i = 0; i < PRODUCTS; ++i) arbActive[i] = m_arStreams[i].bActive;
  m_pStat = std::make_unique<CStatOutput>(pConfig, arbActive);
}

void CExtractor::CloseOutput() {
  if (m_pStat) m_bResult &= CloseOutputStat();
}

bool CExtractor::CloseOutputStat() { return m_pStat->Close(m_arWriters[0].get(), m_nSatellite); }

void CExtractor::MainLoop(CConfigParam* pConfig) {
  bool bData = m_nActive > 0;
  while (bData && TestMaxRes(pConfig)) {
    ReadMessages(pConfig);
    if (!m_bHeaderWritten) {
      int nSatellite = -1;
      bool bFound = false;
      for (const Stream& stream : m_arStreams) TestSatelliteId(stream.pProd.get(), &nSatellite, &bFound);
      WriteHeaders(pConfig, nSatellite);
    }
    bData = std::any_of(std::begin(m_arStreams), std::end(m_arStreams),
                        [](const Stream& stream) { return stream.bHasData; });
    if (bData) WriteRecords(pConfig);
  }
}

/// Brings every stream that has used up its message to its next kept pixel.
void CExtractor::ReadMessages(CConfigParam* pConfig) {
  for (Stream& stream : m_arStreams) {
    while (stream.bActive && stream.bNeedsNext) {
      const char* pMask = m_arChannelMask.empty() ? nullptr : m_arChannelMask.data();
      stream.bHasData =
          stream.pReader->Read({pConfig, &stream.arFiles, stream.pProd.get(), CBUFRReaderL1C::CHANNELS, pMask,
                                &m_nMissingFlags, &m_bDayOneSeen}) == 1;
      stream.nPixel = stream.nCounted = 0;
      stream.bNeedsNext = false;
      if (stream.bHasData) GetNextSelected(stream, pConfig);
    }
  }
}

/// Moves a stream from its current pixel to the first kept one that lies in a box, if there are boxes. Every
/// pixel passed is counted once in its boxes, kept or not.
void CExtractor::GetNextSelected(Stream& stream, const CConfigParam* pConfig) {
  const CProd& prod = *stream.pProd;
  const int nBoxes = pConfig->arBoxes.Count();
  for (; stream.nPixel < prod.PixelCount; ++stream.nPixel) {
    bool bInside = nBoxes == 0;
    for (int i = 0; i < nBoxes; ++i) {
      const bool bInBox = Holds(*pConfig->arBoxes[i], prod, stream.nPixel);
      stream.arnBoxPixels[i] += bInBox && stream.nPixel >= stream.nCounted;
      bInside |= bInBox;
    }
    stream.nCounted = std::max(stream.nCounted, stream.nPixel + 1);
    if (bInside && prod.KeepPixel[stream.nPixel]) break;
  }
  stream.bNeedsNext = stream.nPixel >= prod.PixelCount;
}

bool CExtractor::Holds(const CGeoBox& box, const CProd& prod, int nPixel) {
  const double fLatitude = prod.Latitude[nPixel], fLongitude = prod.Longitude[nPixel];
  return box.fMinLatitude <= fLatitude && fLatitude <= box.fMaxLatitude && box.fMinLongitude <= fLongitude &&
         fLongitude <= box.fMaxLongitude;
}

bool CExtractor::TestMaxRes(const CConfigParam* pConfig) const {
  if (pConfig->nMaxResults < 0) return true;
  if (pConfig->nFormat != CConfigParam::FORMAT_TXTSTAT) return m_nWritten < pConfig->nMaxResults;
  return std::any_of(std::begin(m_arStreams), std::end(m_arStreams), [=](const Stream& stream) {
    return stream.bRequested && stream.nStatPixels < pConfig->nMaxResults;
  });
}

void CExtractor::TestSatelliteId(const CProd* pProd, int* pId, bool* pbFound) {
  if (pProd->PixelCount < 1) return;
  const int nId = static_cast<int>(pProd->SatelliteIdentifier[0]);
  if (!*pbFound) *pId = nId;
  if (*pbFound && nId != *pId) std::fputs("\nSatellite id different between products", stdout);
  *pbFound = true;
}

void CExtractor::WriteHeaders(const CConfigParam* pConfig, int nSatellite) {
  m_bHeaderWritten = true;
  m_nSatellite = nSatellite;
  for (const auto& pWriter : m_arWriters) {
    if (WriteOutputHeader(pWriter.get(), pConfig, nSatellite)) continue;
    std::puts("ERROR: Unable to write header!");
    m_bResult = false;
  }
}

/// Writes record after record until a stream has used up its message.
void CExtractor::WriteRecords(CConfigParam* pConfig) {
  const auto needsNext = [](const Stream& stream) { return stream.bHasData && stream.bNeedsNext; };
  while (std::none_of(std::begin(m_arStreams), std::end(m_arStreams), needsNext)) {
    SelectSynchronous();
    if (pConfig->arBoxes.Count() > 0)
      WriteToBoxes(pConfig);
    else
      WriteRecord(m_arWriters[0].get(), pConfig);
    Advance();
    for (Stream& stream : m_arStreams)
      if (stream.bHasData) GetNextSelected(stream, pConfig);
  }
}

/// A record goes to the boxes that hold the pixel of its common fields.
void CExtractor::WriteToBoxes(const CConfigParam* pConfig) {
  if (!HasSupplier()) return;
  const Stream* pSupplier = Supplier();
  for (int i = 0; i < pConfig->arBoxes.Count(); ++i)
    if (Holds(*pConfig->arBoxes[i], *pSupplier->pProd, pSupplier->nPixel))
      WriteRecord(m_arWriters[i].get(), pConfig);
}

void CExtractor::WriteRecord(CWriter* pWriter, const CConfigParam* pConfig) {
  if (!WriteOutput(pWriter, pConfig)) ReportWriteFailure();
}
