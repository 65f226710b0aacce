#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/CopyFile.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/ReplaceDeviceFile.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/MoveMap.h"
#include "install/UpdatesCleaner.h"
#include "install/UpdatesXml.h"
#include "platform/VolumeFileSystem.h"
#include "tests/install/MemoryStorages.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/SmallVolume.h"

namespace ZelmoraTevra {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const WideText flash = u"M:\\flash";
const WideText card = u"M:\\card";

// Which map is chosen, on a device in memory.
class MoveMapChoiceTest : public JobTest {
 protected:
  MoveMapChoiceTest() : storages(files()) {
    storages.addRoot(flash, 0);
    storages.addRoot(card, 1'000'000'000);
    useFileSystem(storages);
  }
  void addMap(const WideText& name, std::int64_t size, const WideText& folder = u"map") {
    storages.addFile(flash + u"\\ZELMORA\\" + folder + u'\\' + name, size);
  }
  [[nodiscard]] WideText optimal(std::int64_t minimumSize) {
    MoveMap moveMap;
    moveMap.initialise(flash, card, minimumSize);
    return moveMap.findOptimalMap();
  }

  MemoryStorages storages;
};

TEST_F(MoveMapChoiceTest, WithoutTheFolderThereIsNoMap) {
  EXPECT_EQ(optimal(100), u"");
  storages.addFolder(flash + u"\\ZELMORA");
  EXPECT_EQ(optimal(100), u"");
  storages.addFile(flash + u"\\ZELMORA\\map", 200);
  EXPECT_EQ(optimal(100), u"");
}

TEST_F(MoveMapChoiceTest, AMapOfExactlyTheMinimumSizeIsTooSmall) {
  addMap(u"a.map", 100);
  EXPECT_EQ(optimal(100), u"");
  EXPECT_EQ(optimal(99), u"M:\\flash\\ZELMORA\\map\\a.map");
}

TEST_F(MoveMapChoiceTest, ACardWithExactlyTheRoomForTheMapAndTheReserveIsTooSmall) {
  addMap(u"a.map", 1000);
  storages.addRoot(card, reserveBytes + 1000);
  EXPECT_EQ(optimal(100), u"");
  storages.addRoot(card, reserveBytes + 1001);
  EXPECT_EQ(optimal(100), u"M:\\flash\\ZELMORA\\map\\a.map");
}

TEST_F(MoveMapChoiceTest, ACardWithLessThanTheReserveTakesNoMap) {
  addMap(u"a.map", 1000);
  for (const std::int64_t free : {std::int64_t{0}, std::int64_t{1000}, reserveBytes}) {
    storages.addRoot(card, free);
    EXPECT_EQ(optimal(100), u"");
  }
}

TEST_F(MoveMapChoiceTest, TheSmallestMapThatIsEnoughIsChosen) {
  addMap(u"huge.map", 5000);
  addMap(u"right.map", 300);
  addMap(u"small.map", 100);
  addMap(u"large.map", 400);
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\map\\right.map");
  EXPECT_EQ(optimal(300), u"M:\\flash\\ZELMORA\\map\\large.map");
  EXPECT_EQ(optimal(5000), u"");
}

TEST_F(MoveMapChoiceTest, OfMapsOfOneSizeTheFirstFoundIsChosen) {
  addMap(u"b.map", 300);
  addMap(u"a.map", 300);
  addMap(u"c.map", 300);
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\map\\a.map");
}

TEST_F(MoveMapChoiceTest, OnlyTheExtensionInSmallLettersMakesAMap) {
  for (const WideText name : {u"a.MAP", u"a.map2", u"a.map.bak", u"map", u"amap", u"a.Map", u"a.map."})
    addMap(name, 300);
  EXPECT_EQ(optimal(200), u"");
  addMap(u"a.b.map", 300);
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\map\\a.b.map");
}

TEST_F(MoveMapChoiceTest, FoldersBelowAreNotLookedInto) {
  addMap(u"old\\a.map", 300);
  storages.addFolder(flash + u"\\ZELMORA\\map\\folder.map");
  EXPECT_EQ(optimal(200), u"");
}

TEST_F(MoveMapChoiceTest, TheFolderInCapitalsIsTriedWhenTheOtherOneHasNothing) {
  addMap(u"upper.map", 300, u"MAP");
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\MAP\\upper.map");
  addMap(u"small.map", 100);
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\MAP\\upper.map");
  addMap(u"lower.map", 400);
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\map\\lower.map");
}

TEST_F(MoveMapChoiceTest, AMapWhosePlaceOnTheCardIsTakenIsPassedOver) {
  addMap(u"a.map", 300);
  addMap(u"b.map", 400);
  addMap(u"c.map", 500);
  storages.addFile(card + u"\\ZELMORA\\map\\a.map", 299);
  storages.addFolder(card + u"\\ZELMORA\\map\\b.map");
  EXPECT_EQ(optimal(200), u"M:\\flash\\ZELMORA\\map\\c.map");
  storages.addFile(card + u"\\ZELMORA\\map\\c.map", 1);
  EXPECT_EQ(optimal(200), u"");
}

TEST_F(MoveMapChoiceTest, WithoutACardOrWithOneThatHasGoneThereIsNoMap) {
  addMap(u"a.map", 300);
  MoveMap moveMap;
  moveMap.initialise(flash, u"", 200);
  EXPECT_EQ(moveMap.findOptimalMap(), u"");
  storages.remove(card);
  EXPECT_EQ(optimal(200), u"");
}

TEST_F(MoveMapChoiceTest, WithoutAMainStorageNothingOnTheComputerIsTaken) {
  storages.addFile(u"M:\\ZELMORA\\map\\a.map", 300);
  MoveMap moveMap;
  moveMap.initialise(u"", card, 200);
  EXPECT_EQ(moveMap.findOptimalMap(), u"");
}

TEST_F(MoveMapChoiceTest, AfterAResetNothingIsKnown) {
  startLog();
  addMap(u"a.map", 300);
  MoveMap moveMap;
  EXPECT_EQ(moveMap.findOptimalMap(), u"");
  moveMap.initialise(flash, card, 200);
  EXPECT_NE(moveMap.findOptimalMap(), u"");
  moveMap.reset();
  EXPECT_EQ(moveMap.findOptimalMap(), u"");
  EXPECT_THAT(logLines(), ElementsAre(u"MOVE MAP ENDED!"));
}

TEST_F(MoveMapChoiceTest, AFolderOfManyFilesCostsOneLookAtEach) {
  constexpr int count = 100'000;
  for (int number = 0; number < count; ++number) addMap(numberText(number) + u".map", 300 + number % 7);
  storages.looks.clear();
  EXPECT_NE(optimal(305), u"");
  int looks = 0;
  for (const auto& [path, questions] : storages.looks) looks += questions;
  EXPECT_LT(looks, count + 100);
}

// Tells of files that are opened for reading.
class OpenedFiles : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::function<void(const WideText&)> beforeReading;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read) beforeReading(path);
    return target().open(path, mode, error);
  }
};

