#pragma once

#include "app/ConfigParam.h"

/// The application: reads the command line and the configuration file, checks that the parameters make a
/// usable run, and does it.
class CVexApp {
 public:
  CVexApp() = default;
  virtual ~CVexApp() = default;

  /// Makes an application and has it do the whole run, as far as there is memory for both. Always 0.
  static int Start(int nArguments, char** arArguments) noexcept;

  /// The whole run. Always 0: success and failure are told by what is printed.
  int Main(int nArguments, char** arArguments) noexcept;

  /// Fills the parameters, the configuration file after the command line; true when every argument and every
  /// line was accepted.
  bool InterpretParams(int nArguments, char** arArguments);

  void ShowHelp();

  /// Runs the extraction and prints its outcome with the processor time that it took.
  bool ExtractL1L2();

 private:
  void Run(int nArguments, char** arArguments);
  bool InterpretCommandLine(int nArguments, char** arArguments);
  bool InterpretConfigFile(const char* szPath);
  bool InterpretOption(const char* szKind, const char* szName, const char* szValue);

  CConfigParam m_config;
};
