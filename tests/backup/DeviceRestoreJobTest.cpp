#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "backup/DeviceRestoreJob.h"
#include "core/Globals.h"
#include "core/IndicatorFile.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/InstallXml.h"
#include "tests/device/DeviceTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobProcess.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// A format takes away what is on the drive.
class EmptyingMaintenance : public FakeMaintenance {
 public:
  explicit EmptyingMaintenance(fs::path folder) : folder_(std::move(folder)) {}

  int format(char16_t letter, platform::FormatKind kind, const WideText& label) override {
    const int result = FakeMaintenance::format(letter, kind, label);
    if (result == 0) {
      const fs::path drive = folder_ / toUtf8(WideText(1, letter));
      std::vector<fs::path> entries;
      for (const fs::directory_entry& entry : fs::directory_iterator(drive)) entries.push_back(entry.path());
      for (const fs::path& entry : entries) fs::remove_all(entry);
    }
    return result;
  }

 private:
  fs::path folder_;
};

// A computer's disk with so many bytes free.
class SmallTempDisk : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
    const bool known = ForwardingFileSystem::space(path, space, error);
    if (free && toBackslashes(path) == toBackslashes(workTempFolder)) space.free = *free;
    return known;
  }

  std::optional<std::uint64_t> free;
};

// Something happens when a file is opened.
class OpeningHook : public platform::ForwardingFileSystem {
 public:
  OpeningHook(platform::FileSystem& target, WideText file, std::function<void()> action)
      : ForwardingFileSystem(target), file_(std::move(file)), action_(std::move(action)) {}

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (toBackslashes(path) == toBackslashes(file_)) action_();
    return ForwardingFileSystem::open(path, mode, error);
  }

 private:
  WideText file_;
  std::function<void()> action_;
};

// Something happens when a place is asked for its room.
class SpaceHook : public platform::ForwardingFileSystem {
 public:
  SpaceHook(platform::FileSystem& target, std::function<void(const WideText&)> action)
      : ForwardingFileSystem(target), action_(std::move(action)) {}

  bool space(const WideText& path, platform::Space& space, platform::ErrorCode& error) override {
    action_(path);
    return ForwardingFileSystem::space(path, space, error);
  }

 private:
  std::function<void(const WideText&)> action_;
};

// An end of the process that a test outlives.
struct ProcessEnded {};

class EndlessProcesses : public ForwardingProcesses {
 public:
  using ForwardingProcesses::ForwardingProcesses;

  WideText modulePath() override { return program.empty() ? ForwardingProcesses::modulePath() : program; }
  [[noreturn]] void end(int /*exitValue*/) override { throw ProcessEnded(); }

  WideText program;  // the path of the program, unless it is empty
};

class DeviceRestoreJobTest : public DeviceTest {
 protected:
  DeviceRestoreJobTest() : maintenance_(folder.native()), disk(*platform::machine().files) {
    startLog();
    addDrive(u'E').capacity = 100'000'000;
    addDrive(u'F').capacity = 100'000'000;
    changeDrives();
    for (const char16_t letter : {u'E', u'F'}) {
      maintenance_.outputs[letter] = "The type of the file system is FAT32.";
      writeOn(letter, "old/file", "old");
    }
    writeOn(u'E', "ZELMORA/updates.xml", InstallDescription::registerOf({}));
    use(disk);
    command.commandName = u"RESTORE_DEVICE";
    command.storageCardDriveLetter = u"E:";
    command.secondDriveLetter = u"F:";
    command.localInstall = true;
    zip.add("v", "<version/>").add("a", "new a").add("b", "new b").add("c", "new c");
    writeFile(zipPath, zip.bytes());
  }

  void use(platform::FileSystem& files) {
    platform::Machine machine = platform::machine();
    machine.files = &files;
    machine.maintenance = &maintenance_;
    useMachine(machine);
  }

  ContentEntry& addPackage(const InstallDescription& description) { return addPackage(description.text()); }
  ContentEntry& addPackage(const std::string& description) {
    ContentEntry entry;
    entry.fileSize = 100;
    entry.url = zipPath;
    entry.md5 = u"A";
    entry.installXml = std::make_shared<InstallXml>();
    EXPECT_EQ(entry.installXml->load(toWide(description)), 0);
    command.packages.push_back(entry);
    return command.packages.back();
  }
  // An update without the register's folder, one for the card, and one with the folder.
  void addGoodPackage() {
    addPackage(InstallDescription()
                   .update("App", "storage_for_software", 5)
                   .file("a", "apps/a", "new a")
                   .update("Map", "storage_for_content", 5)
                   .file("b", "maps/b", "new b")
                   .update("System", "storage_for_software", 10)
                   .file("v", "ZELMORA/version.txt", "<version/>"));
  }
  // Of one update that takes so many bytes.
  void addLarge(const std::string& location, std::int64_t size) {
    addPackage(InstallDescription().update("Large", location, size).file("v", "ZELMORA/v", "<version/>"));
  }

  int run() {
    job = std::make_unique<DeviceRestoreJob>();
    const int prepared = job->prepareDeviceRestore(command);
    testing::internal::CaptureStdout();
    const int result = prepared != 0 ? prepared : job->runDeviceRestore();
    testing::internal::GetCapturedStdout();
    return result;
  }
  int check() {
    job = std::make_unique<DeviceRestoreJob>();
    const int prepared = job->prepareDeviceRestore(command);
    return prepared != 0 ? prepared : job->checkDeviceRestoreSize();
  }

