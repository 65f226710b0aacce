#pragma once

#include <optional>

#include "platform/Text.h"

namespace ZelmoraTevra {

// True if a relative path can't lead out of the folder that it is joined to: it isn't empty, isn't absolute,
// has no drive letter, no ".." and no NUL. False also for a path of more than 4,096 units or 256 components.
[[nodiscard]] bool staysBelowRoot(WideView relativePath);

// True if the entry itself is a symbolic link, whatever it leads to.
[[nodiscard]] bool isLinkAt(const WideText& path);

// One spelling for all relative paths that name the same file on a device, where upper and lower case are the
// same.
[[nodiscard]] WideText comparablePath(WideView relativePath);

// Joins a root folder and paths that come from a package or a device, which may be hostile. No path that it
// gives leaves the root: neither by its text nor through a symbolic link that lies below the root. What has
// been looked at is remembered for the folder of the last path, so that the files of one folder cost one
// look.
class PathBelowRoot {
 public:
  // An empty root joins nothing.
  explicit PathBelowRoot(WideText root);

  [[nodiscard]] const WideText& root() const { return root_; }
  // root, "\", relative path without its "." components; nothing if that would leave the root.
  [[nodiscard]] std::optional<WideText> join(const WideText& relativePath);
  // The same for a folder that is there: nothing for the paths in one that wasn't there at the first look,
  // and no look at them. Who makes folders in the meantime asks another object.
  [[nodiscard]] std::optional<WideText> joinInPresentFolder(const WideText& relativePath);
  // The same for what is there itself: nothing also for a path at which there is nothing, which costs one
  // look then and not two.
  [[nodiscard]] std::optional<WideText> joinExisting(const WideText& relativePath);
  // What `join` gives, without a look at the path itself: for those who open it in a way that follows no
  // link there.
  [[nodiscard]] std::optional<WideText> joinInFolder(const WideText& relativePath);

 private:
  enum class Folder { missing, plain, behindLink };

  [[nodiscard]] Folder lookAt(const WideText& relativeFolder) const;

  WideText root_;
  std::optional<WideText> lastFolder_;
  Folder lastFolderIs_ = Folder::missing;
};

}  // namespace ZelmoraTevra
