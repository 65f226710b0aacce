#include <sys/stat.h>

#include <filesystem>

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using platform::ErrorCode;

// A drive that has gone: every question and every operation fails.
class GoneFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit GoneFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  bool kindIsKnown = false;  // the drive goes right after the first question

  platform::EntryKind kind(const WideText& path, ErrorCode& error) override {
    if (isLog(path) || kindIsKnown) return target().kind(path, error);
    return fail(error), platform::EntryKind::missing;
  }
  std::int64_t fileSize(const WideText& path, ErrorCode& error) override {
    return isLog(path) ? target().fileSize(path, error) : (fail(error), -1);
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             ErrorCode& error) override {
    if (isLog(path)) return target().open(path, mode, error);
    fail(error);
    return nullptr;
  }
  bool removeFile(const WideText&, ErrorCode& error) override { return fail(error); }
  bool clearReadOnlyAndHidden(const WideText&, ErrorCode& error) override { return fail(error); }
  bool setTimes(const WideText&, std::int64_t, ErrorCode& error) override { return fail(error); }

 private:
  static bool isLog(const WideText& path) { return path.ends_with(u"log.xml"); }
  static bool fail(ErrorCode& error) {
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return false;
  }
};

// A drive that goes when its files are open.
class BrokenHandleFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::unique_ptr<platform::FileHandle> open(const WideText&, platform::OpenMode, ErrorCode&) override {
    return std::make_unique<Handle>();
  }

 private:
  class Handle : public platform::FileHandle {
   public:
    std::int64_t read(void*, std::size_t, ErrorCode& error) override { return fail(error), -1; }
    bool write(const void*, std::size_t, ErrorCode& error) override { return fail(error); }
    bool seek(std::uint64_t, ErrorCode& error) override { return fail(error); }
    std::int64_t size(ErrorCode& error) override { return fail(error), -1; }
    bool truncate(std::uint64_t, ErrorCode& error) override { return fail(error); }
    bool flush(ErrorCode& error) override { return fail(error); }
    bool sync(ErrorCode& error) override { return fail(error); }
    bool close(ErrorCode& error) override { return fail(error); }

   private:
    static bool fail(ErrorCode& error) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  };
};

class File_platformIndependentTest : public JobTest {
 protected:
  const WideText path_ = path(u"file.txt");
  // As the file layer names it.
  const WideText normal_ = toBackslashes(path_);
};

TEST_F(File_platformIndependentTest, SlashesTurnOnlyWhenNormalising) {
  EXPECT_EQ(File_platformIndependent(u"E:/a\\b/c").path(), u"E:\\a\\b\\c");
  EXPECT_EQ(File_platformIndependent(u"E:/a\\b/c", false).path(), u"E:/a\\b/c");
}

TEST_F(File_platformIndependentTest, OnlyARegularFileExists) {
  EXPECT_FALSE(File_platformIndependent(path_).exists());
  makeFolder(path_);
  EXPECT_FALSE(File_platformIndependent(path_).exists());
  EXPECT_FALSE(File_platformIndependent(u"").exists());
  EXPECT_FALSE(File_platformIndependent(u"Q:\\x").exists());
  writeFile(path(u"other"), "");
  EXPECT_TRUE(File_platformIndependent(path(u"other")).exists());
  EXPECT_FALSE(File_platformIndependent(path(u"other/below")).exists());
  ASSERT_EQ(::mkfifo((folder.native() / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(File_platformIndependent(path(u"pipe")).exists());
}

TEST_F(File_platformIndependentTest, TheSizeOfAMissingFileIsMinusOne) {
  EXPECT_EQ(File_platformIndependent(path_).size(), -1);
  EXPECT_EQ(File_platformIndependent(path(u"temp")).size(), -1);
  writeFile(path_, "");
  EXPECT_EQ(File_platformIndependent(path_).size(), 0);
  writeFile(path_, "12345");
  EXPECT_EQ(File_platformIndependent(path_).size(), 5);
}

TEST_F(File_platformIndependentTest, CreatingMakesOneLevelOfFoldersAndEmptiesTheFile) {
  File_platformIndependent file(path(u"new/file"));
  ASSERT_TRUE(file.create());
  EXPECT_EQ(file.write("abc", 3), 3);
  EXPECT_TRUE(file.close());
  EXPECT_EQ(readFile(path(u"new/file")), "abc");
  ASSERT_TRUE(file.create());
  EXPECT_TRUE(file.close());
  EXPECT_EQ(readFile(path(u"new/file")), "");
  EXPECT_FALSE(File_platformIndependent(path(u"two/levels/file")).create());
}

TEST_F(File_platformIndependentTest, ACreatedFileCanBeReadToo) {
  File_platformIndependent file(path_);
  ASSERT_TRUE(file.create());
  file.write("abc", 3);
  ASSERT_TRUE(file.seek(1));
  char buffer[10];
  std::int64_t count = 0;
  EXPECT_EQ(file.read(buffer, sizeof buffer, count), 2);
  EXPECT_EQ(std::string(buffer, 2), "bc");
}

TEST_F(File_platformIndependentTest, AFailedCreationIsLogged) {
  startLog();
  makeFolder(path_);
  EXPECT_FALSE(File_platformIndependent(path_).create());
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"FILE: exception when try to create " + normal_}));
}

