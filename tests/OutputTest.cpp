#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "TestArchive.h"
#include "extract/Extractor.h"
#include "output/StreamWriter.h"

namespace {

namespace fs = std::filesystem;

std::string Hex(const std::string& szBytes) {
  std::string szHex;
  for (const unsigned char c : szBytes) {
    char szByte[3];
    std::snprintf(szByte, sizeof szByte, "%02x", c);
    szHex += szByte;
  }
  return szHex;
}

/// What a function writes through a writer of its own.
template <class TWrite>
std::string Written(bool bBigEndian, TWrite write) {
  CTempDir dir;
  CWriter writer;
  EXPECT_TRUE(writer.Open(dir.Path("f").c_str(), bBigEndian));
  write(writer);
  EXPECT_TRUE(writer.Close());
  return ReadWholeFile(dir.Path("f"));
}

}  // namespace

TEST(StreamWriter, BuffersUpToItsLastByteButOne) {
  CTempDir dir;
  const std::string szPath = dir.Path("f"), szBlock(5000, 'x');
  CStreamWriter writer;
  EXPECT_EQ(writer.WriteBinInt4(1), 0);  // closed
  ASSERT_TRUE(writer.Open(szPath.c_str(), false));
  EXPECT_EQ(writer.Write(3999, szBlock.data()), 3999);
  EXPECT_EQ(writer.Write(1, "a"), 3999 + 1);  // 4000 does not fit: what was there goes out, and counts
  EXPECT_EQ(writer.Write(3998, szBlock.data()), 3998);
  EXPECT_EQ(writer.Write(4000, szBlock.data()), 3999 + 4000);  // as large as the buffer: goes past it
  EXPECT_EQ(writer.Write(5000, szBlock.data()), 5000);
  EXPECT_EQ(writer.Write(0, ""), 0);
  EXPECT_EQ(writer.WriteBinInt1(7), 1);
  EXPECT_EQ(writer.WriteBinInt2(7), 2);
  EXPECT_TRUE(writer.Close());
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(writer.Write(1, "a"), 0);
  EXPECT_EQ(fs::file_size(szPath), 3999U + 1 + 3998 + 4000 + 5000 + 3);

  ASSERT_TRUE(writer.Open(szPath.c_str(), true));
  writer.WriteText("first");
  ASSERT_TRUE(writer.Open(dir.Path("g").c_str(), true));  // closes the file before
  EXPECT_EQ(ReadWholeFile(szPath), "first");
}

// The low bits of what a record holds, at the places that readers rely on.
TEST(Writer, PutsTheCommonBlockAtItsOffsets) {
  CProd prod;
  prod.InitFirstAll(2);
  prod.FillWithMissingValues();
  const auto write = [&](bool bBig) {
    return Written(bBig, [&](CWriter& w) {
      bool bWritten = false;
      w.WriteOutputBinAll(&prod, 0, &bWritten);
      EXPECT_TRUE(bWritten);
      w.WriteOutputBinAll(&prod, 0, &bWritten);  // only the first offer is written
    });
  };
  EXPECT_EQ(
      Hex(write(false)),
      "ffffffffffffffffffff004042c4004042c4004042c4004042c4004042c4004042c4ffffffffffffffffffffffff79e946bf");
  prod.Year.Write()[0] = 65536 + 0x0102;
  prod.Month.Write()[0] = 256 + 3;
  prod.Minute.Write()[0] = 0x0506;
  prod.Milliseconds.Write()[0] = (int64_t{1} << 32) + 0x0708090A;
  prod.Latitude.Write()[0] = 45.5;
  prod.HeightOfStation.Write()[0] = 817123.4;
  EXPECT_EQ(
      Hex(write(true)),
      "010203ffff060708090a42360000c4424000c4424000c4424000c4424000c4424000ffffffffffffffffffffffff444c47e6");
}

