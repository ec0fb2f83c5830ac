#include "sample/MessageProgram.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <tuple>
#include <vector>

#include "sample/BUFREncoder.h"
#include "sample/ProductEncoder.h"
#include "sample/Scene.h"
#include "sample/Template.h"

namespace {

/// How the increments of an element come about: any values, the same with missing ones among them, all
/// missing, or 0, 1, 2 ...
enum class EIncrements : uint8_t { ANY, SOME_MISSING, ALL_MISSING, COUNTED };

uint64_t AllOnes(int nBits) { return nBits >= 64 ? ~uint64_t{0} : (uint64_t{1} << nBits) - 1; }

/// A message of a layout with one value for all pixels in each element, and where the elements begin.
struct SBase {
  SMessageHeader header;
  std::vector<int> arDescriptors;
  std::vector<SFieldValues> arFields;
  std::vector<uint64_t> arWords;   // the bits of section 4
  std::vector<int64_t> arnBitPos;  // of the elements, and the end
};

SBase MakeBase(EKind eKind, int nLayout, const std::vector<int>& arCounts) {
  static CProductEncoder products;
  SEncodeOptions options;
  options.arCounts = arCounts;
  SBase base;
  const std::vector<SSamplePixel> arPixels = {CScene(1, 4, CScene::FIRST_DAY + 3000).Pixel(5000, 40)};
  base.header = products.Encode(eKind, nLayout, arPixels, options, &base.arFields).header;
  const std::string szDescriptors = LayoutDescriptors(eKind, nLayout);
  for (size_t n = 0; n < szDescriptors.size(); n += 7)
    base.arDescriptors.push_back(std::stoi(szDescriptors.substr(n, 6)));
  CBUFREncoder encoder(1);
  for (const SFieldValues& field : base.arFields) {
    base.arnBitPos.push_back(encoder.BitCount());
    encoder.Constant(field.field.nWidth, field.arRaw[0]);
  }
  base.arnBitPos.push_back(encoder.BitCount());
  std::vector<uint8_t> arData = encoder.SectionData();
  arData.resize(arData.size() / 8 * 8 + 16);
  for (size_t n = 0; n < arData.size(); n += 8) {
    uint64_t nWord = 0;
    for (size_t i = 0; i < 8; ++i) nWord = nWord << 8 | arData[n + i];
    base.arWords.push_back(nWord);
  }
  return base;
}

/// The base of a layout, whose replications have their own counts (0) or others.
const SBase& Base(EKind eKind, int nLayout, int nCounts) {
  constexpr int COUNTS[] = {-1, 0, 1, 3, 5, 89, 102, 254};
  static std::map<std::tuple<EKind, int, int>, SBase> bases;
  const int nCount = COUNTS[LayoutCounts(eKind, nLayout).empty() ? 0 : nCounts % 8];
  auto place = bases.find({eKind, nLayout, nCount});
  if (place == bases.end()) {
    const std::vector<int> arCounts(nCount < 0 ? 0 : 2, nCount);
    place = bases.emplace(std::tuple(eKind, nLayout, nCount), MakeBase(eKind, nLayout, arCounts)).first;
  }
  return place->second;
}

void AppendBits(CBUFREncoder& encoder, const SBase& base, int64_t nFrom, int64_t nTo) {
  for (; nFrom < nTo; nFrom += 64) {
    const size_t nWord = static_cast<size_t>(nFrom / 64);
    const int nShift = static_cast<int>(nFrom % 64),
              nBits = static_cast<int>(std::min<int64_t>(64, nTo - nFrom));
    uint64_t nValue = base.arWords[nWord] << nShift;
    if (nShift > 0) nValue |= base.arWords[nWord + 1] >> (64 - nShift);
    encoder.Bits(nValue >> (64 - nBits), nBits);
  }
}

/// One change of one element.
struct SChange {
  int nField;
  size_t nNumber;  // of changes in the order in which they came
  EOrder eOrder;
  uint8_t nArgument;
  uint32_t nValue;
};

}  // namespace

