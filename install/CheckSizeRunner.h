#pragma once

#include <vector>

#include "core/CommandTable.h"
#include "core/SaturatingInt64.h"
#include "install/SpaceReport.h"
#include "install/UpdateDistributor.h"

namespace ZelmoraTevra {

// "CHECK_SIZE": tells before anything is downloaded whether a set of packages fits on the device, as an
// installation of it would find, and the downloads into the work folder. The answer is the status; whichever
// it is, it makes the command a success. Nothing on the device is changed.
class CheckSizeRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  // 0, or -1 if there is no answer: a report tells why, unless nothing can be learned of the main storage.
  int run() override;

 private:
  // How a set of packages goes onto the device, in bytes.
  struct Placement {
    bool fits = false;
    SpaceFigures figures;
  };

  [[nodiscard]] bool storagesExist() const;
  [[nodiscard]] bool downloadsFit(const UpdateDistributor& distributor) const;
  void collectUpdates();
  [[nodiscard]] int distribute(UpdateDistributor& distributor, Placement& placement) const;
  [[nodiscard]] int distributeOlder(UpdateDistributor& distributor, Placement& placement) const;
  [[nodiscard]] bool canMoveMap(const SpaceFigures& figures) const;

  CommandRecord command_;
  // All updates of all packages; they belong to the packages' descriptions.
  std::vector<InstallUpdate*> updates_;
  bool namesLocations_ = false;  // one of the packages does, so that its updates are placed one by one
  // Bytes, over all packages.
  SaturatingInt64 updateSize_;
  SaturatingInt64 extraSpaceSoftware_;
  SaturatingInt64 extraSpaceContent_;
  SaturatingInt64 temporarySpaceSoftware_;
  SaturatingInt64 temporarySpaceContent_;
};

}  // namespace ZelmoraTevra
