// The five L2 decoders; the last byte chooses the kind.

#include "FuzzProduct.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  if (nBytes > 1) FuzzProduct(1 + pBytes[nBytes - 1] % 5, pBytes, nBytes - 1);
  return 0;
}
