#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>

#include "TestArchive.h"
#include "app/ConfigParam.h"

namespace {

namespace fs = std::filesystem;

// One element as the independent decoder prints it; NaN for missing, one value when all pixels are equal.
struct SDumped {
  std::vector<double> arValues;
  std::map<std::string, int64_t> attributes;
};

std::vector<SDumped> ParseDump(std::string szJson) {
  for (char& c : szJson) c = std::strchr("[]{}:,\"", c) ? ' ' : c;
  std::vector<SDumped> arDumped;
  std::istringstream words(szJson);
  for (std::string szWord; words >> szWord;) {
    if (szWord == "value") {
      arDumped.emplace_back();
      while (words >> szWord && szWord != "index")
        arDumped.back().arValues.push_back(szWord == "null" ? std::nan("") : std::stod(szWord));
    }
    for (const char* szName : {"code", "scale", "reference", "width"})
      if (szWord == szName) words >> arDumped.back().attributes[szName];
  }
  return arDumped;
}

}  // namespace

// Every element of every layout, its width, scale and reference and the values of all pixels, as an
// independent decoder finds them from the descriptors in the message.
TEST(ProductEncoder, MessagesDecodeElsewhereToWhatWentIn) {
  if (RunProgram("bufr_dump", {"-V"}).nStatus != 0) GTEST_SKIP() << NO_ECCODES;
  std::vector<std::tuple<EKind, int, int>> arLayouts = {
      {EKind::L1C, 1, 4}, {EKind::L1C, 2, 4}, {EKind::L1C, 2, 3}, {EKind::TWT, 0, 3}};
  for (const EKind eKind : arKinds) {
    for (const int nVersion : {0, 3, 4, 5, 6, 7, 8}) {
      if (eKind != EKind::L1C) arLayouts.emplace_back(eKind, nVersion, 4);
    }
  }
  CProductEncoder products;
  CTempDir dir;
  for (const auto& [eKind, nLayout, nEdition] : arLayouts) {
    SCOPED_TRACE(testing::Message() << KindName(eKind) << " " << nLayout << " edition " << nEdition);
    std::vector<SFieldValues> arFields;
    const CBUFREncoder encoder =
        products.Encode(eKind, nLayout, TestPixels(9), {.nEdition = nEdition, .bMissing = true}, &arFields);
    const SRun run = RunProgram("bufr_dump", {"-jf", dir.Write("message.bufr", encoder.Message())});
    ASSERT_EQ(run.szErrors, "");
    const std::vector<SDumped> arDumped = ParseDump(run.szOutput);
    ASSERT_EQ(arDumped.size(), arFields.size());
    int nMissing = 0;
    for (size_t n = 0; n < arFields.size(); ++n) {
      const STemplateField& field = arFields[n].field;
      const SDumped& dumped = arDumped[n];
      const std::map<std::string, int64_t> expected = {{"code", field.nFXY},
                                                       {"scale", field.nScale},
                                                       {"reference", field.nReference},
                                                       {"width", field.nWidth}};
      ASSERT_EQ(dumped.attributes, expected) << n << field.szName;
      for (size_t p = 0; p < 9; ++p) {
        const double fDumped = dumped.arValues.at(dumped.arValues.size() == 1 ? 0 : p);
        const double fValue = arFields[n].Value(p);
        nMissing += std::isnan(fValue);
        // The dump has six digits.
        ASSERT_TRUE(std::isnan(fValue) ? std::isnan(fDumped)
                                       : std::abs(fDumped - fValue) <= 6e-6 * std::abs(fValue))
            << n << field.szName << " of " << p << " is " << fDumped << " for " << fValue;
      }
    }
    EXPECT_TRUE(nMissing > 0 || (eKind != EKind::L1C && eKind != EKind::TWT));
  }
}

