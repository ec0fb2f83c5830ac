#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>
#include <utility>

#include "TestArchive.h"
#include "sample/SpectrumModel.h"

namespace {

namespace fs = std::filesystem;

/// Compares a block of a record with what was sent for a pixel. szElements names an element (FXXYYY) for each
/// value of the block, '-' for those that are not compared; elements that repeat are counted. k and m behind
/// a number multiply and divide by 1000, and d takes 1 away.
void ExpectSent(const STestMessage& sent, size_t nPixel, const SRecord& record, const char* szBlock,
                const std::string& szElements) {
  const SBlockValues& block = record.blocks.at(szBlock);
  std::istringstream elements(szElements);
  std::string szElement;
  std::map<int, int> seen = {{5042, 8700}};  // the channel numbers of the spectrum come first
  for (size_t i = 0; elements >> szElement; ++i) {
    if (szElement == "-") continue;
    const int nFXY = std::stoi(szElement);
    const char cUnit = szElement.back();
    const bool bReal = block.szTypes.at(i) == 'r';
    double fSent = sent.Sent(nFXY, ++seen[nFXY], nPixel) * (cUnit == 'k' ? 1000 : 1) - (cUnit == 'd' ? 1 : 0);
    if (cUnit == 'm') fSent /= 1000;
    if (std::isnan(fSent)) fSent = nFXY == 7001 ? -0.777 : bReal ? -777 : -1;
    EXPECT_FLOAT_EQ(static_cast<float>(block.arValues[i]), static_cast<float>(fSent))
        << szBlock << i << ' ' << nPixel;
  }
}

std::string ElementsOf(const char* szBlock) {
  std::string szElements;
  for (const std::string& szElement : ColumnsOf(szBlock, EColumn::ELEMENT))
    if (szElement != "text") szElements += szElement + ' ';
  return szElements;
}

/// The L1C blocks of a record against what was sent. Returns how many radiances are missing.
int ExpectL1CSent(const STestMessage& sent, size_t nPixel, const SRecord& record, int nLayout) {
  ExpectSent(sent, nPixel, record, "avhrr", ElementsOf("avhrr"));
  ExpectSent(sent, nPixel, record, "l1c", nLayout == 1 ? "- - - 33060" : ElementsOf("l1c"));
  const auto& arL1C = record["l1c"];
  EXPECT_EQ(arL1C[0], nLayout);
  EXPECT_EQ(arL1C[11], -1);  // no grid
  if (nLayout == 1) {
    EXPECT_EQ(arL1C, (std::vector<double>{1, 1, 8461, arL1C[3], 0, 0, -1, 0, 0, -1, -1, -1}));
  }
  const auto* pBand = CSpectrumModel::BANDS_USED;
  int n = 0, nMissing = 0, nWrong = 0;
  for (const SFieldValues& values : sent.arFields) {
    if (values.field.nFXY != 14046 || ++n > CSpectrumModel::CHANNELS) continue;
    if (n > pBand->nLast) ++pBand;
    const bool bMissing = values.IsMissing(nPixel);
    const double fExpected = bMissing ? -777 : values.Value(nPixel) / std::pow(10.0, pBand->nExponent);
    nWrong += record["spectrum"][n - 1] != static_cast<float>(fExpected);
    nMissing += bMissing;
  }
  EXPECT_EQ(nWrong, 0) << "radiances of " << nPixel;
  return nMissing;
}

/// A block of a product that does not have the pixel.
void ExpectMissing(const SRecord& record, const std::string& szBlock) {
  const auto& [szTypes, arValues] = record.blocks.at(szBlock);
  for (size_t i = 0; i < arValues.size(); ++i) {
    const bool bChannel = szBlock == "l1c" && i > 0 && i < 10 && i % 3 != 0,
               bEmissivity = szBlock == "ems" && i > 0 && i % 2 == 0;
    EXPECT_EQ(arValues[i], bChannel ? 0 : szTypes[i] == 'r' && !bEmissivity ? -777 : -1) << szBlock << i;
  }
}

std::vector<int> FieldsOfView(const CRecordFile& file) {
  std::vector<int> arValues;
  for (const SRecord& record : file.arRecords) arValues.push_back(static_cast<int>(record["common"][12]));
  return arValues;
}

}  // namespace

