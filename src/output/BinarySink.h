#pragma once

#include <cstdint>
#include <span>

#include "output/Block.h"
#include "output/FileSink.h"

class CBlockPlans;
class CChannelSelection;
class CConfigParam;
class CRecordLayout;
class CStreamWriter;
struct SPixelOf;
struct SRecordView;

/// How often a field of the header record stands there.
enum class EHeaderTimes : uint8_t { ONCE, CHANNELS, KINDS };

/// What the header record tells of a run.
struct SHeaderView {
  const CConfigParam& config;
  const CRecordLayout& layout;
  int nSatellite;
};

/// One field of the header record.
struct SHeaderField {
  const char* szVariable;
  EBin eBin;
  const char* szMeaning;
  int64_t (*pValue)(const SHeaderView& header);  // of fields that stand there once
  EHeaderTimes eTimes = EHeaderTimes::ONCE;
  const char* szCodes = "";  // as in SAbout
};
std::span<const SHeaderField> HeaderFields();

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
