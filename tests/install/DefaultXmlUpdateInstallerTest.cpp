#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/ProcessEnd.h"
#include "core/ReplaceDeviceFile.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/DefaultXmlUpdateInstaller.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Counts how often files are read, and replaced by another one.
class CountingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read) ++reads[toForwardSlashes(path)];
    return target().open(path, mode, error);
  }
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    ++replacements[toForwardSlashes(to)];
    return target().rename(from, to, error);
  }
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    ++listings;
    return target().list(folder, entries, error);
  }
  std::map<WideText, int> reads;
  std::map<WideText, int> replacements;
  int listings = 0;
};

// Does not open one file for reading.
class UnreadableFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read || !path.ends_with(unreadable))
      return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    if (unknownKind.empty() || !path.ends_with(unknownKind)) return target().kind(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return platform::EntryKind::missing;
  }
  WideText unreadable = u"never";
  WideText unknownKind;
};

// Memory runs out at the first renaming.
class ThrowingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool rename(const WideText&, const WideText&, platform::ErrorCode&) override { throw std::bad_alloc(); }
};

InstallXmlEntry entryOf(const WideText& file, std::int32_t flag, const WideText& base,
                        const WideText& condition, std::vector<WideText> alters = {}) {
  return {file, flag, base, condition, std::move(alters)};
}

// Writes one value, so that the order of the entries shows.
InstallXmlEntry setting(const WideText& file, const WideText& value) {
  return entryOf(file, 5, u"r/v", value);
}

std::string documentWith(const std::string& value) {
  return "<r>\n    <v>" + value + "</v>\n</r>\n";
}

class DefaultXmlUpdateInstallerTest : public JobTest {
 protected:
  DefaultXmlUpdateInstallerTest() {
    for (const WideText& file : {a, b}) writeFile(onDevice(file), documentWith("old"));
  }
  ~DefaultXmlUpdateInstallerTest() override { finish(); }

  void install(const std::vector<InstallXmlEntry>& entries) { install(*installer, entries); }
  void install(IUpdateInstaller& with, const std::vector<InstallXmlEntry>& entries) {
    InstallUpdate update;
    update.xmlEntries = entries;
    EXPECT_TRUE(with.install(update, u"zip", card, flash, card, nullptr));
  }
  // Brings the last file back, as the end of the installation does.
  void finish() {
    if (installer != nullptr) static_cast<void>(installer->finish());
    installer.reset();
  }
  // All of an installation.
  void run(const std::vector<InstallXmlEntry>& entries) {
    installer = std::make_unique<DefaultXmlUpdateInstaller>();
    install(entries);
    finish();
  }
  [[nodiscard]] WideText onDevice(const WideText& file) const { return flash + u'/' + file; }
  [[nodiscard]] std::string device(const WideText& file) const { return readFile(onDevice(file)); }
  [[nodiscard]] std::vector<std::string> workFolder() const { return tree(path(u"temp/ZELMORATevra_tmp")); }

  const WideText flash = path(u"flash");
  const WideText card = path(u"card");
  const WideText a = u"config/a.xml";
  const WideText b = u"config/b.xml";
  const WideText missing = u"config/new.xml";
  std::unique_ptr<IUpdateInstaller> installer = std::make_unique<DefaultXmlUpdateInstaller>();
};

TEST_F(DefaultXmlUpdateInstallerTest, ConsecutiveEntriesOfOneFileAreOneReplacement) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  install({setting(a, u"1"), setting(a, u"2")});
  install({setting(a, u"3")});
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_EQ(workFolder().size(), 1U);
  finish();
  EXPECT_EQ(device(a), documentWith("3"));
  EXPECT_EQ(counting.replacements[onDevice(a)], 1);
  EXPECT_THAT(workFolder(), IsEmpty());
  useFileSystem(files());
}

TEST_F(DefaultXmlUpdateInstallerTest, AThousandEntriesReadAndReplaceTheFileOnce) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  for (int update = 0; update < 10; ++update) {
    std::vector<InstallXmlEntry> entries;
    for (int entry = 0; entry < 100; ++entry) {
      const WideText name = u"name/" + numberText(update * 100 + entry);
      entries.push_back(entryOf(a, 3, u"r/maps/map", name, {name, u"version/1"}));
    }
    install(entries);
  }
  finish();
  EXPECT_EQ(counting.replacements[onDevice(a)], 1);
  EXPECT_EQ(counting.listings, 1);
  EXPECT_EQ(counting.reads[onDevice(a)], 1);
  EXPECT_THAT(device(a), ::testing::HasSubstr("<name>999</name>"));
  useFileSystem(files());
}

