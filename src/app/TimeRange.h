#pragma once

/// A period of the day, to the second, both ends included. The fields are kept as given, unchecked; a
/// single time has its end equal to its start.
class CTimeRange {
 public:
  CTimeRange() = default;
  virtual ~CTimeRange() = default;

  int nStartHour = 0;
  int nStartMinute = 0;
  int nStartSecond = 0;
  int nEndHour = 0;
  int nEndMinute = 0;
  int nEndSecond = 0;
};
