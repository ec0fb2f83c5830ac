#pragma once

#include "stat/RowBatch.h"

class CProd;
class CProdL1C;
class CStatSet;

/// Takes pixel after pixel into what a run accumulates.
class CStatAccumulator {
 public:
  /// nColumns: selected channels.
  explicit CStatAccumulator(int nColumns) : m_rows(nColumns) {}
  virtual ~CStatAccumulator() = default;

  /// One kept pixel of an active product. Pixels of level 2 count in the grid of boxes only.
  void Add(CStatSet& set, int nProduct, const CProd& prod, int nPixel);

 private:
  void AddL1C(CStatSet& set, const CProdL1C& prod, int nPixel);

  CRowSource m_rows;
};
