// Messages in files: the reader against one that follows the rules over an array of bytes, and cases by name.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "TestSupport.h"
#include "bufr/BUFRReader.h"
#include "kernel/Reporter.h"
#include "sample/BUFREncoder.h"

namespace {

/// What one message left behind.
struct SMessage {
  int nResult = 0;
  int64_t nStart = 0, nPosition = 0;
  std::vector<int> arFields;  // in the order of the reader's declaration
  std::vector<int> arDescriptors;
  std::string szData;

  bool operator==(const SMessage&) const = default;
};

SMessage Taken(int nResult, const CBUFRReader& r) {
  SMessage message{nResult, r.Data().Origin().nOffset, r.stream.Position(), {}, {}, ""};
  const auto list = [](auto... fields) { return std::vector<int>{fields...}; };
  message.arFields =
      list(r.nTotalLength, r.nEdition, r.nSection1Length, r.nMasterTable, r.nCentre, r.nUpdateSequence,
           r.bOptionalSection, r.nDataCategory, r.nDataSubCategory, r.nMasterTableVersion,
           r.nLocalTableVersion, r.nYear, r.nMonth, r.nDay, r.nHour, r.nMinute, r.nSection2Length,
           r.nSection3Length, r.nSubsets, r.bObserved, r.bCompressed, r.nSection4Length, r.nDataSize);
  for (int i = 0; i < r.descriptors.Count(); ++i) {
    const CBUFRDescriptor d = r.descriptors[i];
    message.arDescriptors.push_back(d.nF << 14 | d.nX << 8 | d.nY);
  }
  if (r.nDataSize > 0) message.szData.assign(reinterpret_cast<const char*>(r.pData.get()), r.nDataSize);
  return message;
}

/// Messages of a file held in memory, octet by octet.
class CPlainReader {
 public:
  explicit CPlainReader(std::string szBytes) : m_szBytes(std::move(szBytes)) {}

  bool Next() {
    const size_t nFound = m_szBytes.find("BUFR", std::min(static_cast<size_t>(m_nAt), m_szBytes.size()));
    if (nFound == std::string::npos) return false;
    m_nAt = static_cast<int64_t>(nFound);
    return true;
  }

  SMessage Read() {
    m_nStart = m_nAt;
    m_nAt += 4;
    auto& f = m_arFields;
    f.assign(23, 0);
    f[0] = Int(3), f[1] = Int(1), f[2] = Int(3);
    const bool bLong = f[2] >= 22;
    f[3] = Int(1), f[4] = Int(2);
    if (bLong) Int(2);
    f[5] = Int(1), f[6] = Int(1) >= 128, f[7] = Int(1), f[8] = Int(1);
    if (bLong) Int(1);
    f[9] = Int(1), f[10] = Int(1), f[11] = Int(bLong ? 2 : 1);
    for (int i = 12; i < 16; ++i) f[i] = Int(1);
    if (bLong) Int(1);
    if (!bLong) Skip(f[2] - 17);
    if (f[6]) Skip((f[16] = Int(3)) - 3);
    f[17] = Int(3);
    Int(1);
    f[18] = Int(2);
    const int nFlags = Int(1);
    f[19] = (nFlags & 128) != 0, f[20] = (nFlags & 64) != 0;
    SMessage message;
    const int nDescriptors = (f[17] - 7) / 2;
    for (int i = 0; i < nDescriptors && m_nAt < Size(); ++i) {
      const bool bWhole = m_nAt + 2 <= Size();
      const int nDescriptor = Int(2);
      if (bWhole) message.arDescriptors.push_back(nDescriptor);
    }
    if (std::ssize(message.arDescriptors) >= nDescriptors) Skip(std::max(0, f[17] - 7 - 2 * nDescriptors));
    f[21] = Int(3);
    Int(1);
    const int64_t nThere = std::max<int64_t>(Size() - m_nAt, 0);
    f[22] = static_cast<int>(std::min<int64_t>(f[21] - 4, f[21] > 4 ? nThere : 0));
    if (f[22] > 0) message.szData = m_szBytes.substr(static_cast<size_t>(m_nAt), f[22]);
    m_nAt += std::max(0, f[22]);
    const bool bEnd = m_nAt <= Size() && m_szBytes.compare(static_cast<size_t>(m_nAt), 4, "7777") == 0;
    if (m_nAt < Size()) m_nAt = std::min(m_nAt + 4, Size());
    message.nResult = bEnd;
    message.nStart = m_nStart;
    message.nPosition = m_nAt;
    message.arFields = f;
    return message;
  }

