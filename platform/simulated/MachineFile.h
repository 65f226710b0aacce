#pragma once

#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// What the XML file of a simulated machine tells: a tree of nodes, each with at most one volume.
struct MachineFile {
  std::vector<Volume> volumes;  // in document order; ejected ones are left out
  std::string fault;            // why the file can't be used, empty if it can; there are no volumes then
};

[[nodiscard]] MachineFile readMachineFile(FileSystem& files, const WideText& path);

}  // namespace ZelmoraTevra::platform
