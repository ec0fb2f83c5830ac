#include "archive/FileScan.h"

#include <cstring>
#include <new>

#include "bufr/DescriptorList.h"
#include "bufr/StreamReader.h"
#include "kernel/Reporter.h"
#include "prod/Prod.h"

namespace {

/// PRODUCTS: none that is known.
EProduct ProductOf(const CBUFRReader& message) {
  const CDescriptorList& descriptors = message.descriptors;
  if (descriptors.Count() == 1 && message.nDataVersion > 0) return PRODUCT_L1C;
  for (int i = FIRST_L2; i < PRODUCTS; ++i) {
    const SProductKind& kind = PRODUCT_KINDS[i];
    if (descriptors.EndsWith({kind.nF, kind.nX, kind.nY})) return kind.eProduct;
  }
  return PRODUCTS;
}

}  // namespace

std::string CFileScan::Refusal(const SFileFacts& facts) {
  if (!facts.szUnread.empty()) return facts.szUnread;
  if (facts.eProduct != PRODUCTS && facts.first.time.IsKnown()) return "";
  if (!facts.szDamage.empty()) return facts.szDamage;
  if (facts.eProduct == PRODUCTS) {
    if (facts.nBytes == 0) return "empty file";
    return facts.nOtherMessages > 0 ? "BUFR messages, but of no known product" : "no BUFR message";
  }
  return "no pixel has a time";
}

SFileFacts CFileScan::Scan(const std::string& szPath, bool bWhole) {
  const CReportCapture silent;  // what decoders say of messages is for runs of vex
  m_facts = {};
  m_szPath = szPath;
  m_arnOffsets.clear();
  try {
    if (m_reader.Open(szPath.c_str())) {
      m_facts.nBytes = m_reader.stream.Remaining();
      Walk(bWhole);
      if (bWhole) FindLast();
    }
    if (const int nError = m_reader.stream.Error()) m_facts.szUnread = std::strerror(nError);
  } catch (const std::bad_alloc&) {
    m_facts.szUnread = "not enough memory for its messages";
  }
  if (m_bDecoderOpen) m_arpDecoders[m_facts.eProduct]->Close();
  m_bDecoderOpen = false;
  m_reader.Close();
  return m_facts;
}

void CFileScan::Walk(bool bWhole) {
  while (m_reader.GoToNextMessage()) {
    const int64_t nOffset = m_reader.stream.Position();
    const bool bGood = m_reader.SkipMessage();
    if (m_reader.stream.Failed()) return;
    if (!bGood) NoteDamage(nOffset, m_reader.stream.Remaining() == 0);
    if (bGood || ProductOf(m_reader) != PRODUCTS) TakeMessage(nOffset);
    if (!bWhole && m_facts.first.time.IsKnown()) return;
  }
}

void CFileScan::TakeMessage(int64_t nOffset) {
  const EProduct eProduct = ProductOf(m_reader);
  if (m_facts.eProduct == PRODUCTS) m_facts.eProduct = eProduct;
  if (eProduct == PRODUCTS || eProduct != m_facts.eProduct) {
    ++m_facts.nOtherMessages;
    return;
  }
  ++m_facts.nMessages;
  m_facts.nPixels += m_reader.nSubsets;
  m_arnOffsets.push_back(nOffset);
  if (!m_facts.first.time.IsKnown()) FindFirst(nOffset);
}

void CFileScan::NoteDamage(int64_t nOffset, bool bCut) {
  if (!m_facts.szDamage.empty()) return;
  m_facts.szDamage = bCut ? "cut short: the file ends within the message at byte "
                          : "damaged: no end marker 7777 where it belongs in the message at byte ";
  m_facts.szDamage += std::to_string(nOffset);
}

/// Null when the file cannot be opened again.
CFirstLevel* CFileScan::Decoder() {
  std::unique_ptr<CFirstLevel>& pDecoder = m_arpDecoders[m_facts.eProduct];
  if (!pDecoder) pDecoder = CFirstLevel::Make(m_facts.eProduct);
  if (!m_bDecoderOpen) m_bDecoderOpen = pDecoder->Open(m_szPath.c_str());
  return m_bDecoderOpen ? pDecoder.get() : nullptr;
}

void CFileScan::FindFirst(int64_t nOffset) {
  CFirstLevel* pDecoder = Decoder();
  const CProd* pProd = pDecoder ? pDecoder->Decode(nOffset) : nullptr;
  for (int i = 0; pProd && i < pProd->PixelCount; ++i) {
    const CInstant time(*pProd, i);
    if (!time.IsKnown()) continue;
    m_facts.first = {time, pProd->SatelliteIdentifier[i], pProd->ScanLineNumber[i],
                     pProd->FieldOfViewNumber[i]};
    return;
  }
}

void CFileScan::FindLast() {
  if (!m_facts.first.time.IsKnown()) return;  // then no message has a time
  for (auto pOffset = m_arnOffsets.rbegin(); pOffset != m_arnOffsets.rend(); ++pOffset) {
    CFirstLevel* pDecoder = Decoder();
    const CProd* pProd = pDecoder ? pDecoder->Decode(*pOffset) : nullptr;
    for (int i = pProd ? pProd->PixelCount : 0; i-- > 0;) {
      m_facts.last = CInstant(*pProd, i);
      if (m_facts.last.IsKnown()) return;
    }
  }
}
