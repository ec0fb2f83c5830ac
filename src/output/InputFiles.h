#pragma once

#include <sys/types.h>

#include <utility>
#include <vector>

class CStrArray;

/// The files that a run reads, and must not write to.
class CInputFiles {
 public:
  CInputFiles() = default;
  virtual ~CInputFiles() = default;

  /// Adds paths, which must outlive the object.
  void Add(const CStrArray& arPaths);
  void Add(const char* szPath);

  /// True when the path leads to one of the files, by whatever name, or when the system cannot tell where it
  /// leads.
  bool Holds(const char* szPath);

 private:
  using TIdentity = std::pair<dev_t, ino_t>;
  void Identify();

  void Identify(const char* szPath);

  std::vector<const CStrArray*> m_arpLists;
  std::vector<const char*> m_arPaths;
  std::vector<TIdentity> m_arFiles;  // of all paths, sorted; looked up for the first output that exists
  bool m_bIdentified = false;
};
