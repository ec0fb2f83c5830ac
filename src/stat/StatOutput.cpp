#include "stat/StatOutput.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "bufr/BUFRReaderL1C.h"
#include "prod/Physics.h"
#include "stat/StatFilters.h"

namespace {

constexpr const char* RADIANCE = "W/(m2 sr m-1)";
constexpr const char* STREAM_NAMES[CBoxStat::STREAMS] = {"L1C", "ozo", "trg", "clp", "twt", "ems"};

double Percent(const IntColumn& column, int nPixel) {
  const int64_t nValue = column[nPixel];
  return nValue == CProd::DEFAULT_VALUE_M1 ? SMean::MISSING : static_cast<double>(nValue);
}

/// The histograms of one value a pixel, in the order of their files.
constexpr struct {
  EHisto eHisto;
  const char* szSuffix;
  const char* szValue;
  const char* szUnit;
  double (*pValue)(const CProdL1C&, int nPixel);
  bool bTemperature;  // of the averages, as imager radiances
} HISTOS[] = {
    {HISTO_LAT, ".HistoLatitude.txt", "latitude", "degrees",
     [](const CProdL1C& prod, int nPixel) { return prod.Latitude[nPixel]; }, false},
    {HISTO_CLOUD, ".HistoCloud.txt", "cloud fraction", "percent",
     [](const CProdL1C& prod, int nPixel) { return Percent(prod.CloudFraction, nPixel); }, false},
    {HISTO_LAND, ".HistoLand.txt", "land fraction", "percent",
     [](const CProdL1C& prod, int nPixel) { return Percent(prod.LandFraction, nPixel); }, false},
    {HISTO_SNOW, ".HistoSnow.txt", "snow fraction", "percent",
     [](const CProdL1C& prod, int nPixel) { return Percent(prod.SnowFraction, nPixel); }, false},
    {HISTO_AVG, ".HistoAvg.txt", "imager average", RADIANCE,
     [](const CProdL1C& prod, int nPixel) { return prod.AverageIIS[nPixel]; }, true},
    {HISTO_VAR, ".HistoVar.txt", "imager variance", "as in the product",
     [](const CProdL1C& prod, int nPixel) { return prod.VarianceIIS[nPixel]; }, false},
};
constexpr const char* HISTO_PIX_SUFFIX = ".HistoPix";
constexpr const char* BOX_SUFFIX = ".boxstat";

std::vector<int> SelectedChannels(const CConfigParam& config) {
  std::vector<bool> arbSelected(CBUFRReaderL1C::CHANNELS + 1);
  for (int i = 0; i < config.arChannels.Count(); ++i)
    for (int n = std::max(config.arChannels[i]->nMin, 1);
         n <= std::min(config.arChannels[i]->nMax, CBUFRReaderL1C::CHANNELS); ++n)
      arbSelected[n] = true;
  std::vector<int> arChannels;
  for (int n = 1; n <= CBUFRReaderL1C::CHANNELS; ++n)
    if (arbSelected[n]) arChannels.push_back(n);
  return arChannels;
}

std::string Date(const SDate& date) {
  char szText[64];
  std::snprintf(szText, sizeof szText, "%04d-%02d-%02d", date.nYear, date.nMonth, date.nDay);
  return szText;
}

std::string Count(int64_t nCount, const char* szWhat) { return std::to_string(nCount) + " " + szWhat; }

std::string Outside(const auto& counts) {
  return Count(counts.Below(), "below, ") + Count(counts.Above(), "above, ") +
         Count(counts.Missing(), "missing");
}

std::string PositionName(int nPosition) {
  return nPosition ? std::string("Pix") + std::to_string(nPosition) : "";
}

constexpr const char* POSITION_RULE = " (FieldOfViewNumber mod 4 + 1)";
constexpr const char* CLASS_RULE =
    "A class holds ClassMin and what lies between it and ClassMax, the last class also its ClassMax";
constexpr const char* DEVIATION_RULE = "StdDev divides by Count - 1 and is 0 for one value";

}  // namespace

