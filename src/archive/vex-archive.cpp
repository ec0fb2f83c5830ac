#include "archive/ArchiveApp.h"
#include "kernel/StandardStreams.h"

int main(int argc, char** argv) {
  CStandardStreams::Prepare();
  return CArchiveApp::Start(argc, argv);
}
