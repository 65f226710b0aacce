#include <filesystem>
#include <map>

#include "core/Directory_new.h"
#include "core/Globals.h"
#include "core/ProcessEnd.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/PackageUninstaller.h"
#include "install/UninstallPackageRunner.h"
#include "install/UninstallSession.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {
namespace {

// Folders that take no write, and files that can't be replaced.
class StubbornFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    const bool reads = mode == platform::OpenMode::read;
    if (reads) ++readCount[toForwardSlashes(path)];
    if (reads || readOnly.empty() || !toForwardSlashes(path).starts_with(readOnly))
      return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::read_only_file_system);
    return nullptr;
  }
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    const bool replaces = from.ends_with(u"_tevra_new");
    if (replaces && !unreplaceable.empty() && toForwardSlashes(to).ends_with(unreplaceable)) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
    if (replaces) ++replacements[toForwardSlashes(to)];
    return target().rename(from, to, error);
  }

  WideText readOnly;
  WideText unreplaceable;
  std::map<WideText, int> readCount;
  std::map<WideText, int> replacements;
};

const WideText versionFile = u"config/software/version.xml";
const WideText missingCard = u"Storage card cannot be accessed. Was it ejected or is it write protected?";

class UninstallPackageRunnerTest : public JobTest {
 protected:
  UninstallPackageRunnerTest() : disk(files()) {
    useFileSystem(disk);
    makeFolder(flash + u"/ZELMORA");
    makeFolder(card);
    command.commandName = u"UNINSTALL_PACKAGE";
    command.storageCardDriveLetter = flash;
    command.secondDriveLetter = card;
  }

  static UpdateXmlEntry mapEntry(const WideText& name, const WideText& file = versionFile) {
    return {file, 3, u"config/maps/map", u"name/" + name};
  }
  // An update that has one file, which is there.
  Update& add(const WideText& name, const WideText& location,
              const std::vector<UpdateXmlEntry>& entries = {}) {
    Update update;
    update.info.company = u"Z";
    update.info.name = name;
    update.info.version = u"1.0";
    update.info.installLocation = location;
    update.files.push_back({u"files/" + name, 0});
    update.xmlEntries = entries;
    writeFile((location == u"storage_for_content" ? card : flash) + u"/files/" + name, "content");
    updates.push_back(update);
    return updates.back();
  }
  void putVersionFile(const std::vector<std::string>& maps, const WideText& file = versionFile) {
    std::string text = "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n";
    for (const std::string& map : maps)
      text += "        <map>\n            <name>" + map + "</name>\n        </map>\n";
    writeFile(flash + u'/' + file, text + "    </maps>\n</config>\n");
  }
  [[nodiscard]] std::string mapsIn(const WideText& file = versionFile) const {
    std::string maps;
    const std::string text = readFile(flash + u'/' + file);
    for (std::size_t at = text.find("<name>"); at != std::string::npos; at = text.find("<name>", at + 1))
      maps += text.substr(at + 6, text.find('<', at + 6) - at - 6) + " ";
    return maps;
  }
  void writeRegister() {
    ClientUpdatesXmlFile file(flash, true);
    UpdatesXml updatesXml(&file);
    updatesXml.setUpdates(updates);
    ASSERT_TRUE(updatesXml.save());
  }
  [[nodiscard]] std::string registered() {
    ClientUpdatesXmlFile file(flash, false);
    std::string names;
    for (const Update& update : UpdatesXml(&file).getUpdates()) names += toUtf8(update.info.name) + " ";
    return names;
  }
  void ask(const WideText& name, const WideText& version = u"1.0") {
    command.uninstallEntries.push_back({u"Z", name, version});
  }
  // As the command's wrapper runs a worker.
  int uninstall() {
    UninstallPackageRunner runner;
    const int prepared = runner.init(command);
    return prepared != 0 ? prepared : runner.run();
  }
  void expect1137(const WideText& name) {
    EXPECT_EQ(status().state, statErrorOccured);
    EXPECT_EQ(status().exitCode(), u"1137");
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"115", u"Z", name, u"1.0"}));
    EXPECT_EQ(status().attributes.count(u"PATH"), 0U);
  }
  [[nodiscard]] std::vector<std::pair<int, WideText>> reports() const {
    std::vector<std::pair<int, WideText>> list;
    for (const SavedStatus& saved : statusHistory()) list.emplace_back(saved.state, saved.exitCode());
    return list;
  }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  const WideText registerPath = path(u"flash/ZELMORA/updates.xml");
  StubbornFileSystem disk;
  std::vector<Update> updates;
  CommandRecord command;
};

