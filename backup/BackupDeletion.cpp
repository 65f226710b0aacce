#include "backup/BackupDeletion.h"

#include <algorithm>
#include <vector>

#include "backup/BackupFolder.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/StatusXml.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

void tell(const WideText& file) {
  StatusXml& status = StatusXml::instance();
  status.setDescription(lastComponent(file));
  status.setDescription(file);
  saveState(statDeleteInProgress, 1173);
}

// False if something is left. The description stays then, and the mark: without the one, what is left could
// be taken for an old backup, and with the other it isn't taken for anything.
bool deleteFiles(const Directory_new& folder) {
  std::vector<WideText> files;
  bool areGone = folder.files(files, true);
  const WideText inFolder = folder.path() + u'\\';
  // A mark that is there already goes with the folder itself.
  std::erase(files, inFolder + WideText(unfinishedMarkName));
  markUnfinished(folder.path());
  const WideText description = inFolder + lastComponent(folder.path()) + u".xml";
  const auto descriptions = std::stable_partition(files.begin(), files.end(), [&](const WideText& path) {
    // However the front end spells the name: for a file system upper and lower case may be the same.
    return !equalsIgnoringAsciiCase(path, description);
  });
  const auto isDeleted = [](const WideText& path) {
    tell(path);
    File_platformIndependent file(path);
    return file.remove() || file.isCertainlyMissing();
  };
  for (auto file = files.begin(); file != descriptions; ++file) areGone = isDeleted(*file) && areGone;
  return areGone && std::all_of(descriptions, files.end(), isDeleted);
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
  // What a link leads to isn't the backup's.
  if (isLinkAt(folder.path()) || deleteFiles(folder)) folder.remove();
  if (!File_platformIndependent(folder.path(), false).isCertainlyMissing()) {
    ErrorReport(1023, u"The backup could not be deleted.").pathAndDrive(folder.path()).save();
    return -1;
  }
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
