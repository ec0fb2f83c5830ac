// The least that an extraction has to do, without any of its checks: unpack, scale, turn and write the
// radiances of well-formed layout 2 messages that are alike. It shows how far a run is from the machine's
// limits; it is no tool.
//
// Usage: bare_loop all|ten|temperature|text|window OUTPUT FILE...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "kernel/BitRun.h"
#include "kernel/RadianceText.h"
#include "kernel/SpectrumKernels.h"
#include "prod/BrightnessTemperature.h"

namespace {

constexpr int CHANNELS = 8461, SAMPLES = 8700, TILE = 16;
constexpr int WIDTHS_BEFORE_LATITUDE[] = {10, 16, 11, 9, 12, 4, 6, 5, 6, 16};
constexpr int WIDTHS_AFTER_LONGITUDE[] = {15, 16, 15, 16, 8,  24, 13, 8, 15, 14, 14, 2,
                                          14, 14, 2,  14, 14, 2,  7,  7, 7,  7,  24, 17};

struct SMode {
  bool bTemperature = false, bText = false, bWindow = false;
  int nStep = 1;  // every so many channels
  int nLast = CHANNELS;
};

struct SMessage {
  const uint8_t* pData;
  int nSubsets;
  int64_t bitPos = 0;

  uint64_t Bits(int nWidth) {
    const uint64_t n = LoadBits(pData, bitPos, nWidth);
    bitPos += nWidth;
    return n;
  }
  void Skip(int nWidth) {
    bitPos += nWidth;
    const auto nIncrement = static_cast<int>(Bits(6));
    bitPos += int64_t{nIncrement} * nSubsets;
  }
  /// R0 and the place and width of the increments.
  int64_t Element(int nWidth, int64_t& nIncrements, int& nIncrementWidth) {
    const auto nReferenceValue = static_cast<int64_t>(Bits(nWidth));
    nIncrementWidth = static_cast<int>(Bits(6));
    nIncrements = bitPos;
    bitPos += int64_t{nIncrementWidth} * nSubsets;
    return nReferenceValue;
  }
};

std::vector<int> Inside(SMessage& message, bool bWindow) {
  std::vector<uint32_t> arLatitudes(message.nSubsets), arLongitudes(message.nSubsets);
  int64_t nPos;
  int nWidth;
  const auto nLatitude = message.Element(25, nPos, nWidth);
  if (nWidth > 0) UnpackRun(message.pData, nPos, nWidth, message.nSubsets, arLatitudes.data());
  const auto nLongitude = message.Element(26, nPos, nWidth);
  if (nWidth > 0) UnpackRun(message.pData, nPos, nWidth, message.nSubsets, arLongitudes.data());
  std::vector<int> arKept;
  for (int i = 0; i < message.nSubsets; ++i) {
    const double fLatitude = static_cast<double>(nLatitude + arLatitudes[i] - 9000000) / 1e5;
    const double fLongitude = static_cast<double>(nLongitude + arLongitudes[i] - 18000000) / 1e5;
    const bool bInside = fLatitude >= 30 && fLatitude <= 50 && fLongitude >= -20 && fLongitude <= 30;
    if (!bWindow || bInside) arKept.push_back(i);
  }
  return arKept;
}

void WriteRows(const SMode& mode, const std::vector<int32_t>& arRaw, int nColumns, int nRows,
               const std::vector<double>& arDivisors, FILE* pOut) {
  static std::map<double, CRadianceText> texts;
  std::vector<float> arValues(nColumns);
  std::vector<double> arReals(nColumns);
  std::string szLine(static_cast<size_t>(nColumns) * CRadianceText::ROOM, ' ');
  for (int i = 0; i < nRows; ++i) {
    const int32_t* pRaw = arRaw.data() + static_cast<size_t>(i) * nColumns;
    char* pEnd = szLine.data();
    for (int nFirst = 0, nEnd; nFirst < nColumns; nFirst = nEnd) {
      for (nEnd = nFirst + 1; nEnd < nColumns && arDivisors[nEnd] == arDivisors[nFirst];) ++nEnd;
      const double fDivisor = arDivisors[nFirst];
      if (mode.bText) {
        CRadianceText& text = texts.try_emplace(fDivisor, fDivisor).first->second;
        pEnd = text.Append(pEnd, pRaw + nFirst, nEnd - nFirst);
      } else if (mode.bTemperature) {
        ScaleToReal8(pRaw + nFirst, nEnd - nFirst, fDivisor, arReals.data() + nFirst);
      } else {
        ScaleToReal4(pRaw + nFirst, nEnd - nFirst, fDivisor, arValues.data() + nFirst);
      }
    }
    if (mode.bTemperature) BrightnessTemperatures(1, arReals.data(), nColumns, arValues.data());
    if (mode.bText)
      std::fwrite(szLine.data(), 1, pEnd - szLine.data(), pOut);
    else
      std::fwrite(arValues.data(), sizeof(float), nColumns, pOut);
  }
}

void Extract(const SMode& mode, SMessage message, FILE* pOut) {
  for (const int n : WIDTHS_BEFORE_LATITUDE) message.Skip(n);
  const std::vector<int> arKept = Inside(message, mode.bWindow);
  if (arKept.empty()) return;
  for (const int n : WIDTHS_AFTER_LONGITUDE) message.Skip(n);
  double arfBandDivisors[10];
  int arnEnds[10];
  for (int i = 0; i < 10; ++i) {
    message.Skip(14);
    arnEnds[i] = static_cast<int>(message.Bits(14));
    message.Bits(6);
    arfBandDivisors[i] = 1;
    for (auto n = message.Bits(6); n > 0; --n) arfBandDivisors[i] *= 10;
    message.Bits(6);
  }
  static std::vector<int32_t> arTile, arRaw, arAll;
  static std::vector<double> arDivisors;
  const int nRows = static_cast<int>(arKept.size());
  const int nColumns = (mode.nLast + mode.nStep - 1) / mode.nStep;
  arTile.resize(static_cast<size_t>(TILE) * nRows);
  arRaw.resize(static_cast<size_t>(nColumns) * nRows);
  arAll.resize(message.nSubsets);
  arDivisors.resize(nColumns);
  int nTile = 0, nColumn = 0, nBand = 0;
  for (int i = 0; i < SAMPLES && nColumn < nColumns; ++i) {
    message.Skip(14);
    int64_t nPos;
    int nWidth;
    const auto nBase = static_cast<int32_t>(message.Element(16, nPos, nWidth)) - 5000;
    if (i % mode.nStep != 0) continue;
    while (i + 1 > arnEnds[nBand]) ++nBand;
    int32_t* pSlot = arTile.data() + static_cast<size_t>(nTile) * nRows;
    int32_t* pTo = mode.bWindow ? arAll.data() : pSlot;
    if (nWidth > 0)
      UnpackRaw(message.pData, nPos, nWidth, message.nSubsets, nBase, pTo);
    else
      std::fill_n(pTo, message.nSubsets, nBase);
    for (int j = 0; mode.bWindow && j < nRows; ++j) pSlot[j] = arAll[arKept[j]];
    arDivisors[nColumn++] = arfBandDivisors[nBand];
    if (++nTile < TILE && nColumn < nColumns) continue;
    TransposeTile(arTile.data(), nRows, nTile, nRows, arRaw.data() + nColumn - nTile, nColumns);
    nTile = 0;
  }
  WriteRows(mode, arRaw, nColumns, nRows, arDivisors, pOut);
}

int Number(const uint8_t* p, int nBytes) {
  int n = 0;
  while (nBytes-- > 0) n = n << 8 | *p++;
  return n;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string szMode = argc > 2 ? argv[1] : "";
  SMode mode;
  mode.bTemperature = szMode == "temperature";
  mode.bText = szMode == "text";
  mode.bWindow = szMode == "window";
  if (szMode == "ten") mode.nStep = 900;
  if (mode.bWindow) mode.nLast = 100;
  FILE* pOut = argc > 2 ? std::fopen(argv[2], "w") : nullptr;
  if (!pOut) return 1;
  std::vector<char> arOutBuffer(256 * 1024), arInBuffer(256 * 1024);
  std::setvbuf(pOut, arOutBuffer.data(), _IOFBF, arOutBuffer.size());
  std::vector<uint8_t> arBytes(8);
  for (int i = 3; i < argc; ++i) {
    FILE* pIn = std::fopen(argv[i], "r");
    if (!pIn) return 1;
    std::setvbuf(pIn, arInBuffer.data(), _IOFBF, arInBuffer.size());
    while (std::fread(arBytes.data(), 1, 8, pIn) == 8) {
      const int nLength = Number(arBytes.data() + 4, 3);
      arBytes.resize(nLength + UNPACK_PADDING);
      if (std::fread(arBytes.data() + 8, 1, nLength - 8, pIn) != static_cast<size_t>(nLength - 8)) return 1;
      const uint8_t* p = arBytes.data() + 8;
      p += Number(p, 3);
      const int nSubsets = Number(p + 4, 2);
      p += Number(p, 3);
      Extract(mode, {p + 4, nSubsets}, pOut);
    }
    std::fclose(pIn);
  }
  return std::fclose(pOut) == 0 ? 0 : 1;
}
