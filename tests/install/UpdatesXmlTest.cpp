#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <exception>
#include <random>
#include <string>
#include <vector>

#include "core/Text.h"
#include "install/UpdatesXml.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PlainUpdatesXmlFile : public IUpdatesXmlFile {
 public:
  explicit PlainUpdatesXmlFile(WideText path) : path_(std::move(path)) {}
  WideText getRootPath() const override { return {}; }
  WideText getFilePath() const override { return path_; }
  bool isKd3Layout() const override { return false; }
  bool isZelmoraLayout() const override { return true; }

 private:
  WideText path_;
};

// A disk on which nothing can be read.
class UnreadableFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read) return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
};

Update makeUpdate(const WideText& company, const WideText& name, const WideText& version = u"1.0.0",
                  std::int32_t update = 0) {
  Update made;
  made.info.company = company;
  made.info.name = name;
  made.info.version = version;
  made.info.update = update;
  return made;
}

UpdateInfo query(const WideText& company, const WideText& name, const WideText& version = {}) {
  UpdateInfo info;
  info.company = company;
  info.name = name;
  info.version = version;
  return info;
}

std::vector<std::string> titles(const std::vector<Update>& updates) {
  std::vector<std::string> texts;
  for (const Update& update : updates)
    texts.push_back(toUtf8(update.info.company + u'/' + update.info.name + u'/' + update.info.version));
  return texts;
}

const std::string wholeRegister =
    "<?xml version=\"1.0\" ?>\n"
    "<updates>\n"
    "    <update install_location=\"storage_for_content\">\n"
    "        <company>ZELMORA</company>\n"
    "        <name>Alps map</name>\n"
    "        <version>2026.2.0</version>\n"
    "        <update>1</update>\n"
    "        <uninstall>2</uninstall>\n"
    "        <file>\n"
    "            <client>content/maps/alps.dat</client>\n"
    "        </file>\n"
    "        <file>\n"
    "            <client>content/maps/alps.idx</client>\n"
    "        </file>\n"
    "        <xmlentry>\n"
    "            <file>config/software/version.xml</file>\n"
    "            <key creationflag=\"3\">\n"
    "                <base>config/maps/map</base>\n"
    "                <condition>name/alps</condition>\n"
    "            </key>\n"
    "        </xmlentry>\n"
    "    </update>\n"
    "    <update install_location=\"external\">\n"
    "        <company></company>\n"
    "        <name>Voices &lt;&amp;&gt;</name>\n"
    "        <version></version>\n"
    "        <update>0</update>\n"
    "        <uninstall>-1</uninstall>\n"
    "    </update>\n"
    "</updates>\n";

class UpdatesXmlTest : public JobTest {
 protected:
  UpdatesXmlTest() { makeFolder(path(u"device")); }

  [[nodiscard]] std::string content() { return readFile(path_); }
  void put(const std::string& content) { writeFile(path_, content); }
  void putUpdate(const std::string& children, const std::string& attribute = {}) {
    put("<updates><update" + attribute + ">" + children + "</update></updates>");
  }
  [[nodiscard]] std::vector<Update> reload() {
    PlainUpdatesXmlFile file(path_);
    return UpdatesXml(&file).getUpdates();
  }
  // What a reader finds of an update that was added and saved.
  [[nodiscard]] Update stored(const Update& update) {
    put("");
    UpdatesXml updates(&file_);
    updates.addUpdate(update);
    EXPECT_TRUE(updates.save());
    const std::vector<Update> found = reload();
    return found.empty() ? Update() : found.front();
  }

  const WideText path_ = path(u"device/updates.xml");
  PlainUpdatesXmlFile file_{path_};
};