  // The last status, an error with this code alone.
  void expectError(const WideText& code, const std::vector<WideText>& descriptions) const {
    const SavedStatus last = status();
    EXPECT_EQ(last.state, statErrorOccured);
    EXPECT_EQ(last.exitCode(), code);
    EXPECT_EQ(last.descriptions, descriptions);
  }
  void expectUntouched() const {
    EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/updates.xml", "old/", "old/file"));
    EXPECT_THAT(treeOn(u'F'), ElementsAre("old/", "old/file"));
    for (const std::string& call : maintenance_.calls) EXPECT_FALSE(call.starts_with("format")) << call;
  }
  [[nodiscard]] WideText attribute(const WideText& name) const {
    const SavedStatus last = status();
    const auto found = last.attributes.find(name);
    return found == last.attributes.end() ? u"<none>" : found->second;
  }
  // available, needed and what is left of the main storage, then of the card
  [[nodiscard]] std::vector<WideText> amounts() const {
    std::vector<WideText> found;
    for (const WideText storage : {u"Software", u"Content"})
      for (const WideText name : {u"availableSpace", u"neededSpace", u"availableSpacePostInst"})
        found.push_back(attribute(name + storage + u"Storage"));
    return found;
  }
  [[nodiscard]] std::vector<std::pair<int, WideText>> reports() const {
    std::vector<std::pair<int, WideText>> found;
    for (const SavedStatus& saved : statusHistory()) found.emplace_back(saved.state, saved.exitCode());
    return found;
  }
  [[nodiscard]] std::string registerOnDevice(const WideText& layout = u"ZELMORA") const {
    return readFile(path(u"E/" + layout + u"/updates.xml"));
  }
  static std::string entry(const std::string& name, const std::string& client, bool onCard = false) {
    return InstallDescription::registerEntry(name, onCard ? "storage_for_content" : "storage_for_software",
                                             {client});
  }

  const WideText zipPath = path(u"package.zip");
  const WideText deviceGone =
      u"Could not access your device. Please make sure it is still connected and try again.";
  const WideText deviceProtected =
      u"Could not access your device. Please remove the write protection and try again.";
  const WideText invalid = u"Install file is invalid! Contact customer support.";
  const WideText formatFailed = u"An error occurred when try to format your device. Please retry.";
  EmptyingMaintenance maintenance_;
  SmallTempDisk disk;
  ZipBuilder zip;
  CommandRecord command;
  std::unique_ptr<DeviceRestoreJob> job;
};

// Preparing.

TEST_F(DeviceRestoreJobTest, AMainStorageThatIsGoneIs1250) {
  addGoodPackage();
  command.storageCardDriveLetter = u"G:";
  EXPECT_EQ(run(), -1);
  expectError(u"1250", {u"100", deviceGone});
  EXPECT_TRUE(logHas(u"Primary path: G:"));
}

TEST_F(DeviceRestoreJobTest, AMainStorageThatIsWriteProtectedIs1256AndNot1250) {
  addGoodPackage();
  addDrive(u'G').readOnly = true;
  changeDrives();
  command.storageCardDriveLetter = u"G:";
  EXPECT_EQ(run(), -1);
  expectError(u"1256", {u"100", deviceProtected});
  EXPECT_TRUE(logHas(u"Primary path: G:"));
}

TEST_F(DeviceRestoreJobTest, ASecondStorageThatIsGoneIs1258) {
  addGoodPackage();
  command.secondDriveLetter = u"G:";
  EXPECT_EQ(check(), -1);
  expectError(u"1258", {u"100", deviceGone});
  EXPECT_TRUE(logHas(u"Secondary path: G:"));
}

TEST_F(DeviceRestoreJobTest, ASecondStorageThatIsWriteProtectedIs1257) {
  addGoodPackage();
  addDrive(u'G').readOnly = true;
  changeDrives();
  command.secondDriveLetter = u"G:";
  EXPECT_EQ(run(), -1);
  expectError(u"1257", {u"100", deviceProtected});
  EXPECT_TRUE(logHas(u"Secondary path: G:"));
}

TEST_F(DeviceRestoreJobTest, StoragesOfWhichOneIsOrHoldsTheOtherAre1258) {
  addGoodPackage();
  makeFolder(path(u"F/card"));
  fs::create_directory_symlink(folder.native() / "E", folder.native() / "device");
  for (const auto& [main, second] :
       {std::pair(WideText(u"E:"), WideText(u"e:\\")), std::pair(WideText(u"F:"), path(u"F/card")),
        std::pair(path(u"F/card"), WideText(u"F:")), std::pair(WideText(u"E:"), path(u"device/old"))}) {
    command.storageCardDriveLetter = main;
    command.secondDriveLetter = second;
    EXPECT_EQ(run(), -1) << toUtf8(main) << " " << toUtf8(second);
    expectError(u"1258", {u"100", deviceGone});
    EXPECT_TRUE(logHas(u"Secondary path: " + second));
    EXPECT_EQ(check(), -1);
    expectError(u"1258", {u"100", deviceGone});
  }
  fs::remove(folder.native() / "F/card");
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, APackageWithoutASoundDescriptionIs1251) {
  addGoodPackage();
  command.packages[0].installXml = nullptr;
  EXPECT_EQ(run(), -1);
  expectError(u"1251", {u"100", invalid});
  command.packages[0].installXml = std::make_shared<InstallXml>();
  EXPECT_EQ(check(), -1);
  expectError(u"1251", {u"100", invalid});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AJobThatIsNotReadyFailsWithoutAReport) {
  DeviceRestoreJob unprepared;
  EXPECT_EQ(unprepared.runDeviceRestore(), -1);
  EXPECT_EQ(unprepared.checkDeviceRestoreSize(), -1);
  EXPECT_THAT(statusHistory(), IsEmpty());
}

