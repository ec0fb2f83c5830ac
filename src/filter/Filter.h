#pragma once

#include <span>
#include <string>
#include <vector>

class CConfigParam;
class CProd;

/// When a filter is applied.
enum class EStage { INPUT, PRODUCT, SURFACE, COUNT, L1C };

/// A stage in words of the manual page, in the order in which pixels pass the stages.
struct SStage {
  EStage eStage;
  const char* szMeaning;
};
std::span<const SStage> Stages();

/// A test of a pixel, made from the columns that it depends on: it gets their values and nothing else of the
/// record. So what is equal for all pixels gives one result.
struct SPixelTest {
  using TKeeps = bool(const CConfigParam& config, const CProd& prod, int nPixel);
  TKeeps* pKeeps = nullptr;
  /// True when the columns are known to hold one value for all pixels.
  bool (*pIsUniform)(const CProd& prod) = nullptr;
  bool bL1C = false;  // only records of L1C have the columns
};

/// One filter: its option, the text that statistics show, and its test. Those of files and counts have no
/// test: they work on no column.
struct SFilter {
  EStage eStage;
  const char* szOption;  // without its dash
  /// The value in the header of statistics, as it could be given; empty for the default.
  std::string (*pShow)(const CConfigParam& config);
  bool (*pIsOn)(const CConfigParam& config) = nullptr;  // null: always
  SPixelTest test = {};
  SPixelTest dayOne = {};  // L1C: on day 1 archives; none: those do not have the columns
};

/// All filters, in the order of the header of statistics.
std::span<const SFilter> Filters();
inline constexpr int MAX_FILTERS = 40;

/// The filters that a run applies, each as it could be given on the command line ("-mila 30").
std::vector<std::string> FiltersInForce(const CConfigParam& config);

/// The tests of one stage that a run has on, for the pixels of a message. config must outlive it.
class CPixelFilter {
 public:
  /// bDayOne: the message is of a day 1 archive. A filter on columns that it does not have keeps all pixels,
  /// or none in statistics.
  CPixelFilter(const CConfigParam& config, EStage eStage, bool bDayOne = false);

  /// The record is of the product that the filters of the stage are for.
  bool Keeps(const CProd& prod, int nPixel) const {
    for (int i = 0; i < m_nTests; ++i)
      if (!m_arpTests[i](m_config, prod, nPixel)) return false;
    return true;
  }

 private:
  const CConfigParam& m_config;
  int m_nTests = 0;
  SPixelTest::TKeeps* m_arpTests[MAX_FILTERS];  // those that were asked for come first: they drop most
};
