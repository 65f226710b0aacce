#include <string>

#include "core/Text.h"
#include "install/DeviceXmlFile.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class DeviceXmlFileTest : public JobTest {
 protected:
  static UpdateXmlEntry entry(const WideText& base, const WideText& condition,
                              std::int32_t creationFlag = 0) {
    return {u"config.xml", creationFlag, base, condition};
  }
  // The document behind a removal of all matches, without its indentation.
  std::string without(const std::string& document, const WideText& base, const WideText& condition,
                      std::int32_t creationFlag = 0) {
    writeFile(file, document);
    DeviceXmlFile xml;
    EXPECT_TRUE(xml.load(file));
    removed = xml.removeMatches(entry(base, condition, creationFlag));
    EXPECT_TRUE(xml.save());
    std::string text;
    for (const char c : readFile(file))
      if (c != '\n' && c != ' ') text += c;
    return text;
  }

  const WideText file = path(u"device/config.xml");
  bool removed = false;
};

TEST_F(DeviceXmlFileTest, AllElementsThatMatchAreRemoved) {
  EXPECT_EQ(without("<r><m><n>a</n></m><m><n>b</n></m><m><n>a</n><o>c</o></m></r>", u"r/m", u"n/a"),
            "<r><m><n>b</n></m></r>");
  EXPECT_TRUE(removed);
}

TEST_F(DeviceXmlFileTest, ABaseWithAnotherRootIsSkipped) {
  EXPECT_EQ(without("<r><m>a</m></r>", u"q/m", u"a"), "<r><m>a</m></r>");
  EXPECT_EQ(without("<r><m>a</m></r>", u"m", u"a"), "<r><m>a</m></r>");
  EXPECT_EQ(without("<r><m>a</m></r>", u"", u"a"), "<r><m>a</m></r>");
  EXPECT_FALSE(removed);
}

TEST_F(DeviceXmlFileTest, AMissingNameInTheMiddleEndsTheWalk) {
  EXPECT_EQ(without("<r><m>a</m></r>", u"r/p/m", u"a"), "<r><m>a</m></r>");
  EXPECT_EQ(without("<r><p><m>a</m></p></r>", u"r/p/q/m", u"a"), "<r><p><m>a</m></p></r>");
}

TEST_F(DeviceXmlFileTest, EachNameInTheMiddleLeadsToTheFirstChildOfThatName) {
  EXPECT_EQ(without("<r><p><m>b</m></p><p><m>a</m></p></r>", u"r/p/m", u"a"),
            "<r><p><m>b</m></p><p><m>a</m></p></r>");
  EXPECT_EQ(without("<r><p><q><m>a</m></q></p></r>", u"r/p/q/m", u"a"), "<r><p><q/></p></r>");
}

TEST_F(DeviceXmlFileTest, ANameWithANumberLeadsToThatOneOfItsLike) {
  const std::string document = "<r><p><m>a</m></p><p><m>a</m><m>b</m></p></r>";
  EXPECT_EQ(without(document, u"r/p[1]/m", u"a"), "<r><p><m>a</m></p><p><m>b</m></p></r>");
  EXPECT_EQ(without(document, u"r[0]/p[0]/m", u"a"), "<r><p/><p><m>a</m><m>b</m></p></r>");
  EXPECT_EQ(without(document, u"r/p", u"m[1]/b"), "<r><p><m>a</m></p></r>");
  for (const WideText base : {u"r/p[2]/m", u"r[1]/p/m", u"r/p[x]/m", u"r/p[]/m"}) {
    EXPECT_EQ(without(document, base, u"a"), document);
    EXPECT_FALSE(removed);
  }
}

TEST_F(DeviceXmlFileTest, ABaseThatEndsWithANumberMeansOneElement) {
  const std::string document = "<r><m>b</m><m>a</m><m>a</m><m>a</m></r>";
  EXPECT_EQ(without(document, u"r/m[1]", u"a"), "<r><m>b</m><m>a</m><m>a</m></r>");
  EXPECT_EQ(without(document, u"r/m[0]", u"a"), document);
}

TEST_F(DeviceXmlFileTest, AnElementThatWasAddedToTheRootBesideLikeOnesIsFound) {
  const std::string document = "<r><p><q><m>x</m></q></p><p><o/></p><p><q><m>a</m></q></p></r>";
  EXPECT_EQ(without(document, u"r/p/q/m", u"a", 3), "<r><p><q><m>x</m></q></p><p><o/></p><p><q/></p></r>");
  EXPECT_TRUE(removed);
  EXPECT_EQ(without("<r><p/><p><m>a</m></p></r>", u"r/p/m", u"a", 3), "<r><p/><p/></r>");
}

