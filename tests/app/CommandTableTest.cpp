#include <gmock/gmock.h>
#include <tinyxml.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "app/Commands.h"
#include "core/Base64.h"
#include "core/Text.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string element(const std::string& name, const std::string& value) {
  return "<" + name + ">" + value + "</" + name + ">";
}

std::string encoded(const std::string& name, const std::string& value) {
  return element(name, encodeBase64(value));
}

// A description of one update, for this storage.
std::string descriptionFor(const std::string& location) {
  return InstallDescription().update("Maps", location, 5).file("a", "a", "hello").encoded();
}

// A package with all of its values, some of them left out.
std::string content(const std::set<std::string>& without = {},
                    const std::string& description = descriptionFor("storage_for_software")) {
  std::string children;
  const auto add = [&](const std::string& name, const std::string& value) {
    if (!without.contains(name)) children += element(name, value);
  };
  add("fileSize", "100");
  add("fileSizeUncompressed", "200");
  add("md5", "9E107D9D372BB6826BD81D3542A419D6");
  add("index", "1");
  add("url", "http://packages.example/a.zip?id=1");
  add("name", "Package");
  add("installXML", description);
  return element("content", children);
}

std::string packages(const std::string& contents) {
  return element("PackageSequence", contents);
}

std::string update(const std::string& children) {
  return packages(element("UninstallPackage", children));
}

// What a document may lack or have wrong, and what is reported then.
struct Fault {
  std::string attributes;
  std::string children;
  int exitCode;
  WideText message;  // empty: there is none
  WideText percent = u"100";
};

// A command with all that its reader asks for, the channels that it needs, and all of its faults.
struct Row {
  WideText name;
  std::string attributes;
  std::string children;
  std::vector<Fault> faults;
  bool marksDevice = false;
  bool movesFolder = false;
};

const WideText noCard =
    u"To install this content to your ZELMORA device, a SD-Card is needed. Please insert a SD-Card.";

class CommandTableTest : public JobTest {
 protected:
  CommandTableTest() { makeFolder(path(u"device")); }

  // The root of a device that is there.
  [[nodiscard]] std::string flash() const {
    return encoded("StorageCardDriveLetter", toUtf8(path(u"device")));
  }
  [[nodiscard]] std::string missingFlash() const {
    return encoded("StorageCardDriveLetter", toUtf8(path(u"gone")));
  }

