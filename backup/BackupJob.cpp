#include "backup/BackupJob.h"

#include <random>
#include <utility>

#include "backup/BackupCopy.h"
#include "backup/BackupFolder.h"
#include "backup/BackupIdentity.h"
#include "backup/FolderRelation.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "platform/AbsolutePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// What ends a run that has begun is the number of its report, and -1 one that hasn't.
int fail(int exitCode, const ErrorReport& report) {
  report.save();
  return exitCode;
}

int failDescription() {
  return fail(1068, ErrorReport(1068, u"The xml description backup could not be saved!"));
}

// Without separators at the end, which would make another text of each path below.
WideText folderText(const WideText& folder) {
  const WideView shortened = platform::withoutSeparatorsAtEnd(folder);
  return WideText(shortened.empty() ? WideView(folder) : shortened);
}

// A number that no other backup's name ends in.
WideText uniqueSuffix() {
  std::random_device random;
  return numberText(platform::machine().clock->tickMilliseconds()) + numberText(random());
}

}  // namespace

BackupJob::~BackupJob() {
  if (oldBackupAside_.empty()) return;
  const WideText from = backupFolder(oldBackupAside_);
  const WideText to = backupFolder(name_);
  platform::ErrorCode error;
  if (!platform::machine().files->rename(from, to, error))
    writeLog(u"Rename from " + from + u" to " + to + u" fail!");
}

int BackupJob::prepareBackup(const WideText& source, const WideText& name, const WideText& secondary,
                             bool personal) {
  if (source.empty() || name.empty())
    return fail(ErrorReport(1049, u"The path to the client folder, or the backup name is empty!"));
  if (!Directory_new(source).exists()) return fail(ErrorReport(1050, u"The source folder doesn't exists!"));
  if (!secondary.empty() && !Directory_new(secondary).exists())
    return fail(ErrorReport(1051, u"The secondary path is provided but the directory does not exists!")
                    .pathAndDrive(secondary));
  sourceFolder_ = folderText(source);
  secondaryFolder_ = folderText(secondary);
  name_ = name;
  personal_ = personal;
  description_.name = name;
  description_.personalBackup = personal ? u"true" : u"false";
  if (describeDevice(source, description_) != 0) return -1;

  const WideText folder = backupFolder(name_);
  if (Directory_new(folder).exists()) {
    BackupDescription old;
    if (readBackupIdentity(folder, name_, old) != 0) return -1;
    if (!isSameDevice(description_, old))
      return fail(
          ErrorReport(1052, u"The backup name already exist, please provide another name for backup!"));
    if (setOldBackupAside() != 0) return -1;
  }
  ready_ = true;
  return 0;
}

int BackupJob::setOldBackupAside() {
  const WideText aside = name_ + u'_' + uniqueSuffix();
  platform::ErrorCode error;
  // A storage that lies in the old backup would go with it.
  if (holdsStorage(backupFolder(name_)) ||
      !platform::machine().files->rename(backupFolder(name_), backupFolder(aside), error))
    return fail(ErrorReport(1060, u"The old backup could not be rename!"));
  oldBackupAside_ = aside;
  return 0;
}

int BackupJob::runBackup() {
  if (!ready_) return -1;
  saveState(statPreparing, 1057);
  if (const int failure = collectFiles(); failure != 0) return failure;
  sumFileSizes();
  if (const int failure = testRoom(); failure != 0) return failure;
  description_.converted = u"false";
  // What can't be described fails before the copy, which may take an hour.
  if (const int failure = checkDescription(description_, files_, sourceFolder_, secondaryFolder_);
      failure != 0)
    return failure;
  int failure = copyFiles();
  if (failure == 0) failure = bringToMedium();
  if (failure != 0) {
    removeNewBackupFolder();
    return failure;
  }
  if (failure = describe(); failure != 0) return failure;
  removeSupersededBackups();
  saveState(statSuccess, 1010);
  ProgressObserver::destroy();
  return 0;
}

