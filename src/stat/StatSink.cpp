#include "stat/StatSink.h"

#include <string>

#include "app/ConfigParam.h"
#include "output/Record.h"
#include "prod/ChannelSelection.h"
#include "stat/BoxPrinter.h"
#include "stat/BoxStat.h"
#include "stat/Histo.h"
#include "stat/HistoKind.h"
#include "stat/HistoMultiPix.h"
#include "stat/HistoPrinter.h"
#include "stat/MultiPixStat.h"
#include "stat/RadiancePrinter.h"
#include "stat/SpeMultiStat.h"
#include "stat/SpectraPrinter.h"
#include "stat/StTpStat.h"
#include "stat/StatHeader.h"
#include "stat/StatText.h"

CStatSink::CStatSink(const CConfigParam& config, const CChannelSelection& selection)
    : m_config(config), m_selection(selection), m_accumulator(selection.Columns()) {}

bool CStatSink::Open(const char* szPath, CInputFiles& inputs, CRunResult& result) {
  m_files.emplace(szPath, inputs, result);
  return m_config.bSurfacePeriodStat || m_files->OpenMain();
}

void CStatSink::Begin(const bool (&arbActive)[PRODUCTS]) {
  m_set.emplace(m_config, m_selection.Columns(), arbActive, m_files->Path(), m_files->Result());
}

bool CStatSink::WriteHeader(int, int nSatellite) {
  m_nSatellite = nSatellite;
  return true;
}

bool CStatSink::Write(int, const SRecordView& record) {
  for (int i = 0; i < PRODUCTS; ++i) {
    const auto [pProd, nPixel] = record.arPixels[i];
    if (!pProd) continue;
    m_accumulator.Add(*m_set, i, *pProd, nPixel);
    m_arnTaken[i] += i == PRODUCT_L1C || m_config.bBoxStat;
  }
  return true;
}

bool CStatSink::HasTaken(int64_t nLimit) const {
  for (int i = 0; i < PRODUCTS; ++i)
    if (m_config.IsRequested(i) && m_arnTaken[i] < nLimit) return false;
  return true;
}

void CStatSink::End() {
  const CStatHeader header(m_config, m_nSatellite);
  WriteSpectra(header);
  WriteSurfacePeriod(header);
  WriteHistos(header);
  WriteRadiances(header);
  WriteBoxes(header);
}

void CStatSink::WriteSpectra(const CStatHeader& header) {
  if (!m_set->pSpectra) return;
  const CSpectraPrinter printer(m_config, m_selection, header);
  m_files->WriteMain([&](CStatTable& table) { printer.Print(table, *m_set->pSpectra, PositionText(0)); });
}

void CStatSink::WriteSurfacePeriod(const CStatHeader& header) {
  if (!m_set->pSurfacePeriod) return;
  constexpr const char *SURFACES[] = {"all", "sea", "land"}, *PERIODS[] = {"all", "day", "night"};
  CStTpStat& cells = *m_set->pSurfacePeriod;
  const CSpectraPrinter printer(m_config, m_selection, header);
  const auto write = [&](const std::string& szSuffix, const std::string& szSet, CSpeMultiStat stat) {
    m_files->Write(szSuffix + ".txtstat.txt", [&](CStatTable& table) { printer.Print(table, stat, szSet); });
  };
  write("", PositionText(0), cells.Union(0, 0));
  for (int i = 1; i < 9; ++i) {
    const std::string szSurface = SURFACES[i / 3], szPeriod = PERIODS[i % 3];
    write("." + szSurface + "." + szPeriod, "surface " + szSurface + ", time of day " + szPeriod,
          cells.Union(i / 3, i % 3));
  }
  for (int i = 1; i <= SPosition::COUNT; ++i)
    write(".pix" + std::to_string(i), PositionText(i), cells.Position(i));
}

void CStatSink::WriteHistos(const CStatHeader& header) {
  for (const auto& pHisto : m_set->arpHistos)
    m_files->Write(pHisto->Kind().szSuffix,
                   [&](CStatTable& table) { CHistoPrinter(*pHisto, header).Print(table); });
}

void CStatSink::WriteRadiances(const CStatHeader& header) {
  if (!m_set->pRadiances) return;
  CHistoMultiPix& radiances = *m_set->pRadiances;
  radiances.Close();
  const CRadiancePrinter printer(radiances, m_selection, header);
  for (int i = 0; i < radiances.Sets(); ++i)
    m_files->Write(CHistoMultiPix::Suffix(i), [&](CStatTable& table) { printer.Print(table, i); });
}

void CStatSink::WriteBoxes(const CStatHeader& header) {
  if (!m_set->pBoxes) return;
  m_files->Write(CBoxStat::SUFFIX,
                 [&](CStatTable& table) { CBoxPrinter(*m_set->pBoxes, header).Print(table); });
}
