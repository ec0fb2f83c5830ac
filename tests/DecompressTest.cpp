// Compressed elements: the decoder against one that goes bit by bit, and some values known by hand.

#include <gtest/gtest.h>

#include <cmath>

#include "DecoderSupport.h"
#include "bufr/BUFRReaderL2.h"
#include "bufr/Cpu.h"

namespace {

/// The decoder under test, with the outputs that the answer holds before.
void Decode(CBUFRReaderL2& reader, const SAsked& a, SAnswer& answer) {
  int64_t* pInts = a.eOutput == EOutput::NONE ? nullptr : answer.arInts.data();
  double* pReals = a.eOutput == EOutput::NONE ? nullptr : answer.arReals.data();
  int64_t* pConstant = a.eOutput == EOutput::CONSTANT ? &answer.nConstant : nullptr;
  bool* pb = a.eOutput == EOutput::CONSTANT ? &answer.bConstant : nullptr;
  const auto fMissing = static_cast<double>(a.nMissing);
  int64_t& pos = answer.bitPos;
  reader.nMissingFlags = answer.nFlags;
  testing::internal::CaptureStdout();
  switch (a.eVariant) {
    case EVariant::INT:
      answer.nStatus =
          reader.BUFRDecompressInt(pos, a.nWidth, a.nReference, pInts, a.nFlag, a.nMissing, pConstant, pb);
      break;
    case EVariant::FLOAT:
      answer.nStatus =
          reader.BUFRDecompressFloat(pos, a.nWidth, a.nReference, a.nScale, pReals, a.nFlag, fMissing);
      break;
    case EVariant::FIELD_OF_VIEW:
      answer.nStatus = reader.BUFRDecompressFieldOfView(pos, a.nWidth, a.nReference, pInts, a.nFlag,
                                                        a.nMissing, pConstant, pb);
      break;
    case EVariant::INT_TIMES_1000:
      answer.nStatus = reader.BUFRDecompressIntTimes1000(pos, a.nWidth, a.nReference, pInts, a.nFlag,
                                                         a.nMissing, pConstant, pb);
      break;
    case EVariant::FLOAT_TIMES_1000:
      answer.nStatus = reader.BUFRDecompressFloatTimes1000(pos, a.nWidth, a.nReference, a.nScale, pReals,
                                                           a.nFlag, fMissing);
      break;
  }
  answer.szText = testing::internal::GetCapturedStdout();
  answer.nFlags = reader.nMissingFlags;
}

SAnswer Before(int nSubsets, int64_t bitPos) {
  SAnswer answer;
  answer.bitPos = bitPos;
  answer.nFlags = 0x100;
  answer.arInts.assign(nSubsets, 4242);
  answer.arReals.assign(nSubsets, 42.42);
  answer.nConstant = 77;
  answer.bConstant = true;
  return answer;
}

TEST(DecompressTest, EveryPatternAgreesWithTheBitByBitDecoder) {
  std::mt19937 random(7);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  constexpr int64_t REFERENCES[] = {0, -9000000, -5000, 12345678901, -400};
  for (int nTrial = 0; nTrial < 20000; ++nTrial) {
    SAsked asked;
    asked.eVariant = static_cast<EVariant>(below(5));
    asked.eOutput = static_cast<EOutput>(below(3));
    const bool bTimes = asked.eVariant == EVariant::INT_TIMES_1000;
    asked.nWidth = 1 + below(nTrial % 4 != 0 ? 33 : bTimes ? 53 : 62);
    asked.nReference = REFERENCES[below(5)];
    asked.nScale = below(12) - 4;
    asked.nFlag = 1U << below(20);
    asked.nMissing = below(2) ? -1 : -100000000;
    const int nIncrement = below(6) == 0   ? below(64)
                           : below(3) == 0 ? 0
                                           : 1 + below(std::min(asked.nWidth, 33));
    const int nSubsets = below(3) == 0 ? 254 + below(46) : 1 + below(40);
    CBUFREncoder encoder(nSubsets);
    const int nOffset = below(16);
    encoder.Bits(random(), nOffset);
    std::vector<uint64_t> arIncrements;
    for (int i = 0; i < nSubsets && nIncrement > 0; ++i)
      arIncrements.push_back(below(5) == 0 ? UINT64_MAX : uint64_t{random()} << 32 | random());
    const uint64_t nR0 = below(4) == 0 ? UINT64_MAX : (uint64_t{random()} << 32 | random()) >> below(64);
    encoder.Element(asked.nWidth, nR0, nIncrement, arIncrements);
    std::vector<uint8_t> arBytes = encoder.SectionData();
    if (below(2)) arBytes.resize(below(static_cast<int>(arBytes.size()) + 1));

    CBUFRReaderL2 reader;
    LoadData(reader, arBytes, nSubsets);
    reader.bBlankUndecoded = below(2);
    SetWideKernels(below(2));
    SAnswer expected = Before(nSubsets, nOffset), found = expected;
    CPlainDecoder(arBytes, nSubsets, reader.bBlankUndecoded).Decode(asked, expected);
    Decode(reader, asked, found);
    ASSERT_TRUE(found == expected) << "trial " << nTrial << " variant " << int(asked.eVariant) << " output "
                                   << int(asked.eOutput) << " width " << asked.nWidth << " increments of "
                                   << nIncrement << " for " << nSubsets << " in " << arBytes.size()
                                   << " bytes: status " << found.nStatus << " cursor " << found.bitPos
                                   << " for " << expected.bitPos << " text '" << found.szText << "' for '"
                                   << expected.szText << "'";
  }
  SetWideKernels(true);
}

struct SKnown {
  SAsked asked;
  uint64_t nR0;
  int nIncrement;
  std::vector<uint64_t> arIncrements;
  int nStatus;
  uint64_t nFlags;
  double fFirst, fSecond;  // of four subsets; 4242 and 42.42 stand for untouched
  int64_t nConstant;       // 77 untouched
};

TEST(DecompressTest, ValuesKnownByHand) {
  using enum EVariant;
  using enum EOutput;
  const SKnown arKnown[] = {
      {{INT, ARRAY, 16, 0, 0, 2}, 65535, 0, {}, 1, 2, -1, -1, 77},
      {{INT, CONSTANT, 10, 0, 0, 2}, 5, 0, {}, 1, 0, 4242, 4242, 5},
      {{INT, ARRAY, 10, 0, 0, 2}, 100, 3, {0, 7, 2, 1}, 1, 2, 100, -1, 77},
      {{INT, ARRAY, 10, 0, 0, 2}, 1, 12, {5, 6, 7, 8}, 0, 0, 6, 7, 77},
      {{INT_TIMES_1000, ARRAY, 10, 0, 0, 2}, 1, 12, {5, 6, 7, 8}, 1, 0, 6000, 7000, 77},
      {{INT_TIMES_1000, CONSTANT, 10, 0, 0, 2}, 7, 0, {}, 1, 0, 4242, 4242, 7},
      {{FIELD_OF_VIEW, ARRAY, 8, 0, 0, 2}, 120, 0, {}, 1, 0, 119, 119, 77},
      {{FIELD_OF_VIEW, CONSTANT, 8, 0, 0, 2}, 120, 0, {}, 1, 0, 4242, 4242, 120},
      {{INT, ARRAY, 33, 0, 0, 2}, 0x1FFFFFFFE, 0, {}, 1, 0, -2, -2, 77},
      {{INT_TIMES_1000, ARRAY, 33, 0, 0, 2}, 0x1FFFFFFFE, 0, {}, 1, 0, 8589934590000, 8589934590000, 77},
      {{INT, ARRAY, 10, 0, 0, 2}, 1, 40, {}, 0, 0, 4242, 4242, 77},
      {{INT, NONE, 16, 0, 0, 2}, 65535, 0, {}, 1, 2, 4242, 4242, 77},
      {{FLOAT, NONE, 16, 0, 0, 2}, 65535, 0, {}, 1, 0, 42.42, 42.42, 77},
      {{FLOAT, ARRAY, 25, -9000000, 5, 2, -777}, 13400000, 20, {100000, 0xFFFFF, 0, 0}, 1, 2, 45.0, -777, 77},
      {{FLOAT, ARRAY, 15, -400, -2, 2, -777}, 8570, 0, {}, 1, 0, 817000, 817000, 77},
      {{FLOAT_TIMES_1000, ARRAY, 15, -400, -2, 2, -777}, 8570, 0, {}, 1, 0, 817000000, 817000000, 77},
  };
  for (const SKnown& known : arKnown) {
    CBUFREncoder encoder(4);
    encoder.Element(known.asked.nWidth, known.nR0, known.nIncrement, known.arIncrements);
    encoder.Bits(0, 64);  // the data go on
    CBUFRReaderL2 reader;
    LoadData(reader, encoder.SectionData(), 4);
    SAnswer answer = Before(4, 0);
    answer.nFlags = 0;
    Decode(reader, known.asked, answer);
    const bool bReal = known.asked.eVariant == FLOAT || known.asked.eVariant == FLOAT_TIMES_1000;
    const auto value = [&](int i) {
      return bReal ? answer.arReals[i] : static_cast<double>(answer.arInts[i]);
    };
    SCOPED_TRACE(&known - arKnown);
    EXPECT_EQ(answer.nStatus, known.nStatus);
    EXPECT_EQ(answer.nFlags, known.nFlags);
    EXPECT_EQ(value(0), known.fFirst);
    EXPECT_EQ(value(1), known.fSecond);
    EXPECT_EQ(answer.nConstant, known.nConstant);
    const bool bDecoded = known.nIncrement <= 33;
    EXPECT_EQ(answer.bitPos, known.asked.nWidth + 6 + (bDecoded ? 4 * known.nIncrement : 0));
  }
}

}  // namespace
