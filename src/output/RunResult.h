#pragma once

#include <string>

/// What became of a run: the causes by which it has failed. There are no others. Input that cannot be read is
/// told where it is met (CReporter::Lost), and fails no run.
class CRunResult {
 public:
  enum ECause {
    HEADER,  // a header could not be written
    RECORD,  // nor a record, a file of statistics, or what was left of a file when it was closed
    STATISTICS_NOT_OPENED,  // a file that is made behind the last record
    NO_ROOM                 // a histogram or grid is too large
  };

  /// Notes a cause and says it; RECORD once. szFile: what could not be opened, or is left out.
  void Fail(ECause eCause, const std::string& szFile = {});
  bool Has(ECause eCause) const { return (m_nCauses >> eCause & 1) != 0; }
  bool HasFailed() const { return m_nCauses != 0; }

  /// Of an output that cannot be opened. A run that cannot open those of its records does not begin, and has
  /// not failed.
  static void SayNotOpened(const std::string& szPath);

 private:
  unsigned m_nCauses = 0;  // a bit each
};
