#include "backup/ConvertBackupsRunner.h"
#include "core/EditableXml.h"
#include "core/ProgressObserver.h"
#include "tests/backup/BackupTest.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/KillLoop.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {
namespace {

const std::string formerHead =
    "<backup>\n  <name>a</name><!-- kept --><id>1</id> <other "
    "x='&quot;'>y</other><productid>2</productid></backup>";

class ConvertBackupsRunnerTest : public BackupTest {
 protected:
  // A tree as an older version has left it.
  void putTree(const WideText& name, const WideText& slot = u"single",
               const WideText& layout = u"ZELMORA") const {
    const WideText tree = root + u'/' + name + u'/' + slot;
    const std::string file = versionFile("100", "200");
    writeFile(tree + u'/' + layout + u"/version.xml",
              layout == u"KD3" ? "<config><kd3><brand>OLD</brand></kd3></config>" : file);
    writeFile(tree + u"/map/a.map", "four");
  }
  [[nodiscard]] std::string description(const WideText& name) const {
    return readFile(root + u'/' + name + u'/' + name + u".xml");
  }
  void putDescription(const WideText& name, const std::string& text) const {
    writeFile(root + u'/' + name + u'/' + name + u".xml", text);
  }
  static std::string withHead(const std::string& head) {
    return "<?xml version=\"1.0\"?>\n<BackupContents>" + head + "<BackupFiles/></BackupContents>";
  }
  // The bytes of all files below the backup root, with the time of the last write.
  [[nodiscard]] std::map<std::string, std::pair<std::string, std::int64_t>> contents() const {
    std::map<std::string, std::pair<std::string, std::int64_t>> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(native(root)))
      if (entry.is_regular_file())
        found[entry.path()] = {readFile(toWide(entry.path().string())),
                               entry.last_write_time().time_since_epoch().count()};
    return found;
  }
  void expectStaysAsItIs(const std::string& text) {
    putDescription(u"a", text);
    const auto before = contents();
    EXPECT_EQ(convertBackups(), 0);
    EXPECT_EQ(contents(), before) << text;
  }
};

TEST_F(ConvertBackupsRunnerTest, WithoutAnyBackupItSucceedsAtOnce) {
  writeFile(root + u"/a.xml", "no folder");
  EXPECT_EQ(convertBackups(), 0);
  ASSERT_EQ(statusHistory().size(), 2U);
  EXPECT_EQ(statusHistory()[0].state, statPreparing);
  EXPECT_EQ(statusHistory()[0].exitCode(), u"1057");
  EXPECT_EQ(statusHistory()[1].state, statSuccess);
  EXPECT_EQ(statusHistory()[1].exitCode(), u"1010");
}

TEST_F(ConvertBackupsRunnerTest, AFormerTreeGetsItsPresentNameAndADescription) {
  clock.seconds = 1'330'905'600;
  putTree(u"a");
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_EQ(tree(root + u"/a"),
            (std::vector<std::string>{"a.xml", "storage_for_software/", "storage_for_software/ZELMORA/",
                                      "storage_for_software/ZELMORA/version.xml", "storage_for_software/map/",
                                      "storage_for_software/map/a.map"}));
  const std::string size = std::to_string(versionFile("100", "200").size());
  EXPECT_EQ(description(u"a"), R"(<?xml version="1.0" encoding="UTF-8" ?>
<BackupContents>
    <backup>
        <name>a</name>
        <brand>ZELMORA</brand>
        <platform>NAV</platform>
        <version>7.1.0</version>
        <creationdate>2012-03-05</creationdate>
        <size>)" + std::to_string(versionFile("100", "200").size() + 4) +
                                   R"(</size>
        <hardwareID>100</hardwareID>
        <deviceUID>200</deviceUID>
        <personalBackup>false</personalBackup>
        <converted>true</converted>
    </backup>
    <BackupFiles>
        <File path="storage_for_software\ZELMORA\version.xml" size=")" +
                                   size + R"(" hash="" />
        <File path="storage_for_software\map\a.map" size="4" hash="" />
    </BackupFiles>
</BackupContents>
)");
}

