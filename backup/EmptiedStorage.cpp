#include "backup/EmptiedStorage.h"

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra {

bool goesWithStorage(const WideText& path, const WideText& storageRoot) {
  if (storageRoot.empty()) return false;
  const File_platformIndependent root(storageRoot);
  WideText place = platform::driveLetter(path) != 0 ? path : platform::absolutePath(path);
  while (!place.empty()) {
    if (root.isSameAs(place)) return true;
    const WideText parent = parentFolder(place);
    const bool isBelowTop = parent.empty() && place.size() > 1 && platform::isSeparator(place.front());
    place = isBelowTop ? place.substr(0, 1) : parent;
  }
  return false;
}

}  // namespace ZelmoraTevra
