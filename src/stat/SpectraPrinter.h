#pragma once

#include <string>

class CChannelSelection;
class CConfigParam;
class CSpeMultiStat;
class CStatHeader;
class CStatTable;

/// Prints the statistics of the radiances of each channel.
class CSpectraPrinter {
 public:
  /// What is given must outlive the object.
  CSpectraPrinter(const CConfigParam& config, const CChannelSelection& selection, const CStatHeader& header)
      : m_config(config), m_selection(selection), m_header(header) {}
  virtual ~CSpectraPrinter() = default;

  /// szSet: the pixels that were counted, in words.
  void Print(CStatTable& table, CSpeMultiStat& stat, const std::string& szSet) const;

 private:
  void PrintComments(CStatTable& table, const CSpeMultiStat& stat, const std::string& szSet) const;
  void PrintUnits(CStatTable& table) const;

  const CConfigParam& m_config;
  const CChannelSelection& m_selection;
  const CStatHeader& m_header;
};
