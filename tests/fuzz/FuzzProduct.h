#pragma once

#include <cstddef>
#include <cstdint>

/// Reads the bytes as a file of one product kind (0 L1C, 1 to 5 the L2 kinds in the order of the streams) and
/// writes what comes out, binary and text. The first byte chooses options; the file is behind it.
void FuzzProduct(int nKind, const uint8_t* pBytes, size_t nBytes);
