#include <memory>

#include "platform/Machine.h"
#include "platform/NativeFileSystem.h"
#include "platform/VolumeFileSystem.h"
#include "platform/linux/LinuxClock.h"
#include "platform/linux/LinuxDevices.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxIdentifiers.h"
#include "platform/linux/LinuxPower.h"
#include "platform/linux/LinuxProcesses.h"
#include "platform/linux/LinuxRegistry.h"
#include "platform/linux/LinuxVolumes.h"

namespace ZelmoraTevra::platform {

namespace {

struct LinuxMachine {
  LinuxFileSystem disk;
  LinuxVolumes volumes;
  VolumeFileSystem files{disk, volumes};
  LinuxProcesses processes;
  LinuxPower power;
  LinuxRegistry registry{disk, processes};
  LinuxClock clock;
  LinuxIdentifiers identifiers;
  LinuxDeviceTree deviceTree;
  LinuxDiskMaintenance maintenance;
  Machine machine{&files, &volumes,     &processes,  &power,      &registry,
                  &clock, &identifiers, &deviceTree, &maintenance};
};

LinuxMachine& linuxMachine() {
  // Never destroyed: other objects that live until the end of the process still use it in their destructors.
  static LinuxMachine* const machine = std::make_unique<LinuxMachine>().release();
  return *machine;
}

}  // namespace

const Machine& nativeMachine() {
  return linuxMachine().machine;
}

FileSystem& nativeFileSystem() {
  return linuxMachine().disk;
}

}  // namespace ZelmoraTevra::platform
