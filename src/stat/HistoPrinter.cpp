#include "stat/HistoPrinter.h"

#include <cstdint>
#include <string>

#include "stat/Classes.h"
#include "stat/Histo.h"
#include "stat/HistoKind.h"
#include "stat/Moments.h"
#include "stat/MultiPixStat.h"
#include "stat/StatColumn.h"
#include "stat/StatHeader.h"
#include "stat/StatHisto.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

namespace {

/// Before the names of a position's columns; none for all pixels.
std::string Prefix(int nPosition) { return nPosition ? "Pix" + std::to_string(nPosition) : ""; }

int64_t Counted(const CHisto& histo, int nPosition) {
  int64_t nCounted = 0;
  for (int i = 0; i < histo.Classes().Count(); ++i) nCounted += histo.Position(nPosition).Class(i).Count();
  return nCounted;
}

}  // namespace

void CHistoPrinter::PrintComments(CStatTable& table) const {
  const SHistoKind& kind = m_histo.Kind();
  m_header.Print(table, HISTOGRAM_FILE.szTitle);
  table.Comment(std::string("Value: ") + kind.szValue + ", " + kind.szUnit);
  table.Comment(CLASS_RULE);
  table.Comment(std::string("Pix1 to Pix4: pixel positions, ") + POSITION_RULE);
  for (int i = 0; i <= SPosition::COUNT; ++i)
    table.Comment((i ? Prefix(i) : "All pixels") + ": " + CountText(Counted(m_histo, i), "counted, ") +
                  OutsideText(m_histo.Position(i)));
  table.Comment(DEVIATION_RULE);
  if (kind.bTemperature) table.Comment("Temperature: K, of Average in the imager band, 0 in an empty class");
  table.Comment("Average and StdDev of an empty class: -777");
}

void CHistoPrinter::Print(CStatTable& table) const {
  PrintComments(table);
  const CStatColumns columns(HISTOGRAM_FILE, m_histo.Kind().bTemperature);
  columns.PrintNames(table);
  SStatRow row;
  for (int i = 0; i < m_histo.Classes().Count(); ++i) {
    for (int j = 0; j < 2; ++j) row.arfEdges[j] = m_histo.Classes().Edge(i + j);
    for (int j = 0; j <= SPosition::COUNT; ++j) row.arMoments[j] = m_histo.Position(j).Class(i);
    columns.PrintRow(table, row);
  }
}
