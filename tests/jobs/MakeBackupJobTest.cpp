#include <filesystem>
#include <regex>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

// The real program makes backups of a device that it finds by its letters, and of plain folders.
class MakeBackupJobTest : public ProgramTest {
 protected:
  MakeBackupJobTest() {
    job.write("flash/ZELMORA/version.xml", versionFile);
    job.write("flash/ZELMORA/map/alps.map", alps);
    job.write("flash/ZELMORA/empty", "");
    job.write("flash/\xC3\x84\xE2\x82\xAC\xF0\x9F\x97\xBA/na'me & <more>\".bin", navigator);
    job.write("flash/not UTF-8 \xFF\xE9", "x");
    job.write("flash/a&#x41;.map", "y");
    job.write("card/content/iberia.map", iberia);
  }

  static CommandDocument make(const std::string& name, const std::string& command = "MAKE_BACKUP") {
    return CommandDocument(command).plain("BackupName", name);
  }
  [[nodiscard]] CommandDocument ofDevice(CommandDocument command) const {
    return command.encoded("StorageCardDriveLetter", job.simulatesMachine ? "E:" : job.path("flash"))
        .encoded("SecondDriveLetter", job.simulatesMachine ? "F:" : job.path("card"));
  }
  void expectBackup(const std::string& name) const {
    EXPECT_EQ(job.tree("backups/" + name + "/storage_for_software"), job.tree("flash"));
    EXPECT_EQ(job.tree("backups/" + name + "/storage_for_content"), job.tree("card"));
    EXPECT_TRUE(job.exists("backups/" + name + "/" + name + ".xml"));
  }
  // The description without its date.
  [[nodiscard]] std::string description(const std::string& name) const {
    return std::regex_replace(job.read("backups/" + name + "/" + name + ".xml"),
                              std::regex(R"(\d{4}-\d\d-\d\d)"), "*");
  }
  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    for (const auto& [name, content] : job.tree("backups"))
      if (name.find('/') == std::string::npos) names.push_back(name);
    return names;
  }

  const std::string versionFile =
      "<config><software><brand>ZELMORA</brand><platform>NAV</platform><version>7.1.0</version>"
      "<id>100</id><productid>200</productid></software></config>";
};

TEST_F(MakeBackupJobTest, TakesFlashAndCardAsTheyAre) {
  const Tree flash = job.tree("flash");
  const JobResult result = job.run(ofDevice(make("spring")).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.document(), success);
  expectBackup("spring");
  EXPECT_EQ(job.tree("flash"), flash);
  EXPECT_EQ(job.tree("backups/spring").count("storage_for_content"), 1U);
  EXPECT_EQ(job.tree("temp"), (Tree{{"ZELMORATevra_tmp", "folder"}}));
}

TEST_F(MakeBackupJobTest, TakesPlainFoldersAsWell) {
  job.simulatesMachine = false;
  EXPECT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  expectBackup("spring");
}

TEST_F(MakeBackupJobTest, TheDescriptionIsTheSameWhicheverWayTheDeviceIsReached) {
  EXPECT_EQ(job.run(make("spring").encoded("StorageCardDriveLetter", "E:").text()).document(), success);
  const std::string byLetter = description("spring");
  EXPECT_NE(byLetter.find("<creationdate>*</creationdate>"), std::string::npos);
  EXPECT_NE(byLetter.find("path=\"storage_for_software\\ZELMORA\\map\\alps.map\" size=\"300000\" hash=\"\""),
            std::string::npos);
  for (const bool simulated : {true, false}) {
    job.simulatesMachine = simulated;
    EXPECT_EQ(
        job.run(make("spring").encoded("StorageCardDriveLetter", job.path("flash") + "/").text()).document(),
        success);
    EXPECT_EQ(description("spring"), byLetter);
  }
}

TEST_F(MakeBackupJobTest, AWriteProtectedDeviceCanBeBackedUp) {
  job.flash.readOnly = true;
  job.card.readOnly = true;
  EXPECT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  expectBackup("spring");
}

