#pragma once

#include <cstdint>

#include "bufr/BUFRReader.h"
#include "bufr/SpectrumDecoder.h"
#include "prod/ChannelSelection.h"

class CBitCursor;
class CProdL1C;

/// Decoder of IASI L1C messages, layouts 1 (sequence 3 40 001) and 2 (3 40 007).
class CBUFRReaderL1C : public CBUFRReader {
 public:
  using CBUFRReader::InterpretFirstLevel;

  static constexpr int64_t DEFAULT_VALUE_SF =
      CSpectrumDecoder::MISSING_EXPONENT;  // missing scale-factor exponent
  static constexpr int64_t DEFAULT_VALUE_IRD = CSpectrumDecoder::MISSING_RADIANCE;  // missing raw radiance
  static constexpr int CHANNELS = CSpectrumDecoder::SAMPLES;                        // at most

  int GoToNextMessage();

  /// Decodes the header of all pixels and finds the spectrum and the imager block; 0 when something could
  /// not be decoded or the layout is another one. The record is sized for nSubsets pixels.
  int InterpretFirstLevel(CProdL1C* pProd);

  /// Decodes the spectra of the kept pixels (CProd::InitKept) for the selected channels. Returns 0 when
  /// something could not be decoded.
  int UpdateL1Spectrum(CProdL1C* pProd, const CChannelSelection* pSelection);
  /// The same for a mask with one byte for each of the record's channels, channel number - 1 as index.
  int UpdateL1Spectrum(CProdL1C* pProd, const char* pMask);

  /// Decodes the AVHRR clusters of the kept pixels; 0 when something could not be decoded or no message with
  /// such a block was met.
  int UpdateL1Avhrr(CProdL1C* pProd);

  int64_t nSpectrumBitPos = 0;      // start of the scale factors, 0 unknown
  int64_t nAvhrrBitPos = 0;         // start of the AVHRR block, 0 unknown
  int64_t nLastMissingChannel = 0;  // last selected channel whose decoding changed nMissingFlags

 private:
  bool SkipAvhrr(CBitCursor& data);

  CChannelSelection m_masked;  // of the last mask
  CSpectrumDecoder m_spectrum{m_engine, nLastMissingChannel};
};