TEST_F(UpdatesXmlTest, ReadsEverythingThatTheFileHolds) {
  put(wholeRegister);
  UpdatesXml updates(&file_);
  EXPECT_TRUE(updates.isLoaded());
  const std::vector<Update> found = updates.getUpdates();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].info.company, u"ZELMORA");
  EXPECT_EQ(found[0].info.name, u"Alps map");
  EXPECT_EQ(found[0].info.version, u"2026.2.0");
  EXPECT_EQ(found[0].info.update, 1);
  EXPECT_EQ(found[0].info.uninstall, 2);
  EXPECT_EQ(found[0].info.installLocation, u"storage_for_content");
  EXPECT_EQ(found[0].info.secondaryPath, u"");
  EXPECT_THAT(found[0].files,
              ElementsAre(UpdateFile{u"content/maps/alps.dat", 0}, UpdateFile{u"content/maps/alps.idx", 0}));
  EXPECT_THAT(found[0].xmlEntries, ElementsAre(UpdateXmlEntry{u"config/software/version.xml", 3,
                                                              u"config/maps/map", u"name/alps"}));
  EXPECT_EQ(found[1].info.name, u"Voices <&>");
  EXPECT_EQ(found[1].info.uninstall, -1);
  EXPECT_EQ(found[1].info.installLocation, u"external");
}

TEST_F(UpdatesXmlTest, WritesTheLibrarysPrintLayout) {
  put(wholeRegister);
  UpdatesXml updates(&file_);
  updates.setUpdates(updates.getUpdates());
  EXPECT_TRUE(updates.save());
  EXPECT_EQ(content(), wholeRegister);
}

TEST_F(UpdatesXmlTest, ARegisterWithoutUpdatesIsWrittenAsItsRootAlone) {
  put(wholeRegister);
  UpdatesXml updates(&file_);
  for (const Update& update : updates.getUpdates()) EXPECT_TRUE(updates.removeByCompanyAndName(update.info));
  EXPECT_TRUE(updates.save());
  EXPECT_EQ(content(), "<?xml version=\"1.0\" ?>\n<updates />\n");
}

TEST_F(UpdatesXmlTest, ASaveWithNothingChangedLeavesTheFileUntouched) {
  const std::string odd = "<updates >\r\n<update><name>a</name><unknown/></update></updates>";
  put(odd);
  {
    UpdatesXml updates(&file_);
    EXPECT_FALSE(updates.removeByCompanyAndName(query(u"x", u"a")));
    EXPECT_FALSE(updates.removeUpdate(makeUpdate(u"", u"a", u"other")));
    updates.addUpdate(makeUpdate(u"company", u""));
    EXPECT_TRUE(updates.save());
  }
  EXPECT_EQ(content(), odd);
}

TEST_F(UpdatesXmlTest, AMissingFileIsNotLoadedAndTakesUpdates) {
  {
    UpdatesXml updates(&file_);
    EXPECT_FALSE(updates.isLoaded());
    EXPECT_THAT(updates.getUpdates(), IsEmpty());
    EXPECT_TRUE(updates.save());
    EXPECT_FALSE(fileExists(path_));
    updates.addUpdate(makeUpdate(u"c", u"n"));
    EXPECT_TRUE(updates.save());
  }
  EXPECT_THAT(titles(reload()), ElementsAre("c/n/1.0.0"));
}

TEST_F(UpdatesXmlTest, AnEmptyFileIsNotLoadedAndTakesUpdates) {
  put("");
  UpdatesXml updates(&file_);
  EXPECT_FALSE(updates.isLoaded());
  updates.addUpdate(makeUpdate(u"c", u"n"));
  EXPECT_TRUE(updates.save());
  EXPECT_THAT(titles(reload()), ElementsAre("c/n/1.0.0"));
}

TEST_F(UpdatesXmlTest, ADamagedFileIsNotLoaded) {
  put(wholeRegister.substr(0, 500));
  const UpdatesXml updates(&file_);
  EXPECT_FALSE(updates.isLoaded());
  EXPECT_THAT(updates.getUpdates(), IsEmpty());
}

