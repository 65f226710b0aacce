#include <algorithm>

#include "app/ProcessEntry.h"
#include "core/Base64.h"
#include "platform/ForwardingFileSystem.h"
#include "platform/Machine.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/FakeClock.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {
namespace {

class InstallPackageJobTest : public ProgramTest {};

// The log's lines, with "*" for the seconds.
std::vector<std::string> withoutTime(std::vector<std::string> lines) {
  const std::string prefix = "Backend execution time: ";
  for (std::string& line : lines)
    if (line.starts_with(prefix)) line = prefix + "*";
  return lines;
}

TEST_F(InstallPackageJobTest, APackageFromAWebServerGoesToFlashAndCard) {
  const CommandPackage package = springPackage("");
  job.write("www/spring.zip", package.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  CommandPackage served = package;
  served.url = "http://" + nginx->host() + "/spring.zip?id=42";

  const JobResult result = job.run(
      CommandDocument::installPackage().encoded("IndicatorFileContent", "<action/>").package(served).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.document(), success);
  expectSpringInstalled();
  expectEmptyWorkFolder();
  EXPECT_EQ(job.loggedStates(), (std::vector<std::string>{"statDownloadInProgress", "statPreparing",
                                                          "statInstalllnProgress", "statSuccess"}));
}

TEST_F(InstallPackageJobTest, EveryStatusThatIsSeenIsWhole) {
  const CommandPackage package = springPackage("");
  job.write("www/spring.zip", package.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  CommandPackage served = package;
  served.url = "http://" + nginx->host() + "/spring.zip?id=42";

  const JobResult result = job.run(installCommand(served, false));
  ASSERT_FALSE(result.statuses.empty());
  std::vector<int> states;
  for (const SavedStatus& status : result.statuses) {
    EXPECT_TRUE(status.document.ends_with("</TevraCLI>\n")) << status.document;
    states.push_back(status.state);
    EXPECT_EQ(status.exitCode(), status.state == 0 ? u"1057" : status.state == 9 ? u"1010" : u"");
    EXPECT_EQ(status.descriptions.size() >= 6, status.state == 1 || status.state == 3);
  }
  // A front end may miss some, but sees none in another order.
  const std::vector<int> order = {1, 0, 3, 9};
  auto place = order.begin();
  for (const int state : states) {
    place = std::find(place, order.end(), state);
    ASSERT_NE(place, order.end()) << "state " << state;
  }
}

// Keeps a copy of each status document at the moment when it gets its name.
class StatusKeeper : public platform::ForwardingFileSystem {
 public:
  StatusKeeper(platform::FileSystem& target, const JobProcess& job)
      : ForwardingFileSystem(target), job_(job) {}

  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    const bool renamed = target().rename(from, to, error);
    if (renamed && to.ends_with(u"ud_jobs_tests.xml"))
      job_.write("kept.xml", (job_.exists("kept.xml") ? job_.read("kept.xml") : "") +
                                 job_.read("tmp/ZELMORATevra_tmp/ud_jobs_tests.xml"));
    return renamed;
  }

 private:
  const JobProcess& job_;
};

TEST_F(InstallPackageJobTest, EachStatusOfAGoodJobIsRightByteForByte) {
  job.simulatesMachine = false;
  const JobResult result = job.runInside(CommandDocument::installPackage(job.path("flash"), job.path("card"))
                                             .localInstall()
                                             .package(localSpringPackage())
                                             .text(),
                                         [this](int argc, const char* const* argv) {
                                           platform::Machine machine = platform::nativeMachine();
                                           StatusKeeper files(*machine.files, job);
                                           FakeClock clock;
                                           machine.files = &files;
                                           machine.clock = &clock;
                                           const platform::ScopedMachine scope(machine);
                                           return runProcess(argc, argv);
                                         });
  EXPECT_EQ(result.exitValue, 0);
  const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<jobs_tests>\n";
  const std::string end = "</jobs_tests>\n";
  std::string root = job.path("flash");
  std::replace(root.begin(), root.end(), '/', '\\');
  // The clock stands still, so that of the placement only the first snapshot is due.
  EXPECT_EQ(job.read("kept.xml"), start + "    <stat>0</stat>\n    <exitCode>1057</exitCode>\n" + end +  //
                                      start +
                                      "    <stat>3</stat>\n"
                                      "    <description0>6</description0>\n"
                                      "    <description1>40000 / 640000</description1>\n"
                                      "    <description2>6</description2>\n"
                                      "    <description3>40000 / 640000</description3>\n"
                                      "    <description4>apps/navigator.bin</description4>\n"
                                      "    <description5>" +
                                      root + "\\apps/navigator.bin</description5>\n" + end + start +
                                      "    <stat>9</stat>\n    <exitCode>1010</exitCode>\n"
                                      "    <executionTime>0</executionTime>\n" +
                                      end);
}

TEST_F(InstallPackageJobTest, TheLogTellsTheJobInOrder) {
  const CommandPackage package = localSpringPackage();
  job.run(CommandDocument::installPackage()
              .localInstall()
              .encoded("IndicatorFileContent", "<action/>")
              .package(package)
              .text());
  EXPECT_EQ(withoutTime(job.logLines()),
            (std::vector<std::string>{"Backend started!",
                                      "Command line arguments:",
                                      TEVRA_PROGRAM,
                                      job.argument(),
                                      "Encoded arguments:",
                                      job.path("commands.xml"),
                                      job.path("temp"),
                                      job.path("backups"),
                                      job.path("log.xml"),
                                      "Start reading INSTALL_PACKAGE",
                                      "Spring package: " + package.description.encoded(),
                                      "Created indicator file for: INSTALL_PACKAGE",
                                      "Readed OK INSTALL_PACKAGE",
                                      "Status changed: statPreparing",
                                      "Status changed: statInstalllnProgress",
                                      "Status changed: statSuccess",
                                      "Exit status reported: 9",
                                      "exitCode: 1010",
                                      "Backend execution time: *",
                                      "Backend finish!",
                                      "Deleted indicator file!"}));
}

TEST_F(InstallPackageJobTest, TheIndicatorFileMarksTheDeviceForAsLongAsTheJobLasts) {
  CommandPackage package = springPackage("");
  std::string seen;
  const auto server = ScriptedServer::start([&](const std::string&) -> ScriptedServer::Reply {
    seen = job.read("flash/tevra-action.xml");
    return {wholeReply(package.zip)};
  });
  SKIP_WITHOUT(server);
  package.url = "http://" + server->host() + "/spring.zip?id=42";
  const JobResult result = job.run(CommandDocument::installPackage()
                                       .encoded("IndicatorFileContent", "<action>installing</action>")
                                       .package(package)
                                       .text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(seen, "<action>installing</action>");
  EXPECT_FALSE(job.exists("flash/tevra-action.xml"));
}

TEST_F(InstallPackageJobTest, TheIndicatorFileGoesAfterAFailureToo) {
  job.card.present = false;
  const JobResult result = job.run(CommandDocument::installPackage()
                                       .localInstall()
                                       .encoded("IndicatorFileContent", "<action/>")
                                       .package(localSpringPackage())
                                       .text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
  EXPECT_EQ(job.logLines().back(), "Deleted indicator file!");
}

TEST_F(InstallPackageJobTest, ALocalZipStaysWhereItIs) {
  const CommandPackage package = localSpringPackage();
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  expectSpringInstalled();
  expectEmptyWorkFolder();
  EXPECT_EQ(job.read("spring.zip"), package.zip);
}

TEST_F(InstallPackageJobTest, ALocalZipMayBeNamedInBase64) {
  CommandPackage package = localSpringPackage();
  package.url = encodeBase64(package.url);
  EXPECT_EQ(job.run(installCommand(package, true)).document(), success);
  expectSpringInstalled();
  EXPECT_EQ(job.read("spring.zip"), package.zip);
}

TEST_F(InstallPackageJobTest, ALocalZipThatIsNowhereIsReportedBeforeAnythingRuns) {
  CommandPackage package = localSpringPackage();
  package.url = job.path("missing.zip");
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1245, "Please insert a valid path for the zip!!!"));
}

TEST_F(InstallPackageJobTest, StoragesMayBePlainFolders) {
  job.simulatesMachine = false;
  const JobResult result = job.run(CommandDocument::installPackage(job.path("flash"), job.path("card"))
                                       .localInstall()
                                       .package(localSpringPackage())
                                       .text());
  EXPECT_EQ(result.document(), success);
  expectSpringInstalled();
}

TEST_F(InstallPackageJobTest, WithoutACardEverythingGoesToTheFlashDrive) {
  ZipBuilder zip;
  zip.add("maps/alps.dat", alps);
  CommandPackage package;
  package.zip = zip.bytes();
  package.url = job.path("alps.zip");
  package.description.update("Alps", "anywhere", 300'000).file("maps/alps.dat", "content/alps.dat", alps);
  job.write("alps.zip", package.zip);

  const JobResult result =
      job.run(CommandDocument::installPackage("E:", "").localInstall().package(package).text());
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("flash").at("content/alps.dat"), md5Of(alps));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
            InstallDescription::registerOf(
                {InstallDescription::registerEntry("Alps", "storage_for_software", {"content/alps.dat"})}));
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(InstallPackageJobTest, ASecondInstallationReplacesTheFilesAndTheRegisterEntries) {
  const std::string command = installCommand(localSpringPackage(), true);
  job.write("card/content/maps/alps.dat", "an old map");
  job.write("flash/content/maps/alps.dat", "an old map on the wrong storage");
  EXPECT_EQ(job.run(command).document(), success);
  EXPECT_EQ(job.run(command).document(), success);
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
  EXPECT_EQ(job.read("card/content/maps/alps.dat"), alps);
  EXPECT_FALSE(job.exists("flash/content/maps/alps.dat"));
}

TEST_F(InstallPackageJobTest, UpdatesOfWhichNothingIsLeftAreDroppedFromTheRegister) {
  job.write("flash/games/chess.bin", "here");
  const std::string chess =
      InstallDescription::registerEntry("Chess", "storage_for_software", {"games/chess.bin"});
  const std::string ghost =
      InstallDescription::registerEntry("Ghost", "storage_for_software", {"games/ghost.bin"});
  job.write("flash/ZELMORA/updates.xml", InstallDescription::registerOf({ghost, chess}));

  const JobResult result =
      job.run(installCommand(localPackage("nav.zip", "Navigator", "apps/nav.bin", "content"), true));
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(
      job.read("flash/ZELMORA/updates.xml"),
      InstallDescription::registerOf(
          {chess, InstallDescription::registerEntry("Navigator", "storage_for_software", {"apps/nav.bin"})}));
}

TEST_F(InstallPackageJobTest, ADeviceOfTheOlderLayoutKeepsItsRegisterThere) {
  std::filesystem::remove(job.path("flash/ZELMORA"));
  std::filesystem::create_directory(job.path("flash/KD3"));
  EXPECT_EQ(job.run(installCommand(localSpringPackage(), true)).document(), success);
  EXPECT_EQ(job.read("flash/KD3/updates.xml"), springRegister);
}

TEST_F(InstallPackageJobTest, ADeviceWithoutAPlaceForARegisterIsReported) {
  std::filesystem::remove(job.path("flash/ZELMORA"));
  const JobResult result = job.run(installCommand(localSpringPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1101, "Finding a valid updates.xml file on the device failed!"));
}

TEST_F(InstallPackageJobTest, TwoCommandsRunInDocumentOrder) {
  const CommandPackage first = localPackage("1.zip", "First", "first.bin", "one");
  const CommandPackage second = localPackage("2.zip", "Second", "second.bin", "two");
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {CommandDocument::installPackage().localInstall().package(first).element(),
       CommandDocument::installPackage().localInstall().package(second).element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
            InstallDescription::registerOf(
                {InstallDescription::registerEntry("First", "storage_for_software", {"first.bin"}),
                 InstallDescription::registerEntry("Second", "storage_for_software", {"second.bin"})}));
}

TEST_F(InstallPackageJobTest, ABadSecondCommandKeepsTheFirstOneFromRunning) {
  const CommandPackage package = localPackage("1.zip", "First", "first.bin", "one");
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {CommandDocument::installPackage().localInstall().package(package).element(),
       "<Command CommandName=\"INSTALL_PACKAGE\"/>"}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1029, "Error on reading the install location!"));
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
}

TEST_F(InstallPackageJobTest, AFailedCommandEndsTheSequence) {
  const CommandPackage package = localPackage("2.zip", "Second", "second.bin", "two");
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {CommandDocument::installPackage("Q:").localInstall().package(package).element(),
       CommandDocument::installPackage().localInstall().package(package).element()}));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1095");
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
}

}  // namespace
}  // namespace ZelmoraTevra
