#include <filesystem>

#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/DefaultFileUpdateInstaller.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/GoingFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

class DefaultFileUpdateInstallerTest : public JobTest {
 protected:
  DefaultFileUpdateInstallerTest() {
    makeFolder(target);
    makeFolder(other);
    ZipBuilder zip;
    zip.add("maps/a.map", "new a");
    zip.add("maps/b.map", "new b");
    zip.add("version.xml", "<version/>");
    writeFile(zipPath, zip.bytes());
  }

  bool install(const std::vector<InstallFile>& files) { return install(files, other); }
  bool install(const std::vector<InstallFile>& files, const WideText& otherRoot) {
    InstallUpdate update;
    update.files = files;
    return installer->install(update, zipPath, target, target, otherRoot, nullptr);
  }

  static InstallFile file(WideText client, std::int32_t flag, WideText local = u"maps/a.map") {
    return {std::move(local), std::move(client), flag, 0, 5, u"HASH"};
  }

  const WideText target = path(u"target");
  const WideText other = path(u"other");
  const WideText zipPath = path(u"package.zip");
  std::unique_ptr<IUpdateInstaller> installer = std::make_unique<DefaultFileUpdateInstaller>();
};

TEST_F(DefaultFileUpdateInstallerTest, Flags0And2PlaceTheFile) {
  EXPECT_TRUE(install({file(u"x/a", 0), file(u"x/b", 2, u"maps/b.map")}));
  EXPECT_EQ(readFile(target + u"/x/a"), "new a");
  EXPECT_EQ(readFile(target + u"/x/b"), "new b");
  EXPECT_TRUE(tree(other).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, Flag1LeavesAFileThatIsThere) {
  writeFile(target + u"/a", "old");
  EXPECT_TRUE(install({file(u"a", 1)}));
  EXPECT_EQ(readFile(target + u"/a"), "old");
}

TEST_F(DefaultFileUpdateInstallerTest, Flag1PlacesAFileThatIsOnTheOtherStorageOnly) {
  writeFile(other + u"/a", "old");
  EXPECT_TRUE(install({file(u"a", 1)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
  EXPECT_EQ(readFile(other + u"/a"), "old");
}

TEST_F(DefaultFileUpdateInstallerTest, Flag3PlacesNothingWhereNoCopyIs) {
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_TRUE(tree(target).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, Flag3DeletesBothCopiesAndPlacesTheFile) {
  writeFile(target + u"/a", "old");
  writeFile(other + u"/a", "old");
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
  EXPECT_TRUE(tree(other).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, Flag3MovesACopyOfTheOtherStorageToTheTarget) {
  writeFile(other + u"/a", "old");
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
  EXPECT_TRUE(tree(other).empty());
}

// An unfinished file isn't one that was there, and a copy that was deleted for the new file was.
TEST_F(DefaultFileUpdateInstallerTest, AFileWhosePlacingIsCutOffIsPlacedByTheNextJob) {
  for (const std::int32_t flag : {1, 3}) {
    int operation = 1;
    const auto startOver = [&] {
      for (const WideText& root : {target, other}) {
        std::filesystem::remove_all(toUtf8(root));
        makeFolder(root);
      }
      if (flag == 3) writeFile(other + u"/new/a", "old");
    };
    startOver();
    while (!runsToItsEnd([&] {
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      install({file(u"new/a", flag)});
    })) {
      SCOPED_TRACE("flag " + std::to_string(flag) + ", killed at operation " + std::to_string(operation));
      EXPECT_TRUE(install({file(u"new/a", flag)}));
      EXPECT_EQ(readFile(target + u"/new/a"), "new a");
      EXPECT_EQ(tree(target), (std::vector<std::string>{"new/", "new/a"}));
      EXPECT_FALSE(flag == 3 && fileExists(other + u"/new/a"));
      startOver();
      ++operation;
    }
    EXPECT_EQ(readFile(target + u"/new/a"), "new a");
    EXPECT_EQ(tree(target), (std::vector<std::string>{"new/", "new/a"}));
    EXPECT_GT(operation, 4);
  }
}

// Of a device that is pulled nothing is certain but what was brought to the medium.
TEST_F(DefaultFileUpdateInstallerTest, TheMarkIsOnTheMediumBeforeTheCopiesGoAndTheNewNameBeforeTheMarkGoes) {
  for (const WideText& root : {target, other}) writeFile(root + u"/a", "old");
  const auto marks = [this] { return fileExists(target + u"/a_tevra_placing"); };
  FaultyFileSystem recording(files());
  std::vector<std::string> operations;
  recording.before = [&](int, const std::string& operation) {
    const std::string copies = (fileExists(target + u"/a") ? "target " : "") +
                               std::string(fileExists(other + u"/a") ? "other " : "");
    operations.push_back(operation + ": " + copies + (marks() ? "mark" : ""));
  };
  useFileSystem(recording);
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(operations, (std::vector<std::string>{
                            "open: target other ", "sync: target other mark", "syncFolder: target other mark",
                            "removeFile: target other mark", "removeFile: other mark", "open: mark",
                            "write: target mark", "syncFolder: target mark", "removeFile: target mark"}));
}

TEST_F(DefaultFileUpdateInstallerTest, TheFoldersThatAreMadeForAMarkAreOnTheMediumBeforeTheCopyGoes) {
  writeFile(other + u"/new/deep/a", "old");
  FaultyFileSystem recording(files());
  std::vector<std::string> operations;
  recording.before = [&](int, const std::string& operation) {
    if (fileExists(other + u"/new/deep/a")) operations.push_back(operation);
  };
  useFileSystem(recording);
  EXPECT_TRUE(install({file(u"new/deep/a", 3)}));
  EXPECT_EQ(operations, (std::vector<std::string>{"createFolder", "createFolder", "open", "sync",
                                                  "syncFolder", "syncFolder", "syncFolder", "removeFile"}));
}

TEST_F(DefaultFileUpdateInstallerTest, AFileThatIsPlacedWhereNoneIsNeedsNoWaitForTheMedium) {
  FaultyFileSystem recording(files());
  int syncs = 0;
  recording.before = [&](int, const std::string& operation) {
    syncs += operation.starts_with("sync") ? 1 : 0;
  };
  useFileSystem(recording);
  EXPECT_TRUE(install({file(u"a", 1), file(u"b", 0), file(u"c", 3)}));
  EXPECT_EQ(syncs, 0);
}

TEST_F(DefaultFileUpdateInstallerTest, AMarkStaysAsLongAsTheNewNameIsNotOnTheMedium) {
  writeFile(target + u"/a", "old");
  FaultyFileSystem faulty(files());
  int syncs = 0;
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "syncFolder" && ++syncs == 2) faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(tree(target), (std::vector<std::string>{"a", "a_tevra_placing"}));
}

TEST_F(DefaultFileUpdateInstallerTest, ADeviceThatTakesNoMarkTakesTheFile) {
  writeFile(target + u"/a", "old");
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
}

TEST_F(DefaultFileUpdateInstallerTest, ACopyThatWentForAFileThatCouldNotBePlacedIsReplacedByTheNextAttempt) {
  writeFile(target + u"/a", "old");
  EXPECT_FALSE(install({file(u"a", 3, u"no/such")}));
  EXPECT_FALSE(fileExists(target + u"/a"));
  EXPECT_TRUE(install({file(u"a", 3)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
  EXPECT_EQ(tree(target), (std::vector<std::string>{"a"}));
}

TEST_F(DefaultFileUpdateInstallerTest, TheNextAttemptMayReplaceSuchAFileOnTheOtherStorage) {
  writeFile(other + u"/a", "old");
  EXPECT_FALSE(install({file(u"a", 3, u"no/such")}));
  EXPECT_EQ(tree(target), (std::vector<std::string>{"a_tevra_placing"}));
  InstallUpdate update;
  update.files = {file(u"a", 3)};
  EXPECT_TRUE(installer->install(update, zipPath, other, target, target, nullptr));
  EXPECT_EQ(readFile(other + u"/a"), "new a");
  EXPECT_EQ(tree(other), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(tree(target).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, AnUnfinishedFileOfFlag1OnTheOtherStorageSaysNothingOfTheOneHere) {
  writeFile(target + u"/a", "user's");
  writeFile(other + u"/a_tevra_placing", "");
  EXPECT_TRUE(install({file(u"a", 1)}));
  EXPECT_EQ(readFile(target + u"/a"), "user's");
}

TEST_F(DefaultFileUpdateInstallerTest, AFileThatWasMissingLeavesNothingWhenItCanNotBePlaced) {
  EXPECT_FALSE(install({file(u"a", 1, u"no/such")}));
  EXPECT_TRUE(tree(target).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, TheMarkOfAFileThatIsBeingPlacedFollowsNoLink) {
  writeFile(path(u"outside"), "user's");
  std::filesystem::create_symlink(folder.native() / "outside",
                                  folder.native() / "target" / "a_tevra_placing");
  EXPECT_TRUE(install({file(u"a", 1)}));
  EXPECT_EQ(readFile(target + u"/a"), "new a");
  EXPECT_EQ(readFile(path(u"outside")), "user's");
}

TEST_F(DefaultFileUpdateInstallerTest, Flags4And8DoNothingHere) {
  writeFile(target + u"/a", "old");
  EXPECT_TRUE(install({file(u"a", 4), file(u"a", 8)}));
  EXPECT_EQ(readFile(target + u"/a"), "old");
}

TEST_F(DefaultFileUpdateInstallerTest, Flag7RemovesEmptyFoldersOnBothStorages) {
  makeFolder(target + u"/old/deep");
  makeFolder(other + u"/old");
  EXPECT_TRUE(install({file(u"old", 7)}));
  EXPECT_TRUE(tree(target).empty());
  EXPECT_TRUE(tree(other).empty());
}

TEST_F(DefaultFileUpdateInstallerTest, Flag7LeavesAFolderThatHoldsAFile) {
  writeFile(target + u"/old/deep/file", "x");
  EXPECT_TRUE(install({file(u"old", 7)}));
  EXPECT_EQ(readFile(target + u"/old/deep/file"), "x");
}

TEST_F(DefaultFileUpdateInstallerTest, Flag7NeverRemovesTheStorageItself) {
  EXPECT_TRUE(install({file(u".", 7), file(u"./", 7)}));
  EXPECT_TRUE(std::filesystem::exists(toUtf8(target)));
}

TEST_F(DefaultFileUpdateInstallerTest, FoldersOfTheClientPathAreMade) {
  EXPECT_TRUE(install({file(u"one/two\\three/a", 0)}));
  EXPECT_EQ(readFile(target + u"/one/two/three/a"), "new a");
}

TEST_F(DefaultFileUpdateInstallerTest, WithoutASecondStorageNothingOfTheComputerIsTouched) {
  // With an empty root a joined path would be an absolute one.
  const WideText client = path(u"mine").substr(1);
  writeFile(path(u"mine"), "user's");
  EXPECT_TRUE(install({file(client, 3), file(client, 7)}, {}));
  EXPECT_EQ(readFile(path(u"mine")), "user's");
}

TEST_F(DefaultFileUpdateInstallerTest, AMissingEntryEndsTheUpdateAndKeepsWhatWasPlaced) {
  startLog();
  EXPECT_FALSE(install({file(u"a", 0), file(u"b", 0, u"no/such"), file(u"c", 0)}));
  EXPECT_EQ(tree(target), (std::vector<std::string>{"a"}));
  EXPECT_EQ(status().exitCode(), u"1123");
  EXPECT_TRUE(logHas(u"File not extracted!!!" + zipPath));
  EXPECT_TRUE(logHas(u"Path return by extractor: "));
}

TEST_F(DefaultFileUpdateInstallerTest, APathThatLeavesTheRootIsRefusedWith1113) {
  for (const WideText client : {u"../escape", u"/escape", u"C:/escape", u"a/../../escape", u"..\\escape"}) {
    EXPECT_FALSE(install({file(client, 0)})) << toUtf8(client);
    EXPECT_EQ(status().exitCode(), u"1113");
    EXPECT_TRUE(tree(target).empty());
    EXPECT_FALSE(fileExists(path(u"escape")));
  }
}

TEST_F(DefaultFileUpdateInstallerTest, ALinkOnTheDeviceLeadsNoFileOut) {
  makeFolder(path(u"outside"));
  writeFile(path(u"outside/keep"), "user's");
  std::filesystem::create_directory_symlink(folder.native() / "outside", folder.native() / "target" / "link");
  EXPECT_FALSE(install({file(u"link/a", 0)}));
  EXPECT_TRUE(install({file(u"link/keep", 3), file(u"link", 7)}));
  EXPECT_EQ(tree(path(u"outside")), (std::vector<std::string>{"keep"}));
}

TEST_F(DefaultFileUpdateInstallerTest, UnsupportedFlagsAreReportedAndEndTheProcess) {
  const auto codeOf = [&](std::int32_t flag) {
    EXPECT_EXIT(install({file(u"a", flag)}), ::testing::ExitedWithCode(255), "");
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"Operation not supported!!!"}));
    return status().exitCode();
  };
  EXPECT_EQ(codeOf(5), u"1176");
  EXPECT_EQ(codeOf(6), u"1177");
  EXPECT_EQ(codeOf(9), u"1178");
  EXPECT_EQ(codeOf(-1), u"1178");
}

TEST_F(DefaultFileUpdateInstallerTest, ADeviceThatGoesIsNotMadeAnewOnTheComputer) {
  for (const std::int32_t flag : {0, 1, 3}) {
    for (int question = 1;; ++question) {
      SCOPED_TRACE("flag " + std::to_string(flag) + ", gone after question " + std::to_string(question));
      makeFolder(target);
      writeFile(other + u"/new/folder/a", "old");
      const bool done = runsToItsEnd([&] {
        GoingFileSystem going(files(), toUtf8(target), question);
        useFileSystem(going);
        const bool placed = install({file(u"new/folder/a", flag)});
        if (!placed || going.hasGone()) dieHere();
      });
      if (done) break;
      ASSERT_FALSE(std::filesystem::exists(toUtf8(target)));
    }
    EXPECT_EQ(readFile(target + u"/new/folder/a"), "new a");
    std::filesystem::remove_all(toUtf8(target));
  }
}

TEST_F(DefaultFileUpdateInstallerTest, CollectsARecordForEachPlacedFileButVersionFiles) {
  std::vector<ValidationRecord> records;
  installer = DefaultFileUpdateInstaller(records).clone();
  writeFile(target + u"/there", "old");
  EXPECT_TRUE(install({file(u"x/a", 0), file(u"config\\version.xml", 0, u"version.xml"),
                       file(u"config/Version.xml", 0, u"version.xml"), file(u"there", 1)}));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].zipPath, zipPath);
  EXPECT_EQ(records[0].zipEntry, u"maps/a.map");
  EXPECT_EQ(records[0].targetRoot, target);
  EXPECT_EQ(records[0].clientPath, u"x/a");
  EXPECT_EQ(records[0].expectedMd5, u"HASH");
  EXPECT_EQ(records[0].deviceMd5, u"");
  EXPECT_EQ(records[1].clientPath, u"config/Version.xml");
}

TEST_F(DefaultFileUpdateInstallerTest, TheObserverShowsTheFileBeingPlaced) {
  ProgressObserver& observer = ProgressObserver::instance();
  observer.load({{1000, {}, {}, 0}});
  InstallUpdate update;
  update.files = {file(u"x/a", 0)};
  EXPECT_TRUE(installer->install(update, zipPath, target, target, other, &observer));
  const SavedStatus shown = statusHistory().back();
  EXPECT_EQ(shown.state, statInstalllnProgress);
  ASSERT_EQ(shown.descriptions.size(), 6U);
  EXPECT_EQ(shown.descriptions[4], u"maps/a.map");
  EXPECT_EQ(shown.descriptions[5], target + u"\\x/a");
}

}  // namespace
}  // namespace ZelmoraTevra
