#include "stat/StatTable.h"

#include <charconv>
#include <cmath>

#include "output/StreamWriter.h"

namespace {
constexpr int DIGITS = 9;
constexpr int NUMBER_MAX = 32;  // the longest, like -1.23456789e-308, has 16
}  // namespace

void CStatTable::Put(const char* pText, int nLength) {
  if (m_bRow) m_writer.Write(1, "\t");
  m_writer.Write(nLength, pText);
  m_bRow = true;
}

template <class... T>
void CStatTable::Number(T... value) {
  char szNumber[1 + NUMBER_MAX] = {'\t'};
  const auto end = std::to_chars(szNumber + 1, szNumber + sizeof szNumber, value...).ptr;
  const char* pStart = m_bRow ? szNumber : szNumber + 1;
  m_writer.Write(static_cast<int>(end - pStart), pStart);
  m_bRow = true;
}

void CStatTable::Comment(const std::string& szText) { m_writer.WriteText(("# " + szText + "\n").c_str()); }

void CStatTable::Int(int64_t nValue) { Number(nValue); }

void CStatTable::Real(double fValue) {
  if (std::isnan(fValue)) return Put("nan", 3);
  Number(fValue, std::chars_format::general, DIGITS);
}

void CStatTable::EndRow() {
  m_writer.Write(1, "\n");
  m_bRow = false;
}
