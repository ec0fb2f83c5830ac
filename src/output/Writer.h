#pragma once

#include "app/ConfigParam.h"
#include "output/Block.h"
#include "output/StreamWriter.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"

/// Writes the blocks of extraction records. The block tables (Block.h) say what a block holds.
class CWriter : public CStreamWriter {
 public:
  /// Number of selected channels as the headers count it: all of every range, in or out of the archive's.
  static int64_t ChannelTotal(const CConfigParam* pConfig);

  // The common blocks are written by the first caller of a record only: *pbWritten tells.
  void WriteOutputBinAll(const CProd* pProd, int nPixel, bool* pbWritten);
  void WriteOutputBinL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel);
  void WriteOutputBinL1Missing(const CConfigParam* pConfig);
  void WriteOutputBinL2(const CProdL2* pProd, int nPixel, bool* pbWritten);
  void WriteOutputBinL2Missing();
  void WriteOutputBinOzo(const CProdL2ozo* pProd, int nPixel) { PutBin(OZO_BLOCK, *pProd, nPixel); }
  void WriteOutputBinTrg(const CProdL2trg* pProd, int nPixel) { PutBin(TRG_BLOCK, *pProd, nPixel); }
  void WriteOutputBinClp(const CProdL2clp* pProd, int nPixel) { PutBin(CLP_BLOCK, *pProd, nPixel); }
  void WriteOutputBinTwt(const CProdL2twt* pProd, int nPixel) { PutBin(TWT_BLOCK, *pProd, nPixel); }
  void WriteOutputBinEms(const CProdL2ems* pProd, int nPixel) { PutBin(EMS_BLOCK, *pProd, nPixel); }
  void WriteOutputBinOzoMissing() { PutBinMissing(OZO_BLOCK); }
  void WriteOutputBinTrgMissing() { PutBinMissing(TRG_BLOCK); }
  void WriteOutputBinClpMissing() { PutBinMissing(CLP_BLOCK); }
  void WriteOutputBinTwtMissing() { PutBinMissing(TWT_BLOCK); }
  void WriteOutputBinEmsMissing() { PutBinMissing(EMS_BLOCK); }

  void WriteOutputTextAll(const CConfigParam* pConfig, const CProd* pProd, int nPixel, bool* pbWritten);
  void WriteOutputTextL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel);
  void WriteOutputTextL1Missing(const CConfigParam* pConfig);
  void WriteOutputTextL2(const CProdL2* pProd, int nPixel, bool* pbWritten);
  void WriteOutputTextL2Missing();
  void WriteOutputTextOzo(const CProdL2ozo* pProd, int nPixel) { PutText(OZO_BLOCK, *pProd, nPixel); }
  void WriteOutputTextTrg(const CProdL2trg* pProd, int nPixel) { PutText(TRG_BLOCK, *pProd, nPixel); }
  void WriteOutputTextClp(const CProdL2clp* pProd, int nPixel) { PutText(CLP_BLOCK, *pProd, nPixel); }
  void WriteOutputTextTwt(const CProdL2twt* pProd, int nPixel) { PutText(TWT_BLOCK, *pProd, nPixel); }
  void WriteOutputTextEms(const CProdL2ems* pProd, int nPixel) { PutText(EMS_BLOCK, *pProd, nPixel); }
  void WriteOutputTextOzoMissing() { PutTextMissing(OZO_BLOCK); }
  void WriteOutputTextTrgMissing() { PutTextMissing(TRG_BLOCK); }
  void WriteOutputTextClpMissing() { PutTextMissing(CLP_BLOCK); }
  void WriteOutputTextTwtMissing() { PutTextMissing(TWT_BLOCK); }
  void WriteOutputTextEmsMissing() { PutTextMissing(EMS_BLOCK); }

  /// The column names of a block, each behind a tab, but for the first one of the common block.
  void WriteTextNames(TBlock block);
  /// The channel numbers as column names.
  void WriteTextChannels(const CConfigParam* pConfig);

 private:
  void PutBin(TBlock block, const CProd& prod, int nPixel, int nRow = -1);
  void PutBinMissing(TBlock block);
  /// nRow: element of the columns when it is not the pixel; nGiven: value of the field without a source.
  void PutText(TBlock block, const CProd& prod, int nPixel, int nRow = -1, int nGiven = -1);
  void PutTextMissing(TBlock block);

  template <class TPut>
  static void EachSpectrumRun(const CConfigParam* pConfig, const CProdL1C& prod, TPut put);
  void PutBinSpectrum(const CConfigParam* pConfig, const CProdL1C& prod, int nPixel);
  void PutTextSpectrum(const CConfigParam* pConfig, const CProdL1C& prod, int nPixel);
  void PutTextRadiances(const CSpectrum& spectrum, int nRow, int nFirst, int nCount);
  void PutTextReals(const float* pValues, int nCount);
};
