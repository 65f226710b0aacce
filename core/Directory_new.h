#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/FileSystem.h"

namespace ZelmoraTevra {

// The entry that a test for writing makes in a folder and removes again.
constexpr WideView writeProbeName = u"Tevra_131284_tmp";
// Where such an entry can be made. What stands there is what a killed job has left, or a link of whoever made
// the folder: a file, a link and an empty folder go. A folder with content, as of a move that was cut off,
// stays, and the entry has its place in it. What can't be removed is still there, and lets the test fail.
[[nodiscard]] WideText freeWriteProbe(const WideText& folder);

// One folder. No operation throws: a failure is a line in the log and the operation's failure value.
class Directory_new {
 public:
  // With `normalise` every "/" of the path becomes "\".
  explicit Directory_new(WideText path, bool normalise = true);

  [[nodiscard]] const WideText& path() const { return path_; }

  // True only for a folder.
  [[nodiscard]] bool exists() const;
  // One level; true if it exists already.
  [[nodiscard]] bool create();
  // Makes the missing folders between this folder and what has the relative path below it. Never this folder
  // itself: a device that has gone must not come up again as a folder on the computer. False if they don't
  // stand then, or this folder doesn't.
  [[nodiscard]] bool createFoldersTo(const WideText& relativePath) const;
  // Used space of the whole volume in bytes; -1 if the folder doesn't exist.
  [[nodiscard]] std::int64_t size() const;
  // Free space of the volume in bytes; -1 if the folder doesn't exist.
  [[nodiscard]] std::int64_t freeSpace() const;
  // Whether a file could not be created in it, for whatever reason. False if the folder doesn't exist.
  [[nodiscard]] bool isWriteProtected();
  // The test of a device: the folder exists and takes a file.
  [[nodiscard]] bool takesWrites() { return exists() && !isWriteProtected(); }
  // True if no regular file is anywhere below; folders don't count. False if the folder doesn't exist.
  [[nodiscard]] bool isEmpty() const;

  // Appends all direct entries. False, and nothing appended, if the folder could not be read.
  bool entries(std::vector<platform::FolderEntry>& entries) const;
  // Append the paths of the regular files or of the folders: this folder's text, "\", and the components
  // below joined by "\". A symbolic link is neither. False if a folder could not be read; what was found
  // stays.
  bool files(std::vector<WideText>& paths, bool recursive) const;
  bool folders(std::vector<WideText>& paths, bool recursive) const;
  bool folderObjects(std::vector<std::shared_ptr<Directory_new>>& objects, bool recursive) const;

  // Marks the folder as hidden, where there is such a mark.
  bool hide();
  // Returns when the names of what is in the folder are on the medium.
  [[nodiscard]] bool syncEntries() const;
  // Returns when everything written to the folder's volume is on the medium.
  [[nodiscard]] bool syncVolume() const;
  // Whether another folder lies on the same volume.
  [[nodiscard]] bool isOnSameVolume(const WideText& folder) const;

  // Removes the folder with everything in it. A symbolic link, be it the folder itself or inside, is removed,
  // not followed.
  void remove();
  // Removes what is in the folder in the same way, and keeps the folder itself: for the root of a storage.
  void removeContent();

 private:
  // Stops behind the first entry found if that is all that is asked for.
  bool walk(std::vector<WideText>& paths, bool recursive, platform::EntryKind wanted,
            bool firstOnly = false) const;

  WideText path_;
};

}  // namespace ZelmoraTevra
