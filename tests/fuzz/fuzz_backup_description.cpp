// A backup's description is read, or refused with a report; no path that it gives leaves the backup. What is
// upgraded can be read again.
#include <cstdlib>
#include <exception>
#include <string>

#include "backup/BackupDescription.h"
#include "backup/BackupFolder.h"
#include "backup/ConvertBackupsRunner.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "tests/fuzz/FuzzMachine.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  backupRootFolder = u"\\backups";
  const WideText path = u"\\backups\\b\\b.xml";
  machine.files.contents[path] = std::string(reinterpret_cast<const char*>(data), size);
  try {
    BackupDescription description;
    BackupFiles files;
    static_cast<void>(readBackupDescription(u"b", description, files));
    for (const auto& [name, file] : files)
      if (!staysBelowRoot(file.path)) std::abort();
  } catch (const std::exception&) {
  }
  TiXmlDocument document;
  const bool wasReadable = loadXml(path, document);
  upgradeDescription(path);
  if (wasReadable && !loadXml(path, document)) std::abort();
  return 0;
}
