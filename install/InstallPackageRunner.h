#pragma once

#include <memory>

#include "core/CommandTable.h"
#include "core/Directory_new.h"
#include "install/PackageSequence.h"
#include "install/UpdateInstallation.h"

namespace ZelmoraTevra {

struct InstallRoute;

// "INSTALL_PACKAGE": works out where the updates of all packages go and whether they fit, moves a map to the
// card where that makes room, fetches the zips, and installs them. 0 is success; a failure has been reported,
// unless nothing can be learned of the storages or the work folder.
class InstallPackageRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return prepareInstall(record); }
  int run() override { return runInstall(); }

  // Tests both storages and the packages.
  int prepareInstall(const CommandRecord& command);
  int runInstall();

 private:
  // The ways for packages that name the storages of their updates, and for an older one that goes whole to
  // one storage.
  int runLocatedInstall();
  int runOlderPackageInstall();
  int runRoute(const InstallRoute& route);

  void reportInvalidPackages() const;
  // False after a report.
  [[nodiscard]] bool primaryTakesWrites() const;
  [[nodiscard]] bool secondaryTakesWrites() const;
  [[nodiscard]] bool collectUpdates();
  [[nodiscard]] bool fitsIntoTempFolder(const InstallRoute& route) const;
  [[nodiscard]] bool distribute(const InstallRoute& route, Distribution& distribution);
  [[nodiscard]] bool mayMoveMap(const Distribution& distribution) const;
  [[nodiscard]] bool moveMap(const InstallRoute& route, Distribution& distribution);
  void reportTooLittleSpace(const InstallRoute& route, const Distribution& distribution) const;

  CommandRecord command_;
  std::unique_ptr<Directory_new> primaryRoot_;
  std::unique_ptr<Directory_new> secondaryRoot_;  // of an empty path on a device with one storage
  bool ready_ = false;
  bool isOlder_ = false;
  PackageSequence sequence_;
  UpdateDistributor distributor_;
  InstallationPlan plan_;
};

}  // namespace ZelmoraTevra
