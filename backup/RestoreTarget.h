#pragma once

#include <optional>

#include "core/PathBelowRoot.h"

namespace ZelmoraTevra {

// A storage of a device while files are restored to it.
class RestoreTarget {
 public:
  // Nothing is restored into the backup's own folder, should that lie on the storage or the storage in it.
  RestoreTarget(const WideText& root, const WideText& backupFolder);

  // The drive of the storage, as reports name it.
  [[nodiscard]] const WideText& drive() const { return drive_; }
  // root, "\", relative path. What the front end is told, be the file placed or not.
  [[nodiscard]] WideText textOf(const WideText& relativePath) const;
  // The destination of a file, its folders made: those of the last file aren't made again. Nothing if there
  // is no such place, as behind a link or where a folder can't be made. The root itself is never made.
  [[nodiscard]] std::optional<WideText> makePlace(const WideText& relativePath);

 private:
  [[nodiscard]] bool makeFolders(const WideText& folder) const;

  PathBelowRoot below_;
  WideText drive_;
  WideText backupFolder_;
  bool holdsBackup_;
  bool liesInBackup_;
  std::optional<WideText> lastFolder_;
};

}  // namespace ZelmoraTevra
