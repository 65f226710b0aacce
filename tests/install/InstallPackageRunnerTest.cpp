#include <filesystem>

#include "core/Directory_new.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/InstallPackageRunner.h"
#include "install/UpdatesXml.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

// Storages with a free space of the test's choice, and folders that take no write.
class SmallStorages : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
    const bool known = ForwardingFileSystem::space(path, space, error);
    for (const auto& [root, bytes] : free)
      if (toForwardSlashes(path).starts_with(root)) space.free = bytes;
    return known;
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read || readOnly.empty() || !toForwardSlashes(path).starts_with(readOnly))
      return ForwardingFileSystem::open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::read_only_file_system);
    return nullptr;
  }

  std::map<WideText, std::uint64_t> free;
  WideText readOnly;
};

class InstallPackageRunnerTest : public JobTest {
 protected:
  InstallPackageRunnerTest() : small(files()) {
    useFileSystem(small);
    makeFolder(flash + u"/ZELMORA");
    makeFolder(card);
    command.commandName = u"INSTALL_PACKAGE";
    command.storageCardDriveLetter = flash;
    command.secondDriveLetter = card;
    command.localInstall = true;
    ZipBuilder zip;
    zip.add("a", "new a");
    zip.add("b", "new b");
    writeFile(zipPath, zip.bytes());
  }

  static std::string update(const std::string& location, const std::string& name, const std::string& body,
                            const std::string& attributes = "") {
    return "<update" + (location.empty() ? "" : " install_location=\"" + location + "\"") + attributes +
           "><company>Z</company><name>" + name +
           "</name><version>1.0</version><update>1</update><uninstall>1</uninstall>" + body + "</update>";
  }
  static std::string file(const std::string& local, const std::string& client, int flag = 0,
                          std::size_t size = 5) {
    return "<file file_size=\"" + std::to_string(size) + "\"><local>" + local +
           "</local><client updateflag=\"" + std::to_string(flag) + "\">" + client + "</client></file>";
  }
  static std::string software(const std::string& name, const std::string& body,
                              const std::string& attributes = "") {
    return update("storage_for_software", name, body, attributes);
  }
  static std::string content(const std::string& name, const std::string& body) {
    return update("storage_for_content", name, body);
  }

  void addPackage(const std::string& updates) {
    ContentEntry entry;
    entry.fileSize = 100;
    entry.url = zipPath;
    entry.installXml = std::make_shared<InstallXml>();
    ASSERT_EQ(entry.installXml->load(toWide("<install version=\"1\">" + updates + "</install>")), 0);
    command.packages.push_back(entry);
  }

  // As the command's wrapper runs a worker.
  int install() {
    InstallPackageRunner runner;
    const int prepared = runner.init(command);
    return prepared != 0 ? prepared : runner.run();
  }

