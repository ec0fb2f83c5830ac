#pragma once

#include <cstdint>
#include <vector>

#include "prod/ChannelSelection.h"
#include "prod/Spectrum.h"

class CBitCursor;
class CLayoutEngine;
class CProdL1C;
struct SKeptRow;

/// Decoder of the spectra of an L1C message: ten scale-factor bands, then 8700 samples of a channel number
/// and a raw radiance each.
class CSpectrumDecoder {
 public:
  static constexpr int64_t MISSING_EXPONENT = -700;
  static constexpr int64_t MISSING_RADIANCE = -100000000;
  static constexpr int SAMPLE_GROUPS = 87;
  static constexpr int GROUP_SAMPLES = 100;
  static constexpr int SAMPLES = SAMPLE_GROUPS * GROUP_SAMPLES;
  static_assert(SAMPLES == CChannelSelection::LIMIT);

  /// nLastMissingChannel gets the last selected channel whose decoding changed the flags of missing values.
  CSpectrumDecoder(CLayoutEngine& engine, int64_t& nLastMissingChannel)
      : m_engine(engine), m_nLastMissingChannel(nLastMissingChannel) {}

  /// Forgets the message before.
  void Reset() { m_arSampleBitPos.clear(); }

  /// Steps over the bands and samples and remembers where those in front begin, so that the decoding of a few
  /// channels need not walk through all again. False when something lies beyond the data.
  bool Skip(CBitCursor& data);

  /// Decodes the bands and spectra of the kept pixels for the selected channels (null: none is known, which
  /// fails). False when something could not be decoded.
  bool Decode(CBitCursor& data, CProdL1C& prod, const CChannelSelection* pSelection);

 private:
  /// What the decoding of one message's spectra carries from sample to sample.
  struct SPass {
    CBitCursor& data;
    CProdL1C& prod;
    const CChannelSelection* pSelection;
    bool bAll;                   // all could be decoded so far
    bool bUniformBands = false;  // the scale bands of all kept pixels agree
    int nLastBand = 0;
    int nTileFirst = 0;  // first column of the tile being filled
    int nTileCount = 0;
    double arfDivisors[CSpectrum::TILE_CHANNELS] = {};
  };

  /// The header of a sample whose channel is the same for all pixels.
  struct SSample {
    int nChannel;
    int nReferenceValue;
    int nWidth;       // of the increments
    int64_t nBitPos;  // of the increments
    int64_t nEnd;     // bit behind the sample
  };

  /// What a raw value stands for.
  enum class EValue : uint8_t {
    MISSING,
    ZERO,   // of all pixels: a radiance of 0 in whatever band
    SCALED  // a radiance by the band of its channel
  };

  /// A value of a sample as it is stored.
  struct SRadiance {
    int64_t nRaw;  // of those that are not missing
    EValue eValue;

    /// nRaw may be MISSING_RADIANCE. bAll: it is that of all pixels.
    static SRadiance Of(int64_t nRaw, bool bAll) {
      if (nRaw == MISSING_RADIANCE) return {nRaw, EValue::MISSING};
      return {nRaw, bAll && nRaw == 0 ? EValue::ZERO : EValue::SCALED};
    }
  };

  bool ReadSample(const CBitCursor& data, SSample& sample) const;

  bool DecodeBands(CBitCursor& data, CProdL1C& prod);
  static bool BandsAgree(const CProdL1C& prod);
  /// Band of a channel for one kept pixel, -1 when it is in none.
  static int FindBand(const SPass& pass, SKeptRow row, int64_t nChannel);

  int DecodeOrdered(SPass& pass);
  bool DecodeSampleFast(SPass& pass);
  bool DecodeSelected(SPass& pass, const SSample& sample);
  static bool IsChannel(const SPass& pass, int64_t nChannel);
  bool UnpackKept(const SPass& pass, const SSample& sample, int32_t* pSlot);
  static int32_t* OpenSlot(SPass& pass, int nColumn);
  static void FlushTile(SPass& pass);

  void DecodeSample(SPass& pass);
  void DecodeRadiances(SPass& pass, int64_t nChannel, const int64_t* pChannels);
  static void Store(SPass& pass, int nPixel, int64_t nChannel, SRadiance radiance);

  CLayoutEngine& m_engine;
  int64_t& m_nLastMissingChannel;
  /// Where the leading samples begin whose channels are 1, 2, 3 and so on for all pixels, as they nearly
  /// always are; one more entry for the end of the last one.
  std::vector<uint32_t> m_arSampleBitPos;
  std::vector<int32_t> m_arRaw;  // one value per subset, when not all are kept
};
