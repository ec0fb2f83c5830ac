#include "stat/BoxPrinter.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "prod/ProductKind.h"
#include "stat/BoxStat.h"
#include "stat/Classes.h"
#include "stat/StatColumn.h"
#include "stat/StatHeader.h"
#include "stat/StatTable.h"
#include "stat/StatText.h"

void CBoxPrinter::PrintComments(CStatTable& table) const {
  m_header.Print(table, GRID_FILE.szTitle);
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
  for (const SGridColumn* pColumn : m_boxes.Columns())
    if (pColumn->IsMean()) table.Comment(pColumn->Name() + ": mean, " + pColumn->column.szUnit);
  if (m_boxes.IsActive(PRODUCT_L1C)) table.Comment(SKY_RULE);
  table.Comment("Counts are of pixels, with or without values; without a value a mean is -777");
}

void CBoxPrinter::Print(CStatTable& table) const {
  PrintComments(table);
  CStatColumns columns(GRID_FILE);
  int nIndex = 0;
  for (const SGridColumn* pColumn : m_boxes.Columns())
    columns.Add(pColumn->Name(), pColumn->column, nIndex++);
  columns.PrintNames(table);
  const CClasses &latitudes = m_boxes.Latitudes(), &longitudes = m_boxes.Longitudes();
  SStatRow row;
  for (int i = 0; i < latitudes.Count(); ++i)
    for (int j = 0; j < longitudes.Count(); ++j) {
      const double arfEdges[] = {latitudes.Edge(i), latitudes.Edge(i + 1), longitudes.Edge(j),
                                 longitudes.Edge(j + 1)};
      std::copy_n(arfEdges, std::size(arfEdges), row.arfEdges);
      row.pMeans = m_boxes.Cell(i, j);
      columns.PrintRow(table, row);
    }
}
