#include <utf8.h>

#include <filesystem>

#include "core/XmlDocument.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

std::string nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<a>";
  for (int i = 0; i < depth; ++i) text += "</a>";
  return text;
}

class XmlDocumentTest : public JobTest {
 protected:
  const WideText file_ = path(u"document.xml");
  TiXmlDocument document_;

  const TiXmlElement* parsed(const std::string& text) {
    EXPECT_TRUE(parseXml(text, document_)) << text;
    return document_.RootElement();
  }
};

TEST_F(XmlDocumentTest, TextOfMoreMarkupThanAnyDocumentHasIsRefused) {
  std::string text = "<a>";
  for (int i = 0; i < 1'000'001; ++i) text += "<b/>";
  TiXmlDocument document;
  EXPECT_FALSE(parseXml(text + "</a>", document));
}

TEST_F(XmlDocumentTest, ALookupStartsAtTheElementItself) {
  const TiXmlElement* const command =
      parsed("<Command><FolderPath>/srv</FolderPath><a><b>deep</b></a></Command>");
  EXPECT_EQ(lookupText(command, "/Command/FolderPath"), u"/srv");
  EXPECT_EQ(lookupText(command, "Command/FolderPath"), u"/srv");
  EXPECT_EQ(lookupText(command, "/Command/a/b"), u"deep");
  EXPECT_EQ(lookupText(command->FirstChildElement("a"), "/a/b"), u"deep");
  EXPECT_EQ(lookupText(command, "/FolderPath"), u"");
}

TEST_F(XmlDocumentTest, TheFirstElementOfANameCounts) {
  const TiXmlElement* const root = parsed("<r><a/><b>1</b><b>2</b><c><d>3</d></c><c><e>4</e></c></r>");
  EXPECT_EQ(lookupText(root, "/r/b"), u"1");
  EXPECT_EQ(lookupText(root, "/r/c/d"), u"3");
  EXPECT_EQ(lookupText(root, "/r/c/e"), u"");
}

TEST_F(XmlDocumentTest, FollowingSiblingsOfTheStartAreLookedAtToo) {
  const TiXmlElement* const root = parsed("<r><a>1</a><b>2</b></r>");
  EXPECT_EQ(lookupText(root->FirstChildElement("a"), "/b"), u"2");
  EXPECT_EQ(lookupText(root->FirstChildElement("b"), "/a"), u"");
}

TEST_F(XmlDocumentTest, APathThatLeadsNowhereGivesEmptyTextAndFalse) {
  const TiXmlElement* const root = parsed("<r><a>1</a></r>");
  for (const char* const nowhere : {"/r/x", "/r/a/x", "/x", "", "/", "/r/", "/r//a", "//r", "/R/a"}) {
    WideText text = u"before";
    EXPECT_FALSE(lookupText(root, nowhere, text)) << nowhere;
    EXPECT_EQ(text, u"") << nowhere;
    EXPECT_EQ(findElement(root, nowhere), nullptr) << nowhere;
  }
  EXPECT_EQ(lookupText(nullptr, "/r"), u"");
}

TEST_F(XmlDocumentTest, AnElementWithoutTextGivesEmptyTextAndFalse) {
  const TiXmlElement* const root = parsed("<r><a/><b></b><c><d/></c><e><!-- x --></e></r>");
  for (const char* const empty : {"/r/a", "/r/b", "/r/c", "/r/e"}) {
    WideText text = u"before";
    EXPECT_FALSE(lookupText(root, empty, text)) << empty;
    EXPECT_EQ(text, u"") << empty;
    EXPECT_NE(findElement(root, empty), nullptr) << empty;
  }
}

TEST_F(XmlDocumentTest, ATextIsTakenFromUtf8AndMarkup) {
  const TiXmlElement* const root = parsed("<r><a>\xC3\xA4 &lt;&#x20AC;</a><b><![CDATA[<x>]]></b></r>");
  WideText text;
  EXPECT_TRUE(lookupText(root, "/r/a", text));
  EXPECT_EQ(text, u"\u00E4 <\u20AC");
  EXPECT_EQ(lookupText(root, "/r/b"), u"<x>");
  EXPECT_EQ(lookupUtf8(root, "/r/a"), "\xC3\xA4 <\xE2\x82\xAC");
}

TEST_F(XmlDocumentTest, ATextThatIsNoUtf8Throws) {
  const TiXmlElement* const root = parsed("<r a='\xFF'><a>\xFF</a></r>");
  EXPECT_THROW((void)lookupText(root, "/r/a"), utf8::exception);
  EXPECT_EQ(lookupUtf8(root, "/r/a"), "\xFF");
  EXPECT_THROW((void)attributeText(*root, "a"), utf8::exception);
}

