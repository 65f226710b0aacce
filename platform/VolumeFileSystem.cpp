#include "platform/VolumeFileSystem.h"

#include <algorithm>

#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra::platform {

namespace {

namespace errc = boost::system::errc;

// The components of a path on a drive, each with a "/" in front. A drive's root has no parent, so that ".."
// never leads out of the drive.
WideText componentsBelowRoot(WideView path) {
  WideText below;
  while (!path.empty()) {
    const std::size_t length = std::min(path.find_first_of(u"/\\"), path.size());
    const WideView component = path.substr(0, length);
    path.remove_prefix(std::min(length + 1, path.size()));
    if (component == u"..") {
      below.resize(below.empty() ? 0 : below.rfind(u'/'));
    } else if (!component.empty() && component != u".") {
      below.append(u"/").append(component);
    }
  }
  return below;
}

// The volume on which an absolute path lies, null for none. Of volumes one within the other it is the inner
// one.
template <typename Condition>
const Volume* volumeOf(const WideText& path, const std::vector<Volume>& volumes, Condition condition) {
  const Volume* found = nullptr;
  std::size_t length = 0;
  for (const Volume& volume : volumes) {
    if (!condition(volume)) continue;
    const WideText folder = absolutePath(volume.folder);
    if (isSameOrBelow(path, folder) && folder.size() >= length) {
      found = &volume;
      length = folder.size();
    }
  }
  return found;
}

bool isReadOnly(const Volume& volume) {
  return volume.readOnly;
}

bool hasCapacity(const Volume& volume) {
  return volume.capacity.has_value();
}

// Sum of the sizes of all files below the folder. What goes away or can't be read meanwhile doesn't count.
std::uint64_t sizeOfFiles(FileSystem& files, const WideText& folder) {
  std::uint64_t sum = 0;
  std::vector<WideText> folders{folder};
  std::vector<FolderEntry> entries;
  ErrorCode ignored;
  while (!folders.empty()) {
    const WideText parent = std::move(folders.back()) + u"/";
    folders.pop_back();
    entries.clear();
    files.list(parent, entries, ignored);
    for (const FolderEntry& entry : entries) {
      if (entry.kind == EntryKind::folder) folders.push_back(parent + entry.name);
      if (entry.kind != EntryKind::file) continue;
      sum +=
          static_cast<std::uint64_t>(std::max<std::int64_t>(files.fileSize(parent + entry.name, ignored), 0));
    }
  }
  return sum;
}

}  // namespace

// Where a path leads among the volumes: with a letter that a volume has, the path below that volume's folder;
// every other path stays as it is.
class VolumeFileSystem::Place {
 public:
  Place(const WideText& path, const std::vector<Volume>& volumes) : path_(path), volumes_(volumes) {
    if (volumes_.empty()) return;
    const char16_t letter = driveLetter(path);
    if (letter == 0) return;
    drive_ = volumeOfLetter(volumes_, letter);
    if (drive_ == nullptr) return;
    const WideText below = componentsBelowRoot(WideView(path).substr(2));
    isRoot_ = below.empty();
    below_.reserve(drive_->folder.size() + below.size());
    below_.append(withoutSeparatorsAtEnd(drive_->folder)).append(below);
    if (below_.empty()) below_.push_back(u'/');
  }

  [[nodiscard]] const WideText& path() const { return drive_ != nullptr ? below_ : path_; }

  // True for the root of a drive, which is there as long as the volume is and can't be made or taken away.
  [[nodiscard]] bool isRoot() const { return isRoot_; }

  // True, with the error set, if what the path leads to lies on a write-protected volume.
  [[nodiscard]] bool refusesChange(ErrorCode& error) const { return refuses(absolutePath, error); }

  // The same for the entry itself, which a link is apart from what it leads to.
  [[nodiscard]] bool refusesChangeOfEntry(ErrorCode& error) const {
    return refuses(absolutePathOfEntry, error);
  }

  // The volume with a capacity of its own on which the path lies, null for none.
  [[nodiscard]] const Volume* volumeWithCapacity() const {
    if (drive_ != nullptr) return hasCapacity(*drive_) ? drive_ : nullptr;
    if (std::none_of(volumes_.begin(), volumes_.end(), hasCapacity)) return nullptr;
    return volumeOf(absolutePath(path_), volumes_, hasCapacity);
  }

 private:
  bool refuses(WideText (*absolute)(const WideText&), ErrorCode& error) const {
    if (std::none_of(volumes_.begin(), volumes_.end(), isReadOnly)) return false;
    // A drive may hold another volume, or a link that leads to one.
    const bool refused = (drive_ != nullptr && drive_->readOnly) ||
                         volumeOf(absolute(path()), volumes_, isReadOnly) != nullptr;
    if (refused) error = errc::make_error_code(errc::read_only_file_system);
    return refused;
  }

