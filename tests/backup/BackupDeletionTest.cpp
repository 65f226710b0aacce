#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>

#include "backup/BackupDeletion.h"
#include "backup/BackupFolderMove.h"
#include "backup/BackupList.h"
#include "backup/ConvertBackupsRunner.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/BackupBuilder.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class BackupDeletionTest : public JobTest {
 protected:
  [[nodiscard]] BackupBuilder backupNamed(const std::string& name) const {
    return {folder.native() / "backups", name};
  }
  [[nodiscard]] std::vector<std::string> backups() const { return tree(path(u"backups")); }
  static int deleteNamed(const WideText& name) {
    BackupDeletion deletion;
    const int found = deletion.findBackup(name);
    return found == 0 ? deletion.deleteBackup() : found;
  }
};

TEST_F(BackupDeletionTest, ABackupGoesWithAllThatIsInIt) {
  backupNamed("b").software("x/a", "x").content("c", "y").write();
  makeFolder(path(u"backups/b/empty/er"));
  EXPECT_EQ(deleteNamed(u"b"), 0);
  EXPECT_THAT(backups(), IsEmpty());
  EXPECT_EQ(status().state, statSuccess);
  EXPECT_EQ(status().exitCode(), u"1010");
}

TEST_F(BackupDeletionTest, EachFileIsToldBeforeItGoesAndTheDescriptionIsTheLast) {
  backupNamed("b").software("x/a", "x").software("z", "z").write();
  class Watching : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& removed, platform::ErrorCode& error) override {
      const bool isOfBackup = removed.find(u"backups") != WideText::npos;
      if (isOfBackup && lastComponent(removed) != u".tevra_unfinished") onRemoval(removed);
      return target().removeFile(removed, error);
    }
    std::function<void(const WideText&)> onRemoval;
  };
  Watching watching(files());
  std::vector<WideText> leaves;
  watching.onRemoval = [&](const WideText& removed) {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, statDeleteInProgress);
    EXPECT_EQ(saved.exitCode(), u"1173");
    ASSERT_EQ(saved.descriptions.size(), 2U);
    EXPECT_EQ(saved.descriptions[0], lastComponent(removed));
    EXPECT_EQ(toForwardSlashes(saved.descriptions[1]), toForwardSlashes(removed));
    leaves.push_back(saved.descriptions[0]);
  };
  useFileSystem(watching);
  EXPECT_EQ(deleteNamed(u"b"), 0);
  ASSERT_EQ(leaves.size(), 3U);
  EXPECT_EQ(std::set<WideText>(leaves.begin(), leaves.end()), (std::set<WideText>{u"a", u"z", u"b.xml"}));
  EXPECT_EQ(leaves.back(), u"b.xml");
  ASSERT_EQ(statusHistory().size(), 5U);
  EXPECT_EQ(statusHistory().front().state, statPreparing);
  EXPECT_EQ(statusHistory().front().exitCode(), u"1057");
}

TEST_F(BackupDeletionTest, ANameThatIsNotThereTouchesNothing) {
  backupNamed("b").software("a", "x").write();
  const std::vector<std::string> before = backups();
  startLog();
  EXPECT_EQ(deleteNamed(u"c"), -1);
  const WideText place = path(u"backups") + u"\\c";
  EXPECT_TRUE(logHas(u"Backup folder does not exists: " + place));
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, statErrorOccured);
  EXPECT_EQ(saved.exitCode(), u"1147");
  EXPECT_THAT(saved.descriptions, ElementsAre(u"101", place, u"The specified backup could not be found."));
  EXPECT_EQ(saved.attributes.at(u"PATH"), toForwardSlashes(place));
  EXPECT_EQ(saved.attributes.at(u"DRIVE"), u"");
  EXPECT_EQ(backups(), before);
}

TEST_F(BackupDeletionTest, ANameThatLeadsElsewhereIsNotThere) {
  writeFile(path(u"outside/a"), "x");
  backupNamed("b").software("a", "x").write();
  for (const WideText& name :
       {WideText(u".."), WideText(u"."), WideText(u"../outside"), WideText(u"..\\outside"),
        WideText(u"b\\storage_for_software"), WideText(u"b/.."), path(u"outside"), WideText(u"")}) {
    EXPECT_EQ(deleteNamed(name), -1) << toUtf8(name);
    EXPECT_EQ(status().exitCode(), u"1147") << toUtf8(name);
  }
  EXPECT_TRUE(fileExists(path(u"outside/a")));
  EXPECT_EQ(backups().size(), 4U);
}

TEST_F(BackupDeletionTest, AFileIsNoBackup) {
  writeFile(path(u"backups/b"), "x");
  EXPECT_EQ(deleteNamed(u"b"), -1);
  EXPECT_EQ(status().exitCode(), u"1147");
  EXPECT_TRUE(fileExists(path(u"backups/b")));
}