TEST_F(UpdatesXmlTest, WithoutAFileObjectNothingIsLoadedOrSaved) {
  UpdatesXml updates(nullptr);
  EXPECT_FALSE(updates.isLoaded());
  updates.addUpdate(makeUpdate(u"c", u"n"));
  EXPECT_FALSE(updates.save());
}

TEST_F(UpdatesXmlTest, WithoutAPlaceForTheFileNothingIsLoadedOrSaved) {
  PlainUpdatesXmlFile nowhere(u"");
  UpdatesXml updates(&nowhere);
  EXPECT_FALSE(updates.isLoaded());
  updates.addUpdate(makeUpdate(u"c", u"n"));
  EXPECT_FALSE(updates.save());
}

TEST_F(UpdatesXmlTest, AFileWithoutTheUpdatesRootLoadsWithoutUpdates) {
  put("<register><update><name>a</name></update></register>");
  const UpdatesXml updates(&file_);
  EXPECT_TRUE(updates.isLoaded());
  EXPECT_THAT(updates.getUpdates(), IsEmpty());
}

TEST_F(UpdatesXmlTest, TheUpdatesRootMayStandBehindAnother) {
  put("<other/><updates><update><name>Alps</name></update></updates>");
  UpdatesXml updates(&file_);
  EXPECT_THAT(titles(updates.getUpdates()), ElementsAre("/Alps/"));
}

TEST_F(UpdatesXmlTest, AnUpdateWithoutANameIsDroppedAndLostAtTheNextWrite) {
  put("<updates><update><company>nobody</company></update><update><name/></update>"
      "<update><name>a</name></update></updates>");
  UpdatesXml updates(&file_);
  EXPECT_EQ(updates.getUpdates().size(), 1U);
  updates.addUpdate(makeUpdate(u"", u"b"));
  EXPECT_TRUE(updates.save());
  EXPECT_EQ(content().find("nobody"), std::string::npos);
  EXPECT_THAT(titles(reload()), ElementsAre("/a/", "/b/1.0.0"));
}

TEST_F(UpdatesXmlTest, AMissingOrEmptyInstallLocationReadsAsExternal) {
  putUpdate("<name>a</name>");
  EXPECT_EQ(reload().at(0).info.installLocation, u"external");
  putUpdate("<name>a</name>", " install_location=\"\"");
  EXPECT_EQ(reload().at(0).info.installLocation, u"external");
  putUpdate("<name>a</name>", " install_location=\"storage_for_software\"");
  EXPECT_EQ(reload().at(0).info.installLocation, u"storage_for_software");
}

TEST_F(UpdatesXmlTest, NumbersThatAreNoneReadAsZero) {
  putUpdate("<name>a</name><update>many</update><uninstall/>");
  EXPECT_EQ(reload().at(0).info.update, 0);
  EXPECT_EQ(reload().at(0).info.uninstall, 0);
  putUpdate("<name>a</name><update>3rd</update><uninstall>99999999999</uninstall>");
  EXPECT_EQ(reload().at(0).info.update, 3);
  EXPECT_EQ(reload().at(0).info.uninstall, INT32_MAX);
}

TEST_F(UpdatesXmlTest, AnXmlEntryWithoutAKeyHasTheFlagOfTheOneBeforeIt) {
  putUpdate(
      "<name>a</name><xmlentry><file>1</file></xmlentry>"
      "<xmlentry><file>2</file><key creationflag=\"6\"><base>b</base></key></xmlentry>"
      "<xmlentry><file>3</file></xmlentry>"
      "<xmlentry><file>4</file><key><condition>c</condition></key></xmlentry>");
  EXPECT_THAT(reload().at(0).xmlEntries,
              ElementsAre(UpdateXmlEntry{u"1", 0, u"", u""}, UpdateXmlEntry{u"2", 6, u"b", u""},
                          UpdateXmlEntry{u"3", 6, u"", u""}, UpdateXmlEntry{u"4", 0, u"", u"c"}));
}

