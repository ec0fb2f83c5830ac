#pragma once

#include "bufr/BUFRReaderL2ozo.h"
#include "reader/L2Reader.h"

struct SL2KindOzo {
  using Record = CProdL2ozo;
  using Decoder = CBUFRReaderL2ozo;
  static CBUFRDescriptor LastDescriptor() { return {0, 15, 20}; }
  static constexpr bool CHECK_KIND = false;
  static constexpr const char* OTHER_KIND = "\nError: data are not ozo";
  static constexpr const char* FIRST_LEVEL = "\nProbleme interpretation BUFR dans premier niveau de donnees";
  static void Init(Record* pProd, int nSubsets) { pProd->InitFirstL2ozo(nSubsets); }
};

/// Reader of ozone columns.
class CL2ReaderOzo : public TL2Reader<SL2KindOzo> {};