TEST_F(BackupDeletionTest, OneWhoseNameBeginsTheSameStays) {
  backupNamed("a").software("f", "x").write();
  backupNamed("ab").software("f", "x").write();
  EXPECT_EQ(deleteNamed(u"a"), 0);
  EXPECT_THAT(backups(),
              ElementsAre("ab/", "ab/ab.xml", "ab/storage_for_software/", "ab/storage_for_software/f"));
}

TEST_F(BackupDeletionTest, SymbolicLinksGoAndAreNotFollowed) {
  writeFile(path(u"outside/a"), "x");
  backupNamed("b").software("a", "x").write();
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "backups/b/folder");
  fs::create_symlink(folder.native() / "outside/a", folder.native() / "backups/b/file");
  EXPECT_EQ(deleteNamed(u"b"), 0);
  EXPECT_THAT(backups(), IsEmpty());
  EXPECT_EQ(readFile(path(u"outside/a")), "x");
}

TEST_F(BackupDeletionTest, OfABackupThatIsALinkOnlyTheLinkGoes) {
  BackupBuilder(folder.native() / "outside", "b").software("a", "x").write();
  const std::vector<std::string> before = tree(path(u"outside"));
  fs::create_directory_symlink(folder.native() / "outside/b", folder.native() / "backups/b");
  EXPECT_EQ(deleteNamed(u"b"), 0);
  EXPECT_THAT(backups(), IsEmpty());
  EXPECT_EQ(tree(path(u"outside")), before);
}

TEST_F(BackupDeletionTest, ABackupThatCannotBeRemovedIsTold) {
  backupNamed("b").software("a", "x").write();
  class Stubborn : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& removed, platform::ErrorCode& error) override {
      if (!removed.ends_with(u"\\a")) return target().removeFile(removed, error);
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return false;
    }
  };
  Stubborn stubborn(files());
  useFileSystem(stubborn);
  EXPECT_EQ(deleteNamed(u"b"), -1);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1023");
  EXPECT_THAT(status().descriptions, ElementsAre(u"100", u"The backup could not be deleted."));
  EXPECT_EQ(status().attributes.at(u"PATH"), path(u"backups/b"));
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  EXPECT_TRUE(fileExists(path(u"backups/b/storage_for_software/a")));
}

// Deletes the backup of a device, and looks at what other commands make of what is left of it.
class BackupDeletionFaultTest : public BackupDeletionTest {
 protected:
  BackupDeletionFaultTest() {
    makeFolder(path(u"new"));
    useFileSystem(unsynced);
  }
  void resetBackup() {
    for (const char* name : {"backups", "new"}) fs::remove_all(folder.native() / name);
    for (const WideText& name : {path(u"backups"), path(u"new")}) makeFolder(name);
    backupRootFolder = path(u"backups");
    backupNamed("b")
        .software("ZELMORA/version.xml",
                  "<config><software><brand>Z</brand><platform>N</platform></software></config>")
        .software("x/a", "x")
        .content("c", "y")
        .write();
  }
  // Half a backup is never listed, described or moved, and a move isn't held up by one.
  void expectNoHalfBackup() {
    const bool isWhole = isWholeIn(u"backups");
    const bool isDescribed = fileExists(path(u"backups/b/b.xml"));
    EXPECT_EQ(isListed(), isWhole);
    EXPECT_EQ(convertBackups(), 0);
    EXPECT_EQ(fileExists(path(u"backups/b/b.xml")), isDescribed);
    EXPECT_EQ(isListed(), isWhole);
    BackupFolderMove job;
    ASSERT_EQ(job.prepareMove(path(u"backups"), path(u"new")), 0);
    EXPECT_EQ(job.runMove(), 0);
    EXPECT_TRUE(tree(path(u"new")).empty() || isWholeIn(u"new"));
  }
  [[nodiscard]] bool isWholeIn(const WideText& root) const {
    const std::vector<const char16_t*> names = {u"b.xml", u"storage_for_software/ZELMORA/version.xml",
                                                u"storage_for_software/x/a", u"storage_for_content/c"};
    return std::all_of(names.begin(), names.end(),
                       [&](const char16_t* file) { return fileExists(path(root + u"/b/" + file)); });
  }
  bool isListed() {
    BackupList list;
    EXPECT_EQ(list.listBackups(), 0);
    EXPECT_EQ(list.writeBackupList(), 0);
    return readFile(StatusXml::instance().statusFilePath()).find("<backup>") != std::string::npos;
  }
  UnsyncedFileSystem unsynced{files()};
};

