#include "tests/support/FaultyFileSystem.h"
#include "tests/support/SmallVolume.h"
#include "tests/userdata/UserFilesTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const WideText notFound = u"The files you specified could not be found on the device.";

class ExportFilesRunnerTest : public UserFilesTest {
 protected:
  ExportFilesRunnerTest() {
    record.extensions = u"csv;txt";
    record.fileName = u"list.csv";
    record.destinationFolder = path(u"home");
  }
  void writeList(const WideText& storage, const std::string& content) {
    for (const WideText extension : {u"csv", u"txt", u"bmp"})
      writeFile(path(storage + u"/Poi/list." + extension), content);
  }
  void expectExported(const std::string& content) {
    expectSuccess(u"EXPORT_FILES", u"1010");
    EXPECT_THAT(exported(), ElementsAre("list.csv", "list.txt"));
    EXPECT_EQ(readFile(path(u"home/list.csv")), content);
    EXPECT_EQ(readFile(path(u"home/list.txt")), content);
    for (const auto& entry : std::filesystem::directory_iterator(folder.native() / "home"))
      std::filesystem::remove(entry.path());
  }
  [[nodiscard]] std::vector<std::string> exported() const { return tree(path(u"home")); }
};

TEST_F(ExportFilesRunnerTest, TheRequiredFilesComeFromTheMainStorageIfItIsTheDefault) {
  writeList(u"flash", "of the flash drive");
  writeList(u"card", "of the card");
  expectExported("of the flash drive");
  EXPECT_EQ(tree(path(u"flash")).size(), 4U);
}

TEST_F(ExportFilesRunnerTest, WithoutTheDefaultTheyComeFromTheSecondStorage) {
  writeList(u"flash", "of the flash drive");
  writeList(u"card", "of the card");
  record.mainIsDefaultTarget = false;
  expectExported("of the card");
  record.secondDriveLetter.clear();
  expectExported("of the flash drive");
}

TEST_F(ExportFilesRunnerTest, WhatTheMainStorageLacksComesFromTheSecond) {
  writeList(u"card", "of the card");
  writeFile(path(u"flash/Poi/list.csv"), "half a group");
  expectExported("of the card");
}

TEST_F(ExportFilesRunnerTest, WithoutADefaultTheMainStorageIsNeverTried) {
  writeList(u"flash", "of the flash drive");
  record.mainIsDefaultTarget = false;
  expectFailure(u"EXPORT_FILES", u"1213", notFound);
}

TEST_F(ExportFilesRunnerTest, AFileThatIsMissingOnTheOnlyStorageIs1212) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  record.secondDriveLetter.clear();
  expectFailure(u"EXPORT_FILES", u"1212", notFound);
  expectAttributes({{u"FILE", u"E:/Poi/list.txt"}});
  EXPECT_THAT(exported(), IsEmpty());
}

TEST_F(ExportFilesRunnerTest, SeparatorsAtTheEndOfAFolderAreNotDoubledInAReport) {
  record.storageCardDriveLetter = u"E:/";
  record.searchingFolder = u"Poi\\";
  record.secondDriveLetter.clear();
  expectFailure(u"EXPORT_FILES", u"1212", notFound);
  expectAttributes({{u"FILE", u"E:/Poi/list.csv"}});
}

TEST_F(ExportFilesRunnerTest, AFileThatIsMissingOnTheSecondStorageTooIs1213) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  expectFailure(u"EXPORT_FILES", u"1213", notFound);
  expectAttributes({{u"FILE", u"F:/Poi/list.csv"}});
}

TEST_F(ExportFilesRunnerTest, EmptyListsAre1211) {
  writeList(u"flash", "x");
  const WideText message = u"An error occurred when reading the EXPORT_FILES parameters.";
  record.extensions = u";";
  expectFailure(u"EXPORT_FILES", u"1211", message);
  record.extensions = u"csv";
  record.optionalExtensions = u";;";
  expectFailure(u"EXPORT_FILES", u"1211", message);
}

TEST_F(ExportFilesRunnerTest, TheNameIsCutAtItsLastDot) {
  for (const auto& [name, file] : {std::pair(u"my.list.csv", u"my.list"), std::pair(u"whole", u"whole")}) {
    record.extensions = u"csv";
    record.fileName = name;
    writeFile(path(u"flash/Poi/") + file + u".csv", "x");
    expectSuccess(u"EXPORT_FILES", u"1010");
    EXPECT_TRUE(fileExists(path(u"home/") + file + u".csv"));
  }
}

TEST_F(ExportFilesRunnerTest, ADestinationThatIsGoneIs1214) {
  writeList(u"flash", "x");
  record.destinationFolder = path(u"none");
  expectFailure(u"EXPORT_FILES", u"1214", u"The destination folder does not exist or is write protected.");
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "none"));
}

TEST_F(ExportFilesRunnerTest, ADestinationThatTakesNoWritesIs1214) {
  writeList(u"flash", "x");
  record.destinationFolder = u"F:";
  setVolumes({}, {}, false, true);
  expectFailure(u"EXPORT_FILES", u"1214", u"The destination folder does not exist or is write protected.");
}

TEST_F(ExportFilesRunnerTest, RoomForExactlyTheFilesIsEnough) {
  writeList(u"flash", std::string(500, 'x'));
  record.secondDriveLetter.clear();
  record.destinationFolder = u"F:";
  setVolumes({}, 999);
  expectFailure(u"EXPORT_FILES", u"1215", u"The files could not fit to the destination folder.");
  expectAttributes({{u"PATH", u"F:"}, {u"DRIVE", u"F:"}, {u"PATH_SIZE", u"0.00"}, {u"UNIT", u"MB"}});
  EXPECT_THAT(tree(path(u"card")), IsEmpty());
  setVolumes({}, 1000);
  expectSuccess(u"EXPORT_FILES", u"1010");
}

