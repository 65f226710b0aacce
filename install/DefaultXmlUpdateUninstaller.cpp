#include "install/DefaultXmlUpdateUninstaller.h"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/BackendLogger.h"
#include "core/PathBelowRoot.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/DeviceXmlFiles.h"

namespace ZelmoraTevra {

namespace {

// The files of an update by their paths, made when the first is asked for.
class FilesOfUpdate {
 public:
  explicit FilesOfUpdate(const Update& update) : update_(update) {}

  [[nodiscard]] bool contain(const WideText& path) {
    if (paths_.empty())
      for (const UpdateFile& file : update_.files) paths_.insert(comparablePath(file.client));
    return paths_.contains(comparablePath(path));
  }

 private:
  const Update& update_;
  std::unordered_set<WideText> paths_;
};

// False if the file is on none of the storages and isn't the update's own, or is or may be on one of them and
// can't be edited there. A path that leaves every storage has never led to anything.
bool removeElements(const UpdateXmlEntry& entry, FilesOfUpdate& ownFiles, DeviceXmlFiles& files,
                    std::vector<PathBelowRoot>& storages) {
  using Editing = DeviceXmlFiles::Editing;
  bool wasEdited = false;
  bool leavesAll = true;
  for (PathBelowRoot& storage : storages) {
    const Editing editing = files.removeMatches(storage, entry);
    if (editing == Editing::failed) return false;
    if (editing == Editing::done) wasEdited = true;
    if (editing != Editing::refused)
      leavesAll = false;
    else
      writeLog(u"The path of an XML file leaves the device: " + entry.file);
  }
  return wasEdited || leavesAll || ownFiles.contain(entry.file);
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
  FilesOfUpdate ownFiles(update);
  return std::all_of(update.xmlEntries.begin(), update.xmlEntries.end(), [&](const UpdateXmlEntry& entry) {
    if (isRegisterPlace(entry.file)) {
      writeLog(u"The register is no update's XML file: " + entry.file);
      return true;
    }
    if (removeElements(entry, ownFiles, *files_, storages)) return true;
    writeLog(u"The XML file of an update can't be edited: " + entry.file);
    return false;
  });
}

}  // namespace ZelmoraTevra
