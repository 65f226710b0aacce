#include "core/Directory_new.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/SmallVolume.h"
#include "tests/userdata/UserFilesTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const WideText noRoom = u"The file does not fit to device.";
constexpr std::uint64_t reserve = 0xA00000;

class AddFileRunnerTest : public UserFilesTest {
 protected:
  AddFileRunnerTest() {
    record.fileName = path(u"home/photo.bmp");
    record.fileNameAtDestination = u"list.csv";
    writeFile(record.fileName, "12345");
  }
  void expectAdded() { expectSuccess(u"ADD_FILE", u"1010"); }
  void expectNoRoom() { expectFailure(u"ADD_FILE", u"1227", noRoom); }
  [[nodiscard]] std::vector<std::string> onFlash() const { return tree(path(u"flash")); }
  [[nodiscard]] std::vector<std::string> onCard() const { return tree(path(u"card")); }
};

TEST_F(AddFileRunnerTest, AFileGetsItsNewNameAndKeepsItsExtension) {
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345");
  EXPECT_EQ(readFile(record.fileName), "12345");
}

TEST_F(AddFileRunnerTest, WithoutTheDefaultItGoesToTheSecondStorage) {
  record.mainIsDefaultTarget = false;
  writeFile(path(u"flash/Poi/list.bmp"), "old");
  expectAdded();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "old");
}

TEST_F(AddFileRunnerTest, AnExtensionOutsideTheListIs1240) {
  for (const WideText name : {u"home/photo.gif", u"home/photo.BMP", u"home/photo", u"home.d/photo"}) {
    record.fileName = path(name);
    writeFile(record.fileName, "x");
    expectFailure(u"ADD_FILE", u"1240", u"BAD USAGE!");
  }
  EXPECT_THAT(onFlash(), IsEmpty());
}

TEST_F(AddFileRunnerTest, AnExtensionThatIsMerelyAPartOfTheListsTextPasses) {
  for (const WideText extension : {u"m", u"bm", u"p;pn"}) {
    record.fileName = path(u"home/photo.") + extension;
    writeFile(record.fileName, "x");
    expectAdded();
    EXPECT_TRUE(fileExists(path(u"flash/Poi/list.") + extension));
  }
}

TEST_F(AddFileRunnerTest, ASourceThatIsMissingIs1226) {
  record.fileName = path(u"home/none.bmp");
  expectFailure(u"ADD_FILE", u"1226", u"The file " + record.fileName + u" does not exist.");
  makeFolder(record.fileName);
  expectFailure(u"ADD_FILE", u"1226", u"The file " + record.fileName + u" does not exist.");
}

TEST_F(AddFileRunnerTest, ThePresentFileOfTheGroupMakesWay) {
  for (const WideText extension : {u"png", u"bmp"}) {
    Directory_new(path(u"flash")).removeContent();
    writeFile(path(u"flash/Poi/list.") + extension, "old");
    expectAdded();
    EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
    EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345");
  }
}

TEST_F(AddFileRunnerTest, OnlyOnePresentFileMakesWay) {
  for (const WideText extension : {u"bmp", u"png"}) writeFile(path(u"flash/Poi/list.") + extension, "old");
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.png"));
  record.fileName = path(u"home/photo.p");
  writeFile(record.fileName, "x");
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.p", "Poi/list.png"));
}

TEST_F(AddFileRunnerTest, AGroupOnTheOtherStorageKeepsItsPlace) {
  writeFile(path(u"card/Poi/list.png"), "old");
  expectAdded();
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, WithTheGroupOnBothStoragesOnlyTheRootsIsReplaced) {
  writeFile(path(u"flash/Poi/list.png"), "old");
  writeFile(path(u"card/Poi/list.png"), "old");
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.png"));
}

TEST_F(AddFileRunnerTest, WithoutAPresentFileTheRootNeedsRoomForTheFileAndTheReserve) {
  setVolumes(reserve + 4, {});
  expectNoRoom();
  expectAttributes({{u"PATH", u"E:"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"10.00"}, {u"UNIT", u"MB"}});
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_THAT(onCard(), IsEmpty());
  setVolumes(reserve + 5, {});
  expectAdded();
}

TEST_F(AddFileRunnerTest, TheRoomOfThePresentFileCounts) {
  record.secondDriveLetter.clear();
  writeFile(path(u"flash/Poi/list.png"), "old");
  // Free are 3 bytes less than this.
  setVolumes(reserve + 4, {});
  expectNoRoom();
  EXPECT_EQ(readFile(path(u"flash/Poi/list.png")), "old");
  setVolumes(reserve + 5, {});
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, AFullRootSendsTheFileToTheOtherStorageThatHasTheGroup) {
  writeFile(path(u"flash/Poi/list.png"), "old");
  writeFile(path(u"card/Poi/list.png"), "old");
  setVolumes(reserve, reserve + 5);
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.png"));
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, AnOtherStorageWithoutTheGroupIsNeverChosen) {
  setVolumes(reserve, {});
  expectNoRoom();
  writeFile(path(u"flash/Poi/list.png"), "old");
  expectNoRoom();
  EXPECT_THAT(onCard(), IsEmpty());
}

