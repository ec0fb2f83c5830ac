// The same jobs as vex, done with a general BUFR library as its user would: whole arrays at a time, one
// handle a message, nothing printed. The peer of scripts/bench.
//
// Usage: eccodes_peer all|ten|temperature|text|window|twt OUTPUT FILE...

#include <eccodes.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct SMode {
  std::string szName;
  int nStep = 1;
  int nLast = 8461;
};

std::vector<double> Reals(codes_handle* pHandle, const char* szKey) {
  size_t nSize = 0;
  if (codes_get_size(pHandle, szKey, &nSize) != 0) return {};
  std::vector<double> arValues(nSize);
  if (codes_get_double_array(pHandle, szKey, arValues.data(), &nSize) != 0) return {};
  arValues.resize(nSize);
  return arValues;
}

/// Value of a pixel; arrays of a message have one value when all its pixels are equal.
double At(const std::vector<double>& arValues, size_t i) {
  return arValues.empty() ? -777.0 : arValues[arValues.size() == 1 ? 0 : i];
}

/// 10^exponent of each channel, from the scale bands.
std::vector<double> Divisors(codes_handle* pHandle, int nChannels) {
  std::vector<double> arDivisors(nChannels, 1.0);
  const auto put = [&](int nBand, int nFirstBand) {
    char szKey[64];
    const auto value = [&](const char* szName, int n) {
      std::snprintf(szKey, sizeof szKey, "#%d#%s", n, szName);
      long nValue = CODES_MISSING_LONG;
      const auto arValues = Reals(pHandle, szKey);
      if (!arValues.empty() && arValues[0] != CODES_MISSING_DOUBLE) nValue = static_cast<long>(arValues[0]);
      return nValue;
    };
    const long nStart = value("startChannel", nFirstBand + nBand),
               nEnd = value("endChannel", nFirstBand + nBand);
    const long nExponent = value("channelScaleFactor", nBand);
    if (nStart == CODES_MISSING_LONG || nEnd == CODES_MISSING_LONG || nExponent == CODES_MISSING_LONG) return;
    for (long i = nStart; i <= nEnd && i <= nChannels; ++i)
      if (i >= 1) arDivisors[i - 1] = std::pow(10.0, static_cast<double>(nExponent));
  };
  // Three pairs of band limits stand in front of those of the ten scale bands.
  for (int i = 1; i <= 10; ++i) put(i, 3);
  return arDivisors;
}

float Temperature(int nChannel, double fRadiance) {
  const double fWaveNumber = 644.75 + 0.25 * nChannel;
  if (!(fRadiance > 0)) return 0;
  return static_cast<float>(
      1.438833 * fWaveNumber /
      std::log(1.1910659e-10 * fWaveNumber * fWaveNumber * fWaveNumber / fRadiance + 1.0));
}

void Spectra(codes_handle* pHandle, const SMode& mode, size_t nPixels, FILE* pOut) {
  const auto arLatitudes = Reals(pHandle, "latitude"), arLongitudes = Reals(pHandle, "longitude");
  const auto arDivisors = Divisors(pHandle, 8461);
  // One array a channel: the elements of a compressed message are stored that way.
  std::vector<std::vector<double>> arRadiances;
  const bool bWindow = mode.szName == "window";
  std::vector<size_t> arKept;
  for (size_t i = 0; i < nPixels; ++i) {
    const double fLatitude = At(arLatitudes, i), fLongitude = At(arLongitudes, i);
    if (!bWindow || (fLatitude >= 30 && fLatitude <= 50 && fLongitude >= -20 && fLongitude <= 30))
      arKept.push_back(i);
  }
  if (arKept.empty()) return;
  std::vector<int> arChannels;
  for (int i = 1; i <= mode.nLast; i += mode.nStep) arChannels.push_back(i);
  for (const int nChannel : arChannels) {
    char szKey[64];
    std::snprintf(szKey, sizeof szKey, "#%d#scaledIasiRadiance", nChannel);
    arRadiances.push_back(Reals(pHandle, szKey));
  }
  std::vector<float> arValues(arChannels.size());
  for (const size_t nPixel : arKept) {
    for (size_t j = 0; j < arChannels.size(); ++j) {
      const double fRaw = At(arRadiances[j], nPixel);
      const double fRadiance = fRaw == CODES_MISSING_DOUBLE ? -777.0 : fRaw / arDivisors[arChannels[j] - 1];
      arValues[j] = mode.szName == "temperature" ? Temperature(arChannels[j], fRadiance)
                                                 : static_cast<float>(fRadiance);
    }
    if (mode.szName != "text") {
      std::fwrite(arValues.data(), sizeof(float), arValues.size(), pOut);
      continue;
    }
    for (const float fValue : arValues) std::fprintf(pOut, "\t%g", static_cast<double>(fValue));
    std::fputc('\n', pOut);
  }
}

/// Everything that an extraction of twt writes of a message: all numeric keys, pixel by pixel.
void Profiles(codes_handle* pHandle, size_t nPixels, FILE* pOut) {
  std::vector<std::vector<double>> arColumns;
  codes_bufr_keys_iterator* pKeys = codes_bufr_keys_iterator_new(pHandle, 0);
  while (codes_bufr_keys_iterator_next(pKeys)) {
    const std::string szKey = codes_bufr_keys_iterator_get_name(pKeys);
    if (szKey[0] == '#') arColumns.push_back(Reals(pHandle, szKey.c_str()));
  }
  codes_bufr_keys_iterator_delete(pKeys);
  std::vector<float> arValues(arColumns.size());
  for (size_t i = 0; i < nPixels; ++i) {
    for (size_t j = 0; j < arColumns.size(); ++j) arValues[j] = static_cast<float>(At(arColumns[j], i));
    std::fwrite(arValues.data(), sizeof(float), arValues.size(), pOut);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 1;
  SMode mode{argv[1]};
  if (mode.szName == "ten") mode.nStep = 900;
  if (mode.szName == "window") mode.nLast = 100;
  FILE* pOut = std::fopen(argv[2], "w");
  if (!pOut) return 1;
  for (int i = 3; i < argc; ++i) {
    FILE* pIn = std::fopen(argv[i], "r");
    if (!pIn) return 1;
    int nError = 0;
    while (codes_handle* pHandle = codes_handle_new_from_file(nullptr, pIn, PRODUCT_BUFR, &nError)) {
      long nPixels = 0;
      codes_set_long(pHandle, "unpack", 1);
      codes_get_long(pHandle, "numberOfSubsets", &nPixels);
      if (mode.szName == "twt")
        Profiles(pHandle, static_cast<size_t>(nPixels), pOut);
      else
        Spectra(pHandle, mode, static_cast<size_t>(nPixels), pOut);
      codes_handle_delete(pHandle);
    }
    std::fclose(pIn);
  }
  return std::fclose(pOut) == 0 ? 0 : 1;
}
