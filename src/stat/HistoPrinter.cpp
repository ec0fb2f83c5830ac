#include "stat/HistoPrinter.h"

#include <cstdint>
#include <string>

#include "prod/Physics.h"
#include "stat/Classes.h"
#include "stat/Histo.h"
#include "stat/HistoKind.h"
#include "stat/Moments.h"
#include "stat/MultiPixStat.h"
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
  m_header.Print(table, "Histogram of one value a pixel");
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

void CHistoPrinter::PrintNames(CStatTable& table) const {
  table.Names("", {"ClassMin", "ClassMax"});
  for (int i = 0; i <= SPosition::COUNT; ++i) {
    table.Names(Prefix(i), {"Count", "Average"});
    if (m_histo.Kind().bTemperature) table.Names(Prefix(i), {"Temperature"});
    table.Names(Prefix(i), {"StdDev"});
  }
  table.EndRow();
}

void CHistoPrinter::PrintClass(CStatTable& table, int nClass) const {
  table.Real(m_histo.Classes().Edge(nClass));
  table.Real(m_histo.Classes().Edge(nClass + 1));
  for (int i = 0; i <= SPosition::COUNT; ++i) {
    const SMoments& moments = m_histo.Position(i).Class(nClass);
    table.Int(moments.Count());
    table.Real(moments.Average());
    if (m_histo.Kind().bTemperature) table.Real(CPhysics::ImagerTemperature(moments.Average()));
    table.Real(moments.StdDev());
  }
  table.EndRow();
}

void CHistoPrinter::Print(CStatTable& table) const {
  PrintComments(table);
  PrintNames(table);
  for (int i = 0; i < m_histo.Classes().Count(); ++i) PrintClass(table, i);
}
