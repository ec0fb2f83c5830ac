#include "bufr/BUFRReaderL2twt.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/L2Header.h"
#include "bufr/LayoutEngine.h"
#include "kernel/Reporter.h"
#include "prod/ProdL2twt.h"
#include "prod/ProductKind.h"

namespace {
using enum ECall;
using P = CProdL2twt;

constexpr uint64_t MISSING_TWT = MissingFlag(PRODUCT_TWT);

/// Versions 3 to 7, version 8, and the others.
constexpr SWidths Versions(int n3To7, int n8, int nOthers) {
  SWidths widths = All(nOthers);
  for (int i = 3; i <= 7; ++i) widths.arn[i] = static_cast<int8_t>(n3To7);
  widths.arn[8] = static_cast<int8_t>(n8);
  return widths;
}

constexpr SElement SURFACE[] = {
    {"0 08 003", "vertical significance", INT, All(6), 0, 0, MISSING_TWT, Into<&P::VerticalSignificance1>()},
    {"0 10 004", "pressure at the surface", FLOAT, Versions(30, 20, 14), 0, -1, MISSING_TWT,
     Into<&P::Pressure>()},
    {"0 08 049", "number of observations", INT, All(8), 0, 0, MISSING_TWT, Into<&P::NumberOfObservations1>()},
    {"0 12 061", "skin temperature", FLOAT, All(12), 0, 1, MISSING_TWT, Into<&P::SkinTemperature>()},
    {"0 08 049", "number of observations", INT, All(8), 0, 0, MISSING_TWT, Into<&P::NumberOfObservations2>()},
    {"0 07 001", "height of station (2 02 126)", FLOAT_X1000, All(15), -400, -2, MISSING_HEIGHT,
     Into<&P::HeightOfStation>()},
    {"0 08 003", "vertical significance", INT, All(6), 0, 0, MISSING_TWT, Into<&P::VerticalSignificance2>()},
};

constexpr SElement PT_COUNT[] = {
    {"0 31 001", "delayed replication factor", INT, All(8), 0, 0, MISSING_TWT, Into<&P::PTCount>()}};

constexpr SElement PT_LEVEL[] = {
    {"0 07 004", "pressure (2 01 138, 2 02 131)", FLOAT, All(24), 0, 2, MISSING_TWT, Into<&P::PTPressure>()},
    {"0 12 101", "temperature/dry-bulb temperature", FLOAT, All(16), 0, 2, MISSING_TWT,
     Into<&P::PTTemperature>()},
};

constexpr SElement PMR_COUNT[] = {
    {"0 31 001", "delayed replication factor", INT, All(8), 0, 0, MISSING_TWT, Into<&P::PMRCount>()}};

constexpr SElement PMR_LEVEL_OLD[] = {
    {"0 07 004", "pressure (2 01 138, 2 02 131)", FLOAT, All(24), 0, 2, MISSING_TWT, Into<&P::PMRPressure>()},
    {"0 13 002", "mixing ratio (2 01 134, 2 02 129)", FLOAT, All(20), 0, 6, MISSING_TWT,
     Into<&P::PMRMixingRatio>()},
};

constexpr SElement PMR_LEVEL[] = {
    {"0 07 004", "pressure (2 01 138, 2 02 131)", FLOAT, All(24), 0, 2, MISSING_TWT, Into<&P::PMRPressure>()},
    {"0 13 002", "mixing ratio (2 01 144, 2 02 130)", FLOAT, All(30), 0, 7, MISSING_TWT,
     Into<&P::PMRMixingRatio>()},
};
}  // namespace

int CBUFRReaderL2twt::InterpretFirstLevel(CProdL2twt* pProd) {
  return DecodeHeader(L2_HEADER<P, EL2Header::TWT>, *pProd);
}

/// One profile: the count twice (once to judge the message by its first pixel, once for the record), then the
/// levels, if there are as many as the layout has.
bool CBUFRReaderL2twt::DecodeProfile(TLayout count, TLayout level, const char* szWrongCount, CProdL2twt& prod,
                                     CBitCursor& data) {
  const int nExpected = VersionFrom3To(8) ? P::LEVELS : P::FEW_LEVELS;
  CBitCursor peek = data;
  int64_t nLevels;
  bool bAll = DecodeCount(peek, MISSING_TWT, nLevels);
  bAll &= m_engine.Decode(count, prod, data);
  const bool bConform = nLevels == nExpected;
  m_engine.Blank(level, prod, bConform ? nExpected : 0, P::LEVELS);
  if (bConform) return m_engine.DecodeRepeated(level, nExpected, prod, data) && bAll;
  CReporter::Line(szWrongCount);
  return bAll;
}

int CBUFRReaderL2twt::UpdateL2(CProdL2twt* pProd) {
  if (nSecondLevelBitPos < 1) return 0;
  CBitCursor data = Data(nSecondLevelBitPos);
  bool bAll = m_engine.Decode(SURFACE, *pProd, data);
  bAll &=
      DecodeProfile(PT_COUNT, PT_LEVEL, "Nombre de profils pression/temperature non conforme", *pProd, data);
  const TLayout pmrLevel = VersionFrom3To(8) ? TLayout(PMR_LEVEL) : TLayout(PMR_LEVEL_OLD);
  bAll &= DecodeProfile(PMR_COUNT, pmrLevel, "Nombre de profils pression/mixing ratio non conforme", *pProd,
                        data);
  return bAll;
}
