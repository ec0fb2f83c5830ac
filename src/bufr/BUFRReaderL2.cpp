#include "bufr/BUFRReaderL2.h"

#include "bufr/Decompress.h"

int CBUFRReaderL2::BUFRDecompressFieldOfView(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                             int64_t* pOut, uint64_t nFlag, int64_t nMissing,
                                             int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(L2_FOV, bitPos, nWidth, nReference, pOut, nFlag, nMissing, nMissing, pConstant,
                       pbConstant);
}

int CBUFRReaderL2::BUFRDecompressIntTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                              int64_t* pOut, uint64_t nFlag, int64_t nMissing,
                                              int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(L2_INT_X1000, bitPos, nWidth, nReference, pOut, nFlag, nMissing, nMissing, pConstant,
                       pbConstant);
}

int CBUFRReaderL2::BUFRDecompressFloatTimes1000(int64_t& bitPos, int64_t nWidth, int64_t nReference,
                                                int nScale, double* pOut, uint64_t nFlag, double fMissing) {
  return DecompressFloat(L2_FLOAT_X1000, bitPos, nWidth, nReference, nScale, pOut, nFlag, fMissing);
}

int CBUFRReaderL2::DecodeHeader(TLayout header, CProdL2& prod) {
  int64_t bitPos = 0;
  const int nStatus = DecodeLayout(header, prod, bitPos);
  nSecondLevelBitPos = bitPos;
  return nStatus;
}

int CBUFRReaderL2::DecodeCount(int64_t& bitPos, uint64_t nFlag, int64_t& nFirstCount) {
  m_arCounts.assign(nSubsets, CProd::DEFAULT_VALUE_M1);
  const int nStatus = BUFRDecompressInt(bitPos, 8, 0, m_arCounts.data(), nFlag, CProd::DEFAULT_VALUE_M1);
  nFirstCount = nSubsets > 0 ? m_arCounts[0] : CProd::DEFAULT_VALUE_M1;
  return nStatus;
}
