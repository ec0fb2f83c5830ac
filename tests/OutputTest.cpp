#include <gtest/gtest.h>

#include <filesystem>

#include "TestArchive.h"
#include "app/ConfigParam.h"
#include "extract/Extractor.h"
#include "extract/Kind.h"
#include "kernel/Reporter.h"
#include "output/BinarySink.h"
#include "output/TextSink.h"
#include "output/Writer.h"
#include "prod/ProdL1C.h"
#include "reader/Reader.h"

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
  EXPECT_EQ(std::filesystem::file_size(szPath), 3999U + 1 + 3998 + 4000 + 5000 + 3);

  ASSERT_TRUE(writer.Open(szPath.c_str(), true));
  writer.WriteText("first");
  ASSERT_TRUE(writer.Open(dir.Path("g").c_str(), true));  // closes the file before
  EXPECT_EQ(ReadWholeFile(szPath), "first");
}

// Up to 2014-09-30 07:22:59.999 ozone has 4 layers and temperature 90 levels, then 101 of both.
TEST(Output, TheNumberOfLevelsChangesAtItsInstant) {
  constexpr int TIMES[][6] = {{2013, 4, 20, 23, 59, 59999}, {2014, 9, 29, 23, 59, 59000},
                              {2014, 9, 30, 7, 22, 59000},  {2013, 99, 20, 7, 23, 0},
                              {2014, 9, 30, 7, 22, 60000},  {2014, 9, 30, 7, 23, 0},
                              {2014, 10, 1, 0, 0, 0}};
  constexpr size_t FIRST_OF_MANY = 4;
  CTestTree tree;
  auto arPixels = TestPixels(std::size(TIMES));
  for (size_t i = 0; i < arPixels.size(); ++i) {
    SSamplePixel& p = arPixels[i];
    int* const arParts[] = {&p.nYear, &p.nMonth, &p.nDay, &p.nHour, &p.nMinute, &p.nMilliseconds};
    for (int j = 0; j < 6; ++j) *arParts[j] = TIMES[i][j];
  }
  for (const EKind eKind : {EKind::OZO, EKind::TWT}) tree.Add(eKind, TestMessage(eKind, arPixels).szBytes);
  const CRecordFile file = tree.Records({"-t2", "ozo,twt"});
  tree.Run({"-t2", "ozo,twt", "-of", "txt"});
  const auto text = ReadTextFile(tree.Output());
  ASSERT_EQ(file.arRecords.size(), std::size(TIMES));
  ASSERT_EQ(text.size(), 1 + std::size(TIMES));
  for (size_t i = 0; i < std::size(TIMES); ++i) {
    const bool bMany = i >= FIRST_OF_MANY;
    EXPECT_EQ(file.arRecords[i].nBytes, 50 + 32 + (bMany ? 1216 + 1648 : 52 + 1472)) << i;
    ASSERT_EQ(text[i + 1].size(), 18U + 11U + (bMany ? 304U + 412U : 13U + 368U)) << i;
    EXPECT_EQ(text[i + 1][1], "-1");  // no spectra, no temperatures
  }
}

