#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/XmlDocument.h"
#include "install/XmlEdits.h"
#include "tests/install/PlainXmlEdits.h"
#include "tests/support/JobTest.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace ZelmoraTevra {
namespace {

const std::string threeMaps =
    "<config><maps>"
    "<map><name>alps</name><version>1</version></map>"
    "<map><name>iberia</name><version>2</version></map>"
    "<map><name>nordic</name><version>3</version></map>"
    "</maps></config>";

class XmlEditsTest : public JobTest {
 protected:
  using Operation = bool (XmlEdits::*)(const XmlEdit&);

  // Loads the document and makes the edit. The result is kept in `result`, and whether the document is to be
  // saved in `saves`.
  std::string after(const std::string& document, Operation operation, const XmlEdit& edit) {
    writeFile(file, document);
    XmlEdits edits;
    EXPECT_TRUE(edits.load(file));
    result = (edits.*operation)(edit);
    saves = edits.isToBeSaved();
    return flat(edits);
  }
  std::string afterAppend(const std::string& document, const XmlEdit& edit) {
    return after(document, &XmlEdits::append, edit);
  }
  std::string afterChange(const std::string& document, const XmlEdit& edit) {
    return after(document, &XmlEdits::change, edit);
  }
  std::string afterReplaceOrAppend(const std::string& document, const XmlEdit& edit) {
    return after(document, &XmlEdits::replaceOrAppend, edit);
  }
  std::string afterSetValue(const std::string& document, const XmlEdit& edit) {
    return after(document, &XmlEdits::setValue, edit);
  }
  std::string afterRemove(const std::string& document, const XmlEdit& edit) {
    return after(document, &XmlEdits::remove, edit);
  }

  // The document without the blanks of its layout, "<e/>" for an empty element.
  std::string flat(const XmlEdits& edits) {
    EXPECT_TRUE(edits.save(path(u"saved")));
    TiXmlDocument document;
    EXPECT_TRUE(loadXml(path(u"saved"), document));
    TiXmlPrinter printer;
    printer.SetStreamPrinting();
    document.Accept(&printer);
    std::string text = printer.Str();
    for (std::size_t at = text.find(" />"); at != std::string::npos; at = text.find(" />")) text.erase(at, 1);
    return text;
  }

