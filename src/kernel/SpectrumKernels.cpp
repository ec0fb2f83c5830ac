#include "kernel/SpectrumKernels.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "kernel/MissingReal.h"

namespace {

/// Powers of ten that single precision holds exactly.
constexpr float EXACT_POWERS[] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f, 1e9f, 1e10f};

/// A quotient of two singles, rounded once, is also the double quotient rounded to single: 53 bits are
/// at least 2 * 24 + 2 (and no quotient of these divisors is subnormal). Integers up to this size are
/// singles.
constexpr int32_t EXACT_SINGLE = 1 << 24;

/// The divisor when single precision serves, 0 otherwise.
float SingleDivisor(double fDivisor) {
  const auto* pFound = std::find(std::begin(EXACT_POWERS), std::end(EXACT_POWERS), fDivisor);
  return pFound == std::end(EXACT_POWERS) ? 0.0f : *pFound;
}

void TransposePortable(const int32_t* pTile, size_t nTileStride, int nRows, int nPixels, int32_t* pOut,
                       size_t nOutStride) {
  if (nRows == 0) return;
  for (int p = 0; p < nPixels; ++p, pOut += nOutStride) {
    const int32_t* pIn = pTile + p;
    int r = 0;
    for (; r + 4 <= nRows; r += 4, pIn += 4 * nTileStride) {
      pOut[r] = pIn[0];
      pOut[r + 1] = pIn[nTileStride];
      pOut[r + 2] = pIn[2 * nTileStride];
      pOut[r + 3] = pIn[3 * nTileStride];
    }
    for (; r < nRows; ++r, pIn += nTileStride) pOut[r] = *pIn;
  }
}

template <class T>
void ScalePortable(const int32_t* pRaw, int nCount, double fDivisor, char* pOut) {
  for (int i = 0; i < nCount; ++i, pOut += sizeof(T)) {
    const T fValue =
        pRaw[i] == RAW_MISSING ? static_cast<T>(MISSING_REAL) : static_cast<T>(pRaw[i] / fDivisor);
    std::memcpy(pOut, &fValue, sizeof(T));
  }
}

/// In blocks of eight without a branch inside, which compilers turn into vectors.
void ScalePortable4(const int32_t* pRaw, int nCount, double fDivisor, float fSingle, char* pOut) {
  constexpr int BLOCK = 8;
  int i = 0;
  for (; fSingle != 0 && i + BLOCK <= nCount; i += BLOCK) {
    int nLarge = 0;
    for (int j = i; j < i + BLOCK; ++j) nLarge |= (pRaw[j] > EXACT_SINGLE) | (pRaw[j] < -EXACT_SINGLE);
    if (nLarge) {
      ScalePortable<float>(pRaw + i, BLOCK, fDivisor, pOut + sizeof(float) * i);
      continue;
    }
    float arfValues[BLOCK];
    for (int j = 0; j < BLOCK; ++j) arfValues[j] = static_cast<float>(pRaw[i + j]) / fSingle;
    std::memcpy(pOut + sizeof(float) * i, arfValues, sizeof arfValues);
  }
  ScalePortable<float>(pRaw + i, nCount - i, fDivisor, pOut + sizeof(float) * i);
}

void ReversePortable(unsigned char* pBytes, int nCount) {
  for (int i = 0; i < nCount; ++i, pBytes += 4) {
    uint32_t nValue;
    std::memcpy(&nValue, pBytes, 4);
    nValue = __builtin_bswap32(nValue);
    std::memcpy(pBytes, &nValue, 4);
  }
}

#if defined(VEX_AVX2)

VEX_TARGET_AVX2 inline __m256i Lanes(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}

/// Values p..p+3 of two rows, one row in each half.
VEX_TARGET_AVX2 inline __m256 Halves(const int32_t* pLow, const int32_t* pHigh) {
  return _mm256_castsi256_ps(
      _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(pHigh), reinterpret_cast<const __m128i*>(pLow)));
}

