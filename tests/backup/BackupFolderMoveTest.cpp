#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "backup/BackupFolderMove.h"
#include "backup/ConvertBackupsRunner.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobProcess.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/SmallVolume.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Contents = std::map<std::string, std::string>;

class BackupFolderMoveTest : public JobTest {
 protected:
  BackupFolderMoveTest() {
    makeFolder(newFolder);
    useFileSystem(unsynced);
  }

  // With one that names other sizes than the files have.
  static std::string descriptionOf(const Contents& files, std::int64_t sizeError = 0) {
    std::string list;
    for (const auto& [path, content] : files)
      list += "<File path=\"" + path + "\" size=\"" +
              std::to_string(static_cast<std::int64_t>(content.size()) + sizeError) + "\" hash=\"\" />";
    return "<BackupContents><backup /><BackupFiles>" + list + "</BackupFiles></BackupContents>";
  }
  void addBackup(const std::string& name, const Contents& files, std::int64_t sizeError = 0) {
    const WideText root = path(u"backups/" + toWide(name));
    for (const auto& [file, content] : files) writeFile(root + u'/' + toWide(file), content);
    writeFile(root + u'/' + toWide(name) + u".xml", descriptionOf(files, sizeError));
  }
  // Three blocks and a half, small files, and a card.
  void addTwoBackups() {
    addBackup("Alps", {{"storage_for_software/ZELMORA/map/alps.map", noise(3'500'000, 1)},
                       {"storage_for_software/ZELMORA/version.xml", "<config />"},
                       {"storage_for_software/empty", ""}});
    addBackup("Spain", {{"storage_for_software\\ZELMORA\\version.xml", "<config>2</config>"},
                        {"storage_for_content\\spain.map", noise(1'100'000, 2)}});
  }

  int move(const WideText& from, const WideText& to) {
    BackupFolderMove job;
    CommandRecord record;
    record.oldFolder = from;
    record.newFolder = to;
    const int result = job.init(record);
    return result != 0 ? result : job.run();
  }
  int move() { return move(oldFolder, newFolder); }

  [[nodiscard]] Tree treeAt(const std::string& relative) const { return treeOf(folder.native() / relative); }
  [[nodiscard]] bool existsAt(const std::string& relative) const {
    return fs::exists(fs::symlink_status(folder.native() / relative));
  }
  void link(const std::string& target, const std::string& relative) const {
    fs::create_symlink(target, folder.native() / relative);
  }

  struct Report {
    WideText exitCode;
    std::vector<WideText> descriptions;
    std::map<WideText, WideText> attributes = {};
  };
  void expectReport(const Report& expected) {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.descriptions, expected.descriptions);
    auto attributes = expected.attributes;
    attributes[u"exitCode"] = expected.exitCode;
    attributes[u"executionTime"] = saved.attributes.at(u"executionTime");
    EXPECT_EQ(saved.attributes, attributes);
  }
  [[nodiscard]] static std::map<WideText, WideText> at(const WideText& path) {
    return {{u"PATH", toForwardSlashes(path)}, {u"DRIVE", driveOfPath(path)}};
  }
  void expectInvalidNewFolder() {
    expectReport({u"1054", {u"100", u"The new folder provided is not a valid backup folder!"}});
  }
  void requestAbort() {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  int moveWatched(FaultyFileSystem& watched) {
    useFileSystem(watched);
    const int result = move();
    useFileSystem(unsynced);
    return result;
  }

  UnsyncedFileSystem unsynced{files()};
  const WideText oldFolder = path(u"backups");
  const WideText newFolder = path(u"new");
};

TEST_F(BackupFolderMoveTest, EveryBackupGoesAndTheEmptyOldFolderWithThem) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("new"), before);
  EXPECT_FALSE(existsAt("backups"));
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 9);
  EXPECT_EQ(saved.exitCode(), u"1010");
  EXPECT_THAT(saved.descriptions, IsEmpty());
}

TEST_F(BackupFolderMoveTest, WithoutBackupsTheMoveSucceeds) {
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_FALSE(existsAt("backups"));
  EXPECT_TRUE(treeAt("new").empty());
}

TEST_F(BackupFolderMoveTest, WithoutAPreparationNothingRuns) {
  BackupFolderMove job;
  EXPECT_EQ(job.runMove(), -1);
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_EQ(job.prepareMove(oldFolder, u""), -1);
  EXPECT_EQ(job.runMove(), -1);
}

