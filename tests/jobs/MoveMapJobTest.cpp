#include <algorithm>
#include <filesystem>

#include "core/Globals.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/SmallVolume.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

constexpr std::int64_t cluster = 32'768;

// Installations that lack room on the main storage, where a map can be moved to the card.
class MoveMapJobTest : public ProgramTest {
 protected:
  MoveMapJobTest() {
    job.write("flash/" + alpsFile, alpsMap);
    job.write("flash/ZELMORA/updates.xml", registerWith("storage_for_software", {}));
  }

  // What the register says of the map, and what an installation adds to it.
  [[nodiscard]] static std::string registerWith(const std::string& location,
                                                const std::vector<std::string>& added) {
    std::vector<std::string> entries = {InstallDescription::registerEntry("Alps map", location, {alpsFile})};
    entries.insert(entries.end(), added.begin(), added.end());
    return InstallDescription::registerOf(entries);
  }
  static std::string navigatorEntry(const std::string& location = "storage_for_software") {
    return InstallDescription::registerEntry("Navigator", location, {"apps/navigator.bin"});
  }

  // An application for the main storage, or, of an older package, for where it fits.
  [[nodiscard]] CommandPackage package(const std::string& location) const {
    CommandPackage package;
    package.zip = ZipBuilder().add("nav", navigator).bytes();
    package.url = job.path("nav.zip");
    package.description.update("Navigator", location, static_cast<std::int64_t>(navigator.size()))
        .file("nav", "apps/navigator.bin", navigator);
    job.write("nav.zip", package.zip);
    return package;
  }
  [[nodiscard]] CommandPackage located() const { return package("storage_for_software"); }
  [[nodiscard]] CommandPackage older() const { return package(""); }
  static CommandDocument command(const std::string& name, const CommandPackage& package,
                                 const std::string& card = "F:") {
    CommandDocument document(name);
    document.encoded("StorageCardDriveLetter", "E:");
    if (!card.empty()) document.encoded("SecondDriveLetter", card);
    return document.localInstall().package(package);
  }
  static CommandDocument install(const CommandPackage& package, const std::string& card = "F:") {
    return command("INSTALL_PACKAGE", package, card);
  }
  static CommandDocument check(const CommandPackage& package, const std::string& card = "F:") {
    return command("CHECK_SIZE", package, card);
  }

