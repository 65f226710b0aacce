#pragma once

#include <string_view>

#include "install/ZipSource.h"

namespace ZelmoraTevra {

// An archive in memory, which must outlive the source.
class ZipMemorySource : public ZipSource {
 public:
  explicit ZipMemorySource(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
  [[nodiscard]] std::string_view at(std::uint64_t position, std::uint64_t wanted) override;

 private:
  std::string_view bytes_;
};

}  // namespace ZelmoraTevra