TEST_F(DefaultXmlUpdateInstallerTest, EntriesForABAReplaceATwice) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  install({setting(a, u"1"), setting(b, u"2")});
  EXPECT_EQ(device(a), documentWith("1"));
  EXPECT_EQ(device(b), documentWith("old"));
  install({setting(a, u"3")});
  EXPECT_EQ(device(b), documentWith("2"));
  EXPECT_EQ(device(a), documentWith("1"));
  finish();
  EXPECT_EQ(device(a), documentWith("3"));
  EXPECT_EQ(counting.replacements[onDevice(a)], 2);
  EXPECT_EQ(counting.replacements[onDevice(b)], 1);
  EXPECT_THAT(workFolder(), IsEmpty());
  useFileSystem(files());
}

TEST_F(DefaultXmlUpdateInstallerTest, InstallersShareTheWorkingCopy) {
  const std::unique_ptr<IUpdateInstaller> other = installer->clone();
  install(*installer, {setting(a, u"1")});
  install(*other, {entryOf(a, 1, u"r", u"more")});
  EXPECT_EQ(workFolder().size(), 1U);
  finish();
  EXPECT_EQ(device(a), "<r>\n    <v>1</v>\n    <more />\n</r>\n");
  install(*other, {setting(a, u"2")});
  EXPECT_EQ(device(a), "<r>\n    <v>1</v>\n    <more />\n</r>\n");
  install(*other, {setting(b, u"3")});
  EXPECT_EQ(device(a), "<r>\n    <v>2</v>\n    <more />\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, TheNextInstallerBeginsWithACopyOfItsOwn) {
  install({setting(a, u"1")});
  finish();
  writeFile(onDevice(a), documentWith("changed") + "<!-- c -->");
  run({setting(a, u"2")});
  EXPECT_EQ(device(a), documentWith("2") + "<!-- c -->\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag1Appends) {
  run({entryOf(a, 1, u"r/v", u"x", {u"y/1"})});
  EXPECT_EQ(device(a),
            "<r>\n    <v>\n        old\n        <x>\n            <y>1</y>\n        </x>\n    </v>\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag2DoesNothing) {
  run({entryOf(a, 2, u"r/v", u"old", {u"new"}), entryOf(missing, 2, u"r/v", u"old", {u"new"})});
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_FALSE(fileExists(onDevice(missing)));
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag3ChangesTheMatchOrAddsAnElement) {
  run({entryOf(a, 3, u"r/v", u"old", {u"new"}), entryOf(a, 3, u"r/v", u"none", {u"another"})});
  EXPECT_EQ(device(a), "<r>\n    <v>new</v>\n    <v>another</v>\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag5SetsOneValue) {
  run({entryOf(a, 5, u"r/v", u"a/b")});
  EXPECT_EQ(device(a), documentWith("a/b"));
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag6Removes) {
  run({entryOf(a, 6, u"r/v", u"old")});
  EXPECT_EQ(device(a), "<r />\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, AllOtherFlagsChange) {
  for (const std::int32_t flag : {0, 4, 7, 8, -1, 2'147'483'647}) {
    writeFile(onDevice(a), documentWith("old"));
    run({entryOf(a, flag, u"r/v", u"old", {u"new"}), entryOf(a, flag, u"r/v", u"none", {u"another"})});
    EXPECT_EQ(device(a), documentWith("new")) << flag;
  }
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag1OnAMissingFileMakesADocument) {
  run({entryOf(missing, 1, u"config/maps", u"map", {u"name/alps"})});
  EXPECT_EQ(
      device(missing),
      "<config>\n    <maps>\n        <map>\n            <name>alps</name>\n        </map>\n    </maps>\n"
      "</config>\n");
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag3OnAMissingFileMakesADocument) {
  run({entryOf(missing, 3, u"config/map", u"name/alps", {u"name/alps"})});
  EXPECT_EQ(device(missing), "<config>\n    <map>\n        <name>alps</name>\n    </map>\n</config>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag6OnAMissingFileLeavesTheRootAlone) {
  run({entryOf(missing, 6, u"config/map", u"name/alps")});
  EXPECT_EQ(device(missing), "<config />\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, OtherFlagsOnAMissingFileMakeNone) {
  for (const std::int32_t flag : {0, 2, 4, 5, 7}) {
    run({entryOf(missing, flag, u"config", u"x", {u"y"})});
    EXPECT_FALSE(fileExists(onDevice(missing))) << flag;
  }
  EXPECT_THAT(tree(flash), ElementsAre("config/", "config/a.xml", "config/b.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AfterAnEntryThatMakesNoFileAnotherMayMakeIt) {
  run({entryOf(missing, 5, u"config", u"before"), entryOf(missing, 1, u"config", u"x"),
       entryOf(missing, 5, u"config/x", u"behind")});
  EXPECT_EQ(device(missing), "<config>\n    <x>behind</x>\n</config>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, ANewFileNeedsANameForItsRoot) {
  run({entryOf(missing, 1, u"no name/x", u"y"), entryOf(missing, 1, u"/x", u"y"),
       entryOf(missing, 1, u"<r>", u"y")});
  EXPECT_FALSE(fileExists(onDevice(missing)));
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(DefaultXmlUpdateInstallerTest, TheFoldersOfANewFileAreMade) {
  run({entryOf(u"one/two\\three/new.xml", 1, u"r", u"x")});
  EXPECT_EQ(device(u"one/two/three/new.xml"), "<r>\n    <x />\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, ARootThatIsNotThereIsNotMade) {
  std::filesystem::remove_all(folder.native() / "flash");
  run({entryOf(missing, 1, u"r", u"x")});
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "flash"));
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(DefaultXmlUpdateInstallerTest, WithoutAPrimaryRootNothingOfTheComputerIsTouched) {
  const WideText mine = path(u"mine.xml");
  writeFile(mine, documentWith("mine"));
  InstallUpdate update;
  update.xmlEntries = {setting(mine.substr(1), u"x"), setting(mine, u"x")};
  EXPECT_TRUE(installer->install(update, {}, {}, {}, {}, nullptr));
  finish();
  EXPECT_EQ(readFile(mine), documentWith("mine"));
}

TEST_F(DefaultXmlUpdateInstallerTest, Flag6WithoutAMatchLeavesTheBytesOfTheFile) {
  const std::string odd = "<?xml version='1.0'?><r  a='1'><v>x</v>\r\n<!-- c --></r>";
  writeFile(onDevice(a), odd);
  FaultyFileSystem counting(files());
  useFileSystem(counting);
  run({entryOf(a, 6, u"r/v", u"none"), entryOf(a, 5, u"r/none", u"x"), entryOf(a, 1, u"other", u"x")});
  useFileSystem(files());
  EXPECT_EQ(device(a), odd);
  // The working copy was made and removed.
  EXPECT_EQ(counting.count, 3);
}

TEST_F(DefaultXmlUpdateInstallerTest, AChangeWithoutAMatchSavesTheDocumentAsItStands) {
  writeFile(onDevice(a), "<?xml version='1.0'?><r  a='1'><v>x</v>\r\n<!-- c --></r>");
  run({entryOf(a, 4, u"r/v", u"none", {u"y"})});
  EXPECT_EQ(device(a), "<?xml version=\"1.0\" ?>\n<r a=\"1\">\n    <v>x</v>\n    <!-- c -->\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, OnlyThePrimaryStorageIsUsed) {
  writeFile(card + u'/' + a, documentWith("old"));
  run({setting(a, u"1"), entryOf(missing, 1, u"r", u"x")});
  EXPECT_EQ(readFile(card + u'/' + a), documentWith("old"));
  EXPECT_EQ(device(a), documentWith("1"));
  EXPECT_FALSE(fileExists(card + u'/' + missing));
}

TEST_F(DefaultXmlUpdateInstallerTest, AnEntryThatFailsDoesNotKeepTheOthersFromTheirWork) {
  run({entryOf(a, 5, u"r/none", u"x"), entryOf(a, 1, u"other", u"x"), setting(a, u"1"),
       entryOf(a, 1, u"r", u"<", {u"x"})});
  EXPECT_EQ(device(a), documentWith("1"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AnEntryWhoseTextIsNoneIsPassedOver) {
  startLog();
  const WideText broken(1, char16_t{0xD800});
  run({entryOf(a, 5, u"r/v", broken), entryOf(a, 5, broken, u"x"), entryOf(a, 0, u"r/v", u"old", {broken})});
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_EQ(logLines().size(), 3U);
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatIsNotWellFormedStaysAsItIs) {
  startLog();
  for (const std::string& damaged : {std::string("<r><v>old</v>"), std::string(), std::string("<a/><b/>"),
                                     "<r>" + std::string(200, '<') + "</r>"}) {
    writeFile(onDevice(a), damaged);
    for (const std::int32_t flag : {0, 1, 3, 5, 6}) run({entryOf(a, flag, u"r/v", u"old", {u"new"})});
    EXPECT_EQ(device(a), damaged);
  }
  EXPECT_THAT(tree(flash), ElementsAre("config/", "config/a.xml", "config/b.xml"));
  EXPECT_TRUE(logHas(u"Xml update installer: nothing can be changed in " + flash + u'\\' + a));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileOfWhichSomethingWouldBeLostStaysAsItIs) {
  for (const std::string& odd :
       {std::string("<r><v>old</v><w>AT&T</w></r>"), std::string("<r><v>old</v><w>&euro;</w></r>"),
        std::string("<r><v>old</v><w a=\"x&y\"/></r>"), std::string("<r><v>old</v></r>text<!-- c -->"),
        std::string("<?xml-stylesheet href=\"a.xsl\"?><r><v>old</v></r>"),
        std::string("<r><v>old</v></r>") + '\0' + "more"}) {
    writeFile(onDevice(a), odd);
    for (const std::int32_t flag : {0, 1, 3, 5, 6}) run({entryOf(a, flag, u"r/v", u"old", {u"new"})});
    EXPECT_EQ(device(a), odd);
  }
  EXPECT_THAT(tree(flash), ElementsAre("config/", "config/a.xml", "config/b.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatCouldNotBeReadAgainIsNotReplaced) {
  std::string full = "<r><v>old</v>";
  for (std::size_t count = 4; count < maximalXmlMarkup; ++count) full += "<e/>";
  full += "</r>";
  writeFile(onDevice(a), full);
  startLog();
  run({entryOf(a, 1, u"r", u"e/e"), setting(b, u"new")});
  EXPECT_EQ(device(a), full);
  EXPECT_EQ(device(b), documentWith("new"));
  EXPECT_THAT(logLines(),
              ElementsAre(u"Xml update installer: the changes didn't get into " + flash + u'\\' + a));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatCanNotBeCopiedIsNotReplacedByANewOne) {
  startLog();
  UnreadableFileSystem unreadable(files());
  unreadable.unreadable = u"a.xml";
  useFileSystem(unreadable);
  run({entryOf(a, 1, u"r", u"x"), entryOf(a, 3, u"r/x", u"y", {u"y"}), setting(b, u"1")});
  unreadable.unreadable = u"never";
  unreadable.unknownKind = u"a.xml";
  run({entryOf(a, 1, u"r", u"x")});
  useFileSystem(files());
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_EQ(device(b), documentWith("1"));
  EXPECT_THAT(workFolder(), IsEmpty());
  EXPECT_TRUE(logHas(u"Xml update installer: no working copy could be made of " + flash + u'\\' + a));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFolderUnderTheNameIsLeftAlone) {
  makeFolder(onDevice(u"folder.xml"));
  run({entryOf(u"folder.xml", 1, u"r", u"x")});
  EXPECT_TRUE(std::filesystem::is_directory(folder.native() / "flash/folder.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, WithoutAWorkFolderNothingChanges) {
  std::filesystem::remove_all(folder.native() / "temp");
  run({setting(a, u"1"), entryOf(missing, 1, u"r", u"x")});
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_FALSE(fileExists(onDevice(missing)));
}

TEST_F(DefaultXmlUpdateInstallerTest, PathsThatLeaveTheStorageArePassedOver) {
  writeFile(path(u"outside.xml"), documentWith("mine"));
  std::filesystem::create_symlink(folder.native() / "outside.xml", folder.native() / "flash/link.xml");
  std::filesystem::create_directory_symlink(folder.native(), folder.native() / "flash/up");
  startLog();
  for (const WideText& file : {WideText(u"../outside.xml"), path(u"outside.xml"), WideText(u"link.xml"),
                               WideText(u"up/outside.xml"), WideText(u"config/../../outside.xml"),
                               WideText(u"E:outside.xml"), WideText(u"up/made.xml"), WideText()}) {
    run({setting(file, u"x"), entryOf(file, 1, u"r", u"x")});
    EXPECT_TRUE(logHas(u"The path of an XML file leaves the device: " + file));
  }
  EXPECT_EQ(readFile(path(u"outside.xml")), documentWith("mine"));
  EXPECT_FALSE(fileExists(path(u"made.xml")));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.native() / "flash/link.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, TheRegisterIsNoPackagesToChange) {
  startLog();
  for (const WideText file : {u"ZELMORA/updates.xml", u"zelmora\\.\\UPDATES.XML", u"KD3//updates.xml",
                              u"ZELMORA/updates.xml_tevra_new"}) {
    writeFile(path(u"flash/ZELMORA/updates.xml"), documentWith("old"));
    run({setting(file, u"x"), entryOf(file, 1, u"r", u"x")});
    EXPECT_TRUE(logHas(u"The register is no package's file: " + file));
  }
  EXPECT_EQ(device(u"ZELMORA/updates.xml"), documentWith("old"));
  EXPECT_EQ(tree(path(u"flash/ZELMORA")), std::vector<std::string>{"updates.xml"});
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "flash/KD3"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AnEntryThatIsPassedOverDoesNotEndTheWorkOnAFile) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  run({setting(a, u"1"), setting(u"../outside.xml", u"x"), setting(u"KD3/updates.xml", u"x"),
       setting(a, u"2")});
  EXPECT_EQ(counting.replacements[onDevice(a)], 1);
  EXPECT_EQ(device(a), documentWith("2"));
  useFileSystem(files());
}

TEST_F(DefaultXmlUpdateInstallerTest, ALinkThatHasComeMeanwhileIsNotFollowed) {
  install({setting(a, u"1")});
  makeFolder(path(u"elsewhere"));
  writeFile(path(u"elsewhere/a.xml"), documentWith("mine"));
  std::filesystem::remove_all(folder.native() / "flash/config");
  std::filesystem::create_directory_symlink(folder.native() / "elsewhere", folder.native() / "flash/config");
  EXPECT_FALSE(installer->finish());
  EXPECT_EQ(readFile(path(u"elsewhere/a.xml")), documentWith("mine"));
  EXPECT_THAT(tree(path(u"elsewhere")), ElementsAre("a.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatALaterUpdatePlacesThereIsNotUndone) {
  InstallUpdate later;
  later.files.push_back({u"local", u"config\\A.xml", 0, 0, 0, {}});
  for (const WideText& file : {a, missing}) {
    later.files[0].client = toBackslashes(file);
    later.xmlEntries = {entryOf(file, 1, u"r", u"more")};
    installer = std::make_unique<DefaultXmlUpdateInstaller>();
    install({entryOf(file, 1, u"r", u"early")});
    writeFile(onDevice(file), documentWith("placed"));
    EXPECT_TRUE(installer->install(later, {}, flash, flash, card, nullptr));
    finish();
    EXPECT_EQ(device(file), "<r>\n    <v>placed</v>\n    <more />\n</r>\n");
  }
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(DefaultXmlUpdateInstallerTest, EntriesBehindTooCostlyOnesArePassedOverAndTheLogTellsOfTheFile) {
  constexpr int count = 5'000;
  std::string document = "<r><v>old</v>";
  for (int number = 0; number < count; ++number) document += "<e><n>0</n></e>";
  writeFile(onDevice(a), document + "</r>");
  std::vector<InstallXmlEntry> entries = {setting(a, u"1")};
  for (int number = 0; number < count; ++number)
    entries.push_back(entryOf(a, 6, u"r/e", u"k" + numberText(number) + u"/none"));
  entries.push_back(setting(a, u"2"));
  entries.push_back(setting(b, u"2"));
  startLog();
  run(entries);
  EXPECT_THAT(device(a), ::testing::HasSubstr("<v>1</v>"));
  EXPECT_EQ(device(b), documentWith("2"));
  EXPECT_THAT(logLines(), ElementsAre(u"Xml update installer: not all that was asked for was done in " +
                                      flash + u'\\' + a));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatCanNotBeReadIsNotTakenForAReplacedOne) {
  InstallUpdate later;
  later.files.push_back({u"local", a, 1, 0, 0, {}});
  UnreadableFileSystem unreadable(files());
  useFileSystem(unreadable);
  install({setting(a, u"1")});
  unreadable.unreadable = u"a.xml";
  EXPECT_TRUE(installer->install(later, {}, flash, flash, card, nullptr));
  unreadable.unreadable = u"never";
  finish();
  useFileSystem(files());
  EXPECT_EQ(device(a), documentWith("1"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileInWhichNothingChangedIsNotTouched) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  install({entryOf(a, 6, u"r/v", u"other")});
  const int reads = counting.reads[onDevice(a)];
  writeFile(onDevice(a), documentWith("later"));
  finish();
  useFileSystem(files());
  EXPECT_EQ(device(a), documentWith("later"));
  EXPECT_EQ(counting.reads[onDevice(a)], reads);
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatIsTooLargeToBeReadIsNotCopied) {
  std::filesystem::resize_file(folder.native() / "flash/config/a.xml",
                               static_cast<std::uintmax_t>(maximalXmlFileBytes) + 1);
  startLog();
  CountingFileSystem counting(files());
  useFileSystem(counting);
  run({setting(a, u"1"), entryOf(a, 1, u"r", u"x")});
  useFileSystem(files());
  EXPECT_EQ(counting.reads[onDevice(a)], 0);
  EXPECT_TRUE(logHas(u"Xml update installer: nothing can be changed in " + flash + u'\\' + a));
}

TEST_F(DefaultXmlUpdateInstallerTest, FinishingTellsWhetherAllChangesReachedTheDevice) {
  EXPECT_TRUE(installer->finish());
  install({setting(a, u"1"), entryOf(a, 5, u"r/none", u"x"), setting(u"config/none.xml", u"x")});
  EXPECT_TRUE(installer->finish());
  EXPECT_EQ(device(a), documentWith("1"));

  FaultyFileSystem faulty(files());
  for (const bool isLast : {false, true}) {
    installer = std::make_unique<DefaultXmlUpdateInstaller>();
    install({setting(a, u"2")});
    faulty.failAt = 1;
    faulty.failAllAfter = true;
    useFileSystem(faulty);
    if (!isLast) install({setting(b, u"2")});
    faulty.failAt = isLast ? 1 : 0;
    EXPECT_FALSE(installer->finish());
    useFileSystem(files());
    EXPECT_EQ(device(a), documentWith("1"));
  }
  // It is no later installation's failure.
  installer = std::make_unique<DefaultXmlUpdateInstaller>();
  install({setting(a, u"3")});
  EXPECT_TRUE(installer->finish());
}

TEST_F(DefaultXmlUpdateInstallerTest, AResultThatCouldNotBeReadAgainIsToldAtTheEnd) {
  std::string full = "<r><v>old</v>";
  for (std::size_t count = 4; count < maximalXmlMarkup; ++count) full += "<e/>";
  writeFile(onDevice(a), full + "</r>");
  install({entryOf(a, 1, u"r", u"e/e")});
  EXPECT_FALSE(installer->finish());
}

TEST_F(DefaultXmlUpdateInstallerTest, WithoutMemoryTheFileStaysAndTheEndIsReached) {
  ThrowingFileSystem throwing(files());
  for (const bool processEnds : {false, true}) {
    installer = std::make_unique<DefaultXmlUpdateInstaller>();
    install({setting(a, u"1")});
    useFileSystem(throwing);
    if (processEnds)
      runProcessEndActions();
    else
      installer.reset();
    useFileSystem(files());
    EXPECT_EQ(device(a), documentWith("old"));
    EXPECT_THAT(workFolder(), IsEmpty());
    installer.reset();
  }
  EXPECT_EQ(device(a), documentWith("old"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatALaterUpdateOnlyNamesKeepsItsChanges) {
  InstallUpdate later;
  later.files.push_back({u"local", a, 1, 0, 0, {}});
  install({setting(a, u"1")});
  EXPECT_TRUE(installer->install(later, {}, flash, flash, card, nullptr));
  finish();
  EXPECT_EQ(device(a), documentWith("1"));
}

TEST_F(DefaultXmlUpdateInstallerTest, UpdatesThatInstallTheFileOnlyWhereThereIsNoneDoNotReadItAgain) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  InstallUpdate each;
  each.files.push_back({u"local", a, installFileIfMissing, 0, 0, {}});
  for (int number = 0; number < 50; ++number) {
    each.xmlEntries = {setting(a, numberText(number))};
    EXPECT_TRUE(installer->install(each, {}, number % 2 == 0 ? flash : card, flash, card, nullptr));
  }
  finish();
  useFileSystem(files());
  EXPECT_EQ(device(a), documentWith("49"));
  // The copy is made, and two storages are asked once each.
  EXPECT_LE(counting.reads[onDevice(a)], 5);
}

TEST_F(DefaultXmlUpdateInstallerTest, ASecondFileThatIsPlacedWhereTheFirstHasGoneIsSeenToo) {
  InstallUpdate keeping;
  keeping.files.push_back({u"local", a, installFileIfMissing, 0, 0, {}});
  InstallUpdate replacing = keeping;
  replacing.files[0].updateFlag = replaceFileIfPresent;
  install({setting(a, u"1")});
  EXPECT_TRUE(installer->install(keeping, {}, flash, flash, card, nullptr));
  std::filesystem::remove(onDevice(a));  // it was placed on the card
  EXPECT_TRUE(installer->install(replacing, {}, card, flash, flash, nullptr));
  writeFile(onDevice(a), documentWith("new"));
  keeping.xmlEntries = {entryOf(a, 1, u"r", u"more")};
  EXPECT_TRUE(installer->install(keeping, {}, flash, flash, card, nullptr));
  finish();
  EXPECT_EQ(device(a), "<r>\n    <v>new</v>\n    <more />\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatCouldNotBeChangedIsLookedAtAgainWhenAnUpdatePlacesIt) {
  UnreadableFileSystem unreadable(files());
  unreadable.unreadable = u"a.xml";
  useFileSystem(unreadable);
  install({setting(a, u"1")});
  unreadable.unreadable = u"never";
  InstallUpdate later;
  later.files.push_back({u"local", a, replaceFileIfPresent, 0, 0, {}});
  later.xmlEntries = {entryOf(a, 1, u"r", u"more")};
  writeFile(onDevice(a), documentWith("placed"));
  EXPECT_TRUE(installer->install(later, {}, flash, flash, card, nullptr));
  finish();
  useFileSystem(files());
  EXPECT_EQ(device(a), "<r>\n    <v>placed</v>\n    <more />\n</r>\n");
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatWasTooLargeIsLookedAtAgainWhenAnUpdatePlacesIt) {
  std::filesystem::resize_file(folder.native() / "flash/config/a.xml",
                               static_cast<std::uintmax_t>(maximalXmlFileBytes) + 1);
  install({setting(a, u"1")});
  InstallUpdate later;
  later.files.push_back({u"local", a, installFileToo, 0, 0, {}});
  later.xmlEntries = {setting(a, u"2")};
  writeFile(onDevice(a), documentWith("placed"));
  EXPECT_TRUE(installer->install(later, {}, flash, flash, card, nullptr));
  finish();
  EXPECT_EQ(device(a), documentWith("2"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileOfTheSameSizeAndTimeIsKnownByItsContent) {
  namespace fs = std::filesystem;
  const fs::path file = folder.native() / "flash/config/a.xml";
  const fs::file_time_type time = fs::last_write_time(file);
  install({setting(a, u"1")});
  writeFile(onDevice(a), documentWith("new"));
  fs::last_write_time(file, time);
  runProcessEndActions();
  EXPECT_EQ(device(a), documentWith("new"));
}

TEST_F(DefaultXmlUpdateInstallerTest, ACopyThatHasGoneIsNotTakenForAReplacedFile) {
  install({setting(a, u"1")});
  std::filesystem::remove_all(folder.native() / "temp");
  EXPECT_FALSE(installer->finish());
  EXPECT_EQ(device(a), documentWith("old"));
}

TEST_F(DefaultXmlUpdateInstallerTest, AFileThatHasComeMeanwhileIsNotOverwrittenWhenTheWorkEndsEarly) {
  startLog();
  for (const WideText& file : {a, missing}) {
    for (const bool processEnds : {false, true}) {
      installer = std::make_unique<DefaultXmlUpdateInstaller>();
      install({entryOf(file, 3, u"r/x", u"1", {u"1"})});
      writeFile(onDevice(file), documentWith("placed"));
      if (processEnds) {
        runProcessEndActions();
      } else {
        installer.reset();
      }
      EXPECT_EQ(device(file), documentWith("placed"));
      EXPECT_TRUE(
          logHas(u"Xml update installer: another file has taken the place of " + flash + u'\\' + file));
      EXPECT_THAT(workFolder(), IsEmpty());
      writeFile(onDevice(file), documentWith("old"));
      if (file == missing) std::filesystem::remove(onDevice(file));
    }
  }
}

TEST_F(DefaultXmlUpdateInstallerTest, AnInterruptedReplacementIsPutRightFirst) {
  std::filesystem::rename(folder.native() / "flash/config/a.xml",
                          folder.native() / "flash/config/a.xml00000000010000000001");
  writeFile(path(u"flash/config/a.xml_tevra_new"), "<r><v>ha");
  run({entryOf(a, 0, u"r/v", u"old", {u"new"})});
  EXPECT_EQ(device(a), documentWith("new"));
  EXPECT_THAT(tree(flash), ElementsAre("config/", "config/a.xml", "config/b.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, ManyFilesOfOneFolderAreOneLookAtIt) {
  std::vector<InstallXmlEntry> entries;
  for (int number = 0; number < 30; ++number) {
    const WideText file = u"many/" + numberText(number) + u".xml";
    writeFile(onDevice(file), documentWith("old"));
    entries.push_back(setting(file, u"new"));
  }
  CountingFileSystem counting(files());
  useFileSystem(counting);
  run(entries);
  useFileSystem(files());
  EXPECT_EQ(counting.listings, 1);
  EXPECT_EQ(device(u"many/29.xml"), documentWith("new"));
  EXPECT_EQ(tree(flash + u"/many").size(), 30U);
}

TEST_F(DefaultXmlUpdateInstallerTest, TheEndOfTheProcessBringsTheFileBack) {
  install({setting(a, u"1")});
  runProcessEndActions();
  EXPECT_EQ(device(a), documentWith("1"));
  EXPECT_THAT(workFolder(), IsEmpty());
  writeFile(onDevice(a), documentWith("later"));
  finish();
  EXPECT_EQ(device(a), documentWith("later"));
}

TEST_F(DefaultXmlUpdateInstallerTest, KilledBetweenEntriesTheDeviceIsUntouched) {
  EXPECT_FALSE(runsToItsEnd([this] {
    install({setting(a, u"1"), entryOf(a, 1, u"r", u"x")});
    dieHere();
  }));
  EXPECT_EQ(device(a), documentWith("old"));
  EXPECT_THAT(tree(flash), ElementsAre("config/", "config/a.xml", "config/b.xml"));
}

TEST_F(DefaultXmlUpdateInstallerTest, ARenamingThatFailsIsLogged) {
  startLog();
  FaultyFileSystem faulty(files());
  faulty.before = [&faulty](int number, const std::string& operation) {
    if (operation == "rename" && faulty.failAt == 0) faulty.failAt = number;
  };
  useFileSystem(faulty);
  run({setting(a, u"1")});
  useFileSystem(files());
  const WideText target = toBackslashes(flash + u'\\' + a);
  const std::vector<WideText> lines = logLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with(u"Xml update installer: rename from " + target + u" to " + target))
      << toUtf8(lines[0]);
  EXPECT_TRUE(lines[0].ends_with(u" fail!"));
  EXPECT_EQ(lines[1], u"Xml update installer: the changes didn't get into " + flash + u'\\' + a);
  EXPECT_EQ(device(a), documentWith("old"));
}

class InterruptedXmlInstallTest : public DefaultXmlUpdateInstallerTest {
 protected:
  // Three files, one of them new, the first one twice.
  void installAll() {
    run({setting(a, u"1"), entryOf(missing, 3, u"r/v", u"new", {u"new"}), setting(b, u"2"),
         setting(a, u"3")});
  }
  void resetDevice() {
    std::filesystem::remove_all(folder.native() / "flash");
    for (const WideText& file : {a, b}) writeFile(onDevice(file), documentWith("old"));
    std::filesystem::remove_all(folder.native() / "temp/ZELMORATevra_tmp");
    makeFolder(workTempFolder);
  }
  // Every file is as it was before or after one of its replacements, whatever its name at the moment. Of the
  // new one a part may wait under another name for the next installation.
  void expectWholeFiles() {
    for (const WideText& file : {a, b, missing}) recoverDeviceFile(onDevice(file));
    EXPECT_THAT(device(a), AnyOf(documentWith("old"), documentWith("1"), documentWith("3")));
    EXPECT_THAT(device(b), AnyOf(documentWith("old"), documentWith("2")));
    EXPECT_THAT(device(missing), AnyOf("<missing>", documentWith("new")));
    for (const std::string& name : tree(flash))
      EXPECT_THAT(name, AnyOf("config/", "config/a.xml", "config/b.xml", "config/new.xml",
                              "config/new.xml_tevra_new"));
  }
  void expectAllInstalled() {
    EXPECT_EQ(device(a), documentWith("3"));
    EXPECT_EQ(device(b), documentWith("2"));
    EXPECT_EQ(device(missing), documentWith("new"));
    EXPECT_EQ(tree(flash).size(), 4U);
  }
};

TEST_F(InterruptedXmlInstallTest, AnyOperationThatFailsLeavesWholeFiles) {
  for (const bool failAllAfter : {false, true}) {
    for (int operation = 1;; ++operation) {
      SCOPED_TRACE(operation);
      resetDevice();
      FaultyFileSystem faulty(files());
      faulty.failAt = operation;
      faulty.failAllAfter = failAllAfter;
      useFileSystem(faulty);
      installAll();
      useFileSystem(files());
      expectWholeFiles();
      if (faulty.count < operation) break;
    }
    expectAllInstalled();
    EXPECT_THAT(workFolder(), IsEmpty());
  }
}

TEST_F(InterruptedXmlInstallTest, KilledAtAnyOperationEveryFileIsWhole) {
  int operation = 1;
  while (!runsToItsEnd([&] {
    FaultyFileSystem faulty(files());
    faulty.before = [operation](int number, const std::string&) {
      if (number == operation) dieHere();
    };
    useFileSystem(faulty);
    installAll();
  })) {
    SCOPED_TRACE(operation);
    expectWholeFiles();
    // Nothing that was left keeps the next installation from its work.
    installAll();
    expectAllInstalled();
    resetDevice();
    ++operation;
  }
  expectAllInstalled();
  EXPECT_GT(operation, 40);
}

TEST_F(InterruptedXmlInstallTest, AWorkingCopyThatCanNotBeWrittenOutIsNotBroughtBack) {
  const std::vector<InstallXmlEntry> entries = {setting(a, u"1")};
  FaultyFileSystem faulty(files());
  faulty.failsToClose = [](const WideText& path) { return path.find(u"ZELMORATevra_tmp") != WideText::npos; };
  useFileSystem(faulty);
  run(entries);
  useFileSystem(files());
  EXPECT_EQ(device(a), documentWith("old"));
}

}  // namespace
}  // namespace ZelmoraTevra
