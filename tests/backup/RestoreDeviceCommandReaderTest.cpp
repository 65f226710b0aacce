#include "backup/BackupCommands.h"
#include "backup/RestoreDeviceCommandReader.h"
#include "core/Base64.h"
#include "core/StatusXml.h"
#include "core/XmlDocument.h"
#include "install/InstallXml.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

const WideText restore = u"RESTORE_DEVICE";
const WideText checkSize = u"CHECK_SIZE_RESTORE_DEVICE";

std::string descriptionFor(const std::string& location) {
  return "<install version=\"1\"><update install_location=\"" + location +
         "\"><company>Z</company><name>N</name><version>1</version><file><local>a</local><client>a</client>"
         "</file></update></install>";
}

std::string zipped(const std::string& text) {
  return encodeBase64(ZipBuilder().add("install.xml", text).bytes());
}

std::string element(const std::string& name, const std::string& text, const std::string& attributes = "") {
  return "<" + name + attributes + ">" + text + "</" + name + ">";
}

// The parts of a "Command" element that a test changes one at a time.
struct CommandText {
  std::string attributes;
  std::string letter = element("StorageCardDriveLetter", encodeBase64("E:"));
  std::string secondLetter;
  std::string proxy;
  std::string fileSize = element("fileSize", "1000");
  std::string fileSizeUncompressed = element("fileSizeUncompressed", "2000");
  std::string md5 = element("md5", "ABC");
  std::string index = element("index", "3");
  std::string url = element("url", "http://host/a.zip?x");
  std::string installXml = element("installXML", zipped(descriptionFor("storage_for_software")));
  int contents = 1;
  bool packageSequence = true;

  [[nodiscard]] std::string text() const {
    std::string packages;
    for (int i = 0; i < contents; ++i)
      packages += element("content", fileSize + fileSizeUncompressed + md5 + url + index +
                                         element("sha1", "S") + element("name", "Maps") +
                                         element("description", "Text") + installXml + element("id", "7"));
    return "<Command " + attributes + ">" + letter + secondLetter + proxy +
           (packageSequence ? element("PackageSequence", packages) : "") + "</Command>";
  }
};

class RestoreDeviceCommandReaderTest : public JobTest {
 protected:
  bool read(const WideText& name, const CommandText& command) {
    record = CommandRecord();
    record.commandName = name;
    TiXmlDocument document;
    EXPECT_TRUE(parseXml(command.text(), document));
    return readRestoreDeviceCommand(*document.RootElement(), record);
  }
  void expectReport(const WideText& name, const CommandText& command, const WideText& code,
                    const WideText& message, const WideText& percent = u"100") {
    EXPECT_FALSE(read(name, command));
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, statErrorOccured);
    EXPECT_EQ(saved.exitCode(), code);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{percent, message}));
  }

  const WideText badContent = u"Error on reading the content information!";
  CommandRecord record;
};

TEST_F(RestoreDeviceCommandReaderTest, ReadsEveryValue) {
  CommandText command;
  command.attributes = R"(windows7="1" CheckHashFile="TRUE" NotRunMoveMap="true")";
  command.letter = element("StorageCardDriveLetter", encodeBase64("E:"), " DisableFormat=\"true\"");
  command.secondLetter = element("SecondDriveLetter", encodeBase64("F:"), " DisableFormat=\"true\"");
  command.proxy = "<httpProxy>" + element("proxyHost", encodeBase64("host")) +
                  element("proxyPort", encodeBase64("8080")) + element("proxyUser", encodeBase64("user")) +
                  element("proxyPassword", encodeBase64("word")) + "</httpProxy>";
  for (const WideText& name : {restore, checkSize}) {
    ASSERT_TRUE(read(name, command));
    EXPECT_EQ(record.storageCardDriveLetter, u"E:");
    EXPECT_EQ(record.secondDriveLetter, u"F:");
    EXPECT_TRUE(record.disableFormatFirst);
    EXPECT_TRUE(record.disableFormatSecond);
    EXPECT_TRUE(record.windows7);
    EXPECT_TRUE(record.checkHashFile);
    EXPECT_FALSE(record.notRunMoveMap);
    EXPECT_FALSE(record.localInstall);
    EXPECT_EQ(record.proxyHost, u"host");
    EXPECT_EQ(record.proxyPort, u"8080");
    EXPECT_EQ(record.proxyUser, u"user");
    EXPECT_EQ(record.proxyPassword, u"word");
    ASSERT_EQ(record.packages.size(), 1U);
    const ContentEntry& package = record.packages[0];
    EXPECT_EQ(package.fileSize, 1000U);
    EXPECT_EQ(package.fileSizeUncompressed, 2000U);
    EXPECT_EQ(package.md5, u"ABC");
    EXPECT_EQ(package.sha1, u"3");
    EXPECT_EQ(package.url, u"http://host/a.zip?x");
    EXPECT_EQ(package.name, u"Maps");
    EXPECT_EQ(package.description, u"Text");
    EXPECT_EQ(package.id, u"7");
    ASSERT_NE(package.installXml, nullptr);
    EXPECT_TRUE(package.installXml->isValid());
  }
  EXPECT_EQ(status().state, -100) << "a good command leaves no status";
}

