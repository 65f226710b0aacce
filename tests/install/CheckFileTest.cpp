#include <filesystem>

#include "install/CheckFile.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t fourGibibytes = std::int64_t{1} << 32;
constexpr WideView md5OfAbc = u"900150983CD24FB0D6963F7D28E17F72";

}  // namespace

class CheckFileTest : public JobTest {};

TEST_F(CheckFileTest, TheSizeMustBeTheExpectedOne) {
  writeFile(path(u"file"), "abc");
  EXPECT_TRUE(checkSize(path(u"file"), 3));
  EXPECT_FALSE(checkSize(path(u"file"), 2));
  EXPECT_FALSE(checkSize(path(u"file"), 4));
  EXPECT_FALSE(checkSize(path(u"file"), -1));
}

TEST_F(CheckFileTest, AFileThatCannotBeOpenedHasNoSize) {
  makeFolder(path(u"folder"));
  EXPECT_FALSE(checkSize(path(u"missing"), 0));
  EXPECT_FALSE(checkSize(path(u"folder"), 0));
  EXPECT_FALSE(checkSize(u"", 0));
  EXPECT_EQ(sizeOfOpenedFile(path(u"missing")), -1);
}

TEST_F(CheckFileTest, SizesFourGibibytesApartAreEqual) {
  writeFile(path(u"file"), "abc");
  EXPECT_TRUE(checkSize(path(u"file"), 3 + fourGibibytes));
  EXPECT_TRUE(checkSize(path(u"file"), 3 - fourGibibytes));
  writeFile(path(u"sparse"), "");
  std::filesystem::resize_file(folder.native() / "sparse", 3 + static_cast<std::uint64_t>(fourGibibytes));
  EXPECT_TRUE(checkSize(path(u"sparse"), 3));
  EXPECT_FALSE(checkSize(path(u"sparse"), 4));
}

TEST_F(CheckFileTest, SizeAndMd5MustAgreeInEitherCase) {
  writeFile(path(u"file"), "abc");
  EXPECT_TRUE(checkFile(path(u"file"), 3, WideText(md5OfAbc)));
  EXPECT_TRUE(checkFile(path(u"file"), 3, u"900150983cd24fb0d6963f7d28e17f72"));
  EXPECT_FALSE(checkFile(path(u"file"), 4, WideText(md5OfAbc)));
  EXPECT_FALSE(checkFile(path(u"file"), 3, u""));
  EXPECT_FALSE(checkFile(path(u"missing"), 0, u""));
}

TEST_F(CheckFileTest, AWrongMd5IsLoggedWithBothValues) {
  startLog();
  writeFile(path(u"file"), "abc");
  EXPECT_FALSE(checkFile(path(u"file"), 3, u"d41d8cd98f00b204e9800998ecf8427e"));
  EXPECT_EQ(logLines(),
            (std::vector<WideText>{u"MD5 NOT agree!!! ", u"Server MD5: D41D8CD98F00B204E9800998ECF8427E",
                                   u"Computed MD5: " + WideText(md5OfAbc)}));
}

TEST_F(CheckFileTest, AWrongSizeIsNotLogged) {
  startLog();
  writeFile(path(u"file"), "abc");
  EXPECT_FALSE(checkFile(path(u"file"), 4, WideText(md5OfAbc)));
  EXPECT_EQ(logLines(), std::vector<WideText>{});
}

}  // namespace ZelmoraTevra
