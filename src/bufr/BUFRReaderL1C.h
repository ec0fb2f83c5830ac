#pragma once

#include "bufr/BUFRReader.h"
#include "prod/ProdL1C.h"

/// Decoder of IASI L1C messages, layouts 1 (sequence 3 40 001) and 2 (3 40 007).
class CBUFRReaderL1C : public CBUFRReader {
 public:
  using CBUFRReader::InterpretFirstLevel;

  static constexpr int64_t DEFAULT_VALUE_SF = -700;         // missing scale-factor exponent
  static constexpr int64_t DEFAULT_VALUE_IRD = -100000000;  // missing raw radiance
  static constexpr int SAMPLE_GROUPS = 87;
  static constexpr int GROUP_SAMPLES = 100;
  static constexpr int CHANNELS =
      SAMPLE_GROUPS * GROUP_SAMPLES;  // channel numbers run from 1 to at most 8700

  int GoToNextMessage();

  /// Decodes the header of all pixels and finds the spectrum and the imager block; 0 when something could
  /// not be decoded or the layout is another one. The record is sized for nSubsets pixels.
  int InterpretFirstLevel(CProdL1C* pProd);

  /// Decodes the spectra of the kept pixels (CProdL1C::InitKept) for the selected channels: pSelection has
  /// one byte per channel, channel number - 1 as index. Returns 0 when something could not be decoded.
  int UpdateL1Spectrum(CProdL1C* pProd, const char* pSelection);

  /// Decodes the AVHRR clusters of the kept pixels; 0 when something could not be decoded or no message with
  /// such a block was met.
  int UpdateL1Avhrr(CProdL1C* pProd);

  int64_t nSpectrumBitPos = 0;      // start of the scale factors, 0 unknown
  int64_t nAvhrrBitPos = 0;         // start of the AVHRR block, 0 unknown
  int64_t nLastMissingChannel = 0;  // last selected channel whose decoding changed nMissingFlags

 private:
  /// What the decoding of one message's spectra carries from sample to sample.
  struct SPass {
    CProdL1C& prod;
    const char* pSelection;
    bool bUniformBands;  // the scale bands of all kept pixels agree
    int nLastBand;
    int nTileFirst;  // first column of the tile being filled
    int nTileCount;
    double arfDivisors[CSpectrum::TILE_CHANNELS];
    int nStatus;
  };

  /// The header of a sample whose channel is the same for all pixels.
  struct SSample {
    int nChannel;
    int nReferenceValue;
    int nWidth;       // of the increments
    int64_t nBitPos;  // of the increments
    int64_t nEnd;     // bit behind the sample
  };

  bool ReadSample(int64_t nBitPos, SSample& sample) const;
  int SkipElement(int64_t& bitPos, int nWidth);
  int SkipSpectrum(int64_t& bitPos);
  int SkipAvhrr(int64_t& bitPos);

  int DecodeBands(CProdL1C& prod, int64_t& bitPos);
  static bool BandsAgree(const CProdL1C& prod);
  /// Band of a channel for one kept pixel, -1 when it is in none.
  static int FindBand(const SPass& pass, SKeptRow row, int64_t nChannel);

  int DecodeOrdered(SPass& pass, int64_t& bitPos);
  bool DecodeSampleFast(SPass& pass, int64_t& bitPos);
  bool DecodeSelected(SPass& pass, const SSample& sample);
  void DecodeSample(SPass& pass, int64_t& bitPos);
  template <class TChannelOf>
  void DecodeRadiances(SPass& pass, int64_t& bitPos, TChannelOf channelOf);
  static void Store(SPass& pass, int nPixel, int64_t nChannel, int64_t nRaw, bool bScale);
  static int32_t* OpenSlot(SPass& pass, int nColumn);
  static void FlushTile(SPass& pass);

  /// Where the leading samples begin whose channels are 1, 2, 3 and so on for all pixels, as they nearly
  /// always are; one more entry for the end of the last one.
  std::vector<uint32_t> m_arSampleBitPos;
  std::vector<int32_t> m_arRaw;  // one value per subset, when not all are kept
};