// What the packages hold.

TEST_F(DeviceRestoreJobTest, OlderPackagesTogetherWithOthersAre1252And1261) {
  addGoodPackage();
  addPackage(InstallDescription().update("Old", "", 5).file("c", "c", "new c"));
  EXPECT_EQ(run(), -1);
  expectError(u"1252", {u"100", invalid});
  EXPECT_EQ(check(), -1);
  expectError(u"1261", {u"100", invalid});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AFlagThatIsNotSupportedIsFoundBeforeTheFormat) {
  for (const int flag : {5, 6, 9, -1}) {
    command.packages.clear();
    addGoodPackage();
    addPackage(InstallDescription().update("N", "other", 5).file("c", "c", "new c", flag));
    EXPECT_EQ(run(), -1);
    expectError(u"1252", {u"100", invalid});
    EXPECT_EQ(check(), -1);
    expectError(u"1261", {u"100", invalid});
  }
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, APathThatLeavesTheDeviceIsFoundBeforeTheFormat) {
  for (const auto& [local, client] : {std::pair("c", "../c"), std::pair("c", "/c"), std::pair("../c", "c")}) {
    command.packages.clear();
    addGoodPackage();
    addPackage(InstallDescription().update("N", "storage_for_software", 5).file(local, client, "new c"));
    EXPECT_EQ(run(), -1);
    expectError(u"1252", {u"100", invalid});
  }
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, DownloadsThatWouldTakeEachOthersPlaceAre1252) {
  addGoodPackage();
  addGoodPackage();
  command.localInstall = false;
  command.packages[0].url = u"http://127.0.0.1/one/a.zip?1";
  command.packages[1].url = u"http://127.0.0.1/two/A.ZIP?1";
  command.packages[1].md5 = u"B";
  EXPECT_EQ(run(), -1);
  expectError(u"1252", {u"100", invalid});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, ALocalZipOnTheDeviceIsNotFormattedAway) {
  writeOn(u'F', "old/my.zip", zip.bytes());
  for (const WideText& url : {WideText(u"F:\\old\\my.zip"), path(u"F/old/my.zip")}) {
    command.packages.clear();
    addGoodPackage();
    command.packages[0].url = url;
    EXPECT_EQ(run(), -1);
    expectError(u"1252", {u"100", invalid});
    EXPECT_EQ(check(), -1);
    expectError(u"1261", {u"100", invalid});
  }
  EXPECT_EQ(readFile(path(u"F/old/my.zip")), zip.bytes());
}

TEST_F(DeviceRestoreJobTest, ALocalZipThatIsALinkToTheDeviceIsNotFormattedAway) {
  writeOn(u'E', "old/my.zip", zip.bytes());
  fs::create_symlink(folder.native() / "E/old/my.zip", folder.native() / "link.zip");
  addGoodPackage();
  command.packages[0].url = path(u"link.zip");
  EXPECT_EQ(run(), -1);
  expectError(u"1252", {u"100", invalid});
  EXPECT_EQ(readFile(path(u"E/old/my.zip")), zip.bytes());
}

TEST_F(DeviceRestoreJobTest, ALocalZipThatIsDamagedOrLacksAFileIsFoundBeforeTheFormat) {
  ZipBuilder::Options wrong;
  wrong.checksum = 1;
  const std::vector<std::string> damaged = {
      "no zip", "", zip.bytes().substr(0, zip.bytes().size() / 2), ZipBuilder().add("a", "new a").bytes(),
      ZipBuilder().add("v", "<version/>").add("a", "new a").add("b", "new b", wrong).bytes()};
  for (const std::string& bytes : damaged) {
    writeFile(zipPath, bytes);
    command.packages.clear();
    addGoodPackage();
    EXPECT_EQ(run(), -1);
    expectError(u"1252", {u"100", invalid});
  }
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AFileThatIsOnlyReplacedNeedNotBeInTheZip) {
  addGoodPackage();
  addPackage(InstallDescription()
                 .update("N", "storage_for_software", 5)
                 .file("c", "c", "new c")
                 .file("missing", "old/file", "x", 3)
                 .file("missing", "gone", "x", 4));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(path(u"E/c")), "new c");
  EXPECT_FALSE(fileExists(path(u"E/old/file")));
}

// The folder for the downloads.

TEST_F(DeviceRestoreJobTest, DownloadsMustTakeLessThanTheTempFolderHasFree) {
  addGoodPackage();
  addGoodPackage();
  command.packages[0].fileSize = 1'048'576;
  command.packages[1].fileSize = 524'288;
  disk.free = 1'572'864;
  for (const auto& [code, result] : {std::pair(u"1253", run()), std::pair(u"1262", check())}) {
    EXPECT_EQ(result, -1);
    EXPECT_THAT(statusHistory(), Contains(testing::Property(&SavedStatus::exitCode, code)));
  }
  expectError(u"1262", {u"104"});
  EXPECT_EQ(attribute(u"PATH"), toForwardSlashes(userTempFolder));
  EXPECT_EQ(attribute(u"DRIVE"), u"");
  EXPECT_EQ(attribute(u"PATH_SIZE"), u"1.50");
  EXPECT_EQ(attribute(u"UNIT"), u"MB");
  expectUntouched();
  disk.free = 1'572'865;
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(run(), 0);
}

