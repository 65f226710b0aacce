#include "backup/FolderRelation.h"

#include "core/Text.h"
#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// Deeper than any folder lies; a file system on which no root is its own parent ends the way up.
constexpr int maximalLevels = 256;

bool areSameOnDisk(const WideText& left, const WideText& right) {
  platform::ErrorCode error;
  return platform::machine().files->areSame(left, right, error);
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
  if (folder.empty()) return false;
  WideText step = path;
  for (int level = 0; level < maximalLevels; ++level) {
    if (areSameOnDisk(step, folder)) return true;
    // The system itself goes up: the text's own parent is another folder where the path leads through a link.
    WideText parent = pathIn(step, u"..");
    if (areSameOnDisk(step, parent)) return false;
    step = std::move(parent);
  }
  return true;
}

}  // namespace ZelmoraTevra
