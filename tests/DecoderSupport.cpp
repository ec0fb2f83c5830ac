#include "DecoderSupport.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "kernel/BitRun.h"

void LoadData(CBUFRReader& reader, const std::vector<uint8_t>& arBytes, int nSubsets, int nVersion) {
  reader.pData = std::make_unique<uint8_t[]>(arBytes.size() + UNPACK_PADDING);
  std::memset(reader.pData.get(), 0xFF, arBytes.size() + UNPACK_PADDING);
  std::copy(arBytes.begin(), arBytes.end(), reader.pData.get());
  reader.nDataSize = reader.nDataCapacity = static_cast<int>(arBytes.size());
  reader.nSubsets = nSubsets;
  reader.nDataVersion = nVersion;
  reader.nMissingFlags = 0;
  reader.bBlankUndecoded = true;
}
