#include "bufr/BUFRReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "bufr/BUFRDescriptor.h"
#include "kernel/BitRun.h"
#include "kernel/Reporter.h"
#include "prod/ProdL2.h"

bool CBUFRReader::Open(const char* szPath) {
  nDataVersion = 0;
  Close();
  return szPath && CStreamReader::IsFileOrDirectory(szPath) && stream.Open(szPath);
}

int CBUFRReader::GoToNextMessage() { return stream.SkipTo("BUFR"); }

int CBUFRReader::ReadInt(int nBytes) {
  uint32_t nValue = 0;
  for (int i = 0; i < nBytes; ++i) {
    uint8_t nByte;
    if (stream.Read(1, reinterpret_cast<char*>(&nByte)) == 1) nValue = nValue << 8 | nByte;
  }
  return static_cast<int>(nValue);
}

/// Skips by a length that the message gives. A negative one never leads back before the octet behind the
/// message's own start marker, or the same message would be read for ever.
void CBUFRReader::SkipBack(int nBytes) {
  const int64_t nLeast = m_nStart + 4 - stream.Position();
  stream.Skip(static_cast<int>(std::max<int64_t>(nBytes, std::min<int64_t>(nLeast, 0))));
}

int CBUFRReader::ReadMessageSections() {
  if (!ReadHead()) return 0;
  ReadSection4();
  if (!ReadEnd()) return 0;
  CReporter::Text(".");
  return 1;
}

int CBUFRReader::SkipMessage() {
  if (!ReadHead()) return 0;
  const int nBytes = ReadSection4Head();
  if (nBytes > 0) stream.Skip(nBytes);
  return ReadEnd();
}

/// Sections 0 to 3. False when no message starts here.
bool CBUFRReader::ReadHead() {
  m_nStart = stream.Position();
  descriptors.DeleteContents();
  nMissingFlags = 0;
  std::memset(szStart, 0, sizeof szStart);
  stream.Read(4, szStart);
  nTotalLength = ReadInt(3);
  nEdition = ReadInt(1);
  if (std::strcmp(szStart, "BUFR") != 0) return false;

  const int64_t nDateTime = ReadSection1();
  ReadSection2();
  ReadSection3();
  FindDataVersion(nDateTime);
  return true;
}

bool CBUFRReader::ReadEnd() {
  std::memset(szEnd, 0, sizeof szEnd);
  stream.Read(4, szEnd);
  return std::strcmp(szEnd, "7777") == 0;
}

/// Returns date and time as YYYYMMDD0hhmmss (the 0 leaves room for hours that are none), 0 in the short
/// layout. The layout follows the length, whatever the edition: there are edition 3 messages with the long
/// one.
int64_t CBUFRReader::ReadSection1() {
  constexpr int SHORT_LAYOUT_READ = 17, SHORT_LAYOUT_MAX = 21;
  nSection1Length = ReadInt(3);
  const bool bLong = nSection1Length > SHORT_LAYOUT_MAX;
  nMasterTable = ReadInt(1);
  nCentre = ReadInt(2);
  if (bLong) ReadInt(2);  // sub-centre
  nUpdateSequence = ReadInt(1);
  bOptionalSection = (ReadInt(1) & 0x80) != 0;
  nDataCategory = ReadInt(1);
  nDataSubCategory = ReadInt(1);
  if (bLong) ReadInt(1);  // local sub-category
  nMasterTableVersion = ReadInt(1);
  nLocalTableVersion = ReadInt(1);
  nYear = ReadInt(bLong ? 2 : 1);
  nMonth = ReadInt(1);
  nDay = ReadInt(1);
  nHour = ReadInt(1);
  nMinute = ReadInt(1);
  if (!bLong) {
    SkipBack(nSection1Length - SHORT_LAYOUT_READ);
    return 0;
  }
  const int nSecond = ReadInt(1);
  return (nYear * 10000LL + nMonth * 100 + nDay) * 10000000 + nHour * 10000 + nMinute * 100 + nSecond;
}

void CBUFRReader::ReadSection2() {
  nSection2Length = 0;
  if (!bOptionalSection) return;
  nSection2Length = ReadInt(3);
  SkipBack(nSection2Length - 3);
}

void CBUFRReader::ReadSection3() {
  nSection3Length = ReadInt(3);
  ReadInt(1);
  nSubsets = ReadInt(2);
  const int nFlags = ReadInt(1);
  bObserved = (nFlags & 128) != 0;
  bCompressed = (nFlags & 64) != 0;
  const int nCount = (nSection3Length - 7) / 2;
  if (!descriptors.Read(stream, nCount)) return;
  const int nFiller = nSection3Length - 7 - 2 * nCount;
  if (nFiller > 0) stream.Skip(nFiller);
}

