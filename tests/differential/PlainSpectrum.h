#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/differential/PlainDecoder.h"

/// What a spectrum is decoded for.
struct SSpectrumAsked {
  int64_t bitPos;  // of the scale bands
  int nPixels;
  const uint8_t* pKeep;           // by pixel
  std::vector<char> arSelection;  // by channel - 1; empty: none is known
  int nChannels;                  // that the spectra have
};

/// The spectra of a message as the rules have them, one pixel after the other in doubles.
class CPlainSpectrum {
 public:
  CPlainSpectrum(const CPlainDecoder& plain, SSpectrumAsked asked);

  /// Of a kept pixel, -777 where there is none.
  double Radiance(int nPixel, int nChannel) const { return m_arRadiance[nPixel][nChannel - 1]; }

  int nStatus = 1;
  uint64_t nFlags = 0;
  int64_t nLastMissingChannel = 0;
  std::string szText;

 private:
  struct SBand {
    int64_t nStart, nEnd;
    double fFactor;
  };

  bool Decode(int nWidth, int64_t nReference, uint64_t nFlag, int64_t nMissing, EOutput eOutput);
  void DecodeBand(std::vector<SBand>& band);
  void DecodeSample();
  void Store(int nPixel, int64_t nChannel, int64_t nRaw, bool bAll);

  const CPlainDecoder& m_plain;
  SSpectrumAsked m_asked;
  SAnswer m_answer;
  std::vector<SBand> m_arBands[10];
  int m_nLastBand = 0;
  std::vector<std::vector<double>> m_arRadiance;  // [pixel][channel - 1]
};