TEST_F(UpdatesXmlTest, ATextThatIsNotUtf8Throws) {
  putUpdate("<name>a\xff</name>");
  EXPECT_THROW(static_cast<void>(reload()), std::exception);
}

TEST_F(UpdatesXmlTest, FilesThatAPackageDeletesAreNotWritten) {
  Update update = makeUpdate(u"c", u"n");
  for (std::int32_t flag = -1; flag <= 9; ++flag) update.files.push_back({numberText(flag), flag});
  EXPECT_THAT(stored(update).files,
              ElementsAre(UpdateFile{u"-1"}, UpdateFile{u"0"}, UpdateFile{u"1"}, UpdateFile{u"2"},
                          UpdateFile{u"3"}, UpdateFile{u"5"}, UpdateFile{u"9"}));
}

TEST_F(UpdatesXmlTest, EntriesThatAppendOrSetAValueAreNotWritten) {
  Update update = makeUpdate(u"c", u"n");
  for (std::int32_t flag = 0; flag <= 7; ++flag) update.xmlEntries.push_back({u"f", flag, u"a/b", u"c/d"});
  std::vector<std::int32_t> flags;
  for (const UpdateXmlEntry& entry : stored(update).xmlEntries) {
    flags.push_back(entry.creationFlag);
    EXPECT_EQ(entry.base, u"a/b");
    EXPECT_EQ(entry.condition, u"c/d");
  }
  EXPECT_THAT(flags, ElementsAre(0, 2, 3, 4, 6, 7));
}

TEST_F(UpdatesXmlTest, ABaseOfOneNameIsCompletedFromTheCondition) {
  struct Row {
    std::int32_t flag;
    WideText base, condition, writtenBase, writtenCondition;
  };
  const std::vector<Row> rows = {
      {3, u"config", u"map/name/alps", u"config/map/name", u"alps"},
      {3, u"config", u"map/alps", u"config/map", u"alps"},
      {3, u"config", u"map/", u"config/map", u""},
      {3, u"", u"map/alps", u"/map", u"alps"},
      {3, u"config", u"alps", u"config", u"alps"},
      {3, u"config", u"", u"config", u""},
      {0, u"config", u"map/alps", u"config/map", u"alps"},
      {3, u"config/map", u"name/alps", u"config/map", u"name/alps"},
      {3, u"config/", u"name/alps", u"config/", u"name/alps"},
      {4, u"config", u"map/name/alps", u"config", u"map/name/alps"},
  };
  for (const Row& row : rows) {
    Update update = makeUpdate(u"c", u"n");
    update.xmlEntries.push_back({u"f", row.flag, row.base, row.condition});
    EXPECT_THAT(stored(update).xmlEntries,
                ElementsAre(UpdateXmlEntry{u"f", row.flag, row.writtenBase, row.writtenCondition}))
        << toUtf8(row.base + u" " + row.condition);
  }
}

TEST_F(UpdatesXmlTest, AfterASaveTheUpdatesAreWhatAReaderFinds) {
  Update update = makeUpdate(u"c", u"n");
  update.files = {{u"gone", 4}, {u"there", 2}};
  update.xmlEntries = {{u"f", 1, u"a", u"b/c"}, {u"g", 3, u"a", u"b/c"}};
  UpdatesXml updates(&file_);
  updates.addUpdate(update);
  EXPECT_TRUE(updates.save());
  EXPECT_EQ(updates.getUpdates().at(0).files, reload().at(0).files);
  EXPECT_EQ(updates.getUpdates().at(0).xmlEntries, reload().at(0).xmlEntries);
}

TEST_F(UpdatesXmlTest, TheSecondaryPathIsNotStored) {
  Update update = makeUpdate(u"c", u"n");
  update.info.secondaryPath = u"F:";
  EXPECT_EQ(stored(update).info.secondaryPath, u"");
  EXPECT_EQ(content().find("F:"), std::string::npos);
}

