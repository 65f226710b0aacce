// Whatever stands in the argument is either decoded into fields or refused.
#include <string_view>

#include "app/JobArgument.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view argument(reinterpret_cast<const char*>(data), size);
  if (const auto text = ZelmoraTevra::decodeJobArgument(argument))
    static_cast<void>(ZelmoraTevra::splitJobArgument(*text));
  return 0;
}
