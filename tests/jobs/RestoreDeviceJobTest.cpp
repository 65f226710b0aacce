#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

// The real program restores a simulated device of flash and card, on which something lies already.
class RestoreDeviceJobTest : public ProgramTest {
 protected:
  RestoreDeviceJobTest() {
    job.write("flash/ZELMORA/updates.xml", InstallDescription::registerOf({InstallDescription::registerEntry(
                                               "Broken", "storage_for_software", {"old/broken.bin"})}));
    job.write("flash/old/broken.bin", "broken");
    job.write("card/content/maps/alps.dat", "an older map");
    before_ = {job.tree("flash"), job.tree("card")};
  }

  // An application and the system, which brings the folder of the register, for the flash drive; two maps for
  // the card.
  [[nodiscard]] CommandPackage systemPackage(const std::string& url) const {
    CommandPackage package;
    package.zip = ZipBuilder()
                      .add("apps/navigator.bin", navigator)
                      .add("maps/alps.dat", alps)
                      .add("maps/iberia.dat", iberia)
                      .add("system/base.bin", system)
                      .bytes();
    package.url = url;
    package.index = "1";
    package.description.update("Navigator", "storage_for_software", 40'000)
        .file("apps/navigator.bin", "apps/navigator.bin", navigator)
        .update("Maps", "storage_for_content", 600'000)
        .file("maps/alps.dat", "content/maps/alps.dat", alps)
        .file("maps/iberia.dat", "content/maps/iberia.dat", iberia)
        .update("System", "storage_for_software", 5000)
        .file("system/base.bin", "ZELMORA/base.bin", system);
    return package;
  }
  [[nodiscard]] CommandPackage localSystemPackage() const {
    CommandPackage package = systemPackage(job.path("system.zip"));
    job.write("system.zip", package.zip);
    return package;
  }
  // The package in the work folder already, as if a job before had fetched it.
  [[nodiscard]] CommandPackage fetchedSystemPackage() const {
    CommandPackage package = systemPackage("http://127.255.255.254/system.zip?id=42");
    job.write("temp/ZELMORATevra_tmp/system.zip", package.zip);
    return package;
  }
  static CommandDocument command(const CommandPackage& package, bool local,
                                 const std::string& name = "RESTORE_DEVICE") {
    return CommandDocument(name)
        .encoded("StorageCardDriveLetter", "E:")
        .encoded("SecondDriveLetter", "F:")
        .localInstall(local)
        .package(package);
  }
  static std::string checkCommand(const CommandPackage& package, bool local) {
    return command(package, local, "CHECK_SIZE_RESTORE_DEVICE").text();
  }
  static CommandDocument validated(const CommandPackage& package, bool local) {
    return command(package, local).attribute("CheckHashFile", "true");
  }

  void expectRestored() const {
    EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                       {"ZELMORA/base.bin", md5Of(system)},
                                       {"ZELMORA/updates.xml", md5Of(systemRegister)},
                                       {"apps", "folder"},
                                       {"apps/navigator.bin", md5Of(navigator)}}));
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), systemRegister);
    EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"},
                                      {"content/maps", "folder"},
                                      {"content/maps/alps.dat", md5Of(alps)},
                                      {"content/maps/iberia.dat", md5Of(iberia)}}));
  }
  void expectUntouched() const {
    EXPECT_EQ(job.tree("flash"), before_[0]);
    EXPECT_EQ(job.tree("card"), before_[1]);
  }
  [[nodiscard]] bool wasLogged(const std::string& line) const {
    const std::vector<std::string> lines = job.logLinesToTheLetter();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  static std::string inTestProgram(std::string document) {
    for (std::size_t at = document.find("TevraCLI"); at != std::string::npos; at = document.find("TevraCLI"))
      document.replace(at, 8, "jobs_tests");
    return document;
  }

  const std::string system = noise(5000, 4);
  const std::string systemRegister = InstallDescription::registerOf(
      {InstallDescription::registerEntry("Navigator", "storage_for_software", {"apps/navigator.bin"}),
       InstallDescription::registerEntry("Maps", "storage_for_content",
                                         {"content/maps/alps.dat", "content/maps/iberia.dat"}),
       InstallDescription::registerEntry("System", "storage_for_software", {"ZELMORA/base.bin"})});

 private:
  std::vector<Tree> before_;
};

