#pragma once

#include <cstdint>

#include "bufr/BUFRReaderL1C.h"
#include "prod/ChannelSelection.h"
#include "prod/ProdL1C.h"
#include "reader/Reader.h"

class CBUFRReader;
class CConfigParam;
class CProd;
class CStrArray;

/// Reader of L1C files, with the filters on fractions, imager statistics and quality.
class CL1Reader : public CReader {
 public:
  CL1Reader() { m_decoder.bBlankUndecoded = true; }

  using CReader::Read;
  int Read(CConfigParam* pConfig, CStrArray* pFiles, CProdL1C* pProd, int nChannels, const char* pChannelMask,
           uint64_t* pMissingFlags, bool* pbDayOneSeen) {
    if (pChannelMask) m_masked = CChannelSelection(pChannelMask, nChannels);
    const CChannelSelection* pChannels = pChannelMask ? &m_masked : nullptr;
    return CReader::Read({pConfig, pFiles, pProd, nChannels, pChannels, pMissingFlags, pbDayOneSeen});
  }

  /// True when a pixel passes the L1C filters. A day 1 archive has no fractions and imager statistics:
  /// filters on them pass all of its pixels, except for statistics, where they pass none.
  static bool MatchL1Filter(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel);

  /// Clears KeepPixel where MatchL1Filter fails. True when a pixel is kept.
  bool SelectPixelsL1Filter(const CConfigParam* pConfig, CProdL1C* pProd);

 protected:
  CBUFRReader& Decoder() override { return m_decoder; }
  int GoToNextMessage() override { return m_decoder.GoToNextMessage(); }
  bool AcceptMessage(const SRead& read) override;
  void InitRecord(const SRead& read, int nSubsets) override;
  int InterpretFirstLevel(CProd* pProd) override;
  bool SelectPixelsOfKind(const SRead& read) override;
  void Update(const SRead& read) override;

 private:
  CChannelSelection m_masked;  // of the last mask
  CBUFRReaderL1C m_decoder;
};
