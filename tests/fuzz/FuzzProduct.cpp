#include "FuzzProduct.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "bufr/BUFRReaderL1C.h"
#include "extract/Kind.h"
#include "kernel/Cpu.h"

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

void WriteKept(CWriter& writer, const CConfigParam& config, int nKind, const CProd& prod, bool bText) {
  const SKind& kind = KIND_TABLE[nKind];
  constexpr int RECORDS = 40;  // enough to meet every kind of value, whatever number of subsets is claimed
  for (int i = 0, nWritten = 0; i < prod.PixelCount && nWritten < RECORDS; ++i) {
    if (!prod.KeepPixel[i]) continue;
    ++nWritten;
    bool bCommon = false, bL2 = false;
    const auto* pL2 = nKind >= FIRST_L2 ? static_cast<const CProdL2*>(&prod) : nullptr;
    if (bText) {
      writer.WriteOutputTextAll(&config, &prod, i, &bCommon);
      if (pL2) writer.WriteOutputTextL2(pL2, i, &bL2);
      kind.pWriteText(writer, &config, prod, i);
    } else {
      writer.WriteOutputBinAll(&prod, i, &bCommon);
      if (pL2) writer.WriteOutputBinL2(pL2, i, &bL2);
      kind.pWriteBin(writer, &config, prod, i);
    }
  }
}

}  // namespace

void FuzzProduct(int nKind, const uint8_t* pBytes, size_t nBytes) {
  if (nBytes < 2) return;
  const unsigned nOptions = pBytes[0];
  const SKind& kind = KIND_TABLE[nKind];
  const CMemoryFile file(pBytes + 1, nBytes - 1);
  SetWideKernels(!(nOptions & PORTABLE));
  CConfigParam config;
  Configure(config, nOptions);

  char arMask[CBUFRReaderL1C::CHANNELS] = {};
  for (int i = 0; i < config.arChannels.Count(); ++i)
    for (int n = std::max(config.arChannels[i]->nMin, 1); n <= config.arChannels[i]->nMax; ++n)
      if (n <= CBUFRReaderL1C::CHANNELS) arMask[n - 1] = 1;

  CStrArray arFiles;
  arFiles.AddString(file.Path().c_str(), false);
  CWriter writer;
  writer.Open("/dev/null", nOptions & TEMPERATURE);
  const auto pProd = kind.pMakeRecord();
  const auto pReader = kind.pMakeReader();
  uint64_t nMissingFlags = 0;
  bool bDayOneSeen = false;
  constexpr int MESSAGES = 16;
  for (int i = 0; i < MESSAGES; ++i) {
    if (!pReader->Read({&config, &arFiles, pProd.get(), CBUFRReaderL1C::CHANNELS,
                        nOptions & SPECTRA ? arMask : nullptr, &nMissingFlags, &bDayOneSeen}))
      break;
    WriteKept(writer, config, nKind, *pProd, nOptions & TEXT);
  }
  writer.Close();
}
