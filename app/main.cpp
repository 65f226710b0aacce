#include "app/ProcessEntry.h"
#include "platform/StandardStreams.h"

int main(int argc, char** argv) {
  ZelmoraTevra::platform::prepareStandardStreams();
  return ZelmoraTevra::runProcess(argc, argv);
}
