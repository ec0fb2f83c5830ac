#include "bufr/SpectrumDecoder.h"

#include <algorithm>
#include <cstddef>

#include "bufr/BitCursor.h"
#include "bufr/Decompress.h"
#include "bufr/Element.h"
#include "bufr/LayoutEngine.h"
#include "kernel/BitRun.h"
#include "kernel/PowerOfTen.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"

namespace {

using enum ECall;
using P = CProdL1C;

constexpr int INCREMENT_WIDTH = CLayoutEngine::INCREMENT_WIDTH;
constexpr int CHANNEL_WIDTH = 14;
constexpr int EXPONENT_WIDTH = 6;
constexpr int RADIANCE_WIDTH = 16;
constexpr int RADIANCE_REFERENCE = -5000;
constexpr int SAMPLE_HEADERS = CHANNEL_WIDTH + INCREMENT_WIDTH + RADIANCE_WIDTH + INCREMENT_WIDTH;

constexpr SElement BAND[] = {
    {"0 25 140", "start channel", INT, All(CHANNEL_WIDTH), 0, 0, 0, Into<&P::ScaleBandStartChannel>()},
    {"0 25 141", "end channel", INT, All(CHANNEL_WIDTH), 0, 0, 0, Into<&P::ScaleBandEndChannel>()},
    {"0 25 142", "channel scale factor", INT, All(EXPONENT_WIDTH), 0, 0, 0, Into<&P::ScaleBandExponent>(),
     CSpectrumDecoder::MISSING_EXPONENT, CSpectrumDecoder::MISSING_EXPONENT},
};
constexpr TLayout BAND_LIMITS = {BAND, 2}, BAND_EXPONENT = {BAND + 2, 1};

constexpr TAsked<int64_t> CHANNEL = {
    INT, CHANNEL_WIDTH, 0, 0, MISSING_SPECTRUM, CProd::DEFAULT_VALUE_M1, CProd::DEFAULT_VALUE_M1};
constexpr TAsked<int64_t> RADIANCE = {INT,
                                      RADIANCE_WIDTH,
                                      RADIANCE_REFERENCE,
                                      0,
                                      MISSING_SPECTRUM,
                                      CSpectrumDecoder::MISSING_RADIANCE,
                                      CSpectrumDecoder::MISSING_RADIANCE};

}  // namespace

/// The sample at the position of the data. False when it does not lie inside the data as a whole, or does not
/// have one channel for all pixels.
inline bool CSpectrumDecoder::ReadSample(const CBitCursor& data, SSample& sample) const {
  constexpr int HEADERS = SAMPLE_HEADERS;
  constexpr uint64_t INCREMENT_MASK = (1 << INCREMENT_WIDTH) - 1;
  if (data.Remaining() < HEADERS) return false;
  const uint64_t nBits = data.Peek(HEADERS);
  const auto nWidth = static_cast<int>(nBits & INCREMENT_MASK);
  const bool bChannelIncrements = (nBits >> (INCREMENT_WIDTH + RADIANCE_WIDTH) & INCREMENT_MASK) != 0;
  const int64_t nSize = HEADERS + int64_t{nWidth} * m_engine.Subsets();
  sample.nChannel = static_cast<int>(nBits >> (HEADERS - CHANNEL_WIDTH));
  sample.nReferenceValue = static_cast<int>(nBits >> INCREMENT_WIDTH & 0xFFFF);
  sample.nWidth = nWidth;
  sample.nBitPos = data.Position() + HEADERS;
  sample.nEnd = data.Position() + nSize;
  return !bChannelIncrements && nWidth <= RADIANCE_WIDTH && nSize <= data.Remaining();
}

bool CSpectrumDecoder::Skip(CBitCursor& data) {
  bool bAll = true;
  for (int i = 0; i < P::BANDS; ++i) bAll &= m_engine.SkipLayout(BAND, data);
  const auto nRoom = static_cast<int>(std::clamp<int64_t>(data.Remaining() / SAMPLE_HEADERS, 0, SAMPLES));
  m_arSampleBitPos.resize(nRoom + 1);
  int nSample = 0;
  for (SSample sample; nSample < nRoom; data.MoveTo(sample.nEnd)) {
    if (!ReadSample(data, sample) || sample.nChannel != nSample + 1) break;
    m_arSampleBitPos[nSample++] = static_cast<uint32_t>(data.Position());
  }
  m_arSampleBitPos[nSample] = static_cast<uint32_t>(data.Position());
  m_arSampleBitPos.resize(nSample + 1);
  for (; nSample < SAMPLES && data.Remaining() > 0; ++nSample) {
    bAll &= m_engine.Skip(data, CHANNEL_WIDTH);
    bAll &= m_engine.Skip(data, RADIANCE_WIDTH);
  }
  // Beyond the data no sample has increments.
  data.Skip(int64_t{SAMPLES - nSample} * SAMPLE_HEADERS);
  return bAll && nSample == SAMPLES;
}

