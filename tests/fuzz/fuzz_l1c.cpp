// The message reader, the L1C decoder behind it and the writers.

#include "FuzzProduct.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  FuzzProduct(0, pBytes, nBytes);
  return 0;
}
