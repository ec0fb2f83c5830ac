#pragma once

#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL2.h"

class CProdL2trg;

/// Decoder of L2 messages of trace-gas columns.
class CBUFRReaderL2trg : public CBUFRReaderL2 {
 public:
  using CBUFRReader::InterpretFirstLevel;

  /// Decodes the header of all pixels; 0 when something could not be decoded. The record is sized for
  /// nSubsets pixels.
  int InterpretFirstLevel(CProdL2trg* pProd);
  /// Decodes the product block of the kept pixels; 0 when something could not be decoded or no header was.
  int UpdateL2(CProdL2trg* pProd);
};
