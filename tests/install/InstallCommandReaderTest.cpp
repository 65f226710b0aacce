#include "core/Base64.h"
#include "core/StatusXml.h"
#include "core/XmlDocument.h"
#include "install/InstallCommandReader.h"
#include "install/InstallXml.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

const std::string softwareDescription =
    "<install version=\"1\"><update "
    "install_location=\"storage_for_software\"><company>Z</company><name>N</name>"
    "<version>1</version><file><local>a</local><client>a</client></file></update></install>";
const std::string contentDescription =
    "<install version=\"1\"><update "
    "install_location=\"storage_for_content\"><company>Z</company><name>N</name>"
    "<version>1</version><file><local>a</local><client>a</client></file></update></install>";

std::string zipped(const std::string& text) {
  ZipBuilder zip;
  zip.add("install.xml", text);
  return encodeBase64(zip.bytes());
}

std::string element(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}

// The parts of a "Command" element that a test changes one at a time.
struct CommandText {
  std::string attributes = "LocalInstall=\"0\"";
  std::string letter = element("StorageCardDriveLetter", encodeBase64("E:"));
  std::string secondLetter;
  std::string proxy;
  std::string fileSize = element("fileSize", "1000");
  std::string fileSizeUncompressed = element("fileSizeUncompressed", "2000");
  std::string md5 = element("md5", "ABC");
  std::string url = element("url", "http://host/a.zip?x");
  std::string installXml = element("installXML", zipped(softwareDescription));
  std::string content;  // instead of the parts above
  bool packageSequence = true;

  [[nodiscard]] std::string contentElement() const {
    if (!content.empty()) return content;
    return element("content", fileSize + fileSizeUncompressed + md5 + url + element("sha1", "S") +
                                  element("name", "Maps") + element("description", "Text") + installXml +
                                  element("id", "7"));
  }

  [[nodiscard]] std::string text() const {
    return "<Command " + attributes + ">" + letter + secondLetter + proxy +
           (packageSequence ? element("PackageSequence", contentElement()) : "") + "</Command>";
  }
};

class InstallCommandReaderTest : public JobTest {
 protected:
  bool read(const WideText& name, const CommandText& command) {
    record = CommandRecord();
    record.commandName = name;
    TiXmlDocument document;
    EXPECT_TRUE(parseXml(command.text(), document));
    return readInstallCommand(*document.RootElement(), record);
  }

  void expectReport(const WideText& code, const WideText& message, const WideText& percent = u"100") {
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().exitCode(), code);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{percent, message}));
  }

  CommandRecord record;
};

TEST_F(InstallCommandReaderTest, ReadsEveryValueOfAPackage) {
  CommandText command;
  command.secondLetter = element("SecondDriveLetter", encodeBase64("F:"));
  command.proxy = "<httpProxy>" + element("proxyHost", encodeBase64("host")) +
                  element("proxyPort", encodeBase64("8080")) + element("proxyUser", encodeBase64("user")) +
                  element("proxyPassword", encodeBase64("p\xC3\xA4ss")) + "</httpProxy>";
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
  EXPECT_EQ(record.proxyHost, u"host");
  EXPECT_EQ(record.proxyPort, u"8080");
  EXPECT_EQ(record.proxyUser, u"user");
  EXPECT_EQ(record.proxyPassword, u"p\u00E4ss");
  EXPECT_FALSE(record.localInstall);
  ASSERT_EQ(record.packages.size(), 1U);
  const ContentEntry& package = record.packages[0];
  EXPECT_EQ(package.fileSize, 1000U);
  EXPECT_EQ(package.fileSizeUncompressed, 2000U);
  EXPECT_EQ(package.md5, u"ABC");
  EXPECT_EQ(package.sha1, u"S");
  EXPECT_EQ(package.url, u"http://host/a.zip?x");
  EXPECT_EQ(package.name, u"Maps");
  EXPECT_EQ(package.description, u"Text");
  EXPECT_EQ(package.id, u"7");
  ASSERT_NE(package.installXml, nullptr);
  EXPECT_EQ(package.installXml->text(), toWide(softwareDescription));
  EXPECT_TRUE(package.installXml->isValid());
  EXPECT_EQ(status().state, -100) << "a good command leaves no status";
}

TEST_F(InstallCommandReaderTest, WithoutHttpProxyAllProxyValuesAreEmpty) {
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", {}));
  EXPECT_EQ(record.proxyHost + record.proxyPort + record.proxyUser + record.proxyPassword, u"");
}

TEST_F(InstallCommandReaderTest, WithoutLocalInstallIs1029EvenWithACompleteCommand) {
  for (const WideText name : {u"INSTALL_PACKAGE", u"CHECK_SIZE", u"INSTALL_TEVRA"}) {
    CommandText command;
    command.attributes.clear();
    EXPECT_FALSE(read(name, command));
    expectReport(u"1029", u"Error on reading the install location!");
  }
}

