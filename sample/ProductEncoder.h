#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "sample/BUFREncoder.h"
#include "sample/Layouts.h"
#include "sample/SpectrumModel.h"
#include "sample/Template.h"

struct SFieldSource;
struct SSamplePixel;

struct SEncodeOptions {
  int nEdition = 4;       // 3: a section 1 of 18 bytes, so that the date of an L2 message gives version 0
  bool bMissing = false;  // sprinkle missing values over what may be missing
  uint64_t nSeed = 1;     // of noise and missing values
  std::vector<int> arCounts = {};  // replication counts in place of the layout's own (layers, points, levels)
};

/// One element of a message with what went in.
struct SFieldValues {
  STemplateField field;
  std::vector<int64_t> arRaw;  // one packed value a pixel, CBUFREncoder::MISSING for missing

  bool IsMissing(size_t nPixel) const { return arRaw[nPixel] == CBUFREncoder::MISSING; }
  /// In the unit of the element; NaN when missing.
  double Value(size_t nPixel) const;
};

/// Turns pixels into messages of any product in any layout. Widths and scales follow from the descriptors and
/// operators that the message itself carries.
class CProductEncoder {
 public:
  /// nLayout: for L1C 1 (3-40-001) or 2 (3-40-007), for L2 0 or 3 to 8. The date of section 1 is that of the
  /// first pixel where it goes with the layout, else one that does. pValues, when given, receives every
  /// element in order. The encoder that comes back can still be changed before its Message() is taken. An
  /// unknown layout or no pixels give an encoder without descriptors and data.
  CBUFREncoder Encode(EKind eKind, int nLayout, const std::vector<SSamplePixel>& arPixels,
                      const SEncodeOptions& options = {}, std::vector<SFieldValues>* pValues = nullptr);

 private:
  struct SLayout {
    EKind eKind;
    int nLayout;
    std::vector<int> arCounts = {};
    CTemplate layout;
    std::vector<const SFieldSource*> arSources;  // one a field
  };
  const SLayout& Layout(EKind eKind, int nLayout, const std::vector<int>& arCounts);
  void Header(SMessageHeader& header, const SLayout& layout, const SSamplePixel& first,
              const SEncodeOptions& options) const;
  void Pack(const SLayout& layout, size_t nField, const std::vector<SSamplePixel>& arPixels,
            const SEncodeOptions& options, std::vector<int64_t>& arRaw);

  std::vector<std::unique_ptr<SLayout>> m_arLayouts;  // those made so far
  std::unique_ptr<CSpectrumModel> m_pSpectrum;        // made for the first L1C message
};
