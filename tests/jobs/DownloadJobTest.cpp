#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "app/ProcessEntry.h"
#include "platform/Machine.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ProxyServer.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {
namespace {

// A process that bears the front end's name.
class SleepingFrontEnd {
 public:
  SleepingFrontEnd() : id_(::fork()) {
    if (id_ != 0) return;
    ::execl("/bin/sleep", "Tevra.exe", "600", nullptr);
    ::_exit(127);
  }
  ~SleepingFrontEnd() {
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }
  SleepingFrontEnd(const SleepingFrontEnd&) = delete;
  SleepingFrontEnd& operator=(const SleepingFrontEnd&) = delete;

 private:
  pid_t id_;
};

// A computer on which no front end runs, whatever else runs there.
class ProcessesWithoutFrontEnd : public ForwardingProcesses {
 public:
  using ForwardingProcesses::ForwardingProcesses;
  bool isRunning(const WideText& /*executableName*/) override { return false; }
  void end(int exitValue) override { ::_exit(exitValue); }
};

// A small disk of its own at a folder.
class SmallDisk {
 public:
  SmallDisk(std::string folder, const std::string& size) : folder_(std::move(folder)) {
    mounted_ = ::mount("tmpfs", folder_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  [[nodiscard]] bool isMounted() const { return mounted_; }

 private:
  std::string folder_;
  bool mounted_ = false;
};

class DownloadJobTest : public ProgramTest {
 protected:
  // A package of one file, too large to come in one piece.
  [[nodiscard]] CommandPackage largePackage(std::size_t size) {
    const std::string content = noise(size, 7);
    CommandPackage package;
    ZipBuilder zip;
    zip.add("large.bin", content);
    package.zip = zip.bytes();
    package.description.update("Large", "storage_for_content", static_cast<std::int64_t>(size))
        .file("large.bin", "large.bin", content);
    return package;
  }
  // The half of a package, and then nothing for as long as the client waits.
  [[nodiscard]] static ScriptedServer::Reply stalledReply(const std::string& content) {
    const std::string whole = wholeReply(content);
    return {whole.substr(0, whole.size() - content.size() / 2), {}, ScriptedServer::End::nextRequest};
  }
  static CommandPackage& servedBy(CommandPackage& package, const std::string& host) {
    package.url = "http://" + host + "/spring.zip?id=42";
    return package;
  }

  const std::string zipFile = "temp/ZELMORATevra_tmp/spring.zip";
  const std::string partFile = "temp/ZELMORATevra_tmp/spring.zip_INCOMPLETE";
  const std::string companionFile = "temp/ZELMORATevra_tmp/spring.zip_INCOMPLETE.xml";
};

TEST_F(DownloadJobTest, APackageComesThroughAProxy) {
  CommandPackage package = springPackage("");
  job.write("www/spring.zip", package.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  const auto proxy = ProxyServer::start();
  SKIP_WITHOUT(proxy);
  const JobResult result = job.run(CommandDocument::installPackage()
                                       .proxy(proxy->host(), proxy->port())
                                       .package(servedBy(package, nginx->host()))
                                       .text());
  EXPECT_EQ(result.document(), success);
  expectSpringInstalled();
  EXPECT_TRUE(proxy->wasAskedTo("GET http://" + nginx->host() + "/spring.zip"));
}

TEST_F(DownloadJobTest, APackageComesThroughAProxyThatAsksForAPassword) {
  CommandPackage package = springPackage("");
  job.write("www/spring.zip", package.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  const auto proxy = ProxyServer::start("user", "secret");
  SKIP_WITHOUT(proxy);
  const JobResult result = job.run(CommandDocument::installPackage()
                                       .proxy(proxy->host(), proxy->port(), "user", "secret")
                                       .package(servedBy(package, nginx->host()))
                                       .text());
  EXPECT_EQ(result.document(), success);
  expectSpringInstalled();
  EXPECT_TRUE(proxy->wasAskedTo("CONNECT " + nginx->host()));
}

TEST_F(DownloadJobTest, AProxyThatRefusesThePasswordEndsTheJob) {
  CommandPackage package = springPackage("");
  const auto proxy = ProxyServer::start("user", "secret");
  SKIP_WITHOUT(proxy);
  const JobResult result = job.run(CommandDocument::installPackage()
                                       .proxy(proxy->host(), proxy->port(), "user", "wrong")
                                       .package(servedBy(package, "127.0.0.1"))
                                       .text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 16);
  EXPECT_EQ(result.last.exitCode(), u"1142");
  EXPECT_EQ(job.tree("card"), Tree());
}

TEST_F(DownloadJobTest, AServerWithoutThePackageEndsTheJob) {
  CommandPackage package = springPackage("");
  job.write("www/other.zip", package.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  const JobResult result = job.run(installCommand(servedBy(package, nginx->host()), false));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            terminalDocument(16, {"103", "404", job.path("temp") + "\\ZELMORATevra_tmp\\spring.zip"},
                             {{"exitCode", "1142"},
                              {"downloadPackageID", "42"},
                              {"downloadPackageSize", std::to_string(package.zip.size())},
                              {"downloadPackageOffset", "0"}}));
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
}

TEST_F(DownloadJobTest, AUrlWithoutAQueryIsReported) {
  CommandPackage package = springPackage("http://127.0.0.1/spring.zip");
  const JobResult result = job.run(installCommand(package, false));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1138, "Invalid http path.",
                                             {{"downloadPackageID", "42"},
                                              {"downloadPackageSize", std::to_string(package.zip.size())},
                                              {"downloadPackageOffset", "0"}}));
}

TEST_F(DownloadJobTest, ADownloadGoesOnWhereAKilledJobStopped) {
  CommandPackage package = largePackage(2'000'000);
  const auto server = ScriptedServer::start([&](const std::string& request) -> ScriptedServer::Reply {
    return rangeStart(request) == 0 ? stalledReply(package.zip)
                                    : ScriptedServer::Reply{rangeReply(request, package.zip)};
  });
  SKIP_WITHOUT(server);
  const std::string command = installCommand(servedBy(package, server->host()), false);

  job.start(command);
  const JobResult killed = job.wait([this](const SavedStatus& status) {
    if (status.state == 1) job.kill();
  });
  EXPECT_EQ(killed.signal, SIGKILL);
  const std::size_t arrived = job.read(partFile).size();
  EXPECT_GE(arrived, 131'072U);
  EXPECT_LT(arrived, package.zip.size());
  EXPECT_EQ(job.read(companionFile),
            "<?xml version=\"1.0\" ?>\n<tevra_spring.zip_INCOMPLETE.xml>\n    <md5sum>" + md5Of(package.zip) +
                "</md5sum>\n</tevra_spring.zip_INCOMPLETE.xml>\n");

  EXPECT_EQ(job.run(command).document(), success);
  ASSERT_EQ(server->requests().size(), 2U);
  EXPECT_EQ(rangeStart(server->requests()[1]), arrived);
  EXPECT_EQ(job.read("card/large.bin"), noise(2'000'000, 7));
  expectEmptyWorkFolder();
}

TEST_F(DownloadJobTest, APartOfAnotherVersionOfTheFileIsNotContinued) {
  CommandPackage package = springPackage("");
  const auto server = ScriptedServer::start([&](const std::string& request) -> ScriptedServer::Reply {
    return {rangeReply(request, package.zip)};
  });
  SKIP_WITHOUT(server);
  job.write(partFile, noise(1000, 9));
  job.write(companionFile, "<?xml version=\"1.0\" ?>\n<tevra_spring.zip_INCOMPLETE.xml>\n    <md5sum>" +
                               md5Of("another version") + "</md5sum>\n</tevra_spring.zip_INCOMPLETE.xml>\n");
  const JobResult result = job.run(installCommand(servedBy(package, server->host()), false));
  EXPECT_EQ(result.document(), success);
  ASSERT_EQ(server->requests().size(), 1U);
  EXPECT_EQ(rangeStart(server->requests()[0]), 0U);
  expectSpringInstalled();
}

TEST_F(DownloadJobTest, AnAbortedDownloadIsContinuedByTheNextJob) {
  CommandPackage package = largePackage(2'000'000);
  bool abort = true;
  const auto server = ScriptedServer::start([&](const std::string& request) -> ScriptedServer::Reply {
    if (abort) job.writeAbortFile();
    return {rangeReply(request, package.zip)};
  });
  SKIP_WITHOUT(server);
  const std::string command = installCommand(servedBy(package, server->host()), false);

  const JobResult aborted = job.run(command);
  const std::size_t arrived = job.read(partFile).size();
  const std::string size = std::to_string(package.zip.size());
  const std::string amount = std::to_string(arrived) + " / " + size;
  const std::string percent = std::to_string(
      static_cast<int>(100.0 / static_cast<double>(package.zip.size()) * static_cast<double>(arrived)));
  EXPECT_EQ(aborted.exitValue, 255);
  EXPECT_EQ(aborted.document(), terminalDocument(8, {percent, amount, percent, amount, ""},
                                                 {{"exitCode", "1020"},
                                                  {"downloadPackageID", "42"},
                                                  {"downloadPackageSize", size},
                                                  {"downloadPackageOffset", std::to_string(arrived)}}));
  EXPECT_GE(arrived, 131'072U);
  EXPECT_LT(arrived, package.zip.size());
  EXPECT_FALSE(job.abortFileExists());
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
  EXPECT_TRUE(job.tree("card").empty());

  abort = false;
  EXPECT_EQ(job.run(command).document(), success);
  ASSERT_EQ(server->requests().size(), 2U);
  EXPECT_EQ(rangeStart(server->requests()[1]), arrived);
  expectEmptyWorkFolder();
}

TEST_F(DownloadJobTest, AFileThatAnEarlierJobHasFetchedIsNotFetchedAgain) {
  CommandPackage package = springPackage("http://127.255.255.254/spring.zip?id=42");
  job.write(zipFile, package.zip);
  EXPECT_EQ(job.run(installCommand(package, false)).document(), success);
  expectSpringInstalled();
  expectEmptyWorkFolder();
}

TEST_F(DownloadJobTest, ALongDownloadGoesOnWhileTheFrontEndLives) {
  const SleepingFrontEnd frontEnd;
  CommandPackage package = largePackage(24'000'000);
  const auto server = ScriptedServer::start({{wholeReply(package.zip)}});
  SKIP_WITHOUT(server);
  EXPECT_EQ(job.run(installCommand(servedBy(package, server->host()), false)).document(), success);
  EXPECT_EQ(std::filesystem::file_size(job.path("card/large.bin")), 24'000'000U);
}

TEST_F(DownloadJobTest, ADownloadWhoseFrontEndHasGoneEndsTheProcess) {
  CommandPackage package = largePackage(24'000'000);
  const auto server = ScriptedServer::start({{wholeReply(package.zip)}});
  SKIP_WITHOUT(server);
  job.simulatesMachine = false;
  const std::string command = CommandDocument::installPackage(job.path("flash"), job.path("card"))
                                  .package(servedBy(package, server->host()))
                                  .text();
  const JobResult result = job.runInside(command, [](int argc, const char* const* argv) {
    platform::Machine machine = platform::nativeMachine();
    ProcessesWithoutFrontEnd processes(*machine.processes);
    machine.processes = &processes;
    const platform::ScopedMachine scope(machine);
    return runProcess(argc, argv);
  });
  EXPECT_EQ(result.exitValue, 1);
  EXPECT_EQ(result.last.state, 1) << "no last report is made";
  EXPECT_EQ(job.logLines().back(), "Parent process not running! Exit time!");
  EXPECT_LT(job.read(partFile).size(), package.zip.size());
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(DownloadJobTest, AFullDiskForTheDownloadEndsTheProcess) {
  const SmallDisk disk(job.path("temp"), "4m");
  if (!disk.isMounted()) GTEST_SKIP() << "mounting a small disk takes rights";
  CommandPackage package = largePackage(2'000'000);
  const auto server = ScriptedServer::start([&](const std::string&) -> ScriptedServer::Reply {
    job.write("temp/filler", std::string(4 << 20, 'x'));
    return {wholeReply(package.zip)};
  });
  SKIP_WITHOUT(server);
  const JobResult result = job.run(installCommand(servedBy(package, server->host()), false));
  EXPECT_EQ(result.exitValue, 1);
  EXPECT_EQ(result.document(),
            errorDocument(1133, "An error occurred when trying to write the content downloaded.",
                          {{"FILE", job.path(partFile)},
                           {"PATH_SIZE", "1.91"},
                           {"UNIT", "MB"},
                           {"PATH", job.path("temp")},
                           {"DRIVE", ""},
                           {"downloadPackageID", "42"},
                           {"downloadPackageSize", std::to_string(package.zip.size())},
                           {"downloadPackageOffset", "0"}}));
  EXPECT_EQ(job.logLines().back(), "Abort triggered!");
  EXPECT_TRUE(job.tree("card").empty());
}

}  // namespace
}  // namespace ZelmoraTevra
