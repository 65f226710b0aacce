#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "app/Commands.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "tests/support/CommandDocument.h"
#include "tests/support/JobProcess.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

// A device in the hands of its user: each command of the program once, all of them with success.
class EveryCommandTest : public ::testing::Test {
 protected:
  EveryCommandTest() {
    job.write("flash/ZELMORA/version.xml",
              "<config><software><brand>ZELMORA</brand><platform>NX5</platform><version>7.2.1</version>"
              "<id>H1</id><productid>D1</productid></software></config>");
    job.write("card/content/voice.dat", "a voice");
    job.write("card/ZELMORA/card.txt", "a card of the maker");
    job.write("home/places.csv", "11.4,47.3,Inn\n");
    job.write("home/flag.bmp", "a flag");
    job.write("home/Inn.kml", "<kml/>");
  }

  [[nodiscard]] static CommandDocument onDevice(const std::string& name) {
    return std::move(
        CommandDocument(name).encoded("StorageCardDriveLetter", "E:").encoded("SecondDriveLetter", "F:"));
  }
  [[nodiscard]] static CommandDocument onFiles(const std::string& name) {
    return std::move(onDevice(name)
                         .plain("Extensions", "csv")
                         .plain("OptionalExtension", "bmp")
                         .plain("SearchingFolder", "Poi"));
  }
  // A zip on the user's disk with a file for the folder of the register.
  [[nodiscard]] CommandPackage package() const {
    CommandPackage package;
    package.zip = ZipBuilder().add("base.bin", "base").bytes();
    package.url = job.path("base.zip");
    package.description.update("Base", "storage_for_software", 4)
        .file("base.bin", "ZELMORA/base.bin", "base");
    job.write("base.zip", package.zip);
    return package;
  }
  // The same as the restoring of a device wants it, with its place among the packages.
  [[nodiscard]] CommandDocument restoring(const std::string& name) const {
    const CommandPackage each = package();
    const std::string size = "<fileSize>" + std::to_string(each.zip.size()) + "</fileSize>";
    return std::move(onDevice(name).localInstall().plain(
        "PackageSequence", "<content>" + size + "<fileSizeUncompressed>4</fileSizeUncompressed><md5>" +
                               md5Of(each.zip) + "</md5><index>1</index><url>" + each.url +
                               "</url><name>Base</name><installXML>" + each.description.encoded() +
                               "</installXML></content>"));
  }
  // What is left where the status is.
  std::string run(const CommandDocument& command) {
    // A move takes the folder along.
    for (const char* folder : {"temp", "backups", "home/fetched", "home/tracks"})
      fs::create_directories(job.path(folder));
    fs::remove(job.path(statusFile));
    const JobResult result = job.run(command.text());
    EXPECT_EQ(result.exitValue, 0) << job.read(statusFile);
    EXPECT_EQ(result.errors, "");
    return job.read(statusFile);
  }
  void expectSuccess(const std::string& name, const CommandDocument& command, int state = statSuccess) {
    SCOPED_TRACE(name);
    done.insert(toWide(name));
    const SavedStatus status = parseStatus(run(command));
    EXPECT_EQ(status.state, state) << status.document;
  }
  void expectAnswer(const std::string& name, const CommandDocument& command, const std::string& answer) {
    SCOPED_TRACE(name);
    done.insert(toWide(name));
    EXPECT_NE(run(command).find("<" + answer), std::string::npos) << job.read(statusFile);
  }

  const std::string statusFile = "tmp/ZELMORATevra_tmp/ud_TevraCLI.xml";
  std::set<WideText> done;
  JobProcess job{TEVRA_PROGRAM};
};

