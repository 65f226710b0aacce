#include "install/UpdateInstallation.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "core/BackendLogger.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/DefaultFileUpdateInstaller.h"
#include "install/DefaultXmlUpdateInstaller.h"
#include "install/InstallValidator.h"
#include "install/InstallationRegister.h"
#include "install/PackageDownload.h"
#include "install/PlacingMark.h"
#include "install/UpdatesCleaner.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// A look at the front end's abort file at a point where the device is whole. The front end is given time to
// write one, from the making of this object on, in which work may go on that an abort needs as well. What the
// file says isn't read.
class AbortGrace {
 public:
  [[nodiscard]] bool abortFilePresent() const {
    platform::Clock& clock = *platform::machine().clock;
    const std::uint32_t passed = clock.tickMilliseconds() - start_;
    if (passed < milliseconds) clock.sleepMilliseconds(milliseconds - passed);
    File_platformIndependent file(StatusXml::instance().abortFilePath());
    if (!file.exists()) return false;
    file.remove();
    return true;
  }

 private:
  static constexpr std::uint32_t milliseconds = 200;

  std::uint32_t start_ = platform::machine().clock->tickMilliseconds();
};

ErrorReport reportOf(const CodedMessage& failure) {
  return ErrorReport(failure.exitCode, WideText(failure.message));
}

// The zips from which updates are placed.
class Zips {
 public:
  explicit Zips(const std::vector<InstallUpdate*>& updates) {
    const WideText* last = nullptr;
    for (const InstallUpdate* update : updates) {
      if (last != nullptr && *last == update->localSource) continue;
      last = &update->localSource;
      pathsByName_.emplace(nameOf(platform::machine().files->resolved(*last)), *last);
    }
  }

  // Few files of a device are called as a zip is, so that the disk is hardly ever asked.
  [[nodiscard]] bool contain(const WideText& path) const {
    const auto [first, behind] = pathsByName_.equal_range(nameOf(path));
    return std::any_of(first, behind,
                       [&](const auto& zip) { return File_platformIndependent(zip.second).isSameAs(path); });
  }

 private:
  static WideText nameOf(const WideText& path) { return comparablePath(lastComponent(path)); }

  std::multimap<WideText, WideText> pathsByName_;
};

Update registerEntry(const InstallUpdate& update) {
  Update entry;
  entry.info.company = update.company;
  entry.info.name = update.name;
  entry.info.version = update.version;
  entry.info.update = static_cast<std::int32_t>(update.update);
  entry.info.uninstall = static_cast<std::int32_t>(update.uninstall);
  entry.info.installLocation = update.locationContent ? u"storage_for_content" : u"storage_for_software";
  for (const InstallFile& file : update.files)
    if (!isRegisterPlace(file.client)) entry.files.push_back({file.client, file.updateFlag});
  for (const InstallXmlEntry& xml : update.xmlEntries)
    entry.xmlEntries.push_back({xml.file, xml.creationFlag, xml.base, xml.condition});
  return entry;
}

// Updates of one job may place the same file: the last one is what is to be on the device. One that was
// placed under the same path on the other storage may have been taken away for it.
void dropReplacedRecords(std::vector<ValidationRecord>& records) {
  std::set<WideText> places;
  std::set<WideText> paths;
  std::vector<ValidationRecord> kept;
  for (auto record = records.rbegin(); record != records.rend(); ++record) {
    const WideText path = comparablePath(record->clientPath);
    const bool isFirstOfPlace = places.insert(record->targetRoot + u'\\' + path).second;
    const bool isFirstOfPath = paths.insert(path).second;
    const bool mayBeGone = !isFirstOfPath && isFirstOfPlace;
    const WideText file = record->targetRoot + u'\\' + record->clientPath;
    if (isFirstOfPlace && !(mayBeGone && File_platformIndependent(file).isCertainlyMissing()))
      kept.push_back(std::move(*record));
  }
  std::reverse(kept.begin(), kept.end());
  records = std::move(kept);
}

}  // namespace

int UpdateInstallation::run() {
  loadPlacementProgress();
  saveState(statPreparing, 1057);
  if (AbortGrace().abortFilePresent()) {
    saveState(statAbort);
    return -1;
  }
  InstallationRegister deviceRegister(plan_.primaryRoot, plan_.secondaryRoot);
  if (plan_.emptyDevice) {
    if (!plan_.emptyDevice()) return -1;
  } else if (!deviceRegister.open()) {
    // Without a register nothing is to go, not even what would be replaced.
    reportOf(reports_.noRegister).save();
    return -1;
  }
  return install(deviceRegister);
}