TEST_F(UpdatesXmlTest, TheSameCompanyAndNameTwiceStayBothWithoutTheUpdateMark) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"n", u"1", 0));
  updates.addUpdate(makeUpdate(u"c", u"n", u"2", 0));
  updates.addUpdate(makeUpdate(u"c", u"n", u"3", 2));
  EXPECT_THAT(titles(updates.getUpdates()), ElementsAre("c/n/1", "c/n/2", "c/n/3"));
}

TEST_F(UpdatesXmlTest, AnUpdateWithTheMarkTakesThePlaceOfAllWithItsCompanyAndName) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"n", u"1"));
  updates.addUpdate(makeUpdate(u"c", u"other", u"1"));
  updates.addUpdate(makeUpdate(u"c", u"n", u"2"));
  updates.addUpdate(makeUpdate(u"d", u"n", u"1"));
  updates.addUpdate(makeUpdate(u"c", u"n", u"3", 1));
  EXPECT_THAT(titles(updates.getUpdates()), ElementsAre("c/other/1", "d/n/1", "c/n/3"));
  EXPECT_TRUE(updates.save());
  EXPECT_THAT(titles(reload()), ElementsAre("c/other/1", "d/n/1", "c/n/3"));
}

TEST_F(UpdatesXmlTest, AnUpdateWithTheMarkIsAddedWhereThereIsNoneBefore) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"n", u"1", 1));
  EXPECT_THAT(titles(updates.getUpdates()), ElementsAre("c/n/1"));
}

TEST_F(UpdatesXmlTest, AnUpdateWithoutANameIsNotAdded) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"", u"1", 1));
  EXPECT_TRUE(updates.save());
  EXPECT_FALSE(fileExists(path_));
}

TEST_F(UpdatesXmlTest, RemovesByCompanyAndName) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"n", u"1"));
  updates.addUpdate(makeUpdate(u"c", u"n", u"2"));
  updates.addUpdate(makeUpdate(u"c", u"m", u"1"));
  updates.addUpdate(makeUpdate(u"", u"n", u"1"));
  EXPECT_FALSE(updates.removeByCompanyAndName(query(u"x", u"n")));
  EXPECT_FALSE(updates.removeByCompanyAndName(query(u"c", u"x")));
  EXPECT_TRUE(updates.removeByCompanyAndName(query(u"c", u"n")));
  EXPECT_FALSE(updates.removeByCompanyAndName(query(u"c", u"n")));
  EXPECT_THAT(titles(updates.getUpdates()), ElementsAre("c/m/1", "/n/1"));
}

TEST_F(UpdatesXmlTest, RemovesAllThatAreEqualInWhatTheRegisterHolds) {
  Update update = makeUpdate(u"c", u"n");
  update.files = {{u"a", 0}, {u"b", 2}};
  update.xmlEntries = {{u"f", 3, u"b", u"c"}};
  UpdatesXml updates(&file_);
  updates.addUpdate(update);

  const auto differing = [&update](const auto& change) {
    Update other = update;
    change(other);
    return other;
  };
  const std::vector<Update> others = {
      differing([](Update& u) { u.info.company = u"x"; }),
      differing([](Update& u) { u.info.name = u"x"; }),
      differing([](Update& u) { u.info.version = u"x"; }),
      differing([](Update& u) { u.info.update = 7; }),
      differing([](Update& u) { u.info.uninstall = 7; }),
      differing([](Update& u) { u.files.pop_back(); }),
      differing([](Update& u) { u.files[1].client = u"x"; }),
      differing([](Update& u) { u.files[1].flag = 7; }),
      differing([](Update& u) { u.xmlEntries.clear(); }),
      differing([](Update& u) { u.xmlEntries[0].file = u"x"; }),
      differing([](Update& u) { u.xmlEntries[0].creationFlag = 7; }),
      differing([](Update& u) { u.xmlEntries[0].base = u"x"; }),
      differing([](Update& u) { u.xmlEntries[0].condition = u"x"; }),
  };
  for (const Update& other : others) EXPECT_FALSE(updates.removeUpdate(other));
  EXPECT_EQ(updates.getUpdates().size(), 1U);

  updates.addUpdate(differing([](Update& u) { u.info.installLocation = u"storage_for_content"; }));
  EXPECT_TRUE(updates.removeUpdate(differing([](Update& u) { u.info.secondaryPath = u"F:"; })));
  EXPECT_THAT(updates.getUpdates(), IsEmpty());
  EXPECT_FALSE(updates.removeUpdate(update));
}

