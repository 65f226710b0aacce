#include <tinyxml.h>

#include "tests/support/CommandDocument.h"
#include "tests/userdata/UserFilesTest.h"
#include "userdata/FilesCommandReader.h"

namespace ZelmoraTevra {
namespace {

class FilesCommandReaderTest : public UserFilesTest {
 protected:
  // A command that has all elements but one.
  static CommandDocument without(const std::string& left) {
    CommandDocument command("X");
    for (const auto& [name, value] :
         std::map<std::string, std::string>{{"Extensions", "csv;txt"},
                                            {"SearchingFolder", "Poi"},
                                            {"FileName", "list"},
                                            {"DestinationFolder", "/home"},
                                            {"OptionalExtension", "bmp"},
                                            {"OptionalDeleteExtension", "idx"},
                                            {"OptionalSearchingFolder", "Index"},
                                            {"DefaultFileToCopy", "/home/default.bmp"},
                                            {"FileNameAtDestination", "place"}}) {
      if (name != left) command.plain(name, value);
    }
    if (left != "StorageCardDriveLetter") command.encoded("StorageCardDriveLetter", "E:");
    if (left != "SecondDriveLetter") command.encoded("SecondDriveLetter", "F:");
    return command;
  }
  bool read(const WideText& name, const std::string& element) {
    TiXmlDocument document;
    document.Parse(element.c_str(), nullptr, TIXML_ENCODING_UTF8);
    record = {};
    record.commandName = name;
    return table.at(name).read(*document.RootElement(), record);
  }
  void expectRefused(const WideText& name, const std::string& left, const WideText& exitCode,
                     const WideText& message) {
    SCOPED_TRACE(toUtf8(name) + " without " + left);
    EXPECT_FALSE(read(name, without(left).element()));
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_THAT(saved.descriptions, testing::ElementsAre(u"100", message));
    EXPECT_EQ(saved.exitCode(), exitCode);
  }

  const std::vector<WideText> commands = {u"ADD_FILE", u"DELETE_FILES", u"EXPORT_FILES", u"GET_FILES",
                                          u"IMPORT_FILES"};
};

TEST_F(FilesCommandReaderTest, EveryElementHasItsField) {
  for (const WideText& name : commands) {
    EXPECT_TRUE(read(name, without("").element())) << toUtf8(name);
    EXPECT_EQ(record.storageCardDriveLetter, u"E:");
    EXPECT_EQ(record.secondDriveLetter, u"F:");
    EXPECT_EQ(record.extensions, u"csv;txt");
    EXPECT_EQ(record.optionalExtensions, u"bmp");
    EXPECT_EQ(record.searchingFolder, u"Poi");
    EXPECT_EQ(record.fileName, u"list");
    EXPECT_EQ(record.destinationFolder, u"/home");
    EXPECT_EQ(record.optionalDeleteExtension, u"idx");
    EXPECT_EQ(record.optionalSearchingFolder, u"Index");
    EXPECT_EQ(record.defaultFileToCopy, u"/home/default.bmp");
    EXPECT_EQ(record.fileNameAtDestination, u"place");
    EXPECT_FALSE(record.overwrite || record.mainIsDefaultTarget);
  }
}

TEST_F(FilesCommandReaderTest, TheCommandsLeaveNoIndicatorFile) {
  for (const WideText& name : commands) {
    EXPECT_FALSE(table.at(name).writesIndicatorFile);
    EXPECT_FALSE(table.at(name).movesFolder);
  }
}

TEST_F(FilesCommandReaderTest, OnlyTheWordTrueTurnsAnAttributeOn) {
  for (const std::string word : {"true", "TRUE", "True", "1", ""}) {
    std::string element = without("").attribute("Overwrite", word).element();
    const std::string tag = "<StorageCardDriveLetter";
    element.insert(element.find(tag) + tag.size(), " default=\"" + word + "\"");
    EXPECT_TRUE(read(u"IMPORT_FILES", element));
    EXPECT_EQ(record.overwrite, word == "true") << word;
    EXPECT_EQ(record.mainIsDefaultTarget, word == "true") << word;
  }
}

TEST_F(FilesCommandReaderTest, ADeviceThatIsGoneIs1229WhateverElseIsMissing) {
  const WideText gone =
      u"Could not access your device. Please make sure it is still connected and try again.";
  for (const WideText& name : commands) {
    expectRefused(name, "StorageCardDriveLetter", u"1229", gone);
    EXPECT_FALSE(read(name, CommandDocument("X").encoded("StorageCardDriveLetter", "G:").element()));
    EXPECT_EQ(status().exitCode(), u"1229");
  }
}

TEST_F(FilesCommandReaderTest, WhatNoCommandCanDoWithoutIs1199) {
  for (const WideText& name : commands) {
    const WideText message = u"Error on reading the " + name + u" parameters!";
    expectRefused(name, "SearchingFolder", u"1199", message);
    expectRefused(name, "OptionalExtension", u"1199", message);
    if (name != u"ADD_FILE") expectRefused(name, "Extensions", u"1199", message);
  }
}

TEST_F(FilesCommandReaderTest, ToAddAFileTheNameAtTheDestinationStandsInForTheExtensions) {
  EXPECT_TRUE(read(u"ADD_FILE", without("Extensions").element()));
  expectRefused(u"ADD_FILE", "FileNameAtDestination", u"1199", u"Error on reading the ADD_FILE parameters!");
  for (const WideText& name : commands) {
    if (name != u"ADD_FILE") {
      EXPECT_TRUE(read(name, without("FileNameAtDestination").element()));
    }
  }
}

TEST_F(FilesCommandReaderTest, ToDeleteAndToExportAFileNameIsNeeded) {
  expectRefused(u"DELETE_FILES", "FileName", u"1200", u"Error on reading the DELETE_FILES parameters!");
  expectRefused(u"EXPORT_FILES", "FileName", u"1200", u"Error on reading the EXPORT_FILES parameters!");
  for (const WideText name : {u"ADD_FILE", u"GET_FILES", u"IMPORT_FILES"})
    EXPECT_TRUE(read(name, without("FileName").element()));
}

TEST_F(FilesCommandReaderTest, ToExportADestinationIsNeeded) {
  expectRefused(u"EXPORT_FILES", "DestinationFolder", u"1201",
                u"Error on reading the EXPORT_FILES parameters!");
  EXPECT_TRUE(read(u"DELETE_FILES", without("DestinationFolder").element()));
}

TEST_F(FilesCommandReaderTest, ToImportADefaultFileIsNeededBeforeAllElse) {
  const WideText message = u"Error on reading the IMPORT_FILES parameters!";
  expectRefused(u"IMPORT_FILES", "DefaultFileToCopy", u"1202", message);
  EXPECT_FALSE(read(u"IMPORT_FILES", CommandDocument("X").encoded("StorageCardDriveLetter", "E:").element()));
  EXPECT_EQ(status().exitCode(), u"1202");
  EXPECT_TRUE(read(u"EXPORT_FILES", without("DefaultFileToCopy").element()));
}

TEST_F(FilesCommandReaderTest, ASecondStorageIsNotNeeded) {
  for (const WideText& name : commands) EXPECT_TRUE(read(name, without("SecondDriveLetter").element()));
}

}  // namespace
}  // namespace ZelmoraTevra
