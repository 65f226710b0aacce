#include <algorithm>
#include <optional>

#include "backup/BackupFolder.h"
#include "backup/BackupJob.h"
#include "backup/ConvertBackupsRunner.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/backup/BackupTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/KillLoop.h"
#include "tests/support/SmallVolume.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {
namespace {

// Tells of a number of free bytes.
class FreeSpace : public platform::ForwardingFileSystem {
 public:
  FreeSpace(platform::FileSystem& target, std::uint64_t free) : ForwardingFileSystem(target), free_(free) {}

  bool space(const WideText&, platform::Space& space, platform::ErrorCode& error) override {
    space = {1 << 30, free_, free_};
    error.clear();
    return true;
  }

 private:
  std::uint64_t free_;
};

// Doesn't remove the version file of a backup, as if another program had it open.
class HeldVersionFile : public platform::ForwardingFileSystem {
 public:
  HeldVersionFile(platform::FileSystem& target, WideText backup)
      : ForwardingFileSystem(target), backup_(std::move(backup)) {}

  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (!path.ends_with(u"version.xml") || path.find(backup_) == WideText::npos)
      return target().removeFile(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::device_or_resource_busy);
    return false;
  }

 private:
  WideText backup_;
};

class BackupJobTest : public BackupTest {
 protected:
  BackupJobTest() {
    writeFile(flash + u"/ZELMORA/map/a.map", "flash map");
    writeFile(flash + u"/empty", "");
    writeFile(card + u"/content/b.map", "card map");
  }

  // A whole job; the code of its failure.
  int make(const WideText& name = u"mine", bool personal = false) {
    BackupJob job;
    const int failure = job.prepareBackup(flash, name, card, personal);
    return failure != 0 ? failure : job.runBackup();
  }
  void expectRefused(int result, const WideText& exitCode, const WideText& message,
                     std::map<WideText, WideText> extras = {}) const {
    EXPECT_EQ(result, -1);
    expectFailure(exitCode, {u"100", message}, std::move(extras));
  }
  // Whether the folder holds a whole backup of the device as it is.
  [[nodiscard]] bool isNewBackup(const WideText& folder, const WideText& name = u"mine") const {
    BackupDescription description;
    return findBackupIdentity(folder, name, description) &&
           readFile(folder + u"/storage_for_software/ZELMORA/map/a.map") == "flash map" &&
           readFile(folder + u"/storage_for_software/ZELMORA/version.xml") == versionFile("100", "200") &&
           readFile(folder + u"/storage_for_software/empty").empty() &&
           readFile(folder + u"/storage_for_content/content/b.map") == "card map";
  }
  // Whether it holds the one that putOld made.
  [[nodiscard]] bool isOldBackup(const WideText& folder, const WideText& name = u"mine") const {
    return readFile(folder + u'/' + name + u".xml") == descriptionText(toUtf8(name)) &&
           readFile(folder + u"/storage_for_software/old.bin") == "old content";
  }
  void putOld(const std::string& name = "mine") const { putBackup(name, descriptionText(name)); }
  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(native(root)))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  [[nodiscard]] bool holdsOneWholeBackup() const {
    const std::vector<std::string> names = backups();
    return std::any_of(names.begin(), names.end(), [this](const std::string& name) {
      const WideText folder = root + u'/' + toWide(name);
      return isNewBackup(folder) || isOldBackup(folder);
    });
  }
  void requestAbort() const {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  // The front end wants the abort while the block of that number is written; each file is one block.
  void expectAbortAtBlock(int block) {
    putOld();
    FaultyFileSystem watched(JobTest::files());
    int blocks = 0;
    watched.before = [&](int, const std::string& operation) {
      if (operation == "flush" && ++blocks == block) requestAbort();
    };
    useFileSystem(watched);
    EXPECT_EQ(make(), -1);
    useFileSystem(JobTest::files());
    EXPECT_EQ(blocks, block);
    EXPECT_EQ(status().state, statAbort);
    EXPECT_EQ(status().exitCode(), u"1020");
    EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
    EXPECT_TRUE(isOldBackup(root + u"/mine"));
  }
};

