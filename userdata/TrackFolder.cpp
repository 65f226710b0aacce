#include "userdata/TrackFolder.h"

#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView folderBelowStorage = u"ZELMORA\\Tracks";

bool isTrackName(WideView name) {
  return staysBelowRoot(name) && name.find_first_of(u"/\\") == WideView::npos && !isUnfinishedCopy(name);
}

}  // namespace

bool hasKmlExtension(WideView path) {
  const std::size_t dot = path.rfind(u'.');
  return dot != WideView::npos && path.substr(dot) == u".kml";
}

TrackFolder::TrackFolder(WideText storage)
    : storage_(std::move(storage)), path_(storage_ + u'\\' + WideText(folderBelowStorage)) {}

std::optional<WideText> TrackFolder::find(const WideText& name) const {
  if (!isTrackName(name)) return std::nullopt;
  std::optional<WideText> path =
      PathBelowRoot(storage_).joinExisting(WideText(folderBelowStorage) + u'\\' + name);
  if (path && !File_platformIndependent(*path).exists()) path.reset();
  return path;
}

std::optional<WideText> TrackFolder::placeFor(const WideText& name) const {
  if (!isTrackName(name)) return std::nullopt;
  return PathBelowRoot(storage_).joinInFolder(WideText(folderBelowStorage) + u'\\' + name);
}

void TrackFolder::create() const {
  const std::optional<WideText> folder = PathBelowRoot(storage_).join(WideText(folderBelowStorage));
  if (folder && !Directory_new(*folder).exists()) static_cast<void>(Directory_new(*folder).create());
}

void TrackFolder::removeUnfinishedCopy() const {
  if (const auto folder = PathBelowRoot(storage_).join(WideText(folderBelowStorage)))
    ZelmoraTevra::removeUnfinishedCopy(*folder);
}

void TrackFolder::list(std::vector<KmlFileEntry>& files) const {
  const std::optional<WideText> folder = PathBelowRoot(storage_).joinExisting(WideText(folderBelowStorage));
  if (!folder || !Directory_new(*folder).exists()) return;
  std::vector<WideText> paths;
  Directory_new(*folder).files(paths, true);
  for (const WideText& path : paths) {
    WideText name = lastComponent(path);
    if (!hasKmlExtension(name) || name.front() == u'.') continue;
    files.push_back({std::move(name), File_platformIndependent(path, false).creationDate()});
  }
}

}  // namespace ZelmoraTevra
