#pragma once

#include "bufr/BUFRReaderL2ems.h"
#include "prod/ProdL2ems.h"
#include "prod/ProductKind.h"
#include "reader/L2Reader.h"

/// Reader of surface emissivity.
class CL2ReaderEms : public TL2Reader<PRODUCT_EMS, CProdL2ems, CBUFRReaderL2ems> {};
