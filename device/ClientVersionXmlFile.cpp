#include "device/ClientVersionXmlFile.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceDeviceFile.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "device/HiddenMark.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView newerFolder = u"ZELMORA";
constexpr WideView olderFolder = u"KD3";
constexpr WideView fileName = u"\\version.xml";
constexpr WideView backupFolder = u".DeviceConfigurationBackupFile";
constexpr WideView backupName = u"\\version_bkp";

// The path of a file on the device, with an interrupted replacement of it put right. Nothing if the file
// isn't there or would be reached through a link.
std::optional<WideText> existingFile(const WideText& root, WideView folder, WideView name) {
  std::optional<WideText> path = PathBelowRoot(root).join(WideText(folder).append(name));
  if (!path || !Directory_new(parentFolder(*path)).exists()) return std::nullopt;
  recoverDeviceFile(*path);
  if (!File_platformIndependent(*path).exists()) path.reset();
  return path;
}

bool hasIdentity(const TiXmlDocument& document, const std::string& section) {
  constexpr std::array names = {"brand", "platform", "version"};
  return std::all_of(names.begin(), names.end(), [&](const char* name) {
    return !lookupText(document.RootElement(), "/config/" + section + '/' + name).empty();
  });
}

bool isWellFormed(const WideText& path) {
  TiXmlDocument document;
  return loadXml(path, document);
}

}  // namespace

ClientVersionXmlFile::ClientVersionXmlFile(const WideText& rootPath) : rootPath_(rootPath) {
  if (!find() || !isVersionFileSound(filePath_)) restore();
}

bool ClientVersionXmlFile::find() {
  std::optional<WideText> path = existingFile(rootPath_, newerFolder, fileName);
  zelmoraLayout_ = path.has_value();
  if (!path) {
    path = existingFile(rootPath_, olderFolder, fileName);
    kd3Layout_ = path.has_value();
  }
  filePath_ = path.value_or(WideText());
  return path.has_value();
}

// The older folder comes first here, unlike in the search; on a device with both, the backup goes to the
// older one and both layouts are set.
void ClientVersionXmlFile::restore() {
  const std::optional<WideText> backup = existingFile(rootPath_, backupFolder, backupName);
  if (!backup) return;
  writeLog(u"Backup of version.xml will be used!");
  const bool older = Directory_new(rootPath_ + u'\\' + WideText(olderFolder)).exists();
  const WideView folder = older ? olderFolder : newerFolder;
  if (!older && !Directory_new(rootPath_ + u'\\' + WideText(newerFolder)).exists()) return;

  const std::optional<WideText> path = PathBelowRoot(rootPath_).join(WideText(folder).append(fileName));
  if (!path || !isWellFormed(*backup) || !replaceDeviceFile(*backup, *path, u"Version xml file")) return;
  filePath_ = *path;
  (older ? kd3Layout_ : zelmoraLayout_) = true;
  writeLog(u"Backuped to path: " + filePath_);
}

void recoverVersionFile(const WideText& rootPath) {
  for (const WideView folder : {newerFolder, olderFolder})
    static_cast<void>(existingFile(rootPath, folder, fileName));
}

WideText newerVersionFilePath(const WideText& rootPath) {
  return (rootPath + u'\\').append(newerFolder).append(fileName);
}

bool isVersionFileSound(const WideText& path) {
  TiXmlDocument document;
  return loadXml(path, document) && (hasIdentity(document, "software") || hasIdentity(document, "kd3"));
}

void backUpVersionFile(const IVersionXmlFile& versionFile) {
  const std::optional<WideText> backup =
      PathBelowRoot(versionFile.getRootPath()).join(WideText(backupFolder).append(backupName));
  if (!backup) return;
  const WideText folder = parentFolder(*backup);
  if (!Directory_new(folder).createAllLevels()) return;
  setHiddenMark(folder);
  recoverDeviceFile(*backup);
  static_cast<void>(replaceDeviceFile(versionFile.getFilePath(), *backup, u"Version xml backup"));
}

WideText readUserSettingsDate(const IVersionXmlFile& versionFile) {
  if (!versionFile.isZelmoraLayout() && !versionFile.isKd3Layout()) return {};
  const WideText folder =
      WideText(versionFile.isZelmoraLayout() ? newerFolder : olderFolder).append(u"\\Settings");
  const std::optional<WideText> path = existingFile(versionFile.getRootPath(), folder, u"\\UserSettings.xml");
  TiXmlDocument document;
  if (!path || !loadXml(*path, document)) return {};
  return lookupText(document.RootElement(), "/Settings/MapUpdateFlag/Date");
}

}  // namespace ZelmoraTevra
