#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "bufr/BUFRDescriptor.h"

class CStreamReader;

/// The data descriptors of a message, kept as section 3 holds them, two octets each: a section may claim
/// eight million of them.
class CDescriptorList {
 public:
  /// Reads nCount descriptors in place of those before. False when the file ends first: those that it holds
  /// whole are there then.
  bool Read(CStreamReader& stream, int nCount);
  /// Empties the list and keeps its storage.
  void DeleteContents() { m_arRaw.clear(); }

  int Count() const { return static_cast<int>(m_arRaw.size()); }
  CBUFRDescriptor operator[](int i) const {
    const auto& [nFX, nY] = m_arRaw[i];
    return {nFX >> 6, nFX & 0x3F, nY};
  }
  /// True when there is a last descriptor and it is this one.
  bool EndsWith(const CBUFRDescriptor& descriptor) const {
    return Count() > 0 && (*this)[Count() - 1] == descriptor;
  }

 private:
  std::vector<std::array<uint8_t, 2>> m_arRaw;
};
