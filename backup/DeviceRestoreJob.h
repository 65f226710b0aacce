#pragma once

#include "core/CommandRecord.h"
#include "install/InstallRoute.h"
#include "install/PackageSequence.h"
#include "install/SpaceReport.h"
#include "install/UpdateInstallation.h"

namespace ZelmoraTevra {

// Under which numbers a job reports what doesn't suit it.
struct DeviceRestoreCodes {
  int unresolved;  // packages that can't be installed on an empty device
  int tempFolderTooSmall;
  NotEnoughSpaceCodes notEnoughSpace;
  int fits = 0;  // of a check; a restore goes on
};

// Brings a device back to a working state by packages: the device is emptied, and they are installed on it.
// Everything that can go wrong without the device, from their descriptions to their downloads, is done
// before: until it is emptied, a failure leaves the device as it is.
//
// Older packages, which name no storage, go to one storage together; they don't mix with others.
class DeviceRestoreJob {
 public:
  DeviceRestoreJob();
  DeviceRestoreJob(const DeviceRestoreJob&) = delete;
  DeviceRestoreJob& operator=(const DeviceRestoreJob&) = delete;

  // Tests the storages and the packages. 0, or -1 after a report.
  [[nodiscard]] int prepareDeviceRestore(const CommandRecord& command);
  // Carries it out. 0, or -1 after a report; -1 without one if the job isn't prepared.
  [[nodiscard]] int runDeviceRestore();
  // Tells whether the packages fit on the device and their downloads into the work folder; nothing is
  // changed. The answer is the status: 0 if they fit, else -1, as for a failure, which is reported.
  [[nodiscard]] int checkDeviceRestoreSize();

 private:
  // These two: false after a report.
  [[nodiscard]] bool storagesTakeWrites() const;
  [[nodiscard]] bool storagesAreApart() const;
  // Finds out what is to go where, and whether it fits. False after a report.
  [[nodiscard]] bool reckon(const DeviceRestoreCodes& codes);
  // False if the packages can't be installed on an empty device; the log says why.
  [[nodiscard]] bool resolveContents();
  // These two: false after a report.
  [[nodiscard]] bool fitsIntoTempFolder(int exitCode) const;
  [[nodiscard]] bool distribute();
  void reportTooLittleSpace(const DeviceRestoreCodes& codes, SpaceAfterwards afterwards) const;
  [[nodiscard]] bool clearDevice() const;
  [[nodiscard]] bool goesWithDevice(const WideText& path) const;

  CommandRecord command_;
  bool ready_ = false;
  bool isOlder_ = false;
  PackageSequence sequence_;
  bool fits_ = false;
  SpaceFigures figures_;  // available: the capacities
  InstallationPlan plan_;
  InstallationReports reports_;
};

}  // namespace ZelmoraTevra
