#include "stat/RadiancePrinter.h"

#include <string>

#include "prod/ChannelSelection.h"
#include "stat/Classes.h"
#include "stat/HistoMultiPix.h"
#include "stat/StatHeader.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

void CRadiancePrinter::PrintComments(CStatTable& table, int nPosition) const {
  const auto& counts = m_histo.Position(nPosition);
  m_header.Print(table, "Histogram of the radiances of each channel");
  table.Comment("Set: " + PositionText(nPosition));
  table.Comment(std::string("Value: radiance, ") + RADIANCE_UNIT +
                "; a column holds the counts of the channel it is named after");
  table.Comment(CLASS_RULE);
  table.Comment("Pixels: " + std::to_string(counts.Pixels()));
  table.Comment("Radiances of all channels: " + OutsideText(counts));
}

void CRadiancePrinter::Print(CStatTable& table, int nPosition) const {
  PrintComments(table, nPosition);
  table.Names("", {"ClassMin", "ClassMax"});
  for (const int nChannel : m_selection.Channels()) table.Int(nChannel);
  table.EndRow();
  const CClasses& classes = m_histo.Classes();
  for (int i = 0; i < classes.Count(); ++i) {
    table.Real(classes.Edge(i));
    table.Real(classes.Edge(i + 1));
    for (int j = 0; j < m_selection.Columns(); ++j) table.Int(m_histo.Position(nPosition).Class(j, i));
    table.EndRow();
  }
}
