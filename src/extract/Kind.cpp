#include "extract/Kind.h"

#include "reader/L1Reader.h"
#include "reader/L2ReaderClp.h"
#include "reader/L2ReaderEms.h"
#include "reader/L2ReaderOzo.h"
#include "reader/L2ReaderTrg.h"
#include "reader/L2ReaderTwt.h"

namespace {

template <class TRecord>
std::unique_ptr<CProd> MakeRecord() {
  return std::make_unique<TRecord>();
}

template <class TReader>
std::unique_ptr<CReader> MakeReader() {
  return std::make_unique<TReader>();
}

template <auto WRITE>
struct SWrite;

/// Calls a block writer of CWriter for a record of any kind.
template <class TRecord, void (CWriter::*WRITE)(const TRecord*, int)>
struct SWrite<WRITE> {
  static void Call(CWriter& writer, const CConfigParam*, const CProd& prod, int nPixel) {
    (writer.*WRITE)(static_cast<const TRecord*>(&prod), nPixel);
  }
};

template <class TRecord, void (CWriter::*WRITE)(const CConfigParam*, const TRecord*, int)>
struct SWrite<WRITE> {
  static void Call(CWriter& writer, const CConfigParam* pConfig, const CProd& prod, int nPixel) {
    (writer.*WRITE)(pConfig, static_cast<const TRecord*>(&prod), nPixel);
  }
};

template <void (CWriter::*WRITE)()>
struct SWrite<WRITE> {
  static void Call(CWriter& writer, const CConfigParam*) { (writer.*WRITE)(); }
};

template <void (CWriter::*WRITE)(const CConfigParam*)>
struct SWrite<WRITE> {
  static void Call(CWriter& writer, const CConfigParam* pConfig) { (writer.*WRITE)(pConfig); }
};

template <auto WRITE>
constexpr auto Call = &SWrite<WRITE>::Call;

using W = CWriter;

}  // namespace

const SKind KIND_TABLE[PRODUCTS] = {
    {MakeRecord<CProdL1C>, MakeReader<CL1Reader>, L1C_BLOCK, Call<&W::WriteOutputBinL1>,
     Call<&W::WriteOutputBinL1Missing>, Call<&W::WriteOutputTextL1>, Call<&W::WriteOutputTextL1Missing>},
    {MakeRecord<CProdL2ozo>, MakeReader<CL2ReaderOzo>, OZO_BLOCK, Call<&W::WriteOutputBinOzo>,
     Call<&W::WriteOutputBinOzoMissing>, Call<&W::WriteOutputTextOzo>, Call<&W::WriteOutputTextOzoMissing>},
    {MakeRecord<CProdL2trg>, MakeReader<CL2ReaderTrg>, TRG_BLOCK, Call<&W::WriteOutputBinTrg>,
     Call<&W::WriteOutputBinTrgMissing>, Call<&W::WriteOutputTextTrg>, Call<&W::WriteOutputTextTrgMissing>},
    {MakeRecord<CProdL2clp>, MakeReader<CL2ReaderClp>, CLP_BLOCK, Call<&W::WriteOutputBinClp>,
     Call<&W::WriteOutputBinClpMissing>, Call<&W::WriteOutputTextClp>, Call<&W::WriteOutputTextClpMissing>},
    {MakeRecord<CProdL2twt>, MakeReader<CL2ReaderTwt>, TWT_BLOCK, Call<&W::WriteOutputBinTwt>,
     Call<&W::WriteOutputBinTwtMissing>, Call<&W::WriteOutputTextTwt>, Call<&W::WriteOutputTextTwtMissing>},
    {MakeRecord<CProdL2ems>, MakeReader<CL2ReaderEms>, EMS_BLOCK, Call<&W::WriteOutputBinEms>,
     Call<&W::WriteOutputBinEmsMissing>, Call<&W::WriteOutputTextEms>, Call<&W::WriteOutputTextEmsMissing>},
};
