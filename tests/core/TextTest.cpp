#include <gtest/gtest.h>
#include <utf8.h>

#include <limits>

#include "core/Text.h"

namespace ZelmoraTevra {
namespace {

TEST(TextTest, WideTextBecomesUtf8WithItsSurrogatesCombined) {
  EXPECT_EQ(toUtf8(u"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(toUtf8(u""), "");
}

TEST(TextTest, Utf8BecomesWideText) {
  EXPECT_EQ(toWide("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), u"a\u00E4\u20AC\U0001F600");
  EXPECT_EQ(toWide(""), u"");
}

TEST(TextTest, AnInvalidSequenceThrows) {
  EXPECT_THROW((void)toWide("\xFF"), utf8::exception);
  EXPECT_THROW((void)toWide("a\xC3"), utf8::exception);
  EXPECT_THROW((void)toWide("\xED\xA0\x80"), utf8::exception);
  EXPECT_THROW((void)toUtf8(WideText(1, 0xD800)), utf8::exception);
  EXPECT_THROW((void)toUtf8(WideText(1, 0xDC00)), utf8::exception);
}

TEST(TextTest, AReadableTextNeverThrows) {
  EXPECT_EQ(toReadableUtf8(u"a\U0001F600"), "a\xF0\x9F\x98\x80");
  EXPECT_EQ(toReadableUtf8(WideText{u'a', 0xD800, u'b', 0xDC00}),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  EXPECT_EQ(toReadableUtf8(WideText{0xDC00, 0xD800}), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(toReadableWide("a\xC3\xA4"), u"a\u00E4");
  EXPECT_EQ(toReadableWide("a\xFF"
                           "b"),
            u"a\uFFFDb");
  EXPECT_EQ(toReadableWide("a\xC3"), u"a\uFFFD");
}

TEST(TextTest, NumbersAreDecimal) {
  EXPECT_EQ(numberText(0), u"0");
  EXPECT_EQ(numberText(-17), u"-17");
  EXPECT_EQ(numberText(std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
  EXPECT_EQ(numberText(std::numeric_limits<std::int64_t>::max()), u"9223372036854775807");
}

TEST(TextTest, FractionsHaveSixDecimals) {
  EXPECT_EQ(fractionText(0), u"0.000000");
  EXPECT_EQ(fractionText(-1.5), u"-1.500000");
  EXPECT_EQ(fractionText(1.0 / 3), u"0.333333");
}

TEST(TextTest, MebibytesHaveTwoDecimals) {
  EXPECT_EQ(mebibyteText(1'572'864), u"1.50");
  EXPECT_EQ(mebibyteText(0), u"0.00");
  EXPECT_EQ(mebibyteText(10'485'760), u"10.00");
  EXPECT_EQ(mebibyteText(-1'048'576), u"-1.00");
  EXPECT_EQ(mebibyteText(std::numeric_limits<double>::max()).size(), 306U);
}

TEST(TextTest, ATextBecomesTheNumberOfItsLeadingDigits) {
  EXPECT_EQ(textToInteger(u"42"), 42);
  EXPECT_EQ(textToInteger(u" \t-42abc"), -42);
  EXPECT_EQ(textToInteger(std::string_view("+7.5")), 7);
  EXPECT_EQ(textToInt64(u"5000000000 bytes"), 5'000'000'000);
  EXPECT_EQ(textToInt64(std::string_view("-5000000000")), -5'000'000'000);
}

TEST(TextTest, ATextWithoutDigitsIsZero) {
  for (const WideView text : {u"", u"abc", u"-", u"+", u"--1", u"- 1", u" "}) {
    EXPECT_EQ(textToInteger(text), 0);
    EXPECT_EQ(textToInt64(text), 0);
  }
}

TEST(TextTest, ANumberBeyondTheRangeIsTheNearestInIt) {
  EXPECT_EQ(textToInteger(u"2147483648"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(textToInteger(u"-2147483649"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(textToInt64(u"99999999999999999999"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(textToInt64(u"-99999999999999999999"), std::numeric_limits<std::int64_t>::min());
}

TEST(TextTest, SeparatorsTurnBothWays) {
  EXPECT_EQ(toForwardSlashes(u"E:\\a/b\\"), u"E:/a/b/");
  EXPECT_EQ(toBackslashes(u"E:\\a/b\\"), u"E:\\a\\b\\");
}

TEST(TextTest, TheDriveOfAPathStandsBeforeItsFirstSeparator) {
  EXPECT_EQ(driveOfPath(u"E:\\a/b"), u"E:");
  EXPECT_EQ(driveOfPath(u"E:/a\\b"), u"E:");
  EXPECT_EQ(driveOfPath(u"E:"), u"E:");
  EXPECT_EQ(driveOfPath(u"/srv/device"), u"");
  EXPECT_EQ(driveOfPath(u""), u"");
}

TEST(TextTest, APathIsCutAtItsLastSeparatorOfEitherKind) {
  EXPECT_EQ(lastComponent(u"a/b\\c"), u"c");
  EXPECT_EQ(lastComponent(u"a\\b/c"), u"c");
  EXPECT_EQ(lastComponent(u"c"), u"c");
  EXPECT_EQ(lastComponent(u"a/"), u"");
  EXPECT_EQ(parentFolder(u"a/b\\c"), u"a/b");
  EXPECT_EQ(parentFolder(u"/c"), u"");
  EXPECT_EQ(parentFolder(u"c"), u"");
}

TEST(TextTest, SplittingKeepsEmptyPieces) {
  EXPECT_EQ(split(u"a|b", u'|'), (std::vector<WideText>{u"a", u"b"}));
  EXPECT_EQ(split(u"|a||", u'|'), (std::vector<WideText>{u"", u"a", u"", u""}));
  EXPECT_EQ(split(u"", u'|'), (std::vector<WideText>{u""}));
}

TEST(TextTest, OnlyAsciiLettersAreFolded) {
  EXPECT_EQ(toUpperAscii(u"aZ9\u00E4_"), u"AZ9\u00E4_");
  EXPECT_TRUE(equalsIgnoringAsciiCase(u"Tevra.EXE", u"tEVRA.exe"));
  EXPECT_FALSE(equalsIgnoringAsciiCase(u"\u00E4", u"\u00C4"));
  EXPECT_FALSE(equalsIgnoringAsciiCase(u"a", u"ab"));
}

}  // namespace
}  // namespace ZelmoraTevra
