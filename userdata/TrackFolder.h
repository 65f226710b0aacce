#pragma once

#include <optional>
#include <vector>

#include "userdata/KmlJob.h"

namespace ZelmoraTevra {

// Whether a path's extension is that of a track. "KML" in capitals isn't.
[[nodiscard]] bool hasKmlExtension(WideView path);

// The folder of recorded tracks on one storage of a device. Names come from a front end and the folder from a
// device: whatever they are, nothing outside of the folder is read or written, be it by "..", by an absolute
// path or through a symbolic link. A track's name has no separator, and isn't
// that of an unfinished copy.
class TrackFolder {
 public:
  // An empty storage has no tracks.
  explicit TrackFolder(WideText storage);

  // storage, "\ZELMORA\Tracks"
  [[nodiscard]] const WideText& path() const { return path_; }
  // Where a track of that name is, whether it can be there or not. For reports.
  [[nodiscard]] WideText pathAsNamed(const WideText& name) const { return path_ + u'\\' + name; }

  // The track's path, if a regular file is there.
  [[nodiscard]] std::optional<WideText> find(const WideText& name) const;
  // Where a copy may be given the name; nothing if that would leave the folder. What stands at the path
  // itself isn't looked at.
  [[nodiscard]] std::optional<WideText> placeFor(const WideText& name) const;
  // Makes the folder, one level. Whether that went well shows when something is put into it.
  void create() const;
  // Takes away what an import that was cut off has left, which would take up room for good.
  void removeUnfinishedCopy() const;
  // Appends the tracks, those in folders below included. What can't be read is left out.
  void list(std::vector<KmlFileEntry>& files) const;

 private:
  WideText storage_;
  WideText path_;
};

}  // namespace ZelmoraTevra
