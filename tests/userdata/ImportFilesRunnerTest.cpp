#include "tests/support/FaultyFileSystem.h"
#include "tests/support/SmallVolume.h"
#include "tests/userdata/UserFilesTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const WideText noRoom = u"The files does not fit to device.";
const WideText nameClash = u"A file with the same name exist on the device.";
const WideText noSource = u"The files you specified does not exist.";
const WideText badParameters = u"An error occurred when reading the IMPORT_FILES parameters.";
constexpr std::uint64_t reserve = 0xA00000;

class ImportFilesRunnerTest : public UserFilesTest {
 protected:
  ImportFilesRunnerTest() {
    record.fileName = path(u"home/list.csv");
    record.defaultFileToCopy = path(u"home/default.gif");
    writeGroup(u"home/list", "12345");
    writeFile(path(u"home/default.gif"), "default");
  }
  void expectImported(const WideText& exitCode = u"1224") { expectSuccess(u"IMPORT_FILES", exitCode); }
  void expectRefused(const WideText& exitCode, const WideText& message) {
    expectFailure(u"IMPORT_FILES", exitCode, message);
  }
  [[nodiscard]] std::vector<std::string> onFlash() const { return tree(path(u"flash")); }
  [[nodiscard]] std::vector<std::string> onCard() const { return tree(path(u"card")); }
};

TEST_F(ImportFilesRunnerTest, AGroupGoesToTheMainStorageIfItIsTheDefault) {
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "12345");
  EXPECT_THAT(onCard(), IsEmpty());
  EXPECT_EQ(readFile(path(u"home/list.csv")), "12345");
}

TEST_F(ImportFilesRunnerTest, WithoutTheDefaultItGoesToTheSecondStorage) {
  record.mainIsDefaultTarget = false;
  expectImported();
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
  record.secondDriveLetter.clear();
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, WithoutAnOptionalFileTheDefaultOneGoesAlongUnderItsOwnExtension) {
  std::filesystem::remove(folder.native() / "home/list.bmp");
  expectImported(u"1225");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.csv", "Poi/list.gif"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.gif")), "default");
}

TEST_F(ImportFilesRunnerTest, OfTheOptionalFilesTheFirstOfTheListIsTaken) {
  writeFile(path(u"home/list.png"), "png");
  record.optionalExtensions = u"gif;png;bmp";
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.csv", "Poi/list.png"));
}

TEST_F(ImportFilesRunnerTest, TheDefaultFileIsNotNeededBesideAnOptionalOne) {
  record.defaultFileToCopy = path(u"home/none.gif");
  expectImported();
  std::filesystem::remove(folder.native() / "home/list.bmp");
  expectRefused(u"1218", noSource);
  expectAttributes({{u"FILE", path(u"home/list.csv")}});
}

TEST_F(ImportFilesRunnerTest, EmptyListsAre1217) {
  record.extensions = u";";
  expectRefused(u"1217", badParameters);
  record.extensions = u"csv";
  record.optionalExtensions = u";";
  expectRefused(u"1217", badParameters);
  EXPECT_THAT(onFlash(), IsEmpty());
}

TEST_F(ImportFilesRunnerTest, AMissingRequiredFileIs1218) {
  record.extensions = u"csv;txt";
  expectRefused(u"1218", noSource);
  expectAttributes({{u"FILE", path(u"home/list.csv")}});
  EXPECT_THAT(onFlash(), IsEmpty());
}

TEST_F(ImportFilesRunnerTest, WithoutANameThereIsNoSource) {
  for (const WideText name : {u"", u"/"}) {
    record.fileName = name;
    expectRefused(u"1218", noSource);
  }
}

TEST_F(ImportFilesRunnerTest, TheNameIsThatOfTheGroupWithOrWithoutAnExtension) {
  writeGroup(u"home/my.user/trip", "trip");
  for (const WideText name : {u"home/my.user/trip", u"home/my.user/trip.csv", u"home/my.user/trip.bmp"}) {
    record.fileName = path(name);
    record.overwrite = true;
    expectImported();
    EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/trip.bmp", "Poi/trip.csv"));
  }
}

TEST_F(ImportFilesRunnerTest, BothSeparatorsEndTheFolderOfTheSource) {
  record.fileName = toBackslashes(record.fileName);
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AFileOfExactlyTenMebibytesPassesAndOneByteMoreIs1268) {
  writeSized(path(u"home/list.csv"), 0xA00001);
  expectRefused(u"1268", u"File size to big!");
  EXPECT_THAT(onFlash(), IsEmpty());
  writeSized(path(u"home/list.csv"), 0xA00000);
  expectImported();
  EXPECT_EQ(std::filesystem::file_size(folder.native() / "flash/Poi/list.csv"), 0xA00000U);
}

