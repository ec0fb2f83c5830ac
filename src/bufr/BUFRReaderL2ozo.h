#pragma once

#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL2.h"

class CProdL2ozo;

/// Decoder of L2 messages of ozone columns.
class CBUFRReaderL2ozo : public CBUFRReaderL2 {
 public:
  using CBUFRReader::InterpretFirstLevel;

  /// Decodes the header of all pixels; 0 when something could not be decoded. The record is sized for
  /// nSubsets pixels.
  int InterpretFirstLevel(CProdL2ozo* pProd);
  /// Decodes the product block of the kept pixels; 0 when something could not be decoded or no header was.
  int UpdateL2(CProdL2ozo* pProd);
};
