#include "app/VexApp.h"
#include "kernel/StandardStreams.h"

int main(int argc, char** argv) {
  CStandardStreams::Prepare();
  return CVexApp::Start(argc, argv);
}
