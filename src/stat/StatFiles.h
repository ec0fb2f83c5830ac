#pragma once

#include <functional>
#include <string>

#include "output/RunResult.h"
#include "output/StreamWriter.h"

class CInputFiles;
class CStatTable;

/// The files of a statistics run: the one on the output path, and those whose names begin with it. Says of
/// each that it was written, or what went wrong.
class CStatFiles {
 public:
  using TPrint = std::function<void(CStatTable&)>;

  /// Files that are among the inputs cannot be opened. result takes what is lost. Both must outlive the
  /// object.
  CStatFiles(const char* szPath, CInputFiles& inputs, CRunResult& result)
      : m_szPath(szPath), m_inputs(inputs), m_result(result) {}
  virtual ~CStatFiles() = default;

  const std::string& Path() const { return m_szPath; }
  CRunResult& Result() { return m_result; }

  /// The file on the output path is opened before anything is read, and written later.
  bool OpenMain() { return Open(m_main, m_szPath); }
  void WriteMain(const TPrint& print) { Fill(m_main, m_szPath, print); }

  /// Opens, fills and closes one more file.
  void Write(const std::string& szSuffix, const TPrint& print);

  /// Closes what is open; false when bytes of it were lost.
  bool Close() { return m_main.Close(); }

 private:
  bool Open(CStreamWriter& writer, const std::string& szPath);
  void Fill(CStreamWriter& writer, const std::string& szPath, const TPrint& print);
  void Fail(CRunResult::ECause eCause, const std::string& szPath);

  std::string m_szPath;
  CInputFiles& m_inputs;
  CRunResult& m_result;
  CStreamWriter m_main;
  bool m_bLineOpen = true;  // what was printed last did not end its line, or may not have
};
