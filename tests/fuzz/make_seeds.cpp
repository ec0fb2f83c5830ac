// Writes inputs from which the fuzz targets start: make_seeds DIR fills DIR/l1c and DIR/l2 with a message of
// every kind in every layout, plain, with missing values, twice in a file, and with an odd replication count.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "sample/ProductEncoder.h"
#include "sample/Scene.h"

namespace {

/// Options of the input (see FuzzProduct.cpp), the file, and for L2 the kind.
void WriteSeed(const std::filesystem::path& folder, EKind eKind, const std::string& szName,
               const std::string& szMessages) {
  int nOptions = 1 | 2;  // imager and spectra
  for (const char c : szName) nOptions ^= (c * 37 & 0x7F) & ~3;
  std::ofstream out(folder / (std::string(KindName(eKind)) + szName), std::ios::binary);
  out << static_cast<char>(nOptions) << szMessages;
  if (eKind != EKind::L1C) out << static_cast<char>(static_cast<int>(eKind) - 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: make_seeds DIR\n", stderr);
    return 1;
  }
  const CScene scene(1, 4, CScene::FIRST_DAY + 3000);
  std::vector<SSamplePixel> arPixels;
  for (int i = 0; i < 3; ++i) arPixels.push_back(scene.Pixel(5000 + i, 40 * i));
  CProductEncoder encoder;
  for (const EKind eKind : arKinds) {
    const auto folder = std::filesystem::path(argv[1]) / (eKind == EKind::L1C ? "l1c" : "l2");
    std::filesystem::create_directories(folder);
    for (int nLayout = 0; nLayout <= 8; ++nLayout) {
      if (LayoutDescriptors(eKind, nLayout).empty()) continue;
      const std::string szLayout = std::to_string(nLayout);
      SEncodeOptions options;
      options.nEdition = nLayout % 2 == 0 ? 4 : 3;
      if (eKind != EKind::L1C) options.nEdition = nLayout == 0 ? 3 : 4;
      const std::string szPlain = encoder.Encode(eKind, nLayout, arPixels, options).Message();
      WriteSeed(folder, eKind, szLayout, szPlain);
      options.bMissing = true;
      WriteSeed(folder, eKind, szLayout + "missing",
                encoder.Encode(eKind, nLayout, arPixels, options).Message());
      const std::vector<SSamplePixel> arOne(arPixels.begin(), arPixels.begin() + 1);
      const std::string szOne = encoder.Encode(eKind, nLayout, arOne, options).Message();
      WriteSeed(folder, eKind, szLayout + "one", szOne);
      if (eKind == EKind::L1C) continue;
      WriteSeed(folder, eKind, szLayout + "twice", szPlain + "\r\r\n" + szOne);
      if (LayoutCounts(eKind, nLayout).empty()) continue;
      options.arCounts = {7, 7};
      WriteSeed(folder, eKind, szLayout + "count",
                encoder.Encode(eKind, nLayout, arPixels, options).Message());
    }
  }
  return 0;
}
