#include <chrono>
#include <exception>
#include <sstream>

#include "core/XmlDocument.h"
#include "device/ClientInventoryReader.h"
#include "device/ClientVersionXmlFile.h"
#include "install/ClientUpdatesXmlFile.h"
#include "platform/Machine.h"
#include "tests/device/DeviceFolderTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobProcess.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr WideView newerFile = u"ZELMORA/version.xml";
constexpr WideView olderFile = u"KD3/version.xml";
constexpr WideView registerFile = u"ZELMORA/updates.xml";
constexpr WideView backupFile = u".DeviceConfigurationBackupFile/version_bkp";

std::string text(std::initializer_list<WideText> values) {
  std::string joined;
  for (const WideText& value : values) joined += '|' + toUtf8(value);
  return joined.substr(1);
}

class ClientInventoryReaderTest : public DeviceFolderTest {
 protected:
  ClientInventoryReaderTest() { makeFolder(root_); }
  ~ClientInventoryReaderTest() override { computeMapsInfo = false; }

  struct Inventory {
    ClientSoftware software;
    std::vector<ClientApplication> apps;
    std::vector<ClientContent> contents;
    std::vector<ClientMap> maps;
  };

  [[nodiscard]] Inventory read() const {
    const ClientVersionXmlFile versionFile(root_);
    ClientUpdatesXmlFile updatesFile(root_, false);
    const ClientInventoryReader reader(versionFile, updatesFile, contentRoot_);
    return {reader.getSoftware(), reader.getApps(), reader.getContents(), reader.getMaps()};
  }
  [[nodiscard]] ClientSoftware software() const { return read().software; }
  [[nodiscard]] std::vector<std::string> apps() const {
    std::vector<std::string> texts;
    for (const ClientApplication& app : read().apps)
      texts.push_back(text({app.category, app.name, app.brand, app.version()}));
    return texts;
  }
  [[nodiscard]] std::vector<std::string> contents() const {
    std::vector<std::string> texts;
    for (const ClientContent& content : read().contents)
      texts.push_back(text({content.category, content.company, content.name, content.version(),
                            numberText(content.deletable)}));
    return texts;
  }
  [[nodiscard]] std::vector<std::string> maps() const {
    std::vector<std::string> texts;
    for (const ClientMap& map : read().maps)
      texts.push_back(
          text({map.company, map.name, map.version, map.file, numberText(static_cast<std::int64_t>(map.size)),
                map.md5SumFirst100kb, numberText(map.deletable), map.storageForSoftware}));
    return texts;
  }
  // A version file with these maps and a register with these updates.
  void putMaps(const std::string& maps, const std::string& updates) {
    put(newerFile, soundVersionDocument(maps));
    put(registerFile, registerDocument(updates));
  }

  WideText contentRoot_;
};

TEST_F(ClientInventoryReaderTest, TheSoftwareOfANewerDevice) {
  put(newerFile,
      versionDocument("<software><brand>ZELMORA</brand><platform>NX 50</platform><version>7.1</version>"
                      "<id>H1</id><gts>2027-01-01</gts><productid>P1</productid><IMEI>I1</IMEI>"
                      "<style>blue</style></software>"));
  const ClientSoftware found = software();
  EXPECT_EQ(text({found.brand, found.platform, found.version(), found.hardwareId, found.gts, found.deviceUid,
                  found.imei, found.style}),
            "ZELMORA|NX 50|7.1.0|H1|2027-01-01|P1|I1|blue");
}

TEST_F(ClientInventoryReaderTest, TheSoftwareOfAnOlderDevice) {
  put(olderFile, versionDocument(identityElement("kd3") + identityElement("software", "other")));
  EXPECT_EQ(text({software().brand, software().platform, software().version()}), "ZELMORA|NX|7.1.2");
}