TEST_F(DeviceXmlFileTest, LikeOnesAreOnlyLookedAtForWhatMayHaveBeenAddedThere) {
  const std::string document = "<r><p><m>x</m></p><p><m><n>a</n></m><o>a</o></p><p><m>a</m></p></r>";
  for (const std::int32_t other : {0, 2, 4, 6}) EXPECT_EQ(without(document, u"r/p/m", u"a", other), document);
  EXPECT_EQ(without(document, u"r/p/m", u"n/a", 3), document);
  EXPECT_EQ(without(document, u"q/p/m", u"a", 3), document);
  EXPECT_EQ(without(document, u"r/p/m", u"", 3), document);
  EXPECT_EQ(without(document, u"r/p[0]/m", u"a", 3), document);
  EXPECT_EQ(without("<r><p><m>a</m></p><p><m>a</m></p></r>", u"r/p/m", u"a", 3), "<r><p/><p><m>a</m></p></r>")
      << "the first one has been found where the base leads";
}

TEST_F(DeviceXmlFileTest, ABaseOfTheRootAloneNamesChildrenOfThatName) {
  EXPECT_EQ(without("<r><r>a</r><m>a</m></r>", u"r", u"a"), "<r><m>a</m></r>");
}

TEST_F(DeviceXmlFileTest, AConditionWithoutAPathIsTheTextOfTheElement) {
  EXPECT_EQ(without("<r><m>a</m><m>b</m><m><a>a</a></m></r>", u"r/m", u"a"),
            "<r><m>b</m><m><a>a</a></m></r>");
}

TEST_F(DeviceXmlFileTest, AConditionIsSplitAtItsLastSlash) {
  EXPECT_EQ(without("<r><m><n><o>a</o></n></m><m><n>a</n></m></r>", u"r/m", u"n/o/a"),
            "<r><m><n>a</n></m></r>");
  EXPECT_EQ(without("<r><m>a</m></r>", u"r/m", u"/a"), "<r/>");
}

TEST_F(DeviceXmlFileTest, OnlyTheFirstElementOfANameCountsInACondition) {
  EXPECT_EQ(without("<r><m><n>b</n><n>a</n></m></r>", u"r/m", u"n/a"), "<r><m><n>b</n><n>a</n></m></r>");
}

TEST_F(DeviceXmlFileTest, AnEmptyTextMatchesNothing) {
  const std::string document = "<r><m/><m><n/></m></r>";
  EXPECT_EQ(without(document, u"r/m", u""), document);
  EXPECT_EQ(without(document, u"r/m", u"n/"), document);
  EXPECT_FALSE(removed);
}

TEST_F(DeviceXmlFileTest, ATextMustBeEqualAndNotOnlyAlike) {
  const std::string document = "<r><m>Alps</m><m>alp</m></r>";
  EXPECT_EQ(without(document, u"r/m", u"alps"), document);
  EXPECT_EQ(without("<r><m>Ä &amp; Ö</m></r>", u"r/m", u"Ä & Ö"), "<r/>");
}

TEST_F(DeviceXmlFileTest, TextsAreComparedAsTheyAreRead) {
  EXPECT_EQ(without("<r><m><n> a\n b </n></m><m><n><![CDATA[a  b]]></n></m></r>", u"r/m", u"n/ a  b "),
            "<r/>");
}

TEST_F(DeviceXmlFileTest, AFileInWhichNothingMatchesStaysByteForByte) {
  const std::string document = "<?xml version='1.0'?><r>\r\n<m a='1'  >a</m>\t</r>";
  writeFile(file, document);
  FaultyFileSystem counting(files());
  useFileSystem(counting);
  DeviceXmlFile xml;
  EXPECT_TRUE(xml.load(file));
  EXPECT_FALSE(xml.removeMatches(entry(u"r/m", u"b")));
  EXPECT_TRUE(xml.save());
  EXPECT_EQ(counting.count, 0);
  useFileSystem(files());
  EXPECT_EQ(readFile(file), document);
}

