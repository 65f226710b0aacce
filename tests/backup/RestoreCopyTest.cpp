#include <gmock/gmock.h>

#include <filesystem>

#include "backup/RestoreCopy.h"
#include "core/ProgressObserver.h"
#include "tests/backup/RestoreTest.h"
#include "tests/support/FaultyFileSystem.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class RestoreCopyTest : public RestoreTest {
 protected:
  RestoreCopyTest() {
    // Plain folders do as storages here.
    makeFolder(path(u"flash"));
    makeFolder(path(u"card"));
    makeFolder(path(u"backups/b"));
  }
  void writeSource(const std::string& file, const std::string& content) const {
    writeFile(path(u"backups/b/" + toWide(file)), content);
  }
  int copy(const std::vector<std::pair<WideText, std::uint64_t>>& sizes, const WideText& card) {
    BackupFiles files;
    for (const auto& [file, size] : sizes) files[file] = {file, size};
    return RestoreCopy(path(u"backups/b"), path(u"flash"), card).run(files);
  }
  int copy(const std::vector<std::pair<WideText, std::uint64_t>>& sizes) {
    return copy(sizes, path(u"card"));
  }
  [[nodiscard]] fs::path native(const char* relative) const { return folder.native() / relative; }
};

TEST_F(RestoreCopyTest, AFileForTheCardNeedsOne) {
  writeSource("storage_for_content/c", "c");
  EXPECT_EQ(copy({{u"storage_for_content\\c", 1}}, u""), -1);
  expectFailure(u"1084", u"This backup require that the card should be inserted!");
  EXPECT_THAT(extras(), IsEmpty());
}

TEST_F(RestoreCopyTest, EachFileGoesToItsStorageInTheOrderOfThePaths) {
  writeSource("storage_for_content/c", "c");
  writeSource("storage_for_software/d/e/f", "f");
  writeSource("storage_for_software/g", "");
  EXPECT_EQ(copy({{u"storage_for_software\\d\\e\\f", 1},
                  {u"storage_for_software/g", 0},
                  {u"storage_for_content\\c", 1}}),
            0);
  EXPECT_THAT(JobTest::tree(path(u"flash")), ElementsAre("d/", "d/e/", "d/e/f", "g"));
  EXPECT_THAT(JobTest::tree(path(u"card")), ElementsAre("c"));
}

TEST_F(RestoreCopyTest, ASourceThatIsNotThereNamesTheBackup) {
  EXPECT_EQ(copy({{u"storage_for_software\\a", 1}}), -1);
  expectFailure(u"1092", u"The source file could not be open!");
  EXPECT_EQ(extras(), backupPlace());
  EXPECT_THAT(JobTest::tree(path(u"flash")), IsEmpty());
}

TEST_F(RestoreCopyTest, ASourceIsNeverReadThroughALink) {
  writeFile(path(u"outside/a"), "secret");
  fs::create_directory_symlink(native("outside"), native("backups/b/storage_for_software"));
  EXPECT_EQ(copy({{u"storage_for_software\\a", 6}}), -1);
  EXPECT_EQ(status().exitCode(), u"1092");
  fs::remove(native("backups/b/storage_for_software"));
  fs::create_directory(native("backups/b/storage_for_software"));
  fs::create_symlink(native("outside/a"), native("backups/b/storage_for_software/a"));
  EXPECT_EQ(copy({{u"storage_for_software\\a", 6}}), -1);
  EXPECT_EQ(status().exitCode(), u"1092");
  EXPECT_THAT(JobTest::tree(path(u"flash")), IsEmpty());
}

TEST_F(RestoreCopyTest, ADestinationThatCannotBeMadeIsNamedWithTheDriveOfItsStorage) {
  writeSource("storage_for_content/d/c", "c");
  writeSource("storage_for_software/a", "a");
  fs::create_directory(native("flash/a"));
  EXPECT_EQ(copy({{u"storage_for_software\\a", 1}}), -1);
  expectFailure(u"1093", u"The destination file could not be create!");
  EXPECT_EQ(extras(), (Extras{{u"FILE", path(u"flash/a")}, {u"DRIVE", u""}}));

  // A file stands where a folder is needed.
  writeOn(u'F', "d", "file");
  const BackupFiles files = {{u"storage_for_content\\d\\c", {u"storage_for_content\\d\\c", 1}}};
  EXPECT_EQ(RestoreCopy(path(u"backups/b"), u"E:", u"F:\\").run(files), -1);
  EXPECT_EQ(extras(), (Extras{{u"FILE", u"F:/d/c"}, {u"DRIVE", u"F:"}}));
  EXPECT_EQ(onDrive(u'F', "d"), "file");
}

