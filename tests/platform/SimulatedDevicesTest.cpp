#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/ForwardingFileSystem.h"
#include "platform/Machine.h"
#include "platform/simulated/MachineFile.h"
#include "platform/simulated/SimulatedDiskMaintenance.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

// Takes nothing out of a folder that its owner may not write to, whoever runs the program.
class MarkedFolders : public ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool removeFile(const WideText& path, ErrorCode& error) override {
    return mayRemove(path, error) && target().removeFile(path, error);
  }
  bool removeFolder(const WideText& path, ErrorCode& error) override {
    return mayRemove(path, error) && target().removeFolder(path, error);
  }

 private:
  static bool mayRemove(const WideText& path, ErrorCode& error) {
    const fs::path folder = fs::path(toUtf8(path)).parent_path();
    if ((fs::status(folder).permissions() & fs::perms::owner_write) != fs::perms::none) return true;
    error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    return false;
  }
};

// What a machine file says beyond its volumes' letters: the tree, and what happens to disks.
class SimulatedDevicesTest : public testing::Test {
 protected:
  SimulatedDevicesTest() {
    for (const char* const name : {"flash", "card", "other"}) {
      fs::create_directory(folder_.native() / name);
      std::ofstream(folder_.native() / name / "file") << "12345";
    }
  }

  // What stands in the root node.
  void open(const std::string& content) {
    std::ofstream(file()) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- mine --><machine own=\"1\">"
                          << "<node id=\"R\">" << content << "</node></machine>\n";
    reopen();
  }
  // A device with one volume E:.
  void openVolume(const std::string& attributes) {
    open("<node id=\"USB\\A\"><node id=\"USBSTOR\\A&amp;0\"><volume letter=\"E\" folder=\"flash\" " +
         attributes + "/></node></node>");
  }
  // As the next process does.
  void reopen() {
    testing::internal::CaptureStderr();
    machine_ = openSimulatedMachine(folder_.path() + u"/machine.xml");
    complaint_ = testing::internal::GetCapturedStderr();
  }
  void expectRefused() {
    EXPECT_EQ(tree().root(), noDeviceNode);
    EXPECT_THAT(volumes().volumes(), IsEmpty());
    EXPECT_NE(complaint_, "");
  }

  [[nodiscard]] std::string file() const { return (folder_.native() / "machine.xml").string(); }
  [[nodiscard]] std::string text() const {
    std::ostringstream text;
    text << std::ifstream(file()).rdbuf();
    return text.str();
  }
  [[nodiscard]] DeviceTree& tree() const { return *machine_->machine().deviceTree; }
  [[nodiscard]] Volumes& volumes() const { return *machine_->machine().volumes; }
  [[nodiscard]] DiskMaintenance& maintenance() const { return *machine_->machine().maintenance; }
  [[nodiscard]] WideText labelOf(char16_t letter) const {
    return volumes().information(letter).value_or(VolumeInformation{}).label;
  }
  [[nodiscard]] WideText fileSystemOf(char16_t letter) const {
    return volumes().information(letter).value_or(VolumeInformation{}).fileSystem;
  }
  [[nodiscard]] std::vector<std::string> namesIn(const std::string& name) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.native() / name))
      names.push_back(entry.path().filename().string());
    return names;
  }

  TemporaryFolder folder_;
  std::unique_ptr<SimulatedMachine> machine_;
  std::string complaint_;
};

const std::string pair =
    "<node id=\"USB\\A\"><node id=\"USBSTOR\\A&amp;0\"><node id=\"V0\"><volume letter=\"E\" "
    "folder=\"flash\"/>"
    "</node></node><node id=\"USBSTOR\\A&amp;1\"><volume letter=\"F\" folder=\"card\"/></node></node>"
    "<node id=\"USB\\B\"><node id=\"USBSTOR\\B&amp;0\"><volume letter=\"G\" folder=\"other\"/></node></node>";

