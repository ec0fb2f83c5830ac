#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "kernel/PowerOfTen.h"
#include "kernel/SpectrumKernels.h"

namespace {

/// Every test runs with the wide kernels off and on.
class KernelTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    SetWideKernels(GetParam());
    if (GetParam() && !WideKernels()) GTEST_SKIP() << NO_WIDE_KERNELS;
  }
  void TearDown() override { SetWideKernels(true); }

  std::mt19937 m_random{1};
};

INSTANTIATE_TEST_SUITE_P(Both, KernelTest, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Wide" : "Portable"; });

// The same on every machine: 10^23 lies between two doubles, and C libraries and compilers differ over it.
TEST(PowerOfTen, IsTheNearestDouble) {
  for (int n = -330; n <= 310; ++n)
    EXPECT_EQ(PowerOfTen(n), std::strtod(("1e" + std::to_string(n)).c_str(), nullptr)) << n;
  EXPECT_EQ(PowerOfTen(1LL << 40), HUGE_VAL);
  EXPECT_EQ(PowerOfTen(-1LL << 40), 0.0);
}

/// Data with exactly the promised padding on the heap, so that a sanitizer sees a load beyond it.
class CBits {
 public:
  explicit CBits(size_t nBits) : m_nBytes((nBits + 7) / 8), m_pBytes(new uint8_t[m_nBytes + UNPACK_PADDING]) {
    std::memset(m_pBytes.get(), 0xFF, m_nBytes + UNPACK_PADDING);
  }
  const uint8_t* Data() const { return m_pBytes.get(); }
  void Put(int64_t nBitPos, int nWidth, uint64_t nValue) {
    for (int b = nWidth - 1; b >= 0; --b, ++nBitPos) {
      const auto nBit = static_cast<uint8_t>(0x80 >> (nBitPos % 8));
      uint8_t& nByte = m_pBytes[nBitPos / 8];
      nByte = static_cast<uint8_t>((nValue >> b & 1) ? nByte | nBit : nByte & ~nBit);
    }
  }

 private:
  size_t m_nBytes;
  std::unique_ptr<uint8_t[]> m_pBytes;
};

/// Packs the fields, unpacks them with both operations and holds the results against them, the place behind
/// them included.
void CheckRun(int nOffset, int nWidth, const std::vector<uint32_t>& arFields) {
  SCOPED_TRACE(testing::Message() << nWidth << " bits at " << nOffset << ", " << arFields.size());
  const int nCount = static_cast<int>(arFields.size());
  constexpr int32_t BASE = -5000;  // added modulo 2^32
  const uint32_t nAllOnes = UINT32_MAX >> (32 - nWidth);
  CBits bits(nOffset + static_cast<size_t>(nWidth) * nCount);
  std::vector<uint32_t> arOut(nCount + 1, 7), arExpected = arFields;
  std::vector<int32_t> arRaw(nCount + 1, 7), arExpectedRaw;
  for (int i = 0; i < nCount; ++i) {
    bits.Put(nOffset + int64_t{i} * nWidth, nWidth, arFields[i]);
    arExpectedRaw.push_back(arFields[i] == nAllOnes ? RAW_MISSING : static_cast<int32_t>(arFields[i] + BASE));
  }
  arExpected.push_back(7);
  arExpectedRaw.push_back(7);
  const bool bMissing = std::find(arFields.begin(), arFields.end(), nAllOnes) != arFields.end();
  ASSERT_EQ(UnpackRun(bits.Data(), nOffset, nWidth, nCount, arOut.data()), bMissing);
  ASSERT_EQ(arOut, arExpected);
  ASSERT_EQ(UnpackRaw(bits.Data(), nOffset, nWidth, nCount, BASE, arRaw.data()), bMissing);
  ASSERT_EQ(arRaw, arExpectedRaw);
}

TEST_P(KernelTest, UnpacksEveryWidthOffsetAndLengthAndFindsTheMissing) {
  for (int nWidth = 1; nWidth <= 32; ++nWidth) {
    const uint32_t nAllOnes = UINT32_MAX >> (32 - nWidth);
    // No field is missing at first: the set bits of the padding must not count.
    for (int nOffset = 0; nOffset < 8; ++nOffset)
      for (int nCount = 0; nCount <= 257; nCount += nCount == 40 ? 79 : nCount == 121 ? 134 : 1) {
        std::vector<uint32_t> arFields(nCount);
        for (uint32_t& nField : arFields) nField = static_cast<uint32_t>(m_random()) % nAllOnes;
        ASSERT_NO_FATAL_FAILURE(CheckRun(nOffset, nWidth, arFields));
      }
    for (int nCount : {1, 7, 8, 9, 16, 23})
      for (int nMissing = 0; nMissing < nCount; ++nMissing) {
        std::vector<uint32_t> arFields(nCount, 0);
        arFields[nMissing] = nAllOnes;
        ASSERT_NO_FATAL_FAILURE(CheckRun((nWidth + nMissing) % 8, nWidth, arFields));
      }
  }
}

TEST_P(KernelTest, TransposesEveryTileAndNothingElse) {
  constexpr int STRIDE = 131, OUT_STRIDE = 19;
  std::vector<int32_t> arTile(TILE_ROWS * STRIDE);
  for (size_t i = 0; i < arTile.size(); ++i) arTile[i] = static_cast<int32_t>(i * 2654435761u);
  for (int nRows = 1; nRows <= TILE_ROWS; ++nRows)
    for (int nPixels = 0; nPixels <= 120; nPixels += nPixels == 20 ? 100 : 1) {
      const std::vector<int32_t> arTight(arTile.begin(), arTile.begin() + (nRows - 1) * STRIDE + nPixels);
      std::vector<int32_t> arOut(120 * OUT_STRIDE, -5), arExpected = arOut;
      for (int p = 0; p < nPixels; ++p)
        for (int r = 0; r < nRows; ++r) arExpected[p * OUT_STRIDE + r] = arTile[r * STRIDE + p];
      TransposeTile(arTight.data(), STRIDE, nRows, nPixels, arOut.data(), OUT_STRIDE);
      ASSERT_EQ(arOut, arExpected) << nRows << " rows, " << nPixels << " pixels";
    }
}

template <class T>
void CheckScaling(void (*pScale)(const int32_t*, int, double, T*), std::mt19937& random) {
  // Values of every size, those around the end of the exact singles, blocks of one kind and mixed ones.
  std::vector<int32_t> arRaw(19, RAW_MISSING);
  for (int nBits = 0; nBits < 31; ++nBits)
    for (int nStep = -2; nStep <= 2; ++nStep)
      arRaw.insert(arRaw.end(), {(1 << nBits) + nStep, -(1 << nBits) + nStep});
  for (int nShift : {0, 8, 15})
    for (int i = 0; i < 2100; ++i)
      arRaw.push_back(i > 2000 && i % 3 == 0 ? RAW_MISSING : static_cast<int32_t>(random()) >> nShift);
  std::vector<T> arOut(arRaw.size()), arExpected(arRaw.size());
  std::vector<double> arDivisors{7, 0.1, -777.0, 16777217.0, 1e-300, HUGE_VAL};
  for (int nExponent = -5; nExponent <= 62; ++nExponent) arDivisors.push_back(std::pow(10, nExponent));
  for (double fDivisor : arDivisors) {
    for (size_t i = 0; i < arRaw.size(); ++i)
      arExpected[i] = static_cast<T>(arRaw[i] == RAW_MISSING ? -777.0 : arRaw[i] / fDivisor);
    pScale(arRaw.data(), static_cast<int>(arRaw.size()), fDivisor, arOut.data());
    ASSERT_EQ(std::memcmp(arOut.data(), arExpected.data(), arOut.size() * sizeof(T)), 0) << fDivisor;
    for (int nCount = 0; nCount < 20; ++nCount) {
      std::vector<T> arShort(nCount + 1, T{5});
      pScale(arRaw.data() + 3, nCount, fDivisor, arShort.data());
      ASSERT_EQ(std::memcmp(arShort.data(), arExpected.data() + 3, nCount * sizeof(T)), 0) << fDivisor;
      ASSERT_EQ(arShort[nCount], T{5});
    }
  }
}

TEST_P(KernelTest, ScalesLikeTheDoubleDivision) {
  const auto unaligned = [](const int32_t* pRaw, int nCount, double fDivisor, float* pOut) {
    std::vector<char> arBytes(1 + sizeof(float) * nCount);
    ScaleToReal4(pRaw, nCount, fDivisor, arBytes.data() + 1);
    std::memcpy(pOut, arBytes.data() + 1, sizeof(float) * nCount);
  };
  CheckScaling<float>(unaligned, m_random);
  CheckScaling<double>(ScaleToReal8, m_random);
}

// The proof of the shortcut by single precision: every integer that may take it, by every divisor.
TEST_P(KernelTest, ScalesEveryExactIntegerByEveryExactPower) {
  constexpr int LAST = 1 << 24, BLOCK = 1 << 12;
  const int nStep = GetParam() ? BLOCK : 251 * BLOCK;  // the portable kernel divides: a sample is enough
  std::vector<int32_t> arRaw(BLOCK + 1);
  std::vector<float> arOut(BLOCK + 1);
  for (double fDivisor = 1; fDivisor < 2e10; fDivisor *= 10)
    for (int nFirst = 0; nFirst < LAST; nFirst += nStep) {
      for (int i = 0; i <= BLOCK; ++i) arRaw[i] = i % 2 ? nFirst + i : -nFirst - i;
      ScaleToReal4(arRaw.data(), BLOCK + 1, fDivisor, arOut.data());
      int nWrong = 0;
      for (int i = 0; i <= BLOCK; ++i) nWrong += arOut[i] != static_cast<float>(arRaw[i] / fDivisor);
      ASSERT_EQ(nWrong, 0) << nFirst << " / " << fDivisor;
    }
}

TEST_P(KernelTest, ReversesBytes) {
  for (int nCount = 0; nCount <= 35; ++nCount) {
    std::vector<uint8_t> arBytes(4 * nCount + 1), arExpected(arBytes.size());
    for (size_t i = 0; i < arBytes.size(); ++i) arBytes[i] = static_cast<uint8_t>(7 * i + 1);
    for (size_t i = 0; i + 1 < arBytes.size(); ++i) arExpected[i] = arBytes[i ^ 3];
    arExpected.back() = arBytes.back();
    ReverseBytes4(arBytes.data(), nCount);
    ASSERT_EQ(arBytes, arExpected) << nCount;
  }
}

}  // namespace
