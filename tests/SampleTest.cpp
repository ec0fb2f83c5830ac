#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <tuple>

#include "TestSupport.h"
#include "sample/BUFREncoder.h"
#include "sample/ProductEncoder.h"
#include "sample/SampleArchive.h"

namespace {

namespace fs = std::filesystem;

constexpr int64_t MISSING = CBUFREncoder::MISSING;

std::string Hex(std::string_view szBytes) {
  std::string szHex;
  for (const char c : szBytes) {
    char szByte[3];
    std::snprintf(szByte, sizeof szByte, "%02x", static_cast<unsigned char>(c));
    szHex += szByte;
  }
  return szHex;
}

std::string DataHex(const CBUFREncoder& encoder) {
  const std::vector<uint8_t> arData = encoder.SectionData();
  return Hex({reinterpret_cast<const char*>(arData.data()), arData.size()});
}

std::vector<SSamplePixel> Line(int nPixels, int64_t nLine = 5000) {
  const CScene scene(7, 4, 15815);
  std::vector<SSamplePixel> arPixels;
  for (int n = 0; n < nPixels; ++n) arPixels.push_back(scene.Pixel(nLine, n));
  return arPixels;
}

// One element as the independent decoder prints it; NaN for missing, one value when all pixels are equal.
struct SDumped {
  int nFXY = 0, nScale = 0, nWidth = 0;
  int64_t nReference = 0;
  std::vector<double> arValues;
};

int64_t NumberAfter(const std::string& szText, const char* szKey, size_t nFrom) {
  const size_t n = szText.find(szKey, nFrom);
  return n == std::string::npos
             ? INT64_MIN
             : std::strtoll(&szText[szText.find_first_of("-0123456789", n + 8)], nullptr, 10);
}

std::vector<SDumped> ParseDump(const std::string& szText) {
  std::vector<SDumped> arDumped;
  for (size_t n = szText.find("\"value\""); n != std::string::npos; n = szText.find("\"value\"", n)) {
    const size_t nEnd = szText.find("\"index\"", n);
    if (nEnd == std::string::npos) break;
    SDumped dumped;
    for (n += 8; n < nEnd;) {
      n = std::min(szText.find_first_of("-0123456789n", n), nEnd);
      if (n == nEnd) break;
      char* pAfter = nullptr;
      dumped.arValues.push_back(szText[n] == 'n' ? std::nan("") : std::strtod(&szText[n], &pAfter));
      n = szText[n] == 'n' ? n + 4 : static_cast<size_t>(pAfter - szText.data());
    }
    dumped.nFXY = static_cast<int>(NumberAfter(szText, "\"code\"", n));
    dumped.nScale = static_cast<int>(NumberAfter(szText, "\"scale\"", n));
    dumped.nReference = NumberAfter(szText, "\"reference\"", n);
    dumped.nWidth = static_cast<int>(NumberAfter(szText, "\"width\"", n));
    arDumped.push_back(dumped);
  }
  return arDumped;
}

bool HaveEcCodes() { return RunProgram("bufr_dump", {"-V"}).nStatus == 0; }

}  // namespace

TEST(BUFREncoder, WritesTinyMessagesBitForBit) {
  CBUFREncoder encoder(2);
  encoder.header.nHour = 23;
  encoder.header.nMasterTableVersion = 13;
  encoder.Descriptor(0, 1, 7);
  encoder.Values(10, {3, 5});
  // 0000000011 | 000010 | 00 10, filled with zeros
  EXPECT_EQ(encoder.BitCount(), 20);
  EXPECT_EQ(Hex(encoder.Message()),
            "42554652"
            "000032"
            "04"  // section 0: 50 bytes, edition 4
            "000016"
            "00"
            "00fe"
            "0000"
            "00"
            "00"
            "030700"
            "0d00"
            "07dd0414170000"  // section 1: 22 bytes
            "000009"
            "00"
            "0002"
            "c0"
            "0107"  // section 3: 9 bytes
            "000007"
            "00"
            "00c220"
            "37373737");

  encoder.header.nEdition = 3;  // two-digit year, one-byte centre and sub-centre, even lengths, section 2
  encoder.header.nSection1Length = 18;
  encoder.header.arSection2 = {0xAB};
  encoder.nForceSubsets = 65535;
  encoder.nForceTotalLength = 0;
  encoder.szEndMarker = "777";
  EXPECT_EQ(Hex(encoder.Message()),
            "42554652"
            "000000"
            "03"
            "000012"
            "00"
            "00fe"
            "00"
            "80"
            "0307"
            "0d00"
            "0d04141700"
            "00"
            "000006"
            "00"
            "ab00"
            "00000a"
            "00"
            "ffff"
            "c0"
            "0107"
            "00"
            "000008"
            "00"
            "00c22000"
            "373737");
}

