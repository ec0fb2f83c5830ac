#pragma once

#include "bufr/BUFRReaderL2trg.h"
#include "prod/ProdL2trg.h"
#include "prod/ProductKind.h"
#include "reader/L2Reader.h"

/// Reader of trace gases.
class CL2ReaderTrg : public TL2Reader<PRODUCT_TRG, CProdL2trg, CBUFRReaderL2trg> {};
