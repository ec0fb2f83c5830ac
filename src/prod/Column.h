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
  /// Sets the first element to what is missing for its type.
  virtual void SetFirstMissing() = 0;

 protected:
  /// bKept: it has elements for the kept pixels only.
  CColumn(CProd& record, bool bKept);

  const int& m_nRows;  // of the record
};

/// A field as an array. It remembers when all its elements are known to be missing, so that clearing a field
/// which the last messages did not carry either costs nothing.
template <class T>
class TColumn : public CColumn {
 public:
  void Release() override {
    m_pValues.reset();
    m_nCapacity = 0;
    m_bMissing = false;
  }

  void Fit() override {
    if (m_nCapacity >= m_nRows) return;
    Release();
    m_pValues = std::make_unique_for_overwrite<T[]>(m_nRows);
    m_nCapacity = m_nRows;
  }

  void SetFirstMissing() override;

  const T* Values() const { return m_pValues.get(); }
  bool IsNull() const { return m_pValues == nullptr; }
  int Capacity() const { return m_nCapacity; }

  /// The elements, to be written to. There is room for all that the record has; growing loses the old ones.
  T* Write() {
    Fit();
    m_bMissing = false;
    return m_pValues.get();
  }

  /// Sets every element to the column's missing value, the same at each call.
  void SetMissing(T missing) {
    Fit();
    if (m_bMissing) return;
    std::fill_n(m_pValues.get(), m_nCapacity, missing);
    m_bMissing = true;
  }

 protected:
  using CColumn::CColumn;

 private:
  std::unique_ptr<T[]> m_pValues;
  int m_nCapacity = 0;
  bool m_bMissing = false;
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
      return this->Values()[index.nRow];
    else
      return this->Values()[index];
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
