#include "app/ProcessEntry.h"
#include "platform/StandardStreams.h"

int main(int argc, char** argv) {
  ZelmoraTevra::platform::openMissingStandardStreams();
  return ZelmoraTevra::runProcess(argc, argv);
}