TEST_F(UninstallPackageRunnerTest, TakesFilesElementsAndRegisterEntriesOff) {
  putVersionFile({"alps", "iberia", "nordic"});
  add(u"App", u"storage_for_software", {mapEntry(u"alps")});
  add(u"Map", u"storage_for_content", {mapEntry(u"nordic")});
  add(u"Other", u"storage_for_software", {mapEntry(u"iberia")});
  writeRegister();
  ask(u"App");
  ask(u"Map");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(tree(flash),
            (std::vector<std::string>{"ZELMORA/", "ZELMORA/updates.xml", "config/", "config/software/",
                                      "config/software/version.xml", "files/", "files/Other"}));
  EXPECT_EQ(tree(card), (std::vector<std::string>{"files/"}));
  EXPECT_EQ(mapsIn(), "iberia ");
  EXPECT_EQ(registered(), "Other ");
  EXPECT_EQ(reports(),
            (std::vector<std::pair<int, WideText>>{{statPreparing, u"1057"}, {statSuccess, u"1010"}}));
  EXPECT_TRUE(status().descriptions.empty());
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(UninstallPackageRunnerTest, NothingToUninstallIsSuccessWithoutALookAtTheDevice) {
  command.storageCardDriveLetter = path(u"nowhere");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(reports(),
            (std::vector<std::pair<int, WideText>>{{statPreparing, u"1057"}, {statSuccess, u"1010"}}));
}

TEST_F(UninstallPackageRunnerTest, AStorageThatIsMissingOrWriteProtectedIs1136) {
  add(u"App", u"storage_for_software");
  writeRegister();
  ask(u"App");
  disk.readOnly = flash;
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1136");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", missingCard, flash}));
  EXPECT_EQ(status().attributes.at(u"PATH"), flash);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  disk.readOnly.clear();
  command.storageCardDriveLetter = u"Q:\\device";
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(status().exitCode(), u"1136");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"100", missingCard, u"Q:\\device"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), u"Q:/device");
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"Q:");
  EXPECT_EQ(registered(), "App ");
  EXPECT_TRUE(fileExists(flash + u"/files/App"));
}

TEST_F(UninstallPackageRunnerTest, AnUpdateThatIsNotRegisteredIs1137) {
  add(u"App", u"storage_for_software");
  writeRegister();
  const std::string before = readFile(registerPath);
  ask(u"Game");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"Game");
  command.uninstallEntries.clear();
  ask(u"App", u"2.0");
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"115", u"Z", u"App", u"2.0"}));
  EXPECT_EQ(readFile(registerPath), before);
  EXPECT_TRUE(fileExists(flash + u"/files/App"));
}

TEST_F(UninstallPackageRunnerTest, AnEmptyCompanyIsADescriptionAllTheSame) {
  command.uninstallEntries.push_back({u"", u"Game", u"1.0"});
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"115", u"", u"Game", u"1.0"}));
}

TEST_F(UninstallPackageRunnerTest, ADeviceWithoutARegisterOrWithADamagedOneIs1137AndUnchanged) {
  ask(u"App");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"App");
  EXPECT_EQ(tree(flash), (std::vector<std::string>{"ZELMORA/"}));
  for (const char* damaged : {"<updates>", "<updates><update><name>\xff</name></update></updates>"}) {
    writeFile(registerPath, damaged);
    EXPECT_NE(uninstall(), 0);
    expect1137(u"App");
    EXPECT_EQ(readFile(registerPath), damaged);
  }
  std::filesystem::remove_all(folder.native() / "flash/ZELMORA");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"App");
  EXPECT_TRUE(tree(flash).empty());
  EXPECT_TRUE(tree(workTempFolder).empty());
}

