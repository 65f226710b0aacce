#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/ProcessEnd.h"
#include "install/DeviceRegister.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Each folder of the test lies on a volume of its own.
class OwnVolumes : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool areOnSameVolume(const WideText& left, const WideText& right, platform::ErrorCode& error) override {
    error.clear();
    return left == right;
  }
};

// Records each operation that changes something, with what stands under the register's name at that moment.
class DeviceRegisterTest : public JobTest {
 protected:
  DeviceRegisterTest() {
    makeFolder(card);
    writeFile(deviceFile, oldRegister);
    recording.before = [this](int, const std::string& operation) {
      const std::string content = readFile(deviceFile);
      operations.push_back(operation + (content == oldRegister   ? ", old"
                                        : content == "<missing>" ? ""
                                                                 : ", new"));
    };
    useFileSystem(recording);
  }

  static std::string entry(const std::string& name) {
    return InstallDescription::registerEntry(name, "storage_for_software", {"apps/" + name});
  }
  static Update update() {
    Update added;
    added.info.company = u"ZELMORA";
    added.info.name = u"B";
    added.info.version = u"1.0.0";
    added.info.update = 1;
    added.info.uninstall = 1;
    added.info.installLocation = u"storage_for_software";
    added.files.push_back({u"apps/B", 0});
    return added;
  }

  const WideText root = path(u"flash");
  const WideText card = path(u"card");
  const WideText deviceFile = root + u"/ZELMORA/updates.xml";
  const std::string oldRegister = InstallDescription::registerOf({entry("A")});
  const std::string newRegister = InstallDescription::registerOf({entry("A"), entry("B")});
  OwnVolumes volumes{files()};
  FaultyFileSystem recording{volumes};
  std::vector<std::string> operations;
};

TEST_F(DeviceRegisterTest, WhatWasPlacedIsOnTheMediumBeforeTheRegisterAndEachStepOfThatBeforeTheNext) {
  for (const bool last : {false, true}) {
    writeFile(deviceFile, oldRegister);
    DeviceRegister deviceRegister(root, card);
    EXPECT_TRUE(deviceRegister.record(update()));
    operations.clear();
    EXPECT_TRUE(last ? deviceRegister.close() : deviceRegister.bringToDevice());
    EXPECT_EQ(readFile(deviceFile), newRegister);
    std::vector<std::string> expected{"syncVolume, old", "syncVolume, old", "removeFile, old", "open, old",
                                      "write, old",      "sync, old",       "rename, old",     "syncFolder",
                                      "rename",          "syncFolder, new", "removeFile, new"};
    if (last) expected.push_back("removeFile, new");  // the working copy
    EXPECT_EQ(operations, expected);
  }
}

TEST_F(DeviceRegisterTest, ARemovalIsBroughtToTheMediumLikeWhatWasPlaced) {
  DeviceRegister deviceRegister(root, card);
  deviceRegister.noteRemoval();
  operations.clear();
  EXPECT_TRUE(deviceRegister.bringToDevice());
  EXPECT_THAT(operations, ElementsAre("syncVolume, old", "syncVolume, old"));
}

TEST_F(DeviceRegisterTest, WhereNothingHappenedNothingIsWaitedFor) {
  DeviceRegister deviceRegister(root, card);
  operations.clear();
  EXPECT_TRUE(deviceRegister.bringToDevice());
  EXPECT_THAT(operations, IsEmpty());
  EXPECT_TRUE(deviceRegister.record(update()));
  EXPECT_TRUE(deviceRegister.bringToDevice());
  operations.clear();
  EXPECT_TRUE(deviceRegister.bringToDevice());
  EXPECT_THAT(operations, IsEmpty());
}

TEST_F(DeviceRegisterTest, AnEndOfTheProcessWaitsForTheMediumInTheSameOrder) {
  DeviceRegister deviceRegister(root, card);
  EXPECT_TRUE(deviceRegister.record(update()));
  operations.clear();
  runProcessEndActions();
  ASSERT_GT(operations.size(), 2U);
  EXPECT_EQ(operations[0], "syncVolume, old");
  EXPECT_EQ(operations[1], "syncVolume, old");
  EXPECT_EQ(readFile(deviceFile), newRegister);
}

}  // namespace
}  // namespace ZelmoraTevra