// Up to 2014-09-30 07:22:59.999 ozone has 4 layers and temperature 90 levels, then 101 of both.
TEST(Writer, ChangesTheNumberOfLevelsAtItsInstant) {
  const struct {
    int arTime[6];
    bool bMany;
  } arCases[] = {
      {{2013, 4, 20, 23, 59, 59999}, false}, {{2014, 9, 29, 23, 59, 59999}, false},
      {{2014, 9, 30, 7, 22, 59999}, false},  {{2014, 9, 30, 7, 23, 0}, true},
      {{2014, 10, 1, 0, 0, 0}, true},        {{-1, -1, -1, -1, -1, -1}, false},
  };
  CProdL2twt twt;
  CProdL2ozo ozo;
  twt.InitFirstL2twt(2);
  ozo.InitFirstL2ozo(2);
  for (const auto& c : arCases) {
    for (CProd* p : {static_cast<CProd*>(&twt), static_cast<CProd*>(&ozo)}) {
      IntColumn* const arColumns[] = {&p->Year, &p->Month, &p->Day, &p->Hour, &p->Minute, &p->Milliseconds};
      for (int i = 0; i < 6; ++i) arColumns[i]->Write()[1] = c.arTime[i];
    }
    const std::string szBytes =
        Written(false, [&](CWriter& w) { w.WriteOutputBinTwt(&twt, 1), w.WriteOutputBinOzo(&ozo, 1); });
    const std::string szText =
        Written(false, [&](CWriter& w) { w.WriteOutputTextTwt(&twt, 1), w.WriteOutputTextOzo(&ozo, 1); });
    EXPECT_EQ(szBytes.size(), c.bMany ? 1648U + 1216U : 1472U + 52U);
    EXPECT_EQ(CountOf(szText, "\t"), c.bMany ? 412 + 304 : 368 + 13);
  }
}

TEST(Writer, WritesTheMissingFormOfEveryBlock) {
  const std::string R = "004042c4", I = "ffffffff", Z = "00000000", M = "000080bf";  // -777, -1, 0, -1.0
  const struct {
    void (*pBin)(CWriter&);
    void (*pText)(CWriter&);
    std::string szHex, szText;
  } arCases[] = {
      {[](CWriter& w) { w.WriteOutputBinL2Missing(); }, [](CWriter& w) { w.WriteOutputTextL2Missing(); },
       Times(32, "ff"), Times(11, "\t-1")},
      {[](CWriter& w) { w.WriteOutputBinOzoMissing(); }, [](CWriter& w) { w.WriteOutputTextOzoMissing(); },
       I + Times(12, R), "\t-1" + Times(12, "\t-777")},
      {[](CWriter& w) { w.WriteOutputBinTrgMissing(); }, [](CWriter& w) { w.WriteOutputTextTrgMissing(); },
       I + Times(4, R), "\t-1" + Times(4, "\t-777")},
      {[](CWriter& w) { w.WriteOutputBinClpMissing(); }, [](CWriter& w) { w.WriteOutputTextClpMissing(); },
       I + Times(3, R + R + R + I), "\t-1" + Times(3, "\t-777\t-777\t-777\t-1")},
      {[](CWriter& w) { w.WriteOutputBinTwtMissing(); }, [](CWriter& w) { w.WriteOutputTextTwtMissing(); },
       I + R + I + R + I + I + I + Times(180, R) + I + Times(180, R),
       "\t-1\t-777\t-1\t-777\t-1\t-1\t-1" + Times(180, "\t-777") + "\t-1" + Times(180, "\t-777")},
      {[](CWriter& w) { w.WriteOutputBinEmsMissing(); }, [](CWriter& w) { w.WriteOutputTextEmsMissing(); },
       I + Times(12, R + M), "\t-1" + Times(24, "\t-777")},
  };
  for (const auto& c : arCases) {
    EXPECT_EQ(Hex(Written(false, c.pBin)), c.szHex);
    EXPECT_EQ(Written(false, c.pText), c.szText);
  }
  for (const bool bTemperatures : {false, true}) {
    CConfigParam config;
    for (const char* szRange : {"1-2", "8000-9000", "5-1"}) config.InterpretParam("c", szRange);
    config.bAvhrr = true;
    config.bBrightnessTemperature = bTemperatures;
    EXPECT_EQ(Hex(Written(false, [&](CWriter& w) { w.WriteOutputBinL1Missing(&config); })),
              "ffff" + Times(3, Z + Z + I) + I + "ff" + Times(1003, bTemperatures ? Z : R) + I + I +
                  Times(7, R + R + M + Times(6, I + R + R)));
    EXPECT_EQ(Written(false, [&](CWriter& w) { w.WriteOutputTextL1Missing(&config); }),
              Times(12, "\t-1") + Times(1003, bTemperatures ? "\t0" : "\t-777") + "\t-1\t-1" +
                  Times(7, "\t-777\t-777\t-1" + Times(6, "\t-1\t-777\t-777")));
  }
}

