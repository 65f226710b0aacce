#include "install/InstallPackageRunner.h"

#include <algorithm>
#include <exception>
#include <map>
#include <string>

#include "core/BackendLogger.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "install/DefaultFileUpdateInstaller.h"
#include "install/DeviceRegister.h"
#include "install/IUpdateZipDownloader.h"
#include "install/InstallRoute.h"
#include "install/PackageDownload.h"
#include "install/UpdatesCleaner.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView temporaryLocation = u".TevraTemporaryLocation";
constexpr std::uint32_t abortGraceMilliseconds = 200;

// Two packages that would take the same place in the work folder: the second would replace the first before
// that one is installed.
bool hasClashingDownloads(const CommandRecord& command) {
  if (command.localInstall) return false;
  std::map<WideText, WideText> md5ByPath;
  return std::any_of(command.packages.begin(), command.packages.end(), [&](const ContentEntry& package) {
    const WideText path = toUpperAscii(downloadedFilePath(package.url));
    const WideText md5 = toUpperAscii(package.md5);
    return !path.empty() && md5ByPath.try_emplace(path, md5).first->second != md5;
  });
}

// What keeps a package from being installed whole by this program; empty if nothing does. An older package
// behind another one has a report of its own, later.
WideText missingAbility(const CommandRecord& command) {
  if (command.checkHashFile) return u"the validation of the installed files";
  for (const ContentEntry& package : command.packages) {
    if (package.installXml == nullptr || !package.installXml->isValid()) continue;
    const std::vector<InstallUpdate>& updates = package.installXml->getUpdates();
    if (&package == &command.packages.front() && !updates.front().hasLocation())
      return u"a description without install locations";
    if (std::any_of(updates.begin(), updates.end(),
                    [](const InstallUpdate& u) { return !u.xmlEntries.empty(); }))
      return u"entries for XML files on the device";
  }
  if (hasClashingDownloads(command)) return u"two downloads under one name";
  return {};
}

// A look at the front end's abort file at a point where the device is whole. It is given time to write one,
// and what it says isn't read.
bool abortFilePresent() {
  platform::machine().clock->sleepMilliseconds(abortGraceMilliseconds);
  File_platformIndependent file(StatusXml::instance().abortFilePath());
  if (!file.exists()) return false;
  file.remove();
  return true;
}

Update registerEntry(const InstallUpdate& update) {
  Update entry;
  entry.info.company = update.company;
  entry.info.name = update.name;
  entry.info.version = update.version;
  entry.info.update = static_cast<std::int32_t>(update.update);
  entry.info.uninstall = static_cast<std::int32_t>(update.uninstall);
  entry.info.installLocation = update.locationContent ? u"storage_for_content" : u"storage_for_software";
  for (const InstallFile& file : update.files) entry.files.push_back({file.client, file.updateFlag});
  for (const InstallXmlEntry& xml : update.xmlEntries)
    entry.xmlEntries.push_back({xml.file, xml.creationFlag, xml.base, xml.condition});
  return entry;
}

}  // namespace

int InstallPackageRunner::prepareInstall(const CommandRecord& command) {
  command_ = command;
  primaryRoot_ = std::make_unique<Directory_new>(command.storageCardDriveLetter);
  secondaryRoot_ = std::make_unique<Directory_new>(command.secondDriveLetter);
  if (const WideText missing = missingAbility(command); !missing.empty()) {
    writeLog(u"The packages need " + missing + u". Nothing was installed.");
    ErrorReport(1096, u"Install file is invalid! Contact customer support.")
        .description(primaryRoot_->path())
        .save();
    return -1;
  }
  if (!primaryRoot_->takesWrites()) {
    ErrorReport(1095, u"Flash cannot be accessed. Was it ejected or is it write protected?")
        .description(primaryRoot_->path())
        .save();
    return -1;
  }
  if (!command.secondDriveLetter.empty() && !secondaryRoot_->takesWrites()) {
    ErrorReport(1172, u"Storage card cannot be accessed. Was it ejected or is it write protected?")
        .pathAndDrive(secondaryRoot_->path())
        .save();
    return -1;
  }
  for (const ContentEntry& package : command_.packages) {
    if (package.installXml == nullptr || package.installXml->isValid()) continue;
    ErrorReport(1096, u"Install file is invalid! Contact customer support.")
        .description(primaryRoot_->path())
        .save();
    return -1;
  }
  ready_ = true;
  return 0;
}

