#pragma once

#include <memory>
#include <vector>

#include "install/DeviceRegister.h"

namespace ZelmoraTevra {

// The register in which an installation records what it has placed. On a device that was emptied there is no
// place for one until an update has brought its folder: it is opened then, and what was placed before is
// entered. If the older of the two folders comes first, it moves to the newer one when that comes.
// However the process ends, what was placed is in the register if there is a place for one.
class InstallationRegister {
 public:
  // The second root is empty on a device with one storage.
  InstallationRegister(WideText primaryRoot, WideText secondaryRoot);

  // Opens the register of a device that has one. False if there is none that can be used.
  [[nodiscard]] bool open();
  // To be called when all updates are placed. False if there still is no register.
  [[nodiscard]] bool settle();

  // As those of the device's register. As long as there is none, updates wait and nothing fails.
  [[nodiscard]] bool record(Update update);
  [[nodiscard]] bool save();
  bool bringToDevice();
  bool close();

  // Only of a register that is open.
  [[nodiscard]] UpdatesXml& updates() { return register_->updates(); }

 private:
  // False if what was placed could not be entered. Without a folder nothing happens.
  [[nodiscard]] bool follow();

  WideText primaryRoot_;
  WideText secondaryRoot_;
  std::unique_ptr<DeviceRegister> register_;
  bool follows_ = true;          // the folder wasn't there at the start
  std::vector<Update> waiting_;  // as long as there is no register
  AtProcessEnd atProcessEnd_;
};

}  // namespace ZelmoraTevra
