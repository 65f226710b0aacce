#include "backup/RestoreJob.h"

#include <utf8.h>

#include <algorithm>

#include "backup/BackupFolder.h"
#include "backup/BackupIdentity.h"
#include "backup/DeviceEmptying.h"
#include "backup/FolderRelation.h"
#include "backup/PresentFiles.h"
#include "backup/RestoreCopy.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

bool takesFolder(const WideText& storage) {
  const WideText probe = freeWriteProbe(storage);
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  const bool isMade = disk.createFolder(probe, error);
  disk.removeFolder(probe, error);
  return isMade;
}

// A storage that is formatted loses what it holds, which gives its room back.
SaturatingInt64 roomOf(const WideText& folder, bool isFormatted) {
  const Directory_new storage(folder);
  const SaturatingInt64 free = storage.freeSpace();
  return isFormatted ? free + storage.size() : free;
}

}  // namespace

int RestoreJob::prepareRestore(const WideText& flash, const WideText& name, const WideText& card,
                               bool disableFormatFlash, bool disableFormatCard, bool windows7) {
  const WideText flashDriveName = driveOfPath(flash);
  const WideText cardDriveName = driveOfPath(card);
  writeLog(u"Flash: " + flash);
  writeLog(u"Card: " + card);
  writeLog(u"Flash drive name: " + flashDriveName);
  writeLog(u"Card drive name: " + cardDriveName);
  // Labels of old, which those who read these logs look for: the two drives once more.
  writeLog(u"Temp: " + flashDriveName);
  writeLog(u"Backup: " + cardDriveName);

  if (flash.empty() || name.empty())
    return fail(ErrorReport(1075, u"The storage card path or the backup name are empty!"));
  const WideText folder = backupFolder(name);
  if (!isBackupName(name) || !Directory_new(folder).exists())
    return fail(ErrorReport(1076, u"The backup folder does not exist!").pathAndDrive(folder));
  if (!Directory_new(flash).exists())
    return fail(ErrorReport(1077, u"The storage card drive doesn't exists!"));
  if (!card.empty() && !Directory_new(card).exists())
    return fail(ErrorReport(1078, u"The secondary path is provided but the directory does not exists!")
                    .pathAndDrive(card));
  if (!takesFolder(flash))
    return fail(ErrorReport(1103, u"The media is write protected!").pathAndDrive(flash));
  if (!card.empty() && !takesFolder(card)) return fail(ErrorReport(1166, u"The media is write protected!"));

  flashFolder_ = flash;
  cardFolder_ = card;
  name_ = name;
  backupFolder_ = folder;
  disableFormatFlash_ = disableFormatFlash;
  disableFormatCard_ = disableFormatCard;
  windows7_ = windows7;
  ready_ = true;
  return 0;
}

int RestoreJob::runRestore() {
  if (!ready_ || readBackupDescription(name_, backup_, files_) != 0) return -1;
  readDevice();
  if (!belongsToDevice()) return -1;
  if (cardFolder_.empty() && needsCard(files_))
    return fail(ErrorReport(1080, u"This backup required the card to be inserted!"));
  if (!hasRoom()) return -1;

  const bool formats = isFullImage(backup_);
  if (formats && !survivesFormat()) return -1;
  // Until now nothing on the device has been changed, but that a version file which a killed job had left
  // beside its place may have its name again.
  if (isAborted()) return -1;
  if (formats && !formatStorages()) return -1;
  if (indicatorFile_) indicatorFile_->write(flashFolder_);

  const int result = RestoreCopy(backupFolder_, flashFolder_, cardFolder_).run(files_);
  ProgressObserver::destroy();
  if (result == 0) saveState(statSuccess, 1010);
  return result;
}

// A device without a version file stays unknown, and so does one in whose version file a text is none: it may
// be what the backup is to put right.
void RestoreJob::readDevice() {
  try {
    static_cast<void>(readDeviceIdentity(flashFolder_, device_));
  } catch (const utf8::exception&) {
    device_ = {};
  }
}