TEST_F(ConvertBackupsRunnerTest, EachOfTheFourPlacesOfAVersionFileMakesABackup) {
  putTree(u"a", u"single", u"ZELMORA");
  putTree(u"b", u"single", u"KD3");
  putTree(u"c", u"storage_for_software", u"ZELMORA");
  putTree(u"d", u"storage_for_software", u"KD3");
  EXPECT_EQ(convertBackups(), 0);
  for (const WideText name : {u"a", u"b", u"c", u"d"}) {
    EXPECT_NE(description(name).find("<name>" + toUtf8(name) + "</name>"), std::string::npos);
    EXPECT_EQ(readFile(root + u'/' + name + u"/storage_for_software/map/a.map"), "four");
  }
  EXPECT_NE(description(u"d").find("<brand>OLD</brand>"), std::string::npos);
}

TEST_F(ConvertBackupsRunnerTest, ASecondTreeIsThatOfTheCard) {
  putTree(u"a");
  writeFile(root + u"/a/storage_for_content/b.map", "x");
  writeFile(root + u"/a/.hidden", "x");
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_NE(description(u"a").find("path=\"storage_for_content\\b.map\""), std::string::npos);
  EXPECT_EQ(description(u"a").find("hidden"), std::string::npos);
}

TEST_F(ConvertBackupsRunnerTest, AFolderThatIsNoBackupIsLeftAlone) {
  writeFile(root + u"/a/holiday.jpg", "x");
  writeFile(root + u"/b/storage_for_content/ZELMORA/version.xml", versionFile("1", "2"));
  writeFile(path(u"outside/ZELMORA/version.xml"), versionFile("1", "2"));
  makeFolder(root + u"/c");
  link(path(u"outside"), root + u"/c/single");
  writeFile(path(u"linked/single/ZELMORA/version.xml"), versionFile("1", "2"));
  link(path(u"linked"), root + u"/d");
  const auto before = tree(folder.path());
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_EQ(tree(folder.path()).size(), before.size() + 1);  // the status
  EXPECT_EQ(status().state, statSuccess);
}

TEST_F(ConvertBackupsRunnerTest, WhatAKilledJobHasLeftIsNoOldBackup) {
  putTree(u"unfinished", u"storage_for_software");
  writeFile(root + u"/unfinished/.tevra_unfinished", "");
  putTree(u"my_backup_1234567", u"storage_for_software");
  writeFile(root + u"/my_backup_1234567/my_backup.xml", descriptionText("my_backup"));
  const auto before = contents();
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_EQ(contents(), before);
  // Any other file is one that doesn't belong there.
  putTree(u"other_1234567", u"storage_for_software");
  writeFile(root + u"/other_1234567/stray.xml", descriptionText("stray"));
  EXPECT_EQ(convertBackups(), 1067);
  EXPECT_EQ(status().exitCode(), u"1067");
}

TEST_F(ConvertBackupsRunnerTest, BothNamesOfTheTreeAtOnceAreReportedBeforeAnythingIsRenamed) {
  putTree(u"a");
  makeFolder(root + u"/a/storage_for_software");
  const auto before = tree(root);
  EXPECT_EQ(convertBackups(), 1070);
  expectFailure(u"1070", {u"100", u"Error on converting old backup!"});
  EXPECT_EQ(tree(root), before);
}

TEST_F(ConvertBackupsRunnerTest, ARenamingThatFailsIsReported) {
  putTree(u"a");
  FaultyFileSystem faulty(JobTest::files());
  faulty.failAt = 1;
  useFileSystem(faulty);
  EXPECT_EQ(convertOneBackup(u"a"), 1070);
  useFileSystem(JobTest::files());
  EXPECT_EQ(status().exitCode(), u"1070");
  EXPECT_TRUE(fileExists(root + u"/a/single/map/a.map"));
}

TEST_F(ConvertBackupsRunnerTest, ABackupThatHasVanishedIsReported) {
  EXPECT_EQ(convertOneBackup(u"gone"), 1069);
  expectFailure(u"1069", {u"100", u"The backup folder does not exists!"});
}

TEST_F(ConvertBackupsRunnerTest, AFileOutsideOfBothTreesIsReported) {
  putTree(u"a");
  writeFile(root + u"/a/stray", "x");
  EXPECT_EQ(convertBackups(), 1067);
  expectFailure(u"1067", {u"100", u"Error on parsing the sources folder path!"});
  EXPECT_EQ(description(u"a"), "<missing>");
}

TEST_F(ConvertBackupsRunnerTest, AFileThatNoDescriptionCanHoldIsReported) {
  putTree(u"a");
  writeFile(root + u"/a/single/ ", "x");
  EXPECT_EQ(convertBackups(), 1056);
  expectFailure(u"1056", {u"100", u"The file from xml description does not exist!"});
}