TEST_F(UninstallPackageRunnerTest, ContentWithoutASecondPathIs1134AndThen1137) {
  add(u"Map", u"storage_for_content");
  writeRegister();
  command.secondDriveLetter.clear();
  ask(u"Map");
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(reports(),
            (std::vector<std::pair<int, WideText>>{
                {statPreparing, u"1057"}, {statErrorOccured, u"1134"}, {statErrorOccured, u"1137"}}));
  EXPECT_EQ(statusHistory()[1].descriptions, (std::vector<WideText>{u"100", missingCard}));
  expect1137(u"Map");
  EXPECT_EQ(registered(), "Map ");
  EXPECT_TRUE(fileExists(card + u"/files/Map"));
}

TEST_F(UninstallPackageRunnerTest, AWriteProtectedCardIs1134AndThen1137AndKeepsAllThatIsOnIt) {
  putVersionFile({"alps"});
  add(u"Map", u"storage_for_content", {mapEntry(u"alps")});
  writeRegister();
  disk.readOnly = card;
  ask(u"Map");
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(reports(),
            (std::vector<std::pair<int, WideText>>{
                {statPreparing, u"1057"}, {statErrorOccured, u"1134"}, {statErrorOccured, u"1137"}}));
  EXPECT_EQ(registered(), "Map ");
  EXPECT_TRUE(fileExists(card + u"/files/Map"));
  EXPECT_EQ(mapsIn(), "alps ");
}

TEST_F(UninstallPackageRunnerTest, AMainStorageThatLetsNothingBeChangedForAMomentKeepsTheUpdate) {
  add(u"App", u"storage_for_software");
  writeRegister();
  ask(u"App");
  const WideText probe = flash + u'/' + WideText(writeProbeName);
  FaultyFileSystem watching(disk);
  int operationsSince = 0;
  watching.before = [&](int, const std::string& operation) {
    if (operationsSince > 0) ++operationsSince;
    if (operation == "removeFile" && !fileExists(probe)) operationsSince = 1;
    disk.readOnly = operationsSince == 1 || operationsSince == 2 ? flash : WideText();
  };
  useFileSystem(watching);
  EXPECT_NE(uninstall(), 0);
  useFileSystem(disk);
  expect1137(u"App");
  EXPECT_EQ(registered(), "App ");
}

TEST_F(UninstallPackageRunnerTest, WithoutASecondPathNothingOfTheComputerIsTouched) {
  const WideText mine = path(u"mine");
  writeFile(mine, "user's");
  add(u"Map", u"storage_for_content").files.push_back({mine.substr(1), 0});
  add(u"App", u"storage_for_software").files.push_back({mine.substr(1), 0});
  writeRegister();
  command.secondDriveLetter.clear();
  ask(u"App");
  ask(u"Map");
  EXPECT_NE(uninstall(), 0);
  EXPECT_EQ(readFile(mine), "user's");
  EXPECT_EQ(registered(), "Map ");
}

TEST_F(UninstallPackageRunnerTest, FilesThatHaveGoneAlreadyAreNoError) {
  add(u"App", u"storage_for_software").files.push_back({u"gone/file", 0});
  writeRegister();
  std::filesystem::remove(folder.native() / "flash/files/App");
  ask(u"App");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(registered(), "");
}

TEST_F(UninstallPackageRunnerTest, AnXmlFileThatCanNotBeLoadedIs1137AndTheUpdateStaysWithoutItsFiles) {
  putVersionFile({"alps", "iberia"});
  add(u"App", u"storage_for_software", {mapEntry(u"alps"), mapEntry(u"alps", u"config/damaged.xml")});
  writeFile(flash + u"/config/damaged.xml", "<config>");
  writeRegister();
  ask(u"App");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"App");
  EXPECT_FALSE(fileExists(flash + u"/files/App"));
  EXPECT_EQ(mapsIn(), "iberia ");
  EXPECT_EQ(registered(), "App ");
  // Once it can be loaded, the rest of the work is done.
  putVersionFile({"alps"}, u"config/damaged.xml");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(registered(), "");
  EXPECT_EQ(mapsIn(u"config/damaged.xml"), "");
}

