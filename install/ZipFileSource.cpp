#include "install/ZipFileSource.h"

#include <algorithm>

namespace ZelmoraTevra {

namespace {

constexpr std::uint64_t windowSize = 128 * 1024;  // bytes
constexpr std::uint64_t pageSize = 4096;

}  // namespace

ZipFileSource::ZipFileSource(const WideText& path) : file_(path) {
  for (Window& window : windows_) window.bytes = std::make_unique_for_overwrite<char[]>(windowSize);
}

bool ZipFileSource::open() {
  if (!file_.open()) return false;
  size_ = static_cast<std::uint64_t>(std::max<std::int64_t>(file_.size(), 0));
  return true;
}

std::string_view ZipFileSource::at(std::uint64_t position, std::uint64_t wanted) {
  if (position >= size_) return {};
  Window& window = windowFor(position);
  if (!window.holds(position)) {
    std::uint64_t start = position;
    std::uint64_t size = windowSize;
    if (window.end() != position) {
      start -= position % (wanted == unknown ? windowSize : pageSize);
      size = std::min(windowSize, position - start + std::clamp<std::uint64_t>(wanted, 1, windowSize));
    }
    fill(window, start, size);
  }
  if (!window.holds(position)) return {};
  return std::string_view(window.bytes.get(), window.length)
      .substr(static_cast<std::size_t>(position - window.start));
}

// The one that has the position, or that it goes on behind; else the one that wasn't used last.
ZipFileSource::Window& ZipFileSource::windowFor(std::uint64_t position) {
  const auto choose = [this](const auto& suits) {
    if (suits(windows_[latest_])) return true;
    if (!suits(windows_[1 - latest_])) return false;
    latest_ = 1 - latest_;
    return true;
  };
  if (!choose([position](const Window& window) { return window.holds(position); }) &&
      !choose([position](const Window& window) { return window.end() == position; }))
    latest_ = 1 - latest_;
  return windows_[latest_];
}

void ZipFileSource::fill(Window& window, std::uint64_t start, std::uint64_t size) {
  window.start = start;
  window.length = 0;
  if (start != filePosition_ && !file_.seek(start)) return;
  std::int64_t count = 0;
  file_.read(window.bytes.get(), static_cast<std::size_t>(size), count);
  window.length = static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
  filePosition_ = window.end();
}

}  // namespace ZelmoraTevra
