#pragma once

#include <cstdint>

/// The products in the order of their streams: that of file selection, reading, pairing, the blocks of a
/// record, counts and reports. The one place that says which there are.
enum EProduct : int {
  PRODUCT_L1C,
  PRODUCT_OZO,
  PRODUCT_TRG,
  PRODUCT_CLP,
  PRODUCT_TWT,
  PRODUCT_EMS,
  PRODUCTS
};

/// The products behind L1C are those of level 2.
constexpr int FIRST_L2 = PRODUCT_OZO;

struct SProductKind {
  EProduct eProduct;
  const char* szName;     // in messages, as a word of -t2 and as the folder of L2 files
  const char* szNoFiles;  // said when no file is found
  int nHeaderCode;        // in the binary header; 0: not named there
  uint64_t nMissingFlag;  // bit of the missing-data report, shown only when the product has files; 0: none

  // Of level 2, but for the last one:
  int nF = 0, nX = 0, nY = 0;  // the last data descriptor, by which a message of the kind is known
  bool bTakesAnyKind = false;  // messages of other kinds are taken all the same
  const char* szFirstLevel =   // said of a header that cannot be decoded
      "\nProbleme interpretation BUFR dans premier niveau de donnees";
};

inline constexpr SProductKind PRODUCT_KINDS[] = {
    {PRODUCT_L1C, "L1C", "No L1C data files found", 0, 0},
    {PRODUCT_OZO, "ozo", "No ozo data files selected", 3, 0x8000, 0, 15, 20, true},
    {PRODUCT_TRG, "trg", "No trg data files selected", 4, 0x10000, 0, 40, 202},
    {PRODUCT_CLP, "clp", "No clp data files selected", 1, 0x20000, 0, 20, 56},
    {PRODUCT_TWT, "twt", "No twt data files selected", 2, 0x40000, 2, 2, 0, false,
     "\nProbleme interpretation BUFR dans premier niveau de donnees ok "},
    {PRODUCT_EMS, "ems", "No ems data files selected", 5, 0x80000, 0, 14, 50},
};

constexpr uint64_t MissingFlag(EProduct eProduct) { return PRODUCT_KINDS[eProduct].nMissingFlag; }

/// For tables with a row for each product: that every product has its row, in the order of the streams.
template <class TRow, int ROWS>
constexpr bool HasAllProducts(const TRow (&arRows)[ROWS]) {
  int i = 0;
  while (i < ROWS && arRows[i].eProduct == i) ++i;
  return i == PRODUCTS && ROWS == PRODUCTS;
}
static_assert(HasAllProducts(PRODUCT_KINDS), "a product has no row, or not in its place");

/// Bits of the report and codes of the header tell the products apart.
constexpr bool AreDistinct() {
  for (const SProductKind& one : PRODUCT_KINDS)
    for (const SProductKind& other : PRODUCT_KINDS)
      if (&one != &other && one.eProduct >= FIRST_L2 &&
          (one.nHeaderCode == other.nHeaderCode || one.nMissingFlag == other.nMissingFlag))
        return false;
  return true;
}
static_assert(AreDistinct(), "two products have one code in the header or one bit of the report");
