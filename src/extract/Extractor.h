#pragma once

#include <memory>
#include <vector>

#include "app/ConfigParam.h"
#include "output/Writer.h"
#include "reader/Reader.h"
#include "stat/StatOutput.h"

/// What one product kind contributes to the blocks of a record, to its lengths and to its reports.
struct SKind;

/// One product of the run, in the fixed order L1C, ozo, trg, clp, twt, ems.
struct Stream {
  const SProductKind* pProduct = nullptr;
  const SKind* pKind = nullptr;
  bool bRequested = false;
  bool bActive = false;       // has files
  bool bNeedsNext = false;    // its message is used up
  bool bHasData = false;      // its last Read returned 1
  int nPixel = 0;             // current pixel of the current message
  int nCounted = 0;           // pixels of the message before this one are counted in their boxes
  bool bSynchronous = false;  // takes part in the record at hand
  int64_t nStatPixels = 0;    // accumulated by the statistics
  CStrArray arFiles;
  std::vector<int> arnBoxPixels;  // pixels that fell into each box
  std::unique_ptr<CProd> pProd;
  std::unique_ptr<CReader> pReader;
};

/// One whole run: selects the files, drives the product streams in step, pairs their pixels and writes the
/// records.
class CExtractor {
 public:
  CExtractor();
  CExtractor(const CExtractor&) = delete;
  CExtractor& operator=(const CExtractor&) = delete;
  virtual ~CExtractor();

  /// Runs the extraction; false when a header or a record could not be written.
  bool Extract(CConfigParam* pConfig);

  // Selection of input files. nKind: 0 L1C, 1 to 5 the L2 kinds in the order of the streams.
  static bool CheckFormat(int nLength, const char* szName);
  /// Appends the files of root/YYYY/MM/DD[/kind] for the dates of the interval, in chronological order.
  static void SelectFiles(const char* szRoot, const CStrArray* pExtensions, const CStrArray* pMotifs,
                          int nFirstYear, int nFirstMonth, int nFirstDay, int nLastYear, int nLastMonth,
                          int nLastDay, CStrArray& arResult, int nKind);
  /// Appends the files of root/kind.
  static void SelectFilesIndepDir(const char* szRoot, const CStrArray* pExtensions, const CStrArray* pMotifs,
                                  CStrArray& arResult, int nKind);

  // Pairing by the key orbit, scan line, field of view.
  /// 1 when the pixel's key is usable and smaller than the one given, which it then replaces.
  static int IsSoonest(const CProd* pProd, int nPixel, int64_t* pOrbit, int64_t* pScanLine,
                       int64_t* pFieldOfView);
  /// The smallest key that a stream offers; 0 (and 999999 in each part) when none offers one.
  int ProcessSoonest(int64_t* pOrbit, int64_t* pScanLine, int64_t* pFieldOfView) const;
  static bool IsSynchronous(const CProd* pProd, int nPixel, int64_t nOrbit, int64_t nScanLine,
                            int64_t nFieldOfView);

  // Output of headers and records, by the format of the run.
  bool WriteOutputHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite);
  bool WriteOutputBinHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite);
  bool WriteOutputTextHeader(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutput(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutputBin(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutputText(CWriter* pWriter, const CConfigParam* pConfig);
  /// Hands the pixels of the record to the statistics.
  bool WriteOutputStat();

  /// Content length that the markers of a binary record announce.
  static int64_t RecordLength(const CConfigParam* pConfig);

 private:
  void PrepareStreams(CConfigParam* pConfig);
  void SelectInput(CConfigParam* pConfig);
  static void ReportFiles(const Stream& stream);
  bool OpenWriters(CConfigParam* pConfig);
  static bool OpenOutput(CStreamWriter& writer, const CConfigParam* pConfig);
  bool CloseWriters();
  void OpenStat(const CConfigParam* pConfig);
  void CloseOutput();
  bool CloseOutputStat();

  void MainLoop(CConfigParam* pConfig);
  void ReadMessages(CConfigParam* pConfig);
  void GetNextSelected(Stream& stream, const CConfigParam* pConfig);
  void WriteRecords(CConfigParam* pConfig);
  bool TestMaxRes(const CConfigParam* pConfig) const;
  static void TestSatelliteId(const CProd* pProd, int* pId, bool* pbFound);
  void WriteHeaders(const CConfigParam* pConfig, int nSatellite);

  static bool Holds(const CGeoBox& box, const CProd& prod, int nPixel);
  void ReportWriteFailure();

  void SelectSynchronous();
  void WriteToBoxes(const CConfigParam* pConfig);
  template <class TFormat>
  bool WriteBlocks(CWriter& writer, const CConfigParam* pConfig);
  void WriteRecord(CWriter* pWriter, const CConfigParam* pConfig);
  void Advance();
  const Stream* Supplier() const;
  bool HasSupplier() const;

  void ReportCounts(const CConfigParam* pConfig) const;
  void ReportDayOne(const CConfigParam* pConfig) const;
  void DisplayMissingFlags(uint64_t nFlags) const;

  Stream m_arStreams[PRODUCTS];
  int m_nActive = 0;
  int64_t m_nWritten = 0;        // records
  int64_t m_nRecordLength = -1;  // content of a binary record, -1 not known yet
  std::vector<std::unique_ptr<CWriter>> m_arWriters;
  std::vector<char> m_arChannelMask;  // empty: no spectra
  uint64_t m_nMissingFlags = 0;
  bool m_bDayOneSeen = false;
  std::unique_ptr<CStatOutput> m_pStat;  // in the statistics format only
  int m_nSatellite = -1;                 // of the header
  bool m_bHeaderWritten = false;
  bool m_bWriteFailed = false;  // reported once a run
  bool m_bResult = true;
};