int InstallPackageRunner::runInstall() {
  if (!ready_) return -1;
  for (const Directory_new* root : {primaryRoot_.get(), secondaryRoot_.get()})
    if (!root->path().empty()) Directory_new(root->path() + u'/' + WideText(temporaryLocation)).remove();
  if (!collectUpdates()) return -1;

  UpdateDistributor distributor;
  if (distributor.setPaths(primaryRoot_->path(), secondaryRoot_->path()) != 0) return -1;
  if (!fitsIntoTempFolder(distributor)) return -1;
  distributor.setExtraSpace(extraSpaceSoftware_.value(), extraSpaceContent_.value());
  distributor.setTemporarySpace(temporarySpaceSoftware_.value(), temporarySpaceContent_.value());
  Distribution distribution;
  if (distributor.distribute(updates_, distribution) != 0) return -1;
  if (!distribution.fits) {
    reportTooLittleSpace(distributor, distribution);
    return -1;
  }
  if (!downloadPackages()) return -1;
  return installUpdates();
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
      updates_.push_back(&update);
    }
    if (!description.getUpdates().front().hasLocation()) {
      ErrorReport(1098, u"This older package is not first and is not the only one!").save();
      return false;
    }
  }
  return true;
}

bool InstallPackageRunner::fitsIntoTempFolder(const UpdateDistributor& distributor) const {
  std::vector<std::int64_t> sizes;
  for (const ContentEntry& package : command_.packages)
    sizes.push_back(static_cast<std::int64_t>(package.fileSize));
  bool fits = false;
  if (distributor.checkTemporarySpace(sizes, fits) != 0) return false;
  if (!fits) ErrorReport(1099).percent(104).pathAndDrive(userTempFolder).save();
  return fits;
}

void InstallPackageRunner::reportTooLittleSpace(const UpdateDistributor& distributor,
                                                const Distribution& distribution) const {
  SpaceFigures figures{.missingSoftware = distribution.deficitSoftware,
                       .missingContent = distribution.deficitContent,
                       .neededSoftware = distribution.neededSoftware,
                       .neededContent = distribution.neededContent};
  distributor.getFreeSpace(primaryRoot_->path(), figures.availableSoftware);
  distributor.getFreeSpace(secondaryRoot_->path(), figures.availableContent);
  reportNotEnoughSpace(figures, locatedRoute.notEnoughSpace, command_.storageCardDriveLetter,
                       command_.secondDriveLetter, locatedRoute.spaceAfterwards);
}

bool InstallPackageRunner::downloadPackages() {
  std::vector<ProgressEntry> entries;
  for (const ContentEntry& package : command_.packages) entries.push_back({package.fileSize, {}, {}, 0});
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));
  if (command_.localInstall) return true;

  std::uint32_t position = 0;
  for (const ContentEntry& package : command_.packages) {
    ProgressObserver::instance().setPosition(position++);
    if (!downloadPackage(package, command_)) return false;
    downloadedFiles_.push_back(downloadedFilePath(package.url));
  }
  return true;
}

int InstallPackageRunner::installUpdates() {
  loadPlacementProgress();
  saveState(statPreparing, 1057);
  if (abortFilePresent()) {
    saveState(statAbort);
    return -1;
  }
  // Without a register nothing is to go, not even what would be replaced.
  const std::unique_ptr<DeviceRegister> opened = openRegister();
  if (opened == nullptr) {
    ErrorReport(1101, u"Finding a valid updates.xml file on the device failed!").save();
    return -1;
  }
  DeviceRegister& deviceRegister = *opened;
  // The register is on the device before a last status tells the user that the device may go.
  const auto fail = [&](const ErrorReport& report) {
    deviceRegister.close();
    report.save();
    return -1;
  };
  removeReplacedFiles();
  const bool placed = placeUpdates(deviceRegister);
  ProgressObserver::destroy();
  if (!placed) return fail(ErrorReport(1102, u"Failed to open updates.xml file. Update was not serialized!"));

  if (abortFilePresent()) {
    deviceRegister.close();
    static_cast<void>(deleteDownloadedFiles());
    saveState(statAbort, 1020);
    return -1;
  }
  if (!deleteDownloadedFiles())
    return fail(
        ErrorReport(1104, u"The downloaded files could not be deleted!").pathAndDrive(userTempFolder));

  UpdatesCleaner cleaner;
  if (cleaner.init(&deviceRegister.updates(), primaryRoot_->path(), secondaryRoot_->path()) != 0)
    return fail(ErrorReport(1109, u"The cleanup init process fail!"));
  if (cleaner.run() != 0) return fail(ErrorReport(1112, u"The cleanup run process fail!"));
  if (!deviceRegister.close())
    return fail(ErrorReport(1102, u"Failed to open updates.xml file. Update was not serialized!"));
  saveState(statSuccess, 1010);
  return 0;
}

