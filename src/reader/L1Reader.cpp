#include "reader/L1Reader.h"

#include "kernel/Reporter.h"

namespace {
bool Inside(const SRealFilter& filter, double fValue) {
  return !(fValue < filter.fMin || fValue > filter.fMax);
}
double AsFloat(int64_t nValue) { return static_cast<float>(nValue); }
CProdL1C* L1C(CProd* pProd) { return static_cast<CProdL1C*>(pProd); }
}  // namespace

bool CL1Reader::MatchL1Filter(const CConfigParam* pConfig, const CProdL1C* pProd, int nPixel) {
  const CConfigParam& config = *pConfig;
  const CProdL1C& prod = *pProd;
  const bool bMaxCloud = config.nMaxCloudAmount <= 99, bMinCloud = config.nMinCloudAmount > 0;
  const auto& arQuality = config.arbQuality;
  if (prod.DayVersion == CProdL1C::DAY_1) {
    const bool bNotThere = bMaxCloud || bMinCloud || config.landFraction.bOn || config.snowFraction.bOn ||
                           config.averageIIS.bOn || config.varianceIIS.bOn;
    if (bNotThere && config.nFormat == CConfigParam::FORMAT_TXTSTAT) return false;
    const bool bQuality = arQuality[0] || arQuality[1] || arQuality[2];
    return !bQuality || prod.GqisQualFlag[0][nPixel] == 0;
  }
  if (prod.DayVersion != CProdL1C::DAY_2) return true;
  for (int i = 0; i < 3; ++i)
    if (arQuality[i] && prod.GqisQualFlag[i][nPixel] != 0) return false;
  const int64_t nCloud = prod.CloudFraction[nPixel];
  return !(bMaxCloud && nCloud > config.nMaxCloudAmount) && !(bMinCloud && nCloud < config.nMinCloudAmount) &&
         (!config.landFraction.bOn || Inside(config.landFraction, AsFloat(prod.LandFraction[nPixel]))) &&
         (!config.snowFraction.bOn || Inside(config.snowFraction, AsFloat(prod.SnowFraction[nPixel]))) &&
         (!config.averageIIS.bOn || Inside(config.averageIIS, prod.AverageIIS[nPixel])) &&
         (!config.varianceIIS.bOn || Inside(config.varianceIIS, prod.VarianceIIS[nPixel]));
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
  if (read.pChannelMask && !m_decoder.UpdateL1Spectrum(pProd, read.pChannelMask))
    CReporter::Text("\nProbleme interpretation BUFR dans spectres");
}