TEST_F(BackupFolderMoveTest, TheProgressIsOneEntryABackupWithBothPaths) {
  addTwoBackups();
  FaultyFileSystem ticking(unsynced);
  ticking.before = [this](int, const std::string&) { clock.ticks += 2'000; };
  EXPECT_EQ(moveWatched(ticking), 0);
  const std::size_t alps = 3'500'000 + 10 + readFile(newFolder + u"/Alps/Alps.xml").size();
  const std::size_t spain = 1'100'000 + 18 + readFile(newFolder + u"/Spain/Spain.xml").size();
  const SavedStatus& second = statusHistory().at(1);
  EXPECT_EQ(second.state, 12);
  // The description is small and comes first.
  const std::size_t done = readFile(newFolder + u"/Alps/Alps.xml").size() + 0x100000;
  EXPECT_THAT(second.descriptions,
              ElementsAre(numberText(static_cast<std::int64_t>(done * 100 / (alps + spain))),
                          toWide(std::to_string(done) + " / " + std::to_string(alps + spain)),
                          numberText(static_cast<std::int64_t>(done * 100 / alps)),
                          toWide(std::to_string(done) + " / " + std::to_string(alps)),
                          oldFolder + u"\\Alps\\storage_for_software\\ZELMORA\\map\\alps.map",
                          newFolder + u"\\Alps\\storage_for_software\\ZELMORA\\map\\alps.map"));
}

TEST_F(BackupFolderMoveTest, EmptyAndEqualPathsAre1011) {
  const std::vector<WideText> texts = {u"100",
                                       u"The old backup path and the new backup path are the same or empty!"};
  addTwoBackups();
  link("backups", "link");
  const Tree before = treeAt("backups");
  for (const auto& [from, to] :
       std::vector<std::pair<WideText, WideText>>{{u"", newFolder},
                                                  {oldFolder, u""},
                                                  {oldFolder, oldFolder},
                                                  {oldFolder, oldFolder + u"/"},
                                                  {oldFolder + u"\\", toBackslashes(oldFolder)},
                                                  {oldFolder, path(u"new/../backups")},
                                                  {oldFolder, path(u"link")},
                                                  {path(u"absent"), path(u"absent")}}) {
    EXPECT_EQ(move(from, to), -1);
    expectReport({u"1011", texts, at(from)});
  }
  EXPECT_EQ(treeAt("backups"), before);
}

TEST_F(BackupFolderMoveTest, AnyPathThatHoldsTheJobFoldersNameIs1054) {
  addTwoBackups();
  makeFolder(path(u"temp/ZELMORATevra_tmp/sub"));
  for (const WideText& to : {path(u"temp/ZELMORATevra_tmp"), path(u"temp") + u"\\ZELMORATevra_tmp",
                             path(u"temp/ZELMORATevra_tmp/sub"), path(u"temp\\ZELMORATevra_tmp\\sub"),
                             path(u"absent/ZELMORATevra_tmp_old/x"), WideText(u"/ZELMORATevra_tmp"),
                             path(u"x\\ZELMORATevra_tmp2")}) {
    EXPECT_EQ(move(oldFolder, to), -1);
    expectInvalidNewFolder();
  }
  // Comes before the look at the old folder.
  EXPECT_EQ(move(path(u"absent"), path(u"temp/ZELMORATevra_tmp")), -1);
  expectInvalidNewFolder();
  channelName = "channel7";
  makeFolder(path(u"tmp/channel7"));
  EXPECT_EQ(move(oldFolder, path(u"absent/channel7")), -1);
  expectInvalidNewFolder();
}

TEST_F(BackupFolderMoveTest, TheJobFoldersNameIsTheSameInCapitals) {
  addTwoBackups();
  EXPECT_EQ(move(oldFolder, path(u"absent/zelmoraTEVRA_TMP")), -1);
  expectInvalidNewFolder();
}

TEST_F(BackupFolderMoveTest, NamesThatOnlyEndInThoseOfTemporaryFoldersAreFoldersLikeOthers) {
  addTwoBackups();
  WideText from = oldFolder;
  for (const WideText& to : {path(u"myZELMORATevra_tmp"), path(u"myTevra_131284_tmp")}) {
    makeFolder(to);
    EXPECT_EQ(move(from, to), 0);
    from = to;
  }
}

TEST_F(BackupFolderMoveTest, ANewFolderThatAProbeWouldRemoveIs1054) {
  addTwoBackups();
  backupRootFolder = path(u"root");
  makeFolder(path(u"root/Tevra_131284_tmp/sub"));
  makeFolder(path(u"backups/Tevra_131284_tmp/sub"));
  makeFolder(path(u"x/TEVRA_131284_TMP/sub"));
  link("backups/Tevra_131284_tmp/sub", "link");
  link("root/Tevra_131284_tmp", "linkOfRoot");
  const Tree before = treeAt("backups");
  for (const WideText& to : {path(u"backups/Tevra_131284_tmp"), path(u"backups\\Tevra_131284_tmp\\sub"),
                             path(u"x/TEVRA_131284_TMP/sub"), path(u"absent/tevra_131284_TMP"), path(u"link"),
                             path(u"linkOfRoot")}) {
    EXPECT_EQ(move(oldFolder, to), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("backups"), before);
  }
}

TEST_F(BackupFolderMoveTest, AnOldFolderInTheNewOnesProbeIs1054AndKept) {
  fs::remove(folder.native() / "backups");
  addBackup("../new/Tevra_131284_tmp", {{"a", "a"}});
  addBackup("../new/Tevra_131284_tmp/Alps", {{"a", "a"}});
  link("new/Tevra_131284_tmp", "link");
  const Tree before = treeAt("new");
  for (const WideText& from : {path(u"new/Tevra_131284_tmp"), path(u"new/Tevra_131284_tmp/Alps"),
                               path(u"link"), path(u"link/Alps")}) {
    EXPECT_EQ(move(from, newFolder), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("new"), before);
  }
}

TEST_F(BackupFolderMoveTest, AProbeThatIsALinkToTheOldFolderIs1054) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  for (const char* target : {"..", "../backups"}) {
    link(target, "new/Tevra_131284_tmp");
    EXPECT_EQ(move(), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("backups"), before);
    fs::remove(folder.native() / "new/Tevra_131284_tmp");
  }
}

TEST_F(BackupFolderMoveTest, OtherFoldersOfTheJobInTheProbeAreKeptToo) {
  addTwoBackups();
  writeFile(path(u"new/Tevra_131284_tmp/root/Alps/Alps.xml"), "x");
  const Tree before = treeAt("new");
  for (WideText* held : {&backupRootFolder, &workTempFolder}) {
    const WideText previous = *held;
    *held = path(u"new/Tevra_131284_tmp/root");
    EXPECT_EQ(move(), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("new"), before);
    *held = previous;
  }
}

TEST_F(BackupFolderMoveTest, LaterCommandsOfTheJobFindTheBackupsInTheNewPlace) {
  addTwoBackups();
  link("backups", "link");
  backupRootFolder = path(u"link");
  EXPECT_EQ(move(oldFolder, path(u"absent")), -1);
  EXPECT_EQ(backupRootFolder, path(u"link"));
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(backupRootFolder, newFolder);
}

TEST_F(BackupFolderMoveTest, AMoveOfOtherBackupsLeavesTheJobsBackupFolder) {
  addTwoBackups();
  backupRootFolder = path(u"root");
  makeFolder(backupRootFolder);
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(backupRootFolder, path(u"root"));
}

TEST_F(BackupFolderMoveTest, ALinkIntoTheTemporaryFolderIs1054) {
  addTwoBackups();
  makeFolder(path(u"temp/ZELMORATevra_tmp/sub"));
  link("temp/ZELMORATevra_tmp/sub", "link");
  EXPECT_EQ(move(oldFolder, path(u"link")), -1);
  expectInvalidNewFolder();
  EXPECT_TRUE(treeAt("temp/ZELMORATevra_tmp/sub").empty());
}

TEST_F(BackupFolderMoveTest, WhatSomebodyWasAboutToDeleteIsPassedOver) {
  addTwoBackups();
  writeFile(path(u"backups/Spain/.tevra_unfinished"), "");
  fs::remove(folder.native() / "backups/Spain/storage_for_content/spain.map");
  const Tree spain = treeAt("backups/Spain");
  startLog();
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("backups/Spain"), spain);
  EXPECT_FALSE(existsAt("new/Spain"));
  EXPECT_TRUE(existsAt("new/Alps/Alps.xml"));
  EXPECT_TRUE(
      logHas(u"Nothing that could be moved as a backup, the folder stays: " + oldFolder + u"\\Spain"));
}

TEST_F(BackupFolderMoveTest, AMissingOldFolderIs1012) {
  writeFile(path(u"file"), "f");
  for (const WideText& from : {path(u"absent"), path(u"file")}) {
    EXPECT_EQ(move(from, newFolder), -1);
    expectReport({u"1012", {u"109", u"The path provide for the old backup folder is not valid!"}});
  }
}

TEST_F(BackupFolderMoveTest, AMissingNewFolderIs1013AndIsNotMade) {
  writeFile(path(u"file"), "f");
  for (const WideText& to : {path(u"absent"), path(u"file")}) {
    EXPECT_EQ(move(oldFolder, to), -1);
    expectReport({u"1013", {u"109", u"The path provide for the new backup folder is not valid!"}, at(to)});
  }
  EXPECT_FALSE(existsAt("absent"));
}