  std::vector<Update> registered() {
    ClientUpdatesXmlFile file(flash, false);
    return UpdatesXml(&file).getUpdates();
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  const WideText zipPath = path(u"package.zip");
  SmallStorages small;
  CommandRecord command;
};

TEST_F(InstallPackageRunnerTest, PlacesFilesAndRegistersUpdatesOnBothStorages) {
  addPackage(software("App", file("a", "apps/a")) + content("Map", file("b", "maps/b")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/apps/a"), "new a");
  EXPECT_EQ(readFile(card + u"/maps/b"), "new b");
  const std::vector<Update> updates = registered();
  ASSERT_EQ(updates.size(), 2U);
  EXPECT_EQ(updates[0].info.name, u"App");
  EXPECT_EQ(updates[0].info.company, u"Z");
  EXPECT_EQ(updates[0].info.version, u"1.0");
  EXPECT_EQ(updates[0].info.update, 1);
  EXPECT_EQ(updates[0].info.uninstall, 1);
  EXPECT_EQ(updates[0].info.installLocation, u"storage_for_software");
  EXPECT_EQ(updates[0].files, (std::vector<UpdateFile>{{u"apps/a", 0}}));
  EXPECT_EQ(updates[1].info.installLocation, u"storage_for_content");
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(InstallPackageRunnerTest, AGoodRunReportsPreparingAndSuccessAndNothingElseWithinASecond) {
  addPackage(software("App", file("a", "apps/a"), " update_size=\"5\""));
  EXPECT_EQ(install(), 0);
  std::vector<std::pair<int, WideText>> reports;
  for (const SavedStatus& status : statusHistory()) reports.emplace_back(status.state, status.exitCode());
  EXPECT_EQ(reports, (std::vector<std::pair<int, WideText>>{
                         {statPreparing, u"1057"}, {statInstalllnProgress, u""}, {statSuccess, u"1010"}}));
  EXPECT_TRUE(status().descriptions.empty());
}

TEST_F(InstallPackageRunnerTest, TheRegisterIsOnTheDeviceBeforeSuccessIsReported) {
  addPackage(software("App", file("a", "apps/a")));
  FaultyFileSystem watching(small);
  std::string registerAtLastOperation;
  watching.before = [&](int, const std::string&) {
    registerAtLastOperation = readFile(flash + u"/ZELMORA/updates.xml");
  };
  useFileSystem(watching);
  EXPECT_EQ(install(), 0);
  // The last operation is the renaming of the last status document.
  EXPECT_NE(registerAtLastOperation.find("<name>App</name>"), std::string::npos);
}

TEST_F(InstallPackageRunnerTest, ARegisterThatDoesNotReachTheDeviceIsNoSuccess) {
  startLog();
  addPackage(software("App", file("a", "apps/a")));
  class NoRegister : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
      if (!toForwardSlashes(to).ends_with(u"ZELMORA/updates.xml"))
        return ForwardingFileSystem::rename(from, to, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } files(small);
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
  EXPECT_TRUE(logHas(u"Could not copy updates.xml back to the client, client update xml file!"));
}

TEST_F(InstallPackageRunnerTest, WithoutACardEverythingGoesToTheFlashDrive) {
  command.secondDriveLetter.clear();
  addPackage(software("App", file("a", "apps/a")) + content("Map", file("b", "maps/b")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/maps/b"), "new b");
  EXPECT_EQ(registered()[1].info.installLocation, u"storage_for_software");
}

TEST_F(InstallPackageRunnerTest, WithoutACardNothingOfTheComputerIsTouched) {
  command.secondDriveLetter.clear();
  const WideText mine = path(u"mine");
  writeFile(mine, "user's");
  addPackage(software("App", file("a", toUtf8(mine).substr(1), 4) + file("a", "a")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(mine), "user's");
}

TEST_F(InstallPackageRunnerTest, AFlashDriveThatIsMissingOrWriteProtectedIs1095) {
  addPackage(software("App", file("a", "a")));
  command.storageCardDriveLetter = path(u"nowhere");
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1095");
  EXPECT_EQ(
      status().descriptions,
      (std::vector<WideText>{u"100", u"Flash cannot be accessed. Was it ejected or is it write protected?",
                             toBackslashes(path(u"nowhere"))}));
  command.storageCardDriveLetter = flash;
  small.readOnly = flash;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1095");
}

TEST_F(InstallPackageRunnerTest, ACardThatIsMissingOrWriteProtectedIs1172) {
  addPackage(software("App", file("a", "a")));
  small.readOnly = card;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1172");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{
                u"100", u"Storage card cannot be accessed. Was it ejected or is it write protected?"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), card);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  command.secondDriveLetter = u"F:";
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1172");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"F:");
}

TEST_F(InstallPackageRunnerTest, APackageWithAnInvalidDescriptionIs1096) {
  ContentEntry entry;
  entry.installXml = std::make_shared<InstallXml>();
  command.packages.push_back(entry);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1096");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Install file is invalid! Contact customer support.",
                                   toBackslashes(flash)}));
}

TEST_F(InstallPackageRunnerTest, ADescriptionThatGetsInvalidBehindThePreparationIs1165) {
  addPackage(software("App", file("a", "a")));
  InstallPackageRunner runner;
  EXPECT_EQ(runner.init(command), 0);
  ASSERT_NE(command.packages[0].installXml->load(u"<install"), 0);
  EXPECT_EQ(runner.run(), -1);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1165");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Install file is invalid! Contact customer support.",
                                   toBackslashes(flash)}));
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(InstallPackageRunnerTest, APackageWithoutADescriptionIs1097) {
  command.packages.push_back({});
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1097");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"installXML used without being initialized!"}));
}

TEST_F(InstallPackageRunnerTest, RunWithoutPrepareFailsWithoutAStatus) {
  EXPECT_EQ(InstallPackageRunner().runInstall(), -1);
  EXPECT_EQ(status().state, -100);
}

