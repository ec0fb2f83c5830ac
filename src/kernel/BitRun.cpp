#include "kernel/BitRun.h"

#include <array>

#include "kernel/Cpu.h"

namespace {

/// A run of equal-width fields and what becomes of them. Passed by value, so that no store to the output
/// can be taken for a change of it.
struct SRun {
  const uint8_t* pData;
  int64_t nBitPos;
  int nWidth;
  int nCount;
  uint32_t nBase;  // added to every field, modulo 2^32
};

constexpr uint32_t AllOnes(int nWidth) { return UINT32_MAX >> (32 - nWidth); }

/// What a field is written as. bRaw: the sum with the base, or RAW_MISSING; otherwise the field itself.
template <bool bRaw>
uint32_t Converted(uint32_t nField, uint32_t nAllOnes, uint32_t nBase) {
  if constexpr (!bRaw) return nField;
  return nField == nAllOnes ? static_cast<uint32_t>(RAW_MISSING) : nField + nBase;
}

/// nFields fields from each word, as many as always lie inside it.
template <bool bRaw, int nFields>
bool UnpackPortable(SRun run, uint32_t* pOut) {
  const uint32_t nAllOnes = AllOnes(run.nWidth);
  const int nGroup = nFields * run.nWidth;
  int64_t nBitPos = run.nBitPos;
  bool bMissing = false;
  int i = 0;
  const auto put = [&](uint64_t nWord) {
    const uint32_t nField = static_cast<uint32_t>(nWord) & nAllOnes;
    bMissing |= nField == nAllOnes;
    pOut[i++] = Converted<bRaw>(nField, nAllOnes, run.nBase);
  };
  for (; i + nFields <= run.nCount; nBitPos += nGroup) {
    const uint64_t nWord = LoadBits(run.pData, nBitPos, nGroup);
    for (int j = nFields - 1; j >= 0; --j) put(nWord >> (j * run.nWidth));
  }
  for (; i < run.nCount; nBitPos += run.nWidth) put(LoadBits(run.pData, nBitPos, run.nWidth));
  return bMissing;
}

template <bool bRaw>
bool UnpackPortable(SRun run, uint32_t* pOut) {
  if (run.nWidth <= 14) return UnpackPortable<bRaw, 4>(run, pOut);
  if (run.nWidth <= 28) return UnpackPortable<bRaw, 2>(run, pOut);
  return UnpackPortable<bRaw, 1>(run, pOut);
}

#if defined(VEX_AVX2)

/// Widest field that lies inside four bytes wherever it begins.
constexpr int WIDE_MAX_WIDTH = 25;

/// How eight fields that follow each other come out of two 16-byte loads, the second of which begins
/// with the byte where the fifth field begins. Eight fields of nWidth bits are nWidth bytes, so the
/// bit offset in the first byte, and with it the step, stays the same along a run.
struct SStep {
  alignas(32)
      std::array<uint8_t, 32> arShuffle{};  // moves each field's four bytes into its lane, last byte first
  std::array<uint32_t, 8> arShift{};        // brings the field's last bit to bit 0 of the lane
};

constexpr SStep MakeStep(int nWidth, int nOffset) {
  SStep step;
  for (int i = 0; i < 8; ++i) {
    const int nBit = nOffset + i * nWidth;
    const int nLoad = i < 4 ? 0 : (nOffset + 4 * nWidth) / 8;
    for (int b = 0; b < 4; ++b) step.arShuffle[4 * i + b] = static_cast<uint8_t>(nBit / 8 - nLoad + 3 - b);
    step.arShift[i] = static_cast<uint32_t>(32 - nWidth - nBit % 8);
  }
  return step;
}

constexpr auto STEPS = [] {
  std::array<std::array<SStep, 8>, WIDE_MAX_WIDTH> arSteps{};
  for (int w = 1; w <= WIDE_MAX_WIDTH; ++w)
    for (int k = 0; k < 8; ++k) arSteps[w - 1][k] = MakeStep(w, k);
  return arSteps;
}();

VEX_TARGET_AVX2 inline __m256i Lanes(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}

/// The constants of one run, held in registers.
struct SWideRun {
  __m256i shuffle, shift, allOnes, base, missing;
  int nHalf;  // byte where the fifth of eight fields begins
};

VEX_TARGET_AVX2 inline SWideRun MakeWideRun(SRun run) {
  const int nOffset = static_cast<int>(run.nBitPos & 7);
  const SStep& step = STEPS[run.nWidth - 1][nOffset];
  return {Lanes(step.arShuffle.data()),
          Lanes(step.arShift.data()),
          _mm256_set1_epi32(static_cast<int>(AllOnes(run.nWidth))),
          _mm256_set1_epi32(static_cast<int>(run.nBase)),
          _mm256_set1_epi32(RAW_MISSING),
          (nOffset + 4 * run.nWidth) >> 3};
}

/// Eight fields that begin in byte p; the lanes of hit that are missing are set.
template <bool bRaw>
VEX_TARGET_AVX2 inline __m256i EightFields(const SWideRun& wide, const uint8_t* p, __m256i& hit) {
  const __m256i bytes = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + wide.nHalf),
                                            reinterpret_cast<const __m128i*>(p));
  const __m256i lanes = _mm256_srlv_epi32(_mm256_shuffle_epi8(bytes, wide.shuffle), wide.shift);
  const __m256i fields = _mm256_and_si256(lanes, wide.allOnes);
  hit = _mm256_cmpeq_epi32(fields, wide.allOnes);
  if constexpr (!bRaw) return fields;
  return _mm256_blendv_epi8(_mm256_add_epi32(fields, wide.base), wide.missing, hit);
}

template <bool bRaw>
VEX_TARGET_AVX2 bool UnpackAvx2(SRun run, uint32_t* pOut) {
  const SWideRun wide = MakeWideRun(run);
  const uint8_t* p = run.pData + (run.nBitPos >> 3);
  __m256i hits = _mm256_setzero_si256(), hit;
  int i = 0;
  for (; i + 8 <= run.nCount; i += 8, p += run.nWidth) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(pOut + i), EightFields<bRaw>(wide, p, hit));
    hits = _mm256_or_si256(hits, hit);
  }
  if (i < run.nCount) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i wanted = _mm256_cmpgt_epi32(_mm256_set1_epi32(run.nCount - i), lanes);
    _mm256_maskstore_epi32(reinterpret_cast<int*>(pOut + i), wanted, EightFields<bRaw>(wide, p, hit));
    hits = _mm256_or_si256(hits, _mm256_and_si256(hit, wanted));
  }
  return !_mm256_testz_si256(hits, hits);
}
#endif

template <bool bRaw>
bool Unpack(SRun run, uint32_t* pOut) {
#if defined(VEX_AVX2)
  if (WideKernels() && run.nWidth <= WIDE_MAX_WIDTH) return UnpackAvx2<bRaw>(run, pOut);
#endif
  return UnpackPortable<bRaw>(run, pOut);
}

}  // namespace

bool UnpackRun(const uint8_t* pData, int64_t nBitPos, int nWidth, int nCount, uint32_t* pOut) {
  return Unpack<false>({pData, nBitPos, nWidth, nCount, 0}, pOut);
}

bool UnpackRaw(const uint8_t* pData, int64_t nBitPos, int nWidth, int nCount, int32_t nBase, int32_t* pOut) {
  return Unpack<true>({pData, nBitPos, nWidth, nCount, static_cast<uint32_t>(nBase)},
                      reinterpret_cast<uint32_t*>(pOut));
}
