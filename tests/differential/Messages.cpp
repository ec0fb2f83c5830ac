#include "tests/differential/Messages.h"

#include <algorithm>
#include <cstddef>

#include "sample/Template.h"
#include "tests/differential/LayoutRows.h"

namespace {
constexpr int CHANNEL_WIDTH = 14, RADIANCE_WIDTH = 16, EXPONENT_WIDTH = 6, MAX_INCREMENT = 33;
constexpr int64_t MISSING = CBUFREncoder::MISSING;
}  // namespace

/// Section 1 and the descriptors, for any layout version that a message of the kind may turn out to have.
void CMessageMaker::Describe(EKind eKind, CBUFREncoder& encoder, SMade& made) {
  constexpr int L2_VERSIONS[] = {0, 3, 4, 5, 6, 7, 8};
  const bool bSingle = OneIn(20) != (eKind == EKind::L1C);
  made.nVersion = L2_VERSIONS[Below(7)];
  SDateTime date = L2VersionDate(made.nVersion);
  if (OneIn(4)) date = {2013 + Below(8), 1 + Below(12), 1 + Below(28), Below(24), Below(60), Below(60)};
  SMessageHeader& header = encoder.header;
  if (OneIn(4)) date = {}, header.nEdition = 3, header.nSection1Length = 18;
  if (OneIn(8)) header.arSection2.assign(1 + Below(20), 0x42);
  made.nVersion = L2VersionOf(date);
  header.nYear = date.nYear, header.nMonth = date.nMonth, header.nDay = date.nDay;
  header.nHour = date.nHour, header.nMinute = date.nMinute, header.nSecond = date.nSecond;
  if (bSingle) {
    made.nVersion = 1 + Below(2);
    encoder.Descriptor(3, 40, made.nVersion == 1 ? 1 : 7);
    return;
  }
  const EKind eList = eKind == EKind::L1C ? EKind::EMS : eKind;
  const CTemplate list(LayoutDescriptors(eList, made.nVersion), {});
  for (const int n : list.Descriptors()) encoder.Descriptor(n / 100000, n / 1000 % 100, n % 1000);
}

/// Random bits; all of them are set where a value is missing, and nowhere else.
uint64_t CMessageMaker::Field(int nWidth) {
  return OneIn(m_nMissing) ? UINT64_MAX : m_random() % ((uint64_t{1} << nWidth) - 1);
}

void CMessageMaker::Increments(CBUFREncoder& encoder, int nWidth, uint64_t nBase, int nIncrement) {
  std::vector<uint64_t> arIncrements(nIncrement == 0 || nIncrement > MAX_INCREMENT ? 0 : encoder.Subsets());
  for (uint64_t& n : arIncrements) n = Field(nIncrement);
  encoder.Element(nWidth, nBase, nIncrement, arIncrements);
}

void CMessageMaker::Element(CBUFREncoder& encoder, int nWidth) {
  const bool bStrange = m_nStrange > 0 && OneIn(m_nStrange);
  const int nIncrement = bStrange ? Below(64) : OneIn(3) ? 0 : 1 + Below(std::min(nWidth, MAX_INCREMENT));
  Increments(encoder, nWidth, Field(nWidth), nIncrement);
}

/// Mostly what the layout has; else right in the first pixel alone, or wrong.
void CMessageMaker::Count(CBUFREncoder& encoder, const STemplateField& field) {
  const int nWrong = Below(16);
  if (nWrong == 0) return Element(encoder, field.nWidth);
  std::vector<int64_t> arCounts(encoder.Subsets(), field.nCount);
  for (size_t i = 1; nWrong < 4 && i < arCounts.size(); ++i) arCounts[i] = OneIn(3) ? MISSING : Below(254);
  if (nWrong == 1) arCounts[0] = OneIn(2) ? MISSING : field.nCount - 1;
  encoder.Values(field.nWidth, arCounts);
}

/// Ten bands that follow each other, overlap or leave gaps, alike in all pixels or not; some are
/// missing or end at 0.
void CMessageMaker::Bands(CBUFREncoder& encoder) {
  const bool bUniform = !OneIn(3);
  const auto values = [&](int nMin, int nSpan, int nMissing) {
    std::vector<int64_t> arRaw(bUniform ? 1 : encoder.Subsets());
    for (int64_t& n : arRaw) n = Below(100) < nMissing ? (OneIn(2) ? MISSING : 0) : nMin + Below(nSpan);
    arRaw.resize(encoder.Subsets(), arRaw[0]);
    return arRaw;
  };
  const int nMissing = m_nStrange > 0 ? 5 : 0, nLast = SAMPLES / 10;
  for (int i = 0; i < 10; ++i) {
    const int nStart = std::max(i * nLast + 1 - Below(m_nStrange > 0 ? 300 : 1), 0);
    encoder.Values(CHANNEL_WIDTH, values(nStart, bUniform ? 1 : 400, nMissing));
    encoder.Values(CHANNEL_WIDTH, values(nStart + nLast + 300 - Below(400), bUniform ? 1 : 400, nMissing));
    encoder.Values(EXPONENT_WIDTH, values(i, bUniform ? 1 : 4, nMissing));
  }
}

