#pragma once

#include <cstdint>
#include <string>

class CProd;

/// When a pixel was seen, in UTC to the millisecond, or that this is not known.
class CInstant {
 public:
  static constexpr int64_t DAY = 86'400'000;  // milliseconds

  CInstant() = default;
  /// Of a pixel of a record; unknown when a part is missing or no date or time of the day.
  CInstant(const CProd& prod, int nPixel);
  /// The first one of a day; unknown when there is no such day.
  CInstant(int64_t nYear, int64_t nMonth, int64_t nDay);
  /// The first one of a day of the number that Day gives.
  static CInstant OfDay(int64_t nDay);

  bool IsKnown() const { return m_nMilliseconds != UNKNOWN; }
  /// Days since 1970-01-01, which was Day 0.
  int64_t Day() const { return m_nMilliseconds / DAY; }
  /// YYYY, sign, MM, sign, DD.
  std::string DayText(char cBetween = '-') const;
  /// YYYY-MM-DD hh:mm:ss, or "unknown".
  std::string Text() const;
  /// Milliseconds since the other one; both are known.
  int64_t Since(const CInstant& other) const { return m_nMilliseconds - other.m_nMilliseconds; }

  auto operator<=>(const CInstant&) const = default;

 private:
  static constexpr int64_t UNKNOWN = -1;

  int64_t m_nMilliseconds = UNKNOWN;  // since 1970-01-01
};
