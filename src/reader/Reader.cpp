#include "reader/Reader.h"

#include <tuple>

#include "app/AltitudeMap.h"
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

}  // namespace

bool CReader::MatchFilterOverview(const CConfigParam* pConfig, CProd* pProd, int nPixel) {
  const CConfigParam& config = *pConfig;
  const CProd& prod = *pProd;
  const double fLatitude = prod.Latitude[nPixel], fLongitude = prod.Longitude[nPixel];
  if (!InWindow(config, fLatitude, fLongitude) || !HasIdentity(config, prod, nPixel) ||
      !HasAnglesAndTime(config, prod, nPixel))
    return false;
  const int nSurface = config.altitudeMap.GetSurfaceType(fLatitude, fLongitude);
  pProd->SurfaceType.Write()[nPixel] = nSurface;
  return OnSurface(config.nSurface, nSurface);
}

bool CReader::SelectPixelsToKeep(const CConfigParam* pConfig, CProd* pProd) {
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
    InputFailed |= Decoder().stream.Failed();
  }
  return false;
}

/// Ends the file at hand, at its end or where it cannot be read any more.
void CReader::LeaveFile(const SRead& read) {
  if (Decoder().stream.Failed()) {
    CReporter::FreshLine();
    CReporter::Print("ERROR: reading failure in file %s\n", read.pFiles->GetStringAt(FileIndex));
    InputFailed = true;
  }
  Decoder().Close();
  ++FileIndex;
  FileOpen = false;
}

/// Reads on to a message that is to be decoded, through as many files as it takes; false at the end.
bool CReader::NextAcceptedMessage(const SRead& read) {
  while (FileOpen || OpenNextFile(read)) {
    if (MaxResultsReached(read.pConfig)) {
      FileOpen = false;
      return false;
    }
    const bool bFound = GoToNextMessage();
    if (bFound) Decoder().ReadMessageSections();
    if (!bFound || Decoder().stream.Failed())
      LeaveFile(read);
    else if (AcceptMessage(read))
      return true;
  }
  read.pProd->FillWithMissingValues();
  return false;
}

int CReader::Read(const SRead& read) {
  if (!NextAcceptedMessage(read)) return 0;
  CBUFRReader& decoder = Decoder();
  InitRecord(read, decoder.nSubsets);
  if (decoder.nSubsets < 1) {
    CReporter::Text("\nMessage BUFR sans sous-ensemble de donnees");
    return 1;
  }
  if (!InterpretFirstLevel(read.pProd)) {
    CReporter::Text(FirstLevelMessage());
    read.pProd->FillWithMissingValues();
    return 1;
  }
  if (!SelectPixelsToKeep(read.pConfig, read.pProd) || !SelectPixelsOfKind(read)) return 1;
  read.pProd->InitKept();
  Update(read);
  *read.pMissingFlags |= decoder.nMissingFlags;
  return 1;
}
