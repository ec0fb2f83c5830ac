#include "kernel/Reporter.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

std::string* CReporter::s_pCapture = nullptr;

void CReporter::Text(const char* szText) {
  if (s_pCapture)
    *s_pCapture += szText;
  else
    std::fputs(szText, stdout);
}

void CReporter::Line(const char* szText) {
  Text(szText);
  Text("\n");
}

void CReporter::Print(const char* szFormat, ...) {
  va_list arguments, again;
  va_start(arguments, szFormat);
  va_copy(again, arguments);
  if (s_pCapture) {
    const int nLength = std::vsnprintf(nullptr, 0, szFormat, arguments);
    std::string szText(static_cast<size_t>(nLength) + 1, 0);
    std::vsnprintf(szText.data(), szText.size(), szFormat, again);
    szText.pop_back();
    *s_pCapture += szText;
  } else {
    std::vprintf(szFormat, arguments);
  }
  va_end(again);
  va_end(arguments);
}

CReportCapture::CReportCapture() : m_pOuter(std::exchange(CReporter::s_pCapture, &m_szText)) {}

CReportCapture::~CReportCapture() { CReporter::s_pCapture = m_pOuter; }