// Headers and lengths of records for what a run may select. Markers and lengths are looked at by the reader
// of the file.
TEST(Output, HeadersAndLengthsFollowTheSelection) {
  CTestTree tree;
  const auto arPixels = TestPixels(3);
  for (const EKind eKind : arKinds) tree.Add(eKind, TestMessage(eKind, arPixels).szBytes);
  const struct {
    TOptions arOptions;
    std::vector<int> arChannels, arKinds;
    int nOutside = 0;  // channels that are counted and not written
  } arCases[] = {
      {{"-t2", "trg"}, {}, {4}},
      {{"-c", "1-5", "-t2", "ozo"}, {1, 2, 3, 4, 5}, {3}},
      {{"-avhrr", "1"}, {}, {}},
      {{"-c", "7", "-avhrr", "1", "-bi", "1"}, {7}, {}},
      {{"-t2", "ems,twt,clp,trg,ozo"}, {}, {1, 2, 3, 4, 5}},
      {{"-c", "2-4,3,1-2"}, {2, 3, 4, 3, 1, 2}, {}},  // overlapping and repeated ranges
      {{"-c", "5-1"}, {}, {}},
      // Ranges that leave the archive's channels are written as far as they begin inside.
      {{"-c", "0-5"}, {0, 1, 2, 3, 4, 5}, {}, 6},
      {{"-c", "-3-2,4"}, {-3, -2, -1, 0, 1, 2, 4}, {}, 6},
      {{"-c", "8699-8702,9000"}, {8699, 8700, 8701, 8702, 9000}, {}, 3},
  };
  for (const auto& c : arCases) {
    SCOPED_TRACE(c.arOptions[1]);
    const CRecordFile file = tree.Records(c.arOptions, static_cast<int>(c.arChannels.size()) - c.nOutside);
    EXPECT_EQ(file.arChannels, c.arChannels);
    EXPECT_EQ(file.arKinds, c.arKinds);
    EXPECT_EQ(file.bAvhrr, c.arOptions[0] == "-avhrr" || c.arOptions.size() > 4);
    EXPECT_EQ(file.bBigEndian, c.arOptions.size() > 4);
    EXPECT_EQ(file.nSatellite, 4);
    ASSERT_EQ(file.arRecords.size(), 3U);
    for (const SRecord& record : file.arRecords) EXPECT_EQ(record.Has("l1c"), c.arOptions[0] != "-t2");
  }
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
    EXPECT_EQ(binary.bTemperatures, bTb);
    EXPECT_EQ(binary.arRecords[0]["spectrum"][0] == 0, bTb);  // a pixel that L1C lacks
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
  const auto numbered = [](int nTimes, const std::string& szNames) {
    std::string szAll;
    for (int i = 1; i <= nTimes; ++i)
      for (const char c : szNames) szAll += c == '#' ? std::to_string(i) : std::string(1, c);
    return szAll;
  };
  const std::string szExpected =
      "SatelliteIdentifier\tTb\tYear\tMonth\tDay\tHour\tMinute\tMilliseconds\tLatitude\tLongitude\t"
      "SatelliteZenithAngle\tBearing\tSolarZenithAngle\tSolarAzimuth\tFieldOfViewNumber\tOrbitNumber\t"
      "ScanLineNumber\tHeightOfStation\tDayVersion" +
      numbered(3, "\tStartChannel#\tEndChannel#\tGqisQualFlag#") +
      "\tCloudFraction\tSurfaceType\t0\t1\t8461\tAvhrrInstrument\tAvhrrChannelCombination" +
      Times(7, "\tAvhrrYAP\tAvhrrZAP\tAvhrrCPF" +
                   Times(6, "\tAvhrrChannel\tAvhrrMeanRadiance\tAvhrrStdDevRadiance")) +
      "\tSuperadiabaticIndicator\tLandSeaQualifier\tDayNightQualifier\tSatelliteDataProcessingTechniqueUsed"
      "\tSunGlintIndicator\tCloudFormationAndHeightAssignment\tInstrumentDetectingClouds"
      "\tValidationFlagForIasiLevel1\tQualityAndCompletenessOfRetrieval\tRetrievalChoiceIndicator"
      "\tSatelliteManoeuvreIndicator\tSelectionOfBackgroundState" +
      numbered(4, "\tPressure#1\tPressure#2\tIntegratedO3Density#") +
      "\tSelectionOfBackgroundState\tIntegratedN2ODensity\tIntegratedCODensity\tIntegratedCH4Density"
      "\tIntegratedCO2Density\tVerticalSignificance" +
      numbered(3, "\tPressure#\tTemperature/dry-bulbTemperature#\tCloudAmountInSegment#\tCloudPhase#") +
      "\tVerticalSignificance1\tPressure\tNumberOfObservations1\tSkinTemperature\tNumberOfObservations2"
      "\tVerticalSignificance2\tPTCount" +
      numbered(90, "\tPressure#\tTemperature/dry-bulbTemperature#") + "\tPMRCount" +
      numbered(90, "\tPressure#\tMixingRatio#") + "\tSelectionOfBackgroundState" +
      numbered(12, "\tFrequency#\tEmissivity#");
  EXPECT_EQ(tree.Output(), szExpected + "\n");
}

