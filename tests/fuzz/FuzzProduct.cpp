#include "FuzzProduct.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "app/ConfigParam.h"
#include "extract/Kind.h"
#include "kernel/Cpu.h"
#include "output/BinarySink.h"
#include "output/Record.h"
#include "output/StreamWriter.h"
#include "output/TextSink.h"
#include "prod/Prod.h"
#include "reader/Reader.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) ? 0 : 1;  // the decoders report on standard output
}

namespace {

/// What the first byte of an input asks for.
enum EOption { AVHRR = 1, SPECTRA = 2, PORTABLE = 4, TEXT = 8, FILTERS = 16, FEW = 32, TEMPERATURE = 64 };

/// An input file without a trace on disk.
class CMemoryFile {
 public:
  CMemoryFile(const uint8_t* pBytes, size_t nBytes) : m_fd(memfd_create("fuzz", 0)) {
    for (ssize_t nDone = 0; nBytes > 0 && nDone >= 0; pBytes += nDone, nBytes -= static_cast<size_t>(nDone))
      nDone = write(m_fd, pBytes, nBytes);
  }
  CMemoryFile(const CMemoryFile&) = delete;
  CMemoryFile& operator=(const CMemoryFile&) = delete;
  ~CMemoryFile() { close(m_fd); }
  std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

 private:
  int m_fd;
};

void Configure(CConfigParam& config, unsigned nOptions) {
  config.bAvhrr = nOptions & AVHRR;
  config.bBrightnessTemperature = nOptions & TEMPERATURE;
  if (nOptions & SPECTRA) {
    // Within a band, across a band's end, at both ends of the archive and beyond.
    for (const auto& [nMin, nMax] : {std::pair{-2, 40}, {1990, 2010}, {5000, 5000}, {8440, 9000}})
      config.arChannels.Add(new CValueRange(nMin, nMax));
  }
  if (nOptions & FILTERS) {
    config.nMaxCloudAmount = 60;
    config.landFraction = {true, 0, 90};
    config.arbQuality[0] = true;
    config.fMinLatitude = -60;
    config.nSkip = 1;
  }
  if (nOptions & FEW) config.nMaxResults = 20;
}

void WriteKept(CFileSink& sink, CStreamWriter& writer, int nProduct, const CProd& prod) {
  constexpr int RECORDS = 40;  // enough to meet every kind of value, whatever number of subsets is claimed
  for (int i = 0, nWritten = 0; i < prod.PixelCount && nWritten < RECORDS; ++i) {
    if (!prod.KeepPixel[i]) continue;
    ++nWritten;
    SRecordView record;
    record.arPixels[nProduct] = {&prod, i};
    sink.PutRecord(writer, record);
  }
}

}  // namespace

void FuzzProduct(int nProduct, const uint8_t* pBytes, size_t nBytes) {
  if (nBytes < 2) return;
  const unsigned nOptions = pBytes[0];
  const CMemoryFile file(pBytes + 1, nBytes - 1);
  SetWideKernels(!(nOptions & PORTABLE));
  CConfigParam config;
  Configure(config, nOptions);
  if (nProduct == PRODUCT_L1C)
    config.bAvhrr |= config.arChannels.Count() == 0;  // without either, no L1C would be asked for
  else
    config.arbL2[nProduct] = true;

  CStrArray arFiles;
  arFiles.AddString(file.Path().c_str(), false);
  const CChannelSelection channels = config.Channels();
  std::unique_ptr<CFileSink> pSink = std::make_unique<CBinarySink>(config, channels);
  if (nOptions & TEXT) pSink = std::make_unique<CTextSink>(config, channels);
  CStreamWriter writer;
  writer.Open("/dev/null", nOptions & TEMPERATURE);
  const auto pProd = KIND_TABLE[nProduct].pMakeRecord();
  const auto pReader = KIND_TABLE[nProduct].pMakeReader();
  uint64_t nMissingFlags = 0;
  bool bDayOneSeen = false;
  constexpr int MESSAGES = 16;
  for (int i = 0; i < MESSAGES; ++i) {
    if (!pReader->Read({&config, &arFiles, pProd.get(), CChannelSelection::LIMIT,
                        channels.Given() ? &channels : nullptr, &nMissingFlags, &bDayOneSeen}))
      break;
    WriteKept(*pSink, writer, nProduct, *pProd);
  }
  writer.Close();
}