TEST_F(ConvertBackupsRunnerTest, WithoutTheBackupRootItIsReported) {
  std::filesystem::remove(native(root));
  EXPECT_EQ(convertBackups(), 1069);
  expectFailure(u"1069", {u"100", u"The backup folder does not exists!"});
}

TEST_F(ConvertBackupsRunnerTest, AVersionFileThatDoesNotLoadIsReportedWithItsTree) {
  putTree(u"a");
  writeFile(root + u"/a/single/ZELMORA/version.xml", "<config>");
  EXPECT_EQ(convertBackups(), 1149);
  expectFailure(u"1149", {u"100", u"The version xml could not be found in the source folder!",
                          root + u"/a/storage_for_software"});
}

TEST_F(ConvertBackupsRunnerTest, TheFirstFailureEndsItAndWhatWasConvertedStays) {
  ASSERT_EQ((putTree(u"good"), convertBackups()), 0);
  const auto before = contents();
  putTree(u"bad");
  makeFolder(root + u"/bad/storage_for_software");
  EXPECT_EQ(convertBackups(), 1070);
  for (const auto& [path, content] : before) EXPECT_EQ(contents().at(path), content);
}

TEST_F(ConvertBackupsRunnerTest, FormerIdentifiersGetTheirPresentNamesAndAllElseStays) {
  putDescription(u"a", withHead(formerHead));
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_EQ(description(u"a"), R"(<?xml version="1.0" ?>
<BackupContents>
    <backup>
        <name>a</name>
        <!-- kept -->
        <hardwareID>1</hardwareID>
        <other x='&quot;'>y</other>
        <deviceUID>2</deviceUID>
    </backup>
    <BackupFiles />
</BackupContents>
)");
  EXPECT_EQ(tree(root), (std::vector<std::string>{"a/", "a/a.xml"}));
}

TEST_F(ConvertBackupsRunnerTest, EmptyFormerIdentifiersAreUpgradedToo) {
  putDescription(u"a", withHead("<backup><id/><productid></productid></backup>"));
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_NE(description(u"a").find("<hardwareID />\n        <deviceUID />"), std::string::npos)
      << description(u"a");
}

TEST_F(ConvertBackupsRunnerTest, WhatAFormerIdentifierHoldsBesidesItsTextStaysToo) {
  putDescription(u"a", withHead("<backup><id kind=\"x\">1<!-- kept --></id><productid><!-- too -->2"
                                "</productid></backup>"));
  EXPECT_EQ(convertBackups(), 0);
  const std::string upgraded = description(u"a");
  for (const std::string part : {"<hardwareID kind=\"x\">", "<!-- kept -->", "<deviceUID>", "<!-- too -->"})
    EXPECT_NE(upgraded.find(part), std::string::npos) << upgraded;
  EXPECT_EQ(upgraded.find("productid"), std::string::npos);
}

