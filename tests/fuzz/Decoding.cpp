#include "Decoding.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "MemoryFiles.h"
#include "app/ConfigParam.h"
#include "extract/Format.h"
#include "extract/Kind.h"
#include "kernel/Cpu.h"
#include "output/FileSink.h"
#include "output/InputFiles.h"
#include "output/Record.h"
#include "output/RecordSink.h"
#include "output/RunResult.h"
#include "output/StreamWriter.h"
#include "prod/Prod.h"
#include "prod/ProdL1C.h"
#include "reader/Reader.h"
#include "stat/StatAccumulator.h"
#include "stat/StatSet.h"

namespace {

/// The first byte.
enum EOption { FORMAT = 3, AVHRR = 4, SPECTRA = 8, FILTERS = 16, TEMPERATURE = 32, PORTABLE = 64, FEW = 128 };
/// The second byte; the last three are of statistics.
enum EMore {
  BIG_ENDIAN_ORDER = 1,
  MORE_CHANNELS = 2,
  FOUR_MOMENTS = 4,
  HISTOGRAMS = 8,
  POSITIONS = 16,
  MORE = 31
};

/// The many files of statistics by surface and period are left to whole runs.
void ConfigureStatistics(CConfigParam& config, unsigned nMore) {
  config.bSkewnessKurtosis = nMore & FOUR_MOMENTS;
  config.fReferenceTemperature = 280;
  config.bBoxStat = nMore & POSITIONS;
  config.nBoxStatLatitudes = 3;
  config.nBoxStatLongitudes = 5;
  if (!(nMore & HISTOGRAMS)) return;
  config.arHistos[HISTO_LAT] = {true, -90, 90, 7};
  config.arHistos[HISTO_CLOUD] = {true, 0, 100, 7};
}

void Configure(CConfigParam& config, unsigned nOptions, unsigned nMore, int nProduct) {
  constexpr int FORMATS[] = {CConfigParam::FORMAT_BIN, CConfigParam::FORMAT_TXT, CConfigParam::FORMAT_TXTSTAT,
                             CConfigParam::FORMAT_BIN};
  config.nFormat = FORMATS[nOptions & FORMAT];
  config.bAvhrr = nOptions & AVHRR;
  config.bBrightnessTemperature = nOptions & TEMPERATURE;
  config.bBigEndian = nMore & BIG_ENDIAN_ORDER;
  const auto add = [&](int nMin, int nMax) { config.arChannels.Add(new CValueRange(nMin, nMax)); };
  if (nOptions & SPECTRA && nProduct == PRODUCT_L1C) {
    // At both ends of the archive and beyond, and across the end of a band.
    add(-2, 12);
    add(3338, 3342);
    add(8458, 8465);
    if (nMore & MORE_CHANNELS && config.nFormat != CConfigParam::FORMAT_TXTSTAT) add(100, 259);
  }
  if (nOptions & FILTERS) {
    config.nMaxCloudAmount = 60;
    config.landFraction = {true, 0, 90};
    config.arbQuality[0] = true;
    config.fMinLatitude = -60;
    config.nSkip = 1;
  }
  if (nOptions & FEW) config.nMaxResults = 5;
  if (nProduct == PRODUCT_L1C)
    config.bAvhrr |= config.arChannels.Count() == 0;  // without either, no L1C would be asked for
  else
    config.arbL2[nProduct] = true;
  if (config.nFormat == CConfigParam::FORMAT_TXTSTAT) ConfigureStatistics(config, nMore);
}

constexpr char INPUT[] = "/in", OUTPUT[] = "/out";

/// What reads one product and keeps it, as a run has it.
struct SStream {
  explicit SStream(int nProduct)
      : pProd(KIND_TABLE[nProduct].pMakeRecord()), pReader(KIND_TABLE[nProduct].pMakeReader()) {
    // A run stops at the end of its files, whose mark is the first that a record would hold without this.
    if (nProduct == PRODUCT_L1C) static_cast<CProdL1C&>(*pProd).InitFirstL1(1, CChannelSelection::LIMIT);
  }
  std::unique_ptr<CProd> pProd;
  std::unique_ptr<CReader> pReader;
};

/// The parameters of a run, and the sink of a format that writes each record at once. That has nothing from
/// the run before.
struct SSetup {
  SSetup(unsigned nOptions, unsigned nMore, int nProduct) {
    Configure(config, nOptions, nMore, nProduct);
    channels = config.Channels();
    arFiles.AddString(INPUT, false);
    pFileSink = MakeSink();
    if (!dynamic_cast<CFileSink*>(pFileSink.get())) pFileSink.reset();
  }
  std::unique_ptr<CRecordSink> MakeSink() const {
    return Formats()[static_cast<size_t>(config.nFormat - 1)].pMakeSink(config, channels);
  }
  CConfigParam config;
  CChannelSelection channels;
  CStrArray arFiles;
  std::unique_ptr<CRecordSink> pFileSink;  // null: one for each run
};

SSetup& Setup(unsigned nOptions, unsigned nMore, int nProduct) {
  static std::map<std::tuple<unsigned, unsigned, int>, std::unique_ptr<SSetup>> setups;
  auto& pSetup = setups[{nOptions & ~PORTABLE, nMore & MORE, nProduct}];
  if (!pSetup) pSetup = std::make_unique<SSetup>(nOptions, nMore, nProduct);
  return *pSetup;
}

/// Reads all messages and has put(record) take what is kept of them.
template <class TPut>
void EachRecord(SSetup& setup, SStream& stream, int nProduct, TPut put) {
  constexpr int MESSAGES = 16, RECORDS = 12;  // enough to meet every kind of value, whatever a message claims
  CReader& reader = *stream.pReader;
  const CProd& prod = *stream.pProd;
  reader.PixelsRead = reader.PixelsSelected = reader.PixelsSkipped = reader.FileIndex = 0;
  reader.FileOpen = false;
  uint64_t nMissingFlags = 0;
  bool bDayOneSeen = false;
  const CReader::SRead read = {&setup.config,
                               &setup.arFiles,
                               stream.pProd.get(),
                               CChannelSelection::LIMIT,
                               setup.channels.Given() ? &setup.channels : nullptr,
                               &nMissingFlags,
                               &bDayOneSeen};
  for (int i = 0; i < MESSAGES && reader.Read(read); ++i)
    for (int j = 0, nPut = 0; j < prod.PixelCount && nPut < RECORDS; ++j) {
      if (!prod.KeepPixel[j]) continue;
      ++nPut;
      SRecordView record;
      record.arPixels[nProduct] = {&prod, j};
      put(record);
    }
}

/// The files of statistics take more time than all else: without bFiles pixels are only taken into them.
void Run(SSetup& setup, SStream& stream, int nProduct, bool bFiles) {
  constexpr int SATELLITE = 4;
  if (auto* pSink = static_cast<CFileSink*>(setup.pFileSink.get())) {
    static CStreamWriter writer;
    writer.Open(OUTPUT, setup.config.bBigEndian);
    pSink->PutHeader(writer, SATELLITE);
    EachRecord(setup, stream, nProduct, [&](const SRecordView& record) { pSink->PutRecord(writer, record); });
    writer.Close();
    return;
  }
  bool arbActive[PRODUCTS] = {};
  arbActive[nProduct] = true;
  if (!bFiles) {
    const int nColumns = setup.channels.Columns();
    CRunResult result;
    CStatSet set(setup.config, nColumns, arbActive, OUTPUT, result);
    CStatAccumulator accumulator(nColumns);
    EachRecord(setup, stream, nProduct, [&](const SRecordView& record) {
      const auto& [pProd, nPixel] = record.arPixels[nProduct];
      accumulator.Add(set, nProduct, *pProd, nPixel);
    });
    return;
  }
  const auto pSink = setup.MakeSink();
  CInputFiles inputs;
  CRunResult result;
  pSink->Open(OUTPUT, inputs, result);
  pSink->Begin(arbActive);
  pSink->WriteHeader(0, SATELLITE);
  EachRecord(setup, stream, nProduct, [&](const SRecordView& record) { pSink->Write(0, record); });
  pSink->End();
  pSink->Close();
}

}  // namespace

void Decode(const SDecoding& decoding, const std::string& szFile) {
  static std::unique_ptr<SStream> arpKept[PRODUCTS];
  const auto [nOptions, nMore, nProduct] = decoding;
  SSetup& setup = Setup(nOptions, nMore, nProduct);
  if (!arpKept[nProduct]) arpKept[nProduct] = std::make_unique<SStream>(nProduct);
  CMemoryFiles& files = EmptyFiles();
  files.File(INPUT) = szFile;
  SetWideKernels(!(nOptions & PORTABLE));
  const bool bFresh = std::hash<std::string>()(szFile) % 16 == 0;
  Run(setup, *arpKept[nProduct], nProduct, bFresh);
  if (!bFresh) return;
  const std::string szFirst = files.File(OUTPUT);
  SetWideKernels((nOptions & PORTABLE) != 0);
  arpKept[nProduct] = std::make_unique<SStream>(nProduct);
  Run(setup, *arpKept[nProduct], nProduct, bFresh);
  if (szFirst != files.File(OUTPUT)) {
    std::fputs("Kept objects, or the other kernels, write other bytes\n", stderr);
    std::abort();
  }
}
