#pragma once

#include <cstdint>
#include <vector>

#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "sample/Layouts.h"
#include "sample/Template.h"

constexpr int SAMPLES = 8700;  // of a spectrum

/// One element of a layout, as the messages themselves describe it, and the column of the record at hand that
/// its values go to (none: they are not kept).
struct SLayoutRow {
  const TColumn<int64_t>* pInts = nullptr;
  const TColumn<double>* pReals = nullptr;
  uint64_t nFlag = 0;
  int64_t nMissing = -1;
  int64_t nUndecoded = nMissing;
  double fFactor = 1;  // on what is stored
  int64_t nOffset = 0;
  bool bKept = false;  // of kept pixels only
  STemplateField field = {};

  const void* Column() const { return pInts ? static_cast<const void*>(pInts) : pReals; }
};
using TRows = std::vector<SLayoutRow>;

/// The elements of an L2 message. The archive has no versions 1 and 2: they are laid out as another one, in
/// clp without a few elements.
TRows L2Rows(EKind eKind, int nVersion, const CProd& record);
/// Those of an L1C message. Scale bands and samples of the spectrum have no column.
TRows L1CRows(int nLayout, const CProdL1C& record);
