// The first entry of an archive in memory is unpacked, to no more than a text can have, or the archive is
// refused.
#include <string>

#include "install/UpdateZipExtractor.h"
#include "tests/fuzz/Must.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  constexpr std::size_t maximalTextSize = std::size_t{32} << 20;
  std::string text = "from before";
  const int result = UpdateZipExtractor::unpackFirstEntryInMemory(data, size, text);
  must(result <= 0 && text.size() <= maximalTextSize && text != "from before");
  // What was unpacked whole has the checksum that the archive states: it is the same each time.
  std::string again;
  must(UpdateZipExtractor::unpackFirstEntryInMemory(data, size, again) == result && again == text);
  return 0;
}
