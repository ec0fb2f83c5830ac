#pragma once

#include "output/FileSink.h"

class CBlockPlans;
class CChannelSelection;
class CConfigParam;
class CStreamWriter;
struct SPixelOf;
struct SRecordView;

/// Binary extraction files: Fortran sequential records in either byte order. The page of the formats is
/// docs/formats.md.
class CBinarySink : public CFileSink {
 public:
  CBinarySink(const CConfigParam& config, const CChannelSelection& selection);

  bool PutHeader(CStreamWriter& writer, int nSatellite) override;
  bool PutRecord(CStreamWriter& writer, const SRecordView& record) override;

 protected:
  void PutPart(CStreamWriter& writer, CBlockPlans& plans, const SPixelOf& pixel) override;
  void PutMissing(CStreamWriter& writer, CBlockPlans& plans) override;

 private:
  int m_nMarker;  // of the records
};