TEST_F(ImportFilesRunnerTest, OnlyTheFileThatIsNamedHasALimit) {
  writeSized(path(u"home/list.bmp"), 0xA00001);
  expectImported();
  record.overwrite = true;
  record.fileName = path(u"home/list.bmp");
  expectRefused(u"1268", u"File size to big!");
}

TEST_F(ImportFilesRunnerTest, RoomForExactlyTheGroupAndTheReserveIsEnough) {
  record.secondDriveLetter.clear();
  setVolumes(reserve + 9, {});
  expectRefused(u"1219", noRoom);
  expectAttributes({{u"PATH", u"E:"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"10.00"}, {u"UNIT", u"MB"}});
  EXPECT_THAT(onFlash(), IsEmpty());
  setVolumes(reserve + 10, {});
  expectImported();
}

TEST_F(ImportFilesRunnerTest, TheDefaultFileCountsWhereItStandsIn) {
  std::filesystem::remove(folder.native() / "home/list.bmp");
  record.secondDriveLetter.clear();
  setVolumes(reserve + 11, {});
  expectRefused(u"1219", noRoom);
  setVolumes(reserve + 12, {});
  expectImported(u"1225");
}

TEST_F(ImportFilesRunnerTest, AFullMainStorageSendsTheGroupToTheSecond) {
  setVolumes(reserve + 9, reserve + 10);
  expectImported();
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AWriteProtectedMainStorageSendsTheGroupToTheSecond) {
  setVolumes({}, {}, true, false);
  expectImported();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AMainStorageThatHasGoneSendsTheGroupToTheSecond) {
  record.storageCardDriveLetter = u"G:";
  expectImported();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, WhenNeitherStorageHasRoomItIs1220OfTheRoot) {
  writeSized(path(u"home/list.csv"), 0x200000);
  writeSized(path(u"home/list.bmp"), 0x80000);
  setVolumes(reserve, reserve);
  expectRefused(u"1220", noRoom);
  expectAttributes({{u"PATH", u"E:"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"12.50"}, {u"UNIT", u"MB"}});
  record.mainIsDefaultTarget = false;
  expectRefused(u"1220", noRoom);
  expectAttributes({{u"PATH", u"F:"}, {u"DRIVE", u"F:"}});
}

TEST_F(ImportFilesRunnerTest, WithoutTheDefaultTheMainStorageIsNeverTried) {
  record.mainIsDefaultTarget = false;
  setVolumes({}, reserve);
  expectRefused(u"1220", noRoom);
  EXPECT_THAT(onFlash(), IsEmpty());
}

TEST_F(ImportFilesRunnerTest, OneLevelOfTheFolderIsMade) {
  makeFolder(path(u"flash/ZELMORA"));
  record.searchingFolder = u"ZELMORA/Poi";
  expectImported();
  EXPECT_THAT(onFlash(),
              ElementsAre("ZELMORA/", "ZELMORA/Poi/", "ZELMORA/Poi/list.bmp", "ZELMORA/Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AFolderThatCantBeMadeIs1221) {
  const WideText message = u"The destination file could not be create.";
  record.searchingFolder = u"ZELMORA/Poi";
  expectRefused(u"1221", message);
  EXPECT_THAT(onFlash(), IsEmpty());
  writeFile(path(u"flash/Poi"), "a file");
  record.searchingFolder = u"Poi";
  expectRefused(u"1221", message);
}

TEST_F(ImportFilesRunnerTest, ARequiredFileOfTheSameNameIs1222) {
  writeFile(path(u"flash/Poi/list.csv"), "old");
  expectRefused(u"1222", nameClash);
  expectAttributes({{u"FILE", u"E:/Poi/list.csv"}});
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "old");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AnOptionalFileOfTheSameNameIs1203) {
  writeFile(path(u"flash/Poi/list.bmp"), "old");
  expectRefused(u"1203", nameClash);
  expectAttributes({{u"FILE", u"E:/Poi/list.bmp"}});
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(ImportFilesRunnerTest, AFileInTheDefaultOnesPlaceIs1203) {
  std::filesystem::remove(folder.native() / "home/list.bmp");
  writeFile(path(u"flash/Poi/list.gif"), "old");
  expectRefused(u"1203", nameClash);
  expectAttributes({{u"FILE", u"E:/Poi/list.gif"}});
}

TEST_F(ImportFilesRunnerTest, AnotherOptionalFileOfTheGroupIsNoClash) {
  writeFile(path(u"flash/Poi/list.png"), "old");
  expectImported();
  EXPECT_EQ(readFile(path(u"flash/Poi/list.png")), "old");
}

TEST_F(ImportFilesRunnerTest, WithOverwriteANameClashIsNoFailure) {
  writeGroup(u"flash/Poi/list", "old and longer");
  record.overwrite = true;
  expectImported();
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "12345");
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AFolderInTheWayIs1188AndThen1223) {
  makeFolder(path(u"flash/Poi/list.csv"));
  expectRefused(u"1223", u"An error occurred at copy process.");
  const std::size_t count = statusHistory().size();
  ASSERT_GE(count, 2U);
  EXPECT_EQ(statusHistory()[count - 2].exitCode(), u"1188");
}

TEST_F(ImportFilesRunnerTest, AnAbortStaysTheLastStatusAndKeepsTheOldGroup) {
  writeGroup(u"flash/Poi/list", "old");
  record.overwrite = true;
  requestAbort();
  EXPECT_EQ(run(u"IMPORT_FILES"), -1);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "old");
}