TEST_F(SimulatedDevicesTest, nodesAreNumberedInPreOrder) {
  open(pair);
  EXPECT_EQ(complaint_, "");
  std::vector<std::string> ids;
  for (DeviceNode node = 1; node <= 7; ++node) ids.push_back(toUtf8(tree().id(node)));
  EXPECT_THAT(ids,
              ElementsAre("R", "USB\\A", "USBSTOR\\A&0", "V0", "USBSTOR\\A&1", "USB\\B", "USBSTOR\\B&0"));
  EXPECT_EQ(tree().root(), 1U);
  EXPECT_EQ(tree().parent(1), noDeviceNode);
  EXPECT_EQ(tree().nextSibling(1), noDeviceNode);
  EXPECT_EQ(tree().firstChild(1), 2U);
  EXPECT_EQ(tree().nextSibling(2), 6U);
  EXPECT_EQ(tree().firstChild(2), 3U);
  EXPECT_EQ(tree().nextSibling(3), 5U);
  EXPECT_EQ(tree().nextSibling(5), noDeviceNode);
  EXPECT_EQ(tree().parent(5), 2U);
  EXPECT_EQ(tree().parent(4), 3U);
  EXPECT_EQ(tree().firstChild(4), noDeviceNode);
}

TEST_F(SimulatedDevicesTest, aNodeTellsTheDriveOfItsOwnVolumeOnly) {
  open(pair);
  EXPECT_EQ(tree().driveOf(4), u"E:\\");
  EXPECT_EQ(tree().driveOf(5), u"F:\\");
  EXPECT_EQ(tree().driveOf(3), u"");
}

TEST_F(SimulatedDevicesTest, aNodeWithoutAnIdTellsNoDrive) {
  open(
      "<node><volume letter=\"E\" folder=\"flash\"/></node><node id=\"\"><volume letter=\"F\" "
      "folder=\"card\"/></node>");
  EXPECT_EQ(volumes().volumes().size(), 2U);
  EXPECT_EQ(tree().driveOf(2), u"");
  EXPECT_EQ(tree().driveOf(3), u"");
}

TEST_F(SimulatedDevicesTest, aNodeThatIsNotInTheTreeHasNothing) {
  open(pair);
  for (const DeviceNode node : {noDeviceNode, DeviceNode{8}, DeviceNode{0xFFFFFFFF}}) {
    EXPECT_EQ(tree().parent(node), noDeviceNode);
    EXPECT_EQ(tree().firstChild(node), noDeviceNode);
    EXPECT_EQ(tree().nextSibling(node), noDeviceNode);
    EXPECT_EQ(tree().id(node), u"");
    EXPECT_EQ(tree().driveOf(node), u"");
  }
}

TEST_F(SimulatedDevicesTest, volumesWithoutALetterOrEjectedHaveNoDrive) {
  openVolume("ejected=\"true\"");
  EXPECT_EQ(tree().driveOf(3), u"");
  open("<volume folder=\"flash\"/>");
  EXPECT_EQ(tree().driveOf(1), u"");
}

TEST_F(SimulatedDevicesTest, anEmptyReaderHasItsLetterAndAnswersNoQuery) {
  openVolume("");
  fs::remove_all(folder_.native() / "flash");
  reopen();
  EXPECT_EQ(tree().driveOf(3), u"E:\\");
  EXPECT_FALSE(volumes().information(u'E'));
  EXPECT_EQ(maintenance().examine(u'E'), "");
  EXPECT_NE(maintenance().format(u'E', FormatKind::fat, u"X"), 0);
  EXPECT_EQ(maintenance().check(u'E', {}).failed, DiskCheckStep::execute);
  EXPECT_EQ(maintenance().isDirty(u'E').failed, DiskCheckStep::readQueryResult);
}

TEST_F(SimulatedDevicesTest, aLetterBelongsToTheFirstVolumeThatIsThere) {
  open(
      "<node id=\"A\"><volume letter=\"E\" folder=\"flash\" label=\"one\"/></node>"
      "<node id=\"B\"><node id=\"C\"><volume letter=\"E\" folder=\"card\" label=\"two\"/></node></node>");
  EXPECT_EQ(tree().driveOf(2), u"E:\\");
  EXPECT_EQ(tree().driveOf(4), u"");
  EXPECT_EQ(labelOf(u'E'), u"one");
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_EQ(tree().driveOf(2), u"");
  EXPECT_EQ(tree().driveOf(4), u"E:\\");
  EXPECT_EQ(labelOf(u'E'), u"two");
}

