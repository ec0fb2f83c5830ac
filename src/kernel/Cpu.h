#pragma once

// VEX_PORTABLE leaves the wide kernels out, as on processors of another family.
#if defined(__x86_64__) && !defined(VEX_PORTABLE)
#define VEX_AVX2 1
#include <immintrin.h>  // IWYU pragma: export
/// Compiles one function for processors that WideKernels() has found.
#define VEX_TARGET_AVX2 __attribute__((target("avx2,fma")))
#endif

namespace cpu {
extern bool bWideKernels;
}

/// True when the processor has the instructions of the wide kernels (AVX2 and FMA on x86-64) and they
/// are not switched off. Wide and portable kernels give the same bits; only the speed differs.
inline bool WideKernels() { return cpu::bWideKernels; }

/// For tests and benchmarks: off forces the portable kernels, on restores what the processor has.
void SetWideKernels(bool bOn);
