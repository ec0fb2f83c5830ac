#include "kernel/Reporter.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

std::string* CReporter::s_pCapture = nullptr;
bool CReporter::s_bLineOpen = false;

void CReporter::Text(const char* szText) {
  const size_t nLength = std::strlen(szText);
  if (nLength == 0) return;
  if (s_pCapture) {
    *s_pCapture += szText;
    return;
  }
  std::fwrite(szText, 1, nLength, stdout);
  s_bLineOpen = szText[nLength - 1] != '\n';
}

void CReporter::Line(const char* szText) {
  Text(szText);
  Text("\n");
}

void CReporter::FreshLine() {
  const bool bOpen = s_pCapture ? !s_pCapture->empty() && s_pCapture->back() != '\n' : s_bLineOpen;
  if (bOpen) Text("\n");
}

void CReporter::Print(const char* szFormat, ...) {
  char szShort[2048];  // takes all but the help, so that nothing is allocated when memory is what is missing
  va_list arguments, again;
  va_start(arguments, szFormat);
  va_copy(again, arguments);
  const size_t nSize = static_cast<size_t>(std::vsnprintf(szShort, sizeof szShort, szFormat, arguments)) + 1;
  if (nSize <= sizeof szShort) {
    Text(szShort);
  } else {
    std::string szLong(nSize, 0);
    std::vsnprintf(szLong.data(), nSize, szFormat, again);
    Text(szLong.c_str());
  }
  va_end(again);
  va_end(arguments);
}

CReportCapture::CReportCapture() : m_pOuter(std::exchange(CReporter::s_pCapture, &m_szText)) {}

CReportCapture::~CReportCapture() { CReporter::s_pCapture = m_pOuter; }
