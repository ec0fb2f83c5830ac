#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "TestArchive.h"

namespace {

namespace fs = std::filesystem;

/// The records of a file behind its header, as they are on disk.
std::string Records(const std::string& szFile) {
  int nHeader = 0;
  if (szFile.size() > 4) std::memcpy(&nHeader, szFile.data(), 4);
  return szFile.size() < static_cast<size_t>(nHeader) + 8 ? "no header" : szFile.substr(nHeader + 8);
}

TOptions Options(EKind eKind) {
  if (eKind == EKind::L1C) return {"-c", "1-60,8461", "-avhrr", "1"};
  return {"-t2", KindName(eKind)};
}

/// The records that a file gives alone.
std::string Alone(EKind eKind, const std::string& szFile, const TOptions& arOptions) {
  CTestTree tree;
  tree.Add(eKind, szFile);
  ExpectGood(tree.Run(arOptions));
  return Records(tree.Output());
}
std::string Alone(EKind eKind, const std::string& szFile) { return Alone(eKind, szFile, Options(eKind)); }

/// A sound message of 65535 pixels, all like the one given, or in wide elements nearly so.
std::string Crowd(EKind eKind, const SSamplePixel& pixel, bool bNearly = false) {
  constexpr int PIXELS = 65535, WIDE = 16;
  CBUFREncoder encoder = EmptyEncoder(eKind, {pixel}, -1, PIXELS);
  for (const SFieldValues& values : TestMessage(eKind, {pixel}).arFields) {
    if (!bNearly || values.field.nWidth < WIDE || values.IsMissing(0)) {
      encoder.Constant(values.field.nWidth, values.arRaw[0]);
      continue;
    }
    std::vector<int64_t> arRaw(PIXELS, values.arRaw[0]);
    arRaw[0] ^= 1;
    encoder.Values(values.field.nWidth, arRaw);
  }
  return encoder.Message();
}

/// The number of the first element with a descriptor.
size_t IndexOf(const STestMessage& message, int nFXY) {
  const auto found = std::ranges::find(message.arFields, nFXY, [](const auto& f) { return f.field.nFXY; });
  return static_cast<size_t>(found - message.arFields.begin());
}

/// The elements of a message as they were, up to the one with the number nEnd.
void Copy(CBUFREncoder& encoder, const STestMessage& message, size_t nBegin, size_t nEnd) {
  for (size_t i = nBegin; i < std::min(nEnd, message.arFields.size()); ++i)
    encoder.Values(message.arFields[i].field.nWidth, message.arFields[i].arRaw);
}

}  // namespace