TEST(BUFREncoder, PacksValuesAsNarrowAsMissingAllows) {
  const struct {
    int nWidth;
    std::vector<int64_t> arRaw;
    const char* szHex;
  } arCases[] = {
      {10, {5, 5, 5}, "0140"},                // constant: no increments
      {10, {MISSING, MISSING}, "ffc0"},       // all ones
      {10, {5, MISSING, 5}, "014140"},        // 1 bit: 0 1 0, all ones is missing
      {8, {100, 102, 101, 103}, "640c22c0"},  // a range of 3 takes 3 bits, as 11 would be missing
      {8, {0, 254}, "002003f8"},
  };
  for (const auto& c : arCases) {
    CBUFREncoder encoder(static_cast<int>(c.arRaw.size()));
    encoder.Values(c.nWidth, c.arRaw);
    EXPECT_EQ(DataHex(encoder), c.szHex);
  }

  // Every call at every offset, against a plain string of bits.
  CBUFREncoder encoder(3);
  std::string szBits;
  const auto expect = [&](uint64_t nValue, int nBits) {
    for (int n = nBits - 1; n >= 0; --n) szBits += (nValue >> n & 1) != 0 ? '1' : '0';
  };
  for (int nWidth = 1; nWidth <= 64; ++nWidth) {
    const uint64_t nValue = SampleHash(1, static_cast<uint64_t>(nWidth));
    encoder.Bits(nValue, nWidth);
    expect(nValue, nWidth);
    encoder.Element(nWidth, nValue, nWidth % 64, {nValue, ~nValue, 7});
    expect(nValue, nWidth);
    expect(static_cast<uint64_t>(nWidth % 64), 6);
    for (const uint64_t n : {nValue, ~nValue, uint64_t{7}}) expect(n, nWidth % 64);
    encoder.Values(nWidth, {0, MISSING, 1}, 3);
    expect(0, nWidth);
    for (const int n : {3, 0, 7, 1}) expect(static_cast<uint64_t>(n), n == 3 ? 6 : 3);
  }
  ASSERT_EQ(encoder.BitCount(), static_cast<int64_t>(szBits.size()));
  const std::vector<uint8_t> arData = encoder.SectionData();
  ASSERT_EQ(arData.size(), (szBits.size() + 7) / 8);
  for (size_t n = 0; n < arData.size() * 8; ++n) {
    ASSERT_EQ((arData[n / 8] >> (7 - n % 8)) & 1, n < szBits.size() && szBits[n] == '1') << n;
  }
}

class ProductMessages : public ::testing::TestWithParam<std::tuple<EKind, int, int>> {};

// Every element of every layout, its width, scale and reference and the values of all pixels, as an
// independent decoder finds them from the descriptors in the message.
TEST_P(ProductMessages, DecodeElsewhereToWhatWentIn) {
  const auto [eKind, nLayout, nEdition] = GetParam();
  if (!HaveEcCodes()) GTEST_SKIP() << "ecCodes' bufr_dump is not installed";
  CProductEncoder products;
  SEncodeOptions options;
  options.bMissing = true;
  options.nEdition = nEdition;
  std::vector<SFieldValues> arFields;
  CTempDir dir;
  const std::string szPath =
      dir.Write("message.bufr", products.Encode(eKind, nLayout, Line(9), options, &arFields).Message());
  const SRun run = RunProgram("bufr_dump", {"-jf", szPath});
  ASSERT_EQ(run.nStatus, 0) << run.szErrors;
  EXPECT_EQ(run.szErrors, "");

  const std::vector<SDumped> arDumped = ParseDump(run.szOutput);
  ASSERT_EQ(arDumped.size(), arFields.size());
  int nMissing = 0;
  for (size_t n = 0; n < arFields.size(); ++n) {
    const STemplateField& field = arFields[n].field;
    const SDumped& dumped = arDumped[n];
    ASSERT_EQ(std::tuple(dumped.nFXY, dumped.nScale, dumped.nReference, dumped.nWidth),
              std::tuple(field.nFXY, field.nScale, field.nReference, field.nWidth))
        << n << field.szName;
    for (size_t p = 0; p < 9; ++p) {
      const double fDumped = dumped.arValues[dumped.arValues.size() == 1 ? 0 : p];
      const double fValue = arFields[n].Value(p);
      nMissing += arFields[n].IsMissing(p);
      ASSERT_EQ(std::isnan(fDumped), std::isnan(fValue)) << n << field.szName << p;
      // The dump has six digits.
      if (!std::isnan(fValue)) {
        ASSERT_NEAR(fDumped, fValue, 6e-6 * std::abs(fValue)) << n << field.szName << p;
      }
    }
  }
  if (eKind == EKind::L1C || eKind == EKind::TWT) {
    EXPECT_GT(nMissing, 0);
  }
}