// Every product alone, and all of them, of which one lacks the pixel here and there: what products share
// comes from the first one that has the pixel.
TEST(Extraction, RecordsHoldWhatTheMessagesHold) {
  const TOptions arL1C = {"-c", "1-8461", "-avhrr", "1"};
  std::vector<std::pair<std::vector<EKind>, TOptions>> arRuns = {
      {{std::begin(arKinds), std::end(arKinds)}, arL1C + TOptions{"-t2", "ozo,trg,clp,twt,ems", "-bi", "1"}}};
  for (const EKind eKind : arKinds)
    arRuns.push_back({{eKind}, eKind == EKind::L1C ? arL1C : TOptions{"-t2", KindName(eKind)}});
  for (const int nLayout : {1, 2}) {
    CTestTree tree;
    std::map<EKind, STestMessage> arSent;
    const auto gap = [](EKind eKind) { return 4 * static_cast<size_t>(eKind); };
    for (const EKind eKind : arKinds) {
      auto arPixels = TestPixels(30);
      arPixels.erase(arPixels.begin() + static_cast<int>(gap(eKind)));
      arSent[eKind] = TestMessage(eKind, arPixels, eKind == EKind::L1C ? nLayout : 0, {.bMissing = true});
      tree.Add(eKind, arSent[eKind].szBytes);
    }
    for (const auto& [arSelected, arOptions] : arRuns) {
      const CRecordFile file = tree.Records(arOptions);
      ASSERT_EQ(file.arRecords.size(), arSelected.size() == 1 ? 29U : 30U);
      int nMissing = 0;
      for (const SRecord& record : file.arRecords) {
        EXPECT_EQ(record.nBytes, file.nMarker);
        const auto nView = static_cast<size_t>(record["common"][12]);
        ASSERT_LT(nView, 30U);
        bool bCommon = false, bL2 = false;
        for (const EKind eKind : arSelected) {
          const bool bL1C = eKind == EKind::L1C;
          if (nView == gap(eKind)) {
            for (const auto& szBlock :
                 bL1C ? TOptions{"l1c", "spectrum", "avhrr"} : TOptions{KindName(eKind)})
              ExpectMissing(record, szBlock);
            continue;
          }
          const STestMessage& sent = arSent[eKind];
          const size_t nPixel = nView - (nView > gap(eKind));
          // In L2 seconds are whole, fields of view count from 1, and the height is a thousand times as much.
          std::string szCommon = ElementsOf("common");
          if (!bL1C) szCommon.replace(szCommon.find("5043"), 4, "5043d");
          if (bL1C) szCommon.replace(szCommon.find("7001"), 4, "7001m");
          if (!std::exchange(bCommon, true)) ExpectSent(sent, nPixel, record, "common", szCommon);
          if (!bL1C && !std::exchange(bL2, true)) ExpectSent(sent, nPixel, record, "l2", ElementsOf("l2"));
          if (bL1C)
            nMissing += ExpectL1CSent(sent, nPixel, record, nLayout);
          else
            ExpectSent(sent, nPixel, record, KindName(eKind), ElementsOf(KindName(eKind)));
        }
      }
      EXPECT_EQ(nMissing > 100, arSelected[0] == EKind::L1C);
    }
  }
}