  // Free bytes on a storage as it is now.
  void giveRoom(std::int64_t onFlash, std::int64_t onCard) {
    job.flash.capacity = usedBytes("flash") + onFlash;
    job.card.capacity = usedBytes("card") + onCard;
  }
  [[nodiscard]] std::int64_t usedBytes(const std::string& storage) const {
    std::int64_t sum = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(job.path(storage)))
      if (entry.is_regular_file()) sum += static_cast<std::int64_t>(entry.file_size());
    return sum;
  }
  // The lines that tell of maps, over all jobs so far.
  [[nodiscard]] std::vector<std::string> mapLines() const {
    std::vector<std::string> lines = job.logLines();
    std::erase_if(lines, [](const std::string& line) {
      return line.find("MAP") == std::string::npos && line.find("map") == std::string::npos &&
             line.find("Map") == std::string::npos;
    });
    std::erase_if(lines, [](const std::string& line) {
      return line.starts_with("Package: ") || line.find("log.xml") != std::string::npos ||
             line.ends_with("/TevraCLI");  // the program may lie anywhere
    });
    return lines;
  }
  static std::vector<std::string> movedLines(const std::string& first) {
    return {first, "FOUND map on primary! Path: E:/" + alpsFile, "Transfer map SUCCEEDED!",
            "Map entry FOUND in update xml file!", "MOVE MAP ENDED!"};
  }
  void expectMoved(const std::string& expectedRegister) const {
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), expectedRegister);
    EXPECT_FALSE(job.exists("flash/" + alpsFile));
    EXPECT_EQ(md5Of(job.read("card/" + alpsFile)), md5Of(alpsMap));
    EXPECT_FALSE(job.exists("card/.TevraTemporaryLocation"));
  }
  void expectNotMoved() const {
    EXPECT_EQ(md5Of(job.read("flash/" + alpsFile)), md5Of(alpsMap));
    EXPECT_TRUE(job.tree("card").empty());
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), registerWith("storage_for_software", {}));
    EXPECT_FALSE(job.exists("flash/apps"));
  }
  // Of an installation, with the amounts for flash and card: available, missing, available afterwards.
  static std::string tooLarge(int exitCode, const std::array<std::int64_t, 6>& bytes,
                              const std::string& card = "F:") {
    std::map<std::string, std::string> attributes = {
        {"exitCode", std::to_string(exitCode)},
        {"DriveName", "E:"},
        {"DriveNameExternal", card},
        {"availableSpaceSoftwareStorage", std::to_string(bytes[0])},
        {"neededSpaceSoftwareStorage", std::to_string(bytes[1])},
        {"availableSpacePostInstSoftwareStorage", std::to_string(bytes[2])},
        {"availableSpaceContentStorage", std::to_string(bytes[3])},
        {"neededSpaceContentStorage", std::to_string(bytes[4])},
        {"availableSpacePostInstContentStorage", std::to_string(bytes[5])}};
    return terminalDocument(10, {"110"}, attributes);
  }

  static inline const std::string alpsFile = "ZELMORA/map/alps.map";
  const std::string alpsMap = noise(2'500'000, 31);
  // What the application takes of the main storage: its bytes and what they waste of a cluster.
  const std::int64_t bytes = static_cast<std::int64_t>(navigator.size());
  const std::int64_t demand = bytes + cluster - bytes % cluster;
};

TEST_F(MoveMapJobTest, AMapGoesToTheCardSoThatThePackageFits) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = job.run(install(located()).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
  EXPECT_EQ(md5Of(job.read("flash/apps/navigator.bin")), md5Of(navigator));
  EXPECT_EQ(mapLines(), movedLines("START RUNNING MOVE MAP"));
  EXPECT_EQ(job.tree("card"),
            (Tree{{"ZELMORA", "folder"}, {"ZELMORA/map", "folder"}, {alpsFile, md5Of(alpsMap)}}));
  expectEmptyWorkFolder();
}

TEST_F(MoveMapJobTest, TheMoveIsReportedAsAnInstallationBeforeThePreparing) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = runWatched(job, install(located()).text(), [](JobWatch&) {});
  ASSERT_EQ(result.statuses.size(), 4U);
  EXPECT_EQ(result.statuses[0].document,
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<jobs_tests>\n    <stat>3</stat>\n"
            "    <description0>41</description0>\n    <description1>1048576 / 2500000</description1>\n"
            "    <description2>41</description2>\n    <description3>1048576 / 2500000</description3>\n"
            "    <description4>E:/ZELMORA/map/alps.map</description4>\n"
            "    <description5>F:/ZELMORA/map/alps.map</description5>\n</jobs_tests>\n");
  EXPECT_EQ(result.statuses[1].state, 0);
  EXPECT_EQ(result.statuses[1].exitCode(), u"1057");
  EXPECT_EQ(result.statuses[2].state, 3);
  EXPECT_EQ(result.statuses[2].descriptions[1], u"40000 / 40000");
  EXPECT_EQ(result.statuses[3].exitCode(), u"1010");
}