TEST_F(InstallCommandReaderTest, LocalInstallIsTrueForANumberThatIsNot0) {
  writeFile(path(u"a.zip"), "x");
  const auto isLocal = [&](const std::string& value) {
    CommandText command;
    command.attributes = "LocalInstall=\"" + value + "\"";
    command.url = element("url", toUtf8(path(u"a.zip")));
    EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
    return record.localInstall;
  };
  EXPECT_TRUE(isLocal("1"));
  EXPECT_TRUE(isLocal("-1"));
  EXPECT_TRUE(isLocal("4294967296"));
  EXPECT_TRUE(isLocal("7x"));
  EXPECT_FALSE(isLocal("0"));
  EXPECT_FALSE(isLocal("true"));
  EXPECT_FALSE(isLocal(""));
}

TEST_F(InstallCommandReaderTest, CheckHashFileKnowsTwoSpellingsAndNotRunMoveMapOne) {
  const auto readWith = [&](const std::string& attributes) {
    CommandText command;
    command.attributes = "LocalInstall=\"0\" " + attributes;
    EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
  };
  readWith("CheckHashFile=\"true\" NotRunMoveMap=\"true\"");
  EXPECT_TRUE(record.checkHashFile);
  EXPECT_TRUE(record.notRunMoveMap);
  readWith("CheckHashFile=\"TRUE\" NotRunMoveMap=\"TRUE\"");
  EXPECT_TRUE(record.checkHashFile);
  EXPECT_FALSE(record.notRunMoveMap);
  readWith("CheckHashFile=\"True\" NotRunMoveMap=\"1\"");
  EXPECT_FALSE(record.checkHashFile);
  EXPECT_FALSE(record.notRunMoveMap);
  readWith("");
  EXPECT_FALSE(record.checkHashFile);
  EXPECT_FALSE(record.notRunMoveMap);
}

TEST_F(InstallCommandReaderTest, AnEmptyStorageLetterIs1033ButTheSelfUpdateNeedsNone) {
  CommandText command;
  command.letter = element("StorageCardDriveLetter", "");
  for (const WideText name : {u"INSTALL_PACKAGE", u"CHECK_SIZE"}) {
    EXPECT_FALSE(read(name, command));
    expectReport(u"1033", u"Error on reading the storage card drive letter tag!");
  }
  EXPECT_TRUE(read(u"INSTALL_TEVRA", command));
}

TEST_F(InstallCommandReaderTest, WithoutPackageSequenceIs1032) {
  CommandText command;
  command.packageSequence = false;
  EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
  expectReport(u"1032", u"Error on reading the package sequence tag!");
}

TEST_F(InstallCommandReaderTest, AnEmptyPackageSequenceIsAccepted) {
  CommandText command;
  command.content = " ";
  EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_TRUE(record.packages.empty());
}

TEST_F(InstallCommandReaderTest, EachOfTheFourFieldsThatIsMissingIs1031ForAnInstallation) {
  for (std::string CommandText::*field :
       {&CommandText::fileSize, &CommandText::fileSizeUncompressed, &CommandText::md5, &CommandText::url}) {
    CommandText command;
    (command.*field).clear();
    EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
    expectReport(u"1031", u"Error on reading the content information!");
  }
}

TEST_F(InstallCommandReaderTest, Sha1IsNotNeeded) {
  CommandText command;
  command.content = element("content", command.fileSize + command.fileSizeUncompressed + command.md5 +
                                           command.url + command.installXml);
  EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
}

TEST_F(InstallCommandReaderTest, TheSelfUpdateChecksNoFieldAndReadsNoDescription) {
  CommandText command;
  command.md5.clear();
  command.fileSizeUncompressed.clear();
  command.installXml = element("installXML", "broken");
  ASSERT_TRUE(read(u"INSTALL_TEVRA", command));
  ASSERT_EQ(record.packages.size(), 1U);
  EXPECT_EQ(record.packages[0].installXml, nullptr);
  EXPECT_EQ(record.packages[0].fileSize, 1000U);
  EXPECT_EQ(record.packages[0].fileSizeUncompressed, 0U);
}

TEST_F(InstallCommandReaderTest, WithoutFileSizeTheWholeEntryIsEmpty) {
  CommandText command;
  command.fileSize.clear();
  ASSERT_TRUE(read(u"INSTALL_TEVRA", command));
  ASSERT_EQ(record.packages.size(), 1U);
  EXPECT_EQ(record.packages[0].url, u"");
  EXPECT_EQ(record.packages[0].name, u"");
}

TEST_F(InstallCommandReaderTest, ASizeCheckSkipsAnEntryWithoutSizeAndDescription) {
  CommandText command;
  command.content =
      element("content", "") + CommandText().contentElement() + element("content", element("id", "3"));
  ASSERT_TRUE(read(u"CHECK_SIZE", command));
  EXPECT_EQ(record.packages.size(), 1U);
}

TEST_F(InstallCommandReaderTest, ASizeCheckWithSizesAndNoDescriptionIs1158) {
  CommandText command;
  command.installXml.clear();
  EXPECT_FALSE(read(u"CHECK_SIZE", command));
  expectReport(u"1158", u"Error on reading the content information!");
}