TEST_F(SimulatedDevicesTest, aVolumeTellsItsLabelSerialAndFileSystem) {
  openVolume("label=\"Gerät &amp; Karte\" serial=\"4294967295\" fileSystem=\"exFAT\" type=\"fixed\"");
  const auto information = volumes().information(u'E');
  ASSERT_TRUE(information);
  EXPECT_EQ(information->label, u"Gerät & Karte");
  EXPECT_EQ(information->serial, 4'294'967'295U);
  EXPECT_EQ(information->fileSystem, u"exFAT");
  const Volume& volume = volumes().volumes().at(0);
  EXPECT_EQ(volume.label, u"Gerät & Karte");
  EXPECT_EQ(volume.serial, 4'294'967'295U);
  EXPECT_EQ(volume.fileSystem, u"exFAT");
  EXPECT_EQ(volume.type, DriveType::fixed);
}

TEST_F(SimulatedDevicesTest, whatIsNotSaidHasItsDefault) {
  openVolume("");
  const auto information = volumes().information(u'E');
  ASSERT_TRUE(information);
  EXPECT_EQ(information->label, u"");
  EXPECT_EQ(information->serial, 0U);
  EXPECT_EQ(information->fileSystem, u"FAT32");
  EXPECT_EQ(volumes().volumes().at(0).type, DriveType::removable);
  EXPECT_THAT(maintenance().examine(u'E'), HasSubstr("FAT32"));
  EXPECT_FALSE(maintenance().isDirty(u'E').dirty);
  EXPECT_EQ(maintenance().check(u'E', {}).returnValue, 0U);
}

TEST_F(SimulatedDevicesTest, typesAreRemovableFixedAndCdrom) {
  for (const auto& [name, type] :
       {std::pair("removable", DriveType::removable), std::pair("fixed", DriveType::fixed),
        std::pair("cdrom", DriveType::cdrom)}) {
    openVolume(std::string("type=\"") + name + "\"");
    EXPECT_EQ(volumes().volumes().at(0).type, type);
  }
}

TEST_F(SimulatedDevicesTest, withAnEmptyFileSystemTheQueryFails) {
  openVolume("fileSystem=\"\" label=\"X\"");
  EXPECT_FALSE(volumes().information(u'E'));
  EXPECT_EQ(volumes().volumes().size(), 1U);
  EXPECT_NE(maintenance().examine(u'E'), "");
}

TEST_F(SimulatedDevicesTest, noQueryIsAnsweredForALetterThatNoVolumeHas) {
  openVolume("");
  for (const char16_t letter : {u'F', u'\0', u'e'}) {
    EXPECT_FALSE(volumes().information(letter));
    EXPECT_EQ(maintenance().examine(letter), "");
    EXPECT_NE(maintenance().format(letter, FormatKind::fat, u"X"), 0);
    EXPECT_EQ(maintenance().check(letter, {}).failed, DiskCheckStep::execute);
    EXPECT_EQ(maintenance().isDirty(letter).failed, DiskCheckStep::findQueryResult);
    EXPECT_EQ(maintenance().deviceName(letter), u"");
  }
}

TEST_F(SimulatedDevicesTest, wrongValuesAreRefused) {
  for (const char* const attributes :
       {"type=\"floppy\"", "serial=\"x\"", "serial=\"-1\"", "serial=\"4294967296\"", "checkReturn=\"1x\"",
        "ejectVetoes=\"two\"", "formatFails=\"NTFS\"", "formatFails=\"FAT;FAT32\"",
        "formatFails=\"FAT,\xFF\"", "label=\"\xFF\xFF\""}) {
    SCOPED_TRACE(attributes);
    openVolume(attributes);
    expectRefused();
  }
}

TEST_F(SimulatedDevicesTest, theCheckersOutputIsWhatTheFileSays) {
  openVolume("checkOutput=\"Der Typ des Dateisystems ist unbekannt.\"");
  EXPECT_EQ(maintenance().examine(u'E'), "Der Typ des Dateisystems ist unbekannt.");
  openVolume("checkOutput=\"\"");
  EXPECT_EQ(maintenance().examine(u'E'), "");
}

TEST_F(SimulatedDevicesTest, aFormatEmptiesTheFolderAndSetsLabelAndFileSystem) {
  openVolume("label=\"OLD\" serial=\"7\"");
  fs::create_directories(folder_.native() / "flash/a/b");
  std::ofstream(folder_.native() / "flash/a/b/c") << "x";
  fs::permissions(folder_.native() / "flash/file", fs::perms::owner_read);
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"ZELMORA"), 0);
  EXPECT_THAT(namesIn("flash"), IsEmpty());
  EXPECT_THAT(namesIn("card"), ElementsAre("file"));
  EXPECT_EQ(labelOf(u'E'), u"ZELMORA");
  EXPECT_EQ(fileSystemOf(u'E'), u"FAT");
  EXPECT_THAT(maintenance().examine(u'E'), Not(HasSubstr("FAT32")));
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat32, u"Z"), 0);
  reopen();
  EXPECT_EQ(labelOf(u'E'), u"Z");
  EXPECT_EQ(fileSystemOf(u'E'), u"FAT32");
  EXPECT_EQ(volumes().information(u'E')->serial, 7U);
}

