#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "prod/Member.h"
#include "prod/ProdL2.h"

class CProd;

/// The blocks of an output record as data. One row is one field: its column name in the text header, where
/// its value comes from, its form in a binary and in a text record, and what stands there when the product
/// has no pixel in the record. The binary block, the text block, the header and both missing forms are made
/// from these rows.

enum class EBin : uint8_t { NONE, INT1, INT2, INT4, REAL4 };
enum class EText : uint8_t { INT, REAL };

/// Where a field's value stands.
enum class EForm : uint8_t {
  NONE,   // nowhere in the record: it is given with the block
  INT,    // an integer of the record
  INTS,   // a column of integers
  REALS,  // a column of reals
  FIXED   // the same for all pixels (in plans only)
};

/// The integer or the column itself, with the index of the repetition.
struct SSource {
  EForm eForm = EForm::NONE;
  bool bKept = false;  // a column of kept pixels
  const void* (*pPlace)(const CProd&, int nIndex) = nullptr;
};

namespace source_detail {
template <class TPlace, auto MEMBER, int INDEX>
const void* Place(const CProd& prod, int nIndex) {
  return static_cast<const TPlace*>(MemberAt<MEMBER, INDEX>(prod, nIndex));
}
}  // namespace source_detail

/// A record's column, integer, or family (its column with the given index, or with the repetition's).
template <auto MEMBER, int INDEX = -1>
constexpr SSource From() {
  using Element = typename SMember<decltype(MEMBER)>::Element;
  if constexpr (std::is_same_v<Element, int64_t>) {
    return {EForm::INT, false, &source_detail::Place<int64_t, MEMBER, INDEX>};
  } else {
    constexpr EForm FORM = std::is_same_v<typename Element::Value, double> ? EForm::REALS : EForm::INTS;
    return {FORM, Element::KEPT, &source_detail::Place<TColumn<typename Element::Value>, MEMBER, INDEX>};
  }
}

/// What a field shows for a message of the day 1 archive, in place of the record's value.
struct SDayOne {
  bool bFixed = false;
  int nBin = 0;
  const char* szText = "";
};

/// The values that an instrument or a code table allows, both ends included, in the unit that is written.
struct SValid {
  double fMin = 0, fMax = 0;  // equal: none are known
};

/// What a reader needs to know of a field, for docs/formats.md, the manual and variables in other formats.
/// Runs do not look at it.
struct SAbout {
  const char* szVariable;  // unique in its block, which puts its prefix in front
  const char* szMeaning =
      "";                   // what is not the meaning itself, such as an odd value, stands behind a semicolon
  const char* szUnit = "";  // as UDUNITS spells it; empty: none
  SValid valid = {};
  const char* szStandardName = "";  // of the CF conventions, where they have one
  const char* szCodes = "";         // "0 land, 1 sea": what the values of a code table stand for
};

/// Codes of satellites, from code table 0 01 007 of BUFR.
inline constexpr char SATELLITES[] = "3 MetOp-B, 4 MetOp-A, 5 MetOp-C";

struct SField {
  const char* szName;  // '#' stands for the number of the repetition, from 1
  SSource source;
  EBin eBin;
  EText eText;
  int nMissingBin;
  int nMissingText;
  SAbout about;
  double fDivisor = 1;  // reals are written divided by it
  SDayOne dayOne = {};
};

/// Rows repeated together. Products of 2014-09-30 07:23 and later may have more repetitions than the header
/// and the missing form, which keep nTimes.
struct SGroup {
  std::span<const SField> fields;
  int nTimes = 1;
  int nTimesRecent = 1;
  const char* szDimension = "";        // what the repetitions are
  std::span<const SField> inner = {};  // repeated nInner times behind each repetition of the rows
  int nInner = 0;
  const char* szInnerDimension = "";
};

/// One block of a record, and what is particular about it.
struct SBlock {
  const char* szName = "";    // as docs/formats.md calls it
  const char* szPrefix = "";  // of the variables
  std::span<const SGroup> groups = {};
  bool bFirst = false;     // begins the record: its text has no tab in front
  bool bSpectrum = false;  // a value for each selected channel, in place of rows
};

/// Calls visit(field, index) for the fields of a block in their order. Inner rows have the index
/// outer * nInner + inner.
template <class TVisit>
void EachField(const SBlock& block, bool bRecent, TVisit visit) {
  for (const SGroup& group : block.groups) {
    const int nTimes = bRecent ? group.nTimesRecent : group.nTimes;
    for (int i = 0; i < nTimes; ++i) {
      for (const SField& field : group.fields) visit(field, i);
      for (int j = 0; j < group.nInner; ++j)
        for (const SField& field : group.inner) visit(field, i * group.nInner + j);
    }
  }
}

extern const SBlock COMMON_BLOCK;  // from any product
extern const SBlock L1C_BLOCK;     // bands, cloud and surface: what stands before the spectrum
extern const SBlock SPECTRUM_BLOCK;
/// A value of the spectrum block, without and with -tb 1.
extern const SField SPECTRUM_FIELDS[2];
extern const SBlock AVHRR_BLOCK;
extern const SBlock L2_BLOCK;  // common to the L2 kinds

/// The block of an L2 kind alone.
const SBlock& KindBlock(int nProduct);

/// From this instant on, ozone and temperature products have 101 layers and levels: yyyymmdd and hhmmss. The
/// time of day is none: it is what the writers of the format compare with.
constexpr int64_t RECENT_DATE = FEW_LEVELS_DATE, RECENT_TIME = FEW_LEVELS_MINUTE * 100 + 60;
/// Whether a pixel's ozone and temperature blocks have their recent number of repetitions.
bool IsRecent(const CProd& prod, int nPixel);

/// Bytes of a field in a binary record.
constexpr int BinarySizeOf(EBin eBin) {
  constexpr int SIZES[] = {0, 1, 2, 4, 4};
  return SIZES[static_cast<int>(eBin)];
}
/// Bytes of a block in a binary record with the header's number of repetitions.
int BinarySize(const SBlock& block);
