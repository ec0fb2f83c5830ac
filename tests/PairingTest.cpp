#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "TestArchive.h"

namespace {

// Streams and records as text. Streams: "L 1.5.0 1.5.1 | 1.6.0; T 1.5.1" is an L1C file with two messages, of
// pixels with the keys orbit.line.field of view, and a trace gas file with one. '-' is a missing part.
// Records: the key and the letters of the products that have a pixel in it; "empty" is a record without
// content.

constexpr std::string_view LETTERS = "LOTCWE";  // of the products in their order

SSamplePixel KeyPixel(const std::string& szKey) {
  static const SSamplePixel base = TestPixels(1)[0];
  SSamplePixel pixel = base;
  int* const arParts[] = {&pixel.nOrbit, &pixel.nScanLine, &pixel.nFieldOfView};
  std::istringstream parts(szKey);
  std::string szPart;
  for (int* pPart : arParts) {
    std::getline(parts, szPart, '.');
    *pPart = szPart == "-" ? -1 : std::stoi(szPart);
  }
  pixel.fLatitude = pixel.nFieldOfView;  // so that a box can tell pixels apart
  pixel.fLongitude = 10;
  pixel.nHash = SampleHash(9, std::hash<std::string>{}(szKey));
  return pixel;
}

void AddStreams(const CTestTree& tree, const std::string& szStreams) {
  std::istringstream streams(szStreams);
  std::string szStream, szMessage, szKey;
  while (std::getline(streams, szStream, ';')) {
    const size_t nLetter = szStream.find_first_not_of(' ');
    const auto eKind = static_cast<EKind>(LETTERS.find(szStream[nLetter]));
    std::istringstream messages(szStream.substr(nLetter + 1));
    std::string szFile;
    while (std::getline(messages, szMessage, '|')) {
      std::vector<SSamplePixel> arPixels;
      std::istringstream keys(szMessage);
      while (keys >> szKey) arPixels.push_back(KeyPixel(szKey));
      szFile += TestMessage(eKind, arPixels).szBytes;
    }
    tree.Add(eKind, szFile);
  }
}

bool TakesPart(const SRecord& record, EKind eKind) {
  if (eKind == EKind::L1C) return record.Has("l1c") && record["l1c"][0] != -1;
  return record.Has(KindName(eKind)) && record[KindName(eKind)][1] != -777;
}

std::string Describe(const CRecordFile& file) {
  std::string szAll = file.szError;
  for (const SRecord& record : file.arRecords) {
    szAll += szAll.empty() ? "" : " ";
    if (!record.Has("common")) {
      szAll += "empty";
      continue;
    }
    for (const int nPart : {13, 14, 12}) {
      const int n = static_cast<int>(record["common"][nPart]);
      szAll += n == -1 ? "-." : std::to_string(n) + ".";
    }
    szAll.back() = '=';
    bool bL2 = false;
    for (const EKind eKind : arKinds) {
      if (!TakesPart(record, eKind)) continue;
      szAll += LETTERS[static_cast<size_t>(eKind)];
      bL2 |= eKind != EKind::L1C;
    }
    // The common part of L2 is there when one of the kinds is.
    EXPECT_EQ(record["l2"][1] != -1, bL2);
  }
  return szAll;
}

}  // namespace