TEST_F(SimulatedDevicesTest, aFormatRemovesLinksAndNotWhatTheyLeadTo) {
  openVolume("");
  fs::create_directory_symlink(folder_.native() / "card", folder_.native() / "flash/folder");
  fs::create_symlink(folder_.native() / "card/file", folder_.native() / "flash/link");
  fs::create_symlink("nowhere", folder_.native() / "flash/dangling");
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 0);
  EXPECT_THAT(namesIn("flash"), IsEmpty());
  EXPECT_THAT(namesIn("card"), ElementsAre("file"));
}

TEST_F(SimulatedDevicesTest, aFormatThatFailsChangesNothing) {
  openVolume("formatFails=\"FAT32\" label=\"OLD\"");
  const std::string before = text();
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat32, u"X"), 1);
  EXPECT_EQ(text(), before);
  EXPECT_EQ(labelOf(u'E'), u"OLD");
  EXPECT_THAT(namesIn("flash"), ElementsAre("file"));
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 0);

  openVolume("formatFails=\"FAT32, FAT\"");
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat32, u"X"), 1);
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
  openVolume("formatFails=\"FAT\"");
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat32, u"X"), 0);
}

TEST_F(SimulatedDevicesTest, aWriteProtectedVolumeTakesNoFormat) {
  openVolume("readOnly=\"true\"");
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
  EXPECT_THAT(namesIn("flash"), ElementsAre("file"));
}

TEST_F(SimulatedDevicesTest, aFolderThatHoldsTheMachineFileIsNotFormatted) {
  for (const char* const holding : {".", "/", "..", "flash/.."}) {
    open("<volume letter=\"E\" folder=\"" + std::string(holding) + "\"/>");
    EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
    EXPECT_TRUE(fs::exists(file()));
    EXPECT_THAT(namesIn("flash"), ElementsAre("file"));
  }
}

TEST_F(SimulatedDevicesTest, aFolderThatHoldsAnotherVolumeIsNotFormatted) {
  fs::create_directory(folder_.native() / "flash/inner");
  std::ofstream(folder_.native() / "flash/inner/file") << "x";
  fs::create_directory_symlink("flash", folder_.native() / "link");
  for (const char* const other : {"flash/inner", "flash", "flash/", "link", "link/inner", "card/../flash"}) {
    for (const char* const attributes : {"letter=\"F\"", "", "letter=\"F\" readOnly=\"true\""}) {
      SCOPED_TRACE(std::string(other) + " " + attributes);
      open("<volume letter=\"E\" folder=\"flash\"/><node id=\"A\"><volume folder=\"" + std::string(other) +
           "\" " + attributes + "/></node>");
      const std::string before = text();
      EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
      EXPECT_EQ(text(), before);
      EXPECT_THAT(namesIn("flash"), UnorderedElementsAre("file", "inner"));
      EXPECT_THAT(namesIn("flash/inner"), ElementsAre("file"));
    }
  }
}

TEST_F(SimulatedDevicesTest, aFolderOnAWriteProtectedVolumeIsNotFormatted) {
  fs::create_directory(folder_.native() / "flash/inner");
  std::ofstream(folder_.native() / "flash/inner/file") << "x";
  open(
      "<volume letter=\"E\" folder=\"flash\" readOnly=\"true\"/>"
      "<node id=\"A\"><volume letter=\"F\" folder=\"flash/inner\"/></node>");
  EXPECT_EQ(maintenance().format(u'F', FormatKind::fat, u"X"), 1);
  EXPECT_THAT(namesIn("flash/inner"), ElementsAre("file"));
}

TEST_F(SimulatedDevicesTest, aVolumeBesideOrEjectedDoesNotStandInTheWayOfAFormat) {
  fs::create_directory(folder_.native() / "flash2");
  fs::create_directory(folder_.native() / "flash/inner");
  open(
      "<volume letter=\"E\" folder=\"flash\"/><node id=\"A\"><volume letter=\"F\" folder=\"flash2\"/></node>"
      "<node id=\"B\"><volume letter=\"G\" folder=\"flash/inner\" ejected=\"true\"/></node>");
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 0);
  EXPECT_THAT(namesIn("flash"), IsEmpty());
}