TEST_F(ClientInventoryReaderTest, ANewerFileInTheOlderFormIsSoundAndHasNoValues) {
  put(newerFile, versionDocument(identityElement("kd3")));
  EXPECT_EQ(text({software().brand, software().platform, software().version()}), "||0.0.0");
  EXPECT_EQ(get(backupFile), "<missing>");
}

TEST_F(ClientInventoryReaderTest, AMissingFileLeavesEverythingEmptyAndALineInTheLog) {
  startLog();
  put(registerFile, registerDocument(updateElement("Z", "Alps", "1", 1)));
  const Inventory inventory = read();
  EXPECT_FALSE(inventory.software.isValid());
  EXPECT_THAT(inventory.apps, IsEmpty());
  EXPECT_THAT(inventory.contents, IsEmpty());
  EXPECT_THAT(inventory.maps, IsEmpty());
  EXPECT_THAT(log(), ElementsAre("Fail to find version xml at path: " + toUtf8(onDevice(newerFile))));
}

TEST_F(ClientInventoryReaderTest, AnEmptyUpdateFlagIsTakenFromTheUserSettings) {
  put(newerFile, soundVersionDocument());
  EXPECT_EQ(software().gts, u"");
  put(u"ZELMORA/Settings/UserSettings.xml",
      "<Settings><MapUpdateFlag><Date>2027-03-01</Date></MapUpdateFlag></Settings>");
  EXPECT_EQ(software().gts, u"2027-03-01");
  put(newerFile,
      versionDocument(
          "<software><brand>Z</brand><platform>N</platform><version>1</version><gts>own</gts></software>"));
  EXPECT_EQ(software().gts, u"own");
}

TEST_F(ClientInventoryReaderTest, AFileWithBrandAndPlatformIsBackedUp) {
  put(newerFile, soundVersionDocument());
  static_cast<void>(read());
  EXPECT_EQ(get(backupFile), soundVersionDocument());
}

TEST_F(ClientInventoryReaderTest, TheBackupNeedsNoVersion) {
  put(newerFile, versionDocument(identityElement("software", "ZELMORA", "NX", "")));
  static_cast<void>(read());
  EXPECT_EQ(get(backupFile), get(newerFile));
}

TEST_F(ClientInventoryReaderTest, WithoutBrandOrPlatformThereIsNoBackup) {
  put(newerFile, versionDocument(identityElement("software", "")));
  static_cast<void>(read());
  put(newerFile, versionDocument(identityElement("software", "ZELMORA", "")));
  static_cast<void>(read());
  EXPECT_EQ(get(backupFile), "<missing>");
}

TEST_F(ClientInventoryReaderTest, ApplicationsInTheOrderOfTheFile) {
  put(newerFile, soundVersionDocument("<apps><navigation><name>Nav</name><brand>Z</brand><version>3</version>"
                                      "</navigation><radio><version>1.2.3</version></radio></apps>"
                                      "<apps><second/></apps>"));
  EXPECT_THAT(apps(), ElementsAre("navigation|Nav|Z|3.0.0", "radio|||1.2.3"));
}

TEST_F(ClientInventoryReaderTest, ACommentAmongTheApplicationsIsOneWithoutValuesNamedByItsText) {
  put(newerFile, soundVersionDocument("<apps><!--nothing here--><radio/>loose</apps>"));
  EXPECT_THAT(apps(), ElementsAre("nothing here|||0.0.0", "radio|||0.0.0", "loose|||0.0.0"));
}

TEST_F(ClientInventoryReaderTest, ContentsTakeFromTheRegisterWhetherTheyCanBeDeleted) {
  put(newerFile, soundVersionDocument("<content><voice>" + nameElements("Z", "Anna", "2") +
                                      "</voice><voice>" + nameElements("", "Bob", "") + "</voice><poi>" +
                                      nameElements("Z", "Cams", "1.0.0") + "</poi><poi>" +
                                      nameElements("Z", "Fuel", "3") + "</poi></content>"));
  put(registerFile, registerDocument(updateElement("Z", "Anna", "2", 1) + updateElement("X", "Bob", "9", 2) +
                                     updateElement("Z", "Cams", "2.0.0", 1)));
  EXPECT_THAT(contents(), ElementsAre("voice|Z|Anna|2.0.0|1", "voice||Bob|0.0.0|2", "poi|Z|Cams|1.0.0|0",
                                      "poi|Z|Fuel|3.0.0|0"))
      << "the versions are compared as they are written, empty texts with everything";
}