TEST_F(BackupFolderMoveTest, ANewFolderThatTakesNoFolderIs1014) {
  addTwoBackups();
  platform::FixedVolumes volumes{{{u'N', path(u"new"), true, {}}}};
  platform::VolumeFileSystem disk{unsynced, volumes};
  useFileSystem(disk);
  EXPECT_EQ(move(oldFolder, u"N:\\"), -1);
  expectReport({u"1014", {u"100", u"The folder for the new backup is write protected!"}, at(u"N:/")});
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"N:");
}

TEST_F(BackupFolderMoveTest, WhateverBearsTheProbesNameInTheNewFolderGoes) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  writeFile(path(u"precious"), "p");
  makeFolder(path(u"elsewhere"));
  const std::vector<std::function<void()>> leftovers = {
      [this] { writeFile(path(u"new/Tevra_131284_tmp/Alps/x"), "x"); },
      [this] { writeFile(path(u"new/Tevra_131284_tmp"), "x"); },
      [this] { link("../elsewhere", "new/Tevra_131284_tmp"); },
      [this] { link("../precious", "new/Tevra_131284_tmp"); },
      [this] { link("nowhere", "new/Tevra_131284_tmp"); }};
  for (const auto& leave : leftovers) {
    leave();
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(treeAt("new"), before);
    EXPECT_EQ(readFile(path(u"precious")), "p");
    // The other way round for the next one.
    fs::rename(folder.native() / "new", folder.native() / "backups");
    makeFolder(newFolder);
  }
}

TEST_F(BackupFolderMoveTest, ADescriptionThatIsNoneIs1017To1019AndNothingIsMoved) {
  const struct {
    std::string description;
    Report report;
  } cases[] = {
      {"<Contents />", {u"1017", {u"100", u"Backup contents node could not be read!"}}},
      {"<BackupContents><backup /></BackupContents>",
       {u"1018", {u"100", u"Backup files node could not be read!"}}},
      {"<BackupContents><BackupFiles><File path=\"a\" /></BackupFiles></BackupContents>",
       {u"1019", {u"100", u"Files information could not be read!"}}},
      {"<BackupContents><BackupFiles><File size=\"1\" /></BackupFiles></BackupContents>",
       {u"1019", {u"100", u"Files information could not be read!"}}},
      {"<BackupContents><BackupFiles><File path=\"../Alps/Alps.xml\" size=\"1\" /></BackupFiles>"
       "</BackupContents>",
       {u"1019", {u"100", u"Files information could not be read!"}}},
      {"<BackupContents><BackupFiles><File path=\"/etc/passwd\" size=\"1\" /></BackupFiles>"
       "</BackupContents>",
       {u"1019", {u"100", u"Files information could not be read!"}}},
  };
  addTwoBackups();
  for (const auto& [description, report] : cases) {
    writeFile(path(u"backups/Odd/Odd.xml"), description);
    const Tree before = treeAt("backups");
    EXPECT_EQ(move(), -1);
    Report expected = report;
    expected.attributes = at(oldFolder + u"/Odd");
    expectReport(expected);
    EXPECT_EQ(treeAt("backups"), before);
    EXPECT_TRUE(treeAt("new").empty());
  }
}

TEST_F(BackupFolderMoveTest, AFolderWithoutALoadableDescriptionStaysAndTheOldFolderToo) {
  addTwoBackups();
  writeFile(path(u"backups/none/a"), "a");
  writeFile(path(u"backups/broken/broken.xml"), "<BackupContents");
  writeFile(path(u"backups/other/name.xml"), descriptionOf({}));
  makeFolder(path(u"backups/empty"));
  writeFile(path(u"backups/file"), "f");
  writeFile(path(u"elsewhere/outside.xml"), descriptionOf({}));
  link("../elsewhere", "backups/elsewhere");
  makeFolder(path(u"backups/outside"));
  link("../../elsewhere/outside.xml", "backups/outside/outside.xml");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("backups").count("Alps"), 0U);
  EXPECT_EQ(treeAt("backups").count("Spain"), 0U);
  for (const char* kept :
       {"none/a", "broken/broken.xml", "other/name.xml", "empty", "file", "elsewhere", "outside/outside.xml"})
    EXPECT_TRUE(existsAt(std::string("backups/") + kept)) << kept;
  for (const auto& [entry, content] : treeAt("new"))
    EXPECT_TRUE(entry.starts_with("Alps") || entry.starts_with("Spain")) << entry;
}

TEST_F(BackupFolderMoveTest, EveryFolderThatIsPassedOverIsLogged) {
  startLog();
  writeFile(path(u"backups/none/a"), "a");
  writeFile(path(u"backups/broken/broken.xml"), "<BackupContents");
  EXPECT_EQ(move(), 0);
  for (const WideText& name : {WideText(u"none"), WideText(u"broken")})
    EXPECT_TRUE(
        logHas(u"Nothing that could be moved as a backup, the folder stays: " + oldFolder + u'\\' + name));
}

TEST_F(BackupFolderMoveTest, ADescriptionMayHaveFourMillionTagsAndAttributes) {
  std::string text = descriptionOf({{"a", "a"}});
  const std::string::size_type place = text.find("<BackupFiles>");
  std::string tags;
  while (tags.size() < 4'400'000) tags += "<x/>";
  text.insert(place, tags);
  writeFile(path(u"backups/A/a"), "a");
  writeFile(path(u"backups/A/A.xml"), text);
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(readFile(newFolder + u"/A/a"), "a");
  EXPECT_FALSE(existsAt("backups"));
}

TEST_F(BackupFolderMoveTest, OfTwentyThousandListedFilesTheFirstMissingOneIsTold) {
  Contents files;
  for (int number = 0; number < 20'000; ++number) files["s/" + std::to_string(100'000 + number)] = "x";
  writeFile(path(u"backups/A/A.xml"), descriptionOf(files));
  writeFile(path(u"backups/A/s/100000"), "x");
  EXPECT_EQ(move(), -1);
  EXPECT_EQ(status().exitCode(), u"1024");
  EXPECT_EQ(status().attributes.at(u"FILE"), path(u"backups/A/s/100001"));
  EXPECT_TRUE(treeAt("new").empty());
}

TEST_F(BackupFolderMoveTest, AFileThatNoListNamesStaysWithItsFolders) {
  startLog();
  addTwoBackups();
  writeFile(path(u"backups/Alps/storage_for_software/notes/mine.txt"), "mine");
  link("../../new", "backups/Spain/link");
  makeFolder(path(u"backups/Spain/storage_for_content/empty/deep"));
  EXPECT_EQ(move(), 0);
  EXPECT_TRUE(fs::is_symlink(folder.native() / "backups/Spain/link"));
  fs::remove(folder.native() / "backups/Spain/link");
  EXPECT_EQ(treeAt("backups"), (Tree{{"Alps", "folder"},
                                     {"Alps/storage_for_software", "folder"},
                                     {"Alps/storage_for_software/notes", "folder"},
                                     {"Alps/storage_for_software/notes/mine.txt", md5Of("mine")},
                                     {"Spain", "folder"}}));
  EXPECT_FALSE(existsAt("new/Alps/storage_for_software/notes"));
  for (const WideText& name : {WideText(u"Alps"), WideText(u"Spain")})
    EXPECT_TRUE(logHas(u"Not all of a backup's folder could be removed: " + oldFolder + u'\\' + name));
}

