#include "backup/TempFolderMove.h"

#include "backup/BackupFolder.h"
#include "backup/FolderRelation.h"
#include "backup/ShortForm.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

int fail(const ErrorReport& report) {
  report.save();
  return -1;
}

WideText jobFolderIn(const WideText& folder) {
  return pathIn(folder, toWide(channelName));
}

void useTempFolder(const WideText& folder) {
  userTempFolder = folder;
  workTempFolder = jobFolderIn(folder);
}

// Where the status is, whatever the user's temporary folder.
WideText defaultPlace() {
  return jobFolderIn(platform::machine().processes->environment(u"TMP"));
}

bool holdsBackups(const WideText& folder) {
  return Directory_new(backupRootFolder).exists() && isSameOrBelowFolder(backupRootFolder, folder);
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
  if (!isBackupName(toWide(channelName)) || holdsBackups(path)) return false;
  platform::ErrorCode error;
  if (isLinkAt(path)) platform::machine().files->removeFile(path, error);
  Directory_new folder(path);
  folder.remove();
  return folder.create();
}

void TempFolderMove::clearOldFolder() const {
  const WideText path = jobFolderIn(oldFolder_);
  if (isSameFolder(path, workTempFolder)) return;
  if (holdsBackups(path)) {
    writeLog(u"The old temp folder holds the backups and stays: " + path);
    return;
  }
  Directory_new folder(path);
  const WideText inUse = defaultPlace();
  const bool staysInUse = shortForm(path) == shortForm(inUse) || isSameFolder(path, inUse);
  if (!isLinkAt(path)) folder.removeContent();
  if (!staysInUse) folder.remove();
}

}  // namespace ZelmoraTevra
