#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <limits>

#include "backup/RestoreJob.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "tests/backup/RestoreTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/KillLoop.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

using RestoreJobTest = RestoreTest;

// --- what is asked for

TEST_F(RestoreJobTest, TheLogNamesTheDrivesUnderTheirOldLabels) {
  startLog();
  RestoreJob job;
  EXPECT_EQ(job.prepareRestore(u"E:\\x", u"", u"F:\\y", false, false, false), -1);
  const std::vector<WideText> lines = logLines();
  ASSERT_GE(lines.size(), 6U);
  EXPECT_THAT(std::vector<WideText>(lines.begin(), lines.begin() + 6),
              ElementsAre(u"Flash: E:\\x", u"Card: F:\\y", u"Flash drive name: E:", u"Card drive name: F:",
                          u"Temp: E:", u"Backup: F:"));
}

TEST_F(RestoreJobTest, WithoutAStorageOrANameItIsRefused) {
  for (const Request& request : {Request{.flash = u""}, Request{.name = u""}}) {
    EXPECT_EQ(restore(request), -1);
    expectFailure(u"1075", u"The storage card path or the backup name are empty!");
    EXPECT_THAT(extras(), IsEmpty());
  }
}

TEST_F(RestoreJobTest, ABackupThatIsNotThereIsRefused) {
  EXPECT_EQ(restore({}), -1);
  expectFailure(u"1076", u"The backup folder does not exist!");
  EXPECT_EQ(extras(), backupPlace());
}

TEST_F(RestoreJobTest, ANameThatLeadsElsewhereIsNoBackup) {
  BackupBuilder(folder.native(), "elsewhere").software("a", "x").write();
  backupNamed("b").software("a", "x").write();
  for (const char16_t* name : {u"../elsewhere", u"..\\elsewhere", u".", u"..", u"b/storage_for_software"}) {
    EXPECT_EQ(restore({.name = name}), -1) << toUtf8(name);
    EXPECT_EQ(status().exitCode(), u"1076") << toUtf8(name);
  }
}

TEST_F(RestoreJobTest, AStorageThatIsNotThereIsRefused) {
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restore({.flash = u"G:"}), -1);
  expectFailure(u"1077", u"The storage card drive doesn't exists!");
  EXPECT_THAT(extras(), IsEmpty());
  EXPECT_EQ(restore({.card = u"G:\\x"}), -1);
  expectFailure(u"1078", u"The secondary path is provided but the directory does not exists!");
  EXPECT_EQ(extras(), (Extras{{u"PATH", u"G:/x"}, {u"DRIVE", u"G:"}}));
}

TEST_F(RestoreJobTest, AWriteProtectedStorageIsRefused) {
  backupNamed("b").software("a", "x").write();
  removeDrive(u'E');
  addDrive(u'E').readOnly = true;
  changeDrives();
  EXPECT_EQ(restore({}), -1);
  expectFailure(u"1103", u"The media is write protected!");
  EXPECT_EQ(extras(), (Extras{{u"PATH", u"E:"}, {u"DRIVE", u"E:"}}));
  EXPECT_EQ(restore({.flash = u"F:", .card = u"E:"}), -1);
  expectFailure(u"1166", u"The media is write protected!");
  EXPECT_THAT(extras(), IsEmpty());
}