/// The channels in their order, but for strange samples: out of order, different between pixels, missing,
/// none that is. The last three disturb what follows, and so come in few messages.
void CMessageMaker::Samples(CBUFREncoder& encoder, int nSamples) {
  const int nKinds = OneIn(4) ? 7 : 4;
  for (int i = 1; i <= nSamples; ++i) {
    const int nStrange = m_nStrange > 0 && OneIn(m_nStrange) ? Below(nKinds) : -1;
    if (nStrange == 1)
      Increments(encoder, CHANNEL_WIDTH, static_cast<uint64_t>(std::max(i - 100, 0)), 1 + Below(9));
    else if (nStrange == 4)
      Increments(encoder, CHANNEL_WIDTH, 1, Below(64));
    else
      encoder.Constant(CHANNEL_WIDTH, nStrange == 0   ? 1 + Below(SAMPLES)
                                      : nStrange == 5 ? MISSING
                                      : nStrange == 6 ? (OneIn(2) ? 0 : SAMPLES + 1 + Below(90))
                                                      : i);
    // Arguments are not worked out in the same order by all compilers.
    const auto nBase = static_cast<uint64_t>(Below(65536));
    if (nStrange == 2)
      Increments(encoder, RADIANCE_WIDTH, nBase, Below(64));
    else if (OneIn(8))
      encoder.Constant(RADIANCE_WIDTH, OneIn(3) ? 5000 : OneIn(2) ? MISSING : Below(65535));
    else
      Increments(encoder, RADIANCE_WIDTH, nBase, Below(OneIn(20) ? 17 : 11));
  }
}

SMade CMessageMaker::Make(EKind eKind, const CModel& model) {
  constexpr int FEW_PIXELS = 12, MANY_PIXELS = 300, FEW_SAMPLES = 300;
  SMade made;
  made.nPixels = 1 + Below(OneIn(40) ? MANY_PIXELS : FEW_PIXELS);
  m_nStrange = OneIn(2) ? 0 : 10 + Below(400);
  m_nMissing = OneIn(2) ? 8 : 100 + Below(4000);
  CBUFREncoder encoder(made.nPixels);
  Describe(eKind, encoder, made);
  const CModel::SRows& parts = model.Rows(made.nVersion);
  const TRows& rows = parts.all;
  const auto elements = [&](size_t nBegin, size_t nEnd) {
    for (size_t i = nBegin; i < nEnd; ++i)
      if (rows[i].field.nCount < 0)
        Element(encoder, rows[i].field.nWidth);
      else
        Count(encoder, rows[i].field);
  };
  elements(0, parts.nHeaderEnd);
  // Most spectra end early, and the messages with them.
  bool bEnds = false;
  if (eKind == EKind::L1C) {
    bEnds = made.nPixels > FEW_PIXELS || !OneIn(8);
    Bands(encoder);
    Samples(encoder, bEnds ? Below(FEW_SAMPLES) : SAMPLES);
  }
  if (!bEnds) elements(eKind == EKind::L1C ? parts.nAvhrr : parts.nHeaderEnd, rows.size());
  if (OneIn(4)) encoder.Bits(0x123456789ABCDEF, Below(64));
  made.bDamaged = bEnds;
  const size_t nData = encoder.SectionData().size();
  made.szFile = std::string(OneIn(3) ? Below(9) : 0, 'B') + encoder.Message();
  Damage(made, nData);
  return made;
}

/// Bits are flipped in section 4, its length is another one, the file ends in it.
void CMessageMaker::Damage(SMade& made, size_t nData) {
  std::string& szFile = made.szFile;
  const size_t nBegin = szFile.size() - 4 - nData;
  const int nHow = Below(8), nSize = static_cast<int>(nData);
  const auto place = [&] { return OneIn(2) ? Below(nSize) : nSize - 1 - Below(std::min(nSize, 300)); };
  int nClaimed = nSize;
  for (int i = nHow < 2 ? 1 + Below(nHow == 0 ? 3 : 40) : 0; i > 0; --i) {
    char& cFlipped = szFile[nBegin + place()];
    cFlipped = static_cast<char>(cFlipped ^ 1 << Below(8));
  }
  if (nHow == 2) {
    nClaimed = OneIn(4) ? nSize + Below(1000) : place();
    for (int i = 0; i < 3; ++i)
      szFile[nBegin - 4 + i] = static_cast<char>((nClaimed + 4) >> (16 - 8 * i) & 0xFF);
  }
  if (nHow == 3) szFile.resize(nBegin + place());
  made.bDamaged |= nHow < 4;
  const auto pBytes = reinterpret_cast<const uint8_t*>(szFile.data());
  const size_t nThere = std::min<size_t>(nClaimed, szFile.size() - nBegin);
  made.arBytes.assign(pBytes + nBegin, pBytes + nBegin + nThere);
}
