#pragma once

#include "bufr/BUFRReaderL2trg.h"
#include "reader/L2Reader.h"

struct SL2KindTrg {
  using Record = CProdL2trg;
  using Decoder = CBUFRReaderL2trg;
  static CBUFRDescriptor LastDescriptor() { return {0, 40, 202}; }
  static constexpr bool CHECK_KIND = true;
  static constexpr const char* OTHER_KIND = "\nError: data are not trg";
  static constexpr const char* FIRST_LEVEL = "\nProbleme interpretation BUFR dans premier niveau de donnees";
  static void Init(Record* pProd, int nSubsets) { pProd->InitFirstL2trg(nSubsets); }
};

/// Reader of trace gases.
class CL2ReaderTrg : public TL2Reader<SL2KindTrg> {};
