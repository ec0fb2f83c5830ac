// What the run says at its end: counts, warnings about day 1 archives, missing data.

#include <cstdint>

#include "app/ConfigParam.h"
#include "bufr/Element.h"
#include "extract/Extractor.h"
#include "kernel/Reporter.h"
#include "prod/ProductKind.h"
#include "reader/Reader.h"

namespace {

constexpr const char* FRAME = "************************************************************";

struct SMissingText {
  uint64_t nFlag;
  const char* szText;
};

constexpr SMissingText MISSING_TEXTS[] = {
    {MISSING_SATELLITE,
     "** SatelliteIdentifier, GeneratingCenter, SatelliteInstruments or SatelliteClassification **"},
    {MISSING_TIME, "** Year, Month, Day, Hour, Minute or Second               **"},
    {MISSING_LATITUDE, "** Latitude                                               **"},
    {MISSING_LONGITUDE, "** Longitude                                              **"},
    {MISSING_SATELLITE_ANGLES, "** SatelliteZenithAngle or Bearing                        **"},
    {MISSING_SOLAR_ANGLES, "** SolarZenithAngle or SolarAzimuth                       **"},
    {MISSING_PIXEL_KEY, "** FieldOfViewNumber, OrbitNumber or ScanLineNumber       **"},
    {MISSING_HEIGHT, "** HeightOfStation                                        **"},
    {MISSING_QUALITY, "** StartChannel, EndChannel, GqisFlagQual or GQisFlagQualDetailed **"},
    {MISSING_SCALE_FACTOR, "** ScaleFactor                                            **"},
    {MISSING_SPECTRUM, "** Spectrum                                               **"},
    {MISSING_AVHRR, "** Avhrrdata                                              **"},
    {MISSING_FRACTION, "** Cloudfraction                                          **"},
    {MISSING_L2, "** L2 data                                                **"},
};

}  // namespace

void CExtractor::ReportCounts(const CConfigParam* pConfig) const {
  CReporter::Line("");
  for (const Stream& stream : m_arStreams) {
    if (!stream.bActive) continue;
    const char* szKind = stream.pProduct->szName;
    CReporter::Print("%ld %s data selected out of %ld\n", static_cast<long>(stream.pReader->PixelsSelected),
                     szKind, static_cast<long>(stream.pReader->PixelsRead));
    for (int i = 0; i < pConfig->arBoxes.Count(); ++i)
      CReporter::Print("\tIn box %s: %ld %s data selected\n", pConfig->arBoxes[i]->Name(),
                       static_cast<long>(stream.arnBoxPixels[i]), szKind);
  }
}

void CExtractor::ReportDayOne(const CConfigParam* pConfig) const {
  const bool bStat = pConfig->nFormat == CConfigParam::FORMAT_TXTSTAT;
  const bool bCloud = pConfig->FiltersMinCloud() || pConfig->FiltersMaxCloud();
  const struct {
    bool bShown;
    const char* szText;
  } arWarnings[] = {
      {bCloud, "** WARNING: filtering on cloud amount requested           **"},
      {bStat && pConfig->bBoxStat, "** WARNING: boxstat requested                             **"},
      {pConfig->landFraction.bOn, "** WARNING: filtering on land fraction requested          **"},
      {pConfig->snowFraction.bOn, "** WARNING: filtering on snow fraction requested          **"},
      {pConfig->averageIIS.bOn, "** WARNING: filtering on average IIS requested            **"},
      // shown with the filter on the average, as ever
      {pConfig->averageIIS.bOn, "** WARNING: filtering on variance IIS requested           **"},
  };
  for (const auto& warning : arWarnings) {
    if (!warning.bShown) continue;
    CReporter::Line(FRAME);
    CReporter::Line(warning.szText);
    CReporter::Line(bStat ? "** on a day 1 archive, no record is being returned        **"
                          : "** on a day 1 archive, all records are being returned     **");
    CReporter::Line(FRAME);
  }
}

void CExtractor::DisplayMissingFlags(uint64_t nFlags) const {
  CReporter::Line(FRAME);
  CReporter::Line("** WARNING: missing data into the archive                 **");
  for (const SMissingText& text : MISSING_TEXTS)
    if (nFlags & text.nFlag) CReporter::Line(text.szText);
  for (const Stream& stream : m_arStreams)
    if (stream.bActive && (nFlags & stream.pProduct->nMissingFlag))
      CReporter::Print("** %s data                                               **\n",
                       stream.pProduct->szName);
  CReporter::Line(FRAME);
}
