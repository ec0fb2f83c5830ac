#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Walks over the files of folders and all folders below, in the order of their names. Links lead to files,
/// not to folders: a walk ends.
class CFolderWalk {
 public:
  using TTake = std::function<void(const std::string& szPath)>;
  /// Of what is no file or cannot be read.
  using TRefuse = std::function<void(const std::string& szPath, const std::string& szReason)>;

  CFolderWalk(TTake take, TRefuse refuse) : m_take(std::move(take)), m_refuse(std::move(refuse)) {}

  /// Names with a dot in front are ignored.
  void IgnoreHidden() { m_bHidden = false; }
  /// This folder is left out wherever it is met; one that is not there is no error.
  void Exclude(const std::string& szFolder);

  /// A folder, or one file.
  void Walk(const std::string& szPath);

 private:
  void WalkFolder(const std::string& szFolder);
  void Visit(const std::string& szPath);

  TTake m_take;
  TRefuse m_refuse;
  bool m_bHidden = true;
  std::vector<struct stat> m_arExcluded;
};