TEST_F(DeviceRestoreJobTest, ATempFolderThatIsTooSmallForARestoreHasThePercentAndTheAttributesToo) {
  addGoodPackage();
  disk.free = 100;
  EXPECT_EQ(run(), -1);
  expectError(u"1253", {u"104"});
  EXPECT_EQ(attribute(u"PATH"), toForwardSlashes(userTempFolder));
  EXPECT_EQ(attribute(u"PATH_SIZE"), u"0.00");
  EXPECT_EQ(attribute(u"UNIT"), u"MB");
}

TEST_F(DeviceRestoreJobTest, ATempFolderOnTheDeviceTakesNoDownload) {
  addGoodPackage();
  writeOn(u'F', "temp/work/kept");
  for (const WideText& place : {WideText(u"F:\\temp\\work"), path(u"F/temp/work")}) {
    workTempFolder = place;
    EXPECT_EQ(run(), -1);
    expectError(u"1253", {u"104"});
    EXPECT_EQ(check(), -1);
    expectError(u"1262", {u"104"});
  }
  EXPECT_TRUE(fileExists(path(u"F/temp/work/kept")));
}

TEST_F(DeviceRestoreJobTest, ATempFolderThatIsGoneTakesNoDownload) {
  addGoodPackage();
  workTempFolder = path(u"nowhere");
  EXPECT_EQ(run(), -1);
  expectError(u"1253", {u"104"});
  expectUntouched();
}

// The room on the device.

TEST_F(DeviceRestoreJobTest, ADeviceThatIsFullHasRoomForItWillBeEmpty) {
  writeOn(u'E', "old/large", std::string(11'000'000, 'x'));
  addDrive(u'G').capacity = 11'200'000;
  changeDrives();
  writeOn(u'G', "old/large", std::string(11'000'000, 'x'));
  command.storageCardDriveLetter = u"G:";
  maintenance_.outputs[u'G'] = "FAT32";
  addGoodPackage();
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(status().exitCode(), u"1264");
  EXPECT_EQ(attribute(u"availableSpaceSoftwareStorage"), u"11200000");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(treeOn(u'G'),
              ElementsAre("ZELMORA/", "ZELMORA/updates.xml", "ZELMORA/version.txt", "apps/", "apps/a"));
}

TEST_F(DeviceRestoreJobTest, WhatFitsIsToldWithCapacitiesNeedsAndWhatIsLeft) {
  addGoodPackage();
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(status().state, statFitsToTarget);
  EXPECT_EQ(status().exitCode(), u"1264");
  EXPECT_THAT(status().descriptions, IsEmpty());
  // Two files of 5 and 10 bytes, each in a cluster of its own.
  const std::int64_t flash = 2 * 32'768;
  EXPECT_EQ(amounts(),
            (std::vector<WideText>{u"100000000", numberText(flash), numberText(100'000'000 - flash),
                                   u"100000000", u"32768", numberText(100'000'000 - 32'768)}));
  EXPECT_EQ(attribute(u"DriveName"), u"<none>");
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, WhatTemporaryUpdatesTakeIsLeftAfterwards) {
  const auto addTemporary = [this](const std::string& location, std::int64_t size) {
    std::string text =
        InstallDescription().update("T", location, size).file("v", "ZELMORA/v", "<version/>").text();
    const std::string start = "<update ";
    text.insert(text.find(start) + start.size(), "temporary=\"true\" ");
    addPackage(text);
  };
  const std::int64_t overhead = 32'768 - 10;
  addTemporary("storage_for_software", 1'000'000);
  addTemporary("storage_for_content", 2'000'000);
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(amounts(),
            (std::vector<WideText>{u"100000000", numberText(1'000'000 + overhead),
                                   numberText(100'000'000 - overhead), u"100000000",
                                   numberText(2'000'000 + overhead), numberText(100'000'000 - overhead)}));
  command.secondDriveLetter.clear();
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(attribute(u"availableSpacePostInstSoftwareStorage"), numberText(100'000'000 - 2 * overhead));
}

TEST_F(DeviceRestoreJobTest, AMainStorageThatGoesBetweenTwoLooksAtItsRoomIs1250) {
  addGoodPackage();
  int looks = 0;
  SpaceHook hook(disk, [&](const WideText& place) {
    if (place != u"E:" || ++looks < 2) return;
    removeDrive(u'E');
    changeDrives();
  });
  use(hook);
  EXPECT_EQ(check(), -1);
  expectError(u"1250", {u"100", deviceGone});
}

TEST_F(DeviceRestoreJobTest, ASizeCheckOfNothingNeedsTheReserve) {
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(status().exitCode(), u"1264");
  EXPECT_EQ(amounts(), (std::vector<WideText>{u"100000000", u"10485760", u"100000000", u"100000000", u"0",
                                              u"100000000"}));
}

TEST_F(DeviceRestoreJobTest, TheNeedWithTheReserveMayFillAStorageButNotExceedIt) {
  const std::int64_t overhead = 32'768 - 10;
  for (const bool fits : {true, false}) {
    command.packages.clear();
    addLarge("storage_for_software", 100'000'000 - 10'485'760 - overhead + (fits ? 0 : 1));
    EXPECT_EQ(check(), fits ? 0 : -1);
    EXPECT_EQ(status().exitCode(), fits ? u"1264" : u"1263");
  }
}

TEST_F(DeviceRestoreJobTest, WhatDoesNotFitIsToldByTheStorageThatFallsShort) {
  struct Case {
    std::int64_t software;
    std::int64_t content;
    WideText restored;
    WideText checked;
  };
  for (const Case& c : {Case{200'000'000, 0, u"1254", u"1263"}, Case{0, 200'000'000, u"1276", u"1272"},
                        Case{200'000'000, 300'000'000, u"1277", u"1273"}}) {
    command.packages.clear();
    addGoodPackage();
    if (c.software > 0) addLarge("storage_for_software", c.software);
    if (c.content > 0) addLarge("storage_for_content", c.content);
    // What the good package and the files' clusters take.
    const auto need = [](std::int64_t files, std::int64_t large) {
      return files * 32'768 + (large > 0 ? large + 32'768 - 10 : 0);
    };
    const std::int64_t software = need(2, c.software);
    const std::int64_t content = need(1, c.content);

    EXPECT_EQ(run(), -1);
    EXPECT_EQ(status().state, statNotEnoughSpace);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"110"}));
    EXPECT_EQ(status().exitCode(), c.restored);
    EXPECT_EQ(attribute(u"DriveName"), u"E:");
    EXPECT_EQ(attribute(u"DriveNameExternal"), u"F:");
    EXPECT_EQ(amounts(), (std::vector<WideText>{u"100000000", numberText(software), u"<none>", u"100000000",
                                                numberText(content), u"<none>"}));

    EXPECT_EQ(check(), -1);
    EXPECT_EQ(status().state, statNotEnoughSpace);
    EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"110"}));
    EXPECT_EQ(status().exitCode(), c.checked);
    EXPECT_EQ(attribute(u"DriveName"), u"E:");
    EXPECT_EQ(attribute(u"DriveNameExternal"), u"F:");
    EXPECT_EQ(amounts(),
              (std::vector<WideText>{u"100000000", numberText(software), numberText(100'000'000 - software),
                                     u"100000000", numberText(content), numberText(100'000'000 - content)}));
  }
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, WithoutACardWhatDoesNotFitIs1254And1263) {
  command.secondDriveLetter.clear();
  addLarge("storage_for_content", 200'000'000);
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1254");
  EXPECT_EQ(attribute(u"DriveNameExternal"), u"");
  EXPECT_EQ(attribute(u"availableSpaceContentStorage"), u"0");
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().exitCode(), u"1263");
}