TEST_F(XmlDocumentTest, AnIntegerIsReadFromTheText) {
  const TiXmlElement* const root = parsed("<r><a>12 apples</a><b>x</b><c/></r>");
  int number = 99;
  EXPECT_TRUE(lookupInteger(root, "/r/a", number));
  EXPECT_EQ(number, 12);
  EXPECT_TRUE(lookupInteger(root, "/r/b", number));
  EXPECT_EQ(number, 0);
  number = 99;
  EXPECT_FALSE(lookupInteger(root, "/r/c", number));
  EXPECT_FALSE(lookupInteger(root, "/r/x", number));
  EXPECT_EQ(number, 99);
}

TEST_F(XmlDocumentTest, AnAttributeThatIsNotThereIsEmpty) {
  const TiXmlElement* const root = parsed("<r a=\"\xC3\xA4&amp;\" b=\"\"/>");
  EXPECT_EQ(attributeText(*root, "a"), u"\u00E4&");
  EXPECT_EQ(attributeText(*root, "b"), u"");
  EXPECT_EQ(attributeText(*root, "c"), u"");
}

TEST_F(XmlDocumentTest, WhatIsNotWellFormedIsRefusedAndLeavesNothing) {
  for (const std::string& text : std::vector<std::string>{
           "", "   ", "text", "<a>", "<a></b>", "<a><b></a></b>", "<a b=1 b=2/>", "<a", "<a b=\"1/>",
           "<a>\xC3", "<a>\xC3</a>", "<a>&#x</a>x41;</a>", std::string("\0<a/>", 5)}) {
    EXPECT_TRUE(parseXml("<before/>", document_));
    EXPECT_FALSE(parseXml(text, document_)) << text;
    EXPECT_TRUE(document_.NoChildren()) << text;
  }
}

TEST_F(XmlDocumentTest, AFaultBeforeDoesNotHinderTheNextText) {
  EXPECT_FALSE(parseXml("<a>", document_));
  EXPECT_TRUE(parseXml("<b/>", document_));
  EXPECT_STREQ(document_.RootElement()->Value(), "b");
}

TEST_F(XmlDocumentTest, TheTextEndsAtItsFirstNul) {
  EXPECT_TRUE(parseXml(std::string("<a/>\0<b>", 8), document_));
  EXPECT_EQ(document_.RootElement()->NextSiblingElement(), nullptr);
}