// A device on a simulated machine: flash (E:) and card (F:), each with a capacity of its own.
class MoveMapTest : public JobTest {
 protected:
  static constexpr std::int64_t roomOnCard = reserveBytes + 5'000'000;

  MoveMapTest() {
    makeFolder(path(u"flash/ZELMORA/map"));
    makeFolder(path(u"card"));
    useFileSystem(disk);
    writeFile(source, map);
    writeFile(deviceRegister, registerFor("storage_for_software"));
  }

  static std::string registerFor(const std::string& location) {
    return InstallDescription::registerOf(
        {InstallDescription::registerEntry("Chess", "storage_for_software", {"games/chess.bin"}),
         InstallDescription::registerEntry("Alps", location, {"ZELMORA/map/alps.map"})});
  }
  [[nodiscard]] int run(std::int64_t minimumSize = 1'000'000) {
    MoveMap moveMap;
    moveMap.initialise(u"E:", u"F:", minimumSize);
    return moveMap.run();
  }
  void expectNotMoved() {
    EXPECT_TRUE(readFile(source) == map);
    EXPECT_THAT(tree(path(u"card")), Not(Contains(StartsWith(".Tevra"))));
    EXPECT_FALSE(fileExists(target));
    EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_software"));
  }
  void expectMoved() {
    EXPECT_FALSE(std::filesystem::exists(folder.native() / "flash/ZELMORA/map/alps.map"));
    EXPECT_THAT(tree(path(u"flash")), ElementsAre("ZELMORA/", "ZELMORA/map/", "ZELMORA/updates.xml"));
    EXPECT_THAT(tree(path(u"card")), ElementsAre("ZELMORA/", "ZELMORA/map/", "ZELMORA/map/alps.map"));
    EXPECT_TRUE(readFile(target) == map);
    EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_content"));
  }
  void requestAbort() {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  // The operations of a run, with something happening before each of them.
  int runWatched(const std::function<void(int, const std::string&)>& before) {
    FaultyFileSystem watched(disk);
    watched.before = before;
    useFileSystem(watched);
    const int result = run();
    useFileSystem(disk);
    return result;
  }

  // Three blocks and a half.
  const std::string map = [] {
    std::string content(3'500'000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 + i / 4096);
    return content;
  }();
  const WideText source = path(u"flash/ZELMORA/map/alps.map");
  const WideText target = path(u"card/ZELMORA/map/alps.map");
  const WideText deviceRegister = path(u"flash/ZELMORA/updates.xml");
  platform::FixedVolumes volumes{
      {{u'E', path(u"flash"), false, 20'000'000}, {u'F', path(u"card"), false, std::uint64_t{roomOnCard}}}};
  platform::VolumeFileSystem disk{files(), volumes};
};

TEST_F(MoveMapTest, TheMapGoesToTheSamePlaceOnTheCardAndTheRegisterSaysSo) {
  clock.ticks = 0;  // no snapshot of the status, which has a line of its own
  startLog();
  EXPECT_EQ(run(), 0);
  expectMoved();
  EXPECT_THAT(logLines(), ElementsAre(u"FOUND map on primary! Path: E:/ZELMORA/map/alps.map",
                                      u"Transfer map SUCCEEDED!", u"Map entry FOUND in update xml file!"));
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(MoveMapTest, NoMapIsLoggedAndIsMinusOne) {
  startLog();
  EXPECT_EQ(run(3'500'000), -1);
  expectNotMoved();
  EXPECT_THAT(logLines(), ElementsAre(u"Optimal map NOT FOUND on primary!"));
}

TEST_F(MoveMapTest, TheCopyIsReportedAsAnInstallationInAListOfItsOwn) {
  ProgressObserver::instance().load({{7, u"other", {}, 0}});
  clock.ticks += 2000;
  EXPECT_EQ(run(), 0);
  ASSERT_EQ(statusHistory().size(), 1U);
  EXPECT_EQ(status().state, statInstalllnProgress);
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"29", u"1048576 / 3500000", u"29", u"1048576 / 3500000",
                                   u"E:/ZELMORA/map/alps.map", u"F:/ZELMORA/map/alps.map"}));
  EXPECT_FALSE(ProgressObserver::instance().setPosition(0));
}

