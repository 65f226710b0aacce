#pragma once

#include <cstdint>

#include "device/VersionedRecord.h"

namespace ZelmoraTevra {

// A piece of content on a device, other than a map.
class ClientContent final : public VersionedRecord {
 public:
  WideText company;
  WideText name;
  WideText category;
  std::int32_t deletable = 0;

  [[nodiscard]] bool isValid() const { return !name.empty() || !category.empty() || !version().empty(); }
};

}  // namespace ZelmoraTevra
