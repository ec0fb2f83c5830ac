#include "tests/differential/PlainDecoder.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int MAX_WIDTH = 33;  // for which a missing value can be told

/// What is particular about a variant. Texts are formats of two numbers; "": nothing is said.
struct SRules {
  const char* szSuspicious;      // increments wider than the element: their width, the element's
  const char* szWideIncrements;  // increments too wide for missing values: their width, the limit
  const char* szWideConstant;    // one value for all, too wide for that: the element's width, the limit
  const char* szNoHeader = "";   // the header lies beyond the data
  bool bOnlyWarns = false;       // increments wider than the element are no failure
  bool bReal = false;
  bool bConstant32 = false;  // one integer for all is cut to 32 bits
  int nOffset = 0;           // is added to integers,
  int nFactor = 1;           // by which any value is multiplied then
};

constexpr SRules RULES[] = {
    // INT, FLOAT, FIELD_OF_VIEW, INT_TIMES_1000, FLOAT_TIMES_1000
    {.szSuspicious = "\nERROR: Suspicious compression ok  %ld > %ld\n",
     .szWideIncrements = "\nERROR: Data width too high for missing value control %ld > %ld\n",
     .szWideConstant = "\nERROR: Data width too high for missing value control",
     .bConstant32 = true},
    {.szSuspicious = "\nERROR: Suspicious compression",
     .szWideIncrements = "\nERROR: Data width too high for missing value control",
     .szWideConstant = "\nERROR: Data width too high for missing value control",
     .bReal = true},
    {.szSuspicious = "\nERROR: Suspicious compression %ld > %ld\n",
     .szWideIncrements = "ERROR: Data width too high for missing value control (%ld) >  (%ld)",
     .szWideConstant = "ERROR: Data width too high for missing value control ((%ld)(%ld)",
     .szNoHeader = "\nERROR: unable to interpret input file",
     .bOnlyWarns = true,
     .bConstant32 = true,
     .nOffset = -1},
    {.szSuspicious = "\nERROR: Suspicious compression %ld > %ld\n",
     .szWideIncrements = "ERROR: Data width too high for missing value control (%ld)",
     .szWideConstant = "ERROR: Data width too high for missing value control (%ld)",
     .szNoHeader = "\nERROR: unable to interpret input file",
     .bOnlyWarns = true,
     .nFactor = 1000},
    {.szSuspicious = "\nERROR: Suspicious compression ok  %ld > %ld\n",
     .szWideIncrements = "\nERROR: Data width too high for missing value control",
     .szWideConstant = "\nERROR: Data width too high for missing value control",
     .bReal = true,
     .nFactor = 1000},
};

const SRules& RulesOf(const SAsked& asked) { return RULES[static_cast<int>(asked.eVariant)]; }

std::string Text(const char* szFormat, long nWidth, long nLimit) {
  char sz[200];
  std::snprintf(sz, sizeof sz, szFormat, nWidth, nLimit);
  return sz;
}

bool IsAllOnes(uint64_t n, int nWidth) { return n == (uint64_t{1} << nWidth) - 1; }

/// The value of a subset, whose sum of reference value, reference and increment is given.
void Store(const SAsked& asked, SAnswer& answer, int i, int64_t nSum) {
  const SRules& rules = RulesOf(asked);
  if (rules.bReal)
    answer.arReals[i] = static_cast<double>(nSum) / std::pow(10.0, asked.nScale) * rules.nFactor;
  else
    answer.arInts[i] = (nSum + rules.nOffset) * rules.nFactor;
}

void StoreMissing(const SAsked& asked, SAnswer& answer, int i) {
  if (RulesOf(asked).bReal)
    answer.arReals[i] = static_cast<double>(asked.nMissing);
  else
    answer.arInts[i] = asked.nMissing;
}

}  // namespace

double Power(int64_t nExponent) {
  if (nExponent < -400 || nExponent > 400) return nExponent < 0 ? 0 : HUGE_VAL;
  return std::strtod(("1e" + std::to_string(nExponent)).c_str(), nullptr);
}

