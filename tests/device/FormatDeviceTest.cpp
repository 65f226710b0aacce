#include <gmock/gmock.h>

#include "device/FormatDevice.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A pair E: and F: whose flash is unit 0.
class FormatDeviceTest : public DeviceTest {
 protected:
  FormatDeviceTest() {
    startLog();
    for (const char16_t letter : {u'E', u'F'}) {
      addDrive(letter);
      writeOn(letter, "folder/file");
      maintenance.outputs[letter] = "The type of the file system is FAT32.";
    }
    writeOn(u'E', "KD3/version.xml");
    const auto device = addDevice();
    addUnit(device, 0, u'E');
    addUnit(device, 1, u'F');
  }

  platform::DeviceNode addDevice() {
    tree = {};
    return tree.add(tree.add(0, u"R"), u"USB\\A");
  }
  void addUnit(platform::DeviceNode device, int unit, char16_t letter) {
    tree.add(tree.add(device, u"USBSTOR\\ZELMORA&" + numberText(unit)), u"V", letter + WideText(u":\\"));
  }
  FormatResult format(const FormatJob& job) {
    testing::internal::CaptureStdout();
    const FormatResult result = formatDevice(job);
    output = testing::internal::GetCapturedStdout();
    return result;
  }
  [[nodiscard]] FormatJob both() const { return {.primaryDrive = u"E:", .secondaryDrive = u"F:"}; }
  [[nodiscard]] std::vector<std::string> formats() const {
    std::vector<std::string> formats;
    for (const std::string& call : maintenance.calls)
      if (call.starts_with("format ")) formats.push_back(call);
    return formats;
  }

  std::string output;
};

