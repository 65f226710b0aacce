#include "backup/DeviceRestoreJob.h"

#include <algorithm>

#include "backup/DeviceEmptying.h"
#include "backup/FolderRelation.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/IndicatorFile.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "install/PackageCheck.h"
#include "install/PackageDownload.h"

namespace ZelmoraTevra {

namespace {

constexpr DeviceRestoreCodes restoreCodes = {
    .unresolved = 1252,
    .tempFolderTooSmall = 1253,
    .notEnoughSpace = {.software = 1254, .content = 1276, .both = 1277},
};
constexpr DeviceRestoreCodes checkCodes = {
    .unresolved = 1261,
    .tempFolderTooSmall = 1262,
    .notEnoughSpace = {.software = 1263, .content = 1272, .both = 1273},
    .fits = 1264,
};

InstallationReports installationReports() {
  InstallationReports reports = locatedRoute.reports;
  reports.validating = 1266;
  reports.damaged = 1289;
  return reports;
}

bool failOnInvalidPackages(int exitCode) {
  ErrorReport(exitCode, u"Install file is invalid! Contact customer support.").save();
  return false;
}

bool failOnMissingStorage(int exitCode) {
  ErrorReport(exitCode,
              u"Could not access your device. Please make sure it is still connected and try again.")
      .save();
  return false;
}

bool failOnRejectedWrites(int exitCode) {
  ErrorReport(exitCode, u"Could not access your device. Please remove the write protection and try again.")
      .save();
  return false;
}

}  // namespace

DeviceRestoreJob::DeviceRestoreJob() : reports_(installationReports()) {}

int DeviceRestoreJob::prepareDeviceRestore(const CommandRecord& command) {
  command_ = command;
  if (!storagesTakeWrites() || !storagesAreApart()) return -1;
  const bool areDescribed =
      std::all_of(command_.packages.begin(), command_.packages.end(), [](const ContentEntry& package) {
        return package.installXml != nullptr && package.installXml->isValid();
      });
  if (!areDescribed) {
    failOnInvalidPackages(1251);
    return -1;
  }
  plan_.packages = command_.packages;
  plan_.primaryRoot = Directory_new(command_.storageCardDriveLetter).path();
  plan_.secondaryRoot = Directory_new(command_.secondDriveLetter).path();
  plan_.checkHashFile = command_.checkHashFile;
  plan_.emptyDevice = [this] { return clearDevice(); };
  ready_ = true;
  return 0;
}

bool DeviceRestoreJob::storagesTakeWrites() const {
  Directory_new main(command_.storageCardDriveLetter);
  if (!main.takesWrites()) {
    writeLog(u"Primary path: " + command_.storageCardDriveLetter);
    return main.exists() ? failOnRejectedWrites(1256) : failOnMissingStorage(1250);
  }
  Directory_new second(command_.secondDriveLetter);
  if (!command_.secondDriveLetter.empty() && !second.takesWrites()) {
    writeLog(u"Secondary path: " + command_.secondDriveLetter);
    return second.exists() ? failOnRejectedWrites(1257) : failOnMissingStorage(1258);
  }
  return true;
}

bool DeviceRestoreJob::storagesAreApart() const {
  const WideText& main = command_.storageCardDriveLetter;
  const WideText& second = command_.secondDriveLetter;
  if (!isSameOrBelowFolder(second, main) && !isSameOrBelowFolder(main, second)) return true;
  writeLog(u"Secondary path: " + second);
  writeLog(u"The two storages are one, or one lies on the other.");
  return failOnMissingStorage(1258);
}

int DeviceRestoreJob::runDeviceRestore() {
  if (!ready_ || !reckon(restoreCodes)) return -1;
  if (!fits_) {
    reportTooLittleSpace(restoreCodes, SpaceAfterwards::omitted);
    return -1;
  }
  // Without a folder for the register the installation would fail at its end.
  if (!bringRegisterFolder(plan_.updates)) {
    ErrorReport(reports_.noRegister.exitCode, WideText(reports_.noRegister.message)).save();
    return -1;
  }
  if (!mayBeEmptied({plan_.primaryRoot, plan_.secondaryRoot})) {
    failOnFormat();
    return -1;
  }
  if (!downloadPackages(plan_.packages, command_, plan_.downloadedFiles)) return -1;
  // What was downloaded has the digest that it should have; of a local zip nothing is known.
  const bool areWhole =
      zipsHoldFiles(plan_.updates, command_.localInstall ? ZipReading::contents : ZipReading::directory);
  if (*StatusXml::instance().abortRequested()) {
    saveState(statAbort);
    return -1;
  }
  if (!areWhole) {
    failOnInvalidPackages(restoreCodes.unresolved);
    return -1;
  }
  return UpdateInstallation(plan_, reports_).run();
}

int DeviceRestoreJob::checkDeviceRestoreSize() {
  if (!ready_ || !reckon(checkCodes)) return -1;
  if (!fits_) {
    reportTooLittleSpace(checkCodes, SpaceAfterwards::told);
    return -1;
  }
  reportFits(figures_, checkCodes.fits, NeededSpace::placed);
  return 0;
}

bool DeviceRestoreJob::reckon(const DeviceRestoreCodes& codes) {
  if (!resolveContents()) return failOnInvalidPackages(codes.unresolved);
  return fitsIntoTempFolder(codes.tempFolderTooSmall) && distribute();
}

bool DeviceRestoreJob::resolveContents() {
  for (const ContentEntry& package : plan_.packages) {
    if (!arePlaceable(package.installXml->getUpdates())) return false;
    if (namesLocations(package) != namesLocations(plan_.packages.front())) {
      writeLog(u"Older packages and others can't be installed together.");
      return false;
    }
    if (command_.localInstall && goesWithDevice(package.url)) {
      writeLog(u"The package lies on the device that is to be emptied: " + package.url);
      return false;
    }
    sequence_.add(package, command_.localInstall);
  }
  plan_.updates = sequence_.updates();
  isOlder_ = !plan_.packages.empty() && !namesLocations(plan_.packages.front());
  return command_.localInstall || !hasClashingDownloads(plan_.packages);
}

bool DeviceRestoreJob::fitsIntoTempFolder(int exitCode) const {
  const std::int64_t size = downloadSize(plan_.packages);
  const bool goes = goesWithDevice(workTempFolder);
  if (goes) writeLog(u"The temporary folder lies on the device that is to be emptied.");
  if (!goes && size < Directory_new(workTempFolder).freeSpace()) return true;
  ErrorReport(exitCode).percent(104).pathAndDrive(userTempFolder).size(size).save();
  return false;
}

bool DeviceRestoreJob::distribute() {
  UpdateDistributor distributor;
  if (distributor.setPaths(plan_.primaryRoot, plan_.secondaryRoot) != 0) return false;
  distributor.assumeEmptied();
  std::int64_t capacity = 0;
  std::int64_t cardCapacity = 0;
  if (distributor.getRoom(plan_.primaryRoot, capacity) != 0) return failOnMissingStorage(1250);
  if (!plan_.secondaryRoot.empty() && distributor.getRoom(plan_.secondaryRoot, cardCapacity) != 0)
    return failOnMissingStorage(1258);

  Distribution distribution;
  const int result = isOlder_ ? sequence_.distributeWhole(distributor, distribution)
                              : sequence_.distribute(distributor, distribution);
  if (result != 0) {
    // A main storage that has gone since the look at its room isn't told yet.
    if (distribution.deficitSoftware == -1) failOnMissingStorage(1250);
    return false;
  }
  fits_ = distribution.fits;
  figures_ = spaceFigures(distribution);
  figures_.availableSoftware = capacity;
  figures_.availableContent = cardCapacity;
  figures_.temporarySoftware = sequence_.temporarySpaceSoftware();
  figures_.temporaryContent = sequence_.temporarySpaceContent();
  if (plan_.secondaryRoot.empty()) {
    // Everything goes to the main storage.
    figures_.temporarySoftware =
        (SaturatingInt64(figures_.temporarySoftware) + figures_.temporaryContent).value();
    figures_.temporaryContent = 0;
  }
  if (isOlder_ && !fits_) {
    figures_.neededSoftware = sequence_.updateSize();
    figures_.neededContent = plan_.secondaryRoot.empty() ? 0 : sequence_.updateSize();
  }
  return true;
}

void DeviceRestoreJob::reportTooLittleSpace(const DeviceRestoreCodes& codes,
                                            SpaceAfterwards afterwards) const {
  reportNotEnoughSpace(figures_, codes.notEnoughSpace, command_.storageCardDriveLetter,
                       command_.secondDriveLetter, afterwards, NeededSpace::placed);
}

bool DeviceRestoreJob::clearDevice() const {
  // The downloads may have taken hours.
  if (!storagesTakeWrites()) return false;
  const FormatJob job{.primaryDrive = command_.storageCardDriveLetter,
                      .secondaryDrive = command_.secondDriveLetter,
                      .keepPrimaryFormat = command_.disableFormatFirst,
                      .keepSecondaryFormat = command_.disableFormatSecond,
                      .windows7 = command_.windows7,
                      .logsStart = true};
  if (!emptyDevice(job)) return false;
  // The mark that a job is at work went with everything else.
  if (command_.indicatorFile) command_.indicatorFile->write(command_.storageCardDriveLetter);
  return true;
}

bool DeviceRestoreJob::goesWithDevice(const WideText& path) const {
  return isSameOrBelowFolder(path, plan_.primaryRoot) || isSameOrBelowFolder(path, plan_.secondaryRoot);
}

}  // namespace ZelmoraTevra
