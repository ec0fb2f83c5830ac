#include "bufr/BUFRReaderL2.h"

#include <cstdint>

#include "bufr/BitCursor.h"
#include "bufr/LayoutEngine.h"
#include "prod/Prod.h"
#include "prod/ProdL2.h"

int CBUFRReaderL2::BUFRDecompressFieldOfView(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                             int64_t* pOut, uint64_t nFlag, int64_t nMissing,
                                             int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(ECall::FOV, bitPos, nWidth, nReference, pOut, nFlag, nMissing, pConstant, pbConstant);
}

int CBUFRReaderL2::BUFRDecompressIntTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                              int64_t* pOut, uint64_t nFlag, int64_t nMissing,
                                              int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(ECall::INT_X1000, bitPos, nWidth, nReference, pOut, nFlag, nMissing, pConstant,
                       pbConstant);
}

int CBUFRReaderL2::BUFRDecompressFloatTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                                int nScale, double* pOut, uint64_t nFlag, double fMissing) {
  return DecompressFloat(ECall::FLOAT_X1000, bitPos, nWidth, nReference, nScale, pOut, nFlag, fMissing);
}

bool CBUFRReaderL2::DecodeHeader(TLayout header, CProdL2& prod) {
  CBitCursor data = Data();
  const bool bAll = m_engine.Decode(header, prod, data);
  nSecondLevelBitPos = data.Position();
  return bAll;
}

bool CBUFRReaderL2::DecodeCount(CBitCursor& data, uint64_t nFlag, int64_t& nFirstCount) {
  constexpr int WIDTH = 8;
  constexpr int64_t MISSING = CProd::DEFAULT_VALUE_M1;
  m_arCounts.assign(nSubsets, MISSING);
  const bool bAll =
      m_engine.DecompressInt(data, {ECall::INT, WIDTH, 0, 0, nFlag, MISSING, MISSING}, m_arCounts.data());
  nFirstCount = nSubsets > 0 ? m_arCounts[0] : MISSING;
  return bAll;
}
