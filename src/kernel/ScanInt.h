#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>

/// Reads a decimal integer as sscanf's "%d" does, and moves szText behind it. A number out of range, which
/// "%d" leaves undefined, becomes the nearest int. False when there is none; nValue is then unchanged.
inline bool ScanInt(const char*& szText, int& nValue) {
  char* pEnd = nullptr;
  const long long nRead = std::strtoll(szText, &pEnd, 10);
  if (pEnd == szText) return false;
  szText = pEnd;
  nValue = static_cast<int>(
      std::clamp<long long>(nRead, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
  return true;
}
