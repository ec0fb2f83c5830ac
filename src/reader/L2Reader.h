#pragma once

#include "kernel/Reporter.h"
#include "reader/Reader.h"

/// Reader of one L2 kind. TKind gives the record (Record), the decoder (Decoder), the record's sizing (Init)
/// and what is particular:
///   LastDescriptor   the last data descriptor, by which a message of the kind is known
///   CHECK_KIND       false: messages of other kinds are not told apart
///   OTHER_KIND       what is said of a message of another kind
///   FIRST_LEVEL      what is said of a header that cannot be decoded
template <class TKind>
class TL2Reader : public CReader {
 public:
  using Record = typename TKind::Record;

  TL2Reader() { m_decoder.bBlankUndecoded = true; }

  using CReader::Read;
  int Read(CConfigParam* pConfig, CStrArray* pFiles, Record* pProd, uint64_t* pMissingFlags) {
    return CReader::Read({pConfig, pFiles, pProd, 0, nullptr, pMissingFlags, nullptr});
  }

 protected:
  CBUFRReader& Decoder() override { return m_decoder; }

  bool AcceptMessage(const SRead&) override {
    const bool bKind = m_decoder.descriptors.EndsWith(TKind::LastDescriptor());
    const bool bData = m_decoder.nDataSize > 0;
    if (bData && (bKind || !TKind::CHECK_KIND)) return true;
    if (!bData) CReporter::Text("\nProbleme taille message BUFR");
    if (!bKind) CReporter::Text(TKind::OTHER_KIND);
    return false;
  }

  void InitRecord(const SRead& read, int nSubsets) override { TKind::Init(Mine(read.pProd), nSubsets); }
  int InterpretFirstLevel(CProd* pProd) override { return m_decoder.InterpretFirstLevel(Mine(pProd)); }
  const char* FirstLevelMessage() const override { return TKind::FIRST_LEVEL; }
  void Update(const SRead& read) override { m_decoder.UpdateL2(Mine(read.pProd)); }

 private:
  static Record* Mine(CProd* pProd) { return static_cast<Record*>(pProd); }

  typename TKind::Decoder m_decoder;
};
