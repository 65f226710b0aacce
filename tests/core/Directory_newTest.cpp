#include <algorithm>
#include <filesystem>
#include <optional>

#include "core/Directory_new.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/GoingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;
using platform::ErrorCode;

// A drive that goes: questions fail, or only what follows the first question does.
class GoneFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool kindIsKnown = true;

  platform::EntryKind kind(const WideText& path, ErrorCode& error) override {
    if (kindIsKnown || path.ends_with(u"log.xml")) return target().kind(path, error);
    return fail(error), platform::EntryKind::missing;
  }
  bool space(const WideText&, platform::Space&, ErrorCode& error) override { return fail(error); }
  bool list(const WideText&, std::vector<platform::FolderEntry>&, ErrorCode& error) override {
    return fail(error);
  }
  bool createFolder(const WideText&, ErrorCode& error) override { return fail(error); }
  bool removeFolder(const WideText&, ErrorCode& error) override { return fail(error); }

 private:
  static bool fail(ErrorCode& error) {
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return false;
  }
};

class Directory_newTest : public JobTest {
 protected:
  const WideText path_ = path(u"dir");
  const WideText normal_ = toBackslashes(path_);

  [[nodiscard]] static std::vector<WideText> sorted(std::vector<WideText> paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
  }
};

TEST_F(Directory_newTest, SlashesTurnOnlyWhenNormalising) {
  EXPECT_EQ(Directory_new(u"E:/a\\b/c").path(), u"E:\\a\\b\\c");
  EXPECT_EQ(Directory_new(u"E:/a\\b/c", false).path(), u"E:/a\\b/c");
}

TEST_F(Directory_newTest, OnlyAFolderExists) {
  EXPECT_FALSE(Directory_new(path_).exists());
  writeFile(path_, "");
  EXPECT_FALSE(Directory_new(path_).exists());
  EXPECT_TRUE(Directory_new(path(u"temp")).exists());
  EXPECT_TRUE(Directory_new(path(u"temp/")).exists());
  EXPECT_FALSE(Directory_new(u"").exists());
  EXPECT_FALSE(Directory_new(u"Q:").exists());
}

TEST_F(Directory_newTest, CreatingMakesOneLevelAndIsTrueForAnExistingFolder) {
  startLog();
  EXPECT_TRUE(Directory_new(path_).create());
  EXPECT_TRUE(Directory_new(path_).create());
  EXPECT_FALSE(Directory_new(path(u"a/b")).create());
  EXPECT_FALSE(Directory_new(path(u"a")).exists());
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"DIRECTORY: exception when create directory " +
                                               toBackslashes(path(u"a/b"))}));
}

TEST_F(Directory_newTest, AFileInTheWayIsNoFolder) {
  writeFile(path_, "");
  EXPECT_FALSE(Directory_new(path_).create());
  EXPECT_FALSE(Directory_new(path_).createFoldersTo(u"file"));
  EXPECT_FALSE(Directory_new(path_).createFoldersTo(u"below/file"));
  EXPECT_FALSE(Directory_new(folder.path()).createFoldersTo(u"dir/below/file"));
}

TEST_F(Directory_newTest, FoldersToAPathAreMadeFromTheTop) {
  makeFolder(path_);
  const Directory_new root(path_);
  for (const WideText relativePath : {u"a/b\\c/file", u"a/b/c/file", u"d\\e//file", u"file", u"./f/file"})
    EXPECT_TRUE(root.createFoldersTo(relativePath)) << toUtf8(relativePath);
  EXPECT_EQ(tree(path_), (std::vector<std::string>{"a/", "a/b/", "a/b/c/", "d/", "d/e/", "f/"}));
}

TEST_F(Directory_newTest, FoldersToAPathAreNeverMadeInARootThatHasGone) {
  for (const WideText relativePath : {u"file", u"a/file", u"a/b/file"}) {
    EXPECT_FALSE(Directory_new(path_).createFoldersTo(relativePath));
    EXPECT_FALSE(Directory_new(u"Q:\\").createFoldersTo(relativePath));
    EXPECT_FALSE(fs::exists(toUtf8(path_)));
  }
  // Nor in one that goes in the middle.
  for (int question = 1;; ++question) {
    makeFolder(path_);
    GoingFileSystem going(files(), toUtf8(path_), question);
    useFileSystem(going);
    const bool made = Directory_new(path_).createFoldersTo(u"a/b/file");
    useFileSystem(files());
    if (!going.hasGone()) {
      EXPECT_TRUE(made);
      break;
    }
    EXPECT_FALSE(made) << question;
    EXPECT_FALSE(fs::exists(toUtf8(path_))) << question;
  }
}

