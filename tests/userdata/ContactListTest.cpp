#include <gtest/gtest.h>

#include <algorithm>

#include "userdata/ContactList.h"

namespace ZelmoraTevra {
namespace {

const std::string head = "\xEF\xBB\xBF[Tevra imported contacts]\n";

std::string element(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}
std::string listOf(const std::string& contacts) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + element("contacts", contacts);
}

// What an import of the list writes; "<none>" if it doesn't parse.
std::string contentOf(const std::string& list) {
  std::vector<Contact> contacts;
  return readContacts(toWide(list), contacts) ? contactsFileContent(contacts) : "<none>";
}
// The line of a contact that has only a name.
std::string lineOfName(const std::string& writtenName) {
  return "-|" + writtenName + "|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-\n";
}
std::string contentOfName(const std::string& nameInXml) {
  return contentOf(listOf(element("contact", element("name", nameInXml))));
}

const std::string fullContact =
    element("contact", element("name", "Anna") + element("company", "Bergwerk") +
                           element("countryCode", "AT") + element("cityName", "Innsbruck") +
                           element("cityPostal", "6020") + element("streetName", "Maximilianstrasse") +
                           element("houseNumber", "12a") + element("homeTelephone", "+43 1") +
                           element("home2Telephone", "+43 2") + element("businessTelephone", "+43 3") +
                           element("business2Telephone", "+43 4") + element("mobileTelephone", "+43 5"));
const std::string fullLine =
    "Bergwerk|Anna|AT|6020|Innsbruck|Maximilianstrasse|12a|-|-|-|-|-|-|-|-|-|+43 1|+43 2|+43 3|+43 4|+43 5\n";

TEST(ContactListTest, EveryFieldHasItsPlaceInTheLine) {
  EXPECT_EQ(contentOf(listOf(fullContact)), head + fullLine);
}

TEST(ContactListTest, ALineHas21Fields) {
  for (const std::string& line : {fullLine, lineOfName("Anna")})
    EXPECT_EQ(std::count(line.begin(), line.end(), '|'), 20) << line;
}

TEST(ContactListTest, AContactWithOnlyANameHasDashesElsewhere) {
  EXPECT_EQ(contentOfName("Anna"), head + lineOfName("Anna"));
  EXPECT_EQ(contentOf(listOf("<contact/>")), head + lineOfName("-"));
}

TEST(ContactListTest, MarkupIsReplacedAmpersandsFirst) {
  EXPECT_EQ(contentOfName("A&amp;B"), head + lineOfName("A&amp;B"));
  EXPECT_EQ(contentOfName("&amp;lt;"), head + lineOfName("&amp;lt;"));
  EXPECT_EQ(contentOfName("&lt;b&gt; &quot;x&quot; &apos;y&apos; &amp;amp;"),
            head + lineOfName("&lt;b&gt; &quot;x&quot; &#39;y&#39; &amp;amp;"));
  EXPECT_EQ(contentOfName("&amp;&amp;&lt;&lt;&gt;&gt;"), head + lineOfName("&amp;&amp;&lt;&lt;&gt;&gt;"));
}

TEST(ContactListTest, ABarStaysAsItIs) {
  EXPECT_EQ(contentOfName("a|b||"), head + lineOfName("a|b||"));
}

TEST(ContactListTest, UnicodeBeyondTheBasicPlaneIsKept) {
  const std::string name = "\xC3\x84 \xE6\xB1\x89 \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF";
  EXPECT_EQ(contentOfName(name), head + lineOfName(name));
  EXPECT_EQ(contentOfName("&#128512;"), head + lineOfName("\xF0\x9F\x98\x80"));
  EXPECT_EQ(contentOfName("&#x1F600;"), head + lineOfName("\xF0\x9F\x98\x80"));
}

TEST(ContactListTest, LineBreaksInAFieldBecomeBlanks) {
  EXPECT_EQ(contentOfName("Anna\nMaria"), head + lineOfName("Anna Maria"));
  EXPECT_EQ(contentOfName("Anna&#10;Maria"), head + lineOfName("Anna Maria"));
  EXPECT_EQ(contentOfName("Anna&#13;&#x0A;Maria"), head + lineOfName("Anna  Maria"));
  EXPECT_EQ(contentOfName("<![CDATA[Anna\r\nMaria]]>"), head + lineOfName("Anna  Maria"));
}

TEST(ContactListTest, AFieldOfWhiteSpaceIsEmpty) {
  EXPECT_EQ(contentOfName("  \n "), head + lineOfName("-"));
}

TEST(ContactListTest, OnlyTheFirstElementOfANameCountsAndOthersAreIgnored) {
  EXPECT_EQ(contentOf(listOf(element("contact", element("fax", "1") + element("name", "Anna") +
                                                    element("name", "Berta") + element("Name", "Carla")))),
            head + lineOfName("Anna"));
  EXPECT_EQ(
      contentOf(listOf("text" + element("other", element("contact", "")) + "<!-- note -->" + fullContact)),
      head + fullLine);
}

TEST(ContactListTest, ATextWithoutAnyContactIsAnEmptyList) {
  for (const std::string& list :
       {listOf(""), std::string("<other/>"), element("other", fullContact), listOf(element("Contact", "")),
        std::string("<contact/>"), std::string("<!-- contacts -->"), std::string("<?xml version=\"1.0\"?>\n"),
        "<other/>" + element("contacts", fullContact)})
    EXPECT_EQ(contentOf(list), head) << list;
}

TEST(ContactListTest, WhatIsNotWellFormedDoesNotParse) {
  for (const std::string& list :
       {std::string("contacts"), std::string("<contacts>"), std::string(" "), std::string("<!-- contacts"),
        std::string("<?xml version=\"1.0\""), std::string("<contacts><contact></contacts>"),
        std::string("\0<contacts/>", 12), listOf("<contact><name>a</nam></contact>")})
    EXPECT_EQ(contentOf(list), "<none>") << list;
}

TEST(ContactListTest, AReferenceToNoCharacterDoesNotParse) {
  for (const char* reference : {"&#xD800;", "&#xDFFF;", "&#x110000;", "&#0;", "&#x0;", "a&#000;b", "&#x000;",
                                "&#x200000;", "&#4294967296;", "&#18446744073709551616;"})
    EXPECT_EQ(contentOfName(reference), "<none>") << reference;
}

TEST(ContactListTest, AListThatIsCutAnywhereDoesNotParse) {
  const std::string list = listOf(fullContact + fullContact);
  const std::string declaration = list.substr(0, list.find('>') + 1);
  for (std::size_t length = 0; length < list.size(); ++length) {
    const std::string cut = list.substr(0, length);
    // A declaration alone is an empty list, which takes nothing away.
    const bool hasNoElement = cut == declaration || cut == declaration + '\n';
    EXPECT_EQ(contentOf(cut), hasNoElement ? head : "<none>") << cut;
  }
  EXPECT_EQ(contentOf(list), head + fullLine + fullLine);
}

TEST(ContactListTest, ADamagedListGivesWholeLinesOrNone) {
  const std::string list = listOf(fullContact);
  for (std::size_t position = 0; position < list.size(); ++position) {
    for (const char damage : {'<', '>', '&', '/', '"', '\n', '\x01', 'x'}) {
      std::string damaged = list;
      damaged[position] = damage;
      const std::string content = contentOf(damaged);
      if (content == "<none>") continue;
      ASSERT_TRUE(content.starts_with(head));
      const std::string lines = content.substr(head.size());
      EXPECT_EQ(std::count(lines.begin(), lines.end(), '|'),
                20 * std::count(lines.begin(), lines.end(), '\n'))
          << damaged;
    }
  }
}

TEST(ContactListTest, TenThousandContactsAreWrittenByteForByte) {
  std::string contacts;
  std::string lines;
  for (int number = 0; number < 10'000; ++number) {
    const std::string text = std::to_string(number);
    contacts += element("contact", element("name", "N&amp;" + text) + element("mobileTelephone", text));
    lines += "-|N&amp;" + text + "|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|" + text + "\n";
  }
  EXPECT_TRUE(contentOf(listOf(contacts)) == head + lines);
}

TEST(ContactListTest, AnAddressBookOfMoreThanAMillionTagsIsRead) {
  std::string contacts;
  std::string lines;
  for (int number = 0; number < 260'000; ++number) {
    contacts += "<contact><name>a</name></contact>";
    lines += lineOfName("a");
  }
  EXPECT_TRUE(contentOf(listOf(contacts)) == head + lines);
}

}  // namespace
}  // namespace ZelmoraTevra