TEST_F(MoveMapTest, TheCopyStandsUnderAnotherNameInAHiddenFolderUntilItIsWhole) {
  class HiddenTold : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::vector<WideText> hidden;
    bool setHidden(const WideText& path, platform::ErrorCode& error) override {
      hidden.push_back(path);
      return target().setHidden(path, error);
    }
  };
  HiddenTold told(disk);
  FaultyFileSystem watched(told);
  std::vector<std::string> seen;
  watched.before = [&](int, const std::string& operation) {
    if (operation == "sync" && seen.empty()) seen = tree(path(u"card"));
  };
  useFileSystem(watched);
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(seen, ElementsAre(".TevraTemporaryLocation/", ".TevraTemporaryLocation/temp_file_incomplete"));
  EXPECT_THAT(told.hidden, ElementsAre(u"F:\\.TevraTemporaryLocation"));
}

TEST_F(MoveMapTest, TheMapOnFlashGoesLastWhenCopyAndRegisterAreOnTheMedium) {
  std::vector<std::string> operations;
  EXPECT_EQ(runWatched([&](int, const std::string& operation) {
              if (fileExists(target) && operations.empty()) operations.emplace_back("named");
              if (!operations.empty()) operations.push_back(operation);
              EXPECT_TRUE(readFile(source) == map);
            }),
            0);
  // The temporary folder goes; the folder of the map is synced; the register is replaced; the map goes.
  ASSERT_GT(operations.size(), 3U);
  EXPECT_EQ(operations[1], "removeFolder");
  EXPECT_EQ(operations[2], "syncFolder");
  EXPECT_EQ(operations.back(), "removeFile");
}

