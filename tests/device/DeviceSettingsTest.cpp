#include <gmock/gmock.h>
#include <tinyxml.h>
#include <utf8.h>

#include "device/DeviceSettings.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceSettingsTest : public JobTest {
 protected:
  DeviceSettingsTest() {
    software.brand = u"ZELMORA";
    software.platform = u"NX5";
    software.setVersion(u"7.2.1");
  }

  // A table of one file.
  static std::string table(const std::string& name, const std::string& file) {
    return "<" + name + "><files><file>" + file + "</file></files></" + name.substr(0, name.find(' ')) + ">";
  }
  static std::string special(const std::string& brand, const std::string& platform, const std::string& file) {
    return table("specialDeviceSettings brand=\"" + brand + "\" platform=\"" + platform + "\"", file);
  }
  static std::string general(const std::string& file) { return table("defaultDeviceSettings7", file); }

  int read(const std::string& children, const TiXmlElement* inlineTable = nullptr) {
    writeFile(settings, "<uploaderSettings>" + children + "</uploaderSettings>");
    return readFile(inlineTable);
  }
  int readFile(const TiXmlElement* inlineTable = nullptr) {
    return readDeviceSettings(settings, "uploaderSettings", software, files, folders, inlineTable);
  }
  [[nodiscard]] std::vector<WideText> paths() const {
    std::vector<WideText> all;
    for (const SettingsFile& file : files) all.push_back(file.path);
    return all;
  }
  void expectReport(const WideText& exitCode, const WideText& description) const {
    EXPECT_EQ(status().state, 7);
    EXPECT_EQ(status().exitCode(), exitCode);
    EXPECT_THAT(status().descriptions, ElementsAre(u"100", description));
  }

  const WideText settings = path(u"UploaderSettings.xml");
  const WideText shipped = toWide(TEVRA_SOURCE_DIR) + u"/etc/Tevra/UploaderSettings.xml";
  ClientSoftware software;
  std::vector<SettingsFile> files;
  std::vector<WideText> folders;
};

TEST_F(DeviceSettingsTest, ATableGivesItsFilesAndFoldersInDocumentOrder) {
  EXPECT_EQ(read("<defaultDeviceSettings7>"
                 "<folders><folder>logs/b</folder><folder>logs/a</folder></folders>"
                 "<files><file doNotDelete=\"1\">z.log</file><file doNotDelete=\"0\">y/x.log</file></files>"
                 "</defaultDeviceSettings7>"),
            0);
  EXPECT_THAT(paths(), ElementsAre(u"z.log", u"y/x.log"));
  EXPECT_EQ(files[0].doNotDelete, u"1");
  EXPECT_EQ(files[1].doNotDelete, u"0");
  EXPECT_THAT(folders, ElementsAre(u"logs/b", u"logs/a"));
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(DeviceSettingsTest, AFileWithoutTheAttributeGetsZero) {
  EXPECT_EQ(read(general("a.log")), 0);
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].doNotDelete, u"0");
}

TEST_F(DeviceSettingsTest, AnyOtherValueOfTheAttributeIsKeptAsText) {
  EXPECT_EQ(read("<defaultDeviceSettings7><files><file doNotDelete=\"\">a</file>"
                 "<file doNotDelete=\"never\">b</file></files></defaultDeviceSettings7>"),
            0);
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].doNotDelete, u"");
  EXPECT_EQ(files[1].doNotDelete, u"never");
}

TEST_F(DeviceSettingsTest, ATableWithoutFoldersGivesAnEmptyFolderList) {
  EXPECT_EQ(read(general("a.log")), 0);
  EXPECT_THAT(folders, IsEmpty());
}

TEST_F(DeviceSettingsTest, AnEmptyTableGivesNothing) {
  EXPECT_EQ(read("<defaultDeviceSettings7/>"), 0);
  EXPECT_THAT(files, IsEmpty());
  EXPECT_THAT(folders, IsEmpty());
}

TEST_F(DeviceSettingsTest, WhatIsFoundIsAppended) {
  files.push_back({u"earlier", u"1"});
  folders.emplace_back(u"before");
  EXPECT_EQ(read("<defaultDeviceSettings7><files><file>a</file></files><folders><folder>b</folder></folders>"
                 "</defaultDeviceSettings7>"),
            0);
  EXPECT_THAT(paths(), ElementsAre(u"earlier", u"a"));
  EXPECT_THAT(folders, ElementsAre(u"before", u"b"));
}

TEST_F(DeviceSettingsTest, TheSpecialTableOfTheDeviceComesBeforeTheDefaultOne) {
  EXPECT_EQ(read(general("default") + special("ZELMORA", "NX5", "special")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"special"));
}

TEST_F(DeviceSettingsTest, ASpecialTableOfTheRightBrandOnAnotherPlatformIsNotTaken) {
  EXPECT_EQ(read(special("ZELMORA", "NX6", "special") + general("default")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"default"));
}

TEST_F(DeviceSettingsTest, ASpecialTableOfTheRightPlatformOfAnotherBrandIsNotTaken) {
  EXPECT_EQ(read(special("OTHER", "NX5", "special") + general("default")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"default"));
}

TEST_F(DeviceSettingsTest, BrandAndPlatformAreComparedExactly) {
  EXPECT_EQ(read(special("zelmora", "nx5", "special") + special("ZELMORA ", "NX5", "blank") +
                 "<specialDeviceSettings><files><file>nameless</file></files></specialDeviceSettings>" +
                 general("default")),
            0);
  EXPECT_THAT(paths(), ElementsAre(u"default"));
}