TEST_F(ClientInventoryReaderTest, WithoutARegisterNothingCanBeDeletedAndNoMapHasAFile) {
  put(newerFile, soundVersionDocument("<content><poi>" + nameElements("Z", "Cams", "1") + "</poi></content>" +
                                      mapElement("Z", "Alps", "1")));
  EXPECT_THAT(contents(), ElementsAre("poi|Z|Cams|1.0.0|0"));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1||0||0|"));
}

TEST_F(ClientInventoryReaderTest, AMapHasTheFilesOfItsUpdate) {
  putMaps(mapElement("Z", "Alps", "1") + mapElement("Z", "Nordic", "1"),
          updateElement("Z", "Alps", "1", 1, {"ZELMORA\\MAP\\alps.MAP", "ZELMORA\\MAP\\alps.idx"}));
  put(u"ZELMORA/MAP/alps.MAP", std::string(1000, 'a'));
  put(u"ZELMORA/MAP/alps.idx", std::string(234, 'i'));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|alps.MAP|1234|MD5NOTNEEDTOCOMPUTED|1|", "Z|Nordic|1||0||0|"));
}

TEST_F(ClientInventoryReaderTest, MapsStandDirectlyInTheRootWhateverItsName) {
  put(newerFile, "<other>" + mapElement("Z", "Alps", "1.0") + "<maps>" + mapElement("Z", "Deep", "1") +
                     "</maps>" + mapElement("Z", "Nordic", "") + "</other>");
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1.0||0||0|", "Z|Nordic|||0||0|"));
}

TEST_F(ClientInventoryReaderTest, TheFileIsNamedBehindItsLastBackslashOnly) {
  putMaps(mapElement("Z", "Alps", "1") + mapElement("Z", "Nordic", "1"),
          updateElement("Z", "Alps", "1", 0, {"MAP/alps.MAP"}) +
              updateElement("Z", "Nordic", "1", 0, {"a/MAP\\nordic.MAP"}));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|MAP/alps.MAP|0||0|", "Z|Nordic|1|nordic.MAP|0||0|"));
}

TEST_F(ClientInventoryReaderTest, AFileIsLookedForOnTheDeviceFirstAndThenOnTheCard) {
  contentRoot_ = path(u"card");
  putMaps(mapElement("Z", "Alps", "1"),
          updateElement("Z", "Alps", "1", 0, {"MAP\\a.MAP", "MAP\\b.MAP", "MAP\\c.MAP"}));
  put(u"MAP/a.MAP", "12345");
  writeFile(path(u"card/MAP/a.MAP"), "not this one");
  writeFile(path(u"card/MAP/b.MAP"), "1234567");
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|a.MAP|12|MD5NOTNEEDTOCOMPUTED|0|"));
}