bool CSpectrumDecoder::DecodeBands(CBitCursor& data, CProdL1C& prod) {
  const int nRows = static_cast<int>(prod.Kept().size());
  bool bAll = true;
  for (int i = 0; i < P::BANDS; ++i) {
    bAll &= m_engine.Decode(BAND_LIMITS, prod, data, i);
    // Whether a band is there at all is told by the end channel of the first pixel, kept or not.
    const bool bBand = nRows > 0 && m_engine.FirstInt() >= 0;
    bAll &= m_engine.Decode(BAND_EXPONENT, prod, data, i);
    int64_t* pStart = prod.ScaleBandStartChannel[i].Write();
    int64_t* pEnd = prod.ScaleBandEndChannel[i].Write();
    double* pFactor = prod.ScaleBandFactor[i].WriteAll();
    for (int j = 0; j < nRows; ++j) {
      const int64_t nExponent = prod.ScaleBandExponent[i][SKeptRow(j)];
      const bool bMissing = !bBand || nExponent == MISSING_EXPONENT;
      pFactor[j] = bMissing ? CProd::DEFAULT_VALUE_REAL : PowerOfTen(nExponent);
      if (bMissing) pStart[j] = pEnd[j] = CProd::DEFAULT_VALUE_M1;
    }
  }
  return bAll;
}

bool CSpectrumDecoder::BandsAgree(const CProdL1C& prod) {
  const int nRows = static_cast<int>(prod.Kept().size());
  const auto same = [nRows](const auto& column) {
    bool bSame = true;
    for (int i = 1; i < nRows; ++i) bSame &= column.At(i) == column.At(0);
    return bSame;
  };
  for (int i = 0; i < P::BANDS; ++i)
    if (!same(prod.ScaleBandStartChannel[i]) || !same(prod.ScaleBandEndChannel[i]) ||
        !same(prod.ScaleBandFactor[i]))
      return false;
  return true;
}

inline int CSpectrumDecoder::FindBand(const SPass& pass, SKeptRow row, int64_t nChannel) {
  const auto holds = [&](int nBand) {
    return pass.prod.ScaleBandStartChannel[nBand][row] <= nChannel &&
           nChannel <= pass.prod.ScaleBandEndChannel[nBand][row];
  };
  // Bands may overlap: the one found last is tried first, then those behind it, then all.
  for (int i = pass.nLastBand; i < P::BANDS; ++i)
    if (holds(i)) return i;
  for (int i = 0; i < P::BANDS; ++i)
    if (holds(i)) return i;
  return -1;
}

void CSpectrumDecoder::FlushTile(SPass& pass) {
  if (pass.nTileCount > 0) pass.prod.Spectrum.StoreTile(pass.nTileFirst, pass.nTileCount, pass.arfDivisors);
  pass.nTileCount = 0;
}

/// Where the raw values of a column are put; they count once the slot has a divisor.
int32_t* CSpectrumDecoder::OpenSlot(SPass& pass, int nColumn) {
  if (pass.nTileCount == CSpectrum::TILE_CHANNELS || nColumn != pass.nTileFirst + pass.nTileCount) {
    FlushTile(pass);
    pass.nTileFirst = nColumn;
  }
  return pass.prod.Spectrum.Tile(pass.nTileCount);
}

/// The raw values of the kept pixels, which have one each. True when one of the message's pixels misses its
/// value.
inline bool CSpectrumDecoder::UnpackKept(const SPass& pass, const SSample& sample, int32_t* pSlot) {
  const auto& arKept = pass.prod.Kept();
  const size_t nRows = arKept.size(), nSubsets = m_engine.Subsets();
  const int32_t nBase = sample.nReferenceValue + RADIANCE_REFERENCE;
  const bool bAllKept = nRows == nSubsets;
  if (!bAllKept && m_arRaw.size() < nSubsets) m_arRaw.resize(nSubsets);
  int32_t* pRaw = bAllKept ? pSlot : m_arRaw.data();
  const bool bMissing =
      UnpackRaw(pass.data.Bytes(), sample.nBitPos, sample.nWidth, m_engine.Subsets(), nBase, pRaw);
  for (size_t i = 0; !bAllKept && i < nRows; ++i) pSlot[i] = pRaw[arKept[i]];
  return bMissing;
}

