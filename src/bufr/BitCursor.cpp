#include "bufr/BitCursor.h"

#include <algorithm>

bool CBitCursor::Read(int nBits, uint64_t& nValue) {
  constexpr int LOAD_MAX = 57;
  const bool bThere = nBits <= Remaining();
  nValue = bThere ? Peek(std::min(nBits, LOAD_MAX)) : 0;
  if (nBits > LOAD_MAX && bThere)
    nValue = nValue << (nBits - LOAD_MAX) | LoadBits(m_pBytes, m_nPosition + LOAD_MAX, nBits - LOAD_MAX);
  Skip(nBits);
  return bThere;
}
