#include "tests/support/FaultyFileSystem.h"
#include "tests/userdata/UserFilesTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;

const WideText failed = u"An error occurred when trying to delete the files.";
const WideText notFound = u"The specified file could not be found.";

class DeleteFilesRunnerTest : public UserFilesTest {
 protected:
  DeleteFilesRunnerTest() { record.fileName = u"list"; }
  void expectDeleted() { expectSuccess(u"DELETE_FILES", u"1010"); }
  void expectNotFound() { expectFailure(u"DELETE_FILES", u"1210", notFound); }
  [[nodiscard]] std::vector<std::string> onFlash() const { return tree(path(u"flash")); }
  [[nodiscard]] std::vector<std::string> onCard() const { return tree(path(u"card")); }
};

TEST_F(DeleteFilesRunnerTest, AGroupGoesFromBothStorages) {
  writeGroup(u"flash/Poi/list");
  writeGroup(u"flash/Poi/other");
  writeGroup(u"card/Poi/list");
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/other.bmp", "Poi/other.csv"));
  EXPECT_THAT(onCard(), ElementsAre("Poi/"));
}

TEST_F(DeleteFilesRunnerTest, AGroupThatIsOnOneStorageAloneIsEnough) {
  writeGroup(u"card/Poi/list");
  expectDeleted();
  EXPECT_THAT(onCard(), ElementsAre("Poi/"));
  writeGroup(u"flash/Poi/list");
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
}

TEST_F(DeleteFilesRunnerTest, WithoutASecondStorageOnlyTheMainOneIsLookedAt) {
  writeGroup(u"card/Poi/list");
  record.secondDriveLetter.clear();
  expectNotFound();
  EXPECT_THAT(onCard(), ElementsAre("Poi/", "Poi/list.bmp", "Poi/list.csv"));
}

TEST_F(DeleteFilesRunnerTest, EmptyListsAre1207) {
  writeGroup(u"flash/Poi/list");
  const WideText message = u"An error occurred when reading the DELETE_FILES parameters.";
  record.extensions = u";";
  expectFailure(u"DELETE_FILES", u"1207", message);
  record.extensions = u"csv";
  record.optionalExtensions = u"";
  expectFailure(u"DELETE_FILES", u"1207", message);
  EXPECT_EQ(onFlash().size(), 3U);
}

TEST_F(DeleteFilesRunnerTest, AGroupWithoutOneOfItsFilesIsNone) {
  record.extensions = u"csv;txt";
  writeGroup(u"flash/Poi/list");
  expectNotFound();
  record.extensions = u"csv";
  record.optionalExtensions = u"gif";
  expectNotFound();
  EXPECT_EQ(onFlash().size(), 3U);
}

TEST_F(DeleteFilesRunnerTest, OnlyTheFirstOptionalFileGoes) {
  writeGroup(u"flash/Poi/list");
  writeFile(path(u"flash/Poi/list.png"), "x");
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.png"));
}

TEST_F(DeleteFilesRunnerTest, AnExtensionNamedTwiceIsDeletedOnce) {
  writeGroup(u"flash/Poi/list");
  record.extensions = u"csv;csv";
  expectDeleted();
  writeGroup(u"flash/Poi/list");
  record.optionalExtensions = u"csv";
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/list.bmp"));
}

TEST_F(DeleteFilesRunnerTest, TheNameIsTakenWhole) {
  writeGroup(u"flash/Poi/my.list");
  record.fileName = u"my.list";
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
}

TEST_F(DeleteFilesRunnerTest, AGroupInAFolderBelowIsNamedWithTheFolder) {
  writeGroup(u"flash/Poi/a/list");
  record.fileName = u"a/list";
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/", "Poi/a/"));
}

TEST_F(DeleteFilesRunnerTest, FilesMarkedAsReadOnlyGoToo) {
  writeGroup(u"flash/Poi/list");
  for (const char* file : {"flash/Poi/list.csv", "flash/Poi/list.bmp"})
    std::filesystem::permissions(folder.native() / file, std::filesystem::perms::owner_read);
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
}

TEST_F(DeleteFilesRunnerTest, AFailureOnTheMainStorageIs1208AndEndsTheCommand) {
  writeGroup(u"flash/Poi/list");
  writeGroup(u"card/Poi/list");
  setVolumes({}, {}, true, false);
  expectFailure(u"DELETE_FILES", u"1208", failed);
  expectAttributes({{u"PATH", u"E:"}, {u"DRIVE", u"E:"}});
  EXPECT_EQ(onCard().size(), 3U);
}

TEST_F(DeleteFilesRunnerTest, AFailureOnTheSecondStorageIs1209) {
  writeGroup(u"flash/Poi/list");
  writeGroup(u"card/Poi/list");
  record.secondDriveLetter = u"F:\\";
  setVolumes({}, {}, false, true);
  expectFailure(u"DELETE_FILES", u"1209", failed);
  expectAttributes({{u"PATH", u"F:/"}, {u"DRIVE", u"F:"}});
  EXPECT_THAT(onFlash(), ElementsAre("Poi/"));
}

