#include "prod/BrightnessTemperature.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "kernel/Cpu.h"
#include "prod/ChannelSelection.h"
#include "prod/Physics.h"

// The kernel: with u = C1 wn3 + R and v = R, the logarithm of C1 wn3 / R + 1 is
//   ln(u / v) = k ln2 + ln(u / v'),  v' = v 2^k,  ln(u / v') = 2 atanh(s),  s = (u - v') / (u + v'),
// which costs one division where the plain formula and a logarithm of its quotient cost two. The bits of
// a double, as an integer, are a straight-line approximation of its binary logarithm, so k is the rounded
// difference of the bits of u and v, and the bits of v' lie within half a binade of those of u: u / v' is
// in [2/3, 3/2], hence u - v' is exact and |s| <= 1/5.
//
// Error bound, relative to L = ln(u / v), for 2^-6 <= L <= 340:
//   polynomial (minimax for s^2 in [0, 1/25]): 2^-42.2 of ln(u / v'); |ln(u / v')| <= L while k = 0 and
//     <= 1.42 L for k >= 1 (worst k = 1, u / v' = 2/3), so 2^-41.7;
//   rounding u, here, and quotient and sum in the plain formula: 2^-53 each in the argument of the
//     logarithm, so 3 x 2^-53 absolute and 2^-45.4 of L;
//   s, polynomial, k ln2 and sums, with k = 1 the worst: below 2^-49;
//   std::log, taken to be good to 2 ulp, and the two divisions by a logarithm: below 2^-50.
// In all below 2^-41.5, and RELATIVE_ERROR = 2^-41 leaves room for the roundings of the test itself. The
// result is sure when both ends of the interval round to the same float: rounding is monotone and the plain
// value lies between them. About one value in 10^5 is not sure.
//
// Outside of that range of L the result is a nan, which the test never finds sure. The range also takes
// care of what the reduction cannot do: subnormal R and overflow give L > 700, infinite and huge R give
// a nan or less than 2^-6.
namespace {
constexpr int BLOCK = 128;  // the three steps go over a block, so that no chain of latencies is long
constexpr int GROUP = 4;    // a remainder that fills no group is settled by the plain formula
constexpr int CHANNEL_LAST =
    CChannelSelection::LIMIT;  // the error bound needs a positive wavenumber of ordinary size
constexpr double MIN_LOG = 0x1p-6;
constexpr double MAX_LOG = 340.0;
constexpr double RELATIVE_ERROR = 0x1p-41;
constexpr double LN2 = 0x1.62e42fefa39efp-1;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double ATANH[] = {0x1.5555555910842p-1, 0x1.99998f51ffb8fp-2, 0x1.2496dff36419dp-2,
                            0x1.c554a0e61820dp-3, 0x1.9c125a8bc39e1p-3};
constexpr double WN_OFFSETS[] = {0, CPhysics::fWnStep, 2 * CPhysics::fWnStep, 3 * CPhysics::fWnStep};

#define VEX_INLINE inline __attribute__((always_inline))

template <class T>
VEX_INLINE void Load(const void* pFrom, T& value) {
  __builtin_memcpy(&value, pFrom, sizeof value);
}

template <class T>
VEX_INLINE void Store(const T& value, void* pTo) {
  __builtin_memcpy(pTo, &value, sizeof value);
}

typedef float Quad __attribute__((vector_size(16)));
typedef int32_t QuadFlags __attribute__((vector_size(16)));

/// True when both ends of every interval are one float, and none is a nan.
VEX_INLINE bool AllSure(const float* pLow, const float* pHigh, int nCount) {
  QuadFlags nDoubt = {};
  for (int i = 0; i < nCount; i += 4) {
    Quad fLow, fHigh;
    Load(pLow + i, fLow);
    Load(pHigh + i, fHigh);
    nDoubt |= fLow != fHigh;
  }
  return (nDoubt[0] | nDoubt[1] | nDoubt[2] | nDoubt[3]) == 0;
}

template <int n>
struct TVectors {
  static constexpr int LANES = n;
  typedef double Real __attribute__((vector_size(n * 8)));
  typedef uint64_t Bits __attribute__((vector_size(n * 8)));
  typedef float Single __attribute__((vector_size(n * 4)));
};

/// The kernel on the vectors V, compiled to the registers of the function that it is inlined into. Vectors
/// go by reference, as passing one by value would depend on those registers.
template <class V>
struct TKernel {
  using Real = typename V::Real;
  using Bits = typename V::Bits;
  using Single = typename V::Single;
  static constexpr int LANES = V::LANES;

  /// The first division: s and k of the reduction.
  static VEX_INLINE void Reduce(Real& fWn, const double* pRadiance, int nCount, double* pS, double* pK) {
    constexpr uint64_t HALF_BINADE = 1ULL << 51, BITS_OF_TWO_TO_52 = 0x433ULL << 52;
    for (int i = 0; i < nCount; i += LANES) {
      Real fV;
      Load(pRadiance + i, fV);
      const Real fU = CPhysics::fC1DivF100000 * fWn * fWn * fWn + fV;
      const Bits nK = ((Bits)fU - (Bits)fV + HALF_BINADE) >> 52;
      fV = (Real)((Bits)fV + (nK << 52));
      Store((fU - fV) / (fU + fV), pS + i);
      Store((Real)(nK | BITS_OF_TWO_TO_52) - 0x1p52, pK + i);
      fWn += LANES * CPhysics::fWnStep;
    }
  }