TEST_F(File_platformIndependentTest, OnlyAnExistingFileIsOpened) {
  startLog();
  EXPECT_FALSE(File_platformIndependent(path_).open());
  EXPECT_FALSE(File_platformIndependent(path(u"temp")).open());
  writeFile(path_, "x");
  EXPECT_TRUE(File_platformIndependent(path_).open());
  EXPECT_TRUE(logLines().empty());
}

TEST_F(File_platformIndependentTest, ReadingTellsTheEndFromAFailure) {
  writeFile(path_, "abcde");
  File_platformIndependent file(path_);
  char buffer[4];
  std::int64_t count = 99;
  EXPECT_EQ(file.read(buffer, 4, count), -1);
  EXPECT_EQ(count, -1);
  ASSERT_TRUE(file.open());
  EXPECT_EQ(file.read(buffer, 4, count), 4);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(file.read(buffer, 4, count), 1);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(file.read(buffer, 4, count), 1);
  EXPECT_EQ(count, 0);

  BrokenHandleFileSystem broken(files());
  useFileSystem(broken);
  File_platformIndependent failing(path_);
  ASSERT_TRUE(failing.open());
  count = 99;
  EXPECT_EQ(failing.read(buffer, 4, count), 0);
  EXPECT_EQ(count, 0);
}

TEST_F(File_platformIndependentTest, WritingNeedsAnOpenFile) {
  File_platformIndependent file(path_);
  EXPECT_EQ(file.write("x", 1), -1);
  writeFile(path_, "old");
  ASSERT_TRUE(file.open());
  EXPECT_NE(file.write("x", 1), 1);
  EXPECT_EQ(readFile(path_), "old");
}

TEST_F(File_platformIndependentTest, AWriteThatDoesNotFitIsNotTakenForWhole) {
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  File_platformIndependent file(path_);
  ASSERT_TRUE(file.create());
  faulty.failAt = faulty.count + 1;
  EXPECT_LT(file.write("abcdef", 6), 6);
}

TEST_F(File_platformIndependentTest, AppendingContinuesAtTheEnd) {
  writeFile(path_, "ab");
  File_platformIndependent file(path_);
  ASSERT_TRUE(file.openForWriting(platform::OpenMode::append));
  EXPECT_EQ(file.write("cd", 2), 2);
  EXPECT_TRUE(file.flush());
  EXPECT_TRUE(file.sync());
  EXPECT_TRUE(file.finish());
  EXPECT_EQ(readFile(path_), "abcd");
  EXPECT_FALSE(File_platformIndependent(path(u"none/file")).openForWriting(platform::OpenMode::append));
}

TEST_F(File_platformIndependentTest, ClosingTellsWhetherTheFileStillExists) {
  File_platformIndependent file(path_);
  EXPECT_FALSE(file.close());
  ASSERT_TRUE(file.create());
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(file.close());
  ASSERT_TRUE(file.create());
  std::filesystem::remove(folder.native() / "file.txt");
  EXPECT_FALSE(file.close());
  EXPECT_FALSE(file.finish());
}

TEST_F(File_platformIndependentTest, RemovingTakesReadOnlyFilesAndOnlyFiles) {
  startLog();
  EXPECT_FALSE(File_platformIndependent(path_).remove());
  EXPECT_FALSE(File_platformIndependent(path(u"temp")).remove());
  writeFile(path_, "x");
  std::filesystem::permissions(folder.native() / "file.txt", std::filesystem::perms::owner_read);
  EXPECT_TRUE(File_platformIndependent(path_).remove());
  EXPECT_FALSE(fileExists(path_));
  EXPECT_TRUE(logLines().empty());
}

