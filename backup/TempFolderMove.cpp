#include "backup/TempFolderMove.h"

#include "backup/BackupFolder.h"
#include "backup/FolderRelation.h"
#include "backup/ShortForm.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

WideText jobFolderIn(const WideText& folder) {
  return pathIn(folder, toWide(channelName));
}

void useTempFolder(const WideText& folder) {
  userTempFolder = folder;
  workTempFolder = jobFolderIn(folder);
}

// Where the status is, whatever the user's temporary folder.
WideText systemTempFolder() {
  return platform::machine().processes->environment(u"TMP");
}

bool holds(const WideText& folder, const WideText& other) {
  return Directory_new(other).exists() && isSameOrBelowFolder(other, folder);
}

// Neither the backups nor the folder of the status go with a job's folder.
bool mayBeEmptied(const WideText& jobFolder) {
  return !holds(jobFolder, backupRootFolder) && !holds(jobFolder, systemTempFolder());
}

}  // namespace

int TempFolderMove::prepareMove(const WideText& oldFolder, const WideText& newFolder) {
  if (oldFolder.empty() || newFolder.empty() || isSameFolder(oldFolder, newFolder))
    return fail(ErrorReport(1005, u"The paths for the old and new temp folder are the same or empty!")
                    .pathAndDrive(oldFolder));
  oldFolder_ = oldFolder;
  newFolder_ = newFolder;
  ready_ = true;
  return 0;
}

int TempFolderMove::runMove() {
  if (!ready_) return 1;
  if (!Directory_new(oldFolder_).exists())
    return fail(ErrorReport(1006, u"The old temp folder does not exists!"));
  useTempFolder(oldFolder_);
  if (!isValidNewFolder())
    return fail(ErrorReport(1008, u"The path provide for the new temporary folder is not valid!")
                    .percent(109)
                    .pathAndDrive(newFolder_));
  if (!makeNewFolder())
    return fail(
        ErrorReport(1009, u"The ZELMORATevra_tmp folder could not be created!").pathAndDrive(newFolder_));
  useTempFolder(newFolder_);
  clearOldFolder();
  StatusXml::instance().setDescription(newFolder_);
  saveState(statSuccess, 1010);
  return 0;
}

// The two jobs' folders are emptied: neither may hold the other place.
bool TempFolderMove::isValidNewFolder() const {
  return Directory_new(newFolder_).exists() && !isSameOrBelowFolder(newFolder_, jobFolderIn(oldFolder_)) &&
         !isSameOrBelowFolder(oldFolder_, jobFolderIn(newFolder_));
}

bool TempFolderMove::makeNewFolder() const {
  const WideText path = jobFolderIn(newFolder_);
  // A job's name that leads elsewhere would have that emptied.
  if (!isBackupName(toWide(channelName)) || !mayBeEmptied(path)) return false;
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  if (isLinkAt(path)) disk.removeFile(path, error);
  Directory_new(path).remove();
  // Fails if something of the old one is left.
  return disk.createFolder(path, error);
}

void TempFolderMove::clearOldFolder() const {
  const WideText path = jobFolderIn(oldFolder_);
  if (isSameFolder(path, workTempFolder)) return;
  if (!mayBeEmptied(path)) {
    writeLog(u"The old temp folder holds the backups or the status and stays: " + path);
    return;
  }
  Directory_new folder(path);
  const WideText inUse = jobFolderIn(systemTempFolder());
  const bool staysInUse = shortForm(path) == shortForm(inUse) || isSameFolder(path, inUse);
  if (!isLinkAt(path)) folder.removeContent();
  if (!staysInUse) folder.remove();
}

}  // namespace ZelmoraTevra
