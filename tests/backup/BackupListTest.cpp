#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <boost/interprocess/shared_memory_object.hpp>
#include <filesystem>
#include <fstream>

#include "backup/BackupList.h"
#include "core/Globals.h"
#include "core/SharedTextBlock.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "tests/support/BackupBuilder.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/ForwardingProcesses.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

class BackupListTest : public JobTest {
 protected:
  [[nodiscard]] BackupBuilder backupNamed(const std::string& name) const {
    return {folder.native() / "backups", name};
  }
  std::string answer() {
    BackupList list;
    EXPECT_EQ(list.listBackups(), 0);
    EXPECT_EQ(list.writeBackupList(), 0);
    return readFile(StatusXml::instance().statusFilePath());
  }
  // The names in the heads, sorted.
  std::vector<std::string> listed() {
    const std::string text = answer();
    TiXmlDocument document;
    document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    std::vector<std::string> names;
    EXPECT_NE(document.RootElement(), nullptr) << text;
    for (const TiXmlElement* head = document.RootElement()->FirstChildElement("backup"); head != nullptr;
         head = head->NextSiblingElement("backup"))
      names.emplace_back(head->FirstChildElement("name")->GetText());
    std::sort(names.begin(), names.end());
    return names;
  }
  using Names = std::vector<std::string>;
  const std::string root = toUtf8(StatusXml::instance().executableBaseName());
};

