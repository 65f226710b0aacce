#include <filesystem>

#include "core/PathBelowRoot.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class PathBelowRootTest : public JobTest {
 protected:
  PathBelowRootTest() {
    makeFolder(root_ + u"/a/b");
    makeFolder(path(u"outside"));
  }

  const WideText root_ = path(u"device");
};

TEST_F(PathBelowRootTest, AnOrdinaryRelativePathStaysBelow) {
  for (const WideView each :
       {u"a", u"a/b", u"a\\b/c.txt", u"./a", u"a..b/..c/d..", u"ab:c", u"1:x", u"a//b", u"a/"})
    EXPECT_TRUE(staysBelowRoot(each)) << toUtf8(each);
}

TEST_F(PathBelowRootTest, WhateverCouldLeadOutIsRefused) {
  for (const WideView each :
       {u"", u"/a", u"\\a", u"//server/a", u"\\\\server\\a", u"..", u"../a", u"a/..", u"a/../b", u"a\\..\\b",
        u"a/..\\../b", u"C:", u"C:a", u"c:\\a", u"Z:/a", u"a:b"})
    EXPECT_FALSE(staysBelowRoot(each)) << toUtf8(each);
  EXPECT_FALSE(staysBelowRoot(WideView(u"a\0b", 3)));
}

TEST_F(PathBelowRootTest, APathThatNamesOnlyTheRootIsRefused) {
  for (const WideView each : {u".", u"./", u"./.", u".\\."})
    EXPECT_FALSE(staysBelowRoot(each)) << toUtf8(each);
}

TEST_F(PathBelowRootTest, APathIsJoinedToTheRoot) {
  PathBelowRoot below(root_);
  EXPECT_EQ(below.root(), root_);
  EXPECT_EQ(below.join(u"a/b/c.txt"), root_ + u"\\a/b/c.txt");
  EXPECT_EQ(below.join(u"new/folder/c.txt"), root_ + u"\\new/folder/c.txt");
  EXPECT_EQ(below.join(u"../a"), std::nullopt);
  EXPECT_EQ(below.join(u""), std::nullopt);
  EXPECT_EQ(below.join(u"E:\\a"), std::nullopt);
}

TEST_F(PathBelowRootTest, AnEmptyRootJoinsNothing) {
  PathBelowRoot below(u"");
  EXPECT_EQ(below.join(u"a"), std::nullopt);
}

TEST_F(PathBelowRootTest, ASymbolicLinkBelowTheRootIsNeverFollowed) {
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "device/a/link");
  fs::create_symlink(folder.native() / "outside/file", folder.native() / "device/file");
  PathBelowRoot below(root_);
  EXPECT_EQ(below.join(u"a/link"), std::nullopt);
  EXPECT_EQ(below.join(u"a/link/"), std::nullopt);
  EXPECT_EQ(below.join(u"a/link/file"), std::nullopt);
  EXPECT_EQ(below.join(u"a\\link\\deep\\file"), std::nullopt);
  EXPECT_EQ(below.join(u"a/./link/file"), std::nullopt);
  EXPECT_EQ(below.join(u"file"), std::nullopt);
  EXPECT_EQ(below.join(u"a/b/file"), root_ + u"\\a/b/file");
}

TEST_F(PathBelowRootTest, OnlyWhatIsThereIsJoinedAsExisting) {
  writeFile(root_ + u"/a/file", "content");
  fs::create_symlink(folder.native() / "device/a/file", folder.native() / "device/a/link");
  fs::create_symlink(folder.native() / "nowhere", folder.native() / "device/a/broken");
  PathBelowRoot below(root_);
  EXPECT_EQ(below.joinExisting(u"a/file"), root_ + u"\\a/file");
  EXPECT_EQ(below.joinExisting(u"a/b"), root_ + u"\\a/b");
  for (const WideView each :
       {u"a/missing", u"a/missing/file", u"a/link", u"a/broken", u"../device/a/file", u""})
    EXPECT_EQ(below.joinExisting(WideText(each)), std::nullopt) << toUtf8(each);
}

TEST_F(PathBelowRootTest, InAMissingFolderNothingIsLookedFor) {
  class Counting : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      ++looks;
      return target().kind(path, error);
    }
    int looks = 0;
  } counting(files());
  useFileSystem(counting);
  PathBelowRoot below(root_);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(below.joinInPresentFolder(u"missing/file"), std::nullopt);
  EXPECT_EQ(counting.looks, 1);
  EXPECT_EQ(below.join(u"missing/file"), root_ + u"\\missing/file");
  EXPECT_EQ(below.joinInPresentFolder(u"a/missing"), root_ + u"\\a/missing");
}

