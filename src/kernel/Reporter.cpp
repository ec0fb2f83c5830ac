#include "kernel/Reporter.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

CReportCapture* CReporter::s_pCapture = nullptr;
bool CReporter::s_bLineOpen = false;

namespace {

/// A text made as printf does. Most are short and allocate nothing, for memory may be what is missing.
class CFormatted {
 public:
  CFormatted(const char* szFormat, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const size_t nSize =
        static_cast<size_t>(std::vsnprintf(m_szShort, sizeof m_szShort, szFormat, arguments)) + 1;
    if (nSize > sizeof m_szShort) {
      m_szLong.resize(nSize);
      std::vsnprintf(m_szLong.data(), nSize, szFormat, again);
    }
    va_end(again);
  }
  char* Text() { return m_szLong.empty() ? m_szShort : m_szLong.data(); }

 private:
  char m_szShort[2048];  // takes all but the help and very long paths
  std::string m_szLong;
};

}  // namespace

void CReporter::Text(const char* szText) {
  const size_t nLength = std::strlen(szText);
  if (nLength == 0) return;
  if (s_pCapture) {
    s_pCapture->m_szText += szText;
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
  const std::string* pText = s_pCapture ? &s_pCapture->m_szText : nullptr;
  const bool bOpen = pText ? !pText->empty() && pText->back() != '\n' : s_bLineOpen;
  if (bOpen) Text("\n");
}

void CReporter::Print(const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  Text(CFormatted(szFormat, arguments).Text());
  va_end(arguments);
}

void CReporter::Lost(const char* szPath, const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  LossLine("vex: %s: %s", szPath, CFormatted(szFormat, arguments).Text());
  va_end(arguments);
}

void CReporter::LostIfThere(const char* szPath, int nError) {
  if (nError != 0 && nError != ENOENT && nError != ENOTDIR) Lost(szPath, "%s", std::strerror(nError));
}

/// One call for the whole line, so that others who write to the same place do not come in between.
void CReporter::LossLine(const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  CFormatted line(szFormat, arguments);
  va_end(arguments);
  char* const pEnd = line.Text() + std::strlen(line.Text());
  std::replace(line.Text(), pEnd, '\n', '?');
  *pEnd = '\n';  // in place of the null byte
  const std::string_view whole(line.Text(), pEnd + 1);
  if (s_pCapture)
    s_pCapture->m_szLosses += whole;
  else
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

CReportCapture::CReportCapture() : m_pOuter(std::exchange(CReporter::s_pCapture, this)) {}

CReportCapture::~CReportCapture() { CReporter::s_pCapture = m_pOuter; }
