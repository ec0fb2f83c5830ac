#include "bufr/BUFRReaderL1C.h"

#include <limits>

#include "bufr/BitCursor.h"
#include "bufr/Element.h"
#include "bufr/LayoutEngine.h"
#include "kernel/PowerOfTen.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"

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
void ScaleAvhrr(int nRows, const KeptIntColumn& scaled, const KeptIntColumn& exponents,
                KeptRealColumn& radiance) {
  double* pOut = radiance.WriteAll();
  for (int i = 0; i < nRows; ++i) {
    const int64_t nScaled = scaled.At(i), nExponent = exponents.At(i);
    const bool bValid = nScaled != CProd::DEFAULT_VALUE_M1 && nScaled != UNDECODED &&
                        nExponent != CBUFRReaderL1C::DEFAULT_VALUE_SF && nExponent != UNDECODED;
    pOut[i] = bValid ? static_cast<double>(nScaled) / PowerOfTen(nExponent) : CProd::DEFAULT_VALUE_REAL;
  }
}

}  // namespace

int CBUFRReaderL1C::GoToNextMessage() {
  nSpectrumBitPos = 0;
  m_spectrum.Reset();
  return CBUFRReader::GoToNextMessage();
}

int CBUFRReaderL1C::InterpretFirstLevel(CProdL1C* pProd) {
  pProd->DayVersion = nDataVersion;
  CBitCursor data = Data();
  bool bAll = m_engine.Decode(HEADER, *pProd, data);
  nSpectrumBitPos = data.Position();
  const bool bLayout = nDataVersion == P::DAY_1 || nDataVersion == P::DAY_2;
  if (bLayout) {
    bAll &= m_spectrum.Skip(data);
    nAvhrrBitPos = data.Position();
  }
  if (nDataVersion == P::DAY_2) bAll &= SkipAvhrr(data);
  bAll &= m_engine.Decode(FRACTIONS, *pProd, data);
  return bAll && bLayout;
}

bool CBUFRReaderL1C::SkipAvhrr(CBitCursor& data) {
  bool bAll = m_engine.SkipLayout(AVHRR, data);
  for (int i = 0; i < P::CLUSTERS; ++i) {
    bAll &= m_engine.SkipLayout(CLUSTER, data);
    for (int j = 0; j < P::AVHRR_CHANNELS; ++j) bAll &= m_engine.SkipLayout(CLUSTER_CHANNEL, data);
  }
  return bAll;
}

int CBUFRReaderL1C::UpdateL1Avhrr(CProdL1C* pProd) {
  if (nAvhrrBitPos < 1) return 0;
  CProdL1C& prod = *pProd;
  const int nRows = static_cast<int>(prod.Kept().size());
  CBitCursor data = Data(nAvhrrBitPos);
  bool bAll = m_engine.Decode(AVHRR, prod, data);
  for (int i = 0; i < P::CLUSTERS; ++i) {
    bAll &= m_engine.Decode(CLUSTER, prod, data, i);
    for (int j = i * P::AVHRR_CHANNELS; j < (i + 1) * P::AVHRR_CHANNELS; ++j) {
      bAll &= m_engine.Decode(CLUSTER_CHANNEL, prod, data, j);
      ScaleAvhrr(nRows, prod.AvhrrMeanScaled[j], prod.AvhrrMeanExponent[j], prod.AvhrrMeanRadiance[j]);
      ScaleAvhrr(nRows, prod.AvhrrStdDevScaled[j], prod.AvhrrStdDevExponent[j], prod.AvhrrStdDevRadiance[j]);
    }
  }
  return bAll;
}

int CBUFRReaderL1C::UpdateL1Spectrum(CProdL1C* pProd, const char* pMask) {
  if (pMask) m_masked = CChannelSelection(pMask, pProd->ChannelCount);
  return UpdateL1Spectrum(pProd, pMask ? &m_masked : nullptr);
}

int CBUFRReaderL1C::UpdateL1Spectrum(CProdL1C* pProd, const CChannelSelection* pSelection) {
  if (nSpectrumBitPos < 1) return 1;
  CBitCursor data = Data(nSpectrumBitPos);
  return m_spectrum.Decode(data, *pProd, pSelection);
}