TEST_F(MakeBackupJobTest, TheNewBackupTakesThePlaceOfTheOldOne) {
  ASSERT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  job.write("flash/ZELMORA/new", "new");
  ASSERT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  EXPECT_EQ(backups(), (std::vector<std::string>{"spring"}));
  expectBackup("spring");
  ASSERT_EQ(job.run(ofDevice(make("summer")).text()).document(), success);
  EXPECT_EQ(backups(), (std::vector<std::string>{"summer"}));
  expectBackup("summer");
  ASSERT_EQ(job.run(ofDevice(make("mine", "MAKE_PERSONAL_BACKUP")).text()).document(), success);
  EXPECT_EQ(backups(), (std::vector<std::string>{"mine", "summer"}));
}

TEST_F(MakeBackupJobTest, TheLogTellsTheJobInOrder) {
  job.run(ofDevice(make("spring")).text());
  std::vector<std::string> lines = job.logLines();
  ASSERT_GT(lines.size(), 9U);
  for (std::string& line : lines)
    if (line.starts_with("Backend execution time: ")) line = "Backend execution time: *";
  EXPECT_EQ(std::vector<std::string>(lines.begin() + 9, lines.end()),
            (std::vector<std::string>{"Start reading MAKE_BACKUP", "Readed OK MAKE_BACKUP",
                                      "Status changed: statPreparing", "Status changed: statBackupInProgress",
                                      "Status changed: statSuccess", "Exit status reported: 9",
                                      "exitCode: 1010", "Backend execution time: *", "Backend finish!"}));
}

TEST_F(MakeBackupJobTest, AnAbortLeavesTheOldBackupUnderItsName) {
  ASSERT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  const Tree before = job.tree("backups");
  job.write("flash/ZELMORA/new", "new");
  job.writeAbortFile();
  const JobResult result = job.run(ofDevice(make("spring")).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(job.tree("backups"), before);
  EXPECT_FALSE(job.abortFileExists());
}

TEST_F(MakeBackupJobTest, ANameThatLeadsElsewhereIsRefusedBeforeAnythingRuns) {
  const JobResult result = job.run(ofDevice(make("../elsewhere")).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1037, "Error on reading the make backup command's parameters!"));
  EXPECT_TRUE(job.tree("backups").empty());
  EXPECT_FALSE(job.exists("elsewhere"));
}

TEST_F(MakeBackupJobTest, ADeviceThatIsGoneIsReported) {
  job.flash.present = false;
  const JobResult result = job.run(ofDevice(make("spring")).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1050, "The source folder doesn't exists!"));
  job.flash.present = true;
  job.card.present = false;
  EXPECT_EQ(job.run(ofDevice(make("spring")).text()).document(),
            errorDocument(1051, "The secondary path is provided but the directory does not exists!",
                          {{"PATH", "F:"}, {"DRIVE", "F:"}}));
  EXPECT_TRUE(job.tree("backups").empty());
}

TEST_F(MakeBackupJobTest, ATreeOfAnOlderVersionIsConverted) {
  std::filesystem::create_directories(job.path("backups/old"));
  std::filesystem::copy(job.path("flash"), job.path("backups/old/single"),
                        std::filesystem::copy_options::recursive);
  std::filesystem::create_directories(job.path("backups/none/folder"));
  const std::string convert = CommandDocument("CONVERT_BACKUPS").text();
  EXPECT_EQ(job.run(convert).document(), success);
  EXPECT_EQ(job.tree("backups/old/storage_for_software"), job.tree("flash"));
  EXPECT_FALSE(job.exists("backups/old/single"));
  EXPECT_NE(description("old").find("<converted>true</converted>"), std::string::npos);
  const Tree before = job.tree("backups");
  EXPECT_EQ(job.run(convert).document(), success);
  EXPECT_EQ(job.tree("backups"), before);
  // It is a backup like any other: a new one of the same device takes its place.
  EXPECT_EQ(job.run(ofDevice(make("spring")).text()).document(), success);
  EXPECT_EQ(backups(), (std::vector<std::string>{"none", "spring"}));
}

}  // namespace
}  // namespace ZelmoraTevra
