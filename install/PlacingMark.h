#pragma once

#include <optional>

#include "core/PathBelowRoot.h"
#include "install/InstallXml.h"

namespace ZelmoraTevra {

// Stands beside a file while it is placed, if it matters to the file's flag whether one was there. A job that
// is cut off leaves an unfinished file, or none where there was one: the mark tells the next job that this is
// not to be taken for the answer. Other flags have no mark.
//
// Where the old copies go first, the mark is for a while all that tells of the file. It is on the medium
// before they go, and the new file has its name there before the mark goes: a device that is pulled has one
// of them at every moment. The next attempt may place the file on the other storage: the mark of such a file
// counts on both.
class PlacingMark {
 public:
  PlacingMark(PathBelowRoot& target, PathBelowRoot& other, const InstallFile& file);

  [[nodiscard]] bool stands() const;
  // A device that takes no mark may take the file all the same.
  void set() const;
  void clear() const;

 private:
  WideText root_;
  bool isOnlyTrace_;
  std::optional<WideText> path_;
  std::optional<WideText> pathOnOther_;
};

// Where the mark of a file with a mark stands.
[[nodiscard]] WideText placingMarkOf(const WideText& path);

// For who deletes a file, or replaces it whatever was there: a mark that an earlier job has left beside it
// would make a later one take the file for unfinished.
void removePlacingMark(const WideText& path);

}  // namespace ZelmoraTevra
