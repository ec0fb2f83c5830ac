#include <gtest/gtest.h>

#include <cstdint>

#include "tests/differential/Differential.h"

namespace {

/// What wide kernels and portable ones decode and write is the same as well.
TEST(Differential, DecodersAgreeWithTheModel) {
  uint64_t nDigest = 0;
  for (const bool bWide : {true, false}) {
    const SDifferentialResult result = RunDifferential({3000, 7, 0, bWide});
    ASSERT_EQ(result.szDifference, "");
    if (bWide) nDigest = result.nDigest;
    EXPECT_EQ(result.nDigest, nDigest);
  }
}

}  // namespace
