// The filters on pixels, and the walk of the readers through files and messages.

#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"
#include "kernel/Reporter.h"
#include "reader/L1Reader.h"
#include "reader/L2ReaderClp.h"
#include "reader/L2ReaderEms.h"
#include "reader/L2ReaderOzo.h"
#include "reader/L2ReaderTrg.h"
#include "reader/L2ReaderTwt.h"
#include "sample/BUFREncoder.h"

namespace {

/// Gives options ("-mila 50 -tp day") to a configuration.
void Configure(CConfigParam& config, const std::string& szOptions) {
  const CReportCapture said;
  std::istringstream words(szOptions);
  for (std::string szName, szValue; words >> szName >> szValue;)
    EXPECT_EQ(config.InterpretParam(szName.c_str() + 1, szValue.c_str()), CConfigParam::ACCEPTED) << szName;
}

/// Pixels that the filters are tried on: 12:30:45.999, 50 N 10 E, orbit 100, line 20, field of view 7.
class FilterTest : public testing::Test {
 protected:
  static constexpr int PIXELS = 10;

  FilterTest() {
    CProdL1C& p = m_prod;
    p.InitFirstL1(PIXELS, 1);
    const std::pair<RealColumn*, double> arReals[] = {
        {&p.Latitude, 50},         {&p.Longitude, 10},   {&p.SatelliteZenithAngle, -12.5},
        {&p.SolarZenithAngle, 90}, {&p.AverageIIS, 0.5}, {&p.VarianceIIS, 0.25}};
    for (const auto& [pColumn, fValue] : arReals) pColumn->SetAll(fValue);
    const std::pair<IntColumn*, int> arInts[] = {
        {&p.OrbitNumber, 100},  {&p.ScanLineNumber, 20},  {&p.FieldOfViewNumber, 7}, {&p.Hour, 12},
        {&p.Minute, 30},        {&p.Milliseconds, 45999}, {&p.SurfaceType, 42},      {&p.CloudFraction, 40},
        {&p.LandFraction, 50},  {&p.SnowFraction, 5},     {&p.GqisQualFlag[0], 0},   {&p.GqisQualFlag[1], 1},
        {&p.GqisQualFlag[2], 0}};
    for (const auto& [pColumn, nValue] : arInts) pColumn->SetAll(nValue);
  }
  CProdL1C m_prod;
};

TEST_F(FilterTest, CommonFiltersPixelByPixel) {
  // Without a latitude, one that is no single precision number, and the sun below and above the horizon.
  m_prod.Latitude.Write()[1] = -777;
  m_prod.Latitude.Write()[2] = 50.1;
  m_prod.SolarZenithAngle.Write()[3] = 90.01;
  m_prod.SolarZenithAngle.Write()[4] = 89.99;
  // 50.1 is a little less in single precision. Longitudes the wrong way round filter nothing, times across
  // midnight everything; an unknown surface passes for both.
  const struct {
    std::string szKept;
    std::vector<const char*> arOptions;
    bool bSea = false;  // a grid of sea everywhere
  } arCases[] = {{"10111",
                  {"", "-milo 10 -malo 10", "-milo 170 -malo -170", "-on 1-99,100", "-sln 20-30",
                   "-va -12.5-0", "-tr 12h30m45s", "-tr 12h30m45s-12h30m45s", "-tr 11h59m59s-13h00m00s",
                   "-st sea", "-st land", "-tp night -tp all", "-mila -0.5 -milo -0.5"}},
                 {"10011", {"-mila 50 -mala 50", "-mala 50.1"}},
                 {"00100", {"-mila 50.01"}},
                 {"10101", {"-tp day"}},
                 {"10110", {"-tp night"}},
                 {"00000",
                  {"-mala 49.99", "-mila 60 -mala 40", "-milo 11", "-malo 9", "-milo 11 -malo 11",
                   "-milo 9 -malo 9", "-on 101-99", "-tr 12h30m44s", "-tr 12h30m46s-23h00m00s",
                   "-tr 00h00m00s-12h29m59s", "-tr 12h00m00s-02h00m00s"}},
                 {"10111", {"-st sea", "-st land -st all"}, true},
                 {"00000", {"-st land"}, true}};
  for (const auto& [szKept, arOptions, bSea] : arCases) {
    for (const char* szOptions : arOptions) {
      SCOPED_TRACE(szOptions);
      CConfigParam config;
      Configure(config, szOptions);
      if (bSea) config.altitudeMap.Init(1080, 2160);
      for (int i = 0; i < 5; ++i) {
        m_prod.SurfaceType.Write()[i] = 42;
        const bool bKept = szKept[i] == '1';
        EXPECT_EQ(CReader::MatchFilterOverview(&config, &m_prod, i), bKept) << i;
        const bool bLooked = bKept || (bSea && i != 1);  // at the surface, behind all the others
        EXPECT_EQ(m_prod.SurfaceType[i], !bLooked ? 42 : bSea ? 0 : -1) << i;
      }
    }
  }
}

TEST_F(FilterTest, L1CFiltersByArchive) {
  const auto kept = [this](const CConfigParam& config, int64_t nVersion) {
    m_prod.DayVersion = nVersion;
    return CL1Reader::MatchL1Filter(&config, &m_prod, 0);
  };
  const struct {
    bool bFull, bDayOne, bDayOneStat;
    std::vector<const char*> arOptions;
  } arCases[] = {
      {true, true, true, {"", "-mca 100", "-lca 0", "-qlt yny"}},
      {true,
       true,
       false,
       {"-mca 40", "-lca 40", "-mca 99", "-lca 1", "-lf 50-50", "-sf 0-5", "-avg 0.5-1", "-var 0.25-1"}},
      {false, true, false, {"-mca 39", "-lca 41", "-lf 50.1-100", "-sf 0-4", "-avg 0-0.49", "-var 0.26-1"}},
      {false, true, true, {"-qlt nyn"}}};
  for (const auto& one : arCases) {
    for (const char* szOptions : one.arOptions) {
      SCOPED_TRACE(szOptions);
      CConfigParam config;
      Configure(config, szOptions);
      EXPECT_EQ(kept(config, 1), one.bDayOne);
      EXPECT_TRUE(kept(config, 0));
      config.nFormat = CConfigParam::FORMAT_TXTSTAT;
      EXPECT_EQ(kept(config, 2), one.bFull);
      EXPECT_EQ(kept(config, 1), one.bDayOneStat);
    }
  }
  CConfigParam config;
  config.arbQuality[2] = true;
  m_prod.GqisQualFlag[0].Write()[0] = -1;  // the only flag of a day 1 archive
  EXPECT_FALSE(kept(config, 1));
  EXPECT_TRUE(kept(config, 2));
}

std::string KeptPixels(const CProd& prod) {
  std::string sz;
  for (int i = 0; i < prod.PixelCount; ++i) sz += prod.KeepPixel[i] ? '1' : '0';
  return sz;
}

TEST_F(FilterTest, SkippingAndLimitsCountAcrossStages) {
  // Pixels 1 and 2 fail the common filters, pixels 0 and 4 those of L1C.
  const struct {
    int nSkip, nMaxResults;
    const char *szCommon, *szL1C;
    int64_t nSkipped, nSelected;
  } arStages[] = {
      {0, -1, "1001111111", "0001011111", 0, 6}, {3, -1, "0000011111", "0000011111", 3, 5},
      {0, 0, "0000000000", "0000000000", 0, 0},  {0, 2, "1001000000", "0001000000", 0, 1},
      {1, 2, "0001100000", "0001000000", 1, 1},  {100, -1, "0000000000", "0000000000", 8, 0},
  };
  for (const auto& stage : arStages) {
    SCOPED_TRACE(&stage - arStages);
    CConfigParam config;
    config.nSkip = stage.nSkip;
    config.nMaxResults = stage.nMaxResults;
    config.nMaxCloudAmount = 50;
    m_prod.DayVersion = 2;
    m_prod.Latitude.Write()[1] = m_prod.Latitude.Write()[2] = -777;
    m_prod.CloudFraction.Write()[0] = m_prod.CloudFraction.Write()[4] = 60;
    CL1Reader reader;
    EXPECT_EQ(reader.SelectPixelsToKeep(&config, &m_prod), CountOf(stage.szCommon, "1") > 0);
    EXPECT_EQ(KeptPixels(m_prod), stage.szCommon);
    EXPECT_EQ(reader.SelectPixelsL1Filter(&config, &m_prod), CountOf(stage.szL1C, "1") > 0);
    EXPECT_EQ(KeptPixels(m_prod), stage.szL1C);
    EXPECT_EQ(reader.PixelsRead, 10);
    EXPECT_EQ(reader.PixelsSkipped, stage.nSkipped);
    EXPECT_EQ(reader.PixelsSelected, stage.nSelected);
  }
}

TEST_F(FilterTest, OneColumnThatVariesKeepsAMessage) {
  const auto check = [this](auto& column, auto dropped, auto kept, const char* szOption) {
    CConfigParam config;
    Configure(config, szOption);
    CL1Reader reader;
    column.SetAll(dropped);
    EXPECT_FALSE(reader.SelectPixelsToKeep(&config, &m_prod) || m_prod.KeepPixel[0]) << szOption;
    column.Write()[PIXELS - 1] = kept;
    EXPECT_TRUE(reader.SelectPixelsToKeep(&config, &m_prod)) << szOption;
    EXPECT_EQ(KeptPixels(m_prod) + std::to_string(reader.PixelsRead), "000000000120") << szOption;
    column.SetAll(kept);
  };
  check(m_prod.Latitude, 50, 51, "-mila 51");
  check(m_prod.Longitude, 10, 9, "-malo 9");
  check(m_prod.OrbitNumber, 100, 101, "-on 101");
  check(m_prod.ScanLineNumber, 20, 21, "-sln 21");
  check(m_prod.FieldOfViewNumber, 7, 8, "-fov 8");
  check(m_prod.SatelliteZenithAngle, -12.5, 0.5, "-va 0-60");
  check(m_prod.SolarZenithAngle, 91, 89, "-tp day");
  check(m_prod.Hour, 12, 13, "-tr 13h30m45s");
  check(m_prod.Minute, 30, 31, "-tr 13h31m45s");
  check(m_prod.Milliseconds, 45999, 46000, "-tr 13h31m46s");
}

/// A message that the readers tell apart by its last descriptor; its data are all zeros.
std::string Message(const CBUFRDescriptor& last, int nSubsets, int nData) {
  CBUFREncoder encoder(nSubsets);
  encoder.Descriptor(0, 1, 7);
  encoder.Descriptor(last.nF, last.nX, last.nY);
  for (int i = 0; i < nData; ++i) encoder.Bits(0, 8);
  return encoder.Message();
}

template <class TReader, class TRecord>
void WalkKind(const char* szKind, const CBUFRDescriptor& last, const char* szTail, int nUpdate) {
  const bool bOzo = std::string(szKind) == "ozo";
  CTempDir dir;
  const std::string szFile = dir.Write(
      "f", Message(last, 2, 0) + Message({0, 1, 1}, 2, 0) + (bOzo ? "" : Message({0, 1, 1}, 2, 400)) +
               Message(last, 0, 40) + Message(last, 2, 3) + Message(last, 2, 8000));
  CStrArray files;
  files.AddString(dir.Path("nowhere").c_str(), false);
  files.AddString(szFile.c_str(), false);
  CConfigParam config;
  TRecord prod;
  TReader reader;
  uint64_t nFlags = 0;
  const auto read = [&] {
    const CReportCapture said;
    const int nResult = reader.Read(&config, &files, &prod, &nFlags);
    return std::to_string(nResult) + said.Text();
  };
  const std::string szWrong = std::string("\nError: data are not ") + szKind;
  EXPECT_EQ(read(), "1ERROR: Unable to open file " + dir.Path("nowhere") + "!\n" + szFile + "\n" +
                        ".\nProbleme taille message BUFR.\nProbleme taille message BUFR" + szWrong +
                        (bOzo ? "" : "." + szWrong) + ".\nMessage BUFR sans sous-ensemble de donnees");
  EXPECT_EQ(prod.PixelCount, 0);
  EXPECT_TRUE(read().ends_with(std::string("\nProbleme interpretation BUFR dans premier niveau de donnees") +
                               szTail));
  EXPECT_EQ(prod.PixelCount, 1);
  EXPECT_EQ(prod.Latitude[0], -777.0);
  EXPECT_EQ(prod.KeepPixel[0], 0);
  EXPECT_EQ(CountOf(read(), "non conforme"), nUpdate);
  EXPECT_EQ(KeptPixels(prod), "11");
  EXPECT_EQ(reader.PixelsRead, 2);
  EXPECT_EQ(read(), "0");
  EXPECT_EQ(prod.PixelCount, 1);
  EXPECT_EQ(prod.OrbitNumber[0], -1);
}

TEST(ReaderTest, L2MessagesOfOtherKindsArePassedOver) {
  WalkKind<CL2ReaderClp, CProdL2clp>("clp", {0, 20, 56}, "", 0);
  WalkKind<CL2ReaderEms, CProdL2ems>("ems", {0, 14, 50}, "", 1);
  WalkKind<CL2ReaderOzo, CProdL2ozo>("ozo", {0, 15, 20}, "", 1);
  WalkKind<CL2ReaderTrg, CProdL2trg>("trg", {0, 40, 202}, "", 0);
  WalkKind<CL2ReaderTwt, CProdL2twt>("twt", {2, 2, 0}, " ok ", 2);
}

}  // namespace