// The benchmarks count on spectra that pack as real ones do.
TEST(ProductEncoder, SpectraPackLikeRealOnes) {
  double fBits = 0;
  int nChannels = 0;
  for (const int nLine : {100, 2000, 4000, 6500, 9000}) {
    for (const SFieldValues& f : TestMessage(EKind::L1C, TestPixels(120, nLine)).arFields) {
      if (f.field.nFXY != 14046 || f.field.nOccurrence > CSpectrumModel::CHANNELS) continue;
      const auto [pLeast, pMost] = std::minmax_element(f.arRaw.begin(), f.arRaw.end());
      fBits += static_cast<int>(std::bit_width(static_cast<uint64_t>(*pMost - *pLeast) + 1));
      ++nChannels;
    }
  }
  EXPECT_NEAR(fBits / nChannels, 10, 0.7);
}

TEST(SampleArchive, GridAgreesWithThePixels) {
  CTempDir dir;
  CConfigParam config;
  config.szAltitudePath = CConfigParam::DuplicateString(dir.Write("grid", SampleGrid()).c_str());
  ASSERT_TRUE(config.InitAltitudeMap());
  const CScene scene(3, 4, 15815);
  int nLand = 0, nSea = 0, nWrong = 0;
  for (int n = 0; n < 20000; ++n) {
    const SSamplePixel p = scene.Pixel(n / 20 * 10, n % 20 * 6);
    if (std::abs(p.fElevation) < 40) continue;  // the coast falls to either side
    const double fEast = p.fLongitude < 0 ? p.fLongitude + 360 : p.fLongitude;
    const bool bLand = config.altitudeMap.GetSurfaceType(p.fLatitude, fEast) == 1;
    nWrong += bLand != (p.fElevation > 0);
    ++(bLand ? nLand : nSea);
  }
  EXPECT_GT(nLand, 4000);
  EXPECT_GT(nSea, 4000);
  EXPECT_LT(nWrong, 100);
}

TEST(SampleArchive, FailuresAndBadOptionsAreReported) {
  CTempDir dir;
  std::string szError;
  SSampleOptions options;
  options.arKinds = {};
  fs::create_symlink("/dev/full", dir.Path("land_sea_alti_map.dat"));
  EXPECT_FALSE(WriteSampleArchive(dir.Path(), options, szError));
  EXPECT_NE(szError.find("No space left"), std::string::npos) << szError;

  const std::string szFile = dir.Write("file", "x");
  const std::string szNew = dir.Path("new");
  const struct {
    std::vector<std::string> arArguments;
    const char* szMessage;
  } arRuns[] = {
      {{szFile, "--messages", "1"}, "cannot make folder"},
      {{szNew, "--pixels", "0"}, "the pixels of a message"},
      {{szNew, "--pixels=12x"}, "cannot use '12x' for --pixels"},
      {{szNew, "--days"}, "--days needs a value"},
      {{szNew, "--messages", "10801"}, "a day has only 1296000 pixels"},
      {{szNew, "--edition", "3", "--l2-version", "5"}, "edition 3 can carry"},
      {{szNew, "--start", "24:00"}, "cannot use '24:00' for --start"},
      {{szNew, "--start", "23:59"}, "the day ends before the last file does"},
      {{szNew, "--nonsense"}, "unknown option --nonsense"},
  };
  for (const auto& r : arRuns) {
    const SRun run = RunProgram(VEX_SAMPLE_BINARY, r.arArguments);
    EXPECT_EQ(run.nStatus, 1) << r.szMessage;
    EXPECT_NE(run.szErrors.find(r.szMessage), std::string::npos) << run.szErrors;
  }
  const SRun run =
      RunProgram(VEX_SAMPLE_BINARY, {szNew, "--kinds=trg", "--grid=off", "--messages", "1", "--start=05:26"});
  EXPECT_TRUE(run.nStatus == 0 && run.szErrors.empty()) << run.szErrors;
  const std::string szTrg =
      szNew + "/L2/2013/04/20/trg/IASI_TRG_02_M02_20130420052600Z_20130420052606Z.l2_bufr";
  EXPECT_TRUE(fs::exists(szTrg) && !fs::exists(szNew + "/L1C"));
}
