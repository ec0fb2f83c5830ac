#pragma once

#include "bufr/BUFRReaderL2ozo.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProductKind.h"
#include "reader/L2Reader.h"

/// Reader of ozone columns.
class CL2ReaderOzo : public TL2Reader<PRODUCT_OZO, CProdL2ozo, CBUFRReaderL2ozo> {};
