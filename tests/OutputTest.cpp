#include <gtest/gtest.h>

#include <filesystem>

#include "TestArchive.h"
#include "app/ConfigParam.h"
#include "extract/Extractor.h"
#include "extract/Kind.h"
#include "output/BinarySink.h"
#include "output/TextSink.h"
#include "output/Writer.h"
#include "prod/ProdL1C.h"

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

TEST(Output, TextHeaderNamesEveryColumn) {
  CTestTree tree;
  tree.Run({"-c", "0-1,5-3,-1-4,8461", "-avhrr", "1", "-t2", "ems,twt,clp,trg,ozo", "-of", "txt"});
  std::string szExpected;
  for (const char* szBlock : {"common", "l1c", "", "avhrr", "l2", "ozo", "trg", "clp", "twt", "ems"}) {
    for (const std::string& szName : ColumnsOf(szBlock, EColumn::NAME))
      szExpected += (szExpected.empty() ? "" : "\t") + szName;
    if (!*szBlock) szExpected += "\t0\t1\t8461";
  }
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
  CConfigParam config;
  config.arChannels.Add(new CValueRange(5, 9));
  config.bAvhrr = true;
  std::fill_n(config.arbL2 + FIRST_L2, PRODUCTS - FIRST_L2, true);
  const CChannelSelection channels = config.Channels();
  SRecordView all;
  std::unique_ptr<CProd> arpProds[PRODUCTS];
  for (int i = 0; i < PRODUCTS; ++i) {
    arpProds[i] = KIND_TABLE[i].pMakeRecord();
    ASSERT_NO_FATAL_FAILURE(ReadMessage(arKinds[i], TestMessage(arKinds[i], TestPixels(3)).szBytes, config,
                                        channels, *arpProds[i]));
    all.arPixels[i] = {arpProds[i].get(), 2};
  }
  CBinarySink binary(config, channels);
  CTextSink text(config, channels);
  for (unsigned nTakesPart = 1; nTakesPart < 1U << PRODUCTS; ++nTakesPart) {
    // All pixels were kept; so they are where nobody says which.
    for (const auto& pProd : arpProds) pProd->InitFirstAll(3);
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
  // Spectra that were not decoded are missing: all of them, that of a new pixel, those of more channels.
  config.bAvhrr = false;
  const auto endsWithMissing = [&](const CProdL1C& prod, int nPixel, bool bText) {
    std::string szMissing;
    for (int64_t i = config.Channels().HeaderCount(); i > 0; --i)
      szMissing += bText ? "\t-777" : std::string("\0\x40\x42\xC4", 4);
    return Written<CWriter>([&](CWriter& writer) {
             bText ? writer.WriteOutputTextL1(&config, &prod, nPixel)
                   : writer.WriteOutputBinL1(&config, &prod, nPixel);
           })
        .ends_with(szMissing);
  };
  CProdL1C sized;
  sized.InitFirstL1(3, CChannelSelection::LIMIT);
  auto& decoded = static_cast<CProdL1C&>(*arpProds[PRODUCT_L1C]);
  decoded.InitFirstAll(4);
  for (const bool bText : {false, true})
    EXPECT_TRUE(endsWithMissing(sized, 2, bText) && endsWithMissing(decoded, 3, bText));
  config.arChannels.Add(new CValueRange(10, 10));
  for (const bool bText : {false, true}) EXPECT_TRUE(endsWithMissing(decoded, 0, bText));
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
