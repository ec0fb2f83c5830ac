#include "archive/FirstLevel.h"

#include <algorithm>
#include <type_traits>

#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL1C.h"
#include "bufr/BUFRReaderL2clp.h"
#include "bufr/BUFRReaderL2ems.h"
#include "bufr/BUFRReaderL2ozo.h"
#include "bufr/BUFRReaderL2trg.h"
#include "bufr/BUFRReaderL2twt.h"
#include "bufr/StreamReader.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"

namespace {

template <class TRecord, class TDecoder>
class TFirstLevel : public CFirstLevel {
 public:
  TFirstLevel() { m_decoder.bBlankUndecoded = true; }
  static std::unique_ptr<CFirstLevel> Make() { return std::make_unique<TFirstLevel>(); }

 protected:
  CBUFRReader& Decoder() override { return m_decoder; }
  const CProd& Interpret() override {
    if constexpr (std::is_same_v<TRecord, CProdL1C>)
      m_record.InitFirstL1(m_decoder.nSubsets, 0);
    else
      m_record.InitFirstL2(m_decoder.nSubsets);
    m_decoder.InterpretFirstLevel(&m_record);
    return m_record;
  }

 private:
  TDecoder m_decoder;
  TRecord m_record;
};

struct SFactory {
  EProduct eProduct;
  std::unique_ptr<CFirstLevel> (*pMake)();
};

constexpr SFactory FACTORIES[] = {
    {PRODUCT_L1C, TFirstLevel<CProdL1C, CBUFRReaderL1C>::Make},
    {PRODUCT_OZO, TFirstLevel<CProdL2ozo, CBUFRReaderL2ozo>::Make},
    {PRODUCT_TRG, TFirstLevel<CProdL2trg, CBUFRReaderL2trg>::Make},
    {PRODUCT_CLP, TFirstLevel<CProdL2clp, CBUFRReaderL2clp>::Make},
    {PRODUCT_TWT, TFirstLevel<CProdL2twt, CBUFRReaderL2twt>::Make},
    {PRODUCT_EMS, TFirstLevel<CProdL2ems, CBUFRReaderL2ems>::Make},
};
static_assert(HasAllProducts(FACTORIES), "a product has no decoder, or not in its place");

bool GoTo(CStreamReader& stream, int64_t nOffset) {
  constexpr int64_t FARTHEST = 1 << 30;  // that one skip goes
  while (stream.Position() != nOffset) {
    const int64_t nStep = std::clamp(nOffset - stream.Position(), -FARTHEST, FARTHEST);
    if (stream.Skip(static_cast<int>(nStep)) != nStep) return false;
  }
  return true;
}

}  // namespace

std::unique_ptr<CFirstLevel> CFirstLevel::Make(EProduct eProduct) { return FACTORIES[eProduct].pMake(); }

bool CFirstLevel::Open(const char* szPath) { return Decoder().Open(szPath); }

void CFirstLevel::Close() { Decoder().Close(); }

const CProd* CFirstLevel::Decode(int64_t nOffset) {
  CBUFRReader& decoder = Decoder();
  if (!GoTo(decoder.stream, nOffset)) return nullptr;
  decoder.ReadMessageSections();
  if (decoder.stream.Failed() || decoder.nSubsets < 1) return nullptr;
  return &Interpret();
}
