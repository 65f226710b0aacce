#include <algorithm>
#include <filesystem>

#include "core/Globals.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

// Packages whose updates name no storage: they go whole to one, and have numbers and messages of their own.
class OlderPackageJobTest : public ProgramTest {
 protected:
  OlderPackageJobTest() {
    job.write("flash/chess.bin", "a game");
    job.write("flash/ZELMORA/updates.xml", oldRegister);
  }

  // Of two updates that take 30,000 bytes together.
  [[nodiscard]] CommandPackage olderPackage(const std::string& url) const {
    CommandPackage package;
    package.zip = ZipBuilder().add("atlas", atlas).add("guide", guide).bytes();
    package.url = url;
    package.name = "Old package";
    package.description.update("Atlas", "", 20'000)
        .file("atlas", "content/atlas.dat", atlas)
        .update("Guide", "", 10'000)
        .file("guide", "content/guide.dat", guide);
    return package;
  }
  [[nodiscard]] CommandPackage localOlderPackage() const {
    const CommandPackage package = olderPackage(job.path("old.zip"));
    job.write("old.zip", package.zip);
    return package;
  }
  [[nodiscard]] std::string registerWith(const std::string& location) const {
    return InstallDescription::registerOf(
        {chess, InstallDescription::registerEntry("Atlas", location, {"content/atlas.dat"}),
         InstallDescription::registerEntry("Guide", location, {"content/guide.dat"})});
  }
  void expectInstalled(const std::string& storage) const {
    const bool onFlash = storage == "flash";
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
              registerWith(onFlash ? "storage_for_software" : "storage_for_content"));
    EXPECT_EQ(md5Of(job.read(storage + "/content/atlas.dat")), md5Of(atlas));
    EXPECT_EQ(md5Of(job.read(storage + "/content/guide.dat")), md5Of(guide));
    EXPECT_FALSE(job.exists(onFlash ? "card/content" : "flash/content"));
  }
  void expectDeviceUnchanged() const {
    EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                       {"ZELMORA/updates.xml", md5Of(oldRegister)},
                                       {"chess.bin", md5Of("a game")}}));
    EXPECT_TRUE(job.tree("card").empty());
  }
  // Free bytes on the storages as they are before the job.
  void giveRoom(std::int64_t onFlash, std::int64_t onCard) {
    job.flash.capacity =
        static_cast<std::int64_t>(oldRegister.size() + std::string("a game").size()) + onFlash;
    job.card.capacity = onCard;
  }
  static std::string tooLarge(int exitCode, const std::array<std::int64_t, 4>& bytes,
                              const std::string& card = "F:") {
    return terminalDocument(10, {"110"},
                            {{"exitCode", std::to_string(exitCode)},
                             {"DriveName", "E:"},
                             {"DriveNameExternal", card},
                             {"availableSpaceSoftwareStorage", std::to_string(bytes[0])},
                             {"neededSpaceSoftwareStorage", std::to_string(bytes[1])},
                             {"availableSpaceContentStorage", std::to_string(bytes[2])},
                             {"neededSpaceContentStorage", std::to_string(bytes[3])}});
  }

  static constexpr std::int64_t total = 30'000;
  const std::string atlas = noise(20'000, 11);
  const std::string guide = noise(10'000, 12);
  const std::string chess = InstallDescription::registerEntry("Chess", "storage_for_software", {"chess.bin"});
  const std::string oldRegister = InstallDescription::registerOf({chess});
};

TEST_F(OlderPackageJobTest, GoesToTheMainStorageWithStatusesOfAnyInstallation) {
  const CommandPackage package = localOlderPackage();
  const JobResult result = runWatched(job, installCommand(package, true), [](JobWatch&) {});
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  expectInstalled("flash");
  const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<jobs_tests>\n";
  const std::string end = "</jobs_tests>\n";
  ASSERT_EQ(result.statuses.size(), 3U);
  EXPECT_EQ(result.statuses[0].document, start + "    <stat>0</stat>\n    <exitCode>1057</exitCode>\n" + end);
  EXPECT_EQ(result.statuses[1].document, start +
                                             "    <stat>3</stat>\n"
                                             "    <description0>66</description0>\n"
                                             "    <description1>20000 / 30000</description1>\n"
                                             "    <description2>66</description2>\n"
                                             "    <description3>20000 / 30000</description3>\n"
                                             "    <description4>atlas</description4>\n"
                                             "    <description5>E:\\content/atlas.dat</description5>\n" +
                                             end);
  EXPECT_EQ(result.statuses[2].document, start +
                                             "    <stat>9</stat>\n    <exitCode>1010</exitCode>\n"
                                             "    <executionTime>0</executionTime>\n" +
                                             end);
}

TEST_F(OlderPackageJobTest, TheLogTellsTheJobInOrder) {
  const CommandPackage package = localOlderPackage();
  job.run(installCommand(package, true));
  std::vector<std::string> lines = job.logLines();
  for (std::string& line : lines)
    if (line.starts_with("Backend execution time: ")) line = "Backend execution time: *";
  EXPECT_EQ(
      std::vector<std::string>(lines.begin() + 9, lines.end()),
      (std::vector<std::string>{"Start reading INSTALL_PACKAGE",
                                "Old package: " + package.description.encoded(), "Readed OK INSTALL_PACKAGE",
                                "Status changed: statPreparing", "Status changed: statInstalllnProgress",
                                "Status changed: statSuccess", "Exit status reported: 9", "exitCode: 1010",
                                "Backend execution time: *", "Backend finish!"}));
}

TEST_F(OlderPackageJobTest, GoesToTheCardWhereTheMainStorageLacksOneByte) {
  giveRoom(reserveBytes + total - 1, reserveBytes + total);
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  expectInstalled("card");
}

TEST_F(OlderPackageJobTest, GoesToTheMainStorageWhereItFitsExactly) {
  giveRoom(reserveBytes + total, 10 * reserveBytes);
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  expectInstalled("flash");
}

TEST_F(OlderPackageJobTest, TooLittleRoomOnBothIs1279AndNothingIsFetched) {
  giveRoom(reserveBytes + total - 7, reserveBytes + total - 9);
  const JobResult result = job.run(installCommand(olderPackage("http://127.255.255.254/old.zip?1"), false));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), tooLarge(1279, {reserveBytes + total - 7, 7, reserveBytes + total - 9, 9}));
  expectDeviceUnchanged();
  expectEmptyWorkFolder();
}