TEST_F(ExportFilesRunnerTest, TheNeededSizeIsToldInMebibytes) {
  writeSized(path(u"flash/Poi/list.csv"), 0x180000);
  writeSized(path(u"flash/Poi/list.txt"), 0x100000);
  record.destinationFolder = u"F:/";
  record.secondDriveLetter.clear();
  setVolumes({}, 0x27FFFF);
  expectFailure(u"EXPORT_FILES", u"1215", u"The files could not fit to the destination folder.");
  expectAttributes({{u"PATH", u"F:/"}, {u"DRIVE", u"F:"}, {u"PATH_SIZE", u"2.50"}, {u"UNIT", u"MB"}});
}

TEST_F(ExportFilesRunnerTest, AFolderInTheWayIs1188AndThen1216) {
  writeList(u"flash", "x");
  makeFolder(path(u"home/list.txt"));
  expectFailure(u"EXPORT_FILES", u"1216", u"An error occurred at copy process.");
  const std::size_t count = statusHistory().size();
  ASSERT_GE(count, 2U);
  EXPECT_EQ(statusHistory()[count - 2].exitCode(), u"1188");
}

TEST_F(ExportFilesRunnerTest, OldFilesAtTheDestinationAreReplaced) {
  writeList(u"flash", "new");
  writeFile(path(u"home/list.csv"), "old and longer");
  expectExported("new");
}

TEST_F(ExportFilesRunnerTest, AnAbortStaysTheLastStatus) {
  writeList(u"flash", "x");
  requestAbort();
  EXPECT_EQ(run(u"EXPORT_FILES"), -1);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_THAT(exported(), IsEmpty());
}

TEST_F(ExportFilesRunnerTest, TheProgressIsThatOfAnExport) {
  writeList(u"flash", "12345");
  EXPECT_EQ(run(u"EXPORT_FILES"), 0);
  const SavedStatus first = statusHistory().front();
  EXPECT_EQ(first.state, statExportKmlInProgress);
  EXPECT_THAT(first.descriptions,
              ElementsAre(u"50", u"5 / 10", u"100", u"5 / 5", u"E:/Poi/list.csv", path(u"home/list.csv")));
}

TEST_F(ExportFilesRunnerTest, NamesThatLeadOutOfTheFolderAreNotFound) {
  record.extensions = u"csv";
  record.secondDriveLetter.clear();
  for (const WideText file : {u"outside.csv", u"flash/outside.csv", u"flash/Poi/list.csv"})
    writeFile(path(file), "x");
  for (const WideText& name : escapingNames) {
    record.fileName = name + u".csv";
    expectFailure(u"EXPORT_FILES", u"1212", notFound);
  }
  record.fileName = u"outside.csv";
  for (const WideText& name : escapingNames) {
    record.searchingFolder = name;
    expectFailure(u"EXPORT_FILES", u"1211", u"An error occurred when reading the EXPORT_FILES parameters.");
  }
  EXPECT_THAT(exported(), IsEmpty());
}

TEST_F(ExportFilesRunnerTest, LinksOnTheDeviceAreNotFollowed) {
  record.extensions = u"csv";
  writeFile(path(u"secret/list.csv"), "x");
  makeFolder(path(u"flash/Poi"));
  link("../../secret/list.csv", "flash/Poi/list.csv");
  link("../secret", "card/Poi");
  expectFailure(u"EXPORT_FILES", u"1213", notFound);
  EXPECT_THAT(exported(), IsEmpty());
}

TEST_F(ExportFilesRunnerTest, ADiskThatIsFullIs1215) {
  const SmallVolume volume(folder.native() / "home", 64 * 1024);
  if (!volume.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  writeList(u"flash", std::string(30'000, 'x'));
  expectExported(std::string(30'000, 'x'));
  writeList(u"flash", std::string(33'000, 'x'));
  expectFailure(u"EXPORT_FILES", u"1215", u"The files could not fit to the destination folder.");
  EXPECT_THAT(exported(), IsEmpty());
}

TEST_F(ExportFilesRunnerTest, WhatAKilledCopyLeftTakesUpNoRoom) {
  writeList(u"flash", std::string(500, 'x'));
  writeFile(path(u"card/Tevra_131284_copy"), std::string(500, 'h'));
  record.secondDriveLetter.clear();
  record.destinationFolder = u"F:";
  setVolumes({}, 1000);
  expectSuccess(u"EXPORT_FILES", u"1010");
  EXPECT_THAT(tree(path(u"card")), ElementsAre("list.csv", "list.txt"));
}

TEST_F(ExportFilesRunnerTest, WhicheverOperationFailsEachFileIsTheOldOneOrTheNewOneWhole) {
  writeList(u"flash", "new");
  record.commandName = u"EXPORT_FILES";
  int failures = 0;
  failEachOperation(
      record,
      [&] {
        for (const WideText file : {u"home/list.csv", u"home/list.txt"}) writeFile(path(file), "old");
      },
      [&](int result, const std::string& when) {
        for (const WideText file : {u"home/list.csv", u"home/list.txt"}) {
          const std::string left = readFile(path(file));
          EXPECT_TRUE(left == "new" || (result != 0 && left == "old")) << when;
        }
        failures += result != 0 ? 1 : 0;
      });
  EXPECT_GT(failures, 10);
}

}  // namespace
}  // namespace ZelmoraTevra
