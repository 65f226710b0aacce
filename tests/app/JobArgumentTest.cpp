#include <gtest/gtest.h>

#include "app/JobArgument.h"
#include "core/Base64.h"

namespace ZelmoraTevra {
namespace {

using Fields = std::vector<WideText>;

std::optional<WideText> decodedText(const std::string& text) {
  return decodeJobArgument(encodeBase64(text));
}

TEST(JobArgumentTest, TheArgumentIsBase64OfUtf8) {
  EXPECT_EQ(decodedText("a|b|c"), u"a|b|c");
  EXPECT_EQ(decodedText("\xC3\xA4|\xF0\x9F\x98\x80|c"), u"\u00E4|\U0001F600|c");
}

TEST(JobArgumentTest, QuotesAndBlanksAroundTheWholeTextAreStripped) {
  EXPECT_EQ(decodedText("  \"'a|b|c'\" "), u"a|b|c");
  EXPECT_EQ(decodedText("'\"' a|\"b\"|c"), u"a|\"b\"|c");
  EXPECT_EQ(decodedText("\ta|b|c\n"), u"\ta|b|c\n");
}

TEST(JobArgumentTest, NothingIsLeftOfAnArgumentWithoutText) {
  EXPECT_EQ(decodeJobArgument(""), std::nullopt);
  EXPECT_EQ(decodeJobArgument("*"), std::nullopt);
  EXPECT_EQ(decodeJobArgument("QUI"), std::nullopt);
  EXPECT_EQ(decodedText("\""), std::nullopt);
  EXPECT_EQ(decodedText(" '\"' "), std::nullopt);
}

TEST(JobArgumentTest, BytesThatAreNoUtf8AreNoArgument) {
  EXPECT_EQ(decodedText("a|b|\xFF"), std::nullopt);
  EXPECT_EQ(decodedText("a|b|c\xC3"), std::nullopt);
  EXPECT_EQ(decodedText("a|b|\xED\xA0\x80"), std::nullopt);
}

TEST(JobArgumentTest, AnIllegalCharacterLeavesWhatStandsBeforeIt) {
  EXPECT_EQ(decodeJobArgument(encodeBase64("a|b|c!") + "*" + encodeBase64("lost")), u"a|b|c!");
}

TEST(JobArgumentTest, AnArgumentMayBeLong) {
  const std::string text = std::string(100'000, 'x') + "|b|c";
  EXPECT_EQ(decodedText(text)->size(), text.size());
}

TEST(JobArgumentTest, EachFieldLosesTheBlanksAroundIt) {
  EXPECT_EQ(splitJobArgument(u" a |\tb\t| \tc c\t \n"), (Fields{u"a", u"b", u"c c"}));
}

TEST(JobArgumentTest, ALineFeedGoesOnlyAtAFieldsEnd) {
  EXPECT_EQ(splitJobArgument(u"\na\n|b|\n"), (Fields{u"\na", u"b", u""}));
}

TEST(JobArgumentTest, EmptyFieldsCount) {
  EXPECT_EQ(splitJobArgument(u"a|b|c|"), (Fields{u"a", u"b", u"c", u""}));
  EXPECT_EQ(splitJobArgument(u"||"), (Fields{u"", u"", u""}));
  EXPECT_EQ(splitJobArgument(u"a"), (Fields{u"a"}));
}

}  // namespace
}  // namespace ZelmoraTevra