namespace {
std::vector<std::tuple<EKind, int, int>> AllLayouts() {
  std::vector<std::tuple<EKind, int, int>> arAll = {
      {EKind::L1C, 1, 4}, {EKind::L1C, 2, 4}, {EKind::L1C, 2, 3}, {EKind::TWT, 0, 3}};
  for (const EKind eKind : arKinds) {
    for (const int nVersion : {0, 3, 4, 5, 6, 7, 8}) {
      if (eKind != EKind::L1C) arAll.emplace_back(eKind, nVersion, 4);
    }
  }
  return arAll;
}
}  // namespace

INSTANTIATE_TEST_SUITE_P(AllLayouts, ProductMessages, ::testing::ValuesIn(AllLayouts()),
                         [](const auto& test) {
                           return std::string(KindName(std::get<0>(test.param))) + "_" +
                                  std::to_string(std::get<1>(test.param)) + "_edition" +
                                  std::to_string(std::get<2>(test.param));
                         });

TEST(ProductEncoder, KeepsEveryDigitOfPlaceAndTime) {
  if (!HaveEcCodes()) GTEST_SKIP() << "ecCodes' bufr_filter is not installed";
  CProductEncoder products;
  CTempDir dir;
  const std::vector<SSamplePixel> arPixels = Line(1);
  const SSamplePixel& p = arPixels[0];
  const std::string szRules = dir.Write(
      "rules",
      "set unpack=1;\nprint \"[latitude%.5f] [longitude%.5f] [solarZenithAngle%.2f] [second%.3f]\";\n");
  const std::string szPath = dir.Write("message.bufr", products.Encode(EKind::L1C, 2, arPixels).Message());
  char szExpected[200];
  std::snprintf(szExpected, sizeof szExpected, "%.5f %.5f %.2f %.3f\n", p.fLatitude, p.fLongitude,
                p.fSolarZenith, p.nMilliseconds / 1000.0);
  EXPECT_EQ(RunProgram("bufr_filter", {szRules, szPath}).szOutput, szExpected);
}

// The benchmarks count on spectra that pack as real ones do.
TEST(ProductEncoder, SpectraPackLikeRealOnes) {
  CProductEncoder products;
  double fBits = 0;
  int nLeast = 99, nMost = 0, nChannels = 0;
  for (const int64_t nLine : {100, 2000, 4000, 6500, 9000}) {
    std::vector<SFieldValues> arFields;
    products.Encode(EKind::L1C, 2, Line(120, nLine), {}, &arFields);
    for (const SFieldValues& f : arFields) {
      if (f.field.nFXY != 14046 || f.field.nOccurrence > CSpectrumModel::CHANNELS) continue;
      const auto [pLeast, pMost] = std::minmax_element(f.arRaw.begin(), f.arRaw.end());
      const int nBits = static_cast<int>(std::bit_width(static_cast<uint64_t>(*pMost - *pLeast) + 1));
      nLeast = std::min(nLeast, nBits);
      nMost = std::max(nMost, nBits);
      fBits += nBits;
      ++nChannels;
    }
  }
  RecordProperty("MeanIncrementBits", std::to_string(fBits / nChannels));
  EXPECT_NEAR(fBits / nChannels, 10, 0.7);
  EXPECT_GE(nLeast, 5);
  EXPECT_LE(nMost, 14);
}

