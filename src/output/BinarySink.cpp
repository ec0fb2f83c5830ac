#include "output/BinarySink.h"

#include <algorithm>
#include <cstdint>

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

using enum EBin;
using enum EHeaderTimes;
using H = SHeaderView;

// The two numbers that every header has stand there as ever. What they stand for is not known.
constexpr SHeaderField HEADER[] = {
    // variable, type, meaning, value or list, codes
    {"big_endian", INT1, "byte order", [](const H& h) -> int64_t { return h.config.bBigEndian; }, ONCE,
     "0 little-endian, 1 big-endian"},
    {"constant_1", INT4, "5", [](const H&) -> int64_t { return 5; }},
    {"satellite", INT4, "satellite of the first product; -1 when none of its pixels was selected",
     [](const H& h) -> int64_t { return h.nSatellite; }, ONCE, SATELLITES},
    {"constant_2", INT4, "95", [](const H&) -> int64_t { return 95; }},
    {"tb", INT1, "what spectra are", [](const H& h) -> int64_t { return h.config.bBrightnessTemperature; },
     ONCE, "0 radiances, 1 brightness temperatures"},
    {"channel_count", INT4, "N, 0 without L1C", [](const H& h) { return h.layout.Channels(); }},
    {"channels", INT4, "the channel numbers in the order of the spectrum", nullptr, CHANNELS},
    {"avhrr", INT1, "1: records have the AVHRR block", [](const H& h) -> int64_t { return h.config.bAvhrr; }},
    {"kind_count", INT2, "K", [](const H& h) { return static_cast<int64_t>(h.layout.HeaderCodes().size()); }},
    {"kinds", INT4, "codes of the L2 products, ascending", nullptr, KINDS},
};

int AsInt4(int64_t nValue) { return static_cast<int>(static_cast<uint32_t>(nValue)); }

int64_t Times(const SHeaderField& field, const CRecordLayout& layout) {
  if (field.eTimes == ONCE) return 1;
  return field.eTimes == CHANNELS ? layout.Channels() : static_cast<int64_t>(layout.HeaderCodes().size());
}

void Put(CStreamWriter& writer, EBin eBin, int64_t nValue) {
  if (eBin == INT4)
    writer.WriteBinInt4(AsInt4(nValue));
  else if (eBin == INT2)
    writer.WriteBinInt2(static_cast<short>(nValue));
  else
    writer.WriteBinInt1(static_cast<unsigned char>(nValue));
}

}  // namespace

std::span<const SHeaderField> HeaderFields() { return HEADER; }

CBinarySink::CBinarySink(const CConfigParam& config, const CChannelSelection& selection)
    : CFileSink(config, selection), m_nMarker(AsInt4(m_layout.BinaryLength())) {}

bool CBinarySink::PutHeader(CStreamWriter& writer, int nSatellite) {
  const SHeaderView header = {m_config, m_layout, nSatellite};
  int64_t nLength = 0;
  for (const SHeaderField& field : HEADER) nLength += BinarySizeOf(field.eBin) * Times(field, m_layout);
  writer.WriteBinInt4(AsInt4(nLength));
  for (const SHeaderField& field : HEADER) {
    const auto put = [&writer, eBin = field.eBin](int64_t nValue) { Put(writer, eBin, nValue); };
    if (field.eTimes == ONCE) put(field.pValue(header));
    if (field.eTimes == CHANNELS) m_selection.EachHeaderChannel(false, put);
    if (field.eTimes == KINDS)
      std::for_each(m_layout.HeaderCodes().begin(), m_layout.HeaderCodes().end(), put);
  }
  if (writer.WriteBinInt4(AsInt4(nLength)) > 0) return true;
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