TEST_F(RestoreCopyTest, AFolderThatIsALinkOnTheDeviceIsNotFollowed) {
  writeSource("storage_for_software/d/a", "a");
  makeFolder(path(u"outside"));
  fs::create_directory_symlink(native("outside"), native("flash/d"));
  EXPECT_EQ(copy({{u"storage_for_software\\d\\a", 1}}), -1);
  EXPECT_EQ(status().exitCode(), u"1093");
  EXPECT_THAT(JobTest::tree(path(u"outside")), IsEmpty());
}

TEST_F(RestoreCopyTest, AFileThatIsALinkOnTheDeviceMakesWay) {
  writeSource("storage_for_software/a", "new");
  writeFile(path(u"outside"), "kept");
  fs::create_symlink(native("outside"), native("flash/a"));
  EXPECT_EQ(copy({{u"storage_for_software\\a", 3}}), 0);
  EXPECT_EQ(readFile(path(u"outside")), "kept");
  EXPECT_FALSE(fs::is_symlink(native("flash/a")));
  EXPECT_EQ(readFile(path(u"flash/a")), "new");
}

TEST_F(RestoreCopyTest, AStorageThatHasGoneIsNotMadeAgain) {
  writeSource("storage_for_software/d/a", "a");
  fs::remove(native("flash"));
  EXPECT_EQ(copy({{u"storage_for_software\\d\\a", 1}}), -1);
  EXPECT_EQ(status().exitCode(), u"1093");
  EXPECT_FALSE(fs::exists(native("flash")));
}

TEST_F(RestoreCopyTest, AFailedCopyNamesItsSource) {
  writeSource("storage_for_software/a", "a");
  FaultyFileSystem faulty(*platform::machine().files);
  faulty.before = [&](int count, const std::string& operation) {
    if (operation == "write" && faulty.failAt == 0) faulty.failAt = count;
  };
  platform::Machine machine = platform::machine();
  machine.files = &faulty;
  const platform::ScopedMachine scope(machine);
  EXPECT_EQ(copy({{u"storage_for_software\\a", 1}}), -1);
  expectFailure(u"1094", u"An error occurred at the copy process!");
  EXPECT_EQ(extras(), (Extras{{u"FILE", path(u"backups/b/storage_for_software/a")}}));
  EXPECT_THAT(JobTest::tree(path(u"flash")), IsEmpty());
}

TEST_F(RestoreCopyTest, AMediumThatDoesNotTakeAllIsAFailedCopy) {
  // The device has a volume of its own, as one that can be pulled.
  class DeviceVolume : public FaultyFileSystem {
   public:
    using FaultyFileSystem::FaultyFileSystem;
    bool areOnSameVolume(const WideText&, const WideText&, platform::ErrorCode& error) override {
      error.clear();
      return false;
    }
  };
  writeSource("storage_for_software/a", "a");
  DeviceVolume faulty(*platform::machine().files);
  faulty.before = [&](int count, const std::string& operation) {
    if (operation == "syncVolume") faulty.failAt = count;
  };
  platform::Machine machine = platform::machine();
  machine.files = &faulty;
  const platform::ScopedMachine scope(machine);
  EXPECT_EQ(copy({{u"storage_for_software\\a", 1}}), -1);
  expectFailure(u"1094", u"An error occurred at the copy process!");
  EXPECT_EQ(extras(), (Extras{{u"FILE", path(u"backups/b")}}));
}

TEST_F(RestoreCopyTest, ADamagedPathHasNoPlace) {
  for (const char16_t* file : {u"x\\storage_for_software\\a", u"storage_for_softwareX\\a", u"elsewhere",
                               u"storage_for_software\\..\\..\\a", u"storage_for_content\\C:\\a"}) {
    EXPECT_EQ(copy({{file, 1}}), -1) << toUtf8(file);
    expectFailure(u"1085", u"The backup xml is not valid!");
    EXPECT_EQ(extras(), backupPlace());
  }
}

TEST_F(RestoreCopyTest, TheFoldersOfManyFilesAreMadeOnce) {
  std::vector<std::pair<WideText, std::uint64_t>> files;
  for (int number = 0; number < 50; ++number) {
    const std::string name = "storage_for_software/d/e/file" + std::to_string(number);
    writeSource(name, "x");
    files.emplace_back(toWide(name), 1);
  }
  FaultyFileSystem counting(*platform::machine().files);
  int foldersMade = 0;
  counting.before = [&](int, const std::string& operation) { foldersMade += operation == "createFolder"; };
  platform::Machine machine = platform::machine();
  machine.files = &counting;
  const platform::ScopedMachine scope(machine);
  EXPECT_EQ(copy(files), 0);
  EXPECT_EQ(foldersMade, 2);
  EXPECT_EQ(JobTest::tree(path(u"flash")).size(), 52U);
}

