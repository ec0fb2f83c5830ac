#pragma once

#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL2.h"

class CProdL2ems;

/// Decoder of L2 messages of surface emissivity.
class CBUFRReaderL2ems : public CBUFRReaderL2 {
 public:
  using CBUFRReader::InterpretFirstLevel;

  /// Decodes the header of all pixels; 0 when something could not be decoded. The record is sized for
  /// nSubsets pixels.
  int InterpretFirstLevel(CProdL2ems* pProd);
  /// Decodes the product block of the kept pixels; 0 when something could not be decoded or no header was.
  int UpdateL2(CProdL2ems* pProd);
};
