#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

class CProd;

/// A kept pixel's place among the kept ones of its message.
struct SKeptRow {
  explicit constexpr SKeptRow(int n) : nRow(n) {}
  int nRow;
};

/// One field of a product record. It is made with its record, which knows from then on to size and to
/// release it.
class CColumn {
 public:
  CColumn(const CColumn&) = delete;
  CColumn& operator=(const CColumn&) = delete;
  virtual ~CColumn() = default;

  virtual void Release() = 0;
  /// Room for as many elements as the record has at present, if there is less.
  virtual void Fit() = 0;
  /// Sets every element to what is missing for its type.
  virtual void SetMissing() = 0;
  /// The same if there are fewer elements than the record has at present.
  virtual void Complete() = 0;
  /// True when all elements are known to be equal.
  virtual bool IsUniform() const = 0;

 protected:
  /// bKept: it has elements for the kept pixels only.
  CColumn(CProd& record, bool bKept);

  const int& m_nRows;  // of the record
};

/// A field as an array, or as the one value that all its elements have: fields that are the same for all
/// pixels, or that the message does not carry, take neither time nor memory for each of them.
template <class T>
class TColumn : public CColumn {
 public:
  void Release() override {
    m_pValues.reset();
    m_nCapacity = 0;
    ReadFrom(nullptr, ALL_BITS);
  }

  /// A field whose elements are all equal needs no room.
  void Fit() override {
    if (m_nCapacity >= m_nRows || IsUniform()) return;
    Release();
    m_pValues = std::make_unique_for_overwrite<T[]>(m_nRows);
    m_nCapacity = m_nRows;
    m_pFirst = m_pValues.get();
  }

  void SetMissing() override;
  void Complete() override {
    if (m_nCapacity < m_nRows && !IsUniform()) SetMissing();
  }
  bool IsUniform() const override { return m_nIndexBits == 0; }

  /// The element of a pixel or, of kept ones, a kept row.
  const T& At(int nElement) const { return m_pFirst[nElement & m_nIndexBits]; }
  /// True before anything was written, and behind Release.
  bool IsNull() const { return m_pFirst == nullptr; }
  int Capacity() const { return m_nCapacity; }

  /// The elements, to be written to. There is room for all that the record has; growing loses the old ones.
  T* Write() {
    const bool bUniform = IsUniform();
    T* const pValues = WriteAll();
    if (bUniform) std::fill_n(pValues, m_nCapacity, m_value);
    return pValues;
  }
  /// The same where nobody wants the old ones.
  T* WriteAll() {
    ReadFrom(m_pValues.get(), ALL_BITS);
    Fit();
    return m_pValues.get();
  }

  /// Sets every element, at no cost.
  void SetAll(T value) {
    m_value = value;
    ReadFrom(&m_value, 0);
  }

 protected:
  using CColumn::CColumn;

 private:
  static constexpr int ALL_BITS = -1;

  void ReadFrom(const T* pFirst, int nIndexBits) {
    m_pFirst = pFirst;
    m_nIndexBits = nIndexBits;
  }

  std::unique_ptr<T[]> m_pValues;
  int m_nCapacity = 0;
  int m_nIndexBits = ALL_BITS;  // those of an index that count: none where m_value stands for all elements
  const T* m_pFirst = nullptr;  // the array or m_value
  T m_value = {};
};

extern template class TColumn<uint8_t>;
extern template class TColumn<int64_t>;
extern template class TColumn<double>;

/// A field of all pixels of a message, by pixel, or of the kept ones only, by kept row.
template <class T, class TIndex>
class TIndexedColumn final : public TColumn<T> {
 public:
  using Value = T;
  static constexpr bool KEPT = std::is_same_v<TIndex, SKeptRow>;

  explicit TIndexedColumn(CProd& record) : TColumn<T>(record, KEPT) {}

  const T& operator[](TIndex index) const {
    if constexpr (KEPT)
      return this->At(index.nRow);
    else
      return this->At(index);
  }
};

using IntColumn = TIndexedColumn<int64_t, int>;
using RealColumn = TIndexedColumn<double, int>;
using FlagColumn = TIndexedColumn<uint8_t, int>;
using KeptIntColumn = TIndexedColumn<int64_t, SKeptRow>;
using KeptRealColumn = TIndexedColumn<double, SKeptRow>;

/// N fields of one record under one name: bands, layers, levels.
template <class TMember, int N>
class TFamily {
 public:
  explicit TFamily(CProd& record) : TFamily(record, std::make_index_sequence<N>()) {}

  TMember& operator[](size_t i) { return m_arColumns[i]; }
  const TMember& operator[](size_t i) const { return m_arColumns[i]; }
  TMember* begin() { return m_arColumns; }
  const TMember* begin() const { return m_arColumns; }
  TMember* end() { return m_arColumns + N; }
  const TMember* end() const { return m_arColumns + N; }
  constexpr size_t size() const { return N; }

 private:
  template <size_t... INDEX>
  TFamily(CProd& record, std::index_sequence<INDEX...>) : m_arColumns{((void)INDEX, TMember(record))...} {}

  TMember m_arColumns[N];
};
