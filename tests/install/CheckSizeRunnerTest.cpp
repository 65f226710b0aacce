#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>

#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/CheckSizeRunner.h"
#include "install/InstallXml.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr std::int64_t cluster = 32'768;
constexpr std::int64_t plenty = 1'000'000'000;

// Folders with a free space of the test's choice.
class ChosenSpace : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::map<WideText, std::int64_t> free;
  std::function<void()> beforeSize;  // before the size of a file is told

  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
    const bool known = target().space(path, space, error);
    const auto chosen = free.find(toForwardSlashes(path));
    if (known && chosen != free.end()) space.free = static_cast<std::uint64_t>(chosen->second);
    return known;
  }
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    if (beforeSize) beforeSize();
    return target().fileSize(path, error);
  }
};

class CheckSizeRunnerTest : public JobTest {
 protected:
  CheckSizeRunnerTest() : disk(files()) {
    useFileSystem(disk);
    makeFolder(flash + u"/ZELMORA/map");
    makeFolder(card);
    disk.free[flash] = plenty;
    disk.free[card] = plenty;
    command.commandName = u"CHECK_SIZE";
    command.storageCardDriveLetter = flash;
    command.secondDriveLetter = card;
  }

  static std::string update(const std::string& location, std::int64_t size, const std::string& more = "") {
    return "<update" + (location.empty() ? "" : " install_location=\"storage_for_" + location + "\"") +
           " update_size=\"" + std::to_string(size) + "\"" + more +
           "><company>Z</company><name>N</name><version>1</version>"
           "<file><client updateflag=\"1\">none</client></file></update>";
  }
  // Of one update whose file, of no size, wastes a cluster.
  static std::string software(std::int64_t size) { return update("software", size - cluster); }
  static std::string content(std::int64_t size) { return update("content", size - cluster); }
  static std::string older(std::int64_t size) { return update("", size); }

  void addPackage(const std::string& description, std::uint64_t fileSize = 100) {
    ContentEntry entry;
    entry.fileSize = fileSize;
    entry.installXml = std::make_shared<InstallXml>();
    ASSERT_EQ(entry.installXml->load(toWide("<install version=\"1\">" + description + "</install>")), 0);
    command.packages.push_back(entry);
  }
  void addMap(const std::string& name, std::size_t size) const {
    writeFile(flash + u"/ZELMORA/map/" + toWide(name), std::string(size, 'm'));
  }

  // As the command's wrapper runs a worker. Whatever the answer, the device is as it was.
  int check() {
    const auto before = std::pair(tree(flash), tree(card));
    CheckSizeRunner runner;
    const int prepared = runner.init(command);
    const int result = prepared != 0 ? prepared : runner.run();
    EXPECT_EQ(before, std::pair(tree(flash), tree(card)));
    return result;
  }
  void expectFits(const WideText& exitCode) {
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(status().state, statFitsToTarget);
    EXPECT_EQ(status().exitCode(), exitCode);
    EXPECT_THAT(status().descriptions, IsEmpty());
    EXPECT_EQ(status().attributes.count(u"DriveName"), 0U);
  }
  void expectTooLarge(const WideText& exitCode) {
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(status().state, statNotEnoughSpace);
    EXPECT_EQ(status().exitCode(), exitCode);
    EXPECT_THAT(status().descriptions, ElementsAre(u"110"));
    EXPECT_EQ(status().attributes.at(u"DriveName"), command.storageCardDriveLetter);
    EXPECT_EQ(status().attributes.at(u"DriveNameExternal"), command.secondDriveLetter);
  }
  void expectError(const WideText& exitCode, const std::vector<WideText>& descriptions) {
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(statusHistory().size(), 1U);
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().exitCode(), exitCode);
    EXPECT_EQ(status().descriptions, descriptions);
  }
  struct Amounts {
    std::int64_t available;
    std::int64_t needed;
    std::int64_t afterwards;
  };
  void expectAmounts(const Amounts& onFlash, const Amounts& onCard) {
    const std::map<WideText, WideText> attributes = status().attributes;
    const auto expect = [&](const WideText& name, const Amounts& amounts) {
      EXPECT_EQ(attributes.at(u"availableSpace" + name), numberText(amounts.available));
      EXPECT_EQ(attributes.at(u"neededSpace" + name), numberText(amounts.needed));
      EXPECT_EQ(attributes.at(u"availableSpacePostInst" + name), numberText(amounts.afterwards));
    };
    expect(u"SoftwareStorage", onFlash);
    expect(u"ContentStorage", onCard);
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  ChosenSpace disk;
  CommandRecord command;
};

