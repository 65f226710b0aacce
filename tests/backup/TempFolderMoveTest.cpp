#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "backup/TempFolderMove.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/ScopedEnvironment.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TempFolderMoveTest : public JobTest {
 protected:
  TempFolderMoveTest() {
    makeFolder(newFolder);
    writeFile(oldJob + u"/map.zip", "zip");
    writeFile(oldJob + u"/deep/register.xml", "xml");
    writeFile(oldFolder + u"/users.txt", "user");
  }

  int move(const WideText& from, const WideText& to) {
    TempFolderMove job;
    CommandRecord record;
    record.oldFolder = from;
    record.newFolder = to;
    const int result = job.init(record);
    return result != 0 ? result : job.run();
  }
  int move() { return move(oldFolder, newFolder); }
  [[nodiscard]] bool existsAt(const std::string& relative) const {
    return fs::exists(fs::symlink_status(folder.native() / relative));
  }
  void link(const std::string& target, const std::string& relative) const {
    fs::create_symlink(target, folder.native() / relative);
  }
  void expectFailure(const WideText& exitCode, const std::vector<WideText>& descriptions,
                     const std::vector<WideText>& paths = {}) {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.exitCode(), exitCode);
    EXPECT_EQ(saved.descriptions, descriptions);
    ASSERT_EQ(saved.attributes.count(u"PATH"), paths.size());
    ASSERT_EQ(saved.attributes.count(u"DRIVE"), paths.size());
    for (const WideText& path : paths) {
      EXPECT_EQ(saved.attributes.at(u"PATH"), toForwardSlashes(path));
      EXPECT_EQ(saved.attributes.at(u"DRIVE"), driveOfPath(path));
    }
  }
  void expectInvalid(const WideText& to) {
    expectFailure(u"1008", {u"109", u"The path provide for the new temporary folder is not valid!"}, {to});
  }
  void expectNotMade(const WideText& to) {
    expectFailure(u"1009", {u"100", u"The ZELMORATevra_tmp folder could not be created!"}, {to});
  }
  void expectOldWhole() {
    EXPECT_EQ(readFile(oldJob + u"/map.zip"), "zip");
    EXPECT_EQ(readFile(oldJob + u"/deep/register.xml"), "xml");
    EXPECT_EQ(readFile(oldFolder + u"/users.txt"), "user");
  }

  const WideText oldFolder = path(u"temp");
  const WideText oldJob = path(u"temp/ZELMORATevra_tmp");
  const WideText newFolder = path(u"new");
};

TEST_F(TempFolderMoveTest, TheJobsFolderIsMadeInTheNewPlaceAndGoesInTheOldOne) {
  EXPECT_EQ(move(), 0);
  EXPECT_THAT(tree(newFolder), ElementsAre("ZELMORATevra_tmp/"));
  EXPECT_THAT(tree(oldFolder), ElementsAre("users.txt"));
  EXPECT_EQ(userTempFolder, newFolder);
  EXPECT_EQ(workTempFolder, newFolder + u"\\ZELMORATevra_tmp");
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 9);
  EXPECT_EQ(saved.exitCode(), u"1010");
  EXPECT_THAT(saved.descriptions, ElementsAre(newFolder));
}

TEST_F(TempFolderMoveTest, TheFolderBearsTheJobsOwnName) {
  channelName = "channel7";
  makeFolder(path(u"tmp/channel7"));
  makeFolder(oldFolder + u"/channel7/x");
  EXPECT_EQ(move(), 0);
  EXPECT_THAT(tree(newFolder), ElementsAre("channel7/"));
  EXPECT_FALSE(existsAt("temp/channel7"));
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, WithoutAPreparationItGives1) {
  TempFolderMove job;
  EXPECT_EQ(job.runMove(), 1);
  EXPECT_NE(job.prepareMove(u"", newFolder), 0);
  EXPECT_EQ(job.runMove(), 1);
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, EmptyAndEqualPathsAre1005) {
  link("temp", "link");
  for (const auto& [from, to] : std::vector<std::pair<WideText, WideText>>{{u"", newFolder},
                                                                           {oldFolder, u""},
                                                                           {oldFolder, oldFolder},
                                                                           {oldFolder, oldFolder + u"\\"},
                                                                           {path(u"link"), oldFolder},
                                                                           {u"E:\\absent", u"E:/absent"}}) {
    EXPECT_EQ(move(from, to), -1);
    expectFailure(u"1005", {u"100", u"The paths for the old and new temp folder are the same or empty!"},
                  {from});
  }
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, AMissingOldFolderIs1006) {
  EXPECT_EQ(move(path(u"absent"), newFolder), -1);
  expectFailure(u"1006", {u"100", u"The old temp folder does not exists!"});
  EXPECT_THAT(tree(newFolder), IsEmpty());
}

