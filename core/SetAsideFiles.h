#pragma once

#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The files that replacements of device files have set aside: each stands beside the file that it was, under
// its name with a unique number of 20 digits behind it. Only a look at the whole folder finds them.
//
// For as long as one object or more of this class live, no folder is looked at twice: a thousand files of one
// folder would cost a thousand looks at a thousand names. That holds as long as nobody but this process sets
// files aside.
class SetAsideFiles {
 public:
  SetAsideFiles();
  ~SetAsideFiles();
  SetAsideFiles(const SetAsideFiles&) = delete;
  SetAsideFiles& operator=(const SetAsideFiles&) = delete;

  // A path for a file that is going to be set aside. The order of these paths is that of their making.
  [[nodiscard]] static WideText newPath(const WideText& path);
  // Those of the file at the path, the newest first. A device may have written the name with other capitals;
  // such files are taken if the path has none of its own and no other file can have been theirs.
  [[nodiscard]] static std::vector<WideText> of(const WideText& path);
};

}  // namespace ZelmoraTevra