TEST_F(MoveMapTest, AnAbortLeavesTheMapWhereItIsAndIsTheCopysResult) {
  startLog();
  EXPECT_EQ(runWatched([this](int, const std::string& operation) {
              if (operation == "flush") requestAbort();
            }),
            static_cast<int>(CopyResult::aborted));
  expectNotMoved();
  EXPECT_EQ(logLines().back(), u"Transfer map FAIL! Copy error!");
  EXPECT_NE(status().state, statAbort) << "the caller tells of it";
}

TEST_F(MoveMapTest, ACardThatTakesNoFileIsAFailedCopy) {
  startLog();
  volumes.set({{u'E', path(u"flash"), false, 20'000'000}, {u'F', path(u"card"), true, roomOnCard}});
  EXPECT_EQ(run(), static_cast<int>(CopyResult::cannotCreateDestination));
  expectNotMoved();
  EXPECT_TRUE(logHas(u"Transfer map FAIL! Copy error!"));
}

TEST_F(MoveMapTest, ARenameThatFailsIsLoggedAndLeavesNothingOnTheCard) {
  startLog();
  FaultyFileSystem faulty(disk);
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "rename" && faulty.failAt == 0) faulty.failAt = number;
  };
  clock.ticks = 0;  // no snapshot of the status, which is renamed too
  useFileSystem(faulty);
  EXPECT_EQ(run(), -1);
  expectNotMoved();
  EXPECT_EQ(logLines().back(), u"Transfer map FAIL! Rename error!");
}

TEST_F(MoveMapTest, WithoutARegisterTheMapIsMovedAllTheSame) {
  startLog();
  std::filesystem::remove(folder.native() / "flash/ZELMORA/updates.xml");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_FALSE(fileExists(source));
  EXPECT_FALSE(fileExists(deviceRegister));
  EXPECT_EQ(logLines().back(), u"Transfer map SUCCEEDED!");
}

TEST_F(MoveMapTest, ADamagedRegisterStaysAsItIsAndTheMapIsMoved) {
  writeFile(deviceRegister, "<updates><update>");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), "<updates><update>");
}

TEST_F(MoveMapTest, ARegisterWithoutEntriesIsLogged) {
  clock.ticks = 0;  // no snapshot of the status, which has a line of its own
  startLog();
  writeFile(deviceRegister, InstallDescription::registerOf({}));
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), InstallDescription::registerOf({}));
  EXPECT_THAT(logLines(),
              ElementsAre(u"FOUND map on primary! Path: E:/ZELMORA/map/alps.map", u"Transfer map SUCCEEDED!",
                          u"No updates etries founded!", u"Map entry NOT FOUND in updates xml file!"));
}

TEST_F(MoveMapTest, AMapThatNoEntryListsIsMovedAndTheRegisterStaysAsItIs) {
  startLog();
  const std::string other = InstallDescription::registerOf(
      {InstallDescription::registerEntry("Other", "storage_for_software", {"map/alps.map", "ZELMORA/map"})});
  writeFile(deviceRegister, other);
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), other);
  EXPECT_EQ(logLines().back(), u"Map entry NOT FOUND in updates xml file!");
}

TEST_F(MoveMapTest, EveryEntryThatListsTheMapIsOnTheCardAfterwardsHoweverItSpellsIt) {
  const auto text = [](const std::string& location) {
    return InstallDescription::registerOf(
        {InstallDescription::registerEntry("One", location, {"a", "ZELMORA\\map\\alps.map"}),
         InstallDescription::registerEntry("Two", location, {"ZELMORA/map/alps.map"}),
         InstallDescription::registerEntry("Three", "storage_for_software", {"b"})});
  };
  writeFile(deviceRegister, text("storage_for_software"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(deviceRegister), text("storage_for_content"));
}

TEST_F(MoveMapTest, TheMapsOwnSpellingComesBeforeOneInAnotherCase) {
  const auto text = [](const std::string& first, const std::string& second) {
    return InstallDescription::registerOf(
        {InstallDescription::registerEntry("Upper", first, {"ZELMORA/MAP/ALPS.MAP"}),
         InstallDescription::registerEntry("Lower", second, {"ZELMORA/map/alps.map"})});
  };
  writeFile(deviceRegister, text("storage_for_software", "storage_for_software"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(deviceRegister), text("storage_for_software", "storage_for_content"));
}

TEST_F(MoveMapTest, WhereNoEntrySpellsItSoAnotherCaseIsTheMapToo) {
  const auto text = [](const std::string& location) {
    return InstallDescription::registerOf(
        {InstallDescription::registerEntry("Upper", location, {"zelmora/MAP/Alps.Map"})});
  };
  writeFile(deviceRegister, text("external"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(deviceRegister), text("storage_for_content"));
}

TEST_F(MoveMapTest, ARegisterThatCanNotBeReadKeepsTheMapOnBothStorages) {
  class Unreadable : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (!path.ends_with(u"ZELMORA\\updates.xml")) return target().open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return nullptr;
    }
  };
  Unreadable broken(disk);
  useFileSystem(broken);
  EXPECT_EQ(run(), -1);
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_TRUE(readFile(target) == map);
  useFileSystem(disk);
  EXPECT_EQ(run(), 0);
  expectMoved();
}

TEST_F(MoveMapTest, ARegisterWithBytesThatAreNoTextKeepsTheMapOnBothStorages) {
  std::string broken = registerFor("storage_for_software");
  broken.replace(broken.find("Chess"), 5, "Ch\xFFss");
  writeFile(deviceRegister, broken);
  EXPECT_EQ(run(), -1);
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), broken);
}

