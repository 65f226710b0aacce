#include "device/usbDiskIdentifier.h"
#include "tests/device/DeviceTest.h"

namespace ZelmoraTevra {

namespace {

using platform::DeviceNode;

class UsbDiskIdentifierTest : public DeviceTest {
 protected:
  static WideText diskId(const WideText& serial, int unit) {
    return u"USBSTOR\\DISK&VEN_ZELMORA&PROD_NAV&REV_1.00\\" + serial + (unit == 0 ? u"&0" : u"&1");
  }
  static WideText volumeId(const WideText& serial, int unit) {
    return u"STORAGE\\VOLUME\\_??_USBSTOR#DISK&VEN_ZELMORA&PROD_NAV&REV_1.00#" + serial +
           (unit == 0 ? u"&0" : u"&1") + u"#{53F56307}";
  }
  DeviceNode root() { return tree.root() != 0 ? tree.root() : tree.add(0, u"HTREE\\ROOT\\0"); }
  DeviceNode addDevice() { return tree.add(root(), u"USB\\VID_1F5A&PID_0001\\A1"); }
  // A logical unit of a device with its volume; gives the volume's node.
  DeviceNode addUnit(DeviceNode device, const WideText& serial, int unit, char16_t letter,
                     bool hasVersion = false) {
    addDrive(letter);
    if (hasVersion) writeOn(letter, "ZELMORA/version.xml");
    const DeviceNode disk = tree.add(device, diskId(serial, unit));
    return tree.add(disk, volumeId(serial, unit), letter + WideText(u":\\"));
  }
  // A flash E: with a version file and a card F:.
  void addPair() {
    const DeviceNode device = addDevice();
    addUnit(device, u"A1", 0, u'E', true);
    addUnit(device, u"A1", 1, u'F');
  }
  usbDiskIdentifier identify(const WideText& wanted = {}, bool windows7Mode = false) {
    testing::internal::CaptureStdout();
    usbDiskIdentifier identifier(wanted, windows7Mode);
    output = testing::internal::GetCapturedStdout();
    return identifier;
  }

