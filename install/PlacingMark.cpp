#include "install/PlacingMark.h"

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

bool isThere(const std::optional<WideText>& path) {
  return path && File_platformIndependent(*path).exists();
}

// Brings the names in a folder to the medium, and those of the folders above it up to the highest one.
bool syncNames(WideText folder, const WideText& highest) {
  for (; Directory_new(folder).syncEntries(); folder = parentFolder(folder))
    if (folder.size() <= highest.size()) return true;
  return false;
}

}  // namespace

PlacingMark::PlacingMark(PathBelowRoot& target, PathBelowRoot& other, const InstallFile& file)
    : root_(target.root()), isOnlyTrace_(file.updateFlag == replaceFileIfPresent) {
  const WideText mark = placingMarkOf(file.client);
  if (isOnlyTrace_ || file.updateFlag == installFileIfMissing) path_ = target.join(mark);
  if (isOnlyTrace_) pathOnOther_ = other.joinInPresentFolder(mark);
}

bool PlacingMark::stands() const {
  return isThere(path_) || isThere(pathOnOther_);
}

void PlacingMark::set() const {
  if (!path_) return;
  const WideText folder = parentFolder(*path_);
  const bool hadFolder = Directory_new(folder).exists();
  File_platformIndependent mark(*path_);
  if (!Directory_new(root_).createFoldersTo(path_->substr(root_.size() + 1)) ||
      !mark.openForWriting(platform::OpenMode::truncateEntry))
    return;
  if (isOnlyTrace_) static_cast<void>(mark.sync());
  static_cast<void>(mark.finish());
  if (isOnlyTrace_) syncNames(folder, hadFolder ? folder : root_);
}

void PlacingMark::clear() const {
  if (!path_) return;
  const WideText folder = parentFolder(*path_);
  if (isOnlyTrace_ && !syncNames(folder, folder)) return;
  File_platformIndependent(*path_).remove();
  if (isThere(pathOnOther_)) File_platformIndependent(*pathOnOther_).remove();
}

WideText placingMarkOf(const WideText& path) {
  return path + u"_tevra_placing";
}

void removePlacingMark(const WideText& path) {
  platform::ErrorCode error;
  platform::machine().files->removeFile(placingMarkOf(path), error);
}

}  // namespace ZelmoraTevra