TEST_F(PathBelowRootTest, AFileInAFolderThatWasMadeInTheMeantimeIsJoinedAsExisting) {
  PathBelowRoot below(root_);
  EXPECT_EQ(below.joinExisting(u"missing/file"), std::nullopt);
  writeFile(root_ + u"/missing/file", "content");
  EXPECT_EQ(below.joinExisting(u"missing/file"), root_ + u"\\missing/file");
}

TEST_F(PathBelowRootTest, InItsFolderAPathIsJoinedWithoutALookAtIt) {
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "device/a/link");
  PathBelowRoot below(root_);
  EXPECT_EQ(below.joinInFolder(u"a/link"), root_ + u"\\a/link");
  EXPECT_EQ(below.joinInFolder(u"a/link/file"), std::nullopt);
  EXPECT_EQ(below.joinInFolder(u"../device/a/file"), std::nullopt);
}

TEST_F(PathBelowRootTest, TheRootItselfMayBeALink) {
  fs::create_directory_symlink(folder.native() / "device", folder.native() / "mount");
  PathBelowRoot below(path(u"mount"));
  EXPECT_EQ(below.join(u"a/file"), path(u"mount") + u"\\a/file");
}

TEST_F(PathBelowRootTest, TheFilesOfOneFolderCostOneLookAtIt) {
  class Counting : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool isLink(const WideText& path, platform::ErrorCode& error) override {
      ++looks;
      return target().isLink(path, error);
    }
    int looks = 0;
  } counting(files());
  useFileSystem(counting);
  PathBelowRoot below(root_);
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(below.join(u"a/b/file").has_value());
  EXPECT_EQ(counting.looks, 102);
}

TEST_F(PathBelowRootTest, BelowAMissingFolderNothingMoreIsAsked) {
  class Counting : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool isLink(const WideText& path, platform::ErrorCode& error) override {
      asked.push_back(path);
      return target().isLink(path, error);
    }
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      asked.push_back(path);
      return target().kind(path, error);
    }
    std::vector<WideText> asked;
  } counting(files());
  useFileSystem(counting);
  WideText relative = u"missing";
  for (int i = 0; i < 200; ++i) relative += u"/x";
  const WideText whole = root_ + u"\\" + relative;
  PathBelowRoot below(root_);
  EXPECT_EQ(below.join(relative), whole);
  // Once for a link, once for being there, and the whole path once for a link.
  EXPECT_EQ(counting.asked, (std::vector<WideText>{root_ + u"\\missing", root_ + u"\\missing", whole}));
}

TEST_F(PathBelowRootTest, ComponentsOfADotAreLeftOutAndCostNoQuestion) {
  class Counting : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool isLink(const WideText& path, platform::ErrorCode& error) override {
      asked.push_back(path);
      return target().isLink(path, error);
    }
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      asked.push_back(path);
      return target().kind(path, error);
    }
    std::vector<WideText> asked;
  } counting(files());
  useFileSystem(counting);
  WideText relative;
  for (int i = 0; i < 200; ++i) relative += u".\\";
  PathBelowRoot below(root_);
  EXPECT_EQ(below.join(relative + u"a/./file/."), root_ + u"\\a/file/");
  EXPECT_EQ(below.join(relative + u"a/./file"), root_ + u"\\a/file");
  EXPECT_LE(counting.asked.size(), 8U);
  counting.asked.clear();
  for (int i = 0; i < 20'000; ++i) relative += u".\\";
  EXPECT_EQ(below.join(relative + u"a"), std::nullopt);
  EXPECT_TRUE(counting.asked.empty());
}

TEST(StaysBelowRootTest, APathOfTooManyUnitsOrComponentsIsRefused) {
  EXPECT_TRUE(staysBelowRoot(WideText(4'096, u'a')));
  EXPECT_FALSE(staysBelowRoot(WideText(4'097, u'a')));
  WideText components = u"a";
  for (int i = 1; i < 256; ++i) components += u"/a";
  EXPECT_TRUE(staysBelowRoot(components));
  EXPECT_FALSE(staysBelowRoot(components + u"/a"));
}

TEST(ComparablePathTest, DotsAndBlanksAtTheEndOfANameDontCountAsOnAFat) {
  EXPECT_EQ(comparablePath(u"ZELMORA./updates.xml. ."), comparablePath(u"zelmora\\UPDATES.XML"));
  EXPECT_NE(comparablePath(u"a.b"), comparablePath(u"ab"));
  EXPECT_NE(comparablePath(u".hidden"), comparablePath(u"hidden"));
}

TEST(StaysBelowRootTest, ANameOfDotsAndBlanksAloneNamesNothing) {
  for (const WideText path : {u"...", u"a/.. /b", u". ./a", u"a/ ", u" "})
    EXPECT_FALSE(staysBelowRoot(path)) << toUtf8(path);
  EXPECT_TRUE(staysBelowRoot(u"./a"));
  EXPECT_TRUE(staysBelowRoot(u"a./b"));
}

}  // namespace
}  // namespace ZelmoraTevra