TEST_F(MoveMapJobTest, ForAnOlderPackageItGoesUnderALogLineOfItsOwn) {
  // The card takes the map but not the package.
  CommandPackage package = older();
  package.description = InstallDescription();
  package.description.update("Navigator", "", 4'000'000).file("nav", "apps/navigator.bin", navigator);
  giveRoom(reserveBytes + 4'000'000 - 1, reserveBytes + 3'000'000);
  EXPECT_EQ(job.run(install(package).text()).document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
  EXPECT_EQ(md5Of(job.read("flash/apps/navigator.bin")), md5Of(navigator));
  EXPECT_EQ(mapLines(), movedLines("START RUNNING MOVE MAP - OLD CONTENT FOUND"));
}

TEST_F(MoveMapJobTest, TheSizeCheckBeforeItPromisesThat) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = job.run(check(located()).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.state, 11);
  EXPECT_EQ(result.last.exitCode(), u"1159");
  EXPECT_EQ(result.last.attributes.at(u"neededSpaceSoftwareStorage"), u"1");
  EXPECT_EQ(mapLines(), (std::vector<std::string>{"START CHECKING IF MOVE MAP CAN BE APPLY",
                                                  "MOVE MAP CAN BE PERFORM. MAP: E:\\ZELMORA\\map\\alps.map",
                                                  "MOVE MAP ENDED!"}));
  expectNotMoved();
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
  // With the map on the card the same package fits by itself.
  EXPECT_EQ(job.run(check(located()).text()).last.attributes.at(u"neededSpaceSoftwareStorage"), u"0");
}

TEST_F(MoveMapJobTest, TheSizeCheckOfAnOlderPackagePromisesItToo) {
  CommandPackage package = older();
  package.description = InstallDescription();
  package.description.update("Navigator", "", 4'000'000).file("nav", "apps/navigator.bin", navigator);
  giveRoom(reserveBytes + 4'000'000 - 1, reserveBytes + 3'000'000);
  const JobResult result = job.run(check(package).text());
  EXPECT_EQ(result.last.state, 11);
  EXPECT_EQ(result.last.exitCode(), u"1160");
  expectNotMoved();
  EXPECT_EQ(job.run(install(package).text()).document(), success);
}

TEST_F(MoveMapJobTest, CheckAndInstallationMayBeOneJob) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result =
      job.run(CommandDocument::sequenceOf({check(located()).element(), install(located()).element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.exitCode(), u"1010");
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, ACommandThatForbidsItReportsWhatLacks) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  for (const char* name : {"CHECK_SIZE", "INSTALL_PACKAGE"}) {
    const bool installs = name == std::string("INSTALL_PACKAGE");
    const JobResult result = job.run(command(name, located()).attribute("NotRunMoveMap", "true").text());
    EXPECT_EQ(result.exitValue, installs ? 255 : 0);
    EXPECT_EQ(result.document(),
              tooLarge(installs ? 1100 : 1042, {reserveBytes + demand - 1, 1, reserveBytes - 1,
                                                2 * reserveBytes, 0, 2 * reserveBytes}));
    expectNotMoved();
  }
  EXPECT_TRUE(mapLines().empty());
}

TEST_F(MoveMapJobTest, OnlyTheWordInSmallLettersForbidsIt) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(located()).attribute("NotRunMoveMap", "TRUE").text()).document(), success);
}

TEST_F(MoveMapJobTest, AnOlderPackageThatMayNotMoveAMapIs1279) {
  CommandPackage package = older();
  package.description = InstallDescription();
  package.description.update("Navigator", "", 4'000'000).file("nav", "apps/navigator.bin", navigator);
  giveRoom(reserveBytes + 4'000'000 - 1, reserveBytes + 3'000'000);
  const JobResult result = job.run(install(package).attribute("NotRunMoveMap", "true").text());
  EXPECT_EQ(result.last.exitCode(), u"1279");
  EXPECT_EQ(result.last.attributes.at(u"neededSpaceSoftwareStorage"), u"1");
  EXPECT_EQ(result.last.attributes.at(u"neededSpaceContentStorage"), u"1000000");
  expectNotMoved();
}