  std::string output;
};

TEST_F(UsbDiskIdentifierTest, WithoutARootOnlyTheStartIsTold) {
  const usbDiskIdentifier identifier = identify();
  EXPECT_EQ(output, "Disk identification start!!!!!!\n");
  EXPECT_TRUE(identifier.records().empty());
}

TEST_F(UsbDiskIdentifierTest, AnEmptyTreeGivesStartAndEndAndNoRecord) {
  root();
  usbDiskIdentifier identifier = identify();
  EXPECT_EQ(output, "Disk identification start!!!!!!\nDisk identification ended!!!!!!\n\n\n\n\n\n");
  EXPECT_FALSE(identifier.hasExternalDisk());
  EXPECT_EQ(identifier.classifyDrive(u"E"), 0);
  EXPECT_EQ(identifier.getDriveLunType(u"E"), -1);
  EXPECT_EQ(identifier.isExternalChanged(u"E"), 0);
  EXPECT_EQ(identifier.internalDriveOfExternal(u"E"), u"");
  EXPECT_EQ(identifier.externalDriveOfInternal(u"E"), u"");
}

TEST_F(UsbDiskIdentifierTest, APairIsOneRecordAndToldToTheLetter) {
  addPair();
  usbDiskIdentifier identifier = identify();
  EXPECT_EQ(output, R"(Disk identification start!!!!!!


Processing drive: E:\
Device id: 4
Indent: 4
Parent id: 3
Grand parent id: 2
Device id str: USBSTOR\DISK&VEN_ZELMORA&PROD_NAV&REV_1.00\A1&0
Parent id str: STORAGE\VOLUME\_??_USBSTOR#DISK&VEN_ZELMORA&PROD_NAV&REV_1.00#A1&0#{53F56307}
Found Zelmora! Type 0
Found version!
New disk info added!


Processing drive: F:\
Device id: 6
Indent: 4
Parent id: 5
Grand parent id: 2
Device id str: USBSTOR\DISK&VEN_ZELMORA&PROD_NAV&REV_1.00\A1&1
Parent id str: STORAGE\VOLUME\_??_USBSTOR#DISK&VEN_ZELMORA&PROD_NAV&REV_1.00#A1&1#{53F56307}
Found Zelmora! Type 1
external !
Existing disk info added!
Disk identification ended!!!!!!





)");
  ASSERT_EQ(identifier.records().size(), 1U);
  const DiskRecord& record = identifier.records()[0];
  EXPECT_EQ(record.grandParentDevInst, 2U);
  EXPECT_EQ(record.deviceId, volumeId(u"A1", 0));
  EXPECT_EQ(record.internalDrive, u"E");
  EXPECT_EQ(record.internalDeviceId, volumeId(u"A1", 0));
  EXPECT_EQ(record.externalDrive, u"F");
  EXPECT_EQ(record.externalDeviceId, volumeId(u"A1", 1));
  EXPECT_EQ(record.externalDriveLun0, u"");
  EXPECT_EQ(record.externalDriveLun1, u"F");
  EXPECT_EQ(record.hasExternal, 1);
  EXPECT_EQ(record.externalChanged, 0);
  EXPECT_EQ(record.lunType, 0);
}

TEST_F(UsbDiskIdentifierTest, APairsFlashIsTheSoftwareStorageAndItsCardTheContentStorage) {
  addPair();
  usbDiskIdentifier identifier = identify();
  EXPECT_TRUE(identifier.hasExternalDisk());
  for (const WideView form : {u"", u":", u":\\"}) {
    EXPECT_EQ(identifier.classifyDrive(u"E" + WideText(form)), 1);
    EXPECT_EQ(identifier.classifyDrive(u"F" + WideText(form)), 2);
    EXPECT_EQ(identifier.getDriveLunType(u"E" + WideText(form)), 0);
    EXPECT_EQ(identifier.getDriveLunType(u"F" + WideText(form)), -1);
  }
  EXPECT_EQ(identifier.classifyDrive(u"G"), 0);
  EXPECT_EQ(identifier.classifyDrive(u"E:/"), 0);
  EXPECT_EQ(identifier.classifyDrive(u"e:"), 0);
}

TEST_F(UsbDiskIdentifierTest, TheTwoDrivesOfAPairLeadToEachOther) {
  addPair();
  usbDiskIdentifier identifier = identify();
  EXPECT_EQ(identifier.internalDriveOfExternal(u"F"), u"E");
  EXPECT_EQ(identifier.externalDriveOfInternal(u"E"), u"F");
  EXPECT_EQ(identifier.internalDriveOfExternal(u"E"), u"");
  EXPECT_EQ(identifier.externalDriveOfInternal(u"F"), u"");
  EXPECT_EQ(identifier.internalDriveOfExternal(u"F:"), u"");
  EXPECT_EQ(identifier.externalDriveOfInternal(u"E:"), u"");
}

TEST_F(UsbDiskIdentifierTest, OnWindows7APairIsOneRecordWhateverItsGrandParents) {
  addUnit(addDevice(), u"A1", 0, u'E', true);
  addUnit(addDevice(), u"A1", 1, u'F');
  usbDiskIdentifier identifier = identify({}, true);
  ASSERT_EQ(identifier.records().size(), 1U);
  EXPECT_EQ(identifier.classifyDrive(u"E:"), 1);
  EXPECT_EQ(identifier.classifyDrive(u"F:"), 2);
  EXPECT_EQ(identify().records().size(), 2U);
}

TEST_F(UsbDiskIdentifierTest, OnWindows7TheNumbersStandInTheVolumesIdAlone) {
  addPair();
  identify({}, true);
  EXPECT_NE(output.find("Found Zelmora! Type 0\nFound version!\nNew disk info added!\n"), std::string::npos);
  EXPECT_NE(output.find("Found Zelmora! Type 1\nexternal !\nExisting disk info added!\n"), std::string::npos);
}

TEST_F(UsbDiskIdentifierTest, ADeviceWithoutACardIsALoneDrive) {
  addUnit(addDevice(), u"A1", 0, u'E', true);
  usbDiskIdentifier identifier = identify();
  ASSERT_EQ(identifier.records().size(), 1U);
  EXPECT_EQ(identifier.records()[0].hasExternal, 0);
  EXPECT_FALSE(identifier.hasExternalDisk());
  EXPECT_EQ(identifier.classifyDrive(u"E:"), 0);
  EXPECT_EQ(identifier.getDriveLunType(u"E:"), 0);
}

TEST_F(UsbDiskIdentifierTest, ACardAloneIsTheContentStorage) {
  addUnit(addDevice(), u"A1", 1, u'F');
  usbDiskIdentifier identifier = identify();
  EXPECT_TRUE(identifier.hasExternalDisk());
  EXPECT_EQ(identifier.classifyDrive(u"F:"), 2);
  EXPECT_EQ(identifier.getDriveLunType(u"F:"), -1);
  EXPECT_EQ(identifier.internalDriveOfExternal(u"F"), u"");
}

TEST_F(UsbDiskIdentifierTest, TwoDevicesAtOnceAreToldApartByTheirGrandParents) {
  addPair();
  const DeviceNode second = addDevice();
  addUnit(second, u"A2", 0, u'G', true);
  addUnit(second, u"A2", 1, u'H');
  for (const bool windows7Mode : {false, true}) {
    usbDiskIdentifier identifier = identify({}, windows7Mode);
    ASSERT_EQ(identifier.records().size(), 2U);
    EXPECT_EQ(identifier.externalDriveOfInternal(u"E"), u"F");
    EXPECT_EQ(identifier.externalDriveOfInternal(u"G"), u"H");
    EXPECT_EQ(identifier.classifyDrive(u"H"), 2);
  }
}

TEST_F(UsbDiskIdentifierTest, EachLayoutsVersionFileMakesAnInternalDrive) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 0, u'E');
  addUnit(device, u"A1", 1, u'F');
  writeOn(u'E', "KD3/version.xml");
  EXPECT_EQ(identify().records()[0].internalDrive, u"E");
  EXPECT_EQ(identify().records()[0].externalDrive, u"F");
}

