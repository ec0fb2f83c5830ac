#include "bufr/BUFRReaderL2ozo.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/Element.h"
#include "bufr/L2Header.h"
#include "bufr/LayoutEngine.h"
#include "kernel/Reporter.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProductKind.h"

namespace {
using enum ECall;
using P = CProdL2ozo;

constexpr uint64_t MISSING_OZO = MissingFlag(PRODUCT_OZO);

constexpr SElement LAYER[] = {
    {"0 07 004", "pressure of the layer's top (2 01 138, 2 02 131)", FLOAT, All(24), 0, 2, MISSING_OZO,
     Into<&P::LayerTopPressure>()},
    {"0 07 004", "pressure of the layer's bottom (2 01 138, 2 02 131)", FLOAT, All(24), 0, 2, MISSING_OZO,
     Into<&P::LayerBottomPressure>()},
    {"0 15 020", "integrated ozone density", FLOAT, All(21), 0, 8, MISSING_OZO,
     Into<&P::IntegratedO3Density>()},
};

// Behind the 101 layers.
constexpr int TRAILING_ELEMENTS = 55;
constexpr SElement TRAILING[] = {{"local", "averaging kernel", FLOAT, All(21), -1000000, 4, 0, NOT_KEPT}};
}  // namespace

int CBUFRReaderL2ozo::InterpretFirstLevel(CProdL2ozo* pProd) {
  return DecodeHeader(L2_HEADER<P, EL2Header::OZO>, *pProd);
}

int CBUFRReaderL2ozo::UpdateL2(CProdL2ozo* pProd) {
  if (nSecondLevelBitPos < 1) return 0;
  const bool bManyLayers = VersionFrom3To(4);
  const int nExpected = bManyLayers ? P::LAYERS : P::FEW_LAYERS;
  CBitCursor data = Data(nSecondLevelBitPos);
  int64_t nLayers;
  bool bAll = DecodeCount(data, MISSING_OZO, nLayers);
  const bool bConform = nLayers == nExpected;
  pProd->LayerCount = nExpected;
  m_engine.Blank(LAYER, *pProd, bConform ? nExpected : 0, P::LAYERS);
  if (!bConform) {
    CReporter::Line("Nombre de donnees ozone non conforme");
    return bAll;
  }
  bAll &= m_engine.DecodeRepeated(LAYER, nExpected, *pProd, data);
  if (bManyLayers) bAll &= m_engine.DecodeRepeated(TRAILING, TRAILING_ELEMENTS, *pProd, data);
  return bAll;
}