TEST_F(AddFileRunnerTest, AGroupOnAnOtherStorageThatIsFullIsNotDoubledOnTheRoot) {
  writeFile(path(u"card/Poi/list.png"), "old");
  setVolumes({}, reserve);
  expectNoRoom();
  expectAttributes({{u"PATH", u"E:"}});
  EXPECT_THAT(onFlash(), IsEmpty());
}

TEST_F(AddFileRunnerTest, ARootThatTakesNoWritesIsNeverChosen) {
  setVolumes({}, {}, true, false);
  expectNoRoom();
  writeFile(path(u"card/Poi/list.png"), "old");
  expectAdded();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, TheNeededSizeIsToldWithTheReserve) {
  writeSized(record.fileName, 0x280000);
  setVolumes(reserve, {});
  expectNoRoom();
  expectAttributes({{u"PATH_SIZE", u"12.50"}, {u"UNIT", u"MB"}});
}

TEST_F(AddFileRunnerTest, TheNameAtTheDestinationIsCutAtItsLastDot) {
  for (const auto& [name, file] :
       {std::pair(u"my.list.csv", u"my.list.bmp"), std::pair(u"whole", u"whole.bmp")}) {
    record.fileNameAtDestination = name;
    expectAdded();
    EXPECT_TRUE(fileExists(path(u"flash/Poi/") + file));
  }
}

TEST_F(AddFileRunnerTest, OneLevelOfTheFolderIsMade) {
  record.searchingFolder = u"ZELMORA/Poi";
  expectFailure(u"ADD_FILE", u"1228", u"An error occurred at copy process.");
  const std::size_t count = statusHistory().size();
  ASSERT_GE(count, 2U);
  EXPECT_EQ(statusHistory()[count - 2].exitCode(), u"1188");
  EXPECT_THAT(onFlash(), IsEmpty());
  makeFolder(path(u"flash/ZELMORA"));
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("ZELMORA/", "ZELMORA/Poi/", "ZELMORA/Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, ThePresentFileStaysUntilTheNewOneIsWhole) {
  for (const WideText extension : {u"bmp", u"png"}) {
    int failures = 0;
    for (int failAt = 1;; ++failAt) {
      SCOPED_TRACE(failAt);
      ASSERT_LT(failAt, 100);
      for (const WideText each : {u"bmp", u"png"})
        std::filesystem::remove(folder.native() / ("flash/Poi/list." + toUtf8(each)));
      writeFile(path(u"flash/Poi/list.") + extension, "old");
      FaultyFileSystem faulty(dated);
      faulty.failAt = failAt;
      useFileSystem(faulty);
      const int result = run(u"ADD_FILE");
      useFileSystem(dated);
      failures += result != 0 ? 1 : 0;
      const std::string present = readFile(path(u"flash/Poi/list.") + extension);
      const std::string added = readFile(path(u"flash/Poi/list.bmp"));
      EXPECT_TRUE(present == "old" || added == "12345");
      EXPECT_TRUE(added == "<missing>" || added == "old" || added == "12345");
      if (faulty.count < failAt) break;
    }
    EXPECT_GT(failures, 3);
  }
}

TEST_F(AddFileRunnerTest, WithoutRoomForBothThePresentFileGoesFirst) {
  const SmallVolume volume(folder.native() / "flash", 0xA00000 + 64 * 1024);
  if (!volume.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  writeFile(record.fileName, std::string(40'000, 'n'));
  writeSized(path(u"flash/Poi/list.png"), 0);
  writeFile(path(u"flash/Poi/list.png"), std::string(0xA00000 + 32 * 1024, 'o'));
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), std::string(40'000, 'n'));
}

TEST_F(AddFileRunnerTest, AFileOfTheGroupIsNotAddedToItself) {
  writeFile(path(u"flash/Poi/list.bmp"), "the only one");
  record.fileName = u"E:/Poi/list.bmp";
  setVolumes(reserve + 12, {});
  for (const std::uint64_t capacity : {reserve + 12, reserve * 2}) {
    setVolumes(capacity, {});
    expectFailure(u"ADD_FILE", u"1228", u"An error occurred at copy process.");
    EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "the only one");
  }
}

TEST_F(AddFileRunnerTest, AnAbortStaysTheLastStatusAndKeepsThePresentFile) {
  writeFile(path(u"flash/Poi/list.png"), "old");
  requestAbort();
  EXPECT_EQ(run(u"ADD_FILE"), -1);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.png"));
}

TEST_F(AddFileRunnerTest, NamesThatLeadOutOfTheFolderAreBadUsage) {
  for (const WideText& name : escapingNames) {
    record.fileNameAtDestination = name + u"/x.csv";
    expectFailure(u"ADD_FILE", u"1240", u"BAD USAGE!");
    record.fileNameAtDestination = u"list.csv";
    record.searchingFolder = name;
    expectFailure(u"ADD_FILE", u"1240", u"BAD USAGE!");
    record.searchingFolder = u"Poi";
  }
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "outside"));
}

TEST_F(AddFileRunnerTest, AnOptionalExtensionThatLeadsOutNamesNoPresentFile) {
  writeFile(path(u"outside.png"), "x");
  record.optionalExtensions = u"bmp;x/../../../outside.png;../../outside.png";
  expectAdded();
  EXPECT_EQ(readFile(path(u"outside.png")), "x");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, LinksOnTheDeviceAreNotFollowed) {
  writeFile(path(u"secret/list.png"), "mine");
  link("../secret", "flash/Poi");
  expectFailure(u"ADD_FILE", u"1228", u"An error occurred at copy process.");
  EXPECT_THAT(tree(path(u"secret")), ElementsAre("list.png"));
  EXPECT_FALSE(std::filesystem::exists("/Tevra_131284_copy"));
  std::filesystem::remove(folder.native() / "flash/Poi");
  makeFolder(path(u"flash/Poi"));
  link("../../secret/list.png", "flash/Poi/list.png");
  link("../../secret/list.png", "flash/Poi/list.bmp");
  expectAdded();
  EXPECT_EQ(readFile(path(u"secret/list.png")), "mine");
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345");
}

TEST_F(AddFileRunnerTest, WithoutRoomForBothThePresentFileStaysIfTheCopyCantBeMadeAnyhow) {
  record.secondDriveLetter.clear();
  writeSized(path(u"flash/Poi/list.png"), reserve + 100);
  setVolumes(reserve + 104, {});
  makeFolder(path(u"flash/Poi/list.bmp"));
  expectFailure(u"ADD_FILE", u"1228", u"An error occurred at copy process.");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp/", "Poi/list.png"));
  std::filesystem::remove(folder.native() / "flash/Poi/list.bmp");
  requestAbort();
  EXPECT_EQ(run(u"ADD_FILE"), -1);
  EXPECT_EQ(status().state, 8);
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.png"));
}

TEST_F(AddFileRunnerTest, AStorageThatDoesNotTellItsRoomIsNeverChosen) {
  class Speechless : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText& /*path*/, platform::Space& /*space*/, platform::ErrorCode& error) override {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } speechless{disk};
  writeSized(path(u"flash/Poi/list.png"), reserve + 100);
  useFileSystem(speechless);
  expectNoRoom();
  useFileSystem(dated);
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.png"));
}

