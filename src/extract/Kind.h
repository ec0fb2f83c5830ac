#pragma once

#include <cstdint>
#include <memory>

#include "output/Writer.h"
#include "reader/Reader.h"

/// What the run needs to know of a product kind; one row each, in the order of the streams.
struct SKind {
  const char* szName;     // in messages, and as the directory of L2 files
  const char* szNoFiles;  // said when no file is found
  int nHeaderCode;        // code in the binary header, 0 for L1C
  uint64_t nMissingFlag;  // bit of the missing-data report that is shown only when the kind is active
  std::unique_ptr<CProd> (*pMakeRecord)();
  std::unique_ptr<CReader> (*pMakeReader)();
  TBlock block;
  void (*pWriteBin)(CWriter&, const CConfigParam*, const CProd&, int nPixel);
  void (*pWriteBinMissing)(CWriter&, const CConfigParam*);
  void (*pWriteText)(CWriter&, const CConfigParam*, const CProd&, int nPixel);
  void (*pWriteTextMissing)(CWriter&, const CConfigParam*);
};

constexpr int KINDS = 1 + L2_COUNT;
extern const SKind KIND_TABLE[KINDS];

/// L1C and then the L2 kinds.
inline bool IsRequested(const CConfigParam* pConfig, int nKind) {
  return nKind == 0 ? pConfig->L1CRequested() : pConfig->arbL2[nKind - 1];
}