TEST_F(UninstallPackageRunnerTest, AnUpdateThatBroughtItsXmlFileGoesWithTheFile) {
  add(u"App", u"storage_for_software", {mapEntry(u"alps", u"apps/conf.xml")})
      .files.push_back({u"apps\\conf.xml", 0});
  putVersionFile({"alps"}, u"apps/conf.xml");
  writeRegister();
  ask(u"App");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_FALSE(fileExists(flash + u"/apps/conf.xml"));
  EXPECT_EQ(registered(), "");
}

TEST_F(UninstallPackageRunnerTest, AnXmlFileThatIsNotThereIs1137AndTheUpdateStays) {
  for (const WideText location : {u"storage_for_software", u"storage_for_content"}) {
    SCOPED_TRACE(toUtf8(location));
    updates.clear();
    command.uninstallEntries.clear();
    add(u"App", location, {mapEntry(u"alps", u"config/none.xml")});
    writeRegister();
    ask(u"App");
    EXPECT_NE(uninstall(), 0);
    expect1137(u"App");
    EXPECT_EQ(registered(), "App ");
  }
}

TEST_F(UninstallPackageRunnerTest, WhenTheSecondOfThreeFailsTheFirstStaysUninstalledAndTheThirdIsNotTouched) {
  putVersionFile({"first", "second", "third"});
  add(u"First", u"storage_for_software", {mapEntry(u"first")});
  add(u"Second", u"storage_for_software", {mapEntry(u"second", u"damaged.xml")});
  writeFile(flash + u"/damaged.xml", "<config>");
  add(u"Third", u"storage_for_software", {mapEntry(u"third")});
  writeRegister();
  ask(u"First");
  ask(u"Second");
  ask(u"Third");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"Second");
  EXPECT_EQ(registered(), "Second Third ");
  EXPECT_EQ(mapsIn(), "second third ");
  EXPECT_FALSE(fileExists(flash + u"/files/First"));
  EXPECT_FALSE(fileExists(flash + u"/files/Second"));
  EXPECT_TRUE(fileExists(flash + u"/files/Third"));
}

TEST_F(UninstallPackageRunnerTest, AnUpdateThatIsNamedTwiceIsNotThereTheSecondTime) {
  add(u"App", u"storage_for_software");
  writeRegister();
  ask(u"App");
  ask(u"App");
  EXPECT_NE(uninstall(), 0);
  expect1137(u"App");
  EXPECT_EQ(registered(), "");
}

TEST_F(UninstallPackageRunnerTest, WhateverTheLastStatusTheDeviceIsUpToDateBeforeIt) {
  for (const WideText failing : {u"", u"Unknown", u"Map"}) {
    SCOPED_TRACE(toUtf8(failing));
    updates.clear();
    command.uninstallEntries.clear();
    command.secondDriveLetter.clear();
    putVersionFile({"alps", "iberia"});
    add(u"App", u"storage_for_software", {mapEntry(u"alps")});
    add(u"Map", u"storage_for_content");
    writeRegister();
    ask(u"App");
    if (!failing.empty()) ask(failing);

    // The register and the version file as they are each time when a status gets its name.
    FaultyFileSystem watching(disk);
    std::vector<std::string> seen;
    watching.before = [&](int, const std::string& operation) {
      if (operation == "rename") seen.push_back(readFile(registerPath) + mapsIn());
    };
    useFileSystem(watching);
    EXPECT_EQ(uninstall() == 0, failing.empty());
    useFileSystem(disk);
    const std::size_t lastReports = failing == u"Map" ? 2 : 1;
    ASSERT_GT(seen.size(), lastReports + 1);
    for (std::size_t back = 1; back <= lastReports; ++back) {
      EXPECT_EQ(seen[seen.size() - back].find("<name>App</name>"), std::string::npos);
      EXPECT_TRUE(seen[seen.size() - back].ends_with("</updates>\niberia "));
    }
  }
}

