#include "bufr/DescriptorList.h"

#include <algorithm>
#include <cstddef>

#include "bufr/StreamReader.h"

bool CDescriptorList::Read(CStreamReader& stream, int nCount) {
  // No more than the file holds, half a descriptor at its end included: it is read over.
  const int64_t nThere = std::min<int64_t>(std::max(nCount, 0), (stream.Remaining() + 1) / 2);
  m_arRaw.resize(static_cast<size_t>(nThere));
  const int nBytes = stream.Read(static_cast<int>(2 * nThere), reinterpret_cast<char*>(m_arRaw.data()));
  m_arRaw.resize(static_cast<size_t>(nBytes / 2));
  return Count() >= nCount;
}
