#pragma once

#include <cstdint>
#include <vector>

#include "bufr/BUFRReader.h"

/// Gives a decoder the data of a message, the layout version included, without a file, and readies it as the
/// product readers do. The bytes behind the data are set, so that a decoder which takes them for data shows
/// it.
void LoadData(CBUFRReader& reader, const std::vector<uint8_t>& arBytes, int nSubsets, int nVersion = 0);