 private:
  int64_t Size() const { return static_cast<int64_t>(m_szBytes.size()); }

  int Int(int nBytes) {
    int nValue = 0;
    for (; nBytes > 0; --nBytes)
      if (m_nAt < Size())
        nValue = nValue << 8 | static_cast<uint8_t>(m_szBytes[static_cast<size_t>(m_nAt++)]);
    return nValue;
  }
  void Skip(int n) { m_nAt = n < 0 ? std::max(m_nAt + n, m_nStart + 4) : m_nAt + n; }

  std::string m_szBytes;
  std::vector<int> m_arFields;
  int64_t m_nAt = 0, m_nStart = 0;
};

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
    if (bThere) m_message = Taken(m_reader.ReadMessageSections(), m_reader);
    m_szText = said.Text();
    return bThere;
  }

  CTempDir m_dir;
  CBUFRReader m_reader;
  SMessage m_message;
  std::string m_szText;
};

TEST_F(MessageTest, DamagedFilesAreReadAsTheRulesSay) {
  std::mt19937 random(11);
  const auto below = [&](size_t n) { return random() % n; };
  constexpr int LENGTHS[] = {0, 1, 3, 4, 5, 7, 8, 9, 16, 17, 18, 21, 22, 23, 40, 65535, 16777215};
  const auto length = [&] { return below(3) == 0 ? LENGTHS[below(std::size(LENGTHS))] : -1; };
  for (int nTrial = 0; nTrial < 3000; ++nTrial) {
    std::string szFile;
    for (size_t nMessage = 1 + below(4); nMessage > 0; --nMessage) {
      CBUFREncoder encoder =
          below(3) == 0 ? Single(static_cast<int>(below(9))) : Small(static_cast<int>(below(60)));
      encoder.header.nEdition = below(2) ? 3 : 4;
      encoder.header.nSection1Length = static_cast<int>(17 + below(8));
      encoder.header.nYear = 2013 + static_cast<int>(below(8));
      if (below(3) == 0) encoder.header.arSection2.assign(below(20), 'x');
      encoder.nForceSection1Length = length();
      encoder.nForceSection2Length = length();
      encoder.nForceSection3Length = length();
      encoder.nForceSection4Length = length();
      if (below(5) == 0) encoder.szEndMarker = "7770";
      std::string szMessage = encoder.Message();
      if (below(3) == 0) szMessage[below(szMessage.size())] ^= static_cast<char>(1 << below(8));
      if (below(3) == 0) szMessage.resize(below(szMessage.size() + 1));
      szFile += std::string("BUBUFBBUF\r\n").substr(0, below(12)) + szMessage;
    }
    Open(szFile);
    CPlainReader plain(szFile);
    while (plain.Next()) {
      ASSERT_TRUE(Next()) << nTrial;
      const SMessage expected = plain.Read();
      ASSERT_TRUE(m_message == expected) << "trial " << nTrial << ": result " << m_message.nResult << " at "
                                         << m_message.nPosition << " for " << expected.nPosition;
      ASSERT_EQ(m_szText.ends_with("."), expected.nResult == 1);
    }
    ASSERT_FALSE(Next()) << nTrial;
  }
}

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
  EXPECT_EQ(m_message.nResult, 0);
  EXPECT_EQ(m_message.szData, Small(40).Message().substr(szCut.size() - 14, 14));
  EXPECT_EQ(m_reader.nDataCapacity, 200);
  EXPECT_EQ(m_reader.Data().Origin().szPath, m_dir.Path("file"));
  EXPECT_FALSE(Next());
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