TEST_F(RestoreDeviceCommandReaderTest, WithoutAttributesAllFlagsAreFalse) {
  ASSERT_TRUE(read(restore, {}));
  EXPECT_FALSE(record.localInstall || record.windows7 || record.checkHashFile || record.disableFormatFirst ||
               record.disableFormatSecond);
  EXPECT_EQ(record.proxyHost + record.proxyPort + record.proxyUser + record.proxyPassword, u"");
}

TEST_F(RestoreDeviceCommandReaderTest, DisableFormatIsReadForStoragesThatAreNamedAndExactlyTrue) {
  CommandText command;
  command.letter = element("StorageCardDriveLetter", encodeBase64("E:"), " DisableFormat=\"TRUE\"");
  command.secondLetter = "<SecondDriveLetter DisableFormat=\"true\"/>";
  ASSERT_TRUE(read(restore, command));
  EXPECT_FALSE(record.disableFormatFirst);
  EXPECT_FALSE(record.disableFormatSecond);
}

TEST_F(RestoreDeviceCommandReaderTest, AMissingMainStorageIs1230BeforeAnythingElse) {
  CommandText command;
  command.packageSequence = false;
  for (const std::string& letter : {std::string(), element("StorageCardDriveLetter", "")}) {
    command.letter = letter;
    for (const WideText& name : {restore, checkSize})
      expectReport(name, command, u"1230", u"Error on reading the storage card drive letter tag!");
  }
}

TEST_F(RestoreDeviceCommandReaderTest, AMissingPackageSequenceIs1244) {
  CommandText command;
  command.packageSequence = false;
  for (const WideText& name : {restore, checkSize})
    expectReport(name, command, u"1244", u"Error on reading the package sequence tag!");
}

TEST_F(RestoreDeviceCommandReaderTest, AnEmptyPackageSequenceIs1243) {
  CommandText command;
  command.contents = 0;
  for (const WideText& name : {restore, checkSize})
    expectReport(name, command, u"1243",
                 u"Invalid installation information! Retry later or contact Customer Support!");
}

TEST_F(RestoreDeviceCommandReaderTest, ADescriptionThatCannotBeUnpackedIs1231With106) {
  for (const std::string& bad : {std::string(), element("installXML", ""), element("installXML", "no zip"),
                                 element("installXML", zipped("\xFF\xFE"))}) {
    CommandText command;
    command.installXml = bad;
    for (const WideText& name : {restore, checkSize})
      expectReport(name, command, u"1231", u"!!!MEMORY -> CORUPTED FILE!!!", u"106");
  }
}

TEST_F(RestoreDeviceCommandReaderTest, TheLogHasTheDescriptionThatCannotBeUnpackedAndWhatCameOut) {
  startLog();
  CommandText command;
  const std::string encoded = zipped("not UTF-8: \xFF");
  command.installXml = element("installXML", encoded);
  EXPECT_FALSE(read(restore, command));
  EXPECT_TRUE(logHas(u"Encoded install xml: " + toWide(encoded)));
  EXPECT_TRUE(logHas(u"String after decoding and extracting: not UTF-8: \uFFFD"));
  EXPECT_FALSE(logHas(u"Maps"));
}

TEST_F(RestoreDeviceCommandReaderTest, TheLogHasWhatCameOutOfADamagedZip) {
  startLog();
  ZipBuilder::Options wrong;
  wrong.checksum = 1;
  CommandText command;
  command.installXml = element("installXML", encodeBase64(ZipBuilder().add("a", "half", wrong).bytes()));
  EXPECT_FALSE(read(restore, command));
  EXPECT_TRUE(logHas(u"String after decoding and extracting: half"));
}