TEST_F(InstallPackageRunnerTest, TheFolderOfATemporaryLocationIsRemovedFromBothStorages) {
  writeFile(flash + u"/.TevraTemporaryLocation/x/y", "1");
  writeFile(card + u"/.TevraTemporaryLocation/z", "1");
  addPackage(software("App", file("a", "a")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/", "ZELMORA/updates.xml", "a"}));
  EXPECT_TRUE(tree(card).empty());
}

TEST_F(InstallPackageRunnerTest, AnOlderPackageBehindAnotherIs1098AndNothingIsChanged) {
  addPackage(software("App", file("a", "a")));
  addPackage(update("", "Old", file("b", "b")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1098");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"This older package is not first and is not the only one!"}));
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(InstallPackageRunnerTest, TwoDownloadsUnderOneNameAreRefusedBeforeAnythingIsDone) {
  startLog();
  command.localInstall = false;
  addPackage(software("One", file("a", "a")));
  addPackage(software("Two", file("b", "b")));
  command.packages[0].url = u"http://127.0.0.1/one/content.zip?1";
  command.packages[1].url = u"http://127.0.0.1/two/Content.zip?2";
  command.packages[0].md5 = u"AA";
  command.packages[1].md5 = u"BB";
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1096");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Install file is invalid! Contact customer support.",
                                   toBackslashes(flash)}));
  EXPECT_TRUE(logHas(u"Two different packages would be downloaded under one name: " +
                     toUpperAscii(workTempFolder + u"\\content.zip")));
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/"}));
  // The same package twice is one download after the other.
  command.packages[1].md5 = u"aa";
  EXPECT_NE(install(), 0);
  EXPECT_NE(status().exitCode(), u"1096");
}

TEST_F(InstallPackageRunnerTest, ADownloadUnderTheNameOfAnothersPartIsRefusedBeforeAnythingIsDone) {
  command.localInstall = false;
  addPackage(software("One", file("a", "a")));
  addPackage(software("Two", file("b", "b")));
  command.packages[0].md5 = u"AA";
  for (const WideText ending : {u"_INCOMPLETE", u"_INCOMPLETE.xml", u"_Incomplete", u"_incomplete.XML"}) {
    for (const WideText md5 : {u"AA", u"BB"}) {
      command.packages[1].md5 = md5;
      for (const std::size_t longer : {0U, 1U}) {
        command.packages[longer].url = u"http://127.0.0.1/x.zip" + ending + u"?1";
        command.packages[1 - longer].url = u"http://127.0.0.1/x.zip?1";
        EXPECT_NE(install(), 0);
        EXPECT_EQ(status().exitCode(), u"1096") << toUtf8(ending) << longer;
      }
    }
  }
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(InstallPackageRunnerTest, ARegisterThatIsNoTextIs1101AndNothingGoes) {
  writeFile(flash + u"/ZELMORA/updates.xml", "<updates><update><name>\xFF</name></update></updates>");
  writeFile(flash + u"/a", "old");
  addPackage(software("App", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1101");
  EXPECT_EQ(readFile(flash + u"/a"), "old");
  EXPECT_EQ(readFile(flash + u"/ZELMORA/updates.xml"),
            "<updates><update><name>\xFF</name></update></updates>");
}

TEST_F(InstallPackageRunnerTest, ZipsThatDoNotFitIntoTheTempFolderAre1099) {
  addPackage(software("App", file("a", "a")));
  addPackage(software("App2", file("a", "a")));
  small.free[path(u"temp")] = 199;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1099");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"104"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), userTempFolder);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  small.free[path(u"temp")] = 200;
  EXPECT_EQ(install(), 0);
}

struct SpaceCase {
  std::uint64_t flashFree;
  std::uint64_t cardFree;
  WideText exitCode;
  WideText missingOnFlash;
  WideText missingOnCard;
};

TEST_F(InstallPackageRunnerTest, TooLittleRoomIsReportedForFlashCardAndBoth) {
  // Each storage needs 1,000 bytes, the 32,763 that its file wastes of a cluster, and the reserve.
  const std::uint64_t enough = 10'485'760 + 1000 + 32'763;
  const SpaceCase cases[] = {
      {enough - 7, enough, u"1100", u"7", u"0"},
      {enough, enough - 9, u"1274", u"0", u"9"},
      {enough - 7, enough - 9, u"1275", u"7", u"9"},
      {enough - 7, enough + 50, u"1100", u"7", u"0"},
  };
  for (const SpaceCase& each : cases) {
    command.packages.clear();
    addPackage(software("App", file("a", "a"), " update_size=\"1000\"") +
               update("storage_for_content", "Map", file("b", "b"), " update_size=\"1000\""));
    small.free = {{flash, each.flashFree}, {card, each.cardFree}};
    EXPECT_NE(install(), 0);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, statNotEnoughSpace);
    EXPECT_EQ(saved.exitCode(), each.exitCode);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"110"}));
    EXPECT_EQ(saved.attributes.at(u"DriveName"), flash);
    EXPECT_EQ(saved.attributes.at(u"DriveNameExternal"), card);
    EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), each.missingOnFlash);
    EXPECT_EQ(saved.attributes.at(u"neededSpaceContentStorage"), each.missingOnCard);
    const auto freeText = [](std::uint64_t bytes) { return numberText(static_cast<std::int64_t>(bytes)); };
    EXPECT_EQ(saved.attributes.at(u"availableSpaceSoftwareStorage"), freeText(each.flashFree));
    EXPECT_EQ(saved.attributes.at(u"availableSpaceContentStorage"), freeText(each.cardFree));
    EXPECT_EQ(saved.attributes.at(u"availableSpacePostInstSoftwareStorage"),
              freeText(each.flashFree - 33'763));
    EXPECT_EQ(saved.attributes.at(u"availableSpacePostInstContentStorage"), freeText(each.cardFree - 33'763));
    EXPECT_FALSE(fileExists(flash + u"/a"));
  }
  small.free = {{flash, enough}, {card, enough}};
  EXPECT_EQ(install(), 0);
}

TEST_F(InstallPackageRunnerTest, ExtraSpaceOfAllPackagesIsKeptFree) {
  const std::uint64_t enough = 10'485'760 + 32'763 + 300;
  for (int i = 0; i < 3; ++i)
    addPackage("<extraSpaceSoftware>100</extraSpaceSoftware>" +
               (i == 0 ? software("App", file("a", "a")) : software("None", file("a", "a", 1))));
  small.free[flash] = enough + 2 * 32'763 - 1;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().attributes.at(u"neededSpaceSoftwareStorage"), u"1");
  small.free[flash] = enough + 2 * 32'763;
  EXPECT_EQ(install(), 0);
}

TEST_F(InstallPackageRunnerTest, AnAbortBeforeThePlacementIsState8WithoutExitCode) {
  addPackage(software("App", file("a", "a")));
  writeFile(flash + u"/a", "old");
  writeFile(StatusXml::instance().abortFilePath(), "anything");
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"");
  EXPECT_EQ(readFile(flash + u"/a"), "old");
  EXPECT_FALSE(fileExists(StatusXml::instance().abortFilePath()));
}

TEST_F(InstallPackageRunnerTest, AnAbortAfterThePlacementIsState8With1020AndKeepsTheRegister) {
  addPackage(software("App", file("a", "a")));
  int sleeps = 0;
  clock.onSleep = [&](std::uint32_t milliseconds) {
    EXPECT_EQ(milliseconds, 200U);
    if (++sleeps == 2) writeFile(StatusXml::instance().abortFilePath(), "");
  };
  EXPECT_NE(install(), 0);
  EXPECT_EQ(sleeps, 2);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(registered().size(), 1U);
}

TEST_F(InstallPackageRunnerTest, ADeviceWithoutAPlaceForTheRegisterIs1101) {
  writeFile(flash + u"/a", "old");
  std::filesystem::remove_all(folder.native() / "flash" / "ZELMORA");
  addPackage(software("App", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1101");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Finding a valid updates.xml file on the device failed!"}));
  EXPECT_EQ(readFile(flash + u"/a"), "old");
}

TEST_F(InstallPackageRunnerTest, ReplacedFilesGoFromBothStoragesBeforeAnythingIsPlaced) {
  for (const WideText& root : {flash, card})
    for (const WideText name : {u"zero", u"one", u"two", u"three", u"four"})
      writeFile(root + u"/" + name, "old");
  addPackage(software("App", file("no such entry", "first") + file("a", "zero", 0) + file("a", "one", 1) +
                                 file("a", "two", 2) + file("a", "three", 3) + file("a", "four", 4)));
  EXPECT_NE(install(), 0);
  const std::vector<std::string> left = {"one", "three"};
  EXPECT_EQ(tree(card), left);
  EXPECT_FALSE(fileExists(flash + u"/zero"));
}

TEST_F(InstallPackageRunnerTest, NoPackageDeletesOrReplacesTheRegister) {
  addPackage(software("First", file("a", "a")));
  EXPECT_EQ(install(), 0);
  for (const int flag : {0, 2, 3, 4}) {
    command.packages.clear();
    addPackage(software("Second", file("b", "b") + file("a", "zelmora\\updates.XML", flag) +
                                      file("a", "ZELMORA/./updates.xml", flag)));
    EXPECT_EQ(install(), 0) << flag;
    ASSERT_EQ(registered().size(), 2U) << flag;
    EXPECT_EQ(registered()[0].info.name, u"First");
  }
}

// A file beside the register under a name of its replacement could become the register.
TEST_F(InstallPackageRunnerTest, NoPackagePlacesOrDeletesAFileThatCanBecomeTheRegister) {
  addPackage(software("First", file("a", "a")));
  EXPECT_EQ(install(), 0);
  writeFile(flash + u"/ZELMORA/updates.xml_damaged1", "for repair");
  for (const int flag : {0, 1, 2, 3, 4}) {
    command.packages.clear();
    addPackage(software("Second", file("b", "b") + file("a", "ZELMORA/updates.xml_tevra_new", flag) +
                                      file("a", "zelmora\\Updates.xml99999999990000000001", flag) +
                                      file("a", "ZELMORA//updates.xml_damaged1", flag) +
                                      file("a", "KD3/updates.xml/a", flag)));
    EXPECT_EQ(install(), 0) << flag;
    EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/", "ZELMORA/updates.xml",
                                                     "ZELMORA/updates.xml_damaged1", "a", "b"}))
        << flag;
    EXPECT_EQ(readFile(flash + u"/ZELMORA/updates.xml_damaged1"), "for repair");
    ASSERT_EQ(registered().size(), 2U) << flag;
  }
}

