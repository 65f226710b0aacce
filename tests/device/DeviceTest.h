#pragma once

#include <string>

#include "platform/VolumeFileSystem.h"
#include "tests/device/FakeMaintenance.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FakeDeviceTree.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

// A test on a machine with devices of the test's own. Drives have their files in folders named by their
// letters.
class DeviceTest : public JobTest {
 protected:
  DeviceTest() {
    platform::Machine machine = platform::machine();
    machine.files = &driveFiles_;
    machine.volumes = &volumes;
    machine.deviceTree = &tree;
    machine.maintenance = &maintenance;
    useMachine(machine);
  }

  // A drive that is there; the folder is made.
  platform::Volume& addDrive(char16_t letter) {
    makeFolder(path(WideText(1, letter)));
    all_.push_back({.letter = letter, .folder = path(WideText(1, letter))});
    volumes.set(all_);
    return all_.back();
  }
  // After a change of what `addDrive` gave.
  void changeDrives() { volumes.set(all_); }
  void removeDrive(char16_t letter) {
    std::erase_if(all_, [letter](const platform::Volume& volume) { return volume.letter == letter; });
    volumes.set(all_);
  }
  void writeOn(char16_t letter, const std::string& file, const std::string& content = "x") const {
    writeFile(path(WideText(1, letter) + u'/' + toWide(file)), content);
  }
  [[nodiscard]] std::vector<std::string> treeOn(char16_t letter) const {
    return JobTest::tree(path(WideText(1, letter)));
  }

  FakeDeviceTree tree;
  FakeMaintenance maintenance;
  platform::FixedVolumes volumes{{}};

 private:
  std::vector<platform::Volume> all_;
  platform::VolumeFileSystem driveFiles_{files(), volumes};
};

}  // namespace ZelmoraTevra
