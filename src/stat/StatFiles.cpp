#include "stat/StatFiles.h"

#include "kernel/Reporter.h"
#include "output/InputFiles.h"
#include "stat/StatTable.h"

/// Says it in a line of its own.
void CStatFiles::Fail(CRunResult::ECause eCause, const std::string& szPath) {
  if (m_bLineOpen) CReporter::Text("\n");
  m_bLineOpen = false;
  m_result.Fail(eCause, szPath);
}

bool CStatFiles::Open(CStreamWriter& writer, const std::string& szPath) {
  return !m_inputs.Holds(szPath.c_str()) && writer.Open(szPath.c_str(), false);
}

void CStatFiles::Fill(CStreamWriter& writer, const std::string& szPath, const TPrint& print) {
  CStatTable table(writer);
  print(table);
  if (writer.Close()) {
    CReporter::Print("\nOutput file %s written", szPath.c_str());
    m_bLineOpen = true;
    return;
  }
  if (!m_result.Has(CRunResult::RECORD)) Fail(CRunResult::RECORD, szPath);
}

void CStatFiles::Write(const std::string& szSuffix, const TPrint& print) {
  const std::string szPath = m_szPath + szSuffix;
  CStreamWriter writer;
  if (Open(writer, szPath))
    Fill(writer, szPath, print);
  else
    Fail(CRunResult::STATISTICS_NOT_OPENED, szPath);
}
