#include "install/InstallPackageRunner.h"

#include <algorithm>

#include "core/BackendLogger.h"
#include "core/CopyFile.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "install/InstallRoute.h"
#include "install/MoveMap.h"
#include "install/PackageDownload.h"

namespace ZelmoraTevra {

int InstallPackageRunner::prepareInstall(const CommandRecord& command) {
  command_ = command;
  primaryRoot_ = std::make_unique<Directory_new>(command.storageCardDriveLetter);
  secondaryRoot_ = std::make_unique<Directory_new>(command.secondDriveLetter);
  if (!primaryTakesWrites() || !secondaryTakesWrites()) return -1;
  const bool isSound = std::all_of(
      command_.packages.begin(), command_.packages.end(),
      [](const auto& package) { return package.installXml == nullptr || package.installXml->isValid(); });
  if (!isSound) {
    reportInvalidPackages();
    return -1;
  }
  ready_ = true;
  return 0;
}

int InstallPackageRunner::runInstall() {
  if (!ready_) return -1;
  for (const Directory_new* root : {primaryRoot_.get(), secondaryRoot_.get()})
    removeMoveMapFolder(root->path());
  plan_.packages = command_.packages;
  plan_.primaryRoot = primaryRoot_->path();
  plan_.secondaryRoot = secondaryRoot_->path();
  if (!collectUpdates()) return -1;
  plan_.updates = sequence_.updates();
  if (!command_.localInstall && hasClashingDownloads(plan_.packages)) {
    reportInvalidPackages();
    return -1;
  }
  return isOlder_ ? runOlderPackageInstall() : runLocatedInstall();
}

int InstallPackageRunner::runLocatedInstall() {
  plan_.checkHashFile = command_.checkHashFile;
  return runRoute(locatedRoute);
}

// What the computer's disk can't take is found before the device is asked anything.
int InstallPackageRunner::runOlderPackageInstall() {
  if (!Directory_new(workTempFolder).exists()) {
    ErrorReport(1105, u"The temporary folder path does not exists!").pathAndDrive(userTempFolder).save();
    return -1;
  }
  return runRoute(olderRoute);
}

int InstallPackageRunner::runRoute(const InstallRoute& route) {
  if (distributor_.setPaths(plan_.primaryRoot, plan_.secondaryRoot) != 0) return -1;
  if (!fitsIntoTempFolder(route)) return -1;
  Distribution distribution;
  if (!distribute(route, distribution)) return -1;
  if (mayMoveMap(distribution) && !moveMap(route, distribution)) return -1;
  if (!distribution.fits) {
    reportTooLittleSpace(route, distribution);
    return -1;
  }
  if (!downloadPackages(plan_.packages, command_, plan_.downloadedFiles)) return -1;
  return UpdateInstallation(plan_, route.reports).run();
}

void InstallPackageRunner::reportInvalidPackages() const {
  ErrorReport(1096, u"Install file is invalid! Contact customer support.")
      .description(primaryRoot_->path())
      .save();
}

bool InstallPackageRunner::primaryTakesWrites() const {
  if (primaryRoot_->takesWrites()) return true;
  ErrorReport(1095, u"Flash cannot be accessed. Was it ejected or is it write protected?")
      .description(primaryRoot_->path())
      .save();
  return false;
}

bool InstallPackageRunner::secondaryTakesWrites() const {
  if (secondaryRoot_->path().empty() || secondaryRoot_->takesWrites()) return true;
  ErrorReport(1172, u"Storage card cannot be accessed. Was it ejected or is it write protected?")
      .pathAndDrive(secondaryRoot_->path())
      .save();
  return false;
}

bool InstallPackageRunner::collectUpdates() {
  for (const ContentEntry& package : command_.packages) {
    if (package.installXml == nullptr) {
      ErrorReport(1097, u"installXML used without being initialized!").save();
      return false;
    }
    // It was valid before; the description is shared.
    if (!package.installXml->isValid()) {
      ErrorReport(1165, u"Install file is invalid! Contact customer support.")
          .description(primaryRoot_->path())
          .save();
      return false;
    }
    sequence_.add(package, command_.localInstall);
    if (namesLocations(package)) continue;
    if (&package != &command_.packages.front()) {
      ErrorReport(1098, u"This older package is not first and is not the only one!").save();
      return false;
    }
    // Nothing behind an older package is installed.
    isOlder_ = true;
    plan_.packages = plan_.packages.first(1);
    return true;
  }
  return true;
}

bool InstallPackageRunner::fitsIntoTempFolder(const InstallRoute& route) const {
  bool fits = false;
  const bool isKnown = distributor_.checkTemporarySpace({downloadSize(plan_.packages)}, fits) == 0;
  if (!isKnown && !route.tellsUnknownTempRoom) return false;
  if (!fits) ErrorReport(route.tempFolderTooSmall).percent(104).pathAndDrive(userTempFolder).save();
  return fits;
}

// False after a report, or if nothing can be learned of the main storage.
bool InstallPackageRunner::distribute(const InstallRoute& route, Distribution& distribution) {
  return (sequence_.*route.distribute)(distributor_, distribution) == 0;
}

bool InstallPackageRunner::mayMoveMap(const Distribution& distribution) const {
  if (command_.notRunMoveMap || distribution.fits) return false;
  if (plan_.primaryRoot.empty() || plan_.secondaryRoot.empty()) return false;
  std::int64_t freeContent = 0;
  distributor_.getFreeSpace(plan_.secondaryRoot, freeContent);
  if (distribution.deficitSoftware <= 0 || distribution.deficitSoftware >= freeContent) return false;
  return std::none_of(plan_.updates.begin(), plan_.updates.end(), [](const InstallUpdate* update) {
    return std::any_of(update->files.begin(), update->files.end(),
                       [](const InstallFile& file) { return isMapFile(file.client); });
  });
}

// Frees the main storage by one of its maps and distributes anew. False ends the installation; a map that
// can't be moved doesn't.
bool InstallPackageRunner::moveMap(const InstallRoute& route, Distribution& distribution) {
  writeLog(WideText(route.moveMapLine));
  MoveMap mover;
  mover.initialise(command_.storageCardDriveLetter, command_.secondDriveLetter, distribution.deficitSoftware);
  const int result = mover.run();
  mover.reset();
  if (result == static_cast<int>(CopyResult::aborted)) {
    saveState(statAbort, 1020);
    return false;
  }
  if (result != 0) return true;
  const bool standing = route.cardComesFirst ? secondaryTakesWrites() && primaryTakesWrites()
                                             : primaryTakesWrites() && secondaryTakesWrites();
  return standing && distribute(route, distribution);
}

void InstallPackageRunner::reportTooLittleSpace(const InstallRoute& route,
                                                const Distribution& distribution) const {
  SpaceFigures figures = spaceFigures(distribution);
  distributor_.getFreeSpace(plan_.primaryRoot, figures.availableSoftware);
  distributor_.getFreeSpace(plan_.secondaryRoot, figures.availableContent);
  reportNotEnoughSpace(figures, route.notEnoughSpace, command_.storageCardDriveLetter,
                       command_.secondDriveLetter, route.spaceAfterwards);
}

}  // namespace ZelmoraTevra
