#pragma once

#include <string>
#include <utility>

#include "archive/Instant.h"
#include "prod/ProductKind.h"

class CFolderWalk;

/// A place in the dated tree.
struct SPlace {
  EProduct eProduct = PRODUCTS;  // PRODUCTS: none
  CInstant day;                  // its first instant

  auto operator<=>(const SPlace&) const = default;
};

/// The dated tree of an archive: ROOT/L1C/YYYY/MM/DD, ROOT/L2/YYYY/MM/DD/KIND. And how vex takes files in it.
class CDatedTree {
 public:
  explicit CDatedTree(std::string szRoot) : m_szRoot(std::move(szRoot)) {}

  /// ROOT/L1C, ROOT/L2.
  std::string Level(EProduct eProduct) const;
  /// The folder of a product and day.
  std::string Folder(const SPlace& place) const;
  /// The place of a file by its path below the root; no product where vex looks for no files.
  SPlace PlaceOf(const std::string& szPath) const;

  /// True when vex takes a file of this name without -ef and -ef2.
  static bool IsTaken(EProduct eProduct, const std::string& szName);
  /// The name with which vex takes it: with an ending where it has none of those.
  static std::string NameFor(EProduct eProduct, const std::string& szName);

  /// True when there is at least one of the two levels.
  bool IsThere() const;
  /// Walks over all files of the tree. A level that is not there has none.
  void Walk(CFolderWalk& walk) const;

 private:
  std::string m_szRoot;
};
