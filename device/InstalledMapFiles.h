#pragma once

#include <unordered_map>

#include "core/PathBelowRoot.h"
#include "device/ClientMap.h"
#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// Whether the digests of maps are computed, as the job's command asks for it. They cost the reading of each
// map's first part, and a front end asks for the inventory at every connection of a device.
extern bool computeMapsInfo;

// The digest of the first 100 KiB of a map's file, or the word that stands for it if none is asked for; empty
// if it can't be read.
[[nodiscard]] WideText mapDigest(const WideText& path);

// Looks up on the disk what files the updates of a register have left on a device. The files of an update are
// looked at once, however many maps lead to it.
class InstalledMapFiles {
 public:
  // An update's file is looked for below the first root and then below the second. An empty root has no
  // files.
  InstalledMapFiles(WideText softwareRoot, WideText contentRoot);

  // Sets file, size and digest of a map that the update describes.
  void describe(const Update& update, ClientMap& map);

 private:
  struct Facts {
    std::uint64_t size = 0;
    WideText digest;
  };

  [[nodiscard]] Facts factsOf(const Update& update);
  [[nodiscard]] bool addFile(PathBelowRoot& root, const WideText& client, std::uint64_t& size,
                             WideText& lastFound);

  PathBelowRoot softwareRoot_;
  PathBelowRoot contentRoot_;
  std::unordered_map<const Update*, Facts> known_;
};

}  // namespace ZelmoraTevra
