#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "archive/DatedTree.h"
#include "archive/FilePlacer.h"
#include "archive/FileScan.h"
#include "prod/ProductKind.h"

/// Makes the dated tree out of folders of files in any order and of any names.
class CArchiveSort {
 public:
  CArchiveSort(std::string szRoot, EPlaceWay eWay) : m_tree(std::move(szRoot)), m_placer(eWay) {}

  /// True when every file is in the tree now.
  bool Run(const std::vector<std::string>& arFolders);

 private:
  void Take(const std::string& szPath);
  void Leave(const std::string& szPath, const std::string& szReason);
  void PrintCounts() const;

  CDatedTree m_tree;
  CFilePlacer m_placer;
  CFileScan m_scan;
  int64_t m_arnNew[PRODUCTS] = {};
  int64_t m_nPresent = 0, m_nLeft = 0;
};
