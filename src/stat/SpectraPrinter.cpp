#include "stat/SpectraPrinter.h"

#include <cstddef>
#include <vector>

#include "app/ConfigParam.h"
#include "prod/ChannelSelection.h"
#include "stat/Moments.h"
#include "stat/SpeMultiStat.h"
#include "stat/SpeStat.h"
#include "stat/StatColumn.h"
#include "stat/StatHeader.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

namespace {
constexpr CSpeMultiStat::ESet SETS[] = {CSpeMultiStat::ALL, CSpeMultiStat::CLEAR, CSpeMultiStat::CLOUDY};
}

void CSpectraPrinter::PrintUnits(CStatTable& table) const {
  table.Comment("WaveNumber: cm-1");
  if (!m_config.bBrightnessTemperature) {
    table.Comment(std::string("Average, StdDev: ") + RADIANCE_UNIT);
    return;
  }
  table.Comment("Average: K, brightness temperature of the mean radiance, 0 where that is not above 0");
  table.Comment(
      std::string("StdDev: K, deviation of the radiances over the slope of the Planck function at ") +
      (m_config.fReferenceTemperature > 0 ? "the temperature given with -tbref" : "Average"));
}

void CSpectraPrinter::PrintComments(CStatTable& table, const CSpeMultiStat& stat,
                                    const std::string& szSet) const {
  m_header.Print(table, SPECTRAL_FILE.szTitle);
  table.Comment("Set: " + szSet);
  table.Comment("Pixels: " + CountText(stat.Pixels(CSpeMultiStat::ALL), "all, ") +
                CountText(stat.Pixels(CSpeMultiStat::CLEAR), "clear, ") +
                CountText(stat.Pixels(CSpeMultiStat::CLOUDY), "cloudy"));
  table.Comment(std::string(SKY_RULE) + "; other pixels and those without: in all only");
  PrintUnits(table);
  table.Comment(DEVIATION_RULE);
  if (m_config.bSkewnessKurtosis)
    table.Comment(
        "Skewness: m3 / m2^1.5; Kurtosis: m4 / m2^2 - 3; 0 where m2 is 0; m2, m3, m4 divide by Count");
  table.Comment("Missing radiances are not counted; without a counted value: -777, a temperature 0");
}

void CSpectraPrinter::Print(CStatTable& table, CSpeMultiStat& stat, const std::string& szSet) const {
  PrintComments(table, stat, szSet);
  const CStatColumns columns(SPECTRAL_FILE, m_config.bSkewnessKurtosis);
  columns.PrintNames(table);
  std::vector<CSpeStat> arSets;
  for (const auto eSet : SETS) arSets.push_back(stat.Set(eSet));
  SStatRow row;
  row.pConfig = &m_config;
  for (int i = 0; i < m_selection.Columns(); ++i) {
    row.nChannel = m_selection.Channel(i);
    for (size_t j = 0; j < arSets.size(); ++j) row.arMoments[j] = arSets[j].Moments(i);
    columns.PrintRow(table, row);
  }
}
