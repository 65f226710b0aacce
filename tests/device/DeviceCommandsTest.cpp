#include <gmock/gmock.h>
#include <tinyxml.h>

#include "core/Base64.h"
#include "device/DeviceCommands.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceCommandsTest : public DeviceTest {
 protected:
  DeviceCommandsTest() {
    addDeviceCommands(table);
    tree.add(tree.add(tree.add(0, u"R"), u"USB\\A"), u"USBSTOR\\A");
    maintenance.deviceNames[u'E'] = u"\\Device\\HarddiskVolume3";
    maintenance.devices[platform::DeviceClass::disk] = {{u"\\\\.\\E:", 3}};
    maintenance.deviceNumbers[u"\\\\.\\E:"] = 1;
  }

  static std::string encoded(const std::string& element, const std::string& value) {
    return "<" + element + ">" + encodeBase64(value) + "</" + element + ">";
  }
  static std::string letters(const std::string& first, const std::string& second = {}) {
    return encoded("StorageCardDriveLetter", first) + encoded("SecondDriveLetter", second);
  }
  bool read(const WideText& name, const std::string& children) {
    TiXmlDocument document;
    document.Parse(("<Command>" + children + "</Command>").c_str(), nullptr, TIXML_ENCODING_UTF8);
    record = {};
    record.commandName = name;
    return table.at(name).read(*document.RootElement(), record);
  }
  int run(const WideText& name) {
    testing::internal::CaptureStdout();
    const auto worker = table.at(name).makeWorker();
    const int result = worker->init(record) == 0 ? worker->run() : -2;
    output = testing::internal::GetCapturedStdout();
    return result;
  }

  CommandTable table;
  CommandRecord record;
  std::string output;
};

TEST_F(DeviceCommandsTest, NoneOfTheCommandsMarksTheDevice) {
  for (const auto& [name, command] : table) {
    EXPECT_FALSE(command.writesIndicatorFile) << toUtf8(name);
    EXPECT_FALSE(command.movesFolder) << toUtf8(name);
  }
}

TEST_F(DeviceCommandsTest, CheckDiskIsAcceptedWithoutLetters) {
  EXPECT_TRUE(read(u"CHECK_DISK", ""));
  EXPECT_EQ(record.storageCardDriveLetter, u"");
  EXPECT_EQ(record.secondDriveLetter, u"");
  EXPECT_FALSE(record.fixErrors || record.forceDismount || record.recoverBadSectors);
  EXPECT_EQ(run(u"CHECK_DISK"), 0);
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_THAT(maintenance.calls, IsEmpty());
}

TEST_F(DeviceCommandsTest, CheckDiskReadsItsParameters) {
  addDrive(u'E');
  addDrive(u'F');
  EXPECT_TRUE(read(u"CHECK_DISK", letters("E:", "F:") + "<FixErrors>true</FixErrors>"));
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
  EXPECT_TRUE(record.fixErrors);
  EXPECT_FALSE(record.forceDismount || record.recoverBadSectors);
  EXPECT_TRUE(read(u"CHECK_DISK", "<ForceDismount>true</ForceDismount>"));
  EXPECT_TRUE(record.forceDismount);
  EXPECT_FALSE(record.fixErrors || record.recoverBadSectors);
  EXPECT_TRUE(read(u"CHECK_DISK", "<RecoverBadSectors>true</RecoverBadSectors>"));
  EXPECT_TRUE(record.recoverBadSectors);
  EXPECT_FALSE(record.fixErrors || record.forceDismount);
}

TEST_F(DeviceCommandsTest, OnlyTheWordTrueTurnsAParameterOn) {
  for (const std::string word : {"TRUE", "True", "1", "yes", ""}) {
    EXPECT_TRUE(read(u"CHECK_DISK", "<FixErrors>" + word + "</FixErrors><ForceDismount>" + word +
                                        "</ForceDismount><RecoverBadSectors>" + word +
                                        "</RecoverBadSectors>"));
    EXPECT_FALSE(record.fixErrors || record.forceDismount || record.recoverBadSectors) << word;
  }
}

TEST_F(DeviceCommandsTest, CheckDiskNeedsTheFirstStorageThatIsGiven) {
  addDrive(u'F');
  EXPECT_FALSE(read(u"CHECK_DISK", letters("E:\\", "F:")));
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 7);
  EXPECT_THAT(saved.descriptions, ElementsAre(u"100"));
  EXPECT_EQ(saved.exitCode(), u"1066");
  EXPECT_EQ(saved.attributes.at(u"PATH"), u"E:/");
  EXPECT_EQ(saved.attributes.at(u"DRIVE"), u"E:");
}

