#include <gmock/gmock.h>

#include "device/DeviceEjection.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

using platform::DeviceClass;
using platform::DriveType;
using testing::ElementsAre;
using testing::IsEmpty;

// A drive E: on the disk with number 7, whose node is 3 and whose parent's is 2.
class DeviceEjectionTest : public DeviceTest {
 protected:
  DeviceEjectionTest() {
    tree.add(tree.add(tree.add(0, u"R"), u"USB\\A"), u"USBSTOR\\A");
    addDrive(u'E');
    maintenance.deviceNumbers[u"\\\\.\\E:"] = 7;
    maintenance.deviceNumbers[u"other disk"] = 6;
    maintenance.deviceNumbers[u"disk"] = 7;
    maintenance.deviceNames[u'E'] = u"\\Device\\HarddiskVolume3";
    useClass(DeviceClass::disk);
  }

  // The disk can be found in this class alone.
  void useClass(DeviceClass deviceClass) {
    maintenance.devices = {{deviceClass, {{u"other disk", 1}, {u"no number", 1}, {u"disk", 3}}}};
  }
  void useType(DriveType type) {
    removeDrive(u'E');
    addDrive(u'E').type = type;
    changeDrives();
  }
  [[nodiscard]] std::size_t requests() const {
    return static_cast<std::size_t>(
        std::count(maintenance.calls.begin(), maintenance.calls.end(), "eject 2"));
  }
};

TEST_F(DeviceEjectionTest, AsksTheParentOfTheDisk) {
  EXPECT_EQ(ejectDevice(u"E:"), 0);
  EXPECT_THAT(maintenance.calls,
              ElementsAre("number \\\\.\\E:", "name E", "interfaces 0", "number other disk",
                          "number no number", "number disk", "eject 2", "eject and tell 2"));
  EXPECT_EQ(clock.slept, 0U);
}

TEST_F(DeviceEjectionTest, TheFirstCharacterInEitherCaseIsTheDrive) {
  for (const WideView text : {u"e:", u"e", u"E", u"E:\\", u"easy"}) {
    EXPECT_EQ(ejectDevice(WideText(text)), 0) << toUtf8(text);
  }
}

TEST_F(DeviceEjectionTest, WhatIsNoLetterFailsWithoutASystemCall) {
  for (const WideView text :
       {u"1:", u"", u"/srv/device", u"@:", u"[:", u"`:", u"{:", u"\x00C5:", u"\xFF25:"}) {
    EXPECT_EQ(ejectDevice(WideText(text)), -1) << toUtf8(text);
  }
  EXPECT_THAT(maintenance.calls, IsEmpty());
  EXPECT_EQ(clock.slept, 0U);
}

TEST_F(DeviceEjectionTest, ADriveWithoutADeviceNumberFails) {
  EXPECT_EQ(ejectDevice(u"F:"), -1);
  EXPECT_THAT(maintenance.calls, ElementsAre("number \\\\.\\F:"));
}

TEST_F(DeviceEjectionTest, ADriveWithoutADeviceNameFails) {
  maintenance.deviceNames.clear();
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  EXPECT_THAT(maintenance.calls, ElementsAre("number \\\\.\\E:", "name E"));
}

TEST_F(DeviceEjectionTest, ADriveThatHasGoneMeanwhileFails) {
  removeDrive(u'E');
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  EXPECT_EQ(requests(), 0U);
}

TEST_F(DeviceEjectionTest, AFixedDiskIsFoundThroughTheDiskClass) {
  useType(DriveType::fixed);
  maintenance.deviceNames[u'E'] = u"\\Device\\Floppy0";
  EXPECT_EQ(ejectDevice(u"E:"), 0);
  EXPECT_EQ(requests(), 1U);
}

TEST_F(DeviceEjectionTest, ARemovableDriveWithAFloppysNameIsFoundThroughTheFloppyClass) {
  maintenance.deviceNames[u'E'] = u"\\Device\\Floppy0";
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  useClass(DeviceClass::floppy);
  EXPECT_EQ(ejectDevice(u"E:"), 0);
}

TEST_F(DeviceEjectionTest, ACdromIsFoundThroughItsOwnClass) {
  useType(DriveType::cdrom);
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  useClass(DeviceClass::cdrom);
  EXPECT_EQ(ejectDevice(u"E:"), 0);
}

TEST_F(DeviceEjectionTest, ADiskThatIsNotAmongTheDevicesFails) {
  maintenance.deviceNumbers[u"disk"] = 8;
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  EXPECT_EQ(requests(), 0U);
  EXPECT_EQ(clock.slept, 0U);
}

TEST_F(DeviceEjectionTest, ADiskWithoutAParentFails) {
  maintenance.devices = {{DeviceClass::disk, {{u"disk", 1}}}};
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  EXPECT_EQ(requests(), 0U);
}

TEST_F(DeviceEjectionTest, ADeviceThatVetoesTwiceAndThenLetsGoIsEjected) {
  maintenance.ejectAnswers = {{23, 5}, {0, 5}, {0, 0}};
  EXPECT_EQ(ejectDevice(u"E:"), 0);
  EXPECT_EQ(requests(), 3U);
  EXPECT_EQ(maintenance.calls.back(), "eject and tell 2");
  EXPECT_EQ(clock.slept, 1'000U);
}

TEST_F(DeviceEjectionTest, ADeviceThatVetoesThreeTimesStaysAfterOneAndAHalfSeconds) {
  std::vector<std::uint32_t> pauses;
  clock.onSleep = [&pauses](std::uint32_t milliseconds) { pauses.push_back(milliseconds); };
  maintenance.ejectAnswers = {{23, 0}, {23, 5}, {0, 1}};
  EXPECT_EQ(ejectDevice(u"E:"), -1);
  EXPECT_EQ(requests(), 3U);
  EXPECT_EQ(maintenance.calls.back(), "eject 2");
  EXPECT_THAT(pauses, ElementsAre(500U, 500U, 500U));
}

}  // namespace

}  // namespace ZelmoraTevra
