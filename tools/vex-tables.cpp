// Prints the blocks of a record as JSON, from the tables that vex itself walks over, for the checks of
// docs/formats.md: offsets in a binary record as formulas, types, names of columns, what stands where a
// product is missing or its archive is of day 1.

#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "app/ConfigParam.h"
#include "output/Block.h"
#include "output/Record.h"
#include "prod/ProductKind.h"

namespace {

/// An offset in a block: bytes, bytes for each repetition of the groups in front (L of them), and for the
/// repetition at hand (i) and the inner one (j).
struct SOffset {
  int nBytes = 0, nPerL = 0, nPerI = 0, nPerJ = 0;

  std::string Formula() const {
    std::string szFormula = std::to_string(nBytes);
    const auto term = [&](int nFactor, const char* szIndex) {
      if (nFactor) szFormula += " + " + std::to_string(nFactor) + "\302\267" + szIndex;
    };
    term(nPerL, "L");
    term(nPerI, "i");
    term(nPerJ, "j");
    return szFormula;
  }
};

struct SRow {
  std::string szOffset, szType, szColumn, szMissing, szDayOne;
};

const char* TypeName(EBin eBin) {
  constexpr const char* NAMES[] = {"text", "int1", "int2", "int4", "real4"};
  return NAMES[static_cast<int>(eBin)];
}

/// The form in binary and in text, once when they are the same.
std::string Forms(const std::string& szBinary, const std::string& szText) {
  return szBinary == szText ? szText : szBinary + " / " + szText;
}

int SizeOf(std::span<const SField> fields) {
  int nSize = 0;
  for (const SField& field : fields) nSize += BinarySizeOf(field.eBin);
  return nSize;
}

/// The rows of one block, and its length at the end.
class CBlockRows {
 public:
  explicit CBlockRows(const SBlock& block) {
    for (const SGroup& group : block.groups) AddGroup(group);
  }
  void AddSpectrum() {
    m_next.nPerI = 4;
    m_arRows.push_back({m_next.Formula(), TypeName(EBin::REAL4), "channel", "-777", ""});
    m_next.nPerI = 0;
    m_szLengthOfSpectrum = " + 4\302\267N";
  }
  const std::vector<SRow>& Rows() const { return m_arRows; }
  std::string Length() const { return m_next.Formula() + m_szLengthOfSpectrum; }

 private:
  void AddFields(std::span<const SField> fields, SOffset at) {
    for (const SField& field : fields) {
      const SDayOne& dayOne = field.dayOne;
      m_arRows.push_back({field.eBin == EBin::NONE ? "-" : at.Formula(), TypeName(field.eBin), field.szName,
                          Forms(std::to_string(field.nMissingBin), std::to_string(field.nMissingText)),
                          dayOne.bFixed
                              ? Forms(std::to_string(dayOne.nBin), *dayOne.szText ? dayOne.szText : "empty")
                              : ""});
      at.nBytes += BinarySizeOf(field.eBin);
    }
  }

  void AddGroup(const SGroup& group) {
    const bool bGrows = group.nTimes != group.nTimesRecent;
    const int nFields = SizeOf(group.fields), nInner = SizeOf(group.inner);
    const int nSize = nFields + nInner * group.nInner;
    SOffset at = m_next;
    if (group.nTimes > 1) at.nPerI = nSize;
    AddFields(group.fields, at);
    at.nBytes += nFields;
    at.nPerJ = nInner;
    AddFields(group.inner, at);
    (bGrows ? m_next.nPerL : m_next.nBytes) += bGrows ? nSize : nSize * group.nTimes;
  }

  SOffset m_next;
  std::vector<SRow> m_arRows;
  std::string m_szLengthOfSpectrum;
};

void Print(const std::string& szName, int nShortest, const CBlockRows& block, bool bLast) {
  std::printf("  {\"name\": \"%s\", \"length\": \"%s\", \"shortest\": %d, \"rows\": [\n", szName.c_str(),
              block.Length().c_str(), nShortest);
  for (const SRow& row : block.Rows())
    std::printf(
        "    {\"Offset\": \"%s\", \"Type\": \"%s\", \"Column\": \"%s\", \"Missing\": \"%s\", \"Day 1\": "
        "\"%s\"}%s\n",
        row.szOffset.c_str(), row.szType.c_str(), row.szColumn.c_str(), row.szMissing.c_str(),
        row.szDayOne.c_str(), &row == &block.Rows().back() ? "" : ",");
  std::printf("  ]}%s\n", bLast ? "" : ",");
}

}  // namespace

int main() {
  CConfigParam everything;
  everything.arChannels.Add(new CValueRange(1, 1));
  everything.bAvhrr = true;
  for (int i = FIRST_L2; i < PRODUCTS; ++i) everything.arbL2[i] = true;
  const CRecordLayout layout(everything, 0);
  std::printf("[\n");
  const auto& arParts = layout.Parts();
  for (size_t i = 0; i < arParts.size(); ++i) {
    CBlockRows block(*arParts[i].pBlock);
    const size_t nPart = i;
    if (i + 1 < arParts.size() &&
        arParts[i + 1].pBlock->bSpectrum) {  // the page has it in the block in front
      block.AddSpectrum();
      ++i;
    }
    Print(arParts[nPart].pBlock->szName, BinarySize(*arParts[nPart].pBlock), block, i + 1 == arParts.size());
  }
  std::printf("]\n");
}