TEST_F(BackupFolderMoveTest, SizesOfTheListThatAreWrongDoNotMatter) {
  for (const std::int64_t error : {-5, 5}) {
    addBackup("Alps", {{"storage_for_software/a", noise(10'000, 1)}}, error);
    const Tree before = treeAt("backups");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(treeAt("new"), before);
    fs::remove_all(folder.native() / "new");
    makeFolder(newFolder);
  }
}

TEST_F(BackupFolderMoveTest, OneFileUnderSeveralSpellingsIsMovedOnce) {
  writeFile(path(u"backups/A/storage_for_software/a"), "aaa");
  writeFile(path(u"backups/A/A.xml"), descriptionOf({{"storage_for_software/a", "aaa"},
                                                     {"storage_for_software\\a", "aaa"},
                                                     {"./storage_for_software//./a", "aaa"},
                                                     {"A.xml", ""}}));
  const Tree before = treeAt("backups");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("new"), before);
  EXPECT_FALSE(existsAt("backups"));
}

TEST_F(BackupFolderMoveTest, AnOldFolderThatCanNotBeReadIs1012) {
  class UnreadableFolder : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool list(const WideText&, std::vector<platform::FolderEntry>&, platform::ErrorCode& error) override {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  };
  addTwoBackups();
  UnreadableFolder unreadable(unsynced);
  useFileSystem(unreadable);
  EXPECT_EQ(move(), -1);
  expectReport({u"1012", {u"109", u"The path provide for the old backup folder is not valid!"}});
}

TEST_F(BackupFolderMoveTest, AnOldFolderBehindALinkIsEmptiedAndTheLinkStays) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  link("backups", "link");
  EXPECT_EQ(move(path(u"link"), newFolder), 0);
  EXPECT_EQ(treeAt("new"), before);
  EXPECT_TRUE(fs::is_symlink(folder.native() / "link"));
  EXPECT_TRUE(treeAt("backups").empty());
}

TEST_F(BackupFolderMoveTest, WhatBearsTheProbesNameInTheOldFolderIsNoBackup) {
  addBackup("Tevra_131284_tmp", {{"a", "a"}});
  addTwoBackups();
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(readFile(path(u"backups/Tevra_131284_tmp/a")), "a");
  EXPECT_FALSE(existsAt("new/Tevra_131284_tmp"));
}

TEST_F(BackupFolderMoveTest, FoldersOnOneDriveAreToldApartToo) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  makeFolder(path(u"backups/Spain/inner"));
  makeFolder(path(u"backups/sub"));
  platform::FixedVolumes volumes{{{u'N', path(u"backups"), false, {}}}};
  platform::VolumeFileSystem disk{unsynced, volumes};
  useFileSystem(disk);
  EXPECT_EQ(move(u"N:", u"n:\\"), -1);
  EXPECT_EQ(status().exitCode(), u"1011");
  EXPECT_EQ(move(u"N:\\", u"N:\\Spain\\inner"), -1);
  expectInvalidNewFolder();
  EXPECT_EQ(move(u"N:\\", u"N:\\sub"), 0);
  EXPECT_EQ(treeAt("backups/sub"), before);
  EXPECT_EQ(tree(oldFolder).at(0), "sub/");
}

TEST_F(BackupFolderMoveTest, ADescriptionThatIsCutOffAnywhereLosesNothing) {
  addBackup("A", {{"storage_for_software/a", "aaa"}, {"storage_for_content/b", "bb"}});
  const WideText description = path(u"backups/A/A.xml");
  const std::string whole = readFile(description);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeFile(description, whole.substr(0, length));
    const Tree before = treeAt("backups");
    // What can't be parsed stays behind. One "<" alone is a document for the parser, but none of a backup.
    EXPECT_EQ(move(), length == 1 ? -1 : 0) << length;
    EXPECT_EQ(status().exitCode(), length == 1 ? u"1017" : u"1010") << length;
    ASSERT_EQ(treeAt("backups"), before) << length;
    ASSERT_TRUE(treeAt("new").empty()) << length;
  }
}

TEST_F(BackupFolderMoveTest, ADescriptionWithAnyByteChangedLosesNoFile) {
  addBackup("A", {{"s/a", "aaa"}, {"c/b", "bb"}});
  const std::string whole = readFile(path(u"backups/A/A.xml"));
  for (std::size_t place = 0; place < whole.size(); ++place) {
    for (const char flip : {'\x01', '\x20'}) {
      std::string damaged = whole;
      damaged[place] = static_cast<char>(damaged[place] ^ flip);
      fs::remove_all(folder.native() / "backups");
      fs::remove_all(folder.native() / "new");
      writeFile(path(u"backups/A/s/a"), "aaa");
      writeFile(path(u"backups/A/c/b"), "bb");
      writeFile(path(u"backups/A/A.xml"), damaged);
      makeFolder(newFolder);
      const Tree before = treeAt("backups");
      const bool moved = move() == 0;
      Tree found = existsAt("backups") ? treeAt("backups") : Tree();
      if (moved) found.merge(treeAt("new"));
      ASSERT_EQ(found, before) << place;
    }
  }
}

// A machine whose new place, N:, has a capacity.
class BackupFolderMoveRoomTest : public BackupFolderMoveTest {
 protected:
  BackupFolderMoveRoomTest() {
    addTwoBackups();
    need = 3'500'000 + 10 + 1'100'000 + 18 + readFile(path(u"backups/Alps/Alps.xml")).size() +
           readFile(path(u"backups/Spain/Spain.xml")).size();
    useFileSystem(disk);
  }
  void giveRoom(std::uint64_t bytes) { volumes.set({{u'N', path(u"new"), false, bytes}}); }

  platform::FixedVolumes volumes{{}};
  platform::VolumeFileSystem disk{unsynced, volumes};
  std::uint64_t need = 0;
};

TEST_F(BackupFolderMoveRoomTest, FreeBytesEqualToTheNeedSuffice) {
  giveRoom(need);
  const Tree before = treeAt("backups");
  EXPECT_EQ(move(oldFolder, u"N:"), 0);
  EXPECT_EQ(treeAt("new"), before);
}

TEST_F(BackupFolderMoveRoomTest, OneByteLessIs1022) {
  giveRoom(need - 1);
  const Tree before = treeAt("backups");
  EXPECT_EQ(move(oldFolder, u"N:\\"), -1);
  expectReport({u"1022",
                {u"104", u"You have not enough space to move the old backup folder to the new one!"},
                at(u"N:/")});
  EXPECT_EQ(treeAt("backups"), before);
  EXPECT_TRUE(treeAt("new").empty());
}

