#pragma once

#include <memory>

#include "prod/ProductKind.h"

class CProd;
class CReader;

/// What a product is held in and read by; one row each, in the order of the streams.
struct SKind {
  EProduct eProduct;
  std::unique_ptr<CProd> (*pMakeRecord)();
  std::unique_ptr<CReader> (*pMakeReader)();
};

extern const SKind KIND_TABLE[PRODUCTS];