TEST_F(XmlDocumentTest, ATextBeyondTheBoundsIsRefused) {
  EXPECT_TRUE(parseXml(nested(maximalXmlDepth), document_));
  EXPECT_FALSE(parseXml(nested(maximalXmlDepth + 1), document_));
  EXPECT_FALSE(parseXml(nested(10'000), document_));
  std::string attributes = "<a";
  for (int i = 0; i < maximalXmlAttributes; ++i) attributes += " a" + std::to_string(i) + "='='";
  EXPECT_TRUE(parseXml(attributes + "/>", document_));
  EXPECT_FALSE(parseXml(attributes + " b=''/>", document_));
}

TEST_F(XmlDocumentTest, ATruncatedDocumentIsNeverTakenForTheWhole) {
  const std::string whole = "<?xml version=\"1.0\"?><r><a b=\"1\">text</a><!-- c --><c><![CDATA[d]]></c></r>";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    if (parseXml(whole.substr(0, length), document_)) {
      EXPECT_EQ(document_.RootElement(), nullptr) << whole.substr(0, length);
    }
  }
  EXPECT_TRUE(parseXml(whole, document_));
}

TEST_F(XmlDocumentTest, AFileIsLoadedWithItsLineEndsUnified) {
  writeFile(file_, "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<r a=\"1\r\n2\r3\n4\"/>\r\n");
  ASSERT_TRUE(loadXml(file_, document_));
  EXPECT_EQ(attributeText(*document_.RootElement(), "a"), u"1\n2\n3\n4");
}

TEST_F(XmlDocumentTest, AFileThatCannotBeReadIsRefused) {
  EXPECT_FALSE(loadXml(file_, document_));
  EXPECT_FALSE(loadXml(path(u"temp"), document_));
  EXPECT_FALSE(loadXml(u"Q:\\no.xml", document_));
  EXPECT_FALSE(loadXml(u"", document_));
}

TEST_F(XmlDocumentTest, AFileBeyondTheBoundIsNotRead) {
  writeFile(file_, "<a/>");
  std::filesystem::resize_file(folder.native() / "document.xml",
                               static_cast<std::uintmax_t>(maximalXmlFileBytes) + 1);
  EXPECT_FALSE(loadXml(file_, document_));
  std::filesystem::resize_file(folder.native() / "document.xml", std::uintmax_t{1} << 40);
  EXPECT_FALSE(loadXml(file_, document_));
}

TEST_F(XmlDocumentTest, OfADamagedFileWhatTheParserMadeOfItCanBeKept) {
  writeFile(file_, "<a><b>one</b><c>two");
  EXPECT_FALSE(loadXml(file_, document_));
  EXPECT_EQ(document_.RootElement(), nullptr);
  EXPECT_EQ(loadXmlAsFarAsItGoes(file_, document_), XmlLoad::malformed);
  EXPECT_EQ(document_.ErrorId(), TiXmlBase::TIXML_ERROR_READING_ELEMENT_VALUE);
  EXPECT_EQ(printXml(document_), "<a>\n    <b>one</b>\n    <c>two</c>\n</a>\n");
  writeFile(file_, "<a/>");
  EXPECT_EQ(loadXmlAsFarAsItGoes(file_, document_), XmlLoad::loaded);
  EXPECT_EQ(printXml(document_), "<a />\n");
}

TEST_F(XmlDocumentTest, NothingIsMadeOfAFileThatCannotBeReadOrIsBeyondTheBounds) {
  writeFile(file_, nested(maximalXmlDepth + 1));
  EXPECT_EQ(loadXmlAsFarAsItGoes(file_, document_), XmlLoad::refused);
  EXPECT_EQ(document_.FirstChild(), nullptr);
  EXPECT_EQ(loadXmlAsFarAsItGoes(path(u"missing.xml"), document_), XmlLoad::refused);
}

TEST_F(XmlDocumentTest, WhatIsPrintedIsWhatTheXmlLibrarySaves) {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, "root");
  addElement(root, "empty");
  addElement(root, "emptyText", u"");
  addElement(root, "text", u"<\u00E4 & 'x' \"y\">\n\t").SetAttribute("name", "<\"'&>");
  TiXmlElement& inner = addElement(root, "inner");
  addElement(inner, "deep", u"1");
  inner.InsertEndChild(TiXmlComment(" comment "));
  inner.InsertEndChild(TiXmlUnknown());
  addElement(root, "both").SetAttribute("quote", "a\"b");
  const std::string native = (folder.native() / "library.xml").string();
  ASSERT_TRUE(document.SaveFile(native));
  EXPECT_EQ(printXml(document), readFile(path(u"library.xml")));
  ASSERT_TRUE(saveXml(document, file_));
  EXPECT_EQ(readFile(file_), readFile(path(u"library.xml")));
}

TEST_F(XmlDocumentTest, ADeclarationWithoutAnEncodingIsPrintedWithout) {
  EXPECT_EQ(printXml(newXmlDocument("")), "<?xml version=\"1.0\" ?>\n");
  EXPECT_EQ(printXml(newXmlDocument("UTF-8")), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
}

TEST_F(XmlDocumentTest, WhatIsSavedIsLoadedAgain) {
  TiXmlDocument document = newXmlDocument("UTF-8");
  addElement(addElement(document, "root"), "text", u"a < b & \u20AC");
  ASSERT_TRUE(saveXml(document, file_));
  ASSERT_TRUE(loadXml(file_, document_));
  EXPECT_EQ(lookupText(document_.RootElement(), "/root/text"), u"a < b & \u20AC");
}

TEST_F(XmlDocumentTest, SavingTellsEveryFailure) {
  FaultyFileSystem faulty(files());
  useFileSystem(faulty);
  TiXmlDocument document = newXmlDocument("UTF-8");
  for (const int failing : {1, 2}) {
    faulty.count = 0;
    faulty.failAt = failing;
    EXPECT_FALSE(saveXml(document, file_));
  }
  faulty.failAt = 0;
  EXPECT_TRUE(saveXml(document, file_));
  EXPECT_FALSE(saveXml(document, path(u"missing/document.xml")));
}

TEST_F(XmlDocumentTest, SavingFollowsNoLink) {
  writeFile(path(u"victim"), "mine");
  std::filesystem::create_symlink(folder.native() / "victim", folder.native() / "link.xml");
  EXPECT_FALSE(saveXml(newXmlDocument("UTF-8"), path(u"link.xml")));
  EXPECT_EQ(readFile(path(u"victim")), "mine");
}

}  // namespace
}  // namespace ZelmoraTevra
