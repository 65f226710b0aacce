#include <memory>

#include "device/InstalledMapFiles.h"
#include "device/RemovableDrive.h"
#include "device/RemovableDriveFinder.h"
#include "device/VolumeQueries.h"
#include "tests/device/GetInfoTest.h"

namespace ZelmoraTevra {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class RemovableDriveTest : public GetInfoTest {
 protected:
  RemovableDriveTest() {
    makeFolder(path(u"flash"));
    makeFolder(path(u"card"));
    connect(device(flash() + card()));
  }

  [[nodiscard]] static RemovableDrive lone() { return {ClientDrive(u"E"), ClientDrive()}; }
  [[nodiscard]] static RemovableDrive pair() { return {ClientDrive(u"E"), ClientDrive(u"F")}; }
  [[nodiscard]] RemovableDrive ofFolders() const { return {path(u"flash"), path(u"card")}; }
  // The name of each map and the storage on which it lies.
  [[nodiscard]] static std::vector<std::string> maps(const RemovableDrive& drive) {
    std::vector<std::string> texts;
    for (const ClientMap& map : drive.info().maps)
      texts.push_back(toUtf8(map.name + u'|' + map.storageForSoftware));
    return texts;
  }
  void makeNewer(const std::string& maps = {}) {
    writeFile(path(u"flash/ZELMORA/version.xml"), soundVersionDocument(maps));
  }
  void makeOlder() { writeFile(path(u"flash/KD3/version.xml"), versionDocument(identityElement("kd3"))); }
  // A map in each folder that any layout looks at.
  void fillAllMapFolders() {
    for (const WideView folder : {u"flash/", u"flash/MAP/", u"flash/MAPS/", u"flash/ZELMORA/MAP/", u"card/",
                                  u"card/MAP/", u"card/MAPS/", u"card/ZELMORA/MAP/"}) {
      WideText name(folder);
      std::replace(name.begin(), name.end(), u'/', u'-');
      writeFile(path(WideText(folder) + name + u".map"), "map");
    }
  }
};

TEST_F(RemovableDriveTest, ADriveHasThreeForms) {
  for (const WideView text : {u"E", u"E:", u"E:\\", u"Everything"}) {
    const ClientDrive drive(text);
    EXPECT_TRUE(drive.isValid());
    EXPECT_EQ(drive.letter, u"E");
    EXPECT_EQ(drive.colonForm, u"E:");
    EXPECT_EQ(drive.rootForm, u"E:\\");
  }
  const ClientDrive none(u"");
  EXPECT_FALSE(none.isValid());
  EXPECT_EQ(none.rootForm, u"");
}

TEST_F(RemovableDriveTest, WhatTheVolumeTells) {
  writeFile(path(u"flash/a"), std::string(500, 'a'));
  const RemovableDriveInfo info = lone().info();
  EXPECT_EQ(info.name, u"NAVFLASH");
  EXPECT_TRUE(info.writeable);
  EXPECT_EQ(info.totalSpace, 2'000'000U);
  EXPECT_EQ(info.freeSpace, 1'999'500U);
  EXPECT_EQ(getVolumeSerial(u"E:"), 305'419'896U);
  EXPECT_EQ(getVolumeSerial(u"E:\\"), 305'419'896U);
  EXPECT_THAT(tree(path(u"flash")), ElementsAre("a")) << "the test for writing leaves nothing behind";
}

// A volume of which the superuser keeps a part, or that doesn't tell.
class ReservingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool space(const WideText&, platform::Space& space, platform::ErrorCode& error) override {
    space = {.capacity = 100, .free = 50, .available = 40};
    error =
        tells ? platform::ErrorCode() : boost::system::errc::make_error_code(boost::system::errc::io_error);
    return tells;
  }
  bool tells = true;
};

TEST_F(RemovableDriveTest, OfADriveWhatTheCallerMayTakeIsFreeOfAFolderAll) {
  ReservingFileSystem reserving(machineFiles());
  useMachineWith(reserving);
  EXPECT_EQ(lone().info().totalSpace, 100U);
  EXPECT_EQ(lone().info().freeSpace, 40U);
  EXPECT_EQ(ofFolders().info().totalSpace, 100U);
  EXPECT_EQ(ofFolders().info().freeSpace, 50U);
}

TEST_F(RemovableDriveTest, AFolderThatDoesNotTellItsSpaceHasNoneAndLinesInTheLog) {
  ReservingFileSystem silent(machineFiles());
  silent.tells = false;
  useMachineWith(silent);
  startLog();
  EXPECT_EQ(ofFolders().info().totalSpace, 0U);
  EXPECT_EQ(ofFolders().info().freeSpace, 0U);
  const WideText flash = toBackslashes(path(u"flash"));
  EXPECT_THAT(logLines(), Contains(u"DIRECTORY: exception when get directory free space " + flash));
  EXPECT_THAT(logLines(), Contains(u"DIRECTORY: exception when get directory size " + flash));
}

