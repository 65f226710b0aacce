#include "install/ZipFileSource.h"

#include <algorithm>

namespace ZelmoraTevra {

namespace {

constexpr std::size_t windowSize = 128 * 1024;

}  // namespace

ZipFileSource::ZipFileSource(const WideText& path) : file_(path) {
  for (Window& window : windows_) window.bytes = std::make_unique_for_overwrite<char[]>(windowSize);
}

bool ZipFileSource::open() {
  if (!file_.open()) return false;
  size_ = static_cast<std::uint64_t>(std::max<std::int64_t>(file_.size(), 0));
  return true;
}

std::string_view ZipFileSource::at(std::uint64_t position) {
  if (!windows_[latest_].holds(position)) {
    latest_ = 1 - latest_;
    if (!windows_[latest_].holds(position)) fill(windows_[latest_], position);
  }
  const Window& window = windows_[latest_];
  if (!window.holds(position)) return {};
  return std::string_view(window.bytes.get(), window.length)
      .substr(static_cast<std::size_t>(position - window.start));
}

void ZipFileSource::fill(Window& window, std::uint64_t position) {
  window.length = 0;
  if (position >= size_) return;
  window.start = position - position % windowSize;
  if (window.start != filePosition_ && !file_.seek(window.start)) return;
  std::int64_t count = 0;
  file_.read(window.bytes.get(), windowSize, count);
  window.length = static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
  filePosition_ = window.start + window.length;
}

}  // namespace ZelmoraTevra
