#include <benchmark/benchmark.h>

#include <filesystem>

#include "bench/Samples.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "install/DeviceRegister.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

namespace {

// A device with an empty register, and a work folder.
class Device {
 public:
  Device() {
    for (const char* name : {"device/ZELMORA", "work"})
      std::filesystem::create_directories(folder_.native() / name);
    workTempFolder = folder_.path() + u"/work";
  }

  [[nodiscard]] WideText root() const { return folder_.path() + u"/device"; }

 private:
  TemporaryFolder folder_;
};

Update sampleUpdate(std::int64_t index) {
  Update update;
  update.info.company = u"ZELMORA";
  update.info.name = u"Map " + numberText(index);
  update.info.version = u"2026.2.0";
  update.info.update = 1;
  update.info.uninstall = 1;
  update.info.installLocation = u"storage_for_content";
  for (std::int64_t file = 0; file < 3; ++file) update.files.push_back({sampleClient(3 * index + file), 0});
  return update;
}

void recordUpdates(const Device& device, std::int64_t count) {
  DeviceRegister deviceRegister(device.root(), {});
  for (std::int64_t i = 0; i < count; ++i) benchmark::DoNotOptimize(deviceRegister.record(sampleUpdate(i)));
}

// An installation of so many updates, from the empty register to the one on the device.
void recordInRegister(benchmark::State& state) {
  for (auto run : state) recordUpdates(Device(), state.range(0));
}
BENCHMARK(recordInRegister)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

// A later installation, which replaces every update of a register by a new version.
void replaceInRegister(benchmark::State& state) {
  const Device device;
  recordUpdates(device, state.range(0));
  for (auto run : state) recordUpdates(device, state.range(0));
}
BENCHMARK(replaceInRegister)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

void findInRegister(benchmark::State& state) {
  const Device device;
  recordUpdates(device, state.range(0));
  for (auto run : state) {
    DeviceRegister deviceRegister(device.root(), {});
    for (std::int64_t i = 0; i < state.range(0); ++i)
      benchmark::DoNotOptimize(deviceRegister.updates().findByCompanyAndName(sampleUpdate(i).info));
  }
}
BENCHMARK(findInRegister)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

// A register in which all updates have one name, each of another company: every update is replaced and every
// one found.
void replaceInRegisterOfOneName(benchmark::State& state) {
  const auto named = [](std::int64_t index) {
    Update update = sampleUpdate(index);
    update.info.company = u"Company " + numberText(index);
    update.info.name = u"Map";
    return update;
  };
  for (auto run : state) {
    const Device device;
    DeviceRegister deviceRegister(device.root(), {});
    for (std::int64_t i = 0; i < 2 * state.range(0); ++i)
      benchmark::DoNotOptimize(deviceRegister.record(named(i % state.range(0))));
    for (std::int64_t i = 0; i < state.range(0); ++i)
      benchmark::DoNotOptimize(deviceRegister.updates().findUpdate(named(i).info));
  }
}
BENCHMARK(replaceInRegisterOfOneName)->Arg(4000)->Arg(8000)->Arg(16000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