TEST_F(BackupFolderMoveRoomTest, SizesThatNoDiskHasAre1022Too) {
  giveRoom(need * 2);
  writeFile(path(u"backups/Huge/Huge.xml"),
            "<BackupContents><BackupFiles><File path=\"a\" size=\"9223372036854775807\" />"
            "<File path=\"b\" size=\"9223372036854775807\" /><File path=\"c\" size=\"9223372036854775807\" />"
            "</BackupFiles></BackupContents>");
  EXPECT_EQ(move(oldFolder, u"N:"), -1);
  EXPECT_EQ(status().exitCode(), u"1022");
}

TEST_F(BackupFolderMoveTest, AListedFileThatIsNotThereIs1024) {
  addTwoBackups();
  fs::remove(folder.native() / "backups/Spain/storage_for_content/spain.map");
  const Tree before = treeAt("backups");
  writeFile(path(u"new/own"), "o");
  EXPECT_EQ(move(), -1);
  expectReport({u"1024",
                {u"100", u"The source file could not be opened!"},
                {{u"FILE", path(u"backups/Spain/storage_for_content/spain.map")}}});
  EXPECT_EQ(treeAt("backups"), before);
  EXPECT_EQ(treeAt("new"), (Tree{{"own", md5Of("o")}}));
}

TEST_F(BackupFolderMoveTest, AListedFileBehindALinkCountsAsMissing) {
  writeFile(path(u"secret/key"), "k");
  for (const bool isFolder : {false, true}) {
    writeFile(path(u"backups/A/A.xml"), descriptionOf({{"s/key", "k"}}));
    if (isFolder) {
      link("../../secret", "backups/A/s");
    } else {
      makeFolder(path(u"backups/A/s"));
      link("../../../secret/key", "backups/A/s/key");
    }
    EXPECT_EQ(move(), -1);
    EXPECT_EQ(status().exitCode(), u"1024");
    EXPECT_EQ(readFile(path(u"secret/key")), "k");
    EXPECT_TRUE(treeAt("new").empty());
    fs::remove_all(folder.native() / "backups/A");
  }
}

TEST_F(BackupFolderMoveTest, AnotherBackupUnderTheNameInTheNewFolderIs1054AndKept) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  const std::vector<std::function<void()>> others = {
      [this] { writeFile(path(u"new/Spain/Spain.xml"), descriptionOf({})); },
      [this] { writeFile(path(u"new/Spain/a"), "a"); },
      [this] { makeFolder(path(u"new/Spain")); },
      [this] { writeFile(path(u"new/Spain"), "file"); },
      [this] { link("nowhere", "new/Spain"); },
      [this] { link("../backups/Spain", "new/Spain"); },
      [this] {
        // The same description, and one file that differs in a byte.
        fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain",
                 fs::copy_options::recursive);
        writeFile(path(u"new/Spain/storage_for_software/ZELMORA/version.xml"), "<config>3</config>");
      },
      [this] {
        fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain",
                 fs::copy_options::recursive);
        fs::remove(folder.native() / "new/Spain/storage_for_content/spain.map");
      },
      [this] {
        fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain",
                 fs::copy_options::recursive);
        fs::remove(folder.native() / "new/Spain/storage_for_content/spain.map");
        link("../../../backups/Spain/storage_for_content/spain.map",
             "new/Spain/storage_for_content/spain.map");
      }};
  for (const auto& place : others) {
    place();
    const Tree there = treeAt("new");
    EXPECT_EQ(move(), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("backups"), before);
    EXPECT_EQ(treeAt("new"), there);
    fs::remove_all(folder.native() / "new/Spain");
  }
  EXPECT_EQ(move(), 0);
}

TEST_F(BackupFolderMoveTest, ABackupOfWhichAWholeCopyIsThereIsOnlyTakenFromTheOldFolder) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain", fs::copy_options::recursive);
  fs::remove(folder.native() / "backups/Spain/storage_for_content/spain.map");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("new"), before);
  EXPECT_FALSE(existsAt("backups"));
}

TEST_F(BackupFolderMoveTest, WhatIsLeftOfARemovedBackupGoesWithTheNextMove) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain", fs::copy_options::recursive);
  // As a job leaves it that was cut off while it removed.
  fs::remove(folder.native() / "backups/Spain/Spain.xml");
  fs::remove(folder.native() / "backups/Spain/storage_for_software/ZELMORA/version.xml");
  writeFile(path(u"backups/Spain/storage_for_content/mine"), "m");
  EXPECT_EQ(move(), 0);
  EXPECT_EQ(treeAt("new"), before);
  EXPECT_EQ(treeAt("backups"), (Tree{{"Spain", "folder"},
                                     {"Spain/storage_for_content", "folder"},
                                     {"Spain/storage_for_content/mine", md5Of("m")}}));
}

TEST_F(BackupFolderMoveTest, AFolderWithoutADescriptionThatIsNotWhatTheBackupOfItsNameWasStays) {
  addTwoBackups();
  fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain", fs::copy_options::recursive);
  fs::remove(folder.native() / "backups/Spain/Spain.xml");
  const std::vector<std::function<void()>> differences = {
      [this] { writeFile(path(u"backups/Spain/storage_for_content/spain.map"), "another"); },
      [this] { writeFile(path(u"new/Spain/Spain.xml"), "<BackupContents />"); },
      [this] { writeFile(path(u"new/Spain/Spain.xml"), "<BackupCon"); }};
  for (const auto& makeDifferent : differences) {
    makeDifferent();
    const Tree old = treeAt("backups/Spain");
    const Tree there = treeAt("new/Spain");
    EXPECT_EQ(move(), 0);
    EXPECT_EQ(treeAt("backups/Spain"), old);
    EXPECT_EQ(treeAt("new/Spain"), there);
  }
}

TEST_F(BackupFolderMoveTest, AnAbortWhileCopiesAreComparedEndsTheJob) {
  class OpenedFiles : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (path.ends_with(u"alps.map")) atMap();
      openedLater = openedLater || path.ends_with(u"spain.map");
      return target().open(path, mode, error);
    }
    std::function<void()> atMap;
    bool openedLater = false;
  };
  addTwoBackups();
  fs::copy(folder.native() / "backups", folder.native() / "new", fs::copy_options::recursive);
  const Tree before = treeAt("backups");
  OpenedFiles opened(unsynced);
  opened.atMap = [this] { requestAbort(); };
  useFileSystem(opened);
  EXPECT_EQ(move(), -1);
  useFileSystem(unsynced);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_FALSE(opened.openedLater);
  EXPECT_EQ(treeAt("backups"), before);
  EXPECT_EQ(treeAt("new"), before);
}

TEST_F(BackupFolderMoveTest, ARollbackLeavesTheCopyThatWasThere) {
  addTwoBackups();
  fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain", fs::copy_options::recursive);
  const Tree before = treeAt("backups");
  const Tree there = treeAt("new");
  fs::remove(folder.native() / "backups/Alps/storage_for_software/empty");
  EXPECT_EQ(move(), -1);
  EXPECT_EQ(status().exitCode(), u"1024");
  EXPECT_EQ(treeAt("new"), there);
  writeFile(path(u"backups/Alps/storage_for_software/empty"), "");
  EXPECT_EQ(treeAt("backups"), before);
}