int UpdateInstallation::install(InstallationRegister& deviceRegister) {
  // The register is on the device before a last status tells the user that the device may go.
  const auto fail = [&](const ErrorReport& report) {
    deviceRegister.close();
    report.save();
    return -1;
  };
  removeReplacedFiles();
  const bool placed = placeUpdates(deviceRegister);
  ProgressObserver::destroy();
  if (!placed) return fail(reportOf(reports_.notRecorded));
  if (!deviceRegister.settle()) return fail(reportOf(reports_.noRegister));

  InstallValidator validator;
  InstallValidator::Result validity = InstallValidator::sound;
  if (plan_.checkHashFile) {
    saveState(statHaskValidation, reports_.validating);
    // A failure shows again at the end; a device that has gone is the validation's to tell.
    deviceRegister.bringToDevice();
    dropReplacedRecords(validationRecords_);
    validator.begin(validationRecords_);
    validity = validator.run();
  }
  const AbortGrace grace;
  if (plan_.checkHashFile) static_cast<void>(deleteDownloadedFiles());
  if (validity == InstallValidator::stopped) return -1;
  if (validity == InstallValidator::damaged) {
    reportDamagedFiles(validator.getDeviceMismatches(), reports_.damaged);
    return -1;
  }
  validator.end();
  // What is on the device is known for certain before anything is taken for gone.
  const bool broughtToDevice = deviceRegister.bringToDevice();
  const bool deleted = deleteDownloadedFiles();
  if (grace.abortFilePresent() || validity == InstallValidator::aborted) {
    deviceRegister.close();
    saveState(statAbort, 1020);
    return -1;
  }
  if (!deleted) return fail(reportOf(reports_.notDeleted).pathAndDrive(userTempFolder));
  if (!broughtToDevice) return fail(reportOf(reports_.notRecorded));

  // The register is there by now, so that the first of the two failures doesn't come about.
  UpdatesCleaner cleaner;
  if (cleaner.init(&deviceRegister.updates(), plan_.primaryRoot, plan_.secondaryRoot) != 0)
    return fail(reportOf(reports_.cleanupNotStarted));
  if (cleaner.run() != 0) return fail(reportOf(reports_.cleanupFailed));
  if (!deviceRegister.close()) return fail(reportOf(reports_.notRecorded));
  saveState(statSuccess, 1010);
  return 0;
}

void UpdateInstallation::loadPlacementProgress() const {
  std::vector<ProgressEntry> entries;
  for (const ContentEntry& package : plan_.packages) {
    SaturatingInt64 total;
    for (const InstallUpdate& update : package.installXml->getUpdates()) total += update.updateSize;
    entries.push_back({static_cast<std::uint64_t>(std::max<std::int64_t>(total.value(), 0)), {}, {}, 0});
  }
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));
  ProgressObserver::instance().setPosition(0);
}

// What is replaced goes before anything is placed: an update must fit on a device that has little room. The
// register is no package's to delete; what a package places there gives way to the register again. Nor is a
// zip that the user keeps on the device a package's to delete.
void UpdateInstallation::removeReplacedFiles() const {
  PathBelowRoot primary(plan_.primaryRoot);
  PathBelowRoot secondary(plan_.secondaryRoot);
  const Zips zips(plan_.updates);
  for (const InstallUpdate* update : plan_.updates) {
    for (const InstallFile& file : update->files) {
      if (file.updateFlag != installFile && file.updateFlag != installFileToo &&
          file.updateFlag != deleteFile)
        continue;
      if (isRegisterPlace(file.client)) continue;
      for (PathBelowRoot* root : {&primary, &secondary})
        if (const auto path = root->joinInPresentFolder(file.client); path && !zips.contain(*path)) {
          File_platformIndependent(*path).remove();
          removePlacingMark(*path);
        }
    }
  }
}

// The last device file with merged entries is written when there are no more updates.
bool UpdateInstallation::placeUpdates(InstallationRegister& deviceRegister) {
  std::vector<std::unique_ptr<IUpdateInstaller>> installers;
  installers.push_back(plan_.checkHashFile ? std::make_unique<DefaultFileUpdateInstaller>(validationRecords_)
                                           : std::make_unique<DefaultFileUpdateInstaller>());
  installers.push_back(std::make_unique<DefaultXmlUpdateInstaller>());

  ProgressObserver& observer = ProgressObserver::instance();
  const auto fail = [](const InstallUpdate& update, const WideText& targetRoot, const WideText& otherRoot) {
    writeLog(u"An error occured while trying to install an update.");
    writeLog(update.localSource);
    writeLog(targetRoot);
    writeLog(otherRoot);
    return false;
  };
  const WideText* lastSource = nullptr;
  for (const InstallUpdate* update : plan_.updates) {
    if (lastSource != nullptr && *lastSource != update->localSource)
      observer.setPosition(observer.position() + 1);
    lastSource = &update->localSource;
    const WideText& target = update->locationSoftware ? plan_.primaryRoot : plan_.secondaryRoot;
    const WideText& other = update->locationSoftware ? plan_.secondaryRoot : plan_.primaryRoot;

    const bool installed = std::all_of(installers.begin(), installers.end(), [&](const auto& installer) {
      return installer->install(*update, update->localSource, target, plan_.primaryRoot, other, &observer);
    });
    const bool isLast = update == plan_.updates.back();
    if (!installed || !deviceRegister.record(registerEntry(*update)) || (isLast && !deviceRegister.save()))
      return fail(*update, target, other);
  }
  return std::all_of(installers.begin(), installers.end(),
                     [](const auto& installer) { return installer->finish(); });
}

bool UpdateInstallation::deleteDownloadedFiles() const {
  bool deleted = true;
  for (const WideText& path : plan_.downloadedFiles) deleted = deleteDownloadedFile(path) && deleted;
  return deleted;
}

}  // namespace ZelmoraTevra
