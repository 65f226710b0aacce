#pragma once

#include <array>
#include <memory>

#include "core/File_platformIndependent.h"
#include "install/ZipSource.h"

namespace ZelmoraTevra {

// An archive on disk. The zip library reads its records byte by byte and goes back and forth between an
// entry's data and the archive's directory: two windows on the file, one for each, let it do so with few
// reads of the disk. Entries that are read one behind the other come in whole windows, one elsewhere comes
// alone.
class ZipFileSource : public ZipSource {
 public:
  explicit ZipFileSource(const WideText& path);

  [[nodiscard]] bool open();

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  [[nodiscard]] std::string_view at(std::uint64_t position, std::uint64_t wanted) override;

 private:
  struct Window {
    std::uint64_t start = 0;
    std::size_t length = 0;
    std::unique_ptr<char[]> bytes;

    [[nodiscard]] std::uint64_t end() const { return start + length; }
    [[nodiscard]] bool holds(std::uint64_t position) const { return position >= start && position < end(); }
  };

  [[nodiscard]] Window& windowFor(std::uint64_t position);
  void fill(Window& window, std::uint64_t start, std::uint64_t size);

  File_platformIndependent file_;
  std::uint64_t size_ = 0;
  std::uint64_t filePosition_ = 0;  // where the file's next read begins
  std::array<Window, 2> windows_;
  std::size_t latest_ = 0;  // the window that was used last
};

}  // namespace ZelmoraTevra
