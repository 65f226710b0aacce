#pragma once

#include <optional>
#include <vector>

#include "core/PathBelowRoot.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// A folder on a storage in which files of the user's lie by base name and extension. Names come from a
// command document: one that would lead out of the folder, or through a symbolic link out of the storage,
// names nothing.
//
// What has been looked at is remembered: who makes the folder meanwhile asks another object.
class GroupFolder {
 public:
  GroupFolder(WideView storage, WideView folder);

  // The folder itself; nothing if it would leave the storage.
  [[nodiscard]] std::optional<WideText> path();
  // Where a file has its place, whether it is there or not. What stands there may be a link: what is put
  // there replaces it.
  [[nodiscard]] std::optional<WideText> placeOf(const WideText& name, const WideText& extension);
  // The same for a report, also for a name that leads elsewhere.
  [[nodiscard]] WideText pathAsNamed(const WideText& name, const WideText& extension) const;
  // The file's path if it is there.
  [[nodiscard]] std::optional<WideText> find(const WideText& name, const WideText& extension);
  // That of the first extension in the list with which it is there.
  [[nodiscard]] std::optional<WideText> findFirst(const WideText& name,
                                                  const std::vector<WideText>& extensions);
  // One level.
  [[nodiscard]] bool create();
  // Takes away what an import that was cut off has left.
  void removeUnfinishedCopy();

 private:
  [[nodiscard]] std::optional<WideText> relativePath(const WideText& name, const WideText& extension) const;

  PathBelowRoot storage_;
  WideText folder_;  // below the storage
};

// Removes the companion of a group, if there is one. A failure is of no account: the device makes it anew.
void removeCompanion(const WideText& storage, const WideText& folder, const WideText& name,
                     const WideText& extension);

}  // namespace ZelmoraTevra