TEST(Pairing, JoinsPixelsOfEqualKeys) {
  const struct {
    const char *szStreams, *szRecords;
    int nWithoutKey = 0;  // records for which no stream offers a key
    TOptions arOptions = {};
  } arCases[] = {
      // gaps on either side
      {"L 1.5.0 1.5.1 1.5.3; T 1.5.1 1.5.2 1.5.3", "1.5.0=L 1.5.1=LT 1.5.2=T 1.5.3=LT"},
      // different first lines, one product ending early
      {"L 1.5.0 1.6.0; T 1.3.0 1.4.0 1.5.0", "1.3.0=T 1.4.0=T 1.5.0=LT 1.6.0=L"},
      {"L 1.5.0; T 1.5.0 1.5.1 | 2.1.0", "1.5.0=LT 1.5.1=T 2.1.0=T"},
      {"L 1.5.0 | 1.5.1 | 1.5.2 1.5.3; T 1.5.0 1.5.1 1.5.2 | 1.5.3", "1.5.0=LT 1.5.1=LT 1.5.2=LT 1.5.3=LT"},
      // orbit goes before line, line before field of view
      {"L 1.9.9 2.1.0; T 1.10.0 2.0.79 2.1.0", "1.9.9=L 1.10.0=T 2.0.79=T 2.1.0=LT"},
      // three and four streams, ties among some
      {"L 1.5.0 1.5.2; T 1.5.1 1.5.2; O 1.5.0 1.5.1 1.5.3", "1.5.0=LO 1.5.1=OT 1.5.2=LT 1.5.3=O"},
      {"L 1.5.1; T 1.5.0; O 1.5.0; E 1.5.0 1.5.1", "1.5.0=OTE 1.5.1=LE"},
      // repeated keys, and keys that step back
      {"L 1.5.0 1.5.0; T 1.5.0", "1.5.0=LT 1.5.0=L"},
      {"L 1.6.0 1.5.0; T 1.5.0 1.7.0", "1.5.0=T 1.6.0=L 1.5.0=L 1.7.0=T"},
      // pixels without a key never block what is behind them, however many, in whatever message
      {"L -.5.0 1.5.1; T 1.5.0 1.5.1", "1.5.0=T 1.5.1=LT"},
      {"L 1.-.0 1.5.1; T 1.5.0 1.5.1", "1.5.0=T 1.5.1=LT"},
      {"L 1.5.-| 1.5.1; T 1.5.0 1.5.1", "1.5.0=T 1.5.1=LT"},
      {"L 0.5.0 1.5.1; T 1.5.0 1.5.1", "1.5.0=T 1.5.1=LT"},
      {"L 1.5.0 1.5.1; T -.-.- 1.5.1; E 1.5.0 0.0.0 1.5.1", "1.5.0=LE 1.5.1=LTE"},
      {"L 1.5.0 1.5.1 1.5.2 1.5.3 1.5.4 1.5.5; O 1.5.- 1.5.- 1.5.- 1.5.0 1.5.1 1.5.2 1.5.3 1.5.4 1.5.5",
       "1.5.0=LO 1.5.1=LO 1.5.2=LO 1.5.3=LO 1.5.4=LO 1.5.5=LO"},
      {"L 1.5.0 1.5.1 1.5.2 1.5.3 | 1.6.0 1.6.1 1.6.2 1.6.3 | 1.7.0 1.7.1 1.7.2 1.7.3;"
       "O 1.5.- 1.5.- 1.5.- 1.5.0 1.5.1 1.5.2 1.5.3 | 1.6.- 1.6.- 1.6.- 1.6.0 1.6.1 1.6.2 1.6.3 |"
       " 1.7.- 1.7.- 1.7.- 1.7.0 1.7.1 1.7.2 1.7.3",
       "1.5.0=LO 1.5.1=LO 1.5.2=LO 1.5.3=LO 1.6.0=LO 1.6.1=LO 1.6.2=LO 1.6.3=LO 1.7.0=LO 1.7.1=LO 1.7.2=LO "
       "1.7.3=LO"},
      {"L 1.5.0 1.5.1 | 1.6.0; O 1.5.0 0.5.1 -.5.1 1.-.1 | -.5.1 | 1.5.1 0.0.0 1.6.0",
       "1.5.0=LO 1.5.1=LO 1.6.0=LO"},
      {"L -.5.0 1.5.1 1.5.- | 0.5.2 1.5.3; T -.5.0 -.5.1 1.5.3; E 1.5.1 1.5.3", "1.5.1=LE 1.5.3=LTE"},
      {"L 1.5.0 1.5.1; T -.1.1 -.1.2 -.1.3", "1.5.0=L 1.5.1=L"},
      // nobody has a key: an empty record, and all step on
      {"L -.5.0 1.5.1; T 0.5.0 1.5.1", "empty 1.5.1=LT", 1},
      {"L -.5.0 1.5.-; T 0.5.0 0.0.0 1.5.1", "empty empty 1.5.1=T", 2},
      {"L 1.5.0; T 1.5.0 -.5.1 | 0.5.2 1.5.3", "1.5.0=LT empty empty 1.5.3=T", 2},
      {"L 1000000.1.0; T 1000000.1.0 1.5.0", "empty 1.5.0=T", 1},  // more than keys are compared with
      {"L -.5.0 | 1.5.1 | 1.5.2; T -.5.0 | 1.5.5", "empty 1.5.1=L 1.5.5=T", 1, {"-maxres", "2"}},
      // a product alone needs no keys, also when others were asked for
      {"L -.5.0 0.5.1", "-.5.0=L 0.5.1=L"},
      {"T 1.-.0 0.5.1 1.5.-", "1.-.0=T 0.5.1=T 1.5.-=T"},
      // filters come before the pairing
      {"L 1.5.0 1.5.1 1.5.2; T 1.5.0 1.5.1 1.5.2", "1.5.1=LT", 0, {"-fov", "1"}},
      {"L 1.5.0 1.5.1 1.5.2; T 1.5.1 1.5.2", "1.5.0=L 1.5.1=LT", 0, {"-maxres", "2"}},
      {"L 1.5.0 1.5.1 1.5.2; T 1.5.1 1.5.2", "1.5.1=L 1.5.2=LT", 0, {"-skip", "1"}},
  };
  for (const auto& c : arCases) {
    SCOPED_TRACE(c.szStreams);
    CTestTree tree;
    AddStreams(tree, c.szStreams);
    const TOptions arOptions = TOptions{"-c", "1,1", "-t2", "ozo,trg,ems"} + c.arOptions;
    SRun run = tree.Run(arOptions);
    EXPECT_EQ(Describe(CRecordFile(tree.Output())), c.szRecords);
    const auto expectMessages = [&] {
      ExpectGood(run);
      ExpectSays(run, "pb calcul synchro\n", c.nWithoutKey);
      ExpectSays(run, "Probleme calcul synchronisation L1C-L2\n", c.nWithoutKey);
    };
    expectMessages();
    const int nEmpty = CountOf(c.szRecords, "empty");
    EXPECT_EQ(nEmpty, c.nWithoutKey);

    // In text an empty record is an empty line; with boxes only the messages are left of it.
    run = tree.Run(arOptions + TOptions{"-of", "txt"});
    expectMessages();
    const auto text = ReadTextFile(tree.Output());
    EXPECT_EQ(static_cast<int>(text.size()) - 1, CountOf(c.szRecords, "=") + nEmpty);
    EXPECT_EQ(std::count(text.begin(), text.end(), TOptions{""}), nEmpty);
    for (const TOptions& line : text) EXPECT_TRUE(line.size() == text[0].size() || line == TOptions{""});
    run = tree.Run(arOptions + TOptions{"-box", "-90-90,-180-180,all"});
    expectMessages();
    std::string szWithoutEmpty = c.szRecords;
    for (size_t n; (n = szWithoutEmpty.find("empty ")) != std::string::npos;) szWithoutEmpty.erase(n, 6);
    EXPECT_EQ(Describe(CRecordFile(tree.Output("out.all.txt"))), szWithoutEmpty);
  }
}

