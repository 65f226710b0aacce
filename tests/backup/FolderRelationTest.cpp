#include <filesystem>

#include "backup/FolderRelation.h"
#include "core/Text.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

class FolderRelationTest : public JobTest {
 protected:
  FolderRelationTest() {
    makeFolder(path(u"a/b/c"));
    makeFolder(path(u"ab"));
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
}

TEST_F(FolderRelationTest, LinksAreSeenThrough) {
  fs::create_directory_symlink(folder.native() / "a/b", folder.native() / "link");
  EXPECT_TRUE(isSameOrBelowFolder(path(u"link"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"link/c"), path(u"a")));
  EXPECT_TRUE(isSameOrBelowFolder(path(u"a/b/c"), path(u"link")));
  EXPECT_FALSE(isSameOrBelowFolder(path(u"link"), path(u"ab")));
}

}  // namespace

}  // namespace ZelmoraTevra
