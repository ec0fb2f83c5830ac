// Headers and records to streams of a caller's: what a sink does with its own files.

#include "extract/Extractor.h"
#include "output/BinarySink.h"
#include "output/TextSink.h"

bool CExtractor::WriteOutputHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite) {
  switch (pConfig->nFormat) {
    case CConfigParam::FORMAT_BIN:
      return WriteOutputBinHeader(pWriter, pConfig, nSatellite);
    case CConfigParam::FORMAT_TXT:
      return WriteOutputTextHeader(pWriter, pConfig);
    default:
      return pConfig->nFormat == CConfigParam::FORMAT_TXTSTAT;  // has no header
  }
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
  switch (pConfig->nFormat) {
    case CConfigParam::FORMAT_BIN:
      return WriteOutputBin(pWriter, pConfig);
    case CConfigParam::FORMAT_TXT:
      return WriteOutputText(pWriter, pConfig);
    default:
      return true;
  }
}

bool CExtractor::WriteOutputBin(CWriter* pWriter, const CConfigParam* pConfig) {
  const CChannelSelection channels = pConfig->Channels();
  return CBinarySink(*pConfig, channels).PutRecord(*pWriter, m_record);
}

bool CExtractor::WriteOutputText(CWriter* pWriter, const CConfigParam* pConfig) {
  const CChannelSelection channels = pConfig->Channels();
  return CTextSink(*pConfig, channels).PutRecord(*pWriter, m_record);
}
