#include <gmock/gmock.h>
#include <tinyxml.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include "core/Base64.h"
#include "core/Text.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/JobTest.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScriptedServer.h"
#include "userdata/UploadFilesRunner.h"
#include "userdata/UserDataCommands.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Counts how often a folder is listed, and gives no answer for some files.
class WatchedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::map<WideText, int> listings;
  WideText silentFile;  // with "/" as separator

  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    ++listings[toForwardSlashes(folder)];
    return target().list(folder, entries, error);
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    return isSilent(path, error) ? platform::EntryKind::missing : target().kind(path, error);
  }
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    return isSilent(path, error) ? -1 : target().fileSize(path, error);
  }

 private:
  [[nodiscard]] bool isSilent(const WideText& path, platform::ErrorCode& error) const {
    if (toForwardSlashes(path) != silentFile) return false;
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return true;
  }
};

class UploadFilesRunnerTest : public JobTest {
 protected:
  UploadFilesRunnerTest() {
    put(u"ZELMORA/version.xml",
        "<config><software><brand>ZELMORA</brand><platform>NX5</platform><version>7.2.1</version></"
        "software></config>");
    platform::Machine moved = platform::machine();
    moved.processes = &processes;
    useMachine(moved);
  }

  void SetUp() override {
    server = ScriptedServer::start(
        [this](const std::string& request) {
          if (request.starts_with("HEAD ")) {
            if (atTheHead) atTheHead();
            return ScriptedServer::Reply{"HTTP/1.1 200 OK\r\n\r\n"};
          }
          return ScriptedServer::Reply{"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "",
                                       ScriptedServer::End::nextRequest, ScriptedServer::wholeBody};
        },
        0);
    ASSERT_NE(server, nullptr);
    url = "http://" + server->host() + ":" + std::to_string(server->port()) + "/in";
  }

  void put(WideView relative, const std::string& content = "content") const {
    writeFile(path(u"device/") + WideText(relative), content);
  }
  static std::string tableOf(const std::string& files, const std::string& folders = {}) {
    return "<defaultDeviceSettings7><files>" + files + "</files><folders>" + folders +
           "</folders></defaultDeviceSettings7>";
  }
  [[nodiscard]] bool read(const std::string& children) {
    TiXmlDocument document;
    document.Parse(("<Command>" + children + "</Command>").c_str(), nullptr, TIXML_ENCODING_UTF8);
    record = {};
    record.commandName = u"UPLOAD_FILES";
    return table.at(u"UPLOAD_FILES").read(*document.RootElement(), record);
  }
  static std::string storage(const std::string& root) {
    return "<StorageCardDriveLetter>" + encodeBase64(root) + "</StorageCardDriveLetter>";
  }
  // Reads and runs the command; the table, if there is one, is its own.
  int run(const std::string& inlineTable = {}) {
    if (!read("<UploadURL>" + url + "</UploadURL>" + storage(toUtf8(path(u"device"))) + inlineTable))
      return -2;
    const auto worker = table.at(u"UPLOAD_FILES").makeWorker();
    return worker->init(record) == 0 ? worker->run() : -3;
  }
  [[nodiscard]] std::vector<std::string> arrivedNames() const {
    std::vector<std::string> names;
    for (const std::string& request : server->requests()) {
      const std::string line = request.substr(0, request.find(" HTTP/"));
      if (line.starts_with("PUT ")) names.push_back(line.substr(line.find("__") + 2));
    }
    return names;
  }
  [[nodiscard]] std::vector<std::string> device() const { return tree(path(u"device")); }

  CommandTable table = [] {
    CommandTable commands;
    addUserDataCommands(commands);
    return commands;
  }();
  ProgramAt processes{*platform::nativeMachine().processes, path(u"program/bin/TevraCLI")};
  const WideText settings = path(u"program/etc/Tevra/UploaderSettings.xml");
  // What happens while the server is asked whether it is there: all files have been looked for then.
  std::function<void()> atTheHead;
  std::unique_ptr<ScriptedServer> server;
  std::string url;
  CommandRecord record;

 private:
  ScopedEnvironment noProxy_{"no_proxy", "*"};
};