TEST_F(File_platformIndependentTest, ReadOnlyAndHiddenMarksAreClearedBeforeTheRemoval) {
  class Order : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) override {
      calls += "clear ";
      return target().clearReadOnlyAndHidden(path, error);
    }
    bool removeFile(const WideText& path, ErrorCode& error) override {
      calls += "remove ";
      return target().removeFile(path, error);
    }
    std::string calls;
  } order(files());
  useFileSystem(order);
  writeFile(path_, "x");
  EXPECT_TRUE(File_platformIndependent(path_).remove());
  EXPECT_EQ(order.calls, "clear remove ");
}

TEST_F(File_platformIndependentTest, ADriveThatHasGoneIsAPathThatIsNotThere) {
  startLog();
  writeFile(path_, "x");
  GoneFileSystem gone(files());
  useFileSystem(gone);
  EXPECT_FALSE(File_platformIndependent(path_).exists());
  EXPECT_EQ(File_platformIndependent(path_).size(), -1);
  EXPECT_FALSE(File_platformIndependent(path_).open());
  EXPECT_FALSE(File_platformIndependent(path_).remove());
  EXPECT_FALSE(File_platformIndependent(path_).setTimes(0));
  EXPECT_EQ(logLines(),
            std::vector<WideText>(4, u"FILE: Exception when try to check if file exists " + normal_));
}

TEST_F(File_platformIndependentTest, EachOperationThatFailsOnAGoingDriveHasItsLogLine) {
  startLog();
  writeFile(path_, "x");
  GoneFileSystem gone(files());
  gone.kindIsKnown = true;
  useFileSystem(gone);
  EXPECT_EQ(File_platformIndependent(path_).size(), -1);
  EXPECT_FALSE(File_platformIndependent(path_).create());
  EXPECT_FALSE(File_platformIndependent(path_).open());
  EXPECT_FALSE(File_platformIndependent(path_).remove());
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"FILE: exception when try to get size of " + normal_,
                                               u"FILE: exception when try to create " + normal_,
                                               u"FILE: exception when try to delete " + normal_}));
}

TEST_F(File_platformIndependentTest, RenamingReplacesAFileAndLogsNothing) {
  startLog();
  writeFile(path_, "new");
  writeFile(path(u"old.txt"), "old");
  EXPECT_TRUE(File_platformIndependent(path_).renameTo(path(u"old.txt")));
  EXPECT_EQ(readFile(path(u"old.txt")), "new");
  EXPECT_FALSE(File_platformIndependent(path_).renameTo(path(u"old.txt")));
  EXPECT_TRUE(logLines().empty());
}

TEST_F(File_platformIndependentTest, TheLastWriteTimeCanBeSet) {
  writeFile(path_, "x");
  EXPECT_TRUE(File_platformIndependent(path_).setTimes(1'368'781'473));
  struct stat status {};
  ASSERT_EQ(::stat((folder.native() / "file.txt").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, 1'368'781'473);
  EXPECT_FALSE(File_platformIndependent(path(u"none")).setTimes(0));
}

// Tells when all files were made.
class MadeAtFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::int64_t seconds = 0;

  bool creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) override {
    const bool known = target().creationTime(path, secondsSinceEpoch, error);
    secondsSinceEpoch = seconds;
    return known;
  }
};

TEST_F(File_platformIndependentTest, TheCreationDateIsThatOfTheUsersCalendar) {
  MadeAtFileSystem made(files());
  useFileSystem(made);
  writeFile(path_, "x");
  made.seconds = 1'368'781'473;
  EXPECT_EQ(File_platformIndependent(path_).creationDate(), u"2013-05-17");
  made.seconds = 1'357'084'799;
  EXPECT_EQ(File_platformIndependent(path_).creationDate(), u"2013-01-01");
  clock.secondsEastOfGreenwich = 1;
  EXPECT_EQ(File_platformIndependent(path_).creationDate(), u"2013-01-02");
  EXPECT_EQ(File_platformIndependent(path(u"none")).creationDate(), u"");
}

TEST_F(File_platformIndependentTest, ClearingMarksMakesAFileWritable) {
  writeFile(path(u"file"), "x");
  const std::filesystem::path native = folder.native() / "file";
  std::filesystem::permissions(native, std::filesystem::perms::owner_read);
  File_platformIndependent(path(u"file")).clearMarks();
  EXPECT_NE(std::filesystem::status(native).permissions() & std::filesystem::perms::owner_write,
            std::filesystem::perms::none);
  File_platformIndependent(path(u"missing")).clearMarks();
}

}  // namespace
}  // namespace ZelmoraTevra