// Three good messages: A before the bad bytes, B behind them in the same file, C in the next file. A and C
// always come out whole, B wherever the damage does not claim its bytes.
TEST(BadInput, GoodMessagesAroundBadOnesComeOut) {
  struct SCase {
    std::string szName, szBytes;
    bool bKeepsB = true;
    std::string szSays = "";
    int nRecords = 0;  // of the bad message itself
  };
  for (const EKind eKind : {EKind::L1C, EKind::TWT}) {
    const bool bL1C = eKind == EKind::L1C;
    const auto arPixels = TestPixels(5);
    const STestMessage whole = TestMessage(eKind, {arPixels[3], arPixels[4]});
    const std::string szA = TestMessage(eKind, {arPixels[0], arPixels[2]}).szBytes,
                      szB = TestMessage(eKind, {arPixels[1]}).szBytes,
                      szC = TestMessage(eKind, {arPixels[2]}).szBytes;
    const std::string szFirst =
        std::string("\nProbleme interpretation BUFR dans premier niveau de donnees") + (bL1C ? "" : " ok ");
    std::vector<SCase> arCases = {{"garbage", "\r\r\nZCZC BUF UFR BUFBU"},
                                  {"the end of a message", whole.szBytes.substr(whole.szBytes.size() / 2)}};
    const auto forced = [&](const char* szName, int CBUFREncoder::*pField, int nValue, bool bKeepsB,
                            int nRecords = -1) {
      CBUFREncoder encoder = TestEncoder(eKind, {arPixels[3], arPixels[4]});
      if (pField == &CBUFREncoder::nForceSection2Length) encoder.header.arSection2 = {1, 2, 3};
      encoder.*pField = nValue;
      arCases.push_back({szName, encoder.Message(), bKeepsB, "", nRecords});
    };
    for (const int n : {0, 1, 16777215}) {
      forced("total length", &CBUFREncoder::nForceTotalLength, n, true, 2);
      // what is read as section 4 after such a slip may claim the rest of the file
      forced("section 1", &CBUFREncoder::nForceSection1Length, n, n > 1, n > 1 ? 2 : -1);
      forced("section 2", &CBUFREncoder::nForceSection2Length, n, false);
      forced("section 3", &CBUFREncoder::nForceSection3Length, n, false);
      forced("section 4", &CBUFREncoder::nForceSection4Length, n, n < 2, n < 2 ? 0 : 2);
    }
    forced("no subsets", &CBUFREncoder::nForceSubsets, 0, true, 0);
    arCases.back().szSays = "\nMessage BUFR sans sous-ensemble de donnees";
    forced("too many subsets", &CBUFREncoder::nForceSubsets, 65535, true, 0);
    arCases.back().szSays = szFirst;
    CBUFREncoder wrongEnd = TestEncoder(eKind, {arPixels[3], arPixels[4]});
    wrongEnd.szEndMarker = "7778";
    arCases.push_back({"wrong end", wrongEnd.Message(), true, "", 2});
    const char* szEmpty = bL1C ? "\nMessage BUFR de taille nulle" : "\nProbleme taille message BUFR";
    for (const int nBits : {0, 8, 300}) {
      CBUFREncoder encoder = EmptyEncoder(eKind, {arPixels[3], arPixels[4]});
      for (int i = 0; i < nBits; i += 10) encoder.Bits(0, std::min(10, nBits - i));
      arCases.push_back({"short data", encoder.Message(), true, nBits == 0 ? szEmpty : szFirst});
    }
    for (const size_t nField : {size_t{0}, size_t{12}, bL1C ? size_t{60} : size_t{20}}) {
      CBUFREncoder encoder = EmptyEncoder(eKind, {arPixels[3], arPixels[4]});
      Copy(encoder, whole, 0, nField);
      encoder.Element(whole.arFields[nField].field.nWidth, 1, 63, {1, 2});
      Copy(encoder, whole, nField + 1, 1 << 20);
      arCases.push_back({"increments of 63 bits", encoder.Message(), true,
                         "Data width too high for missing value control"});
    }
    // One half of the second level of an L1C message, in the layout whose imager data the first level leaves
    // alone: a channel that there is not, increments that are too wide.
    for (const auto& [nFXY, szLost] : {std::pair(5042, "spectres"), {25085, "donnees avhrr"}}) {
      if (!bL1C) break;
      const STestMessage dayOne = TestMessage(eKind, {arPixels[3], arPixels[4]}, 1);
      const size_t nField = IndexOf(dayOne, nFXY);
      CBUFREncoder encoder = EmptyEncoder(eKind, {arPixels[3], arPixels[4]}, 1);
      Copy(encoder, dayOne, 0, nField);
      if (nFXY == 5042)
        encoder.Constant(14, 0);
      else
        encoder.Element(7, 1, 63, {1, 2});
      Copy(encoder, dayOne, nField + 1, 1 << 20);
      arCases.push_back({szLost, encoder.Message(), true,
                         std::string("\nProbleme interpretation BUFR dans ") + szLost, -1});
    }
    const std::string szRecordsA = Alone(eKind, szA), szRecordsB = Alone(eKind, szB),
                      szRecordsC = Alone(eKind, szC), szWhole = Alone(eKind, whole.szBytes);
    for (const SCase& c : arCases) {
      SCOPED_TRACE(std::string(KindName(eKind)) + ": " + c.szName);
      CTestTree tree;
      tree.Add(eKind, szA + c.szBytes + szB, "m");
      tree.Add(eKind, szC, "z");
      const SRun run = tree.Run(Options(eKind));
      ExpectGood(run);
      EXPECT_NE(run.szOutput.find(c.szSays), std::string::npos) << c.szSays;
      const std::string szRecords = Records(tree.Output());
      const std::string szBehind = (c.bKeepsB ? szRecordsB : "") + szRecordsC;
      EXPECT_GE(szRecords.size(), szRecordsA.size() + szBehind.size());
      EXPECT_TRUE(szRecords.starts_with(szRecordsA) && szRecords.ends_with(szBehind));
      const std::string szOwn = c.nRecords == 2 ? szWhole : "";
      EXPECT_TRUE(c.nRecords < 0 || szRecords == szRecordsA + szOwn + szBehind);
    }
  }
}

