#include <filesystem>

#include "core/Text.h"
#include "install/XmlWorkingCopy.h"
#include "tests/support/GoingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class XmlWorkingCopyTest : public JobTest {
 protected:
  const WideText device = path(u"device");
};

TEST_F(XmlWorkingCopyTest, ANewFileComesWithItsFolders) {
  makeFolder(device);
  XmlWorkingCopy copy(device, u"new\\folder/file.xml");
  EXPECT_NE(copy.editsOrNew("settings"), nullptr);
  EXPECT_TRUE(copy.bringBack());
  EXPECT_EQ(readFile(device + u"/new/folder/file.xml"), "<settings />\n");
}

TEST_F(XmlWorkingCopyTest, ADeviceThatGoesIsNotMadeAnewOnTheComputer) {
  for (const WideText relativePath : {u"file.xml", u"new/folder/file.xml"}) {
    for (int question = 1;; ++question) {
      makeFolder(device);
      XmlWorkingCopy copy(device, relativePath);
      EXPECT_NE(copy.editsOrNew("settings"), nullptr);
      GoingFileSystem going(files(), toUtf8(device), question);
      useFileSystem(going);
      const bool broughtBack = copy.bringBack();
      useFileSystem(files());
      if (!going.hasGone()) {
        EXPECT_TRUE(broughtBack);
        break;
      }
      EXPECT_FALSE(std::filesystem::exists(toUtf8(device))) << toUtf8(relativePath) << ' ' << question;
    }
    std::filesystem::remove_all(toUtf8(device));
  }
}

}  // namespace
}  // namespace ZelmoraTevra
