#pragma once

#include "output/Block.h"
#include "output/StreamWriter.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "prod/ProductKind.h"

class CConfigParam;
class CProd;
class CProdL1C;
class CProdL2;

/// Writes single blocks of extraction records by name. Runs go through the sinks (RecordSink.h), which keep
/// what these operations make anew at every call.
class CWriter : public CStreamWriter {
 public:
  // The common blocks are written by the first caller of a record only: *pbWritten tells.
  void WriteOutputBinAll(const CProd* pProd, int nPixel, bool* pbWritten);
  void WriteOutputBinL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel);
  void WriteOutputBinL1Missing(const CConfigParam* pConfig);
  void WriteOutputBinL2(const CProdL2* pProd, int nPixel, bool* pbWritten);
  void WriteOutputBinL2Missing() { BinMissing(L2_BLOCK); }
  void WriteOutputBinOzo(const CProdL2ozo* pProd, int nPixel) { Bin(KindBlock(PRODUCT_OZO), *pProd, nPixel); }
  void WriteOutputBinTrg(const CProdL2trg* pProd, int nPixel) { Bin(KindBlock(PRODUCT_TRG), *pProd, nPixel); }
  void WriteOutputBinClp(const CProdL2clp* pProd, int nPixel) { Bin(KindBlock(PRODUCT_CLP), *pProd, nPixel); }
  void WriteOutputBinTwt(const CProdL2twt* pProd, int nPixel) { Bin(KindBlock(PRODUCT_TWT), *pProd, nPixel); }
  void WriteOutputBinEms(const CProdL2ems* pProd, int nPixel) { Bin(KindBlock(PRODUCT_EMS), *pProd, nPixel); }
  void WriteOutputBinOzoMissing() { BinMissing(KindBlock(PRODUCT_OZO)); }
  void WriteOutputBinTrgMissing() { BinMissing(KindBlock(PRODUCT_TRG)); }
  void WriteOutputBinClpMissing() { BinMissing(KindBlock(PRODUCT_CLP)); }
  void WriteOutputBinTwtMissing() { BinMissing(KindBlock(PRODUCT_TWT)); }
  void WriteOutputBinEmsMissing() { BinMissing(KindBlock(PRODUCT_EMS)); }

  void WriteOutputTextAll(const CConfigParam* pConfig, const CProd* pProd, int nPixel, bool* pbWritten);
  void WriteOutputTextL1(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel);
  void WriteOutputTextL1Missing(const CConfigParam* pConfig);
  void WriteOutputTextL2(const CProdL2* pProd, int nPixel, bool* pbWritten);
  void WriteOutputTextL2Missing() { TextMissing(L2_BLOCK); }
  void WriteOutputTextOzo(const CProdL2ozo* pProd, int nPixel) {
    Text(KindBlock(PRODUCT_OZO), *pProd, nPixel);
  }
  void WriteOutputTextTrg(const CProdL2trg* pProd, int nPixel) {
    Text(KindBlock(PRODUCT_TRG), *pProd, nPixel);
  }
  void WriteOutputTextClp(const CProdL2clp* pProd, int nPixel) {
    Text(KindBlock(PRODUCT_CLP), *pProd, nPixel);
  }
  void WriteOutputTextTwt(const CProdL2twt* pProd, int nPixel) {
    Text(KindBlock(PRODUCT_TWT), *pProd, nPixel);
  }
  void WriteOutputTextEms(const CProdL2ems* pProd, int nPixel) {
    Text(KindBlock(PRODUCT_EMS), *pProd, nPixel);
  }
  void WriteOutputTextOzoMissing() { TextMissing(KindBlock(PRODUCT_OZO)); }
  void WriteOutputTextTrgMissing() { TextMissing(KindBlock(PRODUCT_TRG)); }
  void WriteOutputTextClpMissing() { TextMissing(KindBlock(PRODUCT_CLP)); }
  void WriteOutputTextTwtMissing() { TextMissing(KindBlock(PRODUCT_TWT)); }
  void WriteOutputTextEmsMissing() { TextMissing(KindBlock(PRODUCT_EMS)); }

 private:
  void Bin(const SBlock& block, const CProd& prod, int nPixel);
  void BinMissing(const SBlock& block);
  void Text(const SBlock& block, const CProd& prod, int nPixel, int nGiven = -1);
  void TextMissing(const SBlock& block);
};
