#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/StatusXml.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "userdata/UserDataCommands.h"

namespace ZelmoraTevra {

// The device's storages are volumes of their own, which can be pulled.
class PulledFileSystem : public FaultyFileSystem {
 public:
  using FaultyFileSystem::FaultyFileSystem;
  bool areOnSameVolume(const WideText& left, const WideText& right, platform::ErrorCode& /*error*/) override {
    return left == right;
  }
};

// A device of two storages, "flash" (E:) and "card" (F:), whose capacities a test may set.
class UserDataTest : public JobTest {
 protected:
  UserDataTest() {
    addUserDataCommands(table);
    makeFolder(path(u"flash/ZELMORA"));
    makeFolder(path(u"card/ZELMORA"));
    makeFolder(path(u"home"));
    setCapacities(100'000'000, 100'000'000);
    useFileSystem(disk);
  }

  // In bytes; a storage's files take away from them.
  void setCapacities(std::uint64_t flash, std::uint64_t card) {
    volumes.set({{u'E', path(u"flash"), flashReadOnly, flash}, {u'F', path(u"card"), cardReadOnly, card}});
  }

  [[nodiscard]] int run(const CommandRecord& record) {
    const auto worker = table.at(record.commandName).makeWorker();
    return worker->init(record) == 0 ? worker->run() : -2;
  }
  [[nodiscard]] int runOn(platform::FileSystem& system, const CommandRecord& record) {
    useFileSystem(system);
    const int result = run(record);
    useFileSystem(disk);
    return result;
  }
  // Reads the children of a "Command" element into `record`.
  [[nodiscard]] bool read(const WideText& name, const std::string& children,
                          const std::string& attributes = {});

  void expectSuccess(const WideText& exitCode = u"1010") const {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, statSuccess);
    EXPECT_EQ(saved.exitCode(), exitCode);
    EXPECT_TRUE(saved.descriptions.empty());
  }
  // A report of an error with nothing else in it than what is named.
  void expectError(const WideText& exitCode, const std::vector<WideText>& messages,
                   std::map<WideText, WideText> attributes = {}) const {
    SavedStatus saved = status();
    EXPECT_EQ(saved.state, statErrorOccured);
    std::vector<WideText> descriptions{u"100"};
    descriptions.insert(descriptions.end(), messages.begin(), messages.end());
    EXPECT_EQ(saved.descriptions, descriptions);
    attributes[u"exitCode"] = exitCode;
    saved.attributes.erase(u"executionTime");
    EXPECT_EQ(saved.attributes, attributes);
  }
  // The response, or whatever stands in its place.
  [[nodiscard]] std::string response() const { return readFile(StatusXml::instance().statusFilePath()); }

  void requestAbort() const {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  // Runs the command once for each operation on the disk, with that one failing, or it and all behind it.
  // `prepare` comes before each run, `check` after it.
  void failEachOperation(const CommandRecord& record, const std::function<void()>& prepare,
                         const std::function<void(int result, const std::string& when)>& check);
  // The storages' volume is the last that is synced, and when that fails the job does.
  void expectSyncedAtEnd(const CommandRecord& command, const WideText& exitCodeOfFailure) {
    PulledFileSystem pulled(disk);
    std::vector<std::string> operations;
    pulled.before = [&](int number, const std::string& operation) {
      operations.push_back(operation);
      if (operation == "syncVolume") pulled.failAt = number;
    };
    EXPECT_EQ(runOn(pulled, command), -1);
    EXPECT_EQ(status().exitCode(), exitCodeOfFailure);
    EXPECT_EQ(std::count(operations.begin(), operations.end(), "syncVolume"), 1);
  }
  // The same as failEachOperation with the process killed at each operation.
  void killAtEachOperation(const CommandRecord& record, const std::function<void()>& prepare,
                           const std::function<void(const std::string& when)>& check);

  bool flashReadOnly = false;
  bool cardReadOnly = false;
  CommandRecord record;
  CommandTable table;
  platform::FixedVolumes volumes{{}};
  platform::VolumeFileSystem disk{files(), volumes};
};

}  // namespace ZelmoraTevra
