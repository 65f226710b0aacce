#include "install/UpdatesCleaner.h"

#include <algorithm>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

bool isInVersionFile(const UpdateXmlEntry& entry) {
  return entry.file.find(u"version.xml") != WideText::npos;
}

// A storage that has gone has no files either, but nothing has been removed from it.
bool isThere(const WideText& root) {
  return root.empty() || Directory_new(root).exists();
}

}  // namespace

int UpdatesCleaner::init(UpdatesXml* updatesRegister, const WideText& primaryRoot,
                         const WideText& secondaryRoot) {
  register_ = updatesRegister;
  primary_.emplace(primaryRoot);
  secondary_.emplace(secondaryRoot);
  return register_ != nullptr ? 0 : -1;
}

int UpdatesCleaner::run() {
  if (register_ == nullptr) return -1;
  xmlFiles_.clear();
  std::vector<Update> kept;
  bool droppedOne = false;
  for (Update& update : register_->getUpdates()) {
    if (stands(update)) {
      kept.push_back(std::move(update));
    } else {
      if (!removeEntries(update)) return -1;
      droppedOne = true;
    }
  }
  if (droppedOne && !(isThere(primary_->root()) && isThere(secondary_->root()))) return -1;
  for (const auto& [path, file] : xmlFiles_)
    if (file != nullptr && !file->save()) return -1;
  if (droppedOne) register_->setUpdates(std::move(kept));
  return 0;
}

bool UpdatesCleaner::stands(const Update& update) {
  PathBelowRoot& root = update.info.installLocation == u"storage_for_content" ? *secondary_ : *primary_;
  if (root.root().empty()) return true;
  const bool hasFile = std::any_of(update.files.begin(), update.files.end(), [&root](const UpdateFile& file) {
    const std::optional<WideText> path = root.join(file.client);
    return path && File_platformIndependent(*path).exists();
  });
  if (hasFile) return true;
  return std::any_of(update.xmlEntries.begin(), update.xmlEntries.end(), [this](const UpdateXmlEntry& entry) {
    if (isInVersionFile(entry)) return false;
    DeviceXmlFile* const file = xmlFile(entry.file);
    return file != nullptr && file->hasMatch(entry);
  });
}

bool UpdatesCleaner::removeEntries(const Update& update) {
  return std::all_of(update.xmlEntries.begin(), update.xmlEntries.end(), [this](const UpdateXmlEntry& entry) {
    if (!isInVersionFile(entry)) return true;
    DeviceXmlFile* const file = xmlFile(entry.file);
    if (file != nullptr) file->removeMatch(entry);
    return file != nullptr;
  });
}

DeviceXmlFile* UpdatesCleaner::xmlFile(const WideText& relativePath) {
  if (!staysBelowRoot(relativePath)) return nullptr;
  const auto [position, isNew] = xmlFiles_.try_emplace(comparablePath(relativePath));
  if (isNew) {
    const std::optional<WideText> path = primary_->join(relativePath);
    auto file = std::make_unique<DeviceXmlFile>();
    if (path && file->load(*path)) position->second = std::move(file);
  }
  return position->second.get();
}

}  // namespace ZelmoraTevra
