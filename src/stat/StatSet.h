#pragma once

#include <memory>
#include <string>
#include <vector>

#include "prod/ProductKind.h"
#include "stat/BoxStat.h"
#include "stat/Histo.h"
#include "stat/HistoMultiPix.h"
#include "stat/SpeMultiStat.h"
#include "stat/StTpStat.h"

class CConfigParam;
class CRunResult;

/// What a run of the statistics format accumulates in, by its parameters.
class CStatSet {
 public:
  /// A grid or histogram may take this many bytes.
  static constexpr double SIZE_MAX_BYTES = 1e9;

  /// A grid or histogram that is too large is named in the result, by its file, and left out.
  /// arbActive: the products that have columns in the grid of boxes. szPath: the output path.
  CStatSet(const CConfigParam& config, int nColumns, const bool (&arbActive)[PRODUCTS],
           const std::string& szPath, CRunResult& result);
  virtual ~CStatSet() = default;

  // Null, or not there, when not asked for or left out:
  std::unique_ptr<CSpeMultiStat> pSpectra;
  std::unique_ptr<CStTpStat> pSurfacePeriod;       // in place of the spectra
  std::vector<std::unique_ptr<CHisto>> arpHistos;  // in the order of their files
  std::unique_ptr<CHistoMultiPix> pRadiances;
  std::unique_ptr<CBoxStat> pBoxes;

 private:
  template <class T, class... TArguments>
  static std::unique_ptr<T> Make(CRunResult& result, const std::string& szFile, double fSize,
                                 const TArguments&... arguments);
};
