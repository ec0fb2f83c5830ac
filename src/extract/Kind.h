#pragma once

#include <cstdint>
#include <memory>

#include "output/Writer.h"
#include "reader/Reader.h"

/// How a product is read and written; one row each, in the order of the streams.
struct SKind {
  std::unique_ptr<CProd> (*pMakeRecord)();
  std::unique_ptr<CReader> (*pMakeReader)();
  TBlock block;
  void (*pWriteBin)(CWriter&, const CConfigParam*, const CProd&, int nPixel);
  void (*pWriteBinMissing)(CWriter&, const CConfigParam*);
  void (*pWriteText)(CWriter&, const CConfigParam*, const CProd&, int nPixel);
  void (*pWriteTextMissing)(CWriter&, const CConfigParam*);
};

extern const SKind KIND_TABLE[PRODUCTS];
