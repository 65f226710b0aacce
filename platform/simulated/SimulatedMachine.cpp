#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "platform/Machine.h"
#include "platform/NativeFileSystem.h"
#include "platform/VolumeFileSystem.h"
#include "platform/simulated/MachineFile.h"

namespace ZelmoraTevra::platform {

namespace {

class SimulatedVolumes : public Volumes {
 public:
  explicit SimulatedVolumes(std::vector<Volume> volumes) : volumes_(std::move(volumes)) {}

  const std::vector<Volume>& volumes() override { return volumes_; }
  std::optional<VolumeInformation> information(char16_t letter) override {
    const Volume* const volume = volumeOfLetter(volumes_, letter);
    ErrorCode error;
    if (volume == nullptr || volume->fileSystem.empty() ||
        nativeFileSystem().kind(volume->folder, error) != EntryKind::folder)
      return {};
    return VolumeInformation{volume->label, volume->serial, volume->fileSystem};
  }

 private:
  std::vector<Volume> volumes_;
};

class MachineOfFile : public SimulatedMachine {
 public:
  explicit MachineOfFile(std::vector<Volume> volumes)
      : volumes_(std::move(volumes)), files_(nativeFileSystem(), volumes_), machine_(nativeMachine()) {
    machine_.files = &files_;
    machine_.volumes = &volumes_;
  }

  [[nodiscard]] const Machine& machine() const override { return machine_; }

 private:
  SimulatedVolumes volumes_;
  VolumeFileSystem files_;
  Machine machine_;
};

std::string printable(const WideText& path) {
  try {
    return toUtf8(path);
  } catch (const std::exception&) {
    return "machine file";
  }
}

}  // namespace

std::unique_ptr<SimulatedMachine> openSimulatedMachine(const WideText& machineFile) {
  MachineFile file = readMachineFile(nativeFileSystem(), machineFile);
  if (!file.fault.empty()) {
    std::fputs((printable(machineFile) + ": " + file.fault + "\n").c_str(), stderr);
  }
  return std::make_unique<MachineOfFile>(std::move(file.volumes));
}

}  // namespace ZelmoraTevra::platform
