#include <gmock/gmock.h>

#include "userdata/FileNames.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileNamesTest, AListHasEachItemOnceAndNoEmptyOnes) {
  EXPECT_THAT(splitExtensions(u"csv"), ElementsAre(u"csv"));
  EXPECT_THAT(splitExtensions(u";csv;;bmp;csv;CSV;"), ElementsAre(u"csv", u"bmp", u"CSV"));
  EXPECT_THAT(splitExtensions(u""), IsEmpty());
  EXPECT_THAT(splitExtensions(u";;"), IsEmpty());
}

TEST(FileNamesTest, AnExtensionLeadsNowhere) {
  for (const WideText text : {u"csv", u"tar.gz", u"a b", u"\u00e4"}) EXPECT_TRUE(isExtension(text));
  for (const WideText text : {u"/csv", u"a/b", u"a\\b", u"x/../../y", u"..\\x"})
    EXPECT_FALSE(isExtension(text));
  EXPECT_FALSE(isExtension(WideText(u"c\0v", 3)));
}

TEST(FileNamesTest, ANameEndsAtTheLastDotOfItsLastComponent) {
  for (const auto& [path, name, extension] :
       {std::tuple(u"/home/list.csv", u"/home/list", u"csv"), std::tuple(u"a.b.csv", u"a.b", u"csv"),
        std::tuple(u"list", u"list", u""), std::tuple(u"list.", u"list", u""),
        std::tuple(u".csv", u"", u"csv"), std::tuple(u"", u"", u""),
        std::tuple(u"/home/my.user/list", u"/home/my.user/list", u""),
        std::tuple(u"C:\\my.user\\list", u"C:\\my.user\\list", u"")}) {
    EXPECT_EQ(withoutExtension(path), name);
    EXPECT_EQ(extensionOf(path), extension);
  }
  EXPECT_EQ(withExtension(u"list", u"csv"), u"list.csv");
  EXPECT_EQ(withExtension(u"list", u""), u"list");
}

}  // namespace
}  // namespace ZelmoraTevra