TEST_F(ImportFilesRunnerTest, WhicheverOperationFailsEachFileIsTheOldOneOrTheNewOneWhole) {
  record.overwrite = true;
  record.secondDriveLetter.clear();
  int failures = 0;
  for (int failAt = 1;; ++failAt) {
    SCOPED_TRACE(failAt);
    ASSERT_LT(failAt, 200);
    writeGroup(u"flash/Poi/list", "old");
    FaultyFileSystem faulty(dated);
    faulty.failAt = failAt;
    useFileSystem(faulty);
    const int result = run(u"IMPORT_FILES");
    useFileSystem(dated);
    for (const WideText file : {u"flash/Poi/list.csv", u"flash/Poi/list.bmp"}) {
      const std::string left = readFile(path(file));
      EXPECT_TRUE(left == "old" || left == "12345") << left;
      EXPECT_TRUE(result != 0 || left == "12345");
    }
    failures += result != 0 ? 1 : 0;
    if (faulty.count < failAt) break;
  }
  EXPECT_GT(failures, 5);
  EXPECT_EQ(readFile(path(u"flash/Poi/list.bmp")), "12345");
}

TEST_F(ImportFilesRunnerTest, TheCompanionOnTheTargetGoes) {
  record.optionalSearchingFolder = u"Index";
  record.optionalDeleteExtension = u"idx";
  for (const WideText file : {u"flash/Index/list.idx", u"flash/Index/other.idx", u"card/Index/list.idx"})
    writeFile(path(file), "x");
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Index/", "Index/other.idx", "Poi/", "Poi/list.bmp", "Poi/list.csv"));
  EXPECT_TRUE(fileExists(path(u"card/Index/list.idx")));
}

TEST_F(ImportFilesRunnerTest, ACompanionOutsideStaysAndOneThatCantGoIsNoFailure) {
  writeFile(path(u"outside/list.idx"), "x");
  record.overwrite = true;
  record.optionalDeleteExtension = u"idx";
  for (const WideText& name : escapingNames) {
    record.optionalSearchingFolder = name;
    expectImported();
  }
  EXPECT_TRUE(fileExists(path(u"outside/list.idx")));
  record.optionalSearchingFolder = u"Index";
  makeFolder(path(u"flash/Index/list.idx"));
  expectImported();
}

TEST_F(ImportFilesRunnerTest, FoldersAndExtensionsThatLeadOutAreBadParameters) {
  for (const WideText& name : escapingNames) {
    record.searchingFolder = name;
    expectRefused(u"1217", badParameters);
  }
  record.searchingFolder = u"Poi";
  for (const WideText extension : {u"/csv", u"x/../../csv", u"a\\b"}) {
    record.extensions = extension;
    expectRefused(u"1217", badParameters);
    record.extensions = u"csv";
    record.optionalExtensions = extension;
    expectRefused(u"1217", badParameters);
    record.optionalExtensions = u"bmp";
  }
  EXPECT_THAT(onFlash(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "outside"));
}

TEST_F(ImportFilesRunnerTest, LinksOnTheDeviceAreNotWrittenThrough) {
  makeFolder(path(u"secret"));
  link("../secret", "flash/Poi");
  expectRefused(u"1221", u"The destination file could not be create.");
  EXPECT_THAT(tree(path(u"secret")), IsEmpty());
  std::filesystem::remove(folder.native() / "flash/Poi");
  writeFile(path(u"secret/file"), "mine");
  makeFolder(path(u"flash/Poi"));
  link("../../secret/file", "flash/Poi/list.csv");
  expectRefused(u"1222", nameClash);
  record.overwrite = true;
  expectImported();
  EXPECT_EQ(readFile(path(u"secret/file")), "mine");
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "12345");
}