TEST_F(BackupJobTest, TakesBothStoragesAndDescribesThem) {
  EXPECT_EQ(make(), 0);
  EXPECT_TRUE(isNewBackup(root + u"/mine"));
  BackupDescription description;
  BackupFiles files;
  ASSERT_EQ(readBackupDescription(u"mine", description, files), 0);
  EXPECT_EQ(description.name, u"mine");
  EXPECT_EQ(description.brand, u"ZELMORA");
  EXPECT_EQ(description.hardwareID, u"100");
  EXPECT_EQ(description.deviceUID, u"200");
  EXPECT_EQ(description.personalBackup, u"false");
  EXPECT_EQ(description.size, 17 + versionFile("100", "200").size());
  EXPECT_EQ(files.size(), 4U);
  EXPECT_EQ(files.count(u"storage_for_content\\content\\b.map"), 1U);
  EXPECT_NE(readFile(root + u"/mine/mine.xml").find("<converted>false</converted>"), std::string::npos);
  EXPECT_EQ(status().state, statSuccess);
  EXPECT_EQ(status().exitCode(), u"1010");
  ASSERT_FALSE(statusHistory().empty());
  EXPECT_EQ(statusHistory().front().state, statPreparing);
  EXPECT_EQ(statusHistory().front().exitCode(), u"1057");
}

TEST_F(BackupJobTest, SeparatorsAtTheEndOfAStorageChangeNothing) {
  BackupJob job;
  ASSERT_EQ(job.prepareBackup(flash + u"/", u"mine", card + u"\\/", false), 0);
  ASSERT_EQ(job.runBackup(), 0);
  EXPECT_TRUE(isNewBackup(root + u"/mine"));
  EXPECT_NE(readFile(root + u"/mine/mine.xml").find("path=\"storage_for_software\\empty\""),
            std::string::npos);
}

TEST_F(BackupJobTest, WithoutASecondStorageThereIsNoFolderForIt) {
  BackupJob job;
  ASSERT_EQ(job.prepareBackup(flash, u"mine", u"", false), 0);
  ASSERT_EQ(job.runBackup(), 0);
  EXPECT_FALSE(std::filesystem::exists(native(root + u"/mine/storage_for_content")));
}

TEST_F(BackupJobTest, ThePersonalBackupTakesNothingAsLongAsNothingIsPersonal) {
  EXPECT_EQ(make(u"mine", true), 0);
  EXPECT_EQ(tree(root + u"/mine"), (std::vector<std::string>{"mine.xml"}));
  const std::string text = readFile(root + u"/mine/mine.xml");
  EXPECT_NE(text.find("<size>0</size>"), std::string::npos);
  EXPECT_NE(text.find("<personalBackup>true</personalBackup>"), std::string::npos);
  EXPECT_NE(text.find("<BackupFiles />"), std::string::npos);
}

TEST_F(BackupJobTest, ThePersonalBackupTakesWhatIsPersonal) {
  BackupJob job;
  job.setPersonalFilter({.files = {u"b.map"}, .folders = {}});
  ASSERT_EQ(job.prepareBackup(flash, u"mine", card, true), 0);
  ASSERT_EQ(job.runBackup(), 0);
  EXPECT_EQ(tree(root + u"/mine"),
            (std::vector<std::string>{"mine.xml", "storage_for_content/", "storage_for_content/content/",
                                      "storage_for_content/content/b.map"}));
}

TEST_F(BackupJobTest, NeedsASourceAndAName) {
  const WideText message = u"The path to the client folder, or the backup name is empty!";
  expectRefused(BackupJob().prepareBackup(u"", u"mine", u"", false), u"1049", message);
  expectRefused(BackupJob().prepareBackup(flash, u"", u"", false), u"1049", message);
}

TEST_F(BackupJobTest, NeedsTheSourceFolder) {
  expectRefused(BackupJob().prepareBackup(path(u"gone"), u"mine", u"", false), u"1050",
                u"The source folder doesn't exists!");
}

TEST_F(BackupJobTest, NeedsTheSecondaryFolderThatIsNamed) {
  expectRefused(BackupJob().prepareBackup(flash, u"mine", path(u"gone"), false), u"1051",
                u"The secondary path is provided but the directory does not exists!",
                {{u"PATH", path(u"gone")}, {u"DRIVE", drive()}});
}