TEST_F(EveryCommandTest, EachOneSucceedsOnADeviceThatIsAllRight) {
  expectAnswer("GET_INFO", CommandDocument("GET_INFO").plain("FolderPath", job.path("flash")), "removable");
  expectSuccess("CHECK_DISK", onDevice("CHECK_DISK"));

  CommandDocument checkSize = onDevice("CHECK_SIZE");
  expectSuccess("CHECK_SIZE", checkSize.localInstall().package(package()), statFitsToTarget);
  expectSuccess("INSTALL_PACKAGE", CommandDocument::installPackage().localInstall().package(package()));
  EXPECT_EQ(job.read("flash/ZELMORA/base.bin"), "base");
  CommandDocument tevra("INSTALL_TEVRA");
  expectSuccess("INSTALL_TEVRA", tevra.localInstall().package(package()));

  expectSuccess("IMPORT_FILES", onFiles("IMPORT_FILES")
                                    .plain("FileName", job.path("home/places.csv"))
                                    .plain("DefaultFileToCopy", job.path("home/flag.bmp")));
  expectAnswer("GET_FILES", onFiles("GET_FILES"), "GetFilesResponse");
  expectSuccess("ADD_FILE", onFiles("ADD_FILE")
                                .plain("FileName", job.path("home/flag.bmp"))
                                .plain("FileNameAtDestination", "places.csv")
                                .attribute("Overwrite", "true"));
  expectSuccess("EXPORT_FILES", onFiles("EXPORT_FILES")
                                    .plain("FileName", "places.csv")
                                    .plain("DestinationFolder", job.path("home/fetched")));
  expectSuccess("DELETE_FILES", onFiles("DELETE_FILES").plain("FileName", "places"));

  expectSuccess("IMPORT_KML_FILE",
                onDevice("IMPORT_KML_FILE").encoded("LocalFilePath", job.path("home/Inn.kml")));
  expectAnswer("GET_KML_FILES", onDevice("GET_KML_FILES"), "KmlResponse");
  expectSuccess("EXPORT_KML_FILE", onDevice("EXPORT_KML_FILE")
                                       .plain("FileName", "Inn.kml")
                                       .encoded("DestinationFolderPath", job.path("home/tracks")));
  expectSuccess("DELETE_KML_FILE", onDevice("DELETE_KML_FILE").plain("FileName", "Inn.kml"));

  expectSuccess("IMPORT_CONTACTS",
                onDevice("IMPORT_CONTACTS")
                    .encoded("Contacts", "<contacts><contact><name>Anna</name></contact></contacts>"));
  expectAnswer("GET_CONTACTS", onDevice("GET_CONTACTS"), "GetContactsResponse");

  expectSuccess("MAKE_BACKUP", onDevice("MAKE_BACKUP").plain("BackupName", "whole"));
  expectSuccess("MAKE_PERSONAL_BACKUP", onDevice("MAKE_PERSONAL_BACKUP").plain("BackupName", "own"));
  expectAnswer("GET_BACKUPS", CommandDocument("GET_BACKUPS"), "backup>");
  expectSuccess("CONVERT_BACKUPS", CommandDocument("CONVERT_BACKUPS"));
  expectSuccess("RESTORE_BACKUP", onDevice("RESTORE_BACKUP").plain("BackupName", "whole"));
  EXPECT_EQ(job.read("card/content/voice.dat"), "a voice");
  CommandDocument deleteBackup("DELETE_BACKUP");
  expectSuccess("DELETE_BACKUP", deleteBackup.plain("BackupName", "own"));

  for (const std::string folder : {"backups", "temp"}) {
    const std::string name = folder == "temp" ? "MOVE_TEMP_FOLDER" : "MOVE_BACKUP_FOLDER";
    fs::create_directories(job.path("moved"));
    CommandDocument move(name);
    expectSuccess(name, move.plain("OldFolder", job.path(folder)).plain("NewFolder", job.path("moved")));
  }

  const auto server = ScriptedServer::start(
      [](const std::string& request) {
        if (request.starts_with("HEAD ")) return ScriptedServer::Reply{"HTTP/1.1 200 OK\r\n\r\n"};
        return ScriptedServer::Reply{"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "",
                                     ScriptedServer::End::nextRequest, ScriptedServer::wholeBody};
      },
      0);
  ASSERT_NE(server, nullptr);
  job.environment["no_proxy"] = "*";
  job.write("flash/ZELMORA/drive.log", "a drive");
  done.insert(u"UPLOAD_FILES");
  EXPECT_EQ(
      run(onDevice("UPLOAD_FILES")
              .plain("UploadURL", "http://" + server->host() + ":" + std::to_string(server->port()) + "/in")
              .plain("defaultDeviceSettings7", "<files><file>ZELMORA/drive.log</file></files>")),
      "<missing>");
  EXPECT_EQ(server->bodies(), (std::vector<std::string>{"", "a drive"}));
  EXPECT_FALSE(job.exists("flash/ZELMORA/drive.log"));

  expectSuccess("UNINSTALL_PACKAGE", CommandDocument::uninstallPackage().uninstall("Base"));
  EXPECT_FALSE(job.exists("flash/ZELMORA/base.bin"));
  expectSuccess("CHECK_SIZE_RESTORE_DEVICE", restoring("CHECK_SIZE_RESTORE_DEVICE"), statFitsToTarget);
  expectSuccess("RESTORE_DEVICE", restoring("RESTORE_DEVICE"));
  EXPECT_EQ(job.read("flash/ZELMORA/base.bin"), "base");
  expectSuccess("REMOVE_DEVICE", onDevice("REMOVE_DEVICE"));

  std::set<WideText> all;
  for (const auto& [name, command] : allCommands()) all.insert(name);
  EXPECT_EQ(done, all);
}

}  // namespace
}  // namespace ZelmoraTevra