TEST_F(OlderPackageJobTest, TooLittleRoomWithoutACardIs1107) {
  giveRoom(reserveBytes + total - 7, 0);
  const JobResult result =
      job.run(CommandDocument::installPackage("E:", "").localInstall().package(localOlderPackage()).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), tooLarge(1107, {reserveBytes + total - 7, 7, 0, 0}, ""));
  expectDeviceUnchanged();
}

TEST_F(OlderPackageJobTest, ACardWithoutAnyRoomLacksNoneAndIs1107) {
  giveRoom(reserveBytes + total - 7, 0);
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(),
            tooLarge(1107, {reserveBytes + total - 7, 7, 0, 0}));
  expectDeviceUnchanged();
}

TEST_F(OlderPackageJobTest, WhatItReplacesGivesItsRoomBack) {
  job.write("flash/content/atlas.dat", std::string(5'000, 'o'));
  giveRoom(reserveBytes + total - 5'001, 0);
  *job.flash.capacity += 5'000;
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).last.exitCode(), u"1107");
  EXPECT_EQ(job.read("flash/content/atlas.dat"), std::string(5'000, 'o'));
  *job.flash.capacity += 1;
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  expectInstalled("flash");
}

TEST_F(OlderPackageJobTest, BehindAnotherPackageIs1098AndNothingIsFetched) {
  const CommandPackage first = springPackage("http://127.255.255.254/spring.zip?1");
  const CommandPackage second = olderPackage("http://127.255.255.254/old.zip?1");
  const JobResult result = job.run(CommandDocument::installPackage().package(first).package(second).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1098, "This older package is not first and is not the only one!"));
  expectDeviceUnchanged();
}

TEST_F(OlderPackageJobTest, InFrontOfOthersItIsInstalledAlone) {
  const CommandPackage second = springPackage("http://127.255.255.254/spring.zip?1");
  CommandPackage first = olderPackage("");
  const auto server = ScriptedServer::start({{wholeReply(first.zip)}});
  SKIP_WITHOUT(server);
  first.url = "http://" + server->host() + "/old.zip?1";
  const JobResult result = job.run(CommandDocument::installPackage().package(first).package(second).text());
  EXPECT_EQ(result.document(), success);
  expectInstalled("flash");
  expectEmptyWorkFolder();
}

TEST_F(OlderPackageJobTest, AZipThatDoesNotFitIntoTheTempFolderIs1106) {
  std::string command = installCommand(localOlderPackage(), true);
  const std::size_t start = command.find("<fileSize>") + std::string("<fileSize>").size();
  command.replace(start, command.find('<', start) - start, "4611686018427387904");
  const JobResult result = job.run(command);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"104"}, {{"exitCode", "1106"}, {"PATH", job.path("temp")}, {"DRIVE", ""}}));
  expectDeviceUnchanged();
}

TEST_F(OlderPackageJobTest, ADeviceWithoutAPlaceForTheRegisterIs1108) {
  std::filesystem::remove_all(job.path("flash/ZELMORA"));
  const JobResult result = job.run(installCommand(localOlderPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1108, "Finding a valid updates.xml on the device falied!"));
  EXPECT_EQ(job.tree("flash"), (Tree{{"chess.bin", md5Of("a game")}}));
}

