#include <filesystem>

#include "backup/EmptiedStorage.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class EmptiedStorageTest : public DeviceTest {
 protected:
  EmptiedStorageTest() {
    addDrive(u'E');
    addDrive(u'F');
    writeOn(u'E', "folder/file");
  }
};

TEST_F(EmptiedStorageTest, WhatIsOnTheStorageGoesWithItHoweverItIsNamed) {
  for (const WideText& file :
       {WideText(u"E:\\folder\\file"), WideText(u"e:/folder/file"), WideText(u"E:"),
        WideText(u"E:\\folder\\missing"), path(u"E/folder/file"), path(u"E"), path(u"F/../E/folder")})
    for (const WideText& root : {WideText(u"E:"), WideText(u"E:\\"), path(u"E"), path(u"E/")})
      EXPECT_TRUE(goesWithStorage(file, root)) << toUtf8(file) << " " << toUtf8(root);
}

TEST_F(EmptiedStorageTest, WhatIsElsewhereStays) {
  for (const WideText& file : {WideText(u"F:\\folder\\file"), WideText(u"F:"), path(u"F/x"), path(u"E2/x"),
                               path(u""), path(u"temp"), WideText()})
    EXPECT_FALSE(goesWithStorage(file, u"E:")) << toUtf8(file);
  EXPECT_FALSE(goesWithStorage(path(u"E"), u""));
  EXPECT_FALSE(goesWithStorage(path(u"E"), u"G:"));
}

TEST_F(EmptiedStorageTest, LinksAreFollowed) {
  fs::create_directory_symlink(folder.native() / "E/folder", folder.native() / "link");
  fs::create_symlink(folder.native() / "E/folder/file", folder.native() / "file-link");
  fs::create_directory_symlink(folder.native() / "E", folder.native() / "device");
  EXPECT_TRUE(goesWithStorage(path(u"link/file"), u"E:"));
  EXPECT_TRUE(goesWithStorage(path(u"file-link"), u"E:"));
  EXPECT_TRUE(goesWithStorage(path(u"E/folder"), path(u"device")));
  writeFile(path(u"outside"), "x");
  fs::create_symlink(folder.native() / "outside", folder.native() / "E/out");
  EXPECT_FALSE(goesWithStorage(path(u"outside"), u"E:"));
}

TEST_F(EmptiedStorageTest, EverythingLiesBelowTheRootOfTheSystem) {
  EXPECT_TRUE(goesWithStorage(path(u"temp"), u"/"));
}

}  // namespace
}  // namespace ZelmoraTevra