TEST_F(UsbDiskIdentifierTest, AFolderInPlaceOfTheVersionFileIsNone) {
  addUnit(addDevice(), u"A1", 0, u'E');
  makeFolder(path(u"E/ZELMORA/version.xml"));
  EXPECT_EQ(identify().records()[0].internalDrive, u"");
}

TEST_F(UsbDiskIdentifierTest, WithAVersionFileOnBothDrivesTheSecondLetterStays) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 0, u'E', true);
  addUnit(device, u"A1", 1, u'F', true);
  usbDiskIdentifier identifier = identify();
  ASSERT_EQ(identifier.records().size(), 1U);
  EXPECT_EQ(identifier.records()[0].internalDrive, u"F");
  EXPECT_EQ(identifier.records()[0].externalDrive, u"");
  EXPECT_EQ(identifier.records()[0].lunType, 1);
  EXPECT_EQ(identifier.getDriveLunType(u"F"), 1);
  EXPECT_FALSE(identifier.hasExternalDisk());
}

TEST_F(UsbDiskIdentifierTest, TheWantedDriveIsInternalInEachOfItsForms) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 0, u'E');
  addUnit(device, u"A1", 1, u'F');
  for (const WideView wanted : {u"E", u"E:", u"E:\\"}) {
    usbDiskIdentifier identifier = identify(WideText(wanted));
    EXPECT_EQ(identifier.records()[0].internalDrive, u"E");
    EXPECT_NE(output.find("Found Zelmora! Type 0\ninternal \nNew disk"), std::string::npos);
    EXPECT_EQ(identifier.classifyDrive(u"E"), 1);
  }
  for (const WideView other : {u"", u"e", u"E:/", u"EE"}) {
    EXPECT_EQ(identify(WideText(other)).records()[0].internalDrive, u"");
    EXPECT_NE(output.find("Found Zelmora! Type 0\nexternal !\nNew disk"), std::string::npos);
  }
}

