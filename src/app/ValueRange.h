#pragma once

/// An inclusive range of integers, kept as given: with the bounds the wrong way round it holds nothing.
class CValueRange {
 public:
  CValueRange() = default;
  CValueRange(int nFirst, int nLast) : nMin(nFirst), nMax(nLast) {}
  virtual ~CValueRange() = default;

  int nMin = 0;
  int nMax = 0;
};
