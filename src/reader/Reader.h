#pragma once

#include <cstdint>

#include "app/ConfigParam.h"
#include "bufr/BUFRReader.h"
#include "prod/Prod.h"

class CChannelSelection;

/// Walks the selected files of one product kind message after message, and marks the pixels that pass the
/// filters which all kinds share. A derived reader owns the kind's decoder and says what differs.
class CReader {
 public:
  /// What one call of Read works with.
  struct SRead {
    CConfigParam* pConfig;
    CStrArray* pFiles;
    CProd* pProd;                        // of the reader's kind
    int nChannels;                       // L1C: channel count of the spectra
    const CChannelSelection* pChannels;  // L1C: selected; null: no spectra
    uint64_t* pMissingFlags;
    bool* pbDayOneSeen;  // L1C: set when a message of a day 1 archive is met
  };

  CReader() = default;
  CReader(const CReader&) = delete;
  CReader& operator=(const CReader&) = delete;
  virtual ~CReader() = default;

  /// Reads the next message of the files into the record. 0: no more files, or -maxres is reached; 1: a
  /// message was examined, whether or not one of its pixels was kept. A message for which there is not enough
  /// memory is left, and told as a loss: it counts nowhere.
  int Read(const SRead& read);

  /// True when a pixel passes the filters of position, identifiers, angles, time and surface. Computes the
  /// pixel's SurfaceType when it passes all but the last.
  static bool MatchFilterOverview(const CConfigParam* pConfig, CProd* pProd, int nPixel);

  /// Sets KeepPixel of every pixel by MatchFilterOverview, -skip and -maxres. True when one was kept.
  bool SelectPixelsToKeep(const CConfigParam* pConfig, CProd* pProd);

  int64_t PixelsRead = 0;      // examined so far in the run
  int64_t PixelsSelected = 0;  // kept so far
  int64_t PixelsSkipped = 0;   // dropped by -skip
  int FileIndex = 0;
  bool FileOpen = false;

 protected:
  virtual CBUFRReader& Decoder() = 0;
  virtual int GoToNextMessage() { return Decoder().GoToNextMessage(); }
  /// Reports a message that is not to be decoded; false makes the walk go on to the next one.
  virtual bool AcceptMessage(const SRead& read) = 0;
  virtual void InitRecord(const SRead& read, int nSubsets) = 0;
  virtual int InterpretFirstLevel(CProd* pProd) = 0;
  virtual const char* FirstLevelMessage() const;
  /// Filters of the kind, on the pixels that the common ones kept. True when one is kept.
  virtual bool SelectPixelsOfKind(const SRead&) { return true; }
  /// Decodes the rest of a message with kept pixels.
  virtual void Update(const SRead& read) = 0;

  bool MaxResultsReached(const CConfigParam* pConfig) const {
    return pConfig->nMaxResults >= 0 && PixelsSelected >= pConfig->nMaxResults;
  }

  /// Sets KeepPixel of one pixel: by match(), unless -maxres is reached or -skip takes the pixel.
  template <class TMatch>
  bool KeepIf(const CConfigParam* pConfig, CProd* pProd, int nPixel, TMatch match) {
    bool bKeep = !MaxResultsReached(pConfig) && match();
    if (bKeep && PixelsSkipped < pConfig->nSkip) {
      ++PixelsSkipped;
      bKeep = false;
    }
    PixelsSelected += bKeep;
    pProd->KeepPixel.Write()[nPixel] = bKeep;
    return bKeep;
  }

 private:
  bool OpenNextFile(const SRead& read);
  void LeaveFile(const SRead& read);
  bool NextMessage(const SRead& read);
  bool ReadMessage(const SRead& read);
  void LeaveMessage(const SRead& read);
};
