#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/FilePlacer.h"

/// The command line of vex-archive.
class CArchiveApp {
 public:
  enum EStatus { COMPLETE = 0, FOUND = 1, WRONG_USE = 2 };

  struct SOptions {
    EPlaceWay eWay = EPlaceWay::LINK;
    bool bJson = false;
    int64_t nGapMinutes = 10;
    std::vector<std::string> arPaths;  // what is no option
  };

  /// The exit status. Whatever happens is printed, and nothing is thrown.
  static int Start(int argc, char** argv);
};