TEST_F(UploadFilesRunnerTest, TheCommandReadsItsParameters) {
  EXPECT_TRUE(read("<UploadURL>http://up.example/in</UploadURL>" + storage("E:") + "<SecondDriveLetter>" +
                   encodeBase64("F:") + "</SecondDriveLetter>" + tableOf("<file>a</file>")));
  EXPECT_EQ(record.uploadUrl, u"http://up.example/in");
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
  ASSERT_NE(record.defaultDeviceSettings, nullptr);
  EXPECT_STREQ(record.defaultDeviceSettings->FirstChildElement("files")->FirstChildElement("file")->GetText(),
               "a");
  EXPECT_FALSE(table.at(u"UPLOAD_FILES").writesIndicatorFile);
  EXPECT_FALSE(table.at(u"UPLOAD_FILES").movesFolder);
}

TEST_F(UploadFilesRunnerTest, TheCommandNeedsAUrlAndAStorage) {
  for (const std::string& children :
       {std::string(), std::string("<UploadURL>http://up.example</UploadURL>"), storage("E:"),
        "<UploadURL/>" + storage("E:"),
        std::string("<UploadURL>http://up.example</UploadURL><StorageCardDriveLetter/>")}) {
    EXPECT_FALSE(read(children)) << children;
    EXPECT_EQ(status().state, 7);
    EXPECT_EQ(status().exitCode(), u"1041");
    EXPECT_THAT(status().descriptions,
                ElementsAre(u"100", u"Error on reading the Upload Files command's parameters!"));
  }
}

TEST_F(UploadFilesRunnerTest, ACommandWithoutATableTakesNoneFromAnother) {
  EXPECT_TRUE(read("<UploadURL>u</UploadURL>" + storage("E:") + tableOf("<file>a</file>")));
  EXPECT_TRUE(read("<UploadURL>u</UploadURL>" + storage("E:")));
  EXPECT_EQ(record.defaultDeviceSettings, nullptr);
}

TEST_F(UploadFilesRunnerTest, FilesAndTheFilesOfFoldersGoUpAndGoFromTheDevice) {
  put(u"a.log");
  put(u"logs/b.log");
  put(u"logs/c.log");
  EXPECT_EQ(run(tableOf("<file>a.log</file><file doNotDelete=\"1\">ZELMORA/version.xml</file>",
                        "<folder>logs</folder>")),
            0);
  EXPECT_THAT(arrivedNames(), ElementsAre("version.xml", "a.log", "b.log", "c.log"));
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml", "logs/"));
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(UploadFilesRunnerTest, SubfoldersAreNotWalked) {
  put(u"logs/a.log");
  put(u"logs/old/b.log");
  EXPECT_EQ(run(tableOf("", "<folder>logs</folder>")), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_THAT(device(),
              ElementsAre("ZELMORA/", "ZELMORA/version.xml", "logs/", "logs/old/", "logs/old/b.log"));
}

TEST_F(UploadFilesRunnerTest, WhatIsMissingIsSkippedWithoutAReport) {
  put(u"a.log");
  put(u"folder/b.log");
  EXPECT_EQ(
      run(tableOf(
          "<file>missing.log</file><file>no/such/file</file><file>folder</file><file/><file>a.log</file>",
          "<folder>missing</folder><folder>a.log</folder><folder/>")),
      0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(UploadFilesRunnerTest, WhatLeavesTheDeviceByItsPathIsSkipped) {
  writeFile(path(u"private/key"), "secret");
  writeFile(path(u"key"), "secret");
  const std::string absolute = toUtf8(path(u"private"));
  EXPECT_EQ(run(tableOf("<file>../key</file><file>..\\key</file><file>ZELMORA/../../key</file><file>" +
                            absolute + "/key</file><file>C:\\key</file>",
                        "<folder>../private</folder><folder>ZELMORA/..</folder><folder>" + absolute +
                            "</folder><folder>.</folder>")),
            0);
  EXPECT_THAT(arrivedNames(), IsEmpty());
  EXPECT_EQ(readFile(path(u"key")), "secret");
  EXPECT_EQ(readFile(path(u"private/key")), "secret");
}

TEST_F(UploadFilesRunnerTest, WhatLeavesTheDeviceThroughALinkIsSkipped) {
  writeFile(path(u"private/key"), "secret");
  put(u"logs/a.log");
  const std::filesystem::path root = toUtf8(path(u"device"));
  std::filesystem::create_symlink(toUtf8(path(u"private")), root / "linked");
  std::filesystem::create_symlink(toUtf8(path(u"private/key")), root / "key");
  std::filesystem::create_symlink(toUtf8(path(u"private/key")), root / "logs/key");
  EXPECT_EQ(run(tableOf("<file>key</file><file>linked/key</file><file>logs/key</file>",
                        "<folder>linked</folder><folder>logs</folder>")),
            0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_EQ(readFile(path(u"private/key")), "secret");
}

TEST_F(UploadFilesRunnerTest, AFileThatIsNamedItselfAndThroughItsFolderGoesUpOnceWithItsOwnMark) {
  put(u"logs/a.log");
  put(u"logs/b.log");
  EXPECT_EQ(run(tableOf("<file doNotDelete=\"1\">logs\\a.log</file>",
                        "<folder>logs/</folder><folder>./logs</folder>")),
            0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log", "b.log"));
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml", "logs/", "logs/a.log"));
}

TEST_F(UploadFilesRunnerTest, AFileThatIsToBeKeptIsKeptWhereverElseItIsNamed) {
  put(u"logs/a.log");
  const std::filesystem::path logs = toUtf8(path(u"device/logs"));
  std::filesystem::create_hard_link(logs / "a.log", logs / "A~1.LOG");
  EXPECT_EQ(run(tableOf("<file>logs/a.log</file><file doNotDelete=\"1\">logs/A~1.LOG</file>",
                        "<folder>logs</folder>")),
            0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_THAT(device(),
              ElementsAre("ZELMORA/", "ZELMORA/version.xml", "logs/", "logs/A~1.LOG", "logs/a.log"));
}

TEST_F(UploadFilesRunnerTest, AFolderThatIsNamedOftenIsListedOnce) {
  put(u"logs/a.log");
  put(u"other/b.log");
  WatchedFileSystem watched(files());
  useFileSystem(watched);
  std::string folders = "<folder>other</folder>";
  for (int i = 0; i < 10; ++i)
    folders += "<folder>logs</folder><folder>logs/</folder><folder>./logs</folder><folder>logs\\.</folder>";
  EXPECT_EQ(run(tableOf("", folders)), 0);
  EXPECT_EQ(watched.listings[path(u"device/logs")], 1);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log", "b.log"));
}

TEST_F(UploadFilesRunnerTest, AFileThatGoesMeanwhileIsPassedOver) {
  put(u"a.log");
  put(u"b.log");
  atTheHead = [this] { std::filesystem::remove(toUtf8(path(u"device/a.log"))); };
  EXPECT_EQ(run(tableOf("<file>a.log</file><file>b.log</file>")), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("b.log"));
}

TEST_F(UploadFilesRunnerTest, ADeviceThatGoesMeanwhileIsAFailure) {
  startLog();
  put(u"a.log");
  atTheHead = [this] { std::filesystem::rename(toUtf8(path(u"device")), toUtf8(path(u"gone"))); };
  EXPECT_EQ(run(tableOf("<file>a.log</file>")), -1);
  EXPECT_THAT(arrivedNames(), IsEmpty());
  EXPECT_EQ(logLines().back(), u"The device has gone: " + path(u"device"));
}

TEST_F(UploadFilesRunnerTest, AFileThatGivesNoAnswerEndsTheCommandBeforeAFileIsTouched) {
  startLog();
  put(u"a.log");
  put(u"b.log");
  WatchedFileSystem watched(files());
  useFileSystem(watched);
  atTheHead = [&] { watched.silentFile = path(u"device/b.log"); };
  EXPECT_EQ(run(tableOf("<file>a.log</file><file>b.log</file>")), -1);
  EXPECT_THAT(arrivedNames(), IsEmpty());
  EXPECT_TRUE(fileExists(path(u"device/a.log")));
  EXPECT_EQ(logLines().back(), u"Fail to read " + path(u"device/b.log"));
}

TEST_F(UploadFilesRunnerTest, TheLogNamesTheFiles) {
  startLog();
  put(u"logs/a.log");
  EXPECT_EQ(run(tableOf("<file doNotDelete=\"1\">ZELMORA/version.xml</file>", "<folder>logs</folder>")), 0);
  std::vector<WideText> lines;
  for (const WideText& line : logLines()) lines.push_back(toForwardSlashes(line));
  EXPECT_THAT(lines, ElementsAre(u"Files to be uploaded:", path(u"device/ZELMORA/version.xml"),
                                 path(u"device/logs/a.log")));
}

TEST_F(UploadFilesRunnerTest, WithoutFilesTheServerIsStillAsked) {
  startLog();
  EXPECT_EQ(run(tableOf("")), 0);
  EXPECT_THAT(logLines(), ElementsAre(u"No files for upload!"));
  EXPECT_THAT(server->requests(), SizeIs(1));
  server.reset();
  EXPECT_EQ(run(tableOf("")), -1);
}

TEST_F(UploadFilesRunnerTest, AnUnreachableServerEndsTheCommandBeforeAFileIsTouched) {
  put(u"logs/a.log");
  server.reset();
  EXPECT_EQ(run(tableOf("", "<folder>logs</folder>")), -1);
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml", "logs/", "logs/a.log"));
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(UploadFilesRunnerTest, ADeviceThatDoesNotSayWhatItIsHasNothingToUpload) {
  put(u"a.log");
  for (const std::string content :
       {"", "<config>", "<config><software><brand>\xFF</brand></software></config>"}) {
    put(u"ZELMORA/version.xml", content);
    EXPECT_EQ(run(tableOf("<file>a.log</file>")), 0) << content;
  }
  std::filesystem::remove(toUtf8(path(u"device/ZELMORA/version.xml")));
  EXPECT_EQ(run(tableOf("<file>a.log</file>")), 0);
  std::filesystem::remove_all(toUtf8(path(u"device")));
  EXPECT_EQ(run(tableOf("<file>a.log</file>")), 0);
  EXPECT_THAT(server->requests(), IsEmpty());
  EXPECT_THAT(statusHistory(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(toUtf8(path(u"device"))));
}

TEST_F(UploadFilesRunnerTest, TheSettingsLieBesideTheProgram) {
  put(u"a.log");
  put(u"b.log");
  writeFile(path(u"program/bin/TevraCLI"), "");
  writeFile(settings,
            "<uploaderSettings><specialDeviceSettings brand=\"ZELMORA\" platform=\"NX5\"><files>"
            "<file>a.log</file></files></specialDeviceSettings>" +
                tableOf("<file>b.log</file>") + "</uploaderSettings>");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
}

TEST_F(UploadFilesRunnerTest, ATableOfTheCommandComesBeforeTheSettings) {
  put(u"a.log");
  put(u"b.log");
  writeFile(path(u"program/bin/TevraCLI"), "");
  writeFile(settings, "<uploaderSettings>" + tableOf("<file>a.log</file>") + "</uploaderSettings>");
  EXPECT_EQ(run(tableOf("<file>b.log</file>")), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("b.log"));
}

TEST_F(UploadFilesRunnerTest, SettingsThatAreMissingOrUnfitEndTheCommandWithTheirReport) {
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1151");
  writeFile(path(u"program/bin/TevraCLI"), "");
  writeFile(settings, "<uploaderSettings/>");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1148");
  put(u"ZELMORA/version.xml",
      "<config><software><brand>ZELMORA</brand><platform>NX5</platform><version>5.1.0</version></software></"
      "config>");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1150");
  EXPECT_THAT(server->requests(), IsEmpty());
}

TEST_F(UploadFilesRunnerTest, AnOlderDeviceUploadsToo) {
  std::filesystem::remove_all(toUtf8(path(u"device")));
  put(u"KD3/version.xml",
      "<config><kd3><brand>ZELMORA</brand><platform>K1</platform><version>6.0</version></kd3></config>");
  put(u"KD3/Logs/a.log");
  writeFile(path(u"program/bin/TevraCLI"), "");
  writeFile(settings,
            "<uploaderSettings>" + tableOf("", "<folder>KD3/Logs</folder>") + "</uploaderSettings>");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
}

}  // namespace
}  // namespace ZelmoraTevra
