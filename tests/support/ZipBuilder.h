#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ZelmoraTevra {

// Builds the bytes of a zip archive, sound or damaged on purpose.
class ZipBuilder {
 public:
  struct Options {
    bool deflated = false;
    std::uint32_t unixMode = 0100644;
    // 2013-05-17 09:04:32, as the format packs it: the date in the upper half.
    std::uint32_t dosDate = (2013U - 1980U) << 25 | 5U << 21 | 17U << 16 | 9U << 11 | 4U << 5 | 16U;
    std::uint16_t flags = 0;
    // These replace what would be true, in both of the entry's records.
    std::optional<std::uint16_t> method;
    std::optional<std::uint32_t> size;
    std::optional<std::uint32_t> packedSize;
    std::optional<std::uint32_t> checksum;
    // The entry's data as they lie in the archive; the size and the checksum stay those of the content.
    std::optional<std::string> packed;
    // Where the directory says that the entry begins.
    std::optional<std::uint32_t> offset;
  };

  // The name's bytes are taken as they are. Gives the builder, for a chain of calls.
  ZipBuilder& add(const std::string& name, const std::string& content, const Options& options);
  ZipBuilder& add(const std::string& name, const std::string& content) {
    return add(name, content, Options());
  }

  // The archive with what was added so far.
  [[nodiscard]] std::string bytes() const;

  // `content` packed as an entry's data are.
  [[nodiscard]] static std::string deflate(const std::string& content);

 private:
  std::string data_;
  std::string directory_;
  std::uint16_t count_ = 0;
};

}  // namespace ZelmoraTevra
