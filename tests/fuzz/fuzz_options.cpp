// The command line, an argument a line, and the configuration file, behind an empty line.

#include <cstdint>
#include <string>
#include <vector>

#include "MemoryFiles.h"
#include "app/VexApp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  const std::string szInput(pBytes, pBytes + nBytes);
  std::vector<std::string> arTexts = {"vex"};
  size_t nAt = 0;
  while (nAt < szInput.size() && szInput[nAt] != '\n') {
    const size_t nEnd = std::min(szInput.find('\n', nAt), szInput.size());
    arTexts.push_back(szInput.substr(nAt, nEnd - nAt));
    nAt = nEnd + 1;
  }
  EmptyFiles().File("cfg") = nAt < szInput.size() ? szInput.substr(nAt + 1) : "";
  CVexApp().InterpretParams(static_cast<int>(arTexts.size()), Arguments(arTexts).data());
  return 0;
}
