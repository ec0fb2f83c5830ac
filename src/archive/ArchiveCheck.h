#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "archive/DatedTree.h"
#include "archive/FileScan.h"
#include "prod/ProductKind.h"

/// Looks for what is wrong in a dated tree, and prints it.
class CArchiveCheck {
 public:
  explicit CArchiveCheck(std::string szRoot) : m_tree(std::move(szRoot)) {}

  /// True when nothing was found.
  bool Run();

 private:
  void Take(const std::string& szPath);
  void Found(const std::string& szPath, const std::string& szWhat);
  void CheckPlace(const std::string& szPath, const SFileFacts& facts);
  void CheckMessages(const std::string& szPath, const SFileFacts& facts);
  void CheckTwice(const std::string& szPath, const SFileFacts& facts);

  CDatedTree m_tree;
  CFileScan m_scan;
  std::map<std::pair<EProduct, SPixelKey>, std::string> m_firstPixels;  // which file has it first
  int64_t m_nFiles = 0, m_nFound = 0;
};
