#include "bufr/BUFRReaderL1C.h"

#include <algorithm>
#include <limits>

#include "kernel/BitRun.h"
#include "kernel/PowerOfTen.h"

namespace {

using enum ECall;
using P = CProdL1C;

/// Present in layout 1, in layout 2 and in the others.
constexpr SWidths Layouts(int nLayout1, int nLayout2, int nOthers = 0) {
  SWidths widths = All(nOthers);
  widths.arn[1] = static_cast<int8_t>(nLayout1);
  widths.arn[2] = static_cast<int8_t>(nLayout2);
  return widths;
}

constexpr SElement HEADER[] = {
    // descriptor, name, call, width, reference, scale, flag, where it goes
    {"0 01 007", "satellite identifier", INT, All(10), 0, 0, MISSING_SATELLITE,
     Into<&P::SatelliteIdentifier>()},
    {"0 01 031", "originating centre", INT, All(16), 0, 0, 0, NOT_KEPT},
    {"0 02 019", "satellite instruments", INT, All(11), 0, 0, MISSING_SATELLITE,
     Into<&P::SatelliteInstruments>()},
    {"0 02 020", "satellite classification", INT, All(9), 0, 0, 0, NOT_KEPT},
    {"0 04 001", "year", INT, All(12), 0, 0, MISSING_TIME, Into<&P::Year>()},
    {"0 04 002", "month", INT, All(4), 0, 0, MISSING_TIME, Into<&P::Month>()},
    {"0 04 003", "day", INT, All(6), 0, 0, MISSING_TIME, Into<&P::Day>()},
    {"0 04 004", "hour", INT, All(5), 0, 0, MISSING_TIME, Into<&P::Hour>()},
    {"0 04 005", "minute", INT, All(6), 0, 0, MISSING_TIME, Into<&P::Minute>()},
    {"0 04 006", "second (2 01 138, 2 02 131: milliseconds)", INT, All(16), 0, 0, MISSING_TIME,
     Into<&P::Milliseconds>()},
    {"0 05 001", "latitude", FLOAT, All(25), -9000000, 5, MISSING_LATITUDE, Into<&P::Latitude>()},
    {"0 06 001", "longitude", FLOAT, All(26), -18000000, 5, MISSING_LONGITUDE, Into<&P::Longitude>()},
    {"0 07 024", "satellite zenith angle", FLOAT, All(15), -9000, 2, MISSING_SATELLITE_ANGLES,
     Into<&P::SatelliteZenithAngle>()},
    {"0 05 021", "bearing or azimuth", FLOAT, All(16), 0, 2, MISSING_SATELLITE_ANGLES, Into<&P::Bearing>()},
    {"0 07 025", "solar zenith angle", FLOAT, All(15), -9000, 2, MISSING_SOLAR_ANGLES,
     Into<&P::SolarZenithAngle>()},
    {"0 05 022", "solar azimuth", FLOAT, All(16), 0, 2, MISSING_SOLAR_ANGLES, Into<&P::SolarAzimuth>()},
    {"0 05 043", "field of view number", INT, All(8), 0, 0, MISSING_PIXEL_KEY, Into<&P::FieldOfViewNumber>()},
    {"0 05 040", "orbit number", INT, All(24), 0, 0, MISSING_PIXEL_KEY, Into<&P::OrbitNumber>()},
    {"0 05 041", "scan line number (2 01 133)", INT, All(13), 0, 0, MISSING_PIXEL_KEY,
     Into<&P::ScanLineNumber>()},
    {"0 25 070", "major frame count (2 01 132)", INT, All(8), 0, 0, 0, NOT_KEPT},
    {"0 07 001", "height of station (2 02 126)", FLOAT, All(15), -400, -2, MISSING_HEIGHT,
     Into<&P::HeightOfStation>()},
    // Layout 1 has one quality flag for the whole spectrum, layout 2 one for each of three bands.
    {"0 25 140", "start channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::StartChannel, 0>()},
    {"0 25 141", "end channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::EndChannel, 0>()},
    {"0 33 060", "individual IASI-system quality flag", INT, Layouts(2, 2), 0, 0, MISSING_QUALITY,
     Into<&P::GqisQualFlag, 0>()},
    {"0 25 140", "start channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::StartChannel, 1>()},
    {"0 25 141", "end channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::EndChannel, 1>()},
    {"0 33 060", "individual IASI-system quality flag", INT, Layouts(0, 2), 0, 0, MISSING_QUALITY,
     Into<&P::GqisQualFlag, 1>()},
    {"0 25 140", "start channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::StartChannel, 2>()},
    {"0 25 141", "end channel", INT, Layouts(0, 14), 0, 0, MISSING_QUALITY, Into<&P::EndChannel, 2>()},
    {"0 33 060", "individual IASI-system quality flag", INT, Layouts(0, 2), 0, 0, MISSING_QUALITY,
     Into<&P::GqisQualFlag, 2>()},
    {"0 33 061", "indicator for instrument noise performance", INT, All(7), 0, 0, 0, NOT_KEPT},
    {"0 33 062", "indicator for geometric quality index", INT, All(7), 0, 0, 0, NOT_KEPT},
    {"0 33 063", "indicator for spectral calibration", INT, All(7), 0, 0, 0, NOT_KEPT},
    {"0 33 064", "indicator for radiometric quality", INT, All(7), 0, 0, 0, NOT_KEPT},
    {"0 33 065", "GqisFlagQualDetailed - quality flag", INT, All(24), 0, 0, 0, NOT_KEPT},
    {"0 40 020", "GqisFlagQualDetailed - quality flag for the system", INT, Layouts(0, 17), 0, 0, 0,
     NOT_KEPT},
};

constexpr SElement FRACTIONS[] = {
    {"0 20 081", "cloud amount in segment", INT, Layouts(0, 7), 0, 0, MISSING_FRACTION,
     Into<&P::CloudFraction>()},
    {"0 08 029", "surface type", INT, Layouts(0, 8), 0, 0, 0, NOT_KEPT},
    {"0 20 083", "amount of segment covered by scene", INT, Layouts(0, 7), 0, 0, MISSING_FRACTION,
     Into<&P::LandFraction>()},
    {"0 08 029", "surface type", INT, Layouts(0, 8), 0, 0, 0, NOT_KEPT},
    {"0 40 018", "GIacAvgImagIIS - average of imager measurements", FLOAT, Layouts(0, 24), 0, 6, 0,
     Into<&P::AverageIIS>()},
    {"0 40 019", "GIacVarImagIIS - variance of imager measurements", FLOAT, Layouts(0, 24), 0, 6, 0,
     Into<&P::VarianceIIS>()},
    {"0 40 021", "fraction of weighted AVHRR pixel in IASI FOV covered with snow/ice", INT, Layouts(0, 7), 0,
     0, MISSING_FRACTION, Into<&P::SnowFraction>()},
};

constexpr int CHANNEL_WIDTH = 14;
constexpr int EXPONENT_WIDTH = 6;
constexpr int RADIANCE_WIDTH = 16;
constexpr int RADIANCE_REFERENCE = -5000;
constexpr int INCREMENT_WIDTH = 6;  // width of the increment width

constexpr SElement BAND[] = {
    {"0 25 140", "start channel", INT, All(CHANNEL_WIDTH), 0, 0, 0, Into<&P::ScaleBandStartChannel>()},
    {"0 25 141", "end channel", INT, All(CHANNEL_WIDTH), 0, 0, 0, Into<&P::ScaleBandEndChannel>()},
    {"0 25 142", "channel scale factor", INT, All(EXPONENT_WIDTH), 0, 0, 0, Into<&P::ScaleBandExponent>(),
     CBUFRReaderL1C::DEFAULT_VALUE_SF, CBUFRReaderL1C::DEFAULT_VALUE_SF},
};

constexpr SElement AVHRR[] = {
    {"0 02 019", "satellite instruments", INT, All(11), 0, 0, MISSING_AVHRR, Into<&P::AvhrrInstrument>()},
    {"0 25 051", "AVHRR channel combination", INT, All(7), 0, 0, MISSING_AVHRR,
     Into<&P::AvhrrChannelCombination>()},
};

constexpr SElement CLUSTER[] = {
    {"0 05 060", "Y angular position of centre of gravity", FLOAT, All(24), -8000000, 6, MISSING_AVHRR,
     Into<&P::AvhrrYAP>()},
    {"0 05 061", "Z angular position of centre of gravity", FLOAT, All(24), -8000000, 6, MISSING_AVHRR,
     Into<&P::AvhrrZAP>()},
    {"0 25 085", "fraction of clear pixels in HIRS FOV", INT, All(7), 0, 0, MISSING_AVHRR,
     Into<&P::AvhrrCPF>()},
};

/// In the place of an exponent or a mantissa that could not be decoded: no element has this value.
constexpr int64_t UNDECODED = std::numeric_limits<int64_t>::min();

constexpr SElement CLUSTER_CHANNEL[] = {
    {"0 05 042", "channel number", INT, All(6), 0, 0, MISSING_AVHRR, Into<&P::AvhrrChannel>()},
    {"0 25 142", "channel scale factor", INT, All(6), 0, 0, MISSING_AVHRR, Into<&P::AvhrrMeanExponent>(),
     CProd::DEFAULT_VALUE_M1, UNDECODED},
    {"0 14 047", "scaled mean AVHRR radiance", INT, All(31), 0, 0, MISSING_AVHRR, Into<&P::AvhrrMeanScaled>(),
     CProd::DEFAULT_VALUE_M1, UNDECODED},
    {"0 25 142", "channel scale factor", INT, All(6), 0, 0, MISSING_AVHRR, Into<&P::AvhrrStdDevExponent>(),
     CBUFRReaderL1C::DEFAULT_VALUE_SF, UNDECODED},
    {"0 14 048", "scaled standard deviation AVHRR radiance", INT, All(31), 0, 0, MISSING_AVHRR,
     Into<&P::AvhrrStdDevScaled>(), CBUFRReaderL1C::DEFAULT_VALUE_SF, UNDECODED},
};

/// Radiance of an AVHRR channel. The test of the mantissa against -1 and of the exponent against -700 is the
/// same for the mean, whose exponent is -1 when missing, and for the deviation, whose mantissa is -700 then:
/// both get through, as users of the archive know them. What was not decoded at all gives no radiance.
void ScaleAvhrr(int nRows, const KeptIntColumn& scaledColumn, const KeptIntColumn& exponentColumn,
                KeptRealColumn& radiance) {
  const int64_t *scaled = scaledColumn.Values(), *exponent = exponentColumn.Values();
  double* pOut = radiance.Write();
  for (int i = 0; i < nRows; ++i) {
    const bool bValid = scaled[i] != CProd::DEFAULT_VALUE_M1 && scaled[i] != UNDECODED &&
                        exponent[i] != CBUFRReaderL1C::DEFAULT_VALUE_SF && exponent[i] != UNDECODED;
    pOut[i] = bValid ? static_cast<double>(scaled[i]) / PowerOfTen(exponent[i]) : CProd::DEFAULT_VALUE_REAL;
  }
}

}  // namespace

int CBUFRReaderL1C::GoToNextMessage() {
  nSpectrumBitPos = 0;
  m_arSampleBitPos.clear();
  return CBUFRReader::GoToNextMessage();
}

int CBUFRReaderL1C::InterpretFirstLevel(CProdL1C* pProd) {
  pProd->DayVersion = nDataVersion;
  int64_t bitPos = 0;
  int nStatus = DecodeLayout(HEADER, *pProd, bitPos);
  nSpectrumBitPos = bitPos;
  if (nDataVersion == 1 || nDataVersion == 2) {
    nStatus &= SkipSpectrum(bitPos);
    nAvhrrBitPos = bitPos;
  } else {
    nStatus = 0;
  }
  if (nDataVersion == 2) nStatus &= SkipAvhrr(bitPos);
  nStatus &= DecodeLayout(FRACTIONS, *pProd, bitPos);
  return nStatus;
}

inline int CBUFRReaderL1C::SkipElement(int64_t& bitPos, int nWidth) {
  if (Inside(bitPos, nWidth + INCREMENT_WIDTH)) {
    const auto nIncrement = static_cast<int>(LoadBits(pData.get(), bitPos + nWidth, INCREMENT_WIDTH));
    if (nIncrement <= nWidth) {
      bitPos += nWidth + INCREMENT_WIDTH + int64_t{nIncrement} * nSubsets;
      return 1;
    }
  }
  return BUFRDecompressInt(bitPos, nWidth, 0, nullptr, 0, CProd::DEFAULT_VALUE_M1);
}

/// False when the sample does not lie inside the data as a whole, or does not have one channel for all
/// pixels.
inline bool CBUFRReaderL1C::ReadSample(int64_t nBitPos, SSample& sample) const {
  constexpr int HEADERS = CHANNEL_WIDTH + INCREMENT_WIDTH + RADIANCE_WIDTH + INCREMENT_WIDTH;
  constexpr uint64_t INCREMENT_MASK = (1 << INCREMENT_WIDTH) - 1;
  if (!Inside(nBitPos, HEADERS)) return false;
  const uint64_t nBits = LoadBits(pData.get(), nBitPos, HEADERS);
  const auto nWidth = static_cast<int>(nBits & INCREMENT_MASK);
  const bool bChannelIncrements = (nBits >> (INCREMENT_WIDTH + RADIANCE_WIDTH) & INCREMENT_MASK) != 0;
  sample.nChannel = static_cast<int>(nBits >> (HEADERS - CHANNEL_WIDTH));
  sample.nReferenceValue = static_cast<int>(nBits >> INCREMENT_WIDTH & 0xFFFF);
  sample.nWidth = nWidth;
  sample.nBitPos = nBitPos + HEADERS;
  sample.nEnd = sample.nBitPos + int64_t{nWidth} * nSubsets;
  return !bChannelIncrements && nWidth <= RADIANCE_WIDTH && sample.nEnd <= int64_t{nDataSize} * 8;
}

/// Steps over the samples and remembers where those in front begin, so that the decoding of a few channels
/// need not walk through all again.
int CBUFRReaderL1C::SkipSpectrum(int64_t& bitPos) {
  int nStatus = 1;
  for (int i = 0; i < P::BANDS; ++i)
    for (const SElement& element : BAND) nStatus &= SkipElement(bitPos, element.widths.arn[1]);
  m_arSampleBitPos.resize(CHANNELS + 1);
  int nSample = 0;
  int64_t nBitPos = bitPos;
  for (SSample sample; nSample < CHANNELS; nBitPos = sample.nEnd) {
    if (!ReadSample(nBitPos, sample) || sample.nChannel != nSample + 1) break;
    m_arSampleBitPos[nSample++] = static_cast<uint32_t>(nBitPos);
  }
  m_arSampleBitPos[nSample] = static_cast<uint32_t>(nBitPos);
  m_arSampleBitPos.resize(nSample + 1);
  for (bitPos = nBitPos; nSample < CHANNELS; ++nSample) {
    nStatus &= SkipElement(bitPos, CHANNEL_WIDTH);
    nStatus &= SkipElement(bitPos, RADIANCE_WIDTH);
  }
  return nStatus;
}

int CBUFRReaderL1C::SkipAvhrr(int64_t& bitPos) {
  int nStatus = 1;
  const auto skip = [&](TLayout layout) {
    for (const SElement& element : layout) nStatus &= SkipElement(bitPos, element.widths.arn[2]);
  };
  skip(AVHRR);
  for (int i = 0; i < P::CLUSTERS; ++i) {
    skip(CLUSTER);
    for (int j = 0; j < P::AVHRR_CHANNELS; ++j) skip(CLUSTER_CHANNEL);
  }
  return nStatus;
}

int CBUFRReaderL1C::UpdateL1Avhrr(CProdL1C* pProd) {
  if (nAvhrrBitPos < 1) return 0;
  const int nRows = static_cast<int>(pProd->Kept().size());
  int64_t bitPos = nAvhrrBitPos;
  int nStatus = DecodeLayout(AVHRR, *pProd, bitPos);
  for (int i = 0; i < P::CLUSTERS; ++i) {
    nStatus &= DecodeLayout(CLUSTER, *pProd, bitPos, i);
    for (int j = i * P::AVHRR_CHANNELS; j < (i + 1) * P::AVHRR_CHANNELS; ++j) {
      nStatus &= DecodeLayout(CLUSTER_CHANNEL, *pProd, bitPos, j);
      ScaleAvhrr(nRows, pProd->AvhrrMeanScaled[j], pProd->AvhrrMeanExponent[j], pProd->AvhrrMeanRadiance[j]);
      ScaleAvhrr(nRows, pProd->AvhrrStdDevScaled[j], pProd->AvhrrStdDevExponent[j],
                 pProd->AvhrrStdDevRadiance[j]);
    }
  }
  return nStatus;
}

int CBUFRReaderL1C::DecodeBands(CProdL1C& prod, int64_t& bitPos) {
  const int nRows = static_cast<int>(prod.Kept().size());
  int nStatus = 1;
  for (int i = 0; i < P::BANDS; ++i) {
    nStatus &= DecodeLayout({BAND, 2}, prod, bitPos, i);
    // Whether a band is there at all is told by the end channel of the first pixel, kept or not.
    const bool bBand = nRows > 0 && LastInts()[0] >= 0;
    nStatus &= DecodeLayout({BAND + 2, 1}, prod, bitPos, i);
    int64_t* pStart = prod.ScaleBandStartChannel[i].Write();
    int64_t* pEnd = prod.ScaleBandEndChannel[i].Write();
    double* pFactor = prod.ScaleBandFactor[i].Write();
    for (int j = 0; j < nRows; ++j) {
      const int64_t nExponent = prod.ScaleBandExponent[i][SKeptRow(j)];
      const bool bMissing = !bBand || nExponent == DEFAULT_VALUE_SF;
      pFactor[j] = bMissing ? CProd::DEFAULT_VALUE_REAL : PowerOfTen(nExponent);
      if (bMissing) pStart[j] = pEnd[j] = CProd::DEFAULT_VALUE_M1;
    }
  }
  return nStatus;
}

bool CBUFRReaderL1C::BandsAgree(const CProdL1C& prod) {
  const int nRows = static_cast<int>(prod.Kept().size());
  const auto same = [nRows](const auto& column) {
    for (int i = 1; i < nRows; ++i)
      if (column.Values()[i] != column.Values()[0]) return false;
    return true;
  };
  for (int i = 0; i < P::BANDS; ++i)
    if (!same(prod.ScaleBandStartChannel[i]) || !same(prod.ScaleBandEndChannel[i]) ||
        !same(prod.ScaleBandFactor[i]))
      return false;
  return true;
}

int CBUFRReaderL1C::FindBand(const SPass& pass, SKeptRow row, int64_t nChannel) {
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

void CBUFRReaderL1C::FlushTile(SPass& pass) {
  if (pass.nTileCount > 0) pass.prod.Spectrum.StoreTile(pass.nTileFirst, pass.nTileCount, pass.arfDivisors);
  pass.nTileCount = 0;
}

/// Where the raw values of a column are put; they count once CloseSlot has given them a divisor.
int32_t* CBUFRReaderL1C::OpenSlot(SPass& pass, int nColumn) {
  if (pass.nTileCount == CSpectrum::TILE_CHANNELS || nColumn != pass.nTileFirst + pass.nTileCount) {
    FlushTile(pass);
    pass.nTileFirst = nColumn;
  }
  return pass.prod.Spectrum.Tile(pass.nTileCount);
}

/// The radiances of one selected channel, uniform bands, everything inside the data. False when the channel
/// needs the general way (no band for a value); nothing is stored then.
bool CBUFRReaderL1C::DecodeSelected(SPass& pass, const SSample& sample) {
  const auto [nChannel, nReferenceValue, nWidth, nPos, nEnd] = sample;
  CProdL1C& prod = pass.prod;
  const auto& arKept = prod.Kept();
  const int nRows = static_cast<int>(arKept.size());
  const bool bAllKept = nRows == nSubsets;
  const int32_t nBase = nReferenceValue + RADIANCE_REFERENCE;
  int32_t* pSlot = OpenSlot(pass, prod.Spectrum.Column(nChannel));
  bool bMissing;
  if (nWidth == 0) {
    bMissing = nReferenceValue == arnMissing[RADIANCE_WIDTH];
    std::fill_n(pSlot, nRows, bMissing ? RAW_MISSING : nBase);
  } else {
    if (!bAllKept && m_arRaw.size() < static_cast<size_t>(nSubsets)) m_arRaw.resize(nSubsets);
    int32_t* pRaw = bAllKept ? pSlot : m_arRaw.data();
    bMissing = UnpackRaw(pData.get(), nPos, nWidth, nSubsets, nBase, pRaw);
    for (int i = 0; !bAllKept && i < nRows; ++i) pSlot[i] = pRaw[arKept[i]];
  }
  // A constant 0 and missing values need no band.
  double fDivisor = pass.nTileCount > 0 ? pass.arfDivisors[pass.nTileCount - 1] : 1.0;
  const bool bValues = nWidth == 0 ? !bMissing && nBase != 0
                                   : !bMissing || std::any_of(pSlot, pSlot + nRows,
                                                              [](int32_t n) { return n != RAW_MISSING; });
  if (bValues) {
    const int nBand = FindBand(pass, SKeptRow(0), nChannel);
    if (nBand < 0) return false;
    pass.nLastBand = nBand;
    fDivisor = prod.ScaleBandFactor[nBand][SKeptRow(0)];
  }
  if (bMissing && !(nMissingFlags & MISSING_SPECTRUM)) {
    nMissingFlags |= MISSING_SPECTRUM;
    nLastMissingChannel = nChannel;
  }
  pass.arfDivisors[pass.nTileCount++] = fDivisor;
  return true;
}

/// One sample whose channel number is the same for all pixels and which lies inside the data, as they nearly
/// all are. False, with the cursor where it was, when the sample needs the general way.
bool CBUFRReaderL1C::DecodeSampleFast(SPass& pass, int64_t& bitPos) {
  SSample sample;
  if (!ReadSample(bitPos, sample) || sample.nChannel < 1 || sample.nChannel > pass.prod.ChannelCount)
    return false;
  if (pass.pSelection[sample.nChannel - 1] && !(pass.bUniformBands && DecodeSelected(pass, sample)))
    return false;
  bitPos = sample.nEnd;
  return true;
}

/// The selected ones among the samples whose places are known, without a look at the others. Returns how many
/// samples are done with, those that were not selected included.
int CBUFRReaderL1C::DecodeOrdered(SPass& pass, int64_t& bitPos) {
  const CSpectrum& spectrum = pass.prod.Spectrum;
  const int nOrdered = std::min(static_cast<int>(m_arSampleBitPos.size()) - 1, pass.prod.ChannelCount);
  if (!pass.pSelection || !pass.bUniformBands || nOrdered < 1 || m_arSampleBitPos[0] != bitPos) return 0;
  for (int i = 0; i < spectrum.Columns() && spectrum.Channel(i) <= nOrdered; ++i) {
    const int nSample = spectrum.Channel(i) - 1;
    SSample sample;
    bitPos = m_arSampleBitPos[nSample];
    if (!ReadSample(bitPos, sample) || !DecodeSelected(pass, sample)) return nSample;
  }
  bitPos = m_arSampleBitPos[nOrdered];
  return nOrdered;
}

/// Stores one raw radiance of one pixel; bScale: it is neither missing nor a constant 0.
void CBUFRReaderL1C::Store(SPass& pass, int nPixel, int64_t nChannel, int64_t nRaw, bool bScale) {
  CProdL1C& prod = pass.prod;
  if (nChannel < 1 || nChannel > prod.ChannelCount) {
    pass.nStatus = 0;
    return;
  }
  if (!prod.KeepPixel[nPixel]) return;
  const SKeptRow row = prod.KeptRow(nPixel);
  double fValue = nRaw == DEFAULT_VALUE_IRD ? CProd::DEFAULT_VALUE_REAL : 0.0;
  if (bScale) {
    const int nBand = FindBand(pass, row, nChannel);
    if (nBand < 0) {
      pass.nStatus = 0;
      return;
    }
    pass.nLastBand = nBand;
    fValue = static_cast<double>(nRaw) / prod.ScaleBandFactor[nBand][row];
  }
  const int nColumn = pass.pSelection ? prod.Spectrum.Column(static_cast<int>(nChannel)) : -1;
  if (nColumn >= 0) prod.Spectrum.Set(row.nRow, nColumn, fValue);
}

/// The radiances of one sample, the general way; channelOf(pixel) is the pixel's channel number.
template <class TChannelOf>
void CBUFRReaderL1C::DecodeRadiances(SPass& pass, int64_t& bitPos, TChannelOf channelOf) {
  CProdL1C& prod = pass.prod;
  FlushTile(pass);
  bool bConstant = false;
  int64_t nConstant = 0;
  const int64_t nStart = bitPos;
  int64_t* pRaw = prod.SampleScaledRadiance.Write();
  const int nDecoded = BUFRDecompressInt(bitPos, RADIANCE_WIDTH, RADIANCE_REFERENCE, pRaw, MISSING_SPECTRUM,
                                         DEFAULT_VALUE_IRD, &nConstant, &bConstant);
  pass.nStatus &= nDecoded;
  if (!nDecoded && bitPos == nStart + RADIANCE_WIDTH + INCREMENT_WIDTH) return;  // not even its header
  const bool bSimple = bConstant && (nConstant == DEFAULT_VALUE_IRD || nConstant == 0);
  for (int i = 0; i < nSubsets; ++i) {
    if (!bSimple && !prod.KeepPixel[i]) continue;
    const int64_t nRaw = bConstant ? nConstant : pRaw[i];
    Store(pass, i, channelOf(i), nRaw, !bSimple && nRaw != DEFAULT_VALUE_IRD);
  }
}

/// One sample, the general way: channel numbers that differ between pixels, missing or strange ones, bands
/// that differ between pixels, the end of the data.
void CBUFRReaderL1C::DecodeSample(SPass& pass, int64_t& bitPos) {
  bool bConstant = false;
  int64_t nChannel = CProd::DEFAULT_VALUE_M1;
  const int64_t nStart = bitPos;
  int64_t* pChannels = pass.prod.SampleChannel.Write();
  const int nDecoded = BUFRDecompressInt(bitPos, CHANNEL_WIDTH, 0, pChannels, MISSING_SPECTRUM,
                                         CProd::DEFAULT_VALUE_M1, &nChannel, &bConstant);
  pass.nStatus &= nDecoded;
  const bool bNone = !nDecoded && bitPos == nStart + CHANNEL_WIDTH + INCREMENT_WIDTH;
  if (!bNone && !bConstant) {
    DecodeRadiances(pass, bitPos, [pChannels](int i) { return pChannels[i]; });
    return;
  }
  if (bNone || !pass.pSelection || nChannel < 1 || nChannel > pass.prod.ChannelCount) {
    pass.nStatus = 0;  // the radiance is not consumed: what follows is read from there
    return;
  }
  if (!pass.pSelection[nChannel - 1]) {
    pass.nStatus &= SkipElement(bitPos, RADIANCE_WIDTH);
    return;
  }
  const uint64_t nFlags = nMissingFlags;
  DecodeRadiances(pass, bitPos, [nChannel](int) { return nChannel; });
  if (nMissingFlags != nFlags) nLastMissingChannel = nChannel;
}

int CBUFRReaderL1C::UpdateL1Spectrum(CProdL1C* pProd, const char* pSelection) {
  if (nSpectrumBitPos < 1) return 1;
  CProdL1C& prod = *pProd;
  if (pSelection) prod.Spectrum.Select(pSelection, prod.ChannelCount);
  prod.Spectrum.Begin(static_cast<int>(prod.Kept().size()));
  int64_t bitPos = nSpectrumBitPos;
  SPass pass = {prod, pSelection, false, 0, 0, 0, {}, DecodeBands(prod, bitPos)};
  pass.bUniformBands = !prod.Kept().empty() && BandsAgree(prod);
  for (int i = DecodeOrdered(pass, bitPos); i < CHANNELS; ++i)
    if (!pSelection || !DecodeSampleFast(pass, bitPos)) DecodeSample(pass, bitPos);
  FlushTile(pass);
  prod.Spectrum.End();
  return pass.nStatus;
}
