// Headers and records to streams of a caller's: what a sink does with its own files.

#include <algorithm>
#include <memory>
#include <span>

#include "app/ConfigParam.h"
#include "extract/Extractor.h"
#include "extract/Format.h"
#include "output/BinarySink.h"
#include "output/FileSink.h"
#include "output/RecordSink.h"
#include "output/TextSink.h"
#include "output/Writer.h"
#include "prod/ChannelSelection.h"

namespace {

const SFormat* Find(int nFormat) {
  const auto formats = Formats();
  const auto found = std::ranges::find(formats, nFormat, &SFormat::nNumber);
  return found == formats.end() ? nullptr : &*found;
}

/// Calls put with the sink of the run's format. Formats that do not write record by record have nothing to
/// put: true.
template <class TPut>
bool WithSink(const CConfigParam& config, TPut put) {
  const SFormat* pFormat = Find(config.nFormat);
  if (!pFormat) return true;
  const CChannelSelection channels = config.Channels();
  const auto pSink = pFormat->pMakeSink(config, channels);
  auto* pFileSink = dynamic_cast<CFileSink*>(pSink.get());
  return !pFileSink || put(*pFileSink);
}

}  // namespace

bool CExtractor::WriteOutputHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite) {
  const auto put = [=](CFileSink& sink) { return sink.PutHeader(*pWriter, nSatellite); };
  return Find(pConfig->nFormat) && WithSink(*pConfig, put);
}

bool CExtractor::WriteOutputBinHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite) {
  const CChannelSelection channels = pConfig->Channels();
  return CBinarySink(*pConfig, channels).PutHeader(*pWriter, nSatellite);
}

bool CExtractor::WriteOutputTextHeader(CWriter* pWriter, const CConfigParam* pConfig) {
  const CChannelSelection channels = pConfig->Channels();
  return CTextSink(*pConfig, channels).PutHeader(*pWriter, 0);
}

bool CExtractor::WriteOutput(CWriter* pWriter, const CConfigParam* pConfig) {
  return WithSink(*pConfig, [=, this](CFileSink& sink) { return sink.PutRecord(*pWriter, m_record); });
}

bool CExtractor::WriteOutputBin(CWriter* pWriter, const CConfigParam* pConfig) {
  const CChannelSelection channels = pConfig->Channels();
  return CBinarySink(*pConfig, channels).PutRecord(*pWriter, m_record);
}

bool CExtractor::WriteOutputText(CWriter* pWriter, const CConfigParam* pConfig) {
  const CChannelSelection channels = pConfig->Channels();
  return CTextSink(*pConfig, channels).PutRecord(*pWriter, m_record);
}
