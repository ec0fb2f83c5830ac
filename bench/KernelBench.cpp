// Parts of the road of one pixel, each by itself: an element, the spectra of a message, a record.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "app/ConfigParam.h"
#include "bufr/BUFRReaderL1C.h"
#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "output/BinarySink.h"
#include "output/FileSink.h"
#include "output/Record.h"
#include "output/StreamWriter.h"
#include "output/TextSink.h"
#include "prod/ChannelSelection.h"
#include "prod/Column.h"
#include "prod/ProdL1C.h"
#include "prod/ProductKind.h"
#include "sample/BUFREncoder.h"
#include "sample/Layouts.h"
#include "sample/ProductEncoder.h"
#include "sample/SampleArchive.h"

namespace {

constexpr int PIXELS = 120;

/// One decoded L1C message of the sample archive.
struct SMessage {
  CBUFRReaderL1C decoder;
  CProdL1C prod;
  std::vector<char> arMask = std::vector<char>(CBUFRReaderL1C::CHANNELS, 0);
  CConfigParam config;

  explicit SMessage(int nChannels) {
    SSampleOptions options;
    const auto arPixels = SamplePixels(options, EKind::L1C, 0, 0);
    const auto szPath = std::filesystem::temp_directory_path() / "vex_bench_message.bufr";
    CProductEncoder encoder;
    std::ofstream(szPath, std::ios::binary) << encoder.Encode(EKind::L1C, 2, arPixels, {}).Message();
    std::fill_n(arMask.begin(), nChannels, 1);
    config.arChannels.Add(new CValueRange(1, nChannels));
    decoder.Open(szPath.c_str());
    decoder.GoToNextMessage();
    decoder.ReadMessageSections();
    decoder.Close();
    prod.InitFirstL1(decoder.nSubsets, CBUFRReaderL1C::CHANNELS);
    decoder.InterpretFirstLevel(&prod);
    std::fill_n(prod.KeepPixel.Write(), PIXELS, uint8_t{1});
    prod.InitKept();
    decoder.UpdateL1Spectrum(&prod, arMask.data());
  }
};

/// Increments of one element, 120 pixels; range(0): width in bits, range(1): wide kernels.
void BM_UnpackElement(benchmark::State& state) {
  const int nWidth = static_cast<int>(state.range(0));
  std::vector<uint8_t> arData(PIXELS * 4 + UNPACK_PADDING + 1, 0x5A);
  std::vector<int32_t> arOut(PIXELS);
  SetWideKernels(state.range(1) != 0);
  for (auto _ : state) {
    UnpackRaw(arData.data(), 3, nWidth, PIXELS, -5000, arOut.data());
    benchmark::DoNotOptimize(arOut.data());
  }
  SetWideKernels(true);
  state.SetItemsProcessed(state.iterations() * PIXELS);
}
BENCHMARK(BM_UnpackElement)->ArgsProduct({{6, 10, 14}, {0, 1}});

void BM_FirstLevel(benchmark::State& state) {
  SMessage message(1);
  for (auto _ : state) message.decoder.InterpretFirstLevel(&message.prod);
  state.SetItemsProcessed(state.iterations() * PIXELS);
}
BENCHMARK(BM_FirstLevel);

/// Spectra of one message; items are radiances.
void BM_Spectra(benchmark::State& state) {
  const int nChannels = static_cast<int>(state.range(0));
  SMessage message(nChannels);
  for (auto _ : state) message.decoder.UpdateL1Spectrum(&message.prod, message.arMask.data());
  state.SetItemsProcessed(state.iterations() * PIXELS * nChannels);
}
BENCHMARK(BM_Spectra)->Arg(10)->Arg(100)->Arg(8461);

/// One record to /dev/null; range(0): brightness temperatures, range(1): text.
void BM_Record(benchmark::State& state) {
  SMessage message(8461);
  message.config.bBrightnessTemperature = state.range(0) != 0;
  const CChannelSelection channels = message.config.Channels();
  std::unique_ptr<CFileSink> pSink = std::make_unique<CBinarySink>(message.config, channels);
  if (state.range(1) != 0) pSink = std::make_unique<CTextSink>(message.config, channels);
  CStreamWriter writer;
  writer.Open("/dev/null", false);
  SRecordView record;
  record.arPixels[PRODUCT_L1C].pProd = &message.prod;
  for (auto _ : state) {
    pSink->PutRecord(writer, record);
    int& nPixel = record.arPixels[PRODUCT_L1C].nPixel;
    nPixel = (nPixel + 1) % PIXELS;
  }
  state.SetItemsProcessed(state.iterations() * 8461);
}
BENCHMARK(BM_Record)->ArgsProduct({{0, 1}, {0, 1}});

}  // namespace