TEST(Scene, MovesLikeASunSynchronousOrbit) {
  const CScene scene(7, 4, 15815);
  std::tuple<int, int> lastKey{0, 0};
  double fNorth = -90, fSouth = 90;
  for (int64_t nLine = 0; nLine < 2 * 761; ++nLine) {
    const SSamplePixel middle = scene.Pixel(nLine, 58), edge = scene.Pixel(nLine, 0);
    ASSERT_LT(lastKey, std::tuple(middle.nOrbit, middle.nScanLine));
    lastKey = {middle.nOrbit, middle.nScanLine};
    fNorth = std::max(fNorth, middle.fLatitude);
    fSouth = std::min(fSouth, middle.fLatitude);
    ASSERT_LT(middle.fSatelliteZenith, 5);
    ASSERT_NEAR(edge.fSatelliteZenith, 58, 2);
    if (std::abs(middle.fLatitude) < 10) {
      const double fHour =
          std::fmod(middle.nHour + middle.nMinute / 60.0 + middle.fLongitude / 15 + 48, 12.0);
      ASSERT_NEAR(fHour, 9.5, 0.4);
      const bool bSouthward = scene.Pixel(nLine + 1, 58).fLatitude < middle.fLatitude;
      ASSERT_EQ(middle.fSolarZenith < 90, bSouthward);
    }
  }
  EXPECT_NEAR(fNorth, 81, 1);
  EXPECT_NEAR(fSouth, -81, 1);
}

TEST(Layouts, VersionsSwitchToTheSecond) {
  const struct {
    SDateTime last;
    int nBefore;
  } arSwitches[] = {{{2014, 9, 30, 7, 22, 59}, 0}, {{2015, 9, 24, 11, 56, 54}, 3},
                    {{2016, 6, 2, 8, 14, 57}, 4},  {{2017, 6, 20, 8, 38, 56}, 5},
                    {{2018, 3, 7, 13, 2, 51}, 6},  {{2019, 5, 14, 7, 17, 57}, 7}};
  for (auto [date, nBefore] : arSwitches) {
    EXPECT_EQ(L2VersionOf(date), nBefore);
    ++date.nMinute;
    date.nSecond = 0;
    EXPECT_EQ(L2VersionOf(date), nBefore == 0 ? 3 : nBefore + 1);
    EXPECT_EQ(L2VersionOf(L2VersionDate(nBefore)), nBefore);
  }
}

TEST(SampleArchive, SameSeedSameBytesAndKindsThatPair) {
  CTempDir dir;
  SSampleOptions options;
  options.nMessages = 5;
  options.nMessagesPerFile = 3;
  options.nPixels = 40;
  options.nDays = 2;
  options.bGaps = options.bMissing = options.bIndep = true;
  std::string szError;
  for (const char* szName : {"a", "b", "c"}) {
    options.nSeed = szName[0] == 'c' ? 2 : 1;
    ASSERT_TRUE(WriteSampleArchive(dir.Path(szName), options, szError)) << szError;
  }
  int nFiles = 0, nSame = 0, nDifferent = 0;
  for (const auto& entry : fs::recursive_directory_iterator(dir.Path("a"))) {
    if (!entry.is_regular_file()) continue;
    const std::string szFile = fs::relative(entry.path(), dir.Path("a")).string();
    const std::string szBytes = ReadWholeFile(entry.path().string());
    ++nFiles;
    nSame += szBytes == ReadWholeFile(dir.Path("b/" + szFile));
    nDifferent += szBytes != ReadWholeFile(dir.Path("c/" + szFile));
  }
  EXPECT_EQ(nFiles, 2 * 2 * (6 + 5) + 1);  // days, files a day, kinds in both trees; the grid
  EXPECT_EQ(nSame, nFiles);
  EXPECT_EQ(nDifferent, nFiles - 1);  // all but the grid
  EXPECT_TRUE(fs::exists(dir.Path("a/L2/2013/04/21/twt")) && fs::exists(dir.Path("a/L2indep/ems")));

  std::map<std::tuple<int, int, int>, std::set<EKind>> arByKey;
  std::map<std::tuple<int, int, int>, double> arLatitudes;
  for (const EKind eKind : arKinds) {
    std::tuple<int, int, int> last{0, 0, 0};
    for (int nMessage = 0; nMessage < 10; ++nMessage) {
      for (const SSamplePixel& p : SamplePixels(options, eKind, nMessage / 5, nMessage % 5)) {
        const std::tuple key{p.nOrbit, p.nScanLine, p.nFieldOfView};
        ASSERT_LT(last, key);
        last = key;
        arByKey[key].insert(eKind);
        ASSERT_EQ(arLatitudes.emplace(key, p.fLatitude).first->second, p.fLatitude);
      }
    }
  }
  size_t nComplete = 0, nPartial = 0;
  for (const auto& [key, kinds] : arByKey) ++(kinds.size() == 6 ? nComplete : nPartial);
  EXPECT_GT(nComplete, 20U);
  EXPECT_GT(nPartial, 100U);
}