TEST_F(FormatDeviceTest, BothDrivesAreExaminedBeforeTheFirstIsFormatted) {
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(maintenance.calls,
              ElementsAre("examine E", "examine F", "format E FAT32 ZELMORA", "format F FAT32 ZELMORASD"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FormatDeviceTest, TheDeviceIsIdentifiedFirst) {
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_TRUE(output.starts_with("Disk identification start!!!!!!\n"));
  EXPECT_NE(output.find("Found Zelmora! Type 1\n"), std::string::npos);
}

TEST_F(FormatDeviceTest, TheStartIsLoggedForThoseWhoAskForIt) {
  FormatJob job = both();
  job.logsStart = true;
  EXPECT_EQ(format(job), formatDone);
  EXPECT_THAT(logLines(), ElementsAre(u"FORMAT START primary: E:secondary: F:"));
}

TEST_F(FormatDeviceTest, WithoutASecondaryOnlyThePrimaryIsFormatted) {
  EXPECT_EQ(format({.primaryDrive = u"e:\\"}), formatDone);
  EXPECT_THAT(maintenance.calls, ElementsAre("examine E", "format E FAT32 ZELMORA"));
}

TEST_F(FormatDeviceTest, OnUnitOneThePrimaryGetsTheCardsLabel) {
  const auto device = addDevice();
  addUnit(device, 0, u'F');
  addUnit(device, 1, u'E');
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORASD", "format F FAT32 ZELMORA"));
  addUnit(addDevice(), 1, u'E');
  maintenance.calls.clear();
  EXPECT_EQ(format({.primaryDrive = u"E:\\"}), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORASD"));
}

TEST_F(FormatDeviceTest, TheUnitThatIsFoundLastDecidesTheLabels) {
  const auto device = addDevice();
  addUnit(device, 1, u'E');
  addUnit(device, 0, u'F');
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format F FAT32 ZELMORASD"));
}

TEST_F(FormatDeviceTest, OnWindows7TheUnitIsFoundInItsOwnPlace) {
  tree = {};
  tree.add(tree.add(tree.add(0, u"R"), u"USBSTOR\\A"), u"V\\ZELMORA&1#{5}", u"E:\\");
  FormatJob job = both();
  EXPECT_EQ(format(job), formatDone);
  job.windows7 = true;
  EXPECT_EQ(format(job), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format F FAT32 ZELMORASD",
                                     "format E FAT32 ZELMORASD", "format F FAT32 ZELMORA"));
}

TEST_F(FormatDeviceTest, ADriveThatIsNotFat32IsFormattedAsFat) {
  maintenance.outputs[u'E'] = "The type of the file system is NTFS.";
  maintenance.outputs[u'F'] = "The type of the file system is FAT.";
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT ZELMORA", "format F FAT ZELMORASD"));
}

TEST_F(FormatDeviceTest, TheNameCountsInSmallLettersToo) {
  maintenance.outputs[u'E'] = "fsck.fat32";
  maintenance.outputs[u'F'] = "Fat32";
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format F FAT ZELMORASD"));
}

TEST_F(FormatDeviceTest, OutputThatLacksTheWordsIsTakenForFat) {
  maintenance.outputs[u'E'] = "\xC4nderungen am Dateisystem";
  EXPECT_EQ(format({.primaryDrive = u"E:"}), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT ZELMORA"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FormatDeviceTest, WithoutOutputTheVolumeTellsItsFileSystem) {
  maintenance.outputs.clear();
  removeDrive(u'F');
  addDrive(u'F').fileSystem = u"FAT";
  changeDrives();
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format F FAT ZELMORASD"));
  EXPECT_THAT(logLines(), ElementsAre(u"!!! Chkdsk write nothing for primary!",
                                      u"!!! Get volume information for primary: FAT32",
                                      u"!!! Chkdsk write nothing for secondary!",
                                      u"!!! Get volume information for secondary: FAT"));
}

TEST_F(FormatDeviceTest, TheVolumesFileSystemCountsInCapitalsOnly) {
  maintenance.outputs.clear();
  removeDrive(u'E');
  addDrive(u'E').fileSystem = u"fat32";
  changeDrives();
  EXPECT_EQ(format({.primaryDrive = u"E:"}), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT ZELMORA"));
}

TEST_F(FormatDeviceTest, APrimaryThatCannotBeExaminedStopsItBeforeAnythingIsTouched) {
  removeDrive(u'E');
  maintenance.outputs[u'E'] = "";
  EXPECT_EQ(format(both()), formatExamineFailed);
  EXPECT_THAT(maintenance.calls, ElementsAre("examine E"));
  EXPECT_THAT(logLines(), ElementsAre(u"!!! Chkdsk write nothing for primary!",
                                      u"!!! Get volume information for primary: "));
}

TEST_F(FormatDeviceTest, ASecondaryThatCannotBeExaminedStopsItBeforeAnythingIsTouched) {
  removeDrive(u'F');
  maintenance.outputs[u'F'] = "";
  EXPECT_EQ(format(both()), formatExamineFailed);
  EXPECT_THAT(maintenance.calls, ElementsAre("examine E", "examine F"));
  EXPECT_THAT(treeOn(u'E'), ElementsAre("KD3/", "KD3/version.xml", "folder/", "folder/file"));
}

TEST_F(FormatDeviceTest, ADriveThatKeepsItsFormatNeedNotTellItsFileSystem) {
  removeDrive(u'E');
  maintenance.outputs[u'E'] = "";
  EXPECT_EQ(format({.primaryDrive = u"E:", .keepPrimaryFormat = true}), formatDone);
  EXPECT_EQ(logLines().size(), 2U);
  removeDrive(u'F');
  maintenance.outputs[u'F'] = "";
  EXPECT_EQ(format({.primaryDrive = u"E:",
                    .secondaryDrive = u"F:",
                    .keepPrimaryFormat = true,
                    .keepSecondaryFormat = true}),
            formatDone);
  EXPECT_THAT(formats(), IsEmpty());
}

TEST_F(FormatDeviceTest, ADriveTooSmallForFat32GetsFat) {
  maintenance.formatResults[u'E'] = {1};
  maintenance.formatResults[u'F'] = {-1};
  EXPECT_EQ(format(both()), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format E FAT ZELMORA",
                                     "format F FAT32 ZELMORASD", "format F FAT ZELMORASD"));
}

TEST_F(FormatDeviceTest, APrimaryThatCannotBeFormattedStopsIt) {
  maintenance.formatResults[u'E'] = {1, 1};
  EXPECT_EQ(format(both()), formatPrimaryFailed);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA", "format E FAT ZELMORA"));
}

TEST_F(FormatDeviceTest, ADriveOfAnotherFormatHasNoSecondAttempt) {
  maintenance.outputs[u'E'] = "NTFS";
  maintenance.formatResults[u'E'] = {4};
  EXPECT_EQ(format(both()), formatPrimaryFailed);
  EXPECT_THAT(formats(), ElementsAre("format E FAT ZELMORA"));
}

TEST_F(FormatDeviceTest, ASecondaryThatCannotBeFormattedIsAFailureOfItsOwn) {
  maintenance.formatResults[u'F'] = {1, 1};
  EXPECT_EQ(format(both()), formatSecondaryFailed);
  EXPECT_EQ(formats().size(), 3U);
}

TEST_F(FormatDeviceTest, ADriveThatKeepsItsFormatIsCleared) {
  makeFolder(path(u"F/empty/inner"));
  FormatJob job = both();
  job.keepSecondaryFormat = true;
  EXPECT_EQ(format(job), formatDone);
  EXPECT_THAT(formats(), ElementsAre("format E FAT32 ZELMORA"));
  EXPECT_THAT(treeOn(u'F'), IsEmpty());
  EXPECT_FALSE(treeOn(u'E').empty());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FormatDeviceTest, APlainFolderCanBeClearedAndStays) {
  writeFile(path(u"plain/a/b"), "x");
  EXPECT_EQ(format({.primaryDrive = path(u"plain"), .keepPrimaryFormat = true}), formatDone);
  EXPECT_THAT(JobTest::tree(path(u"plain")), IsEmpty());
}

TEST_F(FormatDeviceTest, APlainFolderOrAFolderOnADriveIsNeverFormatted) {
  for (const WideText& drive : {path(u"E"), WideText(u"E:\\folder"), WideText(u"E"), WideText(u"E:folder")}) {
    maintenance.calls.clear();
    EXPECT_EQ(format({.primaryDrive = drive}), formatExamineFailed) << toUtf8(drive);
    EXPECT_THAT(maintenance.calls, ElementsAre("examine none"));
  }
}

// The first removal of a file fails, as if its marks still stood in the way.
class StubbornFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (marked && path.ends_with(u"stubborn")) {
      marked = false;
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return false;
    }
    return target().removeFile(path, error);
  }
  bool clearReadOnlyAndHidden(const WideText& path, platform::ErrorCode& error) override {
    cleared.push_back(toUtf8(path));
    return target().clearReadOnlyAndHidden(path, error);
  }

  bool marked = true;
  std::vector<std::string> cleared;
};

TEST_F(FormatDeviceTest, WhatTheFirstRemovalLeavesLosesItsMarksAndGoesInTheSecond) {
  writeOn(u'F', "a/stubborn");
  platform::Machine machine = platform::machine();
  StubbornFileSystem stubborn(*machine.files);
  machine.files = &stubborn;
  const platform::ScopedMachine scope(machine);
  FormatJob job = both();
  job.keepSecondaryFormat = true;
  EXPECT_EQ(format(job), formatDone);
  EXPECT_THAT(treeOn(u'F'), IsEmpty());
  EXPECT_EQ(std::count(stubborn.cleared.begin(), stubborn.cleared.end(), "F:\\a\\stubborn"), 3);
  EXPECT_EQ(std::count(stubborn.cleared.begin(), stubborn.cleared.end(), "F:\\folder\\file"), 1);
}

}  // namespace

}  // namespace ZelmoraTevra
