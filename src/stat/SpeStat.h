#pragma once

#include <vector>

#include "stat/Moments.h"
#include "stat/RowBatch.h"

/// Count, mean and central moments of the radiance of each selected channel. Missing radiances are not
/// counted; those of 0 and below are.
class CSpeStat {
 public:
  /// bFour: with the third and fourth moment.
  CSpeStat(int nColumns, bool bFour);
  virtual ~CSpeStat() = default;

  int Columns() const { return m_nColumns; }

  void Add(const CRowBatch& batch);
  /// Adds the values that another one has counted, of the same columns and moments.
  void Merge(const CSpeStat& other);

  /// What one column amounts to, in W/(m2 sr m-1) and its powers.
  SMoments Moments(int nColumn) const { return Lane(nColumn / CRowBatch::BLOCK, nColumn % CRowBatch::BLOCK); }

 private:
  static constexpr int LANES = CRowBatch::BLOCK;

  /// The members of SMoments for neighbouring columns.
  struct SBlock {
    double arCount[LANES] = {}, arOrigin[LANES] = {}, arRest[LANES] = {}, arM2[LANES] = {},
           arM2Low[LANES] = {};
  };
  struct SHighBlock {
    double arM3[LANES] = {}, arM4[LANES] = {};
  };
  struct SKernel;

  SMoments Lane(int nBlock, int nLane) const;
  void SetLane(int nBlock, int nLane, const SMoments& moments);

  int m_nColumns;
  std::vector<SBlock> m_arBlocks;
  std::vector<SHighBlock> m_arHigh;  // empty without the third and fourth moment
};