TEST_F(RestoreDeviceJobTest, ADeviceIsRestoredFromALocalZipWhichStays) {
  const CommandPackage package = localSystemPackage();
  const JobResult result = job.run(command(package, true).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.loggedStates(),
            (std::vector<std::string>{"statPreparing", "statInstalllnProgress", "statSuccess"}));
  expectRestored();
  EXPECT_EQ(job.read("system.zip"), package.zip);
  EXPECT_TRUE(wasLogged("FORMAT START primary: E:secondary: F:"));
  EXPECT_NE(job.read("machine.xml").find("label=\"ZELMORASD\""), std::string::npos);
  expectEmptyWorkFolder();
}

TEST_F(RestoreDeviceJobTest, ADeviceIsRestoredFromAServer) {
  const auto server = NginxServer::start(job.path(""));
  SKIP_WITHOUT(server);
  const CommandPackage package = systemPackage("http://" + server->host() + "/system.zip?id=42");
  job.write("system.zip", package.zip);
  const JobResult result = job.run(validated(package, false).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.loggedStates(),
            (std::vector<std::string>{"statDownloadInProgress", "statPreparing", "statInstalllnProgress",
                                      "statHaskValidation", "statSuccess"}));
  expectRestored();
  expectEmptyWorkFolder();
}

TEST_F(RestoreDeviceJobTest, ADownloadThatIsNotThePackageLeavesTheDevice) {
  const auto server = NginxServer::start(job.path(""));
  SKIP_WITHOUT(server);
  CommandPackage package = systemPackage("http://" + server->host() + "/system.zip?id=42");
  std::string other = package.zip;
  other[other.size() / 2] = static_cast<char>(other[other.size() / 2] ^ 1);
  job.write("system.zip", other);
  const JobResult result = job.run(command(package, false).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1146");
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest, ALocalZipThatIsDamagedLeavesTheDevice) {
  CommandPackage package = localSystemPackage();
  std::string damaged = package.zip;
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 1);
  job.write("system.zip", damaged);
  const JobResult result = job.run(command(package, true).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1252, "Install file is invalid! Contact customer support."));
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest,
       TheIndicatorFileIsThereBeforeTheFormatAndWhileThePackagesArePlacedAndGoesWithTheJob) {
  const std::string text = command(localSystemPackage(), true).encoded("IndicatorFileContent", "busy").text();
  const JobResult result = runWatched(job, text, [&](JobWatch& watch) {
    watch.onStatus = [&](const SavedStatus&) {
      job.write("seen", job.read("seen") + job.read("flash/tevra-action.xml") + ";");
    };
  });
  EXPECT_EQ(result.last.exitCode(), u"1010");
  EXPECT_EQ(job.read("seen"), "<missing>busy;busy;busy;");
  EXPECT_FALSE(job.exists("flash/tevra-action.xml"));
  EXPECT_TRUE(wasLogged("Deleted indicator file!"));
}

TEST_F(RestoreDeviceJobTest, StoragesThatKeepTheirFormatAreCleared) {
  job.makesMachine = true;
  std::string text = command(localSystemPackage(), true).text();
  for (const std::string element : {"<StorageCardDriveLetter", "<SecondDriveLetter"})
    text.insert(text.find(element) + element.size(), " DisableFormat=\"true\"");
  EXPECT_EQ(job.run(text).document(), success);
  expectRestored();
  EXPECT_EQ(job.read("machine.xml").find("label=\"ZELMORASD\""), std::string::npos);
}

