#pragma once

#include <cstdint>
#include <vector>

#include "prod/ProductKind.h"

class CConfigParam;
class CProd;
struct SBlock;

/// Who gives a part of a record its pixel.
enum class ESupplier : uint8_t {
  FIRST,    // the first product that takes part in the record
  LEVEL_2,  // the first product of level 2 that does
  PRODUCT   // one product
};

/// One part of a record.
struct SPart {
  const SBlock* pBlock;
  ESupplier eSupplier;
  EProduct eProduct = PRODUCT_L1C;  // of ESupplier::PRODUCT
};

/// A pixel of the message that a product has at hand. pProd is null when there is none.
struct SPixelOf {
  const CProd* pProd = nullptr;
  int nPixel = 0;
};

/// The record at hand: of each product the pixel that takes part in it, or none.
struct SRecordView {
  SPixelOf arPixels[PRODUCTS];

  /// The pixel of the first product from eFrom on that takes part, or none.
  const SPixelOf* First(int nFrom = 0) const;
  /// The pixel that a part is filled from; null: it gets its missing form.
  const SPixelOf* Supplier(const SPart& part) const;
};

/// The parts of every record of a run, in their order. Lengths, headers, records and their missing forms are
/// all walks over them.
class CRecordLayout {
 public:
  /// nChannels: of the headers (see CChannelSelection).
  CRecordLayout(const CConfigParam& config, int64_t nChannels);

  const std::vector<SPart>& Parts() const { return m_arParts; }
  int64_t Channels() const { return m_nChannels; }
  /// Codes of the products of level 2 in the binary header, ascending.
  const std::vector<int>& HeaderCodes() const { return m_arHeaderCodes; }
  /// Content length that the markers of a binary record announce.
  int64_t BinaryLength() const;

 private:
  static constexpr int SPECTRUM_VALUE_SIZE = 4;  // bytes of one value

  int64_t m_nChannels;
  std::vector<SPart> m_arParts;
  std::vector<int> m_arHeaderCodes;
};