TEST_F(DeleteFilesRunnerTest, TheOptionalFileAndTheCompanionMayFailToGo) {
  record.optionalSearchingFolder = u"Index";
  record.optionalDeleteExtension = u"idx";
  for (int failAt = 2; failAt <= 3; ++failAt) {
    writeGroup(u"flash/Poi/list");
    writeFile(path(u"flash/Index/list.idx"), "x");
    FaultyFileSystem faulty(dated);
    int removals = 0;
    faulty.before = [&](int number, const std::string& operation) {
      faulty.failAt = operation == "removeFile" && ++removals == failAt ? number : 0;
    };
    useFileSystem(faulty);
    expectDeleted();
    useFileSystem(dated);
    EXPECT_EQ(removals, 3);
    EXPECT_FALSE(fileExists(path(u"flash/Poi/list.csv")));
    EXPECT_EQ(fileExists(path(u"flash/Poi/list.bmp")), failAt == 2);
    EXPECT_EQ(fileExists(path(u"flash/Index/list.idx")), failAt == 3);
  }
}

TEST_F(DeleteFilesRunnerTest, TheCompanionGoesFromTheStorageOfTheGroup) {
  record.optionalSearchingFolder = u"Index/Poi";
  record.optionalDeleteExtension = u"idx";
  writeGroup(u"card/Poi/list");
  for (const WideText file :
       {u"flash/Index/Poi/list.idx", u"card/Index/Poi/list.idx", u"card/Index/Poi/a.idx"})
    writeFile(path(file), "x");
  expectDeleted();
  EXPECT_THAT(onCard(), ElementsAre("Index/", "Index/Poi/", "Index/Poi/a.idx", "Poi/"));
  EXPECT_TRUE(fileExists(path(u"flash/Index/Poi/list.idx")));
}

TEST_F(DeleteFilesRunnerTest, ACompanionNeedsItsFolderAndItsExtension) {
  writeFile(path(u"flash/list.idx"), "x");
  writeFile(path(u"flash/Index/list"), "x");
  writeGroup(u"flash/Poi/list");
  record.optionalDeleteExtension = u"idx";
  expectDeleted();
  writeGroup(u"flash/Poi/list");
  record.optionalDeleteExtension.clear();
  record.optionalSearchingFolder = u"Index";
  expectDeleted();
  EXPECT_THAT(onFlash(), ElementsAre("Index/", "Index/list", "Poi/", "list.idx"));
}

TEST_F(DeleteFilesRunnerTest, NamesThatLeadOutOfTheFolderAreNotFound) {
  writeGroup(u"outside");
  writeGroup(u"flash/outside");
  writeGroup(u"flash/Poi/list");
  for (const WideText& name : escapingNames) {
    record.fileName = name;
    expectNotFound();
  }
  record.fileName = WideText(u"list\0x", 6);
  expectNotFound();
  EXPECT_TRUE(fileExists(path(u"outside.csv")) && fileExists(path(u"flash/outside.csv")));
}

TEST_F(DeleteFilesRunnerTest, FoldersAndExtensionsThatLeadOutAreBadParameters) {
  writeGroup(u"outside");
  writeGroup(u"flash/Poi/list");
  record.fileName = u"outside";
  const WideText message = u"An error occurred when reading the DELETE_FILES parameters.";
  for (const WideText& name : escapingNames) {
    record.searchingFolder = name;
    expectFailure(u"DELETE_FILES", u"1207", message);
  }
  record.searchingFolder = u"Poi";
  record.extensions = u"csv;x/../../../outside.csv";
  expectFailure(u"DELETE_FILES", u"1207", message);
  EXPECT_TRUE(fileExists(path(u"outside.csv")));
}

TEST_F(DeleteFilesRunnerTest, ACompanionThatLiesOutsideStays) {
  writeFile(path(u"outside/list.idx"), "x");
  writeFile(path(u"outside.idx"), "x");
  for (const WideText& name : escapingNames) {
    writeGroup(u"flash/Poi/list");
    record.optionalSearchingFolder = name;
    record.optionalDeleteExtension = u"idx";
    expectDeleted();
    writeGroup(u"flash/Poi/list");
    record.optionalSearchingFolder = u"Index";
    record.optionalDeleteExtension = u"x/../../" + name + u".idx";
    expectDeleted();
  }
  EXPECT_TRUE(fileExists(path(u"outside/list.idx")) && fileExists(path(u"outside.idx")));
}

TEST_F(DeleteFilesRunnerTest, LinksOnTheDeviceAreNotFollowed) {
  writeGroup(u"home/list");
  link("../home", "flash/Poi");
  expectNotFound();
  writeGroup(u"card/Poi/list");
  std::filesystem::remove(folder.native() / "card/Poi/list.csv");
  link("../../home/list.csv", "card/Poi/list.csv");
  expectNotFound();
  EXPECT_THAT(tree(path(u"home")), ElementsAre("list.bmp", "list.csv"));
  EXPECT_EQ(onCard().size(), 3U);
}

}  // namespace
}  // namespace ZelmoraTevra
