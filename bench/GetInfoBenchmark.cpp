#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "core/Globals.h"
#include "device/InstalledMapFiles.h"
#include "device/RemovableDrive.h"
#include "platform/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

namespace {

// A simulated pair of flash and card with so many maps, half of them on each.
class Pair {
 public:
  explicit Pair(std::int64_t maps) {
    workTempFolder = folder_.path() + u"/work";
    std::filesystem::create_directories(folder_.native() / "work");
    std::string version =
        "<config><software><brand>ZELMORA</brand><platform>NX</platform><version>7</version></software>";
    std::string updates = "<updates>";
    for (std::int64_t i = 0; i < maps; ++i) {
      const std::string file = "MAP/" + std::to_string(i) + ".MAP";
      write((i % 2 == 0 ? "flash/ZELMORA/" : "card/") + file, std::string(200'000, 'm'));
      const std::string name = "<name>Map " + std::to_string(i) + "</name><version>1</version>";
      version += "<map>" + name + "</map>";
      updates += "<update>" + name + "<file><client>" + (i % 2 == 0 ? "ZELMORA/" : "") + file +
                 "</client></file></update>";
    }
    write("flash/ZELMORA/version.xml", version + "</config>");
    write("flash/ZELMORA/updates.xml", updates + "</updates>");
    write("machine.xml",
          "<machine><node id=\"root\"><node id=\"a\"><volume letter=\"E\" folder=\"flash\"/></node>"
          "<node id=\"b\"><volume letter=\"F\" folder=\"card\"/></node></node></machine>");
    machine_ = platform::openSimulatedMachine(folder_.path() + u"/machine.xml");
    scope_ = std::make_unique<platform::ScopedMachine>(machine_->machine());
  }
  ~Pair() { computeMapsInfo = false; }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  void describe() const {
    const RemovableDrive drive{ClientDrive(u"E"), ClientDrive(u"F")};
    benchmark::DoNotOptimize(drive.info().maps.size());
  }

 private:
  void write(const std::string& relative, const std::string& content) const {
    const std::filesystem::path path = folder_.native() / relative;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  TemporaryFolder folder_;
  std::unique_ptr<platform::SimulatedMachine> machine_;
  std::unique_ptr<platform::ScopedMachine> scope_;
};

// What a front end asks for at every connection of a device.
void describePair(benchmark::State& state) {
  const Pair pair(state.range(0));
  for (auto run : state) pair.describe();
}
BENCHMARK(describePair)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond);

void describePairWithDigests(benchmark::State& state) {
  const Pair pair(state.range(0));
  computeMapsInfo = true;
  for (auto run : state) pair.describe();
}
BENCHMARK(describePairWithDigests)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