CStatOutput::CStatOutput(const CConfigParam* pConfig, const bool* parbActive)
    : m_pConfig(pConfig),
      m_arChannels(SelectedChannels(*pConfig)),
      m_rows(static_cast<int>(m_arChannels.size())) {
  std::copy_n(parbActive, CBoxStat::STREAMS, m_bActive);
  const int nColumns = static_cast<int>(m_arChannels.size());
  const bool bFour = pConfig->bSkewnessKurtosis, bExtended = pConfig->bSurfacePeriodStat;
  if (bExtended)
    m_pSurfacePeriod = std::make_unique<CStTpStat>(nColumns, bFour);
  else
    m_pSpectra = std::make_unique<CSpeMultiStat>(nColumns, bFour);
  for (const auto& histo : HISTOS) {
    const SHistoParam& param = pConfig->arHistos[histo.eHisto];
    if (param.bOn) m_arpHistos[histo.eHisto] = Make<CHisto>(histo.szSuffix, CHisto::Size(param), param);
  }
  const SHistoParam& radiances = pConfig->arHistos[HISTO_PIX];
  if (radiances.bOn)
    m_pHistoPix = Make<CHistoMultiPix>(std::string(HISTO_PIX_SUFFIX) + ".txt",
                                       CHistoMultiPix::Size(radiances, nColumns, bExtended), radiances,
                                       nColumns, bExtended);
  const int nLatitudes = pConfig->nBoxStatLatitudes, nLongitudes = pConfig->nBoxStatLongitudes;
  if (pConfig->bBoxStat)
    m_pBoxStat = Make<CBoxStat>(BOX_SUFFIX, CBoxStat::Size(nLatitudes, nLongitudes, parbActive), nLatitudes,
                                nLongitudes, parbActive);
}

/// Null, with a message, when there is no room.
template <class T, class... TArguments>
std::unique_ptr<T> CStatOutput::Make(const std::string& szSuffix, double fSize,
                                     const TArguments&... arguments) {
  try {
    if (fSize <= SIZE_MAX_BYTES) return std::make_unique<T>(arguments...);
  } catch (const std::bad_alloc&) {
  }
  std::printf("ERROR: %s%s would need more memory than there may be (1 GB), it is not written\n",
              m_pConfig->szOutputPath.get(), szSuffix.c_str());
  m_bOk = false;
  return nullptr;
}

bool CStatOutput::Add(int nStream, const CProd* pProd, int nPixel) {
  if (m_pBoxStat) m_pBoxStat->Add(nStream, *pProd, nPixel);
  if (nStream == 0) AddL1C(*static_cast<const CProdL1C*>(pProd), nPixel);
  return nStream == 0 || m_pConfig->bBoxStat;
}

void CStatOutput::AddL1C(const CProdL1C& prod, int nPixel) {
  const SSpectrumRow row = m_rows.Row(prod.Spectrum, prod.KeptRow(nPixel).nRow);
  const int64_t nCloud = prod.CloudFraction[nPixel], nFieldOfView = prod.FieldOfViewNumber[nPixel];
  if (m_pSpectra) m_pSpectra->Add(row, nCloud);
  if (m_pSurfacePeriod)
    m_pSurfacePeriod->Add(row, nCloud, nFieldOfView, prod.SurfaceType[nPixel], prod.SolarZenithAngle[nPixel]);
  if (m_pHistoPix) m_pHistoPix->Add(row, nFieldOfView);
  for (const auto& histo : HISTOS)
    if (m_arpHistos[histo.eHisto]) m_arpHistos[histo.eHisto]->Add(histo.pValue(prod, nPixel), nFieldOfView);
}

/// Prints a line of its own.
void CStatOutput::Message(const std::string& szText) {
  if (m_bLineOpen) std::putchar('\n');
  std::puts(szText.c_str());
  m_bLineOpen = false;
}

/// Fills an open file by write(table) and closes it.
template <class TWrite>
void CStatOutput::WriteOpen(CStreamWriter& writer, const std::string& szPath, TWrite write) {
  CStatTable table(writer);
  write(table);
  if (writer.Close()) {
    std::printf("\nOutput file %s written", szPath.c_str());
    m_bLineOpen = true;
    return;
  }
  m_bOk = false;
  if (!m_bWriteFailed) Message("ERROR: Writing failure!");
  m_bWriteFailed = true;
}