TEST_F(RemovableDriveTest, WhatCannotBeFoundOutIsEmpty) {
  const RemovableDrive drive{ClientDrive(u"X"), ClientDrive()};
  EXPECT_EQ(drive.info().name, u"");
  EXPECT_EQ(drive.info().totalSpace, 0U);
  EXPECT_EQ(drive.info().freeSpace, 0U);
  EXPECT_TRUE(drive.info().writeable) << "a folder that isn't there isn't write-protected";
  EXPECT_EQ(drive.info().mis, "");
  EXPECT_FALSE(drive.info().software.isValid());
  EXPECT_EQ(getVolumeSerial(u"X:"), 0U);
  EXPECT_EQ(getVolumeSerial(path(u"flash")), 0U);
}

TEST_F(RemovableDriveTest, AWriteProtectedDriveIsNotWriteable) {
  connect(device(flash(" readOnly=\"true\"")));
  EXPECT_FALSE(lone().info().writeable);
}

TEST_F(RemovableDriveTest, OfTheMisFileTheFirst9999BytesAreTaken) {
  std::string bytes(10'000, 'm');
  bytes[9'998] = '\xE4';
  writeFile(path(u"flash/ZELMORA/MIS.txt"), bytes);
  EXPECT_EQ(lone().info().mis, bytes.substr(0, 9'999));
}

TEST_F(RemovableDriveTest, AnEmptyOrMissingMisFileGivesNothing) {
  EXPECT_EQ(lone().info().mis, "");
  writeFile(path(u"flash/ZELMORA/MIS.txt"), "");
  EXPECT_EQ(lone().info().mis, "");
}

TEST_F(RemovableDriveTest, AMisFileBehindALinkIsNotRead) {
  writeFile(path(u"secret"), "secret");
  makeFolder(path(u"flash/ZELMORA"));
  std::filesystem::create_symlink(toUtf8(path(u"secret")), toUtf8(path(u"flash/ZELMORA/MIS.txt")));
  EXPECT_EQ(lone().info().mis, "");
}

TEST_F(RemovableDriveTest, TracksAreLookedForOnBothDrives) {
  EXPECT_FALSE(pair().info().kml);
  makeFolder(path(u"card/ZELMORA/Tracks"));
  EXPECT_FALSE(lone().info().kml);
  EXPECT_TRUE(pair().info().kml);
  std::filesystem::remove(toUtf8(path(u"card/ZELMORA/Tracks")));
  makeFolder(path(u"flash/ZELMORA/Tracks"));
  EXPECT_TRUE(pair().info().kml);
}

TEST_F(RemovableDriveTest, WithoutACardTracksAreLookedForInTheWorkingFolderToo) {
  makeFolder(path(u"work/ZELMORA/Tracks"));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(toUtf8(path(u"work")));
  EXPECT_TRUE(lone().info().kml);
  EXPECT_FALSE(pair().info().kml);
  std::filesystem::current_path(before);
}

TEST_F(RemovableDriveTest, FoldersHaveNeitherTracksNorMis) {
  makeFolder(path(u"flash/ZELMORA/Tracks"));
  writeFile(path(u"flash/ZELMORA/MIS.txt"), "mis");
  const RemovableDrive drive = ofFolders();
  EXPECT_EQ(drive.info().name, u"ZELMORA");
  EXPECT_FALSE(drive.info().kml);
  EXPECT_EQ(drive.info().mis, "");
  EXPECT_EQ(drive.info().totalSpace, 2'000'000U);
  EXPECT_EQ(drive.info().freeSpace, 1'999'997U);
  EXPECT_FALSE(drive.primaryDrive().isValid());
  EXPECT_EQ(drive.folderPath(), path(u"flash"));
  EXPECT_EQ(drive.secondaryFolderPath(), path(u"card"));
}

TEST_F(RemovableDriveTest, TheMapFoldersOfANewerDevice) {
  makeNewer();
  fillAllMapFolders();
  EXPECT_THAT(maps(lone()), ElementsAre("flash-ZELMORA-MAP-.map|true"));
  const std::vector<std::string> both = {"flash-ZELMORA-MAP-.map|true", "card-ZELMORA-MAP-.map|false",
                                         "card-.map|false", "card-MAP-.map|false", "card-MAPS-.map|false"};
  EXPECT_EQ(maps(pair()), both);
  EXPECT_EQ(maps(ofFolders()), both);
}

TEST_F(RemovableDriveTest, TheMapFoldersOfAnOlderDevice) {
  makeOlder();
  fillAllMapFolders();
  EXPECT_THAT(maps(lone()), ElementsAre("flash-.map|true", "flash-MAP-.map|true", "flash-MAPS-.map|true"));
  const std::vector<std::string> both = {
      "flash-.map|true", "flash-MAP-.map|true", "flash-MAPS-.map|true", "card-ZELMORA-MAP-.map|false",
      "card-.map|false", "card-MAP-.map|false", "card-MAPS-.map|false"};
  EXPECT_EQ(maps(pair()), both);
  EXPECT_EQ(maps(ofFolders()), both);
}

TEST_F(RemovableDriveTest, WithBothLayoutsTheFoldersOfTheNewerOneAreScanned) {
  writeFile(path(u"flash/ZELMORA/version.xml"), "damaged");
  makeFolder(path(u"flash/KD3"));
  writeFile(path(u"flash/.DeviceConfigurationBackupFile/version_bkp"), soundVersionDocument());
  fillAllMapFolders();
  EXPECT_THAT(maps(lone()), ElementsAre("flash-ZELMORA-MAP-.map|true"));
}

TEST_F(RemovableDriveTest, WithoutAVersionFileNoFolderIsScanned) {
  fillAllMapFolders();
  EXPECT_THAT(maps(pair()), IsEmpty());
  EXPECT_THAT(maps(ofFolders()), IsEmpty());
}

TEST_F(RemovableDriveTest, AMapFileIsOneThatEndsInMapInEitherCaseButNotInBoth) {
  makeNewer();
  for (const WideView name : {u"a.MAP", u"b.map", u"c.Map", u"d.mAP", u"MAP", u"e.map.txt", u"f.x.map",
                              u".map", u"g.map ", u"sub/h.map"})
    writeFile(path(u"flash/ZELMORA/MAP/" + WideText(name)), "map");
  EXPECT_THAT(maps(lone()), ElementsAre(".map|true", "a.MAP|true", "b.map|true", "f.x.map|true"));
}

TEST_F(RemovableDriveTest, AMapOfTheVersionFileIsNotFoundAgainWhateverTheCaseOfItsName) {
  makeNewer(mapElement("Z", "Europe", "1"));
  writeFile(path(u"flash/ZELMORA/updates.xml"),
            registerDocument(updateElement("Z", "Europe", "1", 1, {"ZELMORA\\MAP\\EUROPE.map"})));
  writeFile(path(u"flash/ZELMORA/MAP/europe.MAP"), "map");
  EXPECT_THAT(maps(lone()), ElementsAre("Europe|")) << "its storage stays empty";
}

TEST_F(RemovableDriveTest, AMapWithoutUpdateHasNoFileSoThatItsFileIsAMapOfItsOwn) {
  makeNewer(mapElement("Z", "europe.map", "1"));
  writeFile(path(u"flash/ZELMORA/MAP/europe.map"), "map");
  EXPECT_THAT(maps(lone()), ElementsAre("europe.map|", "europe.map|true"));
}

TEST_F(RemovableDriveTest, OnDrivesAMapInTwoFoldersIsListedOnce) {
  makeNewer();
  writeFile(path(u"flash/ZELMORA/MAP/europe.map"), "map");
  writeFile(path(u"card/MAP/EUROPE.MAP"), "map");
  EXPECT_THAT(maps(pair()), ElementsAre("europe.map|true"));
}

TEST_F(RemovableDriveTest, OfFoldersAMapInTwoOfThemIsListedTwice) {
  makeNewer();
  writeFile(path(u"flash/ZELMORA/MAP/europe.map"), "map");
  writeFile(path(u"card/MAP/EUROPE.MAP"), "map");
  EXPECT_THAT(maps(ofFolders()), ElementsAre("europe.map|true", "EUROPE.MAP|false"));
}

TEST_F(RemovableDriveTest, TwoFilesOfOneFolderAreTwoMaps) {
  makeNewer();
  writeFile(path(u"flash/ZELMORA/MAP/europe.map"), "map");
  writeFile(path(u"flash/ZELMORA/MAP/EUROPE.MAP"), "map");
  EXPECT_THAT(maps(lone()), ElementsAre("EUROPE.MAP|true", "europe.map|true"));
}

TEST_F(RemovableDriveTest, LinksAreNeitherMapsNorMapFolders) {
  makeNewer();
  writeFile(path(u"outside/secret.map"), "secret");
  makeFolder(path(u"flash/ZELMORA/MAP"));
  std::filesystem::create_symlink(toUtf8(path(u"outside/secret.map")),
                                  toUtf8(path(u"flash/ZELMORA/MAP/link.map")));
  std::filesystem::create_directory_symlink(toUtf8(path(u"outside")), toUtf8(path(u"card/MAP")));
  EXPECT_THAT(maps(pair()), IsEmpty());
  EXPECT_THAT(maps(ofFolders()), IsEmpty());
}

TEST_F(RemovableDriveTest, AMapThatIsFoundHasItsFileSizeAndDigest) {
  makeNewer();
  writeFile(path(u"flash/ZELMORA/MAP/europe.map"), "map");
  ClientMap map = lone().info().maps.at(0);
  EXPECT_EQ(map.file, u"europe.map");
  EXPECT_EQ(map.size, 3U);
  EXPECT_EQ(map.deletable, 0);
  EXPECT_EQ(map.md5SumFirst100kb, u"MD5NOTNEEDTOCOMPUTED");
  EXPECT_EQ(map.company + map.version, u"");
  computeMapsInfo = true;
  EXPECT_EQ(lone().info().maps.at(0).md5SumFirst100kb, u"1D78DC8ED51214E518B5114FE24490AE");
}

// What a finder is told of drives.
class FakeIdentifier : public usbDiskIdentifierInterface {
 public:
  bool hasExternalDisk() override { return hasExternal; }
  WideText internalDriveOfExternal(const WideText&) override { return {}; }
  WideText externalDriveOfInternal(const WideText& drive) override { return drive == u"E" ? card : u""; }
  int classifyDrive(const WideText& drive) override { return drive == u"E:" ? kind : 0; }
  int ejectDevice(const WideText&) override { return -1; }
  int getDriveLunType(const WideText&) override { return -1; }
  void reserved() override {}

  bool hasExternal = true;
  WideText card = u"F";
  int kind = 1;
};

class RemovableDriveFinderTest : public RemovableDriveTest {
 protected:
  // The drives in order, each with its card.
  [[nodiscard]] std::vector<std::string> found() {
    std::vector<std::string> texts;
    for (const RemovableDrive& drive : RemovableDriveFinder(identifier_).findDrives())
      texts.push_back(toUtf8(drive.primaryDrive().letter + drive.secondaryDrive().letter));
    return texts;
  }
  [[nodiscard]] std::string stick(const std::string& letter, const std::string& more = {}) const {
    return "<node id=\"USBSTOR\\DISK\"><volume letter=\"" + letter + "\" folder=\"card\"" + more +
           "/></node>";
  }
  FakeIdentifier identifier_;
};

TEST_F(RemovableDriveFinderTest, AComputerWithoutRemovableDrivesHasNone) {
  connect("");
  EXPECT_THAT(found(), IsEmpty());
  connect(stick("D", " type=\"fixed\"") + stick("H", " type=\"cdrom\""));
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RemovableDriveFinderTest, AReaderWithoutAMediumAndAVolumeWithoutFileSystemAreSkipped) {
  connect(stick("D", " fileSystem=\"\"") + "<node id=\"R\"><volume letter=\"H\" folder=\"none\"/></node>");
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RemovableDriveFinderTest, APairIsTheFlashWithItsCardAndBehindItTheCard) {
  EXPECT_THAT(found(), ElementsAre("EF", "F"));
}

TEST_F(RemovableDriveFinderTest, PairsComeFirstThenAllOthersByLetter) {
  connect(stick("Z") + stick("C") + device(flash() + card()) + stick("A"));
  EXPECT_THAT(found(), ElementsAre("EF", "F", "A", "C", "Z"));
}

TEST_F(RemovableDriveFinderTest, APairNeedsEachOfItsConditions) {
  const std::vector<std::string> lone = {"E", "F"};
  identifier_.hasExternal = false;
  EXPECT_EQ(found(), lone);
  identifier_.hasExternal = true;
  identifier_.kind = 2;
  EXPECT_EQ(found(), lone);
  identifier_.kind = 1;
  identifier_.card = u"X";
  EXPECT_EQ(found(), lone) << "the card isn't there";
  identifier_.card = u"";
  EXPECT_EQ(found(), lone);
  identifier_.card = u"F";
  EXPECT_THAT(found(), ElementsAre("EF", "F"));
}

TEST_F(RemovableDriveFinderTest, ACardThatIsWriteProtectedLeavesTwoLoneDrives) {
  connect(device(card(" readOnly=\"true\"") + flash()));
  EXPECT_THAT(found(), ElementsAre("E", "F"));
}

TEST_F(RemovableDriveFinderTest, ACardThatIsNotInTheListLeavesThePairWithoutItsSecondEntry) {
  connect(device(flash() + card(" type=\"fixed\"")));
  EXPECT_THAT(found(), ElementsAre("EF"));
}

}  // namespace
}  // namespace ZelmoraTevra
