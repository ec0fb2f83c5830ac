#include "reader/Reader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <tuple>

#include "app/AltitudeMap.h"
#include "bufr/StreamReader.h"
#include "kernel/Reporter.h"
#include "prod/ProductKind.h"

namespace {

bool InRanges(const TObjArray<CValueRange>& ranges, int64_t nValue) {
  for (int i = 0; i < ranges.Count(); ++i)
    if (ranges[i]->nMin <= nValue && nValue <= ranges[i]->nMax) return true;
  return ranges.Count() == 0;
}

/// A range that crosses midnight holds nothing.
bool InTimeRanges(const TObjArray<CTimeRange>& ranges, int64_t nHour, int64_t nMinute, int64_t nSecond) {
  using Time = std::tuple<int64_t, int64_t, int64_t>;
  const Time time(nHour, nMinute, nSecond);
  for (int i = 0; i < ranges.Count(); ++i) {
    const CTimeRange& r = *ranges[i];
    if (Time(r.nStartHour, r.nStartMinute, r.nStartSecond) <= time &&
        time <= Time(r.nEndHour, r.nEndMinute, r.nEndSecond))
      return true;
  }
  return ranges.Count() == 0;
}

bool InPeriod(int nPeriod, double fSolarZenithAngle) {
  if (nPeriod == CConfigParam::PERIOD_DAY) return !(fSolarZenithAngle > 90.0);
  if (nPeriod == CConfigParam::PERIOD_NIGHT) return !(fSolarZenithAngle < 90.0);
  return true;
}

bool InWindow(const CConfigParam& config, double fLatitude, double fLongitude) {
  const bool bLatitude = fLatitude >= config.fMinLatitude && fLatitude <= config.fMaxLatitude;
  // With the bounds the wrong way round no longitude is filtered out.
  const bool bLongitude = config.fMaxLongitude < config.fMinLongitude ||
                          !(fLongitude < config.fMinLongitude || fLongitude > config.fMaxLongitude);
  return bLatitude && bLongitude;
}

bool HasIdentity(const CConfigParam& config, const CProd& prod, int nPixel) {
  return InRanges(config.arOrbits, prod.OrbitNumber[nPixel]) &&
         InRanges(config.arScanLines, prod.ScanLineNumber[nPixel]) &&
         InRanges(config.arFieldsOfView, prod.FieldOfViewNumber[nPixel]);
}

bool HasAnglesAndTime(const CConfigParam& config, const CProd& prod, int nPixel) {
  return (!config.viewingAngle.bOn || config.viewingAngle.Holds(prod.SatelliteZenithAngle[nPixel])) &&
         InPeriod(config.nPeriod, prod.SolarZenithAngle[nPixel]) &&
         InTimeRanges(config.arTimePeriods, prod.Hour[nPixel], prod.Minute[nPixel],
                      prod.Milliseconds[nPixel] / 1000);
}

/// An unknown surface (-1) passes all.
bool OnSurface(int nWanted, int nSurface) {
  if (nWanted == CConfigParam::SURFACE_SEA) return nSurface < 1;
  if (nWanted == CConfigParam::SURFACE_LAND) return nSurface != 0;
  return true;
}

/// True when the filters find the same in all pixels.
bool AllAlike(const CProd& prod) {
  const CColumn* const arpFiltered[] = {&prod.Latitude,
                                        &prod.Longitude,
                                        &prod.OrbitNumber,
                                        &prod.ScanLineNumber,
                                        &prod.FieldOfViewNumber,
                                        &prod.SatelliteZenithAngle,
                                        &prod.SolarZenithAngle,
                                        &prod.Hour,
                                        &prod.Minute,
                                        &prod.Milliseconds};
  return std::ranges::all_of(arpFiltered, [](const CColumn* pColumn) { return pColumn->IsUniform(); });
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
  const CConfigParam& config = *pConfig;
  const CProd& prod = *pProd;
  const double fLatitude = prod.Latitude[nPixel], fLongitude = prod.Longitude[nPixel];
  if (!InWindow(config, fLatitude, fLongitude) || !HasIdentity(config, prod, nPixel) ||
      !HasAnglesAndTime(config, prod, nPixel))
    return false;
  const int nSurface = config.altitudeMap.GetSurfaceType(fLatitude, fLongitude);
  pProd->SurfaceType.WriteAll()[nPixel] = nSurface;  // of others it is as good as any
  return OnSurface(config.nSurface, nSurface);
}

bool CReader::SelectPixelsToKeep(const CConfigParam* pConfig, CProd* pProd) {
  if (AllAlike(*pProd) && pProd->PixelCount > 0 && !MatchFilterOverview(pConfig, pProd, 0)) {
    PixelsRead += pProd->PixelCount;
    pProd->KeepPixel.SetAll(0);
    return false;
  }
  pProd->KeepPixel.WriteAll();
  bool bAny = false;
  for (int i = 0; i < pProd->PixelCount; ++i) {
    ++PixelsRead;
    bAny |= KeepIf(pConfig, pProd, i, [=] { return MatchFilterOverview(pConfig, pProd, i); });
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
