#include "install/ZipFileSource.h"

#include <algorithm>
#include <cstring>

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

std::size_t ZipFileSource::read(std::uint64_t position, void* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const Window* const window = windowAt(position + done);
    if (window == nullptr) break;
    const auto offset = static_cast<std::size_t>(position + done - window->start);
    const std::size_t count = std::min(size - done, window->length - offset);
    std::memcpy(static_cast<char*>(buffer) + done, window->bytes.get() + offset, count);
    done += count;
  }
  return done;
}

const ZipFileSource::Window* ZipFileSource::windowAt(std::uint64_t position) {
  if (windows_[latest_].holds(position)) return &windows_[latest_];
  latest_ = 1 - latest_;
  Window& window = windows_[latest_];
  if (!window.holds(position)) fill(window, position);
  return window.holds(position) ? &window : nullptr;
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