TEST_F(ClientInventoryReaderTest, TheDigestIsThatOfTheFirst100KiBOfTheLastFileFound) {
  computeMapsInfo = true;
  putMaps(mapElement("Z", "Alps", "1"),
          updateElement("Z", "Alps", "1", 0, {"a.MAP", "b.MAP", "missing.MAP"}));
  put(u"a.MAP", "first");
  const std::string long_ = noise(200'000, 7);
  put(u"b.MAP", long_);
  std::string digest = md5Of(long_.substr(0, 102'400));
  for (char& c : digest) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|a.MAP|200005|" + digest + "|0|"));
}

TEST_F(ClientInventoryReaderTest, AFileThatCannotBeReadHasNoDigest) {
  putMaps(mapElement("Z", "Alps", "1"), updateElement("Z", "Alps", "1", 0, {"a.MAP"}));
  put(u"a.MAP", "first");
  ClientMap map;
  Update update;
  update.files.push_back({u"a.MAP", 0});
  UnreadableFileSystem unreadable(files());
  useFileSystem(unreadable);
  computeMapsInfo = true;
  InstalledMapFiles(root_, {}).describe(update, map);
  EXPECT_EQ(map.size, 5U);
  EXPECT_EQ(map.md5SumFirst100kb, u"");
}

TEST_F(ClientInventoryReaderTest, NoFileIsLookedForOutsideTheDevice) {
  writeFile(path(u"secret.MAP"), "1234567");
  contentRoot_ = path(u"card");
  makeFolder(contentRoot_);
  link(u"link.MAP", path(u"secret.MAP"));
  link(u"folder", path(u""));
  putMaps(mapElement("Z", "Alps", "1"),
          updateElement("Z", "Alps", "1", 0,
                        {"..\\secret.MAP", toUtf8(path(u"secret.MAP")), "link.MAP", "folder\\secret.MAP"}));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|secret.MAP|0||0|"));
}

TEST_F(ClientInventoryReaderTest, WithoutACardNothingIsLookedForAtTheTopOfTheComputersDisk) {
  putMaps(mapElement("Z", "Alps", "1"), updateElement("Z", "Alps", "1", 0, {"etc\\hostname", "etc\\passwd"}));
  EXPECT_THAT(maps(), ElementsAre("Z|Alps|1|hostname|0||0|"));
}

TEST_F(ClientInventoryReaderTest, ADamagedFileLeavesEmptyValuesAndIsReplacedByWhatTheParserKept) {
  startLog();
  const std::string damaged =
      "<config><software><brand>ZELMORA</brand></software>" + mapElement("Z", "Alps", "1") + "<map><name>No";
  put(newerFile, damaged);
  const Inventory inventory = read();
  EXPECT_EQ(inventory.software.brand, u"");
  EXPECT_THAT(inventory.maps, IsEmpty());
  EXPECT_EQ(get(newerFile),
            "<config>\n"
            "    <software>\n"
            "        <brand>ZELMORA</brand>\n"
            "    </software>\n"
            "    <map>\n"
            "        <company>Z</company>\n"
            "        <name>Alps</name>\n"
            "        <version>1</version>\n"
            "    </map>\n"
            "    <map>\n"
            "        <name>No</name>\n"
            "    </map>\n"
            "</config>\n");
  EXPECT_EQ(get(u"ZELMORA/version.xml_damaged1"), damaged);
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml", "ZELMORA/version.xml_damaged1"));
  EXPECT_THAT(tree(path(u"temp")), ElementsAre("ZELMORATevra_tmp/"));
  EXPECT_THAT(log(), ElementsAre("Version xml corrupted! Error id: 5 Path: " + toUtf8(onDevice(newerFile))));
}

TEST_F(ClientInventoryReaderTest, AnEmptyFileStaysAndLeavesNothingBeside) {
  startLog();
  put(newerFile, "");
  EXPECT_FALSE(software().isValid());
  EXPECT_EQ(get(newerFile), "");
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
  EXPECT_THAT(log(), ElementsAre("Version xml corrupted! Error id: 12 Path: " + toUtf8(onDevice(newerFile))));
}

TEST_F(ClientInventoryReaderTest, AFileCutAtAnyLengthIsKeptBesideAndReadableAtTheNextTime) {
  const std::string whole =
      soundVersionDocument("<!-- a comment --><apps><nav name=\"a\"><name>A &amp; B</name></nav></apps>" +
                           mapElement("Z", "Alps", "1"));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    std::filesystem::remove_all(toUtf8(root_));
    const std::string cut = whole.substr(0, length);
    put(newerFile, cut);
    static_cast<void>(read());
    const std::vector<std::string> once = device();
    const std::string kept = get(newerFile);
    if (kept != cut) {
      EXPECT_EQ(get(u"ZELMORA/version.xml_damaged1"), cut) << length;
    }
    static_cast<void>(read());
    static_cast<void>(read());
    EXPECT_EQ(get(newerFile), kept) << length;
    EXPECT_EQ(get(u"ZELMORA/version.xml_damaged2"), "<missing>") << length;
  }
}

TEST_F(ClientInventoryReaderTest, AFileBeyondTheBoundsStaysAsItIs) {
  startLog();
  std::string deep;
  for (int level = 0; level < maximalXmlDepth + 1; ++level) deep += "<a>";
  const std::string beyond = versionDocument(identityElement("software") + deep);
  put(newerFile, beyond);
  EXPECT_FALSE(software().isValid());
  EXPECT_EQ(get(newerFile), beyond);
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
  EXPECT_THAT(log(), ElementsAre("Version xml corrupted! Error id: 2 Path: " + toUtf8(onDevice(newerFile))));
}

TEST_F(ClientInventoryReaderTest, AFileThatCannotBeReadStaysAsItIs) {
  put(newerFile, soundVersionDocument());
  UnreadableFileSystem unreadable(files());
  useFileSystem(unreadable);
  EXPECT_FALSE(software().isValid());
  useMachine(platform::nativeMachine());
  EXPECT_EQ(get(newerFile), soundVersionDocument());
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
}

TEST_F(ClientInventoryReaderTest, AFailureAtAnyOperationLosesNoDamagedFile) {
  const std::string damaged = soundVersionDocument().substr(0, 90);
  for (int operation = 1;; ++operation) {
    std::filesystem::remove_all(toUtf8(root_));
    put(newerFile, damaged);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    static_cast<void>(read());
    useMachine(platform::nativeMachine());
    EXPECT_THAT((std::vector{get(newerFile), get(u"ZELMORA/version.xml_damaged1")}), Contains(damaged))
        << "operation " << operation;
    if (faulty.count < operation) break;
  }
}

TEST_F(ClientInventoryReaderTest, AKillAtAnyOperationLosesNoDamagedFile) {
  const std::string damaged = soundVersionDocument().substr(0, 90);
  for (int operation = 1;; ++operation) {
    std::filesystem::remove_all(toUtf8(root_));
    put(newerFile, damaged);
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      static_cast<void>(read());
    });
    static_cast<void>(read());
    EXPECT_THAT((std::vector{get(newerFile), get(u"ZELMORA/version.xml_damaged1")}), Contains(damaged))
        << "operation " << operation;
    if (ended) break;
  }
}