TEST_F(TempFolderMoveTest, AMissingNewFolderIs1008AndTheOldPlaceStaysInUse) {
  writeFile(path(u"file"), "f");
  for (const WideText& to : {path(u"absent"), path(u"file")}) {
    userTempFolder = u"other";
    EXPECT_EQ(move(oldFolder, to), -1);
    expectInvalid(to);
    EXPECT_EQ(userTempFolder, oldFolder);
    EXPECT_EQ(workTempFolder, oldFolder + u"\\ZELMORATevra_tmp");
  }
  EXPECT_FALSE(existsAt("absent"));
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, AFolderThatCanNotBeMadeIs1009AndTheOldPlaceStaysInUse) {
  writeFile(newFolder + u"/ZELMORATevra_tmp", "a file");
  EXPECT_EQ(move(), -1);
  expectNotMade(newFolder);
  EXPECT_EQ(workTempFolder, oldFolder + u"\\ZELMORATevra_tmp");
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, AWriteProtectedPlaceIs1009) {
  platform::FixedVolumes volumes{{{u'N', newFolder, true, {}}}};
  platform::VolumeFileSystem disk{files(), volumes};
  useFileSystem(disk);
  EXPECT_EQ(move(oldFolder, u"N:\\"), -1);
  expectNotMade(u"N:\\");
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, AJobsFolderThatIsThereIsEmptied) {
  writeFile(newFolder + u"/ZELMORATevra_tmp/deep/left", "l");
  writeFile(newFolder + u"/users.txt", "u");
  EXPECT_EQ(move(), 0);
  EXPECT_THAT(tree(newFolder), ElementsAre("ZELMORATevra_tmp/", "users.txt"));
}

TEST_F(TempFolderMoveTest, LinksAreRemovedAndNotFollowed) {
  writeFile(path(u"precious/p"), "p");
  link("../precious", "new/ZELMORATevra_tmp");
  link("../../precious", "temp/ZELMORATevra_tmp/link");
  EXPECT_EQ(move(), 0);
  EXPECT_FALSE(fs::is_symlink(folder.native() / "new/ZELMORATevra_tmp"));
  EXPECT_FALSE(existsAt("temp/ZELMORATevra_tmp"));
  EXPECT_EQ(readFile(path(u"precious/p")), "p");
}

TEST_F(TempFolderMoveTest, AJobsFolderThatIsALinkIsRemovedAndWhatItLeadsToStays) {
  writeFile(path(u"precious/p"), "p");
  for (const char* target : {"../precious", "../nowhere", "../new/ZELMORATevra_tmp"}) {
    fs::remove_all(folder.native() / "temp/ZELMORATevra_tmp");
    link(target, "temp/ZELMORATevra_tmp");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(readFile(path(u"precious/p")), "p");
    EXPECT_THAT(tree(newFolder), ElementsAre("ZELMORATevra_tmp/"));
  }
}

TEST_F(TempFolderMoveTest, WithoutAJobsFolderInTheOldPlaceItSucceeds) {
  fs::remove_all(folder.native() / "temp/ZELMORATevra_tmp");
  EXPECT_EQ(move(), 0);
  EXPECT_THAT(tree(oldFolder), ElementsAre("users.txt"));
}

TEST_F(TempFolderMoveTest, TheDefaultPlaceStaysAndIsEmptied) {
  writeFile(path(u"tmp/ZELMORATevra_tmp/left"), "l");
  EXPECT_EQ(move(path(u"tmp"), newFolder), 0);
  EXPECT_THAT(tree(path(u"tmp")), ElementsAre("ZELMORATevra_tmp/", "ZELMORATevra_tmp/ud_backup_tests.xml"));
  EXPECT_EQ(status().exitCode(), u"1010");
}