template <class TWrite>
void CStatOutput::WriteFile(const std::string& szSuffix, TWrite write) {
  const std::string szPath = m_pConfig->szOutputPath.get() + szSuffix;
  CStreamWriter writer;
  if (writer.Open(szPath.c_str(), false)) {
    WriteOpen(writer, szPath, write);
  } else {
    Message("ERROR: ouverture fichier " + szPath);
    m_bOk = false;
  }
}

bool CStatOutput::Close(CStreamWriter* pMain, int nSatellite) {
  m_nSatellite = nSatellite;
  if (m_pSurfacePeriod)
    WriteSurfacePeriod();
  else if (pMain)
    WriteOpen(*pMain, m_pConfig->szOutputPath.get(),
              [this](CStatTable& table) { WriteSpectra(table, *m_pSpectra, "all pixels"); });
  for (size_t i = 0; i < std::size(HISTOS); ++i)
    if (m_arpHistos[HISTOS[i].eHisto])
      WriteFile(HISTOS[i].szSuffix, [=, this](CStatTable& table) { WriteHisto(table, static_cast<int>(i)); });
  if (m_pHistoPix) {
    m_pHistoPix->Close();
    for (int i = 0; i <= (m_pSurfacePeriod ? SPosition::COUNT : 0); ++i)
      WriteFile(HISTO_PIX_SUFFIX + (i ? std::string(".pix") + std::to_string(i) : "") + ".txt",
                [=, this](CStatTable& table) { WriteHistoPix(table, i); });
  }
  if (m_pBoxStat) WriteFile(BOX_SUFFIX, [this](CStatTable& table) { WriteBoxStat(table); });
  return m_bOk;
}

void CStatOutput::WriteSurfacePeriod() {
  constexpr const char *SURFACES[] = {"all", "sea", "land"}, *PERIODS[] = {"all", "day", "night"};
  constexpr const char* SUFFIX = ".txtstat.txt";
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const std::string szSurface = SURFACES[i], szPeriod = PERIODS[j];
      WriteFile(i + j ? "." + szSurface + "." + szPeriod + SUFFIX : SUFFIX, [&](CStatTable& table) {
        CSpeMultiStat stat = m_pSurfacePeriod->Union(i, j);
        WriteSpectra(table, stat,
                     i + j ? "surface " + szSurface + ", time of day " + szPeriod : "all pixels");
      });
    }
  }
  for (int i = 1; i <= SPosition::COUNT; ++i) {
    WriteFile(std::string(".pix") + std::to_string(i) + SUFFIX, [&](CStatTable& table) {
      CSpeMultiStat stat = m_pSurfacePeriod->Position(i);
      WriteSpectra(table, stat, "pixel position " + std::to_string(i) + POSITION_RULE);
    });
  }
}

/// The lines that all files begin with.
void CStatOutput::WriteHeader(CStatTable& table, const char* szTitle) const {
  table.Comment(szTitle);
  table.Comment("Satellite: " + (m_nSatellite < 0 ? "unknown" : std::to_string(m_nSatellite)));
  table.Comment("Dates: " + Date(m_pConfig->firstDate) + " to " + Date(m_pConfig->lastDate));
  const auto arFilters = FiltersInForce(*m_pConfig);
  if (arFilters.empty()) table.Comment("Filters: none");
  for (const std::string& szFilter : arFilters) table.Comment("Filter: " + szFilter);
}

void CStatOutput::WriteSpectraHeader(CStatTable& table, const CSpeMultiStat& stat,
                                     const std::string& szSet) const {
  const float fReference = m_pConfig->fReferenceTemperature;
  WriteHeader(table, "Statistics of the radiances of each channel");
  table.Comment("Set: " + szSet);
  table.Comment("Pixels: " + Count(stat.Pixels(CSpeMultiStat::ALL), "all, ") +
                Count(stat.Pixels(CSpeMultiStat::CLEAR), "clear, ") +
                Count(stat.Pixels(CSpeMultiStat::CLOUDY), "cloudy"));
  table.Comment(
      "Clear: CloudFraction 0; cloudy: CloudFraction 95 or more; other pixels and those without: in all "
      "only");
  table.Comment("WaveNumber: cm-1");
  if (m_pConfig->bBrightnessTemperature) {
    table.Comment("Average: K, brightness temperature of the mean radiance, 0 where that is not above 0");
    table.Comment(
        std::string("StdDev: K, deviation of the radiances over the slope of the Planck function at ") +
        (fReference > 0 ? "the temperature given with -tbref" : "Average"));
  } else {
    table.Comment(std::string("Average, StdDev: ") + RADIANCE);
  }
  table.Comment(DEVIATION_RULE);
  if (m_pConfig->bSkewnessKurtosis)
    table.Comment(
        "Skewness: m3 / m2^1.5; Kurtosis: m4 / m2^2 - 3; 0 where m2 is 0; m2, m3, m4 divide by Count");
  table.Comment("Missing radiances are not counted; without a counted value: -777, a temperature 0");
}

