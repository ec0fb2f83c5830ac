#include "output/Writer.h"

#include <utility>

#include "app/ConfigParam.h"
#include "output/BlockPlan.h"
#include "output/SpectrumWriter.h"
#include "output/TextSink.h"
#include "prod/ChannelSelection.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2.h"

void CWriter::Bin(const SBlock& block, const CProd& prod, int nPixel) {
  CBlockPlans(block).WriteBinary(*this, prod, nPixel);
}

void CWriter::BinMissing(const SBlock& block) { CBlockPlans(block).WriteBinaryMissing(*this); }

void CWriter::Text(const SBlock& block, const CProd& prod, int nPixel, int nGiven) {
  CBlockPlans(block).Of(prod, nPixel).WriteText(*this, prod, nPixel, nGiven);
}

void CWriter::TextMissing(const SBlock& block) { CBlockPlans(block).WriteTextMissing(*this); }

void CWriter::WriteOutputBinAll(const CProd* pProd, int nPixel, bool* pbWritten) {
  if (!std::exchange(*pbWritten, true)) Bin(COMMON_BLOCK, *pProd, nPixel);
}

void CWriter::WriteOutputBinL2(const CProdL2* pProd, int nPixel, bool* pbWritten) {
  if (!std::exchange(*pbWritten, true)) Bin(L2_BLOCK, *pProd, nPixel);
}

void CWriter::WriteOutputBinL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  const CChannelSelection selection = pConfig->Channels(pProd->ChannelCount);
  Bin(L1C_BLOCK, *pProd, nPixel);
  CSpectrumWriter(selection, pConfig->bBrightnessTemperature).WriteBinary(*this, *pProd, nPixel);
  if (pConfig->bAvhrr) Bin(AVHRR_BLOCK, *pProd, nPixel);
}

void CWriter::WriteOutputBinL1Missing(const CConfigParam* pConfig) {
  const CChannelSelection selection = pConfig->Channels();
  BinMissing(L1C_BLOCK);
  CSpectrumWriter(selection, pConfig->bBrightnessTemperature).WriteBinaryMissing(*this);
  if (pConfig->bAvhrr) BinMissing(AVHRR_BLOCK);
}

void CWriter::WriteOutputTextAll(const CConfigParam* pConfig, const CProd* pProd, int nPixel,
                                 bool* pbWritten) {
  if (!std::exchange(*pbWritten, true)) Text(COMMON_BLOCK, *pProd, nPixel, CTextSink::TbColumn(*pConfig));
}

void CWriter::WriteOutputTextL2(const CProdL2* pProd, int nPixel, bool* pbWritten) {
  if (!std::exchange(*pbWritten, true)) Text(L2_BLOCK, *pProd, nPixel);
}

void CWriter::WriteOutputTextL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  const CChannelSelection selection = pConfig->Channels(pProd->ChannelCount);
  Text(L1C_BLOCK, *pProd, nPixel);
  CSpectrumWriter(selection, pConfig->bBrightnessTemperature).WriteText(*this, *pProd, nPixel);
  if (pConfig->bAvhrr) Text(AVHRR_BLOCK, *pProd, nPixel);
}

void CWriter::WriteOutputTextL1Missing(const CConfigParam* pConfig) {
  const CChannelSelection selection = pConfig->Channels();
  TextMissing(L1C_BLOCK);
  CSpectrumWriter(selection, pConfig->bBrightnessTemperature).WriteTextMissing(*this);
  if (pConfig->bAvhrr) TextMissing(AVHRR_BLOCK);
}
