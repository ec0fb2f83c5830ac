#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bufr/BUFRReader.h"
#include "sample/BUFREncoder.h"

/// Gives a decoder the data of a message, the layout version included, without a file. The bytes behind the
/// data are set, so that a decoder which takes them for data shows it.
void LoadData(CBUFRReader& reader, const std::vector<uint8_t>& arBytes, int nSubsets, int nVersion = 0);

/// The five ways in which an element is decoded.
enum class EVariant { INT, FLOAT, FIELD_OF_VIEW, INT_TIMES_1000, FLOAT_TIMES_1000 };
enum class EOutput { ARRAY, NONE, CONSTANT };

/// One element as it is asked for.
struct SAsked {
  EVariant eVariant = EVariant::INT;
  EOutput eOutput = EOutput::ARRAY;
  int nWidth = 0;
  int64_t nReference = 0;
  int nScale = 0;
  uint64_t nFlag = 0;
  int64_t nMissing = -1;
};

/// What came of it. Real variants fill arReals, the others arInts.
struct SAnswer {
  int nStatus = 1;
  int64_t bitPos = 0;
  uint64_t nFlags = 0;
  std::vector<int64_t> arInts;
  std::vector<double> arReals;
  int64_t nConstant = 0;
  bool bConstant = false;
  std::string szText;

  bool operator==(const SAnswer&) const = default;
};

/// Decodes elements one bit after the other: the rules of compressed data and nothing else.
class CPlainDecoder {
 public:
  CPlainDecoder(std::vector<uint8_t> arBytes, int nSubsets, bool bBlankUndecoded)
      : m_arBytes(std::move(arBytes)), m_nSubsets(nSubsets), m_bBlank(bBlankUndecoded) {}

  /// answer holds what the outputs hold before; its cursor is where the element begins.
  void Decode(const SAsked& asked, SAnswer& answer) const;

 private:
  bool Read(int64_t& bitPos, int nBits, uint64_t& nValue) const;
  void Store(const SAsked& asked, SAnswer& answer, int i, int64_t nSum, bool bMissing) const;

  std::vector<uint8_t> m_arBytes;
  int m_nSubsets;
  bool m_bBlank;
};

/// One element of a layout and the column of the record at hand that it goes to (none: it is not kept), with
/// what was encoded last.
struct SLayoutRow {
  int nWidth = 0;
  const IntColumn* pInts = nullptr;
  const RealColumn* pReals = nullptr;
  uint64_t nFlag = 0;
  int64_t nReference = 0;
  int nScale = 0;
  double fFactor = 1;  // on what is stored
  int64_t nOffset = 0;
  int64_t nMissing = -1;
  std::vector<int64_t> arRaw = {};

  /// Value of one pixel as the record has it, and as it should be.
  double Stored(int nPixel) const;
  double Expected(int nPixel) const;
  double Missing() const { return pInts ? static_cast<double>(nMissing) : -777.0; }
  bool IsKept() const { return pInts || pReals; }
};
using TRows = std::vector<SLayoutRow>;

SLayoutRow Int(int nWidth, const IntColumn& column, uint64_t nFlag, int64_t nMissing = -1);
SLayoutRow Real(int nWidth, int64_t nReference, int nScale, const RealColumn& column, uint64_t nFlag);
SLayoutRow Skipped(int nWidth);

/// Values for the rows, appended to the encoder. Row r gets increments of (nTurn + r) mod (its width + 1)
/// bits, 0 standing for a constant, so that as many turns as the widest row has bits meet every width in
/// every row. Where bMissing, one value in five is missing and one constant in two. Rows that have values
/// already (arRaw) keep them.
void EncodeRows(CBUFREncoder& encoder, TRows& rows, int nTurn, bool bMissing, std::mt19937& random);

/// Every value of every kept row is what was encoded, or missing when that is allowed. "" or the first that
/// is not.
std::string CompareRows(const TRows& rows, int nPixels, bool bMayMiss = false);
/// Missing-data flags that the rows raise.
uint64_t FlagsOf(const TRows& rows);
