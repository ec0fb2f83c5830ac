#include "output/BlockPlan.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kernel/SpectrumKernels.h"
#include "kernel/TextReal.h"
#include "output/StreamWriter.h"
#include "prod/ProdL1C.h"

namespace {

template <class T>
char* Append(T value, bool bReverse, char* pOut) {
  std::memcpy(pOut, &value, sizeof(T));
  if (bReverse) std::reverse(pOut, pOut + sizeof(T));
  return pOut + sizeof(T);
}

char* AppendText(const char* szText, char* pOut) {
  const size_t nLength = std::strlen(szText);
  std::memcpy(pOut, szText, nLength);
  return pOut + nLength;
}

int Low32(int64_t nValue) { return static_cast<int>(static_cast<uint32_t>(nValue)); }

}  // namespace

CBlockPlan::CBlockPlan(const SBlock& block, const CProd& prod, EUse eUse, char cSeparator)
    : m_bFirst(block.bFirst), m_cSeparator(cSeparator) {
  EachField(block, eUse == RECENT,
            [&](const SField& field, int nIndex) { AddStep(field, nIndex, prod, eUse); });
}

void CBlockPlan::AddStep(const SField& field, int nIndex, const CProd& prod, EUse eUse) {
  SStep step = {&field, field.source.eForm, 0, field.source.bKept, field.fDivisor, 0};
  if (eUse == MISSING || (eUse == DAY_ONE && field.dayOne.bFixed)) {
    step.eForm = EForm::FIXED;
    step.nFixed = eUse == MISSING ? field.nMissingBin : field.dayOne.nBin;
  } else if (field.source.pPlace) {
    step.nPlace =
        static_cast<const char*>(field.source.pPlace(prod, nIndex)) - reinterpret_cast<const char*>(&prod);
  }
  m_bKept |= step.bKept && step.eForm != EForm::FIXED;
  m_nBinarySize += BinarySizeOf(field.eBin);
  const bool bReals = step.eForm == EForm::REALS;
  const SRun run = {1, bReals, bReals && step.bKept, bReals ? step.fDivisor : 1};
  const auto isAlike = [&](const SRun& other) {
    return other.bReals == run.bReals && other.bKept == run.bKept && other.fDivisor == run.fDivisor;
  };
  if (!m_arRuns.empty() && isAlike(m_arRuns.back()))
    ++m_arRuns.back().nCount;
  else
    m_arRuns.push_back(run);
  m_arSteps.push_back(step);
}

char* CBlockPlan::PutReals(const SStep* pFirst, const SRun& run, const SPixel& pixel, char* pOut) {
  const int nElement = pixel.arnElements[run.bKept], nCount = run.nCount;
  const double fDivisor = run.fDivisor;
  for (int i = 0; i < nCount; ++i) {
    const double fValue = At<TColumn<double>>(pFirst[i], pixel.prod).At(nElement);
    pOut = Append(static_cast<float>(fDivisor == 1 ? fValue : fValue / fDivisor), false, pOut);
  }
  return pOut;
}

char* CBlockPlan::PutInt(const SStep& step, const SPixel& pixel, bool bReverse, char* pOut) {
  if (step.eForm == EForm::NONE) return pOut;
  const int64_t nValue = Int(step, pixel);
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

void CBlockPlan::WriteBinary(CStreamWriter& writer, const CProd& prod, int nPixel) const {
  char* pOut = writer.Reserve(m_nBinarySize);
  if (!pOut) return;
  const SPixel pixel = Pixel(prod, nPixel);
  const SStep* pStep = m_arSteps.data();
  const bool bReverse = writer.Reverses();
  for (const SRun& run : m_arRuns) {
    char* const pBegin = pOut;
    if (run.bReals) pOut = PutReals(pStep, run, pixel, pOut);
    if (run.bReals && bReverse) ReverseBytes4(pBegin, run.nCount);
    for (int i = 0; !run.bReals && i < run.nCount; ++i) pOut = PutInt(pStep[i], pixel, bReverse, pOut);
    pStep += run.nCount;
  }
  writer.Commit(m_nBinarySize);
}

char* CBlockPlan::PutText(const SStep& step, const SPixel& pixel, int nGiven, char* pOut) {
  switch (step.eForm) {
    case EForm::REALS:
      return pOut + FormatReal4(static_cast<float>(Real(step, pixel)), pOut);
    case EForm::FIXED:
      return AppendText(step.pField->dayOne.szText, pOut);
    case EForm::NONE:
      return pOut + FormatInt(nGiven, pOut);
    default:
      return pOut + FormatInt(Low32(Int(step, pixel)), pOut);
  }
}

void CBlockPlan::WriteText(CStreamWriter& writer, const CProd& prod, int nPixel, int nGiven) const {
  char* const pText = writer.Reserve(static_cast<int>(m_arSteps.size()) * (TEXT_REAL_MAX + 1));
  if (!pText) return;
  const SPixel pixel = Pixel(prod, nPixel);
  char* pEnd = pText;
  bool bSeparate = !m_bFirst;
  for (const SStep& step : m_arSteps) {
    if (std::exchange(bSeparate, true)) *pEnd++ = m_cSeparator;
    pEnd = PutText(step, pixel, nGiven, pEnd);
  }
  writer.Commit(static_cast<int>(pEnd - pText));
}

CBlockPlans::CBlockPlans(const SBlock& block, char cSeparator) : m_pBlock(&block), m_cSeparator(cSeparator) {
  for (const SGroup& group : block.groups) m_bGrows |= group.nTimesRecent != group.nTimes;
  EachField(block, false, [this](const SField& field, int) { m_bDayOne |= field.dayOne.bFixed; });
}

CBlockPlan::EUse CBlockPlans::UseFor(const CProd& prod, int nPixel) const {
  if (m_bGrows && IsRecent(prod, nPixel)) return CBlockPlan::RECENT;
  return m_bDayOne && static_cast<const CProdL1C&>(prod).IsDayOne() ? CBlockPlan::DAY_ONE : CBlockPlan::FEW;
}

const CBlockPlan& CBlockPlans::Plan(CBlockPlan::EUse eUse, const CProd& prod) {
  auto& pPlan = m_arpPlans[eUse];
  if (!pPlan) pPlan = std::make_unique<CBlockPlan>(*m_pBlock, prod, eUse, m_cSeparator);
  return *pPlan;
}

void CBlockPlans::WriteBinaryMissing(CStreamWriter& writer) {
  static const CProd nothing;
  Plan(CBlockPlan::MISSING, nothing).WriteBinary(writer, nothing, 0);
}

void CBlockPlans::WriteTextMissing(CStreamWriter& writer) const {
  EachField(*m_pBlock, false, [&](const SField& field, int) {
    writer.Write(1, &m_cSeparator);
    writer.WriteTextInt(field.nMissingText);
  });
}

void CBlockPlans::WriteTextNames(CStreamWriter& writer) const {
  bool bSeparate = !m_pBlock->bFirst;
  EachField(*m_pBlock, false, [&](const SField& field, int nIndex) {
    if (std::exchange(bSeparate, true)) writer.Write(1, &m_cSeparator);
    const char* pNumber = std::strchr(field.szName, '#');
    if (!pNumber) {
      writer.WriteText(field.szName);
      return;
    }
    writer.Write(static_cast<int>(pNumber - field.szName), field.szName);
    writer.WriteTextInt(nIndex + 1);
    writer.WriteText(pNumber + 1);
  });
}
