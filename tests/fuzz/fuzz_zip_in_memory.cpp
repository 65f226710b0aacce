// The first entry of an archive in memory is unpacked, or the archive is refused.
#include <string>

#include "install/UpdateZipExtractor.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  std::string text;
  static_cast<void>(ZelmoraTevra::UpdateZipExtractor::unpackFirstEntryInMemory(data, size, text));
  return 0;
}
