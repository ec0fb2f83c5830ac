#include "sample/Layouts.h"

namespace {

// Layout versions as a set of bits.
constexpr unsigned Span(int nFirst, int nLast) { return (2U << nLast) - (1U << nFirst); }
constexpr unsigned V0 = 1, V4 = Span(4, 4), V8 = Span(8, 8), V34 = Span(3, 4), V37 = Span(3, 7),
                   V38 = Span(3, 8), V48 = Span(4, 8), V68 = Span(6, 8), OLD = V0 | Span(5, 8),
                   ALL = V0 | V38;

struct SRow {
  const char* szDescriptors;
  unsigned nOzo, nTrg, nClp, nTwt, nEms;  // the versions of each kind that have the row
};

// The L2 messages from their first to their last element. Versions 3 and later moved kind after kind from
// the 16-bit quality flags (local elements 0-40-192 to 198) to the short ones of the WMO tables.
constexpr SRow arL2[] = {
    {"001007 001031", ALL, ALL, ALL, ALL, ALL},
    {"025060", V4, V4, V48, V48, V4},
    {"002019 002020 004001 004002 004003 004004 004005 004006 005040 201133 005041 201000 005001 006001 "
     "005043",
     ALL, ALL, ALL, ALL, ALL},
    {"013038", ALL, V0, V0, V0, V0},
    {"040052", 0, 0, 0, V38, 0},
    {"008012 008013", ALL, ALL, ALL, ALL, ALL},
    {"002022", OLD, OLD, V0, V0, OLD},
    {"040056", V34, V34, V38, V38, V34},
    {"008065", ALL, ALL, ALL, ALL, ALL},
    {"040192 040193 040194 040195 040196", OLD, OLD, V0, V0, OLD},
    {"040045", 0, V34, 0, 0, V34},
    {"040045 040046 040049", 0, 0, V38, 0, 0},
    {"040047", 0, 0, V37, 0, 0},
    {"033026 040068 040050", 0, 0, V8, 0, 0},
    {"040047 040048 040046 040050", V34, 0, 0, V37, 0},
    {"033026 040068 002151 040047 040048 040050", 0, 0, 0, V8, 0},
    {"040051", V34, V34, 0, V38, V34},
    {"040197", OLD, OLD, V0, V0, OLD},
    {"040043", V34, V34, V38, V38, V34},
    {"040198", OLD, V0, 0, V0, V0},
    {"040053 040072", V34, 0, 0, 0, 0},
    {"040053", 0, 0, V68, 0, 0},
    {"040053 040067 040066 040073", 0, 0, 0, V38, 0},
    {"007024 005021 007025 005022", ALL, ALL, ALL, ALL, ALL},
    {"202126 007001 202000", ALL, ALL, ALL, 0, ALL},
    // Products: layers of ozone and what follows them, columns of trace gases, cloud layers,
    {"107000 031001 202131 201138 007004 007004 201000 202000 015020", ALL, 0, 0, 0, 0},
    {"101055 040071", V34, 0, 0, 0, 0},
    {"040199 040200 040201 040202", 0, ALL, 0, 0, 0},
    {"008003 112003 202129 201131 007004 201000 202000 012101 202130 201135 020081 201000 202000 020056", 0,
     0, ALL, 0, 0},
    // surface and profiles of temperature and humidity,
    {"008003", 0, 0, 0, ALL, 0},
    {"010004", 0, 0, 0, V0, 0},
    {"201144 010004 201000", 0, 0, 0, V37, 0},
    {"201134 010004 201000", 0, 0, 0, V8, 0},
    {"201120 008022 201000 012061 201120 008022 201000 202126 007001 202000 008003", 0, 0, 0, ALL, 0},
    {"106000 031001 202131 201138 007004 201000 202000 012101", 0, 0, 0, ALL, 0},
    {"110000 031001 202131 201138 007004 201000 202000 202129 201134 013002 201000 202000", 0, 0, 0, V0, 0},
    {"110000 031001 202131 201138 007004 201000 202000 202130 201144 013002 201000 202000", 0, 0, 0, V38, 0},
    // spectral points of emissivity.
    {"102000 031001 002153 014050", 0, 0, 0, 0, ALL},
};

unsigned VersionsOf(const SRow& row, EKind eKind) {
  switch (eKind) {
    case EKind::OZO:
      return row.nOzo;
    case EKind::TRG:
      return row.nTrg;
    case EKind::CLP:
      return row.nClp;
    case EKind::TWT:
      return row.nTwt;
    case EKind::EMS:
      return row.nEms;
    default:
      return 0;
  }
}

// The first day and time of each version. Until then the version of the line above holds.
struct SSwitch {
  int nVersion, nDate, nTime;
};
constexpr SSwitch arSwitches[] = {{0, 0, 0},
                                  {3, 20140930, 72300},
                                  {4, 20150924, 115655},
                                  {5, 20160602, 81458},
                                  {6, 20170620, 83857},
                                  {7, 20180307, 130252},
                                  {8, 20190514, 71758}};

}  // namespace

const char* KindName(EKind eKind) {
  constexpr const char* arNames[] = {"l1c", "ozo", "trg", "clp", "twt", "ems"};
  return arNames[static_cast<int>(eKind)];
}

std::string LayoutDescriptors(EKind eKind, int nLayout) {
  if (eKind == EKind::L1C) return nLayout == 1 ? "340001" : nLayout == 2 ? "340007" : "";
  std::string szList;
  if (nLayout < 0 || nLayout > 8) return szList;
  for (const SRow& row : arL2) {
    if ((VersionsOf(row, eKind) >> nLayout & 1) == 0) continue;
    if (!szList.empty()) szList += ' ';
    szList += row.szDescriptors;
  }
  return szList;
}

std::vector<int> LayoutCounts(EKind eKind, int nLayout) {
  switch (eKind) {
    case EKind::OZO:
      return {nLayout == 3 || nLayout == 4 ? 101 : 4};
    case EKind::TWT:
      return nLayout == 0 ? std::vector<int>{90, 90} : std::vector<int>{101, 101};
    case EKind::EMS:
      return {12};
    default:
      return {};
  }
}

int L2VersionOf(const SDateTime& date) {
  const int nDate = date.nYear * 10000 + date.nMonth * 100 + date.nDay;
  const int nTime = date.nHour * 10000 + date.nMinute * 100 + date.nSecond;
  int nVersion = 0;
  for (const SSwitch& s : arSwitches) {
    if (nDate > s.nDate || (nDate == s.nDate && nTime >= s.nTime)) nVersion = s.nVersion;
  }
  return nVersion;
}

SDateTime L2VersionDate(int nVersion) {
  constexpr int arYears[] = {2013, 0, 0, 2015, 2016, 2017, 2017, 2018, 2019};
  const int nMonth = nVersion == 3 || nVersion == 4 || nVersion == 5 ? 3 : 9;
  return {arYears[nVersion < 0 || nVersion > 8 ? 0 : nVersion], nMonth, 15, 12, 0, 0};
}