TEST_F(OlderPackageJobTest, AnUpdateThatFailsIs1110AndTheOneBeforeItStays) {
  CommandPackage package = localOlderPackage();
  package.zip = ZipBuilder().add("atlas", atlas).bytes();
  job.write("old.zip", package.zip);
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1110, "Fail to open updates.xml file!Update was not serialized!"));
  EXPECT_EQ(
      job.read("flash/ZELMORA/updates.xml"),
      InstallDescription::registerOf({chess, InstallDescription::registerEntry(
                                                 "Atlas", "storage_for_software", {"content/atlas.dat"})}));
  const std::vector<std::string> lines = job.logLines();
  const auto line =
      std::find(lines.begin(), lines.end(), "An error occured while trying to install an update.");
  ASSERT_LT(line, lines.end() - 3);
  EXPECT_EQ(line[1], job.path("old.zip"));
  EXPECT_EQ(line[2], "E:");
  EXPECT_EQ(line[3], "F:");
}

TEST_F(OlderPackageJobTest, ADownloadThatCantBeDeletedIs1111WithTheRegisterOnTheDevice) {
  CommandPackage package = olderPackage("http://127.255.255.254/old.zip?1");
  job.write("temp/ZELMORATevra_tmp/old.zip", package.zip);
  const JobResult result = runWatched(job, installCommand(package, false), [](JobWatch& watch) {
    watch.keeps = [](const std::string& path) { return path.ends_with("/old.zip"); };
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 7);
  EXPECT_EQ(result.last.exitCode(), u"1111");
  EXPECT_EQ(result.last.descriptions,
            (std::vector<WideText>{u"100", u"The downloaded files could not be deleted!"}));
  EXPECT_EQ(result.last.attributes.at(u"PATH"), toWide(job.path("temp")));
  EXPECT_EQ(result.last.attributes.at(u"DRIVE"), u"");
  expectInstalled("flash");
}

TEST_F(OlderPackageJobTest, AnAbortBeforeThePlacementIsState8WithoutAnExitCode) {
  job.writeAbortFile();
  const JobResult result = job.run(installCommand(localOlderPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(8, {}, {}));
  EXPECT_FALSE(job.abortFileExists());
  expectDeviceUnchanged();
}

TEST_F(OlderPackageJobTest, AnAbortBehindThePlacementIsState8With1020AndTheDownloadGoes) {
  CommandPackage package = olderPackage("http://127.255.255.254/old.zip?1");
  job.write("temp/ZELMORATevra_tmp/old.zip", package.zip);
  const JobResult result = runWatched(job, installCommand(package, false), [this](JobWatch& watch) {
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.state == 3) job.writeAbortFile();
    };
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  expectInstalled("flash");
  expectEmptyWorkFolder();
}

TEST_F(OlderPackageJobTest, AVersionFileThatCantBeCleanedUpIs1074WithTheRegisterOnTheDevice) {
  const std::string gone = InstallDescription::registerEntry(
      "Gone", "storage_for_software", {}, {{"config/version.xml", 3, "config/maps/map", "name/gone"}});
  job.write("flash/ZELMORA/updates.xml", InstallDescription::registerOf({gone}));
  job.write("flash/config/version.xml", "<cut");
  const JobResult result = job.run(installCommand(localOlderPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1074, "The cleanup run process fail!"));
  EXPECT_EQ(
      job.read("flash/ZELMORA/updates.xml"),
      InstallDescription::registerOf(
          {gone, InstallDescription::registerEntry("Atlas", "storage_for_software", {"content/atlas.dat"}),
           InstallDescription::registerEntry("Guide", "storage_for_software", {"content/guide.dat"})}));
  EXPECT_EQ(job.read("flash/config/version.xml"), "<cut");
}

TEST_F(OlderPackageJobTest, IsNotValidated) {
  const std::string command = CommandDocument::installPackage()
                                  .attribute("CheckHashFile", "TRUE")
                                  .localInstall()
                                  .package(localOlderPackage())
                                  .text();
  EXPECT_EQ(job.run(command).document(), success);
  EXPECT_EQ(job.loggedStates(),
            (std::vector<std::string>{"statPreparing", "statInstalllnProgress", "statSuccess"}));
}

TEST_F(OlderPackageJobTest, CanBeUninstalledFromTheCardToWhichItWent) {
  giveRoom(reserveBytes + total - 1, reserveBytes + total);
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  EXPECT_EQ(
      job.run(CommandDocument::uninstallPackage().uninstall("Atlas").uninstall("Guide").text()).document(),
      success);
  EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"}}));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), oldRegister);
}

TEST_F(OlderPackageJobTest, InstalledAgainOnTheOtherStorageLeavesNothingOnTheFirst) {
  giveRoom(reserveBytes + total - 1, reserveBytes + total);
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  job.flash.capacity.reset();
  EXPECT_EQ(job.run(installCommand(localOlderPackage(), true)).document(), success);
  EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"}}));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), registerWith("storage_for_software"));
  EXPECT_EQ(md5Of(job.read("flash/content/atlas.dat")), md5Of(atlas));
}

}  // namespace
}  // namespace ZelmoraTevra
