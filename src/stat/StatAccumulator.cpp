#include "stat/StatAccumulator.h"

#include <cstdint>

#include "prod/Column.h"
#include "prod/ProdL1C.h"
#include "prod/ProductKind.h"
#include "stat/BoxStat.h"
#include "stat/Histo.h"
#include "stat/HistoMultiPix.h"
#include "stat/SpeMultiStat.h"
#include "stat/StTpStat.h"
#include "stat/StatSet.h"

void CStatAccumulator::Add(CStatSet& set, int nProduct, const CProd& prod, int nPixel) {
  if (set.pBoxes) set.pBoxes->Add(nProduct, prod, nPixel);
  if (nProduct == PRODUCT_L1C) AddL1C(set, static_cast<const CProdL1C&>(prod), nPixel);
}

void CStatAccumulator::AddL1C(CStatSet& set, const CProdL1C& prod, int nPixel) {
  const SSpectrumRow row = m_rows.Row(prod.Spectrum, prod.KeptRow(nPixel).nRow);
  const int64_t nCloud = prod.CloudFraction[nPixel], nFieldOfView = prod.FieldOfViewNumber[nPixel];
  if (set.pSpectra) set.pSpectra->Add(row, nCloud);
  if (set.pSurfacePeriod)
    set.pSurfacePeriod->Add(row, nCloud, nFieldOfView, prod.SurfaceType[nPixel],
                            prod.SolarZenithAngle[nPixel]);
  if (set.pRadiances) set.pRadiances->Add(row, nFieldOfView);
  for (const auto& pHisto : set.arpHistos) pHisto->Add(prod, nPixel);
}
