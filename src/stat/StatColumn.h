#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "prod/ProductKind.h"
#include "stat/HistoMultiPix.h"
#include "stat/Moments.h"
#include "stat/MultiPixStat.h"
#include "stat/PixelValue.h"

class CConfigParam;
class CStatTable;

/// The columns of the statistics files as data. One row is one column: its name, where its value comes from,
/// and what pages and readers know of it. The line of names and the rows of a file, the tables of
/// docs/formats.md and the columns that the Python package knows are made from these rows.

/// What a row of a file is about. Each file sets what its columns show.
struct SStatRow {
  const CConfigParam* pConfig = nullptr;  // of the run
  int nChannel = 0;
  double arfEdges[4] = {};                           // of a class; of a cell in latitude, in longitude
  SMoments arMoments[1 + SPosition::COUNT];          // of each set of pixels
  int nClass = 0;                                    // for the counts
  const CHistoMultiPix::CCounts* pCounts = nullptr;  // of each channel
  const SMean* pMeans = nullptr;                     // of a cell, one for each column of the products
};

enum class EStat : uint8_t { INT, REAL };

/// The value of a column; nIndex counts the repetitions of its group. Integers are exact up to 2^53.
using TStatValue = double (*)(const SStatRow& row, int nIndex);

struct SStatColumn {
  const char* szName;  // behind the prefix of its group; '#' is the number of a channel
  EStat eForm;
  TStatValue pValue;
  const char* szMeaning;
  const char* szUnit = "";          // as the files spell it; empty: none
  const char* szUnitTb = "";        // with -tb 1, where that is another one
  const char* szEmpty = "";         // what stands there without any value; empty: there always is one
  const char* szOption = "";        // of the files, or their runs, that have the column; empty: all
  const char* szStandardName = "";  // of the CF conventions
};

/// A set of pixels, and what the names of its columns begin with.
struct SStatSet {
  const char* szPrefix;
  const char* szMeaning;
};

/// Columns that are repeated for each set, or for each selected channel.
struct SStatGroup {
  std::span<const SStatColumn> columns;
  std::span<const SStatSet> sets = {};  // none: the columns are there once
  bool bChannels = false;
};

/// A kind of file.
struct SStatFile {
  const char* szKind;
  const char* szTitle;  // its first line
  std::span<const SStatGroup> groups;
};

extern const SStatFile SPECTRAL_FILE, HISTOGRAM_FILE, RADIANCE_FILE;
extern const SStatFile GRID_FILE;  // but for the columns of the products

/// A column of a product in the grid: a count of pixels (no unit) or a mean of what they hold.
struct SGridColumn {
  SStatColumn column;
  EProduct eProduct;
  TPixelValue pPixel;  // a pixel counts by any value but a missing one
  int nValues = 1;     // of a pixel

  std::string Name() const { return std::string(PRODUCT_KINDS[eProduct].szName) + column.szName; }
  bool IsMean() const { return column.eForm == EStat::REAL; }
};

/// The columns of a product in the grid, the count of its pixels first.
std::vector<const SGridColumn*> GridColumns(int nProduct);

/// The columns of one file: what its line of names and its rows are walks over.
class CStatColumns {
 public:
  /// bOptional: with the columns that some files of the kind have.
  explicit CStatColumns(const SStatFile& file, bool bOptional = false,
                        const std::vector<int>& arnChannels = {});
  virtual ~CStatColumns() = default;

  void Add(const std::string& szName, const SStatColumn& column, int nIndex);

  void PrintNames(CStatTable& table) const;
  void PrintRow(CStatTable& table, const SStatRow& row) const;

 private:
  struct SPlace {
    std::string szName;
    EStat eForm;
    TStatValue pValue;
    int nIndex;
  };
  std::vector<SPlace> m_arPlaces;
};
