#include "stat/StatHeader.h"

#include <cstdio>

#include "app/ConfigParam.h"
#include "filter/Filter.h"
#include "stat/StatTable.h"

namespace {
std::string Date(const SDate& date) {
  char szText[64];
  std::snprintf(szText, sizeof szText, "%04d-%02d-%02d", date.nYear, date.nMonth, date.nDay);
  return szText;
}
}  // namespace

CStatHeader::CStatHeader(const CConfigParam& config, int nSatellite) {
  m_arLines.push_back("Satellite: " + (nSatellite < 0 ? "unknown" : std::to_string(nSatellite)));
  m_arLines.push_back("Dates: " + Date(config.firstDate) + " to " + Date(config.lastDate));
  const auto arFilters = FiltersInForce(config);
  if (arFilters.empty()) m_arLines.push_back("Filters: none");
  for (const std::string& szFilter : arFilters) m_arLines.push_back("Filter: " + szFilter);
}

void CStatHeader::Print(CStatTable& table, const char* szTitle) const {
  table.Comment(szTitle);
  for (const std::string& szLine : m_arLines) table.Comment(szLine);
}
