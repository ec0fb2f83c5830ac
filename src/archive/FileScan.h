#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archive/FirstLevel.h"
#include "archive/Instant.h"
#include "bufr/BUFRReader.h"
#include "prod/ProductKind.h"

/// What tells a pixel from all others of its product.
struct SPixelKey {
  CInstant time;
  int64_t nSatellite = -1, nLine = -1, nFieldOfView = -1;

  auto operator<=>(const SPixelKey&) const = default;
};

/// What the messages of a file are.
struct SFileFacts {
  EProduct eProduct = PRODUCTS;        // of the first message of a known product; PRODUCTS: there is none
  int64_t nBytes = 0;                  // of the whole file
  int64_t nMessages = 0, nPixels = 0;  // of this product
  int64_t nOtherMessages = 0;          // of other products or none that is known
  SPixelKey first;                     // the first pixel that has a time
  CInstant last;                       // time of the last one that has
  std::string szUnread;                // why it cannot be read, or not to its end
  std::string szDamage;                // the first damage
};

/// Reads files as fast as the disk: the heads of messages are read and their data skipped, but for those of
/// the first and the last one with times.
class CFileScan {
 public:
  /// Only as far as it takes to know the product and the first pixel.
  SFileFacts First(const std::string& szPath) { return Scan(szPath, false); }
  SFileFacts Whole(const std::string& szPath) { return Scan(szPath, true); }

  /// Why a file has no place in an archive: it has no message of a known product, or no time. Empty if it
  /// has.
  static std::string Refusal(const SFileFacts& facts);

 private:
  SFileFacts Scan(const std::string& szPath, bool bWhole);
  void Walk(bool bWhole);
  void TakeMessage(int64_t nOffset);
  void NoteDamage(int64_t nOffset, bool bCut);
  CFirstLevel* Decoder();
  void FindFirst(int64_t nOffset);
  void FindLast();

  CBUFRReader m_reader;
  std::array<std::unique_ptr<CFirstLevel>, PRODUCTS> m_arpDecoders;  // made when they are asked for
  std::string m_szPath;
  SFileFacts m_facts;
  std::vector<int64_t> m_arnOffsets;  // of the messages of the product
  bool m_bDecoderOpen = false;
};
