#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "output/BlockPlan.h"
#include "output/Record.h"
#include "output/RecordSink.h"
#include "output/SpectrumWriter.h"
#include "output/StreamWriter.h"

class CChannelSelection;
class CConfigParam;
class CInputFiles;
class CRunResult;

/// A format that writes each record at once, part by part. A derived class says how headers, records, parts
/// and missing parts look.
class CFileSink : public CRecordSink {
 public:
  /// Both must outlive the object. cSeparator: of the values of texts.
  CFileSink(const CConfigParam& config, const CChannelSelection& selection, char cSeparator = '\t');

  bool Open(const char* szPath, CInputFiles& inputs, CRunResult& result) override;
  bool WriteHeader(int nFile, int nSatellite) override;
  bool Write(int nFile, const SRecordView& record) override;
  bool HasTaken(int64_t nLimit) const override { return m_nWritten >= nLimit; }
  bool Close() override;

  // The same to any stream; false when it takes no more.
  virtual bool PutHeader(CStreamWriter& writer, int nSatellite) = 0;
  virtual bool PutRecord(CStreamWriter& writer, const SRecordView& record) = 0;

 protected:
  virtual void PutPart(CStreamWriter& writer, CBlockPlans& plans, const SPixelOf& pixel) = 0;
  virtual void PutMissing(CStreamWriter& writer, CBlockPlans& plans) = 0;

  /// The parts of a record, nothing when no product takes part. Those with content are counted.
  void PutParts(CStreamWriter& writer, const SRecordView& record);

  const CConfigParam& m_config;
  const CChannelSelection& m_selection;
  CRecordLayout m_layout;
  std::vector<CBlockPlans> m_arPlans;  // of the parts of the layout
  CSpectrumWriter m_spectra;

 private:
  std::vector<std::unique_ptr<CStreamWriter>> m_arpWriters;
  int64_t m_nWritten = 0;
};
