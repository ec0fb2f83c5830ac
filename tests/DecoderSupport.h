#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "bufr/BUFRReader.h"
#include "prod/Prod.h"
#include "prod/Spectrum.h"
#include "sample/BUFREncoder.h"
#include "sample/Layouts.h"
#include "sample/Template.h"

/// Gives a decoder the data of a message, the layout version included, without a file, and readies it as the
/// product readers do. The bytes behind the data are set, so that a decoder which takes them for data shows
/// it.
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

/// One element of a layout and where its values go, a column of the record at hand or a channel of its
/// spectrum (none: they are not kept), with what was encoded last.
struct SLayoutRow {
  const TColumn<int64_t>* pInts = nullptr;
  const TColumn<double>* pReals = nullptr;
  uint64_t nFlag = 0;
  int64_t nMissing = -1;
  int64_t nUndecoded = nMissing;
  double fFactor = 1;  // on what is stored
  int64_t nOffset = 0;
  bool bKept = false;  // of kept pixels only
  const CSpectrum* pSpectrum = nullptr;
  STemplateField field = {};
  std::vector<int64_t> arRaw = {};
  int nIncrement = 0;  // least width of the increments of given values

  const void* Column() const { return pInts ? static_cast<const void*>(pInts) : pReals; }
  /// "" when the first pixels have what was encoded (missing for a row that was not), else what is wrong.
  std::string Compare(const CProd& prod, int nPixels, bool bMayMiss) const;

 private:
  double Stored(int nRow) const;
  double Expected(int nPixel, double fMissing) const;
};
using TRows = std::vector<SLayoutRow>;

template <class TIndex>
SLayoutRow Int(const TIndexedColumn<int64_t, TIndex>& column, uint64_t nFlag, int64_t nMissing = -1) {
  SLayoutRow row = {&column, nullptr, nFlag, nMissing};
  row.bKept = column.KEPT;
  return row;
}
/// A work column, which tells what was not decoded from what was missing.
SLayoutRow Work(const KeptIntColumn& column, uint64_t nFlag, int64_t nMissing);
template <class TIndex>
SLayoutRow Real(const TIndexedColumn<double, TIndex>& column, uint64_t nFlag) {
  SLayoutRow row = {nullptr, &column, nFlag};
  row.bKept = column.KEPT;
  return row;
}
/// The columns of families in turn: the first of each, the second of each and so on.
template <class TColumnType>
TRows Reals(std::initializer_list<std::span<const TColumnType>> families, uint64_t nFlag) {
  TRows rows;
  for (size_t i = 0; i < families.begin()->size(); ++i)
    for (const auto& family : families) rows.push_back(Real(family[i], nFlag));
  return rows;
}

/// Where elements go: for a descriptor its occurrences in order. The others are not kept.
using TPlaces = std::map<int, TRows>;
/// Those that all products share.
TPlaces CommonPlaces(const CProd& prod);

/// The elements of a layout as the messages themselves describe them, without values but for the replication
/// counts: those are right in the first pixel, by which messages are judged, and wrong in the others.
TRows LayoutRows(EKind eKind, int nLayout, const TPlaces& places, int nPixels);

/// A decoder and its record, which stay from message to message.
class CLayoutTest : public testing::Test {
 protected:
  static constexpr int PIXELS = 9;  // at most

  /// The versions are tried in this order.
  explicit CLayoutTest(std::vector<int> arVersions) : m_arVersions(std::move(arVersions)) {}

  virtual CBUFRReader& Reader() = 0;
  virtual CProd& Record() = 0;
  virtual TRows Rows(int nVersion, int nPixels) const = 0;
  /// Decodes all of what the reader holds; false when it could not.
  virtual bool DecodeAll(int nPixels) = 0;

  /// Values for the rows, encoded. Row r gets increments of (nTurn + r) mod (its width + 1) bits, 0 standing
  /// for a constant, so that as many turns as the widest row has bits meet every width in every row. Where
  /// bMissing, one row in four misses half of its values, or all when they are a constant; few enough to show
  /// each row's flag. Rows that have values already keep them.
  std::vector<uint8_t> Encode(TRows& rows, int nPixels, int nTurn, bool bMissing);
  bool Decode(const std::vector<uint8_t>& arBytes, int nPixels, int nVersion);
  /// Keeps some pixels of a record that is sized for them, the last one always; now and then all.
  void Keep(int nPixels);
  /// "" when every row has its values and the columns of other versions are missing, whatever was decoded
  /// before; else the first that is not so. bMayMiss: the rows may be missing too.
  std::string Compare(const TRows& rows, int nPixels, bool bMayMiss = false);

  void ExpectEveryRowComesBack();
  void ExpectCutMessagesShowNothingOfTheOneBefore();

  int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }

  bool m_bKeepAll = false;
  std::vector<int> m_arVersions;
  std::vector<TRows> m_arAllVersions;  // by Compare
  std::mt19937 m_random{5};
  std::string m_szText;  // printed by Decode
};