TEST_F(UninstallPackageRunnerTest, AStorageThatGoesBetweenTwoUpdatesLeavesARegisterThatTellsSo) {
  add(u"First", u"storage_for_software");
  add(u"Second", u"storage_for_software");
  writeRegister();
  UninstallSession session;
  PackageUninstaller first(session);
  ASSERT_EQ(first.init(flash, u"Z", u"First", u"1.0", {}), 0);
  ASSERT_EQ(first.run(), 0);
  EXPECT_EQ(registered(), "First Second ");
  PackageUninstaller second(session);
  EXPECT_EQ(second.init(path(u"nowhere"), u"Z", u"Second", u"1.0", {}), -1);
  EXPECT_EQ(status().exitCode(), u"1136");
  EXPECT_EQ(registered(), "Second ");
  EXPECT_EQ(second.run(), 1);
  EXPECT_EQ(status().exitCode(), u"1136");
}

TEST_F(UninstallPackageRunnerTest, AnUninstallerThatWasNotPreparedGives1WithoutAReport) {
  UninstallSession session;
  EXPECT_EQ(PackageUninstaller(session).run(), 1);
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UninstallPackageRunnerTest, AtTheEndOfTheProcessTheDeviceIsBroughtUpToDate) {
  putVersionFile({"alps", "iberia"});
  add(u"App", u"storage_for_software", {mapEntry(u"alps")});
  add(u"Other", u"storage_for_software");
  writeRegister();
  UninstallSession session;
  PackageUninstaller uninstaller(session);
  ASSERT_EQ(uninstaller.init(flash, u"Z", u"App", u"1.0", {}), 0);
  ASSERT_EQ(uninstaller.run(), 0);
  EXPECT_EQ(mapsIn(), "alps iberia ");
  const std::string oldRegister = readFile(registerPath);
  std::string mapsWithTheNewRegister;
  FaultyFileSystem watching(disk);
  watching.before = [&](int, const std::string&) {
    const std::string now = readFile(registerPath);
    if (now != "<missing>" && now != oldRegister && mapsWithTheNewRegister.empty())
      mapsWithTheNewRegister = mapsIn();
  };
  useFileSystem(watching);
  runProcessEndActions();
  useFileSystem(disk);
  EXPECT_EQ(mapsIn(), "iberia ");
  EXPECT_EQ(registered(), "Other ");
  EXPECT_EQ(mapsWithTheNewRegister, "iberia ") << "the XML files come first";
  EXPECT_EQ(session.close(), std::nullopt);
  EXPECT_EQ(session.openRegister(flash, {}), nullptr);
}

TEST_F(UninstallPackageRunnerTest, ARegisterThatDoesNotReachTheDeviceIsNoSuccess) {
  startLog();
  add(u"First", u"storage_for_software");
  add(u"Second", u"storage_for_software");
  writeRegister();
  ask(u"First");
  ask(u"Second");
  disk.unreplaceable = u"updates.xml";
  EXPECT_NE(uninstall(), 0);
  expect1137(u"First");
  EXPECT_EQ(registered(), "First Second ");
  EXPECT_TRUE(logHas(u"Could not copy updates.xml back to the client, client update xml file!"));
  disk.unreplaceable.clear();
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(registered(), "");
}

TEST_F(UninstallPackageRunnerTest, AnXmlFileThatCanNotBeReplacedKeepsItsUpdateAndTheLaterOnesInTheRegister) {
  putVersionFile({"a", "b", "c"});
  putVersionFile({"a", "b", "c"}, u"config/other.xml");
  add(u"First", u"storage_for_software", {mapEntry(u"a", u"config/other.xml")});
  add(u"Second", u"storage_for_software", {mapEntry(u"b")});
  add(u"Third", u"storage_for_software", {mapEntry(u"c", u"config/other.xml")});
  add(u"Fourth", u"storage_for_software");
  writeRegister();
  for (const WideText name : {u"First", u"Second", u"Third"}) ask(name);
  disk.unreplaceable = u"version.xml";
  EXPECT_NE(uninstall(), 0);
  expect1137(u"Second");
  EXPECT_EQ(registered(), "Second Third Fourth ");
  EXPECT_EQ(mapsIn(), "a b c ");
  EXPECT_EQ(mapsIn(u"config/other.xml"), "b ");
  disk.unreplaceable.clear();
  command.uninstallEntries.erase(command.uninstallEntries.begin());
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(registered(), "Fourth ");
  EXPECT_EQ(mapsIn(), "a c ");
}

