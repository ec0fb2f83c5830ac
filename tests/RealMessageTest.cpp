#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "TestArchive.h"

namespace {

/// The extraction of a real message of the archive's first layout: 15 pixels near the south pole.
class RealMessage : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* szFolder = std::getenv("VEX_TEST_DATA");
    if (!szFolder) GTEST_SKIP() << "VEX_TEST_DATA does not name a folder with real messages";
    m_szPath = std::string(szFolder) + "/ias1_240.bufr";
    if (!std::filesystem::exists(m_szPath)) GTEST_SKIP() << m_szPath << " is not there";
    m_tree.Add(EKind::L1C, ReadWholeFile(m_szPath), "real", "2012/11/02");
  }

  STreeRun Run(const char* szFormat) const {
    return m_tree.Run(
        {"-c", "1-8461", "-avhrr", "1", "-fd", "2012-11-02", "-ld", "2012-11-02", "-of", szFormat});
  }

  /// The values of elements (one each, or one a pixel) as an independent decoder prints them.
  std::vector<std::vector<double>> Elsewhere(const TOptions& arKeys) const {
    constexpr size_t KEYS = 3000;  // more are too many for the other decoder
    std::vector<std::vector<double>> arAll;
    for (size_t nFirst = 0; nFirst < arKeys.size(); nFirst += KEYS) {
      std::string szRules = "set unpack=1;\n";
      for (size_t i = nFirst; i < std::min(nFirst + KEYS, arKeys.size()); ++i)
        szRules += "print \"[" + arKeys[i] + "] |\";\n";
      szRules = m_tree.Write("rules", szRules);
      std::istringstream text(RunProgram("bufr_filter", {szRules, m_szPath}).szOutput);
      for (std::string szValues; std::getline(text, szValues, '|');) {
        std::istringstream values(szValues);
        std::vector<double> ar;
        for (double f; values >> f;) ar.push_back(f);
        if (ar.size() == 1 || ar.size() == 15) arAll.push_back(ar);
      }
    }
    EXPECT_EQ(arAll.size(), arKeys.size());
    arAll.resize(arKeys.size(), {0.0});
    return arAll;
  }

  std::string m_szPath;
  CTestTree m_tree;
};

double At(const std::vector<double>& arValues, size_t nPixel) {
  return arValues[arValues.size() == 1 ? 0 : nPixel];
}

uint64_t Checksum(const std::string& szBytes) {
  uint64_t nSum = 14695981039346656037U;  // FNV-1a
  for (const unsigned char c : szBytes) nSum = (nSum ^ c) * 1099511628211U;
  return nSum;
}

constexpr double MISSING = 2147483647;  // as the other decoder prints a missing integer

std::string Numbered(int n, const char* szKey) { return "#" + std::to_string(n) + "#" + szKey; }

}  // namespace

TEST_F(RealMessage, EqualsWhatAnIndependentDecoderFinds) {
  if (RunProgram("bufr_filter", {"-V"}).nStatus != 0) GTEST_SKIP() << "ecCodes' bufr_filter is not installed";
  ExpectSays(Run("bin"), "day1.\n15 L1C data selected out of 15\n");
  const CRecordFile file(m_tree.Output());
  ASSERT_EQ(file.szError, "");
  ASSERT_EQ(file.arRecords.size(), 15U);
  EXPECT_EQ(file.nSatellite, 4);
  struct SPlace {
    const char* szBlock;
    int nIndex;
    double fFactor;
  };
  std::vector<SPlace> arPlaces;
  TOptions arKeys;
  const auto add = [&](const char* szBlock, int nIndex, const std::string& szKey, bool bReal,
                       double fFactor = 1) {
    arPlaces.push_back({szBlock, nIndex, fFactor});
    arKeys.push_back(szKey + (bReal ? "!20%.9f" : "!20"));
  };
  std::istringstream common(
      "year month day hour minute second latitude longitude satelliteZenithAngle bearingOrAzimuth "
      "solarZenithAngle solarAzimuth fieldOfViewNumber orbitNumber scanLineNumber heightOfStation");
  std::string szKey;
  for (int i = 0; common >> szKey; ++i) {
    const bool bReal = (i >= 5 && i < 12) || i == 15;
    add("common", i, szKey, bReal, i == 5 ? 1000 : i == 15 ? 0.001 : 1);
  }
  add("l1c", 3, "gqisFlagQual", false);
  add("avhrr", 0, "#2#satelliteInstruments", false);
  add("avhrr", 1, "avhrrChannelCombination", false);
  for (int k = 0; k < 7; ++k) {
    add("avhrr", 2 + 21 * k, Numbered(k + 1, "yAngularPositionFromCentreOfGravity"), true);
    add("avhrr", 3 + 21 * k, Numbered(k + 1, "zAngularPositionFromCentreOfGravity"), true);
    add("avhrr", 4 + 21 * k, Numbered(k + 1, "fractionOfClearPixelsInHirsFov"), false);
  }
  // Bands: first and last channel and a power of ten. The other ones are missing.
  for (int i = 1; i <= 10; ++i)
    for (const char* szBand : {"startChannel", "endChannel", "channelScaleFactor"})
      arKeys.push_back(Numbered(i, szBand));
  for (int i = 1; i <= 8461; ++i)
    for (const char* szSample : {"channelNumber", "scaledIasiRadiance!20"})
      arKeys.push_back(Numbered(i, szSample));
  const auto arSent = Elsewhere(arKeys);

  for (size_t i = 0; i < arPlaces.size(); ++i)
    for (size_t p = 0; p < 15; ++p)
      EXPECT_FLOAT_EQ(static_cast<float>(file.arRecords[p][arPlaces[i].szBlock][arPlaces[i].nIndex]),
                      static_cast<float>(At(arSent[i], p) * arPlaces[i].fFactor))
          << arKeys[i];
  const auto pBands = arSent.begin() + arPlaces.size(), pSamples = pBands + 30;
  int nBands = 0, nLast = 0;
  for (auto p = pBands; p != pSamples; p += 3) nBands += p[0][0] != MISSING;
  EXPECT_EQ(nBands, 5);
  for (auto pSample = pSamples; pSample != arSent.end(); pSample += 2) {
    const int nChannel = static_cast<int>(pSample[0][0]);
    ASSERT_EQ(nChannel, ++nLast);
    auto pBand = pBands;
    while (pBand != pSamples && !(pBand[0][0] <= nChannel && nChannel <= pBand[1][0])) pBand += 3;
    ASSERT_NE(pBand, pSamples);
    for (size_t p = 0; p < 15; ++p) {
      const double fScaled = At(pSample[1], p);
      const double fExpected = fScaled == MISSING ? -777 : fScaled / std::pow(10, pBand[2][0]);
      ASSERT_EQ(file.arRecords[p]["spectrum"][nChannel - 1], static_cast<float>(fExpected))
          << nChannel << ' ' << p;
    }
  }
}

// Sums of outputs whose values were checked against another decoder.
TEST_F(RealMessage, KeepsItsFrozenBytes) {
  Run("bin");
  EXPECT_EQ(Checksum(m_tree.Output()), 1509001669646351785U);
  Run("txt");
  EXPECT_EQ(Checksum(m_tree.Output()), 2891632066935549645U);
}
