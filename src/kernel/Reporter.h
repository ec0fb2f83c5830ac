#pragma once

#include <string>

class CReportCapture;

/// The one way in which anything is said. What a run says goes to standard output, input that could not be
/// read to standard error; or both to a CReportCapture.
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

  /// Says on standard error that input which is there could not be read: the line "vex: PATH: REASON", its
  /// reason as printf. Line feeds of the path are shown as '?'.
  static void Lost(const char* szPath, const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
  /// The same of an errno, for what is looked for by its name: nothing is said when it is 0, or when the path
  /// leads nowhere.
  static void LostIfThere(const char* szPath, int nError);

 private:
  friend class CReportCapture;
  static void LossLine(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

  static CReportCapture* s_pCapture;  // null: the standard streams
  static bool s_bLineOpen;            // on standard output
};

/// Takes what is said during its life; they may be nested, the innermost takes it. For tests.
class CReportCapture {
 public:
  CReportCapture();
  CReportCapture(const CReportCapture&) = delete;
  CReportCapture& operator=(const CReportCapture&) = delete;
  ~CReportCapture();

  const std::string& Text() const { return m_szText; }
  /// Of standard error.
  const std::string& Losses() const { return m_szLosses; }

 private:
  friend class CReporter;
  std::string m_szText, m_szLosses;
  CReportCapture* m_pOuter;
};