// A device's file system may refuse what this computer's allows.
TEST_F(SimulatedDevicesTest, aFormatClearsTheMarksOfFoldersBeforeItEmptiesThem) {
  openVolume("");
  fs::create_directories(folder_.native() / "flash/a/b");
  std::ofstream(folder_.native() / "flash/a/b/c") << "x";
  for (const char* const name : {"flash/a/b", "flash/a"})
    fs::permissions(folder_.native() / name, fs::perms::owner_read | fs::perms::owner_exec);
  MarkedFolders marked(*nativeMachine().files);
  MachineFile machineFile(marked, folder_.path() + u"/machine.xml");
  EXPECT_EQ(SimulatedDiskMaintenance(machineFile).format(u'E', FormatKind::fat, u"X"), 0);
  EXPECT_THAT(namesIn("flash"), IsEmpty());
}

TEST_F(SimulatedDevicesTest, aFolderThatCannotBeEmptiedKeepsItsLabelAndFileSystem) {
  openVolume("label=\"OLD\"");
  const std::string before = text();
  class Stubborn : public ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool removeFile(const WideText& path, ErrorCode& error) override {
      if (!path.ends_with(u"/file")) return target().removeFile(path, error);
      error = boost::system::errc::make_error_code(boost::system::errc::device_or_resource_busy);
      return false;
    }
  } stubborn(*nativeMachine().files);
  MachineFile machineFile(stubborn, folder_.path() + u"/machine.xml");
  EXPECT_EQ(SimulatedDiskMaintenance(machineFile).format(u'E', FormatKind::fat, u"X"), 1);
  EXPECT_EQ(text(), before);
  EXPECT_EQ(machineFile.presentVolumes().at(0).label, u"OLD");
  EXPECT_EQ(machineFile.presentVolumes().at(0).fileSystem, u"FAT32");
  EXPECT_FALSE(fs::exists(file() + "_tevra_new"));
}

TEST_F(SimulatedDevicesTest, aCheckThatSucceedsMakesTheVolumeClean) {
  for (const std::string value : {"0", "1"}) {
    openVolume("dirty=\"true\" checkReturn=\"" + value + "\"");
    EXPECT_TRUE(maintenance().isDirty(u'E').dirty);
    const DiskCheckAnswer answer = maintenance().check(u'E', {true, true, true});
    EXPECT_EQ(answer.failed, DiskCheckStep::none);
    EXPECT_EQ(std::to_string(answer.returnValue), value);
    EXPECT_FALSE(maintenance().isDirty(u'E').dirty);
    reopen();
    EXPECT_FALSE(maintenance().isDirty(u'E').dirty);
  }
}

TEST_F(SimulatedDevicesTest, aCheckThatFailsLeavesTheVolumeDirty) {
  openVolume("dirty=\"true\" checkReturn=\"2\"");
  EXPECT_EQ(maintenance().check(u'E', {}).returnValue, 2U);
  EXPECT_TRUE(maintenance().isDirty(u'E').dirty);
  reopen();
  EXPECT_TRUE(maintenance().isDirty(u'E').dirty);
}

TEST_F(SimulatedDevicesTest, aDriveAndItsDiskHaveTheSameNumber) {
  open(pair);
  const auto flash = maintenance().deviceNumber(u"\\\\.\\E:");
  const auto card = maintenance().deviceNumber(u"\\\\.\\F:");
  ASSERT_TRUE(flash && card);
  EXPECT_NE(*flash, *card);
  const auto disks = maintenance().interfaces(DeviceClass::disk);
  ASSERT_EQ(disks.size(), 3U);
  EXPECT_EQ(maintenance().deviceNumber(disks[0].path), flash);
  EXPECT_EQ(disks[0].node, 3U);
  EXPECT_EQ(maintenance().deviceNumber(disks[1].path), card);
  EXPECT_EQ(disks[1].node, 5U);
  EXPECT_THAT(maintenance().interfaces(DeviceClass::floppy), IsEmpty());
  EXPECT_THAT(maintenance().interfaces(DeviceClass::cdrom), IsEmpty());
  EXPECT_NE(maintenance().deviceName(u'E'), u"");
}

TEST_F(SimulatedDevicesTest, whatIsNoDeviceHasNoNumber) {
  open(pair);
  const WideText interface = maintenance().interfaces(DeviceClass::disk).at(0).path;
  for (const WideText& path :
       {WideText(), WideText(u"E:"), WideText(u"\\\\.\\H:"), WideText(u"\\\\.\\"), WideText(u"\\\\.\\E"),
        WideText(u"\\\\.\\E:\\"), WideText(u"\\\\.\\1:"), interface + u"00", WideText(u"\\\\?\\simulated#"),
        WideText(u"\\\\?\\simulated#x"), WideText(u"\\\\?\\simulated#99999999999")})
    EXPECT_FALSE(maintenance().deviceNumber(path)) << toUtf8(path);
}

