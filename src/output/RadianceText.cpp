#include "output/RadianceText.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "bufr/BitRun.h"
#include "output/TextReal.h"

char* CRadianceText::Append(char* pEnd, const int32_t* pRaw, int nCount) {
  if (!m_arRows) m_arRows.reset(new (std::nothrow) SRow[ROWS]());
  const SRow* const pRows = m_arRows.get();
  const auto index = [=](int i) {
    return std::min(static_cast<uint32_t>(pRaw[i]) - static_cast<uint32_t>(RAW_MIN), ROWS);
  };
  for (int i = 0; i < nCount; ++i) {
    constexpr int AHEAD = 16;  // the table is larger than the nearest caches
    if (i + AHEAD < nCount && pRows) __builtin_prefetch(pRows + index(i + AHEAD));
    const uint32_t nRow = index(i);
    if (nRow < ROWS && pRows && pRows[nRow].nLength != 0) [[likely]] {
      const uint8_t nLength = pRows[nRow].nLength;
      std::memcpy(pEnd, &pRows[nRow], sizeof(SRow));
      pEnd += nLength;
    } else {
      pEnd = AppendNew(pEnd, pRaw[i]);
    }
  }
  return pEnd;
}

int CRadianceText::Format(char* pOut, int32_t nRaw) const {
  *pOut = '\t';
  const float fValue = nRaw == RAW_MISSING ? -777.0f : static_cast<float>(nRaw / m_fDivisor);
  return 1 + FormatReal4(fValue, pOut + 1);
}

/// A row is made at its first use. Without memory for the table, every text is made anew.
char* CRadianceText::AppendNew(char* pEnd, int32_t nRaw) {
  const int nLength = Format(pEnd, nRaw);
  if (m_arRows && nRaw >= RAW_MIN && nRaw <= RAW_MAX) {
    SRow& row = m_arRows[nRaw - RAW_MIN];
    std::memcpy(row.szText, pEnd, nLength);
    row.nLength = static_cast<uint8_t>(nLength);
  }
  return pEnd + nLength;
}
