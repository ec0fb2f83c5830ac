#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "TestArchive.h"

namespace {

/// The extraction of a real message of the archive's first layout: 15 pixels near the south pole.
class RealMessage : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* szFolder = std::getenv("VEX_TEST_DATA");
    if (!szFolder)
      GTEST_SKIP() << "no real message here; to run this: VEX_TEST_DATA=FOLDER, with ias1_240.bufr in it";
    m_szPath = std::string(szFolder) + "/ias1_240.bufr";
    if (!std::filesystem::exists(m_szPath)) GTEST_SKIP() << m_szPath << " is not there";
    m_tree.Add(EKind::L1C, ReadWholeFile(m_szPath), "real", "2012/11/02");
  }

  SRun Run(const char* szFormat) const {
    return m_tree.Run(
        {"-c", "1-8461", "-avhrr", "1", "-fd", "2012-11-02", "-ld", "2012-11-02", "-of", szFormat});
  }

  /// The values of elements as an independent decoder prints them: of every pixel, or one where all are
  /// equal. A key without a number stands for all of its elements, one after the other.
  std::vector<std::vector<double>> Elsewhere(const TOptions& arKeys) const {
    std::string szRules = "set unpack=1;\n";
    for (const std::string& szKey : arKeys) szRules += "print \"[" + szKey + "] |\";\n";
    std::istringstream text(RunProgram("bufr_filter", {m_tree.Write("rules", szRules), m_szPath}).szOutput);
    std::vector<std::vector<double>> arAll;
    for (std::string szValues; arAll.size() < arKeys.size() && std::getline(text, szValues, '|');) {
      std::istringstream values(szValues);
      arAll.emplace_back(std::istream_iterator<double>(values), std::istream_iterator<double>());
    }
    return arAll;
  }

  std::string m_szPath;
  CTestTree m_tree;
};

uint64_t Checksum(const std::string& szBytes) {
  uint64_t nSum = 14695981039346656037U;  // FNV-1a
  for (const unsigned char c : szBytes) nSum = (nSum ^ c) * 1099511628211U;
  return nSum;
}

constexpr double MISSING = 2147483647;  // as the other decoder prints a missing integer
constexpr size_t PIXELS = 15;

}  // namespace

TEST_F(RealMessage, EqualsWhatAnIndependentDecoderFinds) {
  if (RunProgram("bufr_filter", {"-V"}).nStatus != 0) GTEST_SKIP() << NO_ECCODES;
  ExpectSays(Run("bin"), "day1.\n15 L1C data selected out of 15\n");
  const CRecordFile file(m_tree.Output());
  ASSERT_EQ(file.szError, "");
  ASSERT_EQ(file.arRecords.size(), PIXELS);
  EXPECT_EQ(file.nSatellite, 4);
  struct SPlace {
    const char* szBlock;
    int nIndex;
    double fFactor;
  };
  std::vector<SPlace> arPlaces;
  TOptions arKeys;
  const auto add = [&](const char* szBlock, int nIndex, const std::string& szKey, double fFactor = 1) {
    arPlaces.push_back({szBlock, nIndex, fFactor});
    arKeys.push_back(szKey + ":d!20%.9f");
  };
  std::istringstream common(
      "year month day hour minute second latitude longitude satelliteZenithAngle bearingOrAzimuth "
      "solarZenithAngle solarAzimuth fieldOfViewNumber orbitNumber scanLineNumber heightOfStation");
  std::string szKey;
  for (int i = 0; common >> szKey; ++i)
    add("common", i, szKey, i == 5 ? 1000 : i == 15 ? 0.001 : 1);  // seconds and metres
  add("l1c", 3, "gqisFlagQual");
  add("avhrr", 0, "#2#satelliteInstruments");
  add("avhrr", 1, "avhrrChannelCombination");
  const auto arSent = Elsewhere(
      arKeys + TOptions{"startChannel", "endChannel", "channelScaleFactor", "scaledIasiRadiance!20"});
  ASSERT_EQ(arSent.size(), arKeys.size() + 4);
  for (size_t i = 0; i < arPlaces.size(); ++i) {
    ASSERT_TRUE(arSent[i].size() == 1 || arSent[i].size() == PIXELS) << arKeys[i];
    for (size_t p = 0; p < PIXELS; ++p)
      EXPECT_FLOAT_EQ(static_cast<float>(file.arRecords[p][arPlaces[i].szBlock][arPlaces[i].nIndex]),
                      static_cast<float>(arSent[i][p % arSent[i].size()] * arPlaces[i].fFactor))
          << arKeys[i];
  }
  // Ten bands, of which the last five are missing; every radiance that is kept differs from pixel to pixel.
  const auto *const pFirst = &arSent[arKeys.size()], *const pLast = pFirst + 1, *const pScale = pFirst + 2;
  const auto& arRadiances = pFirst[3];
  ASSERT_TRUE(pFirst->size() == 10 && (*pFirst)[4] != MISSING && (*pFirst)[5] == MISSING);
  ASSERT_GT(arRadiances.size(), 8461 * PIXELS);
  for (size_t nBand = 0, n = 0; n < 8461; ++n) {
    if (static_cast<double>(n) >= (*pLast)[nBand]) ++nBand;
    for (size_t p = 0; p < PIXELS; ++p) {
      const double fScaled = arRadiances[n * PIXELS + p];
      const double fExpected = fScaled == MISSING ? -777 : fScaled / std::pow(10, (*pScale)[nBand]);
      ASSERT_EQ(file.arRecords[p]["spectrum"][n], static_cast<float>(fExpected)) << n << ' ' << p;
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
