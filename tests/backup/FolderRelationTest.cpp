#include <filesystem>

#include "backup/FolderRelation.h"
#include "core/Text.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

class FolderRelationTest : public DeviceTest {
 protected:
  FolderRelationTest() {
    makeFolder(path(u"a/b/c"));
    makeFolder(path(u"ab"));
    addDrive(u'E');
    addDrive(u'F');
    writeOn(u'E', "folder/file");
  }
};

TEST_F(FolderRelationTest, AFolderLiesInItselfAndInThoseAboveIt) {
  for (const char16_t* outer : {u"a/b/c", u"a/b", u"a", u"a/b/", u"a/./b", u"ab/../a"})
    EXPECT_TRUE(isSameOrBelowFolder(path(u"a/b/c"), path(outer))) << toUtf8(WideText(outer));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"a"), u"/"));
}

TEST_F(FolderRelationTest, AFolderDoesNotLieInOthers) {
  EXPECT_FALSE(isSameOrBelowFolder(path(u"a"), path(u"a/b")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"ab"), path(u"a")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"a/b/c"), path(u"missing")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"a"), u""));
  EXPECT_FALSE(isSameOrBelowFolder(u"", u"/"));
}

TEST_F(FolderRelationTest, LinksAreSeenThrough) {
  fs::create_directory_symlink(folder.native() / "a/b", folder.native() / "link");
  EXPECT_TRUE(isSameOrBelowFolder(path(u"link"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"link/c"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"a/b/c"), path(u"link")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"link"), path(u"ab")));
}

TEST_F(FolderRelationTest, FilesAndWhatIsMissingLieWhereTheyAreOrWouldBe) {
  fs::create_directory_symlink(folder.native() / "a/b", folder.native() / "link");
  fs::create_symlink(folder.native() / "E/folder/file", folder.native() / "file-link");
  EXPECT_TRUE(isSameOrBelowFolder(path(u"a/missing/file"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"link/missing/file"), path(u"a")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"link/missing/file"), path(u"a/b/c")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"missing/a/b"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"file-link"), u"E:"));
}

TEST_F(FolderRelationTest, WhatIsOnADriveLiesThereHoweverItIsNamed) {
  for (const WideText& file :
       {WideText(u"E:\\folder\\file"), WideText(u"e:/folder/file"), WideText(u"E:"),
        WideText(u"E:\\folder\\missing"), path(u"E/folder/file"), path(u"E"), path(u"F/../E/folder")})
    for (const WideText& root : {WideText(u"E:"), WideText(u"E:\\"), path(u"E"), path(u"E/")})
      EXPECT_TRUE(isSameOrBelowFolder(file, root)) << toUtf8(file) << " " << toUtf8(root);
}

TEST_F(FolderRelationTest, WhatIsElsewhereDoesNotLieOnADrive) {
  for (const WideText& file : {WideText(u"F:\\folder\\file"), WideText(u"F:"), path(u"F/x"), path(u"E2/x"),
                               path(u""), path(u"temp"), WideText()})
    EXPECT_FALSE(isSameOrBelowFolder(file, u"E:")) << toUtf8(file);
  EXPECT_FALSE(isSameOrBelowFolder(path(u"E"), u"G:"));
  EXPECT_FALSE(isSameOrBelowFolder(u"G:\\x", u"E:"));
  writeFile(path(u"outside"), "x");
  fs::create_symlink(folder.native() / "outside", folder.native() / "E/out");
  EXPECT_FALSE(isSameOrBelowFolder(path(u"outside"), u"E:"));
}

TEST_F(FolderRelationTest, ALinkOnADriveIsSeenThrough) {
  fs::create_directory_symlink(folder.native() / "E", folder.native() / "device");
  fs::create_directory_symlink(folder.native() / "E/folder", folder.native() / "F/link");
  EXPECT_TRUE(isSameOrBelowFolder(path(u"E/folder"), path(u"device")));
  EXPECT_TRUE(isSameOrBelowFolder(u"F:\\link\\file", u"E:"));
  EXPECT_TRUE(isSameOrBelowFolder(u"F:\\link\\missing", u"E:"));
  EXPECT_FALSE(isSameOrBelowFolder(u"F:\\link\\file", u"F:"));
}

TEST_F(FolderRelationTest, WhatTheDiskDoesNotTellIsTakenForTrue) {
  class SilentFiles : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool areSame(const WideText& /*left*/, const WideText& /*right*/, platform::ErrorCode& error) override {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } silent(*platform::machine().files);
  platform::Machine machine = platform::machine();
  machine.files = &silent;
  const platform::ScopedMachine scope(machine);
  EXPECT_TRUE(isSameOrBelowFolder(path(u"ab"), path(u"a")));
}

TEST_F(FolderRelationTest, ALinkThatLeadsInCirclesIsTakenForLyingInTheFolder) {
  fs::create_symlink(folder.native() / "ab/circle", folder.native() / "ab/circle");
  EXPECT_TRUE(isSameOrBelowFolder(path(u"ab/circle"), path(u"a")));
}

}  // namespace

}  // namespace ZelmoraTevra