TEST_F(BackupJobTest, NeedsAVersionFile) {
  std::filesystem::remove(native(flash + u"/ZELMORA/version.xml"));
  EXPECT_EQ(make(), -1);
  expectFailure(u"1149", {u"100", u"The version xml could not be found in the source folder!", flash});
  EXPECT_TRUE(backups().empty());
  // The source is told as it was given.
  EXPECT_EQ(BackupJob().prepareBackup(flash + u"/", u"mine", u"", false), -1);
  expectFailure(u"1149", {u"100", u"The version xml could not be found in the source folder!", flash + u"/"});
}

TEST_F(BackupJobTest, TheNameOfABackupOfAnotherDeviceIsTaken) {
  putBackup("mine", descriptionText("mine", "1", "2"));
  const std::vector<std::string> before = tree(root);
  expectRefused(make(), u"1052", u"The backup name already exist, please provide another name for backup!");
  EXPECT_EQ(tree(root), before);
}

TEST_F(BackupJobTest, TheNameOfABackupOfTheOtherKindIsTaken) {
  putBackup("mine", descriptionText("mine", "100", "200", "true"));
  EXPECT_EQ(make(), -1);
  EXPECT_EQ(status().exitCode(), u"1052");
}

TEST_F(BackupJobTest, TheNameOfAFolderThatIsNoBackupIsTaken) {
  writeFile(root + u"/mine/holiday.jpg", "x");
  expectRefused(
      make(), u"1053",
      u"A folder with the selected name already exist on your disk! Please select another name for the "
      u"backup!",
      {{u"PATH", root + u"/mine"}, {u"DRIVE", drive()}});
  EXPECT_EQ(tree(root), (std::vector<std::string>{"mine/", "mine/holiday.jpg"}));
}

TEST_F(BackupJobTest, TheNameOfAFileIsTaken) {
  writeFile(root + u"/mine", "a file");
  EXPECT_EQ(make(), 1055);
  expectFailure(u"1055", {u"100", u"The backup folder could not be created!"}, {{u"FILE", root + u"/mine"}});
  EXPECT_EQ(readFile(root + u"/mine"), "a file");
}

TEST_F(BackupJobTest, AFolderThatComesUpMeanwhileIsNotRemoved) {
  BackupJob job;
  ASSERT_EQ(job.prepareBackup(flash, u"mine", card, false), 0);
  writeFile(root + u"/mine/holiday.jpg", "x");
  EXPECT_EQ(job.runBackup(), 1055);
  EXPECT_EQ(readFile(root + u"/mine/holiday.jpg"), "x");
}