TEST_F(RestoreJobTest, TheTestForWritingLeavesNothing) {
  backupNamed("b").write();
  const std::vector<std::string> flash = treeOn(u'E');
  RestoreJob job;
  EXPECT_EQ(job.prepareRestore(u"E:", u"b", u"F:", false, false, false), 0);
  EXPECT_EQ(treeOn(u'E'), flash);
  EXPECT_THAT(treeOn(u'F'), IsEmpty());
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(RestoreJobTest, WhatAKilledTestForWritingHasLeftDoesNotStandInTheWay) {
  backupNamed("b").personal().software("a", "x").write();
  const fs::path probe = folder.native() / "E/Tevra_131284_tmp";
  writeOn(u'E', "Tevra_131284_tmp", "left");
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_FALSE(fs::exists(probe));
  fs::create_directory(probe);
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_FALSE(fs::exists(probe));
  fs::create_symlink(folder.native() / "E", probe);
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_FALSE(fs::is_symlink(probe));
  EXPECT_EQ(onDrive(u'E', "a"), "x");
}

TEST_F(RestoreJobTest, AFolderWithContentIsNoLeftoverOfATestForWriting) {
  backupNamed("b").personal().write();
  writeOn(u'E', "Tevra_131284_tmp/users", "u");
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_EQ(treeOn(u'E'), (std::vector<std::string>{"Tevra_131284_tmp/", "Tevra_131284_tmp/users", "ZELMORA/",
                                                    "ZELMORA/version.xml"}));
  removeDrive(u'E');
  addDrive(u'E').readOnly = true;
  changeDrives();
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1103");
}

TEST_F(RestoreJobTest, WithoutAPreparationNothingRuns) {
  RestoreJob job;
  EXPECT_EQ(job.runRestore(), -1);
  EXPECT_EQ(job.prepareRestore(u"E:", u"missing", u"", false, false, false), -1);
  const std::size_t reports = statusHistory().size();
  EXPECT_EQ(job.runRestore(), -1);
  EXPECT_EQ(statusHistory().size(), reports);
}

// --- the description

TEST_F(RestoreJobTest, ABadDescriptionIsToldBeforeTheDeviceIsTouched) {
  struct Row {
    const char16_t* exitCode;
    std::string description;
  };
  const std::string head = "<BackupContents><backup><personalBackup>false</personalBackup></backup>";
  for (const Row& row :
       {Row{u"1088", "<BackupContents>"}, Row{u"1089", "<Other/>"},
        Row{u"1089", "<BackupContents><backup><brand>\xFF</brand></backup><BackupFiles/></BackupContents>"},
        Row{u"1090", head + "</BackupContents>"},
        Row{u"1091", head + "<BackupFiles><File path='storage_for_software\\a'/></BackupFiles>"
                            "</BackupContents>"},
        Row{u"1091", head + "<BackupFiles><File path='storage_for_software\\..\\..\\x' size='1'/>"
                            "</BackupFiles></BackupContents>"}}) {
    writeFile(path(u"backups/b/b.xml"), row.description);
    EXPECT_EQ(restoreCleared(), -1);
    EXPECT_EQ(status().exitCode(), row.exitCode);
    EXPECT_EQ(extras(), backupPlace());
    EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
  }
}

// --- which device

TEST_F(RestoreJobTest, ABackupOfAnotherDeviceIsRefused) {
  const WideText message = u"The backup you want to restore is not compatible with the software device!";
  backupNamed("b").software("a", "x").write();
  for (const std::string& file : {versionFile("HW2", "UID1"), versionFile("HW1", "UID2")}) {
    writeOn(u'E', "ZELMORA/version.xml", file);
    EXPECT_EQ(restoreCleared(), -1);
    expectFailure(u"1079", message);
    EXPECT_THAT(extras(), IsEmpty());
    EXPECT_EQ(onDrive(u'E', "ZELMORA/version.xml"), file);
  }
  BackupBuilder withoutIds = backupNamed("b").software("a", "x");
  withoutIds.hardwareId = withoutIds.deviceUid = "";
  withoutIds.write();
  EXPECT_EQ(restoreCleared(), 0);
  writeOn(u'E', "ZELMORA/version.xml", versionFile("HW1", "UID1", "software", "OTHER"));
  EXPECT_EQ(restoreCleared(), -1);
  expectFailure(u"1163", message);
  EXPECT_THAT(extras(), IsEmpty());
}

TEST_F(RestoreJobTest, OneIdentifierOfTheBackupDecides) {
  BackupBuilder backup = backupNamed("b").software("a", "x").personal();
  backup.hardwareId = "";
  backup.platform = "OTHER";
  backup.write();
  EXPECT_EQ(restorePersonal(), 0);
  backup.deviceUid = "UID2";
  backup.write();
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1079");
}

TEST_F(RestoreJobTest, TheVersionFileOfTheOlderLayoutCountsWithoutTheNewerOne) {
  backupNamed("b").software("a", "x").personal().write();
  writeOn(u'E', "KD3/version.xml", versionFile("HW2", "UID2", "kd3"));
  EXPECT_EQ(restorePersonal(), 0);
  fs::remove(folder.native() / "E/ZELMORA/version.xml");
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1079");
}

TEST_F(RestoreJobTest, ADeviceWithoutAVersionFileTakesAnyBackup) {
  fs::remove(folder.native() / "E/ZELMORA/version.xml");
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restoreCleared(), 0);
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
  for (const std::string& damaged : {std::string("<config"), versionFile("HW2\xFF", "UID1")}) {
    writeOn(u'E', "ZELMORA/version.xml", damaged);
    EXPECT_EQ(restoreCleared(), 0) << damaged;
  }
}

