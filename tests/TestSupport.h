#pragma once

#include <sys/resource.h>

#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
constexpr bool MEASURED = false;  // time and memory are those of the instrumentation
#elif defined(__has_feature)
constexpr bool MEASURED = !__has_feature(address_sanitizer) && !__has_feature(memory_sanitizer);
#else
constexpr bool MEASURED = true;
#endif

/// What tests that are skipped say: why, and how to run them.
constexpr char NO_WIDE_KERNELS[] = "no wide kernels here; run this on an x86-64 processor with AVX2 and FMA";
constexpr char NO_ECCODES[] =
    "ecCodes' tools are not installed; to run this: apt-get install libeccodes-tools";

/// A directory of its own for one test, removed with everything in it.
class CTempDir {
 public:
  CTempDir();
  CTempDir(const CTempDir&) = delete;
  CTempDir& operator=(const CTempDir&) = delete;
  ~CTempDir();

  /// Full path of a name inside the directory ("" gives the directory itself).
  std::string Path(const std::string& szName = "") const;
  /// Writes a file inside the directory, making the folders on the way, and returns its full path.
  std::string Write(const std::string& szName, const std::string& szBytes) const;

 private:
  std::string m_szPath;
};

struct SRun {
  int nStatus = -1;      // exit status, or 128 + signal number
  std::string szOutput;  // everything on standard output
  std::string szErrors;  // everything on standard error
  long nMegabytes = 0;   // most memory that was in use
};

/// Runs a program with the given arguments (no shell) to its end, which an alarm brings about if it hangs. It
/// may have nMegabytes of address space; 0: all there is.
SRun RunProgram(const std::string& szProgram, const std::vector<std::string>& arArguments,
                rlim_t nMegabytes = 0);
/// Runs the vex binary under test.
SRun RunVex(const std::vector<std::string>& arArguments);

std::string ReadWholeFile(const std::string& szPath);

/// Counts the places, overlapping ones included, where a text occurs.
int CountOf(const std::string& szText, const std::string& szPattern);