TEST_F(DeviceCommandsTest, CheckDiskNeedsTheSecondStorageThatIsGiven) {
  addDrive(u'E');
  EXPECT_FALSE(read(u"CHECK_DISK", letters("E:", "F:")));
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 7);
  EXPECT_THAT(saved.descriptions, ElementsAre(u"100"));
  EXPECT_EQ(saved.exitCode(), u"1156");
  EXPECT_EQ(saved.attributes.at(u"PATH"), u"F:");
  EXPECT_EQ(saved.attributes.at(u"DRIVE"), u"F:");
  EXPECT_FALSE(read(u"CHECK_DISK", letters("", "F:")));
  EXPECT_EQ(status().exitCode(), u"1156");
}

TEST_F(DeviceCommandsTest, CheckDiskReportsTheDrivesThatFailed) {
  for (const auto& [isPrimaryDirty, isSecondaryDirty, exitCode] :
       {std::tuple(true, false, u"1296"), std::tuple(false, true, u"1297"),
        std::tuple(true, true, u"1298")}) {
    maintenance.dirt[u'E'] = {.dirty = isPrimaryDirty};
    maintenance.dirt[u'F'] = {.dirty = isSecondaryDirty};
    record.storageCardDriveLetter = u"E:";
    record.secondDriveLetter = u"F:";
    EXPECT_EQ(run(u"CHECK_DISK"), -1);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_THAT(saved.descriptions, ElementsAre(u"100"));
    EXPECT_EQ(saved.exitCode(), exitCode);
  }
}

TEST_F(DeviceCommandsTest, CheckDiskThatFindsNothingWrongSaysSoWithoutAPercent) {
  record.storageCardDriveLetter = u"E:";
  record.fixErrors = record.forceDismount = record.recoverBadSectors = true;
  EXPECT_EQ(run(u"CHECK_DISK"), 0);
  EXPECT_THAT(maintenance.calls, ElementsAre("check E fix dismount recover"));
  EXPECT_EQ(status().state, 9);
  EXPECT_THAT(status().descriptions, IsEmpty());
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_EQ(output, "");
}

TEST_F(DeviceCommandsTest, RemoveDeviceNeedsAStorage) {
  EXPECT_FALSE(read(u"REMOVE_DEVICE", letters("", "F:")));
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 7);
  EXPECT_THAT(saved.descriptions,
              ElementsAre(u"100", u"Error on reading the remove device files parameters!"));
  EXPECT_EQ(saved.exitCode(), u"1071");
  EXPECT_FALSE(saved.attributes.contains(u"PATH"));
}

TEST_F(DeviceCommandsTest, RemoveDeviceNeedsNoStorageThatExists) {
  EXPECT_TRUE(read(u"REMOVE_DEVICE", letters("E:", "F:")));
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.secondDriveLetter, u"F:");
}

TEST_F(DeviceCommandsTest, RemoveDeviceIdentifiesDevicesAndEjects) {
  addDrive(u'E');
  record.storageCardDriveLetter = u"e:\\";
  EXPECT_EQ(run(u"REMOVE_DEVICE"), 0);
  EXPECT_EQ(maintenance.calls.back(), "eject and tell 2");
  EXPECT_EQ(status().state, 9);
  EXPECT_THAT(status().descriptions, IsEmpty());
  EXPECT_EQ(status().exitCode(), u"1010");
  EXPECT_EQ(output, "Disk identification start!!!!!!\nDisk identification ended!!!!!!\n\n\n\n\n\n");
}

TEST_F(DeviceCommandsTest, ADeviceThatStaysIsReportedAndCountsAsRun) {
  const auto expectReport = [this] {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_THAT(saved.descriptions,
                ElementsAre(u"121",
                            u"An error occurred when trying to remove the device. Please make sure it "
                            u"is not used by other programs."));
    EXPECT_EQ(saved.exitCode(), u"1072");
  };
  addDrive(u'E');
  maintenance.ejectAnswers = {{23, 5}, {23, 5}, {23, 5}};
  record.storageCardDriveLetter = u"E:";
  EXPECT_EQ(run(u"REMOVE_DEVICE"), 0);
  EXPECT_EQ(clock.slept, 1'500U);
  expectReport();
  maintenance.calls.clear();
  record.storageCardDriveLetter = u"";
  EXPECT_EQ(run(u"REMOVE_DEVICE"), 0);
  expectReport();
  EXPECT_THAT(maintenance.calls, IsEmpty());
  record.storageCardDriveLetter = u"1:";
  EXPECT_EQ(run(u"REMOVE_DEVICE"), 0);
  expectReport();
  EXPECT_THAT(maintenance.calls, IsEmpty());
}

}  // namespace

}  // namespace ZelmoraTevra
