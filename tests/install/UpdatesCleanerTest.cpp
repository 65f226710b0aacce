#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesCleaner.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {

namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const WideText versionFile = u"config/software/version.xml";

UpdateXmlEntry mapEntry(const WideText& name) {
  return {versionFile, 3, u"config/maps/map", u"name/" + name};
}

// Gives no answer about what has a name, or can't read it.
class SilentFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    if (!path.ends_with(u"silent")) return target().kind(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return platform::EntryKind::missing;
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (!path.ends_with(u"unreadable.xml")) return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
};

// Counts how often each file is opened for reading.
class ReadCountingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read) ++reads[toForwardSlashes(path)];
    return target().open(path, mode, error);
  }
  std::map<WideText, int> reads;
};

class UpdatesCleanerTest : public JobTest {
 protected:
  UpdatesCleanerTest() {
    makeFolder(path(u"flash/ZELMORA"));
    makeFolder(path(u"card"));
    putVersionFile({"alps", "iberia", "nordic"});
    file_ = std::make_unique<ClientUpdatesXmlFile>(flash_, true);
    updates_ = std::make_unique<UpdatesXml>(file_.get());
  }

  void putVersionFile(const std::vector<std::string>& maps) {
    std::string text = "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n";
    for (const std::string& map : maps)
      text += "        <map>\n            <name>" + map + "</name>\n        </map>\n";
    writeFile(versionPath_, text + "    </maps>\n</config>\n");
  }
  [[nodiscard]] std::vector<std::string> mapsOfVersionFile() {
    std::vector<std::string> maps;
    const std::string text = readFile(versionPath_);
    for (std::size_t at = text.find("<name>"); at != std::string::npos; at = text.find("<name>", at + 1))
      maps.push_back(text.substr(at + 6, text.find('<', at + 6) - at - 6));
    return maps;
  }
  void add(const WideText& name, const WideText& location, const std::vector<WideText>& files,
           const std::vector<UpdateXmlEntry>& entries = {}) {
    Update update;
    update.info.name = name;
    update.info.installLocation = location;
    update.xmlEntries = entries;
    for (const WideText& client : files) update.files.push_back({client, 0});
    updates_->addUpdate(update);
  }
  void addSoftware(const WideText& name, const std::vector<WideText>& files,
                   const std::vector<UpdateXmlEntry>& entries = {}) {
    add(name, u"storage_for_software", files, entries);
  }
  [[nodiscard]] int clean(const WideText& secondaryRoot) {
    UpdatesCleaner cleaner;
    EXPECT_EQ(cleaner.init(updates_.get(), flash_, secondaryRoot), 0);
    return cleaner.run();
  }
  [[nodiscard]] int clean() { return clean(card_); }
  [[nodiscard]] std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const Update& update : updates_->getUpdates()) found.push_back(toUtf8(update.info.name));
    return found;
  }
  // Whether an update without files stands by this entry in "other.xml" on the device.
  [[nodiscard]] bool standsBy(const std::string& document, const WideText& base, const WideText& condition,
                              const WideText& file = u"config/other.xml") {
    writeFile(path(u"flash/config/other.xml"), document);
    updates_->setUpdates({});
    addSoftware(u"update", {}, {{file, 3, base, condition}});
    EXPECT_EQ(clean(), 0);
    return !names().empty();
  }

  const WideText flash_ = path(u"flash");
  const WideText card_ = path(u"card");
  const WideText versionPath_ = path(u"flash/" + versionFile);
  std::unique_ptr<ClientUpdatesXmlFile> file_;
  std::unique_ptr<UpdatesXml> updates_;
};

TEST_F(UpdatesCleanerTest, WithoutARegisterInitAndRunFail) {
  UpdatesCleaner cleaner;
  EXPECT_EQ(cleaner.run(), -1);
  EXPECT_EQ(cleaner.init(nullptr, flash_, card_), -1);
  EXPECT_EQ(cleaner.run(), -1);
}

TEST_F(UpdatesCleanerTest, AnUpdateWithOneFileLeftStands) {
  writeFile(path(u"flash/maps/b.dat"), "b");
  addSoftware(u"kept", {u"maps/a.dat", u"maps/b.dat"});
  addSoftware(u"gone", {u"maps/a.dat", u"maps/c.dat"});
  addSoftware(u"bare", {});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), ElementsAre("kept"));
}

