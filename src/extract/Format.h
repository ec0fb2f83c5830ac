#pragma once

#include <memory>
#include <span>

class CChannelSelection;
class CConfigParam;
class CRecordSink;

/// A format of output: what -of calls it and the help says of it, its number (those that the code asks for
/// have a name in CConfigParam), and what writes it.
struct SFormat {
  const char* szWord;
  const char* szHelp;
  int nNumber;
  /// Both arguments must outlive the sink.
  std::unique_ptr<CRecordSink> (*pMakeSink)(const CConfigParam&, const CChannelSelection&);
};

/// All formats.
std::span<const SFormat> Formats();
