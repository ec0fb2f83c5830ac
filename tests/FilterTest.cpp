// The filters on pixels, and the walk of the readers through files and messages.

#include <gtest/gtest.h>

#include <functional>

#include "DecoderSupport.h"
#include "TestSupport.h"
#include "reader/L1Reader.h"
#include "reader/L2ReaderClp.h"
#include "reader/L2ReaderEms.h"
#include "reader/L2ReaderOzo.h"
#include "reader/L2ReaderTrg.h"
#include "reader/L2ReaderTwt.h"

namespace {

/// A pixel that every filter below is tried on: 12:30:45.999, 50 N 10 E, orbit 100, line 20, field of view 7.
void FillPixels(CProd& prod, int nPixels) {
  for (int i = 0; i < nPixels; ++i) {
    prod.Latitude.Write()[i] = 50;
    prod.Longitude.Write()[i] = 10;
    prod.OrbitNumber.Write()[i] = 100;
    prod.ScanLineNumber.Write()[i] = 20;
    prod.FieldOfViewNumber.Write()[i] = 7;
    prod.SatelliteZenithAngle.Write()[i] = -12.5;
    prod.SolarZenithAngle.Write()[i] = 90.0;
    prod.Hour.Write()[i] = 12;
    prod.Minute.Write()[i] = 30;
    prod.Milliseconds.Write()[i] = 45999;
    prod.SurfaceType.Write()[i] = 42;
    prod.KeepPixel.Write()[i] = 9;
  }
}

CTimeRange* Time(int h1, int m1, int s1, int h2, int m2, int s2) {
  auto* p = new CTimeRange;
  p->nStartHour = h1, p->nStartMinute = m1, p->nStartSecond = s1;
  p->nEndHour = h2, p->nEndMinute = m2, p->nEndSecond = s2;
  return p;
}

/// A grid of sea everywhere, and the wish for one surface.
void Sea(CConfigParam& config, int nSurface) {
  config.altitudeMap.Init(1080, 2160);
  config.nSurface = nSurface;
}

SRealFilter Between(float fMin, float fMax) { return {true, fMin, fMax}; }

struct SCase {
  const char* szName;
  bool bKept;
  std::function<void(CConfigParam&)> configure;
  std::function<void(CProdL1C&)> change = [](CProdL1C&) {};
};

class FilterTest : public testing::Test {
 protected:
  FilterTest() {
    m_prod.InitFirstL1(10, 1);
    FillPixels(m_prod, 10);
    for (int i = 0; i < 10; ++i) {
      m_prod.CloudFraction.Write()[i] = 40;
      m_prod.LandFraction.Write()[i] = 50;
      m_prod.SnowFraction.Write()[i] = 5;
      m_prod.AverageIIS.Write()[i] = 0.5;
      m_prod.VarianceIIS.Write()[i] = 0.25;
      for (int j = 0; j < 3; ++j) m_prod.GqisQualFlag[j].Write()[i] = j == 1;
    }
  }
  CProdL1C m_prod;
};

TEST_F(FilterTest, CommonFiltersPixelByPixel) {
  using C = CConfigParam;
  const SCase arCases[] = {
      {"none", true, [](C&) {}},
      {"latitude at the bounds", true, [](C& c) { c.fMinLatitude = c.fMaxLatitude = 50; }},
      {"latitude above", false, [](C& c) { c.fMaxLatitude = 49.99F; }},
      {"latitude below", false, [](C& c) { c.fMinLatitude = 50.01F; }},
      {"latitudes the wrong way round", false, [](C& c) { c.fMinLatitude = 60, c.fMaxLatitude = 40; }},
      {"missing latitude", false, [](C&) {}, [](CProdL1C& p) { p.Latitude.Write()[0] = -777; }},
      {"bound in single precision", false, [](C& c) { c.fMaxLatitude = 50.1F; },
       [](CProdL1C& p) { p.Latitude.Write()[0] = 50.1 + 1e-5; }},
      {"longitude at the bounds", true, [](C& c) { c.fMinLongitude = c.fMaxLongitude = 10; }},
      {"longitude outside", false, [](C& c) { c.fMinLongitude = 11; }},
      {"longitudes the wrong way round filter nothing", true,
       [](C& c) { c.fMinLongitude = 170, c.fMaxLongitude = -170; }},
      {"orbit in the second range", true,
       [](C& c) { c.arOrbits.Add(new CValueRange(1, 99)), c.arOrbits.Add(new CValueRange(100, 100)); }},
      {"orbit in none", false, [](C& c) { c.arOrbits.Add(new CValueRange(101, 99)); }},
      {"scan line in none", false, [](C& c) { c.arScanLines.Add(new CValueRange(21, 30)); }},
      {"scan line", true, [](C& c) { c.arScanLines.Add(new CValueRange(20, 30)); }},
      {"field of view in none", false, [](C& c) { c.arFieldsOfView.Add(new CValueRange(0, 6)); }},
      {"viewing angle", true, [](C& c) { c.viewingAngle = Between(-12.5F, 0); }},
      {"viewing angle outside", false, [](C& c) { c.viewingAngle = Between(0, 60); }},
      {"90 degrees is day", true, [](C& c) { c.nPeriod = C::PERIOD_DAY; }},
      {"90 degrees is night", true, [](C& c) { c.nPeriod = C::PERIOD_NIGHT; }},
      {"no day", false, [](C& c) { c.nPeriod = C::PERIOD_DAY; },
       [](CProdL1C& p) { p.SolarZenithAngle.Write()[0] = 90.01; }},
      {"no night", false, [](C& c) { c.nPeriod = C::PERIOD_NIGHT; },
       [](CProdL1C& p) { p.SolarZenithAngle.Write()[0] = 89.99; }},
      {"time to the whole second", true, [](C& c) { c.arTimePeriods.Add(Time(12, 30, 45, 12, 30, 45)); }},
      {"time one second early", false, [](C& c) { c.arTimePeriods.Add(Time(12, 30, 46, 23, 0, 0)); }},
      {"time one minute late", false, [](C& c) { c.arTimePeriods.Add(Time(0, 0, 0, 12, 29, 59)); }},
      {"hours before minutes", true, [](C& c) { c.arTimePeriods.Add(Time(11, 59, 59, 13, 0, 0)); }},
      {"across midnight nothing", false, [](C& c) { c.arTimePeriods.Add(Time(12, 0, 0, 2, 0, 0)); }},
      {"unknown surface passes for sea", true, [](C& c) { c.nSurface = C::SURFACE_SEA; }},
      {"unknown surface passes for land", true, [](C& c) { c.nSurface = C::SURFACE_LAND; }},
      {"sea is sea", true, [](C& c) { Sea(c, C::SURFACE_SEA); }},
      {"sea is no land", false, [](C& c) { Sea(c, C::SURFACE_LAND); }},
  };
  for (const SCase& one : arCases) {
    SCOPED_TRACE(one.szName);
    CConfigParam config;
    FillPixels(m_prod, 1);
    one.configure(config);
    one.change(m_prod);
    EXPECT_EQ(CReader::MatchFilterOverview(&config, &m_prod, 0), one.bKept);
    const bool bLooked = one.bKept || config.altitudeMap.Rows() > 0;  // at the surface, behind all the others
    EXPECT_EQ(m_prod.SurfaceType[0], !bLooked ? 42 : config.altitudeMap.Rows() > 0 ? 0 : -1);
  }
}

TEST_F(FilterTest, L1CFiltersByArchive) {
  struct SL1Case {
    const char* szName;
    bool bFull, bDayOne, bDayOneStat;
    std::function<void(CConfigParam&)> configure;
  };
  using C = CConfigParam;
  const SL1Case arCases[] = {
      {"none", true, true, true, [](C&) {}},
      {"cloud limit of 100 is none", true, true, true, [](C& c) { c.nMaxCloudAmount = 100; }},
      {"cloud at the limit", true, true, false, [](C& c) { c.nMaxCloudAmount = 40; }},
      {"cloud above", false, true, false, [](C& c) { c.nMaxCloudAmount = 39; }},
      {"cloud at the least", true, true, false, [](C& c) { c.nMinCloudAmount = 40; }},
      {"cloud below", false, true, false, [](C& c) { c.nMinCloudAmount = 41; }},
      {"a least of 0 is none", true, true, true, [](C& c) { c.nMinCloudAmount = 0; }},
      {"land", true, true, false, [](C& c) { c.landFraction = Between(50, 50); }},
      {"land outside", false, true, false, [](C& c) { c.landFraction = Between(50.1F, 100); }},
      {"snow", true, true, false, [](C& c) { c.snowFraction = Between(0, 5); }},
      {"snow outside", false, true, false, [](C& c) { c.snowFraction = Between(0, 4); }},
      {"average", true, true, false, [](C& c) { c.averageIIS = Between(0.5F, 1); }},
      {"average outside", false, true, false, [](C& c) { c.averageIIS = Between(0, 0.49F); }},
      {"variance", true, true, false, [](C& c) { c.varianceIIS = Between(0.25F, 1); }},
      {"variance outside", false, true, false, [](C& c) { c.varianceIIS = Between(0.26F, 1); }},
      {"quality of good bands", true, true, true, [](C& c) { c.arbQuality[0] = c.arbQuality[2] = true; }},
      {"quality of the second band", false, true, true, [](C& c) { c.arbQuality[1] = true; }},
  };
  const auto kept = [this](const CConfigParam& config, int64_t nVersion) {
    m_prod.DayVersion = nVersion;
    return CL1Reader::MatchL1Filter(&config, &m_prod, 0);
  };
  for (const SL1Case& one : arCases) {
    SCOPED_TRACE(one.szName);
    CConfigParam config;
    one.configure(config);
    EXPECT_EQ(kept(config, 2), one.bFull);
    EXPECT_EQ(kept(config, 1), one.bDayOne);
    EXPECT_TRUE(kept(config, 0));
    config.nFormat = CConfigParam::FORMAT_TXTSTAT;
    EXPECT_EQ(kept(config, 2), one.bFull);
    EXPECT_EQ(kept(config, 1), one.bDayOneStat);
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
  struct SStage {
    int nSkip, nMaxResults;
    const char *szCommon, *szL1C;
    int64_t nSkipped, nSelected;
  };
  // Pixels 1 and 2 fail the common filters, pixels 0 and 4 those of L1C.
  const SStage arStages[] = {
      {0, -1, "1001111111", "0001011111", 0, 6}, {3, -1, "0000011111", "0000011111", 3, 5},
      {0, 0, "0000000000", "0000000000", 0, 0},  {0, 2, "1001000000", "0001000000", 0, 1},
      {1, 2, "0001100000", "0001000000", 1, 1},  {100, -1, "0000000000", "0000000000", 8, 0},
  };
  for (const SStage& stage : arStages) {
    SCOPED_TRACE(&stage - arStages);
    CConfigParam config;
    config.nSkip = stage.nSkip;
    config.nMaxResults = stage.nMaxResults;
    config.nMaxCloudAmount = 50;
    m_prod.DayVersion = 2;
    m_prod.Latitude.Write()[1] = m_prod.Latitude.Write()[2] = -777;
    m_prod.CloudFraction.Write()[0] = m_prod.CloudFraction.Write()[4] = 60;
    CL1Reader reader;
    EXPECT_EQ(reader.SelectPixelsToKeep(&config, &m_prod),
              std::string(stage.szCommon).find('1') != std::string::npos);
    EXPECT_EQ(KeptPixels(m_prod), stage.szCommon);
    EXPECT_EQ(reader.SelectPixelsL1Filter(&config, &m_prod),
              std::string(stage.szL1C).find('1') != std::string::npos);
    EXPECT_EQ(KeptPixels(m_prod), stage.szL1C);
    EXPECT_EQ(reader.PixelsRead, 10);
    EXPECT_EQ(reader.PixelsSkipped, stage.nSkipped);
    EXPECT_EQ(reader.PixelsSelected, stage.nSelected);
  }
  CProdL1C none;
  CConfigParam config;
  EXPECT_FALSE(CL1Reader().SelectPixelsToKeep(&config, &none));
}

/// A message that the readers tell apart by its descriptors; its data are all zeros.
std::string Message(std::initializer_list<int> arDescriptor, int nSubsets, int nData) {
  CBUFREncoder encoder(nSubsets);
  if (arDescriptor.size() == 3) {
    encoder.Descriptor(0, 1, 7);
    const int* p = arDescriptor.begin();
    encoder.Descriptor(p[0], p[1], p[2]);
  } else {
    encoder.Descriptor(3, 40, *arDescriptor.begin());
  }
  for (int i = 0; i < nData; ++i) encoder.Bits(0, 8);
  return encoder.Message();
}

template <class TReader, class TRecord>
void WalkKind(const char* szKind, std::initializer_list<int> arDescriptor, const char* szTail, int nUpdate) {
  const bool bOzo = std::string(szKind) == "ozo";
  CTempDir dir;
  const std::string szFile = dir.Write(
      "f", Message(arDescriptor, 2, 0) + Message({0, 1, 1}, 2, 0) + (bOzo ? "" : Message({0, 1, 1}, 2, 400)) +
               Message(arDescriptor, 0, 40) + Message(arDescriptor, 2, 3) + Message(arDescriptor, 2, 8000));
  CStrArray files;
  files.AddString(dir.Path("nowhere").c_str(), false);
  files.AddString(szFile.c_str(), false);
  CConfigParam config;
  TRecord prod;
  TReader reader;
  uint64_t nFlags = 0;
  const auto read = [&] {
    testing::internal::CaptureStdout();
    const int nResult = reader.Read(&config, &files, &prod, &nFlags);
    return std::to_string(nResult) + testing::internal::GetCapturedStdout();
  };
  const std::string szWrong = std::string("\nError: data are not ") + szKind;
  EXPECT_EQ(read(), "1ERROR: Unable to open file " + dir.Path("nowhere") + "!\n" + szFile + "\n" +
                        ".\nProbleme taille message BUFR.\nProbleme taille message BUFR" + szWrong +
                        (bOzo ? "" : "." + szWrong) + ".\nMessage BUFR sans sous-ensemble de donnees");
  EXPECT_EQ(prod.PixelCount, 0);
  const std::string szShort = read();
  EXPECT_TRUE(szShort.ends_with(std::string("\nProbleme interpretation BUFR dans premier niveau de donnees") +
                                szTail));
  EXPECT_EQ(prod.PixelCount, 1);
  EXPECT_EQ(prod.Latitude[0], -777.0);
  EXPECT_EQ(prod.KeepPixel[0], 0);
  const std::string szGood = read();
  EXPECT_EQ(CountOf(szGood, "non conforme"), nUpdate);
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