TEST_F(InstallPackageRunnerTest,
       AFolderDeletionThatNamesTheRegistersFolderLeavesAllThatCanBecomeTheRegister) {
  writeFile(flash + u"/ZELMORA/updates.xml_damaged1", "for repair");
  writeFile(flash + u"/ZELMORA/other", "goes");
  addPackage(software("First", file("a", "a") + file("x", "ZELMORA", 8)));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/", "ZELMORA/updates.xml",
                                                   "ZELMORA/updates.xml_damaged1", "a"}));
}

TEST_F(InstallPackageRunnerTest, ADeviceOfItsOwnVolumeHasAllOnTheMediumBeforeItsRegister) {
  class OwnVolume : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool areOnSameVolume(const WideText& left, const WideText& right, platform::ErrorCode& error) override {
      error.clear();
      return left.find(u"flash") == right.find(u"flash");
    }
    bool syncVolume(const WideText& folder, platform::ErrorCode& error) override {
      events.push_back("sync " + toUtf8(lastComponent(folder)));
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      if (!fail) error.clear();
      return !fail;
    }
    bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
      if (to.ends_with(u"ZELMORA\\updates.xml")) events.push_back("register");
      return ForwardingFileSystem::rename(from, to, error);
    }
    std::vector<std::string> events;
    bool fail = false;
  } files(small);
  useFileSystem(files);
  addPackage(software("App", file("a", "a")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(files.events, (std::vector<std::string>{"sync flash", "register"}));
  files.fail = true;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
}

TEST_F(InstallPackageRunnerTest, AFailedUpdateIs1102AndTheOnesBeforeItStayRegistered) {
  startLog();
  addPackage(software("One", file("a", "a")) + software("Two", file("missing", "b")) +
             software("Three", file("b", "c")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Failed to open updates.xml file. Update was not serialized!"}));
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_EQ(registered()[0].info.name, u"One");
  EXPECT_FALSE(fileExists(flash + u"/c"));
  EXPECT_TRUE(logHas(u"An error occured while trying to install an update."));
  EXPECT_TRUE(logHas(zipPath));
}

TEST_F(InstallPackageRunnerTest, ADeviceFileWhoseChangesGetLostIs1102) {
  class UnchangingFile : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
      if (!to.ends_with(u"config.xml")) return ForwardingFileSystem::rename(from, to, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } files(small);
  writeFile(flash + u"/config.xml", "<r><v>old</v></r>");
  addPackage(software("App", file("a", "a") + "<xmlentry><file>config.xml</file><key creationflag=\"5\">"
                                              "<base>r/v</base><condition>new</condition></key></xmlentry>"));
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
  useFileSystem(small);
  EXPECT_EQ(registered().size(), 1U);

  EXPECT_EQ(install(), 0);
  EXPECT_NE(readFile(flash + u"/config.xml").find("new"), std::string::npos);
}

TEST_F(InstallPackageRunnerTest, AnUnknownFlagEndsTheProcessAndTheUpdatesBeforeItStayRegistered) {
  addPackage(software("One", file("a", "a")) + software("Two", file("b", "b", 9)));
  EXPECT_EXIT(install(), ::testing::ExitedWithCode(255), "");
  EXPECT_EQ(status().exitCode(), u"1178");
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(InstallPackageRunnerTest, ALocalZipStaysWhereItIs) {
  addPackage(software("App", file("a", "a")));
  writeFile(zipPath + u"_INCOMPLETE.xml", "user's");
  EXPECT_EQ(install(), 0);
  EXPECT_TRUE(fileExists(zipPath));
  EXPECT_TRUE(fileExists(zipPath + u"_INCOMPLETE.xml"));
}

TEST_F(InstallPackageRunnerTest, NoPackageDeletesTheLocalZipThatItComesFrom) {
  const WideText onDevice = flash + u"/download/package.zip";
  makeFolder(flash + u"/download");
  std::filesystem::rename(folder.native() / "package.zip", folder.native() / "flash/download/package.zip");
  writeFile(flash + u"/download/other", "old");
  addPackage(software("App", file("", "DOWNLOAD", 8) + file("", "download", 8) +
                                 file("", "download/package.zip", 4) + file("a", "apps/a")));
  command.packages.front().url = onDevice;
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/apps/a"), "new a");
  EXPECT_TRUE(fileExists(onDevice));
  EXPECT_FALSE(fileExists(flash + u"/download/other"));
}

TEST_F(InstallPackageRunnerTest, ALocalZipThatAPackageWouldReplaceIsThereAfterTheFailure) {
  const WideText onDevice = flash + u"/package.zip";
  std::filesystem::rename(folder.native() / "package.zip", folder.native() / "flash/package.zip");
  addPackage(software("App", file("a", "package.zip")));
  command.packages.front().url = onDevice;
  EXPECT_EQ(install(), -1);
  EXPECT_TRUE(fileExists(onDevice));
}

// A job before it was cut off, or had a zip without the file.
TEST_F(InstallPackageRunnerTest, AReplacedOrDeletedFileKeepsNoMarkOfAnEarlierJob) {
  for (const WideText name : {u"a", u"b"}) {
    writeFile(flash + u'/' + name, "old");
    writeFile(flash + u'/' + name + u"_tevra_placing", "");
  }
  addPackage(software("App", file("a", "a") + file("", "b", 4)));
  EXPECT_EQ(install(), 0);
  EXPECT_FALSE(fileExists(flash + u"/a_tevra_placing"));
  EXPECT_FALSE(fileExists(flash + u"/b_tevra_placing"));

  writeFile(flash + u"/a", "the user's edit");
  command.packages.clear();
  addPackage(software("Other", file("a", "a", 1)));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/a"), "the user's edit");
}

TEST_F(InstallPackageRunnerTest, APathAtTheRegistersPlaceIsRecordedOfNoUpdate) {
  addPackage(software("App", file("a", "apps/a") + file("b", "ZELMORA/updates.xml", 1)));
  EXPECT_EQ(install(), 0);
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_EQ(registered().front().files, (std::vector<UpdateFile>{{u"apps/a", 0}}));
}

TEST_F(InstallPackageRunnerTest, TheRegisterFollowsAPackageThatBringsTheNewerFolder) {
  std::filesystem::rename(folder.native() / "flash/ZELMORA", folder.native() / "flash/KD3");
  addPackage(software("Old", file("a", "apps/a")));
  EXPECT_EQ(install(), 0);
  EXPECT_TRUE(fileExists(flash + u"/KD3/updates.xml"));
  command.packages.clear();
  addPackage(software("New", file("b", "ZELMORA/app/b")));
  EXPECT_EQ(install(), 0);
  EXPECT_FALSE(fileExists(flash + u"/KD3/updates.xml"));
  const std::vector<Update> updates = registered();
  ASSERT_EQ(updates.size(), 2U);
  EXPECT_EQ(updates[0].info.name, u"Old");
  EXPECT_EQ(updates[1].info.name, u"New");
}

TEST_F(InstallPackageRunnerTest, AnUpdateOfWhichNothingIsLeftIsDroppedFromTheRegister) {
  addPackage(software("First", file("a", "shared")) + content("Map", file("b", "b")));
  EXPECT_EQ(install(), 0);
  command.packages.clear();
  addPackage(software("Second", file("a", "other") + file("b", "shared", 4)));
  EXPECT_EQ(install(), 0);
  std::vector<WideText> names;
  for (const Update& each : registered()) names.push_back(each.info.name);
  EXPECT_EQ(names, (std::vector<WideText>{u"Map", u"Second"}));
}

TEST_F(InstallPackageRunnerTest, AnUpdateThatIsInstalledAgainIsRegisteredOnce) {
  addPackage(software("App", file("a", "a")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(registered().size(), 1U);
}

TEST_F(InstallPackageRunnerTest, ThePlacementProgressMovesOnWithEachPackage) {
  const WideText second = path(u"second.zip");
  ZipBuilder zip;
  zip.add("a", std::string(70, 'x'));
  writeFile(second, zip.bytes());
  addPackage(software("One", file("a", "one"), " update_size=\"30\""));
  addPackage(software("Two", file("a", "two"), " update_size=\"70\""));
  command.packages[1].url = second;
  clock.onSleep = nullptr;
  // Every look at the clock is a second later, so that every step is reported.
  class RunningClock : public FakeClock {
   public:
    std::uint32_t tickMilliseconds() override { return ticks += 2000; }
  } running;
  platform::Machine machine = platform::machine();
  machine.clock = &running;
  useMachine(machine);
  EXPECT_EQ(install(), 0);
  std::vector<WideText> amounts;
  for (const SavedStatus& each : statusHistory())
    if (each.state == statInstalllnProgress)
      amounts.push_back(each.descriptions[1] + u", " + each.descriptions[3]);
  EXPECT_EQ(amounts, (std::vector<WideText>{u"5 / 100, 5 / 30", u"75 / 100, 70 / 70"}));
}

TEST_F(InstallPackageRunnerTest, WhatWasPlacedIsValidatedWhenThatIsAskedFor) {
  startLog();
  command.checkHashFile = true;
  addPackage(software("App", file("a", "a") + file("b", "config/version.xml")) +
             content("Map", file("b", "b")));
  EXPECT_EQ(install(), 0);
  std::vector<std::pair<int, WideText>> reports;
  for (const SavedStatus& each : statusHistory())
    if (each.state != statInstalllnProgress) reports.emplace_back(each.state, each.exitCode());
  // Two files: a version file isn't validated.
  EXPECT_EQ(reports, (std::vector<std::pair<int, WideText>>{{statPreparing, u"1057"},
                                                            {statHaskValidation, u"1175"},
                                                            {statHaskValidation, u""},
                                                            {statHaskValidation, u""},
                                                            {statSuccess, u"1010"}}));
  EXPECT_TRUE(logHas(u"START validation!"));
  EXPECT_TRUE(logHas(u"END validation!"));
}

// Changes the file "b" when it is read back from the card.
class DamagedCard : public platform::ForwardingFileSystem {
 public:
  DamagedCard(platform::FileSystem& target, WideText damaged)
      : ForwardingFileSystem(target), damaged_(std::move(damaged)) {}
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read && toForwardSlashes(path) == damaged_) onRead();
    return ForwardingFileSystem::open(path, mode, error);
  }
  std::function<void()> onRead;

 private:
  WideText damaged_;
};

TEST_F(InstallPackageRunnerTest, AFileThatIsDamagedOnTheDeviceIs1174AndTheRegisterIsThere) {
  startLog();
  command.checkHashFile = true;
  addPackage(software("App", file("a", "a")) + content("Map", file("b", "b")));
  DamagedCard files(small, card + u"/b");
  files.onRead = [&] { writeFile(card + u"/b", "damaged"); };
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1174");
  EXPECT_EQ(toForwardSlashes(status().attributes.at(u"fileName")), card + u"/b");
  EXPECT_TRUE(logHas(u"!!!VALIDATION PHASE: 1 md5 not match! Files: "));
  EXPECT_TRUE(logHas(u"END validation!"));
  EXPECT_EQ(registered().size(), 2U);
  EXPECT_TRUE(fileExists(zipPath));
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(InstallPackageRunnerTest, TheRegisterIsOnTheDeviceBeforeTheValidation) {
  command.checkHashFile = true;
  addPackage(content("Map", file("b", "b")));
  DamagedCard files(small, card + u"/b");
  std::vector<Update> then;
  files.onRead = [&] { then = registered(); };
  useFileSystem(files);
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(then.size(), 1U);
}

TEST_F(InstallPackageRunnerTest, AFileThatGoesDuringTheValidationIs1290) {
  command.checkHashFile = true;
  addPackage(content("Map", file("b", "b")) + software("App", file("a", "a")));
  DamagedCard files(small, card + u"/b");
  files.onRead = [&] { std::filesystem::remove(flash + u"/a"); };
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1290");
  EXPECT_EQ(registered().size(), 2U);
}

TEST_F(InstallPackageRunnerTest, AnAbortInTheValidationIsState8With1020) {
  command.checkHashFile = true;
  addPackage(content("Map", file("b", "b")) + software("App", file("a", "a")));
  DamagedCard files(small, card + u"/b");
  files.onRead = [&] {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  };
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(registered().size(), 2U);
}

class OlderPackageTest : public InstallPackageRunnerTest {
 protected:
  static std::string older(const std::string& name, const std::string& body, std::size_t size = 1000) {
    return update("", name, body, " update_size=\"" + std::to_string(size) + "\"");
  }
  // An older package has no clusters in its sums.
  static constexpr std::uint64_t enough = 10'485'760 + 1000;
};

TEST_F(OlderPackageTest, GoesToTheMainStorageAsAWhole) {
  addPackage(older("Old", file("a", "old/a") + file("b", "old/b")));
  small.free = {{flash, enough}, {card, enough}};
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_EQ(readFile(flash + u"/old/a"), "new a");
  EXPECT_EQ(readFile(flash + u"/old/b"), "new b");
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_EQ(registered()[0].info.installLocation, u"storage_for_software");
}

TEST_F(OlderPackageTest, GoesToTheCardIfTheMainStorageIsTooSmallAndIsRegisteredAsContent) {
  addPackage(older("Old", file("a", "old/a")));
  small.free = {{flash, enough - 1}, {card, enough}};
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(card + u"/old/a"), "new a");
  EXPECT_FALSE(fileExists(flash + u"/old/a"));
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_EQ(registered()[0].info.installLocation, u"storage_for_content");
}

TEST_F(OlderPackageTest, TheSizesOfAllItsUpdatesCount) {
  addPackage(older("One", file("a", "a"), 600) + older("Two", file("b", "b"), 400));
  command.secondDriveLetter.clear();
  small.free = {{flash, enough - 1}};
  EXPECT_NE(install(), 0);
  small.free = {{flash, enough}};
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(registered().size(), 2U);
}

TEST_F(OlderPackageTest, TooLittleRoomHasCodesOfItsOwnAndDoesNotTellWhatWouldBeLeft) {
  addPackage(older("Old", file("a", "a")));
  small.free = {{flash, enough - 7}, {card, enough - 9}};
  EXPECT_NE(install(), 0);
  SavedStatus saved = status();
  EXPECT_EQ(saved.state, statNotEnoughSpace);
  EXPECT_EQ(saved.exitCode(), u"1279");
  EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"110"}));
  EXPECT_EQ(saved.attributes.at(u"DriveName"), flash);
  EXPECT_EQ(saved.attributes.at(u"DriveNameExternal"), card);
  EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), u"7");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceContentStorage"), u"9");
  EXPECT_TRUE(saved.attributes.contains(u"availableSpaceSoftwareStorage"));
  EXPECT_TRUE(saved.attributes.contains(u"availableSpaceContentStorage"));
  EXPECT_FALSE(saved.attributes.contains(u"availableSpacePostInstSoftwareStorage"));
  EXPECT_FALSE(saved.attributes.contains(u"availableSpacePostInstContentStorage"));
  command.secondDriveLetter.clear();
  EXPECT_NE(install(), 0);
  saved = status();
  EXPECT_EQ(saved.exitCode(), u"1107");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceSoftwareStorage"), u"7");
  EXPECT_EQ(saved.attributes.at(u"neededSpaceContentStorage"), u"0");
}

