// A target without a fuzzer, for compilers that have none and for coverage: runs it on the files of its
// arguments and of the folders among them, and with --seconds N for so long on mutations of these. An input
// that it did not come back from is in the file last-input.

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* pnArguments, char*** parArguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t*, size_t, size_t, unsigned) __attribute__((weak));

#if defined(VEX_FUZZ_MEMORY)
#include <bits/stl_tree.h>
#include <sanitizer/msan_interface.h>

#include <charconv>

// MemorySanitizer knows of no value that the C++ library itself has written. Its templates are made anew for
// it (see CMakeLists.txt), and of what is left two functions write to memory of ours: that for a new node of
// a set or map, and that for the text of a real. `nm -u` on a target tells whether there are more.
#define REAL(name) __real_##name
#define WRAP(name) __wrap_##name
#define TREE_INSERT(prefix) prefix(_ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_)
#define TO_CHARS(prefix) prefix(_ZSt8to_charsPcS_dSt12chars_formati)
extern "C" {
using TNode = std::_Rb_tree_node_base;
void TREE_INSERT(REAL)(bool bLeft, TNode* pNew, TNode* pParent, TNode& header);
void TREE_INSERT(WRAP)(bool bLeft, TNode* pNew, TNode* pParent, TNode& header) {
  TREE_INSERT(REAL)(bLeft, pNew, pParent, header);
  __msan_unpoison(pNew, sizeof(TNode));
}
std::to_chars_result TO_CHARS(REAL)(char* pFirst, char* pLast, double fValue, std::chars_format, int nDigits);
std::to_chars_result TO_CHARS(WRAP)(char* pFirst, char* pLast, double fValue, std::chars_format eFormat,
                                    int nDigits) {
  __msan_check_mem_is_initialized(&fValue, sizeof fValue);
  const std::to_chars_result result = TO_CHARS(REAL)(pFirst, pLast, fValue, eFormat, nDigits);
  __msan_unpoison(pFirst, static_cast<size_t>(result.ptr - pFirst));
  return result;
}
}
#endif

namespace {

using TInput = std::vector<uint8_t>;

/// Files by the system's own calls: MemorySanitizer does not see what the C++ library reads.
void AddFile(const std::string& szPath, std::vector<TInput>& arInputs) {
  const int nFile = open(szPath.c_str(), O_RDONLY);
  TInput& input = arInputs.emplace_back(size_t{1} << 16);
  input.resize(static_cast<size_t>(std::max<ssize_t>(0, read(nFile, input.data(), input.size()))));
  close(nFile);
}

void Add(const std::string& szPath, std::vector<TInput>& arInputs) {
  DIR* const pFolder = opendir(szPath.c_str());
  if (!pFolder) return AddFile(szPath, arInputs);
  while (const dirent* pEntry = readdir(pFolder))
    if (pEntry->d_name[0] != '.') AddFile(szPath + "/" + pEntry->d_name, arInputs);
  closedir(pFolder);
}

/// Copies, so that a sanitizer sees a step beyond the end.
void Run(const TInput& input) {
  const TInput copy(input.begin(), input.end());
  LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

/// A few steps away from an input.
TInput Mutated(const std::vector<TInput>& arInputs, std::mt19937& random) {
  constexpr size_t SIZE_MAX_BYTES = 4096;
  TInput input = arInputs[random() % arInputs.size()];
  size_t nSize = input.size();
  input.resize(std::max(nSize, SIZE_MAX_BYTES));
  for (auto nSteps = 1 + random() % 6; nSteps > 0; --nSteps) {
    const auto nSeed = static_cast<unsigned>(random());
    if (LLVMFuzzerCustomMutator)
      nSize = LLVMFuzzerCustomMutator(input.data(), nSize, input.size(), nSeed);
    else if (nSize > 0)
      input[nSeed % nSize] = static_cast<uint8_t>(random());
  }
  input.resize(nSize);
  return input;
}

double Seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Returns the number of runs.
int64_t RunRandom(const std::vector<TInput>& arInputs, double fUntil) {
  std::mt19937 random(std::random_device{}());
  int64_t nRuns = 0;
  const int nLast = open("last-input", O_RDWR | O_CREAT | O_TRUNC, 0666);
  for (; Seconds() < fUntil; ++nRuns) {
    const TInput input = Mutated(arInputs, random);
    if (ftruncate(nLast, 0) != 0 || pwrite(nLast, input.data(), input.size(), 0) < 0) return nRuns;
    Run(input);
  }
  close(nLast);
  unlink("last-input");
  return nRuns;
}

}  // namespace

int main(int nArguments, char** arArguments) {
  std::vector<TInput> arInputs;
  double fSeconds = 0;
  for (int i = 1; i < nArguments; ++i) {
    const std::string szArgument = arArguments[i];
    if (szArgument == "--seconds" && i + 1 < nArguments)
      fSeconds = std::atof(arArguments[++i]);
    else
      Add(szArgument, arInputs);
  }
  if (arInputs.empty()) {
    std::fputs("usage: fuzz_... [--seconds N] FILE|FOLDER...\n", stderr);
    return 2;
  }
  LLVMFuzzerInitialize(&nArguments, &arArguments);
  const double fStart = Seconds();
  const std::clock_t nStart = std::clock();
  for (const TInput& input : arInputs) Run(input);
  const int64_t nRuns = static_cast<int64_t>(arInputs.size()) + RunRandom(arInputs, fStart + fSeconds);
  std::fprintf(stderr, "%lld executions, %.0f a second of processor time\n", static_cast<long long>(nRuns),
               static_cast<double>(nRuns) * CLOCKS_PER_SEC / static_cast<double>(std::clock() - nStart));
  return 0;
}