TEST_F(MoveMapJobTest, AMapAmongThePackagesFilesKeepsEveryMapWhereItIs) {
  CommandPackage package = located();
  package.description.update("New map", "storage_for_content", 2'000)
      .file("nav", "ZELMORA\\map\\new.map", "n");
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = job.run(install(package).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 10);
  EXPECT_EQ(result.last.exitCode(), u"1100");
  expectNotMoved();
  EXPECT_TRUE(mapLines().empty());
}

TEST_F(MoveMapJobTest, SoDoesOneThatIsOnlyDeleted) {
  job.write("flash/old/gone.map", "m");
  CommandPackage package = located();
  package.description.file("nav", "old", "", 8);
  giveRoom(reserveBytes + demand - 100, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(package).text()).last.exitCode(), u"1100");
  expectNotMoved();
}

TEST_F(MoveMapJobTest, AnEndingInCapitalsIsNoMap) {
  CommandPackage package = located();
  package.description.file("nav", "ZELMORA/map/NEW.MAP", "n", 1);
  giveRoom(reserveBytes + demand, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(package).text()).document(), success);
  EXPECT_EQ(md5Of(job.read("card/" + alpsFile)), md5Of(alpsMap));
}

TEST_F(MoveMapJobTest, WithoutACardNothingIsMoved) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = job.run(install(located(), "").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), tooLarge(1100, {reserveBytes + demand - 1, 1, reserveBytes - 1, 0, 0, 0}, ""));
  expectNotMoved();
  EXPECT_TRUE(mapLines().empty());
}