namespace {

template <class TRecord>
void PutKind(CWriter& writer, const SPixelOf& pixel, void (CWriter::*pPut)(const TRecord*, int),
             void (CWriter::*pPutMissing)()) {
  if (pixel.pProd)
    (writer.*pPut)(static_cast<const TRecord*>(pixel.pProd), pixel.nPixel);
  else
    (writer.*pPutMissing)();
}

/// The content of a record by the operations for single blocks.
void PutByName(CWriter& w, const CConfigParam& config, const SRecordView& record, bool bText) {
  using W = CWriter;
  bool bCommon = false, bL2 = false;
  const auto& ar = record.arPixels;
  const auto* pL1C = static_cast<const CProdL1C*>(ar[PRODUCT_L1C].pProd);
  for (const auto& [pProd, nPixel] : ar)
    if (pProd)
      bText ? w.WriteOutputTextAll(&config, pProd, nPixel, &bCommon)
            : w.WriteOutputBinAll(pProd, nPixel, &bCommon);
  if (pL1C)
    bText ? w.WriteOutputTextL1(&config, pL1C, ar[PRODUCT_L1C].nPixel)
          : w.WriteOutputBinL1(&config, pL1C, ar[PRODUCT_L1C].nPixel);
  else
    bText ? w.WriteOutputTextL1Missing(&config) : w.WriteOutputBinL1Missing(&config);
  for (int i = FIRST_L2; i < PRODUCTS; ++i) {
    const auto* pL2 = static_cast<const CProdL2*>(ar[i].pProd);
    if (pL2)
      bText ? w.WriteOutputTextL2(pL2, ar[i].nPixel, &bL2) : w.WriteOutputBinL2(pL2, ar[i].nPixel, &bL2);
  }
  if (!bL2) bText ? w.WriteOutputTextL2Missing() : w.WriteOutputBinL2Missing();
  const auto kind = [&](EProduct eProduct, auto pText, auto pTextMissing, auto pBin, auto pBinMissing) {
    PutKind(w, ar[eProduct], bText ? pText : pBin, bText ? pTextMissing : pBinMissing);
  };
  kind(PRODUCT_OZO, &W::WriteOutputTextOzo, &W::WriteOutputTextOzoMissing, &W::WriteOutputBinOzo,
       &W::WriteOutputBinOzoMissing);
  kind(PRODUCT_TRG, &W::WriteOutputTextTrg, &W::WriteOutputTextTrgMissing, &W::WriteOutputBinTrg,
       &W::WriteOutputBinTrgMissing);
  kind(PRODUCT_CLP, &W::WriteOutputTextClp, &W::WriteOutputTextClpMissing, &W::WriteOutputBinClp,
       &W::WriteOutputBinClpMissing);
  kind(PRODUCT_TWT, &W::WriteOutputTextTwt, &W::WriteOutputTextTwtMissing, &W::WriteOutputBinTwt,
       &W::WriteOutputBinTwtMissing);
  kind(PRODUCT_EMS, &W::WriteOutputTextEms, &W::WriteOutputTextEmsMissing, &W::WriteOutputBinEms,
       &W::WriteOutputBinEmsMissing);
}

/// What put(stream) writes.
template <class TStream>
std::string Written(auto put) {
  const CTempDir dir;
  TStream stream;
  EXPECT_TRUE(stream.Open(dir.Path("f").c_str(), false));
  put(stream);
  stream.Close();
  return ReadWholeFile(dir.Path("f"));
}

}  // namespace

