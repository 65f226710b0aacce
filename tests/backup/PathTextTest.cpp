#include <gtest/gtest.h>

#include <string>

#include "backup/PathText.h"

namespace ZelmoraTevra {

namespace {

TEST(PathTextTest, TextIsRead) {
  EXPECT_EQ(pathOfText(""), u"");
  EXPECT_EQ(pathOfText("storage_for_software\\a"), u"storage_for_software\\a");
  EXPECT_EQ(pathOfText("ä\\地\\\xF0\x9F\x97\xBA\\\xED\x95\x9C"), u"ä\\地\\\U0001F5FA\\한");
}

TEST(PathTextTest, ASingleSurrogateIsReadAnywhere) {
  EXPECT_EQ(pathOfText("\xED\xB3\xA4"), WideText(1, char16_t{0xDCE4}));
  const WideText carried = {u'a', char16_t{0xDCE4}, char16_t{0xDC5C}, u'b'};
  EXPECT_EQ(pathOfText("a\xED\xB3\xA4\xED\xB1\x9C"
                       "b"),
            carried);
  EXPECT_EQ(pathOfText("\xED\xA0\x80"), WideText(1, char16_t{0xD800}));
}

TEST(PathTextTest, AnyOtherByteMakesItNoPath) {
  for (const char* text : {"\xFF", "a\x80", "\xED", "\xED\xB3",
                           "\xED\xB3"
                           "a",
                           "\xC3", "\xC0\xAE", "\xED\xB3\xA4\xFF", "\xF5\x80\x80\x80"})
    EXPECT_EQ(pathOfText(text), std::nullopt) << text;
}

}  // namespace

}  // namespace ZelmoraTevra