/// Four pixels of eight rows. The halves of the registers come from different rows already when they
/// are loaded, so that no shuffle crosses them.
VEX_TARGET_AVX2 inline void Transpose8x4(const int32_t* pTile, size_t nTileStride, int32_t* pOut,
                                         size_t nOutStride) {
  const int32_t* pUpper = pTile + 4 * nTileStride;
  const __m256 r0 = Halves(pTile, pUpper);
  const __m256 r1 = Halves(pTile + nTileStride, pUpper + nTileStride);
  const __m256 r2 = Halves(pTile + 2 * nTileStride, pUpper + 2 * nTileStride);
  const __m256 r3 = Halves(pTile + 3 * nTileStride, pUpper + 3 * nTileStride);
  const __m256 a = _mm256_unpacklo_ps(r0, r1), b = _mm256_unpackhi_ps(r0, r1);
  const __m256 c = _mm256_unpacklo_ps(r2, r3), d = _mm256_unpackhi_ps(r2, r3);
  auto* pReal = reinterpret_cast<float*>(pOut);
  _mm256_storeu_ps(pReal, _mm256_shuffle_ps(a, c, 0x44));
  _mm256_storeu_ps(pReal + nOutStride, _mm256_shuffle_ps(a, c, 0xEE));
  _mm256_storeu_ps(pReal + 2 * nOutStride, _mm256_shuffle_ps(b, d, 0x44));
  _mm256_storeu_ps(pReal + 3 * nOutStride, _mm256_shuffle_ps(b, d, 0xEE));
}

/// Both halves of a tile for the same pixels after each other, so that a line of the output is filled at
/// once.
VEX_TARGET_AVX2 void TransposeAvx2(const int32_t* pTile, size_t nTileStride, int nRows, int nPixels,
                                   int32_t* pOut, size_t nOutStride) {
  const int nWholeRows = nRows & ~7, nWholePixels = nPixels & ~3;
  const int32_t* pSecond = pTile + 8 * nTileStride;
  for (int p = 0; p < nWholePixels && nWholeRows > 0; p += 4) {
    Transpose8x4(pTile + p, nTileStride, pOut + p * nOutStride, nOutStride);
    if (nWholeRows > 8) Transpose8x4(pSecond + p, nTileStride, pOut + p * nOutStride + 8, nOutStride);
  }
  TransposePortable(pTile + nWholePixels, nTileStride, nWholeRows, nPixels - nWholePixels,
                    pOut + nWholePixels * nOutStride, nOutStride);
  TransposePortable(pTile + nWholeRows * nTileStride, nTileStride, nRows - nWholeRows, nPixels,
                    pOut + nWholeRows, nOutStride);
}

VEX_TARGET_AVX2 inline __m128 DoubleQuotients(__m128i raw, __m256d divisor) {
  return _mm256_cvtpd_ps(_mm256_div_pd(_mm256_cvtepi32_pd(raw), divisor));
}

VEX_TARGET_AVX2 inline __m256 DoubleQuotients(__m256i raw, __m256d divisor) {
  return _mm256_set_m128(DoubleQuotients(_mm256_extracti128_si256(raw, 1), divisor),
                         DoubleQuotients(_mm256_castsi256_si128(raw), divisor));
}

/// Eight values at a time; returns how many were done. fSingle is SingleDivisor(fDivisor).
VEX_TARGET_AVX2 int ScaleAvx2(const int32_t* pRaw, int nCount, double fDivisor, float fSingle, char* pOut) {
  const __m256d divisor = _mm256_set1_pd(fDivisor);
  const __m256 single = _mm256_set1_ps(fSingle), inverse = _mm256_set1_ps(fSingle == 0 ? 0 : 1 / fSingle);
  const __m256 missingReal = _mm256_set1_ps(static_cast<float>(MISSING_REAL));
  const __m256i missing = _mm256_set1_epi32(RAW_MISSING);
  const __m256i largest = _mm256_set1_epi32(fSingle == 0 ? -1 : EXACT_SINGLE);
  int i = 0;
  for (; i + 8 <= nCount; i += 8) {
    const __m256i raw = Lanes(pRaw + i);
    const __m256i isMissing = _mm256_cmpeq_epi32(raw, missing);
    // The size of a missing value is negative here, so that it never counts as too large.
    const __m256i isLarge = _mm256_cmpgt_epi32(_mm256_abs_epi32(raw), largest);
    __m256 quotient;
    if (_mm256_testz_si256(isLarge, isLarge)) {
      // One step of correction makes the product with the rounded inverse the correctly rounded
      // quotient; proved by trying all integers and divisors that come here.
      const __m256 value = _mm256_cvtepi32_ps(raw), guess = _mm256_mul_ps(value, inverse);
      quotient = _mm256_fmadd_ps(_mm256_fnmadd_ps(guess, single, value), inverse, guess);
    } else {
      quotient = DoubleQuotients(raw, divisor);
    }
    const __m256 value = _mm256_blendv_ps(quotient, missingReal, _mm256_castsi256_ps(isMissing));
    _mm256_storeu_ps(reinterpret_cast<float*>(pOut + sizeof(float) * i), value);
  }
  return i;
}