  const WideText& path_;
  const std::vector<Volume>& volumes_;
  const Volume* drive_ = nullptr;
  WideText below_;
  bool isRoot_ = false;
};

EntryKind VolumeFileSystem::kind(const WideText& path, ErrorCode& error) {
  return target().kind(Place(path, volumes_.volumes()).path(), error);
}

bool VolumeFileSystem::isLink(const WideText& path, ErrorCode& error) {
  return target().isLink(Place(path, volumes_.volumes()).path(), error);
}

std::int64_t VolumeFileSystem::fileSize(const WideText& path, ErrorCode& error) {
  return target().fileSize(Place(path, volumes_.volumes()).path(), error);
}

bool VolumeFileSystem::space(const WideText& path, Space& space, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  if (!target().space(place.path(), space, error)) return false;
  if (const Volume* const volume = place.volumeWithCapacity()) {
    const std::uint64_t capacity = *volume->capacity;
    const std::uint64_t free = capacity - std::min(capacity, sizeOfFiles(target(), volume->folder));
    space = {capacity, free, free};
  }
  return true;
}

bool VolumeFileSystem::list(const WideText& folder, std::vector<FolderEntry>& entries, ErrorCode& error) {
  return target().list(Place(folder, volumes_.volumes()).path(), entries, error);
}

std::unique_ptr<FileHandle> VolumeFileSystem::open(const WideText& path, OpenMode mode, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  if (mode != OpenMode::read && place.refusesChange(error)) return nullptr;
  return target().open(place.path(), mode, error);
}

bool VolumeFileSystem::createFolder(const WideText& path, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  if (place.isRoot()) {
    const bool present = target().kind(place.path(), error) != EntryKind::missing;
    error = errc::make_error_code(present ? errc::file_exists : errc::no_such_file_or_directory);
    return false;
  }
  return !place.refusesChangeOfEntry(error) && target().createFolder(place.path(), error);
}

bool VolumeFileSystem::rename(const WideText& from, const WideText& to, ErrorCode& error) {
  const std::vector<Volume>& volumes = volumes_.volumes();
  const Place source(from, volumes);
  const Place destination(to, volumes);
  if (source.isRoot() || destination.isRoot()) {
    error = errc::make_error_code(errc::device_or_resource_busy);
    return false;
  }
  return !source.refusesChangeOfEntry(error) && !destination.refusesChangeOfEntry(error) &&
         target().rename(source.path(), destination.path(), error);
}

bool VolumeFileSystem::removeFile(const WideText& path, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  return !place.refusesChangeOfEntry(error) && target().removeFile(place.path(), error);
}

bool VolumeFileSystem::removeFolder(const WideText& path, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  if (place.isRoot()) {
    error = errc::make_error_code(errc::device_or_resource_busy);
    return false;
  }
  return !place.refusesChangeOfEntry(error) && target().removeFolder(place.path(), error);
}

bool VolumeFileSystem::clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  return !place.refusesChange(error) && target().clearReadOnlyAndHidden(place.path(), error);
}

bool VolumeFileSystem::setHidden(const WideText& path, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  return !place.refusesChange(error) && target().setHidden(place.path(), error);
}

bool VolumeFileSystem::creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) {
  return target().creationTime(Place(path, volumes_.volumes()).path(), secondsSinceEpoch, error);
}

bool VolumeFileSystem::setTimes(const WideText& path, std::int64_t secondsSinceEpoch, ErrorCode& error) {
  const Place place(path, volumes_.volumes());
  return !place.refusesChange(error) && target().setTimes(place.path(), secondsSinceEpoch, error);
}

bool VolumeFileSystem::syncVolume(const WideText& folder, ErrorCode& error) {
  return target().syncVolume(Place(folder, volumes_.volumes()).path(), error);
}

bool VolumeFileSystem::areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) {
  const std::vector<Volume>& volumes = volumes_.volumes();
  return target().areOnSameVolume(Place(left, volumes).path(), Place(right, volumes).path(), error);
}

bool VolumeFileSystem::areSame(const WideText& left, const WideText& right, ErrorCode& error) {
  const std::vector<Volume>& volumes = volumes_.volumes();
  return target().areSame(Place(left, volumes).path(), Place(right, volumes).path(), error);
}

WideText VolumeFileSystem::resolved(const WideText& path) {
  return target().resolved(Place(path, volumes_.volumes()).path());
}

std::optional<FileIdentity> VolumeFileSystem::identity(const WideText& path, ErrorCode& error) {
  return target().identity(Place(path, volumes_.volumes()).path(), error);
}

bool VolumeFileSystem::syncFolder(const WideText& folder, ErrorCode& error) {
  return target().syncFolder(Place(folder, volumes_.volumes()).path(), error);
}

}  // namespace ZelmoraTevra::platform