TEST_F(UpdatesXmlTest, FindsTheFirstThatHasTheNameAndWhatElseIsAskedFor) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"c", u"n", u"1"));
  updates.addUpdate(makeUpdate(u"d", u"n", u"1"));
  updates.addUpdate(makeUpdate(u"d", u"n", u"2"));
  const auto found = [&updates](const UpdateInfo& info) { return titles({updates.findUpdate(info)}).at(0); };
  EXPECT_EQ(found(query(u"", u"n")), "c/n/1");
  EXPECT_EQ(found(query(u"d", u"n")), "d/n/1");
  EXPECT_EQ(found(query(u"", u"n", u"2")), "d/n/2");
  EXPECT_EQ(found(query(u"d", u"n", u"2")), "d/n/2");
  EXPECT_FALSE(updates.findUpdate(query(u"c", u"n", u"2")).isValid());
  EXPECT_FALSE(updates.findUpdate(query(u"c", u"N")).isValid());
  EXPECT_FALSE(updates.findUpdate(query(u"c", u"")).isValid());

  EXPECT_EQ(updates.findByCompanyAndName(query(u"d", u"n", u"9")).info.version, u"1");
  EXPECT_FALSE(updates.findByCompanyAndName(query(u"", u"n")).isValid());
  EXPECT_TRUE(updates.removeByCompanyAndName(query(u"c", u"n")));
  EXPECT_EQ(found(query(u"", u"n")), "d/n/1");
}

TEST_F(UpdatesXmlTest, DestructionSaves) {
  { UpdatesXml(&file_).addUpdate(makeUpdate(u"c", u"n")); }
  EXPECT_THAT(titles(reload()), ElementsAre("c/n/1.0.0"));
}

TEST_F(UpdatesXmlTest, AReplacedListIsWhatIsWrittenAndFound) {
  put(wholeRegister);
  UpdatesXml updates(&file_);
  updates.setUpdates({makeUpdate(u"c", u"n")});
  EXPECT_FALSE(updates.findUpdate(query(u"", u"Alps map")).isValid());
  EXPECT_TRUE(updates.findUpdate(query(u"", u"n")).isValid());
  EXPECT_TRUE(updates.save());
  EXPECT_THAT(titles(reload()), ElementsAre("c/n/1.0.0"));
}

TEST_F(UpdatesXmlTest, ASaveThatFailsLeavesTheFileAsItWasAndCanBeRepeated) {
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE(operation);
    put(wholeRegister);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    UpdatesXml updates(&file_);
    updates.addUpdate(makeUpdate(u"c", u"n"));
    const bool saved = updates.save();
    if (faulty.count < operation) {
      EXPECT_TRUE(saved);
      break;
    }
    EXPECT_FALSE(saved);
    EXPECT_EQ(content(), wholeRegister);
    EXPECT_THAT(tree(path(u"device")), ElementsAre("updates.xml"));
    EXPECT_TRUE(updates.save());
    EXPECT_EQ(reload().size(), 3U);
    useFileSystem(files());
  }
}

TEST_F(UpdatesXmlTest, AFileThatCanNotBeReadIsNeverOverwritten) {
  put(wholeRegister);
  UnreadableFileSystem unreadable(files());
  useFileSystem(unreadable);
  {
    UpdatesXml updates(&file_);
    EXPECT_FALSE(updates.isLoaded());
    updates.addUpdate(makeUpdate(u"c", u"n"));
    EXPECT_FALSE(updates.save());
  }
  EXPECT_EQ(content(), wholeRegister);
}

