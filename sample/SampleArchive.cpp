#include "sample/SampleArchive.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "sample/BUFREncoder.h"
#include "sample/ProductEncoder.h"
#include "sample/Scene.h"

namespace {

namespace fs = std::filesystem;

constexpr int PIXELS_PER_DAY = CScene::LINES_PER_DAY * CScene::PIXELS_PER_LINE;

std::chrono::year_month_day FirstDate(const SSampleOptions& options) {
  return std::chrono::year{options.nYear} / options.nMonth / options.nDay;
}

int FirstDay(const SSampleOptions& options) {
  return static_cast<int>(std::chrono::sys_days{FirstDate(options)}.time_since_epoch().count());
}

int Files(const SSampleOptions& options) {
  return (options.nMessages + options.nMessagesPerFile - 1) / options.nMessagesPerFile;
}

// Scan lines that one file covers.
int LinesPerFile(const SSampleOptions& options) {
  const int64_t nPixels =
      static_cast<int64_t>(options.nPixels) * std::min(options.nMessages, options.nMessagesPerFile);
  return static_cast<int>((nPixels + CScene::PIXELS_PER_LINE - 1) / CScene::PIXELS_PER_LINE);
}

// Each file has an equal share of the day's scan lines. Where in it a file begins decides what a small
// archive shows: here two files of a few lines hold a coast and land under snow, one by day, one by night.
int FirstLine(const SSampleOptions& options, int nFile) {
  const int nShare = CScene::LINES_PER_DAY / Files(options);
  const int nStart = options.nFirstLine >= 0 ? options.nFirstLine : (nShare - LinesPerFile(options)) * 7 / 11;
  return nFile * nShare + nStart;
}

template <typename... TArgs>
std::string Format(const char* szFormat, TArgs... args) {
  char szBuffer[160];
  std::snprintf(szBuffer, sizeof szBuffer, szFormat, args...);
  return szBuffer;
}

std::string Stamp(const SSamplePixel& p) {
  return Format("%04d%02d%02d%02d%02d%02dZ", p.nYear, p.nMonth, p.nDay, p.nHour, p.nMinute,
                p.nMilliseconds / 1000);
}

std::string FileName(const SSampleOptions& options, EKind eKind, const SSamplePixel& first,
                     const SSamplePixel& last) {
  const int nPlatform = options.nSatellite == 4 ? 2 : options.nSatellite == 3 ? 1 : 3;
  std::string szKind = KindName(eKind);
  std::transform(szKind.begin(), szKind.end(), szKind.begin(),
                 [](char c) { return static_cast<char>(c - 32); });
  const bool bL1C = eKind == EKind::L1C;
  return Format("IASI_%s_%s_M%02d_%s_%s.%s", bL1C ? "xxx" : szKind.c_str(), bL1C ? "1C" : "02", nPlatform,
                Stamp(first).c_str(), Stamp(last).c_str(), bL1C ? "l1_bufr" : "l2_bufr");
}

bool WriteFile(const fs::path& path, const std::string& szBytes, std::string& szError) {
  std::error_code error;
  if (!path.parent_path().empty()) fs::create_directories(path.parent_path(), error);
  if (error) {
    szError = "cannot make folder " + path.parent_path().string() + ": " + error.message();
    return false;
  }
  errno = 0;
  std::FILE* pFile = std::fopen(path.c_str(), "wb");
  bool bWritten = pFile != nullptr && std::fwrite(szBytes.data(), 1, szBytes.size(), pFile) == szBytes.size();
  const int nWriteError = errno;
  if (pFile != nullptr && std::fclose(pFile) != 0) bWritten = false;
  if (!bWritten)
    szError = "cannot write " + path.string() + ": " + std::strerror(nWriteError != 0 ? nWriteError : errno);
  return bWritten;
}

// One file of one kind: the messages nFirst to nLast - 1 of a day, in one tree or two.
bool WriteProductFile(CProductEncoder& encoder, const fs::path& root, const SSampleOptions& options,
                      EKind eKind, int nDay, int nFirst, std::string& szError) {
  const int nLast = std::min(nFirst + options.nMessagesPerFile, options.nMessages);
  SEncodeOptions how;
  how.nEdition = options.nEdition;
  how.bMissing = options.bMissing;
  how.nSeed = options.nSeed;
  std::string szBytes;
  SSamplePixel first, last;
  for (int nMessage = nFirst; nMessage < nLast; ++nMessage) {
    const std::vector<SSamplePixel> arPixels = SamplePixels(options, eKind, nDay, nMessage);
    if (arPixels.empty()) continue;
    if (szBytes.empty()) first = arPixels.front();
    last = arPixels.back();
    const int nLayout = SampleLayout(options, eKind, arPixels.front());
    szBytes += encoder.Encode(eKind, nLayout, arPixels, how).Message();
  }
  if (szBytes.empty()) return true;
  const bool bL1C = eKind == EKind::L1C;
  const std::string szName = FileName(options, eKind, first, last);
  const fs::path day =
      fs::path(Format("%04d", first.nYear)) / Format("%02d", first.nMonth) / Format("%02d", first.nDay);
  const fs::path folder = bL1C ? root / "L1C" / day : root / "L2" / day / KindName(eKind);
  if (!WriteFile(folder / szName, szBytes, szError)) return false;
  return bL1C || !options.bIndep || WriteFile(root / "L2indep" / KindName(eKind) / szName, szBytes, szError);
}

void AppendBig(std::string& szBytes, int64_t nValue, int nBytes) {
  for (int n = nBytes - 1; n >= 0; --n) szBytes.push_back(static_cast<char>((nValue >> (8 * n)) & 0xFF));
}

}  // namespace