TEST_F(RestoreDeviceJobTest, PlainFoldersCanBeRestoredWhereTheirFormatIsDisabledElseItIs1260) {
  job.simulatesMachine = false;
  const CommandPackage package = localSystemPackage();
  std::string text = CommandDocument("RESTORE_DEVICE")
                         .encoded("StorageCardDriveLetter", job.path("flash"))
                         .encoded("SecondDriveLetter", job.path("card"))
                         .localInstall()
                         .package(package)
                         .text();
  EXPECT_EQ(job.run(text).document(),
            errorDocument(1260, "An error occurred when try to format your device. Please retry."));
  expectUntouched();
  for (const std::string element : {"<StorageCardDriveLetter", "<SecondDriveLetter"})
    text.insert(text.find(element) + element.size(), " DisableFormat=\"true\"");
  EXPECT_EQ(job.run(text).document(), success);
  expectRestored();
}

TEST_F(RestoreDeviceJobTest, AnAbortBeforeTheFormatLeavesTheDevice) {
  const std::string text = command(localSystemPackage(), true).text();
  job.writeAbortFile();
  const JobResult result = job.run(text);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(8, {}, {}));
  EXPECT_FALSE(job.abortFileExists());
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest, AnAbortAtTheEndIs1020) {
  const JobResult result =
      runWatched(job, validated(localSystemPackage(), true).text(), [this](JobWatch& watch) {
        watch.onStatus = [this](const SavedStatus& status) {
          if (status.state == 17 && status.exitCode() == u"1266") job.writeAbortFile();
        };
      });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), inTestProgram(terminalDocument(8, {}, {{"exitCode", "1020"}})));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), systemRegister);
}

TEST_F(RestoreDeviceJobTest, TheStatusesComeInTheirOrder) {
  const JobResult result = runWatched(job, validated(fetchedSystemPackage(), false).text(), [](JobWatch&) {});
  std::vector<std::pair<int, WideText>> reports;
  for (const SavedStatus& status : result.statuses) reports.emplace_back(status.state, status.exitCode());
  EXPECT_EQ(
      reports,
      (std::vector<std::pair<int, WideText>>{
          {0, u"1057"}, {3, u""}, {17, u"1266"}, {17, u""}, {17, u""}, {17, u""}, {17, u""}, {9, u"1010"}}));
  expectEmptyWorkFolder();
}

TEST_F(RestoreDeviceJobTest, FilesThatWereDamagedAre1289WithTheirNames) {
  const JobResult result =
      runWatched(job, validated(fetchedSystemPackage(), false).text(), [this](JobWatch& watch) {
        watch.onStatus = [this](const SavedStatus& status) {
          if (status.exitCode() != u"1266") return;
          job.write("flash/apps/navigator.bin", "damaged");
          job.write("card/content/maps/iberia.dat", "");
        };
      });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            inTestProgram(terminalDocument(
                7, {"100"},
                {{"exitCode", "1289"}, {"fileName", "E:/apps/navigator.bin; F:/content/maps/iberia.dat"}})));
  for (const std::string& line :
       {std::string("!!!VALIDATION PHASE: 2 md5 not match! Files: "),
        std::string("File: E:/apps/navigator.bin"), "Local md5: " + md5Of(navigator),
        "Device md5: " + md5Of("damaged"), std::string("File: F:/content/maps/iberia.dat"),
        "Local md5: " + md5Of(iberia), "Device md5: " + md5Of("")})
    EXPECT_TRUE(wasLogged(line)) << line;
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), systemRegister);
  // The same job puts it right.
  EXPECT_EQ(job.run(validated(fetchedSystemPackage(), false).text()).document(), success);
  expectRestored();
}

