#pragma once

#include <cstdint>
#include <memory>

#include "prod/ProductKind.h"

class CBUFRReader;
class CProd;

/// The decoder of one product with its record, for what all products have: time, position and numbers of the
/// pixels.
class CFirstLevel {
 public:
  static std::unique_ptr<CFirstLevel> Make(EProduct eProduct);

  CFirstLevel() = default;
  CFirstLevel(const CFirstLevel&) = delete;
  CFirstLevel& operator=(const CFirstLevel&) = delete;
  virtual ~CFirstLevel() = default;

  bool Open(const char* szPath);
  void Close();
  /// The pixels of the message at this place of the file; null when it has none or cannot be read. What
  /// cannot be decoded is missing.
  const CProd* Decode(int64_t nOffset);

 protected:
  virtual CBUFRReader& Decoder() = 0;
  /// Decodes the message that the decoder has read.
  virtual const CProd& Interpret() = 0;
};
