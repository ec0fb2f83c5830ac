#include "tests/differential/Messages.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int LENGTH4 = 3;       // the number of the length of section 4 in the order HEADER
constexpr int COUNTED = 0x8000;  // a place: the number of an element of any kind
}  // namespace

void CMessageMaker::Order(EOrder eOrder, int nArgument, int nPlace, uint64_t nValue) {
  m_file.Do({eOrder, static_cast<uint8_t>(nArgument), static_cast<uint16_t>(nPlace),
             static_cast<uint32_t>(nValue)});
}

/// Orders for one element after the other. Counts, scale bands and channel numbers lead through a message:
/// one in nStrange is changed, and in a third of the messages more of the bands, of which some end at 0.
void CMessageMaker::Vary(const CModel::SRows& parts, bool bL1C, int nElements, int nStrange) {
  constexpr int RADIANCE = 14046, BAND_ELEMENTS = 30;
  constexpr uint64_t VALUES[] = {0, 1, 5000, SAMPLES, SAMPLES + 1};  // 5000 is the radiance 0
  const int nMissing = OneIn(2) ? 3 : 200, nStrangeBands = OneIn(3) ? 2 : nStrange;
  const int nBands = static_cast<int>(parts.nHeaderEnd), nSpectrumEnd = static_cast<int>(parts.nAvhrr);
  for (int i = 0; i < nElements; ++i) {
    const STemplateField& field = parts.all[i].field;
    const bool bSpectrum = bL1C && i >= nBands && i < nSpectrumEnd;
    const bool bBand = bSpectrum && i < nBands + BAND_ELEMENTS;
    const bool bLeads = field.nCount >= 0 || (bSpectrum && field.nFXY != RADIANCE);
    const int nChanged = !bLeads ? 1 : bBand ? nStrangeBands : nStrange;
    if (nChanged == 0 || !OneIn(nChanged)) continue;
    if (bBand || OneIn(2)) {
      const bool bFixed = OneIn(bBand ? 2 : 8);
      Order(EOrder::REFERENCE, 0, COUNTED | i,
            bFixed ? VALUES[bBand ? 0 : Below(std::size(VALUES))] : m_random());
    }
    if (!OneIn(3))
      Order(EOrder::INCREMENTS, 0, COUNTED | i, m_random());
    else if (OneIn(nMissing))
      Order(EOrder::MISSING, 0, COUNTED | i, 0);
  }
}

void CMessageMaker::Damage() {
  using enum EOrder;
  constexpr EOrder DAMAGES[] = {BITS, DROP, CONSTANT, HEADER,  HEADER, SECTION2,
                                POKE, POKE, CUT,      BETWEEN, REPEAT, DESCRIPTOR};
  constexpr uint64_t LENGTHS[] = {0, 1, 3, 4, 5, 7, 8, 9, 16, 17, 18, 21, 22, 23, 40, 65535, 16777215};
  for (int i = Below(3); i >= 0; --i) {
    const EOrder eOrder = DAMAGES[Below(std::size(DAMAGES))];
    const int nArgument = Below(256), nPlace = Below(OneIn(2) ? 0x200 : 0x10000);
    Order(eOrder, nArgument, nPlace, OneIn(2) ? LENGTHS[Below(std::size(LENGTHS))] : m_random());
  }
}

/// One message; false when it is as the encoder of samples makes them but for the values of elements.
bool CMessageMaker::Message(EKind eKind, const CModel& model, bool bSound) {
  constexpr int L2_VERSIONS[] = {0, 3, 4, 5, 6, 7, 8}, FEW_PIXELS = 12, FEW_SAMPLES = 300;
  const bool bL1C = eKind == EKind::L1C;
  const int nLayout = Below(14), nVersion = bL1C ? 2 - nLayout % 2 : L2_VERSIONS[nLayout % 7];
  // The ranges of places that stand for few, more and many pixels.
  const int nPlace = OneIn(40) ? 0xFF00 + Below(0x100) : OneIn(4) ? 0xF000 + Below(0xF00) : Below(0xF000);
  const int nPixels = 1 + nPlace % (nPlace >= 0xFF00 ? 300 : nPlace >= 0xF000 ? 70 : 8);
  const uint64_t nCounts = OneIn(8) ? m_random() & 7 : 0;
  Order(EOrder::MESSAGE, nLayout, nPlace, nCounts | (m_random() & ~uint64_t{7}));
  const CModel::SRows& parts = model.Rows(nVersion);
  // Most spectra end early, for they take their time, and the messages with them.
  const bool bEnds = bL1C && (nPixels > FEW_PIXELS || !OneIn(8));
  const int nElements =
      static_cast<int>(bEnds ? parts.nHeaderEnd + 30 + 2 * Below(FEW_SAMPLES) : parts.all.size());
  Vary(parts, bL1C, nElements, bSound ? 0 : 10 + Below(400));
  if (bEnds) {
    const int nBytes = 100 + Below(FEW_SAMPLES * (5 + 2 * nPixels));
    Order(OneIn(2) ? EOrder::CUT : EOrder::HEADER, LENGTH4, std::min(nBytes, 0xFFFF), nBytes);
  }
  // Another layout than that of the elements, or none for them, whose header lacks the quality flag of
  // layout 1.
  if (OneIn(20)) {
    Order(EOrder::DESCRIPTOR, !bL1C, OneIn(2) ? 40001 : 40007, 3);
    if (bL1C) Order(EOrder::DROP, 0, COUNTED | (static_cast<int>(parts.nHeaderEnd) - 6), 0);
  }
  if (!bSound) Damage();
  return bEnds || !bSound;
}

std::string CMessageMaker::Make(EKind eKind, const CModel& model, bool& bDamaged) {
  const bool bSound = OneIn(2);
  m_file = CFileProgram(eKind, bSound);
  bDamaged = false;
  for (int i = OneIn(8) ? 3 : 1; i > 0; --i) bDamaged |= Message(eKind, model, bSound);
  return std::string(OneIn(3) ? Below(9) : 0, 'B') + m_file.End();
}
