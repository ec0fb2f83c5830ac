// Messages made by programs, read by the decoder of a product and written in every format: those of L1C in
// one target, as their spectra take so long, and those of level 2 in the other.

#include "Decoding.h"
#include "prod/ProductKind.h"
#include "sample/MessageProgram.h"

namespace {

/// Two bytes of options, and one that chooses the product.
constexpr size_t HEADER = 3;

int Product([[maybe_unused]] uint8_t nByte) {
#if defined(VEX_FUZZ_SPECTRA)
  return PRODUCT_L1C;
#else
  return FIRST_L2 + nByte % (PRODUCTS - FIRST_L2);
#endif
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  if (nBytes < HEADER) return 0;
  const SDecoding decoding = {pBytes[0], pBytes[1], Product(pBytes[2])};
  CFileProgram file(arKinds[decoding.nProduct]);
  CProgram program(pBytes + HEADER, nBytes - HEADER);
  for (SOrder order; program.Next(order);) file.Do(order);
  Decode(decoding, file.End());
  return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* pBytes, size_t nBytes, size_t nMax) __attribute__((weak));

/// Steps on orders, and now and then on bytes.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* pBytes, size_t nBytes, size_t nMax, unsigned nSeed) {
  if (LLVMFuzzerMutate && nSeed % 4 == 0) return LLVMFuzzerMutate(pBytes, nBytes, nMax);
  return MutateProgram(pBytes, nBytes, nMax, HEADER, nSeed);
}