TEST_F(BackupFolderMoveTest, ANewFolderWithinTheOldOneTakesTheBackups) {
  addTwoBackups();
  const Tree before = treeAt("backups");
  makeFolder(path(u"backups/deep/new"));
  link("backups/deep", "link");
  EXPECT_EQ(move(oldFolder, path(u"link/new")), 0);
  EXPECT_EQ(treeAt("backups/deep/new"), before);
  EXPECT_EQ(tree(oldFolder).at(0), "deep/");
  // And back again: the old folder lies in the new one.
  EXPECT_EQ(move(path(u"backups/deep/new"), oldFolder), 0);
  fs::remove(folder.native() / "backups/deep");
  EXPECT_EQ(treeAt("backups"), before);
}

TEST_F(BackupFolderMoveTest, ANewFolderWithinABackupThatIsToGoIs1054) {
  addTwoBackups();
  makeFolder(path(u"backups/Spain/inner"));
  link("backups/Spain/inner", "link");
  const Tree before = treeAt("backups");
  for (const WideText& to :
       {path(u"backups/Spain"), path(u"backups/Alps/storage_for_software"), path(u"link")}) {
    EXPECT_EQ(move(oldFolder, to), -1);
    expectInvalidNewFolder();
    EXPECT_EQ(treeAt("backups"), before);
  }
}

// Below the new folder upper and lower case are the same.
class CaselessFileSystem : public platform::ForwardingFileSystem {
 public:
  CaselessFileSystem(platform::FileSystem& target, WideText folder)
      : ForwardingFileSystem(target), folder_(toBackslashes(std::move(folder))) {}

  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    return target().kind(folded(path), error);
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    return target().open(folded(path), mode, error);
  }
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    return target().fileSize(folded(path), error);
  }
  bool createFolder(const WideText& path, platform::ErrorCode& error) override {
    return target().createFolder(folded(path), error);
  }
  bool removeFolder(const WideText& path, platform::ErrorCode& error) override {
    return target().removeFolder(folded(path), error);
  }
  bool list(const WideText& path, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    return target().list(folded(path), entries, error);
  }
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    return target().removeFile(folded(path), error);
  }

 private:
  [[nodiscard]] WideText folded(const WideText& path) const {
    if (!toBackslashes(path).starts_with(folder_)) return path;
    return path.substr(0, folder_.size()) + toUpperAscii(path.substr(folder_.size()));
  }

  WideText folder_;
};

TEST_F(BackupFolderMoveTest, NamesThatBecomeOneInTheNewPlaceAre1025AndNothingIsLost) {
  CaselessFileSystem caseless(unsynced, newFolder);
  for (const bool inOneBackup : {false, true}) {
    if (inOneBackup) {
      addBackup("Alps", {{"s/a", "small"}, {"s/A", "capital"}});
    } else {
      addBackup("Alps", {{"s/a", "a"}});
      addBackup("ALPS", {{"s/b", "b"}});
    }
    const Tree before = treeAt("backups");
    useFileSystem(caseless);
    EXPECT_EQ(move(), -1);
    useFileSystem(unsynced);
    expectReport({u"1025", {u"100", u"The destination file could not be created!"}});
    EXPECT_EQ(treeAt("backups"), before);
    EXPECT_TRUE(treeAt("new").empty());
    fs::remove_all(folder.native() / "backups");
    makeFolder(oldFolder);
  }
}

// What may happen to a move, and what it leaves.
class BackupFolderMoveFaultTest : public BackupFolderMoveTest {
 protected:
  BackupFolderMoveFaultTest() {
    addBackup("Alps", {{"storage_for_software/ZELMORA/alps.map", noise(3'000, 1)},
                       {"storage_for_software/empty", ""}});
    addBackup("Spain", {{"storage_for_software\\ZELMORA\\version.xml", "<config />"},
                        {"storage_for_software\\a", "a"},
                        {"storage_for_content\\b\\c", "c"}});
    fs::copy(folder.native() / "backups", folder.native() / "kept", fs::copy_options::recursive);
    before = treeAt("backups");
    reset();
    old = treeAt("backups");
    there = treeAt("new");
  }
  void reset() {
    fs::remove_all(folder.native() / "backups");
    fs::remove_all(folder.native() / "new");
    fs::copy(folder.native() / "kept", folder.native() / "backups", fs::copy_options::recursive);
    // These stay.
    writeFile(path(u"backups/Alps/storage_for_software/mine.txt"), "mine");
    writeFile(path(u"backups/notes/Alps/Alps.xml"), "notes");
    writeFile(path(u"new/Other/Other.xml"), descriptionOf({}));
    writeFile(path(u"new/own.txt"), "own");
    StatusXml::destroy();
    fs::remove(folder.native() / "tmp/ZELMORATevra_tmp/ud_backup_tests_abort.xml");
  }
  void expectUntouched(int operation) {
    ASSERT_EQ(treeAt("backups"), old) << operation;
    ASSERT_EQ(treeAt("new"), there) << operation;
  }
  void expectForeignFilesKept(int operation) {
    Tree left = treeAt("backups");
    for (const auto& [entry, content] : old)
      ASSERT_TRUE(before.count(entry) != 0 || left[entry] == content) << entry << ' ' << operation;
  }
  // What bears a description is whole, in either place, and one of the two is there.
  void expectWholeBackups(int operation) {
    expectForeignFilesKept(operation);
    for (const std::string name : {"Alps", "Spain"}) {
      bool isSomewhere = false;
      for (const std::string root : {"backups", "new"}) {
        ASSERT_TRUE(!existsAt(root + '/' + name + '/' + name + ".xml") || isWholeIn(root, name))
            << root << ' ' << name << ' ' << operation;
        isSomewhere = isSomewhere || isWholeIn(root, name);
      }
      ASSERT_TRUE(isSomewhere) << name << ' ' << operation;
      // In the new place no half backup bears a name, with a description or without.
      ASSERT_TRUE(!existsAt("new/" + name) || isWholeIn("new", name)) << name << ' ' << operation;
    }
  }
  void expectMoved(int operation) {
    Tree expected = there;
    expected.insert(before.begin(), before.end());
    Tree found = treeAt("new");
    // Empty, or the sets differ in what is in it.
    found.erase("Tevra_131284_tmp");
    ASSERT_EQ(found, expected) << operation;
    expectForeignFilesKept(operation);
  }
  void expectOnlyForeignFilesInOld(int operation) {
    for (const auto& [entry, content] : treeAt("backups"))
      ASSERT_TRUE(content == "folder" || before.count(entry) == 0) << entry << ' ' << operation;
  }
  // Whether all of a backup stands below a folder.
  [[nodiscard]] bool isWholeIn(const std::string& root, const std::string& name) const {
    const Tree found = existsAt(root) ? treeAt(root) : Tree();
    for (const auto& [entry, content] : before) {
      if (!entry.starts_with(name + "/")) continue;
      const auto file = found.find(entry);
      if (file == found.end() || file->second != content) return false;
    }
    return true;
  }

  // Whether a named operation is the one that is to go wrong; from it on the others count as those of the
  // way back.
  struct Trouble {
    std::string operation;
    int which;
  };
  const std::vector<Trouble> troubles = {{"syncFolder", 1}, {"rename", 2}};
  // Makes an operation fail, and does something before the chosen one behind it. Gives the number of that.
  static std::function<int()> troubled(FaultyFileSystem& faulty, const Trouble& trouble, int behind,
                                       const std::function<void(int)>& act) {
    auto failed = std::make_shared<int>(0);
    faulty.before = [&faulty, trouble, behind, act, failed, seen = 0](int number,
                                                                      const std::string& operation) mutable {
      if (*failed == 0 && operation == trouble.operation && ++seen == trouble.which)
        faulty.failAt = *failed = number;
      else if (*failed != 0 && number == *failed + behind)
        act(number);
    };
    return [failed, behind] { return *failed + behind; };
  }

  Tree before;  // the backups alone
  Tree old;     // with what doesn't belong to them
  Tree there;
};

TEST_F(BackupFolderMoveFaultTest, ATakenBackBackupIsWholeOrHasNoNameAtAnyKill) {
  for (const Trouble& trouble : troubles) {
    for (int killAt = 1;; ++killAt) {
      ASSERT_LT(killAt, 100);
      reset();
      const bool ended = runsToItsEnd([&] {
        FaultyFileSystem faulty(unsynced);
        const auto last = troubled(faulty, trouble, killAt, [](int) { dieHere(); });
        static_cast<void>(moveWatched(faulty));
        if (faulty.count >= last()) dieHere();
      });
      ASSERT_EQ(treeAt("backups"), old) << trouble.operation << ' ' << killAt;
      expectWholeBackups(killAt);
      if (ended) break;
      ASSERT_EQ(move(), 0) << trouble.operation << ' ' << killAt;
      expectMoved(killAt);
    }
  }
}

TEST_F(BackupFolderMoveFaultTest, ATakenBackBackupIsWholeOrHasNoNameAtAnyFailure) {
  for (const Trouble& trouble : troubles) {
    for (int failAt = 1;; ++failAt) {
      ASSERT_LT(failAt, 100);
      reset();
      FaultyFileSystem faulty(unsynced);
      const auto last = troubled(faulty, trouble, failAt, [&](int number) { faulty.failAt = number; });
      EXPECT_EQ(moveWatched(faulty), -1);
      ASSERT_EQ(treeAt("backups"), old) << trouble.operation << ' ' << failAt;
      expectWholeBackups(failAt);
      if (faulty.count < last()) {
        expectUntouched(failAt);
        break;
      }
      ASSERT_EQ(move(), 0) << trouble.operation << ' ' << failAt;
      expectMoved(failAt);
    }
  }
}

TEST_F(BackupFolderMoveFaultTest, ACopyInPlaceThatSomebodyTakesAwayKeepsTheOldFiles) {
  fs::copy(folder.native() / "backups/Spain", folder.native() / "new/Spain", fs::copy_options::recursive);
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation == "syncFolder") fs::remove(folder.native() / "new/Spain/storage_for_software/a");
  };
  EXPECT_EQ(moveWatched(watched), -1);
  EXPECT_EQ(status().exitCode(), u"1026");
  EXPECT_EQ(treeAt("backups"), old);
  EXPECT_FALSE(existsAt("new/Alps"));
}