TEST_F(UninstallPackageRunnerTest, WhenALaterOneFailsTooTheEarlierOneIsReported) {
  putVersionFile({"a"});
  add(u"First", u"storage_for_software", {mapEntry(u"a")});
  writeRegister();
  ask(u"First");
  ask(u"Unknown");
  disk.unreplaceable = u"version.xml";
  EXPECT_NE(uninstall(), 0);
  expect1137(u"First");
  EXPECT_EQ(registered(), "First ");
}

TEST_F(UninstallPackageRunnerTest, AnXmlFileThatALaterUpdateDeletesStaysDeleted) {
  putVersionFile({"a", "b"});
  add(u"First", u"storage_for_software", {mapEntry(u"a")});
  add(u"Second", u"storage_for_software").files.push_back({versionFile, 0});
  writeRegister();
  ask(u"First");
  ask(u"Second");
  EXPECT_EQ(uninstall(), 0);
  EXPECT_FALSE(fileExists(flash + u'/' + versionFile));
  EXPECT_EQ(registered(), "");
}

TEST_F(UninstallPackageRunnerTest, ManyUpdatesCostOneReadingAndOneReplacementOfEachFile) {
  std::vector<std::string> maps;
  for (int number = 0; number < 2000; ++number) {
    const WideText name = u"map" + numberText(number);
    maps.push_back(toUtf8(name));
    Update update;
    update.info.company = u"Z";
    update.info.name = name;
    update.info.version = u"1.0";
    update.info.installLocation = u"storage_for_software";
    update.xmlEntries = {mapEntry(name)};
    updates.push_back(update);
    if (number != 1000) ask(name);
  }
  putVersionFile(maps);
  writeRegister();
  disk.readCount.clear();
  disk.replacements.clear();
  EXPECT_EQ(uninstall(), 0);
  EXPECT_EQ(disk.replacements[registerPath], 1);
  EXPECT_EQ(disk.replacements[flash + u'/' + versionFile], 1);
  // Once to be changed; then the replacement compares and checks it.
  EXPECT_LE(disk.readCount[registerPath], 3);
  EXPECT_LE(disk.readCount[flash + u'/' + versionFile], 3);
  EXPECT_EQ(registered(), "map1000 ");
  EXPECT_EQ(mapsIn(), "map1000 ");
}

TEST_F(UninstallPackageRunnerTest, AHostileRegisterReachesNothingOutsideTheStorages) {
  writeFile(path(u"outside"), "mine");
  writeFile(path(u"outside.xml"), "<config><maps><map><name>a</name></map></maps></config>");
  std::filesystem::create_directory_symlink(folder.native(), folder.native() / "flash/up");
  std::filesystem::create_symlink(folder.native() / "outside", folder.native() / "flash/link");
  Update& hostile = add(u"Hostile", u"storage_for_software");
  for (const WideText& client : {WideText(u"../outside"), path(u"outside"), WideText(u"E:\\outside"),
                                 WideText(u"up/outside"), WideText(u"link"), WideText(u"ZELMORA/updates.xml"),
                                 WideText(u"files/../../outside"), WideText(u"up"), WideText(u"ZELMORA")})
    hostile.files.push_back({client, 0});
  hostile.xmlEntries = {{u"ZELMORA/updates.xml", 3, u"updates/update", u"name/Hostile"}};
  for (const WideText& file :
       {WideText(u"../outside.xml"), path(u"outside.xml"), WideText(u"up/outside.xml")})
    add(u"Xml " + lastComponent(file) + numberText(static_cast<std::int64_t>(file.size())),
        u"storage_for_software", {mapEntry(u"a", file)});
  writeRegister();
  for (const Update& update : updates) {
    command.uninstallEntries.clear();
    ask(update.info.name);
    EXPECT_EQ(uninstall(), 0);
  }
  EXPECT_EQ(readFile(path(u"outside")), "mine");
  EXPECT_EQ(readFile(path(u"outside.xml")), "<config><maps><map><name>a</name></map></maps></config>");
  EXPECT_TRUE(fileExists(registerPath));
  EXPECT_EQ(registered(), "");
}