TEST_F(BackupListTest, AnEmptyBackupRootGivesARootElementOnly) {
  EXPECT_EQ(answer(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<" + root + " />\n");
}

TEST_F(BackupListTest, TheRootOfAProgramWhoseNameIsNoElementNameCanBeRead) {
  ProgramAt processes(*platform::machine().processes, u"/opt/Tevra CLI 2");
  platform::Machine machine = platform::machine();
  machine.processes = &processes;
  useMachine(machine);
  StatusXml::destroy();
  EXPECT_EQ(answer(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<TevraCLI />\n");
  StatusXml::destroy();
}

TEST_F(BackupListTest, TheHeadIsTheDescriptionsOwnWithoutTheFiles) {
  BackupBuilder backup = backupNamed("b").software("a", "x");
  backup.brand = "Zelmora & <Söhne>";
  backup.write();
  EXPECT_EQ(answer(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<" + root + ">\n" + backup.headText() +
                          "</" + root + ">\n");
  EXPECT_THAT(statusHistory(), testing::SizeIs(1));  // the answer itself, and no status
}

TEST_F(BackupListTest, WhatElseAHeadHoldsIsKept) {
  writeFile(path(u"backups/b/b.xml"),
            "<BackupContents><backup a=\"1\"><name>b</name><id>old</id><more><!-- c --></more></backup>"
            "<BackupFiles/></BackupContents>");
  EXPECT_THAT(answer(), HasSubstr("<backup a=\"1\">"));
  EXPECT_THAT(answer(), HasSubstr("<id>old</id>"));
}

TEST_F(BackupListTest, AllSoundBackupsAreListed) {
  backupNamed("one").software("a", "x").content("c/d", "y").write();
  backupNamed("two").personal().software("b", "").write();
  backupNamed("empty").write();
  EXPECT_EQ(listed(), (Names{"empty", "one", "two"}));
}

TEST_F(BackupListTest, ABackupWithoutAListOfFilesIsListed) {
  writeFile(path(u"backups/b/b.xml"), "<BackupContents><backup><name>b</name></backup></BackupContents>");
  EXPECT_EQ(listed(), Names{"b"});
}

TEST_F(BackupListTest, ABackupOfThreeHundredThousandFilesIsListed) {
  std::string list;
  for (int file = 0; file < 300'000; ++file) list += "<File path='' size='1' hash=''/>";
  writeFile(path(u"backups/b/b.xml"), "<BackupContents><backup><name>b</name></backup><BackupFiles>" + list +
                                          "</BackupFiles></BackupContents>");
  EXPECT_EQ(listed(), Names{"b"});
}

TEST_F(BackupListTest, AFolderWithoutADescriptionIsPassedOverAndStays) {
  backupNamed("good").write();
  writeFile(path(u"backups/other/other.txt"), "x");
  writeFile(path(u"backups/renamed/b.xml"), backupNamed("b").descriptionText());
  writeFile(path(u"backups/file.xml"), "x");
  const std::vector<std::string> before = tree(path(u"backups"));
  EXPECT_EQ(listed(), Names{"good"});
  EXPECT_EQ(tree(path(u"backups")), before);
}

TEST_F(BackupListTest, ADescriptionThatCannotBeReadIsPassedOver) {
  backupNamed("good").write();
  for (const char* text : {"", "<BackupContents>", "<Other><backup/></Other>",
                           "<BackupContents><BackupFiles/></BackupContents>", "no XML"}) {
    writeFile(path(u"backups/bad/bad.xml"), text);
    EXPECT_EQ(listed(), Names{"good"}) << text;
  }
}

TEST_F(BackupListTest, ABackupFromWhichAFileIsMissingIsPassedOverAndStays) {
  backupNamed("good").software("a", "x").write();
  for (const char* gone : {"storage_for_software/x/a", "storage_for_content/c"}) {
    backupNamed("bad").software("x/a", "x").software("z", "z").content("c", "y").write();
    EXPECT_EQ(listed(), (Names{"bad", "good"}));
    fs::remove(folder.native() / "backups/bad" / gone);
    const std::vector<std::string> before = tree(path(u"backups"));
    EXPECT_EQ(listed(), Names{"good"}) << gone;
    EXPECT_EQ(tree(path(u"backups")), before);
  }
}

TEST_F(BackupListTest, AFileWithAnEmptyPathIsPassedOver) {
  writeFile(path(u"backups/b/b.xml"),
            "<BackupContents><backup><name>b</name></backup><BackupFiles><File path=\"\" size=\"1\"/>"
            "<File size=\"1\"/></BackupFiles></BackupContents>");
  EXPECT_EQ(listed(), Names{"b"});
}

TEST_F(BackupListTest, AFileThatLiesOutsideOfTheBackupIsNoneOfIts) {
  writeFile(path(u"outside"), "x");
  backupNamed("other").software("a", "x").write();
  fs::create_symlink(folder.native() / "outside", folder.native() / "backups/other/link");
  for (const std::string& file :
       {std::string("..\\..\\outside"), std::string("..\\other\\other.xml"), toUtf8(path(u"outside")),
        std::string("storage_for_software\\..\\..\\b\\b.xml")}) {
    fs::remove_all(folder.native() / "backups/b");
    backupNamed("b").listed(file, 1).write();
    EXPECT_EQ(listed(), Names{"other"}) << file;
  }
  backupNamed("other").listed("link", 1).write();
  EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(BackupListTest, BytesThatAreNoTextSpoilNoAnswer) {
  backupNamed("good").write();
  writeFile(path(u"backups/bad/bad.xml"),
            "<BackupContents><backup><name>bad\xFF</name></backup></BackupContents>");
  EXPECT_EQ(listed(), Names{"good"});
  writeFile(path(u"backups/bad/bad.xml"),
            "<BackupContents><backup><name>bad</name></backup><BackupFiles><File path='a\xFF' size='1'/>"
            "</BackupFiles></BackupContents>");
  EXPECT_EQ(listed(), Names{"good"});
}

TEST_F(BackupListTest, NamesInAnyScriptAreFound) {
  backupNamed("Sicherung ä 地図 \xF0\x9F\x97\xBA").software("ä/\xF0\x9F\x97\xBA & 'x'", "x").write();
  EXPECT_EQ(listed(), Names{"Sicherung ä 地図 \xF0\x9F\x97\xBA"});
}

TEST_F(BackupListTest, AFileWhoseNameIsNoTextIsFound) {
  // The byte 0xE4 alone, as Linux may have it in a name, is the surrogate U+DCE4 in a path.
  std::ofstream(folder.native() / "n\xE4me") << "x";
  backupNamed("b").listed("n\xED\xB3\xA4me", 1).write();
  EXPECT_THAT(listed(), IsEmpty());
  fs::rename(folder.native() / "n\xE4me", folder.native() / "backups/b/n\xE4me");
  EXPECT_EQ(listed(), Names{"b"});
}

TEST_F(BackupListTest, WithoutAListNothingIsWritten) {
  BackupList list;
  EXPECT_EQ(list.writeBackupList(), 1);
  EXPECT_THAT(statusHistory(), IsEmpty());
}

TEST_F(BackupListTest, AnAnswerThatCannotBeWrittenIsToldWithItsFile) {
  BackupList list;
  EXPECT_EQ(list.listBackups(), 0);
  FaultyFileSystem faulty(files());
  // The new file, tried once more when what stands in its way was to be removed, and the attempt to write
  // over the old one.
  faulty.before = [&](int count, const std::string&) { faulty.failAt = count <= 4 ? count : 0; };
  useFileSystem(faulty);
  EXPECT_EQ(list.writeBackupList(), -1);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1048");
  EXPECT_THAT(status().descriptions,
              testing::ElementsAre(u"100", u"The backup xml description could not be saved!"));
  EXPECT_EQ(status().attributes.at(u"FILE"), toForwardSlashes(StatusXml::instance().statusFilePath()));
}

class SharedBackupListTest : public BackupListTest {
 protected:
  SharedBackupListTest() {
    commandsInSharedMemory = true;
    channelName = name_;
  }
  ~SharedBackupListTest() override { boost::interprocess::shared_memory_object::remove(name_.c_str()); }

  [[nodiscard]] std::string blockText() const {
    SharedTextBlock block(name_);
    std::string text;
    EXPECT_EQ(block.open(), 0);
    EXPECT_EQ(block.read(text), 0);
    return text;
  }

 private:
  const std::string name_ = "tevra_test_" + std::to_string(::getpid()) + "_backups";
};

TEST_F(SharedBackupListTest, TheAnswerGoesIntoTheBlock) {
  const BackupBuilder backup = backupNamed("b").software("a", "x");
  backup.write();
  BackupList list;
  EXPECT_EQ(list.listBackups(), 0);
  EXPECT_EQ(list.writeBackupList(), 0);
  EXPECT_THAT(blockText(), HasSubstr("<" + root + ">\n" + backup.headText() + "</" + root + ">"));
  EXPECT_FALSE(fileExists(StatusXml::instance().statusFilePath()));
}

TEST_F(SharedBackupListTest, AnAnswerTooLargeForTheBlockIsToldWithoutAFile) {
  writeFile(path(u"backups/b/b.xml"), "<BackupContents><backup><name>" +
                                          std::string(SharedTextBlock::textBytes, 'b') +
                                          "</name></backup></BackupContents>");
  BackupList list;
  EXPECT_EQ(list.listBackups(), 0);
  EXPECT_EQ(list.writeBackupList(), -1);
  const SavedStatus saved = parseStatus(blockText());
  EXPECT_EQ(saved.state, statErrorOccured);
  EXPECT_EQ(saved.exitCode(), u"1048");
  EXPECT_EQ(saved.attributes.count(u"FILE"), 0U);
}

TEST_F(BackupListTest, ADescriptionCutOffAtAnyPlaceIsPassedOver) {
  const std::string whole =
      "<BackupContents><backup><name>b</name></backup><BackupFiles><File path=\"b.xml\" size=\"1\"/>"
      "</BackupFiles></BackupContents>";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeFile(path(u"backups/b/b.xml"), whole.substr(0, length));
    EXPECT_THAT(listed(), IsEmpty()) << length;
  }
  writeFile(path(u"backups/b/b.xml"), whole);
  EXPECT_EQ(listed(), Names{"b"});
}

}  // namespace

}  // namespace ZelmoraTevra
