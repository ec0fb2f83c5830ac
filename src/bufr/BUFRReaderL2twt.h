#pragma once

#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL2.h"
#include "bufr/Element.h"

class CBitCursor;
class CProdL2twt;

/// Decoder of L2 messages of temperature and water-vapour profiles.
class CBUFRReaderL2twt : public CBUFRReaderL2 {
 public:
  using CBUFRReader::InterpretFirstLevel;

  /// Decodes the header of all pixels; 0 when something could not be decoded. The record is sized for
  /// nSubsets pixels.
  int InterpretFirstLevel(CProdL2twt* pProd);
  /// Decodes the product block of the kept pixels; 0 when something could not be decoded or no header was.
  int UpdateL2(CProdL2twt* pProd);

 private:
  bool DecodeProfile(TLayout count, TLayout level, const char* szWrongCount, CProdL2twt& prod,
                     CBitCursor& data);
};