std::string CheckSampleOptions(const SSampleOptions& options) {
  if (!FirstDate(options).ok() || options.nYear > 2060 || FirstDay(options) < CScene::FIRST_DAY) {
    return "the first date must be one from 2006-10-19 to 2060";
  }
  if (options.nDays < 1 || options.nDays > 3660) return "the days must be 1 to 3660";
  if (options.nMessages < 1 || options.nMessagesPerFile < 1) return "there must be messages";
  if (options.nPixels < 1 || options.nPixels > 960) return "the pixels of a message must be 1 to 960";
  if (static_cast<int64_t>(Files(options)) * LinesPerFile(options) > CScene::LINES_PER_DAY) {
    return Format("a day has only %d pixels", PIXELS_PER_DAY);
  }
  if (FirstLine(options, Files(options) - 1) + LinesPerFile(options) > CScene::LINES_PER_DAY) {
    return "the day ends before the last file does: start earlier";
  }
  if (options.nSatellite < 1 || options.nSatellite > 1022) return "the satellite must be 1 to 1022";
  if (options.nLayout != 1 && options.nLayout != 2) return "the layout of L1C must be 1 or 2";
  if (options.nEdition != 3 && options.nEdition != 4) return "the edition must be 3 or 4";
  if (options.nL2Version != -1 && LayoutDescriptors(EKind::TRG, options.nL2Version).empty()) {
    return "the L2 version must be 0 or 3 to 8";
  }
  if (options.nEdition == 3 && options.nL2Version > 0) return "edition 3 can carry L2 version 0 only";
  return {};
}

std::vector<SSamplePixel> SamplePixels(const SSampleOptions& options, EKind eKind, int nDay, int nMessage) {
  const CScene scene(options.nSeed, options.nSatellite, FirstDay(options));
  const uint64_t nGaps = SampleHash(options.nSeed + 77, static_cast<uint64_t>(eKind));
  const int nFirstLine =
      nDay * CScene::LINES_PER_DAY + FirstLine(options, nMessage / options.nMessagesPerFile);
  const int64_t nFirst = static_cast<int64_t>(nMessage % options.nMessagesPerFile) * options.nPixels;
  std::vector<SSamplePixel> arPixels;
  if (options.bGaps &&
      SampleHash(nGaps, static_cast<uint64_t>(nDay) * 65536 + static_cast<uint64_t>(nMessage)) % 8 == 0) {
    return arPixels;
  }
  for (int64_t n = nFirst; n < nFirst + options.nPixels; ++n) {
    const SSamplePixel pixel =
        scene.Pixel(nFirstLine + n / CScene::PIXELS_PER_LINE, static_cast<int>(n % CScene::PIXELS_PER_LINE));
    if (!options.bGaps || SampleHash(nGaps, pixel.nHash) % 12 != 0) arPixels.push_back(pixel);
  }
  return arPixels;
}

int SampleLayout(const SSampleOptions& options, EKind eKind, const SSamplePixel& first) {
  if (eKind == EKind::L1C) return options.nLayout;
  if (options.nEdition == 3) return 0;
  if (options.nL2Version >= 0) return options.nL2Version;
  return L2VersionOf(
      {first.nYear, first.nMonth, first.nDay, first.nHour, first.nMinute, first.nMilliseconds / 1000});
}

std::string SampleGrid() {
  std::string szBytes;
  for (int nRow = 1; nRow <= 1080; ++nRow) {
    std::string szPairs;
    for (int nColumn = 1; nColumn <= 2160; ++nColumn) {
      const double fLongitude = nColumn <= 1080 ? nColumn / 6.0 : nColumn / 6.0 - 360;
      const double fElevation = CScene::Elevation(90 + 1 / 12.0 - nRow / 6.0, fLongitude);
      if (fElevation < -200) continue;
      AppendBig(szPairs, nColumn, 2);
      AppendBig(szPairs, static_cast<int64_t>(std::floor(fElevation)), 2);
    }
    const int64_t nLength = static_cast<int64_t>(szPairs.size()) + 2;
    AppendBig(szBytes, nLength, 4);
    AppendBig(szBytes, static_cast<int64_t>(szPairs.size() / 4), 2);
    szBytes += szPairs;
    AppendBig(szBytes, nLength, 4);
  }
  return szBytes;
}

bool WriteSampleArchive(const std::string& szPath, const SSampleOptions& options, std::string& szError) {
  szError = CheckSampleOptions(options);
  if (!szError.empty()) return false;
  CProductEncoder encoder;
  for (int nDay = 0; nDay < options.nDays; ++nDay) {
    for (const EKind eKind : arKinds) {
      if (!options.arKinds[static_cast<size_t>(eKind)]) continue;
      for (int nFirst = 0; nFirst < options.nMessages; nFirst += options.nMessagesPerFile) {
        if (!WriteProductFile(encoder, szPath, options, eKind, nDay, nFirst, szError)) return false;
      }
    }
  }
  return !options.bGrid || WriteFile(fs::path(szPath) / "land_sea_alti_map.dat", SampleGrid(), szError);
}