/// The radiances of one selected channel, uniform bands, everything inside the data. False when the channel
/// needs the general way (no band for a value); nothing is stored then.
bool CSpectrumDecoder::DecodeSelected(SPass& pass, const SSample& sample) {
  CProdL1C& prod = pass.prod;
  const size_t nRows = prod.Kept().size();
  int32_t* pSlot = OpenSlot(pass, prod.Spectrum.Column(sample.nChannel));
  bool bMissing, bScaled;
  if (sample.nWidth == 0) {
    const bool bNone = sample.nReferenceValue == ALL_ONES[RADIANCE_WIDTH];
    const auto radiance =
        SRadiance::Of(bNone ? MISSING_RADIANCE : sample.nReferenceValue + RADIANCE_REFERENCE, true);
    bMissing = radiance.eValue == EValue::MISSING;
    bScaled = radiance.eValue == EValue::SCALED;
    std::fill_n(pSlot, nRows, bMissing ? RAW_MISSING : static_cast<int32_t>(radiance.nRaw));
  } else {
    bMissing = UnpackKept(pass, sample, pSlot);
    bScaled = !bMissing || std::any_of(pSlot, pSlot + nRows, [](int32_t n) { return n != RAW_MISSING; });
  }
  double fDivisor = pass.nTileCount > 0 ? pass.arfDivisors[pass.nTileCount - 1] : 1.0;
  if (bScaled) {
    const int nBand = FindBand(pass, SKeptRow(0), sample.nChannel);
    if (nBand < 0) return false;
    pass.nLastBand = nBand;
    fDivisor = prod.ScaleBandFactor[nBand][SKeptRow(0)];
  }
  if (bMissing && !(m_engine.MissingFlags() & MISSING_SPECTRUM)) {
    m_engine.MissingFlags() |= MISSING_SPECTRUM;
    m_nLastMissingChannel = sample.nChannel;
  }
  pass.arfDivisors[pass.nTileCount++] = fDivisor;
  return true;
}

/// One sample whose channel number is the same for all pixels and which lies inside the data, as they nearly
/// all are. False, with the cursor where it was, when the sample needs the general way.
bool CSpectrumDecoder::DecodeSampleFast(SPass& pass) {
  CBitCursor& data = pass.data;
  SSample sample;
  if (!ReadSample(data, sample) || !IsChannel(pass, sample.nChannel)) return false;
  if (pass.pSelection->Has(sample.nChannel) && !(pass.bUniformBands && DecodeSelected(pass, sample)))
    return false;
  data.MoveTo(sample.nEnd);
  return true;
}

/// The selected ones among the samples whose places are known, without a look at the others. Returns how many
/// samples are done with, those that were not selected included.
int CSpectrumDecoder::DecodeOrdered(SPass& pass) {
  CBitCursor& data = pass.data;
  const CSpectrum& spectrum = pass.prod.Spectrum;
  const int nOrdered = std::min(static_cast<int>(m_arSampleBitPos.size()) - 1, pass.prod.ChannelCount);
  if (!pass.pSelection || !pass.bUniformBands || nOrdered < 1 || m_arSampleBitPos[0] != data.Position())
    return 0;
  for (int i = 0; i < spectrum.Columns() && spectrum.Channel(i) <= nOrdered; ++i) {
    const int nSample = spectrum.Channel(i) - 1;
    SSample sample;
    data.MoveTo(m_arSampleBitPos[nSample]);
    if (!ReadSample(data, sample) || !DecodeSelected(pass, sample)) return nSample;
  }
  data.MoveTo(m_arSampleBitPos[nOrdered]);
  return nOrdered;
}

inline bool CSpectrumDecoder::IsChannel(const SPass& pass, int64_t nChannel) {
  return nChannel >= 1 && nChannel <= pass.prod.ChannelCount;
}

