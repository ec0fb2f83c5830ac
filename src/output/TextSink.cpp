#include "output/TextSink.h"

#include "app/ConfigParam.h"
#include "kernel/Reporter.h"
#include "output/Block.h"
#include "output/BlockPlan.h"
#include "output/Record.h"
#include "output/SpectrumWriter.h"
#include "output/StreamWriter.h"
#include "prod/ProdL1C.h"

CTextSink::CTextSink(const CConfigParam& config, const CChannelSelection& selection, char cSeparator)
    : CFileSink(config, selection, cSeparator) {}

int CTextSink::TbColumn(const CConfigParam& config) {
  return config.L1CRequested() ? config.bBrightnessTemperature : -1;
}

bool CTextSink::PutHeader(CStreamWriter& writer, int) {
  for (const CBlockPlans& plans : m_arPlans)
    plans.Block().bSpectrum ? m_spectra.WriteTextNames(writer) : plans.WriteTextNames(writer);
  if (writer.WriteText("\n") > 0) return true;
  CReporter::Line("Error: Unable to write header on file!");
  return false;
}

/// Without a product that takes part, the line is empty.
bool CTextSink::PutRecord(CStreamWriter& writer, const SRecordView& record) {
  PutParts(writer, record);
  return writer.WriteText("\n") > 0;
}

void CTextSink::PutPart(CStreamWriter& writer, CBlockPlans& plans, const SPixelOf& pixel) {
  const auto& [pProd, nPixel] = pixel;
  if (plans.Block().bSpectrum)
    m_spectra.WriteText(writer, static_cast<const CProdL1C&>(*pProd), nPixel);
  else
    plans.Of(*pProd, nPixel).WriteText(writer, *pProd, nPixel, TbColumn(m_config));
}

void CTextSink::PutMissing(CStreamWriter& writer, CBlockPlans& plans) {
  plans.Block().bSpectrum ? m_spectra.WriteTextMissing(writer) : plans.WriteTextMissing(writer);
}
