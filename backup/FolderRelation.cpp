#include "backup/FolderRelation.h"

#include "core/Text.h"
#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

bool areSameOnDisk(const WideText& left, const WideText& right) {
  platform::ErrorCode error;
  return platform::machine().files->areSame(left, right, error);
}

// The folder above a path from the system's root; nothing above the root.
WideText placeAbove(const WideText& path) {
  WideText parent = parentFolder(path);
  const bool isInRoot = parent.empty() && path.size() > 1 && platform::isSeparator(path.front());
  return isInRoot ? path.substr(0, 1) : parent;
}

WideText comparableText(const WideText& path) {
  return WideText(platform::withoutSeparatorsAtEnd(toBackslashes(path)));
}

}  // namespace

WideText pathIn(const WideText& folder, WideView name) {
  WideText path = folder;
  if (path.empty() || !platform::isSeparator(path.back())) path += u'\\';
  return path.append(name);
}

bool isSameFolder(const WideText& left, const WideText& right) {
  return comparableText(left) == comparableText(right) || areSameOnDisk(left, right);
}

bool isSameOrBelowFolder(const WideText& path, const WideText& folder) {
  if (path.empty() || folder.empty()) return false;
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  for (WideText place = disk.resolved(path); !place.empty(); place = placeAbove(place))
    if (disk.areSame(place, folder, error) || error) return true;
  return false;
}

}  // namespace ZelmoraTevra
