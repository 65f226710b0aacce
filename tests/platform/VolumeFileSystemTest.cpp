#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/NativeFileSystem.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

class VolumeFileSystemTest : public testing::Test {
 protected:
  VolumeFileSystemTest() : before_(std::filesystem::current_path()) {
    for (const char* const name : {"flash", "card", "work", "flash/folder"}) {
      std::filesystem::create_directory(folder_.native() / name);
    }
    put("flash/file", "12345");
    put("card/file", "1");
    std::filesystem::current_path(folder_.native() / "work");
  }
  ~VolumeFileSystemTest() override { std::filesystem::current_path(before_); }

  void put(const std::string& name, const std::string& content) const {
    std::ofstream(folder_.native() / name) << content;
  }
  [[nodiscard]] WideText at(const WideText& name) const { return folder_.path() + u"/" + name; }
  [[nodiscard]] bool exists(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(folder_.native() / name));
  }
  [[nodiscard]] Space space(const WideText& path) {
    Space space;
    EXPECT_TRUE(files_.space(path, space, error_)) << error_.message();
    return space;
  }

  void expectNoChange(const WideText& root) {
    const auto refused = boost::system::errc::read_only_file_system;
    EXPECT_EQ(files_.open(root + u"/new", OpenMode::truncate, error_), nullptr);
    EXPECT_EQ(error_, refused);
    EXPECT_EQ(files_.open(root + u"/file", OpenMode::truncate, error_), nullptr);
    EXPECT_EQ(error_, refused);
    EXPECT_EQ(files_.open(root + u"/file", OpenMode::append, error_), nullptr);
    EXPECT_TRUE(error_);
    EXPECT_EQ(files_.open(root + u"/file", OpenMode::update, error_), nullptr);
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.createFolder(root + u"/new", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.rename(root + u"/file", root + u"/new", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.rename(root + u"/file", at(u"work/new"), error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.rename(at(u"card/file"), root + u"/new", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.removeFile(root + u"/file", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.removeFolder(root + u"/folder", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.clearReadOnlyAndHidden(root + u"/file", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.setHidden(root + u"/file", error_));
    EXPECT_EQ(error_, refused);
    EXPECT_FALSE(files_.setTimes(root + u"/file", 0, error_));
    EXPECT_EQ(error_, refused);
    EXPECT_EQ(std::filesystem::file_size(folder_.native() / "flash/file"), 5U);
    EXPECT_FALSE(exists("flash/new"));
    EXPECT_TRUE(exists("flash/folder"));
  }

  void expectReadable(const WideText& root) {
    EXPECT_EQ(files_.kind(root + u"/file", error_), EntryKind::file);
    EXPECT_EQ(files_.fileSize(root + u"/file", error_), 5);
    EXPECT_NE(files_.open(root + u"/file", OpenMode::read, error_), nullptr);
    std::vector<FolderEntry> entries;
    EXPECT_TRUE(files_.list(root, entries, error_));
    EXPECT_EQ(entries.size(), 2U);
    EXPECT_TRUE(files_.syncFolder(root, error_));
  }

  TemporaryFolder folder_;
  FixedVolumes volumes_{
      {{u'E', at(u"flash"), false, {}}, {u'F', at(u"card"), false, {}}, {0, at(u"work"), false, {}}}};
  VolumeFileSystem files_{nativeFileSystem(), volumes_};
  ErrorCode error_;

 private:
  std::filesystem::path before_;
};

TEST_F(VolumeFileSystemTest, aLetterIsFoundInEitherCase) {
  EXPECT_EQ(files_.fileSize(u"E:/file", error_), 5);
  EXPECT_EQ(files_.fileSize(u"e:\\file", error_), 5);
  EXPECT_EQ(files_.fileSize(u"F:\\file", error_), 1);
  EXPECT_EQ(files_.fileSize(u"f:/file", error_), 1);
}

TEST_F(VolumeFileSystemTest, aLetterAloneIsTheRootOfItsDrive) {
  EXPECT_EQ(files_.kind(u"E:", error_), EntryKind::folder);
  EXPECT_EQ(files_.kind(u"e:\\", error_), EntryKind::folder);
  std::vector<FolderEntry> entries;
  EXPECT_TRUE(files_.list(u"E:", entries, error_));
  EXPECT_EQ(entries.size(), 2U);
}

TEST_F(VolumeFileSystemTest, aLetterAndColonInFrontOfANameIsAnOrdinaryPath) {
  EXPECT_EQ(files_.kind(u"E:file", error_), EntryKind::missing);
  EXPECT_NE(files_.open(u"E:file", OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(exists("work/E:file"));
  EXPECT_EQ(std::filesystem::file_size(folder_.native() / "flash/file"), 5U);
}

TEST_F(VolumeFileSystemTest, anUnknownLetterNamesNothingAndCreatesNothing) {
  for (const WideText path : {u"G:", u"g:", u"G:/x", u"G:\\x"}) {
    EXPECT_EQ(files_.kind(path, error_), EntryKind::missing);
    EXPECT_FALSE(error_);
    EXPECT_EQ(files_.open(path, OpenMode::truncate, error_), nullptr);
    EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
    EXPECT_FALSE(files_.createFolder(path, error_));
    EXPECT_FALSE(files_.rename(u"E:/file", path, error_));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.native() / "work"));
  EXPECT_TRUE(exists("flash/file"));
}

TEST_F(VolumeFileSystemTest, aLetterThatComesAndGoesIsSeenAtOnce) {
  volumes_.set({});
  EXPECT_EQ(files_.kind(u"E:/file", error_), EntryKind::missing);
  volumes_.set({{u'E', at(u"card"), false, {}}});
  EXPECT_EQ(files_.fileSize(u"E:/file", error_), 1);
}

TEST_F(VolumeFileSystemTest, aVolumeMayBeTheWholeComputer) {
  volumes_.set({{u'E', u"/", false, {}}});
  EXPECT_EQ(files_.kind(u"E:", error_), EntryKind::folder);
  EXPECT_EQ(files_.fileSize(u"E:" + at(u"flash/file"), error_), 5);
  volumes_.set({{u'E', u"/", true, {}}});
  EXPECT_FALSE(files_.removeFile(at(u"flash/file"), error_));
  EXPECT_TRUE(exists("flash/file"));
}

TEST_F(VolumeFileSystemTest, aDriveHasNoParent) {
  EXPECT_EQ(files_.kind(u"E:/../card/file", error_), EntryKind::missing);
  EXPECT_EQ(files_.fileSize(u"E:\\folder\\..\\..\\..\\.\\file", error_), 5);
  EXPECT_EQ(files_.kind(u"E:/..", error_), EntryKind::folder);
  EXPECT_EQ(files_.kind(u"E:/..x", error_), EntryKind::missing);
}

TEST_F(VolumeFileSystemTest, aDrivesRootIsNotTakenAway) {
  std::filesystem::create_directory(folder_.native() / "empty");
  volumes_.set({{u'E', at(u"empty"), false, {}}});
  EXPECT_FALSE(files_.removeFolder(u"E:\\", error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(files_.rename(u"E:", at(u"other"), error_));
  EXPECT_TRUE(error_);
  EXPECT_TRUE(exists("empty"));
}

TEST_F(VolumeFileSystemTest, anEmptyReaderAnswersNothingAndIsNotFilled) {
  volumes_.set({{u'E', at(u"nothing"), false, 1000}});
  EXPECT_EQ(files_.kind(u"E:", error_), EntryKind::missing);
  EXPECT_FALSE(files_.createFolder(u"E:", error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  EXPECT_FALSE(files_.createFolder(u"E:/folder", error_));
  EXPECT_EQ(files_.open(u"E:/file", OpenMode::truncate, error_), nullptr);
  Space space;
  EXPECT_FALSE(files_.space(u"E:", space, error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(exists("nothing"));
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeRefusesEveryChangeByLetter) {
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  expectNoChange(u"E:");
  expectReadable(u"E:");
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeRefusesEveryChangeByPlainPath) {
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  expectNoChange(at(u"flash"));
  expectReadable(at(u"flash"));
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeRefusesEveryChangeByRelativePath) {
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  expectNoChange(u"../flash");
  expectNoChange(u"..\\card\\..\\flash");
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeRefusesEveryChangeThroughALink) {
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  std::filesystem::create_symlink(folder_.native() / "flash", folder_.native() / "link");
  expectNoChange(at(u"link"));
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeWithoutALetterRefusesToo) {
  volumes_.set({{0, at(u"flash/"), true, {}}});
  expectNoChange(at(u"flash"));
}

TEST_F(VolumeFileSystemTest, aWriteProtectedVolumeRefusesEveryChangeByTheLetterOfAnotherOne) {
  volumes_.set({{u'E', at(u""), false, {}}, {u'F', at(u"flash"), true, {}}});
  expectNoChange(u"E:/flash");
  expectReadable(u"E:/flash");
  volumes_.set({{u'E', at(u"flash"), false, {}}, {u'F', at(u"flash"), true, {}}});
  expectNoChange(u"E:");
  std::filesystem::create_symlink(folder_.native() / "flash", folder_.native() / "card/link");
  volumes_.set({{u'E', at(u"card"), false, {}}, {u'F', at(u"flash"), true, {}}});
  expectNoChange(u"E:/link");
  EXPECT_TRUE(files_.removeFile(u"E:/link", error_));
  EXPECT_TRUE(files_.removeFile(u"E:/file", error_));
}

TEST_F(VolumeFileSystemTest, aLinkToAWriteProtectedVolumeCanBeRemovedButNotWrittenThrough) {
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  std::filesystem::create_symlink(folder_.native() / "flash/file", folder_.native() / "link");
  EXPECT_EQ(files_.open(at(u"link"), OpenMode::append, error_), nullptr);
  EXPECT_TRUE(files_.removeFile(at(u"link"), error_));
  EXPECT_TRUE(exists("flash/file"));
}

TEST_F(VolumeFileSystemTest, aLinkOnAWriteProtectedVolumeStays) {
  std::filesystem::create_symlink(folder_.native() / "card/file", folder_.native() / "flash/link");
  volumes_.set({{u'E', at(u"flash"), true, {}}});
  EXPECT_FALSE(files_.removeFile(at(u"flash/link"), error_));
  EXPECT_TRUE(exists("flash/link"));
}

TEST_F(VolumeFileSystemTest, whatLiesBesideAWriteProtectedVolumeCanBeChanged) {
  volumes_.set({{u'E', at(u"flash"), true, {}}, {u'F', at(u"card"), false, {}}});
  EXPECT_TRUE(files_.removeFile(u"F:/file", error_));
  EXPECT_NE(files_.open(at(u"flash2"), OpenMode::truncate, error_), nullptr);
  EXPECT_NE(files_.open(u"file", OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(exists("work/file"));
}

TEST_F(VolumeFileSystemTest, aCapacityAnswersForSpaceByLetterAndByPlainPath) {
  put("flash/folder/other", "123");
  std::filesystem::create_symlink(folder_.native() / "card/file", folder_.native() / "flash/link");
  volumes_.set({{u'E', at(u"flash"), false, 1000}});
  for (const WideText& path : {WideText(u"E:"), WideText(u"e:\\folder"), at(u"flash"), at(u"flash/folder/"),
                               WideText(u"../flash")}) {
    EXPECT_EQ(space(path).capacity, 1000U);
    EXPECT_EQ(space(path).free, 992U);
  }
}

TEST_F(VolumeFileSystemTest, aCapacityStopsNoWriteAndFreeSpaceIsNeverBelowZero) {
  volumes_.set({{u'E', at(u"flash"), false, 7}});
  EXPECT_EQ(space(u"E:").free, 2U);
  const auto file = files_.open(u"E:/more", OpenMode::truncate, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->write("1234", 4, error_));
  EXPECT_EQ(space(u"E:").free, 0U);
  EXPECT_EQ(space(u"E:").capacity, 7U);
}

TEST_F(VolumeFileSystemTest, spaceOutsideAndWithoutACapacityIsThatOfTheDisk) {
  volumes_.set({{u'E', at(u"flash"), false, 7}, {u'F', at(u"card"), false, {}}});
  const auto disk = std::filesystem::space(folder_.native()).capacity;
  EXPECT_EQ(space(u"F:").capacity, disk);
  EXPECT_EQ(space(at(u"card")).capacity, disk);
  EXPECT_EQ(space(at(u"")).capacity, disk);
}

TEST_F(VolumeFileSystemTest, ofVolumesOneWithinTheOtherTheInnerOneAnswers) {
  std::filesystem::create_directory(folder_.native() / "flash/inner");
  volumes_.set({{u'F', at(u"flash/inner"), false, 50}, {u'E', at(u"flash"), false, 1000}});
  EXPECT_EQ(space(at(u"flash/inner")).capacity, 50U);
  EXPECT_EQ(space(at(u"flash/folder")).capacity, 1000U);
}

TEST_F(VolumeFileSystemTest, aMissingPathOnAVolumeHasNoSpace) {
  volumes_.set({{u'E', at(u"flash"), false, 7}});
  Space space;
  EXPECT_FALSE(files_.space(u"E:/nothing", space, error_));
  EXPECT_TRUE(error_);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
