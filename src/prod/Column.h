#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

/// One field of a product record: an array with one element per pixel, owned and freed by the record.
/// It remembers when all its elements are known to be missing, so that clearing a field which the last
/// messages did not carry either costs nothing.
template <class T>
class TColumn {
 public:
  /// Releases the old elements and allocates n new ones, uninitialised.
  void Allocate(int n) {
    pValues = std::make_unique_for_overwrite<T[]>(n);
    nCapacity = n;
    bMissing = false;
  }

  void Release() {
    pValues.reset();
    nCapacity = 0;
    bMissing = false;
  }

  const T& operator[](int i) const { return pValues[i]; }
  bool IsNull() const { return pValues == nullptr; }
  int Capacity() const { return nCapacity; }

  /// The elements, to be written to.
  T* Write() {
    bMissing = false;
    return pValues.get();
  }

  /// Sets every element to the column's missing value, the same at each call.
  void SetMissing(T missing) {
    if (bMissing) return;
    std::fill_n(pValues.get(), nCapacity, missing);
    bMissing = true;
  }

 private:
  std::unique_ptr<T[]> pValues;
  int nCapacity = 0;
  bool bMissing = false;
};

using IntColumn = TColumn<int64_t>;
using RealColumn = TColumn<double>;
