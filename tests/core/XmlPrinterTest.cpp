#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include "core/XmlDocument.h"
#include "core/XmlPrinter.h"

namespace ZelmoraTevra {
namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

std::string printedByTheLibrary(const TiXmlDocument& document) {
  TiXmlPrinter printer;
  document.Accept(&printer);
  return printer.Str();
}

void addContent(TiXmlNode& parent, std::mt19937& random, int depth) {
  const std::vector<std::string> texts = {"", "x", "a & b", "<\"'>", "\t\n\x01\x1F", "ä€", "\xFF", "&#65;"};
  const auto text = [&] { return texts[random() % texts.size()]; };
  for (std::size_t count = random() % 4; count > 0; --count) {
    const std::size_t kind = random() % 8;
    if (kind == 0) {
      parent.InsertEndChild(TiXmlComment("c - c"));
    } else if (kind == 1) {
      TiXmlUnknown unknown;
      unknown.SetValue("?php x?");
      parent.InsertEndChild(unknown);
    } else if (kind <= 3 && depth > 0) {
      TiXmlText node(text());
      node.SetCDATA(kind == 2);
      parent.InsertEndChild(node);
    } else if (depth < 5) {
      TiXmlElement& element = addElement(parent, "e");
      if (random() % 2 == 0) element.SetAttribute("n", text());
      if (random() % 3 == 0) element.SetAttribute("m", text());
      addContent(element, random, depth + 1);
    }
  }
}

TEST(XmlPrinterTest, PrintsAsTheLibraryDoes) {
  std::mt19937 random(20'261'121);
  for (int round = 0; round < 2'000; ++round) {
    TiXmlDocument document = round % 2 == 0 ? newXmlDocument("UTF-8") : TiXmlDocument();
    addContent(document, random, 0);
    ASSERT_EQ(printXml(document), printedByTheLibrary(document));
  }
}

TEST(XmlPrinterTest, ATextThatReadsLikeAReferenceStaysText) {
  for (const std::string text : {"&#x41;", "&#x", "&#xyz", "a &#x 1;"}) {
    TiXmlDocument document;
    TiXmlElement& element = addElement(document, "a");
    element.SetAttribute("b", text);
    element.InsertEndChild(TiXmlText(text));
    TiXmlDocument read;
    ASSERT_TRUE(parseXml(printXml(document), read)) << text;
    EXPECT_EQ(read.RootElement()->GetText(), text);
    EXPECT_EQ(read.RootElement()->Attribute("b"), text);
  }
}

TEST(XmlPrinterTest, EndsAtTheLimit) {
  TiXmlDocument document;
  ASSERT_TRUE(parseXml("<a b=\"&lt;\"><!--c--><d>&amp;</d><![CDATA[e]]><?f?>g<h/></a>", document));
  const std::string whole = printXml(document);
  for (std::size_t limit = 0; limit <= whole.size(); ++limit) {
    XmlPrinter printer(limit);
    document.Accept(&printer);
    EXPECT_EQ(printer.isWhole(), limit == whole.size());
    EXPECT_LE(printer.text().size(), limit);
    EXPECT_TRUE(whole.starts_with(printer.text()));
  }
  XmlPrinter printer(unlimited);
  document.Accept(&printer);
  EXPECT_TRUE(printer.isWhole());
  EXPECT_EQ(printer.text(), whole);
}

}  // namespace
}  // namespace ZelmoraTevra
