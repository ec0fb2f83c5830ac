#include "extract/Extractor.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "extract/Format.h"
#include "extract/Kind.h"
#include "kernel/Reporter.h"
#include "output/RecordSink.h"

CExtractor::CExtractor() {
  for (int i = 0; i < PRODUCTS; ++i) {
    m_arStreams[i].pProduct = &PRODUCT_KINDS[i];
    m_arStreams[i].pProd = KIND_TABLE[i].pMakeRecord();
  }
}

CExtractor::~CExtractor() = default;

bool CExtractor::Extract(CConfigParam* pConfig) {
  if (!pConfig->InitAltitudeMap()) CReporter::Line("ERROR: Unable to initialize altitude database!");
  PrepareStreams(pConfig);
  CReporter::Line("Prepare for reading...");
  SelectInput(pConfig);
  if (!OpenOutput(pConfig)) return true;
  BeginOutput();
  MainLoop(pConfig);
  if (!m_bHeaderWritten) WriteHeaders(-1);
  m_pSink->End();
  ReportCounts(pConfig);
  if (!m_pSink->Close()) m_result.Fail(CRunResult::RECORD);
  if (m_bDayOneSeen) ReportDayOne(pConfig);
  if (m_nMissingFlags != 0) DisplayMissingFlags(m_nMissingFlags);
  return !m_result.HasFailed();
}

/// Readies the streams and the selection of channels for the run.
void CExtractor::PrepareStreams(CConfigParam* pConfig) {
  m_channels = pConfig->Channels();
  for (int i = 0; i < PRODUCTS; ++i) {
    m_arStreams[i].bRequested = pConfig->IsRequested(i);
    m_arStreams[i].arnBoxPixels.assign(pConfig->arBoxes.Count(), 0);
    m_arStreams[i].pReader = KIND_TABLE[i].pMakeReader();
  }
}

void CExtractor::ReportFiles(const Stream& stream) {
  const int nFiles = stream.arFiles.Count();
  if (nFiles > 0)
    CReporter::Print("%d %s data files selected\n", nFiles, stream.pProduct->szName);
  else
    CReporter::Line(stream.pProduct->szNoFiles);
}

/// The files of a product under a root of dated folders.
void CExtractor::SelectDated(const CConfigParam& config, const char* szRoot, int nProduct) {
  const SDate &first = config.firstDate, &last = config.lastDate;
  const bool bL1C = nProduct == PRODUCT_L1C;
  Stream& stream = m_arStreams[nProduct];
  if (!szRoot || !stream.bRequested) return;
  SelectFiles(szRoot, bL1C ? &config.arL1CExtensions : &config.arL2Extensions,
              bL1C ? &config.arL1CMotifs : &config.arL2Motifs, first.nYear, first.nMonth, first.nDay,
              last.nYear, last.nMonth, last.nDay, stream.arFiles, nProduct);
  ReportFiles(stream);
}

void CExtractor::SelectInput(CConfigParam* pConfig) {
  SelectDated(*pConfig, pConfig->szL1CDir.get(), PRODUCT_L1C);
  for (int i = FIRST_L2; i < PRODUCTS; ++i) SelectDated(*pConfig, pConfig->szL2Dir.get(), i);
  for (int i = FIRST_L2; i < PRODUCTS && pConfig->szIndepL2Dir; ++i) {
    if (!m_arStreams[i].bRequested) continue;
    SelectFilesIndepDir(pConfig->szIndepL2Dir.get(), &pConfig->arL2Extensions, &pConfig->arL2Motifs,
                        m_arStreams[i].arFiles, i);
    ReportFiles(m_arStreams[i]);
  }
  for (Stream& stream : m_arStreams) {
    stream.bActive = stream.bNeedsNext = stream.arFiles.Count() > 0;
    m_nActive += stream.bActive;
    m_inputs.Add(stream.arFiles);
  }
  m_inputs.Add(pConfig->szAltitudePath.get());
  m_inputs.Add(pConfig->szConfigFile.get());
}

/// The output file, or one file for each box. False when one of them cannot be opened.
bool CExtractor::OpenOutput(const CConfigParam* pConfig) {
  const auto isFormat = [=](const SFormat& format) { return format.nNumber == pConfig->nFormat; };
  m_pSink = std::ranges::find_if(Formats(), isFormat)->pMakeSink(*pConfig, m_channels);
  const std::string szOutput = pConfig->szOutputPath ? pConfig->szOutputPath.get() : "";
  const int nBoxes = pConfig->arBoxes.Count();
  std::vector<std::string> arPaths;
  if (nBoxes == 0) arPaths.push_back(szOutput);
  for (int i = 0; i < nBoxes; ++i) arPaths.push_back(szOutput + "." + pConfig->arBoxes[i]->Name() + ".txt");
  m_nFiles = static_cast<int>(arPaths.size());
  std::set<std::string> opened;
  bool bAll = true;
  for (const std::string& szPath : arPaths) {
    const bool bNamed = pConfig->szOutputPath && opened.insert(szPath).second;
    if (bNamed && m_pSink->Open(szPath.c_str(), m_inputs, m_result)) continue;
    CRunResult::SayNotOpened(szPath);
    bAll = false;
  }
  if (!bAll) m_pSink->Close();
  return bAll;
}

/// Tells the sink what there is to come.
void CExtractor::BeginOutput() {
  bool arbActive[PRODUCTS];
  for (int i = 0; i < PRODUCTS; ++i) arbActive[i] = m_arStreams[i].bActive;
  m_pSink->Begin(arbActive);
}

