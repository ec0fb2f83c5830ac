#include "archive/ArchiveList.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "archive/ArchiveReport.h"
#include "archive/FolderWalk.h"

namespace {

int64_t Minutes(const SGap& gap) { return gap.to.Since(gap.from) / 60'000; }

/// The text, or null in JSON.
std::string JsonTime(const CInstant& time) { return time.IsKnown() ? "\"" + time.Text() + "\"" : "null"; }

/// The time of the day, with the day where it is another one.
std::string ShortTime(const CInstant& time, const CInstant& day) {
  if (!time.IsKnown()) return "-";
  const std::string szText = time.Text();
  return time.Day() == day.Day() ? szText.substr(szText.find(' ') + 1) : szText;
}

/// Joins values with commas, each on a line of its own.
void AddLine(std::string& szLines, const std::string& szValue) {
  szLines += (szLines.empty() ? "\n" : ",\n") + szValue;
}

}  // namespace

CInstant SListed::First() const {
  return arSpans.empty() ? CInstant() : std::ranges::min_element(arSpans, {}, &SGap::from)->from;
}

CInstant SListed::Last() const {
  return arSpans.empty() ? CInstant() : std::ranges::max_element(arSpans, {}, &SGap::to)->to;
}

std::vector<SGap> SListed::Gaps(int64_t nLongest) const {
  std::vector<SGap> arSorted = arSpans, arGaps;
  std::ranges::sort(arSorted, {}, &SGap::from);
  CInstant seen = First();
  for (const SGap& span : arSorted) {
    if (span.from.Since(seen) > nLongest) arGaps.push_back({seen, span.from});
    seen = std::max(seen, span.to);
  }
  return arGaps;
}

bool CArchiveList::Run() {
  CFolderWalk walk(
      [this](const std::string& szPath) { Take(szPath); },
      [this](const std::string& szPath, const std::string& szReason) { Refuse(szPath, szReason); });
  m_tree.Walk(walk);
  m_bJson ? PrintJson() : PrintText();
  return m_bAllRead;
}

void CArchiveList::Refuse(const std::string& szPath, const std::string& szReason) {
  m_bAllRead = false;
  CArchiveReport::Error(szPath, szReason);
}

void CArchiveList::Take(const std::string& szPath) {
  const SPlace place = m_tree.PlaceOf(szPath);
  if (place.eProduct == PRODUCTS || !CDatedTree::IsTaken(place.eProduct, szPath)) {
    ++m_nIgnored;
    return;
  }
  const SFileFacts facts = m_scan.Whole(szPath);
  if (!facts.szUnread.empty()) return Refuse(szPath, facts.szUnread);
  SListed& row = m_rows[{place.day, place.eProduct}];
  ++row.nFiles;
  row.nMessages += facts.nMessages;
  row.nPixels += facts.nPixels;
  row.nBytes += facts.nBytes;
  if (facts.last.IsKnown()) row.arSpans.push_back({facts.first.time, facts.last});
}

std::vector<CArchiveList::SMissing> CArchiveList::MissingDays() const {
  std::vector<SMissing> arMissing;
  int64_t arnNext[PRODUCTS] = {};  // the day behind the last one with files
  for (const auto& [key, row] : m_rows) {
    const auto& [day, eProduct] = key;
    int64_t& nNext = arnNext[eProduct];
    if (nNext > 0 && day.Day() > nNext)
      arMissing.push_back({eProduct, CInstant::OfDay(nNext), CInstant::OfDay(day.Day() - 1)});
    nNext = day.Day() + 1;
  }
  return arMissing;
}

void CArchiveList::PrintText() const {
  std::printf("%-10s  %-7s  %6s  %8s  %10s  %12s  %-8s  %-8s  %s\n", "day", "product", "files", "messages",
              "pixels", "bytes", "first", "last", "gaps");
  for (const auto& [key, row] : m_rows) {
    const auto& [day, eProduct] = key;
    const std::vector<SGap> arGaps = row.Gaps(m_nLongest);
    int64_t nMinutes = 0;
    for (const SGap& gap : arGaps) nMinutes += Minutes(gap);
    const std::string szGaps =
        arGaps.empty() ? "-" : std::to_string(arGaps.size()) + " (" + std::to_string(nMinutes) + " min)";
    std::printf("%s  %-7s  %6" PRId64 "  %8" PRId64 "  %10" PRId64 "  %12" PRId64 "  %-8s  %-8s  %s\n",
                day.DayText().c_str(), PRODUCT_KINDS[eProduct].szName, row.nFiles, row.nMessages, row.nPixels,
                row.nBytes, ShortTime(row.First(), day).c_str(), ShortTime(row.Last(), day).c_str(),
                szGaps.c_str());
  }
  for (const SMissing& missing : MissingDays())
    std::printf("%s to %s: no files of %s\n", missing.first.DayText().c_str(), missing.last.DayText().c_str(),
                PRODUCT_KINDS[missing.eProduct].szName);
  if (m_nIgnored > 0)
    std::printf("%s that vex ignores; see vex-archive check\n",
                CArchiveReport::Count(m_nIgnored, "file", "files").c_str());
}

void CArchiveList::PrintJson() const {
  std::string szDays, szMissing;
  for (const auto& [key, row] : m_rows) {
    std::string szGaps;
    for (const SGap& gap : row.Gaps(m_nLongest))
      szGaps += (szGaps.empty() ? "" : ", ") + ("[" + JsonTime(gap.from) + ", " + JsonTime(gap.to) + "]");
    AddLine(szDays, "{\"day\": \"" + key.first.DayText() + "\", \"product\": \"" +
                        PRODUCT_KINDS[key.second].szName + "\", \"files\": " + std::to_string(row.nFiles) +
                        ", \"messages\": " + std::to_string(row.nMessages) + ", \"pixels\": " +
                        std::to_string(row.nPixels) + ", \"bytes\": " + std::to_string(row.nBytes) +
                        ", \"first\": " + JsonTime(row.First()) + ", \"last\": " + JsonTime(row.Last()) +
                        ", \"gaps\": [" + szGaps + "]}");
  }
  for (const SMissing& missing : MissingDays())
    AddLine(szMissing, std::string("{\"product\": \"") + PRODUCT_KINDS[missing.eProduct].szName +
                           "\", \"first\": \"" + missing.first.DayText() + "\", \"last\": \"" +
                           missing.last.DayText() + "\"}");
  std::printf("{\"days\": [%s],\n\"missing_days\": [%s],\n\"ignored_files\": %" PRId64
              ",\n\"complete\": %s}\n",
              szDays.c_str(), szMissing.c_str(), m_nIgnored, m_bAllRead ? "true" : "false");
}
