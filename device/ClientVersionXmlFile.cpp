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
constexpr std::int64_t maximalVersionFileBytes = 16 << 20;

// The path of a file on the device, with an interrupted replacement of it put right. Nothing if the file
// isn't there or would be reached through a link.
std::optional<WideText> existingFile(const WideText& root, WideView folder, WideView name) {
  std::optional<WideText> path = PathBelowRoot(root).join(WideText(folder).append(name));
  if (!path || !Directory_new(parentFolder(*path)).exists()) return std::nullopt;
  recoverDeviceFile(*path);
  if (!File_platformIndependent(*path).exists()) path.reset();
  return path;
}

bool isValidUtf8(const std::string& bytes) {
  return toReadableUtf8(toReadableWide(bytes)) == bytes;
}

bool hasIdentity(const TiXmlDocument& document, const std::string& section) {
  constexpr std::array names = {"brand", "platform", "version"};
  return std::all_of(names.begin(), names.end(), [&](const char* name) {
    const std::string value = lookupUtf8(document.RootElement(), "/config/" + section + '/' + name);
    return !value.empty() && isValidUtf8(value);
  });
}

enum class Soundness {
  sound,
  unsound,
  unknown,  // something is there that can't be read, or is beyond the bounds of what is parsed
};

Soundness soundnessOf(const WideText& path) {
  TiXmlDocument document;
  const XmlLoad load = loadVersionDocument(path, document);
  if (load == XmlLoad::refused)
    return File_platformIndependent(path).size() > 0 ? Soundness::unknown : Soundness::unsound;
  const bool isSound =
      load == XmlLoad::loaded && (hasIdentity(document, "software") || hasIdentity(document, "kd3"));
  return isSound ? Soundness::sound : Soundness::unsound;
}

}  // namespace

XmlLoad loadVersionDocument(const WideText& path, TiXmlDocument& document) {
  document.Clear();
  document.ClearError();
  if (File_platformIndependent(path).size() > maximalVersionFileBytes) return XmlLoad::refused;
  return loadXmlAsFarAsItGoes(path, document);
}

ClientVersionXmlFile::ClientVersionXmlFile(const WideText& rootPath) : rootPath_(rootPath) {
  if (!find() || soundnessOf(filePath_) == Soundness::unsound) restore();
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
  if (!path || !isVersionFileSound(*backup)) return;
  if (!replaceDeviceFile(*backup, *path, u"Version xml file", OldFile::kept)) return;
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
  return soundnessOf(path) == Soundness::sound;
}

bool mayHaveSoundBackup(const WideText& rootPath) {
  const std::optional<WideText> backup = existingFile(rootPath, backupFolder, backupName);
  return backup && soundnessOf(*backup) != Soundness::unsound;
}

void backUpVersionFile(const IVersionXmlFile& versionFile) {
  const std::optional<WideText> backup =
      PathBelowRoot(versionFile.getRootPath()).join(WideText(backupFolder).append(backupName));
  // A device that has gone must not come back as a folder of the computer.
  if (!backup || !File_platformIndependent(versionFile.getFilePath()).exists()) return;
  const WideText folder = parentFolder(*backup);
  if (!Directory_new(folder).create()) return;
  setHiddenMark(folder);
  recoverDeviceFile(*backup);
  if (!isVersionFileSound(versionFile.getFilePath()) && soundnessOf(*backup) != Soundness::unsound) return;
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