TEST_F(DeviceRestoreJobTest, FilesThatGoWithTheFormatGiveNothingBackASecondTime) {
  const std::string large(3'000'000, 'x');
  writeOn(u'E', "ZELMORA/v", large);
  addLarge("storage_for_software", 100'000'000 - 10'485'760);
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().exitCode(), u"1263");
}

TEST_F(DeviceRestoreJobTest, AFileThatIsOnlyInstalledIfMissingIsMissingOnAnEmptyDevice) {
  writeOn(u'E', "ZELMORA/v", "older");
  addPackage(InstallDescription()
                 .update("System", "storage_for_software", 10)
                 .file("v", "ZELMORA/v", "<version/>", 1));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(path(u"E/ZELMORA/v")), "<version/>");
}

TEST_F(DeviceRestoreJobTest, FolderDeletionsDoNotNameTheFilesOfTheTimeBefore) {
  addPackage(InstallDescription()
                 .update("System", "storage_for_software", 10)
                 .file("v", "ZELMORA/v", "<version/>")
                 .file("x", "old", "", 8));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registerOnDevice().find("old/file"), std::string::npos);
  EXPECT_EQ(registerOnDevice().find("old\\file"), std::string::npos);
}

// Before the format.

TEST_F(DeviceRestoreJobTest, PackagesWithoutAPlaceForTheRegisterAre1101AndTheDeviceStays) {
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .file("b", "ZELMORA/updates.xml", "new b")
                 .update("Map", "storage_for_content", 5)
                 .file("b", "ZELMORA/b", "new b"));
  EXPECT_EQ(run(), -1);
  expectError(u"1101", {u"100", u"Finding a valid updates.xml file on the device failed!"});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, WhatIsPlacedNowhereOnAnEmptyDeviceIsNoPlaceForTheRegister) {
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .file("b", "ZELMORA/b", "new b", 3)
                 .xmlEntry("ZELMORA/settings.xml", 5, "config/software", "name/Zelmora"));
  EXPECT_EQ(run(), -1);
  expectError(u"1101", {u"100", u"Finding a valid updates.xml file on the device failed!"});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AFileThatReplacesOneOfTheSameJobMustBeInTheZip) {
  addGoodPackage();
  addPackage(InstallDescription().update("N", "storage_for_software", 5).file("missing", "APPS/a", "x", 3));
  EXPECT_EQ(run(), -1);
  expectError(u"1252", {u"100", invalid});
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AStorageThatIsPulledOrLockedDuringTheDownloadsIsToldBeforeAnythingIsEmptied) {
  struct Case {
    char16_t letter;
    bool isLocked;
    WideText code;
  };
  for (const Case& c : {Case{u'E', false, u"1250"}, Case{u'E', true, u"1256"}, Case{u'F', false, u"1258"},
                        Case{u'F', true, u"1257"}}) {
    command.packages.clear();
    addGoodPackage();
    OpeningHook hook(disk, zipPath, [&] {
      removeDrive(c.letter);
      if (c.isLocked) addDrive(c.letter).readOnly = true;
      changeDrives();
    });
    use(hook);
    EXPECT_EQ(run(), -1);
    expectError(c.code, {u"100", c.isLocked ? deviceProtected : deviceGone});
    expectUntouched();
    use(disk);
    removeDrive(c.letter);
    addDrive(c.letter).capacity = 100'000'000;
    changeDrives();
  }
}

