#pragma once

#include <cstdint>

#include "prod/Column.h"

/// The pixels of one BUFR message as parallel per-pixel arrays: the fields that all products share.
/// A record is refilled message after message; its arrays only grow.
/// Missing values: integers -1, reals -777.0.
class CProd {
 public:
  static constexpr int64_t DEFAULT_VALUE_M1 = -1;
  static constexpr int64_t DEFAULT_VALUE_M777 = -777;
  static constexpr int64_t DEFAULT_VALUE_0 = 0;

  CProd() = default;
  CProd(const CProd&) = delete;
  CProd& operator=(const CProd&) = delete;
  virtual ~CProd() = default;

  /// Releases every array of the class and its bases; both counts become 0.
  virtual void SetNull();

  /// Sizes the record for nSize pixels; growing loses the old contents, otherwise they are kept.
  void InitFirstAll(int nSize);

  /// Leaves one pixel whose common fields are missing; fields of derived classes are untouched.
  void FillWithMissingValues();

  int PixelCount = 0;
  int PixelCapacity = 0;
  TColumn<uint8_t> KeepPixel;  // 1: passed all filters
  IntColumn SatelliteIdentifier, SatelliteInstruments;
  IntColumn Year, Month, Day, Hour, Minute;
  IntColumn Milliseconds;                                                    // within the minute
  RealColumn Latitude, Longitude;                                            // degrees; longitude -180..180
  IntColumn SurfaceType;                                                     // -1 unknown, 0 sea, 1 land
  RealColumn SatelliteZenithAngle, Bearing, SolarZenithAngle, SolarAzimuth;  // degrees
  IntColumn FieldOfViewNumber, OrbitNumber, ScanLineNumber;
  RealColumn HeightOfStation;  // metres

 protected:
  void DeleteContents();

 private:
  template <class TVisit>
  void EachColumn(TVisit visit) {
    for (auto* p : {&SatelliteIdentifier, &SatelliteInstruments, &Year, &Month, &Day, &Hour, &Minute,
                    &Milliseconds, &SurfaceType, &FieldOfViewNumber, &OrbitNumber, &ScanLineNumber})
      visit(*p);
    for (auto* p : {&Latitude, &Longitude, &SatelliteZenithAngle, &Bearing, &SolarZenithAngle, &SolarAzimuth,
                    &HeightOfStation})
      visit(*p);
  }
};
