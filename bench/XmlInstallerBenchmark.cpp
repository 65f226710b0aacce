#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "core/Globals.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/DefaultXmlUpdateInstaller.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

namespace {

// In 1 MiB.
constexpr int maps = 7'000;
constexpr int settings = 24'000;

std::string nameOf(int map) {
  return "Region " + std::to_string(map * 7919 % maps);
}

// A device whose configuration lists many maps.
class Device {
 public:
  Device() {
    for (const char* name : {"device/config", "work"})
      std::filesystem::create_directories(folder_.native() / name);
    workTempFolder = folder_.path() + u"/work";
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<config>\n    <maps>\n";
    for (int map = 0; map < maps; ++map)
      text += "        <map>\n            <name>" + nameOf(map) +
              "</name>\n            <version>2025.1.0</version>\n            <path>content/maps/region" +
              std::to_string(map) + ".dat</path>\n        </map>\n";
    std::ofstream(folder_.native() / "device/config/maps.xml") << text << "    </maps>\n</config>\n";
    text = "<config>\n    <settings>\n";
    for (int setting = 0; setting < settings; ++setting) {
      const std::string name = "setting" + std::to_string(setting);
      text += "        <" + name + ">off</" + name + ">\n";
    }
    std::ofstream(folder_.native() / "device/config/settings.xml") << text << "    </settings>\n</config>\n";
  }

  [[nodiscard]] WideText root() const { return folder_.path() + u"/device"; }
  [[nodiscard]] WideText file() const { return root() + u"/config/maps.xml"; }
  [[nodiscard]] std::int64_t fileBytes() const {
    return static_cast<std::int64_t>(std::filesystem::file_size(folder_.native() / "device/config/maps.xml"));
  }

 private:
  TemporaryFolder folder_;
};

// Each entry is for another map: one in three is there and gets another version, one is new, one goes.
InstallUpdate updateOf(std::int64_t entries) {
  InstallUpdate update;
  for (int entry = 0; entry < entries; ++entry) {
    const int map = entry * 3 % maps;
    const WideText name = u"name/" + toWide(nameOf(map)) + (entry % 3 == 1 ? u" new" : u"");
    const std::int32_t flag = entry % 3 == 2 ? 6 : 3;
    const WideText version = u"version/2026." + numberText(entry);
    update.xmlEntries.push_back({u"config/maps.xml", flag, u"config/maps/map", name, {name, version}});
  }
  return update;
}

// Each entry is for another child of one element, and looks for it by its text.
InstallUpdate settingsUpdateOf(std::int64_t entries) {
  InstallUpdate update;
  for (int entry = 0; entry < entries; ++entry) {
    const WideText name = u"setting" + numberText(entry * 7919 % settings);
    update.xmlEntries.push_back(
        {u"config/settings.xml", 4, u"config/settings", name + u"/off", {name + u"/on"}});
  }
  return update;
}

// What nobody can do without: the file parsed and printed.
void parseAndPrintOnce(benchmark::State& state) {
  const Device device;
  for (auto run : state) {
    TiXmlDocument document;
    benchmark::DoNotOptimize(loadXml(device.file(), document));
    benchmark::DoNotOptimize(printXml(document));
  }
  state.SetBytesProcessed(state.iterations() * device.fileBytes());
}
BENCHMARK(parseAndPrintOnce)->Unit(benchmark::kMillisecond);

void installXmlEntries(benchmark::State& state, const InstallUpdate& update) {
  for (auto run : state) {
    state.PauseTiming();
    auto device = std::make_unique<Device>();
    state.ResumeTiming();
    {
      DefaultXmlUpdateInstaller installer;
      benchmark::DoNotOptimize(installer.install(update, {}, device->root(), device->root(), {}, nullptr));
    }
    state.PauseTiming();
    device.reset();
    state.ResumeTiming();
  }
}

// With the copy, the writing and the replacement of the file: one entry. Then many.
void mergeXmlEntries(benchmark::State& state) {
  installXmlEntries(state, updateOf(state.range(0)));
}
BENCHMARK(mergeXmlEntries)->Arg(1)->Arg(1000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

void changeXmlSettings(benchmark::State& state) {
  installXmlEntries(state, settingsUpdateOf(state.range(0)));
}
BENCHMARK(changeXmlSettings)->Arg(1)->Arg(1000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace ZelmoraTevra
