#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/LoopbackListener.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Reply = ScriptedServer::Reply;

// The real program uploads from a simulated device to a real web server.
class UploadFilesJobTest : public ProgramTest {
 protected:
  UploadFilesJobTest() {
    job.write("flash/ZELMORA/version.xml", versionDocument("NX1", "7.2.1"));
    for (const auto& [name, content] : logs) job.write("flash/ZELMORA/Logs/" + name, content);
    job.write("flash/ZELMORA/Logs/old/kept.log", "of a folder below");
    fs::create_directories(job.path("server/in"));
    job.environment["no_proxy"] = "*";
  }

  static std::string versionDocument(const std::string& platform, const std::string& version) {
    return "<config><software><brand>ZELMORA</brand><platform>" + platform + "</platform><version>" +
           version + "</version></software></config>";
  }
  static CommandDocument upload(const std::string& url, const std::string& root = "E:") {
    CommandDocument command("UPLOAD_FILES");
    return command.plain("UploadURL", url).encoded("StorageCardDriveLetter", root);
  }
  static std::string tableOf(const std::string& files, const std::string& folders = {}) {
    return "<files>" + files + "</files><folders>" + folders + "</folders>";
  }
  // What has arrived: the content of each file by its name without the unique prefix, and how many there are.
  [[nodiscard]] std::map<std::string, std::string> arrived() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(job.path("server/in"))) {
      const std::string name = entry.path().filename().string();
      files[name.substr(name.find("__") + 2)] = job.read("server/in/" + name);
    }
    return files;
  }
  [[nodiscard]] std::ptrdiff_t arrivedCount() const {
    return std::distance(fs::directory_iterator(job.path("server/in")), fs::directory_iterator());
  }
  [[nodiscard]] bool allLogsAreThere() const {
    return std::all_of(logs.begin(), logs.end(), [&](const auto& log) {
      return job.read("flash/ZELMORA/Logs/" + log.first) == log.second;
    });
  }

  const std::map<std::string, std::string> logs = {{"empty.log", ""},
                                                   {"drive 1.log", "text\r\n"},
                                                   {"trace.bin", noise(3'000'000, 5)},
                                                   {"Ä.log", noise(1'000, 6)}};
};

TEST_F(UploadFilesJobTest, WhatTheSettingsNameArrivesByteForByteAndGoesFromTheDevice) {
  const auto nginx = NginxServer::start(job.path("server"), 0);
  SKIP_WITHOUT(nginx);
  const JobResult result = job.run(upload(nginx->url() + "/in").text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.statuses, IsEmpty());

  std::map<std::string, std::string> expected = logs;
  expected["version.xml"] = versionDocument("NX1", "7.2.1");
  EXPECT_TRUE(arrived() == expected);
  EXPECT_EQ(arrivedCount(), 5);
  EXPECT_EQ(job.tree("flash/ZELMORA"), (Tree{{"Logs", "folder"},
                                             {"Logs/old", "folder"},
                                             {"Logs/old/kept.log", md5Of("of a folder below")},
                                             {"version.xml", md5Of(versionDocument("NX1", "7.2.1"))}}));
}

TEST_F(UploadFilesJobTest, TheSameFileUploadedTwiceArrivesTwice) {
  const auto nginx = NginxServer::start(job.path("server"), 0);
  SKIP_WITHOUT(nginx);
  const std::string once =
      upload(nginx->url() + "/in")
          .plain("defaultDeviceSettings7", tableOf("<file doNotDelete=\"1\">ZELMORA/Logs/trace.bin</file>"))
          .element();
  EXPECT_EQ(job.run(CommandDocument::sequenceOf({once, once})).exitValue, 0);
  EXPECT_EQ(arrivedCount(), 2);
  EXPECT_TRUE(allLogsAreThere());
}

TEST_F(UploadFilesJobTest, AnInlineTableBelongsToItsOwnCommand) {
  const auto nginx = NginxServer::start(job.path("server"), 0);
  SKIP_WITHOUT(nginx);
  job.write("flash/a", "first");
  job.write("flash/b", "second");
  const std::string url = nginx->url() + "/in";
  const std::string first = upload(url).plain("defaultDeviceSettings7", tableOf("<file>a</file>")).element();
  const std::string second = upload(url).plain("defaultDeviceSettings7", tableOf("<file>b</file>")).element();
  const std::string third = upload(url).element();
  EXPECT_EQ(job.run(CommandDocument::sequenceOf({first, second, third})).exitValue, 0);
  std::map<std::string, std::string> expected = logs;
  expected["version.xml"] = versionDocument("NX1", "7.2.1");
  expected["a"] = "first";
  expected["b"] = "second";
  EXPECT_TRUE(arrived() == expected);
}

TEST_F(UploadFilesJobTest, AFolderOfTheServerThatTakesNoFilesEndsTheJobAndNothingIsDeleted) {
  const auto nginx = NginxServer::start(job.path("server"), 0);
  SKIP_WITHOUT(nginx);
  job.write("server/file", "no folder");
  const JobResult result = job.run(upload(nginx->url() + "/file").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_THAT(result.statuses, IsEmpty());
  EXPECT_TRUE(allLogsAreThere());
}

TEST_F(UploadFilesJobTest, AServerThatAnswersWithAnErrorGetsNoFurtherFile) {
  const auto server = ScriptedServer::start(
      [](const std::string& request) {
        if (request.starts_with("HEAD ")) return Reply{"HTTP/1.1 200 OK\r\n\r\n"};
        return Reply{"HTTP/1.1 500 Internal Server Error\r\nContent-Length: 5\r\n\r\nsorry", "",
                     ScriptedServer::End::close, ScriptedServer::wholeBody};
      },
      0);
  ASSERT_NE(server, nullptr);
  const std::string url = "http://" + server->host() + ":" + std::to_string(server->port()) + "/in";
  const JobResult result =
      job.run(CommandDocument::sequenceOf({upload(url).element(), upload(url).element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.statuses, IsEmpty());
  EXPECT_THAT(server->requests(), SizeIs(2));
  EXPECT_TRUE(allLogsAreThere());
}

TEST_F(UploadFilesJobTest, AServerThatClosesHalfWayKeepsNothingFromTheUser) {
  const auto server = ScriptedServer::start(
      [](const std::string& request) {
        if (request.starts_with("HEAD ")) return Reply{"HTTP/1.1 200 OK\r\n\r\n"};
        // The large one breaks off.
        if (request.find("trace.bin") != std::string::npos)
          return Reply{"", "", ScriptedServer::End::reset, 1'000'000};
        return Reply{"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "",
                     ScriptedServer::End::nextRequest, ScriptedServer::wholeBody};
      },
      0);
  ASSERT_NE(server, nullptr);
  const JobResult result =
      job.run(upload("http://" + server->host() + ":" + std::to_string(server->port()) + "/in").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.signal, 0);
  // In the order of their paths: these were taken before, those come behind it.
  EXPECT_FALSE(job.exists("flash/ZELMORA/Logs/drive 1.log"));
  EXPECT_FALSE(job.exists("flash/ZELMORA/Logs/empty.log"));
  EXPECT_EQ(job.read("flash/ZELMORA/Logs/trace.bin"), logs.at("trace.bin"));
  EXPECT_EQ(job.read("flash/ZELMORA/Logs/Ä.log"), logs.at("Ä.log"));
}

TEST_F(UploadFilesJobTest, AnUnreachableServerEndsTheJobBeforeAFileIsTouched) {
  std::string url;
  {
    const LoopbackListener gone(0);
    url = "http://" + gone.host() + ":" + std::to_string(gone.port()) + "/in";
  }
  const Tree before = job.tree("flash");
  const JobResult result = job.run(upload(url).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_THAT(result.statuses, IsEmpty());
  EXPECT_EQ(job.tree("flash"), before);
}

TEST_F(UploadFilesJobTest, AServerWhoseCertificateNobodyVouchesForGetsNothing) {
  const auto nginx = NginxServer::startSelfSigned(job.path("server"));
  SKIP_WITHOUT(nginx);
  const Tree before = job.tree("flash");
  const JobResult result = job.run(upload(nginx->url() + "/in").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_THAT(result.statuses, IsEmpty());
  EXPECT_EQ(job.tree("flash"), before);
  EXPECT_EQ(arrivedCount(), 0);
  EXPECT_THAT(job.logLines(), Contains(testing::AllOf(StartsWith("The server for uploads doesn't answer: "),
                                                      HasSubstr("cert"))));
}

TEST_F(UploadFilesJobTest, WithoutTheLibraryTheJobEndsBeforeAFileIsTouched) {
  job.write("lib/libcurl.so.4", std::string(1'000, 'x'));
  job.environment["LD_LIBRARY_PATH"] = job.path("lib");
  const Tree before = job.tree("flash");
  const JobResult result = job.run(upload("http://127.0.0.1:1/in").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.statuses, IsEmpty());
  EXPECT_EQ(job.tree("flash"), before);
  EXPECT_THAT(job.logLines(), Contains("The library for uploads is missing!"));
}

TEST_F(UploadFilesJobTest, ADeviceThatTakesNoDeletionIsUploadedFrom) {
  const auto nginx = NginxServer::start(job.path("server"), 0);
  SKIP_WITHOUT(nginx);
  job.flash.readOnly = true;
  EXPECT_EQ(job.run(upload(nginx->url() + "/in").text()).exitValue, 0);
  EXPECT_EQ(arrivedCount(), 5);
  EXPECT_TRUE(allLogsAreThere());
}

TEST_F(UploadFilesJobTest, WithoutAVersionFileTheSequenceGoesOn) {
  fs::remove(job.path("flash/ZELMORA/version.xml"));
  const std::string next = CommandDocument("CHECK_DISK").element();
  const JobResult result =
      job.run(CommandDocument::sequenceOf({upload("http://127.0.0.1:1/in").element(), next}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_TRUE(allLogsAreThere());
}

TEST_F(UploadFilesJobTest, ADeviceWithoutATableIsReportedWithTheSettingsFile) {
  job.write("flash/ZELMORA/version.xml", versionDocument("NX1", "5.1.0"));
  const JobResult result = job.run(upload("http://127.0.0.1:1/in").text());
  EXPECT_EQ(result.exitValue, 255);
  const fs::path folder = fs::path(TEVRA_PROGRAM).parent_path();
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"100", (folder / "../etc/Tevra/UploaderSettings.xml").string()},
                             {{"exitCode", "1150"}}));
}

TEST_F(UploadFilesJobTest, WithoutAUrlNothingRuns) {
  CommandDocument command("UPLOAD_FILES");
  command.encoded("StorageCardDriveLetter", "E:");
  const JobResult result =
      job.run(CommandDocument::sequenceOf({CommandDocument("CHECK_DISK").element(), command.element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1041, "Error on reading the Upload Files command's parameters!"));
}

// Loading it takes several times what a whole job without an upload takes.
TEST_F(UploadFilesJobTest, OnlyAJobThatUploadsLoadsTheLibrary) {
  job.environment["LD_DEBUG"] = "files";
  EXPECT_THAT(job.run(CommandDocument("CHECK_DISK").text()).errors,
              testing::AllOf(HasSubstr("libc.so"), Not(HasSubstr("libcurl"))));
  EXPECT_THAT(job.run(upload("http://127.0.0.1:1/in").text()).errors, HasSubstr("libcurl"));
}

}  // namespace
}  // namespace ZelmoraTevra
