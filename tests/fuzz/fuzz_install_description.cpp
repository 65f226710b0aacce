// An install description is parsed, or refused with a report.
#include <exception>
#include <string_view>

#include "install/InstallXml.h"
#include "tests/fuzz/FuzzMachine.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  try {
    InstallXml description;
    static_cast<void>(description.load(toWide(std::string_view(reinterpret_cast<const char*>(data), size))));
  } catch (const std::exception&) {
  }
  return 0;
}