TEST_F(MoveMapTest, AMapThatCanNotBeRemovedStandsOnBothStoragesAndIsMinusOne) {
  class Irremovable : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& path, platform::ErrorCode& error) override {
      if (!path.ends_with(u"alps.map")) return target().removeFile(path, error);
      error = boost::system::errc::make_error_code(boost::system::errc::device_or_resource_busy);
      return false;
    }
  };
  startLog();
  Irremovable busy(disk);
  for (int attempt = 0; attempt < 2; ++attempt) {
    useFileSystem(busy);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(logLines().back(),
              u"The map could not be removed. It stays on primary too: E:/ZELMORA/map/alps.map");
    EXPECT_TRUE(readFile(source) == map);
    EXPECT_TRUE(readFile(target) == map);
    EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_content"));
    EXPECT_THAT(tree(path(u"card")), Not(Contains(StartsWith(".Tevra"))));
  }
  useFileSystem(disk);
  EXPECT_EQ(run(), 0);
  expectMoved();
}

TEST_F(MoveMapTest, AMapThatSomeoneElseRemovesAtTheEndIsMoved) {
  EXPECT_EQ(runWatched([this](int, const std::string& operation) {
              if (operation == "removeFile" && readFile(deviceRegister) == registerFor("storage_for_content"))
                std::filesystem::remove(folder.native() / "flash/ZELMORA/map/alps.map");
            }),
            0);
  expectMoved();
}

TEST_F(MoveMapTest, AnotherFileOfThatNameOnTheCardIsNeverReplaced) {
  std::string almost = map;
  almost.back() = static_cast<char>(almost.back() ^ 1);
  for (const std::string& other :
       {std::string("other"), std::string(map.size(), 'x'), std::string(), almost}) {
    writeFile(target, other);
    EXPECT_EQ(run(), -1);
    EXPECT_TRUE(readFile(target) == other);
    EXPECT_TRUE(readFile(source) == map);
    EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_software"));
  }
}

TEST_F(MoveMapTest, AFileThatComesUnderTheNameMeanwhileIsNotReplacedEither) {
  EXPECT_EQ(runWatched([this](int, const std::string& operation) {
              if (operation == "sync") writeFile(target, "other");
            }),
            -1);
  EXPECT_EQ(readFile(target), "other");
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_THAT(tree(path(u"card")), Not(Contains(StartsWith(".Tevra"))));
}

TEST_F(MoveMapTest, AWholeCopyOnTheCardIsNotCopiedAgainAndNeedsNoRoom) {
  writeFile(target, map);
  writeFile(path(u"card/.TevraTemporaryLocation/temp_file_incomplete"), "part");
  volumes.set({{u'E', path(u"flash"), false, 20'000'000}, {u'F', path(u"card"), false, 3'600'000}});
  EXPECT_EQ(run(), 0);
  expectMoved();
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(MoveMapTest, WhatIsOnTheCardAlreadyIsBroughtToTheMediumBeforeItIsTakenForTheMap) {
  writeFile(target, map);
  std::vector<std::string> operations;
  OpenedFiles opened(disk);
  opened.beforeReading = [&](const WideText& path) {
    if (path.starts_with(u"F:") && path.ends_with(u"alps.map")) operations.emplace_back("read copy");
  };
  FaultyFileSystem watched(opened);
  watched.before = [&](int, const std::string& operation) {
    operations.push_back(operation);
    EXPECT_TRUE(readFile(source) == map);
  };
  useFileSystem(watched);
  EXPECT_EQ(run(), 0);
  expectMoved();
  ASSERT_GT(operations.size(), 3U);
  EXPECT_EQ(operations[0], "syncVolume");
  EXPECT_EQ(operations[1], "read copy");
  EXPECT_EQ(operations[2], "syncFolder");
  EXPECT_EQ(operations.back(), "removeFile");
}

TEST_F(MoveMapTest, ACopyThatDoesNotReachTheCardIsNone) {
  writeFile(target, map);
  FaultyFileSystem faulty(disk);
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "syncVolume") faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_EQ(run(), -1);
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_software"));
}

