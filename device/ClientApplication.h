#pragma once

#include "device/VersionedRecord.h"

namespace ZelmoraTevra {

// An application on a device.
class ClientApplication final : public VersionedRecord {
 public:
  WideText name;
  WideText brand;
  WideText category;

  [[nodiscard]] bool isValid() const {
    return !name.empty() || !brand.empty() || !category.empty() || !version().empty();
  }
};

}  // namespace ZelmoraTevra