TEST_F(BackupJobTest, TheOldBackupOfTheNameIsSetAsideAndGoesWhenTheNewOneIsComplete) {
  putOld();
  {
    BackupJob job;
    ASSERT_EQ(job.prepareBackup(flash, u"mine", card, false), 0);
    const std::vector<std::string> names = backups();
    ASSERT_EQ(names.size(), 1U);
    EXPECT_TRUE(names[0].starts_with("mine_"));
    EXPECT_EQ(names[0].find_first_not_of("0123456789", 5), std::string::npos);
    EXPECT_TRUE(isOldBackup(root + u'/' + toWide(names[0])));
    ASSERT_EQ(job.runBackup(), 0);
    EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  }
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isNewBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, TheOldBackupGetsItsNameBackIfTheJobIsNotRun) {
  putOld();
  { EXPECT_EQ(BackupJob().prepareBackup(flash, u"mine", card, false), 0); }
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, AnOldBackupThatCannotBeRenamedIsReported) {
  putOld();
  FaultyFileSystem faulty(JobTest::files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  EXPECT_EQ(make(), -1);
  useFileSystem(JobTest::files());
  expectFailure(u"1060", {u"100", u"The old backup could not be rename!"});
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, AStorageInTheOldBackupDoesNotGoWithIt) {
  putOld();
  const WideText source = root + u"/mine/storage_for_software";
  writeFile(source + u"/ZELMORA/version.xml", versionFile("100", "200"));
  link(source, path(u"link"));
  for (const WideText& each : {source, root + u"/../backups/mine/storage_for_software", path(u"link")})
    expectRefused(BackupJob().prepareBackup(each, u"mine", u"", false), u"1060",
                  u"The old backup could not be rename!");
  expectRefused(BackupJob().prepareBackup(flash, u"mine", source, false), u"1060",
                u"The old backup could not be rename!");
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
  // Nor does it go when the new backup has another name.
  BackupJob job;
  ASSERT_EQ(job.prepareBackup(source, u"other", u"", false), 0);
  ASSERT_EQ(job.runBackup(), 0);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine", "other"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, TheMarkOfTheUnfinishedCopyGoesBehindTheDescription) {
  FaultyFileSystem watched(JobTest::files());
  bool isDescribed = false;
  watched.before = [&](int, const std::string& operation) {
    if (operation == "removeFile") isDescribed = fileExists(root + u"/mine/mine.xml");
  };
  useFileSystem(watched);
  EXPECT_EQ(make(), 0);
  useFileSystem(JobTest::files());
  EXPECT_TRUE(isDescribed);
  EXPECT_FALSE(fileExists(root + u"/mine/.tevra_unfinished"));
}

TEST_F(BackupJobTest, AnOldBackupOfWhichSomethingCannotBeRemovedIsNotDescribedAgain) {
  putOld("other");
  HeldVersionFile held(JobTest::files(), u"other");
  useFileSystem(held);
  EXPECT_EQ(make(), 0);
  useFileSystem(JobTest::files());
  ASSERT_FALSE(fileExists(root + u"/other/storage_for_software/old.bin"));
  ASSERT_TRUE(fileExists(root + u"/other/storage_for_software/ZELMORA/version.xml"));
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_FALSE(fileExists(root + u"/other/other.xml"));
}

TEST_F(BackupJobTest, WhatNoReaderWouldFollowIsReportedBeforeAnythingIsCopied) {
  putOld();
  WideText deep = flash;
  for (int level = 0; level < 260; ++level) deep += u"/d";
  writeFile(deep + u"/file", "x");
  EXPECT_EQ(make(), 1067);
  expectFailure(u"1067", {u"100", u"Error on parsing the sources folder path!"});
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, ABackupRootOnTheDeviceIsCopiedAsItWas) {
  backupRootFolder = flash + u"/backups";
  writeFile(flash + u"/backups/other/other.xml", descriptionText("other", "1", "2"));
  EXPECT_EQ(make(), 0);
  EXPECT_TRUE(isNewBackup(flash + u"/backups/mine"));
  EXPECT_EQ(readFile(flash + u"/backups/mine/storage_for_software/backups/other/other.xml"),
            descriptionText("other", "1", "2"));
  EXPECT_FALSE(std::filesystem::exists(native(flash + u"/backups/mine/storage_for_software/backups/mine")));
}

TEST_F(BackupJobTest, ANotPreparedJobDoesNothing) {
  BackupJob job;
  EXPECT_EQ(job.runBackup(), -1);
  expectUntold();
}

TEST_F(BackupJobTest, OneBackupOfEachKindOfADeviceStays) {
  putOld("first");
  putBackup("personal", descriptionText("personal", "100", "200", "true"));
  putBackup("other", descriptionText("other", "1", "2"));
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine", "other", "personal"}));
  EXPECT_EQ(make(u"mine too", true), 0);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine", "mine too", "other"}));
}

TEST_F(BackupJobTest, WhatIsNoBackupStaysWhateverItHolds) {
  writeFile(root + u"/a/b.xml", descriptionText("b"));
  writeFile(root + u"/b/b.xml", "<BackupContents></BackupContents>");
  writeFile(root + u"/c/c.xml", descriptionText("c").substr(0, 300));
  writeFile(root + u"/d/d.xml",
            "<BackupContents><backup><deviceUID>\xFF</deviceUID></backup></BackupContents>");
  writeFile(root + u"/e.xml", descriptionText("e"));
  writeFile(root + u"/f/g/g.xml", descriptionText("g"));
  const std::vector<std::string> before = tree(root);
  EXPECT_EQ(make(), 0);
  std::vector<std::string> after = tree(root);
  std::erase_if(after, [](const std::string& name) { return name.starts_with("mine/"); });
  EXPECT_EQ(after, before);
}

TEST_F(BackupJobTest, ALinkInTheBackupRootIsNeitherFollowedNorRemoved) {
  writeFile(path(u"outside/linked.xml"), descriptionText("linked"));
  link(path(u"outside"), root + u"/linked");
  writeFile(path(u"target/keep"), "kept");
  putOld("first");
  link(path(u"target"), root + u"/first/link");
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(backups(), (std::vector<std::string>{"linked", "mine"}));
  EXPECT_EQ(readFile(path(u"outside/linked.xml")), descriptionText("linked"));
  EXPECT_EQ(readFile(path(u"target/keep")), "kept");
}

TEST_F(BackupJobTest, NeedsTheBackupRoot) {
  BackupJob job;
  ASSERT_EQ(job.prepareBackup(flash, u"mine", card, false), 0);
  std::filesystem::remove(native(root));
  EXPECT_EQ(job.runBackup(), 1058);
  expectFailure(u"1058", {u"100", u"The backup folder does not exist!"},
                {{u"PATH", root}, {u"DRIVE", drive()}});
}

// A name that a device can't have stands for a file that has gone since its folder was read.
TEST_F(BackupJobTest, AFileThatCannotBeTakenIsReportedBeforeAnythingIsCopied) {
  putOld();
  writeFile(card + u"/ ", "x");
  EXPECT_EQ(make(), 1162);
  expectFailure(u"1162", {u"100", u"The file from xml description does not exist!"});
  writeFile(flash + u"/ ", "x");
  EXPECT_EQ(make(), 1056);
  expectFailure(u"1056", {u"100", u"The file from xml description does not exist!"});
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, RoomThatIsJustEnoughIsEnough) {
  const std::uint64_t need = 17 + versionFile("100", "200").size();
  FreeSpace enough(JobTest::files(), need);
  useFileSystem(enough);
  EXPECT_EQ(make(), 0);
  FreeSpace tooLittle(JobTest::files(), need - 1);
  useFileSystem(tooLittle);
  EXPECT_EQ(make(), 1059);
  useFileSystem(JobTest::files());
  expectFailure(u"1059", {u"100", u"The files could'n fit to the backup folder!"},
                {{u"PATH", root}, {u"DRIVE", drive()}});
  EXPECT_TRUE(isNewBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, AfterAFailedCopyTheOldBackupHasItsName) {
  putOld();
  {
    BackupJob job;
    ASSERT_EQ(job.prepareBackup(flash, u"mine", card, false), 0);
    ASSERT_EQ(job.collectFiles(), 0);
    writeFile(flash + u"/ZELMORA/map/a.map", "another size");
    EXPECT_EQ(job.copyFiles(), 1065);
    job.removeNewBackupFolder();
  }
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, AfterAnAbortNothingNewIsThereAndTheOldBackupHasItsName) {
  putOld();
  requestAbort();
  EXPECT_EQ(make(), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, AfterAnAbortAmongTheFilesNothingNewIsThere) {
  expectAbortAtBlock(2);
}

TEST_F(BackupJobTest, AfterAnAbortBehindTheLastBlockOfTheLastFileNothingNewIsThere) {
  std::filesystem::remove(native(flash + u"/empty"));  // it would be the last one
  expectAbortAtBlock(3);
}

TEST_F(BackupJobTest, AfterAnAbortWithoutAnOldBackupTheRootIsAsItWas) {
  requestAbort();
  EXPECT_EQ(make(), -1);
  EXPECT_TRUE(backups().empty());
}

TEST_F(BackupJobTest, AnUnsavedDescriptionLeavesTheCopyAndTheOldBackupAside) {
  startLog();
  putOld();
  FaultyFileSystem faulty(JobTest::files());
  // The description is the only file in the backup's own folder.
  bool isCopied = false;
  faulty.before = [&](int number, const std::string& operation) {
    isCopied = isCopied || operation == "syncVolume";
    if (isCopied && operation == "open" && faulty.failAt == 0) faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_EQ(make(), 1068);
  useFileSystem(JobTest::files());
  expectFailure(u"1068", {u"100", u"The xml description backup could not be saved!"});
  const std::vector<std::string> names = backups();
  ASSERT_EQ(names.size(), 2U);
  EXPECT_EQ(names[0], "mine");
  const WideText aside = root + u'/' + toWide(names[1]);
  EXPECT_TRUE(isOldBackup(aside));
  EXPECT_TRUE(logHas(u"Rename from " + aside + u" to " + root + u"/mine fail!"));
}

TEST_F(BackupJobTest, WhatTheNewBackupConsistsOfIsOnTheMediumBeforeAnOldOneGoes) {
  for (const std::string old : {"mine", "other"}) {
    putOld(old);
    FaultyFileSystem watched(JobTest::files());
    std::vector<std::string> operations;
    watched.before = [&](int, const std::string& operation) { operations.push_back(operation); };
    useFileSystem(watched);
    EXPECT_EQ(make(), 0);
    useFileSystem(JobTest::files());
    const auto at = [&](const std::string& operation) {
      return std::find(operations.begin(), operations.end(), operation);
    };
    EXPECT_LT(at("syncVolume"), at("sync"));  // the description is synced by itself
    EXPECT_LT(at("sync"), at("syncFolder"));
    EXPECT_LT(at("syncFolder"), at("removeFolder"));
    // Until then only the mark of the unfinished copy has gone.
    EXPECT_EQ(std::count(operations.begin(), at("syncFolder"), "removeFile"), 1);
    EXPECT_GT(std::count(at("syncFolder"), operations.end(), "removeFile"), 1);
    EXPECT_EQ(std::count(operations.begin(), operations.end(), "syncVolume"), 1);
  }
}

// Refuses to remove the files of a name.
class KeepingFileSystem : public platform::ForwardingFileSystem {
 public:
  KeepingFileSystem(platform::FileSystem& target, WideText name)
      : ForwardingFileSystem(target), name_(std::move(name)) {}
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (lastComponent(path) != name_) return target().removeFile(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    return false;
  }

 private:
  WideText name_;
};

TEST_F(BackupJobTest, AMarkThatStaysIsAFailureAndTheOldBackupsStayToo) {
  putOld("other");
  KeepingFileSystem keeping(JobTest::files(), u".tevra_unfinished");
  useFileSystem(keeping);
  EXPECT_EQ(make(), 1068);
  useFileSystem(JobTest::files());
  expectFailure(u"1068", {u"100", u"The xml description backup could not be saved!"});
  EXPECT_TRUE(isOldBackup(root + u"/other", u"other"));
}

TEST_F(BackupJobTest, AnOldBackupWhoseDescriptionStaysLosesNothing) {
  putOld("other");
  const std::vector<std::string> before = tree(root + u"/other");
  KeepingFileSystem keeping(JobTest::files(), u"other.xml");
  useFileSystem(keeping);
  EXPECT_EQ(make(), 0);
  useFileSystem(JobTest::files());
  EXPECT_EQ(tree(root + u"/other"), before);
}

TEST_F(BackupJobTest, OfAnOldBackupBehindALinkOnlyTheLinkGoes) {
  putOld("elsewhere");
  std::filesystem::rename(native(root + u"/elsewhere"), native(path(u"elsewhere")));
  writeFile(path(u"elsewhere/mine.xml"), descriptionText("mine"));
  link(path(u"elsewhere"), root + u"/mine");
  const std::vector<std::string> before = tree(path(u"elsewhere"));
  EXPECT_EQ(make(), 0);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
  EXPECT_TRUE(isNewBackup(root + u"/mine"));
  EXPECT_EQ(tree(path(u"elsewhere")), before);
}

TEST_F(BackupJobTest, OfAnOldBackupOfWhichAFileStaysNoBackupIsMade) {
  putOld("other");
  KeepingFileSystem keeping(JobTest::files(), u"version.xml");
  useFileSystem(keeping);
  EXPECT_EQ(make(), 0);
  useFileSystem(JobTest::files());
  EXPECT_TRUE(fileExists(root + u"/other/storage_for_software/ZELMORA/version.xml"));
  EXPECT_TRUE(isMarkedUnfinished(root + u"/other"));
}

TEST_F(BackupJobTest, WhereNothingGoesTheMediumIsNotWaitedFor) {
  putBackup("other", descriptionText("other", "1", "2"));
  FaultyFileSystem watched(JobTest::files());
  int syncs = 0;
  watched.before = [&](int, const std::string& operation) { syncs += operation == "syncVolume" ? 1 : 0; };
  useFileSystem(watched);
  EXPECT_EQ(make(), 0);
  useFileSystem(JobTest::files());
  EXPECT_EQ(syncs, 0);
}

TEST_F(BackupJobTest, WhicheverOperationFailsAWholeBackupStaysAndAFailedCopyLeavesTheOldName) {
  int failures = 0;
  bool isClean = false;
  for (int operation = 1; !isClean; ++operation) {
    SCOPED_TRACE("failing operation " + std::to_string(operation));
    std::filesystem::remove_all(native(root));
    putOld();
    putOld("other");
    UnsyncedFileSystem unsynced(JobTest::files());
    FaultyFileSystem faulty(unsynced);
    faulty.failAt = operation;
    useFileSystem(faulty);
    const int result = make();
    useFileSystem(JobTest::files());
    isClean = faulty.count < operation;
    ASSERT_TRUE(holdsOneWholeBackup());
    if (result == 0) {
      ASSERT_TRUE(isNewBackup(root + u"/mine"));
      continue;
    }
    ++failures;
    ASSERT_TRUE(isOldBackup(root + u"/other", u"other"));
    // A description that could not be saved leaves the copy, and the old one beside.
    ASSERT_TRUE(isOldBackup(root + u"/mine") || status().exitCode() == u"1068") << status().document;
  }
  EXPECT_GT(failures, 15);
}

TEST_F(BackupJobTest, WhicheverOperationIsTheLastThatWorksAWholeBackupStays) {
  bool isClean = false;
  for (int operation = 1; !isClean; ++operation) {
    SCOPED_TRACE("the disk is gone from operation " + std::to_string(operation));
    std::filesystem::remove_all(native(root));
    putOld();
    UnsyncedFileSystem unsynced(JobTest::files());
    FaultyFileSystem faulty(unsynced);
    faulty.failAt = operation;
    faulty.failAllAfter = true;
    useFileSystem(faulty);
    static_cast<void>(make());
    useFileSystem(JobTest::files());
    isClean = faulty.count < operation;
    ASSERT_TRUE(holdsOneWholeBackup());
  }
}

TEST_F(BackupJobTest, AtWhicheverOperationTheProcessIsKilledAWholeBackupStays) {
  int killed = 0;
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE("killed at operation " + std::to_string(operation));
    std::filesystem::remove_all(native(root));
    putOld();
    putOld("other");
    const bool finished = runsToItsEnd([&] {
      UnsyncedFileSystem unsynced(JobTest::files());
      FaultyFileSystem faulty(unsynced);
      faulty.before = [&](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      static_cast<void>(make());
      ::_exit(0);
    });
    ASSERT_TRUE(holdsOneWholeBackup());
    // One that is half removed is no backup any more.
    if (!isOldBackup(root + u"/other", u"other")) {
      ASSERT_FALSE(fileExists(root + u"/other/other.xml"));
      ASSERT_TRUE(isNewBackup(root + u"/mine"));
    }
    if (finished) break;
    ++killed;
    // A conversion describes nothing of which a part is missing.
    ASSERT_EQ(convertBackups(), 0);
    for (const std::string& name : backups()) {
      const WideText kept = toWide(name);
      ASSERT_TRUE(!fileExists(root + u'/' + kept + u'/' + kept + u".xml") ||
                  isNewBackup(root + u'/' + kept, kept) || isOldBackup(root + u'/' + kept, kept))
          << name;
    }
  }
  EXPECT_GT(killed, 20);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine"}));
}

TEST_F(BackupJobTest, ADiskThatFillsUpInTheMiddleLeavesTheOldBackupUnderItsName) {
  const SmallVolume volume(native(root), 4 << 20);
  if (!volume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  putOld();
  for (int i = 0; i < 3; ++i) writeFile(flash + u"/maps/" + numberText(i), std::string(1 << 20, 'x'));
  // Something else takes the room behind the test for it, when the first folder is made.
  bool isTaken = false;
  FaultyFileSystem files(JobTest::files());
  files.before = [&](int, const std::string& operation) {
    if (operation == "createFolder" && !std::exchange(isTaken, true))
      writeFile(root + u"/greedy", std::string(2 << 20, 'x'));
  };
  useFileSystem(files);
  EXPECT_EQ(make(), 1065);
  useFileSystem(JobTest::files());
  EXPECT_EQ(status().exitCode(), u"1065");
  EXPECT_EQ(backups(), (std::vector<std::string>{"greedy", "mine"}));
  EXPECT_TRUE(isOldBackup(root + u"/mine"));
}

TEST_F(BackupJobTest, ABackupThatFillsTheDiskToTheLastByteIsReportedOrWhole) {
  const SmallVolume volume(native(root), 4 << 20);
  if (!volume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  putOld();
  writeFile(flash + u"/maps/large", std::string((4 << 20) - 32 * 1024, 'x'));
  const int result = make();
  if (result == 0)
    EXPECT_TRUE(isNewBackup(root + u"/mine"));
  else
    EXPECT_TRUE(isOldBackup(root + u"/mine")) << result;
}

}  // namespace
}  // namespace ZelmoraTevra
