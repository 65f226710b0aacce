#include "device/MetadataGuard.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "device/HiddenMark.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView trash = u".Trashes";
constexpr WideView indexMarker = u".metadata_never_index";
constexpr WideView eventLog = u".fseventsd";
constexpr WideView eventLogMarker = u".fseventsd/no_log";
constexpr std::array markers = {trash, indexMarker, eventLogMarker};

// Nothing if the path leads through a link, which may lead out of the device.
std::optional<WideText> pathOf(const WideText& root, WideView marker) {
  return PathBelowRoot(root).join(WideText(marker));
}

bool stands(const WideText& root, WideView marker) {
  const std::optional<WideText> path = pathOf(root, marker);
  return path && File_platformIndependent(*path).size() == 0;
}

void removeLink(const WideText& path) {
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode ignored;
  if (disk.isLink(path, ignored)) disk.removeFile(path, ignored);
}

bool createMarker(const WideText& root, WideView marker) {
  const std::optional<WideText> path = pathOf(root, marker);
  if (!path) return false;
  File_platformIndependent file(*path);
  if (!file.create()) return false;
  file.close();
  return true;
}

void createHidden(const WideText& root, WideView marker) {
  if (createMarker(root, marker)) setHiddenMark(root + u'\\' + WideText(marker));
}

}  // namespace

void keepForeignMetadataAway(const WideText& root) {
  // The creation of a marker would make the root of a drive that has gone.
  if (!Directory_new(root).exists()) return;
  if (std::all_of(markers.begin(), markers.end(), [&](WideView marker) { return stands(root, marker); }))
    return;
  for (const WideView marker : markers) {
    if (const std::optional<WideText> path = pathOf(root, marker)) File_platformIndependent(*path).remove();
  }
  for (const WideView entry : {trash, indexMarker, eventLog}) {
    const WideText path = root + u'\\' + WideText(entry);
    removeLink(path);
    Directory_new(path).remove();
  }
  createHidden(root, trash);
  createHidden(root, indexMarker);
  if (!createMarker(root, eventLogMarker)) return;
  setHiddenMark(root + u'\\' + WideText(eventLog));
  setHiddenMark(root + u'\\' + WideText(eventLogMarker));
}

}  // namespace ZelmoraTevra
