#include "kernel/Cpu.h"

namespace {
bool ProcessorHasWideKernels() {
#if defined(VEX_AVX2)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}
}  // namespace

// False until the static initialisers have run: code that runs before them gets the portable kernels.
bool cpu::bWideKernels = ProcessorHasWideKernels();

void SetWideKernels(bool bOn) { cpu::bWideKernels = bOn && ProcessorHasWideKernels(); }