TEST_F(DeviceXmlFileTest, WhatIsRemovedIsGoneForEveryLaterLook) {
  writeFile(file, "<r><m><n>a</n><o>c</o></m><m><n>b</n><o>c</o></m><p><m>a</m></p></r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  EXPECT_TRUE(xml.hasMatch(entry(u"r/m", u"o/c")));
  EXPECT_TRUE(xml.hasMatch(entry(u"r/p/m", u"a")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"n/a")));
  EXPECT_TRUE(xml.hasMatch(entry(u"r/m", u"o/c")));
  EXPECT_FALSE(xml.removeMatches(entry(u"r/m", u"n/a")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"o/c")));
  EXPECT_FALSE(xml.hasMatch(entry(u"r/m", u"n/b")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/p/m", u"a")));
  EXPECT_FALSE(xml.hasMatch(entry(u"r/p/m", u"a")));
}

TEST_F(DeviceXmlFileTest, AnElementGoesWithTheParentsOfOthers) {
  writeFile(file, "<r><p><n>x</n><m>a</m></p><p><n>y</n><m>a</m></p></r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  EXPECT_FALSE(xml.removeMatches(entry(u"r/p/m", u"b")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/p", u"n/x")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/p/m", u"a")));
  EXPECT_TRUE(xml.save());
  EXPECT_EQ(readFile(file), "<r>\n    <p>\n        <n>y</n>\n    </p>\n</r>\n");
}

TEST_F(DeviceXmlFileTest, ARemovalInsideOfAnElementChangesWhatTheElementMatches) {
  writeFile(file, "<r><p><m>a</m><m>b</m></p></r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  EXPECT_FALSE(xml.removeMatches(entry(u"r/p", u"m/b")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/p/m", u"a")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/p", u"m/b")));
}

// What is linear in the number of elements needs a moment here; what isn't runs into the tests' time limit.
TEST_F(DeviceXmlFileTest, ManyLikeElementsAreRemoved) {
  std::string document = "<r>";
  for (int i = 0; i < 60'000; ++i)
    document += "<m><n>" + std::to_string(i) + "</n><o>same</o><p>" + std::to_string(i % 2) + "</p></m>";
  writeFile(file, document + "</r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  EXPECT_TRUE(xml.hasMatch(entry(u"r/m", u"o/same")));
  for (int i = 0; i < 20'000; ++i) EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"n/" + numberText(i))));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"p/1")));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"o/same")));
  EXPECT_FALSE(xml.hasMatch(entry(u"r/m", u"p/0")));
}

TEST_F(DeviceXmlFileTest, ManyKindsOfElementsAreRemovedInTurn) {
  constexpr int count = 20'000;
  std::string kinds;
  std::string maps;
  std::string skins;
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    kinds += "<k" + number + ">a</k" + number + ">";
    maps += "<map><name>" + number + "</name></map>";
    skins += "<skin><name>" + number + "</name></skin>";
  }
  writeFile(file, "<c>" + kinds + maps + "<skins>" + skins + "</skins></c>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  for (int i = 0; i < count; ++i) {
    ASSERT_TRUE(xml.removeMatches(entry(u"c/k" + numberText(i), u"a")));
    ASSERT_TRUE(xml.removeMatches(entry(u"c/map", u"name/" + numberText(i))));
    ASSERT_TRUE(xml.removeMatches(entry(u"c/skins/skin", u"name/" + numberText(i))));
  }
  EXPECT_FALSE(xml.isExhausted());
}

TEST_F(DeviceXmlFileTest, LookingForEverNewPathsComesToAnEnd) {
  constexpr int count = 3'000;
  std::string document = "<r>";
  for (int i = 0; i < count; ++i) document += "<m><n>a</n></m>";
  writeFile(file, document + "</r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  for (int i = 0; i < count; ++i) xml.removeMatches(entry(u"r/m", u"n" + numberText(i) + u"/a"));
  EXPECT_TRUE(xml.isExhausted());
  EXPECT_TRUE(xml.hasMatch(entry(u"r/m", u"n/other"))) << "nothing can be told of it";
  EXPECT_FALSE(xml.removeMatches(entry(u"r/m", u"n/a")));
  xml.removeMatch(entry(u"r/m", u"n/a"));
  EXPECT_TRUE(xml.save());
  EXPECT_EQ(readFile(file), document + "</r>");
}

TEST_F(DeviceXmlFileTest, PuttingTogetherEverLongerTextsComesToAnEnd) {
  constexpr int count = 20'000;
  const std::string text(400, 't');
  std::string document = "<r>" + text;
  for (int i = 0; i < count; ++i) document += "<m>a</m>" + text;
  writeFile(file, document + "</r>");
  DeviceXmlFile xml;
  ASSERT_TRUE(xml.load(file));
  EXPECT_TRUE(xml.removeMatches(entry(u"r/m", u"a")));
  EXPECT_TRUE(xml.isExhausted());
}

TEST_F(DeviceXmlFileTest, AFileThatWouldLoseMoreThanTheElementIsNotLoaded) {
  for (const std::string text : {"<r><m>a</m>b & c</r>", "<r><m>a</m></r>text", "<r><m>a</m></r><r/>",
                                 "<r><m>a</m>&unknown;</r>", "<?xml-stylesheet href='a'?><r><m>a</m></r>"}) {
    writeFile(file, text);
    EXPECT_FALSE(DeviceXmlFile().load(file)) << text;
  }
  writeFile(file, std::string("<r><m>a</m></r>\0<r/>", 21));
  EXPECT_FALSE(DeviceXmlFile().load(file));
}

}  // namespace
}  // namespace ZelmoraTevra