  [[nodiscard]] std::vector<Row> rows() const {
    std::vector<Row> all = installRows();
    for (std::vector<Row> more : {restoreDeviceRows(), uninstallRows(), backupRows(), deviceRows(),
                                  fileRows(), kmlRows(), contactRows(), uploadRows()})
      all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  [[nodiscard]] std::vector<Row> installRows() const {
    const std::string remote = "LocalInstall=\"0\"";
    const std::string local = "LocalInstall=\"1\"";
    const std::string good = flash() + packages(content());
    const WideText noLocation = u"Error on reading the install location!";
    const WideText noStorage = u"Error on reading the storage card drive letter tag!";
    const WideText noSequence = u"Error on reading the package sequence tag!";
    const WideText noContent = u"Error on reading the content information!";
    const WideText noZip = u"Please insert a valid path for the zip!!!";
    const WideText corrupted = u"!!!MEMORY -> CORUPTED FILE!!!";
    const std::string corrupt = flash() + packages(content({}, encodeBase64("no zip")));
    const std::string forCard = flash() + packages(content({}, descriptionFor("storage_for_content")));

    Row install{u"INSTALL_PACKAGE", remote, good, {}, true};
    install.faults = {{"", good, 1029, noLocation},
                      {remote, packages(content()), 1033, noStorage},
                      {remote, flash(), 1032, noSequence},
                      {local, good, 1245, noZip},
                      {remote, corrupt, 1030, corrupted, u"106"},
                      {remote, flash() + packages(content({"installXML"})), 1030, corrupted, u"106"},
                      {remote, forCard, 1015, noCard}};
    for (const std::string missing : {"fileSize", "fileSizeUncompressed", "md5", "url"})
      install.faults.push_back({remote, flash() + packages(content({missing})), 1031, noContent});

    Row check{u"CHECK_SIZE", remote, good, {}};
    check.faults = {{"", good, 1029, noLocation},
                    {remote, packages(content()), 1033, noStorage},
                    {remote, flash(), 1032, noSequence},
                    {local, good, 1245, noZip},
                    {remote, corrupt, 1030, corrupted, u"106"},
                    {remote, forCard, 1015, noCard},
                    {remote, flash() + packages(content({"installXML"})), 1158, noContent}};

    // It has neither a device nor a description.
    Row tevra{u"INSTALL_TEVRA", remote, packages(content({"installXML"})), {}};
    tevra.faults = {{"", packages(content()), 1029, noLocation},
                    {remote, flash(), 1032, noSequence},
                    {local, packages(content()), 1245, noZip}};
    return {install, check, tevra};
  }

  [[nodiscard]] std::vector<Row> restoreDeviceRows() const {
    const std::string good = flash() + packages(content());
    const WideText noContent = u"Error on reading the content information!";
    const WideText corrupted = u"!!!MEMORY -> CORUPTED FILE!!!";
    const auto faultsOfBoth = [&] {
      return std::vector<Fault>{
          {"", packages(content()), 1230, u"Error on reading the storage card drive letter tag!"},
          {"", flash(), 1244, u"Error on reading the package sequence tag!"},
          {"", flash() + packages(""), 1243,
           u"Invalid installation information! Retry later or contact Customer Support!"},
          {"LocalInstall=\"1\"", good, 1245, u"Please insert a valid path for the zip!!!"},
          {"", flash() + packages(content({"installXML"})), 1231, corrupted, u"106"},
          {"", flash() + packages(content({}, encodeBase64("no zip"))), 1231, corrupted, u"106"},
          {"", flash() + packages(content({}, descriptionFor("storage_for_content"))), 1241, noCard}};
    };
    Row restore{u"RESTORE_DEVICE", "", good, faultsOfBoth(), true};
    for (const std::string missing : {"fileSize", "fileSizeUncompressed", "md5", "index", "url"})
      restore.faults.push_back({"", flash() + packages(content({missing})), 1242, noContent});
    Row check{u"CHECK_SIZE_RESTORE_DEVICE", "", flash() + packages(content({"md5", "index", "url"})),
              faultsOfBoth(), true};
    for (const std::string missing : {"fileSize", "fileSizeUncompressed"})
      check.faults.push_back({"", flash() + packages(content({missing})), 1246, noContent});
    return {restore, check};
  }

  [[nodiscard]] std::vector<Row> uninstallRows() const {
    const std::string whole =
        element("CompanyName", "ZELMORA") + element("ProductName", "Maps") + element("ProductVersion", "1.0");
    const WideText noUpdate = u"Error on reading the uninstall package information!";
    return {{u"UNINSTALL_PACKAGE",
             "",
             flash() + update(whole),
             {{"", flash(), 1035, u"Error on reading the package sequence tag!"},
              {"", flash() + update(element("ProductVersion", "1.0")), 1034, noUpdate},
              {"", flash() + update(element("ProductName", "Maps")), 1034, noUpdate},
              {"", update(whole), 1036, u"Error on reading the storage card drive letter tag!"}},
             true}};
  }

  [[nodiscard]] std::vector<Row> backupRows() const {
    const std::string name = element("BackupName", "spring");
    const WideText noMake = u"Error on reading the make backup command's parameters!";
    const WideText noRestore = u"Error on reading the restore backup command's parameters!";
    const WideText noDelete = u"Error on reading the delete backup command's parameters!";
    const WideText noMove = u"Error on reading the move folder command's parameters!";
    const std::string folders = element("OldFolder", "/old") + element("NewFolder", "/new");
    const std::vector<Fault> makeFaults = {{"", flash(), 1037, noMake}, {"", name, 1037, noMake}};
    const std::vector<Fault> moveFaults = {{"", element("OldFolder", "/old"), 1040, noMove},
                                           {"", element("NewFolder", "/new"), 1040, noMove}};
    return {{u"MAKE_BACKUP", "", name + flash(), makeFaults},
            {u"MAKE_PERSONAL_BACKUP", "", name + flash(), makeFaults},
            {u"RESTORE_BACKUP",
             "",
             name + flash(),
             {{"", flash(), 1038, noRestore}, {"", name, 1038, noRestore}},
             true},
            {u"DELETE_BACKUP", "", name, {{"", "", 1039, noDelete}, {"", "<BackupName/>", 1039, noDelete}}},
            {u"GET_BACKUPS", "", "", {}},
            {u"CONVERT_BACKUPS", "", "", {}},
            {u"MOVE_BACKUP_FOLDER", "", folders, moveFaults, false, true},
            {u"MOVE_TEMP_FOLDER", "", folders, moveFaults, false, true}};
  }

  [[nodiscard]] std::vector<Row> deviceRows() const {
    const std::string missingCard = encoded("SecondDriveLetter", toUtf8(path(u"gone")));
    return {
        {u"GET_INFO", "", "", {}},
        {u"CHECK_DISK", "", "", {{"", missingFlash(), 1066, u""}, {"", flash() + missingCard, 1156, u""}}},
        {u"REMOVE_DEVICE",
         "",
         flash(),
         {{"", "", 1071, u"Error on reading the remove device files parameters!"}}}};
  }

  [[nodiscard]] std::vector<Row> fileRows() const {
    const WideText gone =
        u"Could not access your device. Please make sure it is still connected and try again.";
    const std::vector<std::pair<std::string, std::string>> elements = {
        {"Extensions", ".ogg;.wav"},
        {"FileNameAtDestination", "horn.ogg"},
        {"SearchingFolder", "sounds"},
        {"OptionalExtension", ".txt"},
        {"FileName", "horn"},
        {"DestinationFolder", "/music"},
        {"DefaultFileToCopy", "/a.txt"},
    };
    const auto without = [&](const std::string& missing) {
      std::string children = flash();
      for (const auto& [name, value] : elements)
        if (name != missing) children += element(name, value);
      return children;
    };
    std::vector<Row> all;
    for (const WideText name :
         {u"GET_FILES", u"IMPORT_FILES", u"EXPORT_FILES", u"DELETE_FILES", u"ADD_FILE"}) {
      const WideText message = u"Error on reading the " + name + u" parameters!";
      Row row{name, "", without(""), {}};
      row.faults.push_back({"", without("").substr(flash().size()), 1229, gone});
      row.faults.push_back({"", missingFlash() + without("").substr(flash().size()), 1229, gone});
      for (const std::string missing : {name == u"ADD_FILE" ? "FileNameAtDestination" : "Extensions",
                                        "SearchingFolder", "OptionalExtension"})
        row.faults.push_back({"", without(missing), 1199, message});
      if (name == u"DELETE_FILES" || name == u"EXPORT_FILES")
        row.faults.push_back({"", without("FileName"), 1200, message});
      if (name == u"EXPORT_FILES") row.faults.push_back({"", without("DestinationFolder"), 1201, message});
      if (name == u"IMPORT_FILES") row.faults.push_back({"", without("DefaultFileToCopy"), 1202, message});
      all.push_back(row);
    }
    return all;
  }

  [[nodiscard]] std::vector<Row> kmlRows() const {
    const WideText noGet = u"Error on reading the get kml files parameters!";
    const WideText noImport = u"Error on reading the import kml files parameters!";
    const WideText noExport = u"Error on reading the export kml files parameters!";
    const WideText noDelete = u"Error on reading the delete kml files parameters!";
    const std::string local = encoded("LocalFilePath", "/tracks/alps.kml");
    const std::string name = element("FileName", "alps.kml");
    const std::string destination = encoded("DestinationFolderPath", "/tracks");
    return {{u"GET_KML_FILES", "", flash(), {{"", "", 1180, noGet}}},
            {u"IMPORT_KML_FILE",
             "",
             local + flash(),
             {{"", flash(), 1181, noImport}, {"", local, 1181, noImport}}},
            {u"EXPORT_KML_FILE",
             "",
             name + destination + flash(),
             {{"", destination + flash(), 1182, noExport},
              {"", name + flash(), 1182, noExport},
              {"", name + destination, 1182, noExport}}},
            {u"DELETE_KML_FILE",
             "",
             name + flash(),
             {{"", flash(), 1183, noDelete}, {"", name, 1183, noDelete}}}};
  }

  [[nodiscard]] std::vector<Row> contactRows() const {
    const std::string contacts = encoded("Contacts", "<contacts/>");
    const WideText noImport = u"Error on reading the IMPORT_CONTACTS parameters!";
    return {{u"IMPORT_CONTACTS",
             "",
             contacts + flash(),
             {{"", flash(), 1127, noImport}, {"", contacts, 1127, noImport}}},
            {u"GET_CONTACTS",
             "",
             flash(),
             {{"", contacts, 1127, u"Error on reading the GET_CONTACTS parameters!"}}}};
  }

  [[nodiscard]] std::vector<Row> uploadRows() const {
    const std::string url = element("UploadURL", "http://up.example/in");
    const WideText message = u"Error on reading the Upload Files command's parameters!";
    return {{u"UPLOAD_FILES", "", url + flash(), {{"", flash(), 1041, message}, {"", url, 1041, message}}}};
  }

  // Whether the reader accepts a command; what it hands on is in `record`.
  bool read(const WideText& name, const std::string& attributes, const std::string& children) {
    TiXmlDocument document;
    document.Parse(
        ("<Command CommandName=\"" + toUtf8(name) + "\" " + attributes + ">" + children + "</Command>")
            .c_str(),
        nullptr, TIXML_ENCODING_UTF8);
    record = {};
    record.commandName = name;
    return table.at(name).read(*document.RootElement(), record);
  }
  // A missing command is a failure, and no reason to leave the others alone.
  [[nodiscard]] bool isPresent(const WideText& name) const {
    EXPECT_TRUE(table.contains(name)) << toUtf8(name);
    return table.contains(name);
  }
  static std::string fileOf(const char* relative) {
    std::ifstream stream(std::filesystem::path(TEVRA_SOURCE_DIR) / relative);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  const CommandTable table = allCommands();
  CommandRecord record;
};

TEST_F(CommandTableTest, TheProgramHasItsTwentyNineCommandsAndNoOther) {
  std::set<WideText> expected;
  for (const Row& row : rows()) expected.insert(row.name);
  ASSERT_EQ(expected.size(), 29U);
  std::set<WideText> present;
  for (const auto& [name, command] : table) present.insert(name);
  EXPECT_EQ(present, expected);
}

TEST_F(CommandTableTest, EachCommandHasAWorker) {
  for (const auto& [name, command] : table) {
    ASSERT_TRUE(command.makeWorker) << toUtf8(name);
    EXPECT_NE(command.makeWorker(), nullptr) << toUtf8(name);
  }
}

TEST_F(CommandTableTest, EachCommandMarksTheDeviceOrMovesAFolderAsItShould) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(toUtf8(row.name));
    if (!isPresent(row.name)) continue;
    EXPECT_EQ(table.at(row.name).writesIndicatorFile, row.marksDevice);
    EXPECT_EQ(table.at(row.name).movesFolder, row.movesFolder);
  }
}