TEST_F(TempFolderMoveTest, TheDefaultPlaceInAnotherSpellingStaysToo) {
  makeFolder(path(u"longer name of tmp/ZELMORATevra_tmp"));
  writeFile(path(u"LONGER~1/ZELMORATevra_tmp/left"), "l");
  const ScopedEnvironment longTemp("TMP", (folder.native() / "longer name of tmp").string());
  // The two differ for the file system and match in their short forms.
  EXPECT_EQ(move(path(u"LONGER~1"), newFolder), 0);
  EXPECT_THAT(tree(path(u"LONGER~1")), ElementsAre("ZELMORATevra_tmp/"));
}

TEST_F(TempFolderMoveTest, ALinkToTheDefaultPlaceDoesNotCostTheStatusItsFolder) {
  link("tmp", "another name");
  EXPECT_EQ(move(path(u"another name"), newFolder), 0);
  EXPECT_TRUE(existsAt("tmp/ZELMORATevra_tmp"));
  EXPECT_EQ(status().exitCode(), u"1010");
}

TEST_F(TempFolderMoveTest, TheMoveToTheDefaultPlaceKeepsTheStatus) {
  writeFile(path(u"tmp/ZELMORATevra_tmp/left"), "l");
  EXPECT_EQ(move(oldFolder, path(u"tmp")), 0);
  EXPECT_THAT(tree(path(u"tmp")), ElementsAre("ZELMORATevra_tmp/", "ZELMORATevra_tmp/ud_backup_tests.xml"));
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_FALSE(existsAt("temp/ZELMORATevra_tmp"));
}

TEST_F(TempFolderMoveTest, ANewPlaceWithinTheOldJobsFolderIs1008) {
  makeFolder(oldJob + u"/inner");
  link("temp/ZELMORATevra_tmp/inner", "link");
  for (const WideText& to : {oldJob, oldJob + u"/inner", path(u"link")}) {
    EXPECT_EQ(move(oldFolder, to), -1);
    expectInvalid(to);
    expectOldWhole();
    EXPECT_TRUE(existsAt("temp/ZELMORATevra_tmp/inner"));
  }
}

TEST_F(TempFolderMoveTest, AnOldPlaceWithinTheNewJobsFolderIs1008) {
  const WideText from = newFolder + u"/ZELMORATevra_tmp/deep";
  writeFile(from + u"/users.txt", "user");
  EXPECT_EQ(move(from, newFolder), -1);
  expectInvalid(newFolder);
  EXPECT_EQ(readFile(from + u"/users.txt"), "user");
}

TEST_F(TempFolderMoveTest, TheNewPlaceMayLieInTheOldOneAndTheOtherWayRound) {
  makeFolder(oldFolder + u"/sub");
  EXPECT_EQ(move(oldFolder, oldFolder + u"/sub"), 0);
  EXPECT_THAT(tree(oldFolder), ElementsAre("sub/", "sub/ZELMORATevra_tmp/", "users.txt"));
  EXPECT_EQ(move(oldFolder + u"/sub", oldFolder), 0);
  EXPECT_THAT(tree(oldFolder), ElementsAre("ZELMORATevra_tmp/", "sub/", "users.txt"));
}

TEST_F(TempFolderMoveTest, BackupsInEitherJobsFolderAreNotTouched) {
  backupRootFolder = newFolder + u"/ZELMORATevra_tmp/backups";
  writeFile(backupRootFolder + u"/Alps/Alps.xml", "x");
  EXPECT_EQ(move(), -1);
  expectNotMade(newFolder);
  EXPECT_EQ(readFile(backupRootFolder + u"/Alps/Alps.xml"), "x");
  fs::remove_all(folder.native() / "new/ZELMORATevra_tmp");
  backupRootFolder = oldJob + u"/backups";
  writeFile(backupRootFolder + u"/Alps/Alps.xml", "x");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(readFile(backupRootFolder + u"/Alps/Alps.xml"), "x");
}