TEST_F(BackupFolderMoveFaultTest, AnOriginalThatChangesBehindItsCopyIs1026AndKept) {
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation == "syncFolder") writeFile(path(u"backups/Spain/storage_for_software/a"), "longer");
  };
  EXPECT_EQ(moveWatched(watched), -1);
  EXPECT_EQ(status().exitCode(), u"1026");
  EXPECT_EQ(readFile(path(u"backups/Spain/storage_for_software/a")), "longer");
  EXPECT_EQ(treeAt("new"), there);
}

TEST_F(BackupFolderMoveFaultTest, AnOldPlaceThatIsPulledBehindTheCopyKeepsTheCopies) {
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation == "syncFolder" && existsAt("backups"))
      fs::rename(folder.native() / "backups", folder.native() / "pulled");
  };
  EXPECT_EQ(moveWatched(watched), -1);
  expectReport({u"1026", {u"100", u"An error occurred at the copy process!"}});
  for (const char* name : {"Alps", "Spain"}) EXPECT_TRUE(isWholeIn("new", name));
  EXPECT_FALSE(existsAt("backups"));
  fs::rename(folder.native() / "pulled", folder.native() / "backups");
  EXPECT_EQ(treeAt("backups"), old);
  EXPECT_EQ(move(), 0);
  expectMoved(0);
  expectOnlyForeignFilesInOld(0);
}

TEST_F(BackupFolderMoveFaultTest, AnOldPlaceThatGivesNoAnswerBehindTheCopyKeepsTheCopies) {
  class SilentFolder : public platform::ForwardingFileSystem {
   public:
    SilentFolder(platform::FileSystem& target, WideText folder)
        : ForwardingFileSystem(target), folder_(toBackslashes(std::move(folder))) {}
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      if (!isSilentAt(path)) return target().kind(path, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return platform::EntryKind::missing;
    }
    std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
      if (!isSilentAt(path)) return target().fileSize(path, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return -1;
    }
    bool syncFolder(const WideText& path, platform::ErrorCode& error) override {
      isSilent = true;
      return target().syncFolder(path, error);
    }

   private:
    [[nodiscard]] bool isSilentAt(const WideText& path) const {
      return isSilent && toBackslashes(path).starts_with(folder_);
    }

    bool isSilent = false;
    WideText folder_;
  };
  // The folder itself, or one backup's alone.
  for (const WideText& silentOne : {oldFolder, oldFolder + u"/Spain"}) {
    reset();
    SilentFolder silent(unsynced, silentOne);
    useFileSystem(silent);
    EXPECT_EQ(move(), -1);
    useFileSystem(unsynced);
    expectReport({u"1026", {u"100", u"An error occurred at the copy process!"}});
    EXPECT_TRUE(isWholeIn("new", "Spain"));
    EXPECT_EQ(treeAt("backups"), old);
    EXPECT_EQ(move(), 0);
    expectMoved(0);
  }
}

TEST_F(BackupFolderMoveFaultTest, ACopyWhoseOriginalSomebodyRemovesIsNotTakenBack) {
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation != "syncFolder") return;
    fs::remove(folder.native() / "backups/Spain/storage_for_software/a");
    fs::remove(folder.native() / "new/Alps/Alps.xml");
  };
  EXPECT_EQ(moveWatched(watched), -1);
  EXPECT_TRUE(isWholeIn("backups", "Alps"));
  EXPECT_TRUE(isWholeIn("new", "Spain"));
  EXPECT_FALSE(existsAt("new/Alps"));
}

