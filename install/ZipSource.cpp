#include "install/ZipSource.h"

namespace ZelmoraTevra {

std::size_t ZipSource::read(std::uint64_t position, void* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const std::size_t count = at(position + done).copy(static_cast<char*>(buffer) + done, size - done);
    if (count == 0) break;
    done += count;
  }
  return done;
}

}  // namespace ZelmoraTevra
