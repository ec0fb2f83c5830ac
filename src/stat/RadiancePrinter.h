#pragma once

class CChannelSelection;
class CHistoMultiPix;
class CStatHeader;
class CStatTable;

/// Prints the histogram of the radiances of each channel.
class CRadiancePrinter {
 public:
  /// What is given must outlive the object.
  CRadiancePrinter(const CHistoMultiPix& histo, const CChannelSelection& selection, const CStatHeader& header)
      : m_histo(histo), m_selection(selection), m_header(header) {}
  virtual ~CRadiancePrinter() = default;

  /// nPosition: 0 for all pixels, 1 to 4 for a position.
  void Print(CStatTable& table, int nPosition) const;

 private:
  void PrintComments(CStatTable& table, int nPosition) const;

  const CHistoMultiPix& m_histo;
  const CChannelSelection& m_selection;
  const CStatHeader& m_header;
};
