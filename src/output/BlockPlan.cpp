#include "output/BlockPlan.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "kernel/SpectrumKernels.h"

namespace {

template <class T>
char* Append(T value, bool bReverse, char* pOut) {
  std::memcpy(pOut, &value, sizeof(T));
  if (bReverse) std::reverse(pOut, pOut + sizeof(T));
  return pOut + sizeof(T);
}

}  // namespace

CBlockPlan::CBlockPlan(TBlock block, const CProd& prod, EUse eUse) {
  const bool bRecent = eUse == RECENT || eUse == RECENT_DAY_ONE;
  const bool bDayOne = eUse == DAY_ONE || eUse == RECENT_DAY_ONE;
  EachField(block, bRecent, [&](const SField& field, int nIndex) {
    SStep step = {&field, field.source.eForm, 0, field.fDivisor, 0};
    if (eUse == MISSING || (bDayOne && field.dayOne.bFixed)) {
      step.eForm = EForm::FIXED;
      step.nFixed = eUse == MISSING ? field.nMissingBin : field.dayOne.nBin;
    } else if (field.source.pPlace) {
      step.nPlace =
          static_cast<const char*>(field.source.pPlace(prod, nIndex)) - reinterpret_cast<const char*>(&prod);
    }
    m_nBinarySize += BinarySizeOf(field.eBin);
    const bool bReals = step.eForm == EForm::REALS;
    if (bReals != (m_arRuns.size() % 2 == 0)) m_arRuns.push_back(0);
    ++m_arRuns.back();
    m_arSteps.push_back(step);
  });
}

const CBlockPlan& CBlockPlan::Find(TBlock block, const CProd& prod, EUse eUse) {
  struct SMade {
    const SGroup* pBlock;
    EUse eUse;
    std::unique_ptr<CBlockPlan> pPlan;
  };
  static std::vector<SMade> arMade;
  for (const SMade& made : arMade)
    if (made.pBlock == block.data() && made.eUse == eUse) return *made.pPlan;
  arMade.push_back({block.data(), eUse, std::unique_ptr<CBlockPlan>(new CBlockPlan(block, prod, eUse))});
  return *arMade.back().pPlan;
}

const CBlockPlan& CBlockPlan::Of(TBlock block, const CProd& prod, bool bRecent, bool bDayOne) {
  return Find(block, prod, bDayOne ? (bRecent ? RECENT_DAY_ONE : DAY_ONE) : bRecent ? RECENT : FEW);
}

const CBlockPlan& CBlockPlan::Missing(TBlock block) { return Find(block, {}, MISSING); }

char* CBlockPlan::PutReals(const SStep* pFirst, int nCount, const CProd& prod, int nPixel, bool bReverse,
                           char* pOut) {
  char* pEnd = pOut;
  for (int i = 0; i < nCount; ++i)
    pEnd = Append(static_cast<float>(Real(pFirst[i], prod, nPixel)), false, pEnd);
  if (bReverse) ReverseBytes4(pOut, nCount);
  return pEnd;
}

char* CBlockPlan::PutInt(const SStep& step, const CProd& prod, int nPixel, bool bReverse, char* pOut) {
  if (step.eForm == EForm::NONE) return pOut;
  const int64_t nValue = Int(step, prod, nPixel);
  switch (step.pField->eBin) {
    case EBin::NONE:
      return pOut;
    case EBin::INT1:
      return Append(static_cast<uint8_t>(nValue), bReverse, pOut);
    case EBin::INT2:
      return Append(static_cast<uint16_t>(nValue), bReverse, pOut);
    case EBin::INT4:
      return Append(static_cast<uint32_t>(nValue), bReverse, pOut);
    case EBin::REAL4:
      return Append(static_cast<float>(static_cast<double>(nValue)), bReverse, pOut);
  }
  return pOut;
}

void CBlockPlan::PutBinary(const CProd& prod, int nPixel, bool bReverse, char* pOut) const {
  const SStep* pStep = m_arSteps.data();
  bool bReals = false;
  for (const int nCount : m_arRuns) {
    if (bReals) pOut = PutReals(pStep, nCount, prod, nPixel, bReverse, pOut);
    for (int i = 0; !bReals && i < nCount; ++i) pOut = PutInt(pStep[i], prod, nPixel, bReverse, pOut);
    pStep += nCount;
    bReals = !bReals;
  }
}
