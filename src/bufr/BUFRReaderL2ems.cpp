#include "bufr/BUFRReaderL2ems.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/Element.h"
#include "bufr/L2Header.h"
#include "bufr/LayoutEngine.h"
#include "kernel/Reporter.h"
#include "prod/ProdL2ems.h"
#include "prod/ProductKind.h"

namespace {
using enum ECall;
using P = CProdL2ems;

constexpr uint64_t MISSING_EMS = MissingFlag(PRODUCT_EMS);

constexpr SElement POINT[] = {
    {"0 02 153", "satellite channel centre frequency", FLOAT, All(26), 0, -8, MISSING_EMS,
     Into<&P::Frequency>()},
    {"0 14 050", "emissivity", FLOAT, All(10), 0, 1, MISSING_EMS, Into<&P::Emissivity>()},
};
}  // namespace

int CBUFRReaderL2ems::InterpretFirstLevel(CProdL2ems* pProd) {
  return DecodeHeader(L2_HEADER<P, EL2Header::EMS_TRG>, *pProd);
}

int CBUFRReaderL2ems::UpdateL2(CProdL2ems* pProd) {
  if (nSecondLevelBitPos < 1) return 0;
  CBitCursor data = Data(nSecondLevelBitPos);
  int64_t nPoints;
  const bool bCount = DecodeCount(data, MISSING_EMS, nPoints);
  if (nPoints == P::POINTS) return m_engine.DecodeRepeated(POINT, P::POINTS, *pProd, data) && bCount;
  CReporter::Line("Nombre de donnees emissivite non conforme");
  m_engine.Blank(POINT, *pProd, 0, P::POINTS);
  return bCount;
}
