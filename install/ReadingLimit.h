#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra {

// How far a file that a server sends is worth being read. As sizes that are 4 GiB apart compare equal, the
// right file may be larger than it is said to be; but no server may fill the disk with what can't be it.
// Where reading stops, the file's size is a wrong one. Sizes are in bytes.
class ReadingLimit {
 public:
  // The file grows in this folder. Of an expected size, which may be negative, the low 32 bits count.
  ReadingLimit(WideText folder, std::int64_t expectedSize);

  // Whether a file that has grown to this size may still come to one that compares equal with the expected
  // one: no package is larger than 16 GiB, and the disk must have the room. Asked at growing sizes; the disk
  // is looked at once for every 4 GiB.
  [[nodiscard]] bool allowsMoreBehind(std::uint64_t size);

 private:
  [[nodiscard]] bool diskHasRoomFor(std::uint64_t bytes) const;

  WideText folder_;
  std::uint64_t expectedSize_;
  std::uint64_t limit_;
};

}  // namespace ZelmoraTevra