  const WideText file = path(u"file.xml");
  bool result = false;
  bool saves = false;
};

TEST_F(XmlEditsTest, AllFailWithoutADocument) {
  const XmlEdit edit{"config/maps", "name/x", {"name/y"}};
  writeFile(file, "<config><maps>");
  for (const bool loaded : {false, true}) {
    XmlEdits edits;
    if (loaded) {
      EXPECT_FALSE(edits.load(file));
    }
    EXPECT_FALSE(edits.append(edit));
    EXPECT_FALSE(edits.change(edit));
    EXPECT_FALSE(edits.replaceOrAppend(edit));
    EXPECT_FALSE(edits.setValue(edit));
    EXPECT_FALSE(edits.remove(edit));
    EXPECT_FALSE(edits.isToBeSaved());
  }
}

TEST_F(XmlEditsTest, ADocumentWithoutARootOrWithSeveralIsNone) {
  for (const char* text : {"", "<?xml version=\"1.0\" ?>", "<!-- c -->", "text", "<a/><b/>"}) {
    writeFile(file, text);
    EXPECT_FALSE(XmlEdits().load(file)) << text;
  }
  EXPECT_FALSE(XmlEdits().load(path(u"missing")));
}

TEST_F(XmlEditsTest, ANewDocumentIsItsRootAlone) {
  XmlEdits edits;
  EXPECT_FALSE(edits.create("no name"));
  EXPECT_FALSE(edits.change({"config", "x", {}}));
  EXPECT_TRUE(edits.create("config"));
  EXPECT_FALSE(edits.isToBeSaved());
  EXPECT_TRUE(edits.save(file));
  EXPECT_EQ(readFile(file), "<config />\n");
}

TEST_F(XmlEditsTest, AppendNeedsTheNameOfTheRoot) {
  EXPECT_EQ(afterAppend("<config/>", {"other/maps", "map", {"name/x"}}), "<config/>");
  EXPECT_FALSE(result);
  EXPECT_FALSE(saves);
}

TEST_F(XmlEditsTest, AppendGoesDownTheFirstElementsOfTheBaseAndMakesTheMissingOnes) {
  EXPECT_EQ(afterAppend("<r><a><x/></a><a/></r>", {"r/a/b/c", "d", {}}),
            "<r><a><x/><b><c><d/></c></b></a><a/></r>");
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
}

TEST_F(XmlEditsTest, AppendToTheRootAlone) {
  EXPECT_EQ(afterAppend("<r><a/></r>", {"r", "b", {}}), "<r><a/><b/></r>");
}

TEST_F(XmlEditsTest, AppendAddsAllOfTheConditionAlsoBesideLikeOnes) {
  EXPECT_EQ(afterAppend("<r><p><a><b/></a><a/></p><p/></r>", {"r/p", "a/b", {}}),
            "<r><p><a><b/></a><a/><a><b/></a></p><p/></r>");
}

TEST_F(XmlEditsTest, AppendPutsTheAltersUnderTheInnermostEachWithElementsOfItsOwn) {
  EXPECT_EQ(afterAppend("<r/>", {"r", "a/b", {"c/d/1", "c/d/2", "e/3"}}),
            "<r><a><b><c><d>1</d></c><c><d>2</d></c><e>3</e></b></a></r>");
}

TEST_F(XmlEditsTest, AnAlterWithoutAPathIsTheTextOfTheNewElement) {
  EXPECT_EQ(afterAppend("<r/>", {"r", "a", {"b/1", "v"}}), "<r><a>v<b>1</b></a></r>");
  EXPECT_EQ(afterAppend("<r/>", {"r", "a", {"v", "w"}}), "<r><a>w</a></r>");
}

TEST_F(XmlEditsTest, AnAlterWithoutAValueLeavesAnEmptyElement) {
  EXPECT_EQ(afterAppend("<r/>", {"r", "a", {"b/", ""}}), "<r><a><b/></a></r>");
}

TEST_F(XmlEditsTest, AppendReachesTheNumberedElementOfTheBase) {
  EXPECT_EQ(afterAppend("<r><p/><p/><p/></r>", {"r/p[1]", "a", {}}), "<r><p/><p><a/></p><p/></r>");
  EXPECT_EQ(afterAppend("<r><p/></r>", {"r/p[1]", "a", {}}), "<r><p/></r>");
  EXPECT_FALSE(result);
}

TEST_F(XmlEditsTest, ChangeWritesIntoTheInstanceThatMatches) {
  for (const auto& [name, wanted] :
       std::vector<std::pair<std::string, std::string>>{{"alps", "1"}, {"iberia", "2"}, {"nordic", "3"}}) {
    std::string expected = threeMaps;
    expected.replace(expected.find("<version>" + wanted), 10, "<version>9");
    EXPECT_EQ(afterChange(threeMaps, {"config/maps/map", "name/" + name, {"version/9"}}), expected);
    EXPECT_TRUE(result);
    EXPECT_TRUE(saves);
  }
}

TEST_F(XmlEditsTest, ChangeTakesTheFirstOfSeveralThatMatch) {
  EXPECT_EQ(afterChange("<r><e><n>x</n></e><e><n>y</n></e><e><n>y</n></e></r>", {"r/e", "n/y", {"n/z"}}),
            "<r><e><n>x</n></e><e><n>z</n></e><e><n>y</n></e></r>");
}

TEST_F(XmlEditsTest, ChangeWithoutAMatchSavesTheDocumentAsItIs) {
  EXPECT_EQ(afterChange(threeMaps, {"config/maps/map", "name/none", {"version/9"}}), threeMaps);
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
  for (const char* base : {"other/maps/map", "config/none/map", "config/maps/none", "map", ""}) {
    EXPECT_EQ(afterChange(threeMaps, {base, "name/alps", {"version/9"}}), threeMaps);
    EXPECT_TRUE(result);
  }
}

TEST_F(XmlEditsTest, AnInstanceWithoutThePathEndsTheSearch) {
  const std::string document = "<r><e><n>x</n></e><e><m/></e><e><n>y</n></e></r>";
  EXPECT_EQ(afterChange(document, {"r/e", "n/y", {"n/z"}}), document);
  EXPECT_TRUE(result);
  EXPECT_EQ(afterChange(document, {"r/e", "n/x", {"n/z"}}),
            "<r><e><n>z</n></e><e><m/></e><e><n>y</n></e></r>");
}

TEST_F(XmlEditsTest, AnInstanceWithAnEmptyElementAtThePathEndsTheSearchToo) {
  for (const char* empty : {"<n/>", "<n> </n>", "<n><k>y</k></n>", "<n><!--y--></n>"}) {
    const std::string document = "<r><e><n>x</n></e><e>" + std::string(empty) + "</e><e><n>y</n></e></r>";
    const std::string unchanged = afterChange(document, {"r/e", "n/none", {"n/z"}});
    EXPECT_EQ(afterChange(document, {"r/e", "n/y", {"n/z"}}), unchanged) << empty;
    EXPECT_TRUE(result);
    EXPECT_TRUE(saves);
    EXPECT_NE(afterChange(document, {"r/e", "n/x", {"n/z"}}), unchanged) << empty;
  }
  EXPECT_EQ(afterChange("<r><e/><e>y</e></r>", {"r/e", "y", {"z"}}), "<r><e/><e>y</e></r>");
}

TEST_F(XmlEditsTest, AnEmptyValueIsThatOfTheFirstInstanceWithAnEmptyElementAtThePath) {
  EXPECT_EQ(afterChange("<r><e><n>y</n></e><e><n/></e><e><n/></e></r>", {"r/e", "n/", {"n/z"}}),
            "<r><e><n>y</n></e><e><n>z</n></e><e><n/></e></r>");
  EXPECT_EQ(afterChange("<r><e><n>y</n></e><e/><e><n/></e></r>", {"r/e", "n/", {"n/z"}}),
            "<r><e><n>y</n></e><e/><e><n/></e></r>");
}

TEST_F(XmlEditsTest, AnInstanceThatIsEmptiedEndsTheSearchAndOneThatIsFilledDoesNoMore) {
  writeFile(file, "<r><e><n>a</n></e><e><n>b</n></e><e><n>c</n></e></r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.change({"r/e", "n/c", {"n/C"}}));
  EXPECT_TRUE(edits.change({"r/e", "n/a", {"n/"}}));
  EXPECT_TRUE(edits.change({"r/e", "n/C", {"n/unseen"}}));
  EXPECT_TRUE(edits.setValue({"r/e/n", "A", {}}));
  EXPECT_TRUE(edits.change({"r/e", "n/C", {"n/seen"}}));
  EXPECT_EQ(flat(edits), "<r><e><n>A</n></e><e><n>b</n></e><e><n>seen</n></e></r>");
}

TEST_F(XmlEditsTest, AConditionAndAnAlterWithoutAPathAreOfTheInstanceItself) {
  for (const char* condition : {"b", "/b"})
    EXPECT_EQ(afterChange("<r><e>a</e><e>b</e></r>", {"r/e", condition, {"c"}}), "<r><e>a</e><e>c</e></r>");
}

TEST_F(XmlEditsTest, AFailedWriteTurnsTheResultAndTheOthersAreWrittenAllTheSame) {
  EXPECT_EQ(afterChange("<r><e><n>x</n><a>1</a><b>1</b></e></r>",
                        {"r/e", "n/x", {"a/2", "missing/2", "a/missing/2", "b/2"}}),
            "<r><e><n>x</n><a>2</a><b>2</b></e></r>");
  EXPECT_FALSE(result);
  EXPECT_TRUE(saves);
}

TEST_F(XmlEditsTest, TheValueOfAnAlterIsTheTextBehindItsLastSlash) {
  EXPECT_EQ(afterChange("<r><e><n><m>x</m></n></e></r>", {"r/e", "n/m/x", {"n/m/y"}}),
            "<r><e><n><m>y</m></n></e></r>");
}

TEST_F(XmlEditsTest, AnAlterWithoutAValueEmptiesTheElement) {
  EXPECT_EQ(afterChange("<r><e><n>x</n></e></r>", {"r/e", "n/x", {"n/"}}), "<r><e><n/></e></r>");
}

TEST_F(XmlEditsTest, TheRootAloneCanBeTheInstance) {
  EXPECT_EQ(afterChange("<r><n>x</n></r>", {"r", "n/x", {"n/y"}}), "<r><n>y</n></r>");
  EXPECT_EQ(afterChange("<r>x</r>", {"r", "x", {"y"}}), "<r>y</r>");
}

TEST_F(XmlEditsTest, WritingATextLeavesTheChildrenOfTheElement) {
  EXPECT_EQ(afterChange("<r><e>x<c/>t</e></r>", {"r/e", "x", {"y"}}), "<r><e>y<c/>t</e></r>");
  EXPECT_EQ(afterChange("<r><e><c/>t</e></r>", {"r/e", "", {"y"}}), "<r><e>y<c/>t</e></r>");
  EXPECT_EQ(afterChange("<r><e><!--c--></e></r>", {"r/e", "", {"y"}}), "<r><e>y<!--c--></e></r>");
}

TEST_F(XmlEditsTest, WritingATextReplacesACdataSection) {
  EXPECT_EQ(afterChange("<r><e><![CDATA[x]]></e></r>", {"r/e", "x", {"]]>&"}}), "<r><e>]]&gt;&amp;</e></r>");
  EXPECT_EQ(afterChange("<r><e>x<![CDATA[y]]>z</e></r>", {"r/e", "x", {"w"}}), "<r><e>w</e></r>");
}

TEST_F(XmlEditsTest, MarkupInAValueIsText) {
  EXPECT_EQ(afterChange("<r><e>x</e></r>", {"r/e", "x", {"<b a='1'>&#x41;\""}}),
            "<r><e>&lt;b a=&apos;1&apos;&gt;&amp;#x41;&quot;</e></r>");
}

TEST_F(XmlEditsTest, ReplaceOrAppendChangesTheMatch) {
  std::string expected = threeMaps;
  expected.replace(expected.find("<version>2"), 10, "<version>9");
  EXPECT_EQ(afterReplaceOrAppend(threeMaps, {"config/maps/map", "name/iberia", {"name/iberia", "version/9"}}),
            expected);
  EXPECT_TRUE(result);
}

TEST_F(XmlEditsTest, ReplaceOrAppendWithoutAMatchAddsAnElementAroundTheAlters) {
  EXPECT_EQ(afterReplaceOrAppend("<r><p><e><n>x</n></e><f/></p><p/></r>", {"r/p/e", "n/y", {"n/y", "m/k/1"}}),
            "<r><p><e><n>x</n></e><f/><e><n>y</n><m><k>1</k></m></e></p><p/></r>");
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
}

TEST_F(XmlEditsTest, ReplaceOrAppendMakesTheMissingParents) {
  EXPECT_EQ(afterReplaceOrAppend("<r/>", {"r/p/q/e", "n/y", {"n/y"}}),
            "<r><p><q><e><n>y</n></e></q></p></r>");
}

TEST_F(XmlEditsTest, ReplaceOrAppendNeedsTheNameOfTheRoot) {
  for (const char* base : {"other/e", "other", "e", ""}) {
    EXPECT_EQ(afterReplaceOrAppend("<r/>", {base, "n/y", {"n/y"}}), "<r/>");
    EXPECT_FALSE(result);
    EXPECT_FALSE(saves);
  }
}

TEST_F(XmlEditsTest, ReplaceOrAppendInTheRootAloneAddsTheAltersToTheRoot) {
  EXPECT_EQ(afterReplaceOrAppend("<r><a/></r>", {"r", "n/y", {"n/y", "m/z"}}), "<r><a/><n>y</n><m>z</m></r>");
  // The same again finds what the first time has made.
  EXPECT_EQ(afterReplaceOrAppend("<r><a/><n>y</n></r>", {"r", "n/y", {"n/y"}}), "<r><a/><n>y</n></r>");
}

TEST_F(XmlEditsTest, ReplaceOrAppendBehindAnInstanceWithoutThePathAppends) {
  EXPECT_EQ(afterReplaceOrAppend("<r><e/><e><n>y</n></e></r>", {"r/e", "n/y", {"n/y"}}),
            "<r><e/><e><n>y</n></e><e><n>y</n></e></r>");
}

TEST_F(XmlEditsTest, ReplaceOrAppendBehindAnInstanceWithAnEmptyElementAtThePathAppends) {
  EXPECT_EQ(afterReplaceOrAppend("<r><e><n/></e><e><n>y</n></e></r>", {"r/e", "n/y", {"n/y"}}),
            "<r><e><n/></e><e><n>y</n></e><e><n>y</n></e></r>");
}

TEST_F(XmlEditsTest, SetValueWritesTheWholeConditionToTheFirstElementOfThePath) {
  EXPECT_EQ(afterSetValue("<r><p><e>1</e><e>2</e></p><p><e>3</e></p></r>", {"r/p/e", "a/b", {}}),
            "<r><p><e>a/b</e><e>2</e></p><p><e>3</e></p></r>");
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
  EXPECT_EQ(afterSetValue("<r/>", {"r", "v", {}}), "<r>v</r>");
}

TEST_F(XmlEditsTest, TheBaseOfSetValueMayBeginWithASlash) {
  EXPECT_EQ(afterSetValue("<c><n>1</n></c>", {"/c/n", "2", {}}), "<c><n>2</n></c>");
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
  EXPECT_EQ(afterSetValue("<c><n>1</n></c>", {"//c/n", "2", {}}), "<c><n>1</n></c>");
  EXPECT_FALSE(result);
}

TEST_F(XmlEditsTest, SetValueReachesTheNumberedElement) {
  const std::string document = "<r><p><e>1</e><e>2</e></p><p><e>3</e><e>4</e></p></r>";
  EXPECT_EQ(afterSetValue(document, {"r/p[1]/e[0]", "v", {}}),
            "<r><p><e>1</e><e>2</e></p><p><e>v</e><e>4</e></p></r>");
  EXPECT_EQ(afterSetValue(document, {"r/p/e[1]", "v", {}}),
            "<r><p><e>1</e><e>v</e></p><p><e>3</e><e>4</e></p></r>");
  for (const char* base : {"r/p/e[2]", "r/p[2]/e", "r[1]/p", "r/p[]/e", "r/p[x]/e", "r/p[-1]/e", "r/p[1]x/e",
                           "r/p[99999999999999999999]/e"}) {
    EXPECT_EQ(afterSetValue(document, {base, "v", {}}), document);
    EXPECT_FALSE(result);
  }
}

TEST_F(XmlEditsTest, SetValueToAMissingElementFailsAndSavesNothing) {
  for (const char* base : {"r/b", "x", "r/a/b", "", "r//a", "r/a/"}) {
    EXPECT_EQ(afterSetValue("<r><a>1</a></r>", {base, "v", {}}), "<r><a>1</a></r>");
    EXPECT_FALSE(result);
    EXPECT_FALSE(saves);
  }
}

TEST_F(XmlEditsTest, RemoveTakesTheElementThatMatchesAndNoOther) {
  EXPECT_EQ(afterRemove(threeMaps, {"config/maps/map", "name/iberia", {}}),
            "<config><maps>"
            "<map><name>alps</name><version>1</version></map>"
            "<map><name>nordic</name><version>3</version></map>"
            "</maps></config>");
  EXPECT_TRUE(result);
  EXPECT_TRUE(saves);
}

TEST_F(XmlEditsTest, RemoveTakesTheFirstOfSeveralThatMatch) {
  EXPECT_EQ(afterRemove("<r><e>x</e><e i='1'>y</e><e i='2'>y</e></r>", {"r/e", "y", {}}),
            "<r><e>x</e><e i=\"2\">y</e></r>");
}

TEST_F(XmlEditsTest, RemovePassesOverElementsWithoutThePathOrWithAnEmptyElementThere) {
  EXPECT_EQ(afterRemove("<r><e/><e><n>y</n></e></r>", {"r/e", "n/y", {}}), "<r><e/></r>");
  EXPECT_EQ(afterRemove("<r><e/><e><n/></e></r>", {"r/e", "n/", {}}), "<r><e/></r>");
  EXPECT_EQ(afterRemove("<r><e><n/></e><e><n>y</n></e></r>", {"r/e", "n/y", {}}), "<r><e><n/></e></r>");
}

TEST_F(XmlEditsTest, RemoveWithoutAMatchSavesNothing) {
  for (const char* base : {"config/maps/map", "config/none/map", "config/none", "config"}) {
    EXPECT_EQ(afterRemove(threeMaps, {base, "name/none", {}}), threeMaps);
    EXPECT_TRUE(result);
    EXPECT_FALSE(saves);
  }
  EXPECT_EQ(afterRemove(threeMaps, {"other/maps/map", "name/alps", {}}), threeMaps);
  EXPECT_FALSE(result);
  EXPECT_FALSE(saves);
}

TEST_F(XmlEditsTest, RemoveInTheRootAloneTakesTheFirstChildOfThePathsNameIfItHasTheValue) {
  EXPECT_EQ(afterRemove("<r><a>x</a><a>y</a></r>", {"r", "a/x", {}}), "<r><a>y</a></r>");
  EXPECT_TRUE(saves);
  // Whatever the base's only name.
  EXPECT_EQ(afterRemove("<r><a>x</a><a>y</a></r>", {"any", "a/x", {}}), "<r><a>y</a></r>");
  EXPECT_EQ(afterRemove("<r><a>x</a><a>y</a></r>", {"r", "a/y", {}}), "<r><a>x</a><a>y</a></r>");
  EXPECT_FALSE(saves);
  EXPECT_EQ(afterRemove("<r>x<a>x</a></r>", {"r", "x", {}}), "<r>x<a>x</a></r>");
}

TEST_F(XmlEditsTest, RemoveInTheRootAloneWithALongerPathTakesTheElementThatWasRead) {
  EXPECT_EQ(afterRemove("<r><a><b>x</b><c/></a><b>x</b></r>", {"r", "a/b/x", {}}),
            "<r><a><c/></a><b>x</b></r>");
}

TEST_F(XmlEditsTest, TextsAroundARemovedElementAreOneText) {
  EXPECT_EQ(afterRemove("<r><p>a<e>x</e>b</p></r>", {"r/p/e", "x", {}}), "<r><p>a b</p></r>");
}

TEST_F(XmlEditsTest, NamesThatXmlDoesNotHaveMakeNoElements) {
  for (const std::string name : {"",
                                 " ",
                                 "a b",
                                 "1a",
                                 "-a",
                                 ".a",
                                 ":a",
                                 "<a",
                                 "a>",
                                 "a&b",
                                 "a\"",
                                 "a=b",
                                 "a\n",
                                 "a[0]",
                                 "a;",
                                 "\xC2\xA0",
                                 "\xC3\x97",
                                 "a\xE2\x80\x83",
                                 "a\xEF\xBF\xBF",
                                 "\xEF\xBB\xBF"
                                 "a"}) {
    for (const XmlEdit& edit :
         {XmlEdit{"r/" + name, "a", {}}, XmlEdit{"r/" + name + "/b", "a", {}}, XmlEdit{"r", name, {}},
          XmlEdit{"r", "a/" + name, {}}, XmlEdit{"r", "a", {"b/1", name + "/1"}},
          XmlEdit{"r", "a", {"b/" + name + "/1"}}}) {
      EXPECT_EQ(afterAppend("<r/>", edit), "<r/>") << name;
      EXPECT_FALSE(result);
      EXPECT_FALSE(saves);
    }
    EXPECT_EQ(afterReplaceOrAppend("<r/>", {"r/" + name, "a/b", {"a/b"}}), "<r/>") << name;
    EXPECT_FALSE(result);
    EXPECT_EQ(afterReplaceOrAppend("<r/>", {"r/x", "a/b", {name + "/b"}}), "<r/>") << name;
    EXPECT_FALSE(result);
  }
}

TEST_F(XmlEditsTest, NamesOfAllScriptsMakeElements) {
  for (const std::string name :
       {"_", "a-b.c:d_1", "\xC3\xA9t\xC3\xA9", "\xE5\x9C\xB0\xE5\x9B\xB3", "\xF0\x90\x80\x80", "a\xC2\xB7"})
    EXPECT_EQ(afterAppend("<r/>", {"r", name, {}}), "<r><" + name + "/></r>");
}

TEST_F(XmlEditsTest, TextsThatXmlDoesNotAllowAreNotWritten) {
  for (const std::string& value :
       {std::string("\x01"), std::string("a\0b", 3), std::string("\x1F"), std::string("\xEF\xBF\xBE"),
        std::string("\xFF"), std::string("\xC3"), std::string("\xED\xA0\x80")}) {
    EXPECT_EQ(afterAppend("<r/>", {"r", "a", {"b/1", "b/" + value}}), "<r/>");
    EXPECT_FALSE(result);
    EXPECT_EQ(afterSetValue("<r>x</r>", {"r", value, {}}), "<r>x</r>");
    EXPECT_FALSE(result);
    EXPECT_EQ(afterChange("<r><a>x</a><b>x</b></r>", {"r", "a/x", {"a/" + value, "b/y"}}),
              "<r><a>x</a><b>y</b></r>");
    EXPECT_FALSE(result);
    EXPECT_EQ(afterReplaceOrAppend("<r/>", {"r/a", "x", {value}}), "<r/>");
    EXPECT_FALSE(result);
  }
}

TEST_F(XmlEditsTest, BytesOfTheDocumentThatAreNoUtf8StayAsTheyAre) {
  writeFile(file, "<r><e>x\xFF</e><e>y</e></r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.change({"r/e", "y", {"z"}}));
  EXPECT_TRUE(edits.save(file));
  EXPECT_EQ(readFile(file), "<r>\n    <e>x\xFF</e>\n    <e>z</e>\n</r>\n");
}

TEST_F(XmlEditsTest, ElementsAreNotNestedDeeperThanTheyAreRead) {
  std::string names = "r";
  std::string document = "<e/>";
  for (int level = 3; level < maximalXmlDepth; ++level) document = "<e>" + document + "</e>";
  document = "<r>" + document + "</r>";
  for (int level = 2; level < maximalXmlDepth; ++level) names += "/e";
  // The innermost element is on the last level but one.
  EXPECT_NE(afterAppend(document, {names, "x", {"v"}}), document);
  EXPECT_TRUE(result);
  for (const XmlEdit& edit : {XmlEdit{names, "x/y", {}}, XmlEdit{names, "x", {"y/1"}},
                              XmlEdit{names + "/e", "x", {}}, XmlEdit{"r/n" + names.substr(1), "x", {}}}) {
    EXPECT_EQ(afterAppend(document, edit), document);
    EXPECT_FALSE(result);
  }
  EXPECT_EQ(afterReplaceOrAppend(document, {names + "/x", "n/y", {"n/y"}}), document);
  EXPECT_FALSE(result);
}

TEST_F(XmlEditsTest, WhatCouldNotBeLoadedAgainIsNotSaved) {
  std::string document = "<r>";
  for (std::size_t count = 3; count < maximalXmlMarkup; ++count) document += "<e/>";
  writeFile(file, document + "</r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.append({"r", "a/b", {}}));
  writeFile(path(u"saved"), "before");
  EXPECT_FALSE(edits.save(path(u"saved")));
  EXPECT_EQ(readFile(path(u"saved")), "before");
}

TEST_F(XmlEditsTest, AWrittenTextIsFoundInTheFormInWhichItIsReadAgain) {
  writeFile(file, "<r><e>x</e></r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.setValue({"r/e", "  a   b ", {}}));
  EXPECT_TRUE(edits.change({"r/e", "a b", {"found"}}));
  EXPECT_EQ(flat(edits), "<r><e>found</e></r>");
}

TEST_F(XmlEditsTest, AConditionsValueIsComparedAsItIsRead) {
  const std::string document = "<r><e><n>a  b</n></e></r>";
  for (const char* const condition : {"n/a  b", "n/ a b ", "n/a b"}) {
    EXPECT_EQ(afterReplaceOrAppend(document, {"r/e", condition, {"n/c"}}), "<r><e><n>c</n></e></r>");
    EXPECT_EQ(afterRemove(document, {"r/e", condition, {}}), "<r/>");
    EXPECT_EQ(afterRemove(document, {"r", std::string("e/") + condition, {}}), "<r><e/></r>");
    EXPECT_EQ(afterChange("<r><e><n><![CDATA[ a  b]]></n></e></r>", {"r/e", condition, {"n/c"}}),
              "<r><e><n>c</n></e></r>");
  }
}

TEST_F(XmlEditsTest, ABlankOfNoWidthInATextDoesNotKeepItFromBeingSaved) {
  EXPECT_EQ(afterSetValue("<r><e>x</e></r>", {"r/e", "\uFEFFa\uFEFFb", {}}), "<r><e>a\uFEFFb</e></r>");
}

TEST_F(XmlEditsTest, AWrittenTextThatReadsLikeAReferenceStaysText) {
  writeFile(file, "<r><e>x</e></r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.setValue({"r/e", "&#x41; &#x", {}}));
  EXPECT_TRUE(edits.save(file));
  EXPECT_EQ(readFile(file), "<r>\n    <e>&amp;#x41; &amp;#x</e>\n</r>\n");
}

TEST_F(XmlEditsTest, EachEditSeesWhatTheOnesBeforeHaveDone) {
  writeFile(file, threeMaps);
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  const std::string maps = "config/maps/map";
  EXPECT_TRUE(edits.replaceOrAppend({maps, "name/baltic", {"name/baltic", "version/4"}}));
  EXPECT_TRUE(edits.replaceOrAppend({maps, "name/baltic", {"version/5"}}));
  EXPECT_TRUE(edits.change({maps, "name/alps", {"name/nordic"}}));
  EXPECT_TRUE(edits.change({maps, "name/nordic", {"version/6"}}));
  EXPECT_TRUE(edits.remove({maps, "version/6", {}}));
  EXPECT_TRUE(edits.change({maps, "name/nordic", {"version/7"}}));
  EXPECT_TRUE(edits.remove({maps + "/name", "iberia", {}}));
  EXPECT_TRUE(edits.setValue({maps + "/version", "none", {}}));
  EXPECT_EQ(flat(edits),
            "<config><maps>"
            "<map><version>none</version></map>"
            "<map><name>nordic</name><version>7</version></map>"
            "<map><name>baltic</name><version>5</version></map>"
            "</maps></config>");
}

// What an edit may cost grows with the document and the edits, not with their product.
class CostlyEditsTest : public XmlEditsTest {
 protected:
  static constexpr std::uint64_t maximalLooks =
      2'000'000;  // with what each edit adds and the last one overran

  // Elements <e><n>0</n></e> and so on.
  void load(int count) {
    std::string document = "<r>";
    for (int number = 0; number < count; ++number) document += "<e><n>" + std::to_string(number) + "</n></e>";
    writeFile(file, document + "</r>");
    ASSERT_TRUE(edits.load(file));
  }
  static std::string element(int number) { return "r/e[" + std::to_string(number) + "]/n"; }

  XmlEdits edits;
};

TEST_F(CostlyEditsTest, ManyEditsOfManyElementsAreAllMade) {
  constexpr int count = 20'000;
  load(count);
  for (int number = 0; number < count; ++number) {
    const std::string text = std::to_string(number);
    ASSERT_TRUE(edits.setValue({element(number), text + "a", {}}));
    ASSERT_TRUE(edits.change({"r/e", "n/" + text + "a", {"n/" + text + "b"}}));
    ASSERT_TRUE(edits.replaceOrAppend({"r/f", "n/" + text, {"n/" + text}}));
    ASSERT_TRUE(edits.append({"r/g", "n", {text}}));
  }
  for (int number = count - 1; number >= 0; --number)
    ASSERT_TRUE(edits.remove({"r/e", "n/" + std::to_string(number) + "b", {}}));
  EXPECT_FALSE(edits.isExhausted());
  EXPECT_LT(edits.lookCount(), maximalLooks);
}

TEST_F(CostlyEditsTest, LookingForEverNewPathsComesToAnEnd) {
  constexpr int count = 5'000;
  load(count);
  for (int number = 0; number < count; ++number)
    edits.remove({"r/e", "k" + std::to_string(number) + "/none", {}});
  EXPECT_TRUE(edits.isExhausted());
  EXPECT_LT(edits.lookCount(), maximalLooks + 3 * 64 * count);
  EXPECT_FALSE(edits.remove({"r/e", "n/0", {}}));
  EXPECT_FALSE(edits.change({"r/e", "n/0", {"n/x"}}));
  EXPECT_FALSE(edits.replaceOrAppend({"r/e", "n/0", {"n/x"}}));
  EXPECT_FALSE(edits.setValue({"r/e/n", "x", {}}));
  EXPECT_FALSE(edits.append({"r", "x", {}}));
  EXPECT_FALSE(edits.isToBeSaved());
}

TEST_F(CostlyEditsTest, CountingElementsOfWhichOneWasRemovedComesToAnEnd) {
  constexpr int count = 5'000;
  load(count);
  for (int edit = 0; edit < count; ++edit) ASSERT_TRUE(edits.setValue({element(count - 1), "x", {}}));
  EXPECT_LT(edits.lookCount(), 3U * count);
  ASSERT_TRUE(edits.remove({"r/e", "n/100", {}}));
  for (int edit = 0; edit < count; ++edit) edits.setValue({element(count - 2), "y", {}});
  EXPECT_TRUE(edits.isExhausted());
  EXPECT_LT(edits.lookCount(), maximalLooks + 4 * 64 * count);
}

TEST_F(CostlyEditsTest, ReadingALongTextIsCountedAsManyLooks) {
  constexpr int count = 100;
  const std::string longText(1 << 20, 't');
  const std::vector<std::pair<std::string, std::string>> basesAndContents = {
      {"r/e", longText}, {"r/e", "<![CDATA[" + longText + "]]>"}, {"r", longText}};
  for (const auto& [base, content] : basesAndContents) {
    writeFile(file, "<r><e><n>" + content + "</n></e></r>");
    XmlEdits each;
    ASSERT_TRUE(each.load(file));
    // Always the same element, by a path that hasn't been looked at.
    const std::string path = base == "r" ? "e/n[" : "n[";
    for (int edit = 0; edit < count; ++edit)
      each.remove({base, path + std::string(static_cast<std::size_t>(edit), '0') + "0]/none", {}});
    EXPECT_GE(each.lookCount(), count * (1 << 20) / 1024U) << base;
  }
}

TEST_F(CostlyEditsTest, WalkingFromChildToChildAgainAndAgainComesToAnEnd) {
  // Down fifty levels, past sixty children in each.
  std::string content;
  std::string path;
  for (int level = 0; level < 50; ++level) {
    std::string children;
    for (int number = 0; number < 60; ++number) children += "<x/>";
    content = children + "<y>" + content + "</y>";
    path += "y/";
  }
  std::string document = "<r>";
  for (int number = 0; number < 10; ++number) document += "<e>" + content + "</e>";
  writeFile(file, document + "</r>");
  ASSERT_TRUE(edits.load(file));
  for (int edit = 0; edit < 10'000; ++edit)
    edits.remove({"r/e", path + "k" + std::to_string(edit) + "/none", {}});
  EXPECT_TRUE(edits.isExhausted());
}

#ifdef __GLIBC__
std::size_t usedMemory() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST_F(XmlEditsTest, EverNewPathsDoNotFillTheMemory) {
  constexpr std::size_t maximalBytes = 250 << 20;
  constexpr int elements = 10'000;
  const std::string longText(300, 'x');
  std::string document = "<r>";
  for (int element = 0; element < elements; ++element)
    document += "<e><n>" + longText + std::to_string(element) + "</n></e>";
  writeFile(file, document + "</r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  const std::size_t before = usedMemory();
  std::size_t most = 0;
  for (int path = 0; path < 120; ++path) {
    // Different texts for the same path, so that each is looked for anew.
    const std::string number = "n[" + std::string(static_cast<std::size_t>(path), '0') + "0]/none";
    EXPECT_TRUE(edits.remove({"r/e", number, {}}));
    most = std::max(most, usedMemory() - std::min(before, usedMemory()));
  }
  EXPECT_LT(most, maximalBytes);
  EXPECT_TRUE(edits.remove({"r/e", "n/" + longText + "17", {}}));
  EXPECT_TRUE(edits.change({"r/e", "n/" + longText + "16", {"n/found"}}));
  EXPECT_TRUE(edits.change({"r/e", "n/found", {"n/found again"}}));
  EXPECT_TRUE(edits.save(file));
  EXPECT_NE(readFile(file).find("found again"), std::string::npos);
}
#endif

TEST_F(XmlEditsTest, AnElementThatLosesThePathEndsTheSearchAndOneThatGetsItDoesNoMore) {
  writeFile(file, "<r><e><n>a</n></e><e><n>b</n></e><e><n>c</n></e></r>");
  XmlEdits edits;
  ASSERT_TRUE(edits.load(file));
  EXPECT_TRUE(edits.change({"r/e", "n/c", {"n/C"}}));
  EXPECT_TRUE(edits.remove({"r/e/n", "a", {}}));
  EXPECT_TRUE(edits.change({"r/e", "n/C", {"n/unseen"}}));
  EXPECT_TRUE(edits.append({"r/e", "n", {"again"}}));
  EXPECT_TRUE(edits.change({"r/e", "n/C", {"n/seen"}}));
  EXPECT_EQ(flat(edits), "<r><e><n>again</n></e><e><n>b</n></e><e><n>seen</n></e></r>");
}

// Documents and entries made from a seed alone.
class RandomEdits {
 public:
  explicit RandomEdits(unsigned seed) : random_(seed) {}

  std::string document() { return "<r>" + children(3, oneIn(10) ? 120 : 5) + "</r>"; }

  XmlEdit edit() {
    XmlEdit edit{oneIn(30) ? name() : oneIn(10) ? "/r" : "r", {}, {}};
    for (int steps = number(0, 3); steps > 0; --steps) edit.base += '/' + step();
    edit.condition = pathAndValue();
    for (int count = number(0, 3); count > 0; --count) edit.alters.push_back(pathAndValue());
    return edit;
  }

  int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random_); }

 private:
  bool oneIn(int count) { return number(1, count) == 1; }

  std::string name() {
    static const std::vector<std::string> odd = {"", "r", "1", "a b", "a[", "<a>"};
    if (oneIn(60)) return odd[static_cast<std::size_t>(number(0, static_cast<int>(odd.size()) - 1))];
    return std::string(1, static_cast<char>('a' + number(0, 2)));
  }
  std::string step() { return oneIn(15) ? name() + '[' + std::to_string(number(0, 3)) + ']' : name(); }
  std::string value() {
    static const std::vector<std::string> odd = {"", " x  y ", "<&>\"'", "\n", "\x01", "x y"};
    if (oneIn(12)) return odd[static_cast<std::size_t>(number(0, static_cast<int>(odd.size()) - 1))];
    return std::string(1, static_cast<char>('v' + number(0, 3)));
  }
  std::string pathAndValue() {
    std::string text;
    for (int steps = number(0, 2); steps > 0; --steps) text += step() + '/';
    return text + value();
  }
  std::string children(int depth, int maximalCount) {
    std::string text;
    for (int count = number(0, maximalCount); count > 0; --count) {
      switch (number(0, 9)) {
        case 0:
          text += static_cast<char>('v' + number(0, 3));
          break;
        case 1:
          text += oneIn(3) ? "<!-- c -->" : oneIn(2) ? "<![CDATA[ w]]>" : " x\n ";
          break;
        default: {
          const std::string element(1, static_cast<char>('a' + number(0, 2)));
          const std::string content = depth == 0 || oneIn(2)
                                          ? std::string(1, static_cast<char>('v' + number(0, 3)))
                                          : children(depth - 1, 4);
          text += '<' + element + (oneIn(9) ? " i='1'>" : ">") + content + "</" + element + '>';
        }
      }
    }
    return text;
  }

  std::mt19937 random_;
};

TEST_F(XmlEditsTest, GiveWhatLoadingAndSavingForEachEditWouldGive) {
  const std::vector<std::pair<std::int32_t, Operation>> operations = {{1, &XmlEdits::append},
                                                                      {3, &XmlEdits::replaceOrAppend},
                                                                      {4, &XmlEdits::change},
                                                                      {5, &XmlEdits::setValue},
                                                                      {6, &XmlEdits::remove}};
  int saved = 0;
  for (unsigned seed = 0; seed < 1200; ++seed) {
    SCOPED_TRACE(seed);
    RandomEdits random(seed);
    std::string plain = random.document();
    writeFile(file, plain);
    XmlEdits edits;
    ASSERT_TRUE(edits.load(file));
    bool plainSaved = false;
    for (int count = random.number(1, 30); count > 0; --count) {
      const XmlEdit edit = random.edit();
      const auto& [flag, operation] = operations[static_cast<std::size_t>(random.number(0, 4))];
      const PlainEdit expected = plainEdit(plain, flag, edit);
      plainSaved = plainSaved || expected.document != plain;
      plain = expected.document;
      ASSERT_EQ((edits.*operation)(edit), expected.result)
          << flag << ' ' << edit.base << ' ' << edit.condition << '\n'
          << plain;
    }
    if (plainSaved) {
      ASSERT_TRUE(edits.isToBeSaved());
    }
    ASSERT_TRUE(edits.save(file));
    ASSERT_EQ(readFile(file), readAndPrinted(plain));
    saved += plainSaved ? 1 : 0;
  }
  EXPECT_GT(saved, 1000);
}

}  // namespace
}  // namespace ZelmoraTevra
