#include "kernel/RadianceText.h"

#include <cstring>
#include <new>

#include "kernel/BitRun.h"
#include "kernel/MissingReal.h"
#include "kernel/TextReal.h"

char* CRadianceText::Append(char* pEnd, const int32_t* pRaw, int nCount) {
  constexpr int AHEAD = 16;  // the table is larger than the nearest caches
  if (!m_arRows) m_arRows.reset(new (std::nothrow) SRow[ROWS]());
  const SRow* const pRows = m_arRows.get();
  const uint32_t nRows = pRows ? ROWS : 0;
  const int nAhead = pRows ? nCount - AHEAD : 0;
  const auto index = [](int32_t nRaw) {
    return static_cast<uint32_t>(nRaw) - static_cast<uint32_t>(RAW_MIN);
  };
  const auto append = [&](int32_t nRaw) {
    const uint32_t nRow = index(nRaw);
    if (nRow >= nRows || pRows[nRow].nLength == 0) [[unlikely]]
      return AppendNew(pEnd, nRaw);
    const uint8_t nLength = pRows[nRow].nLength;
    std::memcpy(pEnd, &pRows[nRow], sizeof(SRow));
    return pEnd + nLength;
  };
  int i = 0;
  for (; i < nAhead; ++i) {
    // Computed as a number: a raw value may be far outside of the table, where no pointer may go. Fetching
    // such an address ahead does no harm.
    const auto nRow = reinterpret_cast<uintptr_t>(pRows) + sizeof(SRow) * index(pRaw[i + AHEAD]);
    __builtin_prefetch(reinterpret_cast<const void*>(nRow));  // NOLINT(performance-no-int-to-ptr)
    pEnd = append(pRaw[i]);
  }
  for (; i < nCount; ++i) pEnd = append(pRaw[i]);
  return pEnd;
}

int CRadianceText::Format(char* pOut, int32_t nRaw) const {
  *pOut = m_cSeparator;
  const float fValue =
      nRaw == RAW_MISSING ? static_cast<float>(MISSING_REAL) : static_cast<float>(nRaw / m_fDivisor);
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