TEST_F(ClientInventoryReaderTest, ATextThatIsNotUtf8Throws) {
  put(newerFile, soundVersionDocument("<apps><nav><name>\xFF</name></nav></apps>"));
  EXPECT_THROW(static_cast<void>(read()), std::exception);
  put(newerFile, soundVersionDocument());
  put(registerFile, registerDocument(updateElement("Z", "\x80", "1", 1)));
  EXPECT_THROW(static_cast<void>(read()), std::exception);
}

TEST_F(ClientInventoryReaderTest, FlippedBytesNeverCrash) {
  const std::string whole =
      soundVersionDocument("<apps><nav><name>A</name></nav></apps>" + mapElement("Z", "Alps", "1"));
  for (std::size_t position = 0; position < whole.size(); ++position) {
    std::filesystem::remove_all(toUtf8(root_));
    std::string flipped = whole;
    flipped[position] = static_cast<char>(flipped[position] ^ (1 << position % 8));
    put(newerFile, flipped);
    try {
      static_cast<void>(read());
    } catch (const std::exception&) {
      // No valid text any more.
    }
    EXPECT_THAT((std::vector{get(newerFile), get(u"ZELMORA/version.xml_damaged1")}), Contains(flipped));
  }
}

TEST_F(ClientInventoryReaderTest, ARestorationThatFailsOnceIsMadeUpForAndLosesNoBackup) {
  const std::string saved =
      soundVersionDocument(mapElement("Z", "Alps", "1") + mapElement("Z", "Nordic", "1"));
  const std::string damaged = saved.substr(0, saved.size() - 40);
  for (const bool staysFull : {false, true}) {
    for (int operation = 1;; ++operation) {
      SCOPED_TRACE(operation);
      std::filesystem::remove_all(toUtf8(root_));
      put(newerFile, damaged);
      put(backupFile, saved);
      FaultyFileSystem faulty(files());
      faulty.failAt = operation;
      faulty.failAllAfter = staysFull;
      useFileSystem(faulty);
      static_cast<void>(read());
      useMachine(platform::nativeMachine());
      static_cast<void>(read());
      static_cast<void>(read());
      EXPECT_EQ(get(newerFile), saved);
      EXPECT_EQ(get(backupFile), saved);
      if (faulty.count < operation) break;
    }
  }
}