TEST_F(UpdatesXmlTest, ATruncatedRegisterIsNotLoaded) {
  const std::size_t end = wholeRegister.rfind('>');
  for (std::size_t length = 0; length <= wholeRegister.size(); ++length) {
    put(wholeRegister.substr(0, length));
    const UpdatesXml updates(&file_);
    EXPECT_EQ(updates.getUpdates().size(), length > end ? 2U : 0U) << length;
    // The declaration alone is a document, of which nothing can be lost.
    if (length <= end && updates.isLoaded()) {
      EXPECT_LE(length, wholeRegister.find("<updates") + 1);
    }
  }
}

TEST_F(UpdatesXmlTest, FlippedBytesDoNoHarm) {
  for (std::size_t position = 0; position < wholeRegister.size(); ++position) {
    SCOPED_TRACE(position);
    std::string damaged = wholeRegister;
    damaged[position] =
        static_cast<char>(damaged[position] ^ std::array{0x01, 0x20, 0x80, 0xff}[position % 4]);
    put(damaged);
    try {
      UpdatesXml updates(&file_);
      updates.addUpdate(makeUpdate(u"c", u"n", u"1", 1));
      EXPECT_TRUE(updates.save());
      EXPECT_TRUE(UpdatesXml(&file_).findUpdate(query(u"c", u"n")).isValid());
    } catch (const std::exception&) {
      EXPECT_EQ(content(), damaged);
    }
  }
}

TEST_F(UpdatesXmlTest, TextsOfAllKindsComeBackAsTheyWere) {
  std::mt19937 random(20'130'517);
  const std::vector<WideText> pieces = {u"a",          u"Z",     u"<",   u">",      u"&",      u"\"",
                                        u"'",          u"/",     u"\\",  u";",      u"\u00e9", u"\u20ac",
                                        u"\U0001f5fa", u"&amp;", u"]]>", u"&#x41;", u"&#x"};
  const auto text = [&] {
    WideText made;
    for (auto count = random() % 12 + 1; count > 0; --count) made += pieces[random() % pieces.size()];
    return made;
  };
  std::vector<Update> written;
  UpdatesXml updates(&file_);
  for (int count = 0; count < 200; ++count) {
    Update update = makeUpdate(text(), text(), text());
    update.info.installLocation = text();
    update.info.uninstall = static_cast<std::int32_t>(random());
    for (auto files = random() % 4; files > 0; --files) update.files.push_back({text(), 0});
    for (auto entries = random() % 4; entries > 0; --entries)
      update.xmlEntries.push_back({text(), 4, text(), text()});
    written.push_back(update);
    updates.addUpdate(update);
  }
  EXPECT_TRUE(updates.save());
  const std::vector<Update> found = reload();
  ASSERT_EQ(found.size(), written.size());
  for (std::size_t index = 0; index < found.size(); ++index) {
    EXPECT_EQ(titles({found[index]}), titles({written[index]}));
    EXPECT_EQ(found[index].info.installLocation, written[index].info.installLocation);
    EXPECT_EQ(found[index].info.uninstall, written[index].info.uninstall);
    EXPECT_EQ(found[index].files, written[index].files);
    EXPECT_EQ(found[index].xmlEntries, written[index].xmlEntries);
  }
}

TEST_F(UpdatesXmlTest, ATextThatReadsLikeAReferenceIsNotTakenForOne) {
  put("<updates><update><name>&amp;#x41;</name></update><update><name>&amp;#x</name></update></updates>");
  {
    UpdatesXml updates(&file_);
    updates.addUpdate(makeUpdate(u"c", u"n"));
    EXPECT_TRUE(updates.save());
  }
  EXPECT_THAT(titles(reload()), ElementsAre("/&#x41;/", "/&#x/", "c/n/1.0.0"));
}

