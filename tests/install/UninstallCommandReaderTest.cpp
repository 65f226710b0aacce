#include "core/Base64.h"
#include "core/StatusXml.h"
#include "core/XmlDocument.h"
#include "install/UninstallCommandReader.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

std::string element(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}

std::string package(const std::string& company, const std::string& product, const std::string& version) {
  return element("UninstallPackage", element("CompanyName", company) + element("ProductName", product) +
                                         element("ProductVersion", version));
}

class UninstallCommandReaderTest : public JobTest {
 protected:
  bool read(const std::string& children) {
    TiXmlDocument document;
    EXPECT_TRUE(parseXml("<Command>" + children + "</Command>", document));
    record = {};
    return readUninstallCommand(*document.RootElement(), record);
  }
  void expectReport(const WideText& exitCode, const WideText& message) {
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().exitCode(), exitCode);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", message}));
  }

  const std::string letter = element("StorageCardDriveLetter", encodeBase64("E:"));
  CommandRecord record;
};

TEST_F(UninstallCommandReaderTest, ReadsEachPackageInOrderAndBothLetters) {
  EXPECT_TRUE(read(letter + element("SecondDriveLetter", encodeBase64("/media/card")) +
                   element("PackageSequence", package("ZELMORA", "Alps", "1.2") + "<content/>" +
                                                  package("Other &amp; Sons", "Näv", "2"))));
  ASSERT_EQ(record.uninstallEntries.size(), 2U);
  EXPECT_EQ(record.uninstallEntries[0].company, u"ZELMORA");
  EXPECT_EQ(record.uninstallEntries[0].product, u"Alps");
  EXPECT_EQ(record.uninstallEntries[0].version, u"1.2");
  EXPECT_EQ(record.uninstallEntries[1].company, u"Other & Sons");
  EXPECT_EQ(record.uninstallEntries[1].product, u"Näv");
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"/media/card");
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UninstallCommandReaderTest, ASequenceWithoutAnyPackageIsAccepted) {
  EXPECT_TRUE(read(letter + "<PackageSequence/>"));
  EXPECT_TRUE(record.uninstallEntries.empty());
}

TEST_F(UninstallCommandReaderTest, NoSecondLetterAndNoCompanyAreNoErrors) {
  EXPECT_TRUE(read(letter + element("PackageSequence", package("", "Alps", "1"))));
  EXPECT_EQ(record.uninstallEntries[0].company, u"");
  EXPECT_EQ(record.secondDriveLetter, u"");
}

TEST_F(UninstallCommandReaderTest, AMissingSequenceIs1035) {
  EXPECT_FALSE(read(letter));
  expectReport(u"1035", u"Error on reading the package sequence tag!");
}

TEST_F(UninstallCommandReaderTest, APackageWithoutANameOrAVersionIs1034) {
  startLog();
  for (const std::string& bad :
       {package("Z", "", "1"), package("Z", "N", ""), std::string("<UninstallPackage/>")}) {
    EXPECT_FALSE(read(letter + element("PackageSequence", package("Z", "N", "1") + bad)));
    expectReport(u"1034", u"Error on reading the uninstall package information!");
  }
  EXPECT_TRUE(logHas(u"Product name or product version empty!"));
}

TEST_F(UninstallCommandReaderTest, AMissingOrEmptyStorageLetterIs1036) {
  const std::string sequence = element("PackageSequence", package("Z", "N", "1"));
  for (const std::string& none : {std::string(), std::string("<StorageCardDriveLetter/>")}) {
    EXPECT_FALSE(read(none + sequence));
    expectReport(u"1036", u"Error on reading the storage card drive letter tag!");
  }
}

TEST_F(UninstallCommandReaderTest, TheSequenceIsLookedAtFirstThenThePackagesThenTheLetter) {
  EXPECT_FALSE(read(""));
  EXPECT_EQ(status().exitCode(), u"1035");
  EXPECT_FALSE(read(element("PackageSequence", package("Z", "", "1"))));
  EXPECT_EQ(status().exitCode(), u"1034");
}

}  // namespace
}  // namespace ZelmoraTevra
