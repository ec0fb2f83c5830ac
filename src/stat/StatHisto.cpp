#include "stat/StatHisto.h"

#include "kernel/MissingReal.h"
#include "stat/Classes.h"

void CStatHisto::Add(const CClasses& classes, double fValue) {
  if (fValue == MISSING_REAL) {
    ++m_nMissing;
    return;
  }
  const int nClass = classes.Find(fValue);
  if (nClass < 0)
    ++m_nBelow;
  else if (nClass >= classes.Count())
    ++m_nAbove;
  else
    m_arClasses[nClass].Add(fValue);
}
