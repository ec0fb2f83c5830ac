// Compressed elements: the decoder against one that goes bit by bit.

#include <gtest/gtest.h>

#include <random>

#include "bufr/BUFRReaderL2.h"
#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "kernel/Reporter.h"
#include "sample/BUFREncoder.h"
#include "tests/differential/PlainDecoder.h"

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
  const CReportCapture said;
  const auto ints = [&](auto pDecode) {
    return (reader.*pDecode)(pos, a.nWidth, a.nReference, pInts, a.nFlag, a.nMissing, pConstant, pb);
  };
  const auto reals = [&](auto pDecode) {
    return (reader.*pDecode)(pos, a.nWidth, a.nReference, a.nScale, pReals, a.nFlag, fMissing);
  };
  using enum EVariant;
  using CReader = CBUFRReaderL2;
  answer.nStatus = a.eVariant == INT              ? ints(&CReader::BUFRDecompressInt)
                   : a.eVariant == FLOAT          ? reals(&CReader::BUFRDecompressFloat)
                   : a.eVariant == FIELD_OF_VIEW  ? ints(&CReader::BUFRDecompressFieldOfView)
                   : a.eVariant == INT_TIMES_1000 ? ints(&CReader::BUFRDecompressIntTimes1000)
                                                  : reals(&CReader::BUFRDecompressFloatTimes1000);
  answer.szText = said.Text();
  answer.nFlags = reader.nMissingFlags;
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
    const bool bNothing = nTrial % 100 == 0;  // an element of no width in a message without data
    asked.nWidth = bNothing ? 0 : 1 + below(nTrial % 4 != 0 ? 33 : bTimes ? 53 : 62);
    asked.nReference = REFERENCES[below(5)];
    asked.nScale = below(12) - 4;
    asked.nFlag = 1U << below(20);
    asked.nMissing = below(2) ? -1 : -100000000;
    const int nIncrement = below(6) == 0   ? below(64)
                           : below(3) == 0 ? 0
                                           : 1 + below(std::clamp(asked.nWidth, 1, 33));
    const int nSubsets = below(3) == 0 ? 254 + below(46) : 1 + below(40);
    CBUFREncoder encoder(nSubsets);
    const int nOffset = bNothing ? 0 : below(16);
    encoder.Bits(random(), nOffset);
    std::vector<uint64_t> arIncrements;
    for (int i = 0; i < nSubsets && nIncrement > 0; ++i)
      arIncrements.push_back(below(5) == 0 ? UINT64_MAX : uint64_t{random()} << 32 | random());
    const uint64_t nR0 = below(4) == 0 ? UINT64_MAX : (uint64_t{random()} << 32 | random()) >> below(64);
    encoder.Element(asked.nWidth, nR0, nIncrement, arIncrements);
    std::vector<uint8_t> arBytes = encoder.SectionData();
    if (below(2)) arBytes.resize(below(static_cast<int>(arBytes.size()) + 1));
    if (bNothing) arBytes.clear();

    CBUFRReaderL2 reader;
    // The bytes behind the data are set, so that a decoder which takes them for data shows it.
    reader.nDataSize = reader.nDataCapacity = static_cast<int>(arBytes.size());
    reader.nSubsets = nSubsets;
    reader.pData = std::make_unique<uint8_t[]>(arBytes.size() + UNPACK_PADDING);
    std::fill_n(std::copy(arBytes.begin(), arBytes.end(), reader.pData.get()), UNPACK_PADDING, uint8_t{0xFF});
    if (bNothing) reader.pData.reset();
    reader.bBlankUndecoded = below(2);
    SetWideKernels(below(2));
    SAnswer expected;
    expected.bitPos = nOffset;
    expected.nFlags = 0x100;
    expected.arInts.assign(nSubsets, 4242);
    expected.arReals.assign(nSubsets, 42.42);
    expected.nConstant = 77;
    expected.bConstant = true;
    SAnswer found = expected;
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

}  // namespace
