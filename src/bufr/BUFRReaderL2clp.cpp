#include "bufr/BUFRReaderL2clp.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/Element.h"
#include "bufr/L2Header.h"
#include "bufr/LayoutEngine.h"
#include "prod/ProdL2clp.h"
#include "prod/ProductKind.h"

namespace {
using enum ECall;
using P = CProdL2clp;

constexpr uint64_t MISSING_CLP = MissingFlag(PRODUCT_CLP);

constexpr SElement SURFACE[] = {
    {"0 08 003", "vertical significance", INT, All(6), 0, 0, MISSING_CLP, Into<&P::VerticalSignificance>()},
};

constexpr SElement LAYER[] = {
    {"0 07 004", "pressure (2 01 131, 2 02 129)", FLOAT, All(17), 0, 0, MISSING_CLP, Into<&P::Pressure>()},
    {"0 12 101", "temperature/dry-bulb temperature", FLOAT, All(16), 0, 2, MISSING_CLP,
     Into<&P::Temperature>()},
    {"0 20 081", "cloud amount in segment (2 01 135, 2 02 130)", FLOAT, All(14), 0, 2, MISSING_CLP,
     Into<&P::CloudAmountInSegment>()},
    {"0 20 056", "cloud phase", INT, All(3), 0, 0, MISSING_CLP, Into<&P::CloudPhase>()},
};
}  // namespace

int CBUFRReaderL2clp::InterpretFirstLevel(CProdL2clp* pProd) {
  return DecodeHeader(L2_HEADER<P, EL2Header::CLP>, *pProd);
}

int CBUFRReaderL2clp::UpdateL2(CProdL2clp* pProd) {
  if (nSecondLevelBitPos < 1) return 0;
  CBitCursor data = Data(nSecondLevelBitPos);
  const bool bSurface = m_engine.Decode(SURFACE, *pProd, data);
  return m_engine.DecodeRepeated(LAYER, P::LAYERS, *pProd, data) && bSurface;
}
