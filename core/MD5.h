#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/Text.h"

namespace setup2 {

class MD5 {
 public:
  MD5() { reset(); }
  virtual ~MD5() = default;
  MD5(const MD5&) = default;
  MD5& operator=(const MD5&) = default;

  void reset();
  void add(const void* data, std::size_t size);
  // Ends the digest. The result stays until the next one is finished.
  void finish();
  // The last result: 32 upper-case hexadecimal characters, or empty before the first one.
  [[nodiscard]] const ZelmoraTevra::WideText& text() const { return text_; }

 private:
  static constexpr std::size_t blockBytes = 64;

  void addBlocks(const unsigned char* data, std::size_t count);

  std::array<std::uint32_t, 4> state_;
  std::array<unsigned char, blockBytes> pending_;
  std::size_t pendingBytes_;
  std::uint64_t totalBytes_;
  ZelmoraTevra::WideText text_;
};

}  // namespace setup2
