#include "install/ZipMemorySource.h"

namespace ZelmoraTevra {

std::size_t ZipMemorySource::read(std::uint64_t position, void* buffer, std::size_t size) {
  if (position >= bytes_.size()) return 0;
  return bytes_.copy(static_cast<char*>(buffer), size, static_cast<std::size_t>(position));
}

}  // namespace ZelmoraTevra