// --- card and room

TEST_F(RestoreJobTest, ABackupWithFilesForTheCardNeedsOne) {
  backupNamed("b").software("a", "x").content("c", "y").write();
  EXPECT_EQ(restoreCleared(u""), -1);
  expectFailure(u"1080", u"This backup required the card to be inserted!");
  EXPECT_THAT(extras(), IsEmpty());
  EXPECT_FALSE(treeOn(u'E').empty());
}

TEST_F(RestoreJobTest, ABackupThatNeedsNoCardIsRestoredWithoutOne) {
  removeDrive(u'F');
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restoreCleared(u""), 0);
  EXPECT_EQ(onDrive(u'E', "a"), "x");
}

TEST_F(RestoreJobTest, APathOfNeitherStorageIsToldByTheKindOfBackup) {
  const WideText message =
      u"The storage_for_software or storage_for_content strings was not find in the file relative path!";
  backupNamed("b").listed("elsewhere\\a", 1).write();
  EXPECT_EQ(restoreCleared(), -1);
  expectFailure(u"1087", message);
  backupNamed("b").personal().listed("elsewhere\\a", 1).write();
  EXPECT_EQ(restorePersonal(), -1);
  expectFailure(u"1164", message);
  EXPECT_THAT(extras(), IsEmpty());
  EXPECT_EQ(treeOn(u'E').size(), 2U);
}

class RestoreRoomTest : public RestoreTest {
 protected:
  // The bytes that a storage has in all, used ones included.
  void setCapacities(std::uint64_t flash, std::uint64_t card) {
    removeDrive(u'E');
    removeDrive(u'F');
    addDrive(u'E').capacity = flash;
    addDrive(u'F').capacity = card;
    changeDrives();
  }
  const std::uint64_t version = versionFile("HW1", "UID1").size();
};

