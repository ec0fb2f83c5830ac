#pragma once

#include "bufr/BUFRReaderL2twt.h"
#include "reader/L2Reader.h"

struct SL2KindTwt {
  using Record = CProdL2twt;
  using Decoder = CBUFRReaderL2twt;
  static CBUFRDescriptor LastDescriptor() { return {2, 2, 0}; }
  static constexpr bool CHECK_KIND = true;
  static constexpr const char* OTHER_KIND = "\nError: data are not twt";
  static constexpr const char* FIRST_LEVEL =
      "\nProbleme interpretation BUFR dans premier niveau de donnees ok ";
  static void Init(Record* pProd, int nSubsets) { pProd->InitFirstL2twt(nSubsets); }
};

/// Reader of temperature and water vapour.
class CL2ReaderTwt : public TL2Reader<SL2KindTwt> {};
