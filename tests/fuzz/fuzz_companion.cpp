// The companion of a partial download matches its package's digest or doesn't.
#include <exception>
#include <string>

#include "install/CompanionFile.h"
#include "tests/fuzz/FuzzMachine.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  machine.files.contents[u"\\work\\a.zip_INCOMPLETE.xml"] =
      std::string(reinterpret_cast<const char*>(data), size);
  try {
    static_cast<void>(companionMatches(u"\\work\\a.zip_INCOMPLETE.xml", u"9E107D9D372BB6826BD81D3542A419D6"));
  } catch (const std::exception&) {
  }
  return 0;
}
