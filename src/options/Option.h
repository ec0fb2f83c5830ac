#pragma once

#include <span>
#include <string>
#include <vector>

#include "app/ConfigParam.h"

/// The options of the command line and of configuration files as data. What an option does with its value and
/// what the help and the pages say of it stand in one row.

/// A word that an option takes. Those without a text of their own are listed behind the option's.
struct SChoice {
  const char* szWord;
  const char* szHelp;
};

/// What an option takes: what can complete it.
enum class EValue { NONE, PATH, FOLDER, WORD, WORDS, SWITCH, TEXT };

/// A way of reading a value, which options share.
struct SWay {
  /// Takes the name and the value, which is not null unless bNullAllowed. A value that is not accepted may
  /// have changed part of its target.
  CConfigParam::EResult (*pApply)(CConfigParam& config, const char* szName, const char* szValue);
  EValue eValue;
  /// What pages show behind the name; empty where the words of pChoices tell.
  const char* szForm;
  std::vector<SChoice> (*pChoices)() = nullptr;  // WORD: one of them or, of some options, another text
  /// The value that parameters hold, as it would be given; null, or an empty text: none. Of parameters that
  /// were not filled yet it is the default.
  std::string (*pShow)(const CConfigParam& config) = nullptr;
  bool bAdds = false;         // to what was given before; other values replace it
  bool bNullAllowed = false;  // pApply takes a missing value itself
};

struct SOption {
  const char* szName;
  SWay way;
  const char* szArgument;  // what the help shows behind the name
  const char* szHelp;
  const char* szMeaning;     // what pages say; not part of the help
  bool bShownFirst = false;  // at the begin of its section, as well as in its place
};

/// Options under one title of the help, in its order.
struct SOptionSection {
  const char* szTitle;
  std::span<const SOption> options;
};

std::span<const SOptionSection> OptionSections();
