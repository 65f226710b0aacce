#include <benchmark/benchmark.h>

#include "bench/Samples.h"
#include "core/Text.h"
#include "install/InstallXml.h"
#include "install/UpdateDistributor.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

namespace {

void readDescription(benchmark::State& state, std::int64_t updates, std::int64_t filesOfEach) {
  const WideText text = toWide(sampleDescription(updates, filesOfEach));
  for (auto run : state) {
    InstallXml description;
    benchmark::DoNotOptimize(description.load(text));
  }
}

void distribute(benchmark::State& state, std::int64_t updates, std::int64_t filesOfEach) {
  const TemporaryFolder device;
  InstallXml description;
  if (description.load(toWide(sampleDescription(updates, filesOfEach))) != 0)
    state.SkipWithError("The description can't be read.");
  std::vector<InstallUpdate*> pointers;
  for (InstallUpdate& update : description.getUpdates()) pointers.push_back(&update);
  for (auto run : state) {
    UpdateDistributor distributor;
    Distribution result;
    if (distributor.setPaths(device.path(), {}) != 0 || distributor.distribute(pointers, result) != 0)
      state.SkipWithError("The updates can't be distributed.");
  }
}

void readFiles(benchmark::State& state) {
  readDescription(state, 1, state.range(0));
}
BENCHMARK(readFiles)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

void readUpdates(benchmark::State& state) {
  readDescription(state, state.range(0), 1);
}
BENCHMARK(readUpdates)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

void distributeFiles(benchmark::State& state) {
  distribute(state, 1, state.range(0));
}
BENCHMARK(distributeFiles)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

void distributeUpdates(benchmark::State& state) {
  distribute(state, state.range(0), 1);
}
BENCHMARK(distributeUpdates)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