TEST_F(Directory_newTest, SizesAreThoseOfTheVolume) {
  // Others write to the disk in the meantime: both questions are about one moment.
  class OneMoment : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText& path, platform::Space& space, ErrorCode& error) override {
      if (!known_) {
        known_.emplace();
        if (!ForwardingFileSystem::space(path, *known_, error)) return false;
      }
      error.clear();
      space = *known_;
      return true;
    }

   private:
    std::optional<platform::Space> known_;
  } moment(files());
  useFileSystem(moment);
  const std::int64_t size = Directory_new(path(u"temp")).size();
  const std::int64_t free = Directory_new(path(u"temp")).freeSpace();
  EXPECT_EQ(size + free, static_cast<std::int64_t>(fs::space(folder.native()).capacity));
  EXPECT_GE(free, 0);
  EXPECT_EQ(Directory_new(path_).size(), -1);
  EXPECT_EQ(Directory_new(path_).freeSpace(), -1);
}

TEST_F(Directory_newTest, TheFreeSpaceIsTheFreeAndNotTheAvailableFigure) {
  class Space : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText&, platform::Space& space, ErrorCode& error) override {
      error.clear();
      space = {1000, 300};
      return true;
    }
  } space(files());
  useFileSystem(space);
  EXPECT_EQ(Directory_new(path(u"temp")).size(), 700);
  EXPECT_EQ(Directory_new(path(u"temp")).freeSpace(), 300);
}

TEST_F(Directory_newTest, TheWriteTestLeavesNothing) {
  makeFolder(path_);
  EXPECT_FALSE(Directory_new(path_).isWriteProtected());
  EXPECT_TRUE(tree(path_).empty());
}

TEST_F(Directory_newTest, WriteProtectedIsWhereNoFileCanBeCreatedForWhateverReason) {
  makeFolder(path_);
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  EXPECT_TRUE(Directory_new(path_).isWriteProtected());
}

TEST_F(Directory_newTest, AnEmptyFolderThatAKilledJobLeftOfItsTestGoes) {
  makeFolder(path(u"dir/Tevra_131284_tmp"));
  EXPECT_FALSE(Directory_new(path_).isWriteProtected());
  EXPECT_TRUE(tree(path_).empty());
}

TEST_F(Directory_newTest, InAFolderOfTheTestsNameWithContentTheTestIsMadeInside) {
  writeFile(path(u"dir/Tevra_131284_tmp/copied/file"), "user's");
  EXPECT_FALSE(Directory_new(path_).isWriteProtected());
  EXPECT_EQ(tree(path_), (std::vector<std::string>{"Tevra_131284_tmp/", "Tevra_131284_tmp/copied/",
                                                   "Tevra_131284_tmp/copied/file"}));
  FaultyFileSystem faulty(files());
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "open") faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_TRUE(Directory_new(path_).isWriteProtected());
}

TEST_F(Directory_newTest, AFolderThatDoesNotExistIsNotWriteProtected) {
  EXPECT_FALSE(Directory_new(path_).isWriteProtected());
  EXPECT_FALSE(Directory_new(path_).exists());
}

TEST_F(Directory_newTest, OnlyFilesMakeAFolderNotEmpty) {
  EXPECT_FALSE(Directory_new(path_).isEmpty());
  makeFolder(path(u"dir/a/b"));
  EXPECT_TRUE(Directory_new(path_).isEmpty());
  writeFile(path(u"dir/a/b/file"), "");
  EXPECT_FALSE(Directory_new(path_).isEmpty());
}

TEST_F(Directory_newTest, FilesAndFoldersAreListedWithTheFoldersOwnTextInFront) {
  writeFile(path(u"dir/1"), "");
  writeFile(path(u"dir/a/2"), "");
  writeFile(path(u"dir/a/b/3"), "");
  makeFolder(path(u"dir/c"));
  std::vector<WideText> files{u"before"};
  std::vector<WideText> folders;
  EXPECT_TRUE(Directory_new(path_).files(files, true));
  EXPECT_TRUE(Directory_new(path_).folders(folders, true));
  EXPECT_EQ(files.front(), u"before");
  files.erase(files.begin());
  EXPECT_EQ(sorted(files),
            (std::vector<WideText>{normal_ + u"\\1", normal_ + u"\\a\\2", normal_ + u"\\a\\b\\3"}));
  EXPECT_EQ(sorted(folders),
            (std::vector<WideText>{normal_ + u"\\a", normal_ + u"\\a\\b", normal_ + u"\\c"}));

  files.clear();
  folders.clear();
  EXPECT_TRUE(Directory_new(path_, false).files(files, false));
  EXPECT_TRUE(Directory_new(path_, false).folders(folders, false));
  EXPECT_EQ(files, (std::vector<WideText>{path_ + u"\\1"}));
  EXPECT_EQ(sorted(folders), (std::vector<WideText>{path_ + u"\\a", path_ + u"\\c"}));
}

