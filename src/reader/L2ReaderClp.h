#pragma once

#include "bufr/BUFRReaderL2clp.h"
#include "reader/L2Reader.h"

struct SL2KindClp {
  using Record = CProdL2clp;
  using Decoder = CBUFRReaderL2clp;
  static CBUFRDescriptor LastDescriptor() { return {0, 20, 56}; }
  static constexpr bool CHECK_KIND = true;
  static constexpr const char* OTHER_KIND = "\nError: data are not clp";
  static constexpr const char* FIRST_LEVEL = "\nProbleme interpretation BUFR dans premier niveau de donnees";
  static void Init(Record* pProd, int nSubsets) { pProd->InitFirstL2clp(nSubsets); }
};

/// Reader of cloud parameters.
class CL2ReaderClp : public TL2Reader<SL2KindClp> {};
