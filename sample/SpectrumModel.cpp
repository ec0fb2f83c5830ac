#include "sample/SpectrumModel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "sample/Scene.h"

namespace {

double Bump(double fWavenumber, double fCentre, double fWidth) {
  return std::exp(-std::pow((fWavenumber - fCentre) / fWidth, 2));
}

// Absorption by regularly spaced lines: 0 between them, 1 on them.
double Lines(double fWavenumber, double fSpacing) {
  return std::pow(std::cos(fWavenumber / fSpacing * 3.14159265358979), 2);
}

struct SPoint {
  double fX, fY;
};

// Noise-equivalent radiance, W/(m2 sr m-1), as decimal logarithms: worst at both ends of the spectrum.
constexpr SPoint arNoise[] = {{645, -4.95}, {680, -5.6},  {1150, -5.7}, {1250, -6.2},
                              {2000, -6.7}, {2250, -7.4}, {2400, -7.1}, {2760, -6.5}};

double Interpolate(const SPoint* pBegin, const SPoint* pEnd, double fX) {
  const SPoint* p = pBegin + 1;
  while (p + 1 < pEnd && p->fX < fX) ++p;
  return p[-1].fY + (p->fY - p[-1].fY) * (fX - p[-1].fX) / (p->fX - p[-1].fX);
}

int Exponent(int nChannel) {
  for (const auto& band : CSpectrumModel::BANDS_USED) {
    if (nChannel <= band.nLast) return band.nExponent;
  }
  return 0;
}

// Four uniform 16-bit parts of one draw, summed: close enough to a normal deviate of variance 1.
float Deviate(uint64_t& nState) {
  nState ^= nState << 13;
  nState ^= nState >> 7;
  nState ^= nState << 17;
  const int64_t nSum = static_cast<int64_t>((nState & 0xFFFF) + (nState >> 16 & 0xFFFF) +
                                            (nState >> 32 & 0xFFFF) + (nState >> 48));
  return static_cast<float>(nSum - 131070) * (1.0F / 37837.0F);
}

}  // namespace

double SamplePlanck(double fWavenumber, double fTemperature) {
  return 1.1910429e-10 * fWavenumber * fWavenumber * fWavenumber /
         std::expm1(1.4387769 * fWavenumber / fTemperature);
}

CSpectrumModel::CSpectrumModel() : m_arChannels(CHANNELS), m_arPlanck(CHANNELS * TEMPERATURES) {
  for (int nChannel = 1; nChannel <= CHANNELS; ++nChannel) {
    const double fWavenumber = 644.75 + 0.25 * nChannel;
    const double fScale = std::pow(10, Exponent(nChannel));
    const double fCarbon = 2.2 * Bump(fWavenumber, 667, 45) * (0.6 + 0.4 * Lines(fWavenumber, 1.55)) +
                           2.0 * Bump(fWavenumber, 2345, 55);
    const double fOzone = 0.75 * Bump(fWavenumber, 1042, 26) * (0.7 + 0.3 * Lines(fWavenumber, 2.1));
    const double fVapour = (1.9 * Bump(fWavenumber, 1600, 270) + 0.12) *
                           (0.35 + 0.65 * Lines(fWavenumber, 7.3) * Lines(fWavenumber, 2.9));
    const double fSurface = std::exp(-1.6 * (fCarbon + fOzone + fVapour));
    const double fHigh = std::min(0.95, 0.45 * fCarbon * fCarbon + 0.4 * fOzone);
    const double fAlbedo = fWavenumber > 2000 ? 1.4e-6 * fScale : 0;

    SChannel& channel = m_arChannels[static_cast<size_t>(nChannel - 1)];
    channel.fSurface = static_cast<float>(fSurface);
    channel.fMiddle = static_cast<float>((1 - fSurface) * (1 - fHigh));
    channel.fSun = static_cast<float>(fAlbedo * fSurface);
    channel.fNoise = static_cast<float>(
        fScale * std::pow(10, Interpolate(std::begin(arNoise), std::end(arNoise), fWavenumber)));
    for (int n = 0; n < TEMPERATURES; ++n) {
      m_arPlanck[static_cast<size_t>((nChannel - 1) * TEMPERATURES + n)] =
          static_cast<float>(fScale * SamplePlanck(fWavenumber, COLDEST + STEP * n));
    }
  }
}

void CSpectrumModel::Begin(const std::vector<SSamplePixel>& arPixels, uint64_t nSeed) {
  m_nNoise = nSeed | 1;
  m_arColumns.clear();
  for (const SSamplePixel& pixel : arPixels) {
    const double fSeen = pixel.fSkin + (pixel.fCloudTemperature - pixel.fSkin) * pixel.fCloud;
    const double fMiddle = std::min(pixel.fMiddle, fSeen + 5);
    const double fSun = std::max(0.0, std::cos(pixel.fSolarZenith * 0.017453292519943295)) *
                        (0.05 + 0.35 * pixel.fCloud + 0.1 * pixel.fLand);
    m_arColumns.push_back({static_cast<float>(fSeen), static_cast<float>(fMiddle),
                           static_cast<float>(pixel.fStratosphere), static_cast<float>(fSun)});
  }
}

void CSpectrumModel::Scaled(int nChannel, std::vector<int64_t>& arScaled) {
  arScaled.assign(m_arColumns.size(), 0);
  if (nChannel > CHANNELS) return;
  const SChannel channel = m_arChannels[static_cast<size_t>(nChannel - 1)];
  const float* pPlanck = &m_arPlanck[static_cast<size_t>((nChannel - 1) * TEMPERATURES)];
  const float fStratosphere = 1 - channel.fSurface - channel.fMiddle;
  uint64_t nNoise = m_nNoise;
  for (size_t n = 0; n < m_arColumns.size(); ++n) {
    const SColumn& column = m_arColumns[n];
    const float fTemperature = channel.fSurface * column.fSurface + channel.fMiddle * column.fMiddle +
                               fStratosphere * column.fStratosphere;
    const float fAt = std::clamp((fTemperature - static_cast<float>(COLDEST)) / static_cast<float>(STEP),
                                 0.0F, static_cast<float>(TEMPERATURES) - 1.01F);
    const int nAt = static_cast<int>(fAt);
    const float fPlanck = pPlanck[nAt] + (pPlanck[nAt + 1] - pPlanck[nAt]) * (fAt - static_cast<float>(nAt));
    const float fScaled = fPlanck + channel.fSun * column.fSun + channel.fNoise * Deviate(nNoise);
    arScaled[n] = static_cast<int64_t>(std::clamp(fScaled, -4999.0F, 60000.0F));
  }
  m_nNoise = nNoise;
}