bool CPlainDecoder::Read(int64_t& bitPos, int nBits, uint64_t& nValue) const {
  const int64_t nEnd = bitPos + nBits;
  const bool bInside = nBits == 0 || nEnd <= static_cast<int64_t>(m_arBytes.size()) * 8;
  nValue = 0;
  const uint8_t* pBytes = m_arBytes.data();
  for (; bInside && bitPos < nEnd; ++bitPos)
    nValue = nValue << 1 | (pBytes[bitPos / 8] >> (7 - bitPos % 8) & 1);
  bitPos = nEnd;
  return bInside;
}

void CPlainDecoder::Decode(const SAsked& asked, SAnswer& answer) const {
  const SRules& rules = RulesOf(asked);
  uint64_t nReferenceValue, nIncrementWidth;
  Read(answer.bitPos, asked.nWidth, nReferenceValue);
  if (!Read(answer.bitPos, 6, nIncrementWidth)) return Fail(asked, rules.szNoHeader, answer);
  const auto nIncrement = static_cast<int>(nIncrementWidth);
  if (nIncrement > asked.nWidth) answer.szText += Text(rules.szSuspicious, nIncrement, asked.nWidth);
  if (nIncrement > MAX_WIDTH) return Fail(asked, Text(rules.szWideIncrements, nIncrement, MAX_WIDTH), answer);
  if (nIncrement == 0 && asked.nWidth > MAX_WIDTH)
    return Fail(asked, Text(rules.szWideConstant, asked.nWidth, MAX_WIDTH), answer);
  answer.nStatus = nIncrement <= asked.nWidth || rules.bOnlyWarns;
  if (nIncrement == 0)
    DecodeConstant(asked, nReferenceValue, answer);
  else
    DecodeIncrements(asked, nReferenceValue, nIncrement, answer);
}

void CPlainDecoder::Fail(const SAsked& asked, const std::string& szText, SAnswer& answer) const {
  answer.szText += szText;
  answer.nStatus = 0;
  for (int i = 0; m_bBlank && asked.eOutput != EOutput::NONE && i < m_nSubsets; ++i)
    StoreMissing(asked, answer, i);
}

/// One value for all subsets. The constant output of integers takes neither offset nor factor.
void CPlainDecoder::DecodeConstant(const SAsked& asked, uint64_t nReferenceValue, SAnswer& answer) const {
  const SRules& rules = RulesOf(asked);
  const bool bMissing = IsAllOnes(nReferenceValue, asked.nWidth);
  const int64_t nSum = static_cast<int64_t>(nReferenceValue) + asked.nReference;
  const auto nSum32 = static_cast<int32_t>(nSum);
  // Reals that nobody wants are not missed either.
  if (bMissing && !(rules.bReal && asked.eOutput == EOutput::NONE)) answer.nFlags |= asked.nFlag;
  if (asked.eOutput == EOutput::NONE) return;
  if (asked.eOutput == EOutput::CONSTANT && !rules.bReal) {
    answer.bConstant = true;
    answer.nConstant = bMissing ? asked.nMissing : nSum32;
    return;
  }
  for (int i = 0; i < m_nSubsets; ++i) {
    if (bMissing)
      StoreMissing(asked, answer, i);
    else
      Store(asked, answer, i, rules.bConstant32 ? nSum32 : nSum);
  }
}

void CPlainDecoder::DecodeIncrements(const SAsked& asked, uint64_t nReferenceValue, int nWidth,
                                     SAnswer& answer) const {
  if (asked.eOutput == EOutput::NONE) {
    answer.bitPos += int64_t{nWidth} * m_nSubsets;
    return;
  }
  if (asked.eOutput == EOutput::CONSTANT && !RulesOf(asked).bReal) answer.bConstant = false;
  const int64_t nBase = static_cast<int64_t>(nReferenceValue) + asked.nReference;
  for (int i = 0; i < m_nSubsets; ++i) {
    uint64_t nIncrement;
    if (!Read(answer.bitPos, nWidth, nIncrement)) {
      answer.nStatus = 0;
      if (m_bBlank) StoreMissing(asked, answer, i);
    } else if (IsAllOnes(nIncrement, nWidth)) {
      answer.nFlags |= asked.nFlag;
      StoreMissing(asked, answer, i);
    } else {
      Store(asked, answer, i, nBase + static_cast<int64_t>(nIncrement));
    }
  }
}