TEST_F(MoveMapTest, AnAbortWhileTheCardsFileIsComparedLeavesBothStoragesAsTheyWere) {
  startLog();
  writeFile(target, map);
  OpenedFiles opened(disk);
  opened.beforeReading = [this](const WideText& path) {
    if (path.ends_with(u"alps.map")) requestAbort();
  };
  useFileSystem(opened);
  EXPECT_EQ(run(), static_cast<int>(CopyResult::aborted));
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_TRUE(readFile(target) == map);
  EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_software"));
  EXPECT_FALSE(logHas(u"Transfer map SUCCEEDED!"));
  EXPECT_NE(status().state, statAbort) << "the caller tells of it";
}

TEST_F(MoveMapTest, TwoNamesOfOneStorageMoveNothing) {
  std::filesystem::create_symlink("flash", folder.native() / "again");
  for (const WideText& same : {WideText(u"E:"), WideText(u"e:\\"), path(u"flash"), path(u"again")}) {
    MoveMap moveMap;
    moveMap.initialise(u"E:", same, 1'000'000);
    EXPECT_EQ(moveMap.findOptimalMap(), u"");
    EXPECT_EQ(moveMap.run(), -1);
    EXPECT_TRUE(readFile(source) == map);
  }
}

TEST_F(MoveMapTest, WhatAnInterruptedMoveLeftIsOverwritten) {
  writeFile(path(u"card/.TevraTemporaryLocation/temp_file_incomplete"), std::string(1'000'000, 'p'));
  writeFile(path(u"card/.TevraTemporaryLocation/more/things"), "x");
  EXPECT_EQ(run(), 0);
  expectMoved();
}

TEST_F(MoveMapTest, LinksAreNotFollowed) {
  namespace fs = std::filesystem;
  writeFile(path(u"computer/letter"), "a letter");
  writeFile(path(u"computer/private.map"), std::string(1'200'000, 'p'));
  const std::vector<std::string> computer = tree(path(u"computer"));
  const auto link = [this](const std::string& to, const std::string& at) {
    fs::remove_all(folder.native() / at);
    fs::create_symlink(folder.native() / to, folder.native() / at);
  };

  // A link among the maps is none of them, though it would be the best one.
  link("computer/private.map", "flash/ZELMORA/map/link.map");
  for (const char* to : {"computer", "computer/letter", "nowhere"}) {
    SCOPED_TRACE(to);
    writeFile(source, map);
    writeFile(deviceRegister, registerFor("storage_for_software"));
    fs::remove_all(folder.native() / "card/ZELMORA");
    link(to, "card/.TevraTemporaryLocation");
    EXPECT_EQ(run(), 0);
    EXPECT_TRUE(readFile(target) == map);
    EXPECT_TRUE(fs::is_symlink(folder.native() / "flash/ZELMORA/map/link.map"));
    EXPECT_EQ(tree(path(u"computer")), computer);
    EXPECT_EQ(tree(path(u"card")).size(), 3U);
  }
  // A folder of the card that leads elsewhere has no place for a map.
  writeFile(source, map);
  fs::remove_all(folder.native() / "card/ZELMORA");
  fs::create_symlink("../computer", folder.native() / "card/ZELMORA");
  EXPECT_EQ(run(), -1);
  EXPECT_TRUE(readFile(source) == map);
  fs::remove(folder.native() / "card/ZELMORA");
  // Nor does a link under the map's name give way.
  makeFolder(path(u"card/ZELMORA/map"));
  fs::create_symlink(folder.native() / "computer/letter", folder.native() / "card/ZELMORA/map/alps.map");
  EXPECT_EQ(run(), -1);
  EXPECT_TRUE(readFile(source) == map);
  fs::remove_all(folder.native() / "card/ZELMORA");
  // A map folder that leads elsewhere isn't the device's.
  fs::rename(folder.native() / "flash/ZELMORA/map", folder.native() / "elsewhere");
  fs::create_symlink("../../elsewhere", folder.native() / "flash/ZELMORA/map");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(tree(path(u"computer")), computer);
}

