#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/ConfigParam.h"
#include "output/StreamWriter.h"
#include "prod/ProdL1C.h"
#include "stat/BoxStat.h"
#include "stat/Histo.h"
#include "stat/HistoMultiPix.h"
#include "stat/StTpStat.h"
#include "stat/StatTable.h"

/// Everything that a run of the statistics format accumulates and writes.
class CStatOutput {
 public:
  /// A grid or histogram may take this many bytes.
  static constexpr double SIZE_MAX_BYTES = 1e9;

  /// Makes what the options ask for. parbActive: the streams (L1C, then the L2 kinds) that have columns in
  /// the grid of boxes. A grid or histogram that is too large is named in a message and left out. The
  /// configuration must outlive the object.
  CStatOutput(const CConfigParam* pConfig, const bool* parbActive);
  CStatOutput(const CStatOutput&) = delete;
  CStatOutput& operator=(const CStatOutput&) = delete;
  virtual ~CStatOutput() = default;

  /// False when something was left out or could not be written.
  bool Ok() const { return m_bOk; }

  /// One kept pixel of a stream that takes part in the record. False when nothing was asked for that
  /// accumulates it: L2 pixels count in the grid of boxes only.
  bool Add(int nStream, const CProd* pProd, int nPixel);

  /// Writes all files, one after the other, and says so. pMain: the stream open on the output path, which is
  /// closed; unused with statistics by surface and period. nSatellite: -1 for unknown. Returns Ok().
  bool Close(CStreamWriter* pMain, int nSatellite);

 private:
  template <class T, class... TArguments>
  std::unique_ptr<T> Make(const std::string& szSuffix, double fSize, const TArguments&... arguments);
  void AddL1C(const CProdL1C& prod, int nPixel);

  template <class TWrite>
  void WriteFile(const std::string& szSuffix, TWrite write);
  template <class TWrite>
  void WriteOpen(CStreamWriter& writer, const std::string& szPath, TWrite write);
  void Message(const std::string& szText);

  void WriteHeader(CStatTable& table, const char* szTitle) const;
  void WriteSurfacePeriod();
  void WriteSpectra(CStatTable& table, CSpeMultiStat& stat, const std::string& szSet) const;
  void WriteSpectraHeader(CStatTable& table, const CSpeMultiStat& stat, const std::string& szSet) const;
  void WriteMoments(CStatTable& table, int nChannel, const SMoments& moments) const;
  void WriteHistoHeader(CStatTable& table, int nHisto) const;
  void WriteHisto(CStatTable& table, int nHisto) const;
  void WriteHistoPix(CStatTable& table, int nPosition) const;
  void WriteBoxHeader(CStatTable& table) const;
  void WriteBoxStat(CStatTable& table) const;

  const CConfigParam* m_pConfig;
  int m_nSatellite = -1;
  bool m_bActive[CBoxStat::STREAMS];
  std::vector<int> m_arChannels;  // selected, ascending, each once
  CRowSource m_rows;
  // Null where not asked for:
  std::unique_ptr<CSpeMultiStat> m_pSpectra;
  std::unique_ptr<CStTpStat> m_pSurfacePeriod;
  std::unique_ptr<CHisto> m_arpHistos[HISTO_COUNT];
  std::unique_ptr<CHistoMultiPix> m_pHistoPix;
  std::unique_ptr<CBoxStat> m_pBoxStat;
  bool m_bOk = true;
  bool m_bWriteFailed = false;  // said once
  bool m_bLineOpen = true;      // what was printed last did not end its line, or may not have
};