TEST_F(UpdatesCleanerTest, AFolderUnderTheNameIsNoFile) {
  makeFolder(path(u"flash/maps/a.dat"));
  addSoftware(u"gone", {u"maps/a.dat"});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(UpdatesCleanerTest, AnUpdateStandsWhileTheDeviceGivesNoAnswerAboutItsFiles) {
  SilentFileSystem silent(files());
  useFileSystem(silent);
  writeFile(path(u"flash/config/unreadable.xml"), "<r><e>w</e></r>");
  addSoftware(u"stands", {u"a", u"silent"});
  addSoftware(u"stands too", {u"a"}, {{u"config/unreadable.xml", 3, u"r/e", u"v"}});
  addSoftware(u"gone", {u"a"});
  EXPECT_EQ(clean(), 0);
  useFileSystem(files());
  EXPECT_THAT(names(), ElementsAre("stands", "stands too"));
}

TEST_F(UpdatesCleanerTest, AnUpdateStandsByAFileThatMayNotBeEdited) {
  EXPECT_TRUE(standsBy("<r><e>v</e>a & b</r>", u"r/e", u"v"));
}

TEST_F(UpdatesCleanerTest, AnUpdateStandsByEntriesThatCostTooMuch) {
  std::string text = "<r>";
  std::vector<UpdateXmlEntry> entries;
  for (int i = 0; i < 3'000; ++i) {
    text += "<e><n>v</n></e>";
    entries.push_back({u"config/other.xml", 3, u"r/e", u"n" + numberText(i) + u"/v"});
  }
  writeFile(path(u"flash/config/other.xml"), text + "</r>");
  addSoftware(u"stands", {u"a"}, entries);
  addSoftware(u"gone", {u"a"});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), ElementsAre("stands"));
}

TEST_F(UpdatesCleanerTest, OnlyContentIsLookedForOnTheSecondStorage) {
  writeFile(path(u"card/a"), "a");
  writeFile(path(u"flash/b"), "b");
  add(u"content on card", u"storage_for_content", {u"a"});
  add(u"content on flash", u"storage_for_content", {u"b"});
  add(u"software on card", u"storage_for_software", {u"a"});
  add(u"software on flash", u"storage_for_software", {u"b"});
  add(u"external on card", u"external", {u"a"});
  add(u"external on flash", u"external", {u"b"});
  add(u"other case", u"Storage_for_content", {u"b"});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(),
              ElementsAre("content on card", "software on flash", "external on flash", "other case"));
}

TEST_F(UpdatesCleanerTest, WithoutASecondStorageContentStands) {
  add(u"content", u"storage_for_content", {u"a"}, {mapEntry(u"alps")});
  addSoftware(u"software", {u"a"});
  EXPECT_EQ(clean(u""), 0);
  EXPECT_THAT(names(), ElementsAre("content"));
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("alps", "iberia", "nordic"));
}

TEST_F(UpdatesCleanerTest, AMatchingEntryOfAnotherFileLetsAnUpdateStand) {
  writeFile(path(u"flash/config/other.xml"), "<o><e>v</e></o>");
  addSoftware(u"stands", {u"a"}, {mapEntry(u"alps"), {u"config/other.xml", 3, u"o/e", u"v"}});
  addSoftware(u"goes", {u"a"}, {mapEntry(u"iberia"), {u"config/other.xml", 3, u"o/e", u"w"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), ElementsAre("stands"));
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("alps", "nordic"));
  EXPECT_EQ(readFile(path(u"flash/config/other.xml")), "<o><e>v</e></o>");
}

TEST_F(UpdatesCleanerTest, AnUpdateOfWhichOnlyLinesInTheVersionFileAreLeftGoesWithThem) {
  addSoftware(u"goes", {u"a"}, {mapEntry(u"alps"), mapEntry(u"nordic"), mapEntry(u"not there")});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("iberia"));
}

TEST_F(UpdatesCleanerTest, AnUpdateWhoseFilesStandKeepsItsLines) {
  writeFile(path(u"flash/a"), "a");
  addSoftware(u"stands", {u"a"}, {mapEntry(u"alps")});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("alps", "iberia", "nordic"));
}

