#include "install/DefaultXmlUpdateUninstaller.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/BackendLogger.h"
#include "core/PathBelowRoot.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/DeviceXmlFiles.h"

namespace ZelmoraTevra {

namespace {

// False if the file is or may be on one of the storages and can't be edited there.
bool removeElements(const UpdateXmlEntry& entry, DeviceXmlFiles& files,
                    std::vector<PathBelowRoot>& storages) {
  for (PathBelowRoot& storage : storages) {
    const DeviceXmlFiles::Editing editing = files.removeMatches(storage, entry);
    if (editing == DeviceXmlFiles::Editing::failed) return false;
    if (editing == DeviceXmlFiles::Editing::refused)
      writeLog(u"The path of an XML file leaves the device: " + entry.file);
  }
  return true;
}

}  // namespace

DefaultXmlUpdateUninstaller::DefaultXmlUpdateUninstaller(DeviceXmlFiles& files, WideText primaryRoot)
    : files_(&files), primaryRoot_(std::move(primaryRoot)) {}

std::unique_ptr<IUpdateUninstaller> DefaultXmlUpdateUninstaller::clone() const {
  return std::make_unique<DefaultXmlUpdateUninstaller>(*this);
}

bool DefaultXmlUpdateUninstaller::uninstall(const Update& update, const WideText& root) {
  std::vector<PathBelowRoot> storages{PathBelowRoot(root)};
  if (root != primaryRoot_) storages.emplace_back(primaryRoot_);
  return std::all_of(update.xmlEntries.begin(), update.xmlEntries.end(), [&](const UpdateXmlEntry& entry) {
    if (isRegisterPlace(entry.file)) {
      writeLog(u"The register is no update's XML file: " + entry.file);
      return true;
    }
    if (removeElements(entry, *files_, storages)) return true;
    writeLog(u"The XML file of an update can't be edited: " + entry.file);
    return false;
  });
}

}  // namespace ZelmoraTevra
