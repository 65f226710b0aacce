#include <utf8.h>

#include "backup/BackupDescription.h"
#include "core/XmlDocument.h"
#include "tests/backup/BackupTest.h"
#include "tests/support/FaultyFileSystem.h"

namespace ZelmoraTevra {
namespace {

const WideText slot = u"storage_for_software";

class BackupDescriptionTest : public BackupTest {
 protected:
  BackupDescriptionTest() {
    makeFolder(root + u"/mine");
    description.name = u"mine";
    description.brand = u"ZELMORA";
    description.platform = u"NAV";
    description.version = u"7.1.0";
    description.creationdate = u"2012-03-05";
    description.size = 1234;
    description.hardwareID = u"100";
    description.deviceUID = u"200";
    description.personalBackup = u"false";
    description.converted = u"false";
  }

  void list(const WideText& path, std::uint64_t size) { files[path] = {path, size}; }
  int write() { return writeBackupDescription(description, files, flash, card); }
  int read() {
    readFiles.clear();
    return readBackupDescription(u"mine", readHead, readFiles);
  }
  [[nodiscard]] std::string document() const { return readFile(root + u"/mine/mine.xml"); }
  void putDocument(const std::string& text) const { writeFile(root + u"/mine/mine.xml", text); }
  void expectReadFailure(const WideText& exitCode, const WideText& message) const {
    expectFailure(exitCode, {u"100", message}, {{u"PATH", root + u"/mine"}, {u"DRIVE", drive()}});
  }
  [[nodiscard]] static std::string withFiles(const std::string& elements) {
    return "<BackupContents><backup/><BackupFiles>" + elements + "</BackupFiles></BackupContents>";
  }
  [[nodiscard]] std::vector<WideText> readPaths() const {
    std::vector<WideText> paths;
    for (const auto& [path, file] : readFiles) paths.push_back(path);
    return paths;
  }