TEST_F(RestoreRoomTest, AFullImageThatIsAsLargeAsTheStoragesFitsHoweverFullTheyAre) {
  backupNamed("b").software("a", std::string(1'000, 'a')).content("c", std::string(500, 'c')).write();
  writeOn(u'E', "old", std::string(1'000 - version, 'o'));
  writeOn(u'F', "old", std::string(500, 'o'));
  setCapacities(1'000, 500);
  EXPECT_EQ(restoreCleared(), 0);
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
  EXPECT_THAT(treeOn(u'F'), ElementsAre("c"));
}

TEST_F(RestoreRoomTest, OneByteMoreThanAStorageHasIsRefusedWithItsMarker) {
  backupNamed("b").software("a", std::string(1'000, 'a')).content("c", std::string(500, 'c')).write();
  setCapacities(999, 499);
  EXPECT_EQ(restoreCleared(), -1);
  expectFailure(u"1081", u"The backup not fit to device!", u"110");
  EXPECT_EQ(extras(), (Extras{{u"PATH", u"E:"}, {u"DRIVE", u"E:"}}));
  setCapacities(1'000, 499);
  EXPECT_EQ(restoreCleared(), -1);
  expectFailure(u"1081", u"The backup not fit to device!", u"110");
  EXPECT_EQ(extras(), (Extras{{u"PATH", u"F:"}, {u"DRIVE", u"F:"}}));
  EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
}

TEST_F(RestoreRoomTest, AnyOtherBackupNeedsFreeRoom) {
  backupNamed("b").personal().software("a", std::string(1'000, 'a')).write();
  setCapacities(version + 1'000, 0);
  EXPECT_EQ(restorePersonal(), 0);
  fs::remove(folder.native() / "E/a");
  setCapacities(version + 999, 0);
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1081");
}

TEST_F(RestoreRoomTest, AnyOtherBackupOverTheSameFilesNeedsNoRoom) {
  backupNamed("b")
      .personal()
      .software("x/a", std::string(1'000, 'a'))
      .content("x/c", std::string(500, 'c'))
      .write();
  writeOn(u'E', "x/a", std::string(1'000, 'o'));
  writeOn(u'F', "x/c", std::string(500, 'o'));
  setCapacities(version + 1'000, 500);
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_EQ(onDrive(u'E', "x/a"), std::string(1'000, 'a'));
  EXPECT_EQ(onDrive(u'F', "x/c"), std::string(500, 'c'));
}

TEST_F(RestoreRoomTest, WhatIsOverwrittenCountsWithItsRealSize) {
  backupNamed("b").personal().software("a", std::string(1'000, 'a')).software("b", "").write();
  writeOn(u'E', "a", std::string(300, 'o'));
  setCapacities(version + 300 + 700, 0);
  EXPECT_EQ(restorePersonal(), 0);
  writeOn(u'E', "a", std::string(300, 'o'));
  setCapacities(version + 300 + 699, 0);
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1081");
  // A larger one makes room for others.
  writeOn(u'E', "a", std::string(300, 'o'));
  writeOn(u'E', "b", std::string(400, 'o'));
  setCapacities(version + 300 + 400 + 300, 0);
  EXPECT_EQ(restorePersonal(), 0);
}

TEST_F(RestoreRoomTest, WhatALinkOnTheDeviceLeadsToIsNotOverwrittenAndGivesNoRoom) {
  backupNamed("b").personal().software("a", std::string(1'000, 'a')).write();
  writeFile(path(u"outside"), std::string(1'000, 'o'));
  fs::create_symlink(folder.native() / "outside", folder.native() / "E/a");
  setCapacities(version + 999, 0);
  EXPECT_EQ(restorePersonal(), -1);
  EXPECT_EQ(status().exitCode(), u"1081");
}

TEST_F(RestoreRoomTest, SizesBeyondAllBoundsDoNotOverflow) {
  backupNamed("b")
      .listed("storage_for_software\\a", std::numeric_limits<std::int64_t>::max())
      .listed("storage_for_software\\b", std::numeric_limits<std::int64_t>::max())
      .write();
  EXPECT_EQ(restoreCleared(), -1);
  EXPECT_EQ(status().exitCode(), u"1081");
}

// --- the format

TEST_F(RestoreJobTest, AFullImageFormatsTheDeviceFirst) {
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restore({}), 0);
  EXPECT_THAT(maintenance.calls,
              ElementsAre("examine E", "examine F", "format E FAT32 ZELMORA", "format F FAT32 ZELMORASD"));
  ASSERT_GE(statusHistory().size(), 2U);
  EXPECT_EQ(statusHistory().front().state, statDeleteInProgress);
  EXPECT_EQ(statusHistory().front().exitCode(), u"1086");
  EXPECT_THAT(statusHistory().front().descriptions, IsEmpty());
  EXPECT_EQ(status().state, statSuccess);
  EXPECT_EQ(status().exitCode(), u"1010");
}

TEST_F(RestoreJobTest, TheUnitIsLookedForInThePlaceOfTheSystem) {
  tree = {};
  tree.add(tree.add(tree.add(0, u"R"), u"USBSTOR\\A"), u"V\\ZELMORA&1#{5}", u"E:\\");
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restore({.card = u"", .windows7 = true}), 0);
  EXPECT_THAT(maintenance.calls, ElementsAre("examine E", "format E FAT32 ZELMORASD"));
}

TEST_F(RestoreJobTest, AStorageWhoseFormatIsDisabledIsCleared) {
  backupNamed("b").software("a", "x").write();
  writeOn(u'F', "old", "o");
  EXPECT_EQ(restore({.keepFlash = true}), 0);
  EXPECT_THAT(maintenance.calls, ElementsAre("examine E", "examine F", "format F FAT32 ZELMORASD"));
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
  EXPECT_THAT(treeOn(u'F'), ElementsAre("old"));  // no more than a pretended format took place
}

TEST_F(RestoreJobTest, ABackupOfAnotherKindIsLaidOverTheDevice) {
  backupNamed("b").personal().software("a", "x").software("ZELMORA/b", "y").content("c", "z").write();
  writeOn(u'E', "a", "old and longer");
  writeOn(u'F', "kept", "k");
  EXPECT_EQ(restorePersonal(), 0);
  EXPECT_THAT(maintenance.calls, IsEmpty());
  EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/b", "ZELMORA/version.xml", "a"));
  EXPECT_EQ(onDrive(u'E', "a"), "x");
  EXPECT_THAT(treeOn(u'F'), ElementsAre("c", "kept"));
  for (const SavedStatus& saved : statusHistory()) EXPECT_NE(saved.state, statDeleteInProgress);
}

TEST_F(RestoreJobTest, AFormatThatFailsEndsItWithTheCodeOfTheStorage) {
  backupNamed("b").software("a", "x").write();
  maintenance.formatResults[u'E'] = {1, 1};
  EXPECT_EQ(restore({}), -1);
  expectFailure(u"1255", u"");
  EXPECT_THAT(extras(), IsEmpty());
  maintenance.formatResults[u'F'] = {1, 1};
  EXPECT_EQ(restore({}), -1);
  expectFailure(u"1259", u"");
  EXPECT_EQ(treeOn(u'E').size(), 2U);
}

TEST_F(RestoreJobTest, APlainFolderIsNoDriveThatCouldBeFormatted) {
  backupNamed("b").software("a", "x").write();
  makeFolder(path(u"plain"));
  EXPECT_EQ(restore({.flash = path(u"plain"), .card = u""}), -1);
  expectFailure(u"1260", u"An error occurred when try to format your device. Please retry.");
  EXPECT_EQ(restore({.flash = path(u"plain"), .card = u"", .keepFlash = true}), 0);
  EXPECT_EQ(readFile(path(u"plain/a")), "x");
}

// --- what must be known before the format

class RestoreBeforeFormatTest : public RestoreTest {
 protected:
  void expectUntouched() const {
    EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
    EXPECT_THAT(maintenance.calls, IsEmpty());
    for (const SavedStatus& saved : statusHistory()) EXPECT_NE(saved.state, statDeleteInProgress);
  }
  void expectRefusedForItsSource(const Request& request) {
    EXPECT_EQ(restore(request), -1);
    expectFailure(u"1092", u"The source file could not be open!");
    EXPECT_EQ(extras(), backupPlace());
    expectUntouched();
  }
};

TEST_F(RestoreBeforeFormatTest, AFileThatIsMissingInTheBackupIsFoundOut) {
  backupNamed("b").software("a", "x").content("c", "y").write();
  fs::remove(folder.native() / "backups/b/storage_for_content/c");
  expectRefusedForItsSource({});
}

TEST_F(RestoreBeforeFormatTest, WhatIsNoFileInTheBackupIsFoundOut) {
  backupNamed("b").software("a", "x").listed("storage_for_software\\d", 0).write();
  const fs::path d = folder.native() / "backups/b/storage_for_software/d";
  fs::create_directory(d);
  expectRefusedForItsSource({});
  fs::remove(d);
  ASSERT_EQ(::mkfifo(d.c_str(), 0600), 0);
  expectRefusedForItsSource({});
  fs::remove(d);
  writeFile(path(u"outside"), "secret");
  fs::create_symlink(folder.native() / "outside", d);
  expectRefusedForItsSource({});
}

TEST_F(RestoreBeforeFormatTest, ABackupBehindALinkIsNotFollowedOutOfItsFolder) {
  backupNamed("b").listed("storage_for_software\\a", 1).write();
  writeFile(path(u"outside/a"), "s");
  fs::create_directory_symlink(folder.native() / "outside",
                               folder.native() / "backups/b/storage_for_software");
  expectRefusedForItsSource({});
}

TEST_F(RestoreBeforeFormatTest, FilesThatAreLargerThanListedAndDoNotFitAreFoundOut) {
  backupNamed("b").software("a", std::string(1'000, 'a')).listed("storage_for_software\\a", 1).write();
  removeDrive(u'E');
  addDrive(u'E').capacity = 999;
  changeDrives();
  EXPECT_EQ(restore({}), -1);
  expectFailure(u"1081", u"The backup not fit to device!", u"110");
  expectUntouched();
}

TEST_F(RestoreBeforeFormatTest, APathThatLeavesTheStorageIsFoundOut) {
  for (const char* file :
       {"storage_for_software\\C:\\a", "storage_for_softwareX\\a", "storage_for_content"}) {
    fs::remove_all(folder.native() / "backups/b");
    backupNamed("b").software("a", "x").listed(file, 0).write();
    EXPECT_EQ(restore({}), -1) << file;
    expectFailure(u"1085", u"The backup xml is not valid!");
    EXPECT_EQ(extras(), backupPlace());
    expectUntouched();
  }
}

TEST_F(RestoreBeforeFormatTest, ABackupOnTheDeviceIsNotFormattedAway) {
  BackupBuilder(folder.native() / "E", "b").software("a", "x").write();
  const std::vector<std::string> before = treeOn(u'E');
  for (const WideText& root : {WideText(u"E:"), WideText(u"E:\\"), path(u"E"), path(u"link")}) {
    if (root == path(u"link")) fs::create_directory_symlink(folder.native() / "E", folder.native() / "link");
    backupRootFolder = root;
    for (const bool keeps : {false, true}) {
      EXPECT_EQ(restore({.keepFlash = keeps, .keepCard = keeps}), -1);
      expectFailure(u"1092", u"The source file could not be open!");
      EXPECT_EQ(treeOn(u'E'), before);
    }
  }
  EXPECT_THAT(maintenance.calls, IsEmpty());
}

TEST_F(RestoreBeforeFormatTest, ABackupOnTheCardOrInALinkedFolderIsNotFormattedAway) {
  BackupBuilder(folder.native() / "F/deep/er", "b").software("a", "x").write();
  backupRootFolder = u"F:\\deep\\er";
  EXPECT_EQ(restore({.keepFlash = true, .keepCard = true}), -1);
  EXPECT_EQ(status().exitCode(), u"1092");
  expectUntouched();
  backupRootFolder = path(u"backups");
  fs::create_directory_symlink(folder.native() / "F/deep/er/b", folder.native() / "backups/b");
  expectRefusedForItsSource({});
  EXPECT_EQ(onDrive(u'F', "deep/er/b/storage_for_software/a"), "x");
}

TEST_F(RestoreBeforeFormatTest, AStorageInTheBackupsOwnFolderIsNotCleared) {
  backupNamed("b").software("a", "x").write();
  const auto before = contents(u"backups");
  for (const WideText& flash : {path(u"backups/b"), path(u"backups/b/storage_for_software")}) {
    expectRefusedForItsSource({.flash = flash, .card = u"", .keepFlash = true});
    EXPECT_EQ(contents(u"backups"), before);
  }
}

TEST_F(RestoreBeforeFormatTest, WhatTheJobItselfNeedsIsNotFormattedAway) {
  backupNamed("b").software("a", "x").write();
  const auto expectRefused = [&](const char* needed) {
    for (const bool keeps : {false, true}) {
      EXPECT_EQ(restore({.keepFlash = keeps, .keepCard = keeps}), -1) << needed;
      expectFailure(u"1260", u"An error occurred when try to format your device. Please retry.");
      expectUntouched();
    }
  };
  makeFolder(path(u"F/work"));
  const WideText work = workTempFolder;
  workTempFolder = u"F:\\work";
  expectRefused("work folder");
  workTempFolder = work;

  {
    platform::Machine machine = platform::machine();
    ProgramAt processes(*machine.processes, u"F:\\work\\TevraCLI.exe");
    machine.processes = &processes;
    const platform::ScopedMachine scope(machine);
    expectRefused("program");
  }

  makeFolder(path(u"F/tmp/ZELMORATevra_tmp"));
  const ScopedEnvironment temp("TMP", toUtf8(path(u"F/tmp")));
  expectRefused("status");
}

TEST_F(RestoreBeforeFormatTest, AnAbortThatWasAskedForIsHonoured) {
  backupNamed("b").software("a", "x").write();
  requestAbort();
  EXPECT_EQ(restore({}), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  expectUntouched();
}

TEST_F(RestoreJobTest, APathWhoseStorageStandsElsewhereThanAtTheStartFailsOnlyWhenItIsCopied) {
  writeFile(path(u"backups/b/x/storage_for_software/a"), "x");
  backupNamed("b").software("a", "x").listed("x\\storage_for_software\\a", 1).write();
  EXPECT_EQ(restoreCleared(), -1);
  expectFailure(u"1085", u"The backup xml is not valid!");
  EXPECT_EQ(extras(), backupPlace());
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
}

// --- around the copy

TEST_F(RestoreJobTest, TheIndicatorFileIsWrittenAgainBehindTheFormat) {
  backupNamed("b").software("a", "x").write();
  writeOn(u'E', "tevra-action.xml", "of the start, and longer");
  const auto indicator = std::make_shared<IndicatorFile>("<action/>");
  EXPECT_EQ(restore({.keepFlash = true, .keepCard = true, .indicator = indicator}), 0);
  EXPECT_EQ(onDrive(u'E', "tevra-action.xml"), "<action/>");
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a", "tevra-action.xml"));
  EXPECT_TRUE(indicator->remove());
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
}

TEST_F(RestoreJobTest, WithoutIndicatorContentNothingIsWritten) {
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restoreCleared(), 0);
  EXPECT_THAT(treeOn(u'E'), ElementsAre("a"));
}

TEST_F(RestoreJobTest, ABackupWithoutFilesIsASuccess) {
  backupNamed("b").write();
  EXPECT_EQ(restoreCleared(), 0);
  EXPECT_THAT(treeOn(u'E'), IsEmpty());
  EXPECT_EQ(status().exitCode(), u"1010");
}

TEST_F(RestoreJobTest, TheObserverIsGivenBack) {
  backupNamed("b").software("a", "x").write();
  EXPECT_EQ(restoreCleared(), 0);
  // It would still have the list of this job.
  EXPECT_FALSE(ProgressObserver::instance().setPosition(0));
}

TEST_F(RestoreJobTest, AStorageNamedWithASeparatorIsTheSame) {
  backupNamed("b").software("d/a", "x").content("c", "y").write();
  EXPECT_EQ(restore({.flash = u"E:\\", .card = u"F:/", .keepFlash = true, .keepCard = true}), 0);
  EXPECT_THAT(treeOn(u'E'), ElementsAre("d/", "d/a"));
  EXPECT_THAT(treeOn(u'F'), ElementsAre("c"));
}

// --- faults

class RestoreFaultTest : public RestoreTest {
 protected:
  RestoreFaultTest() {
    backupNamed("b")
        .software("a", std::string(2'500'000, 'a'))
        .software("empty", "")
        .software("x/y/z", "zzz")
        .content("maps/m", std::string(1'000, 'm'))
        .write();
  }
  void resetDevice() {
    for (const char* drive : {"E", "F"}) {
      fs::remove_all(folder.native() / drive);
      fs::create_directory(folder.native() / drive);
    }
    writeOn(u'E', "ZELMORA/version.xml", versionFile("HW1", "UID1"));
    writeOn(u'E', "old", "o");
  }
  void expectRestored() const {
    EXPECT_EQ(contents(u"E"), contents(u"backups/b/storage_for_software"));
    EXPECT_EQ(contents(u"F"), contents(u"backups/b/storage_for_content"));
  }
  // What lies on a storage is whole: of the backup, or of before.
  void expectNoHalfFile() const {
    for (const auto& [drive, storage] :
         {std::pair<WideText, WideText>{u"E", u"storage_for_software"}, {u"F", u"storage_for_content"}}) {
      const auto wanted = contents(u"backups/b/" + storage);
      for (const auto& [file, content] : contents(drive)) {
        const auto found = wanted.find(file);
        if (found != wanted.end()) {
          EXPECT_TRUE(content == found->second) << file;
        } else {
          EXPECT_TRUE(file == "old" || file == "ZELMORA/version.xml") << file;
        }
      }
    }
  }
  // The file at which the copy failed isn't there, not even a part of it.
  void expectToldFileMissing() const {
    const Extras told = extras();
    const auto attribute = told.find(u"FILE");
    if (attribute == told.end()) return;
    const WideText& file = attribute->second;
    for (const auto& [drive, storage] :
         {std::pair<WideText, WideText>{u"E", u"storage_for_software"}, {u"F", u"storage_for_content"}})
      for (const WideText& start : {path(u"backups/b/" + storage), drive + u':'})
        if (file.starts_with(start + u'/')) {
          EXPECT_FALSE(fileExists(path(drive + file.substr(start.size())))) << toUtf8(file);
        }
  }
  template <typename Disk>
  int restoreOn(Disk& disk) {
    platform::Machine machine = platform::machine();
    machine.files = &disk;
    const platform::ScopedMachine scope(machine);
    return restoreCleared();
  }
};

TEST_F(RestoreFaultTest, EachFailingOperationIsToldAndLeavesNoHalfFile) {
  const auto backup = contents(u"backups");
  bool ranClean = false;
  for (int failing = 1; !ranClean; ++failing) {
    ASSERT_LT(failing, 500);
    resetDevice();
    FaultyFileSystem faulty(*platform::machine().files);
    faulty.failAt = failing;
    const int result = restoreOn(faulty);
    ranClean = faulty.count < failing;
    EXPECT_EQ(contents(u"backups"), backup);
    if (result == 0) {
      expectRestored();
      EXPECT_EQ(status().exitCode(), u"1010") << failing;
    } else {
      EXPECT_EQ(status().state, statErrorOccured) << failing;
      EXPECT_THAT(status().exitCode(), testing::AnyOf(u"1093", u"1094", u"1103", u"1166")) << failing;
      expectNoHalfFile();
      expectToldFileMissing();
    }
  }
}

TEST_F(RestoreFaultTest, ADiskThatTellsOnlyAtTheEndThatItCouldNotKeepAFileIsAFailedCopy) {
  FaultyFileSystem faulty(*platform::machine().files);
  faulty.failsToClose = [](const WideText& path) { return path.ends_with(u"\\a"); };
  EXPECT_EQ(restoreOn(faulty), -1);
  EXPECT_EQ(status().exitCode(), u"1094");
  expectNoHalfFile();
}

TEST_F(RestoreFaultTest, ADeviceThatHasGoneIsToldAsAnErrorAtEveryMoment) {
  const auto backup = contents(u"backups");
  bool ranClean = false;
  for (int failing = 1; !ranClean; ++failing) {
    ASSERT_LT(failing, 500);
    resetDevice();
    // The status documents don't lie on the device.
    class Device : public FaultyFileSystem {
     public:
      using FaultyFileSystem::FaultyFileSystem;
      std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                                 platform::ErrorCode& error) override {
        return driveOf(path) ? FaultyFileSystem::open(path, mode, error) : target().open(path, mode, error);
      }
      bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
        return target().rename(from, to, error);
      }
      static bool driveOf(const WideText& path) { return path.size() > 1 && path[1] == u':'; }
    };
    Device faulty(*platform::machine().files);
    faulty.failAt = failing;
    faulty.failAllAfter = true;
    const int result = restoreOn(faulty);
    ranClean = faulty.count < failing;
    EXPECT_EQ(result, ranClean ? 0 : -1) << failing;
    EXPECT_EQ(status().state, ranClean ? statSuccess : statErrorOccured) << failing;
    EXPECT_EQ(contents(u"backups"), backup);
  }
}

TEST_F(RestoreFaultTest, AKilledRestoreLeavesTheBackupAndTheNextOneIsWhole) {
  const auto backup = contents(u"backups");
  UnsyncedFileSystem disk(*platform::machine().files);
  for (int last = 1;; ++last) {
    ASSERT_LT(last, 500);
    resetDevice();
    const bool ranClean = runsToItsEnd([&] {
      FaultyFileSystem faulty(disk);
      faulty.before = [last](int count, const std::string&) {
        if (count == last) dieHere();
      };
      static_cast<void>(restoreOn(faulty));
    });
    EXPECT_EQ(contents(u"backups"), backup) << last;
    if (ranClean) break;
    // What is left of the identity fits, or there is none.
    EXPECT_EQ(restoreOn(disk), 0) << last;
    expectRestored();
  }
}

TEST_F(RestoreFaultTest, AnAbortInTheMiddleTakesTheFileInHandAway) {
  resetDevice();
  FaultyFileSystem watching(*platform::machine().files);
  int writes = 0;
  watching.before = [&](int, const std::string& operation) {
    if (operation == "flush" && ++writes == 2) requestAbort();
  };
  EXPECT_EQ(restoreOn(watching), -1);
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, statAbort);
  EXPECT_EQ(saved.exitCode(), u"1020");
  ASSERT_GE(saved.descriptions.size(), 2U);
  EXPECT_EQ(saved.descriptions[1], u"1049576 / 2501003");
  EXPECT_THAT(treeOn(u'E'), IsEmpty());
  EXPECT_THAT(treeOn(u'F'), ElementsAre("maps/", "maps/m"));
  EXPECT_EQ(writes, 2);
}

}  // namespace

}  // namespace ZelmoraTevra
