#pragma once

#include <cstddef>
#include <cstdint>

namespace ZelmoraTevra {

// The bytes of a zip archive, wherever they lie.
class ZipSource {
 public:
  virtual ~ZipSource() = default;

  // In bytes.
  [[nodiscard]] virtual std::uint64_t size() const = 0;
  // Gives the number of bytes read: fewer than `size` only at the end and after a failure.
  [[nodiscard]] virtual std::size_t read(std::uint64_t position, void* buffer, std::size_t size) = 0;
};

}  // namespace ZelmoraTevra
