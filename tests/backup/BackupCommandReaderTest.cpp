#include "backup/BackupCommandReader.h"
#include "core/XmlDocument.h"
#include "tests/backup/BackupTest.h"
#include "tests/support/CommandDocument.h"

namespace ZelmoraTevra {
namespace {

class BackupCommandReaderTest : public BackupTest {
 protected:
  using Reader = bool (*)(const TiXmlElement&, CommandRecord&);

  bool read(Reader reader, const CommandDocument& command) {
    TiXmlDocument document;
    EXPECT_TRUE(parseXml(command.element(), document));
    record = {};
    return reader(*document.RootElement(), record);
  }
  void expectRefused(Reader reader, const CommandDocument& command, const WideText& exitCode,
                     const WideText& message) {
    EXPECT_FALSE(read(reader, command)) << command.element();
    expectFailure(exitCode, {u"100", message});
  }
  void expectNoBackup(const CommandDocument& command) {
    expectRefused(readMakeBackupCommand, command, u"1037",
                  u"Error on reading the make backup command's parameters!");
  }
  void expectNoRestore(const CommandDocument& command) {
    expectRefused(readRestoreBackupCommand, command, u"1038",
                  u"Error on reading the restore backup command's parameters!");
  }
  void expectNoMove(const CommandDocument& command) {
    expectRefused(readMoveFolderCommand, command, u"1040",
                  u"Error on reading the move folder command's parameters!");
  }
  static CommandDocument make() { return CommandDocument("MAKE_BACKUP"); }
  static CommandDocument restore() { return CommandDocument("RESTORE_BACKUP"); }
  static CommandDocument move() { return CommandDocument("MOVE_BACKUP_FOLDER"); }
  // A command for a storage that need not be formatted.
  bool readRestore(const std::string& children) {
    TiXmlDocument document;
    EXPECT_TRUE(parseXml("<Command><BackupName>b</BackupName>" + children + "</Command>", document));
    record = {};
    return readRestoreBackupCommand(*document.RootElement(), record);
  }

