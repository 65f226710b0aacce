#pragma once

#include <functional>
#include <span>
#include <vector>

#include "core/CommandRecord.h"
#include "install/InstallRoute.h"
#include "install/InstallXml.h"
#include "install/ValidationRecord.h"

namespace ZelmoraTevra {

class InstallationRegister;

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
  // Empties the device when nothing but the placement is left to do: what goes wrong before leaves the device
  // as it is. False after a report. Null where what the device holds stays.
  std::function<bool()> emptyDevice;
};

// Places the updates on the device, records them in its register, validates what was placed if that is asked
// for, and cleans up.
class UpdateInstallation {
 public:
  // The plan and the reports must outlive the installation.
  UpdateInstallation(const InstallationPlan& plan, const InstallationReports& reports)
      : plan_(plan), reports_(reports) {}

  // 0, or -1 after a report.
  int run();

 private:
  [[nodiscard]] int install(InstallationRegister& deviceRegister);
  void loadPlacementProgress() const;
  void removeReplacedFiles() const;
  [[nodiscard]] bool placeUpdates(InstallationRegister& deviceRegister);
  [[nodiscard]] bool deleteDownloadedFiles() const;

  const InstallationPlan& plan_;
  const InstallationReports& reports_;
  std::vector<ValidationRecord> validationRecords_;
};

}  // namespace ZelmoraTevra
