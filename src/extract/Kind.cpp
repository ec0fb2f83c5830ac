#include "extract/Kind.h"

#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "reader/L1Reader.h"
#include "reader/L2ReaderClp.h"
#include "reader/L2ReaderEms.h"
#include "reader/L2ReaderOzo.h"
#include "reader/L2ReaderTrg.h"
#include "reader/L2ReaderTwt.h"

namespace {

template <class TBase, class T>
std::unique_ptr<TBase> Make() {
  return std::make_unique<T>();
}

template <class TRecord, class TReader>
constexpr SKind Kind(EProduct eProduct) {
  return {eProduct, Make<CProd, TRecord>, Make<CReader, TReader>};
}

}  // namespace

constexpr SKind KIND_TABLE[] = {
    Kind<CProdL1C, CL1Reader>(PRODUCT_L1C),      Kind<CProdL2ozo, CL2ReaderOzo>(PRODUCT_OZO),
    Kind<CProdL2trg, CL2ReaderTrg>(PRODUCT_TRG), Kind<CProdL2clp, CL2ReaderClp>(PRODUCT_CLP),
    Kind<CProdL2twt, CL2ReaderTwt>(PRODUCT_TWT), Kind<CProdL2ems, CL2ReaderEms>(PRODUCT_EMS),
};
static_assert(HasAllProducts(KIND_TABLE), "a product has no record and reader, or not in its place");
