#include "output/RunResult.h"

#include "kernel/Reporter.h"

void CRunResult::Fail(ECause eCause, const std::string& szFile) {
  const bool bSaid = Has(eCause);
  m_nCauses |= 1U << eCause;
  switch (eCause) {
    case HEADER:
      CReporter::Line("ERROR: Unable to write header!");
      break;
    case RECORD:
      if (!bSaid) CReporter::Line("ERROR: Writing failure!");
      break;
    case STATISTICS_NOT_OPENED:
      SayNotOpened(szFile);
      break;
    case NO_ROOM:
      CReporter::Print("ERROR: %s would need more memory than there may be (1 GB), it is not written\n",
                       szFile.c_str());
      break;
  }
}

void CRunResult::SayNotOpened(const std::string& szPath) {
  CReporter::Print("ERROR: ouverture fichier %s\n", szPath.c_str());
}
