#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "prod/Spectrum.h"

/// How the raw integers of a row become radiances, column by column.
struct SRowScale {
  // Padded with columns of divisor 1.
  std::vector<double> arDivisors, arInverses;
  std::vector<int32_t> arnMissing;  // raw value that comes out as the missing radiance
};

/// The radiances of one pixel, as raw integers with their scale or as reals.
struct SSpectrumRow {
  std::shared_ptr<const SRowScale> pScale;  // of pRaw
  const int32_t* pRaw = nullptr;
  const double* pReals = nullptr;
};

/// Makes rows from the spectra of product records.
class CRowSource {
 public:
  explicit CRowSource(int nColumns) : m_nColumns(nColumns) {}

  /// Valid until the next call or until the record is refilled. A spectrum without that row, or of other
  /// columns, gives a row of missing radiances.
  SSpectrumRow Row(const CSpectrum& spectrum, int nRow);

 private:
  void TakeRuns(const std::vector<CSpectrum::SRun>& arRuns);
  std::shared_ptr<const SRowScale> MakeScale() const;

  int m_nColumns;
  std::vector<CSpectrum::SRun> m_arRuns;
  std::shared_ptr<const SRowScale> m_pScale;  // null where these runs need reals
  std::vector<double> m_arReals;
};

/// A few rows of radiances, gathered so that what is computed from them goes over many values at a time.
/// All rows of a batch are raw integers of one scale, or all are reals.
class CRowBatch {
 public:
  static constexpr int BLOCK = 64;  // columns that are handed out at a time
  static constexpr int ROWS = 16;   // most rows

  /// nRows: rows that make it full, 1 to ROWS.
  explicit CRowBatch(int nColumns, int nRows = ROWS);

  /// False when the batch is full or the row does not go with those in it; it has to be cleared then.
  bool Add(const SSpectrumRow& row);
  void Clear() { m_nRows = 0; }

  int Rows() const { return m_nRows; }
  int Blocks() const { return m_nBlocks; }

  /// The radiances of the columns from nBlock * BLOCK on: pTile[row * BLOCK + column], the columns behind
  /// the last one 0. True when some are missing (-777.0).
  bool Block(int nBlock, double* pTile) const;

 private:
  /// Where a row of a block begins. The blocks lie apart by a little more than a power of two, so that a row
  /// does not go into the same few cache lines all along.
  size_t Start(int nBlock, int nRow) const {
    return static_cast<size_t>(nBlock) * (m_nLimit * BLOCK + 16) + nRow * BLOCK;
  }

  int m_nLimit;
  int m_nBlocks;
  int m_nRows = 0;
  std::shared_ptr<const SRowScale> m_pScale;  // null: reals
  std::vector<int32_t> m_arRaw;
  std::vector<double> m_arReals;     // sized when first needed
  std::vector<uint8_t> m_arMissing;  // blocks in which some value is missing
  int m_nColumns;
};