TEST_F(InstallCommandReaderTest, ASizeCheckNeedsNeitherMd5NorUrl) {
  CommandText command;
  command.md5.clear();
  command.url.clear();
  command.fileSizeUncompressed.clear();
  EXPECT_TRUE(read(u"CHECK_SIZE", command));
}

TEST_F(InstallCommandReaderTest, ADescriptionThatCannotBeUnpackedIs1030With106) {
  startLog();
  CommandText command;
  for (const std::string& bad :
       {std::string(), std::string("!"), encodeBase64("no zip"), std::string("UEsDBBQAAAAI")}) {
    command.installXml = element("installXML", bad);
    EXPECT_FALSE(read(u"INSTALL_PACKAGE", command)) << bad;
    expectReport(u"1030", u"!!!MEMORY -> CORUPTED FILE!!!", u"106");
  }
  EXPECT_TRUE(logHas(u"Maps"));
  EXPECT_TRUE(logHas(u"Encoded install xml: UEsDBBQAAAAI"));
}

TEST_F(InstallCommandReaderTest, ADescriptionThatIsNoUtf8Is1030) {
  CommandText command;
  command.installXml = element("installXML", zipped("<install>\xFF</install>"));
  EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
  expectReport(u"1030", u"!!!MEMORY -> CORUPTED FILE!!!", u"106");
}

TEST_F(InstallCommandReaderTest, ADescriptionThatDoesNotParseHasItsOwnReport) {
  CommandText command;
  command.installXml = element("installXML", zipped("<install>"));
  EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
  expectReport(u"1167", u"Invalid installation information! Retry later or contact Customer Support.");
}

TEST_F(InstallCommandReaderTest, TheEncodedDescriptionIsLogged) {
  startLog();
  CommandText command;
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_TRUE(logHas(u"Maps: " + toWide(zipped(softwareDescription))));
}

TEST_F(InstallCommandReaderTest, APackageForTheCardWithoutACardIs1015) {
  startLog();
  CommandText command;
  command.installXml = element("installXML", zipped(contentDescription));
  EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
  expectReport(
      u"1015",
      u"To install this content to your ZELMORA device, a SD-Card is needed. Please insert a SD-Card.");
  EXPECT_TRUE(logHas(u"Install xml string: " + toWide(contentDescription)));

  command.secondLetter = element("SecondDriveLetter", encodeBase64("F:"));
  EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
}

TEST_F(InstallCommandReaderTest, ALocalZipIsFoundByItsPlainPath) {
  writeFile(path(u"my.zip"), "x");
  CommandText command;
  command.attributes = "LocalInstall=\"1\"";
  command.url = element("url", toUtf8(path(u"my.zip")));
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(record.packages[0].url, path(u"my.zip"));
}

TEST_F(InstallCommandReaderTest, ALocalZipIsFoundByItsEncodedPath) {
  writeFile(path(u"m  y.zip"), "x");
  CommandText command;
  command.attributes = "LocalInstall=\"1\"";
  command.url = element("url", encodeBase64(toUtf8(path(u"m  y.zip"))));
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(record.packages[0].url, path(u"m  y.zip"));
}

TEST_F(InstallCommandReaderTest, ALocalZipThatIsNowhereIs1245) {
  CommandText command;
  command.attributes = "LocalInstall=\"1\"";
  for (const std::string& url :
       {std::string("/nowhere.zip"), encodeBase64("/nowhere.zip"), encodeBase64("\xFF\xFE"), std::string()}) {
    command.url = element("url", url);
    EXPECT_FALSE(read(u"INSTALL_PACKAGE", command)) << url;
    expectReport(u"1245", u"Please insert a valid path for the zip!!!");
  }
}

TEST_F(InstallCommandReaderTest, ANumberCountsWithItsLeadingDigits) {
  CommandText command;
  command.fileSize = element("fileSize", "12 MB");
  command.fileSizeUncompressed = element("fileSizeUncompressed", "none");
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(record.packages[0].fileSize, 12U);
  EXPECT_EQ(record.packages[0].fileSizeUncompressed, 0U);
}

TEST_F(InstallCommandReaderTest, ASizeBelowNothingIsNothing) {
  CommandText command;
  command.fileSize = element("fileSize", "-5");
  command.fileSizeUncompressed = element("fileSizeUncompressed", "-9223372036854775808");
  ASSERT_TRUE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(record.packages[0].fileSize, 0U);
  EXPECT_EQ(record.packages[0].fileSizeUncompressed, 0U);
}

TEST_F(InstallCommandReaderTest, UnknownAttributesAndElementsAreIgnored) {
  CommandText command;
  command.attributes += " Colour=\"red\"";
  command.secondLetter = "<Unknown><Deep/></Unknown>";
  EXPECT_TRUE(read(u"INSTALL_PACKAGE", command));
}

TEST_F(InstallCommandReaderTest, OneBadPackageBehindAGoodOneFailsTheCommand) {
  CommandText bad;
  bad.md5.clear();
  CommandText command;
  command.content = CommandText().contentElement() + bad.contentElement();
  EXPECT_FALSE(read(u"INSTALL_PACKAGE", command));
  EXPECT_EQ(status().exitCode(), u"1031");
}

}  // namespace
}  // namespace ZelmoraTevra