TEST(Extraction, SaysExactlyThis) {
  CTestTree tree;
  const std::string szA = tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(3)).szBytes, "a") + "\n";
  const std::string szTrg = TestMessage(EKind::TRG, TestPixels(2)).szBytes;
  const std::string szT = tree.Add(EKind::TRG, szTrg + szTrg) + "\n";
  const std::string szFiles = " data files selected\n", szOut = " data selected out of ";
  const std::string szOneL1C = "1 L1C" + szFiles, szOneTrg = "1 trg" + szFiles;
  const struct {
    TOptions arOptions;
    std::string szExpected;
  } arCases[] = {
      {{"-c", "1"}, szOneL1C + szA + "day2.\n3 L1C" + szOut + "3\n"},
      {{"-c", "1", "-fov", "1"}, szOneL1C + szA + "day2.\n1 L1C" + szOut + "3\n"},
      {{"-c", "1", "-mf", "none"}, "No L1C data files found\n\n"},
      {{"-t2", "ems,trg,clp"},
       szOneTrg + "No clp" + szFiles + "No ems" + szFiles + szT + "..\n4 trg" + szOut + "4\n"},
      {{"-t2", "trg", "-mf2", "none"}, "No trg" + szFiles + "\n"},
      {{"-t2", "trg", "-ef2", "none", "-ef", "bufr"}, "No trg" + szFiles + "\n"},
      {{"-c", "1", "-maxres", "0", "-mf2", "none", "-ef2", "none"}, szOneL1C + "\n0 L1C" + szOut + "0\n"},
      {{"-t2", "trg", "-maxres", "0", "-mf", "none", "-ef", "none"}, szOneTrg + "\n0 trg" + szOut + "0\n"},
      {{"-t2", "ozo,twt"}, "No ozo" + szFiles + "No twt" + szFiles + "\n"},
      {{"-c", "1", "-t2", "trg", "-maxres", "0"},
       szOneL1C + szOneTrg + "\n0 L1C" + szOut + "0\n0 trg" + szOut + "0\n"},
  };
  for (const auto& c : arCases) {
    const SRun run = tree.Run(c.arOptions);
    EXPECT_EQ(run.szOutput.substr(run.szOutput.find("Prepare for")),
              "Prepare for reading...\n" + c.szExpected + "Extraction succeeded in 0s\n");
    ExpectSays(run, "ERROR: Unable to open file " + tree.Path("grid") +
                        "\nERROR: Unable to initialize altitude database!\nPrepare");
  }
}

TEST(Extraction, SortsPixelsIntoBoxes) {
  CTestTree tree;
  auto arPixels = TestPixels(6);
  const double arPlaces[6][2] = {{10, 10}, {10.5, 20}, {50, 10}, {11, 15}, {-89, 0}, {10, 20}};
  for (int i = 0; i < 6; ++i) {
    arPixels[i].fLatitude = arPlaces[i][0];
    arPixels[i].fLongitude = arPlaces[i][1];
  }
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, {arPixels[0], arPixels[1], arPixels[2], arPixels[3]}).szBytes +
                           TestMessage(EKind::L1C, {arPixels[4], arPixels[5]}).szBytes);
  const TOptions arBoxes = {"-box", "10-11,10-20,east", "-box", "9-12, 12-30, wide", "-box", "0-1,0-1,empty"};
  // Pixels 0, 1, 3, 5 lie in the first, 1, 3, 5 in the second; field of view 3 is filtered out but counted.
  const SRun run = tree.Run(TOptions{"-c", "1-2", "-fov", "0-2,4-9"} + arBoxes);
  EXPECT_FALSE(fs::exists(tree.Path("out")));
  const CRecordFile east(tree.Output("out.east.txt")), wide(tree.Output("out.wide.txt")),
      empty(tree.Output("out.empty.txt"));
  EXPECT_EQ(FieldsOfView(east), (std::vector<int>{0, 1, 5}));
  EXPECT_EQ(FieldsOfView(wide), (std::vector<int>{1, 5}));
  EXPECT_EQ(empty.szError + east.szError + wide.szError, "");
  EXPECT_TRUE(empty.arRecords.empty());
  EXPECT_EQ(empty.nSatellite, 4);
  ExpectSays(run,
             "5 L1C data selected out of 6\n\tIn box east: 4 L1C data selected\n\tIn box wide: 3 L1C data "
             "selected\n\tIn box empty: 0 L1C data selected\n");

  // Nothing selected at all: headers without a satellite.
  tree.Run(TOptions{"-c", "1-2", "-fov", "99"} + arBoxes);
  const CRecordFile file(tree.Output("out.wide.txt"));
  EXPECT_TRUE(file.szError.empty() && file.arRecords.empty());
  EXPECT_EQ(file.nSatellite, -1);

  // -maxres counts records, of which a pixel may make several.
  tree.Run(TOptions{"-c", "1", "-maxres", "3", "-of", "txt"} + arBoxes);
  EXPECT_EQ(ReadTextFile(tree.Output("out.east.txt")).size(), 1U + 2U);
  EXPECT_EQ(ReadTextFile(tree.Output("out.wide.txt")).size(), 1U + 1U);

  // Two boxes of one name are one file, which cannot be opened twice.
  const SRun twice = tree.Run({"-c", "1", "-box", "0-1,0-1,x", "-box", "2-3,0-1,y", "-box", "2-3,0-1,x"});
  ExpectSays(twice, "1 L1C data files selected\nERROR: ouverture fichier " + tree.Path("out.x.txt") +
                        "\nExtraction succeeded in 0s\n");
  EXPECT_EQ(tree.Output("out.y.txt"), "");
}

