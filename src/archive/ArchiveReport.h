#pragma once

#include <cstdint>
#include <string>

/// What the commands print of files, one line each. Control characters of paths are shown as '?'.
class CArchiveReport {
 public:
  /// "vex-archive: PATH: REASON" on standard error.
  static void Error(const std::string& szPath, const std::string& szReason);
  /// "PATH: REASON" on standard output.
  static void Finding(const std::string& szPath, const std::string& szReason);
  /// A count with its noun.
  static std::string Count(int64_t nCount, const char* szOne, const char* szMany);
};
