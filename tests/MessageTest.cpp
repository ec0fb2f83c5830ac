// Messages in files: cases by name. tests/differential has files of any damage.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TestSupport.h"
#include "bufr/BUFRReader.h"
#include "kernel/Reporter.h"
#include "sample/BUFREncoder.h"

namespace {

CBUFREncoder Small(int nData = 9) {
  CBUFREncoder encoder(3);
  encoder.Descriptor(0, 1, 7);
  encoder.Descriptor(0, 5, 1);
  for (int i = 0; i < nData; ++i) encoder.Bits(static_cast<uint64_t>(i + 'a'), 8);
  return encoder;
}

CBUFREncoder Single(int nY) {
  CBUFREncoder encoder(1);
  encoder.Descriptor(3, 40, nY);
  encoder.Bits(1, 8);
  return encoder;
}

class MessageTest : public testing::Test {
 protected:
  /// Opens a file of these bytes.
  void Open(const std::string& szBytes) { ASSERT_TRUE(m_reader.Open(m_dir.Write("file", szBytes).c_str())); }
  /// Reads on in it; what is printed is kept.
  bool Next() {
    const CReportCapture said;
    const bool bThere = m_reader.GoToNextMessage();
    if (bThere) m_nResult = m_reader.ReadMessageSections();
    m_szText = said.Text();
    return bThere;
  }

  CTempDir m_dir;
  CBUFRReader m_reader;
  int m_nResult = 0;
  std::string m_szText;
};

TEST_F(MessageTest, VersionsSwitchToTheSecond) {
  struct SInstant {
    int nYear, nMonth, nDay, nHour, nMinute, nSecond, nVersion;
  };
  constexpr SInstant INSTANTS[] = {
      {2013, 4, 20, 0, 0, 0, 0},       {2014, 9, 29, 23, 59, 59, 0}, {2014, 9, 30, 7, 22, 99, 0},
      {2014, 9, 30, 7, 23, 0, 3},      {2015, 9, 24, 11, 56, 54, 3}, {2015, 9, 24, 11, 56, 55, 4},
      {2016, 6, 2, 8, 14, 57, 4},      {2016, 6, 2, 8, 14, 58, 5},   {2017, 6, 20, 8, 38, 56, 5},
      {2017, 6, 20, 8, 38, 57, 6},     {2018, 3, 7, 13, 2, 51, 6},   {2018, 3, 7, 13, 2, 52, 7},
      {2019, 5, 13, 255, 255, 255, 7}, {2019, 5, 14, 7, 17, 57, 7},  {2019, 5, 14, 7, 17, 58, 8},
      {2019, 4, 255, 0, 0, 0, 8},      {65535, 12, 31, 0, 0, 0, 8},
  };
  for (const SInstant& t : INSTANTS) {
    CBUFREncoder encoder = Small();
    SMessageHeader& h = encoder.header;
    h.nYear = t.nYear, h.nMonth = t.nMonth, h.nDay = t.nDay;
    h.nHour = t.nHour, h.nMinute = t.nMinute, h.nSecond = t.nSecond;
    Open(encoder.Message());
    ASSERT_TRUE(Next());
    EXPECT_EQ(m_reader.nDataVersion, t.nVersion) << &t - INSTANTS;
    h.nSection1Length = 18;  // no date that could tell
    Open(encoder.Message());
    ASSERT_TRUE(Next());
    EXPECT_EQ(m_reader.nDataVersion, 0);
  }
}

TEST_F(MessageTest, ArchiveVersionIsSaidWhenItChanges) {
  const CBUFREncoder none(1);  // without descriptors: the version stays
  Open(Single(7).Message() + Single(7).Message() + none.Message() + Single(1).Message() +
       Single(2).Message() + Single(1).Message() + Small().Message() + Single(7).Message());
  const std::pair<int, const char*> arExpected[] = {{2, "day2."}, {2, "."},     {2, "."}, {1, "day1."},
                                                    {0, "."},     {1, "day1."}, {0, "."}, {2, "day2."}};
  for (const auto& [nVersion, szText] : arExpected) {
    ASSERT_TRUE(Next());
    EXPECT_EQ(m_reader.nDataVersion, nVersion);
    EXPECT_EQ(m_szText, szText);
  }
  EXPECT_FALSE(Next());
  Open(Single(7).Message());  // another file begins anew
  ASSERT_TRUE(Next());
  EXPECT_EQ(m_szText, "day2.");
}

TEST_F(MessageTest, TheBufferOnlyGrowsAndOnlyForBytesThatAreThere) {
  CBUFREncoder cut = Small(40);
  cut.nForceSection4Length = 16777215;
  const std::string szCut = cut.Message().substr(0, cut.Message().size() - 30);
  Open(Small(200).Message() + szCut);
  ASSERT_TRUE(Next());
  const uint8_t* pFirst = m_reader.pData.get();
  ASSERT_TRUE(Next());
  EXPECT_EQ(m_reader.pData.get(), pFirst);
  EXPECT_EQ(m_nResult, 0);
  EXPECT_EQ(m_reader.nDataSize, 14);
  EXPECT_EQ(m_reader.nDataCapacity, 200);
  EXPECT_FALSE(Next());
  Open(Small(201).Message());
  ASSERT_TRUE(Next());
  EXPECT_EQ(m_reader.nDataCapacity, 201);
}

TEST_F(MessageTest, WhatIsNoFileIsNotWaitedFor) {
  EXPECT_FALSE(m_reader.Open(nullptr));
  EXPECT_FALSE(m_reader.Open(m_dir.Path("nowhere").c_str()));
  ASSERT_EQ(mkfifo(m_dir.Path("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(m_reader.Open(m_dir.Path("fifo").c_str()));
  EXPECT_FALSE(m_reader.Open("/dev/zero"));
  EXPECT_FALSE(Next());
  EXPECT_TRUE(m_reader.Open(m_dir.Path().c_str()));
  EXPECT_FALSE(Next());
  Open("");
  EXPECT_FALSE(Next());
  if (geteuid() == 0) return;  // who may read everything
  chmod(m_dir.Write("closed", "BUFR").c_str(), 0);
  EXPECT_FALSE(m_reader.Open(m_dir.Path("closed").c_str()));
}

}  // namespace
