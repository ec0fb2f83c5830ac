#include "reader/Reader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "app/AltitudeMap.h"
#include "bufr/StreamReader.h"
#include "filter/Filter.h"
#include "kernel/Reporter.h"
#include "prod/ProductKind.h"

namespace {

/// The filters of all products, and the surface, which is computed between them.
class CCommonFilter {
 public:
  explicit CCommonFilter(const CConfigParam& config)
      : m_map(config.altitudeMap), m_pixel(config, EStage::PRODUCT), m_surface(config, EStage::SURFACE) {}

  /// Computes the pixel's SurfaceType when it passes all but the last.
  bool Keeps(CProd& prod, int nPixel) const {
    if (!m_pixel.Keeps(prod, nPixel)) return false;
    const int nSurface = m_map.GetSurfaceType(prod.Latitude[nPixel], prod.Longitude[nPixel]);
    prod.SurfaceType.WriteAll()[nPixel] = nSurface;  // of others it is as good as any
    return m_surface.Keeps(prod, nPixel);
  }

 private:
  const CAltitudeMap& m_map;
  CPixelFilter m_pixel;
  CPixelFilter m_surface;
};

/// True when the filters of all products find the same in all pixels.
bool AllAlike(const CProd& prod) {
  return std::ranges::all_of(Filters(), [&](const SFilter& filter) {
    const bool bCommon = filter.eStage == EStage::PRODUCT || filter.eStage == EStage::SURFACE;
    return !bCommon || filter.test.pIsUniform(prod);
  });
}

/// A file that was listed was there, and is a loss also when it has gone since. nError is 0 for what is never
/// opened.
void ReportNotOpened(const char* szPath, int nError) {
  if (nError != 0)
    CReporter::Lost(szPath, "%s", std::strerror(nError));
  else
    CReporter::Lost(szPath, "not a regular file");
}

}  // namespace

bool CReader::MatchFilterOverview(const CConfigParam* pConfig, CProd* pProd, int nPixel) {
  return CCommonFilter(*pConfig).Keeps(*pProd, nPixel);
}

bool CReader::SelectPixelsToKeep(const CConfigParam* pConfig, CProd* pProd) {
  const CCommonFilter filter(*pConfig);
  if (AllAlike(*pProd) && pProd->PixelCount > 0 && !filter.Keeps(*pProd, 0)) {
    PixelsRead += pProd->PixelCount;
    pProd->KeepPixel.SetAll(0);
    return false;
  }
  pProd->KeepPixel.WriteAll();
  bool bAny = false;
  for (int i = 0; i < pProd->PixelCount; ++i) {
    ++PixelsRead;
    bAny |= KeepIf(pConfig, pProd, i, [&] { return filter.Keeps(*pProd, i); });
  }
  return bAny;
}

const char* CReader::FirstLevelMessage() const { return PRODUCT_KINDS[PRODUCT_L1C].szFirstLevel; }

bool CReader::OpenNextFile(const SRead& read) {
  for (; FileIndex < read.pFiles->Count(); ++FileIndex) {
    const char* szPath = read.pFiles->GetStringAt(FileIndex);
    FileOpen = Decoder().Open(szPath);
    if (FileOpen) {
      CReporter::Line(szPath);
      return true;
    }
    CReporter::Print("ERROR: Unable to open file %s!\n", szPath);
    ReportNotOpened(szPath, Decoder().stream.Error());
  }
  return false;
}

/// Ends the file at hand, at its end or where it cannot be read any more.
void CReader::LeaveFile(const SRead& read) {
  if (const int nError = Decoder().stream.Error())
    CReporter::Lost(read.pFiles->GetStringAt(FileIndex), "%s", std::strerror(nError));
  Decoder().Close();
  ++FileIndex;
  FileOpen = false;
}

/// Goes on to the start of a message, through as many files as it takes; false at the end.
bool CReader::NextMessage(const SRead& read) {
  while (FileOpen || OpenNextFile(read)) {
    if (MaxResultsReached(read.pConfig)) {
      FileOpen = false;
      return false;
    }
    if (!Decoder().stream.Failed() && GoToNextMessage()) return true;
    LeaveFile(read);
  }
  read.pProd->FillWithMissingValues();
  return false;
}

int CReader::Read(const SRead& read) {
  while (NextMessage(read)) {
    const int64_t nRead = PixelsRead, nSelected = PixelsSelected, nSkipped = PixelsSkipped;
    try {
      if (ReadMessage(read)) return 1;
    } catch (const std::bad_alloc&) {
      PixelsRead = nRead;
      PixelsSelected = nSelected;
      PixelsSkipped = nSkipped;
      LeaveMessage(read);
    }
  }
  return 0;
}

/// Reports a message for which there was not enough memory, and gives back what it took.
void CReader::LeaveMessage(const SRead& read) {
  read.pProd->SetNull();
  CReporter::Lost(read.pFiles->GetStringAt(FileIndex), "not enough memory for a message of %d pixels",
                  Decoder().nSubsets);
}

/// False for a message that is not to be decoded, or that could not be read.
bool CReader::ReadMessage(const SRead& read) {
  CBUFRReader& decoder = Decoder();
  decoder.ReadMessageSections();
  if (decoder.stream.Failed() || !AcceptMessage(read)) return false;
  InitRecord(read, decoder.nSubsets);
  if (decoder.nSubsets < 1) {
    CReporter::Text("\nMessage BUFR sans sous-ensemble de donnees");
    return true;
  }
  if (!InterpretFirstLevel(read.pProd)) {
    CReporter::Text(FirstLevelMessage());
    read.pProd->FillWithMissingValues();
    return true;
  }
  if (!SelectPixelsToKeep(read.pConfig, read.pProd) || !SelectPixelsOfKind(read)) return true;
  read.pProd->InitKept();
  Update(read);
  *read.pMissingFlags |= decoder.nMissingFlags;
  return true;
}
