#include "archive/Instant.h"

#include <chrono>
#include <cstdio>

#include "prod/Prod.h"

namespace {

constexpr int FIRST_YEAR = 1970, LAST_YEAR = 9999;

bool IsWithin(int64_t nValue, int64_t nLast) { return nValue >= 0 && nValue <= nLast; }

}  // namespace

CInstant::CInstant(int64_t nYear, int64_t nMonth, int64_t nDay) {
  using namespace std::chrono;
  if (nYear < FIRST_YEAR || nYear > LAST_YEAR || !IsWithin(nMonth, 12) || !IsWithin(nDay, 31)) return;
  const year_month_day date(year(static_cast<int>(nYear)), month(static_cast<unsigned>(nMonth)),
                            day(static_cast<unsigned>(nDay)));
  if (date.ok()) m_nMilliseconds = sys_days(date).time_since_epoch().count() * DAY;
}

CInstant::CInstant(const CProd& prod, int nPixel)
    : CInstant(prod.Year[nPixel], prod.Month[nPixel], prod.Day[nPixel]) {
  constexpr int64_t LAST_MILLISECOND = 60'999;  // of a minute with a leap second
  const int64_t nHour = prod.Hour[nPixel], nMinute = prod.Minute[nPixel];
  const int64_t nMilliseconds = prod.Milliseconds[nPixel];
  if (!IsKnown()) return;
  if (IsWithin(nHour, 23) && IsWithin(nMinute, 59) && IsWithin(nMilliseconds, LAST_MILLISECOND))
    m_nMilliseconds += (nHour * 60 + nMinute) * 60'000 + nMilliseconds;
  else
    m_nMilliseconds = UNKNOWN;
}

CInstant CInstant::OfDay(int64_t nDay) {
  CInstant instant;
  instant.m_nMilliseconds = nDay * DAY;
  return instant;
}

std::string CInstant::DayText(char cBetween) const {
  using namespace std::chrono;
  const year_month_day date{sys_days(days(Day()))};
  char szText[40];
  std::snprintf(szText, sizeof szText, "%04d%c%02u%c%02u", static_cast<int>(date.year()), cBetween,
                static_cast<unsigned>(date.month()), cBetween, static_cast<unsigned>(date.day()));
  return szText;
}

std::string CInstant::Text() const {
  if (!IsKnown()) return "unknown";
  const int nSeconds = static_cast<int>(m_nMilliseconds % DAY / 1000);
  char szTime[40];
  std::snprintf(szTime, sizeof szTime, " %02d:%02d:%02d", nSeconds / 3600, nSeconds / 60 % 60, nSeconds % 60);
  return DayText() + szTime;
}
