#pragma once

#include "core/CommandTable.h"
#include "install/PackageSequence.h"
#include "install/SpaceReport.h"

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
  [[nodiscard]] bool storagesExist() const;
  [[nodiscard]] bool downloadsFit(const UpdateDistributor& distributor) const;
  void collectUpdates();
  [[nodiscard]] bool canMoveMap(const SpaceFigures& figures) const;

  CommandRecord command_;
  PackageSequence sequence_;
  bool namesLocations_ = false;  // one of the packages does, so that its updates are placed one by one
};

}  // namespace ZelmoraTevra