TEST_F(DeviceRestoreJobTest, AnAbortWhileALocalZipIsReadLeavesTheDevice) {
  addGoodPackage();
  const std::string abort =
      "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>";
  writeFile(StatusXml::instance().abortFilePath(), abort);
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(reports(), ElementsAre(std::pair(8, u"")));
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AnAbortBeforeTheFormatIsState8WithoutAnExitCodeAndTheDeviceStays) {
  addGoodPackage();
  writeFile(StatusXml::instance().abortFilePath(), "");
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(reports(), ElementsAre(std::pair(0, u"1057"), std::pair(8, u"")));
  EXPECT_FALSE(fileExists(StatusXml::instance().abortFilePath()));
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, ADownloadThatFailsLeavesTheDevice) {
  addGoodPackage();
  command.localInstall = false;
  command.packages[0].url = u"http://127.0.0.1/no-query.zip";
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1138");
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, ABackupFolderOnTheDeviceIsNotFormattedAway) {
  addGoodPackage();
  writeOn(u'E', "backups/mine/mine.xml");
  for (const WideText& place : {WideText(u"E:\\backups"), path(u"E/backups"), WideText(u"e:/")}) {
    backupRootFolder = place;
    EXPECT_EQ(run(), -1);
    expectError(u"1260", {u"100", formatFailed});
  }
  EXPECT_TRUE(fileExists(path(u"E/backups/mine/mine.xml")));
  EXPECT_EQ(check(), 0);
}

TEST_F(DeviceRestoreJobTest, AProgramThatRunsFromTheDeviceIsNotFormattedAway) {
  addGoodPackage();
  writeOn(u'F', "old/TevraCLI.exe");
  platform::Machine machine = platform::machine();
  EndlessProcesses processes(*machine.processes);
  processes.program = u"F:\\old\\TevraCLI.exe";
  machine.processes = &processes;
  const platform::ScopedMachine scope(machine);
  EXPECT_EQ(run(), -1);
  expectError(u"1260", {u"100", formatFailed});
  EXPECT_TRUE(fileExists(path(u"F/old/TevraCLI.exe")));
}

TEST_F(DeviceRestoreJobTest, AStatusFolderOnTheDeviceIsNotFormattedAway) {
  addGoodPackage();
  writeOn(u'F', "tmp/ZELMORATevra_tmp/kept");
  const ScopedEnvironment temp("TMP", toUtf8(path(u"F/tmp")));
  EXPECT_EQ(run(), -1);
  expectError(u"1260", {u"100", formatFailed});
  EXPECT_TRUE(fileExists(path(u"F/tmp/ZELMORATevra_tmp/kept")));
}

// The format.

TEST_F(DeviceRestoreJobTest, EachResultOfTheFormatHasItsCode) {
  maintenance_.formatResults[u'E'] = {1, 1};
  addGoodPackage();
  EXPECT_EQ(run(), -1);
  expectError(u"1255", {u"100"});
  EXPECT_TRUE(logHas(u"FORMAT START primary: E:secondary: F:"));

  maintenance_.formatResults[u'F'] = {1, 1};
  EXPECT_EQ(run(), -1);
  expectError(u"1259", {u"100"});

  maintenance_.outputs.clear();
  removeDrive(u'F');
  addDrive(u'F').fileSystem = u"";
  changeDrives();
  EXPECT_EQ(run(), -1);
  expectError(u"1260", {u"100", formatFailed});
}

TEST_F(DeviceRestoreJobTest, BothStoragesAreFormattedBeforeTheInstallation) {
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(maintenance_.calls,
              ElementsAre("examine E", "examine F", "format E FAT32 ZELMORA", "format F FAT32 ZELMORASD"));
  EXPECT_THAT(treeOn(u'E'),
              ElementsAre("ZELMORA/", "ZELMORA/updates.xml", "ZELMORA/version.txt", "apps/", "apps/a"));
  EXPECT_THAT(treeOn(u'F'), ElementsAre("maps/", "maps/b"));
}

TEST_F(DeviceRestoreJobTest, StoragesThatKeepTheirFormatAreCleared) {
  command.disableFormatFirst = true;
  command.disableFormatSecond = true;
  command.indicatorFile = std::make_shared<IndicatorFile>("busy");
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(maintenance_.calls, ElementsAre("examine E", "examine F"));
  EXPECT_THAT(treeOn(u'E'), ElementsAre("ZELMORA/", "ZELMORA/updates.xml", "ZELMORA/version.txt", "apps/",
                                        "apps/a", "tevra-action.xml"));
  EXPECT_THAT(treeOn(u'F'), ElementsAre("maps/", "maps/b"));
}

