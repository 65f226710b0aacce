#include <algorithm>

#include "backup/BackupCopy.h"
#include "backup/StorageListing.h"
#include "core/ProgressObserver.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/backup/BackupTest.h"
#include "tests/support/FaultyFileSystem.h"

namespace ZelmoraTevra {
namespace {

// Notes which folders are made, and how much is read at a time.
class Watched : public platform::ForwardingFileSystem {
 public:
  explicit Watched(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  std::vector<WideText> folders;
  std::size_t largestRead = 0;

  bool createFolder(const WideText& path, platform::ErrorCode& error) override {
    folders.push_back(path);
    return target().createFolder(path, error);
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    auto handle = target().open(path, mode, error);
    if (!handle || mode != platform::OpenMode::read) return handle;
    return std::make_unique<Handle>(*this, std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(Watched& owner, std::unique_ptr<platform::FileHandle> target)
        : ForwardingFileHandle(std::move(target)), owner_(owner) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      owner_.largestRead = std::max(owner_.largestRead, size);
      return target().read(buffer, size, error);
    }

   private:
    Watched& owner_;
  };
};

class BackupCopyTest : public BackupTest {
 protected:
  BackupCopyTest() {
    std::filesystem::remove_all(native(flash + u"/ZELMORA"));
    makeFolder(target);
  }
  void collect() {
    EXPECT_TRUE(listStorage(flash, nullptr, files));
    EXPECT_TRUE(listStorage(card, nullptr, files));
  }
  int copy() { return BackupCopy(flash, card, target).run(files); }
  void list(const WideText& path, std::uint64_t size = 1) { files[path] = {path, size}; }

