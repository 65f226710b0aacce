#include <sys/stat.h>

#include <filesystem>

#include "core/ReplaceFileContent.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class ReplaceFileContentTest : public JobTest {
 protected:
  ReplaceFileContentTest() { makeFolder(path(u"to")); }

  [[nodiscard]] fs::path native(const std::string& name) const { return folder.native() / "to" / name; }

  const WideText file = path(u"to/file");
};

TEST_F(ReplaceFileContentTest, AFileIsMadeOrReplacedWithAllItsBytes) {
  const std::string content("a\0\r\n\xFF", 5);
  EXPECT_TRUE(replaceFileContent("a first content that is longer", file));
  EXPECT_TRUE(replaceFileContent(content, file));
  EXPECT_EQ(readFile(file), content);
  EXPECT_TRUE(replaceFileContent("", file));
  EXPECT_EQ(readFile(file), "");
  EXPECT_EQ(tree(path(u"to")), (std::vector<std::string>{"file"}));
}

TEST_F(ReplaceFileContentTest, ALinkMakesWayAndIsNotWrittenThrough) {
  writeFile(path(u"outside"), "mine");
  fs::create_symlink(folder.native() / "outside", native("file"));
  fs::create_symlink(folder.native() / "outside", native("file_tevra_new"));
  EXPECT_TRUE(replaceFileContent("new", file));
  EXPECT_EQ(readFile(file), "new");
  EXPECT_FALSE(fs::is_symlink(native("file")));
  EXPECT_EQ(tree(path(u"to")), (std::vector<std::string>{"file"}));
  EXPECT_EQ(readFile(path(u"outside")), "mine");
}

TEST_F(ReplaceFileContentTest, APipeBesideTheFileTakesNothing) {
  ASSERT_EQ(::mkfifo(native("file_tevra_new").c_str(), 0600), 0);
  writeFile(file, "old");
  EXPECT_FALSE(replaceFileContent("new", file));
  EXPECT_EQ(readFile(file), "old");
}

TEST_F(ReplaceFileContentTest, AFolderInTheWayAndAMissingFolderAreFailures) {
  EXPECT_FALSE(replaceFileContent("new", path(u"none/file")));
  makeFolder(file);
  EXPECT_FALSE(replaceFileContent("new", file));
  EXPECT_EQ(tree(path(u"to")), (std::vector<std::string>{"file/"}));
}

TEST_F(ReplaceFileContentTest, WhateverFailsTheOldFileStays) {
  bool failed = true;
  for (int operation = 1; failed; ++operation) {
    writeFile(file, "old");
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    const bool replaced = replaceFileContent("new", file);
    useFileSystem(files());
    failed = faulty.count >= operation;
    EXPECT_EQ(replaced, !failed) << operation;
    EXPECT_EQ(readFile(file), replaced ? "new" : "old") << operation;
    EXPECT_EQ(tree(path(u"to")), (std::vector<std::string>{"file"})) << operation;
  }
}

TEST_F(ReplaceFileContentTest, AFailureThatTheDiskKeepsBackUntilTheEndIsOne) {
  writeFile(file, "old");
  FaultyFileSystem faulty(files());
  faulty.failsToClose = [](const WideText&) { return true; };
  useFileSystem(faulty);
  EXPECT_FALSE(replaceFileContent("new", file));
  EXPECT_EQ(readFile(file), "old");
}

TEST_F(ReplaceFileContentTest, OverwritingLeavesNoFileBesideAndFollowsNoLink) {
  writeFile(file, "an old content");
  EXPECT_TRUE(overwriteFileContent("new", file));
  EXPECT_EQ(readFile(file), "new");
  EXPECT_EQ(tree(path(u"to")), (std::vector<std::string>{"file"}));
  fs::create_symlink(native("file"), native("link"));
  EXPECT_FALSE(overwriteFileContent("other", path(u"to/link")));
  EXPECT_EQ(readFile(file), "new");
}

}  // namespace
}  // namespace ZelmoraTevra