TEST_F(OlderPackageTest, NothingBehindItIsLookedAt) {
  addPackage(older("Old", file("a", "a")));
  addPackage(software("App", file("b", "b")));
  command.packages.push_back({});  // would be 1097
  EXPECT_EQ(install(), 0);
  ASSERT_EQ(registered().size(), 1U);
  EXPECT_EQ(registered()[0].info.name, u"Old");
  EXPECT_FALSE(fileExists(flash + u"/b"));
}

TEST_F(OlderPackageTest, AMissingWorkFolderIs1105) {
  addPackage(older("Old", file("a", "a")));
  Directory_new(workTempFolder).remove();
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1105");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"The temporary folder path does not exists!"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), userTempFolder);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
}

TEST_F(OlderPackageTest, AZipThatDoesNotFitIntoTheTempFolderIs1106) {
  addPackage(older("Old", file("a", "a")));
  addPackage(software("App", file("b", "b")));  // its zip isn't fetched
  small.free[path(u"temp")] = 99;
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1106");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"104"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), userTempFolder);
  small.free[path(u"temp")] = 100;
  EXPECT_EQ(install(), 0);
}

TEST_F(OlderPackageTest, ADeviceWithoutAPlaceForTheRegisterIs1108) {
  std::filesystem::remove_all(flash + u"/ZELMORA");
  addPackage(older("Old", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1108");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Finding a valid updates.xml on the device falied!"}));
}

