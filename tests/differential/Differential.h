#pragma once

#include <cstdint>
#include <string>

/// Runs of the differential test: random messages, decoded by the decoders under test and by a model of the
/// format that goes bit by bit.
struct SDifferentialOptions {
  int nRuns = 1000;
  uint64_t nSeed = 1;
  int nFirst = 0;  // number of the first run
  bool bWide = true;
};

struct SDifferentialResult {
  int nRuns = 0;
  int nDamaged = 0;
  int nWhole = 0;            // decoded without a fault
  int arKinds[6] = {};       // runs by EKind
  uint64_t nDigest = 0;      // of all that was decoded and written, the same on all machines
  std::string szDifference;  // empty: none; else the run and the first thing that differs
};

/// Ends at the first difference.
SDifferentialResult RunDifferential(const SDifferentialOptions& options);