TEST_F(MoveMapTest, WhereBothSpellingsAreOneFolderTheMapIsMovedOnce) {
  class OneCase : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool list(const WideText& path, std::vector<platform::FolderEntry>& entries,
              platform::ErrorCode& error) override {
      return target().list(folded(path), entries, error);
    }
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      return target().kind(folded(path), error);
    }

   private:
    static WideText folded(WideText path) {
      const std::size_t at = toBackslashes(path).find(u"\\MAP");
      if (at != WideText::npos) path.replace(at + 1, 3, u"map");
      return path;
    }
  };
  OneCase files(disk);
  useFileSystem(files);
  EXPECT_EQ(run(), 0);
  expectMoved();
  EXPECT_EQ(run(), -1);
}

TEST_F(MoveMapTest, WithoutACardNothingIsTouched) {
  FaultyFileSystem watched(disk);
  useFileSystem(watched);
  for (const auto& [primary, secondary] :
       {std::pair(u"E:", u""), std::pair(u"", u"F:"), std::pair(u"", u"")}) {
    MoveMap moveMap;
    moveMap.initialise(primary, secondary, 1'000'000);
    EXPECT_EQ(moveMap.run(), -1);
  }
  EXPECT_EQ(watched.count, 0);
}

TEST_F(MoveMapTest, AMapMarkedReadOnlyIsMovedToo) {
  std::filesystem::permissions(folder.native() / "flash/ZELMORA/map/alps.map",
                               std::filesystem::perms::owner_read);
  EXPECT_EQ(run(), 0);
  expectMoved();
}

TEST_F(MoveMapTest, ACardThatHasGoneDoesNotComeUpAgainAsAFolder) {
  const WideText root = path(u"gone");
  makeFolder(root);
  FaultyFileSystem watched(disk);
  watched.before = [this](int, const std::string& operation) {
    if (operation == "sync") std::filesystem::remove_all(folder.native() / "gone");
  };
  useFileSystem(watched);
  MoveMap moveMap;
  moveMap.initialise(u"E:", root, 1'000'000);
  EXPECT_EQ(moveMap.run(), -1);
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "gone"));
  EXPECT_TRUE(readFile(source) == map);
}

// What must hold whatever happens. The devices are folders: on the disk, or volumes of their own.
class InterruptedMoveTest : public JobTest {
 protected:
  InterruptedMoveTest() { startOver(); }

  void startOver() {
    for (const char* root : {"flash", "card"}) {
      for (const auto& entry : std::filesystem::directory_iterator(root_(root)))
        std::filesystem::remove_all(entry.path());
    }
    writeFile(source, map);
    writeFile(deviceRegister, registerFor("storage_for_software"));
  }
  static std::string registerFor(const std::string& location) {
    return InstallDescription::registerOf(
        {InstallDescription::registerEntry("Alps", location, {"ZELMORA/map/alps.map"})});
  }
  static int run(const WideText& flashRoot, const WideText& cardRoot) {
    MoveMap moveMap;
    moveMap.initialise(flashRoot, cardRoot, 1'000'000);
    return moveMap.run();
  }
  [[nodiscard]] int run() const { return run(path(u"flash"), path(u"card")); }