TEST_F(OlderPackageTest, AFailedUpdateIs1110) {
  addPackage(older("Old", file("no such entry", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1110");
  EXPECT_EQ(status().descriptions,
            (std::vector<WideText>{u"100", u"Fail to open updates.xml file!Update was not serialized!"}));
}

TEST_F(OlderPackageTest, IsNotValidated) {
  command.checkHashFile = true;
  addPackage(older("Old", file("a", "a")));
  EXPECT_EQ(install(), 0);
  for (const SavedStatus& each : statusHistory()) EXPECT_NE(each.state, statHaskValidation);
}

TEST_F(OlderPackageTest, FilesThatItReplacesGiveTheirRoomBack) {
  writeFile(flash + u"/a", std::string(300, 'x'));
  addPackage(older("Old", file("a", "a")));
  small.free = {{flash, enough - 301}, {card, 0}};
  EXPECT_NE(install(), 0);
  small.free = {{flash, enough - 300}, {card, 0}};
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/a"), "new a");
}

// An update of which only a line in a damaged version file is left.
TEST_F(InstallPackageRunnerTest, AVersionFileThatCantBeReadIs1112And1074ForAnOlderPackage) {
  writeFile(flash + u"/ZELMORA/config/version.xml", "<damaged");
  const auto withGoneUpdate = [&] {
    writeFile(flash + u"/ZELMORA/updates.xml",
              "<updates><update><company>Z</company><name>Gone</name><version>1</version>"
              "<xmlentry><file>ZELMORA/config/version.xml</file><key creationflag=\"3\"><base>a/b</base>"
              "<condition>c/d</condition></key></xmlentry></update></updates>");
    command.packages.clear();
  };
  withGoneUpdate();
  addPackage(software("App", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1112");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"The cleanup run process fail!"}));
  EXPECT_EQ(registered().size(), 2U);
  withGoneUpdate();
  addPackage(update("", "Old", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1074");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", u"The cleanup run process fail!"}));
}

TEST_F(OlderPackageTest, NoClashOfDownloadsBehindItCounts) {
  addPackage(older("Old", file("a", "a")));
  addPackage(software("App", file("b", "b")));
  command.packages[1].md5 = u"BB";
  EXPECT_EQ(install(), 0);
}

TEST_F(OlderPackageTest, AWorkFolderOfUnknownRoomIs1106) {
  addPackage(older("Old", file("a", "a")));
  class NoAnswer : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
      if (path.find(u"ZELMORATevra_tmp") == WideText::npos)
        return ForwardingFileSystem::space(path, space, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } files(small);
  useFileSystem(files);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1106");
}

TEST_F(InstallPackageRunnerTest, AFileThatTwoUpdatesPlaceIsValidatedAsTheLastOnePlacedIt) {
  command.checkHashFile = true;
  addPackage(software("One", file("a", "shared")) + software("Two", file("b", "shared")));
  EXPECT_EQ(install(), 0);
  EXPECT_EQ(readFile(flash + u"/shared"), "new b");

  DamagedCard damaged(small, flash + u"/shared");
  damaged.onRead = [&] { writeFile(flash + u"/shared", "damaged"); };
  useFileSystem(damaged);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1174");
}

TEST_F(InstallPackageRunnerTest, AFileThatALaterUpdateTakesToTheOtherStorageIsValidatedThere) {
  command.checkHashFile = true;
  addPackage(software("One", file("a", "shared")) + content("Two", file("b", "shared", 3)));
  EXPECT_EQ(install(), 0);
  EXPECT_FALSE(fileExists(flash + u"/shared"));
  EXPECT_EQ(readFile(card + u"/shared"), "new b");

  DamagedCard damaged(small, card + u"/shared");
  damaged.onRead = [&] { writeFile(card + u"/shared", "damaged"); };
  useFileSystem(damaged);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1174");
}

TEST_F(InstallPackageRunnerTest, TheRegisterIsOnTheDeviceBeforeADamagedPackageIsReported) {
  addPackage(software("One", file("a", "a")) + software("Two", file("no such entry", "b")));
  FaultyFileSystem watching(small);
  std::vector<bool> wasRegistered;
  watching.before = [&](int, const std::string& operation) {
    // The status before this renaming is the last one that the front end has seen.
    if (operation == "rename" && status().exitCode() == u"1123")
      wasRegistered.push_back(readFile(flash + u"/ZELMORA/updates.xml").find("One") != std::string::npos);
  };
  useFileSystem(watching);
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
  EXPECT_EQ(wasRegistered, std::vector<bool>(1, true));
  EXPECT_EQ(registered().size(), 1U);
}

// A medium that tells once that it could not keep something, and then no more, as the kernel does.
TEST_F(InstallPackageRunnerTest, AWriteErrorThatIsToldOnceBeforeTheValidationIsNoSuccess) {
  class TellsOnce : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool areOnSameVolume(const WideText&, const WideText&, platform::ErrorCode& error) override {
      error.clear();
      return false;
    }
    bool syncVolume(const WideText&, platform::ErrorCode& error) override {
      error.clear();
      if (std::exchange(told, true)) return true;
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
    bool told = false;
  } files(small);
  useFileSystem(files);
  command.checkHashFile = true;
  addPackage(software("App", file("a", "a")));
  EXPECT_NE(install(), 0);
  EXPECT_EQ(status().exitCode(), u"1102");
}

}  // namespace
}  // namespace ZelmoraTevra
