#pragma once

#include <cstdint>
#include <vector>

/// The channels of a run: the ranges of -c as each stage takes them. What lies outside of the archive's
/// channels is decoded by no one, but still counts in the headers.
class CChannelSelection {
 public:
  /// Channel numbers run from 1 to at most this: a message has 87 groups of 100 samples.
  static constexpr int LIMIT = 8700;
  /// The last channel of the spectrum. What a message has behind it fills up the last group.
  static constexpr int SPECTRUM = 8461;

  /// Inclusive, as given: it may lie outside of the archive's channels, or hold nothing.
  struct SRange {
    int nFirst;
    int nLast;
  };
  /// Neighbouring columns.
  struct SStretch {
    int nFirst;
    int nCount;
  };

  /// Nothing.
  CChannelSelection() : CChannelSelection({}, 0) {}
  /// nLimit: channels that the spectra have.
  explicit CChannelSelection(std::vector<SRange> arRanges, int nLimit = LIMIT);
  /// Of a mask with one byte for each of nLimit channels, channel number - 1 as index, non-zero = selected.
  CChannelSelection(const char* pMask, int nLimit);

  // The selected channels that the archive has, ascending, each once: the columns of a spectrum.
  int Columns() const { return static_cast<int>(m_arChannels.size()); }
  /// Channel number of a column.
  int Channel(int nColumn) const { return m_arChannels[nColumn]; }
  const std::vector<int>& Channels() const { return m_arChannels; }
  // For channels from 1 to the limit, when spectra are asked for at all:
  /// Column of a channel, -1 when it is not selected.
  int Column(int nChannel) const { return m_arColumnOf[nChannel - 1]; }
  bool Has(int nChannel) const { return m_arMask[nChannel - 1] != 0; }
  /// True when spectra are asked for, be it of channels that no archive has.
  bool Given() const { return m_bGiven; }

  /// Channels that the headers count: all of every range.
  int64_t HeaderCount() const { return m_nHeaderCount; }
  /// Calls visit(number) for them in the order of the ranges. bNames: for the names of text columns, which
  /// ranges that begin below 0 do not give.
  template <class TVisit>
  void EachHeaderChannel(bool bNames, TVisit visit) const {
    for (const SRange& range : m_arRanges)
      for (int64_t n = range.nFirst; n <= range.nLast && !(bNames && range.nFirst < 0); ++n) visit(n);
  }

  /// The values of a record as stretches of columns, in the order of the ranges. A range that begins outside
  /// of the archive's channels is left out, one that ends outside is cut there. bChannels: a stretch never
  /// goes over the end of a range, so that its channels are neighbours as well as its columns.
  std::vector<SStretch> Stretches(int nMost, bool bChannels) const;

 private:
  void FindColumns();

  std::vector<SRange> m_arRanges;
  int m_nLimit;
  bool m_bGiven;
  int64_t m_nHeaderCount = 0;
  std::vector<char> m_arMask;
  std::vector<int> m_arColumnOf;
  std::vector<int> m_arChannels;
};
