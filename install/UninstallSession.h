#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/ProcessEnd.h"
#include "core/SetAsideFiles.h"
#include "install/DeviceRegister.h"
#include "install/DeviceXmlFiles.h"

namespace ZelmoraTevra {

// What all entries of one uninstalling command share: the device's register and the XML files that it names,
// each read once. What was done reaches the device however the command ends: by `close`, by destruction, or
// by the end of the process. The XML files come before the register, so that the register names an update for
// as long as anything of it may be left, and repeating a command that was cut off finishes its work.
class UninstallSession {
 public:
  UninstallSession() = default;
  ~UninstallSession();
  UninstallSession(const UninstallSession&) = delete;
  UninstallSession& operator=(const UninstallSession&) = delete;

  // The register of the device, opened at the first call. Null if there is none that can be used, or the
  // session is closed.
  [[nodiscard]] UpdatesXml* openRegister(const WideText& primaryRoot, const WideText& secondaryRoot);
  [[nodiscard]] DeviceXmlFiles& xmlFiles() { return xmlFiles_; }
  // Takes down that the register's `uninstallUpdate` has succeeded for this query.
  void noteUninstalled(const UpdateInfo& info);

  // Brings everything to the device. Gives the first update of which that failed: it and those after it are
  // still in the device's register. A second call gives the same.
  std::optional<UpdateInfo> close();

 private:
  // How many updates, from the first one, are wholly off the device and out of its register.
  [[nodiscard]] std::size_t bringToDevice();
  // Leaves so many removals in the register, from the first one. The number that it could leave.
  [[nodiscard]] std::size_t keepRemovals(std::size_t count);

  bool closed_ = false;
  std::unique_ptr<DeviceRegister> register_;
  SetAsideFiles setAsideFiles_;  // each folder is looked through once for all XML files
  DeviceXmlFiles xmlFiles_;
  std::vector<UpdateInfo> uninstalled_;
  std::optional<UpdateInfo> firstLost_;
  // Made when the register has been opened, whose own comes after it then.
  std::optional<AtProcessEnd> atProcessEnd_;
};

}  // namespace ZelmoraTevra