TEST_F(Directory_newTest, FolderObjectsAreNormalised) {
  makeFolder(path(u"dir/a/b"));
  std::vector<std::shared_ptr<Directory_new>> objects;
  EXPECT_TRUE(Directory_new(path_, false).folderObjects(objects, true));
  ASSERT_EQ(objects.size(), 2U);
  EXPECT_EQ(objects[0]->path(), normal_ + u"\\a");
  EXPECT_EQ(objects[1]->path(), normal_ + u"\\a\\b");
  EXPECT_TRUE(objects[1]->exists());
}

TEST_F(Directory_newTest, SymbolicLinksAreNeitherListedNorFollowed) {
  writeFile(path(u"outside/file"), "kept");
  makeFolder(path_);
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "dir" / "link");
  fs::create_symlink(folder.native() / "outside" / "file", folder.native() / "dir" / "file");
  fs::create_directory_symlink(folder.native() / "dir", folder.native() / "dir" / "loop");
  std::vector<WideText> paths;
  EXPECT_TRUE(Directory_new(path_).files(paths, true));
  EXPECT_TRUE(Directory_new(path_).folders(paths, true));
  EXPECT_TRUE(paths.empty());
  EXPECT_TRUE(Directory_new(path_).isEmpty());
  Directory_new(path_).remove();
  EXPECT_FALSE(Directory_new(path_).exists());
  EXPECT_EQ(readFile(path(u"outside/file")), "kept");
}

TEST_F(Directory_newTest, RemovingTakesReadOnlyFilesAtAnyDepth) {
  startLog();
  writeFile(path(u"dir/a/b/file"), "x");
  writeFile(path(u"dir/file"), "x");
  fs::permissions(folder.native() / "dir/a/b/file", fs::perms::owner_read);
  Directory_new(path_).remove();
  EXPECT_FALSE(Directory_new(path_).exists());
  Directory_new(path_).remove();
  EXPECT_TRUE(logLines().empty());
}

// A device's file system may refuse what this computer's allows.
TEST_F(Directory_newTest, EachFolderLosesItsReadOnlyMarkBeforeItIsEmptied) {
  class Marked : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& path, ErrorCode& error) override {
      return mayRemove(path, error) && target().removeFile(path, error);
    }
    bool removeFolder(const WideText& path, ErrorCode& error) override {
      return mayRemove(path, error) && target().removeFolder(path, error);
    }

   private:
    static bool mayRemove(const WideText& path, ErrorCode& error) {
      std::string parent = toUtf8(parentFolder(path));
      std::replace(parent.begin(), parent.end(), '\\', '/');
      if ((fs::status(parent).permissions() & fs::perms::owner_write) != fs::perms::none) return true;
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return false;
    }
  } marked(files());
  writeFile(path(u"dir/a/b/file"), "x");
  for (const char* const name : {"dir/a/b", "dir/a", "dir"})
    fs::permissions(folder.native() / name, fs::perms::owner_read | fs::perms::owner_exec);
  useFileSystem(marked);
  Directory_new(path_).remove();
  EXPECT_FALSE(Directory_new(path_).exists());
}

TEST_F(Directory_newTest, EachFileLosesItsReadOnlyMarkBeforeItIsRemoved) {
  class Recording : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) override {
      cleared.push_back(path);
      return target().clearReadOnlyAndHidden(path, error);
    }
    bool removeFile(const WideText& path, ErrorCode& error) override {
      EXPECT_EQ(std::count(cleared.begin(), cleared.end(), path), 1) << toUtf8(path);
      removed.push_back(path);
      return target().removeFile(path, error);
    }
    std::vector<WideText> cleared;
    std::vector<WideText> removed;
  } recording(files());
  writeFile(path(u"dir/a/b/file"), "x");
  writeFile(path(u"dir/a/file"), "x");
  writeFile(path(u"dir/file"), "x");
  useFileSystem(recording);
  Directory_new(path_).remove();
  EXPECT_EQ(sorted(recording.removed),
            (std::vector<WideText>{normal_ + u"\\a\\b\\file", normal_ + u"\\a\\file", normal_ + u"\\file"}));
  EXPECT_FALSE(Directory_new(path_).exists());
}

TEST_F(Directory_newTest, TheTestForWritingLeavesTheFileAloneThatALinkOfItsNameLeadsTo) {
  writeFile(path(u"mine"), "user's");
  makeFolder(path(u"device"));
  fs::create_symlink(folder.native() / "mine", folder.native() / "device/Tevra_131284_tmp");
  EXPECT_FALSE(Directory_new(path(u"device")).isWriteProtected());
  EXPECT_EQ(readFile(path(u"mine")), "user's");
  EXPECT_TRUE(tree(path(u"device")).empty());
}

