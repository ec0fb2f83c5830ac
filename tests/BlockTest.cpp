// The blocks of a record against the decoders that fill it, and the text of blocks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "TestArchive.h"
#include "app/ConfigParam.h"
#include "extract/Kind.h"
#include "output/InputFiles.h"
#include "output/RunResult.h"
#include "output/TextSink.h"
#include "reader/Reader.h"

namespace {

constexpr double SPOILT = 1234567;  // no field of the samples has this value

static_assert(std::size(arKinds) == PRODUCTS, "a product has no samples");

void AskForAll(CConfigParam& config) {
  config.arChannels.Add(new CValueRange(1, 40));
  config.bAvhrr = true;
  for (int i = FIRST_L2; i < PRODUCTS; ++i) config.arbL2[i] = true;
}

/// A record of a kind.
struct SKindRecord {
  explicit SKindRecord(EKind eOf) : eKind(eOf), pProd(KIND_TABLE[static_cast<int>(eOf)].pMakeRecord()) {}
  /// The record at hand has the first pixel of this product alone.
  SRecordView View() const {
    SRecordView view;
    view.arPixels[static_cast<int>(eKind)] = {pProd.get(), 0};
    return view;
  }
  EKind eKind;
  std::unique_ptr<CProd> pProd;
};

/// Calls visit with the column of a field that has one.
template <class TVisit>
void VisitColumn(const SField& field, const CProd& prod, int nIndex, TVisit visit) {
  if (field.source.eForm == EForm::INTS)
    visit(*static_cast<const TColumn<int64_t>*>(field.source.pPlace(prod, nIndex)));
  if (field.source.eForm == EForm::REALS)
    visit(*static_cast<const TColumn<double>*>(field.source.pPlace(prod, nIndex)));
}

void Spoil(CProd& prod, const SField& field, int nIndex) {
  VisitColumn(field, prod, nIndex, [&]<class T>(const TColumn<T>& column) {
    if (!field.source.bKept)
      std::fill_n(const_cast<TColumn<T>&>(column).Write(), column.Capacity(), static_cast<T>(SPOILT));
  });
}

bool IsDecoded(const CProd& prod, const SField& field, int nIndex) {
  bool bDecoded = true;
  VisitColumn(field, prod, nIndex, [&](const auto& column) {
    for (const int nPixel : prod.Kept()) {
      const int nRow = field.source.bKept ? prod.KeptRow(nPixel).nRow : nPixel;
      bDecoded = bDecoded && !column.IsNull() && static_cast<double>(column.At(nRow)) != SPOILT;
    }
  });
  return bDecoded;
}

struct SSample {
  EKind eKind;
  int nLayout, nYear;
};

/// Every layout of every product, with pixels of a date with few and of one with many levels.
std::vector<SSample> AllSamples() {
  std::vector<SSample> arSamples;
  for (const EKind eKind : arKinds)
    for (int nLayout = 0; nLayout <= 8; ++nLayout)
      for (const int nYear : {2013, 2019})
        if (!LayoutDescriptors(eKind, nLayout).empty()) arSamples.push_back({eKind, nLayout, nYear});
  return arSamples;
}

std::string MessageOf(const SSample& sample) {
  auto arPixels = TestPixels(3);
  for (SSamplePixel& pixel : arPixels) pixel.nYear = sample.nYear;
  return TestMessage(sample.eKind, arPixels, sample.nLayout).szBytes;
}

// A field of a block without a row in a layout is never written: its column is none, or holds what was there.
TEST(Blocks, EveryFieldIsDecoded) {
  CConfigParam config;
  AskForAll(config);
  const CChannelSelection channels = config.Channels();
  const CRecordLayout layout(config, channels.HeaderCount());
  for (const SSample& sample : AllSamples()) {
    const SKindRecord record(sample.eKind);
    const auto eachField = [&](auto visit) {
      for (const SPart& part : layout.Parts())
        if (record.View().Supplier(part)) EachField(*part.pBlock, sample.nYear > 2013, visit);
    };
    record.pProd->InitFirstAll(3);
    eachField([&](const SField& field, int nIndex) { Spoil(*record.pProd, field, nIndex); });
    ASSERT_NO_FATAL_FAILURE(ReadMessage(sample.eKind, MessageOf(sample), config, channels, *record.pProd));
    eachField([&](const SField& field, int nIndex) {
      EXPECT_TRUE(IsDecoded(*record.pProd, field, nIndex))
          << field.szName << " " << nIndex << " of " << KindName(sample.eKind) << " in layout "
          << sample.nLayout << ", " << sample.nYear;
    });
  }
}

std::string TextOf(const CConfigParam& config, const CChannelSelection& channels, char cSeparator,
                   const std::vector<SRecordView>& arRecords) {
  CTempDir dir;
  const std::string szPath = dir.Path("text");
  CTextSink sink(config, channels, cSeparator);
  CInputFiles none;
  CRunResult result;
  EXPECT_TRUE(sink.Open(szPath.c_str(), none, result) && sink.WriteHeader(0, 4));
  for (const SRecordView& record : arRecords) EXPECT_TRUE(sink.Write(0, record));
  EXPECT_TRUE(sink.Close());
  return ReadWholeFile(szPath);
}

// Formats of text that differ in their separator hold the same values, present and missing ones.
TEST(Blocks, AnySeparatorTakesTheTabsPlace) {
  for (const bool bTemperatures : {false, true}) {
    CConfigParam config;
    AskForAll(config);
    config.bBrightnessTemperature = bTemperatures;
    const CChannelSelection channels = config.Channels();
    std::vector<SKindRecord> arFilled;
    std::vector<SRecordView> arRecords;
    for (const EKind eKind : arKinds) {
      CProd& prod = *arFilled.emplace_back(eKind).pProd;
      ASSERT_NO_FATAL_FAILURE(
          ReadMessage(eKind, TestMessage(eKind, TestPixels(2)).szBytes, config, channels, prod));
      arRecords.push_back(arFilled.back().View());
    }
    std::string szExpected = TextOf(config, channels, '\t', arRecords);
    const std::string szText = TextOf(config, channels, ';', arRecords);
    EXPECT_GT(std::ranges::count(szExpected, '\t'), 1000);
    std::ranges::replace(szExpected, '\t', ';');
    EXPECT_EQ(szText, szExpected);
  }
}

}  // namespace