// Whatever the list of channels, each of its values is that of the whole spectrum.
TEST(Extraction, ChannelListsPickFromTheSpectrum) {
  CTestTree tree;
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(20), -1, {.bMissing = true}).szBytes);
  const std::vector<int> arChannels = {1, 901, 1801, 1802, 1803, 8461, 1804, 2, 2, 900};
  for (const std::string szTb : {"0", "1"}) {
    const CRecordFile whole = tree.Records({"-c", "1-8461", "-tb", szTb});
    const CRecordFile some = tree.Records({"-c", "1,901,1801-1803,8461,1804,2,2,900", "-tb", szTb});
    ASSERT_EQ(some.arRecords.size(), 20U);
    for (size_t i = 0; i < some.arRecords.size(); ++i)
      for (size_t j = 0; j < arChannels.size(); ++j)
        EXPECT_EQ(some.arRecords[i]["spectrum"][j], whole.arRecords[i]["spectrum"][arChannels[j] - 1])
            << szTb << " pixel " << i << " channel " << arChannels[j];
  }
  EXPECT_EQ(tree.Records({"-c", "8700"}).arRecords.size(), 20U);  // the last one of a message
}

namespace {
const std::string FRAME = std::string(60, '*') + "\n";

std::string WarningLine(const std::string& szText) {
  return "** " + szText + std::string(szText.size() < 55 ? 55 - szText.size() : 1, ' ') + "**\n";
}
}  // namespace

