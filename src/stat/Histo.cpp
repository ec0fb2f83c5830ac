#include "stat/Histo.h"

#include "app/ConfigParam.h"
#include "prod/Prod.h"
#include "stat/HistoKind.h"
#include "stat/Moments.h"
#include "stat/MultiPixStat.h"

CHisto::CHisto(const SHistoKind& kind, const SHistoParam& param)
    : m_pKind(&kind),
      m_classes(param.fMin, param.fMax, param.nClasses),
      m_arPositions(1 + SPosition::COUNT, CStatHisto(param.nClasses)) {}

double CHisto::Size(const SHistoParam& param) {
  return CClasses::Size(param.nClasses) + sizeof(SMoments) * (1.0 + SPosition::COUNT) * param.nClasses;
}

void CHisto::Add(const CProd& prod, int nPixel) {
  const double fValue = m_pKind->pValue(prod, nPixel, 0);
  m_arPositions[0].Add(m_classes, fValue);
  const int nPosition = SPosition::Of(prod.FieldOfViewNumber[nPixel]);
  if (nPosition > 0) m_arPositions[nPosition].Add(m_classes, fValue);
}