bool RestoreJob::belongsToDevice() const {
  const WideText message = u"The backup you want to restore is not compatible with the software device!";
  switch (matchOf(backup_, device_)) {
    case BackupMatch::fits:
      return true;
    case BackupMatch::otherDevice:
      return refuse(ErrorReport(1079, message));
    case BackupMatch::otherModel:
      break;
  }
  return refuse(ErrorReport(1163, message));
}

bool RestoreJob::hasRoom() {
  const bool formats = isFullImage(backup_);
  PathBelowRoot onFlash(flashFolder_);
  PathBelowRoot onCard(cardFolder_);
  const auto presentBytes = [&](Storage storage, const WideText& relativePath) -> std::int64_t {
    if (formats) return 0;
    PathBelowRoot& below = storage == Storage::flash ? onFlash : onCard;
    const std::optional<WideText> path = below.joinInPresentFolder(relativePath);
    return path ? std::max<std::int64_t>(File_platformIndependent(*path).size(), 0) : 0;
  };
  const std::optional<StorageAmounts> need = needOf(files_, presentBytes);
  if (!need) {
    const int exitCode = formats ? 1087 : 1164;
    return refuse(ErrorReport(
        exitCode,
        u"The storage_for_software or storage_for_content strings was not find in the file relative path!"));
  }
  room_.flash = roomOf(flashFolder_, formats);
  if (!cardFolder_.empty()) room_.card = roomOf(cardFolder_, formats);
  return fitsInto(*need);
}

bool RestoreJob::fitsInto(const StorageAmounts& need) const {
  const std::optional<Storage> full = storageWithoutRoom(need, room_, !cardFolder_.empty());
  if (!full) return true;
  // The percent is a marker to the front end.
  return refuse(
      ErrorReport(1081, u"The backup not fit to device!").percent(110).pathAndDrive(folderOf(*full)));
}

// Behind the format there is no other copy: what would then be missing, or have no room or no place, is found
// out now.
bool RestoreJob::survivesFormat() const {
  for (const WideText& storage : {flashFolder_, cardFolder_}) {
    if (storage.empty()) continue;
    const bool isFormattedAway = isSameOrBelowFolder(backupFolder_, storage) ||
                                 isSameOrBelowFolder(backupRootFolder, storage) ||
                                 isSameOrBelowFolder(storage, backupFolder_);
    if (isFormattedAway) return failOnSource(backupFolder_) == 0;
  }
  if (!mayBeEmptied({flashFolder_, cardFolder_})) return failOnFormat();
  PresentFiles sources(backupFolder_);
  StorageAmounts need;
  for (const auto& [path, entry] : files_) {
    const std::optional<StoragePlace> place = placeOnDevice(path);
    if (!place && beginsWithStorage(path)) return failOnPlace(backupFolder_) == 0;
    File_platformIndependent file(backupFolder_ + u'/' + path);
    if (!sources.has(path) || !file.open()) return failOnSource(backupFolder_) == 0;
    if (place) need.of(place->storage) += file.openSize();
  }
  return fitsInto(need);
}

bool RestoreJob::formatStorages() const {
  saveState(statDeleteInProgress, 1086);
  return emptyDevice({.primaryDrive = flashFolder_,
                      .secondaryDrive = cardFolder_,
                      .keepPrimaryFormat = disableFormatFlash_,
                      .keepSecondaryFormat = disableFormatCard_,
                      .windows7 = windows7_});
}

bool RestoreJob::isAborted() const {
  StatusXml& status = StatusXml::instance();
  status.checkAbort();
  if (!*status.abortRequested()) return false;
  ProgressObserver::instance().reportAbort({});
  ProgressObserver::destroy();
  return true;
}

const WideText& RestoreJob::folderOf(Storage storage) const {
  return storage == Storage::flash ? flashFolder_ : cardFolder_;
}

}  // namespace ZelmoraTevra
