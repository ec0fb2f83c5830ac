#include "reader/L1Reader.h"

#include <algorithm>

#include "app/ConfigParam.h"
#include "kernel/Reporter.h"
#include "prod/Column.h"

namespace {

using C = CConfigParam;
using P = CProdL1C;

P* L1C(CProd* pProd) { return static_cast<P*>(pProd); }

template <IntColumn P::*FIELD>
double Percent(const P& prod, int nPixel) {
  return static_cast<float>((prod.*FIELD)[nPixel]);
}

template <RealColumn P::*FIELD>
double Radiance(const P& prod, int nPixel) {
  return (prod.*FIELD)[nPixel];
}

/// Filters on what a day 1 archive does not have, besides those on clouds.
constexpr struct {
  SRealFilter C::*pFilter;
  double (*pValue)(const P& prod, int nPixel);
} FILTERS[] = {
    {&C::landFraction, Percent<&P::LandFraction>},
    {&C::snowFraction, Percent<&P::SnowFraction>},
    {&C::averageIIS, Radiance<&P::AverageIIS>},
    {&C::varianceIIS, Radiance<&P::VarianceIIS>},
};

bool MatchCloud(const C& config, int64_t nCloud) {
  return !(config.FiltersMaxCloud() && nCloud > config.nMaxCloudAmount) &&
         !(config.FiltersMinCloud() && nCloud < config.nMinCloudAmount);
}

bool MatchQuality(const C& config, const P& prod, int nPixel) {
  for (int i = 0; i < 3; ++i)
    if (config.arbQuality[i] && prod.GqisQualFlag[i][nPixel] != 0) return false;
  return true;
}

/// One flag stands for all bands.
bool MatchDayOne(const C& config, const P& prod, int nPixel) {
  bool bNotThere = config.FiltersMaxCloud() || config.FiltersMinCloud();
  for (const auto& filter : FILTERS) bNotThere |= (config.*filter.pFilter).bOn;
  if (bNotThere && config.nFormat == C::FORMAT_TXTSTAT) return false;
  const auto& arbQuality = config.arbQuality;
  return !std::ranges::count(arbQuality, true) || prod.GqisQualFlag[0][nPixel] == 0;
}

}  // namespace

bool CL1Reader::MatchL1Filter(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  const CProdL1C& prod = *pProd;
  if (prod.DayVersion == P::DAY_1) return MatchDayOne(*pConfig, prod, nPixel);
  if (prod.DayVersion != P::DAY_2) return true;
  if (!MatchQuality(*pConfig, prod, nPixel)) return false;
  if (!MatchCloud(*pConfig, prod.CloudFraction[nPixel])) return false;
  return std::ranges::all_of(FILTERS, [&](const auto& filter) {
    const SRealFilter& range = pConfig->*filter.pFilter;
    return !range.bOn || range.Holds(filter.pValue(prod, nPixel));
  });
}

bool CL1Reader::SelectPixelsL1Filter(const CConfigParam* pConfig, CProdL1C* pProd) {
  bool bAny = false;
  for (int i = 0; i < pProd->PixelCount; ++i) {
    if (!pProd->KeepPixel[i]) continue;
    --PixelsSelected;
    bAny |= KeepIf(pConfig, pProd, i, [=] { return MatchL1Filter(pConfig, pProd, i); });
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
