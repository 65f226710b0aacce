#include "core/Base64.h"
#include "tests/userdata/UserDataTest.h"

namespace ZelmoraTevra {
namespace {

std::string plain(const std::string& name, const std::string& value) {
  return "<" + name + ">" + value + "</" + name + ">";
}
std::string encoded(const std::string& name, const std::string& value) {
  return plain(name, encodeBase64(value));
}

const std::string mainStorage = encoded("StorageCardDriveLetter", "E:");
const std::string secondStorage = encoded("SecondDriveLetter", "F:");
const std::string localFile = encoded("LocalFilePath", "/home/me/M\xC3\xBCnchen.kml");
const std::string fileName = plain("FileName", "Isar.kml");
const std::string destination = encoded("DestinationFolderPath", "/home/me");

class KmlCommandReaderTest : public UserDataTest {
 protected:
  void expectStorages() const {
    EXPECT_EQ(record.storageCardDriveLetter, u"E:");
    EXPECT_EQ(record.secondDriveLetter, u"F:");
  }
};

TEST_F(KmlCommandReaderTest, GetNeedsTheMainStorageOnly) {
  ASSERT_TRUE(read(u"GET_KML_FILES", mainStorage + secondStorage));
  expectStorages();
  EXPECT_TRUE(read(u"GET_KML_FILES", mainStorage));
  EXPECT_EQ(record.secondDriveLetter, u"");
  EXPECT_EQ(status().state, -100) << "a good command leaves no status";
  EXPECT_FALSE(read(u"GET_KML_FILES", secondStorage));
  expectError(u"1180", {u"Error on reading the get kml files parameters!"});
}

TEST_F(KmlCommandReaderTest, ImportReadsThePathAndWhetherItMayReplace) {
  ASSERT_TRUE(read(u"IMPORT_KML_FILE", localFile + mainStorage + secondStorage));
  expectStorages();
  EXPECT_EQ(record.localFilePath, u"/home/me/M\u00FCnchen.kml");
  EXPECT_FALSE(record.overwrite);
  ASSERT_TRUE(read(u"IMPORT_KML_FILE", localFile + mainStorage, "Overwrite=\"true\""));
  EXPECT_TRUE(record.overwrite);
  for (const char* other : {"TRUE", "1", "false", ""}) {
    ASSERT_TRUE(
        read(u"IMPORT_KML_FILE", localFile + mainStorage, "Overwrite=\"" + std::string(other) + "\""));
    EXPECT_FALSE(record.overwrite) << other;
  }
}

TEST_F(KmlCommandReaderTest, ImportNeedsPathAndMainStorage) {
  for (const std::string& children : {localFile + secondStorage, mainStorage + secondStorage}) {
    EXPECT_FALSE(read(u"IMPORT_KML_FILE", children));
    expectError(u"1181", {u"Error on reading the import kml files parameters!"});
  }
}

TEST_F(KmlCommandReaderTest, ExportReadsNameAndFolder) {
  ASSERT_TRUE(read(u"EXPORT_KML_FILE", fileName + destination + mainStorage + secondStorage));
  expectStorages();
  EXPECT_EQ(record.fileName, u"Isar.kml");
  EXPECT_EQ(record.destinationFolder, u"/home/me");
  EXPECT_TRUE(read(u"EXPORT_KML_FILE", fileName + destination + mainStorage));
}

TEST_F(KmlCommandReaderTest, ExportNeedsNameFolderAndMainStorage) {
  for (const std::string& children :
       {destination + mainStorage, fileName + mainStorage, fileName + destination + secondStorage}) {
    EXPECT_FALSE(read(u"EXPORT_KML_FILE", children));
    expectError(u"1182", {u"Error on reading the export kml files parameters!"});
  }
}

TEST_F(KmlCommandReaderTest, DeleteNeedsNameAndMainStorage) {
  ASSERT_TRUE(read(u"DELETE_KML_FILE", fileName + mainStorage + secondStorage));
  expectStorages();
  EXPECT_EQ(record.fileName, u"Isar.kml");
  for (const std::string& children : {mainStorage + secondStorage, fileName + secondStorage}) {
    EXPECT_FALSE(read(u"DELETE_KML_FILE", children));
    expectError(u"1183", {u"Error on reading the delete kml files parameters!"});
  }
}

}  // namespace
}  // namespace ZelmoraTevra
