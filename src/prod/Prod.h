#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernel/MissingReal.h"
#include "prod/Column.h"  // IWYU pragma: export

/// The pixels of one BUFR message as parallel arrays: the fields that all products share. A record is
/// refilled message after message; its arrays only grow. Fields of kept pixels have their elements for these
/// only, and take memory once they are written, so that memory follows what is kept and asked for and not
/// what a message claims.
class CProd {
 public:
  // What is missing: integers, reals (as the integer and as the real that it is), flags.
  static constexpr int64_t DEFAULT_VALUE_M1 = -1;
  static constexpr int64_t DEFAULT_VALUE_M777 = static_cast<int64_t>(MISSING_REAL);
  static constexpr double DEFAULT_VALUE_REAL = MISSING_REAL;
  static constexpr int64_t DEFAULT_VALUE_0 = 0;

  CProd() = default;
  CProd(const CProd&) = delete;
  CProd& operator=(const CProd&) = delete;
  virtual ~CProd() = default;

  /// Releases every array; all counts become 0.
  virtual void SetNull();

  /// Sizes the record for nSize pixels; growing loses the old contents, otherwise they stay.
  void InitFirstAll(int nSize);

  /// Leaves one pixel whose common fields are missing; fields of derived classes are untouched.
  void FillWithMissingValues();

  /// Takes the kept pixels from KeepPixel. Who asks for kept pixels before gets all.
  void InitKept();
  /// Kept pixels of the message in order.
  const std::vector<int>& Kept() const {
    if (!m_bKeptKnown) KeepAll();
    return m_arKept;
  }
  /// Place of a kept pixel among the kept ones.
  SKeptRow KeptRow(int nPixel) const {
    if (!m_bKeptKnown) KeepAll();
    return SKeptRow(m_arKeptRow[nPixel]);
  }

  /// A pixel's element of a field; the pixel is kept if the field is one of kept pixels.
  template <class T>
  const T& At(const TIndexedColumn<T, int>& column, int nPixel) const {
    return column[nPixel];
  }
  template <class T>
  const T& At(const TIndexedColumn<T, SKeptRow>& column, int nPixel) const {
    return column[KeptRow(nPixel)];
  }

 private:
  friend CColumn;
  void KeepAll() const;

  std::vector<CColumn*> m_arpColumns;  // all of the record, those of its base class first
  // Made by InitKept or at their first use.
  mutable bool m_bKeptKnown = false;
  mutable std::vector<int> m_arKept;
  mutable std::vector<int> m_arKeptRow;
  mutable int m_nKept = 0;

 public:
  int PixelCount = 0;
  int PixelCapacity = 0;
  FlagColumn KeepPixel{*this};  // 1: passed all filters
  IntColumn SatelliteIdentifier{*this}, SatelliteInstruments{*this};
  IntColumn Year{*this}, Month{*this}, Day{*this}, Hour{*this}, Minute{*this};
  IntColumn Milliseconds{*this};                            // within the minute
  RealColumn Latitude{*this}, Longitude{*this};             // degrees; longitude -180..180
  IntColumn SurfaceType{*this};                             // -1 unknown, 0 sea, 1 land
  RealColumn SatelliteZenithAngle{*this}, Bearing{*this};   // degrees
  RealColumn SolarZenithAngle{*this}, SolarAzimuth{*this};  // degrees
  IntColumn FieldOfViewNumber{*this}, OrbitNumber{*this}, ScanLineNumber{*this};
  RealColumn HeightOfStation{*this};  // metres

 private:
  const size_t m_nCommon = m_arpColumns.size();  // columns so far
};
