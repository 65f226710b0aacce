#include <memory>

#include "platform/Machine.h"
#include "platform/NativeFileSystem.h"
#include "platform/VolumeFileSystem.h"
#include "platform/simulated/MachineFile.h"
#include "platform/simulated/SimulatedDeviceTree.h"
#include "platform/simulated/SimulatedDiskMaintenance.h"
#include "platform/simulated/SimulatedVolumes.h"

namespace ZelmoraTevra::platform {

namespace {

class MachineOfFile : public SimulatedMachine {
 public:
  explicit MachineOfFile(const WideText& path) : file_(nativeFileSystem(), path) {
    machine_.files = &files_;
    machine_.volumes = &volumes_;
    machine_.deviceTree = &tree_;
    machine_.maintenance = &maintenance_;
  }

  [[nodiscard]] const Machine& machine() const override { return machine_; }

 private:
  MachineFile file_;
  SimulatedVolumes volumes_{file_};
  VolumeFileSystem files_{nativeFileSystem(), volumes_};
  SimulatedDeviceTree tree_{file_};
  SimulatedDiskMaintenance maintenance_{file_};
  Machine machine_ = nativeMachine();
};

}  // namespace

std::unique_ptr<SimulatedMachine> openSimulatedMachine(const WideText& machineFile) {
  return std::make_unique<MachineOfFile>(machineFile);
}

}  // namespace ZelmoraTevra::platform
