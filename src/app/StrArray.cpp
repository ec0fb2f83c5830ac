#include "app/StrArray.h"

#include <algorithm>
#include <cstring>
#include <utility>

void CStrArray::AddString(const char* pszText, bool bTrim) { AddPiece(pszText, std::strlen(pszText), bTrim); }

void CStrArray::SplitAdd(const char* pszText, char cSeparator, bool bTrim) {
  while (const char* pSeparator = std::strchr(pszText, cSeparator)) {
    AddPiece(pszText, static_cast<size_t>(pSeparator - pszText), bTrim);
    pszText = pSeparator + 1;
  }
  AddString(pszText, bTrim);
}

void CStrArray::AddPiece(const char* pText, size_t nLength, bool bTrim) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (bTrim && nLength > 0 && isBlank(pText[nLength - 1])) --nLength;
  for (; bTrim && nLength > 0 && isBlank(*pText); --nLength) ++pText;
  if (nCount + 1 >= nCapacity) Grow();
  TString szCopy = std::make_unique_for_overwrite<char[]>(nLength + 1);
  std::memcpy(szCopy.get(), pText, nLength);
  szCopy[nLength] = 0;
  pStrings[nCount++] = std::move(szCopy);
}

/// From empty the capacities run 10, 20, 31, 43, ... (the count is the base, not the capacity).
void CStrArray::Grow() {
  const int nNewCapacity = nCount + nCapacity / 10 + 10;
  auto pNew = std::make_unique<TString[]>(static_cast<size_t>(nNewCapacity));
  std::move(pStrings.get(), pStrings.get() + nCount, pNew.get());
  pStrings = std::move(pNew);
  nCapacity = nNewCapacity;
}

void CStrArray::Sort() {
  std::sort(pStrings.get(), pStrings.get() + nCount,
            [](const TString& a, const TString& b) { return std::strcmp(a.get(), b.get()) < 0; });
}

void CStrArray::DeleteContents() {
  while (nCount > 0) pStrings[--nCount].reset();
}
