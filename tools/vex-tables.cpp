// Prints what vex knows of its formats and options as one JSON object, from the tables that it walks over
// itself: for scripts/lib/tables, which makes pages and the layout of the Python package from it.
//
// Offsets and lengths are formulas from the begin of the block or of the header record: N is the number of
// channels, K that of L2 products, L that of a pixel's layers or levels; i and j count the repetition and the
// inner one from 0. Of a field, "missing" is what stands there when the product has no pixel in the record,
// "missing_value" when the pixel has no such value; "with_tb" is the field that stands there with -tb 1.
// "channels" are those of the spectrum; a record ends at channel "channel_limit", whatever its header counts.
//
// Of a column of statistics, "empty" is what stands there without any value, "option" what files or their
// runs must have to have it; its group is repeated behind each prefix of "sets", or for each channel.
// "filters" are in the order of the headers of statistics; one of "text" shows a text that may hold blanks.
//
// Of an option, "help" and the words under "sub" are those of the program's help; "meaning" is what pages
// say, "form" what they show behind the name, "value" what it takes: none, path, folder, word (of "sub"),
// words (of "sub", between commas), switch (1 or 0) or text. "default" holds without it; one that "adds" may
// be repeated. Of the stages of filters, in their order, "filters" are the options.

#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/ConfigParam.h"
#include "extract/Format.h"
#include "filter/Filter.h"
#include "options/Option.h"
#include "output/BinarySink.h"
#include "output/Block.h"
#include "output/Record.h"
#include "prod/ChannelSelection.h"
#include "prod/Prod.h"
#include "prod/ProductKind.h"
#include "stat/HistoKind.h"
#include "stat/StatColumn.h"

namespace {

std::string Quoted(std::string_view szText) {
  std::string szQuoted = "\"";
  for (const char c : szText) {
    if (c == '"' || c == '\\') szQuoted += '\\';
    szQuoted += c;
  }
  return szQuoted + '"';
}

std::string Number(double fNumber) {
  char szNumber[32];
  std::snprintf(szNumber, sizeof szNumber, "%.9g", fNumber);
  return szNumber;
}
std::string Number(int nNumber) { return std::to_string(nNumber); }

/// {"name": value, ...} or [value, ...] of values in JSON.
class CJson {
 public:
  explicit CJson(const char* szBrackets) : m_szBrackets(szBrackets) {}
  CJson& Add(const std::string& szValue) {
    m_szContent += (m_szContent.empty() ? "" : ", ") + szValue;
    return *this;
  }
  CJson& Add(const char* szName, const std::string& szValue) { return Add(Quoted(szName) + ": " + szValue); }
  CJson& Text(const char* szName, std::string_view szText) { return Add(szName, Quoted(szText)); }
  /// One value a line.
  CJson& AddLine(const std::string& szValue) { return Add("\n" + szValue); }
  std::string Get() const { return m_szBrackets[0] + m_szContent + m_szBrackets[1]; }

 private:
  const char* m_szBrackets;
  std::string m_szContent;
};
CJson Object() { return CJson("{}"); }
CJson List() { return CJson("[]"); }

const char* TypeName(EBin eBin) {
  constexpr const char* NAMES[] = {"text", "int1", "int2", "int4", "real4"};
  return NAMES[static_cast<int>(eBin)];
}

/// An offset: bytes, and bytes for each of what the letters count.
struct SOffset {
  int nBytes = 0, nPerN = 0, nPerK = 0, nPerL = 0, nPerI = 0, nPerJ = 0;

