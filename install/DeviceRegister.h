#pragma once

#include <cstddef>
#include <vector>

#include "core/ProcessEnd.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// The register of a device for the length of an installation. What was recorded reaches the device however
// the installation ends: by `close`, by destruction, or by the end of the process.
class DeviceRegister {
 public:
  // The second root is empty on a device with one storage.
  DeviceRegister(const WideText& primaryRoot, const WideText& secondaryRoot);
  ~DeviceRegister();

  [[nodiscard]] bool isUsable() const { return file_.isUsable(); }
  [[nodiscard]] UpdatesXml& updates() { return updates_; }

  // Records an update. The working copy is written after the first one, and each time when as many have come
  // as were in it: a disk that takes no write shows at once, and many updates cost in proportion to their
  // number. False if a write failed.
  [[nodiscard]] bool record(Update update);
  // Tells that an update was taken off the device, which is brought to the medium like what was placed.
  void noteRemoval() { ++recorded_; }
  // Writes what isn't written yet to the working copy.
  [[nodiscard]] bool save() { return updates_.save(); }
  // Brings all that was placed to the medium, then the register that tells of it, and goes on. False if one
  // of them did not get there.
  bool bringToDevice();
  // The same for the last time.
  bool close();

 private:
  [[nodiscard]] bool prepareToBring();

  std::vector<WideText> storages_;  // those that are there at the start
  ClientUpdatesXmlFile file_;
  UpdatesXml updates_;
  std::size_t recorded_ = 0;
  std::size_t recordedAtNextSave_ = 1;
  bool isMediumSound_ = true;  // the system tells only once what it could not write
  AtProcessEnd atProcessEnd_;
};

}  // namespace ZelmoraTevra
