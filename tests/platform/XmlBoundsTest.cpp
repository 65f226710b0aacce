#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/XmlBounds.h"

namespace ZelmoraTevra {
namespace {

std::string repeated(std::string_view text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

struct Extent {
  int depth = 0;
  int attributes = 0;
};

Extent extentOf(const TiXmlNode& node) {
  Extent extent;
  for (const TiXmlElement* element = node.FirstChildElement(); element != nullptr;
       element = element->NextSiblingElement()) {
    const Extent inner = extentOf(*element);
    int attributes = 0;
    for (const TiXmlAttribute* each = element->FirstAttribute(); each != nullptr; each = each->Next())
      ++attributes;
    extent.depth = std::max(extent.depth, inner.depth + 1);
    extent.attributes = std::max({extent.attributes, inner.attributes, attributes});
  }
  return extent;
}

// Whatever the parser makes of a text that is within the bounds stays within them, also if it then fails.
void expectBoundsHold(const std::string& text, int depth, int attributes) {
  if (!isWithinXmlBounds(text, depth, attributes)) return;
  TiXmlDocument document;
  document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  const Extent extent = extentOf(document);
  EXPECT_LE(extent.depth, depth) << text;
  EXPECT_LE(extent.attributes, attributes) << text;
}

TEST(XmlBoundsTest, LevelsAreCountedToTheBound) {
  for (int depth = 1; depth < 20; ++depth) {
    const std::string nested = repeated("<a>", depth) + repeated("</a>", depth);
    EXPECT_TRUE(isWithinXmlBounds(nested, depth, 0)) << depth;
    EXPECT_FALSE(isWithinXmlBounds(nested, depth - 1, 0)) << depth;
  }
}

TEST(XmlBoundsTest, AnEmptyElementIsALevel) {
  EXPECT_TRUE(isWithinXmlBounds("<a><b/><c /><d x='/'/></a>", 2, 1));
  EXPECT_FALSE(isWithinXmlBounds("<a><b/></a>", 1, 0));
}

TEST(XmlBoundsTest, SiblingsAreNoLevels) {
  EXPECT_TRUE(isWithinXmlBounds("<r>" + repeated("<a></a><b/>", 1000) + "</r>", 2, 0));
}

TEST(XmlBoundsTest, AttributesAreCountedForEachElement) {
  EXPECT_TRUE(isWithinXmlBounds("<r a='1' b=\"2\"><s c='=====' d=4 /></r>", 2, 2));
  EXPECT_FALSE(isWithinXmlBounds("<r a='1' b=\"2\"/>", 2, 1));
}

TEST(XmlBoundsTest, MarkupInCommentsDataAndInstructionsIsNoElement) {
  EXPECT_TRUE(isWithinXmlBounds("<a><!-- <b><c> --><![CDATA[<b><c>]]></a>", 1, 0));
  EXPECT_TRUE(isWithinXmlBounds("<?xml version=\"1.0\" encoding='UTF-8' standalone = \"yes\"?><a/>", 1, 0));
  EXPECT_TRUE(isWithinXmlBounds("<?xml-stylesheet href=\"a.xsl\" type=\"text/xsl\"?><a/>", 1, 0));
  EXPECT_TRUE(isWithinXmlBounds("<?php echo \"it's\" ?><!DOCTYPE a \"it's\"><a/>", 1, 0));
  EXPECT_TRUE(isWithinXmlBounds("<a>1 > 0 and 0 &lt; 1 &#65; &#x4f; & &x; \"'</a>", 1, 0));
}

TEST(XmlBoundsTest, TextsOfOrdinaryDocumentsAreWithin) {
  EXPECT_TRUE(isWithinXmlBounds("", 1, 1));
  EXPECT_TRUE(isWithinXmlBounds("\xEF\xBB\xBF<a>\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80</a>", 1, 1));
  EXPECT_TRUE(isWithinXmlBounds("<a b=\"x > y < z 'q'\" c='\"'><d/></a>", 2, 2));
}

TEST(XmlBoundsTest, ACharacterReferenceThatHidesMarkupIsRefused) {
  const std::string closers = repeated("</a>", 40);
  EXPECT_FALSE(isWithinXmlBounds(repeated("<a>&#x</a>x41;", 40) + closers, 16, 16));
  EXPECT_FALSE(isWithinXmlBounds(repeated("<a>&#1</a>#65;", 40) + closers, 16, 16));
  EXPECT_FALSE(isWithinXmlBounds("<a b=\"&#x\" c='x41;\">" + repeated("<d>", 40) + "<!--'-->", 16, 16));
  EXPECT_FALSE(isWithinXmlBounds("<a>&#x", 16, 16));
  EXPECT_FALSE(isWithinXmlBounds("<a>&#", 16, 16));
  EXPECT_FALSE(isWithinXmlBounds("<a>&#;", 16, 16));
}

TEST(XmlBoundsTest, AByteSequenceThatHidesMarkupIsRefused) {
  const std::string closers = repeated("</a>", 40);
  for (const std::string lead :
       {"\xC2", "\xDF", "\xE0", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98", "\xF4"}) {
    EXPECT_FALSE(isWithinXmlBounds(repeated("<a>" + lead + "</a>", 40) + closers, 16, 16)) << lead;
    EXPECT_FALSE(
        isWithinXmlBounds("<a b=\"" + lead + "\" c='\">" + repeated("<d>", 40) + "<!--'-->", 16, 16));
    EXPECT_FALSE(isWithinXmlBounds("<a>" + lead, 16, 16)) << lead;
  }
}

TEST(XmlBoundsTest, ADeclarationThatHidesMarkupIsRefused) {
  const std::string closers = repeated("</d>", 40);
  for (const std::string hidden : {"<d><?xml \" version='\" ></d>' ?>", "<d><?xml \"a version=\" ></d>\" ?>",
                                   "<d><?XML version=\"></d>\" ?>", "<d><?xml version=\"&#x\"></d>x41;\" ?>",
                                   "<d><?xml encoding = '></d>' ?>", "<d><?xml x=\"a version=\" ></d>\" ?>"})
    EXPECT_FALSE(isWithinXmlBounds(repeated(hidden, 40) + closers, 16, 16)) << hidden;
}

TEST(XmlBoundsTest, UnterminatedConstructsAreHarmless) {
  for (const std::string text :
       {"<",   "<a",   "<a ",    "<a b",   "<a b=",         "<a b='",          "<a b=\"<a>",
        "<!",  "<!-",  "<!--",   "<!-->",  "<!--->",        "<![CDATA[",       "<![CDATA[]]",
        "<?",  "<?x",  "<?xml",  "<?xml ", "<?xml version", "<?xml version='", "</",
        "</a", "</a ", "<a></a", "<a/",    "<a /",          "<!x </a>",        "<a><!x </a>"}) {
    expectBoundsHold(text, 16, 16);
    expectBoundsHold("<r>" + text, 16, 16);
    expectBoundsHold("<r>" + text + "</r>", 16, 16);
  }
}

TEST(XmlBoundsTest, DeepAndLongTextsAreToldInOnePass) {
  constexpr int bytes = 8 << 20;
  EXPECT_FALSE(isWithinXmlBounds(repeated("<a>", 10'000), 512, 64));
  EXPECT_FALSE(isWithinXmlBounds(repeated("<a>", bytes / 3), 512, 64));
  EXPECT_TRUE(isWithinXmlBounds(repeated("<a></a>", bytes / 7), 512, 64));
  EXPECT_TRUE(isWithinXmlBounds("<a>" + std::string(bytes, 'x') + "</a>", 512, 64));
  EXPECT_TRUE(isWithinXmlBounds(std::string(bytes, '&'), 512, 64));
  EXPECT_TRUE(isWithinXmlBounds(std::string(bytes, '<'), 512, 64));
  EXPECT_TRUE(isWithinXmlBounds("<a>" + std::string(bytes, '"') + "</a>", 512, 64));
  (void)isWithinXmlBounds("<?xml " + std::string(bytes, ' ') + "\"", 512, 64);
  (void)isWithinXmlBounds("<?xml " + repeated("a= \"\"", bytes / 5), 512, 64);
  (void)isWithinXmlBounds(repeated("<!--", bytes / 4), 512, 64);
  (void)isWithinXmlBounds(repeated("<a b='", bytes / 6), 512, 64);
}

// The parser itself, given texts within the bounds that make it work hardest.
TEST(XmlBoundsTest, TheParserTakesLargeTextsWithinTheBounds) {
  constexpr int bytes = 1 << 20;
  for (const std::string& text :
       {repeated("&#x41;", bytes / 6), std::string(bytes, '&'), std::string(bytes, ' '),
        std::string(bytes, ']'), repeated("<!-- -->", bytes / 8), repeated("<b/>", bytes / 4),
        repeated("\n\r", bytes / 2), repeated("\xEF\xBB\xBF", bytes / 3),
        repeated("\xEF\xBF\xBD", bytes / 3)}) {
    const std::string document = "<a>" + text + "</a>";
    ASSERT_TRUE(isWithinXmlBounds(document, 128, 64));
    TiXmlDocument parsed;
    parsed.Parse(document.c_str(), nullptr, TIXML_ENCODING_UTF8);
    EXPECT_FALSE(parsed.Error()) << document.substr(0, 20);
  }
}

TEST(XmlBoundsTest, NothingThatTheParserMakesOfRandomPiecesIsBeyondTheBounds) {
  const std::vector<std::string> pieces = {"<a>",
                                           "</a>",
                                           "<a",
                                           ">",
                                           "/>",
                                           "<a/>",
                                           "<b>",
                                           "</b>",
                                           " b='",
                                           " c=\"",
                                           "'",
                                           "\"",
                                           "=",
                                           " d=e",
                                           "<!--",
                                           "-->",
                                           "<![CDATA[",
                                           "]]>",
                                           "<?xml",
                                           "?>",
                                           " version=",
                                           " encoding='",
                                           " standalone=\"",
                                           "<!x ",
                                           "<?y ",
                                           "&#x",
                                           "&#",
                                           "x41;",
                                           "#65;",
                                           ";",
                                           "&lt;",
                                           "&",
                                           "\xC3",
                                           "\xE2\x82",
                                           "\xF0",
                                           "\xA4",
                                           "\xEF\xBB\xBF",
                                           " ",
                                           "\n",
                                           "text",
                                           "/",
                                           "<",
                                           "\xC3\xA4",
                                           "<a b='1' c='2' d='3'>",
                                           "<?xml version='1.0'?>",
                                           "-",
                                           "]"};
  std::mt19937 random(20'260'101);
  int accepted = 0;
  int wellFormed = 0;
  for (int round = 0; round < 100'000; ++round) {
    // Well-formed beginnings get deeper into the parser than pure chance.
    std::string text = round % 2 == 0 ? "<a>" : "";
    const int count = 1 + static_cast<int>(random() % 14);
    for (int i = 0; i < count; ++i) text += pieces[random() % pieces.size()];
    if (round % 4 == 0) text += "</a></a></a></a>";
    const int depth = static_cast<int>(random() % 4);
    const int attributes = static_cast<int>(random() % 3);
    if (!isWithinXmlBounds(text, depth, attributes)) continue;
    ++accepted;
    TiXmlDocument document;
    document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (!document.Error()) ++wellFormed;
    const Extent extent = extentOf(document);
    ASSERT_LE(extent.depth, depth) << text;
    ASSERT_LE(extent.attributes, attributes) << text;
  }
  // The test would say nothing if hardly any text got through.
  EXPECT_GT(accepted, 10'000);
  EXPECT_GT(wellFormed, 1'000);
}

}  // namespace
}  // namespace ZelmoraTevra
