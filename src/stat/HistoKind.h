#pragma once

#include <span>

#include "app/ConfigParam.h"
#include "stat/PixelValue.h"

/// A histogram of one value an L1C pixel.
struct SHistoKind {
  EHisto eHisto;
  const char* szSuffix;  // of its file
  const char* szValue;
  const char* szUnit;
  TPixelValue pValue;
  bool bTemperature = false;  // the averages are imager radiances, shown as temperatures too
};

/// In the order of their files.
extern const std::span<const SHistoKind> HISTO_KINDS;