  std::string Formula() const {
    const bool bBytes = nBytes || !(nPerN || nPerK || nPerL || nPerI || nPerJ);
    std::string szFormula = bBytes ? std::to_string(nBytes) : "";
    const auto term = [&](int nFactor, const char* szIndex) {
      if (!nFactor) return;
      szFormula.append(szFormula.empty() ? "" : " + ").append(std::to_string(nFactor)).append("\302\267");
      szFormula += szIndex;
    };
    term(nPerN, "N");
    term(nPerK, "K");
    term(nPerL, "L");
    term(nPerI, "i");
    term(nPerJ, "j");
    return szFormula;
  }
};

std::string Header() {
  SOffset at;
  CJson list = List();
  for (const SHeaderField& field : HeaderFields()) {
    constexpr const char* TIMES[] = {"1", "N", "K"};
    const int nSize = BinarySizeOf(field.eBin);
    list.AddLine(Object()
                     .Text("variable", field.szVariable)
                     .Text("offset", at.Formula())
                     .Text("type", TypeName(field.eBin))
                     .Text("times", TIMES[static_cast<int>(field.eTimes)])
                     .Text("meaning", field.szMeaning)
                     .Text("codes", field.szCodes)
                     .Get());
    int* const arpFactors[] = {&at.nBytes, &at.nPerN, &at.nPerK};
    *arpFactors[static_cast<int>(field.eTimes)] += nSize;
  }
  return list.Get();
}

std::string Kinds() {
  CJson list = List();
  for (const SProductKind& kind : PRODUCT_KINDS)
    if (kind.nHeaderCode)
      list.Add(Object().Text("name", kind.szName).Add("code", Number(kind.nHeaderCode)).Get());
  return list.Get();
}

/// The first moment with many layers and levels. What the writers compare with is no time of day: a minute of
/// 60 seconds.
std::string Recent() {
  const auto nDate = static_cast<int>(RECENT_DATE), nTime = static_cast<int>(RECENT_TIME);
  const int nSeconds = nTime / 10000 * 3600 + nTime / 100 % 100 * 60 + nTime % 100;
  char szRecent[64];
  std::snprintf(szRecent, sizeof szRecent, "%04d-%02d-%02dT%02d:%02d:%02d", nDate / 10000, nDate / 100 % 100,
                nDate % 100, nSeconds / 3600, nSeconds / 60 % 60, nSeconds % 60);
  return szRecent;
}

double MissingValue(const SField& field) {
  switch (field.source.eForm) {
    case EForm::REALS:
      return CProd::DEFAULT_VALUE_REAL / field.fDivisor;
    case EForm::NONE:
      return field.nMissingBin;
    default:
      return CProd::DEFAULT_VALUE_M1;
  }
}

CJson FieldObject(const SField& field, const SOffset& at) {
  const SAbout& about = field.about;
  const SDayOne& dayOne = field.dayOne;
  const SValid& valid = about.valid;
  CJson object = Object();
  object.Text("name", field.szName)
      .Text("variable", about.szVariable)
      .Text("type", TypeName(field.eBin))
      .Text("text", field.eText == EText::INT ? "int" : "real")
      .Add("missing", Number(field.nMissingBin))
      .Add("missing_text", Number(field.nMissingText))
      .Add("missing_value", Number(MissingValue(field)))
      .Add("divisor", Number(field.fDivisor))
      .Text("unit", about.szUnit)
      .Text("meaning", about.szMeaning)
      .Add("valid_range",
           valid.fMin == valid.fMax ? "null" : List().Add(Number(valid.fMin)).Add(Number(valid.fMax)).Get())
      .Text("standard_name", about.szStandardName)
      .Text("codes", about.szCodes)
      .Add("day_one", dayOne.bFixed
                          ? Object().Add("binary", Number(dayOne.nBin)).Text("text", dayOne.szText).Get()
                          : "null")
      .Text("offset", field.eBin == EBin::NONE ? "-" : at.Formula());
  return object;
}

/// Fields one behind the other from an offset on, which moves on.
std::string Fields(std::span<const SField> fields, SOffset& at) {
  CJson list = List();
  for (const SField& field : fields) {
    list.AddLine(FieldObject(field, at).Get());
    at.nBytes += BinarySizeOf(field.eBin);
  }
  return list.Get();
}

int SizeOf(std::span<const SField> fields) {
  int nSize = 0;
  for (const SField& field : fields) nSize += BinarySizeOf(field.eBin);
  return nSize;
}

CJson GroupObject(int nTimes, int nTimesRecent, const char* szDimension, const std::string& szFields,
                  const std::string& szInner = "null") {
  CJson object = Object();
  object.Add("times", Number(nTimes))
      .Add("times_recent", Number(nTimesRecent))
      .Text("dimension", szDimension)
      .Add("fields", szFields)
      .Add("inner", szInner);
  return object;
}

/// A group at an offset, which moves behind it.
std::string Group(const SGroup& group, SOffset& next) {
  const int nInner = SizeOf(group.inner), nSize = SizeOf(group.fields) + nInner * group.nInner;
  SOffset at = next;
  if (group.nTimes > 1) at.nPerI = nSize;
  const std::string szFields = Fields(group.fields, at);
  std::string szInner = "null";
  if (group.nInner) {
    at.nPerJ = nInner;
    szInner = Object()
                  .Add("times", Number(group.nInner))
                  .Text("dimension", group.szInnerDimension)
                  .Add("fields", Fields(group.inner, at))
                  .Get();
  }
  const bool bGrows = group.nTimes != group.nTimesRecent;
  (bGrows ? next.nPerL : next.nBytes) += bGrows ? nSize : nSize * group.nTimes;
  return GroupObject(group.nTimes, group.nTimesRecent, group.szDimension, szFields, szInner).Get();
}

/// One value for each channel, of which there are 0 here.
std::string SpectrumGroup(SOffset& next) {
  const int nSize = BinarySizeOf(SPECTRUM_FIELDS[0].eBin);
  SOffset at = next;
  at.nPerI = next.nPerN = nSize;
  CJson field = FieldObject(SPECTRUM_FIELDS[0], at);
  field.Add("with_tb", FieldObject(SPECTRUM_FIELDS[1], at).Get());
  return GroupObject(0, 0, "channel", List().AddLine(field.Get()).Get()).Get();
}

std::string Block(const SBlock& block) {
  SOffset at;
  CJson groups = List();
  for (const SGroup& group : block.groups) groups.AddLine(Group(group, at));
  if (block.bSpectrum) groups.AddLine(SpectrumGroup(at));
  return Object()
      .Text("name", block.szName)
      .Text("prefix", block.szPrefix)
      .Text("length", at.Formula())
      .Add("shortest", Number(BinarySize(block)))
      .Add("spectrum", block.bSpectrum ? "true" : "false")
      .Add("groups", groups.Get())
      .Get();
}

std::string Blocks() {
  CConfigParam everything;
  everything.arChannels.Add(new CValueRange(1, 1));
  everything.bAvhrr = true;
  for (int i = FIRST_L2; i < PRODUCTS; ++i) everything.arbL2[i] = true;
  CJson list = List();
  const CRecordLayout layout(everything, 0);
  for (const SPart& part : layout.Parts()) list.AddLine(Block(*part.pBlock));
  return list.Get();
}

/// The help is in ISO 8859-1.
std::string AsUtf8(const char* szText) {
  std::string szUtf8;
  for (; *szText; ++szText) {
    const auto c = static_cast<unsigned char>(*szText);
    if (c < 0x80)
      szUtf8 += *szText;
    else
      szUtf8.append({static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))});
  }
  return szUtf8;
}

