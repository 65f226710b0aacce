#include <exception>

#include "core/XmlDocument.h"
#include "device/GetInfoRunner.h"
#include "device/GetInfoXml.h"
#include "tests/device/GetInfoTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/ForwardingProcesses.h"

namespace ZelmoraTevra {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

CommandRecord readCommand(const std::string& element) {
  TiXmlDocument document;
  EXPECT_TRUE(parseXml(element, document));
  CommandRecord record;
  EXPECT_TRUE(readGetInfoCommand(*document.RootElement(), record));
  return record;
}

TEST(GetInfoCommandReaderTest, NothingIsNeeded) {
  const CommandRecord record = readCommand("<Command CommandName=\"GET_INFO\"/>");
  EXPECT_EQ(record.storageCardDriveLetter, u"");
  EXPECT_EQ(record.secondDriveLetter, u"");
  EXPECT_FALSE(record.windows7);
  EXPECT_FALSE(record.computeMapsInfo);
}

TEST(GetInfoCommandReaderTest, FoldersStandInPlainText) {
  const CommandRecord record = readCommand(
      "<Command><FolderPath>/srv/a &amp; "
      "b</FolderPath><SecondaryFolderPath>RTo=</SecondaryFolderPath></Command>");
  EXPECT_EQ(record.storageCardDriveLetter, u"/srv/a & b");
  EXPECT_EQ(record.secondDriveLetter, u"RTo=");
}

TEST(GetInfoCommandReaderTest, TheTwoFlagsAreNumbersOtherThanZero) {
  for (const char* const set : {"1", "-1", "7 days"}) {
    const std::string value = set;
    EXPECT_TRUE(readCommand("<Command windows7=\"" + value + "\"/>").windows7);
    EXPECT_TRUE(readCommand("<Command computeMapsInfo=\"" + value + "\"/>").computeMapsInfo);
  }
  for (const char* const unset : {"0", "", "true"}) {
    const std::string value = unset;
    EXPECT_FALSE(readCommand("<Command windows7=\"" + value + "\"/>").windows7);
    EXPECT_FALSE(readCommand("<Command computeMapsInfo=\"" + value + "\"/>").computeMapsInfo);
  }
  EXPECT_FALSE(readCommand("<Command windows7=\"1\"/>").computeMapsInfo);
}

class GetInfoRunnerTest : public GetInfoTest {
 protected:
  // The children of an element as "name=text", "name" for one without a text of its own.
  [[nodiscard]] static std::vector<std::string> children(const TiXmlElement* parent) {
    std::vector<std::string> texts;
    if (parent == nullptr) return {"<missing>"};
    for (const TiXmlElement* child = parent->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
      const char* const text = child->GetText();
      texts.push_back(child->ValueStr() + (text != nullptr ? std::string("=") + text : ""));
    }
    return texts;
  }
  // Children of the element that the path from the root leads to; the document is that of the last answer.
  [[nodiscard]] std::vector<std::string> children(const std::string& path) const {
    return children(findElement(document_.RootElement(), "/TevraCLI" + path));
  }
  [[nodiscard]] std::vector<std::string> removableTypes() const {
    std::vector<std::string> types;
    for (const TiXmlElement* element = document_.RootElement()->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement())
      types.push_back(toUtf8(attributeText(*element, "type")));
    return types;
  }
  void ask(const CommandRecord& record = {}) { ASSERT_TRUE(parseXml(answer(record), document_)); }
  [[nodiscard]] std::string value(const std::string& path) const {
    return lookupUtf8(document_.RootElement(), "/TevraCLI/removable" + path);
  }