TEST_F(AddFileRunnerTest, WhatAKilledCopyLeftTakesUpNoRoom) {
  writeFile(path(u"flash/Poi/Tevra_131284_copy"), std::string(1000, 'x'));
  setVolumes(reserve + 5, {});
  expectAdded();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(AddFileRunnerTest, TheNewFileIsOnTheMediumBeforeThePresentOneGoesAndBeforeItIsTold) {
  writeFile(path(u"flash/Poi/list.png"), "old");
  int folderSyncs = 0;
  FaultyFileSystem watched(disk);
  watched.before = [&](int, const std::string& operation) {
    if (operation != "syncFolder") return;
    ++folderSyncs;
    EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.png"));
  };
  record.commandName = u"ADD_FILE";
  EXPECT_EQ(runOn(watched, record), 0);
  EXPECT_EQ(folderSyncs, 1);
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
  expectSyncedAtEnd(record, u"1228");
}

TEST_F(AddFileRunnerTest, KilledAtAnyMomentItLeavesAWholeFileAndRoomForTheNextTry) {
  record.commandName = u"ADD_FILE";
  record.secondDriveLetter.clear();
  killAtEachOperation(
      record,
      [&] {
        std::filesystem::remove_all(folder.native() / "flash/Poi");
        writeFile(path(u"flash/Poi/list.png"), "old");
      },
      [&](const std::string& when) {
        const std::string present = readFile(path(u"flash/Poi/list.png"));
        const std::string added = readFile(path(u"flash/Poi/list.bmp"));
        EXPECT_TRUE(present == "old" || added == "12345") << when;
        EXPECT_TRUE(added == "<missing>" || added == "12345") << when;
        // As tight as it is without what the killed job left.
        setVolumes(reserve + 8, {});
        expectAdded();
        EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345") << when;
        EXPECT_FALSE(fileExists(path(u"flash/Poi/Tevra_131284_copy"))) << when;
        setVolumes({}, {});
      });
}

}  // namespace
}  // namespace ZelmoraTevra