TEST_F(BackupDeletionFaultTest, WhateverFileStaysHalfABackupIsNone) {
  class Stubborn : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& removed, platform::ErrorCode& error) override {
      if (!removed.ends_with(stays)) return target().removeFile(removed, error);
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return false;
    }
    WideText stays;
  };
  for (const char16_t* stays : {u"\\version.xml", u"\\a", u"\\c", u"\\b.xml"}) {
    resetBackup();
    Stubborn stubborn(unsynced);
    stubborn.stays = stays;
    useFileSystem(stubborn);
    EXPECT_EQ(deleteNamed(u"b"), -1);
    useFileSystem(unsynced);
    EXPECT_EQ(status().exitCode(), u"1023");
    // What is left can be named and deleted later.
    EXPECT_TRUE(fileExists(path(u"backups/b/b.xml"))) << toUtf8(WideText(stays));
    expectNoHalfBackup();
    backupRootFolder = path(u"backups");
    EXPECT_EQ(deleteNamed(u"b"), 0);
    EXPECT_THAT(backups(), IsEmpty());
  }
}

TEST_F(BackupDeletionFaultTest, AKillAtAnyOperationLeavesAWholeBackupOrNoneAndTheNextDeletionFinishes) {
  for (int killAt = 1;; ++killAt) {
    SCOPED_TRACE("killed at operation " + std::to_string(killAt));
    ASSERT_LT(killAt, 200);
    resetBackup();
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem killing(unsynced);
      killing.before = [killAt](int number, const std::string&) {
        if (number == killAt) dieHere();
      };
      useFileSystem(killing);
      static_cast<void>(deleteNamed(u"b"));
    });
    if (ended) break;
    expectNoHalfBackup();
    if (!fs::exists(folder.native() / "backups/b")) continue;
    backupRootFolder = path(u"backups");
    EXPECT_EQ(deleteNamed(u"b"), 0);
    EXPECT_THAT(backups(), IsEmpty());
  }
  EXPECT_THAT(backups(), IsEmpty());
}

TEST_F(BackupDeletionTest, TheDescriptionIsTheLastHoweverTheNameIsSpelled) {
  backupNamed("b").software("z", "z").write();
  fs::rename(folder.native() / "backups/b/b.xml", folder.native() / "backups/b/B.XML");
  EXPECT_EQ(deleteNamed(u"b"), 0);
  const std::size_t reports = statusHistory().size();
  EXPECT_EQ(statusHistory().at(reports - 2).descriptions.front(), u"B.XML");
}

TEST_F(BackupDeletionTest, APlaceThatGivesNoAnswerIsNotTakenForDeleted) {
  backupNamed("b").software("a", "x").write();
  class Gone : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::EntryKind kind(const WideText& asked, platform::ErrorCode& error) override {
      if (!isGone || !asked.ends_with(u"\\b")) return target().kind(asked, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return platform::EntryKind::missing;
    }
    bool removeFolder(const WideText& removed, platform::ErrorCode& error) override {
      isGone = true;
      return target().removeFolder(removed, error);
    }
    bool isGone = false;
  };
  Gone gone(files());
  useFileSystem(gone);
  EXPECT_EQ(deleteNamed(u"b"), -1);
  EXPECT_EQ(status().exitCode(), u"1023");
}

TEST_F(BackupDeletionTest, WithoutABackupThatWasFoundNothingIsDeleted) {
  BackupDeletion deletion;
  EXPECT_EQ(deletion.deleteBackup(), 1);
  EXPECT_EQ(deletion.findBackup(u"missing"), -1);
  EXPECT_EQ(deletion.deleteBackup(), 1);
}

TEST_F(BackupDeletionTest, AtEveryFailureTheOtherBackupStaysAndWhatIsLeftIsTold) {
  bool ranClean = false;
  for (int failing = 1; !ranClean; ++failing) {
    ASSERT_LT(failing, 200);
    backupNamed("b").software("x/a", "x").content("c", "y").write();
    backupNamed("bb").software("a", "x").write();
    const platform::Machine before = platform::machine();
    FaultyFileSystem faulty(*before.files);
    faulty.failAt = failing;
    platform::Machine machine = before;
    machine.files = &faulty;
    const platform::ScopedMachine scope(machine);
    const int result = deleteNamed(u"b");
    ranClean = faulty.count < failing;
    const bool isLeft = fs::exists(folder.native() / "backups/b");
    EXPECT_EQ(result, isLeft ? -1 : 0) << failing;
    EXPECT_EQ(status().exitCode(), isLeft ? u"1023" : u"1010") << failing;
    EXPECT_EQ(tree(path(u"backups/bb")).size(), 3U) << failing;
  }
}

}  // namespace

}  // namespace ZelmoraTevra
