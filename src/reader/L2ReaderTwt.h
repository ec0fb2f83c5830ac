#pragma once

#include "bufr/BUFRReaderL2twt.h"
#include "prod/ProdL2twt.h"
#include "prod/ProductKind.h"
#include "reader/L2Reader.h"

/// Reader of temperature and water vapour.
class CL2ReaderTwt : public TL2Reader<PRODUCT_TWT, CProdL2twt, CBUFRReaderL2twt> {};