  BackupDescription description;
  BackupFiles files;
  BackupDescription readHead;
  BackupFiles readFiles;
};

TEST_F(BackupDescriptionTest, IsTheSameBytesForTheSameBackup) {
  list(toBackslashes(flash) + u"\\ZELMORA\\version.xml", 7);
  list(toBackslashes(card) + u"\\maps\\\u00e4 & b.map", 3'000'000'000);
  EXPECT_EQ(write(), 0);
  EXPECT_EQ(document(), R"(<?xml version="1.0" encoding="UTF-8" ?>
<BackupContents>
    <backup>
        <name>mine</name>
        <brand>ZELMORA</brand>
        <platform>NAV</platform>
        <version>7.1.0</version>
        <creationdate>2012-03-05</creationdate>
        <size>1234</size>
        <hardwareID>100</hardwareID>
        <deviceUID>200</deviceUID>
        <personalBackup>false</personalBackup>
        <converted>false</converted>
    </backup>
    <BackupFiles>
        <File path="storage_for_content\maps\)"
                        "\xC3\xA4"
                        R"( &amp; b.map" size="3000000000" hash="" />
        <File path="storage_for_software\ZELMORA\version.xml" size="7" hash="" />
    </BackupFiles>
</BackupContents>
)");
  expectUntold();
}

TEST_F(BackupDescriptionTest, OfNoFilesHasAnEmptyList) {
  description.hardwareID.clear();
  EXPECT_EQ(write(), 0);
  EXPECT_TRUE(document().ends_with("    </backup>\n    <BackupFiles />\n</BackupContents>\n")) << document();
  EXPECT_NE(document().find("<hardwareID></hardwareID>"), std::string::npos);
  EXPECT_EQ(read(), 0);
  EXPECT_TRUE(readFiles.empty());
}

TEST_F(BackupDescriptionTest, IsReadAsItWasWritten) {
  list(flash + u"/a", 1);
  list(card + u"/b", 0);
  ASSERT_EQ(write(), 0);
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(readHead.name, u"mine");
  EXPECT_EQ(readHead.brand, u"ZELMORA");
  EXPECT_EQ(readHead.platform, u"NAV");
  EXPECT_EQ(readHead.version, u"7.1.0");
  EXPECT_EQ(readHead.creationdate, u"2012-03-05");
  EXPECT_EQ(readHead.size, 1234U);
  EXPECT_EQ(readHead.hardwareID, u"100");
  EXPECT_EQ(readHead.deviceUID, u"200");
  EXPECT_EQ(readHead.personalBackup, u"false");
  EXPECT_EQ(readHead.converted, u"");
  EXPECT_EQ(readPaths(), (std::vector<WideText>{u"storage_for_content/b", u"storage_for_software/a"}));
  EXPECT_EQ(readFiles.at(u"storage_for_software/a").size, 1U);
  EXPECT_EQ(readFiles.at(u"storage_for_software/a").path, u"storage_for_software/a");
}

TEST_F(BackupDescriptionTest, NamesOfEveryKindComeBackAsTheyWere) {
  const std::vector<WideText> names = {u"a&#x41;.map",
                                       u"a&amp;lt;b",
                                       u"\"both' quotes",
                                       u"only \"double\"",
                                       u"only 'single'",
                                       u"<tag> ]]> -->",
                                       u" two  blanks\u00A0 ",
                                       u"\u0001\t\n\r\u001F\u007F",
                                       u"\u00e4\u20ac\U0001F5FA",
                                       u"\uFEFF\uFFFE\uFFFF",
                                       WideText(u"single low ") + char16_t(0xDC80) + u"!",
                                       WideText(u"single high ") + char16_t(0xD83D),
                                       WideText(1, char16_t(0xDC5C)),
                                       WideText{0xDC80, 0xD83D, 0xDDFA, 0xD83D, u'x'},
                                       WideText(250, u'x'),
                                       WideText(80, u'\uFFFD')};
  for (std::size_t i = 0; i < names.size(); ++i) list(flash + u'\\' + names[i], i);
  ASSERT_EQ(write(), 0);
  ASSERT_EQ(read(), 0);
  ASSERT_EQ(readFiles.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto found = readFiles.find(slot + u'\\' + names[i]);
    ASSERT_NE(found, readFiles.end()) << i;
    EXPECT_EQ(found->second.size, i);
  }
}

TEST_F(BackupDescriptionTest, TwoNamesThatDifferOnlyInCaseAreTwoFiles) {
  list(flash + u"/a", 1);
  list(flash + u"/A", 2);
  ASSERT_EQ(write(), 0);
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(readPaths(), (std::vector<WideText>{slot + u"/A", slot + u"/a"}));
}

TEST_F(BackupDescriptionTest, FilesStandInTheOrderOfTheirPathsOnTheDevice) {
  list(flash + u"\\b", 1);
  list(flash + u"\\B\\x", 1);
  list(card + u"\\z", 1);
  ASSERT_EQ(write(), 0);
  const std::string text = document();
  EXPECT_LT(text.find("storage_for_content\\z"), text.find("storage_for_software\\B\\x"));
  EXPECT_LT(text.find("storage_for_software\\B\\x"), text.find("storage_for_software\\b"));
}

TEST_F(BackupDescriptionTest, AFileInNeitherStorageIsReportedAndNothingIsSaved) {
  list(flash + u"/a", 1);
  list(flash + u"card/a", 1);
  putDocument("as it was");
  EXPECT_EQ(write(), 1067);
  expectFailure(u"1067", {u"100", u"Error on parsing the sources folder path!"});
  EXPECT_EQ(document(), "as it was");
}

TEST_F(BackupDescriptionTest, WithoutASecondStorageOnlyTheFirstOneCounts) {
  list(u"/elsewhere/a", 1);
  EXPECT_EQ(writeBackupDescription(description, files, flash, u""), 1067);
  EXPECT_EQ(status().exitCode(), u"1067");
}

TEST_F(BackupDescriptionTest, APathThatNoReaderWouldFollowIsNotWritten) {
  list(flash + u"/a/../../../b", 1);
  EXPECT_EQ(checkDescription(description, files, flash, card), 1067);
  EXPECT_EQ(write(), 1067);
  EXPECT_EQ(status().exitCode(), u"1067");
  EXPECT_EQ(document(), "<missing>");
}

TEST_F(BackupDescriptionTest, WhicheverOperationFailsTheOldOneStays) {
  list(flash + u"/a", 1);
  putDocument("as it was");
  int failures = 0;
  for (int operation = 1;; ++operation) {
    FaultyFileSystem faulty(JobTest::files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    // The report is an operation of its own: it may be the one that fails.
    const int result = write();
    useFileSystem(JobTest::files());
    if (result == 0) break;
    ++failures;
    EXPECT_EQ(result, 1068);
    expectFailure(u"1068", {u"100", u"The xml description backup could not be saved!"});
    EXPECT_EQ(document(), "as it was");
    EXPECT_EQ(tree(root + u"/mine"), (std::vector<std::string>{"mine.xml"}));
  }
  EXPECT_EQ(failures, 4);  // opening, writing, syncing, renaming
  EXPECT_NE(document(), "as it was");
}

TEST_F(BackupDescriptionTest, OneThatWouldBeTooLargeToReadIsNotSaved) {
  description.brand.resize(static_cast<std::size_t>(maximalXmlFileBytes), u'x');
  EXPECT_EQ(checkDescription(description, files, flash, card), 1068);
  expectFailure(u"1068", {u"100", u"The xml description backup could not be saved!"});
  EXPECT_EQ(write(), 1068);
  expectFailure(u"1068", {u"100", u"The xml description backup could not be saved!"});
  EXPECT_EQ(document(), "<missing>");
}

TEST_F(BackupDescriptionTest, ABackupOfThreeHundredThousandFilesIsReadAgain) {
  for (int i = 0; i < 300'000; ++i) list(flash + u"\\maps\\" + numberText(i), 1);
  ASSERT_EQ(write(), 0);
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(readFiles.size(), 300'000U);
}

TEST_F(BackupDescriptionTest, IdentifiersThatAreMissingAreEmpty) {
  putDocument("<BackupContents><backup><brand>B</brand></backup><BackupFiles/></BackupContents>");
  readHead.hardwareID = u"stale";
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(readHead.brand, u"B");
  EXPECT_EQ(readHead.hardwareID, u"");
  EXPECT_EQ(readHead.deviceUID, u"");
  EXPECT_EQ(readHead.size, 0U);
}

TEST_F(BackupDescriptionTest, WithoutAHeadAllFieldsAreEmptyAndTheFilesAreRead) {
  putDocument("<BackupContents><BackupFiles><File path=\"a\" size=\"1\"/></BackupFiles></BackupContents>");
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(readHead.name, u"");
  EXPECT_EQ(readPaths(), (std::vector<WideText>{u"a"}));
}

TEST_F(BackupDescriptionTest, FormerIdentifiersAreNotRead) {
  putDocument(
      "<BackupContents><backup><id>1</id><productid>2</productid></backup><BackupFiles/></BackupContents>");
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(readHead.hardwareID, u"");
  EXPECT_EQ(readHead.deviceUID, u"");
}

TEST_F(BackupDescriptionTest, AMissingDescriptionIsReported) {
  EXPECT_EQ(read(), -1);
  expectReadFailure(u"1088", u"Backup xml could not be open!");
}

TEST_F(BackupDescriptionTest, ADocumentOfSomethingElseIsReported) {
  putDocument("<Backup><BackupFiles/></Backup>");
  EXPECT_EQ(read(), -1);
  expectReadFailure(u"1089", u"Backup contents node could not be read!");
}

TEST_F(BackupDescriptionTest, AMissingListIsReported) {
  putDocument("<BackupContents><backup/></BackupContents>");
  EXPECT_EQ(read(), -1);
  expectReadFailure(u"1090", u"Backup files node could not be read!");
}

TEST_F(BackupDescriptionTest, AFileWithoutPathOrSizeEndsTheReadWithThoseBeforeItKept) {
  for (const std::string bad : {"<File path=\"b\"/>", "<File size=\"1\"/>", "<File/>"}) {
    putDocument(withFiles("<File path=\"a\" size=\"1\"/>" + bad + "<File path=\"c\" size=\"1\"/>"));
    EXPECT_EQ(read(), -1) << bad;
    expectReadFailure(u"1091", u"Files information could not be read!");
    EXPECT_EQ(readPaths(), (std::vector<WideText>{u"a"}));
  }
}

TEST_F(BackupDescriptionTest, APathThatLeavesTheBackupOrIsNoTextIsReported) {
  for (const std::string bad :
       {"..", "../other/a", "a\\..\\..\\b", "/etc/passwd", "\\\\server\\a", "C:\\a", "\xC0\x80"}) {
    putDocument(withFiles("<File path=\"a\" size=\"1\"/><File path=\"" + bad + "\" size=\"1\"/>"));
    EXPECT_EQ(read(), -1) << bad;
    expectReadFailure(u"1091", u"Files information could not be read!");
    EXPECT_EQ(readPaths(), (std::vector<WideText>{u"a"}));
  }
}

TEST_F(BackupDescriptionTest, AnEmptyPathIsPassedOver) {
  putDocument(withFiles("<File path=\"\" size=\"1\"/><File path=\"a\" size=\"1\"/>"));
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(readPaths(), (std::vector<WideText>{u"a"}));
}

TEST_F(BackupDescriptionTest, SizesAreDecimalAndNeverNegative) {
  putDocument(
      withFiles("<File path=\"a\" size=\"9223372036854775807\"/><File path=\"b\" size=\"-5\"/>"
                "<File path=\"c\" size=\"12x\"/><File path=\"d\" size=\"\"/>"
                "<File path=\"e\" size=\"99999999999999999999\"/>"));
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(readFiles[u"a"].size, 9'223'372'036'854'775'807U);
  EXPECT_EQ(readFiles[u"b"].size, 0U);
  EXPECT_EQ(readFiles[u"c"].size, 12U);
  EXPECT_EQ(readFiles[u"d"].size, 0U);
  EXPECT_EQ(readFiles[u"e"].size, 9'223'372'036'854'775'807U);
}

TEST_F(BackupDescriptionTest, CutOffAtWhicheverLengthItGivesADocumentedError) {
  list(flash + u"/a", 1);
  ASSERT_EQ(write(), 0);
  const std::string whole = document();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    putDocument(whole.substr(0, length));
    const int result = read();
    if (length + 1 == whole.size()) {  // only the last line feed is missing
      EXPECT_EQ(result, 0);
      continue;
    }
    ASSERT_EQ(result, -1) << length;
    // The declaration alone is a document too, though not that of a backup.
    if (status().exitCode() == u"1089" && length <= whole.find("<BackupContents>") + 1)
      expectReadFailure(u"1089", u"Backup contents node could not be read!");
    else
      expectReadFailure(u"1088", u"Backup xml could not be open!");
  }
}

TEST_F(BackupDescriptionTest, WithWhicheverByteChangedItIsReadOrGivesADocumentedError) {
  list(flash + u"/a", 1);
  ASSERT_EQ(write(), 0);
  const std::string whole = document();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const char flipped : {static_cast<char>(whole[at] ^ 1), static_cast<char>(whole[at] ^ 0x80)}) {
      std::string damaged = whole;
      damaged[at] = flipped;
      putDocument(damaged);
      if (read() == 0) continue;
      const WideText code = status().exitCode();
      EXPECT_TRUE(code == u"1088" || code == u"1089" || code == u"1090" || code == u"1091") << at;
    }
  }
}

TEST_F(BackupDescriptionTest, TheIdentityIsSixFieldsAndNeedsNoFiles) {
  putDocument(
      "<BackupContents><backup><name>n</name><brand>b</brand><platform>p</platform><version>v</version>"
      "<creationdate>d</creationdate><hardwareID>h</hardwareID><deviceUID>u</deviceUID>"
      "<personalBackup>true</personalBackup></backup></BackupContents>");
  EXPECT_EQ(readBackupIdentity(root + u"/mine", u"mine", readHead), 0);
  EXPECT_EQ(readHead.brand, u"b");
  EXPECT_EQ(readHead.platform, u"p");
  EXPECT_EQ(readHead.version, u"v");
  EXPECT_EQ(readHead.hardwareID, u"h");
  EXPECT_EQ(readHead.deviceUID, u"u");
  EXPECT_EQ(readHead.personalBackup, u"true");
  EXPECT_EQ(readHead.name, u"");
  EXPECT_EQ(readHead.creationdate, u"");
  expectUntold();
}

TEST_F(BackupDescriptionTest, AnIdentityThatCannotBeReadIsReported) {
  EXPECT_EQ(readBackupIdentity(root + u"/mine", u"mine", readHead), -1);
  expectReadFailure(
      u"1053",
      u"A folder with the selected name already exist on your disk! Please select another name for "
      u"the backup!");
}

TEST_F(BackupDescriptionTest, AHeadThatIsNoTextIsReported) {
  for (const std::string field : {"name", "brand", "platform", "version", "creationdate", "size",
                                  "hardwareID", "deviceUID", "personalBackup"}) {
    putDocument("<BackupContents><backup><" + field + ">\xFF</" + field +
                "></backup><BackupFiles/></BackupContents>");
    EXPECT_EQ(read(), -1) << field;
    expectReadFailure(u"1089", u"Backup contents node could not be read!");
  }
  putDocument("<BackupContents><backup><brand>\xC0\x80</brand></backup></BackupContents>");
  EXPECT_EQ(readBackupIdentity(root + u"/mine", u"mine", readHead), -1);
  expectReadFailure(
      u"1053",
      u"A folder with the selected name already exist on your disk! Please select another name for "
      u"the backup!");
}

TEST_F(BackupDescriptionTest, AnIdentityIsFoundOnlyInABackup) {
  const WideText mine = root + u"/mine";
  EXPECT_FALSE(findBackupIdentity(mine, u"mine", readHead));
  for (const std::string bad :
       {"", "<BackupContents/>", "<Other><backup/></Other>", "<BackupContents><backup>",
        "<BackupContents><backup><brand>\xFF</brand></backup></BackupContents>"}) {
    putDocument(bad);
    EXPECT_FALSE(findBackupIdentity(mine, u"mine", readHead)) << bad;
  }
  putDocument("<BackupContents><backup><deviceUID>u</deviceUID></backup></BackupContents>");
  EXPECT_TRUE(findBackupIdentity(mine, u"mine", readHead));
  EXPECT_EQ(readHead.deviceUID, u"u");
  expectUntold();
}

}  // namespace
}  // namespace ZelmoraTevra