TEST_F(DeviceRestoreJobTest, TheIndicatorFileIsWrittenAgainAfterTheFormat) {
  command.indicatorFile = std::make_shared<IndicatorFile>("busy");
  writeOn(u'E', "tevra-action.xml", "busy");
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(path(u"E/tevra-action.xml")), "busy");
  EXPECT_TRUE(command.indicatorFile->remove());
  EXPECT_FALSE(fileExists(path(u"E/tevra-action.xml")));
}

TEST_F(DeviceRestoreJobTest, WithoutIndicatorContentThereIsNoIndicatorFile) {
  writeOn(u'E', "tevra-action.xml", "busy");
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(fileExists(path(u"E/tevra-action.xml")));
}

// The installation.

TEST_F(DeviceRestoreJobTest, AGoodRunReportsPreparingProgressAndSuccess) {
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(reports(), ElementsAre(std::pair(0, u"1057"), std::pair(3, u""), std::pair(9, u"1010")));
  EXPECT_THAT(status().descriptions, IsEmpty());
  EXPECT_TRUE(fileExists(zipPath));
}

TEST_F(DeviceRestoreJobTest, UpdatesThatWerePlacedBeforeThereWasARegisterAreEnteredInTheirOrder) {
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registerOnDevice(),
            InstallDescription::registerOf({entry("App", "apps/a"), entry("Map", "maps/b", true),
                                            entry("System", "ZELMORA/version.txt")}));
}

TEST_F(DeviceRestoreJobTest, ADeviceOfTheOlderLayoutGetsItsRegisterThere) {
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .update("System", "storage_for_software", 5)
                 .file("v", "KD3/version.txt", "<version/>"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registerOnDevice(u"KD3"),
            InstallDescription::registerOf({entry("App", "apps/a"), entry("System", "KD3/version.txt")}));
}

TEST_F(DeviceRestoreJobTest, WhereBothLayoutsComeTheRegisterIsInTheNewerOneWhicheverComesFirst) {
  addPackage(InstallDescription()
                 .update("Old", "storage_for_software", 5)
                 .file("a", "KD3/a", "new a")
                 .update("New", "storage_for_software", 5)
                 .file("b", "ZELMORA/b", "new b")
                 .update("App", "storage_for_software", 5)
                 .file("c", "apps/c", "new c"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registerOnDevice(),
            InstallDescription::registerOf(
                {entry("Old", "KD3/a"), entry("New", "ZELMORA/b"), entry("App", "apps/c")}));
  EXPECT_FALSE(fileExists(path(u"E/KD3/updates.xml")));
}

TEST_F(DeviceRestoreJobTest, AFolderThatOnlyTheXmlEntriesMakeIsAPlaceForTheRegister) {
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .xmlEntry("ZELMORA/settings.xml", 1, "config/software", "name/Zelmora"));
  EXPECT_EQ(run(), 0);
  EXPECT_NE(registerOnDevice().find("<name>App</name>"), std::string::npos);
}

TEST_F(DeviceRestoreJobTest, WithoutAPlaceForTheRegisterAtTheEndThereIs1101) {
  // An entry whose file can't be made, for no element can have such a name.
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .xmlEntry("ZELMORA/settings.xml", 1, "1/software", "name/Zelmora"));
  EXPECT_EQ(run(), -1);
  expectError(u"1101", {u"100", u"Finding a valid updates.xml file on the device failed!"});
  EXPECT_THAT(treeOn(u'E'), ElementsAre("apps/", "apps/a"));
}

TEST_F(DeviceRestoreJobTest, WithoutACardEverythingGoesToTheMainStorage) {
  command.secondDriveLetter.clear();
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(path(u"E/maps/b")), "new b");
  EXPECT_THAT(treeOn(u'F'), ElementsAre("old/", "old/file"));
}

TEST_F(DeviceRestoreJobTest, OlderPackagesAreAllInstalledOnOneStorage) {
  addPackage(InstallDescription().update("One", "", 5).file("a", "apps/a", "new a"));
  addPackage(InstallDescription().update("Two", "", 10).file("v", "ZELMORA/v", "<version/>"));
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(amounts(),
            (std::vector<WideText>{u"100000000", u"15", u"99999985", u"100000000", u"0", u"100000000"}));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registerOnDevice(),
            InstallDescription::registerOf({entry("One", "apps/a"), entry("Two", "ZELMORA/v")}));
  EXPECT_THAT(treeOn(u'F'), IsEmpty());
}

TEST_F(DeviceRestoreJobTest, OlderPackagesThatFitOnNeitherStorageTellTheirWholeNeed) {
  addPackage(InstallDescription().update("One", "", 200'000'000).file("v", "ZELMORA/v", "<version/>"));
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1277");
  EXPECT_EQ(attribute(u"neededSpaceSoftwareStorage"), u"200000000");
  EXPECT_EQ(attribute(u"neededSpaceContentStorage"), u"200000000");
  command.secondDriveLetter.clear();
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(status().exitCode(), u"1263");
  EXPECT_EQ(amounts(), (std::vector<WideText>{u"100000000", u"200000000", u"-100000000", u"0", u"0", u"0"}));
  expectUntouched();
}

TEST_F(DeviceRestoreJobTest, AnAbortAtTheEndIs1020) {
  addGoodPackage();
  FaultyFileSystem watching(disk);
  watching.before = [this](int, const std::string&) {
    if (fileExists(path(u"E/apps/a"))) writeFile(StatusXml::instance().abortFilePath(), "");
  };
  use(watching);
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  // What was placed is there and registered.
  EXPECT_NE(registerOnDevice().find("<name>System</name>"), std::string::npos);
}