TEST_F(ClientInventoryReaderTest, WhatCouldNotBeReadAgainIsNotSaved) {
  const std::string cut = "<config/><map>";  // a document has one root
  put(newerFile, cut);
  static_cast<void>(read());
  EXPECT_EQ(get(newerFile), cut);
  EXPECT_THAT(device(), ElementsAre("ZELMORA/", "ZELMORA/version.xml"));
}

TEST_F(ClientInventoryReaderTest, AnIdentityThatIsNotUtf8ThrowsOnlyWithoutABackup) {
  put(newerFile, versionDocument(identityElement("software", "\xFF")));
  EXPECT_THROW(static_cast<void>(read()), std::exception);
  put(backupFile, soundVersionDocument());
  EXPECT_EQ(software().brand, u"ZELMORA");
}

// The time that the work takes, in seconds.
template <typename Work>
double secondsOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(ClientInventoryReaderTest, TenThousandMapsOfAsManyUpdatesTakeNoTimeToSpeakOf) {
  std::string maps;
  std::string updates;
  for (int i = 0; i < 10'000; ++i) {
    const std::string name = "Map " + std::to_string(i);
    maps += mapElement("Z", name, "1");
    updates += updateElement("Z", name, "1", 1, {"ZELMORA\\MAP\\" + std::to_string(i) + ".MAP"});
  }
  putMaps(maps, updates);
  std::size_t count = 0;
  EXPECT_LT(secondsOf([&] { count = read().maps.size(); }), 10.0);
  EXPECT_EQ(count, 10'000U);
}

TEST_F(ClientInventoryReaderTest, AsManyVersionsOfOneMapAreNotComparedWithEachOther) {
  std::string maps;
  std::string updates;
  for (int i = 0; i < 40'000; ++i) {
    maps += mapElement("Z", "Alps", std::to_string(i));
    updates += updateElement("Z", "Alps", std::to_string(40'000 + i), 1);
  }
  putMaps(maps, updates);
  EXPECT_LT(secondsOf([&] { EXPECT_THAT(read().maps, SizeIs(40'000)); }), 10.0);
}

TEST_F(ClientInventoryReaderTest, TheFilesOfAnUpdateAreLookedAtOnceForAllMapsThatLeadToIt) {
  std::string maps;
  for (int i = 0; i < 5'000; ++i) maps += mapElement("Z", "Alps", "1");
  std::vector<std::string> updateFiles;
  for (int i = 0; i < 5'000; ++i) updateFiles.push_back("MAP\\" + std::to_string(i) + ".MAP");
  putMaps(maps, updateElement("Z", "Alps", "1", 1, updateFiles));
  put(u"MAP/17.MAP", "12345");
  const Inventory inventory = read();
  EXPECT_EQ(inventory.maps.front().size, 5U);
  EXPECT_EQ(inventory.maps.back().size, 5U);
  EXPECT_EQ(inventory.maps.back().file, u"0.MAP");
}

}  // namespace
}  // namespace ZelmoraTevra