TEST_F(RestoreDeviceJobTest, ADeviceThatIsTooSmallIsToldBeforehandAndLeftAsItIs) {
  job.flash.capacity = 30'000'000;
  job.card.capacity = 10'900'000;
  const CommandPackage package = localSystemPackage();
  const std::int64_t content = 600'000 + 2 * (32'768 - 300'000 % 32'768);
  const std::int64_t software = 45'000 + (32'768 - 40'000 % 32'768) + (32'768 - 5000);
  std::map<std::string, std::string> attributes = {{"DriveName", "E:"},
                                                   {"DriveNameExternal", "F:"},
                                                   {"availableSpaceSoftwareStorage", "30000000"},
                                                   {"availableSpaceContentStorage", "10900000"},
                                                   {"neededSpaceSoftwareStorage", std::to_string(software)},
                                                   {"neededSpaceContentStorage", std::to_string(content)},
                                                   {"exitCode", "1276"}};
  EXPECT_EQ(job.run(command(package, true).text()).document(), terminalDocument(10, {"110"}, attributes));
  attributes["exitCode"] = "1272";
  attributes["availableSpacePostInstSoftwareStorage"] = std::to_string(30'000'000 - software);
  attributes["availableSpacePostInstContentStorage"] = std::to_string(10'900'000 - content);
  EXPECT_EQ(job.run(checkCommand(package, true)).document(), terminalDocument(10, {"110"}, attributes));
  expectUntouched();

  job.card.capacity = 30'000'000;
  attributes.erase("DriveName");
  attributes.erase("DriveNameExternal");
  attributes["exitCode"] = "1264";
  attributes["availableSpaceContentStorage"] = "30000000";
  attributes["availableSpacePostInstContentStorage"] = std::to_string(30'000'000 - content);
  const JobResult result = job.run(checkCommand(package, true));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), terminalDocument(11, {}, attributes));
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest, ARestoreIsCheckedAndThenDoneInOneJob) {
  const CommandPackage package = localSystemPackage();
  const std::string text = CommandDocument::sequenceOf(
      {command(package, true, "CHECK_SIZE_RESTORE_DEVICE").element(), command(package, true).element()});
  EXPECT_EQ(job.run(text).document(), success);
  expectRestored();
}

TEST_F(RestoreDeviceJobTest, ABadParameterStopsTheJobBeforeAnythingIsTouched) {
  CommandPackage package = localSystemPackage();
  package.index.clear();
  const JobResult result = job.run(command(package, true).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1242, "Error on reading the content information!"));
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest, AFormatThatFailsIs1255) {
  job.makesMachine = false;
  job.write("machine.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<machine><node id="USB\A"><node id="USBSTOR\ZELMORA&amp;0"><volume letter="E" folder="flash" formatFails="FAT,FAT32"/>
</node><node id="USBSTOR\ZELMORA&amp;1"><volume letter="F" folder="card"/></node></node></machine>)");
  const JobResult result = job.run(command(localSystemPackage(), true).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(7, {"100"}, {{"exitCode", "1255"}}));
  expectUntouched();
}

TEST_F(RestoreDeviceJobTest, AJobThatIsKilledWhileItPlacesIsPutRightByTheNext) {
  const CommandPackage package = fetchedSystemPackage();
  const std::string text = command(package, false).text();
  // Dies ever later, until a job comes to its end.
  int killed = 0;
  for (int operation = 1;; operation += 7) {
    const JobResult result = runWatched(job, text, [operation](JobWatch& watch) {
      watch.files.before = [operation](int number, const std::string&) {
        if (number == operation) ::_exit(9);
      };
    });
    if (result.exitValue == 0) break;
    ++killed;
    // A job that died behind the removal of its download leaves the next one without it.
    if (!job.exists("temp/ZELMORATevra_tmp/system.zip")) static_cast<void>(fetchedSystemPackage());
  }
  EXPECT_GT(killed, 3);
  expectRestored();
  static_cast<void>(fetchedSystemPackage());
  EXPECT_EQ(job.run(text).document(), success);
  expectRestored();
}

}  // namespace
}  // namespace ZelmoraTevra
