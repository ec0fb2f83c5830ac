#include "RecordReader.h"

#include <algorithm>
#include <cstring>
#include <sstream>

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
constexpr std::pair<int, const char*> KIND_CODES[] = {
    {1, "clp"}, {2, "twt"}, {3, "ozo"}, {4, "trg"}, {5, "ems"}};

std::string Times(int nTimes, const std::string& szText) {
  std::string szAll;
  while (nTimes-- > 0) szAll += szText;
  return szAll;
}

namespace {

/// Columns that a block repeats; recent: in pixels from 2014-09-30 07:23 on. Of each its type (t: in text
/// only), its name, in which # is the number of the repetition, and the element of the message that it shows.
struct SColumns {
  std::string szBlock;
  int nTimes, nRecent;
  std::string szColumns;
};

const std::vector<SColumns>& Format() {
  static const std::vector<SColumns> format = {
      {"common", 1, 1,
       "t SatelliteIdentifier text t Tb text s Year 4001 b Month 4002 b Day 4003 b Hour 4004 b Minute 4005 "
       "i Milliseconds 4006k r Latitude 5001 r Longitude 6001 r SatelliteZenithAngle 7024 r Bearing 5021 "
       "r SolarZenithAngle 7025 r SolarAzimuth 5022 i FieldOfViewNumber 5043 i OrbitNumber 5040 "
       "i ScanLineNumber 5041 r HeightOfStation 7001"},
      {"l1c", 1, 1, "s DayVersion -"},
      {"l1c", 3, 3, "i StartChannel# 25140 i EndChannel# 25141 i GqisQualFlag# 33060"},
      {"l1c", 1, 1, "i CloudFraction 20081 b SurfaceType -"},
      {"avhrr", 1, 1, "i AvhrrInstrument - i AvhrrChannelCombination -"},
      {"avhrr", 7, 7,
       "r AvhrrYAP 5060 r AvhrrZAP 5061 c AvhrrCPF 25085 " +
           Times(6, "i AvhrrChannel 5042 r AvhrrMeanRadiance - r AvhrrStdDevRadiance - ")},
      {"l2", 1, 1,
       "b SuperadiabaticIndicator 13038 b LandSeaQualifier 8012 b DayNightQualifier 8013 "
       "i SatelliteDataProcessingTechniqueUsed 2022 b SunGlintIndicator 8065 "
       "i CloudFormationAndHeightAssignment 40192 i InstrumentDetectingClouds 40193 "
       "i ValidationFlagForIasiLevel1 40194 i QualityAndCompletenessOfRetrieval 40195 "
       "i RetrievalChoiceIndicator 40196 i SatelliteManoeuvreIndicator 40197"},
      {"ozo", 1, 1, "i SelectionOfBackgroundState 40198"},
      {"ozo", 4, 101, "r Pressure#1 7004 r Pressure#2 7004 r IntegratedO3Density# 15020"},
      {"trg", 1, 1,
       "i SelectionOfBackgroundState 40198 r IntegratedN2ODensity 40199 r IntegratedCODensity 40200 "
       "r IntegratedCH4Density 40201 r IntegratedCO2Density 40202"},
      {"clp", 1, 1, "i VerticalSignificance 8003"},
      {"clp", 3, 3,
       "r Pressure# 7004 r Temperature/dry-bulbTemperature# 12101 r CloudAmountInSegment# 20081 "
       "i CloudPhase# 20056"},
      {"twt", 1, 1,
       "i VerticalSignificance1 8003 r Pressure 10004 i NumberOfObservations1 8022 r SkinTemperature 12061 "
       "i NumberOfObservations2 8022 i VerticalSignificance2 8003 i PTCount 31001"},
      {"twt", 90, 101, "r Pressure# 7004 r Temperature/dry-bulbTemperature# 12101"},
      {"twt", 1, 1, "i PMRCount 31001"},
      {"twt", 90, 101, "r Pressure# 7004 r MixingRatio# 13002"},
      {"ems", 1, 1, "i SelectionOfBackgroundState 40198"},
      {"ems", 12, 12, "r Frequency# 2153 r Emissivity# 14050"},
  };
  return format;
}

}  // namespace

std::vector<std::string> ColumnsOf(const std::string& szBlock, EColumn eWhat, bool bRecent) {
  std::vector<std::string> arFound;
  for (const SColumns& group : Format()) {
    if (group.szBlock != szBlock) continue;
    for (int i = 1; i <= (bRecent ? group.nRecent : group.nTimes); ++i) {
      std::istringstream words(group.szColumns);
      std::string arWords[3];
      while (words >> arWords[0] >> arWords[1] >> arWords[2]) {
        if (const size_t nHash = arWords[1].find('#'); nHash != std::string::npos)
          arWords[1].replace(nHash, 1, std::to_string(i));
        arFound.push_back(arWords[static_cast<int>(eWhat)]);
      }
    }
  }
  return arFound;
}

/// The letters of the values that a binary record has of a block.
static const std::string& TypesOf(const std::string& szBlock, bool bRecent) {
  static std::map<std::pair<std::string, bool>, std::string> found;
  std::string& szTypes = found[{szBlock, bRecent}];
  if (szTypes.empty())
    for (const std::string& szType : ColumnsOf(szBlock, EColumn::TYPE, bRecent))
      if (szType != "t") szTypes += szType;
  return szTypes;
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
std::map<std::string, std::string> CRecordFile::Layout(bool bL1C, bool bManyLayers, bool bManyLevels) const {
  std::map<std::string, std::string> layout = {{"common", TypesOf("common", false)}};
  if (bL1C) {
    layout["l1c"] = TypesOf("l1c", false);
    layout["spectrum"] = std::string(arChannels.size(), 'r');
  }
  if (bAvhrr) layout["avhrr"] = TypesOf("avhrr", false);
  if (!arKinds.empty()) layout["l2"] = TypesOf("l2", false);
  for (const auto& [nCode, szKind] : KIND_CODES)
    if (std::count(arKinds.begin(), arKinds.end(), nCode))
      layout[szKind] = TypesOf(szKind, nCode == 3 ? bManyLayers : bManyLevels);
  return layout;
}

/// The markers count the short forms of ozone and temperature, and every selected channel. What a record
/// really holds is found by the marker behind it.
bool CRecordFile::ReadRecord() {
  const auto size = [&](bool bL1C) {
    int nSize = 0;
    for (const auto& [szBlock, szTypes] : Layout(bL1C, false, false))
      for (const char c : szTypes) nSize += SizeOf(c);
    return nSize;
  };
  const int nWithL1C = size(true);
  nMarker = Int4(m_nAt);
  if (nMarker != nWithL1C && nMarker != size(false)) return false;
  for (const int nForm : {-1, 0, 3, 1, 2}) {  // -1: a record of its markers alone
    SRecord record;
    size_t nAt = m_nAt + 4;
    const auto layout = Layout(nMarker == nWithL1C, nForm & 1, nForm & 2);
    for (const std::string szBlock : BLOCKS) {
      if (nForm < 0 || !layout.count(szBlock)) continue;
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