// A device on which two updates are to be uninstalled and one stays, and how it may be at any moment.
class InterruptedUninstallTest : public UninstallPackageRunnerTest {
 protected:
  void makeDevice() {
    for (const char* name : {"flash", "card", "temp/ZELMORATevra_tmp"}) {
      std::filesystem::remove_all(folder.native() / name);
      std::filesystem::create_directories(folder.native() / name);
    }
    updates.clear();
    makeFolder(flash + u"/ZELMORA");
    putVersionFile({"alps", "iberia", "nordic"});
    add(u"App", u"storage_for_software", {mapEntry(u"alps")});
    add(u"Map", u"storage_for_content", {mapEntry(u"nordic")});
    add(u"Other", u"storage_for_software", {mapEntry(u"iberia")});
    writeRegister();
    command.uninstallEntries.clear();
    ask(u"App");
    ask(u"Map");
  }
  // Behind a job that was cut off, after the next one has put right what an interrupted replacement left.
  void expectWholeDevice() {
    const bool versionFileStands = fileExists(flash + u'/' + versionFile);
    if (versionFileStands) {
      EXPECT_TRUE(mapsIn() == "alps iberia nordic " || mapsIn() == "iberia ") << mapsIn();
    }
    const std::string names = registered();
    EXPECT_TRUE(names == "App Map Other " || names == "Map Other " || names == "Other ") << names;
    // What the register no longer names is gone.
    if (names.find("App") == std::string::npos) {
      EXPECT_FALSE(fileExists(flash + u"/files/App"));
      EXPECT_EQ(mapsIn(), "iberia ");
    }
  }
  void expectFinished() {
    EXPECT_EQ(tree(flash),
              (std::vector<std::string>{"ZELMORA/", "ZELMORA/updates.xml", "config/", "config/software/",
                                        "config/software/version.xml", "files/", "files/Other"}));
    EXPECT_EQ(tree(card), (std::vector<std::string>{"files/"}));
    EXPECT_EQ(mapsIn(), "iberia ");
    EXPECT_EQ(registered(), "Other ");
  }
  // What is left in the register is uninstalled by the next job.
  void finish() {
    const std::string names = registered();
    std::erase_if(command.uninstallEntries, [&names](const UninstallEntry& entry) {
      return names.find(toUtf8(entry.product)) == std::string::npos;
    });
    EXPECT_EQ(uninstall(), 0);
    expectFinished();
  }
};

TEST_F(InterruptedUninstallTest, KilledAtAnyOperationTheDeviceIsWholeAndTheNextJobFinishesTheWork) {
  int killed = 0;
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE("killed at operation " + std::to_string(operation));
    makeDevice();
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem faulty(disk);
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      static_cast<void>(uninstall());
    });
    expectWholeDevice();
    if (ended) break;
    ++killed;
    finish();
    if (HasFailure()) return;
  }
  EXPECT_GT(killed, 20);
}

TEST_F(InterruptedUninstallTest, WhicheverOperationFailsTheDeviceIsWholeAndTheNextJobFinishesTheWork) {
  for (const bool failAllAfter : {false, true}) {
    for (int operation = 1, count = 1; operation <= count; ++operation) {
      SCOPED_TRACE((failAllAfter ? "gone from operation " : "failing operation ") +
                   std::to_string(operation));
      makeDevice();
      FaultyFileSystem faulty(disk);
      faulty.failAt = operation;
      faulty.failAllAfter = failAllAfter;
      useFileSystem(faulty);
      const int result = uninstall();
      useFileSystem(disk);
      count = std::max(count, faulty.count);
      const std::string names = registered();
      EXPECT_TRUE(names == "App Map Other " || names == "Map Other " || names == "Other ") << names;
      EXPECT_TRUE(names != "Other " || mapsIn() == "iberia ");
      // That a file can't be deleted, be it one of the update's or of the job's own, is no failure.
      if (result == 0) {
        EXPECT_EQ(names, "Other ");
      } else {
        finish();
      }
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace ZelmoraTevra
