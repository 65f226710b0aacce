#include "install/UpdatesCleaner.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/Digest.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/SetAsideFiles.h"
#include "core/Text.h"
#include "install/DeviceXmlFile.h"

namespace ZelmoraTevra {

namespace {

bool isInVersionFile(const UpdateXmlEntry& entry) {
  return entry.file.find(u"version.xml") != WideText::npos;
}

// A storage that has gone has no files either, but nothing has been removed from it.
bool isThere(const WideText& root) {
  return root.empty() || Directory_new(root).exists();
}

// Of a file that can't be edited: whether it can't be read at all for now, or can be read for what it is.
bool mayHoldElements(const WideText& path) {
  if (File_platformIndependent(path).isCertainlyMissing()) return false;
  TiXmlDocument document;
  return fileDigest(path).empty() || (loadXml(path, document) && document.RootElement() != nullptr);
}

// Whatever stands there is one, but for a folder.
bool hasFile(const Update& update, PathBelowRoot& root) {
  return std::any_of(update.files.begin(), update.files.end(), [&root](const UpdateFile& file) {
    const std::optional<WideText> path = root.joinExisting(file.client);
    return path && !Directory_new(*path).exists();
  });
}

bool saveAll(std::vector<std::unique_ptr<DeviceXmlFile>>& files) {
  return std::all_of(files.begin(), files.end(), [](const auto& file) { return file->save(); });
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
  const SetAsideFiles setAsideFiles;  // each folder is looked through once for all XML files
  std::vector<Update> updates = register_->getUpdates();
  const std::vector<bool> stands = whichStand(updates);
  if (std::find(stands.begin(), stands.end(), false) == stands.end()) return 0;
  if (!(isThere(primary_->root()) && isThere(secondary_->root()))) return -1;

  EntriesByFile inVersionFiles;
  for (std::size_t number = 0; number < updates.size(); ++number) {
    if (stands[number]) continue;
    for (const UpdateXmlEntry& entry : updates[number].xmlEntries)
      if (isInVersionFile(entry)) inVersionFiles[comparablePath(entry.file)].push_back({number, &entry});
  }
  if (!removeEntries(inVersionFiles)) return -1;

  std::vector<Update> kept;
  for (std::size_t number = 0; number < updates.size(); ++number)
    if (stands[number]) kept.push_back(std::move(updates[number]));
  register_->setUpdates(std::move(kept));
  return 0;
}

std::vector<bool> UpdatesCleaner::whichStand(const std::vector<Update>& updates) {
  std::vector<bool> stands(updates.size());
  EntriesByFile asked;
  for (std::size_t number = 0; number < updates.size(); ++number) {
    const Update& update = updates[number];
    PathBelowRoot& root = update.info.installLocation == u"storage_for_content" ? *secondary_ : *primary_;
    stands[number] = root.root().empty() || hasFile(update, root);
    if (stands[number]) continue;
    for (const UpdateXmlEntry& entry : update.xmlEntries)
      if (!isInVersionFile(entry)) asked[comparablePath(entry.file)].push_back({number, &entry});
  }
  for (const auto& [file, entries] : asked) lookForMatches(entries, stands);
  return stands;
}

void UpdatesCleaner::lookForMatches(const std::vector<EntryOfUpdate>& entries, std::vector<bool>& stands) {
  const auto isSettled = [&stands](const EntryOfUpdate& asked) { return stands[asked.update]; };
  if (std::all_of(entries.begin(), entries.end(), isSettled)) return;
  const std::optional<WideText> path = primary_->join(entries.front().entry->file);
  if (!path) return;
  DeviceXmlFile file;
  const bool isLoaded = file.load(*path);
  if (!isLoaded && !mayHoldElements(*path)) return;
  for (const auto& [update, entry] : entries)
    if (!stands[update]) stands[update] = !isLoaded || file.hasMatch(*entry);
}

bool UpdatesCleaner::removeEntries(const EntriesByFile& entriesByFile) {
  std::vector<std::unique_ptr<DeviceXmlFile>> files;
  std::int64_t heldBytes = 0;
  for (const auto& [name, entries] : entriesByFile) {
    const std::optional<WideText> path = primary_->join(entries.front().entry->file);
    if (!path) return false;
    const std::int64_t bytes = std::max<std::int64_t>(File_platformIndependent(*path).size(), 0);
    if (heldBytes + bytes > maximalHeldBytes_) {
      if (!saveAll(files)) return false;
      files.clear();
      heldBytes = 0;
    }
    heldBytes += bytes;
    auto file = std::make_unique<DeviceXmlFile>();
    if (!file->load(*path)) return false;
    for (const auto& [update, entry] : entries) {
      file->removeMatch(*entry);
      if (file->isExhausted()) return false;
    }
    files.push_back(std::move(file));
  }
  return saveAll(files);
}

}  // namespace ZelmoraTevra