// Null if the device has no register that can be used.
std::unique_ptr<DeviceRegister> InstallPackageRunner::openRegister() const {
  try {
    auto opened = std::make_unique<DeviceRegister>(primaryRoot_->path(), secondaryRoot_->path());
    if (opened->isUsable()) return opened;
  } catch (const std::exception& failure) {
    writeLog(u"The register holds text that is none: " + toReadableWide(failure.what()));
  }
  return nullptr;
}

void InstallPackageRunner::loadPlacementProgress() const {
  std::vector<ProgressEntry> entries;
  for (const ContentEntry& package : command_.packages) {
    SaturatingInt64 total;
    for (const InstallUpdate& update : package.installXml->getUpdates()) total += update.updateSize;
    entries.push_back({static_cast<std::uint64_t>(std::max<std::int64_t>(total.value(), 0)), {}, {}, 0});
  }
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));
  ProgressObserver::instance().setPosition(0);
}

// What is replaced goes before anything is placed: an update must fit on a device that has little room. The
// register is no package's to delete; what a package places there gives way to the register again.
void InstallPackageRunner::removeReplacedFiles() const {
  PathBelowRoot primary(primaryRoot_->path());
  PathBelowRoot secondary(secondaryRoot_->path());
  for (const InstallUpdate* update : updates_) {
    for (const InstallFile& file : update->files) {
      if (file.updateFlag != installFile && file.updateFlag != installFileToo &&
          file.updateFlag != deleteFile)
        continue;
      if (isRegisterPlace(file.client)) continue;
      for (PathBelowRoot* root : {&primary, &secondary})
        if (const auto path = root->joinExisting(file.client)) File_platformIndependent(*path).remove();
    }
  }
}

bool InstallPackageRunner::placeUpdates(DeviceRegister& deviceRegister) const {
  std::vector<std::unique_ptr<IUpdateInstaller>> installers;
  installers.push_back(std::make_unique<DefaultFileUpdateInstaller>());

  ProgressObserver& observer = ProgressObserver::instance();
  const auto fail = [](const InstallUpdate& update, const WideText& targetRoot, const WideText& otherRoot) {
    writeLog(u"An error occured while trying to install an update.");
    writeLog(update.localSource);
    writeLog(targetRoot);
    writeLog(otherRoot);
    return false;
  };
  const WideText* lastSource = nullptr;
  for (const InstallUpdate* update : updates_) {
    if (lastSource != nullptr && *lastSource != update->localSource)
      observer.setPosition(observer.position() + 1);
    lastSource = &update->localSource;
    const Directory_new& target = update->locationSoftware ? *primaryRoot_ : *secondaryRoot_;
    const Directory_new& other = update->locationSoftware ? *secondaryRoot_ : *primaryRoot_;

    const bool installed = std::all_of(installers.begin(), installers.end(), [&](const auto& installer) {
      return installer->install(*update, update->localSource, target.path(), primaryRoot_->path(),
                                other.path(), &observer);
    });
    const bool isLast = update == updates_.back();
    if (!installed || !deviceRegister.record(registerEntry(*update)) || (isLast && !deviceRegister.save()))
      return fail(*update, target.path(), other.path());
  }
  return true;
}

bool InstallPackageRunner::deleteDownloadedFiles() const {
  bool deleted = true;
  for (const WideText& path : downloadedFiles_) deleted = deleteDownloadedFile(path) && deleted;
  return deleted;
}

}  // namespace ZelmoraTevra
