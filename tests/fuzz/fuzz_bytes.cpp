// The message reader on bytes as they are, behind two bytes of options and one for the product, and the
// decoders behind it.

#include "Decoding.h"
#include "prod/ProductKind.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  constexpr size_t HEADER = 3;
  if (nBytes >= HEADER)
    Decode({pBytes[0], pBytes[1], pBytes[2] % PRODUCTS}, std::string(pBytes + HEADER, pBytes + nBytes));
  return 0;
}
