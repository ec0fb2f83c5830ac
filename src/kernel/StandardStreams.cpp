#include "kernel/StandardStreams.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace {

/// A process may be started with closed standard streams. The first file opened would then be one of them,
/// and get what is meant for standard output.
void OpenStandardStreams() {
  constexpr int STREAMS = 3;
  for (int i = 0; i < STREAMS; ++i) {
    if (fcntl(i, F_GETFD) >= 0 || errno != EBADF) continue;
    // The lowest free descriptor, which is this one, for a device or, where there is none, for what is always
    // there.
    if (open("/dev/null", O_RDWR) < 0) open("/", O_RDONLY);
  }
}

/// What would end the process is a write that fails, and the others go on.
void IgnoreSignals() {
  std::signal(SIGPIPE, SIG_IGN);  // a pipe, which standard output may be as well, whose reader has left
#if defined(SIGXFSZ)
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow any more
#endif
}

}  // namespace

void CStandardStreams::Prepare() {
  OpenStandardStreams();
  IgnoreSignals();
  // A long run may write to a log: every line is there as soon as it ends, also when the run is killed.
  static char s_arBuffer[BUFSIZ];
  std::setvbuf(stdout, s_arBuffer, _IOLBF, sizeof s_arBuffer);
}