/// The message at hand: a base and its changes.
class CProgramMessage {
 public:
  void Begin(EKind eKind, const SOrder& order, bool bFitting) {
    constexpr int L2_LAYOUTS[] = {0, 3, 4, 5, 6, 7, 8};
    if (order.nArgument >= 0xF0) eKind = static_cast<EKind>(order.nArgument % 6);  // one of another product
    const int nLayout =
        eKind == EKind::L1C ? 2 - order.nArgument % 2 : L2_LAYOUTS[order.nArgument % std::size(L2_LAYOUTS)];
    m_pBase = &Base(eKind, nLayout, order.nValue & 7);
    m_bFitting = bFitting;
    // More than a block or a tile of pixels is rare.
    m_nSubsets = 1 + order.nPlace % (order.nPlace >= 0xFF00 ? 300 : order.nPlace >= 0xF000 ? 70 : 8);
    m_encoder = CBUFREncoder(m_nSubsets);
    m_encoder.header = m_pBase->header;
    const bool bShort = (order.nValue >> 3 & 15) == 15;
    if (bShort) m_encoder.header.nSection1Length = 18;
    if (bShort || (order.nValue >> 7 & 15) == 15) m_encoder.header.nEdition = 3;
    m_arDescriptors = m_pBase->arDescriptors;
    m_arChanges.clear();
    m_arPokes.clear();
    m_nCut = SIZE_MAX;
    m_nTimes = 1;
  }

  void Do(const SOrder& order) {
    switch (order.eOrder) {
      case EOrder::HEADER:
        return Header(order);
      case EOrder::DESCRIPTOR:
        if (order.nArgument & 1) m_arDescriptors.clear();
        return m_arDescriptors.push_back(static_cast<int>(order.nValue % 4 * 100000 + order.nPlace % 64000));
      case EOrder::SECTION2:
        return m_encoder.header.arSection2.assign(1 + order.nArgument, static_cast<uint8_t>(order.nValue));
      case EOrder::POKE:
        return m_arPokes.push_back(order);
      case EOrder::CUT:
        m_nCut = order.nPlace;
        return;
      case EOrder::REPEAT:
        m_nTimes = 2 + order.nArgument % 6;
        return;
      default:
        Change(order);
    }
  }

  void End(std::string& szFile) {
    for (const int n : m_arDescriptors) m_encoder.Descriptor(n / 100000, n / 1000 % 100, n % 1000);
    Encode();
    std::string szMessage = m_encoder.Message();
    for (const SOrder& poke : m_arPokes) {
      // Small places count from the end: the marker there, the last elements.
      const size_t nPlace = poke.nArgument & 0x80 ? szMessage.size() - 1 - poke.nPlace % 64 : poke.nPlace;
      for (size_t i = 0; i < poke.nArgument % 5U; ++i)
        if (nPlace + i < szMessage.size()) szMessage[nPlace + i] = static_cast<char>(poke.nValue >> 8 * i);
    }
    szMessage.resize(std::min(szMessage.size(), m_nCut));
    for (int i = 0; i < m_nTimes; ++i) szFile += szMessage;
  }

 private:
  /// Places up to 255 count from the first element, up to 511 from the last one: between them a spectrum has
  /// 17,000 which are all alike.
  int Field(int nPlace) const {
    const int nFields = static_cast<int>(m_pBase->arFields.size());
    if (nPlace & 0x8000) return (nPlace & 0x7FFF) % nFields;
    nPlace &= 0x1FF;
    return (nPlace < 256 ? nPlace : nFields - 1 - (nPlace - 256) % nFields) % nFields;
  }

  void Change(const SOrder& order) {
    const int nFirst = Field(order.nPlace), nFields = static_cast<int>(m_pBase->arFields.size());
    const bool bMany = order.eOrder != EOrder::REFERENCE && order.eOrder != EOrder::BITS;
    const int nEnd = std::min(nFields, nFirst + (bMany ? 1 + order.nArgument : 1));
    for (int i = nFirst; i < nEnd; ++i)
      m_arChanges.push_back(
          {i, m_arChanges.size(), order.eOrder, order.nArgument, order.nValue + i * 0x01000193U * bMany});
  }

