#include "install/InstallPackageRunner.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "core/BackendLogger.h"
#include "core/CopyFile.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "install/IUpdateZipDownloader.h"
#include "install/InstallRoute.h"
#include "install/MoveMap.h"
#include "install/PackageDownload.h"

namespace ZelmoraTevra {

namespace {

// Two packages that would take the same place in the work folder: the second would replace the first before
// that one is installed.
bool hasClashingDownloads(std::span<const ContentEntry> packages) {
  std::map<WideText, WideText> md5ByPath;
  for (const ContentEntry& package : packages) {
    const WideText path = toUpperAscii(downloadedFilePath(package.url));
    const WideText md5 = toUpperAscii(package.md5);
    if (path.empty() || md5ByPath.try_emplace(path, md5).first->second == md5) continue;
    writeLog(u"Two different packages would be downloaded under one name: " + path);
    return true;
  }
  return false;
}

}  // namespace

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
  distributor_.setExtraSpace(extraSpaceSoftware_.value(), extraSpaceContent_.value());
  distributor_.setTemporarySpace(temporarySpaceSoftware_.value(), temporarySpaceContent_.value());
  Distribution distribution;
  if (!distribute(distribution)) return -1;
  if (mayMoveMap(distribution) && !moveMap(route, distribution)) return -1;
  if (!distribution.fits) {
    reportTooLittleSpace(route, distribution);
    return -1;
  }
  if (!downloadPackages()) return -1;
  return UpdateInstallation(plan_, route).run();
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
    InstallXml& description = *package.installXml;
    if (!description.isValid()) {
      ErrorReport(1165, u"Install file is invalid! Contact customer support.")
          .description(primaryRoot_->path())
          .save();
      return false;
    }
    extraSpaceSoftware_ += description.extraSpaceSoftware();
    extraSpaceContent_ += description.extraSpaceContent();
    temporarySpaceSoftware_ += description.temporarySpaceSoftware();
    temporarySpaceContent_ += description.temporarySpaceContent();

    const WideText source = command_.localInstall ? package.url : downloadedFilePath(package.url);
    for (InstallUpdate& update : description.getUpdates()) {
      update.localSource = source;
      plan_.updates.push_back(&update);
    }
    if (description.getUpdates().front().hasLocation()) continue;
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
  std::vector<std::int64_t> sizes;
  for (const ContentEntry& package : plan_.packages)
    sizes.push_back(static_cast<std::int64_t>(package.fileSize));
  bool fits = false;
  const bool isKnown = distributor_.checkTemporarySpace(sizes, fits) == 0;
  if (!isKnown && !isOlder_) return false;
  if (!fits) ErrorReport(route.tempFolderTooSmall).percent(104).pathAndDrive(userTempFolder).save();
  return fits;
}

// False after a report, or if nothing can be learned of the main storage.
bool InstallPackageRunner::distribute(Distribution& distribution) {
  if (!isOlder_) return distributor_.distribute(plan_.updates, distribution) == 0;
  SaturatingInt64 total;
  for (const InstallUpdate* update : plan_.updates) total += update->updateSize;
  OlderDistribution whole;
  if (distributor_.distributeOlder(plan_.updates, total.value(), whole) != 0) return false;
  distribution = {.fits = whole.storage >= 0,
                  .deficitSoftware = whole.deficitSoftware,
                  .deficitContent = whole.deficitContent,
                  .neededSoftware = whole.neededPrimary,
                  .neededContent = whole.neededSecondary};
  for (InstallUpdate* update : plan_.updates) {
    update->locationSoftware = whole.storage == 0;
    update->locationContent = whole.storage == 1;
  }
  return true;
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
  const bool standing = isOlder_ ? secondaryTakesWrites() && primaryTakesWrites()
                                 : primaryTakesWrites() && secondaryTakesWrites();
  return standing && distribute(distribution);
}

void InstallPackageRunner::reportTooLittleSpace(const InstallRoute& route,
                                                const Distribution& distribution) const {
  SpaceFigures figures{.missingSoftware = distribution.deficitSoftware,
                       .missingContent = distribution.deficitContent,
                       .neededSoftware = distribution.neededSoftware,
                       .neededContent = distribution.neededContent};
  distributor_.getFreeSpace(plan_.primaryRoot, figures.availableSoftware);
  distributor_.getFreeSpace(plan_.secondaryRoot, figures.availableContent);
  reportNotEnoughSpace(figures, route.notEnoughSpace, command_.storageCardDriveLetter,
                       command_.secondDriveLetter, route.spaceAfterwards);
}

bool InstallPackageRunner::downloadPackages() {
  std::vector<ProgressEntry> entries;
  for (const ContentEntry& package : plan_.packages) entries.push_back({package.fileSize, {}, {}, 0});
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));
  if (command_.localInstall) return true;

  std::uint32_t position = 0;
  for (const ContentEntry& package : plan_.packages) {
    ProgressObserver::instance().setPosition(position++);
    if (!downloadPackage(package, command_)) return false;
    plan_.downloadedFiles.push_back(downloadedFilePath(package.url));
  }
  return true;
}

}  // namespace ZelmoraTevra
