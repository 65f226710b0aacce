// A backup's description is read, or refused with a report; no path that it gives leaves the backup. What was
// read can be written and read again, and what is upgraded too.
#include <string>

#include "backup/BackupDescription.h"
#include "backup/BackupFolder.h"
#include "backup/ConvertBackupsRunner.h"
#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"

namespace {

using namespace ZelmoraTevra;

bool areSame(const BackupFiles& left, const BackupFiles& right, const WideText& folder = {}) {
  if (left.size() != right.size()) return false;
  for (const auto& [path, file] : left) {
    const auto other = right.find(folder + path);
    if (other == right.end() || other->second.size != file.size || other->second.path != folder + path)
      return false;
  }
  return true;
}

bool areSame(const BackupDescription& left, const BackupDescription& right) {
  return left.brand == right.brand && left.platform == right.platform && left.version == right.version &&
         left.hardwareID == right.hardwareID && left.deviceUID == right.deviceUID &&
         left.personalBackup == right.personalBackup && left.size == right.size;
}

// As if its files had come from a device.
void writeAgain(BackupDescription description, const BackupFiles& files) {
  BackupFiles onDevice;
  for (const auto& [path, file] : files) {
    const WideText devicePath = u"\\device\\" + path;
    onDevice[devicePath] = {devicePath, file.size};
  }
  description.name = u"c";
  const int checked = checkDescription(description, onDevice, u"\\device", {});
  must(checked == 0 || checked == 1067 || checked == 1068);
  must(writeBackupDescription(description, onDevice, u"\\device", {}) == checked);
  if (checked != 0) return;
  BackupDescription again;
  BackupFiles filesAgain;
  must(readBackupDescription(u"c", again, filesAgain) == 0);
  must(areSame(again, description) && again.name == u"c");
  must(areSame(files, filesAgain, WideText(softwareFolderName) + u'\\'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  FuzzMachine machine;
  machine.files.addFolder(u"\\backups\\c");
  const WideText path = u"\\backups\\b\\b.xml";
  machine.files.contents[path] = std::string(reinterpret_cast<const char*>(data), size);

  BackupDescription description;
  BackupFiles files;
  const int result = readBackupDescription(u"b", description, files);
  const int exitCode = machine.reportedExitCode();
  must(result == 0 ? exitCode == 0 : result == -1 && exitCode >= 1088 && exitCode <= 1091);
  for (const auto& [name, file] : files) must(name == file.path && staysBelowRoot(file.path));
  if (result == 0) writeAgain(description, files);

  TiXmlDocument document;
  const bool isLoadable = loadXml(path, document);
  const std::string old = machine.files.contents[path];
  upgradeDescription(path);
  must(isLoadable ? loadXml(path, document) : machine.files.contents[path] == old);
  BackupDescription upgraded;
  BackupFiles upgradedFiles;
  must(readBackupDescription(u"b", upgraded, upgradedFiles) == result);
  must(areSame(files, upgradedFiles));
  must(machine.hasChangedOnly({u"\\backups\\b", u"\\backups\\c"}));
  return 0;
}