// A record goes to the boxes of the product that supplies its common part, and streams step on once.
TEST(Pairing, BoxesFollowTheSupplier) {
  CTestTree tree;
  AddStreams(tree, "L 1.5.0 1.5.1 1.5.2 1.5.7; T 0.5.0 0.5.1 0.5.7 0.5.3 1.5.1 1.5.2 1.5.3");
  const SRun run =
      tree.Run({"-c", "1", "-t2", "ozo,trg,ems", "-box", "0-1.5,0-20,low", "-box", "0.5-3,0-20,high"});
  EXPECT_EQ(Describe(CRecordFile(tree.Output("out.low.txt"))), "1.5.0=L 1.5.1=LT");
  EXPECT_EQ(Describe(CRecordFile(tree.Output("out.high.txt"))), "1.5.1=LT 1.5.2=LT 1.5.3=T");
  ExpectSays(
      run,
      "4 L1C data selected out of 4\n\tIn box low: 2 L1C data selected\n\tIn box high: 2 L1C data selected\n"
      "7 trg data selected out of 7\n\tIn box low: 3 trg data selected\n\tIn box high: 5 trg data "
      "selected\n");
}

TEST(Pairing, SatellitesThatDifferAreReportedOnce) {
  CTestTree tree;
  auto arPixels = TestPixels(2);
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, arPixels).szBytes);
  for (SSamplePixel& pixel : arPixels) pixel.nSatellite = 3;
  tree.Add(EKind::TRG, TestMessage(EKind::TRG, arPixels).szBytes + TestMessage(EKind::TRG, arPixels).szBytes);
  tree.Add(EKind::EMS, TestMessage(EKind::EMS, arPixels).szBytes);
  const SRun run = tree.Run({"-c", "1", "-t2", "ozo,trg,ems"});
  ExpectSays(run, "\nSatellite id different between products", 2);
  const CRecordFile file(tree.Output());
  EXPECT_EQ(file.nSatellite, 4);
  EXPECT_EQ(CountOf(Describe(file), "=LTE"), 2);
}

// Files of both trees make one stream, those of the dated one first.
TEST(Pairing, TwoL2TreesMakeOneStream) {
  CTestTree tree;
  AddStreams(tree, "L 1.5.0 1.5.1 1.5.2; T 1.5.1; E 1.5.2");
  for (const char* szKey : {"1.5.2", "1.5.0"})
    tree.Write(std::string("indep/trg/") + szKey + ".bin",
               TestMessage(EKind::TRG, {KeyPixel(szKey)}).szBytes);
  const SRun run = tree.Run({"-c", "1", "-t2", "trg,ems,ozo", "-myd2", tree.Path("indep")});
  ExpectSays(
      run,
      "1 L1C data files selected\nNo ozo data files selected\n1 trg data files selected\n1 ems data files "
      "selected\nNo ozo data files selected\n3 trg data files selected\n1 ems data files selected\n");
  EXPECT_EQ(Describe(CRecordFile(tree.Output())), "1.5.0=L 1.5.1=LT 1.5.0=T 1.5.2=LTE");
  for (const char* szOption : {"-mf2", "-ef2"})
    ExpectSays(tree.Run({"-t2", "trg", "-myd2", tree.Path("indep"), szOption, "2.bin"}),
               "No trg data files selected\n1 trg data files selected\n");
}
