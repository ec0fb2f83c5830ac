#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "prod/Member.h"

class CProd;

/// Where the values of one element go: a column of a record, or of a family of columns with an index
/// (layer, level, band). Both functions null: the element is skipped.
struct STarget {
  TColumn<int64_t>* (*pInts)(CProd&, int) = nullptr;
  TColumn<double>* (*pReals)(CProd&, int) = nullptr;
  bool bKept = false;  // the column has elements for kept pixels only

  bool IsNone() const { return !pInts && !pReals; }
};

namespace target_detail {
template <class T, auto MEMBER, int INDEX>
TColumn<T>* At(CProd& prod, int nIndex) {
  return MemberAt<MEMBER, INDEX>(prod, nIndex);
}
}  // namespace target_detail

/// Target of a record's member: a column, or of a family the one with the given index, or (-1) with the
/// index of the repetition.
template <auto MEMBER, int INDEX = -1>
constexpr STarget Into() {
  using Column = typename SMember<decltype(MEMBER)>::Element;
  using T = typename Column::Value;
  if constexpr (std::is_same_v<T, int64_t>)
    return {&target_detail::At<T, MEMBER, INDEX>, nullptr, Column::KEPT};
  else
    return {nullptr, &target_detail::At<T, MEMBER, INDEX>, Column::KEPT};
}

/// The element is read over.
inline constexpr STarget NOT_KEPT = {};

/// How the packed integer of an element becomes a value (see VARIANTS in Decompress.h).
enum class ECall : uint8_t { INT, FLOAT, FOV, INT_X1000, FLOAT_X1000 };

/// Widths of an element in bits, by layout version 0 to 8. 0: the version does not carry the element;
/// negative: it carries it, and the value is not kept.
struct SWidths {
  int8_t arn[9];
};

constexpr int VERSIONS = 9;

/// The same width in every layout version.
constexpr SWidths All(int nWidth) {
  SWidths widths{};
  for (auto& n : widths.arn) n = static_cast<int8_t>(nWidth);
  return widths;
}

/// One row of a product layout.
struct SElement {
  const char* szDescriptor;  // Table B descriptor, F XX YYY
  const char* szName;
  ECall eCall;
  SWidths widths;
  int64_t nReference;
  int nScale;      // decimal scale: value = (packed + reference) / 10^scale
  uint64_t nFlag;  // missing-data flag
  STarget target;
  int64_t nMissing = -1;    // of integers; reals are -777.0
  int64_t nUndecoded = -1;  // what stands in a column of integers where nothing could be decoded
};

using TLayout = std::span<const SElement>;

/// Bits of the missing-data report.
enum EMissingFlag : uint64_t {
  MISSING_SATELLITE = 0x1,
  MISSING_TIME = 0x2,
  MISSING_LATITUDE = 0x4,
  MISSING_LONGITUDE = 0x8,
  MISSING_SATELLITE_ANGLES = 0x10,
  MISSING_SOLAR_ANGLES = 0x20,
  MISSING_PIXEL_KEY = 0x40,
  MISSING_HEIGHT = 0x100,
  MISSING_QUALITY = 0x200,
  MISSING_SCALE_FACTOR = 0x400,
  MISSING_SPECTRUM = 0x800,
  MISSING_AVHRR = 0x1000,
  MISSING_FRACTION = 0x2000,
  MISSING_L2 = 0x4000  // those of the L2 kinds themselves: MissingFlag in ProductKind.h
};