  // One whole map is there, and the register names a storage that has one: the clean-up behind an
  // installation keeps its entry.
  void expectNothingLost() {
    const bool onFlash = fileExists(source);
    const bool onCard = fileExists(target);
    EXPECT_TRUE(onFlash || onCard);
    if (onFlash) {
      EXPECT_TRUE(readFile(source) == map);
    }
    if (onCard) {
      EXPECT_TRUE(readFile(target) == map);
    }
    ClientUpdatesXmlFile file(path(u"flash"), true);
    UpdatesXml updates(&file);
    ASSERT_TRUE(updates.isLoaded());
    UpdatesCleaner cleaner;
    ASSERT_EQ(cleaner.init(&updates, path(u"flash"), path(u"card")), 0);
    EXPECT_EQ(cleaner.run(), 0);
    EXPECT_EQ(updates.getUpdates().size(), 1U);
  }
  // The next run ends what this one has begun.
  void expectFinished() {
    const bool wasOnFlash = fileExists(source);
    EXPECT_EQ(run(), wasOnFlash ? 0 : -1);
    EXPECT_FALSE(fileExists(source));
    EXPECT_TRUE(readFile(target) == map);
    EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_content"));
    if (wasOnFlash) {
      EXPECT_THAT(tree(path(u"card")), ElementsAre("ZELMORA/", "ZELMORA/map/", "ZELMORA/map/alps.map"));
    }
  }
  void killAtEachOperation() {
    int operation = 1;
    const auto killed = [&] {
      return !runsToItsEnd([&] {
        FaultyFileSystem faulty(files());
        faulty.before = [operation](int number, const std::string&) {
          if (number == operation) dieHere();
        };
        useFileSystem(faulty);
        static_cast<void>(run());
      });
    };
    for (; killed(); ++operation) {
      SCOPED_TRACE("killed at operation " + std::to_string(operation));
      expectNothingLost();
      expectFinished();
      startOver();
      if (HasFatalFailure() || HasNonfatalFailure()) return;
    }
    EXPECT_GT(operation, 20);
    expectFinished();
  }
  void failFromEachOperation(bool failsForGood) {
    FaultyFileSystem faulty(files());
    faulty.failAllAfter = failsForGood;
    for (faulty.failAt = 1;; ++faulty.failAt) {
      SCOPED_TRACE("failing operation " + std::to_string(faulty.failAt));
      faulty.count = 0;
      useFileSystem(faulty);
      const int result = run();
      useFileSystem(files());
      expectNothingLost();
      const bool undisturbed = faulty.count < faulty.failAt;
      if (undisturbed) {
        EXPECT_EQ(result, 0);
      }
      if (result == 0) {
        EXPECT_TRUE(readFile(target) == map);
        EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_content"));
      }
      expectFinished();
      startOver();
      if (undisturbed || HasFatalFailure() || HasNonfatalFailure()) break;
    }
    EXPECT_GT(faulty.failAt, 20);
  }

  const std::string map = std::string(1'500'000, 'm') + std::string(500'000, 'n');
  const WideText source = path(u"flash/ZELMORA/map/alps.map");
  const WideText target = path(u"card/ZELMORA/map/alps.map");
  const WideText deviceRegister = path(u"flash/ZELMORA/updates.xml");

 private:
  [[nodiscard]] std::filesystem::path root_(const std::string& name) const {
    std::filesystem::create_directories(folder.native() / name);
    return folder.native() / name;
  }
};

TEST_F(InterruptedMoveTest, AtWhicheverOperationTheProcessIsKilledOneWholeMapIsThere) {
  killAtEachOperation();
}

TEST_F(InterruptedMoveTest, WhicheverOperationFailsOneWholeMapIsThere) {
  failFromEachOperation(false);
}

TEST_F(InterruptedMoveTest, FromWhicheverOperationTheDisksAreGoneOneWholeMapIsThere) {
  failFromEachOperation(true);
}

TEST_F(InterruptedMoveTest, OnVolumesOfTheirOwnTooOneWholeMapIsThere) {
  const SmallVolume flashVolume(folder.native() / "flash", 6'000'000);
  const SmallVolume cardVolume(folder.native() / "card", 14'000'000);
  if (!flashVolume.isMounted() || !cardVolume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  startOver();
  killAtEachOperation();
  startOver();
  failFromEachOperation(false);
  failFromEachOperation(true);
}

TEST_F(InterruptedMoveTest, ACardThatGetsFullMeanwhileIsAFailedCopyAndIsAsItWas) {
  const SmallVolume cardVolume(folder.native() / "card", 14'000'000);
  if (!cardVolume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  startOver();
  FaultyFileSystem watched(files());
  watched.before = [this](int, const std::string& operation) {
    if (operation == "flush") writeFile(path(u"card/filler"), std::string(20'000'000, 'x'));
  };
  useFileSystem(watched);
  EXPECT_EQ(run(), static_cast<int>(CopyResult::failed));
  EXPECT_THAT(tree(path(u"card")), ElementsAre("filler"));
  EXPECT_TRUE(readFile(source) == map);
  EXPECT_EQ(readFile(deviceRegister), registerFor("storage_for_software"));
}

}  // namespace
}  // namespace ZelmoraTevra