int BackupJob::collectFiles() {
  const PersonalFilter* const filter = personal_ ? &personalFilter_ : nullptr;
  if (!listStorage(sourceFolder_, filter, files_))
    return fail(1056, ErrorReport(1056, u"The file from xml description does not exist!"));
  if (!secondaryFolder_.empty() && !listStorage(secondaryFolder_, filter, files_))
    return fail(1162, ErrorReport(1162, u"The file from xml description does not exist!"));
  return 0;
}

void BackupJob::sumFileSizes() {
  description_.size += sumOfSizes(files_);
}

int BackupJob::testRoom() const {
  const Directory_new root(backupRootFolder);
  const std::int64_t free = root.freeSpace();
  if (free < 0)
    return fail(1058, ErrorReport(1058, u"The backup folder does not exist!").pathAndDrive(backupRootFolder));
  if (static_cast<std::uint64_t>(free) < description_.size)
    return fail(
        1059,
        ErrorReport(1059, u"The files could'n fit to the backup folder!").pathAndDrive(backupRootFolder));
  return 0;
}

int BackupJob::copyFiles() {
  const WideText folder = backupFolder(name_);
  platform::ErrorCode error;
  ownsNewFolder_ = platform::machine().files->createFolder(folder, error);
  if (!ownsNewFolder_)
    return fail(1055, ErrorReport(1055, u"The backup folder could not be created!")
                          .attribute(u"FILE", toForwardSlashes(folder)));
  markUnfinished(folder);
  return BackupCopy(sourceFolder_, secondaryFolder_, folder).run(files_);
}

// Before older backups go, the new one has to be where no power cut takes it away. Where none goes, it costs
// nobody anything if the system takes its time.
int BackupJob::bringToMedium() {
  superseded_ = findSupersededBackups();
  if (!replacesBackups() || Directory_new(backupRootFolder).syncVolume()) return 0;
  return fail(1065, ErrorReport(1065, u"An error occurred at the copy process!" + backupFolder(name_)));
}

int BackupJob::describe() {
  if (const int failure = writeBackupDescription(description_, files_, sourceFolder_, secondaryFolder_);
      failure != 0)
    return failure;
  // Without a description it could be taken for an old one that is to be converted, and a good one bears no
  // mark.
  if (!removeUnfinishedMark(backupFolder(name_))) return failDescription();
  if (!replacesBackups() || Directory_new(backupFolder(name_)).syncEntries()) return 0;
  return failDescription();
}

int BackupJob::removeSupersededBackups() {
  if (!oldBackupAside_.empty()) removeBackup(backupFolder(oldBackupAside_), name_);
  oldBackupAside_.clear();
  for (const WideText& name : superseded_) removeBackup(backupFolder(name), name);
  superseded_.clear();
  return 0;
}

void BackupJob::removeNewBackupFolder() {
  if (ownsNewFolder_) removeBackup(backupFolder(name_), name_);
  ownsNewFolder_ = false;
}

std::vector<WideText> BackupJob::findSupersededBackups() const {
  std::vector<platform::FolderEntry> entries;
  platform::ErrorCode error;
  platform::machine().files->list(backupRootFolder, entries, error);
  std::vector<WideText> superseded;
  for (const platform::FolderEntry& entry : entries) {
    if (entry.kind != platform::EntryKind::folder || entry.name == name_) continue;
    const WideText folder = backupFolder(entry.name);
    BackupDescription old;
    if (findBackupIdentity(folder, entry.name, old) && isSameDevice(description_, old) &&
        !holdsStorage(folder))
      superseded.push_back(entry.name);
  }
  return superseded;
}

bool BackupJob::holdsStorage(const WideText& folder) const {
  return isSameOrBelowFolder(sourceFolder_, folder) || isSameOrBelowFolder(secondaryFolder_, folder);
}

}  // namespace ZelmoraTevra
