#include "stat/RadiancePrinter.h"

#include <string>

#include "prod/ChannelSelection.h"
#include "stat/Classes.h"
#include "stat/HistoMultiPix.h"
#include "stat/StatColumn.h"
#include "stat/StatHeader.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

void CRadiancePrinter::PrintComments(CStatTable& table, int nPosition) const {
  const auto& counts = m_histo.Position(nPosition);
  m_header.Print(table, RADIANCE_FILE.szTitle);
  table.Comment("Set: " + PositionText(nPosition));
  table.Comment(std::string("Value: radiance, ") + RADIANCE_UNIT +
                "; a column holds the counts of the channel it is named after");
  table.Comment(CLASS_RULE);
  table.Comment("Pixels: " + std::to_string(counts.Pixels()));
  table.Comment("Radiances of all channels: " + OutsideText(counts));
}

void CRadiancePrinter::Print(CStatTable& table, int nPosition) const {
  PrintComments(table, nPosition);
  const CStatColumns columns(RADIANCE_FILE, false, m_selection.Channels());
  columns.PrintNames(table);
  SStatRow row;
  row.pCounts = &m_histo.Position(nPosition);
  for (row.nClass = 0; row.nClass < m_histo.Classes().Count(); ++row.nClass) {
    for (int i = 0; i < 2; ++i) row.arfEdges[i] = m_histo.Classes().Edge(row.nClass + i);
    columns.PrintRow(table, row);
  }
}
