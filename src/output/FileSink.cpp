#include "output/FileSink.h"

#include <cstddef>

#include "app/ConfigParam.h"
#include "output/InputFiles.h"
#include "prod/ChannelSelection.h"

CFileSink::CFileSink(const CConfigParam& config, const CChannelSelection& selection, char cSeparator)
    : m_config(config),
      m_selection(selection),
      m_layout(config, selection.HeaderCount()),
      m_spectra(selection, config.bBrightnessTemperature, cSeparator) {
  for (const SPart& part : m_layout.Parts()) m_arPlans.emplace_back(*part.pBlock, cSeparator);
}

bool CFileSink::Open(const char* szPath, CInputFiles& inputs, CRunResult&) {
  m_arpWriters.push_back(std::make_unique<CStreamWriter>());
  return !inputs.Holds(szPath) && m_arpWriters.back()->Open(szPath, m_config.bBigEndian);
}

bool CFileSink::WriteHeader(int nFile, int nSatellite) { return PutHeader(*m_arpWriters[nFile], nSatellite); }

bool CFileSink::Write(int nFile, const SRecordView& record) {
  return PutRecord(*m_arpWriters[nFile], record);
}

bool CFileSink::Close() {
  bool bWhole = true;
  for (const auto& pWriter : m_arpWriters) bWhole &= pWriter->Close();
  return bWhole;
}

void CFileSink::PutParts(CStreamWriter& writer, const SRecordView& record) {
  if (!record.First()) return;
  ++m_nWritten;
  const auto& arParts = m_layout.Parts();
  for (size_t i = 0; i < arParts.size(); ++i) {
    if (const SPixelOf* pPixel = record.Supplier(arParts[i]))
      PutPart(writer, m_arPlans[i], *pPixel);
    else
      PutMissing(writer, m_arPlans[i]);
  }
}
