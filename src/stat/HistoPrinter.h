#pragma once

class CHisto;
class CStatHeader;
class CStatTable;

/// Prints the histogram of one value a pixel.
class CHistoPrinter {
 public:
  /// What is given must outlive the object.
  CHistoPrinter(const CHisto& histo, const CStatHeader& header) : m_histo(histo), m_header(header) {}
  virtual ~CHistoPrinter() = default;

  void Print(CStatTable& table) const;

 private:
  void PrintComments(CStatTable& table) const;

  const CHisto& m_histo;
  const CStatHeader& m_header;
};