void CStatOutput::WriteSpectra(CStatTable& table, CSpeMultiStat& stat, const std::string& szSet) const {
  WriteSpectraHeader(table, stat, szSet);
  table.Text("Channel");
  table.Text("WaveNumber");
  for (const std::string szPrefix : {"All", "Clear", "Cloudy"}) {
    for (const char* szName : {"Count", "Average", "StdDev"}) table.Text(szPrefix + szName);
    if (!m_pConfig->bSkewnessKurtosis) continue;
    for (const char* szName : {"Skewness", "Kurtosis"}) table.Text(szPrefix + szName);
  }
  table.EndRow();
  const CSpeStat arSets[] = {stat.Set(CSpeMultiStat::ALL), stat.Set(CSpeMultiStat::CLEAR),
                             stat.Set(CSpeMultiStat::CLOUDY)};
  for (size_t i = 0; i < m_arChannels.size(); ++i) {
    table.Int(m_arChannels[i]);
    table.Real(CPhysics::WaveNumber(m_arChannels[i]));
    for (const CSpeStat& set : arSets) WriteMoments(table, m_arChannels[i], set.Moments(static_cast<int>(i)));
    table.EndRow();
  }
}

void CStatOutput::WriteMoments(CStatTable& table, int nChannel, const SMoments& moments) const {
  table.Int(moments.Count());
  if (m_pConfig->bBrightnessTemperature) {
    const double fWaveNumber = CPhysics::WaveNumber(nChannel), fReference = m_pConfig->fReferenceTemperature;
    const double fAverage = CPhysics::BrightnessTemperature(fWaveNumber, moments.Average());
    table.Real(fAverage);
    table.Real(moments.Empty() ? 0
                               : CPhysics::TemperatureDeviation(fWaveNumber, moments.StdDev(),
                                                                fReference > 0 ? fReference : fAverage));
  } else {
    table.Real(moments.Average());
    table.Real(moments.StdDev());
  }
  if (!m_pConfig->bSkewnessKurtosis) return;
  table.Real(moments.Skewness());
  table.Real(moments.Kurtosis());
}

void CStatOutput::WriteHistoHeader(CStatTable& table, int nHisto) const {
  const auto& row = HISTOS[nHisto];
  const CHisto& histo = *m_arpHistos[row.eHisto];
  WriteHeader(table, "Histogram of one value a pixel");
  table.Comment(std::string("Value: ") + row.szValue + ", " + row.szUnit);
  table.Comment(CLASS_RULE);
  table.Comment("Pix1 to Pix4: pixel positions, FieldOfViewNumber mod 4 + 1");
  for (int i = 0; i <= SPosition::COUNT; ++i) {
    int64_t nCounted = 0;
    for (int j = 0; j < histo.Classes().Count(); ++j) nCounted += histo.Position(i).Class(j).Count();
    table.Comment((i ? PositionName(i) : "All pixels") + ": " + Count(nCounted, "counted, ") +
                  Outside(histo.Position(i)));
  }
  table.Comment(DEVIATION_RULE);
  if (row.bTemperature) table.Comment("Temperature: K, of Average in the imager band, 0 in an empty class");
  table.Comment("Average and StdDev of an empty class: -777");
  table.Text("ClassMin");
  table.Text("ClassMax");
  for (int i = 0; i <= SPosition::COUNT; ++i) {
    table.Text(PositionName(i) + "Count");
    table.Text(PositionName(i) + "Average");
    if (row.bTemperature) table.Text(PositionName(i) + "Temperature");
    table.Text(PositionName(i) + "StdDev");
  }
  table.EndRow();
}