TEST_F(UsbDiskIdentifierTest, AVersionFileIsLookedForBeforeTheWantedDrive) {
  addPair();
  identify(u"E");
  EXPECT_EQ(output.find("internal \n"), std::string::npos);
  EXPECT_NE(output.find("Found version!\n"), std::string::npos);
}

TEST_F(UsbDiskIdentifierTest, ADriveOnUnitZeroWithoutAVersionFileCountsAsTheSoftwareStorage) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 0, u'E');
  addUnit(device, u"A1", 1, u'F');
  usbDiskIdentifier identifier = identify();
  EXPECT_EQ(identifier.records()[0].externalDriveLun0, u"E");
  EXPECT_EQ(identifier.records()[0].externalDrive, u"F");
  EXPECT_EQ(identifier.classifyDrive(u"E"), 1);
  EXPECT_EQ(identifier.classifyDrive(u"F"), 2);
  EXPECT_EQ(identifier.getDriveLunType(u"E:\\"), 0);
  EXPECT_EQ(identifier.externalDriveOfInternal(u"E"), u"F");
}

TEST_F(UsbDiskIdentifierTest, ACardOnUnitOneIsFoundByItsUnitWhenAnotherTookItsPlace) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 1, u'F');
  addUnit(device, u"A1", 0, u'E');
  usbDiskIdentifier identifier = identify();
  EXPECT_EQ(identifier.records()[0].externalDrive, u"E");
  EXPECT_EQ(identifier.records()[0].externalDriveLun1, u"F");
  EXPECT_EQ(identifier.classifyDrive(u"F"), 2);
  EXPECT_EQ(identifier.classifyDrive(u"E"), 2);
}

TEST_F(UsbDiskIdentifierTest, ACardThatMovedToANewLetterIsAChange) {
  const DeviceNode device = addDevice();
  addUnit(device, u"A1", 0, u'E', true);
  addUnit(device, u"A1", 1, u'F');
  addUnit(device, u"A1", 1, u'H');
  EXPECT_EQ(identify().isExternalChanged(u"E:"), 0);
  removeDrive(u'F');
  const usbDiskIdentifier identifier = identify();
  EXPECT_EQ(identifier.isExternalChanged(u"E:"), 1);
  EXPECT_EQ(identifier.isExternalChanged(u"H"), 1);
  EXPECT_EQ(identifier.isExternalChanged(u"F:\\"), 0);
}

TEST_F(UsbDiskIdentifierTest, AnIdThatStartsWithTheMakersNameIsNotRecognised) {
  addDrive(u'E');
  tree.add(tree.add(addDevice(), u"ZELMORA&0"), u"ZELMORA&0", u"E:\\");
  EXPECT_TRUE(identify().records().empty());
  EXPECT_NE(output.find("Processing drive: E:\\\n"), std::string::npos);
  EXPECT_EQ(output.find("Found Zelmora!"), std::string::npos);
}

TEST_F(UsbDiskIdentifierTest, DrivesOfOtherMakersAreToldAndPassedOver) {
  addDrive(u'C');
  const DeviceNode node = tree.add(tree.add(addDevice(), u"IDE\\DISK"), u"STORAGE\\VOLUME", u"C:\\");
  EXPECT_TRUE(identify().records().empty());
  EXPECT_EQ(output, "Disk identification start!!!!!!\n\n\nProcessing drive: C:\\\nDevice id: " +
                        std::to_string(node) +
                        "\nIndent: 4\nParent id: 3\nGrand parent id: 2\nDevice id str: IDE\\DISK\n"
                        "Parent id str: STORAGE\\VOLUME\nDisk identification ended!!!!!!\n\n\n\n\n\n");
}

TEST_F(UsbDiskIdentifierTest, AUnitWhoseNumberIsUnknownIsPassedOver) {
  addDrive(u'E');
  tree.add(tree.add(addDevice(), u"USBSTOR\\ZELMORA&2"), u"STORAGE\\ZELMORA}", u"E:\\");
  EXPECT_TRUE(identify().records().empty());
  EXPECT_TRUE(identify({}, true).records().empty());
}

