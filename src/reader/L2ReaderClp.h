#pragma once

#include "bufr/BUFRReaderL2clp.h"
#include "prod/ProdL2clp.h"
#include "prod/ProductKind.h"
#include "reader/L2Reader.h"

/// Reader of cloud parameters.
class CL2ReaderClp : public TL2Reader<PRODUCT_CLP, CProdL2clp, CBUFRReaderL2clp> {};