  void Header(const SOrder& order) {
    SMessageHeader& h = m_encoder.header;
    int* const arpNumbers[] = {&m_encoder.nForceSection1Length,
                               &m_encoder.nForceSection2Length,
                               &m_encoder.nForceSection3Length,
                               &m_encoder.nForceSection4Length,
                               &m_encoder.nForceTotalLength,
                               &m_encoder.nForceSubsets,
                               &m_encoder.nForceSubsets,
                               &h.nEdition,
                               &h.nSection1Length,
                               &h.nYear,
                               &h.nMonth,
                               &h.nDay,
                               &h.nHour,
                               &h.nMinute,
                               &h.nSecond,
                               &h.nCentre};
    constexpr int YEAR = 9, SUBSETS = 5, SECTION1_LENGTH = 8;
    const size_t n = order.nArgument % std::size(arpNumbers);
    int nValue = static_cast<int>(order.nValue & (n < SUBSETS ? 0xFFFFFF : 0xFF));
    if (n == YEAR) nValue += 2000 - 128;
    if (n == SECTION1_LENGTH) nValue = 17 + nValue % 16;
    // A number of subsets that the data do not hold; the largest ones seldom, for they take their time.
    if (n == SUBSETS && order.nPlace >= 0xFFFE) nValue = order.nPlace;
    if (n == SUBSETS + 1) nValue = order.nPlace % 1024;
    *arpNumbers[n] = nValue;
  }

  void Encode() {
    std::sort(m_arChanges.begin(), m_arChanges.end(), [](const SChange& a, const SChange& b) {
      return std::tie(a.nField, a.nNumber) < std::tie(b.nField, b.nNumber);
    });
    int64_t nDone = 0;
    for (auto change = m_arChanges.begin(); change != m_arChanges.end();) {
      const int nField = change->nField;
      const auto end =
          std::find_if(change, m_arChanges.end(), [=](const SChange& c) { return c.nField != nField; });
      AppendBits(m_encoder, *m_pBase, nDone, m_pBase->arnBitPos[nField]);
      Element(m_pBase->arFields[nField], change, end);
      nDone = m_pBase->arnBitPos[nField + 1];
      change = end;
    }
    AppendBits(m_encoder, *m_pBase, nDone, m_pBase->arnBitPos.back());
  }

  template <class TChange>
  void Element(const SFieldValues& values, TChange change, TChange end) {
    const int nWidth = values.field.nWidth;
    auto nReference = values.IsMissing(0) ? AllOnes(nWidth) : static_cast<uint64_t>(values.arRaw[0]);
    const SChange* pIncrements = nullptr;
    bool bDropped = false;
    for (; change != end; ++change) {
      if (change->eOrder == EOrder::REFERENCE) nReference = change->nValue;
      if (change->eOrder == EOrder::MISSING) nReference = ~uint64_t{0};
      if (change->eOrder == EOrder::INCREMENTS) pIncrements = &*change;
      if (change->eOrder == EOrder::CONSTANT || change->eOrder == EOrder::MISSING) pIncrements = nullptr;
      if (change->eOrder == EOrder::BITS) m_encoder.Bits(change->nValue, change->nArgument % 33);
      bDropped |= change->eOrder == EOrder::DROP;
    }
    if (bDropped) return;
    if (pIncrements)
      Increments(nWidth, nReference, pIncrements->nValue);
    else
      m_encoder.Element(nWidth, nReference, 0, {});
  }

  /// Width and values of the increments come from a number. A width that is not the element's is rare.
  void Increments(int nElement, uint64_t nReference, uint32_t nSeed) {
    const uint64_t nHash = SampleHash(nSeed & 0xFFFF, nSeed >> 16);
    const auto eIncrements = static_cast<EIncrements>(nHash >> 8 & 3);
    const int nAny = static_cast<int>(nHash & 63);
    const int nWidth = !m_bFitting && (nHash >> 16 & 31) == 0 ? nAny : nAny % (std::min(nElement, 62) + 1);
    m_arIncrements.resize(m_nSubsets);
    for (size_t i = 0; i < m_arIncrements.size(); ++i) {
      const uint64_t nValue = SampleHash(nHash, i);
      const bool bMissing = eIncrements == EIncrements::ALL_MISSING ||
                            (eIncrements == EIncrements::SOME_MISSING && (nValue >> 32 & 3) == 0);
      m_arIncrements[i] = bMissing ? ~uint64_t{0} : eIncrements == EIncrements::COUNTED ? i : nValue;
    }
    m_encoder.Element(nElement, nReference, nWidth, m_arIncrements);
  }

  const SBase* m_pBase = nullptr;
  bool m_bFitting = false;
  int m_nSubsets = 1;
  CBUFREncoder m_encoder{1};
  std::vector<int> m_arDescriptors;
  std::vector<SChange> m_arChanges;
  std::vector<SOrder> m_arPokes;
  std::vector<uint64_t> m_arIncrements;
  size_t m_nCut = SIZE_MAX;
  int m_nTimes = 1;
};

