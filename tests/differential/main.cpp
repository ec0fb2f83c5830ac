// Runs of the differential test, their share of damaged messages and kinds, and a digest of all that was
// decoded, which is the same for every compiler and processor.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sample/Layouts.h"
#include "tests/differential/Differential.h"

int main(int nArguments, char** ppArguments) {
  SDifferentialOptions options;
  for (int i = 1; i < nArguments; ++i) {
    const char* szName = ppArguments[i];
    const bool bPortable = std::strcmp(szName, "--portable") == 0;
    const long long n = !bPortable && i + 1 < nArguments ? std::atoll(ppArguments[++i]) : 0;
    if (bPortable)
      options.bWide = false;
    else if (std::strcmp(szName, "--runs") == 0)
      options.nRuns = static_cast<int>(n);
    else if (std::strcmp(szName, "--seed") == 0)
      options.nSeed = static_cast<uint64_t>(n);
    else if (std::strcmp(szName, "--first") == 0)
      options.nFirst = static_cast<int>(n);
    else
      return std::puts("Usage: vex_differential [--runs N] [--seed S] [--first K] [--portable]"), 2;
  }
  const SDifferentialResult result = RunDifferential(options);
  std::printf("%d runs, %.1f %% damaged, %.1f %% decoded without a fault;", result.nRuns,
              100.0 * result.nDamaged / result.nRuns, 100.0 * result.nWhole / result.nRuns);
  for (int i = 0; i < 6; ++i) std::printf(" %s %d", KindName(arKinds[i]), result.arKinds[i]);
  std::printf("\ndigest %016llx\n", static_cast<unsigned long long>(result.nDigest));
  if (!result.szDifference.empty()) std::printf("DIFFERENCE in %s\n", result.szDifference.c_str());
  return !result.szDifference.empty();
}