// Bytes and lengths of headers and records for what a run may select.
TEST(Output, HeadersAndLengthsFollowTheSelection) {
  CTestTree tree;
  const auto arPixels = TestPixels(3);
  for (const EKind eKind : arKinds) tree.Add(eKind, TestMessage(eKind, arPixels).szBytes);
  const struct {
    TOptions arOptions;
    std::vector<int> arChannels, arKinds;
    int nMarker, nBytes;
  } arCases[] = {
      {{"-c", "1-5"}, {1, 2, 3, 4, 5}, {}, 113, 113},
      {{"-t2", "trg"}, {}, {4}, 102, 102},
      {{"-c", "1-5", "-t2", "ozo"}, {1, 2, 3, 4, 5}, {3}, 197, 197},
      {{"-avhrr", "1"}, {}, {}, 689, 689},
      {{"-c", "7", "-avhrr", "1", "-bi", "1"}, {7}, {}, 693, 693},
      {{"-t2", "ems,twt,clp,trg,ozo"}, {}, {1, 2, 3, 4, 5}, 1778, 1778},
      {{"-c", "2-4,3,1-2"}, {2, 3, 4, 3, 1, 2}, {}, 117, 117},  // overlapping and repeated ranges
      {{"-c", "5-1"}, {}, {}, 93, 93},
      // Ranges that leave the archive's channels: counted whole, written as far as they begin inside.
      {{"-c", "0-5"}, {0, 1, 2, 3, 4, 5}, {}, 117, 93},
      {{"-c", "-3-2,4"}, {-3, -2, -1, 0, 1, 2, 4}, {}, 121, 97},
      {{"-c", "8699-8702"}, {8699, 8700, 8701, 8702}, {}, 109, 101},
      {{"-c", "9000"}, {9000}, {}, 97, 93},
  };
  for (const auto& c : arCases) {
    SCOPED_TRACE(c.arOptions[1]);
    const bool bL1C = c.nMarker != 102 && c.nMarker != 1778;
    const CRecordFile file =
        tree.Records(c.arOptions, static_cast<int>(c.arChannels.size()) - (c.nMarker - c.nBytes) / 4);
    EXPECT_EQ(file.arChannels, c.arChannels);
    EXPECT_EQ(file.arKinds, c.arKinds);
    EXPECT_EQ(file.bAvhrr, c.arOptions[0] == "-avhrr" || c.arOptions.size() > 4);
    EXPECT_EQ(file.bBigEndian, c.arOptions.back() == "1" && c.arOptions.size() == 6);
    EXPECT_EQ(file.nSatellite, 4);
    EXPECT_EQ(file.nMarker, c.nMarker);
    ASSERT_EQ(file.arRecords.size(), 3U);
    for (const SRecord& record : file.arRecords) {
      EXPECT_EQ(record.nBytes, c.nBytes);
      EXPECT_EQ(record.Has("l1c"), bL1C);
    }
  }
  tree.Run({"-c", "1-2", "-t2", "trg,clp", "-bi", "1", "-tb", "1"});
  EXPECT_EQ(Hex(tree.Output().substr(0, 45)), "0000002501000000050000000400" +
                                                  std::string("00005f0100000002000000010000000200") +
                                                  "0002000000010000000400000025");
}