TEST_F(MoveMapJobTest, WithoutAMapThatIsLargeEnoughItIsTheReportOfTooLittleRoom) {
  giveRoom(reserveBytes + demand - static_cast<std::int64_t>(alpsMap.size()), 2 * reserveBytes);
  const JobResult result = job.run(install(located()).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1100");
  EXPECT_EQ(result.last.attributes.at(u"neededSpaceSoftwareStorage"), u"2500000");
  expectNotMoved();
  EXPECT_EQ(mapLines(), (std::vector<std::string>{"START RUNNING MOVE MAP",
                                                  "Optimal map NOT FOUND on primary!", "MOVE MAP ENDED!"}));
  // One byte less lacks, and the map is enough.
  *job.flash.capacity += 1;
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
}

TEST_F(MoveMapJobTest, ACardWithoutTheReserveBehindTheMapTakesNone) {
  giveRoom(reserveBytes + demand - 1, reserveBytes + static_cast<std::int64_t>(alpsMap.size()));
  EXPECT_EQ(job.run(install(located()).text()).last.exitCode(), u"1100");
  expectNotMoved();
  *job.card.capacity += 1;
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, TheSmallestMapThatIsEnoughGoesAndTheOthersStay) {
  job.write("flash/ZELMORA/map/small.map", std::string(10'000, 's'));
  job.write("flash/ZELMORA/map/right.map", std::string(60'000, 'r'));
  giveRoom(reserveBytes + demand - 20'000, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  EXPECT_EQ(md5Of(job.read("card/ZELMORA/map/right.map")), md5Of(std::string(60'000, 'r')));
  EXPECT_EQ(job.tree("card").size(), 3U);
  EXPECT_FALSE(job.exists("flash/ZELMORA/map/right.map"));
  EXPECT_EQ(md5Of(job.read("flash/" + alpsFile)), md5Of(alpsMap));
  const std::vector<std::string> lines = mapLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "Map entry NOT FOUND in updates xml file!"), lines.end());
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), registerWith("storage_for_software", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, WhereTheCardLacksRoomForTheContentTheMapIsMovedInVainAndStaysMoved) {
  // A folder that the package deletes gives its room back once, though all is reckoned twice.
  const std::int64_t deleted = 60'000;
  job.write("flash/old/a.dat", std::string(30'000, 'o'));
  job.write("flash/old/deep/b.dat", std::string(30'000, 'o'));
  CommandPackage package = located();
  package.description.file("nav", "old", "", 8);
  const std::int64_t content = 3'000'000;
  package.description.update("Maps", "storage_for_content", content - cluster + 1)
      .file("nav", "content/maps.dat", "m");
  giveRoom(reserveBytes + demand - deleted - 1, reserveBytes + content);
  const JobResult result = job.run(install(package).text());
  EXPECT_EQ(result.exitValue, 255);
  const std::int64_t map = static_cast<std::int64_t>(alpsMap.size());
  // The register grew by what "content" is shorter than "software".
  const std::int64_t registerChange =
      static_cast<std::int64_t>(registerWith("storage_for_content", {}).size()) -
      static_cast<std::int64_t>(registerWith("storage_for_software", {}).size());
  const std::int64_t freeOnFlash = reserveBytes + demand - deleted - 1 + map - registerChange;
  EXPECT_EQ(result.last.exitCode(), u"1274");
  EXPECT_EQ(result.document(), tooLarge(1274, {freeOnFlash, 0, freeOnFlash - demand + deleted,
                                               reserveBytes + content - map, map, reserveBytes - map}));
  expectMoved(registerWith("storage_for_content", {}));
  EXPECT_FALSE(job.exists("flash/apps"));
}

TEST_F(MoveMapJobTest, AMapThatTheCardHasAlreadyIsNotCopiedAgain) {
  job.write("card/" + alpsFile, alpsMap);
  giveRoom(reserveBytes + demand - 1, 1000);
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, AnotherFileUnderItsNameOnTheCardIsNeverReplaced) {
  job.write("card/" + alpsFile, "the user's own");
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(located()).text()).last.exitCode(), u"1100");
  EXPECT_EQ(job.read("card/" + alpsFile), "the user's own");
  EXPECT_EQ(md5Of(job.read("flash/" + alpsFile)), md5Of(alpsMap));
}

TEST_F(MoveMapJobTest, ACardThatCanNotBeWrittenToIsReportedBeforeIt) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  job.card.readOnly = true;
  EXPECT_EQ(job.run(install(located()).text()).last.exitCode(), u"1172");
  expectNotMoved();
}

TEST_F(MoveMapJobTest, ADeviceThatHasGoneBehindTheMoveIs1095And1172ForItsCard) {
  const std::vector<std::pair<std::string, std::u16string>> cases = {{"flash", u"1095"}, {"card", u"1172"}};
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  for (const auto& [storage, exitCode] : cases) {
    const JobResult result = runWatched(job, install(located()).text(), [this, &storage](JobWatch& watch) {
      watch.onNamed = [this, &storage](const std::string& path) {
        // The register has been told of the map, and the next thing is its removal.
        if (path == "E:/ZELMORA/updates.xml") std::filesystem::rename(job.path(storage), job.path("pulled"));
      };
    });
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.last.exitCode(), exitCode);
    EXPECT_FALSE(job.exists(storage));
    std::filesystem::rename(job.path("pulled"), job.path(storage));
    EXPECT_EQ(md5Of(job.read("card/" + alpsFile)), md5Of(alpsMap));
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), registerWith("storage_for_content", {}));
    // Once more for the other storage.
    std::filesystem::remove_all(job.path("card/ZELMORA"));
    job.write("flash/" + alpsFile, alpsMap);
    job.write("flash/ZELMORA/updates.xml", registerWith("storage_for_software", {}));
  }
}

TEST_F(MoveMapJobTest, AnAbortInTheCopyIsState8With1020AndNothingHasChanged) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  job.writeAbortFile();
  const JobResult result = job.run(install(located()).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(8, {}, {{"exitCode", "1020"}}));
  EXPECT_FALSE(job.abortFileExists());
  expectNotMoved();
  EXPECT_EQ(mapLines(),
            (std::vector<std::string>{"START RUNNING MOVE MAP", "FOUND map on primary! Path: E:/" + alpsFile,
                                      "Transfer map FAIL! Copy error!", "MOVE MAP ENDED!"}));
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, SoIsAnAbortOfAnOlderPackageAtItsLastBlock) {
  CommandPackage package = older();
  package.description = InstallDescription();
  package.description.update("Navigator", "", 4'000'000).file("nav", "apps/navigator.bin", navigator);
  giveRoom(reserveBytes + 4'000'000 - 1, reserveBytes + 3'000'000);
  const JobResult result = runWatched(job, install(package).text(), [this](JobWatch& watch) {
    watch.files.before = [this](int, const std::string& operation) {
      // Behind each of the map's blocks.
      if (operation != "flush") return;
      const std::string blocks = job.exists("blocks") ? job.read("blocks") + "x" : "x";
      job.write("blocks", blocks);
      if (blocks.size() == 3) job.writeAbortFile();
    };
  });
  EXPECT_EQ(job.read("blocks"), "xxx");
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_TRUE(result.last.descriptions.empty());
  expectNotMoved();
}

