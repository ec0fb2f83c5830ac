#include "app/ConfigParam.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "bufr/StreamReader.h"
#include "kernel/Reporter.h"

CConfigParam::CConfigParam() : szAltitudePath(DuplicateString("/korvat/IASI/LSM/land_sea_alti_map.dat")) {
  arL1CExtensions.SplitAdd("l1_bufr|bin", '|', true);
  arL2Extensions.SplitAdd("l2_bufr|bin", '|', true);
}

CConfigParam::~CConfigParam() = default;

TOwnedString CConfigParam::DuplicateString(const char* pszText) {
  if (!pszText) return nullptr;
  const size_t nSize = std::strlen(pszText) + 1;
  TOwnedString szCopy = std::make_unique_for_overwrite<char[]>(nSize);
  std::memcpy(szCopy.get(), pszText, nSize);
  return szCopy;
}

bool CConfigParam::InitAltitudeMap() {
  if (!szAltitudePath) {
    CReporter::Line("ERROR: no altitude file defined");
    return false;
  }
  CStreamReader stream;
  const bool bOpen = stream.Open(szAltitudePath.get());
  if (bOpen) {
    altitudeMap.Init(1080, 2160);
    altitudeMap.Read(stream);
  } else {
    CReporter::Print("ERROR: Unable to open file %s\n", szAltitudePath.get());
  }
  CReporter::LostIfThere(szAltitudePath.get(), stream.Error());
  return bOpen;
}

bool CConfigParam::L2Requested() const {
  return std::find(std::begin(arbL2), std::end(arbL2), true) != std::end(arbL2);
}

CChannelSelection CConfigParam::Channels(int nLimit) const {
  std::vector<CChannelSelection::SRange> arRanges;
  arRanges.reserve(arChannels.Count());
  for (int i = 0; i < arChannels.Count(); ++i) arRanges.push_back({arChannels[i]->nMin, arChannels[i]->nMax});
  return CChannelSelection(std::move(arRanges), nLimit);
}
