#pragma once

#include <string>
#include <vector>

class CConfigParam;
class CStatTable;

/// The lines that all files of a run begin with.
class CStatHeader {
 public:
  /// nSatellite: -1 for unknown.
  CStatHeader(const CConfigParam& config, int nSatellite);
  virtual ~CStatHeader() = default;

  void Print(CStatTable& table, const char* szTitle) const;

 private:
  std::vector<std::string> m_arLines;  // behind the title
};
