#pragma once

#include <string>

/// The one way in which anything is said: all of it goes to standard output, or to a CReportCapture.
class CReporter {
 public:
  /// A text as it stands.
  static void Text(const char* szText);
  /// A text and the end of its line.
  static void Line(const char* szText);
  /// Ends the line that a text has left open, if one has: what follows stands on a line of its own.
  static void FreshLine();
  /// As printf. Formats that stand in tables are fitted with their arguments there.
  static void Print(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

 private:
  friend class CReportCapture;
  static std::string* s_pCapture;  // null: standard output
  static bool s_bLineOpen;         // on standard output
};

/// Takes what is said during its life; they may be nested, the innermost takes it. For tests.
class CReportCapture {
 public:
  CReportCapture();
  CReportCapture(const CReportCapture&) = delete;
  CReportCapture& operator=(const CReportCapture&) = delete;
  ~CReportCapture();

  const std::string& Text() const { return m_szText; }

 private:
  std::string m_szText;
  std::string* m_pOuter;
};
