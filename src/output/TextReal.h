#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

/// Room that a caller leaves for one number: the formatters write up to this many bytes, whatever length they
/// return (no text is longer than 12, the bytes behind it are scratch).
constexpr int TEXT_REAL_MAX = 16;

/// Writes the value as printf's "%g" does in the C locale (six significant digits, exact halves to even,
/// "-0", "inf", "-nan" by the sign bit), without terminator. Returns the length.
int FormatReal4(float fValue, char* pOut);

/// Writes the value as "%d" does, without terminator. Returns the length, at most 11.
int FormatInt(int nValue, char* pOut);

/// Texts of the reals float(raw / divisor) of one decimal scale, by raw integer. A full spectrum has
/// thousands of radiances of few distinct values, so each text is made once and copied from then on. Every
/// value is text here, -1 included: a caller that takes some raw value as missing tests for it first.
class CRadianceText {
 public:
  /// fDivisor: the power of ten that divides the raw integers. Nothing is allocated before the first use.
  explicit CRadianceText(double fDivisor) : m_fDivisor(fDivisor) {}

  /// Writes the text of one raw value at pEnd, where TEXT_REAL_MAX bytes must be free; returns its end.
  char* Append(char* pEnd, int32_t nRaw) {
    const uint32_t nRow = static_cast<uint32_t>(nRaw) - static_cast<uint32_t>(RAW_MIN);
    if (nRow < m_nRows) [[likely]] {
      const SRow& row = m_arRows[nRow];
      if (row.nLength != 0) [[likely]] {
        std::memcpy(pEnd, &row, sizeof(SRow));
        return pEnd + row.nLength;
      }
    }
    return AppendNew(pEnd, nRaw);
  }

 private:
  // The range kept: all of an unsigned 16-bit raw value and the small negative noise around zero.
  static constexpr int32_t RAW_MIN = -5000, RAW_MAX = 65535;
  static constexpr uint32_t ROWS = static_cast<uint32_t>(RAW_MAX - RAW_MIN + 1);

  struct SRow {
    char szText[15];
    uint8_t nLength;  // 0: not made yet
  };
  static_assert(sizeof(SRow) == TEXT_REAL_MAX);

  char* AppendNew(char* pEnd, int32_t nRaw);

  double m_fDivisor;
  uint32_t m_nRows = 0;  // ROWS once the table exists
  std::unique_ptr<SRow[]> m_arRows;
};
