#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "app/ConfigParam.h"
#include "output/InputFiles.h"
#include "output/Record.h"
#include "output/RunResult.h"
#include "prod/ChannelSelection.h"
#include "prod/Prod.h"
#include "prod/ProductKind.h"
#include "reader/Reader.h"

class CRecordSink;
class CWriter;

/// One product of the run.
struct Stream {
  const SProductKind* pProduct = nullptr;
  bool bRequested = false;
  bool bActive = false;     // has files
  bool bNeedsNext = false;  // its message is used up
  bool bHasData = false;    // its last Read returned 1
  int nPixel = 0;           // current pixel of the current message
  int nCounted = 0;         // pixels of the message before this one are counted in their boxes
  CStrArray arFiles;
  std::vector<int64_t> arnBoxPixels;  // pixels that fell into each box
  std::unique_ptr<CProd> pProd;
  std::unique_ptr<CReader> pReader;
};

/// One whole run: selects the files, drives the product streams in step, pairs their pixels and hands the
/// records to the format of the run. An object does one run; another run takes another object, and any number
/// of them may live at a time.
class CExtractor {
 public:
  CExtractor();
  CExtractor(const CExtractor&) = delete;
  CExtractor& operator=(const CExtractor&) = delete;
  virtual ~CExtractor();

  /// Runs the extraction; false when a header or a record could not be written (CRunResult). A run whose
  /// output cannot be opened reads nothing, and is true.
  bool Extract(CConfigParam* pConfig);

  // Selection of input files, for a product (EProduct).
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

  // The record at hand, or its header, to a stream of the caller's. Runs write through their sink.
  bool WriteOutputHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite);
  bool WriteOutputBinHeader(CWriter* pWriter, const CConfigParam* pConfig, int nSatellite);
  bool WriteOutputTextHeader(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutput(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutputBin(CWriter* pWriter, const CConfigParam* pConfig);
  bool WriteOutputText(CWriter* pWriter, const CConfigParam* pConfig);

 private:
  void PrepareStreams(CConfigParam* pConfig);
  void SelectInput(CConfigParam* pConfig);
  void SelectDated(const CConfigParam& config, const char* szRoot, int nProduct);
  static void ReportFiles(const Stream& stream);
  bool OpenOutput(const CConfigParam* pConfig);
  void BeginOutput();

  void MainLoop(CConfigParam* pConfig);
  void ReadMessages(CConfigParam* pConfig);
  static void GetNextSelected(Stream& stream, const CConfigParam* pConfig);
  static bool HasNothing(const CProd& prod, const CConfigParam& config);
  static bool CountInBoxes(Stream& stream, const CConfigParam& config, int nEnd);
  void WriteRecords(const CConfigParam* pConfig);
  static void TestSatelliteId(const CProd* pProd, int* pId, bool* pbFound);
  void WriteHeaders(int nSatellite);

  static bool Holds(const CGeoBox& box, const CProd& prod, int nPixel);

  void PassWithoutKey(const CConfigParam* pConfig);
  void SelectSynchronous();
  void WriteToBoxes(const CConfigParam* pConfig);
  void WriteRecord(int nFile);
  void Advance();
  bool HasSupplier() const;

  void ReportCounts(const CConfigParam* pConfig) const;
  void ReportDayOne(const CConfigParam* pConfig) const;
  void DisplayMissingFlags(uint64_t nFlags) const;

  Stream m_arStreams[PRODUCTS];
  int m_nActive = 0;
  SRecordView m_record;
  CChannelSelection m_channels;
  CInputFiles m_inputs;
  std::unique_ptr<CRecordSink> m_pSink;
  int m_nFiles = 0;  // of the output
  uint64_t m_nMissingFlags = 0;
  bool m_bDayOneSeen = false;
  bool m_bHeaderWritten = false;
  CRunResult m_result;
};