TEST_F(SimulatedDevicesTest, volumesOfOneDiskShareItAndADriveWithoutOneIsItsOwn) {
  open(
      "<node id=\"USBSTOR\\A\"><volume letter=\"E\" folder=\"flash\"/>"
      "<node id=\"P\"><volume letter=\"F\" folder=\"card\"/></node></node>"
      "<node id=\"PCI\"><node id=\"Q\"><volume letter=\"G\" folder=\"other\" type=\"fixed\"/></node></node>");
  EXPECT_EQ(maintenance().deviceNumber(u"\\\\.\\E:"), maintenance().deviceNumber(u"\\\\.\\F:"));
  const auto disks = maintenance().interfaces(DeviceClass::disk);
  ASSERT_EQ(disks.size(), 2U);
  EXPECT_EQ(disks[0].node, 2U);
  EXPECT_EQ(disks[1].node, 5U);
}

TEST_F(SimulatedDevicesTest, aCdromIsInAClassOfItsOwn) {
  openVolume("type=\"cdrom\"");
  EXPECT_THAT(maintenance().interfaces(DeviceClass::disk), IsEmpty());
  ASSERT_EQ(maintenance().interfaces(DeviceClass::cdrom).size(), 1U);
  EXPECT_EQ(maintenance().interfaces(DeviceClass::cdrom)[0].node, 3U);
}

TEST_F(SimulatedDevicesTest, anEjectionTakesEveryVolumeBelowTheNode) {
  open(pair);
  const EjectAnswer answer = maintenance().requestEject(2);
  EXPECT_EQ(answer.result, 0U);
  EXPECT_EQ(answer.veto, 0U);
  for (int process = 0; process < 2; ++process) {
    ASSERT_EQ(volumes().volumes().size(), 1U);
    EXPECT_EQ(volumes().volumes()[0].letter, u'G');
    EXPECT_EQ(tree().driveOf(4), u"");
    EXPECT_FALSE(maintenance().deviceNumber(u"\\\\.\\E:"));
    EXPECT_EQ(maintenance().interfaces(DeviceClass::disk).size(), 1U);
    ErrorCode error;
    EXPECT_EQ(machine_->machine().files->kind(u"E:/file", error), EntryKind::missing);
    reopen();
  }
  EXPECT_THAT(namesIn("flash"), ElementsAre("file"));
}

TEST_F(SimulatedDevicesTest, aRequestOnADeviceThatIsGoneIsHarmless) {
  open(pair);
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  const std::string after = text();
  maintenance().requestEjectAndTellUser(2);
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_EQ(text(), after);
  EXPECT_NE(maintenance().requestEject(noDeviceNode).result, 0U);
  EXPECT_NE(maintenance().requestEject(99).result, 0U);
}

TEST_F(SimulatedDevicesTest, aVetoAnywhereBelowTheNodeCountsAndIsCountedDown) {
  open(
      "<node id=\"USB\\A\"><node id=\"USBSTOR\\0\"><volume letter=\"E\" folder=\"flash\" "
      "ejectVetoes=\"1\"/></node>"
      "<node id=\"USBSTOR\\1\"><volume letter=\"F\" folder=\"card\" ejectVetoes=\"2\"/></node></node>");
  for (int attempt = 0; attempt < 2; ++attempt) {
    const EjectAnswer answer = maintenance().requestEject(2);
    EXPECT_NE(answer.result, 0U);
    EXPECT_NE(answer.veto, 0U);
    EXPECT_EQ(volumes().volumes().size(), 2U);
    reopen();
  }
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_THAT(volumes().volumes(), IsEmpty());
}

TEST_F(SimulatedDevicesTest, theVetoOfAVolumeThatIsGoneDoesNotCount) {
  openVolume("ejectVetoes=\"5\" ejected=\"true\"");
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_THAT(text(), HasSubstr("ejectVetoes=\"5\""));
}

TEST_F(SimulatedDevicesTest, theRestOfTheFileIsKept) {
  openVolume("mine=\"&lt;&#x41;ä&gt;\" capacity=\"5\"");
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_THAT(text(), HasSubstr("<!-- mine -->"));
  EXPECT_THAT(text(), HasSubstr("<machine own=\"1\">"));
  EXPECT_THAT(text(), HasSubstr("mine=\"&lt;Aä&gt;\""));
  EXPECT_THAT(text(), HasSubstr("capacity=\"5\""));
  EXPECT_THAT(text(), HasSubstr("ejected=\"true\""));
  EXPECT_FALSE(fs::exists(file() + "_tevra_new"));
}