// The text file says the same as the binary one, for every kind of record, and the header names its columns.
TEST(Output, TextAndBinaryAgree) {
  const struct {
    int nLayout, nDays, nExtraColumns;
    TOptions arOptions;
  } arCases[] = {
      {2, 0, 0, {"-c", "1-8461", "-avhrr", "1"}},
      {2, 0, 0, {"-c", "5,8000-9000,-1-3", "-tb", "1", "-t2", "ozo,trg,clp,twt,ems"}},
      {1, 0, 0, {"-c", "3341,3340", "-avhrr", "1", "-t2", "clp"}},
      {2, 600, 22 * 2 + 97 * 3, {"-c", "1", "-t2", "ozo,trg,clp,twt,ems"}},  // 101 levels and layers
  };
  for (const auto& c : arCases) {
    CTestTree tree;
    const auto arAll = TestPixels(6, 5000, c.nDays);
    for (const EKind eKind : arKinds) {
      // Every kind lacks another pixel, so that each block also comes in its missing form.
      auto arPixels = arAll;
      arPixels.erase(arPixels.begin() + static_cast<int>(eKind));
      tree.Add(eKind,
               TestMessage(eKind, arPixels, eKind == EKind::L1C ? c.nLayout : -1, WithMissing()).szBytes,
               "a");
    }
    const bool bTb = c.arOptions[2] == "-tb";
    const CRecordFile binary = tree.Records(c.arOptions, bTb ? 702 : -1);
    tree.Run(c.arOptions + TOptions{"-of", "txt"});
    const auto text = ReadTextFile(tree.Output());
    ASSERT_EQ(text.size(), binary.arRecords.size() + 1);
    ASSERT_GE(text.size(), 6U);
    for (size_t i = 1; i < text.size(); ++i)
      ASSERT_EQ(text[i], (TOptions{"4", bTb ? "1" : "0"} + TextColumns(binary.arRecords[i - 1]))) << i;
    // A record of all kinds has more columns than the header where there are 101 levels, and fewer where
    // channels were cut off.
    EXPECT_EQ(static_cast<int>(text.back().size() - text[0].size()), c.nExtraColumns - (bTb ? 300 : 0));
  }
}

TEST(Output, TextHeaderNamesEveryColumn) {
  CTestTree tree;
  tree.Run({"-c", "0-1,5-3,-1-4,8461", "-avhrr", "1", "-t2", "ems,twt,clp,trg,ozo", "-of", "txt"});
  std::string szExpected =
      "SatelliteIdentifier\tTb\tYear\tMonth\tDay\tHour\tMinute\tMilliseconds\tLatitude\tLongitude\t"
      "SatelliteZenithAngle\tBearing\tSolarZenithAngle\tSolarAzimuth\tFieldOfViewNumber\tOrbitNumber\t"
      "ScanLineNumber\tHeightOfStation\tDayVersion\tStartChannel1\tEndChannel1\tGqisQualFlag1\tStartChannel2"
      "\t"
      "EndChannel2\tGqisQualFlag2\tStartChannel3\tEndChannel3\tGqisQualFlag3\tCloudFraction\tSurfaceType\t"
      "0\t1\t8461\tAvhrrInstrument\tAvhrrChannelCombination";
  for (int i = 0; i < 7; ++i) {
    szExpected += "\tAvhrrYAP\tAvhrrZAP\tAvhrrCPF";
    for (int j = 0; j < 6; ++j) szExpected += "\tAvhrrChannel\tAvhrrMeanRadiance\tAvhrrStdDevRadiance";
  }
  szExpected +=
      "\tSuperadiabaticIndicator\tLandSeaQualifier\tDayNightQualifier\tSatelliteDataProcessingTechniqueUsed\t"
      "SunGlintIndicator\tCloudFormationAndHeightAssignment\tInstrumentDetectingClouds\t"
      "ValidationFlagForIasiLevel1\tQualityAndCompletenessOfRetrieval\tRetrievalChoiceIndicator\t"
      "SatelliteManoeuvreIndicator";
  const auto each = [&](int nTimes, const std::vector<const char*>& arNames) {
    for (int i = 1; i <= nTimes; ++i)
      for (std::string szName : arNames)
        szExpected += "\t" + szName.replace(szName.find('#'), 1, std::to_string(i));
  };
  szExpected += "\tSelectionOfBackgroundState";
  each(4, {"Pressure#1", "Pressure#2", "IntegratedO3Density#"});
  szExpected +=
      "\tSelectionOfBackgroundState\tIntegratedN2ODensity\tIntegratedCODensity\tIntegratedCH4Density\t"
      "IntegratedCO2Density\tVerticalSignificance";
  each(3, {"Pressure#", "Temperature/dry-bulbTemperature#", "CloudAmountInSegment#", "CloudPhase#"});
  szExpected +=
      "\tVerticalSignificance1\tPressure\tNumberOfObservations1\tSkinTemperature\tNumberOfObservations2\t"
      "VerticalSignificance2\tPTCount";
  each(90, {"Pressure#", "Temperature/dry-bulbTemperature#"});
  szExpected += "\tPMRCount";
  each(90, {"Pressure#", "MixingRatio#"});
  szExpected += "\tSelectionOfBackgroundState";
  each(12, {"Frequency#", "Emissivity#"});
  EXPECT_EQ(tree.Output(), szExpected + "\n");
}
