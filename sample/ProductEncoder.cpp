#include "sample/ProductEncoder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "sample/FieldSources.h"
#include "sample/Scene.h"

namespace {

constexpr int RADIANCE = 14046, CHANNEL = 5042;

double PowerOfTen(int nExponent) { return std::pow(10.0, nExponent); }

// What does not fit becomes missing, as all ones must stay free.
int64_t PackValue(const STemplateField& field, double fValue) {
  if (!(std::abs(fValue) < 1e18)) return CBUFREncoder::MISSING;
  const int64_t nRaw = std::llround(fValue * PowerOfTen(field.nScale)) - field.nReference;
  return nRaw < 0 || nRaw >= (int64_t{1} << field.nWidth) - 1 ? CBUFREncoder::MISSING : nRaw;
}

// One element in a hundred goes missing as a whole, and one value in a hundred and fifty of the others.
void Sprinkle(std::vector<int64_t>& arRaw, const std::vector<SSamplePixel>& arPixels, uint64_t nSeed,
              size_t nField) {
  const uint64_t nElement = SampleHash(SampleHash(nSeed, nField), arPixels[0].nHash);
  for (size_t n = 0; n < arRaw.size(); ++n) {
    if (nElement % 100 == 0 || SampleHash(nElement, arPixels[n].nHash) % 150 == 0)
      arRaw[n] = CBUFREncoder::MISSING;
  }
}

}  // namespace

double SFieldValues::Value(size_t nPixel) const {
  if (IsMissing(nPixel)) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(arRaw[nPixel] + field.nReference) / PowerOfTen(field.nScale);
}

CBUFREncoder CProductEncoder::Encode(EKind eKind, int nLayout, const std::vector<SSamplePixel>& arPixels,
                                     const SEncodeOptions& options, std::vector<SFieldValues>* pValues) {
  CBUFREncoder encoder(static_cast<int>(arPixels.size()));
  const SLayout& layout = Layout(eKind, nLayout, options.arCounts);
  if (pValues != nullptr) pValues->clear();
  if (arPixels.empty() || layout.layout.Fields().empty() || !layout.layout.IsValid()) return encoder;

  Header(encoder.header, layout, arPixels[0], options);
  for (const int n : layout.layout.Descriptors()) encoder.Descriptor(n / 100000, n / 1000 % 100, n % 1000);
  if (eKind == EKind::L1C) m_pSpectrum->Begin(arPixels, SampleHash(options.nSeed, arPixels[0].nHash));

  std::vector<int64_t> arRaw;
  for (size_t nField = 0; nField < layout.layout.Fields().size(); ++nField) {
    const STemplateField& field = layout.layout.Fields()[nField];
    Pack(layout, nField, arPixels, options, arRaw);
    encoder.Values(field.nWidth, arRaw);
    if (pValues != nullptr) pValues->push_back({field, arRaw});
  }
  return encoder;
}

void CProductEncoder::Pack(const SLayout& layout, size_t nField, const std::vector<SSamplePixel>& arPixels,
                           const SEncodeOptions& options, std::vector<int64_t>& arRaw) {
  const STemplateField& field = layout.layout.Fields()[nField];
  const SFieldSource* pSource = layout.arSources[nField];
  bool bMayMiss = pSource != nullptr && pSource->bMayMiss;
  if (field.nFXY == RADIANCE) {
    m_pSpectrum->Scaled(field.nOccurrence, arRaw);
    for (int64_t& nRaw : arRaw) nRaw -= field.nReference;
    bMayMiss = field.nOccurrence <= CSpectrumModel::CHANNELS;
  } else if (field.nCount >= 0) {
    arRaw.assign(arPixels.size(), field.nCount);
  } else if (pSource != nullptr) {
    arRaw.clear();
    const int nIndex = field.nOccurrence - pSource->nFirst;
    for (const SSamplePixel& pixel : arPixels) {
      arRaw.push_back(PackValue(field, pSource->pValue({pixel, nIndex, layout.nLayout})));
    }
  } else if (field.nFXY == CHANNEL) {
    arRaw.assign(arPixels.size(), field.nOccurrence);
  } else {
    arRaw.clear();
    const uint64_t nValues = (uint64_t{1} << std::min(field.nWidth, 7)) - 1;
    for (const SSamplePixel& pixel : arPixels) {
      arRaw.push_back(static_cast<int64_t>(SampleHash(pixel.nHash, nField) % nValues));
    }
  }
  if (options.bMissing && bMayMiss) Sprinkle(arRaw, arPixels, options.nSeed, nField);
}

void CProductEncoder::Header(SMessageHeader& header, const SLayout& layout, const SSamplePixel& first,
                             const SEncodeOptions& options) const {
  const bool bL1C = layout.eKind == EKind::L1C;
  header.nEdition = options.nEdition;
  header.nSection1Length = options.nEdition < 4 ? 18 : 22;
  // The L2 lists hold local elements of centre 98 next to elements that came with version 31 of the tables.
  header.nCentre = bL1C ? 254 : 98;
  header.nMasterTableVersion = bL1C ? 26 : 39;
  header.nLocalTableVersion = bL1C ? 0 : 1;
  SDateTime date{first.nYear, first.nMonth,  first.nDay,
                 first.nHour, first.nMinute, first.nMilliseconds / 1000};
  if (!bL1C && L2VersionOf(date) != layout.nLayout) date = L2VersionDate(layout.nLayout);
  header.nYear = date.nYear;
  header.nMonth = date.nMonth;
  header.nDay = date.nDay;
  header.nHour = date.nHour;
  header.nMinute = date.nMinute;
  header.nSecond = date.nSecond;
}

const CProductEncoder::SLayout& CProductEncoder::Layout(EKind eKind, int nLayout,
                                                        const std::vector<int>& arCounts) {
  for (const auto& pLayout : m_arLayouts) {
    if (pLayout->eKind == eKind && pLayout->nLayout == nLayout && pLayout->arCounts == arCounts)
      return *pLayout;
  }
  const std::vector<int> arReplications = arCounts.empty() ? LayoutCounts(eKind, nLayout) : arCounts;
  auto pLayout = std::make_unique<SLayout>(
      SLayout{eKind, nLayout, arCounts, CTemplate(LayoutDescriptors(eKind, nLayout), arReplications), {}});
  for (const STemplateField& field : pLayout->layout.Fields()) {
    pLayout->arSources.push_back(FindSource(eKind, nLayout, field));
  }
  if (eKind == EKind::L1C && m_pSpectrum == nullptr) m_pSpectrum = std::make_unique<CSpectrumModel>();
  m_arLayouts.push_back(std::move(pLayout));
  return *m_arLayouts.back();
}
