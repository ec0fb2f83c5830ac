#include <cstdio>

#include "app/VexApp.h"

int main(int argc, char** argv) {
  // A long run may write to a log: every line is there as soon as it ends, also when the run is killed.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  CVexApp app;
  return app.Main(argc, argv);
}