TEST_F(ConvertBackupsRunnerTest, ADescriptionThatCouldNotBeReadAgainIsNotTouched) {
  std::string deep = "<backup><id>1</id><productid>2</productid></backup>";
  for (int level = 0; level < 120; ++level) deep += "<a>";
  for (int count = 0; count < 150'000; ++count) deep += "<b/>";
  for (int level = 0; level < 120; ++level) deep += "</a>";
  expectStaysAsItIs(withHead(deep));
  TiXmlDocument document;
  EXPECT_TRUE(loadEditableXml(root + u"/a/a.xml", document));  // only printed it gets too long
}

TEST_F(ConvertBackupsRunnerTest, AFolderThatCannotBeABackupByItsNameIsPassedOver) {
  startLog();
  putTree(u"Tevra_131284_tmp");
  const std::filesystem::path noText = native(root) / "no text \x80";
  std::filesystem::copy(native(root + u"/Tevra_131284_tmp"), noText,
                        std::filesystem::copy_options::recursive);
  putTree(u"good");
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_NE(description(u"good").find("<converted>true</converted>"), std::string::npos);
  EXPECT_TRUE(fileExists(root + u"/Tevra_131284_tmp/single/map/a.map"));
  EXPECT_TRUE(std::filesystem::exists(noText / "single/map/a.map"));
  EXPECT_FALSE(std::filesystem::exists(noText / "storage_for_software"));
  EXPECT_TRUE(logHas(u"No backup has such a name: " + root + u"/Tevra_131284_tmp"));
}

TEST_F(ConvertBackupsRunnerTest, WhatAReplacementOfTheVersionFileHasLeftIsNotListed) {
  putTree(u"a");
  writeFile(root + u"/a/single/ZELMORA/version.xml_tevra_new", versionFile("100", "200"));
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_FALSE(fileExists(root + u"/a/storage_for_software/ZELMORA/version.xml_tevra_new"));
  EXPECT_EQ(description(u"a").find("_tevra_new"), std::string::npos) << description(u"a");
}

TEST_F(ConvertBackupsRunnerTest, ADescriptionThatNeedsNoUpgradeStaysByteForByte) {
  expectStaysAsItIs(withHead("<backup><hardwareID>1</hardwareID><productid>2</productid></backup>"));
  expectStaysAsItIs(withHead("<backup><id>1</id></backup>"));
  expectStaysAsItIs(withHead("<backup></backup><id>1</id><productid>2</productid>"));
  expectStaysAsItIs(withHead(""));
  expectStaysAsItIs("<Other>" + formerHead + "</Other>");
  expectStaysAsItIs("");
  expectStaysAsItIs("no XML at all");
  expectStaysAsItIs(descriptionText("a"));
}

TEST_F(ConvertBackupsRunnerTest, ADamagedDescriptionStaysByteForByteWhereverItIsCutOff) {
  const std::string whole = withHead(formerHead);
  for (std::size_t length = 0; length < whole.size(); length += 3) {
    putDescription(u"a", whole.substr(0, length));
    upgradeDescription(root + u"/a/a.xml");
    EXPECT_EQ(description(u"a"), whole.substr(0, length));
  }
}

TEST_F(ConvertBackupsRunnerTest, ADescriptionOfWhichSomethingWouldBeLostIsNotTouched) {
  expectStaysAsItIs(withHead("<backup><id>1</id><productid>2</productid>&unknown;</backup>"));
  expectStaysAsItIs(withHead("<backup attribute=bare><id>1</id><productid>2</productid></backup>"));
}

TEST_F(ConvertBackupsRunnerTest, ASecondRunChangesNothing) {
  putTree(u"a");
  putDescription(u"b", withHead(formerHead));
  ASSERT_EQ(convertBackups(), 0);
  const auto before = contents();
  EXPECT_EQ(convertBackups(), 0);
  EXPECT_EQ(contents(), before);
}

TEST_F(ConvertBackupsRunnerTest, TellsHowManyFoldersAreDone) {
  putDescription(u"a", descriptionText("a"));
  EXPECT_EQ(convertBackups(), 0);
  ASSERT_EQ(statusHistory().size(), 3U);
  EXPECT_EQ(statusHistory()[1].state, statConvertBackupInProgress);
  EXPECT_EQ(statusHistory()[1].descriptions,
            (std::vector<WideText>{u"100", u"1 / 1", u"100", u"1 / 1", u"", u""}));
}

TEST_F(ConvertBackupsRunnerTest, AtWhicheverOperationItIsKilledTheNextRunFinishesIt) {
  int killed = 0;
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE("killed at operation " + std::to_string(operation));
    std::filesystem::remove_all(native(root));
    putTree(u"a");
    putDescription(u"b", withHead(formerHead));
    const bool finished = runsToItsEnd([&] {
      UnsyncedFileSystem unsynced(JobTest::files());
      FaultyFileSystem faulty(unsynced);
      faulty.before = [&](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      static_cast<void>(convertBackups());
      ::_exit(0);
    });
    const std::string b = description(u"b");
    ASSERT_TRUE(b == withHead(formerHead) || b.find("<hardwareID>1</hardwareID>") != std::string::npos);
    ASSERT_EQ(convertBackups(), 0);
    ASSERT_EQ(readFile(root + u"/a/storage_for_software/map/a.map"), "four");
    ASSERT_NE(description(u"a").find("<converted>true</converted>"), std::string::npos);
    ASSERT_NE(description(u"b").find("<deviceUID>2</deviceUID>"), std::string::npos);
    if (finished) break;
    ++killed;
  }
  EXPECT_GT(killed, 5);
}

TEST_F(ConvertBackupsRunnerTest, WhicheverOperationFailsAnUpgradeLeavesAWholeDescription) {
  const std::string former = withHead(formerHead);
  for (int operation = 1;; ++operation) {
    putDescription(u"a", former);
    FaultyFileSystem faulty(JobTest::files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    upgradeDescription(root + u"/a/a.xml");
    useFileSystem(JobTest::files());
    if (faulty.count < operation) break;
    EXPECT_EQ(description(u"a"), former);
  }
  EXPECT_NE(description(u"a"), former);
  expectUntold();
}

}  // namespace
}  // namespace ZelmoraTevra
