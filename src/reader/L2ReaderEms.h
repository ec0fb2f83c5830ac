#pragma once

#include "bufr/BUFRReaderL2ems.h"
#include "reader/L2Reader.h"

struct SL2KindEms {
  using Record = CProdL2ems;
  using Decoder = CBUFRReaderL2ems;
  static CBUFRDescriptor LastDescriptor() { return {0, 14, 50}; }
  static constexpr bool CHECK_KIND = true;
  static constexpr const char* OTHER_KIND = "\nError: data are not ems";
  static constexpr const char* FIRST_LEVEL = "\nProbleme interpretation BUFR dans premier niveau de donnees";
  static void Init(Record* pProd, int nSubsets) { pProd->InitFirstL2ems(nSubsets); }
};

/// Reader of surface emissivity.
class CL2ReaderEms : public TL2Reader<SL2KindEms> {};