TEST_F(RestoreDeviceCommandReaderTest, ADescriptionThatDoesNotParseIsTheParsersReport) {
  CommandText command;
  command.installXml = element("installXML", zipped("<install"));
  EXPECT_FALSE(read(restore, command));
  EXPECT_EQ(status().exitCode(), u"1167");
}

TEST_F(RestoreDeviceCommandReaderTest, AMemoryCardThatIsNeededAndNotNamedIs1241) {
  CommandText command;
  command.installXml = element("installXML", zipped(descriptionFor("storage_for_content")));
  for (const WideText& name : {restore, checkSize})
    expectReport(
        name, command, u"1241",
        u"To install this content to your ZELMORA device, a SD-Card is needed. Please insert a SD-Card.");
  command.secondLetter = element("SecondDriveLetter", encodeBase64("F:"));
  EXPECT_TRUE(read(restore, command));
}

TEST_F(RestoreDeviceCommandReaderTest, ARestoreNeedsAllFieldsOfAPackageElse1242) {
  for (std::string CommandText::*field : {&CommandText::fileSize, &CommandText::fileSizeUncompressed,
                                          &CommandText::md5, &CommandText::index, &CommandText::url}) {
    CommandText command;
    (command.*field).clear();
    expectReport(restore, command, u"1242", badContent);
  }
}

TEST_F(RestoreDeviceCommandReaderTest, ASizeCheckNeedsTheTwoSizesElse1246) {
  for (std::string CommandText::*field : {&CommandText::fileSize, &CommandText::fileSizeUncompressed}) {
    CommandText command;
    (command.*field).clear();
    expectReport(checkSize, command, u"1246", badContent);
  }
  for (std::string CommandText::*field : {&CommandText::md5, &CommandText::index, &CommandText::url}) {
    CommandText command;
    (command.*field).clear();
    EXPECT_TRUE(read(checkSize, command));
  }
}

TEST_F(RestoreDeviceCommandReaderTest,
       AnEntryWithoutAFileSizeHasNothingElseSoThatABadDescriptionDoesNotCount) {
  CommandText command;
  command.fileSize.clear();
  command.installXml = element("installXML", "no zip");
  expectReport(restore, command, u"1242", badContent);
  expectReport(checkSize, command, u"1246", badContent);
}

TEST_F(RestoreDeviceCommandReaderTest, ALocalZipIsFoundInPlainAndInBase64Else1245) {
  writeFile(path(u"a.zip"), "zip");
  CommandText command;
  command.attributes = "LocalInstall=\"1\"";
  command.url = element("url", toUtf8(path(u"a.zip")));
  ASSERT_TRUE(read(restore, command));
  EXPECT_TRUE(record.localInstall);
  EXPECT_EQ(record.packages[0].url, path(u"a.zip"));
  command.url = element("url", encodeBase64(toUtf8(path(u"a.zip"))));
  ASSERT_TRUE(read(restore, command));
  EXPECT_EQ(record.packages[0].url, path(u"a.zip"));
  command.url = element("url", toUtf8(path(u"b.zip")));
  for (const WideText& name : {restore, checkSize})
    expectReport(name, command, u"1245", u"Please insert a valid path for the zip!!!");
}

TEST_F(RestoreDeviceCommandReaderTest, OneBadPackageAnywhereFailsTheCommand) {
  CommandText command;
  command.contents = 3;
  ASSERT_TRUE(read(restore, command));
  EXPECT_EQ(record.packages.size(), 3U);
  std::string text = command.text();
  const std::string index = element("index", "3");
  text.erase(text.rfind(index), index.size());
  record = CommandRecord();
  record.commandName = restore;
  TiXmlDocument document;
  ASSERT_TRUE(parseXml(text, document));
  EXPECT_FALSE(readRestoreDeviceCommand(*document.RootElement(), record));
  EXPECT_EQ(status().exitCode(), u"1242");
}

TEST_F(RestoreDeviceCommandReaderTest, BothCommandsAreInTheTableAndMarkTheDevice) {
  CommandTable table;
  addBackupCommands(table);
  for (const WideText& name : {restore, checkSize}) {
    ASSERT_TRUE(table.contains(name));
    EXPECT_TRUE(table[name].writesIndicatorFile);
    EXPECT_FALSE(table[name].movesFolder);
    EXPECT_NE(table[name].makeWorker(), nullptr);
  }
}

}  // namespace
}  // namespace ZelmoraTevra
