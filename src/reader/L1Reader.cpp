#include "reader/L1Reader.h"

#include "app/ConfigParam.h"
#include "filter/Filter.h"
#include "kernel/Reporter.h"
#include "prod/Column.h"

namespace {

CProdL1C* L1C(CProd* pProd) { return static_cast<CProdL1C*>(pProd); }

/// The filters of L1C for the archive version of a message. Those of other versions are not filtered.
class CL1CFilter {
 public:
  CL1CFilter(const CConfigParam& config, const CProdL1C& prod)
      : m_prod(prod), m_filter(config, EStage::L1C, prod.DayVersion == CProdL1C::DAY_1) {}

  bool Keeps(int nPixel) const { return !m_bFilters || m_filter.Keeps(m_prod, nPixel); }

 private:
  const CProdL1C& m_prod;
  const bool m_bFilters = m_prod.DayVersion == CProdL1C::DAY_1 || m_prod.DayVersion == CProdL1C::DAY_2;
  const CPixelFilter m_filter;
};

}  // namespace

bool CL1Reader::MatchL1Filter(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  return CL1CFilter(*pConfig, *pProd).Keeps(nPixel);
}

bool CL1Reader::SelectPixelsL1Filter(const CConfigParam* pConfig, CProdL1C* pProd) {
  const CL1CFilter filter(*pConfig, *pProd);
  bool bAny = false;
  for (int i = 0; i < pProd->PixelCount; ++i) {
    if (!pProd->KeepPixel[i]) continue;
    --PixelsSelected;
    bAny |= KeepIf(pConfig, pProd, i, [&] { return filter.Keeps(i); });
  }
  return bAny;
}

bool CL1Reader::AcceptMessage(const SRead& read) {
  if (m_decoder.nDataSize <= 0) {
    CReporter::Text("\nMessage BUFR de taille nulle");
    return false;
  }
  if (m_decoder.nDataVersion == CProdL1C::DAY_1) *read.pbDayOneSeen = true;
  return true;
}

void CL1Reader::InitRecord(const SRead& read, int nSubsets) {
  L1C(read.pProd)->InitFirstL1(nSubsets, read.nChannels);
}

int CL1Reader::InterpretFirstLevel(CProd* pProd) { return m_decoder.InterpretFirstLevel(L1C(pProd)); }

bool CL1Reader::SelectPixelsOfKind(const SRead& read) {
  return SelectPixelsL1Filter(read.pConfig, L1C(read.pProd));
}

void CL1Reader::Update(const SRead& read) {
  CProdL1C* pProd = L1C(read.pProd);
  if (read.pConfig->bAvhrr && !m_decoder.UpdateL1Avhrr(pProd))
    CReporter::Text("\nProbleme interpretation BUFR dans donnees avhrr");
  if (read.pChannels && !m_decoder.UpdateL1Spectrum(pProd, read.pChannels))
    CReporter::Text("\nProbleme interpretation BUFR dans spectres");
}
