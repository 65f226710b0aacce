#include <gtest/gtest.h>

#include <string>

#include "core/XmlDocument.h"
#include "core/XmlNames.h"

namespace ZelmoraTevra {
namespace {

std::string utf8Of(char32_t character) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  if (character < 0x80) return {byte(character)};
  if (character < 0x800) return {byte(0xC0 | character >> 6), byte(0x80 | (character & 0x3F))};
  if (character < 0x10000)
    return {byte(0xE0 | character >> 12), byte(0x80 | (character >> 6 & 0x3F)),
            byte(0x80 | (character & 0x3F))};
  return {byte(0xF0 | character >> 18), byte(0x80 | (character >> 12 & 0x3F)),
          byte(0x80 | (character >> 6 & 0x3F)), byte(0x80 | (character & 0x3F))};
}

// Whether an element of that name is read again as it was printed.
bool survivesTheParser(const std::string& name) {
  TiXmlDocument printed;
  addElement(printed, name);
  TiXmlDocument read;
  return parseXml(printXml(printed), read) && read.RootElement() != nullptr &&
         read.RootElement()->ValueStr() == name && read.RootElement()->NextSibling() == nullptr;
}

TEST(XmlNamesTest, TheProgramsElementHasItsNameOnlyIfThatIsOne) {
  EXPECT_EQ(programElementName(u"Other"), "Other");
  EXPECT_EQ(programElementName(u"caf\u00E9"), "caf\xC3\xA9");
  for (const WideView name : {u"", u"Tevra CLI", u"2", u"a<b"})
    EXPECT_EQ(programElementName(name), "TevraCLI");
}

TEST(XmlNamesTest, NamesBeginWithALetterOrAnUnderscore) {
  for (const char* name : {"a", "Z", "_", "map", "a1", "a-b", "a.b", "a:b", "\xC3\xA9", "a\xC2\xB7"})
    EXPECT_TRUE(isXmlName(name)) << name;
  for (const char* name : {"", "1", "-a", ".a", ":a", " a", "a ", "a b", "a/b", "a[0]", "<a", "a>", "a&",
                           "a\"", "a'", "a=", "a\n", "a\x7F",
                           "\xC2\xB7"
                           "a"})
    EXPECT_FALSE(isXmlName(name)) << name;
}

TEST(XmlNamesTest, WhatIsNotUtf8IsNeitherANameNorAText) {
  for (const char* bytes : {"\xFF", "a\xC3", "\x80", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_FALSE(isXmlName(bytes));
    EXPECT_FALSE(isXmlText(bytes));
  }
}

TEST(XmlNamesTest, EveryCharacterOfANameIsTakenByTheParser) {
  for (char32_t character = 1; character < 0x110000; character += character < 0x10000 ? 1 : 0x101) {
    if (character >= 0xD800 && character < 0xE000) continue;
    for (const std::string& name : {utf8Of(character), 'a' + utf8Of(character)}) {
      if (!isXmlName(name)) continue;
      ASSERT_TRUE(survivesTheParser(name)) << static_cast<std::uint32_t>(character);
    }
  }
}

TEST(XmlNamesTest, TextsHaveNoControlCharactersButBlanks) {
  for (const char* text : {"", "a", "\t\n\r", "<&>\"'", "\x7F", "\xEF\xBB\xBF", "\xF0\x9F\x97\xBA"})
    EXPECT_TRUE(isXmlText(text)) << text;
  for (const std::string& text :
       {std::string(1, '\0'), std::string("a\x01"), std::string("\x1F"), utf8Of(0xFFFE), utf8Of(0xFFFF)})
    EXPECT_FALSE(isXmlText(text));
}

}  // namespace
}  // namespace ZelmoraTevra
