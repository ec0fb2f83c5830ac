// The command line, an argument a line, and the configuration file, behind an empty line.

#include <cstdint>
#include <string>
#include <vector>

#include "Decoding.h"
#include "MemoryFiles.h"
#include "app/VexApp.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Silence();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  static CMemoryFiles files;
  static const CFileSystemScope scope(files);
  const std::string szInput(pBytes, pBytes + nBytes);
  std::vector<std::string> arTexts = {"vex"};
  size_t nAt = 0;
  while (nAt < szInput.size() && szInput[nAt] != '\n') {
    const size_t nEnd = std::min(szInput.find('\n', nAt), szInput.size());
    arTexts.push_back(szInput.substr(nAt, nEnd - nAt));
    nAt = nEnd + 1;
  }
  files.Clear();
  files.File("cfg") = nAt < szInput.size() ? szInput.substr(nAt + 1) : "";
  std::vector<char*> arArguments;
  for (std::string& szText : arTexts) arArguments.push_back(szText.data());
  arArguments.push_back(nullptr);
  CVexApp().InterpretParams(static_cast<int>(arTexts.size()), arArguments.data());
  return 0;
}
