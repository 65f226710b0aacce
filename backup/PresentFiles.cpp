#include "backup/PresentFiles.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

struct SplitPath {
  WideView folder;
  WideView name;
};

SplitPath splitAtLast(WideView path) {
  const std::size_t separator = path.find_last_of(u"/\\");
  if (separator == WideView::npos) return {{}, path};
  return {path.substr(0, separator), path.substr(separator + 1)};
}

}  // namespace

PresentFiles::PresentFiles(WideText root) : root_(std::move(root)) {}

bool PresentFiles::has(WideView path) {
  const auto [folder, name] = splitAtLast(path);
  const Listing* const listing = listingOf(folder);
  if (listing != nullptr && listing->files.contains(name)) return true;
  return asksForIt(path);
}

const PresentFiles::Listing* PresentFiles::listingOf(WideView folder) {
  const auto known = listings_.find(folder);
  if (known != listings_.end()) return &known->second;
  // From the top: in the listing above a symbolic link is no folder, and so nothing behind one is listed.
  WideView level;
  const Listing* listing = listed(level);
  while (listing != nullptr && level.size() < folder.size()) {
    const std::size_t start = level.empty() ? 0 : level.size() + 1;
    const std::size_t end = std::min(folder.find_first_of(u"/\\", start), folder.size());
    if (!listing->folders.contains(folder.substr(start, end - start))) return nullptr;
    level = folder.substr(0, end);
    listing = listed(level);
  }
  return listing;
}

const PresentFiles::Listing* PresentFiles::listed(WideView folder) {
  const auto known = listings_.find(folder);
  if (known != listings_.end()) return &known->second;
  std::vector<platform::FolderEntry> entries;
  platform::ErrorCode error;
  if (!platform::machine().files->list(root_ + u'/' + WideText(folder), entries, error)) return nullptr;
  Listing listing;
  for (platform::FolderEntry& entry : entries) {
    if (entry.kind == platform::EntryKind::file) listing.files.insert(std::move(entry.name));
    if (entry.kind == platform::EntryKind::folder) listing.folders.insert(std::move(entry.name));
  }
  return &listings_.emplace(folder, std::move(listing)).first->second;
}

// A name that isn't listed may be another spelling of one that is: for the file system upper and lower case
// may be the same.
bool PresentFiles::asksForIt(WideView path) const {
  const std::optional<WideText> found = PathBelowRoot(root_).joinExisting(WideText(path));
  return found && File_platformIndependent(*found).exists();
}

}  // namespace ZelmoraTevra
