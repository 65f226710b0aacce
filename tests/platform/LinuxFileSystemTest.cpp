#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "platform/linux/LinuxFileSystem.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

class LinuxFileSystemTest : public testing::Test {
 protected:
  void put(const std::string& name) const { std::ofstream(folder_.native() / name) << name; }

  [[nodiscard]] std::vector<FolderEntry> listing(const WideText& folder) {
    std::vector<FolderEntry> entries;
    EXPECT_TRUE(files_.list(folder, entries, error_)) << error_.message();
    return entries;
  }

  TemporaryFolder folder_;
  LinuxFileSystem files_;
  ErrorCode error_;
};

TEST_F(LinuxFileSystemTest, aPathOnADriveNamesNothingAndLeavesNoFileInTheWorkingFolder) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.native());
  std::filesystem::create_directory("E:");
  put("E:/x");
  for (const WideText path : {u"E:", u"e:", u"E:/", u"E:\\", u"E:/x", u"E:\\x"}) {
    EXPECT_EQ(files_.kind(path, error_), EntryKind::missing);
    EXPECT_FALSE(error_);
    EXPECT_FALSE(files_.isLink(path, error_));
    EXPECT_FALSE(error_);
    for (const OpenMode mode : {OpenMode::read, OpenMode::truncate, OpenMode::append}) {
      EXPECT_EQ(files_.open(path, mode, error_), nullptr);
      EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
    }
    EXPECT_EQ(files_.fileSize(path, error_), -1);
    EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
    std::vector<FolderEntry> entries;
    EXPECT_FALSE(files_.list(path, entries, error_));
    EXPECT_FALSE(files_.createFolder(path, error_));
    EXPECT_FALSE(files_.rename(path, u"y", error_));
    EXPECT_FALSE(files_.rename(u"y", path, error_));
    EXPECT_FALSE(files_.removeFile(path, error_));
    EXPECT_FALSE(files_.removeFolder(path, error_));
    EXPECT_FALSE(files_.clearReadOnlyAndHidden(path, error_));
    EXPECT_FALSE(files_.setHidden(path, error_));
    EXPECT_FALSE(files_.areSame(path, path, error_));
    EXPECT_FALSE(files_.identity(path, error_));
    EXPECT_FALSE(files_.setTimes(path, 0, error_));
    EXPECT_FALSE(files_.syncFolder(path, error_));
    Space space;
    EXPECT_FALSE(files_.space(path, space, error_));
    EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  }
  EXPECT_TRUE(std::filesystem::exists("E:/x"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
  std::filesystem::current_path(before);
}

TEST_F(LinuxFileSystemTest, aLetterAndAColonInFrontOfANameIsAnOrdinaryPath) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.native());
  EXPECT_NE(files_.open(u"E:x", OpenMode::truncate, error_), nullptr);
  EXPECT_NE(files_.open(u"1:", OpenMode::truncate, error_), nullptr);
  EXPECT_NE(files_.open(u"EE:", OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(std::filesystem::exists("E:x"));
  EXPECT_TRUE(std::filesystem::exists("1:"));
  EXPECT_TRUE(std::filesystem::exists("EE:"));
  std::filesystem::current_path(before);
}

TEST_F(LinuxFileSystemTest, namesThatAreNotUtf8LeadBackToTheirFiles) {
  const std::set<std::string> names{
      "\xFF\xFE",     "caf\xE9",          "\xC3",   "\xE2\x82",         "\xC0\xAF",
      "\xED\xA0\x80", "\xF5\x80\x80\x80", "a\x80z", "\xF0\x9F\x97\xBA", "\xF0\x9F\x97\xBA\xBA"};
  for (const std::string& name : names) put(name);
  const auto entries = listing(folder_.path());
  EXPECT_EQ(entries.size(), names.size());
  for (const FolderEntry& entry : entries) {
    const WideText path = folder_.path() + u"\\" + entry.name;
    const auto file = files_.open(path, OpenMode::read, error_);
    ASSERT_NE(file, nullptr) << error_.message();
    std::string content(16, '\0');
    content.resize(static_cast<std::size_t>(file->read(content.data(), content.size(), error_)));
    EXPECT_TRUE(names.contains(content));
    EXPECT_TRUE(files_.removeFile(path, error_));
    EXPECT_FALSE(std::filesystem::exists(folder_.native() / content));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.native()));
}

TEST_F(LinuxFileSystemTest, aBackslashInANameNeverLeadsElsewhere) {
  put("outside");
  std::filesystem::create_directory(folder_.native() / "folder");
  put("folder/..\\outside");
  const auto entries = listing(folder_.path() + u"/folder");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].name.find_first_of(u"/\\"), WideText::npos);
  EXPECT_TRUE(files_.removeFile(folder_.path() + u"\\folder\\" + entries[0].name, error_));
  EXPECT_TRUE(std::filesystem::exists(folder_.native() / "outside"));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.native() / "folder"));
}

TEST_F(LinuxFileSystemTest, aPipeIsNeitherFileNorFolderAndHoldsNothingUp) {
  ASSERT_EQ(::mkfifo((folder_.native() / "pipe").c_str(), 0600), 0);
  const WideText path = folder_.path() + u"/pipe";
  EXPECT_EQ(files_.kind(path, error_), EntryKind::other);
  EXPECT_EQ(listing(folder_.path()).at(0).kind, EntryKind::other);
  EXPECT_EQ(files_.fileSize(path, error_), -1);
  EXPECT_TRUE(error_);
  EXPECT_EQ(files_.open(path, OpenMode::read, error_), nullptr);
  EXPECT_TRUE(error_);
}

TEST_F(LinuxFileSystemTest, aFullDiskIsToldByTheWrite) {
  const auto file = files_.open(u"/dev/full", OpenMode::append, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->write("x", 1, error_));
  EXPECT_EQ(error_, boost::system::errc::no_space_on_device);
}

TEST_F(LinuxFileSystemTest, aNameThatIsTooLongIsMissingWithAnError) {
  EXPECT_EQ(files_.kind(folder_.path() + u"/" + WideText(300, u'x'), error_), EntryKind::missing);
  EXPECT_EQ(error_, boost::system::errc::filename_too_long);
}

TEST_F(LinuxFileSystemTest, linksThatLeadInACircleAreMissingWithAnError) {
  std::filesystem::create_symlink("two", folder_.native() / "one");
  std::filesystem::create_symlink("one", folder_.native() / "two");
  EXPECT_EQ(files_.kind(folder_.path() + u"/one", error_), EntryKind::missing);
  EXPECT_TRUE(error_);
}

TEST_F(LinuxFileSystemTest, handlesAreNotHandedToStartedPrograms) {
  put("file");
  const auto before = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(before);
  const auto file = files_.open(folder_.path() + u"/file", OpenMode::read, error_);
  ASSERT_NE(file, nullptr);
  // The file got the lowest free number.
  EXPECT_NE(::fcntl(before, F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