TEST(SampleArchive, GridFileParsesAndAgreesWithThePixels) {
  const std::string szGrid = SampleGrid();
  std::vector<int> arCells(1080 * 2160, -777);
  size_t nAt = 0;
  const auto take = [&](int nBytes) {
    int64_t nValue = static_cast<signed char>(szGrid.at(nAt++));
    while (--nBytes > 0) nValue = nValue * 256 + static_cast<unsigned char>(szGrid.at(nAt++));
    return static_cast<int>(nValue);
  };
  for (int nRow = 0; nRow < 1080; ++nRow) {
    const int nMarker = take(4), nPairs = take(2);
    ASSERT_EQ(nMarker, 2 + 4 * nPairs);
    for (int n = 0, nLast = 0; n < nPairs; ++n) {
      const int nColumn = take(2);
      ASSERT_TRUE(nColumn > nLast && nColumn <= 2160);
      arCells[static_cast<size_t>(nRow * 2160 + nColumn - 1)] = take(2);
      nLast = nColumn;
    }
    ASSERT_EQ(take(4), nMarker);
  }
  EXPECT_EQ(nAt, szGrid.size());

  const CScene scene(3, 4, 15815);
  int nLand = 0, nSea = 0, nWrong = 0;
  for (int n = 0; n < 20000; ++n) {
    const SSamplePixel p = scene.Pixel(n / 20 * 10, n % 20 * 6);
    if (std::abs(p.fElevation) < 40) continue;  // the coast falls to either side
    const double fEast = p.fLongitude < 0 ? p.fLongitude + 360 : p.fLongitude;
    const int nColumn = std::clamp(static_cast<int>(6 * fEast + 0.5), 1, 2160);
    const int nRow = std::clamp(static_cast<int>((90.08333333333333 - p.fLatitude) * 6 + 0.5), 1, 1080);
    const bool bLand = arCells[static_cast<size_t>((nRow - 1) * 2160 + nColumn - 1)] >= 0;
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
    int nStatus;
    const char* szMessage;
  } arRuns[] = {
      {{szFile, "--messages", "1"}, 1, "cannot make folder"},
      {{}, 1, "no folder to write to"},
      {{szNew, "--pixels", "0"}, 1, "the pixels of a message"},
      {{szNew, "--pixels=12x"}, 1, "cannot use '12x' for --pixels"},
      {{szNew, "--days"}, 1, "--days needs a value"},
      {{szNew, "--messages", "10801"}, 1, "a day has only 1296000 pixels"},
      {{szNew, "--l2-version", "2"}, 1, "the L2 version must be"},
      {{szNew, "--edition", "3", "--l2-version", "5"}, 1, "edition 3 can carry"},
      {{szNew, "--first-date", "2013-02-30"}, 1, "the first date must be"},
      {{szNew, "--kinds", "l1c,xyz"}, 1, "for --kinds"},
      {{szNew, "--gaps=yes"}, 1, "--gaps takes no value"},
      {{szNew, "--nonsense"}, 1, "unknown option --nonsense"},
      {{szNew, "--kinds=trg", "--grid=off", "--messages", "1"}, 0, ""},
  };
  for (const auto& r : arRuns) {
    const SRun run = RunProgram(VEX_SAMPLE_BINARY, r.arArguments);
    EXPECT_EQ(run.nStatus, r.nStatus) << r.szMessage;
    EXPECT_NE(run.szErrors.find(r.szMessage), std::string::npos) << run.szErrors;
    EXPECT_EQ(run.szErrors.empty(), r.nStatus == 0);
  }
  EXPECT_TRUE(fs::exists(szNew + "/L2/2013/04/20/trg") && !fs::exists(szNew + "/L1C"));
}