TEST_F(RestoreCopyTest, ProgressTellsSourceAndDestination) {
  writeSource("storage_for_software/d/a", std::string(3 << 20, 'a'));
  FaultyFileSystem slow(*platform::machine().files);
  slow.before = [&](int, const std::string& operation) { clock.ticks += operation == "flush" ? 600 : 0; };
  platform::Machine machine = platform::machine();
  machine.files = &slow;
  const platform::ScopedMachine scope(machine);
  EXPECT_EQ(copy({{u"storage_for_software\\d\\a", 3 << 20}, {u"storage_for_software\\z", 0}}), -1);
  ASSERT_GE(statusHistory().size(), 2U);
  const SavedStatus& progress = statusHistory().front();
  EXPECT_EQ(progress.state, statRestoreInProgress);
  EXPECT_THAT(progress.descriptions,
              ElementsAre(u"33", u"1048576 / 3145728", u"33", u"1048576 / 3145728",
                          path(u"backups/b") + u"/storage_for_software\\d\\a", path(u"flash") + u"\\d\\a"));
}

TEST_F(RestoreCopyTest, TheTextsOfAFileThatIsDoneAreNotKept) {
  writeSource("storage_for_software/a", "a");
  writeSource("storage_for_software/b", "b");
  EXPECT_EQ(copy({{u"storage_for_software\\a", 3}, {u"storage_for_software\\b", 3}}), 0);
  for (const std::uint32_t file : {0U, 1U}) {
    clock.ticks += 2'000;
    ProgressObserver::instance().setPosition(file);
    ASSERT_TRUE(ProgressObserver::instance().addProgress(1, statRestoreInProgress));
    ASSERT_EQ(status().descriptions.size(), 6U);
    EXPECT_EQ(status().descriptions[4], u"");
    EXPECT_EQ(status().descriptions[5], u"");
  }
}

TEST_F(RestoreCopyTest, TheBlocksForTheCardAreAsLargeAsThoseForTheMainStorage) {
  for (const char* storage : {"storage_for_software", "storage_for_content"}) {
    const std::string name = std::string(storage) + "/a";
    writeSource(name, std::string((2 << 20) + 1, 'a'));
    FaultyFileSystem watched(*platform::machine().files);
    // Each block is sent on its way by itself.
    int flushes = 0;
    watched.before = [&](int, const std::string& operation) { flushes += operation == "flush"; };
    platform::Machine machine = platform::machine();
    machine.files = &watched;
    const platform::ScopedMachine scope(machine);
    EXPECT_EQ(copy({{toWide(name), (2 << 20) + 1}}), 0);
    EXPECT_EQ(flushes, 3) << storage;
  }
}

TEST_F(RestoreCopyTest, AFileLargerThanListedIsRestoredWhole) {
  writeSource("storage_for_software/a", "more than listed");
  EXPECT_EQ(copy({{u"storage_for_software\\a", 1}}), 0);
  EXPECT_EQ(readFile(path(u"flash/a")), "more than listed");
}

TEST_F(RestoreCopyTest, NothingIsRestoredIntoTheBackupItself) {
  writeFile(path(u"flash/backups/b/storage_for_software/a"), "kept");
  writeFile(path(u"flash/backups/b/storage_for_software/backups/b/storage_for_software/a"), "bad");
  const WideText file = u"storage_for_software\\backups\\b\\storage_for_software\\a";
  const BackupFiles files = {{file, {file, 3}}};
  EXPECT_EQ(RestoreCopy(path(u"flash/backups/b"), path(u"flash"), u"").run(files), -1);
  EXPECT_EQ(status().exitCode(), u"1093");
  EXPECT_EQ(readFile(path(u"flash/backups/b/storage_for_software/a")), "kept");
  // Nor is it, when the storage lies in the backup.
  EXPECT_EQ(
      RestoreCopy(path(u"flash/backups/b"), path(u"flash/backups/b/storage_for_software"), u"").run(files),
      -1);
  EXPECT_EQ(status().exitCode(), u"1093");
  EXPECT_EQ(readFile(path(u"flash/backups/b/storage_for_software/a")), "kept");
}

TEST_F(RestoreCopyTest, ABackupOnTheDeviceCanBeLaidOverIt) {
  writeFile(path(u"flash/backups/b/storage_for_software/backups/c/a"), "new");
  const WideText file = u"storage_for_software\\backups\\c\\a";
  const BackupFiles files = {{file, {file, 3}}};
  EXPECT_EQ(RestoreCopy(path(u"flash/backups/b"), path(u"flash"), u"").run(files), 0);
  EXPECT_EQ(readFile(path(u"flash/backups/c/a")), "new");
}

}  // namespace

}  // namespace ZelmoraTevra
