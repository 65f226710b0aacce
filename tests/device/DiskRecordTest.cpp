#include "device/DiskRecord.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView idStart = u"USBSTOR#DISK&VEN_ZELMORA&REV_1.0#A1";

class DiskRecordTest : public DeviceTest {
 protected:
  static DiskRecord internal(WideText letter, std::int32_t unit = 0) {
    return {.grandParentDevInst = 5,
            .deviceId = u"id of " + letter,
            .internalDrive = letter,
            .internalDeviceId = u"id of " + letter,
            .lunType = unit};
  }
  static DiskRecord external(WideText letter, std::int32_t unit = 1) {
    DiskRecord record{.grandParentDevInst = 5,
                      .deviceId = u"id of " + letter,
                      .externalDrive = letter,
                      .externalDeviceId = u"id of " + letter,
                      .hasExternal = 1,
                      .lunType = unit};
    (unit == 0 ? record.externalDriveLun0 : record.externalDriveLun1) = letter;
    return record;
  }
  bool merge(const DiskRecord& record, bool windows7Mode = false) {
    return mergeDiskRecord(records, record, windows7Mode);
  }

  std::vector<DiskRecord> records;
};

TEST_F(DiskRecordTest, TheFirstRecordIsAdded) {
  EXPECT_TRUE(merge(external(u"F", 0)));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].externalDrive, u"F");
  EXPECT_EQ(records[0].externalDriveLun0, u"F");
  EXPECT_EQ(records[0].lunType, 0);
}

TEST_F(DiskRecordTest, ARecordOfTheSameGrandParentIsMerged) {
  EXPECT_TRUE(merge(internal(u"E")));
  EXPECT_FALSE(merge(external(u"F")));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].internalDrive, u"E");
  EXPECT_EQ(records[0].internalDeviceId, u"id of E");
  EXPECT_EQ(records[0].externalDrive, u"F");
  EXPECT_EQ(records[0].externalDeviceId, u"id of F");
  EXPECT_EQ(records[0].externalDriveLun0, u"");
  EXPECT_EQ(records[0].externalDriveLun1, u"F");
  EXPECT_EQ(records[0].hasExternal, 1);
  EXPECT_EQ(records[0].externalChanged, 0);
}

TEST_F(DiskRecordTest, ARecordOfAnotherGrandParentIsADeviceOfItsOwn) {
  DiskRecord other = internal(u"G");
  other.grandParentDevInst = 9;
  EXPECT_TRUE(merge(internal(u"E")));
  EXPECT_TRUE(merge(other));
  EXPECT_FALSE(merge(external(u"F")));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].externalDrive, u"F");
  EXPECT_EQ(records[1].hasExternal, 0);
}

TEST_F(DiskRecordTest, OnWindows7TheIdsTellTheDevice) {
  DiskRecord flash = internal(u"E");
  flash.deviceId = WideText(idStart) + u"&0#{5}";
  DiskRecord card = external(u"F");
  card.deviceId = WideText(idStart) + u"&1#{5}";
  card.grandParentDevInst = 9;
  DiskRecord other = internal(u"G");
  other.deviceId = WideText(idStart) + u"2&0#{5}";
  EXPECT_TRUE(merge(flash, true));
  EXPECT_TRUE(merge(other, true));
  EXPECT_FALSE(merge(card, true));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].externalDrive, u"F");
  EXPECT_EQ(records[0].grandParentDevInst, 5U);
}

TEST_F(DiskRecordTest, OnWindows7TheSameIdTwiceIsTwoDevices) {
  DiskRecord flash = internal(u"E");
  flash.deviceId = WideText(idStart) + u"&0#{5}";
  EXPECT_TRUE(merge(flash, true));
  EXPECT_TRUE(merge(flash, true));
  EXPECT_EQ(records.size(), 2U);
}

TEST_F(DiskRecordTest, AMergeKeepsTheIdOfTheRecord) {
  merge(internal(u"E"));
  merge(external(u"F"));
  EXPECT_EQ(records[0].deviceId, u"id of E");
}

TEST_F(DiskRecordTest, AnInternalDriveBringsItsUnit) {
  merge(external(u"F", 0));
  merge(internal(u"E", 1));
  EXPECT_EQ(records[0].lunType, 1);
  EXPECT_EQ(records[0].hasExternal, 1);
}

TEST_F(DiskRecordTest, ACardOnUnitZeroBringsItsUnit) {
  merge(internal(u"E", 1));
  merge(external(u"F", 0));
  EXPECT_EQ(records[0].lunType, 0);
}

TEST_F(DiskRecordTest, ACardOnUnitOneDoesNotBringItsUnit) {
  merge(internal(u"E", 0));
  merge(external(u"F", 1));
  EXPECT_EQ(records[0].lunType, 0);
}

TEST_F(DiskRecordTest, ASecondInternalDriveOverwritesTheFirst) {
  merge(internal(u"E"));
  merge(internal(u"F", 1));
  EXPECT_EQ(records[0].internalDrive, u"F");
  EXPECT_EQ(records[0].internalDeviceId, u"id of F");
  EXPECT_EQ(records[0].hasExternal, 0);
}

TEST_F(DiskRecordTest, ANewCardLetterWhileTheOldOneIsGoneIsAChange) {
  merge(external(u"F"));
  merge(external(u"H"));
  EXPECT_EQ(records[0].externalChanged, 1);
  EXPECT_EQ(records[0].externalDrive, u"H");
}

TEST_F(DiskRecordTest, ANewCardLetterWhileTheOldOneIsThereIsNoChange) {
  addDrive(u'F');
  merge(external(u"F"));
  merge(external(u"H"));
  EXPECT_EQ(records[0].externalChanged, 0);
  EXPECT_EQ(records[0].externalDrive, u"H");
}

TEST_F(DiskRecordTest, AnInternalDriveLeavesTheCardsChangeAlone) {
  merge(external(u"F"));
  merge(internal(u"E"));
  EXPECT_EQ(records[0].externalChanged, 0);
  merge(external(u"H"));
  merge(internal(u"E"));
  EXPECT_EQ(records[0].externalChanged, 1);
}

}  // namespace

}  // namespace ZelmoraTevra