TEST_F(SimulatedDevicesTest, aFileReachedByALinkIsReplacedWhereItLies) {
  openVolume("");
  fs::create_directory(folder_.native() / "real");
  fs::rename(file(), folder_.native() / "real/machine.xml");
  fs::create_symlink("real/machine.xml", file());
  reopen();
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_TRUE(fs::is_symlink(file()));
  reopen();
  EXPECT_THAT(volumes().volumes(), IsEmpty());
}

TEST_F(SimulatedDevicesTest, foldersCountFromTheFolderOfTheLinkByWhichTheFileIsNamed) {
  openVolume("");
  fs::create_directories(folder_.native() / "real/flash");
  std::ofstream(folder_.native() / "real/flash/other") << "x";
  fs::rename(file(), folder_.native() / "real/machine.xml");
  fs::create_symlink("real/machine.xml", file());
  reopen();
  ASSERT_EQ(volumes().volumes().size(), 1U);
  ErrorCode error;
  EXPECT_EQ(machine_->machine().files->fileSize(u"E:/file", error), 5);
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 0);
  EXPECT_THAT(namesIn("flash"), IsEmpty());
  EXPECT_THAT(namesIn("real/flash"), ElementsAre("other"));
  EXPECT_EQ(machine_->machine().files->kind(u"E:", error), EntryKind::folder);
}

TEST_F(SimulatedDevicesTest, neitherTheFolderOfTheFileNorThatOfItsLinkIsFormatted) {
  fs::create_directory(folder_.native() / "real");
  fs::create_directory(folder_.native() / "named");
  for (const char* const holding : {".", "../real"}) {
    open("<volume letter=\"E\" folder=\"" + std::string(holding) + "\"/>");
    fs::rename(file(), folder_.native() / "real/machine.xml");
    fs::remove(folder_.native() / "named/machine.xml");
    fs::create_symlink("../real/machine.xml", folder_.native() / "named/machine.xml");
    machine_ = openSimulatedMachine(folder_.path() + u"/named/machine.xml");
    ASSERT_EQ(volumes().volumes().size(), 1U);
    EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
    EXPECT_THAT(namesIn("real"), ElementsAre("machine.xml"));
    EXPECT_THAT(namesIn("named"), ElementsAre("machine.xml"));
  }
}

TEST_F(SimulatedDevicesTest, whatIsSavedCanBeReadAgain) {
  // With two blanks a level the deepest lines alone would be longer than a machine file may be.
  constexpr int levels = 1'900;
  constexpr int siblings = 1'500;
  std::string nodes;
  for (int level = 0; level < levels; ++level) nodes += "<node id=\"\">";
  nodes += "<volume letter=\"E\" folder=\"flash\"/>";
  for (int i = 0; i < siblings; ++i) nodes += "<node id=\"\"/>";
  for (int level = 0; level < levels; ++level) nodes += "</node>";
  open(nodes);
  ASSERT_EQ(complaint_, "");
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  reopen();
  EXPECT_EQ(complaint_, "");
  EXPECT_EQ(tree().root(), 1U);
  EXPECT_THAT(volumes().volumes(), IsEmpty());
}

TEST_F(SimulatedDevicesTest, whatCouldNotBeReadAgainIsNotSaved) {
  // Printed, each quotation mark takes six characters.
  std::string marks(800'000, '"');
  std::string attributes;
  for (int i = 0; i < 60; ++i) attributes += " a" + std::to_string(i) + "=\"\"";
  for (const std::string& extra : {"mine='" + marks + "'", "dirty=\"true\" label=\"OLD\"" + attributes}) {
    openVolume(extra);
    ASSERT_EQ(complaint_, "");
    const std::string before = text();
    testing::internal::CaptureStderr();
    EXPECT_NE(maintenance().requestEject(2).result, 0U);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
    complaint_ = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(complaint_.begin(), complaint_.end(), '\n'), 4);
    EXPECT_EQ(text(), before);
    EXPECT_THAT(namesIn("flash"), ElementsAre("file"));
    EXPECT_EQ(volumes().volumes().size(), 1U);
    EXPECT_FALSE(fs::exists(file() + "_tevra_new"));
  }
}

