#include "RecordReader.h"

#include <algorithm>
#include <cstring>

namespace {

int SizeOf(char cType) { return cType == 'b' ? 1 : cType == 's' ? 2 : 4; }

std::vector<std::string> Split(const std::string& szText, char cSeparator) {
  std::vector<std::string> arParts(1);
  for (const char c : szText) {
    if (c == cSeparator)
      arParts.emplace_back();
    else
      arParts.back() += c;
  }
  return arParts;
}

}  // namespace

constexpr const char* BLOCKS[] = {"common", "l1c", "spectrum", "avhrr", "l2",
                                  "ozo",    "trg", "clp",      "twt",   "ems"};

std::string Times(int nTimes, const std::string& szText) {
  std::string szAll;
  while (nTimes-- > 0) szAll += szText;
  return szAll;
}

CRecordFile::CRecordFile(const std::string& szBytes) : m_szBytes(szBytes) {
  ReadHeader();
  while (szError.empty() && m_nAt < m_szBytes.size())
    if (!ReadRecord())
      szError = "record " + std::to_string(arRecords.size()) + " at " + std::to_string(m_nAt);
}

/// One value; -1.5 (which no integer is) behind the end of the file.
double CRecordFile::Value(char cType, size_t nAt) const {
  char ar[4];
  const int nSize = SizeOf(cType);
  if (nAt + nSize > m_szBytes.size()) return -1.5;
  std::memcpy(ar, &m_szBytes[nAt], nSize);
  if (bBigEndian) std::reverse(ar, ar + nSize);
  const auto as = [&](auto value) {
    std::memcpy(&value, ar, sizeof value);
    return static_cast<double>(value);
  };
  return cType == 'b' ? as(int8_t{}) : cType == 's' ? as(int16_t{}) : cType == 'i' ? as(int32_t{}) : as(0.0F);
}

void CRecordFile::ReadHeader() {
  if (m_szBytes.size() < 29) {
    szError = "no header";
    return;
  }
  bBigEndian = m_szBytes[4] == 1;
  const int nLength = Int4(0), nChannels = Int4(18);
  const size_t nAfter = 4 + 18 + 4 * static_cast<size_t>(nChannels);  // of the channel numbers
  nSatellite = Int4(9);
  for (size_t i = 22; i < nAfter; i += 4) arChannels.push_back(Int4(i));
  bAvhrr = Value('b', nAfter) == 1;
  const int nKinds = static_cast<int>(Value('s', nAfter + 1));
  for (int i = 0; i < nKinds; ++i) arKinds.push_back(Int4(nAfter + 3 + 4 * i));
  m_nAt = 4 + static_cast<size_t>(nLength) + 4;
  if (nLength != 21 + 4 * nChannels + 4 * nKinds || Int4(m_nAt - 4) != nLength || Int4(5) != 5 ||
      Int4(13) != 95)
    szError = "bad header";
}

/// The types of the blocks that the file has.
std::map<std::string, std::string> CRecordFile::Layout(bool bL1C, int nLayers, int nLevels) const {
  std::map<std::string, std::string> layout = {{"common", "sbbbbirrrrrriiir"}};
  if (bL1C) {
    layout["l1c"] = "siiiiiiiiiib";
    layout["spectrum"] = std::string(arChannels.size(), 'r');
  }
  if (bAvhrr) layout["avhrr"] = "ii" + Times(7, "rrc" + Times(6, "irr"));
  if (!arKinds.empty()) layout["l2"] = "bbbibiiiiii";
  const std::string szProfile = Times(nLevels, "rr");
  for (const int nKind : arKinds) {
    if (nKind == 1) layout["clp"] = "i" + Times(3, "rrri");
    if (nKind == 2) layout["twt"] = "iririii" + szProfile + "i" + szProfile;
    if (nKind == 3) layout["ozo"] = "i" + Times(nLayers, "rrr");
    if (nKind == 4) layout["trg"] = "irrrr";
    if (nKind == 5) layout["ems"] = "i" + Times(12, "rr");
  }
  return layout;
}

/// The markers count the short forms of ozone and temperature, and every selected channel. What a record
/// really holds is found by the marker behind it.
bool CRecordFile::ReadRecord() {
  int nL2 = arKinds.empty() ? 0 : 32;
  for (const int nCode : arKinds) nL2 += (const int[]){0, 52, 1472, 52, 20, 100}[nCode];
  const int nChannels = static_cast<int>(arChannels.size()),
            nWithL1C = 93 + 4 * nChannels + 596 * bAvhrr + nL2;
  nMarker = Int4(m_nAt);
  if (nMarker != nWithL1C && nMarker != 50 + nL2) return false;
  for (const auto& [nLayers, nLevels] : {std::pair(0, 0), {4, 90}, {101, 101}, {4, 101}, {101, 90}}) {
    SRecord record;
    size_t nAt = m_nAt + 4;
    const auto layout = Layout(nMarker == nWithL1C, nLayers, nLevels);
    for (const std::string szBlock : BLOCKS) {
      if (nLayers == 0 || !layout.count(szBlock)) continue;  // 0: a record of its markers alone
      SBlockValues& block = record.blocks[szBlock] = {layout.at(szBlock), {}};
      for (const char c : block.szTypes) {
        block.arValues.push_back(Value(c, nAt));
        nAt += SizeOf(c);
      }
    }
    if (Int4(nAt) != nMarker || (nAt + 4 != m_szBytes.size() && Int4(nAt + 4) != nMarker)) continue;
    record.nBytes = static_cast<int>(nAt - m_nAt - 4);
    arRecords.push_back(std::move(record));
    m_nAt = nAt + 4;
    return true;
  }
  return false;
}

std::vector<std::vector<std::string>> ReadTextFile(const std::string& szBytes) {
  std::vector<std::vector<std::string>> arLines;
  for (const std::string& szLine : Split(szBytes, '\n')) arLines.push_back(Split(szLine, '\t'));
  if (arLines.back() == std::vector<std::string>{""}) arLines.pop_back();  // else the last line has no end
  return arLines;
}