void CStatOutput::WriteHisto(CStatTable& table, int nHisto) const {
  const CHisto& histo = *m_arpHistos[HISTOS[nHisto].eHisto];
  WriteHistoHeader(table, nHisto);
  for (int j = 0; j < histo.Classes().Count(); ++j) {
    table.Real(histo.Classes().Edge(j));
    table.Real(histo.Classes().Edge(j + 1));
    for (int i = 0; i <= SPosition::COUNT; ++i) {
      const SMoments& moments = histo.Position(i).Class(j);
      table.Int(moments.Count());
      table.Real(moments.Average());
      if (HISTOS[nHisto].bTemperature) table.Real(CPhysics::ImagerTemperature(moments.Average()));
      table.Real(moments.StdDev());
    }
    table.EndRow();
  }
}

void CStatOutput::WriteHistoPix(CStatTable& table, int nPosition) const {
  const CClasses& classes = m_pHistoPix->Classes();
  const auto& counts = m_pHistoPix->Position(nPosition);
  WriteHeader(table, "Histogram of the radiances of each channel");
  table.Comment("Set: " + (nPosition ? "pixel position " + std::to_string(nPosition) + POSITION_RULE
                                     : std::string("all pixels")));
  table.Comment(std::string("Value: radiance, ") + RADIANCE +
                "; a column holds the counts of the channel it is named after");
  table.Comment(CLASS_RULE);
  table.Comment("Pixels: " + std::to_string(counts.Pixels()));
  table.Comment("Radiances of all channels: " + Outside(counts));
  table.Text("ClassMin");
  table.Text("ClassMax");
  for (const int nChannel : m_arChannels) table.Int(nChannel);
  table.EndRow();
  for (int i = 0; i < classes.Count(); ++i) {
    table.Real(classes.Edge(i));
    table.Real(classes.Edge(i + 1));
    for (size_t j = 0; j < m_arChannels.size(); ++j) table.Int(counts.Class(static_cast<int>(j), i));
    table.EndRow();
  }
}

void CStatOutput::WriteBoxHeader(CStatTable& table) const {
  const CBoxStat& boxes = *m_pBoxStat;
  WriteHeader(table, "Statistics of the pixels on a grid of latitude and longitude");
  table.Comment("Cells: " + std::to_string(boxes.Latitudes().Count()) + " by " +
                std::to_string(boxes.Longitudes().Count()) +
                ", from south to north and west to east, in degrees");
  table.Comment(
      "A cell holds its LatMin and LonMin; the last ones to the north and the east also LatMax and LonMax");
  for (int i = 0; i < CBoxStat::STREAMS; ++i)
    if (m_bActive[i])
      table.Comment(std::string(STREAM_NAMES[i]) + " pixels: " + Count(boxes.Inside(i), "in cells, ") +
                    Count(boxes.Outside(i), "without a cell"));
  for (const CBoxStat::SColumn* pColumn : boxes.Columns())
    if (pColumn->szUnit) table.Comment(std::string(pColumn->szName) + ": mean, " + pColumn->szUnit);
  if (m_bActive[0]) table.Comment("Clear: CloudFraction 0; cloudy: CloudFraction 95 or more");
  table.Comment("Counts are of pixels, with or without values; without a value a mean is -777");
  for (const char* szName : {"LatMin", "LatMax", "LonMin", "LonMax"}) table.Text(szName);
  for (const CBoxStat::SColumn* pColumn : boxes.Columns()) table.Text(pColumn->szName);
  table.EndRow();
}

void CStatOutput::WriteBoxStat(CStatTable& table) const {
  const CBoxStat& boxes = *m_pBoxStat;
  const int nColumns = static_cast<int>(boxes.Columns().size());
  WriteBoxHeader(table);
  for (int i = 0; i < boxes.Latitudes().Count(); ++i) {
    for (int j = 0; j < boxes.Longitudes().Count(); ++j) {
      for (const double fEdge : {boxes.Latitudes().Edge(i), boxes.Latitudes().Edge(i + 1),
                                 boxes.Longitudes().Edge(j), boxes.Longitudes().Edge(j + 1)})
        table.Real(fEdge);
      for (int k = 0; k < nColumns; ++k) {
        const SMean& mean = boxes.Cell(i, j, k);
        boxes.Columns()[k]->szUnit ? table.Real(mean.Average()) : table.Int(mean.Count());
      }
      table.EndRow();
    }
  }
}