TEST(Extraction, ReportsMissingData) {
  constexpr int ALL = 0;  // but channel numbers and the counts of levels
  const TOptions arCommon = {
      "SatelliteIdentifier, GeneratingCenter, SatelliteInstruments or SatelliteClassification",
      "Year, Month, Day, Hour, Minute or Second",
      "Latitude",
      "Longitude",
      "SatelliteZenithAngle or Bearing",
      "SolarZenithAngle or SolarAzimuth",
      "FieldOfViewNumber, OrbitNumber or ScanLineNumber",
      "HeightOfStation"};
  struct SCase {
    EKind eKind;
    std::vector<int> arLacking;  // elements that the second pixel lacks
    TOptions arLines;
  };
  std::vector<SCase> arCases = {{EKind::L1C, {}, {}},
                                {EKind::L1C, {1007}, {arCommon[0]}},
                                {EKind::TRG, {4002}, {arCommon[1]}},
                                {EKind::L1C, {5001}, {arCommon[2]}},
                                {EKind::L1C, {6001, 40021}, {arCommon[3], "Cloudfraction"}},
                                {EKind::L1C, {5021}, {arCommon[4]}},
                                {EKind::EMS, {7025}, {arCommon[5]}},
                                {EKind::L1C, {5040}, {arCommon[6]}},
                                {EKind::TRG, {7001}, {arCommon[7]}},
                                {EKind::OZO, {15020}, {"ozo data"}},
                                {EKind::TRG, {40201}, {"trg data"}},
                                {EKind::CLP, {12101}, {"clp data"}},
                                {EKind::TWT, {12061}, {"twt data"}},
                                {EKind::EMS, {14050}, {"ems data"}}};
  for (const EKind eKind : arKinds)
    arCases.push_back(
        {eKind,
         {ALL},
         arCommon + (eKind == EKind::L1C
                         ? TOptions{"StartChannel, EndChannel, GqisFlagQual or GQisFlagQualDetailed",
                                    "Spectrum", "Avhrrdata", "Cloudfraction"}
                         : TOptions{"L2 data", std::string(KindName(eKind)) + " data"})});
  for (const auto& [eKind, arLacking, arLines] : arCases) {
    const auto arPixels = TestPixels(3);
    CBUFREncoder encoder = EmptyEncoder(eKind, arPixels);
    for (auto [field, arRaw] : TestMessage(eKind, arPixels).arFields) {
      const bool bAll = arLacking == std::vector{ALL} && field.nFXY != 31001 && field.nFXY != 5042;
      if (bAll) arRaw.assign(3, CBUFREncoder::MISSING);
      if (std::ranges::count(arLacking, field.nFXY) > 0) arRaw[1] = CBUFREncoder::MISSING;
      encoder.Values(field.nWidth, arRaw);
    }
    CTestTree tree;
    tree.Add(eKind, encoder.Message());
    std::string szLines;
    for (const std::string& szLine : arLines) szLines += WarningLine(szLine);
    if (!arLines.empty())
      szLines = FRAME + WarningLine("WARNING: missing data into the archive") + szLines + FRAME;
    const SRun run = tree.Run(
        {"-c", "1-8461", "-avhrr", "1", "-t2", "ozo,trg,clp,twt,ems", "-mila", "-999", "-milo", "-999"});
    ExpectSays(run, "out of 3\n" + szLines + "Extraction succeeded");
    EXPECT_EQ(CRecordFile(tree.Output()).arRecords.size(), 3U);
  }
  // Messages without kept pixels do not count, wherever they stand.
  CTestTree tree;
  auto arPixels = TestPixels(3);
  arPixels[0].fLongitude = arPixels[2].fLongitude = std::nan("");
  std::string szFile;
  for (const SSamplePixel& pixel : arPixels) szFile += TestMessage(EKind::L1C, {pixel}).szBytes;
  tree.Add(EKind::L1C, szFile);
  for (const int i : {0, 1, 2}) {
    const SRun run = tree.Run({"-c", "1", "-milo", "-999", "-fov", std::to_string(i)});
    ExpectSays(run, "1 L1C data selected out of 3\n");
    ExpectSays(run, "WARNING: missing data", i != 1);
  }
}

TEST(Extraction, WarnsOfFiltersThatADay1ArchiveCannotServe) {
  CTestTree tree;
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(3), 1).szBytes);
  const struct {
    TOptions arOptions, arFilters;
  } arCases[] = {
      {{}, {}},
      {{"-mca", "99"}, {"cloud amount"}},
      {{"-lca", "1"}, {"cloud amount"}},
      {{"-mca", "100", "-lca", "0"}, {}},
      {{"-sf", "1-2", "-lf", "1-2"}, {"land fraction", "snow fraction"}},
      {{"-avg", "1-2"}, {"average IIS", "variance IIS"}},
      {{"-var", "1-2"}, {}},
  };
  for (const auto& c : arCases) {
    std::string szExpected;
    for (const std::string& szFilter : c.arFilters)
      szExpected += FRAME + WarningLine("WARNING: filtering on " + szFilter + " requested") +
                    WarningLine("on a day 1 archive, all records are being returned") + FRAME;
    ExpectSays(tree.Run(TOptions{"-c", "1"} + c.arOptions),
               "day1.\n3 L1C data selected out of 3\n" + szExpected + "Extraction");
  }
}

TEST(Extraction, TellsWhenOutputCannotBeOpened) {
  CTestTree tree;
  tree.Add(EKind::L1C, TestMessage(EKind::L1C, TestPixels(2)).szBytes);
  for (const std::string& szPath : {tree.Path("no/such/folder/out"), tree.Path("L1C")})
    ExpectSays(tree.Run({"-c", "1", "-out", szPath}),
               "1 L1C data files selected\nERROR: ouverture fichier " + szPath + "\nExtraction succeeded");
}