TEST_F(Directory_newTest, AFolderWhoseTestFileIsALinkThatStaysIsWriteProtected) {
  class StuckLinks : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText&, platform::ErrorCode& error) override {
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return false;
    }
  } stuck(files());
  writeFile(path(u"mine"), "user's");
  makeFolder(path(u"device"));
  makeFolder(path(u"elsewhere"));
  useFileSystem(stuck);
  for (const char* const target : {"mine", "elsewhere"}) {
    fs::create_symlink(folder.native() / target, folder.native() / "device/Tevra_131284_tmp");
    EXPECT_TRUE(Directory_new(path(u"device")).isWriteProtected()) << target;
    EXPECT_EQ(readFile(path(u"mine")), "user's");
    EXPECT_TRUE(tree(path(u"elsewhere")).empty());
    fs::remove(folder.native() / "device/Tevra_131284_tmp");
  }
}

TEST_F(Directory_newTest, RemovingALinkToAFolderLeavesWhatItLeadsTo) {
  writeFile(path(u"outside/keep"), "user's");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "link");
  Directory_new(path(u"link")).remove();
  EXPECT_FALSE(fs::is_symlink(folder.native() / "link"));
  EXPECT_EQ(readFile(path(u"outside/keep")), "user's");
}

TEST_F(Directory_newTest, RemovingAFileAsAFolderDoesNothing) {
  writeFile(path_, "kept");
  Directory_new(path_).remove();
  EXPECT_EQ(readFile(path_), "kept");
}

TEST_F(Directory_newTest, EachOperationThatFailsOnAGoingDriveHasItsLogLine) {
  startLog();
  makeFolder(path_);
  GoneFileSystem gone(files());
  useFileSystem(gone);
  const Directory_new directory(path_);
  std::vector<WideText> paths;
  std::vector<std::shared_ptr<Directory_new>> objects;
  EXPECT_EQ(directory.size(), -1);
  EXPECT_EQ(directory.freeSpace(), -1);
  EXPECT_FALSE(directory.files(paths, true));
  EXPECT_FALSE(directory.folders(paths, false));
  EXPECT_FALSE(directory.isEmpty());
  Directory_new(path_).remove();
  gone.kindIsKnown = false;
  EXPECT_FALSE(directory.exists());
  EXPECT_FALSE(Directory_new(path_).create());
  EXPECT_TRUE(paths.empty());
  EXPECT_EQ(logLines(),
            (std::vector<WideText>{u"DIRECTORY: exception when get directory size " + normal_,
                                   u"DIRECTORY: exception when get directory free space " + normal_,
                                   u"DIRECTORY: exception when get files path " + normal_,
                                   u"DIRECTORY: exception when get directories path " + normal_,
                                   u"DIRECTORY: exception when get files path " + normal_,
                                   u"DIRECTORY: exception when remove directory " + normal_,
                                   u"DIRECTORY: exception when check if directory exists " + normal_,
                                   u"DIRECTORY: exception when check if directory exists " + normal_,
                                   u"DIRECTORY: exception when create directory " + normal_}));
}

TEST_F(Directory_newTest, WhatCouldBeRemovedIsRemovedWhenSomethingFails) {
  startLog();
  writeFile(path(u"dir/1"), "");
  writeFile(path(u"dir/2"), "");
  writeFile(path(u"dir/a/3"), "");
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  Directory_new(path_).remove();
  EXPECT_TRUE(Directory_new(path_).exists());
  EXPECT_LE(tree(path_).size(), 2U);
  EXPECT_TRUE(logHas(u"DIRECTORY: exception when remove directory " + normal_));
}

TEST_F(Directory_newTest, RemovingTheContentKeepsTheFolder) {
  writeFile(path(u"dir/a/b/file"), "x");
  writeFile(path(u"dir/file"), "x");
  makeFolder(path(u"dir/empty"));
  Directory_new(path_).removeContent();
  EXPECT_TRUE(Directory_new(path_).exists());
  EXPECT_TRUE(tree(path_).empty());
}

TEST_F(Directory_newTest, RemovingTheContentFollowsNoLinkInside) {
  writeFile(path(u"other/file"), "x");
  makeFolder(path_);
  fs::create_directory_symlink(folder.native() / "other", folder.native() / "dir/link");
  Directory_new(path_).removeContent();
  EXPECT_TRUE(tree(path_).empty());
  EXPECT_TRUE(fileExists(path(u"other/file")));
}

TEST_F(Directory_newTest, ContentThatCannotBeRemovedIsLogged) {
  startLog();
  Directory_new(path_).removeContent();
  EXPECT_TRUE(logLines().empty());
  writeFile(path(u"dir/a/file"), "x");
  GoneFileSystem gone(files());
  useFileSystem(gone);
  Directory_new(path_).removeContent();
  EXPECT_TRUE(logHas(u"DIRECTORY: exception when remove directory " + normal_));
}

}  // namespace
}  // namespace ZelmoraTevra
