#include "stat/StatSet.h"

#include <new>
#include <utility>

#include "app/ConfigParam.h"
#include "output/RunResult.h"
#include "stat/HistoKind.h"

CStatSet::CStatSet(const CConfigParam& config, int nColumns, const bool (&arbActive)[PRODUCTS],
                   const std::string& szPath, CRunResult& result) {
  const bool bFour = config.bSkewnessKurtosis, bExtended = config.bSurfacePeriodStat;
  if (bExtended)
    pSurfacePeriod = std::make_unique<CStTpStat>(nColumns, bFour);
  else
    pSpectra = std::make_unique<CSpeMultiStat>(nColumns, bFour);
  for (const SHistoKind& kind : HISTO_KINDS) {
    const SHistoParam& param = config.arHistos[kind.eHisto];
    if (!param.bOn) continue;
    auto pHisto = Make<CHisto>(result, szPath + kind.szSuffix, CHisto::Size(param), kind, param);
    if (pHisto) arpHistos.push_back(std::move(pHisto));
  }
  const SHistoParam& radiances = config.arHistos[HISTO_PIX];
  if (radiances.bOn)
    pRadiances = Make<CHistoMultiPix>(result, szPath + CHistoMultiPix::Suffix(0),
                                      CHistoMultiPix::Size(radiances, nColumns, bExtended), radiances,
                                      nColumns, bExtended);
  const int nLatitudes = config.nBoxStatLatitudes, nLongitudes = config.nBoxStatLongitudes;
  if (config.bBoxStat)
    pBoxes =
        Make<CBoxStat>(result, szPath + CBoxStat::SUFFIX, CBoxStat::Size(nLatitudes, nLongitudes, arbActive),
                       nLatitudes, nLongitudes, arbActive);
}

/// Null when there is no room.
template <class T, class... TArguments>
std::unique_ptr<T> CStatSet::Make(CRunResult& result, const std::string& szFile, double fSize,
                                  const TArguments&... arguments) {
  try {
    if (fSize <= SIZE_MAX_BYTES) return std::make_unique<T>(arguments...);
  } catch (const std::bad_alloc&) {
  }
  result.Fail(CRunResult::NO_ROOM, szFile);
  return nullptr;
}
