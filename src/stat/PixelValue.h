#pragma once

#include <type_traits>

#include "kernel/MissingReal.h"
#include "prod/Member.h"
#include "prod/Prod.h"

/// One value of a pixel, -777 when it is missing. nIndex: the repetition, where a pixel has several.
using TPixelValue = double (*)(const CProd& prod, int nPixel, int nIndex);

/// The value in a record's column or family of columns.
template <auto MEMBER>
double PixelValue(const CProd& prod, int nPixel, int nIndex) {
  const auto value = prod.At(*MemberAt<MEMBER, -1>(prod, nIndex), nPixel);
  if constexpr (std::is_integral_v<decltype(value)>)
    return value == CProd::DEFAULT_VALUE_M1 ? MISSING_REAL : static_cast<double>(value);
  else
    return value;
}
