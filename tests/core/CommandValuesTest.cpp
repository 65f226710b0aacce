#include <gtest/gtest.h>
#include <utf8.h>

#include "core/Base64.h"
#include "core/CommandValues.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {
namespace {

class CommandValuesTest : public ::testing::Test {
 protected:
  const TiXmlElement& command(const std::string& text) {
    EXPECT_TRUE(parseXml(text, document_));
    return *document_.RootElement();
  }
  const TiXmlElement& withValue(const std::string& value) {
    return command("<Command value=\"" + value + "\"/>");
  }

  TiXmlDocument document_;
};

TEST_F(CommandValuesTest, APlainValueIsTheElementsText) {
  const TiXmlElement& element = command("<Command><FolderPath>/srv/\xC3\xA4</FolderPath></Command>");
  EXPECT_EQ(plainValue(element, "/Command/FolderPath"), u"/srv/\u00E4");
  EXPECT_EQ(plainValue(element, "/Command/Missing"), u"");
}

TEST_F(CommandValuesTest, AnEncodedValueIsBase64OfUtf8) {
  const TiXmlElement& element = command("<Command><Letter>" + encodeBase64("E:/<\xC3\xA4>") +
                                        "</Letter><Empty></Empty><Bad>*</Bad></Command>");
  EXPECT_EQ(encodedValue(element, "/Command/Letter"), u"E:/<\u00E4>");
  EXPECT_EQ(encodedValue(element, "/Command/Empty"), u"");
  EXPECT_EQ(encodedValue(element, "/Command/Bad"), u"");
  EXPECT_EQ(encodedValue(element, "/Command/Missing"), u"");
}

TEST_F(CommandValuesTest, AnEncodedValueThatIsNoUtf8Throws) {
  const TiXmlElement& element =
      command("<Command><Letter>" + encodeBase64("\xFF\xFE\xFD") + "</Letter></Command>");
  EXPECT_THROW((void)encodedValue(element, "/Command/Letter"), utf8::exception);
}

TEST_F(CommandValuesTest, ANumberOtherThanZeroIsTrue) {
  for (const char* const value : {"1", "-1", "2 apples", "5000000000", " 1"})
    EXPECT_TRUE(isNonZeroAttribute(withValue(value), "value")) << value;
  for (const char* const value : {"0", "", "true", "00", "x1"})
    EXPECT_FALSE(isNonZeroAttribute(withValue(value), "value")) << value;
  EXPECT_FALSE(isNonZeroAttribute(withValue("1"), "missing"));
}

TEST_F(CommandValuesTest, TrueMayBeInCapitalsWhereThatIsAllowed) {
  EXPECT_TRUE(isTrueOrCapitalsAttribute(withValue("true"), "value"));
  EXPECT_TRUE(isTrueOrCapitalsAttribute(withValue("TRUE"), "value"));
  for (const char* const value : {"True", "1", "", "true "})
    EXPECT_FALSE(isTrueOrCapitalsAttribute(withValue(value), "value")) << value;
}

TEST_F(CommandValuesTest, ElsewhereOnlyTrueItselfIsTrue) {
  EXPECT_TRUE(isTrueAttribute(withValue("true"), "value"));
  for (const char* const value : {"TRUE", "True", "1", "", " true"})
    EXPECT_FALSE(isTrueAttribute(withValue(value), "value")) << value;
  EXPECT_FALSE(isTrueAttribute(withValue("true"), "missing"));
}

}  // namespace
}  // namespace ZelmoraTevra
