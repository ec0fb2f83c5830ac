#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/SpectrumKernels.h"
#include "prod/ChannelSelection.h"

/// The spectra of the kept pixels of one message, selected channels only, in the compact form in which
/// the archive holds them: a raw integer per value and a power of ten per channel. One row per kept
/// pixel, one column per selected channel, channels ascending. Radiance = raw / divisor, in
/// W/(m2 sr m-1); -777.0 where missing.
class CSpectrum {
 public:
  /// Stretch of neighbouring columns that share a divisor; fDivisor is 0 where the columns hold exact reals.
  struct SRun {
    int nFirst;
    int nCount;
    double fDivisor;
  };

  /// Chooses the channels of the columns. The selection must stay as long as the spectra are read.
  void Select(const CChannelSelection& selection);

  /// Forgets the old values and makes room for nRows pixels.
  void Begin(int nRows);
  /// Fills the columns that were not stored since Begin with missing values and finds the runs.
  void End();

  int Rows() const { return m_nRows; }
  /// Whether a row and all columns of a selection are there.
  bool Holds(int nRow, const CChannelSelection& selection) const {
    return nRow < m_nRows && selection.Columns() <= m_nColumns;
  }
  int Columns() const { return m_nColumns; }
  /// See CChannelSelection.
  int Column(int nChannel) const { return m_pSelection->Column(nChannel); }
  int Channel(int nColumn) const { return m_pSelection->Channel(nColumn); }

  /// Where the raw values of up to 16 neighbouring columns, one channel after the other with a stride of
  /// TileStride(), are put before StoreTile turns them into rows.
  int32_t* Tile(int nSlot) { return m_pTile.get() + static_cast<size_t>(nSlot) * TileStride(); }
  size_t TileStride() const { return m_nTileStride; }
  static constexpr int TILE_CHANNELS = TILE_ROWS;
  /// Stores nCount columns from nFirst with their values in Tile and one divisor each.
  void StoreTile(int nFirst, int nCount, const double* pDivisors);

  /// Stores one exact value; the other pixels of the column keep theirs.
  void Set(int nRow, int nColumn, double fValue);

  double At(int nRow, int nColumn) const;
  const std::vector<SRun>& Runs() const { return m_arRuns; }
  const int32_t* Raw(int nRow) const { return m_pRaw.get() + static_cast<size_t>(nRow) * m_nColumns; }

  /// nCount radiances of one pixel from column nFirst on.
  void Row(int nRow, int nFirst, int nCount, double* pOut) const;
  /// The same rounded to single precision; the singles may stand at any address.
  void RowReal4(int nRow, int nFirst, int nCount, void* pOut) const;

 private:
  enum EState : uint8_t { EMPTY, SCALED, EXACT };

  template <class T>
  void CopyRow(int nRow, int nFirst, int nCount, char* pOut) const;
  void MakeExact(int nColumn);

  const CChannelSelection* m_pSelection = nullptr;
  int m_nColumns = 0;
  int m_nRows = 0;
  size_t m_nRawCapacity = 0;
  size_t m_nTileStride = 0;
  std::unique_ptr<int32_t[]> m_pRaw;   // rows of m_nColumns
  std::unique_ptr<int32_t[]> m_pTile;  // TILE_CHANNELS rows of m_nTileStride
  std::vector<uint8_t> m_arState;
  std::vector<double> m_arDivisors;
  std::vector<std::vector<double>> m_arExact;  // one per column, sized when first needed
  std::vector<SRun> m_arRuns;
};
