#pragma once

#include "output/FileSink.h"

class CBlockPlans;
class CChannelSelection;
class CConfigParam;
class CStreamWriter;
struct SPixelOf;
struct SRecordView;

/// Text extraction files: a line of column names, then a line a record; a tab (or what a format derived from
/// it takes) between the columns.
class CTextSink : public CFileSink {
 public:
  CTextSink(const CConfigParam& config, const CChannelSelection& selection, char cSeparator = '\t');

  bool PutHeader(CStreamWriter& writer, int nSatellite) override;
  bool PutRecord(CStreamWriter& writer, const SRecordView& record) override;

  /// What the column Tb holds in all lines of a run: -tb as 0 or 1, -1 without L1C.
  static int TbColumn(const CConfigParam& config);

 protected:
  void PutPart(CStreamWriter& writer, CBlockPlans& plans, const SPixelOf& pixel) override;
  void PutMissing(CStreamWriter& writer, CBlockPlans& plans) override;
};