TEST_F(DeviceRestoreJobTest, WhatWasPlacedIsRegisteredAlsoIfTheDeviceFailsWithTheUpdateThatBringsTheFolder) {
  class NoFurther : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (!toForwardSlashes(path).ends_with(u"ZELMORA/b"))
        return ForwardingFileSystem::open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return nullptr;
    }
  } failing(disk);
  use(failing);
  platform::Machine machine = platform::machine();
  EndlessProcesses processes(*machine.processes);
  machine.processes = &processes;
  const platform::ScopedMachine scope(machine);
  addPackage(InstallDescription()
                 .update("App", "storage_for_software", 5)
                 .file("a", "apps/a", "new a")
                 .update("System", "storage_for_software", 15)
                 .file("v", "ZELMORA/v", "<version/>")
                 .file("b", "ZELMORA/b", "new b"));
  EXPECT_THROW(run(), ProcessEnded);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(status().exitCode(), u"1234");
  EXPECT_EQ(registerOnDevice(), InstallDescription::registerOf({entry("App", "apps/a")}));
}

// The validation.

TEST_F(DeviceRestoreJobTest, TheValidationBeginsWith1266) {
  command.checkHashFile = true;
  addGoodPackage();
  EXPECT_EQ(run(), 0);
  const auto found = reports();
  ASSERT_GE(found.size(), 4U);
  EXPECT_EQ(found[2], std::pair(17, WideText(u"1266")));
  EXPECT_EQ(found.back(), std::pair(9, WideText(u"1010")));
  EXPECT_TRUE(logHas(u"START validation!"));
  EXPECT_TRUE(logHas(u"END validation!"));
}

TEST_F(DeviceRestoreJobTest, FilesThatWereDamagedOnTheirWayAre1289WithTheirNames) {
  // A device that keeps something else than it was given.
  class BadMedium : public platform::ForwardingFileSystem {
   public:
    BadMedium(platform::FileSystem& target, std::function<void()> damage)
        : ForwardingFileSystem(target), damage_(std::move(damage)) {}
    bool syncVolume(const WideText& path, platform::ErrorCode& error) override {
      const bool synced = ForwardingFileSystem::syncVolume(path, error);
      damage_();
      return synced;
    }
    bool areOnSameVolume(const WideText&, const WideText&, platform::ErrorCode&) override { return false; }

   private:
    std::function<void()> damage_;
  } bad(disk, [this] {
    writeOn(u'E', "apps/a", "bad a");
    writeOn(u'F', "maps/b", "bad b");
  });
  use(bad);
  command.checkHashFile = true;
  addGoodPackage();
  EXPECT_EQ(run(), -1);
  expectError(u"1289", {u"100"});
  EXPECT_EQ(attribute(u"fileName"), u"E:/apps/a; F:/maps/b");
  EXPECT_TRUE(logHas(u"!!!VALIDATION PHASE: 2 md5 not match! Files: "));
  EXPECT_TRUE(logHas(u"File: E:/apps/a"));
  EXPECT_TRUE(logHas(u"Local md5: " + toWide(md5Of("new a"))));
  EXPECT_TRUE(logHas(u"Device md5: " + toWide(md5Of("bad a"))));
}

TEST_F(DeviceRestoreJobTest, OlderPackagesAreValidatedToo) {
  command.checkHashFile = true;
  addPackage(InstallDescription().update("Two", "", 10).file("v", "ZELMORA/v", "another content"));
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(logHas(u"!!!Install xml problems: 1 md5 missing or not agree from install xml! Files: "));
}

// Faults.

TEST_F(DeviceRestoreJobTest, AnOperationThatFailsBeforeTheFormatLeavesTheDeviceAndNoneMakesAFalseSuccess) {
  addGoodPackage();
  const std::string whole = InstallDescription::registerOf(
      {entry("App", "apps/a"), entry("Map", "maps/b", true), entry("System", "ZELMORA/version.txt")});
  int failed = 0;
  for (int fault = 1;; ++fault) {
    for (const char16_t letter : {u'E', u'F'}) {
      fs::remove_all(folder.native() / toUtf8(WideText(1, letter)));
      writeOn(letter, "old/file", "old");
    }
    writeOn(u'E', "ZELMORA/updates.xml", InstallDescription::registerOf({}));
    maintenance_.calls.clear();
    FaultyFileSystem faulty(disk);
    faulty.failAt = fault;
    use(faulty);
    platform::Machine machine = platform::machine();
    EndlessProcesses processes(*machine.processes);
    machine.processes = &processes;
    int result = -1;
    {
      const platform::ScopedMachine scope(machine);
      try {
        result = run();
      } catch (const ProcessEnded&) {
        testing::internal::GetCapturedStdout();
      }
    }
    use(disk);
    const bool formatted = !maintenance_.calls.empty();
    if (!formatted) expectUntouched();
    if (result == 0) {
      EXPECT_EQ(registerOnDevice(), whole) << fault;
      EXPECT_EQ(readFile(path(u"F/maps/b")), "new b") << fault;
    } else {
      ++failed;
    }
    if (faulty.count < fault) break;
  }
  EXPECT_GT(failed, 5);
}

}  // namespace
}  // namespace ZelmoraTevra