std::string Choices(const SWay& way) {
  CJson list = List();
  if (!way.pChoices) return list.Get();
  for (const SChoice& choice : way.pChoices())
    list.Add(Object().Text("word", choice.szWord).Text("help", AsUtf8(choice.szHelp)).Get());
  return list.Get();
}

const char* ValueName(EValue eValue) {
  constexpr const char* NAMES[] = {"none", "path", "folder", "word", "words", "switch", "text"};
  return NAMES[static_cast<int>(eValue)];
}

std::string Option(const SOption& option, const char* szSection) {
  static const CConfigParam defaults;
  return Object()
      .Text("name", option.szName)
      .Text("argument", option.szArgument)
      .Text("help", AsUtf8(option.szHelp))
      .Text("section", szSection)
      .Add("sub", Choices(option.way))
      .Text("value", ValueName(option.way.eValue))
      .Text("form", option.way.szForm)
      .Text("default", option.way.pShow ? option.way.pShow(defaults) : "")
      .Add("adds", option.way.bAdds ? "true" : "false")
      .Text("meaning", option.szMeaning)
      .Get();
}

/// The words of -of, with their numbers in the echo.
std::string FormatList() {
  CJson list = List();
  for (const SFormat& format : Formats())
    list.Add(Object().Text("name", format.szWord).Add("number", Number(format.nNumber)).Get());
  return list.Get();
}

