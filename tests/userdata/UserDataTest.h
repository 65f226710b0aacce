#pragma once

#include <functional>
#include <map>
#include <string>

#include "core/Globals.h"
#include "core/StatusXml.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "userdata/UserDataCommands.h"

namespace ZelmoraTevra {

// A device of two storages, "flash" (E:) and "card" (F:), whose capacities a test may set.
class UserDataTest : public JobTest {
 protected:
  UserDataTest() {
    addUserDataCommands(table_);
    makeFolder(path(u"flash/ZELMORA"));
    makeFolder(path(u"card/ZELMORA"));
    makeFolder(path(u"home"));
    setCapacities(100'000'000, 100'000'000);
    useFileSystem(disk);
  }

  // In bytes; a storage's files take away from them.
  void setCapacities(std::uint64_t flash, std::uint64_t card) {
    volumes_.set({{u'E', path(u"flash"), flashReadOnly, flash}, {u'F', path(u"card"), cardReadOnly, card}});
  }

  [[nodiscard]] int run(const CommandRecord& record) {
    const auto worker = table_.at(record.commandName).makeWorker();
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
  // The same with the process killed at each operation.
  void killAtEachOperation(const CommandRecord& record, const std::function<void()>& prepare,
                           const std::function<void(const std::string& when)>& check);

  bool flashReadOnly = false;
  bool cardReadOnly = false;
  CommandRecord record;

 private:
  CommandTable table_;
  platform::FixedVolumes volumes_{{}};

 protected:
  platform::VolumeFileSystem disk{files(), volumes_};
};

}  // namespace ZelmoraTevra