VEX_TARGET_AVX2 int ScaleAvx2(const int32_t* pRaw, int nCount, double fDivisor, double* pOut) {
  const __m256d divisor = _mm256_set1_pd(fDivisor), missingReal = _mm256_set1_pd(MISSING_REAL);
  int i = 0;
  for (; i + 4 <= nCount; i += 4) {
    const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pRaw + i));
    const __m128i isMissing = _mm_cmpeq_epi32(raw, _mm_set1_epi32(RAW_MISSING));
    const __m256d mask = _mm256_castsi256_pd(_mm256_cvtepi32_epi64(isMissing));
    const __m256d quotient = _mm256_div_pd(_mm256_cvtepi32_pd(raw), divisor);
    _mm256_storeu_pd(pOut + i, _mm256_blendv_pd(quotient, missingReal, mask));
  }
  return i;
}

VEX_TARGET_AVX2 int ReverseAvx2(unsigned char* pBytes, int nCount) {
  const __m256i order =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  int i = 0;
  for (; i + 8 <= nCount; i += 8) {
    const __m256i values = _mm256_shuffle_epi8(Lanes(pBytes + 4 * i), order);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(pBytes + 4 * i), values);
  }
  return i;
}

#else

// Nothing is done wide, everything is left to the portable kernels.
int ScaleAvx2(const int32_t*, int, double, float, char*) { return 0; }
int ScaleAvx2(const int32_t*, int, double, double*) { return 0; }
int ReverseAvx2(unsigned char*, int) { return 0; }
constexpr auto TransposeAvx2 = TransposePortable;

#endif

}  // namespace

void TransposeTile(const int32_t* pTile, size_t nTileStride, int nRows, int nPixels, int32_t* pOut,
                   size_t nOutStride) {
  if (nPixels < 1) return;
  const auto pTranspose = WideKernels() ? TransposeAvx2 : TransposePortable;
  pTranspose(pTile, nTileStride, nRows, nPixels, pOut, nOutStride);
}

void ScaleToReal4(const int32_t* pRaw, int nCount, double fDivisor, void* pOut) {
  auto* pBytes = static_cast<char*>(pOut);
  const float fSingle = SingleDivisor(fDivisor);
  const int nDone = WideKernels() ? ScaleAvx2(pRaw, nCount, fDivisor, fSingle, pBytes) : 0;
  ScalePortable4(pRaw + nDone, nCount - nDone, fDivisor, fSingle, pBytes + sizeof(float) * nDone);
}

void ScaleToReal8(const int32_t* pRaw, int nCount, double fDivisor, double* pOut) {
  const int nDone = WideKernels() ? ScaleAvx2(pRaw, nCount, fDivisor, pOut) : 0;
  ScalePortable<double>(pRaw + nDone, nCount - nDone, fDivisor, reinterpret_cast<char*>(pOut + nDone));
}

void ReverseBytes4(void* pValues, int nCount) {
  auto* pBytes = static_cast<unsigned char*>(pValues);
  const int nDone = WideKernels() ? ReverseAvx2(pBytes, nCount) : 0;
  ReversePortable(pBytes + 4 * nDone, nCount - nDone);
}