// A sound message of 65535 pixels, all of whose elements are constant but for latitude and one channel.
TEST(BadInput, ManySubsetsInASoundMessage) {
  constexpr int PIXELS = 65535;
  const auto arPixels = TestPixels(1);
  const STestMessage one = TestMessage(EKind::L1C, arPixels);
  CBUFREncoder encoder = EmptyEncoder(EKind::L1C, arPixels, 2, PIXELS);
  std::vector<int64_t> arRamp(PIXELS);
  for (int i = 0; i < PIXELS; ++i) arRamp[i] = i;
  for (const SFieldValues& values : one.arFields) {
    const int nFXY = values.field.nFXY;
    const bool bRamp = nFXY == 5001 || (nFXY == 14046 && values.field.nOccurrence == 5);
    if (bRamp)
      encoder.Values(values.field.nWidth, arRamp);
    else
      encoder.Constant(values.field.nWidth, values.arRaw[0]);
  }
  CTestTree tree;
  tree.Add(EKind::L1C, encoder.Message());
  SRun run = tree.Run({"-c", "4-5"});
  ExpectGood(run);
  const std::string szRecords = Records(tree.Output());
  constexpr size_t RECORD = 4 + 101 + 4;
  ASSERT_EQ(szRecords.size(), PIXELS * RECORD);
  for (int i = 0; i < PIXELS; ++i) {
    float fLatitude, fRadiance;
    std::memcpy(&fLatitude, &szRecords[i * RECORD + 4 + 10], 4);
    std::memcpy(&fRadiance, &szRecords[i * RECORD + 4 + 97], 4);
    ASSERT_EQ(fLatitude, static_cast<float>((i - 9000000) / 1e5));
    ASSERT_EQ(fRadiance, static_cast<float>((i - 5000) / 1e7)) << i;
  }
  EXPECT_LT(run.nMegabytes, MEASURED ? 120 : 1 << 20);
  // Few pixels of all channels, all pixels of few: memory follows what is kept.
  run = tree.Run({"-c", "1-8461", "-mala", "-89.9998"});
  ExpectGood(run);
  EXPECT_EQ(Records(tree.Output()).size(), 20U * (4 + 93 + 4 * 8461 + 4));
  EXPECT_LT(run.nMegabytes, MEASURED ? 120 : 1 << 20);
}

// The header of a message is decoded for all of its pixels, which are some thirty reals and integers each:
// 16 megabytes. All else is there for the one pixel only.
TEST(BadInput, ManySubsetsOfWhichOneIsKept) {
  for (const EKind eKind : arKinds) {
    const auto arPixels = TestPixels(1);
    CTestTree tree;
    long arnMegabytes[2];
    std::string arszRecords[2];
    for (const bool bMany : {false, true}) {
      tree.Add(eKind, bMany ? Crowd(eKind, arPixels[0]) : TestMessage(eKind, arPixels).szBytes);
      const SRun run = tree.Run(Options(eKind) + TOptions{"-maxres", "1"});
      ExpectGood(run);
      arszRecords[bMany] = Records(tree.Output());
      arnMegabytes[bMany] = run.nMegabytes;
    }
    EXPECT_EQ(arszRecords[1], arszRecords[0]);
    EXPECT_LT(arnMegabytes[1] - arnMegabytes[0], MEASURED ? 18 : 1 << 20) << KindName(eKind);
  }
}

// A message that memory cannot hold is told and left, wherever memory ends: in its data, its header, or what
// is decoded of its kept pixels. What stands around it comes out, and it counts nowhere.
TEST(BadInput, MessagesLargerThanMemory) {
  if (!MEASURED) GTEST_SKIP() << "the instrumentation needs the address space";
  const auto arPixels = TestPixels(5);
  CBUFREncoder wide = TestEncoder(EKind::TRG, {arPixels[1], arPixels[2]});
  for (const char c : TestMessage(EKind::TRG, {arPixels[1]}).szBytes) wide.Bits(static_cast<uint8_t>(c), 8);
  for (int i = 0; i < 2'000'000; ++i) wide.Bits(0, 64);
  const struct {
    EKind eKind;
    std::string szLarge;
    int nPixels;
    std::vector<rlim_t> arnMegabytes;
  } arCases[] = {{EKind::TRG, wide.Message(), 2, {16}},
                 {EKind::L1C, Crowd(EKind::L1C, arPixels[1]), 65535, {18, 30, 60, 100, 150, 2048}},
                 {EKind::OZO, Crowd(EKind::OZO, arPixels[1], true), 65535, {18}},
                 {EKind::TWT, Crowd(EKind::TWT, arPixels[1], true), 65535, {18, 30, 60, 100, 150}}};
  for (const auto& c : arCases) {
    const EKind eKind = c.eKind;
    std::string szSound;
    CTestTree tree;
    const auto add = [&](const SSamplePixel& pixel, const std::string& szBehind, const char* szName) {
      const std::string szMessage = TestMessage(eKind, {pixel}).szBytes;
      szSound += szMessage;
      return tree.Add(eKind, szMessage + szBehind, szName);
    };
    const std::string szFirst =
        add(arPixels[0], c.szLarge + TestMessage(eKind, {arPixels[3]}).szBytes + c.szLarge, "a");
    szSound += TestMessage(eKind, {arPixels[3]}).szBytes;
    add(arPixels[4], "", "b");
    const TOptions arOptions = Options(eKind) + TOptions{"-c", "1-8461"};
    const std::string szRecords = Alone(eKind, szSound, arOptions);
    for (const rlim_t nMegabytes : c.arnMegabytes) {
      SCOPED_TRACE(std::string(KindName(eKind)) + " " + std::to_string(nMegabytes));
      const SRun run = tree.Run(arOptions, nMegabytes);
      const std::string szLoss = "vex: " + szFirst + ": not enough memory for a message of " +
                                 std::to_string(c.nPixels) + " pixels\n";
      EXPECT_EQ(run.szErrors, szLoss + szLoss);
      ExpectGood(run);
      ExpectSays(run, "memory", 0);
      ExpectSays(run, "\n3 " + std::string(eKind == EKind::L1C ? "L1C" : KindName(eKind)) +
                          " data selected out of 3\n");
      EXPECT_TRUE(Records(tree.Output()) == szRecords);
    }
  }
}

