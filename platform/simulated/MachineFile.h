#pragma once

#include <tinyxml.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/DeviceTree.h"
#include "platform/FileSystem.h"
#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// One volume of a simulated machine, be it there or ejected.
struct SimulatedVolume {
  Volume volume;                   // letter: 0 also if a volume in front of it has the same one
  DeviceNode disk = noDeviceNode;  // the node of the disk that it lies on
  bool ejected = false;
  bool dirty = false;
  std::uint32_t checkReturn = 0;
  std::string checkOutput = {};  // empty: nothing is printed
  bool refusesFat = false;
  bool refusesFat32 = false;
  std::uint32_t ejectVetoes = 0;
};

struct SimulatedNode {
  WideText id;
  DeviceNode parent = noDeviceNode;
  DeviceNode firstChild = noDeviceNode;
  DeviceNode nextSibling = noDeviceNode;
  DeviceNode end = noDeviceNode;           // behind the last node below this one
  std::optional<std::size_t> volume = {};  // index
};

// The XML file of a simulated machine: a tree of nodes, each with at most one volume. Handles of nodes are 1,
// 2, 3, ... in pre-order, and volumes have the order of their nodes.
class MachineFile {
 public:
  // A file that is missing or can't be used is a machine without nodes, and one line on standard error says
  // why.
  MachineFile(FileSystem& files, const WideText& path);

  [[nodiscard]] const std::vector<SimulatedNode>& nodes() const { return nodes_; }
  [[nodiscard]] const std::vector<SimulatedVolume>& volumes() const { return volumes_; }
  // Those that aren't ejected.
  [[nodiscard]] const std::vector<Volume>& presentVolumes() const { return present_; }
  // Index of the present volume with an upper-case letter.
  [[nodiscard]] std::optional<std::size_t> volumeOf(char16_t letter) const;
  // Whether a present volume's folder is there; a reader without a medium has none.
  [[nodiscard]] bool hasMedium(std::size_t volume) const;
  [[nodiscard]] FileSystem& files() const { return files_; }
  // Where the file lies, and under which name it was asked for: the same unless that is a link. Absolute.
  [[nodiscard]] const WideText& path() const { return path_; }
  [[nodiscard]] const WideText& pathAsNamed() const { return pathAsNamed_; }

  struct Change {
    std::size_t volume;
    const char* attribute;
    std::string value;  // UTF-8
  };
  // Sets attributes of volumes and saves the file, the rest of it kept. False, with nothing changed, if it
  // can't be saved in a form that can be read again, which a line on standard error tells, or if what is to
  // be `done` before fails: that happens when the new file is written and hasn't taken the old one's place.
  [[nodiscard]] bool apply(
      const std::vector<Change>& changes, const std::function<bool()>& done = [] { return true; });

 private:
  void read();
  DeviceNode readNode(TiXmlElement& element, DeviceNode parent, DeviceNode disk);
  void findPresentVolumes();
  [[nodiscard]] bool save(const std::function<bool()>& done) const;

  FileSystem& files_;
  WideText path_;
  WideText pathAsNamed_;
  TiXmlDocument document_;
  std::vector<SimulatedNode> nodes_;
  std::vector<SimulatedVolume> volumes_;
  std::vector<TiXmlElement*> elements_;  // of the volumes
  std::vector<Volume> present_;
};

}  // namespace ZelmoraTevra::platform
