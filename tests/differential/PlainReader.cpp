#include "tests/differential/PlainReader.h"

#include <algorithm>
#include <iterator>

#include "sample/Layouts.h"

SMessage Take(CBUFRReader& r) {
  const int64_t nStart = r.stream.Position();
  const int nResult = r.ReadMessageSections();
  SMessage message{nResult, nStart, r.stream.Position(), r.nDataVersion, {}, {}, ""};
  const auto list = [](auto... fields) { return std::vector<int>{fields...}; };
  message.arFields =
      list(r.nTotalLength, r.nEdition, r.nSection1Length, r.nMasterTable, r.nCentre, r.nUpdateSequence,
           r.bOptionalSection, r.nDataCategory, r.nDataSubCategory, r.nMasterTableVersion,
           r.nLocalTableVersion, r.nYear, r.nMonth, r.nDay, r.nHour, r.nMinute, r.nSection2Length,
           r.nSection3Length, r.nSubsets, r.bObserved, r.bCompressed, r.nSection4Length, r.nDataSize);
  for (int i = 0; i < r.descriptors.Count(); ++i) {
    const CBUFRDescriptor d = r.descriptors[i];
    message.arDescriptors.push_back(d.nF << 14 | d.nX << 8 | d.nY);
  }
  if (r.nDataSize > 0) message.szData.assign(reinterpret_cast<const char*>(r.pData.get()), r.nDataSize);
  return message;
}

bool CPlainReader::Next() {
  const size_t nFound = m_szBytes.find("BUFR", std::min(static_cast<size_t>(m_nAt), m_szBytes.size()));
  if (nFound == std::string::npos) return false;
  m_nAt = static_cast<int64_t>(nFound);
  return true;
}

SMessage CPlainReader::Read() {
  constexpr int DAY_1 = 0xE801, DAY_2 = 0xE807;  // 3-40-001, 3-40-007
  m_nStart = m_nAt;
  m_nAt += 4;
  SMessage message;
  auto& f = message.arFields;
  f.assign(23, 0);
  f[0] = Int(3), f[1] = Int(1), f[2] = Int(3);
  const bool bLong = f[2] >= 22;
  f[3] = Int(1), f[4] = Int(2);
  if (bLong) Int(2);
  f[5] = Int(1), f[6] = Int(1) >= 128, f[7] = Int(1), f[8] = Int(1);
  if (bLong) Int(1);
  f[9] = Int(1), f[10] = Int(1), f[11] = Int(bLong ? 2 : 1);
  for (int i = 12; i < 16; ++i) f[i] = Int(1);
  const int nSecond = bLong ? Int(1) : 0;
  if (!bLong) Skip(f[2] - 17);
  if (f[6]) Skip((f[16] = Int(3)) - 3);
  f[17] = Int(3);
  Int(1);
  f[18] = Int(2);
  const int nFlags = Int(1);
  f[19] = (nFlags & 128) != 0, f[20] = (nFlags & 64) != 0;
  auto& arDescriptors = message.arDescriptors;
  const int nDescriptors = (f[17] - 7) / 2;
  for (int i = 0; i < nDescriptors && m_nAt < Size(); ++i) {
    const bool bWhole = m_nAt + 2 <= Size();
    const int nDescriptor = Int(2);
    if (bWhole) arDescriptors.push_back(nDescriptor);
  }
  if (std::ssize(arDescriptors) >= nDescriptors) Skip(std::max(0, f[17] - 7 - 2 * nDescriptors));
  if (arDescriptors.size() == 1) m_nVersion = arDescriptors[0] == DAY_2 ? 2 : arDescriptors[0] == DAY_1;
  if (arDescriptors.size() > 1)
    m_nVersion = L2VersionOf(bLong ? SDateTime{f[11], f[12], f[13], f[14], f[15], nSecond} : SDateTime());
  f[21] = Int(3);
  Int(1);
  const int64_t nThere = std::max<int64_t>(Size() - m_nAt, 0);
  f[22] = static_cast<int>(std::min<int64_t>(f[21] - 4, f[21] > 4 ? nThere : 0));
  if (f[22] > 0) message.szData = m_szBytes.substr(static_cast<size_t>(m_nAt), f[22]);
  m_nAt += std::max(0, f[22]);
  const bool bEnd = m_nAt <= Size() && m_szBytes.compare(static_cast<size_t>(m_nAt), 4, "7777") == 0;
  if (m_nAt < Size()) m_nAt = std::min(m_nAt + 4, Size());
  message.nResult = bEnd;
  message.nStart = m_nStart;
  message.nPosition = m_nAt;
  message.nVersion = m_nVersion;
  return message;
}

int CPlainReader::Int(int nBytes) {
  int nValue = 0;
  for (; nBytes > 0; --nBytes)
    if (m_nAt < Size()) nValue = nValue << 8 | static_cast<uint8_t>(m_szBytes[static_cast<size_t>(m_nAt++)]);
  return nValue;
}
