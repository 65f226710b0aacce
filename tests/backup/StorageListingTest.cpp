#include <sys/stat.h>

#include "backup/StorageListing.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/backup/BackupTest.h"

namespace ZelmoraTevra {
namespace {

// Refuses to tell of one file or folder.
class OneIsGone : public platform::ForwardingFileSystem {
 public:
  OneIsGone(platform::FileSystem& target, WideText name)
      : ForwardingFileSystem(target), name_(std::move(name)) {}

  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    return isGone(path, error) ? -1 : target().fileSize(path, error);
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    return isGone(path, error) ? platform::EntryKind::missing : target().kind(path, error);
  }
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    return !isGone(folder, error) && target().list(folder, entries, error);
  }

 private:
  bool isGone(const WideText& path, platform::ErrorCode& error) const {
    if (!path.ends_with(name_)) return false;
    error = boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory);
    return true;
  }

  WideText name_;
};

class StorageListingTest : public BackupTest {
 protected:
  StorageListingTest() { std::filesystem::remove_all(native(flash + u"/ZELMORA")); }

  bool list(const PersonalFilter* filter = nullptr) { return listStorage(flash, filter, files); }
  void put(const WideText& relative, std::size_t bytes = 1) const {
    writeFile(flash + u'/' + relative, std::string(bytes, 'x'));
  }
  // What was listed, below the storage.
  [[nodiscard]] std::vector<WideText> listed() const {
    std::vector<WideText> paths;
    for (const auto& [path, file] : files) {
      EXPECT_EQ(path, file.path);
      EXPECT_TRUE(path.starts_with(toBackslashes(flash) + u'\\'));
      paths.push_back(path.substr(flash.size() + 1));
    }
    return paths;
  }

  BackupFiles files;
};

TEST_F(StorageListingTest, HoldsAllFilesBelowWithTheirSizes) {
  put(u"a", 0);
  put(u"b/c", 5);
  put(u"b/d/e/f", 7);
  makeFolder(flash + u"/empty/folder");
  EXPECT_TRUE(list());
  EXPECT_EQ(listed(), (std::vector<WideText>{u"a", u"b\\c", u"b\\d\\e\\f"}));
  EXPECT_EQ(files[toBackslashes(flash) + u"\\b\\c"].size, 5U);
  EXPECT_EQ(sumOfSizes(files), 12U);
  expectUntold();
}

TEST_F(StorageListingTest, LeavesOutWhatIsHiddenButTheConfigurationOfTheDevice) {
  for (const WideView name :
       {u".Trashes/a", u".hidden", u"b/.hidden/c/d", u"b/.e", u"...", u".DeviceConfiguration",
        u".DeviceConfigurationBackupFile2/a", u".deviceconfigurationbackupfile"})
    put(WideText(name));
  put(u".DeviceConfigurationBackupFile");
  put(u"b/.DeviceConfigurationBackupFile/c");
  put(u"b/.DeviceConfigurationBackupFile/.c");
  put(u"b/a.b");
  EXPECT_TRUE(list());
  EXPECT_EQ(listed(), (std::vector<WideText>{u".DeviceConfigurationBackupFile",
                                             u"b\\.DeviceConfigurationBackupFile\\c", u"b\\a.b"}));
}

TEST_F(StorageListingTest, ADotInThePathOfTheStorageItselfHidesNothing) {
  const WideText hidden = path(u".devices/flash");
  writeFile(hidden + u"/a", "x");
  EXPECT_TRUE(listStorage(hidden, nullptr, files));
  EXPECT_EQ(files.size(), 1U);
}

TEST_F(StorageListingTest, FollowsNoLinkAndTakesNoPipe) {
  writeFile(path(u"outside/a"), "x");
  put(u"b");
  link(path(u"outside"), flash + u"/folder");
  link(path(u"outside/a"), flash + u"/file");
  link(path(u"nothing"), flash + u"/nothing");
  ASSERT_EQ(::mkfifo((native(flash) / "pipe").c_str(), 0600), 0);
  EXPECT_TRUE(list());
  EXPECT_EQ(listed(), (std::vector<WideText>{u"b"}));
}

TEST_F(StorageListingTest, APersonalOneTakesPathsThatHoldAFragment) {
  put(u"tracks/a.gpx");
  put(u"b.kml");
  put(u"maps/c.map");
  PersonalFilter filter;
  EXPECT_TRUE(list(&filter));
  EXPECT_TRUE(files.empty());
  filter.files = {u".kml"};
  filter.folders = {u"\\tracks\\"};
  EXPECT_TRUE(list(&filter));
  EXPECT_EQ(listed(), (std::vector<WideText>{u"b.kml", u"tracks\\a.gpx"}));
}

TEST_F(StorageListingTest, AFileThatHasGoneIsToldInTheLog) {
  startLog();
  put(u"b/a");
  OneIsGone gone(JobTest::files(), u"\\a");
  useFileSystem(gone);
  EXPECT_FALSE(list());
  useFileSystem(JobTest::files());
  EXPECT_TRUE(logHas(u"File not exist! " + toBackslashes(flash) + u"\\b\\a"));
  expectUntold();
}

TEST_F(StorageListingTest, AFolderThatCannotBeReadIsNoEmptyOne) {
  put(u"b/a");
  OneIsGone gone(JobTest::files(), u"\\b");
  useFileSystem(gone);
  EXPECT_FALSE(list());
  useFileSystem(JobTest::files());
}

TEST_F(StorageListingTest, AHiddenFolderThatCannotBeReadHindersNothing) {
  put(u".Trashes/a");
  put(u"b");
  OneIsGone gone(JobTest::files(), u"\\.Trashes");
  useFileSystem(gone);
  EXPECT_TRUE(list());
  useFileSystem(JobTest::files());
  EXPECT_EQ(listed(), (std::vector<WideText>{u"b"}));
}

TEST_F(StorageListingTest, ANameThatCouldNotBeRestoredIsNotLeftOutInSilence) {
  put(u"C:x");
  put(u"b ");
  EXPECT_TRUE(list());
  put(u" ");
  EXPECT_FALSE(list());
}

}  // namespace
}  // namespace ZelmoraTevra