TEST_F(UpdatesCleanerTest, AnyPathThatContainsVersionXmlIsAVersionFile) {
  writeFile(path(u"flash/old_version.xml.bak"), "<o><e>v</e></o>");
  addSoftware(u"goes", {}, {{u"old_version.xml.bak", 3, u"o/e", u"v"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(readFile(path(u"flash/old_version.xml.bak")), "<o />\n");
}

TEST_F(UpdatesCleanerTest, MatchesFollowTheBaseAndTheCondition) {
  const std::string nested = "<r><p><e><n>x</n></e><e><n>v</n></e></p></r>";
  EXPECT_TRUE(standsBy(nested, u"r/p/e", u"n/v"));
  EXPECT_FALSE(standsBy(nested, u"r/p/e", u"n/w"));
  EXPECT_FALSE(standsBy(nested, u"r/p/e", u"m/v"));
  EXPECT_FALSE(standsBy(nested, u"r/p/f", u"n/v"));
  EXPECT_FALSE(standsBy(nested, u"r/e", u"n/v"));
}

TEST_F(UpdatesCleanerTest, TheFirstNameOfTheBaseStandsForTheRoot) {
  EXPECT_TRUE(standsBy("<r><e>v</e></r>", u"anything/e", u"v"));
}

TEST_F(UpdatesCleanerTest, ABaseOfOneNameNamesChildrenOfTheRoot) {
  EXPECT_TRUE(standsBy("<r><e>v</e></r>", u"e", u"v"));
  EXPECT_FALSE(standsBy("<e>v</e>", u"e", u"v"));
}

TEST_F(UpdatesCleanerTest, ANameInTheMiddleThatIsNotFoundIsPassedOver) {
  EXPECT_TRUE(standsBy("<r><p><e>v</e></p></r>", u"r/x/p/y/e", u"v"));
}

TEST_F(UpdatesCleanerTest, OnlyTheFirstChildOfANameIsGoneDownTo) {
  EXPECT_FALSE(standsBy("<r><p/><p><e><n>v</n></e></p></r>", u"r/p/e", u"n/v"));
}

TEST_F(UpdatesCleanerTest, AnElementThatWasAddedToTheRootBesideLikeOnesIsFound) {
  EXPECT_TRUE(standsBy("<r><p/><p><e>v</e></p></r>", u"r/p/e", u"v"));
  EXPECT_FALSE(standsBy("<r><p/><p><e>w</e></p></r>", u"r/p/e", u"v"));
}

TEST_F(UpdatesCleanerTest, ANameMayCarryANumber) {
  EXPECT_TRUE(standsBy("<r><p/><p><e><n>v</n></e></p></r>", u"r/p[1]/e", u"n/v"));
  EXPECT_FALSE(standsBy("<r><p><e><n>v</n></e></p><p/></r>", u"r/p[1]/e", u"n/v"));
}

TEST_F(UpdatesCleanerTest, AConditionWithoutAPathIsTheTextOfTheElement) {
  EXPECT_TRUE(standsBy("<r><e>v</e></r>", u"r/e", u"v"));
  EXPECT_TRUE(standsBy("<r><e>v</e></r>", u"r/e", u"/v"));
  EXPECT_FALSE(standsBy("<r><e>vw</e></r>", u"r/e", u"v"));
  EXPECT_FALSE(standsBy("<r><e>V</e></r>", u"r/e", u"v"));
}

TEST_F(UpdatesCleanerTest, AConditionIsSplitAtItsLastSlash) {
  EXPECT_TRUE(standsBy("<r><e><a><b>v</b></a></e></r>", u"r/e", u"a/b/v"));
}

TEST_F(UpdatesCleanerTest, AFileThatCanNotBeLoadedIsNoMatch) {
  EXPECT_FALSE(standsBy("<r><e>v</e>", u"r/e", u"v"));
  EXPECT_FALSE(standsBy("<?xml version=\"1.0\" ?>", u"r/e", u"v"));
  EXPECT_FALSE(standsBy("<r><e>v</e></r>", u"r/e", u"v", u"config/missing.xml"));
}

TEST_F(UpdatesCleanerTest, XmlFilesAreLookedForOnThePrimaryStorageOnly) {
  writeFile(path(u"card/config/only.xml"), "<r><e>v</e></r>");
  add(u"goes", u"storage_for_content", {}, {{u"config/only.xml", 3, u"r/e", u"v"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(UpdatesCleanerTest, PathsThatLeaveTheStorageCountAsNotThere) {
  writeFile(path(u"outside"), "x");
  writeFile(path(u"outside.xml"), "<r><e>v</e></r>");
  std::filesystem::create_symlink(folder.native() / "outside", folder.native() / "flash/link");
  std::filesystem::create_directory_symlink(folder.native(), folder.native() / "flash/up");
  for (const WideText& client : {WideText(u"../outside"), path(u"outside"), WideText(u"E:outside"),
                                 WideText(), WideText(u"link"), WideText(u"up/outside")})
    addSoftware(u"goes", {client});
  for (const WideText& file :
       {WideText(u"../outside.xml"), path(u"outside.xml"), WideText(u"up/outside.xml")})
    addSoftware(u"goes too", {}, {{file, 3, u"r/e", u"v"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(UpdatesCleanerTest, AVersionFileOutsideTheStorageIsNeverChanged) {
  writeFile(path(u"version.xml"), "<r><e>v</e></r>");
  addSoftware(u"goes", {}, {{u"../version.xml", 3, u"r/e", u"v"}});
  EXPECT_EQ(clean(), -1);
  EXPECT_THAT(names(), ElementsAre("goes"));
  EXPECT_EQ(readFile(path(u"version.xml")), "<r><e>v</e></r>");
}

TEST_F(UpdatesCleanerTest, AVersionFileThatCanNotBeLoadedEndsTheRunAndChangesNothing) {
  addSoftware(u"first", {}, {mapEntry(u"alps")});
  addSoftware(u"second", {}, {{u"missing/version.xml", 3, u"config/maps/map", u"name/x"}});
  EXPECT_EQ(clean(), -1);
  EXPECT_THAT(names(), ElementsAre("first", "second"));
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("alps", "iberia", "nordic"));
}

TEST_F(UpdatesCleanerTest, AVersionFileWithoutARootEndsTheRun) {
  writeFile(versionPath_, "<?xml version=\"1.0\" ?>");
  addSoftware(u"first", {}, {mapEntry(u"alps")});
  EXPECT_EQ(clean(), -1);
  EXPECT_THAT(names(), ElementsAre("first"));
}

TEST_F(UpdatesCleanerTest, EachEntryTakesTheFirstMatchThatIsLeft) {
  putVersionFile({"alps", "alps", "alps", "nordic"});
  addSoftware(u"first", {}, {mapEntry(u"alps")});
  addSoftware(u"second", {}, {mapEntry(u"alps"), mapEntry(u"nordic")});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("alps"));
}

TEST_F(UpdatesCleanerTest, ARemovedElementIsGoneForEveryOtherEntryToo) {
  writeFile(versionPath_,
            "<r><p><e><a>1</a><b>2</b></e></p><p><e><a>1</a><b>2</b></e><e><b>2</b></e></p></r>");
  const auto entry = [](const WideText& base, const WideText& condition) {
    return UpdateXmlEntry{versionFile, 3, base, condition};
  };
  addSoftware(u"update", {},
              {entry(u"r/p/e", u"b/none"), entry(u"r/p/e", u"a/1"), entry(u"r/p/e", u"b/2"),
               entry(u"r/p", u"e/b/none"), entry(u"r/p/e/b", u"none"), entry(u"r/p", u"e/a/none"),
               entry(u"r/p", u"none"), entry(u"r/p", u"e/a/1"), entry(u"r/p/e", u"b/2")});
  EXPECT_EQ(clean(), 0);
  // The first "e" went by its "a", the second "p" by the text within it, and the first one is empty.
  EXPECT_EQ(readFile(versionPath_), "<r>\n    <p />\n</r>\n");
}

TEST_F(UpdatesCleanerTest, ARemovalInsideOfAnElementChangesWhatTheElementMatches) {
  writeFile(versionPath_, "<config><software><map><name>m1</name><name>m2</name></map></software></config>");
  addSoftware(u"update", {},
              {{versionFile, 3, u"config/software", u"map/name/none"},
               {versionFile, 3, u"config/software/map", u"name/m1"},
               {versionFile, 3, u"config/software/map/name", u"m1"},
               {versionFile, 3, u"config/software", u"map/name/m1"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_EQ(readFile(versionPath_), "<config>\n    <software />\n</config>\n");

  writeFile(versionPath_, "<config><software><map><name>m1</name><name>m2</name></map></software></config>");
  updates_->setUpdates({});
  addSoftware(u"update", {},
              {{versionFile, 3, u"config/software", u"map/name/none"},
               {versionFile, 3, u"config/software/map/name", u"m1"},
               {versionFile, 3, u"config/software", u"map/name/m1"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_EQ(mapsOfVersionFile(), (std::vector<std::string>{"m2"}));
}

TEST_F(UpdatesCleanerTest, ManyKindsOfEntriesAreFoundAllTheSame) {
  std::string text;
  std::vector<UpdateXmlEntry> entries;
  for (int i = 0; i < 40; ++i) {
    const std::string name = "e" + std::to_string(i);
    text += "<" + name + "><v>x</v></" + name + ">";
    entries.push_back({versionFile, 3, u"config/" + toWide(name), u"v/x"});
  }
  writeFile(versionPath_, "<config>" + text + "</config>");
  addSoftware(u"update", {}, entries);
  EXPECT_EQ(clean(), 0);
  EXPECT_EQ(readFile(versionPath_), "<config />\n");
}

TEST_F(UpdatesCleanerTest, AStorageThatHasGoneTakesNoUpdateWithIt) {
  add(u"content", u"storage_for_content", {u"maps/a"});
  addSoftware(u"gone", {u"apps/b"});
  std::filesystem::remove(folder.native() / "card");
  EXPECT_EQ(clean(), -1);
  EXPECT_THAT(names(), ElementsAre("content", "gone"));
}

TEST_F(UpdatesCleanerTest, AnElementThatHoldsTheParentOfOthersTakesThemWithIt) {
  writeFile(versionPath_, "<r><p><n>1</n><e>v</e></p><p><n>2</n><e>v</e></p></r>");
  addSoftware(u"update", {},
              {{versionFile, 3, u"r/p/e", u"none"},
               {versionFile, 3, u"r/p", u"n/1"},
               {versionFile, 3, u"r/p/e", u"v"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_EQ(readFile(versionPath_), "<r>\n    <p>\n        <n>2</n>\n    </p>\n</r>\n");
}

TEST_F(UpdatesCleanerTest, OneFileUnderSeveralSpellingsIsOneFile) {
  addSoftware(u"update", {},
              {mapEntry(u"alps"),
               {u"config\\software\\version.xml", 3, u"config/maps/map", u"name/nordic"},
               {u"config//software/./version.xml", 3, u"config/maps/map", u"name/iberia"}});
  EXPECT_EQ(clean(), 0);
  EXPECT_THAT(mapsOfVersionFile(), IsEmpty());
}

TEST_F(UpdatesCleanerTest, EachXmlFileIsReadAndReplacedOnce) {
  putVersionFile({"1", "2", "3", "4", "5", "6", "7", "8", "9"});
  for (const WideText name : {u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8"})
    addSoftware(name, {u"a"}, {mapEntry(name), {u"config/other.xml", 3, u"a/b", u"c"}});
  writeFile(path(u"flash/config/other.xml"), "<a/>");
  ReadCountingFileSystem counting(files());
  FaultyFileSystem recording(counting);
  int renamings = 0;
  recording.before = [&](int, const std::string& operation) { renamings += operation == "rename"; };
  useFileSystem(recording);
  EXPECT_EQ(clean(), 0);
  EXPECT_EQ(renamings, 2);
  EXPECT_EQ(counting.reads[path(u"flash/config/other.xml")], 1);
  // Once to be changed; then the replacement compares and checks it.
  EXPECT_LE(counting.reads[versionPath_], 3);
  useFileSystem(files());
  EXPECT_THAT(mapsOfVersionFile(), ElementsAre("9"));
  EXPECT_THAT(tree(path(u"flash/config/software")), ElementsAre("version.xml"));
}

TEST_F(UpdatesCleanerTest, VersionFilesThatAreTooLargeTogetherAreWrittenInBetween) {
  for (const WideText name : {u"a", u"b"}) {
    writeFile(path(u"flash/" + name + u"_version.xml"), "<r><e>v</e></r>");
    addSoftware(name, {}, {{name + u"_version.xml", 3, u"r/e", u"v"}});
  }
  ReadCountingFileSystem counting(files());
  FaultyFileSystem recording(counting);
  std::vector<int> readsOfTheSecond;
  recording.before = [&](int, const std::string& operation) {
    if (operation == "rename") readsOfTheSecond.push_back(counting.reads[path(u"flash/b_version.xml")]);
  };
  useFileSystem(recording);
  UpdatesCleaner cleaner(20);
  EXPECT_EQ(cleaner.init(updates_.get(), flash_, card_), 0);
  EXPECT_EQ(cleaner.run(), 0);
  useFileSystem(files());
  EXPECT_THAT(names(), IsEmpty());
  ASSERT_EQ(readsOfTheSecond.size(), 4U);
  EXPECT_EQ(readsOfTheSecond[1], 0);
}

TEST_F(UpdatesCleanerTest, NothingToDropWritesNothing) {
  writeFile(path(u"flash/a"), "a");
  addSoftware(u"stands", {u"a"}, {mapEntry(u"alps")});
  EXPECT_TRUE(updates_->save());
  FaultyFileSystem counting(files());
  useFileSystem(counting);
  EXPECT_EQ(clean(), 0);
  EXPECT_TRUE(updates_->save());
  EXPECT_EQ(counting.count, 0);
  useFileSystem(files());
}

TEST_F(UpdatesCleanerTest, AWriteThatFailsEndsTheRunAndLeavesRegisterAndFileWhole) {
  for (const bool failAllAfter : {false, true}) {
    for (int operation = 1;; ++operation) {
      SCOPED_TRACE(operation);
      putVersionFile({"alps", "iberia", "nordic"});
      updates_->setUpdates({});
      addSoftware(u"goes", {u"a"}, {mapEntry(u"alps")});
      FaultyFileSystem faulty(files());
      faulty.failAt = operation;
      faulty.failAllAfter = failAllAfter;
      useFileSystem(faulty);
      const int result = clean();
      useFileSystem(files());
      if (result == 0) {
        EXPECT_THAT(names(), IsEmpty());
        EXPECT_THAT(mapsOfVersionFile(), ElementsAre("iberia", "nordic"));
      } else {
        EXPECT_THAT(names(), ElementsAre("goes"));
        EXPECT_EQ(clean(), 0);
        EXPECT_THAT(mapsOfVersionFile(), ElementsAre("iberia", "nordic"));
      }
      EXPECT_THAT(tree(path(u"flash/config/software")),
                  AnyOf(ElementsAre("version.xml"), ::testing::SizeIs(2)));
      std::filesystem::remove_all(folder.native() / "flash/config/software");
      if (faulty.count < operation) break;
    }
  }
}

TEST_F(UpdatesCleanerTest, KilledAtAnyOperationLeavesAWholeVersionFileForTheNextRun) {
  addSoftware(u"goes", {u"a"}, {mapEntry(u"alps")});
  int operation = 1;
  while (!runsToItsEnd([&] {
    FaultyFileSystem faulty(files());
    faulty.before = [operation](int number, const std::string&) {
      if (number == operation) dieHere();
    };
    useFileSystem(faulty);
    static_cast<void>(clean());
  })) {
    SCOPED_TRACE(operation);
    if (fileExists(versionPath_)) {
      EXPECT_THAT(mapsOfVersionFile(),
                  AnyOf(ElementsAre("alps", "iberia", "nordic"), ElementsAre("iberia", "nordic")));
    }
    EXPECT_EQ(clean(), 0);
    EXPECT_THAT(mapsOfVersionFile(), ElementsAre("iberia", "nordic"));
    EXPECT_THAT(tree(path(u"flash/config/software")), ElementsAre("version.xml"));
    putVersionFile({"alps", "iberia", "nordic"});
    updates_->setUpdates({});
    addSoftware(u"goes", {u"a"}, {mapEntry(u"alps")});
    ++operation;
  }
  EXPECT_GT(operation, 8);
}

}  // namespace

}  // namespace ZelmoraTevra
