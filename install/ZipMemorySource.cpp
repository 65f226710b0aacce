#include "install/ZipMemorySource.h"

namespace ZelmoraTevra {

std::string_view ZipMemorySource::at(std::uint64_t position, std::uint64_t) {
  if (position >= bytes_.size()) return {};
  return bytes_.substr(static_cast<std::size_t>(position));
}

}  // namespace ZelmoraTevra
