#pragma once

#include <cstdint>
#include <vector>

#include "bufr/BitCursor.h"
#include "bufr/Decompress.h"
#include "bufr/Element.h"

class CProd;
template <class T>
class TColumn;

/// Decodes compressed elements: single ones, and the rows of layouts into the columns of a record.
///
/// An element is a reference value of its width, an increment width of 6 bits and, unless that is 0, one
/// increment for each subset. All operations move the cursor past what they decode, also when they fail, and
/// return false when something could not be decoded.
class CLayoutEngine {
 public:
  static constexpr int INCREMENT_WIDTH = 6;  // width of the increment width

  /// Where the message at hand says how many subsets it has and which layout version, whether what cannot be
  /// decoded becomes missing or stays as it was, and where the flags of missing values are gathered.
  CLayoutEngine(const int& nSubsets, const int& nVersion, const bool& bBlankUndecoded,
                uint64_t& nMissingFlags)
      : m_nSubsets(nSubsets),
        m_nVersion(nVersion),
        m_bBlankUndecoded(bBlankUndecoded),
        m_nMissingFlags(nMissingFlags) {}

  /// pOut holds one value for each subset, or is null. With both constant pointers, an element whose subsets
  /// are all equal sets *pConstant and *pbConstant and leaves pOut alone.
  bool DecompressInt(CBitCursor& data, const TAsked<int64_t>& asked, int64_t* pOut,
                     int64_t* pConstant = nullptr, bool* pbConstant = nullptr);
  bool DecompressReal(CBitCursor& data, const TAsked<double>& asked, double* pOut);

  /// Steps over one element.
  bool Skip(CBitCursor& data, int nWidth, ECall eCall = ECall::INT) {
    if (data.Remaining() >= nWidth + INCREMENT_WIDTH) {
      CBitCursor increment = data;
      increment.Skip(nWidth);
      const auto nIncrement = static_cast<int>(increment.Peek(INCREMENT_WIDTH));
      if (nIncrement <= nWidth && nWidth <= MISSING_WIDTH_MAX) {
        data.Skip(nWidth + INCREMENT_WIDTH + int64_t{nIncrement} * m_nSubsets);
        return true;
      }
    }
    return SkipSlowly(data, nWidth, eCall);
  }
  /// Steps over the rows of a layout that every version has, all as integers: so are they reported.
  bool SkipLayout(TLayout layout, CBitCursor& data) {
    bool bAll = true;
    for (const SElement& element : layout) bAll &= Skip(data, element.widths.arn[m_nVersion]);
    return bAll;
  }

  /// Decodes the rows of a layout in turn for the message's version, into columns with index nIndex of their
  /// family. Columns of kept pixels get the values of these.
  bool Decode(TLayout layout, CProd& prod, CBitCursor& data, int nIndex = 0);
  /// Repeats the rows for index 0 to nCount - 1.
  bool DecodeRepeated(TLayout layout, int nCount, CProd& prod, CBitCursor& data);
  /// Sets the columns of a layout to missing for index nFrom to nTo - 1, where what is undecoded becomes so.
  void Blank(TLayout layout, CProd& prod, int nFrom = 0, int nTo = 1) const;

  /// Value of the first subset, kept or not, of the last element of integers that went into a column.
  int64_t FirstInt() const { return m_nFirstInt; }

  int Subsets() const { return m_nSubsets; }
  uint64_t& MissingFlags() { return m_nMissingFlags; }

 private:
  struct SHeader;

  bool SkipSlowly(CBitCursor& data, int nWidth, ECall eCall);
  static bool ReadHeader(CBitCursor& data, const SDecompressVariant& variant, int64_t nWidth,
                         SHeader& header);
  template <class T>
  bool Decompress(CBitCursor& data, const TAsked<T>& asked, TValues<T>& values);
  template <class T, class TConvert>
  bool ReadIncrements(CBitCursor& data, const SHeader& header, const TAsked<T>& asked, TValues<T>& values,
                      TConvert convert);

  bool DecodeElement(const SElement& element, int nWidth, CProd& prod, CBitCursor& data, int nIndex);
  template <class T>
  T DecodeInto(const TAsked<T>& asked, const std::vector<int>* pKept, CBitCursor& data, TColumn<T>& column,
               std::vector<T>& arScratch, bool& bAll);

  const int& m_nSubsets;
  const int& m_nVersion;
  const bool& m_bBlankUndecoded;
  uint64_t& m_nMissingFlags;
  std::vector<int64_t> m_arScratchInts;  // one value for each subset, to gather those of kept pixels from
  std::vector<double> m_arScratchReals;
  int64_t m_nFirstInt = 0;
};