  const WideText target = root + u"/mine";
  BackupFiles files;
};

TEST_F(BackupCopyTest, EachStorageGetsAFolderOfItsOwn) {
  writeFile(flash + u"/a/b/c", "one");
  writeFile(flash + u"/empty", "");
  writeFile(card + u"/a/b/c", "two");
  collect();
  EXPECT_EQ(copy(), 0);
  EXPECT_EQ(readFile(target + u"/storage_for_software/a/b/c"), "one");
  EXPECT_EQ(readFile(target + u"/storage_for_software/empty"), "");
  EXPECT_EQ(readFile(target + u"/storage_for_content/a/b/c"), "two");
  EXPECT_EQ(tree(target).size(), 9U);
}

TEST_F(BackupCopyTest, EveryFolderIsMadeOnceInWhateverOrderNamesStand) {
  for (const WideView name : {u"a/1", u"a/b/1", u"a/b/c/1", u"a/b/z", u"a/b.d/1", u"a/bc/1", u"a/z", u"a-b/1",
                              u"a b/1", u"aB/1", u"z", u"A/1", u"a/b/c/d/e/1", u"a/b/d/1"})
    writeFile(flash + u'/' + WideText(name), "x");
  writeFile(card + u"/a/1", "x");
  collect();
  Watched watched(JobTest::files());
  useFileSystem(watched);
  EXPECT_EQ(copy(), 0);
  useFileSystem(JobTest::files());
  std::vector<WideText> made = watched.folders;
  std::sort(made.begin(), made.end());
  EXPECT_EQ(std::adjacent_find(made.begin(), made.end()), made.end());
  EXPECT_EQ(tree(target + u"/storage_for_software"), tree(flash));
  EXPECT_EQ(tree(target + u"/storage_for_content"), tree(card));
}

TEST_F(BackupCopyTest, TheFlashDriveIsReadInLargerBlocksThanTheCard) {
  for (const auto& [folder, bytes] : {std::pair(flash, 0x100000U), std::pair(card, 0x40000U)}) {
    files.clear();
    writeFile(folder + u"/big", std::string(0x280000, 'x'));
    list(folder + u"/big", 0x280000);
    Watched watched(JobTest::files());
    useFileSystem(watched);
    EXPECT_EQ(copy(), 0);
    useFileSystem(JobTest::files());
    EXPECT_EQ(watched.largestRead, bytes);
  }
}

TEST_F(BackupCopyTest, TellsHowFarItIsAndWithWhichFile) {
  writeFile(flash + u"/a", "1234");
  writeFile(flash + u"/b", "123456");
  collect();
  FaultyFileSystem slow(JobTest::files());
  slow.before = [this](int, const std::string& operation) {
    if (operation == "write") clock.ticks += 1001;
  };
  useFileSystem(slow);
  EXPECT_EQ(copy(), 0);
  useFileSystem(JobTest::files());
  std::vector<SavedStatus> told;
  for (const SavedStatus& each : statusHistory())
    if (each.state == statBackupInProgress) told.push_back(each);
  ASSERT_GE(told.size(), 2U);
  EXPECT_EQ(told.front().descriptions,
            (std::vector<WideText>{u"40", u"4 / 10", u"100", u"4 / 4", toBackslashes(flash) + u"\\a",
                                   target + u"/storage_for_software/a"}));
  EXPECT_EQ(told.back().descriptions,
            (std::vector<WideText>{u"100", u"10 / 10", u"100", u"6 / 6", toBackslashes(flash) + u"\\b",
                                   target + u"/storage_for_software/b"}));
}

TEST_F(BackupCopyTest, AFileOfNeitherStorageIsReported) {
  list(path(u"elsewhere/a"));
  EXPECT_EQ(copy(), 1061);
  expectFailure(u"1061",
                {u"100",
                 u"The path to source folder and for secondary sources folder couldn't found on the map "
                 u"struct!"});
}

TEST_F(BackupCopyTest, WithoutASecondStorageAFileBelowNoFolderIsReported) {
  list(u"\\a");
  EXPECT_EQ(BackupCopy(flash, u"", target).run(files), 1061);
}

TEST_F(BackupCopyTest, APathOfOnePartIsReported) {
  list(u"a");
  EXPECT_EQ(copy(), 1062);
  expectFailure(u"1062", {u"100", u"Error on creating the map with the file path!"});
}

TEST_F(BackupCopyTest, ASourceThatCannotBeOpenedIsReported) {
  list(flash + u"\\gone");
  EXPECT_EQ(copy(), 1063);
  expectFailure(u"1063", {u"100", u"Could not open the sources file!" + flash + u"\\gone"},
                {{u"FILE", flash + u"/gone"}});
}

TEST_F(BackupCopyTest, ADestinationThatCannotBeMadeIsReported) {
  writeFile(flash + u"/a/b", "x");
  writeFile(target + u"/storage_for_software", "a file in the way");
  list(flash + u"\\a\\b");
  EXPECT_EQ(copy(), 1064);
  expectFailure(
      u"1064", {u"100", u"Could not create the destination file!" + flash + u"\\a\\b"},
      {{u"FILE", target + u"/storage_for_software/a/b"}, {u"PATH", target + u"/storage_for_software/a"}});
}

TEST_F(BackupCopyTest, NothingThatStandsAtADestinationIsWrittenOver) {
  writeFile(flash + u"/a", "new");
  writeFile(flash + u"/b", "new");
  writeFile(path(u"outside"), "kept");
  makeFolder(target + u"/storage_for_software");
  link(path(u"outside"), target + u"/storage_for_software/a");
  list(flash + u"\\a");
  EXPECT_EQ(copy(), 1064);
  EXPECT_EQ(readFile(path(u"outside")), "kept");
  files.clear();
  // As where upper and lower case are the same and two names of a device are one.
  writeFile(target + u"/storage_for_software/b", "kept");
  list(flash + u"\\b");
  EXPECT_EQ(copy(), 1064);
  EXPECT_EQ(readFile(target + u"/storage_for_software/b"), "kept");
}

TEST_F(BackupCopyTest, AWriteThatFailsIsReported) {
  writeFile(flash + u"/a", "x");
  list(flash + u"\\a");
  FaultyFileSystem faulty(JobTest::files());
  faulty.failAt = 3;  // the folder, the file, its content
  useFileSystem(faulty);
  EXPECT_EQ(copy(), 1065);
  useFileSystem(JobTest::files());
  expectFailure(u"1065", {u"100", u"An error occurred at the copy process!" + flash + u"\\a"});
  EXPECT_EQ(tree(target), (std::vector<std::string>{"storage_for_software/"}));
}

TEST_F(BackupCopyTest, AFileWhoseSizeHasChangedSinceItWasListedIsReported) {
  writeFile(flash + u"/a", "12345");
  for (const std::uint64_t listed : {4U, 6U}) {
    list(flash + u"\\a", listed);
    EXPECT_EQ(copy(), 1065);
    expectFailure(u"1065", {u"100", u"An error occurred at the copy process!" + flash + u"\\a"});
    EXPECT_EQ(tree(target), (std::vector<std::string>{"storage_for_software/"}));
  }
}

TEST_F(BackupCopyTest, AnAbortIsReportedAndNothingElse) {
  writeFile(flash + u"/a", "1234");
  writeFile(flash + u"/b", "1234");
  collect();
  writeFile(StatusXml::instance().abortFilePath(),
            "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  EXPECT_EQ(copy(), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(tree(target), (std::vector<std::string>{"storage_for_software/"}));
}

TEST_F(BackupCopyTest, NoFilesAreCopiedAtOnce) {
  EXPECT_EQ(copy(), 0);
  EXPECT_TRUE(tree(target).empty());
}

}  // namespace
}  // namespace ZelmoraTevra