TEST_F(TempFolderMoveTest, TheSystemsTemporaryFolderInEitherJobsFolderIsNotTouched) {
  const auto useTemp = [](const std::string& native) {
    fs::create_directories(native + "/ZELMORATevra_tmp");
    std::ofstream(native + "/users.tmp") << "u";
  };
  {
    const std::string native = (folder.native() / "new/ZELMORATevra_tmp/system").string();
    const ScopedEnvironment inNew("TMP", native);
    useTemp(native);
    EXPECT_EQ(move(), -1);
    expectNotMade(newFolder);
    EXPECT_TRUE(existsAt("new/ZELMORATevra_tmp/system/users.tmp"));
    expectOldWhole();
  }
  fs::remove_all(folder.native() / "new/ZELMORATevra_tmp");
  for (const char* place : {"temp/ZELMORATevra_tmp", "temp/ZELMORATevra_tmp/system"}) {
    const std::string native = (folder.native() / place).string();
    const ScopedEnvironment inOld("TMP", native);
    useTemp(native);
    StatusXml::destroy();
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(status().exitCode(), u"1010");
    EXPECT_TRUE(existsAt(std::string(place) + "/users.tmp"));
    expectOldWhole();
  }
}

TEST_F(TempFolderMoveTest, ALinkThatCanNotBeRemovedIs1009AndNotUsed) {
  writeFile(path(u"precious/p"), "p");
  link("../precious", "new/ZELMORATevra_tmp");
  FaultyFileSystem faulty(files());
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "removeFile" && existsAt("new/ZELMORATevra_tmp")) faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_EQ(move(), -1);
  useFileSystem(files());
  expectNotMade(newFolder);
  EXPECT_EQ(readFile(path(u"precious/p")), "p");
  expectOldWhole();
}

TEST_F(TempFolderMoveTest, AJobsNameThatIsNoFoldersNameEmptiesNothing) {
  for (const char* name : {"", ".", "..", "../precious", "a/b"}) {
    channelName = name;
    writeFile(newFolder + u"/mine", "m");
    EXPECT_EQ(move(), -1) << name;
    EXPECT_EQ(readFile(newFolder + u"/mine"), "m");
    expectOldWhole();
  }
}

TEST_F(TempFolderMoveTest, AFailureAtAnyOperationLeavesOneUsablePlaceAndTheUsersFiles) {
  for (int failAt = 1;; ++failAt) {
    ASSERT_LT(failAt, 200);
    writeFile(oldJob + u"/deep/register.xml", "xml");
    writeFile(newFolder + u"/ZELMORATevra_tmp/left", "l");
    FaultyFileSystem faulty(files());
    faulty.failAt = failAt;
    useFileSystem(faulty);
    const int result = move();
    useFileSystem(files());
    if (faulty.count < failAt) break;
    ASSERT_TRUE(fs::is_directory(folder.native() / (result == 0 ? "new" : "temp") / "ZELMORATevra_tmp"));
    ASSERT_EQ(workTempFolder, (result == 0 ? newFolder : oldFolder) + u"\\ZELMORATevra_tmp");
    ASSERT_EQ(status().exitCode(), result == 0 ? u"1010" : u"1009");
    ASSERT_EQ(readFile(oldFolder + u"/users.txt"), "user");
    if (result != 0) continue;
    ASSERT_THAT(tree(newFolder), ElementsAre("ZELMORATevra_tmp/"));
  }
}

TEST_F(TempFolderMoveTest, AfterAKillAtAnyOperationTheNextMoveFinishes) {
  for (int killAt = 1;; ++killAt) {
    ASSERT_LT(killAt, 200);
    writeFile(oldJob + u"/deep/register.xml", "xml");
    writeFile(newFolder + u"/ZELMORATevra_tmp/left", "l");
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem killing(files());
      killing.before = [killAt](int number, const std::string&) {
        if (number == killAt) dieHere();
      };
      useFileSystem(killing);
      if (move() != 0) dieHere();
    });
    ASSERT_EQ(readFile(oldFolder + u"/users.txt"), "user");
    if (ended) break;
    ASSERT_EQ(move(), 0);
    ASSERT_THAT(tree(newFolder), ElementsAre("ZELMORATevra_tmp/"));
    ASSERT_THAT(tree(oldFolder), ElementsAre("users.txt"));
  }
}

}  // namespace
}  // namespace ZelmoraTevra
