#include "output/Record.h"

#include <algorithm>

#include "app/ConfigParam.h"
#include "output/Block.h"

const SPixelOf* SRecordView::First(int nFrom) const {
  const auto* pFound = std::find_if(arPixels + nFrom, arPixels + PRODUCTS,
                                    [](const SPixelOf& pixel) { return pixel.pProd != nullptr; });
  return pFound == arPixels + PRODUCTS ? nullptr : pFound;
}

const SPixelOf* SRecordView::Supplier(const SPart& part) const {
  if (part.eSupplier != ESupplier::PRODUCT) return First(part.eSupplier == ESupplier::FIRST ? 0 : FIRST_L2);
  const SPixelOf& pixel = arPixels[part.eProduct];
  return pixel.pProd ? &pixel : nullptr;
}

CRecordLayout::CRecordLayout(const CConfigParam& config, int64_t nChannels) : m_nChannels(nChannels) {
  m_arParts.push_back({&COMMON_BLOCK, ESupplier::FIRST});
  if (config.L1CRequested()) {
    m_arParts.push_back({&L1C_BLOCK, ESupplier::PRODUCT});
    m_arParts.push_back({&SPECTRUM_BLOCK, ESupplier::PRODUCT});
    if (config.bAvhrr) m_arParts.push_back({&AVHRR_BLOCK, ESupplier::PRODUCT});
  }
  if (config.L2Requested()) m_arParts.push_back({&L2_BLOCK, ESupplier::LEVEL_2});
  for (int i = FIRST_L2; i < PRODUCTS; ++i) {
    if (!config.IsRequested(i)) continue;
    m_arParts.push_back({&KindBlock(i), ESupplier::PRODUCT, static_cast<EProduct>(i)});
    m_arHeaderCodes.push_back(PRODUCT_KINDS[i].nHeaderCode);
  }
  std::sort(m_arHeaderCodes.begin(), m_arHeaderCodes.end());
}

int64_t CRecordLayout::BinaryLength() const {
  int64_t nLength = 0;
  for (const SPart& part : m_arParts)
    nLength += part.pBlock->bSpectrum ? SPECTRUM_VALUE_SIZE * m_nChannels : BinarySize(*part.pBlock);
  return nLength;
}
