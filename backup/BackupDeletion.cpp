#include "backup/BackupDeletion.h"

#include <algorithm>
#include <vector>

#include "backup/BackupFolder.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

bool isLink(const WideText& path) {
  platform::ErrorCode error;
  return platform::machine().files->isLink(path, error);
}

// In the order in which they are deleted.
std::vector<WideText> filesOf(const Directory_new& folder) {
  std::vector<WideText> files;
  // What a link leads to isn't the backup's.
  if (isLink(folder.path())) return files;
  folder.files(files, true);
  const WideText description = folder.path() + u'\\' + lastComponent(folder.path()) + u".xml";
  const auto found = std::find(files.begin(), files.end(), description);
  if (found != files.end()) std::rotate(found, found + 1, files.end());
  return files;
}

}  // namespace

int BackupDeletion::findBackup(const WideText& name) {
  saveState(statPreparing, 1057);
  const WideText folder = backupRootFolder + u'\\' + name;
  if (isBackupName(name) && Directory_new(folder).exists()) {
    folder_ = folder;
    return 0;
  }
  writeLog(u"Backup folder does not exists: " + folder);
  // The percent is a marker to the front end.
  ErrorReport(1147, folder)
      .percent(101)
      .description(u"The specified backup could not be found.")
      .pathAndDrive(folder)
      .save();
  return -1;
}

int BackupDeletion::deleteBackup() const {
  if (!folder_) return 1;
  Directory_new folder(*folder_, false);
  for (const WideText& path : filesOf(folder)) {
    StatusXml& status = StatusXml::instance();
    status.setDescription(lastComponent(path));
    status.setDescription(path);
    saveState(statDeleteInProgress, 1173);
    File_platformIndependent(path).remove();
  }
  folder.remove();
  if (folder.exists()) {
    ErrorReport(1023, u"The backup could not be deleted.").pathAndDrive(folder.path()).save();
    return -1;
  }
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