// What others call by name, block by block, writes what the sinks of a run write.
TEST(Output, OperationsByNameWriteTheSameBytes) {
  const CReportCapture said;
  constexpr EKind KINDS[PRODUCTS] = {EKind::L1C, EKind::OZO, EKind::TRG, EKind::CLP, EKind::TWT, EKind::EMS};
  const CTestTree tree;
  CConfigParam config;
  config.arChannels.Add(new CValueRange(5, 9));
  config.bAvhrr = true;
  std::fill_n(config.arbL2 + FIRST_L2, PRODUCTS - FIRST_L2, true);
  const CChannelSelection channels = config.Channels();
  SRecordView all;
  std::unique_ptr<CProd> arpProds[PRODUCTS];
  for (int i = 0; i < PRODUCTS; ++i) {
    CStrArray arFiles;
    arFiles.AddString(tree.Add(KINDS[i], TestMessage(KINDS[i], TestPixels(3)).szBytes).c_str(), false);
    arpProds[i] = KIND_TABLE[i].pMakeRecord();
    uint64_t nFlags = 0;
    bool bDayOne = false;
    ASSERT_EQ(KIND_TABLE[i].pMakeReader()->Read({&config, &arFiles, arpProds[i].get(),
                                                 CChannelSelection::LIMIT, &channels, &nFlags, &bDayOne}),
              1);
    all.arPixels[i] = {arpProds[i].get(), 2};
  }
  CBinarySink binary(config, channels);
  CTextSink text(config, channels);
  for (unsigned nTakesPart = 1; nTakesPart < 1U << PRODUCTS; ++nTakesPart) {
    SRecordView record;
    for (int i = 0; i < PRODUCTS; ++i)
      if (nTakesPart >> i & 1) record.arPixels[i] = all.arPixels[i];
    for (const bool bText : {false, true}) {
      CFileSink& sink = bText ? static_cast<CFileSink&>(text) : binary;
      std::string szWanted =
          Written<CStreamWriter>([&](CStreamWriter& stream) { sink.PutRecord(stream, record); });
      szWanted = bText ? szWanted.substr(0, szWanted.size() - 1) : szWanted.substr(4, szWanted.size() - 8);
      ASSERT_EQ(Written<CWriter>([&](CWriter& writer) { PutByName(writer, config, record, bText); }),
                szWanted)
          << nTakesPart;
    }
  }
}

// An extractor between records has none at hand: its record is empty.
TEST(Output, AnExtractorWritesHeadersAndRecordsByName) {
  CConfigParam config;
  config.arChannels.Add(new CValueRange(5, 9));
  const CChannelSelection channels = config.Channels();
  CExtractor extractor;
  const auto write = [&](int nFormat) {
    config.nFormat = nFormat;
    return Written<CWriter>([&](CWriter& writer) {
      EXPECT_TRUE(extractor.WriteOutputHeader(&writer, &config, 4));
      EXPECT_TRUE(extractor.WriteOutput(&writer, &config));
    });
  };
  const auto sink = [&](CFileSink&& made, const std::string& szRecord) {
    return Written<CStreamWriter>([&](CStreamWriter& stream) { made.PutHeader(stream, 4); }) + szRecord;
  };
  const std::string szMarker("\x71\0\0\0", 4);  // 50 + 43 + 5 * 4
  EXPECT_EQ(write(CConfigParam::FORMAT_BIN), sink(CBinarySink(config, channels), szMarker + szMarker));
  EXPECT_EQ(write(CConfigParam::FORMAT_TXT), sink(CTextSink(config, channels), "\n"));
  EXPECT_EQ(write(CConfigParam::FORMAT_TXTSTAT), "");
}