TEST_F(UsbDiskIdentifierTest, UnitZeroWinsWhenTheTwoIdsDisagree) {
  addDrive(u'E');
  tree.add(tree.add(addDevice(), u"USBSTOR\\ZELMORA&1"), u"STORAGE\\ZELMORA&0", u"E:\\");
  EXPECT_EQ(identify().records().at(0).lunType, 0);
  EXPECT_NE(output.find("Found Zelmora! Type 0\n"), std::string::npos);
}

TEST_F(UsbDiskIdentifierTest, TheNodesOwnIdMayTellTheUnit) {
  addDrive(u'E');
  tree.add(tree.add(addDevice(), u"USB\\OTHER&0"), u"STORAGE\\ZELMORA&1", u"E:\\");
  EXPECT_EQ(identify().records().at(0).lunType, 1);
}

TEST_F(UsbDiskIdentifierTest, AVolumeWithoutADriveLetterIsPassedOver) {
  tree.add(tree.add(addDevice(), diskId(u"A1", 0)), volumeId(u"A1", 0));
  EXPECT_TRUE(identify().records().empty());
  EXPECT_EQ(output, "Disk identification start!!!!!!\nDisk identification ended!!!!!!\n\n\n\n\n\n");
}

TEST_F(UsbDiskIdentifierTest, ADriveAtTheRootHasNoParents) {
  addDrive(u'E');
  tree.add(0, u"ROOT\\ZELMORA&0", u"E:\\");
  const usbDiskIdentifier identifier = identify();
  EXPECT_NE(output.find("Device id: 1\nIndent: 1\nParent id: 0\nGrand parent id: 0\nDevice id str: \n"
                        "Parent id str: ROOT\\ZELMORA&0\n"),
            std::string::npos);
  EXPECT_EQ(identifier.records().size(), 1U);
}

TEST_F(UsbDiskIdentifierTest, TheIndentGoesDownWhereTheWalkClimbs) {
  DeviceNode deep = root();
  for (int level = 0; level < 5; ++level) deep = tree.add(deep, u"HUB");
  tree.add(root(), u"STORAGE\\OTHER", u"C:\\");
  tree.add(deep, u"STORAGE\\OTHER", u"D:\\");
  identify();
  const std::size_t first = output.find("Processing drive: D:\\\nDevice id: 8\nIndent: 7\n");
  const std::size_t second = output.find("Processing drive: C:\\\nDevice id: 7\nIndent: 2\n");
  EXPECT_NE(first, std::string::npos);
  EXPECT_NE(second, std::string::npos);
  EXPECT_LT(first, second);
}

TEST_F(UsbDiskIdentifierTest, AnIdThatIsNoTextIsToldReadably) {
  tree.add(root(), WideText(u"BAD\\") + static_cast<char16_t>(0xD800), u"C:\\");
  identify();
  EXPECT_NE(output.find("Parent id str: BAD\\\xEF\xBF\xBD\n"), std::string::npos);
}

TEST_F(UsbDiskIdentifierTest, ACopyKnowsTheSame) {
  addPair();
  usbDiskIdentifier copy = identify();
  EXPECT_EQ(copy.classifyDrive(u"F"), 2);
  copy.reserved();
  EXPECT_EQ(copy.classifyDrive(u"E"), 1);
}

TEST_F(UsbDiskIdentifierTest, TheWalkAsksEachNodeAFewTimesOnly) {
  for (int i = 0; i < 1'666; ++i) {
    const DeviceNode device = addDevice();
    tree.add(tree.add(device, u"USBSTOR\\OTHER"), u"STORAGE\\VOLUME");
  }
  tree.questions = 0;
  identify();
  EXPECT_LT(tree.questions, 6U * 5'000U);
}

TEST_F(UsbDiskIdentifierTest, AVeryDeepTreeIsWalked) {
  DeviceNode node = root();
  for (int level = 0; level < 100'000; ++level) node = tree.add(node, u"HUB");
  tree.add(node, u"STORAGE\\OTHER", u"C:\\");
  identify();
  EXPECT_NE(output.find("Indent: 100002\n"), std::string::npos);
}

}  // namespace

}  // namespace ZelmoraTevra