TEST_F(SimulatedDevicesTest, aLinkThatLiesWhereTheNewFileIsWrittenIsNotFollowed) {
  openVolume("");
  fs::create_symlink("card/file", file() + "_tevra_new");
  fs::create_symlink("card/file", file() + "_new");
  EXPECT_EQ(maintenance().requestEject(2).result, 0U);
  EXPECT_EQ(fs::file_size(folder_.native() / "card/file"), 5U);
  EXPECT_TRUE(fs::is_symlink(file() + "_new"));
  EXPECT_FALSE(fs::is_symlink(file()));
  EXPECT_FALSE(fs::exists(fs::symlink_status(file() + "_tevra_new")));
}

TEST_F(SimulatedDevicesTest, theNameOfTheNewFileIsOnTheMediumBeforeTheChangeIsTold) {
  openVolume("");
  FaultyFileSystem recording(*nativeMachine().files);
  std::vector<std::string> operations;
  recording.before = [&operations](int, const std::string& name) { operations.push_back(name); };
  MachineFile machineFile(recording, folder_.path() + u"/machine.xml");
  EXPECT_TRUE(machineFile.apply({{0, "label", "NEW"}}));
  operations.erase(operations.begin(), std::find(operations.begin(), operations.end(), "sync"));
  EXPECT_THAT(operations, ElementsAre("sync", "rename", "syncFolder"));
}

TEST_F(SimulatedDevicesTest, whatCannotBeSavedHasNotHappened) {
  openVolume("dirty=\"true\" label=\"OLD\" ejectVetoes=\"1\"");
  const std::string before = text();
  fs::create_directories(folder_.native() / "machine.xml_tevra_new/in the way");
  testing::internal::CaptureStderr();
  EXPECT_EQ(maintenance().format(u'E', FormatKind::fat, u"X"), 1);
  EXPECT_EQ(maintenance().check(u'E', {}).failed, DiskCheckStep::execute);
  EXPECT_NE(maintenance().requestEject(2).veto, 0U);
  complaint_ = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(complaint_.begin(), complaint_.end(), '\n'), 3);
  EXPECT_EQ(text(), before);
  EXPECT_EQ(labelOf(u'E'), u"OLD");
  EXPECT_TRUE(maintenance().isDirty(u'E').dirty);
  EXPECT_THAT(namesIn("flash"), ElementsAre("file"));

  openVolume("");
  testing::internal::CaptureStderr();
  EXPECT_NE(maintenance().requestEject(2).result, 0U);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(volumes().volumes().size(), 1U);
}

TEST_F(SimulatedDevicesTest, aDiskThatFailsLeavesTheOldFileOrTheNewOne) {
  openVolume("label=\"OLD\"");
  const std::string before = text();
  FaultyFileSystem faulty(*nativeMachine().files);
  const auto apply = [this, &faulty](int failAt) {
    MachineFile machineFile(faulty, folder_.path() + u"/machine.xml");
    faulty.count = 0;
    faulty.failAt = failAt;
    testing::internal::CaptureStderr();
    const bool applied = machineFile.apply({{0, "label", "NEW"}, {0, "dirty", "true"}});
    const std::string complaint = testing::internal::GetCapturedStderr();
    faulty.failAt = 0;
    EXPECT_EQ(complaint.empty(), applied);
    EXPECT_EQ(machineFile.volumes().at(0).dirty, applied);
    EXPECT_EQ(machineFile.presentVolumes().at(0).label, applied ? u"NEW" : u"OLD");
    return applied;
  };
  int failAt = 1;
  for (; !apply(failAt); ++failAt) {
    EXPECT_EQ(text(), before) << failAt;
    ASSERT_LT(failAt, 100);
  }
  EXPECT_GT(failAt, 3);
  EXPECT_THAT(text(), HasSubstr("label=\"NEW\""));
}

TEST_F(SimulatedDevicesTest, aMachineHasRoomForManyNodes) {
  std::string nodes;
  for (int i = 0; i < 2'500; ++i)
    nodes += "<node id=\"USB\\" + std::to_string(i) + "\"><node id=\"USBSTOR\\DISK&amp;VEN_ZELMORA\\" +
             std::to_string(i) +
             "&amp;0\"><volume folder=\"flash\" label=\"ZELMORA\" serial=\"1\"/></node></node>";
  open(nodes);
  EXPECT_EQ(complaint_, "");
  EXPECT_EQ(volumes().volumes().size(), 2'500U);
  EXPECT_EQ(tree().parent(5'001), 5'000U);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
