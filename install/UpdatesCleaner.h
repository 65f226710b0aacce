#pragma once

#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// Drops from the register the updates of which nothing is left on the device, and takes their entries out of
// the device's version file.
class UpdatesCleaner {
 public:
  // 0, or -1 if there is no register. The register must outlive the cleaner; an empty secondary root is no
  // storage.
  [[nodiscard]] int init(UpdatesXml* updatesRegister, const WideText& primaryRoot,
                         const WideText& secondaryRoot);
  // 0, or -1 if an entry could not be removed; the register is unchanged then.
  [[nodiscard]] int run();

 private:
  UpdatesXml* register_ = nullptr;
  WideText primaryRoot_;
  WideText secondaryRoot_;
};

}  // namespace ZelmoraTevra
