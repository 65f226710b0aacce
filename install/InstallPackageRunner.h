#pragma once

#include <memory>
#include <vector>

#include "core/CommandTable.h"
#include "core/Directory_new.h"
#include "core/SaturatingInt64.h"
#include "install/InstallXml.h"
#include "install/UpdateDistributor.h"

namespace ZelmoraTevra {

class DeviceRegister;

// "INSTALL_PACKAGE": works out where the updates of all packages go and whether they fit, fetches the zips,
// places the files, records each update in the device's register and cleans up. 0 is
// success; a failure has been reported, unless nothing can be learned of the storages or the work folder.
class InstallPackageRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return prepareInstall(record); }
  int run() override { return runInstall(); }

  // Tests the packages and both storages. A package that asks for what isn't there yet (XML entries, a
  // description without locations, validation) is refused here, before the device is touched.
  int prepareInstall(const CommandRecord& command);
  int runInstall();

 private:
  [[nodiscard]] bool collectUpdates();
  [[nodiscard]] bool fitsIntoTempFolder(const UpdateDistributor& distributor) const;
  void reportTooLittleSpace(const UpdateDistributor& distributor, const Distribution& distribution) const;
  [[nodiscard]] bool downloadPackages();
  int installUpdates();
  void loadPlacementProgress() const;
  void removeReplacedFiles() const;
  [[nodiscard]] bool placeUpdates(DeviceRegister& deviceRegister) const;
  [[nodiscard]] std::unique_ptr<DeviceRegister> openRegister() const;
  [[nodiscard]] bool deleteDownloadedFiles() const;

  CommandRecord command_;
  std::unique_ptr<Directory_new> primaryRoot_;
  std::unique_ptr<Directory_new> secondaryRoot_;  // of an empty path on a device with one storage
  bool ready_ = false;
  // All updates of all packages in sequence order; they belong to the packages' descriptions.
  std::vector<InstallUpdate*> updates_;
  std::vector<WideText> downloadedFiles_;
  // Bytes, over all packages.
  SaturatingInt64 extraSpaceSoftware_;
  SaturatingInt64 extraSpaceContent_;
  SaturatingInt64 temporarySpaceSoftware_;
  SaturatingInt64 temporarySpaceContent_;
};

}  // namespace ZelmoraTevra