TEST_F(UpdatesXmlTest, TenThousandUpdatesAreReplacedFoundAndRemoved) {
  constexpr int count = 10'000;
  UpdatesXml updates(&file_);
  Update update = makeUpdate(u"company", u"name", u"1", 1);
  const auto name = [&update](int number) -> const UpdateInfo& {
    update.info.name = numberText(number);
    return update.info;
  };
  for (const bool second : {false, true}) {
    if (second) update.info.version = u"2";
    for (int number = 0; number < count; ++number) {
      name(number);
      updates.addUpdate(update);
    }
  }
  for (int number = 0; number < count; number += 2) EXPECT_TRUE(updates.removeByCompanyAndName(name(number)));
  EXPECT_TRUE(updates.save());
  const std::vector<Update> found = reload();
  ASSERT_EQ(found.size(), count / 2U);
  EXPECT_EQ(found.back().info.name, u"9999");
  EXPECT_EQ(found.back().info.version, u"2");
}

TEST_F(UpdatesXmlTest, TenThousandUpdatesOfOneNameAreReplacedFoundAndRemoved) {
  constexpr int count = 10'000;
  UpdatesXml updates(&file_);
  Update update = makeUpdate(u"company", u"n", u"1", 1);
  const auto company = [&update](int number) -> const UpdateInfo& {
    update.info.company = numberText(number);
    return update.info;
  };
  for (const bool second : {false, true}) {
    if (second) update.info.version = u"2";
    for (int number = 0; number < count; ++number) {
      company(number);
      updates.addUpdate(update);
    }
  }
  EXPECT_EQ(updates.findUpdate(query(u"9999", u"n")).info.version, u"2");
  for (int number = 0; number < count; ++number) {
    if (number % 2 == 0) {
      EXPECT_TRUE(updates.removeByCompanyAndName(company(number)));
    }
    EXPECT_EQ(updates.findUpdate(query(u"", u"n")).info.company, u"1");
  }
  EXPECT_EQ(updates.getUpdates().size(), count / 2U);
  for (int number = 1; number < count; number += 2) {
    company(number);
    EXPECT_TRUE(updates.removeUpdate(update));
  }
  EXPECT_FALSE(updates.findUpdate(query(u"", u"n")).isValid());
}

// Company and name never run into one another.
TEST_F(UpdatesXmlTest, ACompanyIsNoPartOfANameNorANameOfACompany) {
  UpdatesXml updates(&file_);
  updates.addUpdate(makeUpdate(u"ab", u"c"));
  updates.addUpdate(makeUpdate(u"", u"n"));
  EXPECT_FALSE(updates.findUpdate(query(u"a", u"bc")).isValid());
  EXPECT_FALSE(updates.findUpdate(query(u"", u"abc")).isValid());
  EXPECT_FALSE(updates.findByCompanyAndName(query(u"a", u"bc")).isValid());
  EXPECT_FALSE(updates.removeByCompanyAndName(query(u"abc", u"")));
  EXPECT_TRUE(updates.findByCompanyAndName(query(u"", u"n")).isValid());
  EXPECT_TRUE(updates.removeByCompanyAndName(query(u"", u"n")));
  EXPECT_FALSE(updates.findUpdate(query(u"", u"n")).isValid());
}

TEST_F(UpdatesXmlTest, ARegisterThatCouldNotBeReadAgainIsNotWritten) {
  startLog();
  put(wholeRegister);
  UpdatesXml updates(&file_);
  Update large = makeUpdate(u"Z", u"Large");
  large.files.assign(260'000, {u"a", 0});  // four tags each, more than a document may have
  updates.addUpdate(large);
  EXPECT_FALSE(updates.save());
  EXPECT_EQ(content(), wholeRegister);
  EXPECT_TRUE(logHas(u"The register would be too large to be read again."));
}

}  // namespace

}  // namespace ZelmoraTevra
