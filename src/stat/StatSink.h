#pragma once

#include <cstdint>
#include <optional>

#include "output/RecordSink.h"
#include "prod/ProductKind.h"
#include "stat/StatAccumulator.h"
#include "stat/StatFiles.h"
#include "stat/StatSet.h"

class CChannelSelection;
class CConfigParam;
class CInputFiles;
class CRunResult;
class CStatHeader;
struct SRecordView;

/// The statistics format: accumulates the pixels of the records and writes its files, one after the other,
/// behind the last of them.
class CStatSink : public CRecordSink {
 public:
  /// Both must outlive the object.
  CStatSink(const CConfigParam& config, const CChannelSelection& selection);

  /// Statistics by surface and period have no file on the output path itself.
  bool Open(const char* szPath, CInputFiles& inputs, CRunResult& result) override;
  void Begin(const bool (&arbActive)[PRODUCTS]) override;
  bool WriteHeader(int nFile, int nSatellite) override;
  bool Write(int nFile, const SRecordView& record) override;
  bool HasTaken(int64_t nLimit) const override;
  void End() override;
  bool Close() override { return !m_files || m_files->Close(); }

 private:
  void WriteSpectra(const CStatHeader& header);
  void WriteSurfacePeriod(const CStatHeader& header);
  void WriteHistos(const CStatHeader& header);
  void WriteRadiances(const CStatHeader& header);
  void WriteBoxes(const CStatHeader& header);

  const CConfigParam& m_config;
  const CChannelSelection& m_selection;
  std::optional<CStatFiles> m_files;
  std::optional<CStatSet> m_set;
  CStatAccumulator m_accumulator;
  int64_t m_arnTaken[PRODUCTS] = {};
  int m_nSatellite = -1;
};
