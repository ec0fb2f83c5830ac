#include "stat/BoxPrinter.h"

#include <string>

#include "prod/ProductKind.h"
#include "stat/BoxStat.h"
#include "stat/Classes.h"
#include "stat/Moments.h"
#include "stat/StatHeader.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

namespace {
std::string NameOf(const CBoxStat::SColumn& column) {
  return std::string(PRODUCT_KINDS[column.eProduct].szName) + column.szName;
}
}  // namespace

void CBoxPrinter::PrintComments(CStatTable& table) const {
  m_header.Print(table, "Statistics of the pixels on a grid of latitude and longitude");
  table.Comment("Cells: " + std::to_string(m_boxes.Latitudes().Count()) + " by " +
                std::to_string(m_boxes.Longitudes().Count()) +
                ", from south to north and west to east, in degrees");
  table.Comment(
      "A cell holds its LatMin and LonMin; the last ones to the north and the east also LatMax and LonMax");
  for (int i = 0; i < PRODUCTS; ++i)
    if (m_boxes.IsActive(i))
      table.Comment(std::string(PRODUCT_KINDS[i].szName) +
                    " pixels: " + CountText(m_boxes.Inside(i), "in cells, ") +
                    CountText(m_boxes.Outside(i), "without a cell"));
  for (const CBoxStat::SColumn* pColumn : m_boxes.Columns())
    if (pColumn->szUnit) table.Comment(NameOf(*pColumn) + ": mean, " + pColumn->szUnit);
  if (m_boxes.IsActive(PRODUCT_L1C)) table.Comment(SKY_RULE);
  table.Comment("Counts are of pixels, with or without values; without a value a mean is -777");
}

void CBoxPrinter::PrintCell(CStatTable& table, int nLatitude, int nLongitude) const {
  for (const int i : {nLatitude, nLatitude + 1}) table.Real(m_boxes.Latitudes().Edge(i));
  for (const int i : {nLongitude, nLongitude + 1}) table.Real(m_boxes.Longitudes().Edge(i));
  const SMean* pMean = m_boxes.Cell(nLatitude, nLongitude);
  for (const CBoxStat::SColumn* pColumn : m_boxes.Columns()) {
    pColumn->szUnit ? table.Real(pMean->Average()) : table.Int(pMean->Count());
    ++pMean;
  }
  table.EndRow();
}

void CBoxPrinter::Print(CStatTable& table) const {
  PrintComments(table);
  table.Names("", {"LatMin", "LatMax", "LonMin", "LonMax"});
  for (const CBoxStat::SColumn* pColumn : m_boxes.Columns()) table.Text(NameOf(*pColumn));
  table.EndRow();
  for (int i = 0; i < m_boxes.Latitudes().Count(); ++i)
    for (int j = 0; j < m_boxes.Longitudes().Count(); ++j) PrintCell(table, i, j);
}
