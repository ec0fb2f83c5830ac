#pragma once

#include <cstdint>

#include "prod/ProductKind.h"

class CInputFiles;
class CRunResult;
struct SRecordView;

/// A format of output. A run opens its files (one, or one for each box), writes the header and then record
/// after record to them, and closes them.
class CRecordSink {
 public:
  CRecordSink() = default;
  CRecordSink(const CRecordSink&) = delete;
  CRecordSink& operator=(const CRecordSink&) = delete;
  virtual ~CRecordSink() = default;

  /// Opens one more file; false when that is not possible, or when it is one of the inputs. Files are
  /// numbered from 0. result takes what Begin and End lose; it and the inputs must outlive the object.
  virtual bool Open(const char* szPath, CInputFiles& inputs, CRunResult& result) = 0;
  /// Told once, when the input is known and before anything is written: the products that have files.
  virtual void Begin(const bool (&)[PRODUCTS]) {}
  /// Writes the header of a file. nSatellite: of the first product, -1 when it has no pixel. False when it
  /// was lost, which has been said.
  virtual bool WriteHeader(int nFile, int nSatellite) = 0;
  /// Takes one record; false when it was lost.
  virtual bool Write(int nFile, const SRecordView& record) = 0;
  /// True when nLimit records (pixels of each product that is asked for, in statistics) were taken.
  virtual bool HasTaken(int64_t nLimit) const = 0;
  /// Writes what could not be written before the last record.
  virtual void End() {}
  /// Closes what is open; false when bytes of a file were lost.
  virtual bool Close() = 0;
};
