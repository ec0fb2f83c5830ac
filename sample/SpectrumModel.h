#pragma once

#include <cstdint>
#include <vector>

struct SSamplePixel;

/// Spectra that look like those of the sounder: Planck curves of a surface or cloud top seen through bands of
/// carbon dioxide, ozone and water vapour, instrument noise, and the packing in bands of powers of ten.
class CSpectrumModel {
 public:
  static constexpr int CHANNELS = 8461;
  static constexpr int PACKED_CHANNELS = 8700;  // the message goes on with zeros up to here
  static constexpr int BANDS = 10;              // of which the last five are not used

  struct SBand {
    int nFirst, nLast, nExponent;  // radiance in W/(m2 sr m-1) = scaled value / 10^nExponent
  };
  static constexpr SBand BANDS_USED[] = {
      {1, 3340, 7}, {3341, 6428, 8}, {6429, 6960, 9}, {6961, 8140, 8}, {8141, 8461, 9}};

  CSpectrumModel();

  /// Starts on the pixels of one message. nSeed is that of the noise.
  void Begin(const std::vector<SSamplePixel>& arPixels, uint64_t nSeed);
  /// The scaled radiances (not yet shifted by the reference) of channel nChannel, 1..PACKED_CHANNELS, for all
  /// pixels; the noise makes it matter that channels are asked for in ascending order, each once.
  void Scaled(int nChannel, std::vector<int64_t>& arScaled);

 private:
  static constexpr int TEMPERATURES = 33;  // 170 K to 330 K
  static constexpr double COLDEST = 170, STEP = 5;

  struct SChannel {
    float fSurface, fMiddle;  // weights of the layers, the stratosphere has the rest
    float fSun;               // reflected sunlight at zenith, scaled
    float fNoise;             // standard deviation, scaled
  };
  struct SColumn {
    float fSurface, fMiddle, fStratosphere, fSun;
  };

  std::vector<SChannel> m_arChannels;
  std::vector<float> m_arPlanck;  // [channel][temperature], scaled
  std::vector<SColumn> m_arColumns;
  uint64_t m_nNoise = 1;
};

/// Spectral radiance of a black body in W/(m2 sr m-1); wavenumber in cm-1, temperature in K.
double SamplePlanck(double fWavenumber, double fTemperature);