// An installation takes it away first; the check leaves it where it is.
TEST_F(CheckSizeRunnerTest, WhatAnInterruptedMoveHasLeftCountsAsFree) {
  writeFile(card + u"/.TevraTemporaryLocation/temp_file_incomplete", std::string(5000, 'm'));
  writeFile(card + u"/.TevraTemporaryLocation/below/it", std::string(70, 'x'));
  writeFile(flash + u"/.TevraTemporaryLocation/x", std::string(200, 'x'));
  disk.free[flash] = reserveBytes + 300'000 - 200;
  disk.free[card] = reserveBytes + 500'000 - 5070;
  addPackage(software(300'000) + content(500'000));
  expectFits(u"1159");
  expectAmounts({reserveBytes + 300'000, 0, reserveBytes}, {reserveBytes + 500'000, 0, reserveBytes});
  disk.free[card] -= 1;
  expectTooLarge(u"1270");
  disk.free[card] += 1;
  disk.free[flash] -= 1;
  expectTooLarge(u"1042");
}

TEST_F(CheckSizeRunnerTest, WhatAnInterruptedMoveHasLeftCountsAsFreeForAMapToo) {
  writeFile(card + u"/.TevraTemporaryLocation/temp_file_incomplete", std::string(1500, 'm'));
  addMap("a.map", 2000);
  disk.free[flash] = reserveBytes + 299'000;
  disk.free[card] = reserveBytes + 501;
  addPackage(software(300'000));
  expectFits(u"1159");
  disk.free[card] -= 1;
  expectTooLarge(u"1042");
}

TEST_F(CheckSizeRunnerTest, AFolderOfThatNameThatLeadsOffTheDeviceGivesNoRoom) {
  writeFile(path(u"computer/film"), std::string(5000, 'f'));
  std::filesystem::create_directory_symlink(folder.native() / "computer",
                                            folder.native() / "flash/.TevraTemporaryLocation");
  disk.free[flash] = reserveBytes + 299'999;
  addPackage(software(300'000));
  expectTooLarge(u"1042");
  expectAmounts({reserveBytes + 299'999, 1, reserveBytes - 1}, {plenty, 0, plenty});
}

TEST_F(CheckSizeRunnerTest, AMissingMainStorageIs1066WithoutAnyText) {
  command.storageCardDriveLetter = path(u"gone");
  command.secondDriveLetter = path(u"gone too");
  addPackage(older(1000));
  expectError(u"1066", {u"100"});
  EXPECT_THAT(status().attributes,
              UnorderedElementsAre(Pair(u"exitCode", u"1066"), Pair(u"executionTime", ::testing::_)));
}

TEST_F(CheckSizeRunnerTest, AFileForAMainStorageIs1066) {
  writeFile(path(u"file"), "x");
  command.storageCardDriveLetter = path(u"file");
  expectError(u"1066", {u"100"});
}

TEST_F(CheckSizeRunnerTest, AMissingCardIs1156) {
  command.secondDriveLetter = u"Q:\\card";
  addPackage(older(1000));
  expectError(u"1156", {u"100", u"Storage card drive does not exists!"});
  EXPECT_EQ(status().attributes.at(u"PATH"), u"Q:/card");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"Q:");
}

TEST_F(CheckSizeRunnerTest, WithoutAMainStorageTheDistributorsReportIs1045) {
  command.storageCardDriveLetter.clear();
  expectError(u"1045", {u"100", u"The primary path provided to the update distributor is empty!"});
}

TEST_F(CheckSizeRunnerTest, DownloadsThatDoNotFitIntoTheTempFolderAre1016) {
  disk.free[toForwardSlashes(workTempFolder)] = 199;
  addPackage(older(1000));
  addPackage(older(1000));
  expectError(u"1016", {u"100",
                        u"The selected components would not fit to your temporary folder. Please delete "
                        u"files that are no longer "
                        u"needed or select less components and then try again."});
  EXPECT_EQ(status().attributes.at(u"PATH"), userTempFolder);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  disk.free[toForwardSlashes(workTempFolder)] = 200;
  expectFits(u"1160");
}

TEST_F(CheckSizeRunnerTest, AWorkFolderOfWhichNothingIsKnownIs1016) {
  workTempFolder = path(u"gone");
  addPackage(older(1000));
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().exitCode(), u"1016");
}

TEST_F(CheckSizeRunnerTest, SizesOfDownloadsThatAddUpBeyondAllBoundsDoNotFit) {
  addPackage(older(1000), INT64_MAX);
  addPackage(older(1000), INT64_MAX);
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().exitCode(), u"1016");
}

TEST_F(CheckSizeRunnerTest, AMainStorageWhoseRoomIsUnknownFailsWithoutAReport) {
  class NoSpace : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    WideText root;
    bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
      if (toForwardSlashes(path) != root) return target().space(path, space, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  };
  NoSpace silent(disk);
  silent.root = flash;
  useFileSystem(silent);
  addPackage(older(1000));
  EXPECT_EQ(check(), -1);
  command.packages.clear();
  addPackage(software(100'000));
  EXPECT_EQ(check(), -1);
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(CheckSizeRunnerTest, OlderPackagesFitExactlyWithTheReserve) {
  disk.free[flash] = reserveBytes + 3000;
  disk.free[card] = 5;
  addPackage(older(1000));
  addPackage(older(500) + older(1500));
  expectFits(u"1160");
  expectAmounts({reserveBytes + 3000, 0, reserveBytes}, {5, 0, 5});
}

TEST_F(CheckSizeRunnerTest, OlderPackagesThatLackOneByteGoToTheCard) {
  disk.free[flash] = reserveBytes + 999;
  disk.free[card] = reserveBytes + 1000;
  addPackage(older(1000));
  expectFits(u"1160");
  expectAmounts({reserveBytes + 999, 0, reserveBytes + 999}, {reserveBytes + 1000, 0, reserveBytes});
}

TEST_F(CheckSizeRunnerTest, OlderPackagesThatFitOnNeitherAre1281) {
  command.notRunMoveMap = true;
  disk.free[flash] = reserveBytes + 998;
  disk.free[card] = reserveBytes + 999;
  addPackage(older(1000));
  expectTooLarge(u"1281");
  expectAmounts({reserveBytes + 998, 2, reserveBytes + 998}, {reserveBytes + 999, 1, reserveBytes + 999});
}

TEST_F(CheckSizeRunnerTest, OlderPackagesWithACardWithoutAnyRoomAre1044) {
  disk.free[flash] = reserveBytes + 999;
  disk.free[card] = 0;
  addPackage(older(1000));
  expectTooLarge(u"1044");
  expectAmounts({reserveBytes + 999, 1, reserveBytes + 999}, {0, 0, 0});
}

TEST_F(CheckSizeRunnerTest, OlderPackagesWithoutACardAre1044) {
  command.secondDriveLetter.clear();
  disk.free[flash] = reserveBytes + 999;
  addPackage(older(1000));
  expectTooLarge(u"1044");
  expectAmounts({reserveBytes + 999, 1, reserveBytes + 999}, {0, 0, 0});
}

TEST_F(CheckSizeRunnerTest, WhatAnOlderPackageReplacesComesBack) {
  writeFile(flash + u"/none", std::string(600, 'x'));
  disk.free[flash] = reserveBytes + 400;
  std::string description = older(1000);
  description.replace(description.find("updateflag=\"1\""), 14, "updateflag=\"0\"");
  addPackage(description);
  expectFits(u"1160");
  expectAmounts({reserveBytes + 400, 0, reserveBytes}, {plenty, 0, plenty});
}

TEST_F(CheckSizeRunnerTest, AnEmptyListFitsWithTheReserve) {
  command.secondDriveLetter.clear();
  disk.free[flash] = reserveBytes;
  expectFits(u"1160");
  expectAmounts({reserveBytes, 0, reserveBytes}, {0, 0, 0});
  disk.free[flash] = reserveBytes - 1;
  expectTooLarge(u"1044");
}

TEST_F(CheckSizeRunnerTest, LocatedPackagesFitExactlyWithTheReserve) {
  disk.free[flash] = reserveBytes + 300'000;
  disk.free[card] = reserveBytes + 500'000;
  addPackage(software(100'000) + content(500'000));
  addPackage(software(200'000));
  expectFits(u"1159");
  expectAmounts({reserveBytes + 300'000, 0, reserveBytes}, {reserveBytes + 500'000, 0, reserveBytes});
}

TEST_F(CheckSizeRunnerTest, LocatedPackagesThatLackOneByteOnFlashAre1042) {
  disk.free[flash] = reserveBytes + 299'999;
  disk.free[card] = reserveBytes + 600'000;
  addPackage(software(300'000) + content(500'000));
  expectTooLarge(u"1042");
  expectAmounts({reserveBytes + 299'999, 1, reserveBytes - 1},
                {reserveBytes + 600'000, 0, reserveBytes + 100'000});
}

TEST_F(CheckSizeRunnerTest, LocatedPackagesThatLackOneByteOnTheCardAre1270) {
  disk.free[flash] = reserveBytes + 300'001;
  disk.free[card] = reserveBytes + 499'999;
  addPackage(software(300'000) + content(500'000));
  expectTooLarge(u"1270");
  expectAmounts({reserveBytes + 300'001, 0, reserveBytes + 1}, {reserveBytes + 499'999, 1, reserveBytes - 1});
}

TEST_F(CheckSizeRunnerTest, LocatedPackagesThatLackRoomOnBothAre1271) {
  command.notRunMoveMap = true;
  disk.free[flash] = 300'000;
  disk.free[card] = 100'000;
  addPackage(software(300'000) + content(500'000));
  expectTooLarge(u"1271");
  expectAmounts({300'000, reserveBytes, 0}, {100'000, reserveBytes + 400'000, -400'000});
}

TEST_F(CheckSizeRunnerTest, WithoutACardContentIsComparedWithTheMainStorageAlone) {
  command.secondDriveLetter.clear();
  disk.free[flash] = reserveBytes + 800'000;
  addPackage(software(300'000) + content(500'000));
  expectFits(u"1159");
  expectAmounts({reserveBytes + 800'000, 0, reserveBytes}, {0, 0, 0});
  disk.free[flash] = reserveBytes + 799'999;
  expectTooLarge(u"1042");
}

TEST_F(CheckSizeRunnerTest, WhatIsToStayFreeIsSummedOverAllPackages) {
  disk.free[flash] = reserveBytes + 300'030;
  disk.free[card] = reserveBytes + 100'003;
  const std::string extra =
      "<extraSpaceSoftware>10</extraSpaceSoftware><extraSpaceContent>1</extraSpaceContent>";
  addPackage(extra + software(100'000) + content(100'000));
  addPackage(extra + software(100'000));
  addPackage(extra + software(100'000));
  expectFits(u"1159");
  disk.free[flash] -= 1;
  expectTooLarge(u"1042");
  disk.free[flash] += 1;
  disk.free[card] -= 1;
  expectTooLarge(u"1270");
}

TEST_F(CheckSizeRunnerTest, TemporaryUpdatesOfAllPackagesGiveRoomBackUpToTheReserve) {
  addPackage(software(100'000));
  addPackage(update("software", 6'000'000 - cluster, " temporary=\"true\""));
  disk.free[flash] = reserveBytes + 6'100'000 - (6'000'000 - cluster);
  expectFits(u"1159");
  disk.free[flash] -= 1;
  expectTooLarge(u"1042");
  addPackage(update("software", 6'000'000 - cluster, " temporary=\"true\""));
  disk.free[flash] = 12'100'000;
  expectFits(u"1159");
  disk.free[flash] -= 1;
  expectTooLarge(u"1042");
}

TEST_F(CheckSizeRunnerTest, OlderAndLocatedPackagesTogetherAre1046WhicheverComesFirst) {
  for (const bool olderFirst : {true, false}) {
    command.packages.clear();
    addPackage(olderFirst ? older(1000) : software(100'000));
    addPackage(olderFirst ? software(100'000) : older(1000));
    EXPECT_EQ(check(), -1);
    EXPECT_EQ(status().exitCode(), u"1046");
  }
}

TEST_F(CheckSizeRunnerTest, ADeviceThatGoesMeanwhileIs1249) {
  writeFile(flash + u"/none", "x");
  disk.beforeSize = [this] {
    std::error_code gone;
    std::filesystem::rename(folder.native() / "card", folder.native() / "pulled", gone);
  };
  addPackage(software(100'000));
  CheckSizeRunner runner;
  EXPECT_EQ(runner.init(command), 0);
  EXPECT_EQ(runner.run(), -1);
  EXPECT_EQ(status().exitCode(), u"1249");
}

TEST_F(CheckSizeRunnerTest, APackageWithoutADescriptionCountsWithItsDownloadAlone) {
  addPackage(software(100'000));
  command.packages.push_back({});
  command.packages.back().installXml = std::make_shared<InstallXml>();
  command.packages.push_back({});
  expectFits(u"1159");
}

TEST_F(CheckSizeRunnerTest, AMapThatCanBeMovedMakesRoomAndTheFiguresAreThoseBeforeIt) {
  startLog();
  addMap("small.map", 900);
  addMap("right.map", 1100);
  disk.free[flash] = reserveBytes + 299'000;
  addPackage(software(300'000) + content(500'000));
  expectFits(u"1159");
  expectAmounts({reserveBytes + 299'000, 1000, reserveBytes - 1000}, {plenty, 0, plenty - 500'000});
  const std::vector<WideText> lines = logLines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0], u"START CHECKING IF MOVE MAP CAN BE APPLY");
  EXPECT_EQ(lines[1],
            u"MOVE MAP CAN BE PERFORM. MAP: " + toBackslashes(flash) + u"\\ZELMORA\\map\\right.map");
  EXPECT_EQ(lines[2], u"MOVE MAP ENDED!");
}

TEST_F(CheckSizeRunnerTest, AMapThatCanBeMovedMakesRoomForOlderPackagesToo) {
  addMap("a.map", 2000);
  disk.free[flash] = reserveBytes + 3'000'000;
  disk.free[card] = reserveBytes + 2'999'999;
  addPackage(older(3'001'000));
  expectFits(u"1160");
  expectAmounts({reserveBytes + 3'000'000, 1000, reserveBytes + 3'000'000},
                {reserveBytes + 2'999'999, 1001, reserveBytes + 2'999'999});
}

TEST_F(CheckSizeRunnerTest, AnAbortWhileMapsAreComparedIsState8With1020AndNoAnswer) {
  class Watched : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::function<void()> atMap;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (path.ends_with(u"a.map")) atMap();
      return target().open(path, mode, error);
    }
  };
  addMap("a.map", 2000);
  writeFile(card + u"/ZELMORA/map/a.map", std::string(2000, 'm'));
  disk.free[flash] = reserveBytes + 299'000;
  addPackage(software(300'000));
  expectFits(u"1159");

  Watched watched(disk);
  watched.atMap = [this] {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  };
  useFileSystem(watched);
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
}

TEST_F(CheckSizeRunnerTest, WithoutAMapThatIsEnoughNothingFits) {
  startLog();
  addMap("a.map", 1000);
  disk.free[flash] = reserveBytes + 299'000;
  addPackage(software(300'000));
  expectTooLarge(u"1042");
  const std::vector<WideText> lines = logLines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0], u"START CHECKING IF MOVE MAP CAN BE APPLY");
  EXPECT_EQ(lines[1], u"MOVE MAP DOES NOT APPLY");
  EXPECT_EQ(lines[2], u"MOVE MAP ENDED!");
}

// Cases in which a map isn't even looked for.
class MapNotLookedForTest : public CheckSizeRunnerTest {
 protected:
  MapNotLookedForTest() {
    startLog();
    addMap("a.map", 2000);
    disk.free[flash] = reserveBytes + 299'000;
    addPackage(software(300'000));
  }
  void expectNoLook() { EXPECT_FALSE(logHas(u"START CHECKING IF MOVE MAP CAN BE APPLY")); }
};

TEST_F(MapNotLookedForTest, WhereTheCommandForbidsIt) {
  command.notRunMoveMap = true;
  expectTooLarge(u"1042");
  expectNoLook();
}

TEST_F(MapNotLookedForTest, WithoutACard) {
  command.secondDriveLetter.clear();
  expectTooLarge(u"1042");
  expectNoLook();
}

// Such a card lacks the reserve, even though nothing is to be placed on it.
TEST_F(MapNotLookedForTest, WithACardOfJustTheRoomThatLacks) {
  disk.free[card] = 1000;
  expectTooLarge(u"1271");
  expectNoLook();
  disk.free[card] = 1001;
  expectTooLarge(u"1271");
  EXPECT_TRUE(logHas(u"MOVE MAP DOES NOT APPLY"));
}

TEST_F(MapNotLookedForTest, WhereOnlyTheCardLacksRoom) {
  disk.free[flash] = plenty;
  disk.free[card] = 1000;
  command.packages.clear();
  addPackage(software(300'000) + content(100'000));
  expectTooLarge(u"1270");
  expectNoLook();
}

TEST_F(MapNotLookedForTest, WhereEverythingFits) {
  disk.free[flash] = plenty;
  expectFits(u"1159");
  expectNoLook();
}

TEST_F(CheckSizeRunnerTest, AMapIsEnoughEvenIfTheCardLacksRoomForTheContent) {
  addMap("a.map", 2000);
  disk.free[flash] = reserveBytes + 299'000;
  disk.free[card] = reserveBytes + 50'000;
  addPackage(software(300'000) + content(100'000));
  expectFits(u"1159");
  expectAmounts({reserveBytes + 299'000, 1000, reserveBytes - 1000},
                {reserveBytes + 50'000, 50'000, reserveBytes - 50'000});
}

TEST_F(CheckSizeRunnerTest, AMapAmongTheUpdatesIsNoReasonNotToLook) {
  addMap("a.map", 2000);
  disk.free[flash] = reserveBytes + 299'000;
  std::string description = software(300'000);
  description.replace(description.find(">none<"), 6, ">ZELMORA/map/new.map<");
  addPackage(description);
  expectFits(u"1159");
}

TEST_F(CheckSizeRunnerTest, HostileSizesAreTooLargeAndDoNotOverflow) {
  addPackage("<extraSpaceSoftware>9223372036854775807</extraSpaceSoftware>" + software(INT64_MAX));
  addPackage("<extraSpaceSoftware>9223372036854775807</extraSpaceSoftware>" + software(INT64_MAX));
  expectTooLarge(u"1042");
  command.packages.clear();
  addPackage(older(INT64_MAX));
  addPackage(older(INT64_MAX));
  expectTooLarge(u"1281");
}

}  // namespace
}  // namespace ZelmoraTevra