TEST_F(ImportFilesRunnerTest, OnVolumesOfTheirOwnTheGroupGoesWhereItFits) {
  const SmallVolume flash(folder.native() / "flash", 0xA00000 + 64 * 1024);
  const SmallVolume card(folder.native() / "card", 0xA00000 + 256 * 1024);
  if (!flash.isMounted() || !card.isMounted())
    GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
  record.fileName = path(u"home/large.csv");
  writeGroup(u"home/large", std::string(100'000, 'x'));
  expectImported();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/large.bmp", "Poi/large.csv"));
  record.overwrite = true;
  expectRefused(u"1220", noRoom);
}

TEST_F(ImportFilesRunnerTest, ANameThatNoDeviceTakesIs1221AndNothingIsCopiedAnywhere) {
  writeGroup(u"home/a:b");
  record.fileName = path(u"home/a:b.csv");
  for (const bool overwrite : {false, true}) {
    record.overwrite = overwrite;
    expectRefused(u"1221", u"The destination file could not be create.");
    EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
    EXPECT_FALSE(std::filesystem::exists("/Tevra_131284_copy"));
  }
}

TEST_F(ImportFilesRunnerTest, WhatKilledCopiesLeftOnEitherStorageTakesUpNoRoom) {
  for (const WideText storage : {u"flash", u"card"})
    writeFile(path(storage + u"/Poi/Tevra_131284_copy"), std::string(1000, 'x'));
  setVolumes(reserve + 9, reserve + 10);
  expectImported();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(ImportFilesRunnerTest, AnUnfinishedCopyIsNoDefaultFile) {
  std::filesystem::remove(folder.native() / "home/list.bmp");
  writeFile(path(u"flash/Poi/Tevra_131284_copy"), "half");
  record.defaultFileToCopy = u"E:/Poi/Tevra_131284_copy";
  expectRefused(u"1218", noSource);
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/Tevra_131284_copy"));
}

TEST_F(ImportFilesRunnerTest, TheCompanionGoesAsSoonAsOneFileOfTheGroupIsNew) {
  record.overwrite = true;
  record.optionalSearchingFolder = u"Index";
  record.optionalDeleteExtension = u"idx";
  writeFile(path(u"flash/Index/list.idx"), "x");
  makeFolder(path(u"flash/Poi/list.csv"));
  expectRefused(u"1223", u"An error occurred at copy process.");
  EXPECT_TRUE(fileExists(path(u"flash/Index/list.idx")));
  std::filesystem::remove(folder.native() / "flash/Poi/list.csv");
  makeFolder(path(u"flash/Poi/list.bmp"));
  expectRefused(u"1223", u"An error occurred at copy process.");
  EXPECT_EQ(readFile(path(u"flash/Poi/list.csv")), "12345");
  EXPECT_FALSE(fileExists(path(u"flash/Index/list.idx")));
}

TEST_F(ImportFilesRunnerTest, TheGroupIsOnTheMediumBeforeTheCompanionGoesAndBeforeItIsTold) {
  record.optionalSearchingFolder = u"Index";
  record.optionalDeleteExtension = u"idx";
  writeFile(path(u"flash/Index/list.idx"), "x");
  std::vector<int> folderSyncs;
  FaultyFileSystem watched(disk);
  watched.before = [&](int, const std::string& operation) {
    if (operation != "syncFolder") return;
    EXPECT_TRUE(fileExists(path(u"flash/Index/list.idx")));
    folderSyncs.push_back(fileExists(path(u"flash/Poi/list.bmp")) ? 2 : 1);
  };
  record.commandName = u"IMPORT_FILES";
  EXPECT_EQ(runOn(watched, record), 0);
  EXPECT_THAT(folderSyncs, ElementsAre(1, 2));
  EXPECT_FALSE(fileExists(path(u"flash/Index/list.idx")));
  record.overwrite = true;
  expectSyncedAtEnd(record, u"1223");
}

TEST_F(ImportFilesRunnerTest, KilledAtAnyMomentItLeavesWholeFilesAndRoomForTheNextImport) {
  record.commandName = u"IMPORT_FILES";
  record.overwrite = true;
  record.secondDriveLetter.clear();
  killAtEachOperation(
      record, [&] { writeGroup(u"flash/Poi/list", "old"); },
      [&](const std::string& when) {
        for (const WideText file : {u"flash/Poi/list.csv", u"flash/Poi/list.bmp"}) {
          const std::string left = readFile(path(file));
          EXPECT_TRUE(left == "old" || left == "12345") << when;
        }
        // As tight as it is without what the killed job left.
        setVolumes(reserve + 20, {});
        expectImported();
        EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv")) << when;
        setVolumes({}, {});
      });
}

}  // namespace
}  // namespace ZelmoraTevra
