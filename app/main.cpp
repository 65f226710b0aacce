#include "app/ProcessEntry.h"

int main(int argc, char** argv) {
  return ZelmoraTevra::runProcess(argc, argv);
}
