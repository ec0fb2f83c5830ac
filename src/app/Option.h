#pragma once

#include <span>
#include <vector>

#include "app/ConfigParam.h"

/// The options of the command line and of configuration files as data. What an option does with its value and
/// what the help says of it stand in one row.

/// A word that an option takes. Those without a text of their own are listed behind the option's.
struct SChoice {
  const char* szWord;
  const char* szHelp;
};

struct SOption {
  const char* szName;
  /// Takes the name and the value, which is not null unless bNullAllowed. A value that is not accepted may
  /// have changed part of its target.
  CConfigParam::EResult (*pApply)(CConfigParam& config, const char* szName, const char* szValue);
  const char* szArgument;  // what the help shows behind the name
  const char* szHelp;
  std::vector<SChoice> (*pChoices)() = nullptr;
  bool bNullAllowed = false;  // pApply takes a missing value itself
  bool bShownFirst = false;   // at the begin of its section, as well as in its place
};

/// Options under one title of the help, in its order.
struct SOptionSection {
  const char* szTitle;
  std::span<const SOption> options;
};

std::span<const SOptionSection> OptionSections();