/// Stores one radiance of one kept pixel.
void CSpectrumDecoder::Store(SPass& pass, int nPixel, int64_t nChannel, SRadiance radiance) {
  CProdL1C& prod = pass.prod;
  if (!IsChannel(pass, nChannel)) {
    pass.bAll = false;
    return;
  }
  const SKeptRow row = prod.KeptRow(nPixel);
  double fValue = radiance.eValue == EValue::MISSING ? CProd::DEFAULT_VALUE_REAL : 0.0;
  if (radiance.eValue == EValue::SCALED) {
    const int nBand = FindBand(pass, row, nChannel);
    if (nBand < 0) {
      pass.bAll = false;
      return;
    }
    pass.nLastBand = nBand;
    fValue = static_cast<double>(radiance.nRaw) / prod.ScaleBandFactor[nBand][row];
  }
  const int nColumn = pass.pSelection ? prod.Spectrum.Column(static_cast<int>(nChannel)) : -1;
  if (nColumn >= 0) prod.Spectrum.Set(row.nRow, nColumn, fValue);
}

/// The radiances of one sample, the general way. The channel is that of all pixels, or each has its own.
void CSpectrumDecoder::DecodeRadiances(SPass& pass, int64_t nChannel, const int64_t* pChannels) {
  CBitCursor& data = pass.data;
  CProdL1C& prod = pass.prod;
  FlushTile(pass);
  bool bConstant = false;
  int64_t nConstant = 0;
  const int64_t nHeaderEnd = data.Position() + RADIANCE_WIDTH + INCREMENT_WIDTH;
  int64_t* pRaw = prod.SampleScaledRadiance.Write();
  const bool bDecoded = m_engine.DecompressInt(data, RADIANCE, pRaw, &nConstant, &bConstant);
  pass.bAll &= bDecoded;
  if (!bDecoded && data.Position() == nHeaderEnd) return;  // not even its header
  // What needs no band goes to all pixels: one that is not kept may have a channel that there is not.
  const bool bToAll = bConstant && SRadiance::Of(nConstant, true).eValue != EValue::SCALED;
  for (int i = 0; bToAll && pChannels && i < m_engine.Subsets(); ++i)
    pass.bAll &= IsChannel(pass, pChannels[i]);
  for (const int i : prod.Kept())
    Store(pass, i, pChannels ? pChannels[i] : nChannel,
          SRadiance::Of(bConstant ? nConstant : pRaw[i], bConstant));
}

/// One sample, the general way: channel numbers that differ between pixels, missing or strange ones, bands
/// that differ between pixels, the end of the data.
void CSpectrumDecoder::DecodeSample(SPass& pass) {
  CBitCursor& data = pass.data;
  bool bConstant = false;
  int64_t nChannel = CProd::DEFAULT_VALUE_M1;
  const int64_t nHeaderEnd = data.Position() + CHANNEL_WIDTH + INCREMENT_WIDTH;
  int64_t* pChannels = pass.prod.SampleChannel.Write();
  const bool bDecoded = m_engine.DecompressInt(data, CHANNEL, pChannels, &nChannel, &bConstant);
  pass.bAll &= bDecoded;
  const bool bNone = !bDecoded && data.Position() == nHeaderEnd;
  if (!bNone && !bConstant) {
    DecodeRadiances(pass, nChannel, pChannels);
    return;
  }
  if (bNone || !pass.pSelection || !IsChannel(pass, nChannel)) {
    pass.bAll = false;  // the radiance is not consumed: what follows is read from there
    return;
  }
  if (!pass.pSelection->Has(static_cast<int>(nChannel))) {
    pass.bAll &= m_engine.Skip(data, RADIANCE_WIDTH);
    return;
  }
  const uint64_t nFlags = m_engine.MissingFlags();
  DecodeRadiances(pass, nChannel, nullptr);
  if (m_engine.MissingFlags() != nFlags) m_nLastMissingChannel = nChannel;
}

bool CSpectrumDecoder::Decode(CBitCursor& data, CProdL1C& prod, const CChannelSelection* pSelection) {
  if (pSelection) prod.Spectrum.Select(*pSelection);
  prod.Spectrum.Begin(static_cast<int>(prod.Kept().size()));
  SPass pass = {data, prod, pSelection, DecodeBands(data, prod)};
  pass.bUniformBands = !prod.Kept().empty() && BandsAgree(prod);
  for (int i = DecodeOrdered(pass); i < SAMPLES; ++i)
    if (!pSelection || !DecodeSampleFast(pass)) DecodeSample(pass);
  FlushTile(pass);
  prod.Spectrum.End();
  return pass.bAll;
}
