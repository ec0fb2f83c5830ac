#pragma once

#include <cstdint>
#include <vector>

#include "bufr/BUFRReader.h"
#include "bufr/Element.h"

class CBitCursor;
class CProdL2;

/// What the decoders of the five L2 kinds share: the header, the cursor of the product block and three
/// variants of decompression. Layout versions of L2 messages are 0 and 3 to 8.
class CBUFRReaderL2 : public CBUFRReader {
 public:
  /// As BUFRDecompressInt for field-of-view numbers: 1-based in the archive, 0-based in the record. The
  /// constant output keeps the archive's number.
  int BUFRDecompressFieldOfView(int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut,
                                uint64_t nFlag, int64_t nMissing, int64_t* pConstant = nullptr,
                                bool* pbConstant = nullptr);
  /// As BUFRDecompressInt, multiplied by 1000. The constant output is not multiplied.
  int BUFRDecompressIntTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut,
                                 uint64_t nFlag, int64_t nMissing, int64_t* pConstant = nullptr,
                                 bool* pbConstant = nullptr);
  /// As BUFRDecompressFloat, multiplied by 1000.
  int BUFRDecompressFloatTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale,
                                   double* pOut, uint64_t nFlag, double fMissing);

  int64_t nSecondLevelBitPos = 0;  // start of the product block of the current message, 0 unknown

 protected:
  /// Decodes the header rows and notes where the product block begins.
  bool DecodeHeader(TLayout header, CProdL2& prod);
  /// Decodes a count for all pixels (8 bits) into the work array and gives that of the first pixel, by which
  /// alone messages are judged.
  bool DecodeCount(CBitCursor& data, uint64_t nFlag, int64_t& nFirstCount);
  /// Versions 3 to nLast.
  bool VersionFrom3To(int nLast) const { return nDataVersion >= 3 && nDataVersion <= nLast; }

 private:
  std::vector<int64_t> m_arCounts;
};
