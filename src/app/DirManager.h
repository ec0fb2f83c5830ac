#pragma once

#include <functional>

class CStrArray;

/// Lists directories by name filters, and joins paths. Names are bytes of any value.
class CDirManager {
 public:
  virtual ~CDirManager() = default;

  /// True when the motif is null or occurs in the last component of the path.
  static bool MatchMotif(const char* szPath, const char* szMotif);
  /// True when there is no motif at all, or one of them matches.
  static bool MatchMotifs(const char* szPath, const CStrArray* pMotifs);

  /// True when the extension is null, or the name is longer than it and ends with it (no dot implied).
  static bool MatchExtension(const char* szName, const char* szExtension);
  /// True when the list is null or one of its extensions matches. Unlike an empty list of motifs, an empty
  /// list of extensions matches nothing.
  static bool MatchExtensions(const char* szName, const CStrArray* pExtensions);

  /// Joins a directory and a name with one '/' into szResult, a buffer of nSize bytes (at least 1). A path
  /// of nSize - 2 bytes or more, counting the '/' always, comes out empty.
  static void ConcatenatePath(const char* szDirectory, const char* szName, char* szResult, int nSize);

  /// Calls take(name) for the bare name of each entry, in the order of the system. Returns the errno by which
  /// the listing fails or breaks off, or 0.
  static int EachEntry(const char* szDirectory, const std::function<void(const char*)>& take);
  /// Calls take(name) for the bare name of each entry that passes both filters, in the order of the system.
  /// Whether it is a file is not looked at. What is not there, or no directory, has no entries; one that
  /// cannot be read, or not to its end, is told as a loss.
  static void EachMatch(const char* szDirectory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                        const std::function<void(const char*)>& take);
  /// Appends these names. Always 1.
  static int ListDir(const char* szDirectory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                     CStrArray& arResult);
};
