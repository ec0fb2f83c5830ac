#include "output/BinarySink.h"

#include <cstdint>
#include <vector>

#include "app/ConfigParam.h"
#include "kernel/Reporter.h"
#include "output/Block.h"
#include "output/BlockPlan.h"
#include "output/Record.h"
#include "output/SpectrumWriter.h"
#include "output/StreamWriter.h"
#include "prod/ChannelSelection.h"
#include "prod/ProdL1C.h"

namespace {
/// Bytes of the header but for the lists of channels and kinds.
constexpr int HEADER_LENGTH = 21;
/// Two numbers that every header has, as ever. What they stand for is not known.
constexpr int HEADER_CONSTANT_1 = 5, HEADER_CONSTANT_2 = 95;

int AsInt4(int64_t nValue) { return static_cast<int>(static_cast<uint32_t>(nValue)); }
}  // namespace

CBinarySink::CBinarySink(const CConfigParam& config, const CChannelSelection& selection)
    : CFileSink(config, selection), m_nMarker(AsInt4(m_layout.BinaryLength())) {}

bool CBinarySink::PutHeader(CStreamWriter& writer, int nSatellite) {
  const int64_t nChannels = m_layout.Channels();
  const std::vector<int>& arCodes = m_layout.HeaderCodes();
  const int nMarker = AsInt4(HEADER_LENGTH + 4 * nChannels + 4 * static_cast<int64_t>(arCodes.size()));
  writer.WriteBinInt4(nMarker);
  writer.WriteBinInt1(m_config.bBigEndian);
  writer.WriteBinInt4(HEADER_CONSTANT_1);
  writer.WriteBinInt4(nSatellite);
  writer.WriteBinInt4(HEADER_CONSTANT_2);
  writer.WriteBinInt1(m_config.bBrightnessTemperature);
  writer.WriteBinInt4(AsInt4(nChannels));
  m_selection.EachHeaderChannel(false, [&](int64_t nChannel) { writer.WriteBinInt4(AsInt4(nChannel)); });
  writer.WriteBinInt1(m_config.bAvhrr);
  writer.WriteBinInt2(static_cast<short>(arCodes.size()));
  for (const int nCode : arCodes) writer.WriteBinInt4(nCode);
  if (writer.WriteBinInt4(nMarker) > 0) return true;
  CReporter::Line("ERROR: Unable to write header on file!");
  return false;
}

/// Without a product that takes part, the record is its two markers alone, which announce the full length.
bool CBinarySink::PutRecord(CStreamWriter& writer, const SRecordView& record) {
  writer.WriteBinInt4(m_nMarker);
  PutParts(writer, record);
  if (writer.WriteBinInt4(m_nMarker) > 0) return true;
  CReporter::Line("ERROR: write failure on output file");
  return false;
}

void CBinarySink::PutPart(CStreamWriter& writer, CBlockPlans& plans, const SPixelOf& pixel) {
  if (plans.Block().bSpectrum)
    m_spectra.WriteBinary(writer, static_cast<const CProdL1C&>(*pixel.pProd), pixel.nPixel);
  else
    plans.WriteBinary(writer, *pixel.pProd, pixel.nPixel);
}

void CBinarySink::PutMissing(CStreamWriter& writer, CBlockPlans& plans) {
  if (plans.Block().bSpectrum)
    m_spectra.WriteBinaryMissing(writer);
  else
    plans.WriteBinaryMissing(writer);
}