  CommandRecord record;
};

TEST_F(BackupCommandReaderTest, AMakeCommandNamesTheBackupAndTheStorages) {
  EXPECT_TRUE(read(readMakeBackupCommand, make()
                                              .plain("BackupName", "my backup")
                                              .encoded("StorageCardDriveLetter", "E:")
                                              .encoded("SecondDriveLetter", "F:")));
  EXPECT_EQ(record.backupName, u"my backup");
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
  EXPECT_TRUE(
      read(readMakeBackupCommand, make().plain("BackupName", "b").encoded("StorageCardDriveLetter", "E:")));
  EXPECT_EQ(record.secondDriveLetter, u"");
  expectUntold();
}

TEST_F(BackupCommandReaderTest, AMakeCommandNeedsTheNameAndTheMainStorage) {
  expectNoBackup(make().encoded("StorageCardDriveLetter", "E:"));
  expectNoBackup(make().plain("BackupName", "").encoded("StorageCardDriveLetter", "E:"));
  expectNoBackup(make().plain("BackupName", "b"));
  expectNoBackup(make().plain("BackupName", "b").encoded("StorageCardDriveLetter", ""));
  expectNoBackup(make().plain("BackupName", "b").encoded("SecondDriveLetter", "F:"));
}

TEST_F(BackupCommandReaderTest, AMakeCommandTakesNoNameThatLeadsElsewhere) {
  for (const std::string name : {"..", ".", "../b", "a/b", "a\\b", "/tmp/b", "C:\\b", "..."})
    expectNoBackup(make().plain("BackupName", name).encoded("StorageCardDriveLetter", "E:"));
}

TEST_F(BackupCommandReaderTest, AMakeCommandTakesNoNameThatATestForWritingWouldRemove) {
  for (const std::string name : {"Tevra_131284_tmp", "TEVRA_131284_TMP", "Tevra_131284_tmp."})
    expectNoBackup(make().plain("BackupName", name).encoded("StorageCardDriveLetter", "E:"));
}

TEST_F(BackupCommandReaderTest, AMakeCommandTakesNoNameThatIsTooLong) {
  const auto named = [](std::size_t length) {
    return make().plain("BackupName", std::string(length, 'b')).encoded("StorageCardDriveLetter", "E:");
  };
  EXPECT_TRUE(read(readMakeBackupCommand, named(200)));
  expectNoBackup(named(201));
}

TEST_F(BackupCommandReaderTest, ARestoreCommandTakesTheNumberingOfUnitsToo) {
  EXPECT_TRUE(read(readRestoreBackupCommand, restore()
                                                 .attribute("windows7", "1")
                                                 .plain("BackupName", "b")
                                                 .encoded("StorageCardDriveLetter", "E:")
                                                 .encoded("SecondDriveLetter", "F:")));
  EXPECT_EQ(record.backupName, u"b");
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
  EXPECT_TRUE(record.windows7);
  EXPECT_FALSE(record.disableFormatFirst);
  EXPECT_FALSE(record.disableFormatSecond);
  EXPECT_TRUE(read(
      readRestoreBackupCommand,
      restore().attribute("windows7", "0").plain("BackupName", "b").encoded("StorageCardDriveLetter", "E:")));
  EXPECT_FALSE(record.windows7);
  expectUntold();
}

TEST_F(BackupCommandReaderTest, ARestoreCommandNeedsTheNameAndTheMainStorage) {
  expectNoRestore(restore().encoded("StorageCardDriveLetter", "E:"));
  expectNoRestore(restore().plain("BackupName", "b"));
  expectNoRestore(restore().plain("BackupName", "b").encoded("SecondDriveLetter", "F:"));
}

TEST_F(BackupCommandReaderTest, FormattingIsDisabledByExactlyTrueForAStorageThatIsNamed) {
  const std::string flashLetter = ">RTo=</StorageCardDriveLetter>";
  const std::string cardLetter = ">Rjo=</SecondDriveLetter>";
  EXPECT_TRUE(readRestore("<StorageCardDriveLetter DisableFormat=\"true\"" + flashLetter +
                          "<SecondDriveLetter DisableFormat=\"true\"" + cardLetter));
  EXPECT_TRUE(record.disableFormatFirst);
  EXPECT_TRUE(record.disableFormatSecond);
  EXPECT_TRUE(readRestore("<StorageCardDriveLetter DisableFormat=\"TRUE\"" + flashLetter +
                          "<SecondDriveLetter DisableFormat=\"1\"" + cardLetter));
  EXPECT_FALSE(record.disableFormatFirst);
  EXPECT_FALSE(record.disableFormatSecond);
  EXPECT_TRUE(
      readRestore("<StorageCardDriveLetter" + flashLetter + "<SecondDriveLetter DisableFormat=\"true\"/>"));
  EXPECT_FALSE(record.disableFormatFirst);
  EXPECT_FALSE(record.disableFormatSecond);
}

TEST_F(BackupCommandReaderTest, ADeleteCommandNeedsTheName) {
  EXPECT_TRUE(read(readDeleteBackupCommand, CommandDocument("DELETE_BACKUP").plain("BackupName", "b")));
  EXPECT_EQ(record.backupName, u"b");
  expectRefused(readDeleteBackupCommand, CommandDocument("DELETE_BACKUP"), u"1039",
                u"Error on reading the delete backup command's parameters!");
  expectRefused(readDeleteBackupCommand, CommandDocument("DELETE_BACKUP").plain("BackupName", ""), u"1039",
                u"Error on reading the delete backup command's parameters!");
}

TEST_F(BackupCommandReaderTest, AMoveCommandNeedsBothFolders) {
  EXPECT_TRUE(read(readMoveFolderCommand, move().plain("OldFolder", "/a").plain("NewFolder", "/b")));
  EXPECT_EQ(record.oldFolder, u"/a");
  EXPECT_EQ(record.newFolder, u"/b");
  expectNoMove(move().plain("OldFolder", "/a"));
  expectNoMove(move().plain("NewFolder", "/b"));
  expectNoMove(move().plain("OldFolder", "").plain("NewFolder", "/b"));
}

}  // namespace
}  // namespace ZelmoraTevra
