#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "stat/Classes.h"
#include "stat/RowBatch.h"

struct SHistoParam;

/// Histogram of the radiances of each selected channel, for all pixels and, when asked for, for each pixel
/// position.
class CHistoMultiPix {
 public:
  CHistoMultiPix(const SHistoParam& param, int nColumns, bool bPositions);
  virtual ~CHistoMultiPix() = default;

  /// Bytes that it takes.
  static double Size(const SHistoParam& param, int nColumns, bool bPositions);

  /// Of the file of all pixels (0) or of one position (1 to 4).
  static std::string Suffix(int nPosition);

  void Add(const SSpectrumRow& row, int64_t nFieldOfView);

  const CClasses& Classes() const { return m_classes; }

  /// The counts of one set of pixels.
  class CCounts {
   public:
    int64_t Class(int nColumn, int nClass) const { return m_arCounts[Slot(nColumn, nClass)]; }
    int64_t Pixels() const { return m_nPixels; }
    // Radiances over all columns:
    int64_t Below() const { return Total(CClasses::BELOW); }
    int64_t Above() const { return Total(m_nClasses); }
    int64_t Missing() const { return Total(m_nClasses + 1); }

   private:
    friend class CHistoMultiPix;
    CCounts(int nColumns, int nClasses)
        : m_nColumns(nColumns), m_nClasses(nClasses), m_arCounts(Slot(nColumns, CClasses::BELOW)) {}
    size_t Slot(int nColumn, int nClass) const {
      return static_cast<size_t>(nColumn) * (m_nClasses + 3LL) + nClass + 1;
    }
    int64_t Total(int nClass) const;
    void Add(const CRowBatch& batch, const CClasses& classes);
    void Merge(const CCounts& other);

    int m_nColumns;
    int m_nClasses;
    int64_t m_nPixels = 0;
    std::vector<int64_t> m_arCounts;  // below, classes, above and missing of one column after the other
  };

  /// Ends the counting: what follows sees all pixels that were added.
  void Close();
  /// Sets of pixels: all, and each position when they were asked for.
  int Sets() const { return static_cast<int>(m_arLeaves.size()); }
  /// Of all pixels (0) or, when positions were asked for, of one (1 to 4).
  const CCounts& Position(int nPosition) const { return m_arLeaves[nPosition].counts; }

 private:
  /// The pixels of one position; those without one, or all when positions are not asked for, under 0; Close
  /// adds the positions to them.
  struct SLeaf {
    CRowBatch batch;
    CCounts counts;
  };
  void Flush(SLeaf& leaf);

  CClasses m_classes;
  std::vector<SLeaf> m_arLeaves;
};
