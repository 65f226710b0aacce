#include "userdata/UploadFilesRunner.h"

#include <optional>
#include <set>
#include <vector>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "device/DeviceSettings.h"
#include "device/DeviceSoftware.h"
#include "platform/Machine.h"
#include "userdata/FileUploader.h"

namespace ZelmoraTevra {

namespace {

// Beside the program, as it was installed.
WideText settingsFile() {
  return parentFolder(platform::machine().processes->modulePath()) + u"/../etc/Tevra/UploaderSettings.xml";
}

// What is there of the files and folders of a table, with full paths. What would leave the device by its path
// or through a link isn't there.
std::vector<SettingsFile> presentFiles(const WideText& root, const std::vector<SettingsFile>& files,
                                       const std::vector<WideText>& folders) {
  std::vector<SettingsFile> present;
  PathBelowRoot device(root);
  for (const SettingsFile& file : files) {
    const std::optional<WideText> path = device.joinExisting(file.path);
    if (path && File_platformIndependent(*path).exists())
      present.push_back({root + u'/' + file.path, file.doNotDelete});
  }
  // By whatever name, a folder is listed once.
  std::set<platform::FileIdentity> listed;
  for (const WideText& name : folders) {
    const std::optional<WideText> path = device.joinExisting(name);
    if (!path) continue;
    const std::optional<platform::FileIdentity> identity = File_platformIndependent(*path).identity();
    const Directory_new folder(path->substr(0, path->find_last_not_of(u"/\\") + 1));
    if (!identity || !folder.exists() || !listed.insert(*identity).second) continue;
    std::vector<WideText> found;
    static_cast<void>(folder.files(found, false));
    for (const WideText& file : found) present.push_back({file, u"0"});
  }
  return present;
}

void logFiles(const std::vector<SettingsFile>& files) {
  if (!BackendLogger::instance().isActive()) return;
  writeLog(files.empty() ? u"No files for upload!" : u"Files to be uploaded:");
  for (const SettingsFile& file : files) writeLog(file.path);
}

// A file that has gone since it was found is as one that never was. One that gives no answer is a failure.
bool addFiles(FileUploader& uploader, const std::vector<SettingsFile>& files) {
  for (const SettingsFile& file : files) {
    if (uploader.addFile(file.path, file.doNotDelete) == 0) continue;
    if (File_platformIndependent(file.path).isCertainlyMissing()) continue;
    writeLog(u"Fail to read " + file.path);
    return false;
  }
  return true;
}

}  // namespace

int UploadFilesRunner::init(const CommandRecord& record) {
  root_ = record.storageCardDriveLetter;
  url_ = record.uploadUrl;
  inlineTable_ = record.defaultDeviceSettings;
  return 0;
}

int UploadFilesRunner::run() {
  const std::optional<ClientSoftware> software = readDeviceSoftware(root_);
  if (!software) return 0;
  std::vector<SettingsFile> files;
  std::vector<WideText> folders;
  if (readDeviceSettings(settingsFile(), "uploaderSettings", *software, files, folders, inlineTable_.get()) !=
      0)
    return -1;
  const std::vector<SettingsFile> present = presentFiles(root_, files, folders);
  logFiles(present);

  FileUploader uploader;
  if (uploader.initialise(url_) != 0) return -1;
  if (!addFiles(uploader, present)) return -1;
  if (!Directory_new(root_).exists()) {
    writeLog(u"The device has gone: " + root_);
    return -1;
  }
  return uploader.uploadAll() == 0 ? 0 : -1;
}

}  // namespace ZelmoraTevra
