#pragma once

#include <memory>
#include <span>
#include <vector>

#include "core/CommandRecord.h"
#include "install/InstallRoute.h"
#include "install/InstallXml.h"
#include "install/ValidationRecord.h"

namespace ZelmoraTevra {

class DeviceRegister;

// What is to be installed, with all decisions taken: each update's flags tell its storage, and its zip is
// there.
struct InstallationPlan {
  std::span<const ContentEntry> packages;
  // All updates of the packages in sequence order; they belong to the packages' descriptions.
  std::vector<InstallUpdate*> updates;
  WideText primaryRoot;
  WideText secondaryRoot;                 // empty on a device with one storage
  std::vector<WideText> downloadedFiles;  // zips to be removed at the end
  bool checkHashFile = false;
};

// Places the updates on the device, records them in its register, validates what was placed if that is asked
// for, and cleans up.
class UpdateInstallation {
 public:
  // The plan and the route must outlive the installation.
  UpdateInstallation(const InstallationPlan& plan, const InstallRoute& route) : plan_(plan), route_(route) {}

  // 0, or -1 after a report.
  int run();

 private:
  [[nodiscard]] int install(DeviceRegister& deviceRegister);
  void loadPlacementProgress() const;
  void removeReplacedFiles() const;
  [[nodiscard]] bool placeUpdates(DeviceRegister& deviceRegister);
  [[nodiscard]] bool deleteDownloadedFiles() const;

  const InstallationPlan& plan_;
  const InstallRoute& route_;
  std::vector<ValidationRecord> validationRecords_;
};

}  // namespace ZelmoraTevra
