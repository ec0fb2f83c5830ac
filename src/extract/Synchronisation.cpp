// Pairing of the pixels of the product streams: which streams take part in a record, and how they move on.

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <tuple>

#include "extract/Extractor.h"
#include "kernel/Reporter.h"
#include "output/Record.h"
#include "prod/Prod.h"
#include "prod/ProductKind.h"

namespace {

constexpr int64_t NO_KEY = 999999;  // in each part; greater than the key of any real pixel

/// Whether a stream stands at a pixel that can never be the soonest.
bool LacksKey(const Stream& stream) {
  if (!stream.bHasData || stream.bNeedsNext) return false;
  const CProd& prod = *stream.pProd;
  const int64_t nMissing = CProd::DEFAULT_VALUE_M1, nOrbit = prod.OrbitNumber[stream.nPixel];
  return nOrbit == nMissing || nOrbit == 0 || prod.ScanLineNumber[stream.nPixel] == nMissing ||
         prod.FieldOfViewNumber[stream.nPixel] == nMissing;
}

}  // namespace

int CExtractor::IsSoonest(const CProd* pProd, int nPixel, int64_t* pOrbit, int64_t* pScanLine,
                          int64_t* pFieldOfView) {
  const int64_t nOrbit = pProd->OrbitNumber[nPixel], nScanLine = pProd->ScanLineNumber[nPixel],
                nFieldOfView = pProd->FieldOfViewNumber[nPixel];
  const int64_t nMissing = CProd::DEFAULT_VALUE_M1;
  if (nOrbit == nMissing || nScanLine == nMissing || nFieldOfView == nMissing) return 0;
  if (std::tuple(nOrbit, nScanLine, nFieldOfView) >= std::tuple(*pOrbit, *pScanLine, *pFieldOfView)) return 0;
  *pOrbit = nOrbit;
  *pScanLine = nScanLine;
  *pFieldOfView = nFieldOfView;
  return 1;
}

int CExtractor::ProcessSoonest(int64_t* pOrbit, int64_t* pScanLine, int64_t* pFieldOfView) const {
  *pOrbit = *pScanLine = *pFieldOfView = NO_KEY;
  int nFound = 0;
  for (const Stream& stream : m_arStreams) {
    if (!stream.bHasData || stream.nPixel >= stream.pProd->PixelCount) continue;
    if (stream.pProd->OrbitNumber[stream.nPixel] == 0) continue;
    nFound |= IsSoonest(stream.pProd.get(), stream.nPixel, pOrbit, pScanLine, pFieldOfView);
  }
  return nFound;
}

bool CExtractor::IsSynchronous(const CProd* pProd, int nPixel, int64_t nOrbit, int64_t nScanLine,
                               int64_t nFieldOfView) {
  return pProd->OrbitNumber[nPixel] == nOrbit && pProd->ScanLineNumber[nPixel] == nScanLine &&
         pProd->FieldOfViewNumber[nPixel] == nFieldOfView;
}

/// Moves streams on over pixels without a key, which would hold back those behind them, as long as another
/// stream offers a key. A stream may have used up its message then.
void CExtractor::PassWithoutKey(const CConfigParam* pConfig) {
  if (m_nActive < 2 || std::none_of(std::begin(m_arStreams), std::end(m_arStreams), LacksKey)) return;
  int64_t nOrbit, nScanLine, nFieldOfView;
  if (!ProcessSoonest(&nOrbit, &nScanLine, &nFieldOfView)) return;
  for (Stream& stream : m_arStreams)
    while (LacksKey(stream)) {
      ++stream.nPixel;
      GetNextSelected(stream, pConfig);
    }
}

/// Decides which streams take part in the next record, for every format.
void CExtractor::SelectSynchronous() {
  int64_t nOrbit = 0, nScanLine = 0, nFieldOfView = 0;
  const bool bSingle = m_nActive < 2;
  const bool bKey = bSingle || ProcessSoonest(&nOrbit, &nScanLine, &nFieldOfView);
  if (!bKey) CReporter::Line("pb calcul synchro");
  for (int i = 0; i < PRODUCTS; ++i) {
    const Stream& stream = m_arStreams[i];
    const bool bTakesPart =
        stream.bHasData && bKey &&
        (bSingle || IsSynchronous(stream.pProd.get(), stream.nPixel, nOrbit, nScanLine, nFieldOfView));
    m_record.arPixels[i] = {bTakesPart ? stream.pProd.get() : nullptr, stream.nPixel};
  }
}

/// Moves the streams of the record on. When no stream took part, all of them move on.
void CExtractor::Advance() {
  const bool bAny = m_record.First() != nullptr;
  for (int i = 0; i < PRODUCTS; ++i) {
    Stream& stream = m_arStreams[i];
    if (stream.bHasData && (m_record.arPixels[i].pProd || !bAny)) ++stream.nPixel;
  }
}