TEST_F(DeviceSettingsTest, BrandAndPlatformAreComparedAsUtf8) {
  software.brand = u"Zëlmora \U0001F9ED";
  EXPECT_EQ(read(special("Zëlmora \U0001F9ED", "NX5", "special")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"special"));
}

TEST_F(DeviceSettingsTest, OfTwoSpecialTablesForADeviceTheFirstIsTaken) {
  EXPECT_EQ(read(special("ZELMORA", "NX5", "first") + special("ZELMORA", "NX5", "second")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"first"));
}

TEST_F(DeviceSettingsTest, ASpecialTableIsTakenWhateverTheVersion) {
  software.setVersion(u"5.1.0");
  EXPECT_EQ(read(special("ZELMORA", "NX5", "special")), 0);
  EXPECT_THAT(paths(), ElementsAre(u"special"));
}

TEST_F(DeviceSettingsTest, TheDefaultTableIsForGenerationsSixAndSeven) {
  for (const WideText version : {u"6.0.0", u"7.2.1", u"6", u"7.x", u"70.1"}) {
    files.clear();
    software.setVersion(version);
    EXPECT_EQ(read(general("default")), 0) << toUtf8(version);
    EXPECT_THAT(paths(), ElementsAre(u"default"));
  }
}

TEST_F(DeviceSettingsTest, ADeviceOfAnotherGenerationHasNoTable) {
  for (const WideText version : {u"5.1.0", u"8.0.0", u"", u"x", u"16.0", u" 7"}) {
    software.setVersion(version);
    EXPECT_EQ(read(general("default")), -1) << toUtf8(version);
    expectReport(u"1150", settings);
  }
  EXPECT_THAT(files, IsEmpty());
}

TEST_F(DeviceSettingsTest, ADocumentWithAnotherRootHasNoTable) {
  writeFile(settings, "<backupSettings>" + general("default") + "</backupSettings>");
  EXPECT_EQ(readFile(), -1);
  expectReport(u"1150", settings);
}

TEST_F(DeviceSettingsTest, AMissingDefaultTableIsReportedUnderTheNameThatTheFrontEndKnows) {
  EXPECT_EQ(read(special("OTHER", "NX5", "special")), -1);
  expectReport(u"1148", u"res/xml/BackupSettings.xml");
}

TEST_F(DeviceSettingsTest, AMissingDocumentIsReported) {
  EXPECT_EQ(readFile(), -1);
  expectReport(u"1151", settings);
}

TEST_F(DeviceSettingsTest, ADocumentThatWasCutOffIsReportedWhereverItEnds) {
  const std::string whole = "<uploaderSettings>" + general("default") + "</uploaderSettings>";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeFile(settings, whole.substr(0, length));
    EXPECT_EQ(readFile(), -1) << length;
    // A lone "<" is well-formed to the parser.
    EXPECT_EQ(status().exitCode(), length == 1 ? u"1150" : u"1151") << length;
  }
  EXPECT_THAT(files, IsEmpty());
}

TEST_F(DeviceSettingsTest, AnInlineTableIsReadAtOnceAndNoDocumentIsOpened) {
  TiXmlDocument document;
  document.Parse(
      "<defaultDeviceSettings7><files><file doNotDelete=\"1\">inline</file></files>"
      "</defaultDeviceSettings7>");
  software.setVersion(u"5.1.0");
  EXPECT_EQ(readFile(document.RootElement()), 0);
  EXPECT_EQ(read(special("ZELMORA", "NX5", "special"), document.RootElement()), 0);
  EXPECT_THAT(paths(), ElementsAre(u"inline", u"inline"));
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(DeviceSettingsTest, ATextThatIsNoUtf8IsAnException) {
  for (const std::string text :
       {"<files><file>\xFF</file></files>", "<files><file doNotDelete=\"\xFF\"/></files>",
        "<folders><folder>\xFF</folder></folders>"})
    EXPECT_THROW(static_cast<void>(read("<defaultDeviceSettings7>" + text + "</defaultDeviceSettings7>")),
                 utf8::exception)
        << text;
}

TEST_F(DeviceSettingsTest, TheDocumentThatComesWithTheProgramHasATableForEachDeviceOfTheMaker) {
  EXPECT_EQ(readDeviceSettings(shipped, "uploaderSettings", software, files, folders), 0);
  EXPECT_THAT(paths(),
              ElementsAre(u"ZELMORA/version.xml", u"ZELMORA/updates.xml", u"ZELMORA/Logs/navigator.log"));
  EXPECT_THAT(folders, ElementsAre(u"ZELMORA/Logs/Usage", u"ZELMORA/Logs/Crashes"));
  files.clear();
  folders.clear();
  software.platform = u"NX1";
  EXPECT_EQ(readDeviceSettings(shipped, "uploaderSettings", software, files, folders), 0);
  EXPECT_THAT(paths(), ElementsAre(u"ZELMORA/version.xml", u"ZELMORA/updates.xml", u"KD3/version.xml",
                                   u"KD3/updates.xml"));
  EXPECT_THAT(folders, ElementsAre(u"ZELMORA/Logs", u"KD3/Logs"));
}

TEST_F(DeviceSettingsTest, TheDocumentThatComesWithTheProgramLetsOnlyLogsBeDeleted) {
  for (const WideText platform : {u"NX5", u"NX1"}) {
    software.platform = platform;
    EXPECT_EQ(readDeviceSettings(shipped, "uploaderSettings", software, files, folders), 0);
  }
  for (const SettingsFile& file : files)
    EXPECT_EQ(file.doNotDelete == u"1", !file.path.ends_with(u".log")) << toUtf8(file.path);
  for (const WideText& folder : folders) EXPECT_NE(folder.find(u"/Logs"), WideText::npos) << toUtf8(folder);
}

}  // namespace
}  // namespace ZelmoraTevra