TEST_F(MoveMapJobTest, AnAbortFileThatSaysNoDoesNotStopTheCopy) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  const JobResult result = runWatched(job, install(located()).text(), [this](JobWatch& watch) {
    watch.files.before = [this](int, const std::string& operation) {
      if (operation == "flush")
        job.write("tmp/ZELMORATevra_tmp/ud_jobs_tests_abort.xml",
                  "<tevraCLIAbortSequence><Command><abortFlag>false</abortFlag></Command>"
                  "</tevraCLIAbortSequence>");
    };
  });
  // Later the file is a wish to abort whatever it says: the copy has taken away those that came before.
  EXPECT_EQ(result.exitValue, 0) << result.last.document;
  expectMoved(registerWith("storage_for_content", {navigatorEntry()}));
}

TEST_F(MoveMapJobTest, WhatAMoveThatWasCutOffHasLeftGoesWithTheNextJob) {
  job.write("card/.TevraTemporaryLocation/temp_file_incomplete", std::string(1'000'000, 'm'));
  giveRoom(reserveBytes + demand, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  EXPECT_TRUE(job.tree("card").empty());
}

TEST_F(MoveMapJobTest, TheStoragesMayBeSpelledInOtherWays) {
  const std::vector<std::pair<std::string, std::string>> spellings = {
      {"e:", "f:"}, {"E:\\", "F:\\"}, {"E:/", "F:/"}, {job.path("flash"), job.path("card/")}};
  job.write("flash/config/settings.xml", "<config />\n");
  giveRoom(reserveBytes + demand - 1'000, 2 * reserveBytes);
  CommandPackage package = located();
  package.description.xmlEntry("config/settings.xml", 3, "config/skin", "name/red", {"name/red"});
  for (const auto& [flash, card] : spellings) {
    SCOPED_TRACE(flash);
    EXPECT_EQ(job.run(CommandDocument::installPackage(flash, card)
                          .attribute("CheckHashFile", "true")
                          .localInstall()
                          .package(package)
                          .text())
                  .document(),
              success);
    EXPECT_FALSE(job.exists("flash/" + alpsFile));
    EXPECT_EQ(md5Of(job.read("card/" + alpsFile)), md5Of(alpsMap));
    EXPECT_NE(job.read("flash/config/settings.xml"), "<config />\n");
    EXPECT_EQ(
        job.run(CommandDocument::uninstallPackage(flash, card).uninstall("Navigator").text()).document(),
        success);
    EXPECT_EQ(job.read("flash/config/settings.xml"), "<config />\n");
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), registerWith("storage_for_content", {}));
    // As it was for the next spelling.
    std::filesystem::remove_all(job.path("card/ZELMORA"));
    job.write("flash/" + alpsFile, alpsMap);
    job.write("flash/ZELMORA/updates.xml", registerWith("storage_for_software", {}));
  }
}