void CExtractor::MainLoop(CConfigParam* pConfig) {
  const int nLimit = pConfig->nMaxResults;
  bool bData = m_nActive > 0;
  while (bData && (nLimit < 0 || !m_pSink->HasTaken(nLimit))) {
    ReadMessages(pConfig);
    if (!m_bHeaderWritten) {
      int nSatellite = -1;
      bool bFound = false;
      for (const Stream& stream : m_arStreams) TestSatelliteId(stream.pProd.get(), &nSatellite, &bFound);
      WriteHeaders(nSatellite);
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
      stream.bHasData =
          stream.pReader->Read({pConfig, &stream.arFiles, stream.pProd.get(), CChannelSelection::LIMIT,
                                m_channels.Given() ? &m_channels : nullptr, &m_nMissingFlags,
                                &m_bDayOneSeen}) == 1;
      stream.nPixel = stream.nCounted = 0;
      stream.bNeedsNext = false;
      if (stream.bHasData) GetNextSelected(stream, pConfig);
    }
  }
}

/// True when no pixel is kept and all lie in the same boxes, as in most messages that filters leave nothing
/// of.
bool CExtractor::HasNothing(const CProd& prod, const CConfigParam& config) {
  const bool bAlike =
      config.arBoxes.Count() == 0 || (prod.Latitude.IsUniform() && prod.Longitude.IsUniform());
  return bAlike && prod.KeepPixel.IsUniform() && !prod.KeepPixel[0];
}

/// True when the current pixel lies in a box, or there are no boxes. Counts it there, and with it all before
/// nEnd, unless that was done before.
bool CExtractor::CountInBoxes(Stream& stream, const CConfigParam& config, int nEnd) {
  const int nBoxes = config.arBoxes.Count(), nNew = nEnd - stream.nCounted;
  bool bInside = nBoxes == 0;
  for (int i = 0; i < nBoxes; ++i) {
    if (!Holds(*config.arBoxes[i], *stream.pProd, stream.nPixel)) continue;
    bInside = true;
    stream.arnBoxPixels[i] += nNew;
  }
  stream.nCounted = nEnd;
  return bInside;
}

/// Moves a stream from its current pixel to the first kept one that lies in a box, if there are boxes. Every
/// pixel passed is counted once in its boxes, kept or not.
void CExtractor::GetNextSelected(Stream& stream, const CConfigParam* pConfig) {
  const CProd& prod = *stream.pProd;
  if (HasNothing(prod, *pConfig)) {
    CountInBoxes(stream, *pConfig, prod.PixelCount);
    stream.nPixel = prod.PixelCount;
  }
  const auto isSelected = [&] {
    return CountInBoxes(stream, *pConfig, stream.nPixel + 1) && prod.KeepPixel[stream.nPixel];
  };
  while (stream.nPixel < prod.PixelCount && !isSelected()) ++stream.nPixel;
  stream.bNeedsNext = stream.nPixel >= prod.PixelCount;
}

bool CExtractor::Holds(const CGeoBox& box, const CProd& prod, int nPixel) {
  const double fLatitude = prod.Latitude[nPixel], fLongitude = prod.Longitude[nPixel];
  return box.fMinLatitude <= fLatitude && fLatitude <= box.fMaxLatitude && box.fMinLongitude <= fLongitude &&
         fLongitude <= box.fMaxLongitude;
}

void CExtractor::TestSatelliteId(const CProd* pProd, int* pId, bool* pbFound) {
  if (pProd->PixelCount < 1) return;
  const int nId = static_cast<int>(pProd->SatelliteIdentifier[0]);
  if (!*pbFound) *pId = nId;
  if (*pbFound && nId != *pId) CReporter::Text("\nSatellite id different between products");
  *pbFound = true;
}

void CExtractor::WriteHeaders(int nSatellite) {
  m_bHeaderWritten = true;
  for (int i = 0; i < m_nFiles; ++i) {
    if (!m_pSink->WriteHeader(i, nSatellite)) m_result.Fail(CRunResult::HEADER);
  }
}

/// Writes record after record until a stream has used up its message.
void CExtractor::WriteRecords(const CConfigParam* pConfig) {
  const auto needsNext = [](const Stream& stream) { return stream.bHasData && stream.bNeedsNext; };
  for (PassWithoutKey(pConfig); std::none_of(std::begin(m_arStreams), std::end(m_arStreams), needsNext);
       PassWithoutKey(pConfig)) {
    SelectSynchronous();
    const bool bSupplied = HasSupplier();
    if (pConfig->arBoxes.Count() == 0)
      WriteRecord(0);
    else if (bSupplied)
      WriteToBoxes(pConfig);
    Advance();
    for (Stream& stream : m_arStreams)
      if (stream.bHasData) GetNextSelected(stream, pConfig);
  }
}

/// A record goes to the boxes that hold the pixel of its common fields.
void CExtractor::WriteToBoxes(const CConfigParam* pConfig) {
  const SPixelOf& pixel = *m_record.First();
  for (int i = 0; i < pConfig->arBoxes.Count(); ++i)
    if (Holds(*pConfig->arBoxes[i], *pixel.pProd, pixel.nPixel)) WriteRecord(i);
}

void CExtractor::WriteRecord(int nFile) {
  if (!m_pSink->Write(nFile, m_record)) m_result.Fail(CRunResult::RECORD);
}

/// True when a product takes part in the record; says so when none does.
bool CExtractor::HasSupplier() const {
  if (!m_record.First()) CReporter::Line("Probleme calcul synchronisation L1C-L2");
  return m_record.First() != nullptr;
}
