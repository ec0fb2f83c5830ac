#pragma once

#include <cstdint>
#include <string>

class CStreamWriter;

/// Writes a table as tab-separated text: comment lines, a line of column names, rows. No tab ends a line.
class CStatTable {
 public:
  explicit CStatTable(CStreamWriter& writer) : m_writer(writer) {}

  /// A line that begins with "# ".
  void Comment(const std::string& szText);

  void Text(const std::string& szText) { Put(szText.data(), static_cast<int>(szText.size())); }
  void Int(int64_t nValue);
  /// "%.9g" in the C locale; a value that is none is "nan".
  void Real(double fValue);
  void EndRow();

 private:
  void Put(const char* pText, int nLength);
  template <class... T>
  void Number(T... value);  // as std::to_chars takes it

  CStreamWriter& m_writer;
  bool m_bRow = false;  // the row has begun
};