  TiXmlDocument document_;
  // A drive that isn't one of the maker's.
  const std::string stick_ =
      "<node id=\"USBSTOR\\DISK\"><volume letter=\"S\" folder=\"stick\" label=\"STICK\" "
      "serial=\"9\"/></node>";
};

TEST_F(GetInfoRunnerTest, ALoneDriveWithoutVersionFileHasNoSoftwareAndAnEmptyMis) {
  makeFolder(path(u"stick"));
  connect(stick_);
  ask();
  EXPECT_THAT(removableTypes(), ElementsAre("single"));
  EXPECT_THAT(children("/removable"), ElementsAre("kml=no", "driveletter=S:", "name=STICK", "writeable=1",
                                                  "serialNumber=9", "space", "MIS"));
  EXPECT_THAT(answer(), HasSubstr("<MIS></MIS>"));
  EXPECT_THAT(tree(path(u"stick")), IsEmpty());
}

TEST_F(GetInfoRunnerTest, TheRootOfAProgramWhoseNameIsNoElementNameCanBeRead) {
  makeFolder(path(u"stick"));
  connect(stick_);
  platform::Machine machine = platform::machine();
  ProgramAt processes(*machine.processes, u"/opt/Tevra CLI 2");
  machine.processes = &processes;
  useMachine(machine);
  StatusXml::destroy();
  EXPECT_EQ(GetInfoRunner().run(), 0);
  const std::string written = readFile(StatusXml::instance().statusFilePath());
  EXPECT_THAT(written, EndsWith("</TevraCLI>\n"));
  StatusXml::destroy();
}

TEST_F(GetInfoRunnerTest, AMakersDriveWithoutVersionFileIsTakenForACard) {
  makeFolder(path(u"flash"));
  connect(device(flash()));
  ask();
  EXPECT_THAT(removableTypes(), ElementsAre("multiple"));
  EXPECT_THAT(children("/removable"), ElementsAre("disks", "kml=no", "seconddriveletter=E:", "space"));
}

TEST_F(GetInfoRunnerTest, ADeviceWithoutVersionHasNoSoftwareAndItsMarkersAreNotTouched) {
  fillPair();
  writeFile(path(u"flash/ZELMORA/version.xml"),
            versionDocument(identityElement("software", "Z", "N", "0.0")));
  writeFile(path(u"flash/.Trashes/501/photo.jpg"), "photo");
  connect(device(flash()));
  ask();
  EXPECT_THAT(children("/removable"), Not(Contains("software")));
  EXPECT_TRUE(fileExists(path(u"flash/.Trashes/501/photo.jpg")));
  EXPECT_FALSE(fileExists(path(u"flash/.metadata_never_index")));
}

TEST_F(GetInfoRunnerTest, ADeviceWithSoftwareIsGuardedAgainstForeignMetadata) {
  fillPair();
  writeFile(path(u"flash/.Trashes/501/photo.jpg"), "photo");
  connect(device(flash() + card()));
  ask();
  for (const WideView marker :
       {u"flash/.Trashes", u"flash/.metadata_never_index", u"flash/.fseventsd/no_log"})
    EXPECT_EQ(readFile(path(marker)), "");
  EXPECT_FALSE(fileExists(path(u"card/.Trashes"))) << "the card has no software";
}

TEST_F(GetInfoRunnerTest, FoldersAreNotGuarded) {
  fillPair();
  connect("");
  ask(folders(path(u"flash"), path(u"card")));
  EXPECT_FALSE(fileExists(path(u"flash/.metadata_never_index")));
  EXPECT_EQ(value("/software/brand"), "ZELMORA");
}

TEST_F(GetInfoRunnerTest, AppsContentsAndMapsAreLeftOutWhereThereAreNone) {
  writeFile(path(u"flash/ZELMORA/version.xml"), soundVersionDocument("<apps></apps><content/>"));
  connect(device(flash()));
  ask();
  EXPECT_THAT(children("/removable/software"),
              ElementsAre("brand=ZELMORA", "platform=NX", "version=7.1.2", "hardwareID", "gts", "deviceUID",
                          "IMEI", "style", "serialNumber=305419896"));
}

TEST_F(GetInfoRunnerTest, MapsThatAreNotSelectedLeaveAnEmptyElement) {
  writeFile(path(u"flash/ZELMORA/version.xml"), soundVersionDocument(mapElement("Z", "Alps", "1")));
  connect(device(flash()));
  EXPECT_THAT(answer(), HasSubstr("            <maps />\n"));
  EXPECT_THAT(answer(folders(path(u"flash"))), HasSubstr("            <maps />\n"));
}

TEST_F(GetInfoRunnerTest, WithoutDigestsAKnownMapOfADriveHasItsSizeAndAnEmptyDigest) {
  fillPair();
  connect(device(flash() + card()));
  ask();
  EXPECT_THAT(children("/removable/software/maps/map"),
              ElementsAre("name=Alps", "file=alps.MAP", "md5SumFirst100kb", "size=1050", "deletable=1",
                          "company=ZELMORA", "version=2026.2", "storageForSoftware"));
}

TEST_F(GetInfoRunnerTest, AFolderThatDoesNotExistMeansTheDrives) {
  fillPair();
  connect(device(flash() + card()));
  const std::string drives = answer();
  EXPECT_EQ(answer(folders(path(u"missing"))).size(), drives.size());
  ask(folders(path(u"missing"), path(u"missing too")));
  EXPECT_THAT(removableTypes(), ElementsAre("multiple"));
  EXPECT_EQ(value("/driveletter"), "E:");
}

TEST_F(GetInfoRunnerTest, ASecondFolderWithoutAFirstMeansTheDrives) {
  fillPair();
  connect(device(flash() + card()));
  ask(folders(u"", path(u"card")));
  EXPECT_EQ(value("/driveletter"), "E:");
}

TEST_F(GetInfoRunnerTest, ASecondFolderThatDoesNotExistIsDropped) {
  fillPair();
  connect("");
  ask(folders(path(u"flash"), path(u"missing")));
  EXPECT_THAT(removableTypes(), ElementsAre("single"));
}

TEST_F(GetInfoRunnerTest, AFirstFolderThatDoesNotExistBesideASecondIsAnEmptyDriveLetter) {
  fillPair();
  connect("");
  ask(folders(path(u"missing"), path(u"card")));
  EXPECT_THAT(removableTypes(), ElementsAre("multiple"));
  EXPECT_THAT(children("/removable/disks/disk"), ElementsAre("driveletter", "name=ZELMORA", "writeable=1"));
}

TEST_F(GetInfoRunnerTest, ASecondFolderThatVanishesKeepsTheFormWithSumsOfZero) {
  fillPair();
  connect("");
  const GetInfoXml response({RemovableDrive(path(u"flash"), path(u"card"))});
  std::filesystem::remove_all(toUtf8(path(u"card")));
  EXPECT_TRUE(response.writeFolders());
  const std::string document = readFile(StatusXml::instance().statusFilePath());
  EXPECT_THAT(document, HasSubstr("<removable type=\"multiple\">"));
  EXPECT_THAT(document, EndsWith("        <space>\n            <total>0</total>\n            <free>0</free>\n"
                                 "        </space>\n    </removable>\n</device_tests>\n"));
}

TEST_F(GetInfoRunnerTest, AFolderIsWrittenAsItIsNamed) {
  fillPair();
  connect(device(flash() + card()));
  ask(folders(u"E:/ZELMORA/..", u"F:\\"));
  EXPECT_EQ(value("/disks/disk/driveletter"), "E:/ZELMORA/..");
}

TEST_F(GetInfoRunnerTest, AWriteProtectedSecondFolderIsNotWriteable) {
  fillPair();
  connect(device(flash() + card(" readOnly=\"true\"")));
  const std::string document = answer(folders(path(u"flash"), path(u"card")));
  EXPECT_THAT(document, HasSubstr("<writeable>1</writeable>"));
  EXPECT_THAT(document, HasSubstr("<writeable>0</writeable>"));
}

TEST_F(GetInfoRunnerTest, AnInterruptedReplacementOfTheVersionFileIsPutRightBeforeDevicesAreTold) {
  fillPair();
  connect(device(flash() + card()));
  std::filesystem::rename(toUtf8(path(u"flash/ZELMORA/version.xml")),
                          toUtf8(path(u"flash/ZELMORA/version.xml00000000010000000002")));
  EXPECT_EQ(answer(), golden("pair.xml"));
}

TEST_F(GetInfoRunnerTest, TwoUnitsArePairedInBothModes) {
  fillPair();
  connect(device(flash() + card()));
  CommandRecord record;
  const std::string pair = answer(record);
  record.windows7 = true;
  EXPECT_THAT(answer(record), HasSubstr("<seconddriveletter>F:</seconddriveletter>"));
  EXPECT_THAT(pair, HasSubstr("<seconddriveletter>F:</seconddriveletter>"));
}

TEST_F(GetInfoRunnerTest, SoftwareOnTheCardOfAPairStandsBehindTheSecondDriveLetter) {
  fillPair();
  // The card's version file isn't there yet when drives are told apart: it is restored while it is looked at.
  makeFolder(path(u"card/ZELMORA"));
  writeFile(path(u"card/.DeviceConfigurationBackupFile/version_bkp"), soundVersionDocument());
  connect(device(flash() + card()));
  ask();
  EXPECT_THAT(children("/removable"), ElementsAre("disks", "kml=yes", "driveletter=E:", "name=NAVFLASH",
                                                  "writeable=1", "serialNumber=305419896", "MIS=M1;<2>&\n",
                                                  "software", "seconddriveletter=F:", "software", "space"));
  EXPECT_TRUE(fileExists(path(u"card/.metadata_never_index")));
}

TEST_F(GetInfoRunnerTest, ACardWithANewLetterStartsANewGroup) {
  fillPair();
  makeFolder(path(u"card2"));
  // The first card's reader has lost its medium; the second one has another letter.
  const std::string lost = unit("A1", 1, "letter=\"G\" folder=\"gone\"");
  connect(device(flash() + lost + unit("A1", 1, "letter=\"F\" folder=\"card2\"")));
  ask();
  EXPECT_THAT(removableTypes(), ElementsAre("multiple", "multiple"));
}

TEST_F(GetInfoRunnerTest, ALoneDriveBetweenPairAndCardLeavesTheGroupStanding) {
  fillPair();
  makeFolder(path(u"card2"));
  makeFolder(path(u"stick"));
  connect(device(flash() + card()) + "<node id=\"S\"><volume letter=\"G\" folder=\"stick\"/></node>" +
          device(unit("C3", 1, "letter=\"H\" folder=\"card2\" capacity=\"10\"")));
  ask();
  EXPECT_THAT(removableTypes(), ElementsAre("multiple", "single"));
  const std::vector<std::string> group = children("/removable");
  EXPECT_EQ(std::vector<std::string>(group.end() - 4, group.end()),
            (std::vector<std::string>{"seconddriveletter=F:", "space", "seconddriveletter=H:", "space"}));
}

TEST_F(GetInfoRunnerTest, NamesWithMarkupAreTexts) {
  const std::string evil = "]]>&lt;/name>&lt;deletable>1&amp;#x41;&amp;&quot;&#1;&#xFFFE;";
  writeFile(path(u"flash/ZELMORA/version.xml"),
            soundVersionDocument("<apps><a><name>" + evil + "</name></a></apps>"));
  writeFile(path(u"flash/ZELMORA/MAP/&#x<b>.map"), "map");
  connect(device(flash(" ") + ""));
  ask();
  EXPECT_EQ(value("/software/apps/app/name"), "]]></name><deletable>1&#x41;&\"\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(value("/software/maps/map/name"), "&#x<b>.map");
}

TEST_F(GetInfoRunnerTest, ReferencesThatAreNoneAreTexts) {
  const std::string text = "&#x</name>&#x0;";
  writeFile(path(u"flash/ZELMORA/version.xml"), soundVersionDocument());
  writeFile(path(u"flash/ZELMORA/MAP/&#x0;&#x.map"), "map");
  writeFile(path(u"flash/ZELMORA/MIS.txt"), text);
  connect(device(unit("A1", 0, "letter=\"E\" folder=\"flash\" label=\"&amp;#x&lt;/name>&amp;#x0;\"")));
  ask();
  EXPECT_EQ(value("/name"), text);
  EXPECT_EQ(value("/MIS"), text);
  EXPECT_EQ(value("/software/maps/map/name"), "&#x0;&#x.map");
}

TEST_F(GetInfoRunnerTest, NamesOfFilesThatAreNoTextAreMadeReadable) {
  fillPair();
  std::ofstream(toUtf8(path(u"flash/ZELMORA/MAP/")) + "a\xFF\x01.map") << "map";
  connect(device(flash()));
  EXPECT_THAT(answer(), HasSubstr("<name>a\xEF\xBF\xBD\xEF\xBF\xBD.map</name>"));
}

TEST_F(GetInfoRunnerTest, TheMisTextIsWrittenAsItIsButForControlCharacters) {
  writeFile(path(u"stick/ZELMORA/MIS.txt"), std::string("\xE4\xFF<\0\x01>\r\n", 8));
  connect(stick_);
  EXPECT_THAT(answer(), HasSubstr("<MIS>\xE4\xFF&lt;  &gt;&#x0D;&#x0A;</MIS>"));
}

TEST_F(GetInfoRunnerTest, ATextInADevicesFileThatIsNotUtf8EndsTheCommand) {
  writeFile(path(u"flash/ZELMORA/version.xml"), versionDocument(identityElement("software", "\xFF")));
  connect(device(flash()));
  GetInfoRunner runner;
  EXPECT_EQ(runner.init({}), 0);
  EXPECT_THROW(static_cast<void>(runner.run()), std::exception);
}

TEST_F(GetInfoRunnerTest, ADocumentThatCannotBeSavedFailsWithoutAReport) {
  connect("");
  std::filesystem::remove_all(toUtf8(path(u"tmp/ZELMORATevra_tmp")));
  GetInfoRunner runner;
  EXPECT_EQ(runner.init({}), 0);
  EXPECT_EQ(runner.run(), -1);
  EXPECT_EQ(runner.init(folders(path(u"temp"))), 0);
  EXPECT_EQ(runner.run(), -1);
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(GetInfoRunnerTest, AFailureAtAnyOperationHurtsNoFileOfTheDevice) {
  fillPair();
  connect(device(flash() + card()));
  const std::string version = readFile(path(u"flash/ZELMORA/version.xml"));
  const std::string updates = readFile(path(u"flash/ZELMORA/updates.xml"));
  for (int operation = 1;; ++operation) {
    FaultyFileSystem faulty(machineFiles());
    faulty.failAt = operation;
    useMachineWith(faulty);
    GetInfoRunner runner;
    EXPECT_EQ(runner.init({}), 0);
    static_cast<void>(runner.run());
    useMachineWith(machineFiles());
    EXPECT_EQ(readFile(path(u"flash/ZELMORA/version.xml")), version) << "operation " << operation;
    EXPECT_EQ(readFile(path(u"flash/ZELMORA/updates.xml")), updates) << "operation " << operation;
    for (const WideView made : {u"flash/.DeviceConfigurationBackupFile", u"flash/.Trashes",
                                u"flash/.metadata_never_index", u"flash/.fseventsd"})
      std::filesystem::remove_all(toUtf8(path(made)));
    if (faulty.count < operation) break;
  }
}

// A map folder that holds a hundred thousand files of one byte, of which every tenth is a map.
class CrowdedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    if (!folder.ends_with(u"MAP")) return target().list(folder, entries, error);
    for (int i = 0; i < 100'000; ++i)
      entries.push_back(
          {u"crowd " + numberText(i) + (i % 10 == 0 ? u".map" : u".txt"), platform::EntryKind::file});
    error.clear();
    return true;
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    if (!isOfCrowd(path)) return target().kind(path, error);
    ++questions;
    return platform::EntryKind::file;
  }
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    return isOfCrowd(path) ? 1 : target().fileSize(path, error);
  }
  int questions = 0;

 private:
  static bool isOfCrowd(const WideText& path) { return path.find(u"crowd") != WideText::npos; }
};

TEST_F(GetInfoRunnerTest, AHundredThousandFilesInAMapFolderAreNoBurden) {
  writeFile(path(u"flash/ZELMORA/version.xml"), soundVersionDocument());
  makeFolder(path(u"flash/ZELMORA/MAP"));
  connect(device(flash()));
  CrowdedFileSystem crowded(machineFiles());
  useMachineWith(crowded);
  ask();
  EXPECT_THAT(children("/removable/software/maps"), SizeIs(10'000));
  EXPECT_LE(crowded.questions, 10'000) << "what is no map isn't looked at";
}

TEST_F(GetInfoRunnerTest, AVersionFileOf50MiBIsNotReadAndStaysAsItIs) {
  const std::string document = soundVersionDocument("<note>" + std::string(50 << 20, 'n') + "</note>");
  writeFile(path(u"flash/ZELMORA/version.xml"), document);
  writeFile(path(u"flash/.DeviceConfigurationBackupFile/version_bkp"), soundVersionDocument());
  connect(device(flash()));
  ask();
  EXPECT_THAT(children("/removable"), Not(Contains("software")));
  EXPECT_TRUE(readFile(path(u"flash/ZELMORA/version.xml")) == document);
}

TEST_F(GetInfoRunnerTest, AVersionFileOf15MiBIsRead) {
  writeFile(path(u"flash/ZELMORA/version.xml"),
            soundVersionDocument("<note>" + std::string(15 << 20, 'n') + "</note>"));
  connect(device(flash()));
  ask();
  EXPECT_EQ(value("/software/brand"), "ZELMORA");
}

TEST_F(GetInfoRunnerTest, AVersionFileOf50MiBOfMarkupStaysAsItIsAndLeavesNoSoftware) {
  std::string maps;
  while (maps.size() < (50U << 20)) maps += "<map/><map/><map/><map/><map/><map/><map/><map/>";
  const std::string document = soundVersionDocument(maps);
  writeFile(path(u"flash/ZELMORA/version.xml"), document);
  connect(device(flash()));
  ask();
  EXPECT_THAT(children("/removable"), Not(Contains("software")));
  EXPECT_TRUE(readFile(path(u"flash/ZELMORA/version.xml")) == document);
}

}  // namespace
}  // namespace ZelmoraTevra
