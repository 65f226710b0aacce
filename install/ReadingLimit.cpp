#include "install/ReadingLimit.h"

#include <algorithm>
#include <utility>

#include "core/Directory_new.h"
#include "core/Globals.h"

namespace ZelmoraTevra {

namespace {

constexpr std::uint64_t largestPackage = std::uint64_t{16} << 30;
// Behind a limit so much is read without a question: it can't do harm, and most replies that are too long end
// within it.
constexpr std::uint64_t toleratedExcess = 1'048'576;

}  // namespace

ReadingLimit::ReadingLimit(WideText folder, std::int64_t expectedSize)
    : folder_(std::move(folder)),
      expectedSize_(static_cast<std::uint64_t>(expectedSize)),
      limit_(static_cast<std::uint64_t>(std::max<std::int64_t>(expectedSize, 0))) {}

bool ReadingLimit::allowsMoreBehind(std::uint64_t size) {
  if (size <= limit_ || size - limit_ <= toleratedExcess) return true;
  const std::uint64_t missing = static_cast<std::uint32_t>(expectedSize_ - size);
  if (missing > 0 && (size + missing > largestPackage || !diskHasRoomFor(missing))) return false;
  limit_ = size + missing;
  return true;
}

bool ReadingLimit::diskHasRoomFor(std::uint64_t bytes) const {
  return Directory_new(folder_).freeSpace() - reserveBytes >= static_cast<std::int64_t>(bytes);
}

}  // namespace ZelmoraTevra