TEST_F(MoveMapJobTest, NamesOfAllScriptsComeThroughTheWholeSession) {
  const std::string mapFile = "ZELMORA/map/Österreich & 日本.map";
  const std::string settings = "config/Länder \xF0\x9F\x97\xBA.xml";
  const std::string client = "Karten/Ελλάδα <1>.dat";
  std::filesystem::rename(job.path("flash/" + alpsFile), job.path("flash/" + mapFile));
  job.write("flash/ZELMORA/updates.xml",
            InstallDescription::registerOf({InstallDescription::registerEntry(
                "Österreich", "storage_for_software", {"ZELMORA/map/Österreich &amp; 日本.map"})}));
  job.write("flash/" + settings, "<config />\n");
  CommandPackage package = located();
  package.description = InstallDescription();
  package.description.update("Ελλάδα", "storage_for_software", bytes)
      .file("nav", "Karten/Ελλάδα &lt;1&gt;.dat", navigator)
      .xmlEntry(settings, 3, "config/Länder", "name/日本", {"name/日本"});
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(package).attribute("CheckHashFile", "true").text()).document(), success);
  EXPECT_EQ(md5Of(job.read("card/" + mapFile)), md5Of(alpsMap));
  EXPECT_EQ(md5Of(job.read("flash/" + client)), md5Of(navigator));
  EXPECT_EQ(job.read("flash/" + settings),
            "<config>\n    <Länder>\n        <name>日本</name>\n    </Länder>\n</config>\n");
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("Ελλάδα").uninstall("Österreich").text())
                .document(),
            success);
  EXPECT_FALSE(job.exists("card/" + mapFile));
  EXPECT_FALSE(job.exists("flash/" + client));
  EXPECT_EQ(job.read("flash/" + settings), "<config />\n");
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), "<?xml version=\"1.0\" ?>\n<updates />\n");
}

// Real volumes, on which files take whole blocks.
TEST_F(MoveMapJobTest, OnVolumesOfTheirOwnItMakesRoomToo) {
  job.simulatesMachine = false;
  const SmallVolume flashVolume(job.path("flash"), 14 << 20);
  const SmallVolume cardVolume(job.path("card"), 16 << 20);
  if (!flashVolume.isMounted() || !cardVolume.isMounted()) GTEST_SKIP() << "no volume can be mounted here";
  job.write("flash/" + alpsFile, alpsMap);
  job.write("flash/ZELMORA/updates.xml", registerWith("storage_for_software", {}));
  job.write("flash/config/settings.xml", "<config />\n");
  CommandPackage package = located();
  package.description = InstallDescription();
  package.description.update("Navigator", "storage_for_software", 3'000'000)
      .file("nav", "apps/navigator.bin", navigator)
      .xmlEntry("config/settings.xml", 3, "config/skin", "name/red", {"name/red"});
  const std::string text = CommandDocument::installPackage(job.path("flash"), job.path("card"))
                               .attribute("CheckHashFile", "true")
                               .localInstall()
                               .package(package)
                               .text();
  EXPECT_EQ(job.run(text).document(), success);
  EXPECT_FALSE(job.exists("flash/" + alpsFile));
  EXPECT_EQ(md5Of(job.read("card/" + alpsFile)), md5Of(alpsMap));
  EXPECT_FALSE(job.exists("card/.TevraTemporaryLocation"));
  EXPECT_EQ(md5Of(job.read("flash/apps/navigator.bin")), md5Of(navigator));
  EXPECT_EQ(job.read("flash/config/settings.xml"),
            "<config>\n    <skin>\n        <name>red</name>\n    </skin>\n</config>\n");
  EXPECT_EQ(
      job.read("flash/ZELMORA/updates.xml"),
      registerWith("storage_for_content", {InstallDescription::registerEntry(
                                              "Navigator", "storage_for_software", {"apps/navigator.bin"},
                                              {{"config/settings.xml", 3, "config/skin", "name/red"}})}));
}

TEST_F(MoveMapJobTest, AnUpdateWhoseMapWasMovedCanBeUninstalled) {
  giveRoom(reserveBytes + demand - 1, 2 * reserveBytes);
  EXPECT_EQ(job.run(install(located()).text()).document(), success);
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("Alps map").text()).document(), success);
  EXPECT_EQ(job.tree("card"), (Tree{{"ZELMORA", "folder"}, {"ZELMORA/map", "folder"}}));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), InstallDescription::registerOf({navigatorEntry()}));
}

}  // namespace
}  // namespace ZelmoraTevra
