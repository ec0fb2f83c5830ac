#pragma once

#include <cstdint>
#include <memory>

/// Texts of the reals float(raw / divisor) of one decimal scale, by raw integer. A full spectrum has
/// thousands of radiances of few distinct values, so each text is made once and copied from then on.
class CRadianceText {
 public:
  /// fDivisor: what divides the raw integers. cSeparator: in front of each text. Nothing is allocated before
  /// the first use.
  explicit CRadianceText(double fDivisor, char cSeparator = '\t')
      : m_fDivisor(fDivisor), m_cSeparator(cSeparator) {}

  /// Room that is needed for each value: bytes that may be written, whatever the length of the text.
  static constexpr int ROOM = 17;

  /// Writes a separator and the text of "%g" for each of nCount raw values (-777 for RAW_MISSING) at pEnd.
  /// Returns the end of the text.
  char* Append(char* pEnd, const int32_t* pRaw, int nCount);

 private:
  // The range kept: all of an unsigned 16-bit raw value and the small negative noise around zero.
  static constexpr int32_t RAW_MIN = -5000, RAW_MAX = 65535;
  static constexpr uint32_t ROWS = static_cast<uint32_t>(RAW_MAX - RAW_MIN + 1);

  struct alignas(16) SRow {
    char szText[15];  // with the separator
    uint8_t nLength;  // 0: not made yet
  };

  int Format(char* pOut, int32_t nRaw) const;
  char* AppendNew(char* pEnd, int32_t nRaw);

  double m_fDivisor;
  char m_cSeparator;
  std::unique_ptr<SRow[]> m_arRows;
};