TEST_F(BackupFolderMoveFaultTest, APlaceThatFillsUpInTheSecondBackupIs1026AndHoldsNothingOfTheFirst) {
  FaultyFileSystem faulty(unsynced);
  faulty.before = [&](int number, const std::string& operation) {
    if (faulty.failAt == 0 && operation == "write" && existsAt("new/Tevra_131284_tmp/Spain"))
      faulty.failAt = number;
  };
  EXPECT_EQ(moveWatched(faulty), -1);
  EXPECT_GT(faulty.failAt, 0);
  expectReport({u"1026", {u"100", u"An error occurred at the copy process!"}});
  expectUntouched(0);
}

TEST_F(BackupFolderMoveFaultTest, AfterAFailureAtAnyOperationEverythingIsAsItWasOrMoved) {
  std::map<WideText, int> codes;
  for (int failAt = 1;; ++failAt) {
    ASSERT_LT(failAt, 1'000);
    reset();
    FaultyFileSystem faulty(unsynced);
    faulty.failAt = failAt;
    const int result = moveWatched(faulty);
    if (faulty.count < failAt) break;
    if (result == 0) {
      // What couldn't be removed in the old folder stays there, or the status could not be saved once.
      expectMoved(failAt);
      expectWholeBackups(failAt);
    } else {
      expectUntouched(failAt);
      ++codes[status().exitCode()];
    }
  }
  EXPECT_EQ(codes.count(u"1014"), 1U);
  EXPECT_GT(codes[u"1025"], 5);
  EXPECT_GT(codes[u"1026"], 5);
  EXPECT_EQ(codes.size(), 3U);
}

TEST_F(BackupFolderMoveFaultTest, ANewPlaceThatGoesAtAnyOperationLosesNothing) {
  for (int failAt = 1;; ++failAt) {
    ASSERT_LT(failAt, 1'000);
    reset();
    FaultyFileSystem faulty(unsynced);
    faulty.failAt = failAt;
    faulty.failAllAfter = true;
    const int result = moveWatched(faulty);
    if (faulty.count < failAt) break;
    expectWholeBackups(failAt);
    for (const char* name : {"Alps", "Spain"})
      ASSERT_TRUE(isWholeIn(result == 0 ? "new" : "backups", name)) << failAt;
    // The next move finishes it.
    ASSERT_EQ(move(), 0) << failAt;
    expectMoved(failAt);
    expectOnlyForeignFilesInOld(failAt);
  }
}

TEST_F(BackupFolderMoveFaultTest, AfterAKillAtAnyOperationTheNextMoveFinishes) {
  for (int killAt = 1;; ++killAt) {
    ASSERT_LT(killAt, 1'000);
    reset();
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem killing(unsynced);
      killing.before = [killAt](int number, const std::string&) {
        if (number == killAt) dieHere();
      };
      if (moveWatched(killing) != 0) dieHere();
    });
    expectWholeBackups(killAt);
    if (ended) break;
    // Of what is left in the old folder no backup is made.
    backupRootFolder = oldFolder;
    ASSERT_EQ(convertBackups(), 0) << killAt;
    expectWholeBackups(killAt);
    ASSERT_EQ(move(), 0) << killAt;
    expectMoved(killAt);
    expectOnlyForeignFilesInOld(killAt);
  }
}

TEST_F(BackupFolderMoveFaultTest, AnAbortAtAnyOperationOfTheCopyTakesEverythingBack) {
  int aborted = 0;
  for (int abortAt = 1;; ++abortAt) {
    ASSERT_LT(abortAt, 1'000);
    reset();
    FaultyFileSystem watched(unsynced);
    watched.before = [&](int number, const std::string&) {
      if (number == abortAt) requestAbort();
    };
    const int result = moveWatched(watched);
    if (watched.count < abortAt) break;
    if (result == 0) {
      expectMoved(abortAt);
      continue;
    }
    ++aborted;
    expectUntouched(abortAt);
    const SavedStatus saved = status();
    ASSERT_EQ(saved.state, 8);
    ASSERT_EQ(saved.exitCode(), u"1020");
    ASSERT_EQ(saved.descriptions.size(), 5U);
  }
  EXPECT_GT(aborted, 20);
}

TEST_F(BackupFolderMoveFaultTest, ADiskThatTellsOnlyAtTheEndThatItKeptNothingIs1026) {
  for (const WideView late : {u"alps.map", u"Spain.xml"}) {
    reset();
    FaultyFileSystem faulty(unsynced);
    faulty.failsToClose = [late](const WideText& path) {
      return path.find(u"Tevra_131284_tmp") != WideText::npos && path.ends_with(late);
    };
    EXPECT_EQ(moveWatched(faulty), -1);
    expectReport({u"1026", {u"100", u"An error occurred at the copy process!"}});
    expectUntouched(0);
  }
}

TEST_F(BackupFolderMoveFaultTest, NothingOldGoesBeforeTheNewPlaceHasEverythingOnItsMedium) {
  std::vector<std::string> order;
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation.starts_with("sync")) {
      EXPECT_EQ(existsAt("new/Alps"), operation == "syncFolder");
      EXPECT_EQ(existsAt("new/Spain"), operation == "syncFolder");
      order.push_back(operation);
    } else if (order.size() < 2) {
      EXPECT_EQ(treeAt("backups"), old);
    }
  };
  EXPECT_EQ(moveWatched(watched), 0);
  // The last two: of each backup nothing goes before its description.
  EXPECT_THAT(order, ElementsAre("syncVolume", "syncFolder", "syncFolder", "syncFolder"));
}

TEST_F(BackupFolderMoveFaultTest, ACopyThatSomebodyTakesAwayKeepsTheOldFiles) {
  FaultyFileSystem watched(unsynced);
  watched.before = [&](int, const std::string& operation) {
    if (operation == "syncFolder") fs::remove(folder.native() / "new/Spain/storage_for_software/a");
  };
  EXPECT_EQ(moveWatched(watched), -1);
  EXPECT_EQ(status().exitCode(), u"1026");
  expectUntouched(0);
}

TEST_F(BackupFolderMoveFaultTest, BetweenTwoVolumesItWorksAndAVolumeThatFillsUpIs1026) {
  const SmallVolume volume(folder.native() / "new", 1'000'000);
  if (!volume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  writeFile(path(u"backups/Alps/storage_for_software/ZELMORA/alps.map"), noise(1'100'000, 1));
  // The list knows too small a size, so that the room looks enough.
  writeFile(path(u"backups/Alps/Alps.xml"),
            "<BackupContents><BackupFiles><File path=\"storage_for_software/ZELMORA/alps.map\" size=\"1\" />"
            "</BackupFiles></BackupContents>");
  const Tree unmoved = treeAt("backups");
  EXPECT_EQ(move(), -1);
  EXPECT_EQ(status().exitCode(), u"1026");
  EXPECT_EQ(treeAt("backups"), unmoved);
  EXPECT_TRUE(treeAt("new").empty());
  fs::remove_all(folder.native() / "backups/Alps");
  EXPECT_EQ(move(), 0);
  EXPECT_TRUE(isWholeIn("new", "Spain"));
  EXPECT_FALSE(existsAt("backups/Spain"));
}

}  // namespace
}  // namespace ZelmoraTevra