  /// The logarithm k ln2 + 2 atanh(s), in the place of k. Multiplies and adds are left apart: fused ones
  /// gained a tenth at most, and would tie the kernel to intrinsics.
  static VEX_INLINE void Log(const double* pS, int nCount, double* pK) {
    for (int i = 0; i < nCount; i += LANES) {
      Real fS, fLog;
      Load(pS + i, fS);
      Load(pK + i, fLog);
      const Real fZ = fS * fS;
      Real fSum = fZ * ATANH[4] + ATANH[3];
      for (int j = 2; j >= 0; --j) fSum = fSum * fZ + ATANH[j];
      fLog = fLog * LN2 + (fSum * (fS * fZ) + 2.0 * fS);
      Store(fLog, pK + i);
    }
  }

  /// The second division and the two ends of the interval.
  static VEX_INLINE void Divide(Real& fWn, const double* pRadiance, const double* pLog, int nCount,
                                float* pLow, float* pHigh) {
    for (int i = 0; i < nCount; i += LANES) {
      Real fRadiance, fLog;
      Load(pRadiance + i, fRadiance);
      Load(pLog + i, fLog);
      Real fValue = CPhysics::fC2 * fWn / fLog;
      fValue = ((fLog >= MIN_LOG) & (fLog <= MAX_LOG)) ? fValue : Real{} + NOT_A_NUMBER;
      fValue = fRadiance > CPhysics::f0 ? fValue : Real{};
      Store(__builtin_convertvector(fValue * (1.0 - RELATIVE_ERROR), Single), pLow + i);
      Store(__builtin_convertvector(fValue * (1.0 + RELATIVE_ERROR), Single), pHigh + i);
      fWn += LANES * CPhysics::fWnStep;
    }
  }

  /// Both ends for at most one block of channels; nCount is a multiple of GROUP. True when all are sure.
  static VEX_INLINE bool Run(int nFirstChannel, const double* pRadiance, int nCount, float* pLow,
                             float* pHigh) {
    alignas(64) double arS[BLOCK], arLog[BLOCK];
    Real fFirst;
    Load(WN_OFFSETS, fFirst);
    fFirst += CPhysics::WaveNumber(nFirstChannel);  // exact: wavenumbers are multiples of 1/4
    Real fWn = fFirst;
    Reduce(fWn, pRadiance, nCount, arS, arLog);
    Log(arS, nCount, arLog);
    Divide(fFirst, pRadiance, arLog, nCount, pLow, pHigh);
    return AllSure(pLow, pHigh, nCount);
  }
};

#if defined(VEX_AVX2)
VEX_TARGET_AVX2 bool WideRun(int nFirstChannel, const double* pRadiance, int nCount, float* pLow,
                             float* pHigh) {
  return TKernel<TVectors<4>>::Run(nFirstChannel, pRadiance, nCount, pLow, pHigh);
}
#endif

bool PortableRun(int nFirstChannel, const double* pRadiance, int nCount, float* pLow, float* pHigh) {
  return TKernel<TVectors<2>>::Run(nFirstChannel, pRadiance, nCount, pLow, pHigh);
}

bool Intervals(int nFirstChannel, const double* pRadiance, int nCount, float* pLow, float* pHigh) {
#if defined(VEX_AVX2)
  if (WideKernels()) return WideRun(nFirstChannel, pRadiance, nCount, pLow, pHigh);
#endif
  return PortableRun(nFirstChannel, pRadiance, nCount, pLow, pHigh);
}

/// The plain formula for the values whose interval is not one float (pHigh null: for all). Returns how many.
int Settle(int nFirstChannel, const double* pRadiance, int nCount, float* pOut, const float* pHigh) {
  int nSettled = 0;
  for (int i = 0; i < nCount; ++i) {
    if (pHigh && pOut[i] == pHigh[i]) continue;
    const double fWn = CPhysics::WaveNumber(nFirstChannel + i);
    pOut[i] = static_cast<float>(CPhysics::BrightnessTemperature(fWn, pRadiance[i]));
    ++nSettled;
  }
  return nSettled;
}

/// A block whose count is a multiple of GROUP.
int ConvertBlock(int nFirstChannel, const double* pRadiance, int nCount, float* pOut) {
  alignas(64) float arHigh[BLOCK];
  if (Intervals(nFirstChannel, pRadiance, nCount, pOut, arHigh)) return 0;
  return Settle(nFirstChannel, pRadiance, nCount, pOut, arHigh);
}
}  // namespace

int BrightnessTemperatures(int nFirstChannel, const double* pRadiance, int nCount, float* pOut) {
  int nSettled = 0, i = 0;
  if (nFirstChannel >= 1 && nCount <= CHANNEL_LAST - nFirstChannel)
    for (int nStep; (nStep = std::min(BLOCK, (nCount - i) / GROUP * GROUP)) > 0; i += nStep)
      nSettled += ConvertBlock(nFirstChannel + i, pRadiance + i, nStep, pOut + i);
  return nSettled + Settle(nFirstChannel + i, pRadiance + i, nCount - i, pOut + i, nullptr);
}
