#pragma once

#include <string>

enum class EPlaceWay { LINK, COPY, MOVE };
enum class EPlaced { NEW, PRESENT, FAILED };

/// Puts files under names in other folders. What is there is never replaced, and a name appears when its file
/// is whole.
class CFilePlacer {
 public:
  explicit CFilePlacer(EPlaceWay eWay) : m_eWay(eWay) {}

  /// Makes the folders that are missing. PRESENT: the same content has this name already. FAILED: Reason
  /// tells why.
  EPlaced Place(const std::string& szSource, const std::string& szFolder, const std::string& szName);
  const std::string& Reason() const { return m_szReason; }

  /// True when both files could be read and are the same byte by byte.
  static bool IsSameContent(const std::string& szOne, const std::string& szOther);

  static constexpr const char* PART = ".vex-archive.";  // begins the name of a copy that is not whole yet

 private:
  bool Fail(const std::string& szWhat);
  bool MakeFolders(const std::string& szFolder);
  EPlaced Meet(const std::string& szSource);
  bool Link(const std::string& szSource);
  bool Copy(const std::string& szSource);
  bool CopyBytes(const std::string& szSource, const std::string& szPart);
  bool Move(const std::string& szSource);
  bool Publish(const std::string& szPath);
  bool Remove(const std::string& szPath);

  EPlaceWay m_eWay;
  std::string m_szFolder, m_szTarget;
  std::string m_szReason;
  int m_nError = 0;  // the errno in it
};
