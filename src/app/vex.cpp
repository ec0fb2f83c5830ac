#include <csignal>
#include <cstdio>

#include "app/VexApp.h"

int main(int argc, char** argv) {
  // A long run may write to a log: every line is there as soon as it ends, also when the run is killed.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
#if defined(SIGXFSZ)
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow any more is a write that fails, not the end
#endif
  CVexApp app;
  return app.Main(argc, argv);
}
