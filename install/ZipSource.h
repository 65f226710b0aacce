#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ZelmoraTevra {

// The bytes of a zip archive, wherever they lie.
class ZipSource {
 public:
  static constexpr std::uint64_t unknown = UINT64_MAX;

  virtual ~ZipSource() = default;

  // In bytes.
  [[nodiscard]] virtual std::uint64_t size() const = 0;
  // The bytes from a position on, as many as lie together: at least one, but none at the end and after a
  // failure. They stay where they are until the next call. `wanted` is how many bytes the caller goes on to
  // use from there, if it knows: a source that has to fetch them need not fetch more.
  [[nodiscard]] virtual std::string_view at(std::uint64_t position, std::uint64_t wanted = unknown) = 0;

  // Gives the number of bytes read: fewer than `size` only at the end and after a failure.
  [[nodiscard]] std::size_t read(std::uint64_t position, void* buffer, std::size_t size);
};

}  // namespace ZelmoraTevra
