#include "app/StrArray.h"

#include <algorithm>
#include <cstring>
#include <utility>

void CStrArray::AddString(const char* pszText, bool bTrim) { AddPiece(pszText, std::strlen(pszText), bTrim); }

void CStrArray::SplitAdd(const char* pszText, char cSeparator, bool bTrim) {
  while (const char* pSeparator = cSeparator ? std::strchr(pszText, cSeparator) : nullptr) {
    AddPiece(pszText, static_cast<size_t>(pSeparator - pszText), bTrim);
    pszText = pSeparator + 1;
  }
  AddString(pszText, bTrim);
}

void CStrArray::AddPiece(const char* pText, size_t nLength, bool bTrim) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (bTrim && nLength > 0 && isBlank(pText[nLength - 1])) --nLength;
  for (; bTrim && nLength > 0 && isBlank(*pText); --nLength) ++pText;
  TString szCopy = std::make_unique_for_overwrite<char[]>(nLength + 1);
  std::memcpy(szCopy.get(), pText, nLength);
  szCopy[nLength] = 0;
  Append(std::move(szCopy));
}

void CStrArray::Append(TString szText) {
  if (m_nCount + 1 >= m_nCapacity) Grow();
  m_pStrings[m_nCount++] = std::move(szText);
}

void CStrArray::Take(CStrArray& arOther) {
  if (m_nCount == 0) {
    std::swap(m_pStrings, arOther.m_pStrings);
    std::swap(m_nCapacity, arOther.m_nCapacity);
    std::swap(m_nCount, arOther.m_nCount);
    return;
  }
  for (int i = 0; i < arOther.m_nCount; ++i) Append(std::move(arOther.m_pStrings[i]));
  arOther.m_nCount = 0;
}

/// From empty the capacities run 10, 20, 31, 43, ... (the count is the base, not the capacity).
void CStrArray::Grow() {
  const int nNewCapacity = m_nCount + m_nCapacity / 10 + 10;
  auto pNew = std::make_unique<TString[]>(static_cast<size_t>(nNewCapacity));
  std::move(m_pStrings.get(), m_pStrings.get() + m_nCount, pNew.get());
  m_pStrings = std::move(pNew);
  m_nCapacity = nNewCapacity;
}

void CStrArray::Sort() {
  std::sort(m_pStrings.get(), m_pStrings.get() + m_nCount,
            [](const TString& a, const TString& b) { return std::strcmp(a.get(), b.get()) < 0; });
}

void CStrArray::DeleteContents() {
  while (m_nCount > 0) m_pStrings[--m_nCount].reset();
}