TEST_F(CommandTableTest, EachCommandIsAcceptedWithAllThatItNeeds) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(toUtf8(row.name));
    if (!isPresent(row.name)) continue;
    EXPECT_TRUE(read(row.name, row.attributes, row.children));
    EXPECT_EQ(record.commandName, row.name);
    EXPECT_THAT(statusHistory(), IsEmpty());
  }
}

TEST_F(CommandTableTest, WhatIsNotKnownInACommandIsPassedOver) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(toUtf8(row.name));
    if (!isPresent(row.name)) continue;
    EXPECT_TRUE(read(row.name, row.attributes + " later=\"1\"", "<Later>1</Later>" + row.children));
  }
}

TEST_F(CommandTableTest, EachFaultOfACommandHasItsReport) {
  for (const Row& row : rows()) {
    if (!isPresent(row.name)) continue;
    for (const Fault& fault : row.faults) {
      SCOPED_TRACE(toUtf8(row.name) + " " + fault.attributes + " " + fault.children);
      const std::size_t reports = statusHistory().size();
      EXPECT_FALSE(read(row.name, fault.attributes, fault.children));
      EXPECT_EQ(statusHistory().size(), reports + 1);
      EXPECT_EQ(status().state, 7);
      EXPECT_EQ(status().exitCode(), numberText(fault.exitCode));
      if (fault.message.empty()) {
        EXPECT_THAT(status().descriptions, ElementsAre(fault.percent));
      } else {
        EXPECT_THAT(status().descriptions, ElementsAre(fault.percent, fault.message));
      }
    }
  }
}

TEST_F(CommandTableTest, NoReaderTouchesTheDevice) {
  for (const Row& row : rows()) {
    if (!isPresent(row.name)) continue;
    static_cast<void>(read(row.name, row.attributes, row.children));
    for (const Fault& fault : row.faults) static_cast<void>(read(row.name, fault.attributes, fault.children));
    EXPECT_THAT(tree(path(u"device")), IsEmpty()) << toUtf8(row.name);
  }
}

TEST_F(CommandTableTest, EachCommandIsDocumented) {
  const std::string readme = fileOf("README.md");
  const std::string commands = fileOf("docs/commands.md");
  for (const Row& row : rows()) {
    const std::string name = toUtf8(row.name);
    EXPECT_NE(readme.find("| `" + name + "` |"), std::string::npos) << name;
    EXPECT_NE(commands.find("\n## " + name + "\n"), std::string::npos) << name;
  }
}

}  // namespace
}  // namespace ZelmoraTevra
