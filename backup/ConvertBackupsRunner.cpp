#include "backup/ConvertBackupsRunner.h"

#include <tinyxml.h>

#include <algorithm>
#include <string>
#include <vector>

#include "backup/BackupDescription.h"
#include "backup/BackupFolder.h"
#include "backup/BackupIdentity.h"
#include "backup/StorageListing.h"
#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/EditableXml.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/ReplaceFileContent.h"
#include "core/Text.h"
#include "device/ClientVersionXmlFile.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// What the tree of the main storage was called once.
constexpr WideView formerSoftwareFolderName = u"single";

int fail(int exitCode, WideText message) {
  ErrorReport(exitCode, std::move(message)).save();
  return exitCode;
}

bool holdsVersionFile(const WideText& folder) {
  PathBelowRoot paths(folder);
  const auto isFile = [&](WideView tree, WideView layout) {
    const auto path = paths.joinExisting(WideText(tree).append(layout).append(u"/version.xml"));
    return path && File_platformIndependent(*path).exists();
  };
  return isFile(formerSoftwareFolderName, u"/ZELMORA") || isFile(formerSoftwareFolderName, u"/KD3") ||
         isFile(softwareFolderName, u"/ZELMORA") || isFile(softwareFolderName, u"/KD3");
}

// A backup that a job had set aside under its name and a number when it was killed.
bool isSetAside(const WideText& name) {
  const std::size_t end = name.rfind(u'_');
  BackupDescription ignored;
  return end != WideText::npos && name.find_first_not_of(u"0123456789", end + 1) == WideText::npos &&
         findBackupIdentity(backupFolder(name), name.substr(0, end), ignored);
}

// What a job that was killed has left: not all of it is there, or it has a description under another name.
bool isLeftover(const WideText& name) {
  return isMarkedUnfinished(backupFolder(name)) || isSetAside(name);
}

// A name that is no valid text could not be told in a description.
bool canNameBackup(const WideText& name) {
  return isBackupName(name) && toWide(toReadableUtf8(name)) == name;
}

int convertFolder(const WideText& name) {
  if (!canNameBackup(name)) {
    writeLog(u"No backup has such a name: " + backupFolder(name));
    return 0;
  }
  const WideText description = descriptionPath(backupFolder(name), name);
  if (!File_platformIndependent(description).isCertainlyMissing()) {
    upgradeDescription(description);
    return 0;
  }
  return holdsVersionFile(backupFolder(name)) && !isLeftover(name) ? convertOneBackup(name) : 0;
}

bool renameFormerTree(const WideText& folder) {
  const WideText from = folder + u'/' + WideText(formerSoftwareFolderName);
  if (!Directory_new(from).exists()) return true;
  // A folder that is there already would be replaced if it were empty.
  const WideText to = folder + u'/' + WideText(softwareFolderName);
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  return File_platformIndependent(to).isCertainlyMissing() && !disk.isLink(to, error) &&
         disk.rename(from, to, error);
}

}  // namespace

int ConvertBackupsRunner::init(const CommandRecord& /*record*/) {
  return 0;
}

int ConvertBackupsRunner::run() {
  return convertBackups();
}

int convertBackups() {
  saveState(statPreparing, 1057);
  std::vector<WideText> folders;
  if (!Directory_new(backupRootFolder).folders(folders, false))
    return fail(1069, u"The backup folder does not exists!");
  ProgressObserver& progress = ProgressObserver::instance();
  progress.load({{folders.size(), {}, {}, 0}});
  for (const WideText& folder : folders) {
    progress.addProgress(1, statConvertBackupInProgress);
    if (const int failure = convertFolder(lastComponent(folder)); failure != 0) return failure;
  }
  saveState(statSuccess, 1010);
  ProgressObserver::destroy();
  return 0;
}

int convertOneBackup(const WideText& name) {
  const WideText folder = backupFolder(name);
  if (!Directory_new(folder).exists()) return fail(1069, u"The backup folder does not exists!");
  if (!renameFormerTree(folder)) return fail(1070, u"Error on converting old backup!");

  // What is listed is what stays.
  const WideText source = folder + u'/' + WideText(softwareFolderName);
  recoverVersionFile(source);
  removeUnfinishedContent(descriptionPath(folder, name));
  BackupFiles files;
  if (!listStorage(folder, nullptr, files))
    return fail(1056, u"The file from xml description does not exist!");
  BackupDescription description;
  description.name = name;
  description.size = sumOfSizes(files);
  description.personalBackup = u"false";
  description.converted = u"true";
  if (const int failure = describeDevice(source, description); failure != 0) return failure;
  return writeBackupDescription(description, files, source, folder + u'/' + WideText(contentFolderName));
}

void upgradeDescription(const WideText& path) {
  TiXmlDocument document;
  if (!loadEditableXml(path, document)) return;
  TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  TiXmlElement* const backup = contents != nullptr ? contents->FirstChildElement("backup") : nullptr;
  if (backup == nullptr) return;
  // In the place of the former elements and with all that they hold.
  TiXmlElement* const hardwareId = backup->FirstChildElement("id");
  TiXmlElement* const deviceUid = backup->FirstChildElement("productid");
  if (hardwareId == nullptr || deviceUid == nullptr) return;
  hardwareId->SetValue("hardwareID");
  deviceUid->SetValue("deviceUID");
  if (const auto text = printEditableXml(document)) static_cast<void>(replaceFileContent(*text, path));
}

}  // namespace ZelmoraTevra
