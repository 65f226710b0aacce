#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/EditableXml.h"
#include "core/XmlDocument.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

class EditableXmlTest : public JobTest {
 protected:
  [[nodiscard]] bool isEditable(const std::string& text) {
    writeFile(file, text);
    return loadEditableXml(file, document);
  }
  // What comes of a file that is loaded and saved.
  [[nodiscard]] std::string savedAgain(const std::string& text) {
    EXPECT_TRUE(isEditable(text)) << text;
    EXPECT_TRUE(saveEditableXml(document, file)) << text;
    return readFile(file);
  }

  const WideText file = path(u"file.xml");
  TiXmlDocument document;
};

TEST_F(EditableXmlTest, AnOrdinaryDocumentIsEditableAndKeepsItsContent) {
  EXPECT_EQ(savedAgain("<?xml version=\"1.0\" encoding='UTF-8'?>\r\n<!DOCTYPE a SYSTEM \"a.dtd\">\n<!-- c -->"
                       "<a b='1 > 0' c = \"AT&amp;T\">x &lt; &quot;y&quot; &#228;&#xE4;<d/><![CDATA[<&>]]>"
                       "<?php echo 1 ?></a>\n<!-- end --><?last?>\n"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<!DOCTYPE a SYSTEM \"a.dtd\">\n<!-- c -->\n"
            "<a b=\"1 &gt; 0\" c=\"AT&amp;T\">\n    x &lt; &quot;y&quot; ää\n    <d />\n    <![CDATA[<&>]]>\n"
            "    <?php echo 1 ?>\n</a>\n<!-- end -->\n<?last?>\n");
}

TEST_F(EditableXmlTest, AReferenceThatIsNoneIsRefused) {
  for (const std::string text :
       {"AT&T", "&euro;", "&", "&;", "& amp;", "&Amp;", "&amp", "&#;", "&#x;", "&#65", "&#xD800;", "&#0;",
        "&#x110000;", "&#99999999999;", "&#xFFFE;", "&#-1;"}) {
    EXPECT_FALSE(isEditable("<a>" + text + "</a>")) << text;
    EXPECT_FALSE(isEditable("<a b=\"" + text + "\"/>")) << text;
    EXPECT_FALSE(isEditable("<a><b/>" + text + "<c/></a>")) << text;
  }
  EXPECT_TRUE(isEditable("<a><!-- AT&T --><![CDATA[&euro;]]><?x &?></a>"));
}

TEST_F(EditableXmlTest, ACharacterThatWouldNotBeReadAgainIsRefused) {
  EXPECT_FALSE(isEditable("<a>x&#32;&#x20;y</a>"));
  EXPECT_TRUE(isEditable("<a b=\"&#32; &#x20;\"/>"));
  EXPECT_FALSE(isEditable("<a>&#xFEFF;x</a>"));
  EXPECT_FALSE(isEditable("<a>\xEF\xBB\xBFx</a>"));
  EXPECT_FALSE(isEditable("<a> \xEF\xBB\xBF <b/></a>"));
  EXPECT_FALSE(isEditable("<a \xEF\xBB\xBF b='c'/>"));
  EXPECT_TRUE(isEditable("\xEF\xBB\xBF<a b='\xEF\xBB\xBF'>x\xEF\xBB\xBF</a>"));
}

TEST_F(EditableXmlTest, ControlCharactersAreKept) {
  EXPECT_EQ(savedAgain("<a b=\"&#x1F;\">&#10;x\x11&#11;</a>"), "<a b=\"&#x1F;\">&#x0A;x&#x11;&#x0B;</a>\n");
  EXPECT_TRUE(isEditable(readFile(file)));
}

TEST_F(EditableXmlTest, AnythingButCommentsAndInstructionsAroundTheRootIsRefused) {
  for (const std::string text : {"text", "<b/>", "</a>", "<![CDATA[x]]>", "&lt;", "<!DOCTYPE a>"})
    EXPECT_FALSE(isEditable("<a>x</a>" + text)) << text;
  for (const std::string text : {"text", "<b/>", "</a>", "<![CDATA[x]]>", "&lt;"})
    EXPECT_FALSE(isEditable(text + "<a>x</a>")) << text;
  for (const std::string text : {"", "<!-- c -->", "<?xml version=\"1.0\"?>", "text", "<a>", "<a><b></a>"})
    EXPECT_FALSE(isEditable(text)) << text;
}

TEST_F(EditableXmlTest, ANulWithAnythingBehindItIsRefused) {
  const std::string nuls(3, '\0');
  EXPECT_TRUE(isEditable("<a/>" + nuls));
  EXPECT_TRUE(isEditable("<a/>\n" + nuls + "\n" + nuls));
  EXPECT_FALSE(isEditable("<a/>" + nuls + "<!-- c -->"));
  EXPECT_FALSE(isEditable("<a>" + nuls + "</a>"));
}

TEST_F(EditableXmlTest, AnInstructionThatWouldBeTakenForAnotherIsRefused) {
  for (const std::string text : {"<?xml-stylesheet href=\"a\"?>", "<?xml version=\"1\" x=\"y\"?>", "<?xmlx?>",
                                 "<?XML version=\"1.0\"?>", "<?xml?>", "<?php echo '>' ?>", "<?x>", "<?x"})
    EXPECT_FALSE(isEditable(text + "<a/>")) << text;
  EXPECT_FALSE(isEditable("<a><?xml version=\"1.0\"?></a>"));
  EXPECT_FALSE(isEditable("<!-- c --><?xml version=\"1.0\"?><a/>"));
}

TEST_F(EditableXmlTest, MarkupThatTheParserWouldCutIsRefused) {
  for (const std::string text :
       {"<a b=x/>", "<a b=/>", "<a b c=\"1\"/>", "<a \"x\"/>", "<a><1 b=\"x>y\"/></a>", "<a>< b/></a>",
        "<a><!x></a>", "<!DOCTYPE a [<!ENTITY b \"c\">]><a/>", "<!DOCTYPE a SYSTEM \"x>y\"><a/>",
        "<a/><!-- c", "<a/><!-- c -", "<a><![CDATA[x</a>", "<a/><", "<a/", "<a b=\"x"})
    EXPECT_FALSE(isEditable(text)) << text;
}

TEST_F(EditableXmlTest, AMissingFileIsNotEditable) {
  EXPECT_FALSE(loadEditableXml(file, document));
}

TEST_F(EditableXmlTest, WhatGetsTooLongIsNotSaved) {
  std::string text;
  for (int level = 0; level < 100; ++level) text += "<a>";
  for (int count = 0; count < 400'000; ++count) text += "<b/>";
  for (int level = 0; level < 100; ++level) text += "</a>";
  ASSERT_TRUE(isEditable(text));
  EXPECT_FALSE(saveEditableXml(document, file));
  EXPECT_EQ(readFile(file), text);
}

TEST_F(EditableXmlTest, WhatCouldNotBeLoadedAgainIsNotSaved) {
  writeFile(file, "before");
  TiXmlDocument noRoot;
  EXPECT_FALSE(saveEditableXml(noRoot, file));
  addElement(document, "no name");
  EXPECT_FALSE(saveEditableXml(document, file));
  EXPECT_EQ(readFile(file), "before");
}

// The pieces hold marks, and a file that is editable still has all of them when it is saved.
TEST_F(EditableXmlTest, NothingOfAnEditableFileIsLost) {
  const std::vector<std::string> pieces = {"<a>",
                                           "</a>",
                                           "<a/>",
                                           "<a M=\"x\">",
                                           "</a >",
                                           "<a M='M'/>",
                                           "M",
                                           " M ",
                                           "&lt;M",
                                           "M&T",
                                           "&M;",
                                           "&#xM;",
                                           "<!--M-->",
                                           "<!--",
                                           "-->",
                                           "<![CDATA[M]]>",
                                           "<![CDATA[",
                                           "]]>",
                                           "<?M?>",
                                           "<?M",
                                           "?>",
                                           "<?xml M?>",
                                           "<!M>",
                                           "<!DOCTYPE M>",
                                           "<M",
                                           ">",
                                           "\"",
                                           "'",
                                           "<a M=M>",
                                           "<a M=\"&M\">",
                                           "<a M=\"M>M\"/>",
                                           "<a\nM=\"&#9;M\"/>",
                                           "<",
                                           "/>",
                                           "<?xml-M?>",
                                           "\xEF\xBB\xBF",
                                           "<M/>",
                                           "< M>",
                                           "=",
                                           "<?M>M?>",
                                           "&amp;#x4D;M"};
  std::mt19937 random(20'261'122);
  int editable = 0;
  for (int round = 0; round < 200'000; ++round) {
    std::string text = round % 2 == 0 ? "<r>" : "";
    for (std::size_t count = 1 + random() % 6; count > 0; --count) text += pieces[random() % pieces.size()];
    if (round % 4 != 1) text += round % 2 == 0 ? "</r>" : "</a>";
    if (!isReadWhole(text)) continue;
    TiXmlDocument read;
    if (!parseXml(text, read) || read.RootElement() == nullptr) continue;
    ++editable;
    const auto marks = [](std::string_view in) { return std::count(in.begin(), in.end(), 'M'); };
    const std::string printed = printXml(read);
    ASSERT_EQ(marks(printed), marks(text)) << text << '\n' << printed;
    TiXmlDocument again;
    ASSERT_TRUE(isReadWhole(printed) && parseXml(printed, again)) << text << '\n' << printed;
    ASSERT_EQ(printXml(again), printed) << text;
  }
  EXPECT_GT(editable, 5'000);
}

}  // namespace
}  // namespace ZelmoraTevra
