#pragma once

#include <string>
#include <vector>

#include "RecordReader.h"
#include "TestSupport.h"
#include "sample/BUFREncoder.h"
#include "sample/ProductEncoder.h"
#include "sample/SampleArchive.h"

class CChannelSelection;
class CConfigParam;
class CProd;

using TOptions = std::vector<std::string>;
TOptions operator+(TOptions arOptions, const TOptions& arMore);

/// Neighbouring pixels of one scan line of 2013-04-20 (or nDays later), from field of view 0 on.
std::vector<SSamplePixel> TestPixels(int nCount, int nLine = 5000, int nDays = 0);

/// A message and what went into it.
struct STestMessage {
  std::string szBytes;
  std::vector<SFieldValues> arFields;

  /// The value of an element that was sent for a pixel, NaN when missing or not there.
  double Sent(int nFXY, int nOccurrence, size_t nPixel) const;
};

/// nLayout -1: layout 2 for L1C, for L2 what goes with the date.
STestMessage TestMessage(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout = -1,
                         const SEncodeOptions& options = {});
CBUFREncoder TestEncoder(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout = -1);
/// An encoder with the identification and descriptors of such a message, and no data yet; nSubsets -1: as
/// many as there are pixels.
CBUFREncoder EmptyEncoder(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout = -1,
                          int nSubsets = -1);

/// Fills a record from a message, by the reader of its kind.
void ReadMessage(EKind eKind, const std::string& szMessage, CConfigParam& config,
                 const CChannelSelection& channels, CProd& prod);

/// A tree of products in a folder of its own: L1C/YYYY/MM/DD and L2/YYYY/MM/DD/kind.
class CTestTree : public CTempDir {
 public:
  static constexpr const char* DAY = "2013/04/20";

  /// Writes a file of messages; the name gets the usual extension when it has none. Returns the full path.
  std::string Add(EKind eKind, const std::string& szBytes, const std::string& szName = "a",
                  const char* szDay = DAY) const;
  /// Runs vex over the tree for 2013-04-20, output to Path("out"). The options come last.
  SRun Run(const TOptions& arOptions, rlim_t nMegabytes = 0) const;
  /// The records of a run that must succeed.
  CRecordFile Records(const TOptions& arOptions) const;
  std::string Output(const std::string& szName = "out") const { return ReadWholeFile(Path(szName)); }
};

void ExpectSays(const SRun& run, const std::string& szText, int nTimes = 1);
/// The run ended well.
void ExpectGood(const SRun& run);