// Every bit of sections 0 to 3, and the message cut at every place: the run ends, and what stands before
// comes out.
TEST(BadInput, FlippedBitsAndCutMessages) {
  for (const EKind eKind : {EKind::TRG, EKind::CLP, EKind::L1C}) {
    const auto arPixels = TestPixels(3);
    const std::string szGood = TestMessage(eKind, {arPixels[0]}).szBytes,
                      szBad = TestMessage(eKind, {arPixels[1], arPixels[2]}).szBytes;
    const std::string szReference = Alone(eKind, szGood);
    const size_t nData = EmptyEncoder(eKind, {arPixels[1]}).Message().size() - 8;  // where section 4 begins
    CTestTree tree;
    int nFiles = 0;
    const auto add = [&](const std::string& szDamaged) {
      tree.Add(eKind, szGood + szDamaged, std::to_string(++nFiles));
    };
    for (size_t i = 0; i < nData; ++i)
      for (int nBit = 0; nBit < 8; ++nBit) {
        std::string szDamaged = szBad;
        szDamaged[i] = static_cast<char>(szDamaged[i] ^ 1 << nBit);
        add(szDamaged);
      }
    for (size_t i = 0; i < szBad.size(); i += eKind == EKind::L1C ? 509 : 1) add(szBad.substr(0, i));
    const SRun run = tree.Run(Options(eKind));
    ExpectGood(run);
    EXPECT_GE(CountOf(Records(tree.Output()), szReference), nFiles) << KindName(eKind);
    ExpectSays(run, "_bufr\n", nFiles);
  }
}

TEST(BadInput, StrangeFilesAreReportedOrPassedOver) {
  CTestTree tree;
  const std::string szGood = TestMessage(EKind::L1C, TestPixels(2)).szBytes;
  const TOptions arNames = {"a b c", "line\nfeed", "%n%s%n", "\xff\xfe\x80", "-d", std::string(200, 'x')};
  for (const std::string& szName : arNames) tree.Add(EKind::L1C, szGood, szName);
  tree.Add(EKind::L1C, "", "empty");
  const std::string szFolder = tree.Path(std::string("L1C/") + CTestTree::DAY + "/");
  fs::create_directory(szFolder + "dir.bin");
  fs::create_symlink("nowhere", szFolder + "dang\nling.bin");
  ASSERT_EQ(mkfifo((szFolder + "fifo.bin").c_str(), 0600), 0);
  tree.Add(EKind::L1C, "", "closed");
  chmod((szFolder + "closed.l1_bufr").c_str(), 0);
  const bool bMayReadAll = geteuid() == 0;
  const SRun run = tree.Run({"-c", "1"});
  ExpectGood(run);
  EXPECT_EQ(run.szErrors, (bMayReadAll ? "" : "vex: " + szFolder + "closed.l1_bufr: Permission denied\n") +
                              "vex: " + szFolder +
                              "dang?ling.bin: No such file or directory\nvex: " + szFolder +
                              "dir.bin: Is a directory\nvex: " + szFolder + "fifo.bin: not a regular file\n");
  EXPECT_EQ(CRecordFile(tree.Output()).arRecords.size(), 2 * arNames.size());
  ExpectSays(run, "\n11 L1C data files selected\n");
  for (const std::string& szName : arNames) ExpectSays(run, szFolder + szName + ".l1_bufr\nday2.");
  for (const char* szName : {"dir.bin", "empty.l1_bufr"}) ExpectSays(run, szFolder + szName + "\n");
  for (const char* szName : {"dang\nling.bin", "fifo.bin", "closed.l1_bufr"}) {
    if (std::strcmp(szName, "closed.l1_bufr") == 0 && bMayReadAll) continue;
    ExpectSays(run, "ERROR: Unable to open file " + szFolder + szName + "!\n");
  }
}
