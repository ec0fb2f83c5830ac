#include "archive/ArchiveReport.h"

#include <algorithm>
#include <cstdio>

namespace {

/// One call for the whole line, so that others who write to the same place do not come in between.
void PutLine(std::FILE* pOut, std::string szLine) {
  std::ranges::replace_if(
      szLine, [](char c) { return (c >= 0 && c < ' ') || c == '\177'; }, '?');
  szLine += '\n';
  std::fwrite(szLine.data(), 1, szLine.size(), pOut);
}

}  // namespace

void CArchiveReport::Error(const std::string& szPath, const std::string& szReason) {
  PutLine(stderr, "vex-archive: " + szPath + ": " + szReason);
}

void CArchiveReport::Finding(const std::string& szPath, const std::string& szReason) {
  PutLine(stdout, szPath + ": " + szReason);
}

std::string CArchiveReport::Count(int64_t nCount, const char* szOne, const char* szMany) {
  return std::to_string(nCount) + " " + (nCount == 1 ? szOne : szMany);
}
