#pragma once

class CBoxStat;
class CStatHeader;
class CStatTable;

/// Prints the statistics on a grid of the globe.
class CBoxPrinter {
 public:
  /// What is given must outlive the object.
  CBoxPrinter(const CBoxStat& boxes, const CStatHeader& header) : m_boxes(boxes), m_header(header) {}
  virtual ~CBoxPrinter() = default;

  void Print(CStatTable& table) const;

 private:
  void PrintComments(CStatTable& table) const;

  const CBoxStat& m_boxes;
  const CStatHeader& m_header;
};