namespace {
CProgramMessage maker;  // of the message at hand; its storage stays
}

bool CProgram::Next(SOrder& order) {
  if (m_nBytes < sizeof(SOrder)) return false;
  std::memcpy(&order, m_pBytes, sizeof(SOrder));
  order.eOrder = static_cast<EOrder>(static_cast<int>(order.eOrder) % static_cast<int>(EOrder::ORDERS));
  m_pBytes += sizeof(SOrder);
  m_nBytes -= sizeof(SOrder);
  return true;
}

void CFileProgram::Do(const SOrder& order) {
  if (order.eOrder >= EOrder::NEW_FILE) return;
  constexpr size_t ENOUGH = 20'000;  // bytes: one message with spectra, or some of the others
  if (m_szBytes.size() > ENOUGH) return;
  if (order.eOrder == EOrder::MESSAGE || !m_bOpen) {
    EndMessage();
    maker.Begin(m_eKind, order.eOrder == EOrder::MESSAGE ? order : SOrder{}, m_bFitting);
    m_bOpen = true;
  }
  if (order.eOrder == EOrder::BETWEEN) {
    EndMessage();
    const char* pValue = reinterpret_cast<const char*>(&order.nValue);
    for (int i = 0; i <= order.nArgument % 4; ++i) m_szBytes.append(pValue, 4);
    return;
  }
  if (order.eOrder != EOrder::MESSAGE) maker.Do(order);
}

void CFileProgram::EndMessage() {
  if (m_bOpen) maker.End(m_szBytes);
  m_bOpen = false;
}

const std::string& CFileProgram::End() {
  EndMessage();
  return m_szBytes;
}

size_t MutateProgram(uint8_t* pBytes, size_t nBytes, size_t nMax, size_t nHeader, uint64_t nSeed) {
  constexpr size_t SIZE = sizeof(SOrder);
  const auto random = [&nSeed](uint64_t nLimit) {
    nSeed = SampleHash(nSeed, 1);
    return nLimit == 0 ? 0 : nSeed % nLimit;
  };
  if (nBytes < nHeader) return nBytes;
  const size_t nOrders = (nBytes - nHeader) / SIZE;
  uint8_t* const pAt = pBytes + nHeader + SIZE * random(nOrders);
  const size_t nBehind = static_cast<size_t>(pBytes + nHeader + SIZE * nOrders - pAt);
  const auto change = [&](uint8_t* p) {
    // A field of the order anew, one bit of it, or a small step.
    const size_t nByte = random(SIZE);
    switch (random(4)) {
      case 0:
        p[nByte] = static_cast<uint8_t>(random(nByte == 0 ? static_cast<uint64_t>(EOrder::ORDERS) : 256));
        break;
      case 1:
        p[nByte] ^= static_cast<uint8_t>(1 << random(8));
        break;
      case 2:
        p[nByte] = static_cast<uint8_t>(p[nByte] + random(9) - 4);
        break;
      default:
        for (size_t i = 4; i < SIZE; ++i) p[i] = static_cast<uint8_t>(random(256));
    }
  };
  switch (nOrders == 0 ? 0 : random(8)) {
    case 0:  // a new one
    case 1:  // the same twice, one of them changed
      if (nHeader + SIZE * (nOrders + 1) > nMax) break;
      std::memmove(pAt + SIZE, pAt, nBehind);
      if (nOrders == 0 || random(2) == 0)
        for (size_t i = 0; i < SIZE; ++i)
          pAt[i] = static_cast<uint8_t>(random(i == 0 ? static_cast<uint64_t>(EOrder::ORDERS) : 256));
      else
        change(pAt);
      return nHeader + SIZE * (nOrders + 1);
    case 2:  // left out
      std::memmove(pAt, pAt + SIZE, nBehind - SIZE);
      return nHeader + SIZE * (nOrders - 1);
    case 3: {  // two change places
      uint8_t* const pOther = pBytes + nHeader + SIZE * random(nOrders);
      std::swap_ranges(pAt, pAt + (pAt == pOther ? 0 : SIZE), pOther);
      return nHeader + SIZE * nOrders;
    }
    case 4:  // the options in front
      if (nHeader > 0) pBytes[random(nHeader)] ^= static_cast<uint8_t>(1 << random(8));
      break;
    default:
      change(pAt);
  }
  return nHeader + SIZE * nOrders;
}