/// Product layouts are told apart by the sequence that describes the message, or else by the instant at
/// which the processing changed. The instants are those of the archive, the times of day that are none
/// included.
void CBUFRReader::FindDataVersion(int64_t nDateTime) {
  struct SSwitch {
    int64_t nLast;  // last instant of the previous version
    int nVersion;
  };
  constexpr int64_t LAST_WITH_FEW = FEW_LEVELS_DATE * 10000000 + FEW_LEVELS_MINUTE * 100 + 99;
  static constexpr SSwitch SWITCHES[] = {
      {20190514'0071757, 8}, {20180307'0130251, 7}, {20170620'0083856, 6},
      {20160602'0081457, 5}, {20150924'0115654, 4}, {LAST_WITH_FEW, 3},
  };
  if (descriptors.Count() == 0) return;
  const int nPrevious = nDataVersion;
  if (descriptors.Count() > 1) {
    const auto* pSwitch = std::find_if(std::begin(SWITCHES), std::end(SWITCHES),
                                       [=](const SSwitch& s) { return nDateTime > s.nLast; });
    nDataVersion = pSwitch == std::end(SWITCHES) ? 0 : pSwitch->nVersion;
    return;
  }
  const CBUFRDescriptor only = descriptors[0];
  nDataVersion = only == CBUFRDescriptor(3, 40, 7) ? 2 : only == CBUFRDescriptor(3, 40, 1) ? 1 : 0;
  if (nDataVersion > 0 && nDataVersion != nPrevious) CReporter::Print("day%d", nDataVersion);
}

/// Room for the data of a section 4; without enough memory they are read over.
void CBUFRReader::MakeRoom(int nBytes) {
  pData.reset();
  nDataCapacity = 0;
  try {
    pData = std::make_unique_for_overwrite<uint8_t[]>(nBytes + UNPACK_PADDING);
  } catch (const std::bad_alloc&) {
    stream.Skip(nBytes);
    throw;
  }
  nDataCapacity = nBytes;
}

/// Returns how many bytes of data the section says to have.
int CBUFRReader::ReadSection4Head() {
  nSection4Length = ReadInt(3);
  ReadInt(1);
  return nSection4Length - 4;
}

void CBUFRReader::ReadSection4() {
  nDataSize = ReadSection4Head();
  if (nDataSize <= 0) return;
  // The file may be shorter than the message says: what is not there is neither allocated nor decoded.
  const int nThere = static_cast<int>(std::min<int64_t>(nDataSize, stream.Remaining()));
  if (nThere > nDataCapacity || !pData) MakeRoom(nThere);
  nDataSize = stream.Read(nThere, reinterpret_cast<char*>(pData.get()));
  std::memset(pData.get() + nDataSize, 0, UNPACK_PADDING);
}

int CBUFRReader::DecompressInt(ECall eCall, int64_t& bitPos, int64_t nWidth, int64_t nReference,
                               int64_t* pOut, uint64_t nFlag, int64_t nMissing, int64_t* pConstant,
                               bool* pbConstant) {
  CBitCursor data = Data(bitPos);
  const bool bAll = m_engine.DecompressInt(data, {eCall, nWidth, nReference, 0, nFlag, nMissing, nMissing},
                                           pOut, pConstant, pbConstant);
  bitPos = data.Position();
  return bAll;
}

int CBUFRReader::DecompressFloat(ECall eCall, int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale,
                                 double* pOut, uint64_t nFlag, double fMissing) {
  CBitCursor data = Data(bitPos);
  const bool bAll =
      m_engine.DecompressReal(data, {eCall, nWidth, nReference, nScale, nFlag, fMissing, fMissing}, pOut);
  bitPos = data.Position();
  return bAll;
}

int CBUFRReader::BUFRDecompressInt(int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut,
                                   uint64_t nFlag, int64_t nMissing, int64_t* pConstant, bool* pbConstant) {
  return DecompressInt(ECall::INT, bitPos, nWidth, nReference, pOut, nFlag, nMissing, pConstant, pbConstant);
}

int CBUFRReader::BUFRDecompressFloat(int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale,
                                     double* pOut, uint64_t nFlag, double fMissing) {
  return DecompressFloat(ECall::FLOAT, bitPos, nWidth, nReference, nScale, pOut, nFlag, fMissing);
}