std::string StatColumn(const SStatColumn& column) {
  return Object()
      .Text("name", column.szName)
      .Text("type", column.eForm == EStat::INT ? "int" : "real")
      .Text("meaning", column.szMeaning)
      .Text("unit", column.szUnit)
      .Text("unit_tb", column.szUnitTb)
      .Text("empty", column.szEmpty)
      .Text("option", column.szOption)
      .Text("standard_name", column.szStandardName)
      .Get();
}

/// Columns behind a prefix for each set; product: that of a group of the grid, else empty.
std::string StatGroup(const std::string& szSets, const std::string& szColumns, const char* szProduct,
                      bool bChannels) {
  return Object()
      .Text("product", szProduct)
      .Add("channels", bChannels ? "true" : "false")
      .Add("sets", szSets)
      .Add("columns", szColumns)
      .Get();
}

std::string StatSets(std::span<const SStatSet> sets) {
  CJson list = List();
  for (const SStatSet& set : sets)
    list.Add(Object().Text("prefix", set.szPrefix).Text("meaning", set.szMeaning).Get());
  return list.Get();
}

std::string ProductGroup(int nProduct) {
  const SStatSet set = {PRODUCT_KINDS[nProduct].szName, ""};
  CJson columns = List();
  for (const SGridColumn* pColumn : GridColumns(nProduct)) columns.AddLine(StatColumn(pColumn->column));
  return StatGroup(StatSets({&set, 1}), columns.Get(), set.szPrefix, false);
}

std::string StatFile(const SStatFile& file) {
  static constexpr SStatSet ONCE[] = {{"", ""}};
  CJson groups = List();
  for (const SStatGroup& group : file.groups) {
    CJson columns = List();
    for (const SStatColumn& column : group.columns) columns.AddLine(StatColumn(column));
    groups.AddLine(
        StatGroup(StatSets(group.sets.empty() ? ONCE : group.sets), columns.Get(), "", group.bChannels));
  }
  if (&file == &GRID_FILE)
    for (int i = 0; i < PRODUCTS; ++i) groups.AddLine(ProductGroup(i));
  return Object().Text("kind", file.szKind).Text("title", file.szTitle).Add("groups", groups.Get()).Get();
}

std::string Statistics() {
  CJson list = List();
  for (const SStatFile* pFile : {&SPECTRAL_FILE, &HISTOGRAM_FILE, &RADIANCE_FILE, &GRID_FILE})
    list.AddLine(StatFile(*pFile));
  return list.Get();
}

/// What histograms of one value a pixel are of.
std::string HistogramValues() {
  CJson list = List();
  for (const SHistoKind& kind : HISTO_KINDS)
    list.Add(Object().Text("name", kind.szValue).Text("unit", kind.szUnit).Get());
  return list.Get();
}

std::string Options() {
  CJson list = List();
  for (const SOptionSection& section : OptionSections())
    for (const SOption& option : section.options) list.AddLine(Option(option, section.szTitle));
  return list.Get();
}

/// The filters, in the order of the header of statistics.
std::string FilterList() {
  CJson list = List();
  for (const SFilter& filter : Filters())
    list.Add(Object()
                 .Text("option", filter.szOption)
                 .Add("text", filter.eStage == EStage::INPUT ? "true" : "false")
                 .Get());
  return list.Get();
}

/// The options of the filters, by the stage in which they are applied.
std::string FilterStages() {
  CJson list = List();
  for (const SStage& stage : Stages()) {
    CJson filters = List();
    for (const SFilter& filter : Filters())
      if (filter.eStage == stage.eStage) filters.Add(Quoted(filter.szOption));
    list.AddLine(Object().Text("meaning", stage.szMeaning).Add("filters", filters.Get()).Get());
  }
  return list.Get();
}

}  // namespace

int main() {
  const std::string szAll = Object()
                                .Add("header", Header())
                                .Add("kinds", Kinds())
                                .Text("recent", Recent())
                                .Add("channels", Number(CChannelSelection::SPECTRUM))
                                .Add("channel_limit", Number(CChannelSelection::LIMIT))
                                .Add("blocks", Blocks())
                                .Add("statistics", Statistics())
                                .Add("histogram_values", HistogramValues())
                                .Add("filters", FilterList())
                                .Add("formats", FormatList())
                                .Add("options", Options())
                                .Add("stages", FilterStages())
                                .Get();
  std::puts(szAll.c_str());
}
