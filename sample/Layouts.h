#pragma once

#include <string>
#include <vector>

/// The six products, in the order in which they are written side by side.
enum class EKind { L1C, OZO, TRG, CLP, TWT, EMS };
inline constexpr EKind arKinds[] = {EKind::L1C, EKind::OZO, EKind::TRG, EKind::CLP, EKind::TWT, EKind::EMS};
/// "l1c", "ozo", "trg", "clp", "twt" or "ems".
const char* KindName(EKind eKind);

/// The descriptor list of a layout, six digits each, blanks between; empty for an unknown layout. Layouts of
/// L1C are 1 (3-40-001) and 2 (3-40-007), those of L2 are 0 and 3 to 8.
std::string LayoutDescriptors(EKind eKind, int nLayout);

/// The delayed replication counts (layers, levels, points) that go with the list.
std::vector<int> LayoutCounts(EKind eKind, int nLayout);

struct SDateTime {
  int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
};
/// The layout version of an L2 message of a date: 0 or 3 to 8.
int L2VersionOf(const SDateTime& date);
/// A date in the middle of the time of a version.
SDateTime L2VersionDate(int nVersion);
