#include "bufr/BUFRReaderL2trg.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/Element.h"
#include "bufr/L2Header.h"
#include "bufr/LayoutEngine.h"
#include "prod/ProdL2trg.h"
#include "prod/ProductKind.h"

namespace {
using enum ECall;
using P = CProdL2trg;

constexpr uint64_t MISSING_TRG = MissingFlag(PRODUCT_TRG);

constexpr SElement GASES[] = {
    {"local", "integrated N2O density", FLOAT, All(16), 0, 6, MISSING_TRG, Into<&P::IntegratedN2ODensity>()},
    {"local", "integrated CO density", FLOAT, All(16), 0, 7, MISSING_TRG, Into<&P::IntegratedCODensity>()},
    {"local", "integrated CH4 density", FLOAT, All(16), 0, 6, MISSING_TRG, Into<&P::IntegratedCH4Density>()},
    {"local", "integrated CO2 density", FLOAT, All(16), 0, 3, MISSING_TRG, Into<&P::IntegratedCO2Density>()},
};
}  // namespace

int CBUFRReaderL2trg::InterpretFirstLevel(CProdL2trg* pProd) {
  return DecodeHeader(L2_HEADER<P, EL2Header::EMS_TRG>, *pProd);
}

int CBUFRReaderL2trg::UpdateL2(CProdL2trg* pProd) {
  if (nSecondLevelBitPos < 1) return 0;
  CBitCursor data = Data(nSecondLevelBitPos);
  return m_engine.Decode(GASES, *pProd, data);
}
