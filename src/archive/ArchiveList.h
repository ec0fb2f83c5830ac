#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "archive/DatedTree.h"
#include "archive/FileScan.h"
#include "archive/Instant.h"
#include "prod/ProductKind.h"

/// A span without pixels.
struct SGap {
  CInstant from, to;
};

/// The files of a product and day.
struct SListed {
  int64_t nFiles = 0, nMessages = 0, nPixels = 0, nBytes = 0;
  std::vector<SGap> arSpans;  // from the first to the last pixel of each file

  CInstant First() const;
  CInstant Last() const;
  /// Between files of the day, of more milliseconds than this, in order.
  std::vector<SGap> Gaps(int64_t nLongest) const;
};

/// What the dated tree holds, by day and product, as vex would find it.
class CArchiveList {
 public:
  CArchiveList(std::string szRoot, int64_t nGapMinutes, bool bJson)
      : m_tree(std::move(szRoot)), m_nLongest(nGapMinutes * 60'000), m_bJson(bJson) {}

  /// True when everything could be read.
  bool Run();

 private:
  /// Days of a product between its first and last one, without any file.
  struct SMissing {
    EProduct eProduct;
    CInstant first, last;
  };

  void Take(const std::string& szPath);
  void Refuse(const std::string& szPath, const std::string& szReason);
  std::vector<SMissing> MissingDays() const;
  void PrintText() const;
  void PrintJson() const;

  CDatedTree m_tree;
  int64_t m_nLongest;
  bool m_bJson;
  CFileScan m_scan;
  std::map<std::pair<CInstant, EProduct>, SListed> m_rows;
  int64_t m_nIgnored = 0;
  bool m_bAllRead = true;
};
