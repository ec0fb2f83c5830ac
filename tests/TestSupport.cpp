#include "TestSupport.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

CTempDir::CTempDir() {
  std::string szTemplate = (fs::temp_directory_path() / "vextestXXXXXX").string();
  m_szPath = mkdtemp(szTemplate.data());
}

CTempDir::~CTempDir() {
  std::error_code ignored;
  fs::remove_all(m_szPath, ignored);
}

std::string CTempDir::Path(const std::string& szName) const {
  return szName.empty() ? m_szPath : m_szPath + "/" + szName;
}

std::string CTempDir::Write(const std::string& szName, const std::string& szBytes) const {
  const fs::path path = Path(szName);
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << szBytes;
  return path.string();
}

SRun RunProgram(const std::string& szProgram, const std::vector<std::string>& arArguments,
                rlim_t nMegabytes) {
  constexpr int CAP_SECONDS = 100;  // far more than any of the runs takes
  CTempDir dir;
  const std::string szOut = dir.Path("stdout"), szErr = dir.Path("stderr");
  const pid_t pid = fork();
  if (pid == 0) {
    std::vector<char*> arArgv{const_cast<char*>(szProgram.c_str())};
    for (const auto& szArgument : arArguments) arArgv.push_back(const_cast<char*>(szArgument.c_str()));
    arArgv.push_back(nullptr);
    dup2(open(szOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open(szErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    alarm(CAP_SECONDS);
    const rlimit space = {nMegabytes << 20, nMegabytes << 20};
    if (nMegabytes > 0) setrlimit(RLIMIT_AS, &space);
    execvp(szProgram.c_str(), arArgv.data());
    _exit(127);
  }
  int nStatus = 0;
  rusage usage{};
  wait4(pid, &nStatus, 0, &usage);
  return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus), ReadWholeFile(szOut),
          ReadWholeFile(szErr), usage.ru_maxrss / 1024};
}

SRun RunVex(const std::vector<std::string>& arArguments) { return RunProgram(VEX_BINARY, arArguments); }

std::string ReadWholeFile(const std::string& szPath) {
  std::ifstream file(szPath, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

int CountOf(const std::string& szText, const std::string& szPattern) {
  int nCount = 0;
  for (size_t n = szText.find(szPattern); n != std::string::npos; n = szText.find(szPattern, n + 1)) ++nCount;
  return nCount;
}
