#pragma once

#include <cstdint>

#include "kernel/Reporter.h"
#include "prod/ProductKind.h"
#include "reader/Reader.h"

class CBUFRReader;
class CConfigParam;
class CProd;
class CStrArray;

/// Reader of one L2 kind, with its record and decoder. What is particular about its messages stands in its
/// row of PRODUCT_KINDS.
template <EProduct PRODUCT, class TRecord, class TDecoder>
class TL2Reader : public CReader {
 public:
  TL2Reader() { m_decoder.bBlankUndecoded = true; }

  using CReader::Read;
  int Read(CConfigParam* pConfig, CStrArray* pFiles, TRecord* pProd, uint64_t* pMissingFlags) {
    return CReader::Read({pConfig, pFiles, pProd, 0, nullptr, pMissingFlags, nullptr});
  }

 protected:
  static constexpr const SProductKind& KIND = PRODUCT_KINDS[PRODUCT];

  CBUFRReader& Decoder() override { return m_decoder; }

  bool AcceptMessage(const SRead&) override {
    const bool bKind = m_decoder.descriptors.EndsWith({KIND.nF, KIND.nX, KIND.nY});
    const bool bData = m_decoder.nDataSize > 0;
    if (bData && (bKind || KIND.bTakesAnyKind)) return true;
    if (!bData) CReporter::Text("\nProbleme taille message BUFR");
    if (!bKind) CReporter::Print("\nError: data are not %s", KIND.szName);
    return false;
  }

  void InitRecord(const SRead& read, int nSubsets) override { Mine(read.pProd)->InitFirstL2(nSubsets); }
  int InterpretFirstLevel(CProd* pProd) override { return m_decoder.InterpretFirstLevel(Mine(pProd)); }
  const char* FirstLevelMessage() const override { return KIND.szFirstLevel; }
  void Update(const SRead& read) override { m_decoder.UpdateL2(Mine(read.pProd)); }

 private:
  static TRecord* Mine(CProd* pProd) { return static_cast<TRecord*>(pProd); }

  TDecoder m_decoder;
};
